// Levels, journals, and the message functions that a host calls.
#include "vxext/src/messages.hpp"

#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// What opening a collection without a URL writes, as its lines begin: the level of a record, or the
// first letter of "journal" and "IsEnabled".
TEST(Messages, levels_and_journal_are_tested_before_anything_is_written) {
    const std::pair<const char*, std::string> rows[] = {
        {"threshold 3, inherited 1", "3j"},
        {"threshold 2, inherited 9", "23j22"},
        {"inherited 3", "3j"},
        {"threshold 4", "j"},
        {"", "I2I3jI2I2"},
        {"IsEnabled no, IsEnabled -, IsEnabled no", "II3jII2"},
        {"inherited 1, Render - *2, Render null *3", "j2"},
        {"threshold 1, disabled", "2322"},
        {"threshold 1, not given", "2322"},
    };
    for (const auto& [script, expected] : rows) {
        FakeHost host{script};
        host.logger.threshold = uint32_t(host.script.word("threshold").http.value_or(0));
        host.logger.inheritedThreshold = uint32_t(host.script.word("inherited").http.value_or(0));
        host.extension->journalEnabled = !host.script.has("disabled");
        vx::Journal* journal = host.script.has("not") ? nullptr : &host.journal;
        vx::CollectionParms parms{};
        host.extension->operations.quillonCollectionHandleAcquire(host.extension, &parms, journal);
        std::string written;
        for (const std::string& line : host.lines) written += line[0];
        EXPECT_EQ(written, expected) << script;
        host.logger.threshold = 1;
        EXPECT_EQ(host.logLines.size(), size_t(std::ranges::count_if(written, isdigit)))
            << "each statement has a line of its own";
    }
}

std::string handed;

// A lambda cannot take variable arguments.
vx::Word readAll(vx::Journal* self, ...) {
    va_list rest;
    va_start(rest, self);
    handed.clear();
    for (int i = 0; i < 10; ++i) {  // beyond the registers of both kinds
        handed += fmt::format("{} ", va_arg(rest, int));
        handed += fmt::format("{} ", va_arg(rest, double));
    }
    va_end(rest);
    return 9;
}

TEST(Messages, wrappers_hand_on_their_arguments) {
    FakeHost host;
    host.journal.MessageToBuffer = [](auto*, auto a, auto b, auto c, auto d, auto e,
                                      auto rest) -> vx::Status {
        handed = fmt::format("{} {} {} {} {} {}", a, b, c, d, e, va_arg(rest, int));
        return 7;
    };
    EXPECT_EQ(vxlMessageToBuf(&host.journal, 1, 2, 3, 4, 5, 6), 7u);
    EXPECT_EQ(handed, "1 2 3 4 5 6");

    host.journal.StatusToBuffer = [](auto*, auto status, auto a, auto b, auto c,
                                     auto rest) -> vx::Status {
        handed = fmt::format("{} {} {} {} {}", status, a, b, c, va_arg(rest, int));
        return 8;
    };
    EXPECT_EQ(vxlStatusToBuf(&host.journal, 0xFFFFFFFE, 1, 2, 3, 4), 8u);
    EXPECT_EQ(handed, "-2 1 2 3 4");

    host.journal.GetLocale = readAll;
    EXPECT_EQ(vxlGetLocale(&host.journal, -1, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5, 5.5, 6, 6.5,
                           7, 7.5, 8, 8.5, 9, 9.5),
              9u);
    EXPECT_EQ(handed, "-1 0.5 1 1.5 2 2.5 3 3.5 4 4.5 5 5.5 6 6.5 7 7.5 8 8.5 9 9.5 ");

    LoggerCapture(&host.logger, -5, int64_t{42});
    EXPECT_EQ(host.rendered, "message -5 42");
    EXPECT_EQ(vxlStatusToJnl(&host.journal, 2, vx::QUILLON_LOCKED), vx::VX_SUCCESS);
    EXPECT_EQ(vxlMessageToJnl(&host.journal, 2, U"%d", 0, int64_t{-1}), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "journal 2 81FFC804\njournal 2 \"-1\"");
}

}  // namespace
