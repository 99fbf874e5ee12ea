// Levels, journals, and the message functions that a host calls.
#include "vxext/src/messages.hpp"

#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// An operation with one trace in front, one failure, and one trace behind.
std::string failedDelete(FakeHost& host, vx::Journal* journal) {
    vx::CollectionOpParms parms{};
    parms.url = "c";
    parms.urlLength = 1;
    parms.deleteAll = 1;
    parms.textTranscoder = &host.textTranscoder;
    host.extension->operations.quillonCollectionDelete(host.extension, &parms, journal);
    std::erase_if(host.lines, [](const std::string& line) {
        return line.starts_with("text") || line.starts_with("CreateClient2");
    });
    return host.transcript();
}

TEST(Messages, level_is_tested_before_anything_is_rendered) {
    const std::string called = "2 \"quillonCollectionDelete called\"\n";
    const std::string failed =
        "3 \"quillonCollectionDelete create connection returned rc=81FFC811\"\n";
    const std::string returning = "2 \"quillonCollectionDelete returning rc=81FFC811\"\n";
    const struct {
        uint32_t threshold, inherited;
        std::string script, expected;
    } rows[] = {
        {3, 1, "", failed},
        {2, 9, "", called + failed + returning},
        {0, 3, "", failed},
        {4, 0, "", ""},
        {0, 0, "",
         "IsEnabled 2\n" + called + "IsEnabled 3\n" + failed + "IsEnabled 2\n" + returning},
        {0, 0, ", IsEnabled no, IsEnabled -, IsEnabled no",
         "IsEnabled 2\nIsEnabled 3\n" + failed + "IsEnabled 2\n"},
        {1, 0, ", Render - *2, Render null *2", returning},  // the entry renders two
    };
    for (const auto& row : rows) {
        FakeHost host{"CreateClient2 null *3" + row.script};
        host.logger.threshold = row.threshold;
        host.logger.inheritedThreshold = row.inherited;
        EXPECT_EQ(failedDelete(host, nullptr), row.expected);
        host.logger.threshold = 1;
    }
}

TEST(Messages, journal_is_written_only_when_given_and_enabled) {
    for (const bool given : {false, true})
        for (const bool enabled : {false, true}) {
            FakeHost host{"CreateClient2 null *3"};
            host.extension->journalEnabled = enabled ? 1 : 0;
            const std::string all = failedDelete(host, given ? &host.journal : nullptr);
            EXPECT_EQ(all.find("journal 4 \"HTTP") != all.npos, given && enabled);
        }
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
    host.journal.MessageToBuffer = [](vx::Journal*, vx::Word a, vx::Word b, vx::Word c, vx::Word d,
                                      vx::Word e, va_list rest) -> vx::Status {
        written = fmt::format("{} {} {} {} {} {}", a, b, c, d, e, va_arg(rest, int));
        return 7;
    };
    EXPECT_EQ(vxlMessageToBuf(&host.journal, 1, 2, 3, 4, 5, 6), 7u);
    EXPECT_EQ(written, "1 2 3 4 5 6");

    host.journal.StatusToBuffer = [](vx::Journal*, int64_t status, vx::Word a, vx::Word b,
                                     vx::Word c, va_list rest) -> vx::Status {
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
