// Logger and journal of the fake host.
#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

std::string shownAs(char32_t placeholder, va_list arguments) {
    if (placeholder == U's') return narrow(va_arg(arguments, const char32_t*));
    if (placeholder == U'P') return va_arg(arguments, void*) ? "set" : "null";
    const int64_t number = va_arg(arguments, int64_t);
    if (placeholder == U'd') return std::to_string(number);
    // A status is widened with its sign; anything else shows all its digits.
    return number == static_cast<int32_t>(number) ? hex(static_cast<uint32_t>(number))
                                                  : fmt::format("{:016X}", number);
}

// As a host shows it: the placeholders are the logger's (host/logger.h).
std::string render(std::u32string_view text, va_list arguments) {
    std::string shown;
    for (size_t i = 0; i < text.size(); ++i)
        shown += text[i] == U'%' ? shownAs(text[++i], arguments) : narrow(text.substr(i, 1));
    return shown;
}

vx::RenderedMessage* keep(std::string message) {
    return reinterpret_cast<vx::RenderedMessage*>(&fake().messages.emplace_back(message));
}

}  // namespace

void FakeHost::setUpMessages() {
    loggerTable.IsEnabled = [](auto*, auto level) {
        fake().say(fmt::format("IsEnabled {}", level));
        return !fake().script.next("IsEnabled").has("no");
    };
    loggerTable.Render = [](auto*, auto zero, auto* text, auto length, auto arguments) {
        EXPECT_EQ(zero, 0u);
        const bool null = fake().script.next("Render").null();
        return null ? nullptr : keep(render({text, length}, arguments));
    };
    loggerTable.RenderNumbered = [](auto*, auto number, auto arguments) {
        return keep(fmt::format("message {} {}", number, va_arg(arguments, int64_t)));
    };
    loggerTable.Log = [](vx::Logger*, uint32_t level, vx::Word first, vx::Word second,
                         vx::Word third, const char* line, const char* source, uint64_t code,
                         vx::RenderedMessage* message, vx::Word last) {
        EXPECT_EQ(first | second | third | last, 0u);
        EXPECT_EQ(code, 27u);
        EXPECT_STREQ(source, "vxext/src/quillon");
        EXPECT_EQ(std::to_string(std::stoi(line)), line);
        fake().say(fmt::format("{} \"{}\"", level, *reinterpret_cast<std::string*>(message)));
    };
    logger.table = &loggerTable;
    logger.threshold = 1;
    loggerFactory.GetLogger = [](auto*, auto* channel, auto length) {
        const bool null = fake().script.next("GetLogger").null();
        fake().say("GetLogger " + narrow({channel, length}), null ? "null" : "");
        return null ? nullptr : &fake().logger;
    };
    kernel.loggerFactory = &loggerFactory;

    journal.MessageToJournal = [](auto*, auto severity, auto* text, auto length, auto arguments) {
        const std::u32string_view sentence{text,
                                           length ? length : std::u32string_view{text}.size()};
        fake().say(fmt::format("journal {} \"{}\"{}", severity, render(sentence, arguments),
                               length ? fmt::format(" {}", length) : ""));
        return vx::VX_SUCCESS;
    };
    journal.StatusToJournal = [](auto*, auto severity, auto status, auto) {
        EXPECT_EQ(status, static_cast<int32_t>(status));
        fake().say(fmt::format("journal {} {}", severity, hex(static_cast<uint32_t>(status))));
        return vx::VX_SUCCESS;
    };
}

}  // namespace test
