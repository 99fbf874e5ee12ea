// Levels, journals, and the message functions that a host calls.
#include "vxext/src/messages.hpp"

#include "tests/extension/open_collection.hpp"

namespace {

using namespace test;

// An operation with one trace in front, one failure, and one trace behind.
void run(FakeHost& host, vx::Journal* journal) {
    vx::CollectionOpParms parms{};
    parms.url = "c";
    parms.urlLength = 1;
    parms.deleteAll = 1;
    parms.textTranscoder = &host.textTranscoder;
    EXPECT_EQ(host.extension->operations.quillonCollectionDelete(host.extension, &parms, journal),
              vx::QUILLON_REQUEST_FAILED);
}

TEST(Messages, level_is_tested_before_anything_is_rendered) {
    const std::string called = "2 \"quillonCollectionDelete called\"\n";
    const std::string failed =
        "3 \"quillonCollectionDelete create connection returned rc=81FFC811\"\n";
    const std::string returning = "2 \"quillonCollectionDelete returning rc=81FFC811\"\n";
    struct Row {
        uint32_t threshold, inherited;
        const char* script;
        std::string expected;
    };
    const Row rows[] = {
        {3, 1, "", failed},
        {2, 9, "", called + failed + returning},
        {0, 3, "", failed},
        {4, 0, "", ""},
        {0, 0, "",
         "IsEnabled 2\n" + called + "IsEnabled 3\n" + failed + "IsEnabled 2\n" + returning},
        {0, 0, "IsEnabled no, IsEnabled -, IsEnabled no",
         "IsEnabled 2\nIsEnabled 3\n" + failed + "IsEnabled 2\n"},
        {1, 0, "Render - *2, Render null *2", returning},  // the entry renders two
    };
    for (const Row& row : rows) {
        std::string script = row.script;
        if (!script.empty()) script += ", ";
        FakeHost host{script + "CreateClient2 null *3"};
        host.logger.threshold = row.threshold;
        host.logger.inheritedThreshold = row.inherited;
        run(host, nullptr);
        std::erase_if(host.lines, [](const std::string& line) {
            return line.starts_with("text") || line.starts_with("CreateClient2");
        });
        EXPECT_EQ(host.transcript(), row.expected);
        host.logger.threshold = 1;
    }
}

TEST(Messages, journal_is_written_only_when_given_and_enabled) {
    for (const bool given : {false, true})
        for (const bool enabled : {false, true}) {
            FakeHost host{"CreateClient2 null *3"};
            host.extension->journalEnabled = enabled ? 1 : 0;
            run(host, given ? &host.journal : nullptr);
            const std::string sentence =
                "journal 4 \"HTTP client instance could not be created.\" 42\n";
            EXPECT_EQ(host.transcript().find(sentence) != std::string::npos, given && enabled);
        }
}

struct Recorder : vx::Journal {
    std::string written;
};

// A lambda cannot take variable arguments.
vx::Word readAll(vx::Journal* self, ...) {
    va_list rest;
    va_start(rest, self);
    std::string& written = static_cast<Recorder*>(self)->written;
    written.clear();
    for (int i = 0; i < 10; ++i) {  // beyond the registers of both kinds
        written += std::to_string(va_arg(rest, int)) + " ";
        written += std::to_string(static_cast<int>(va_arg(rest, double) * 2)) + " ";
    }
    va_end(rest);
    return 9;
}

TEST(Messages, wrappers_hand_on_their_arguments) {
    Recorder journal{};
    FakeHost host;

    journal.MessageToBuffer = [](vx::Journal* self, vx::Word a, vx::Word b, vx::Word c, vx::Word d,
                                 vx::Word e, va_list rest) -> vx::Status {
        static_cast<Recorder*>(self)->written =
            std::to_string(a * 10000 + b * 1000 + c * 100 + d * 10 + e) + " " +
            std::to_string(va_arg(rest, int));
        return 7;
    };
    EXPECT_EQ(vxlMessageToBuf(&journal, 1, 2, 3, 4, 5, 6), 7u);
    EXPECT_EQ(journal.written, "12345 6");

    journal.StatusToBuffer = [](vx::Journal* self, int64_t status, vx::Word a, vx::Word b,
                                vx::Word c, va_list rest) -> vx::Status {
        static_cast<Recorder*>(self)->written = std::to_string(status) + " " +
                                                std::to_string(a * 100 + b * 10 + c) + " " +
                                                std::to_string(va_arg(rest, int));
        return 8;
    };
    EXPECT_EQ(vxlStatusToBuf(&journal, 0xFFFFFFFE, 1, 2, 3, 4), 8u);
    EXPECT_EQ(journal.written, "-2 123 4");

    journal.GetLocale = readAll;
    EXPECT_EQ(vxlGetLocale(&journal, -1, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5, 5.5, 6, 6.5, 7,
                           7.5, 8, 8.5, 9, 9.5),
              9u);
    EXPECT_EQ(journal.written, "-1 1 1 3 2 5 3 7 4 9 5 11 6 13 7 15 8 17 9 19 ");

    auto* message = LoggerCapture(&host.logger, -5, int64_t{42});
    EXPECT_EQ(*reinterpret_cast<std::string*>(message), "message -5 42");

    EXPECT_EQ(vxlStatusToJnl(&host.journal, 2, vx::QUILLON_LOCKED), vx::VX_SUCCESS);
    EXPECT_EQ(vxlMessageToJnl(&host.journal, 2, U"%d", 0, int64_t{-1}), vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), "journal 2 81FFC804\njournal 2 \"-1\"\n");
}

}  // namespace
