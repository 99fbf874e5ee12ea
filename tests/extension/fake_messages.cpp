// Logger and journal of the fake host.
#include <fmt/format.h>

#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

// As a host shows it: the placeholders are the logger's (host/logger.h).
std::string render(std::u32string_view text, va_list arguments) {
    std::string shown;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != U'%' || i + 1 == text.size()) {
            shown += narrow(text.substr(i, 1));
            continue;
        }
        switch (text[++i]) {
            case U'X': {
                const int64_t status = va_arg(arguments, int64_t);
                // A status is widened with its sign; anything else shows all its digits.
                shown += status == static_cast<int32_t>(status)
                             ? fmt::format("{:08X}", static_cast<uint32_t>(status))
                             : fmt::format("{:016X}", static_cast<uint64_t>(status));
                break;
            }
            case U'd':
                shown += std::to_string(va_arg(arguments, int64_t));
                break;
            case U'P':
                shown += va_arg(arguments, void*) ? "set" : "null";
                break;
            case U's':
                shown += narrow(va_arg(arguments, const char32_t*));
                break;
            default:
                shown += "a placeholder that nobody knows";
        }
    }
    return shown;
}

bool decimal(std::string_view line) {
    return !line.empty() && line.find_first_not_of("0123456789") == line.npos;
}

vx::RenderedMessage* keep(FakeHost& host, std::string message) {
    return reinterpret_cast<vx::RenderedMessage*>(&host.messages.emplace_back(std::move(message)));
}

}  // namespace

void FakeHost::setUpMessages() {
    using Log = Fake<vx::Logger>;
    loggerTable.IsEnabled = [](vx::Logger* self, uint32_t level) {
        Log::of(self).host->say(fmt::format("IsEnabled {}", level));
        return !Log::of(self).host->script.next("IsEnabled").has("no");
    };
    loggerTable.Render = [](vx::Logger* self, vx::Word zero, const char32_t* text, uint64_t length,
                            va_list arguments) -> vx::RenderedMessage* {
        FakeHost& host = *Log::of(self).host;
        EXPECT_EQ(zero, 0u);
        if (host.script.next("Render").null()) return nullptr;
        return keep(host, render({text, length}, arguments));
    };
    loggerTable.RenderNumbered = [](vx::Logger* self, int64_t number, va_list arguments) {
        return keep(*Log::of(self).host,
                    fmt::format("message {} {}", number, va_arg(arguments, int64_t)));
    };
    loggerTable.Log = [](vx::Logger* self, uint32_t level, vx::Word first, vx::Word second,
                         vx::Word third, const char* line, const char* source, uint64_t code,
                         vx::RenderedMessage* message, vx::Word last) {
        EXPECT_EQ(first | second | third | last, 0u);
        EXPECT_EQ(code, 27u);
        EXPECT_STREQ(source, "vxext/src/quillon");
        EXPECT_TRUE(decimal(line)) << line;
        const auto& text = *reinterpret_cast<std::string*>(message);
        Log::of(self).host->say(fmt::format("{} \"{}\"", level, text));
    };
    logger.host = this;
    logger.table = &loggerTable;
    logger.threshold = 1;

    loggerFactory.host = this;
    loggerFactory.GetLogger = [](vx::LoggerFactory* self, const char32_t* channel,
                                 uint64_t length) -> vx::Logger* {
        FakeHost& host = *Fake<vx::LoggerFactory>::of(self).host;
        const bool null = host.script.next("GetLogger").null();
        host.say(fmt::format("GetLogger {}{}", narrow({channel, length}), null ? " -> null" : ""));
        return null ? nullptr : &host.logger;
    };

    using Notes = Fake<vx::Journal>;
    journal.host = this;
    journal.MessageToJournal = [](vx::Journal* self, uint32_t severity, const char32_t* text,
                                  uint64_t length, va_list arguments) {
        const std::u32string_view sentence =
            length ? std::u32string_view{text, length} : std::u32string_view{text};
        Notes::of(self).host->say(fmt::format("journal {} \"{}\"{}", severity,
                                              render(sentence, arguments),
                                              length ? fmt::format(" {}", length) : ""));
        return vx::VX_SUCCESS;
    };
    journal.StatusToJournal = [](vx::Journal* self, uint32_t severity, int64_t status, va_list) {
        EXPECT_EQ(status, static_cast<int32_t>(status));
        Notes::of(self).host->say(
            fmt::format("journal {} {:08X}", severity, static_cast<uint32_t>(status)));
        return vx::VX_SUCCESS;
    };
}

}  // namespace test
