// Levels, journals, and the message functions that a host calls.
#include "vxext/src/messages.hpp"

#include "tests/extension/fake_host.hpp"

namespace {

using namespace test;

// How the lines begin that come of opening a collection without a URL: with the level of a record,
// or as in "journal" and "IsEnabled".
std::string failedOpen(FakeHost& host, vx::Journal* journal) {
    vx::CollectionParms parms{};
    host.extension->operations.quillonCollectionHandleAcquire(host.extension, &parms, journal);
    host.logger.threshold = 1;
    std::string beginnings;
    for (const std::string& line : std::exchange(host.lines, {})) beginnings += line[0];
    return beginnings;
}

TEST(Messages, level_is_tested_before_anything_is_rendered) {
    const struct {
        uint32_t threshold, inherited;
        const char* script;
        const char* expected;
    } rows[] = {
        {3, 1, "", "3"},
        {2, 9, "", "2322"},
        {0, 3, "", "3"},
        {4, 0, "", ""},
        {0, 0, "IsEnabled no, IsEnabled -, IsEnabled no", "II3II2"},
        {1, 0, "Render - *2, Render null *3", "2"},  // the entry renders two
    };
    for (const auto& row : rows) {
        FakeHost host{row.script};
        host.logger.threshold = row.threshold;
        host.logger.inheritedThreshold = row.inherited;
        EXPECT_EQ(failedOpen(host, nullptr), row.expected);
    }
}

TEST(Messages, journal_is_written_only_when_given_and_enabled) {
    FakeHost host;
    EXPECT_EQ(failedOpen(host, &host.journal), "23j22");
    EXPECT_EQ(failedOpen(host, nullptr), "2322");
    host.extension->journalEnabled = 0;
    EXPECT_EQ(failedOpen(host, &host.journal), "2322");
}

std::string written;

// A lambda cannot take variable arguments.
vx::Word readAll(vx::Journal* self, ...) {
    va_list rest;
    va_start(rest, self);
    written.clear();
    for (int i = 0; i < 10; ++i) {  // beyond the registers of both kinds
        written += fmt::format("{} ", va_arg(rest, int));
        written += fmt::format("{} ", va_arg(rest, double));
    }
    va_end(rest);
    return 9;
}

TEST(Messages, wrappers_hand_on_their_arguments) {
    FakeHost host;
    host.journal.MessageToBuffer = [](auto*, auto a, auto b, auto c, auto d, auto e,
                                      auto rest) -> vx::Status {
        written = fmt::format("{} {} {} {} {} {}", a, b, c, d, e, va_arg(rest, int));
        return 7;
    };
    EXPECT_EQ(vxlMessageToBuf(&host.journal, 1, 2, 3, 4, 5, 6), 7u);
    EXPECT_EQ(written, "1 2 3 4 5 6");

    host.journal.StatusToBuffer = [](auto*, auto status, auto a, auto b, auto c,
                                     auto rest) -> vx::Status {
        written = fmt::format("{} {} {} {} {}", status, a, b, c, va_arg(rest, int));
        return 8;
    };
    EXPECT_EQ(vxlStatusToBuf(&host.journal, 0xFFFFFFFE, 1, 2, 3, 4), 8u);
    EXPECT_EQ(written, "-2 1 2 3 4");

    host.journal.GetLocale = readAll;
    EXPECT_EQ(vxlGetLocale(&host.journal, -1, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5, 5.5, 6, 6.5,
                           7, 7.5, 8, 8.5, 9, 9.5),
              9u);
    EXPECT_EQ(written, "-1 0.5 1 1.5 2 2.5 3 3.5 4 4.5 5 5.5 6 6.5 7 7.5 8 8.5 9 9.5 ");

    auto* message = LoggerCapture(&host.logger, -5, int64_t{42});
    EXPECT_EQ(*reinterpret_cast<std::string*>(message), "message -5 42");

    EXPECT_EQ(vxlStatusToJnl(&host.journal, 2, vx::QUILLON_LOCKED), vx::VX_SUCCESS);
    EXPECT_EQ(vxlMessageToJnl(&host.journal, 2, U"%d", 0, int64_t{-1}), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "journal 2 81FFC804\njournal 2 \"-1\"\n");
}

}  // namespace
