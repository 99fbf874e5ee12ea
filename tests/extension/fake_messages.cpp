// Logger and journal of the fake host.
#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

// As a host shows it: the placeholders are the logger's (host/logger.h).
std::string render(std::u32string_view text, va_list arguments) {
    // No function: on some machines it would read a copy of the list, always from the start.
    const auto next = [&](char32_t placeholder) {
        if (placeholder == U's') return narrow(va_arg(arguments, const char32_t*));
        if (placeholder == U'P') return std::string(va_arg(arguments, void*) ? "set" : "null");
        const int64_t number = va_arg(arguments, int64_t);
        if (placeholder == U'd') return std::to_string(number);
        // A status is widened with its sign; anything else shows all its digits.
        return number == int32_t(number) ? hex(vx::Status(number)) : fmt::format("{:016X}", number);
    };
    std::string shown;
    for (size_t i = 0; i < text.size(); ++i)
        shown += text[i] == U'%' ? next(text[++i]) : narrow(text.substr(i, 1));
    return shown;
}

vx::RenderedMessage* keep(const std::string& message) {
    return reinterpret_cast<vx::RenderedMessage*>(&(fake().rendered = message));
}

}  // namespace

void FakeHost::setUpMessages() {
    loggerTable.IsEnabled = [](auto*, auto level) {
        fake().say("IsEnabled {}", level);
        return !fake().script.word("IsEnabled").has("no");
    };
    loggerTable.Render = [](auto*, auto zero, auto* text, auto length, auto arguments) {
        EXPECT_EQ(zero, 0u);
        const bool null = fake().script.word("Render").has("null");
        return null ? nullptr : keep(render({text, length}, arguments));
    };
    loggerTable.RenderNumbered = [](auto*, auto number, auto arguments) {
        return keep(fmt::format("message {} {}", number, va_arg(arguments, int64_t)));
    };
    loggerTable.Log = [](auto*, auto level, auto first, auto second, auto third, auto* line,
                         auto* source, auto code, auto* message, auto last) {
        EXPECT_EQ(first | second | third | last, 0u);
        EXPECT_EQ(std::to_string(std::atoi(line)), line);
        EXPECT_EQ(fmt::format("{} {}", source, code), "vxext/src/quillon 27");
        fake().logLines.insert(line);
        fake().say("{} \"{}\"", level, *reinterpret_cast<std::string*>(message));
    };
    logger.table = &loggerTable;
    logger.threshold = 1;
    loggerFactory.GetLogger = [](auto*, auto* channel, auto length) {
        return fake().give("GetLogger", "GetLogger " + narrow({channel, length}), &fake().logger);
    };
    kernel.loggerFactory = &loggerFactory;

    journal.MessageToJournal = [](auto*, auto severity, auto* text, auto length, auto arguments) {
        const std::u32string_view sentence{text,
                                           length ? length : std::u32string_view{text}.size()};
        fake().say("journal {} \"{}\"{}", severity, render(sentence, arguments), shown(length));
        return vx::VX_SUCCESS;
    };
    journal.StatusToJournal = [](auto*, auto severity, auto status, auto) {
        EXPECT_EQ(status, int32_t(status));
        fake().say("journal {} {}", severity, hex(vx::Status(status)));
        return vx::VX_SUCCESS;
    };
}

}  // namespace test
