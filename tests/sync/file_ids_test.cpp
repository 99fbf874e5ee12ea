// A server that tells ids, as clouds do: what is moved on it is moved here.
#include <sys/stat.h>

#include "tests/cli/faulty_proxy.hpp"
#include "tests/sync/pair_test.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

class FileIds : public PairTest, public testing::WithParamInterface<const char*> {
protected:
    FileIds() { handOnAll(); }
    void handOnAll() {
        proxy.on("*", "*", faultyHandler(server, Fault::none, countdown(0)));
        proxy.on("PROPFIND", "*",
                 support::Answer()
                     .madeBy([this](const auto& request) { return told(request); })
                     .truncatedAfter(0));
    }
    // Ids are inodes, and so outlive a new content.
    std::string told(const support::Request& request) const {
        const auto depth = fmt::format("Depth: {}\r\n", request.field("Depth"));
        std::string answer =
            support::ask(server.port(), "PROPFIND", request.target, depth, request.body);
        const size_t length = answer.find("Content-Length");  // the end of the connection tells it
        if (length != answer.npos) answer.replace(length, 2, "No");
        const std::string end = "</D:href>";
        for (size_t at = 0; !id.empty() && (at = answer.find(end, at)) != answer.npos;) {
            const size_t begin = answer.rfind('>', at) + 1;
            struct stat its {};
            stat((server.documentRoot().string() + answer.substr(begin, at - begin)).c_str(), &its);
            const auto property = fmt::format(fmt::runtime(id), its.st_ino);
            at += end.size();
            answer.insert(at, "<D:propstat><D:prop>" + property + "</D:prop></D:propstat>");
            at = answer.find("</D:propstat>", at);
        }
        return answer;
    }
    // What was asked for ids since the last time, and what was transferred.
    std::string asked() {
        std::string text;
        for (const support::Request& each : proxy.requests()) {
            const bool asks = each.body.find("resource-id") != std::string::npos;
            if (asks || each.method == "GET" || each.method == "PUT") text += each.target + " ";
        }
        proxy.clearRequests();
        return text;
    }

    support::ScriptedServer proxy;
    std::string id;  // the property; empty: none is told
};

TEST_P(FileIds, areAskedForWhereTheyAreToldAndTellMoves) {
    for (const char* name : {"a", "d/b"}) write(folder("ann") / name, "old");
    pair("ann", proxy.url("t/"));
    for (const char* name : {"a", "d/b"}) makeOld(there() / name);
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    asked();
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(asked(), "/t/ ");
    id = GetParam();
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(run("ann", {"ls", "-R", proxy.url("t/")}).exitCode, exitDone);
    EXPECT_EQ(asked(), "/t/ /t/d/ ");

    write(there() / "a", "new there");
    fs::rename(there() / "a", there() / "d/c");
    proxy.on("GET", "*", support::Answer(500));
    EXPECT_EQ(sync("ann").exitCode, exitNetwork);
    EXPECT_EQ(filesIn(folder("ann")), (Files{{"d", "/"}, {"d/b", "old"}, {"d/c", "old"}}));
    handOnAll();
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(filesIn(folder("ann")), filesIn(there()));
    write(there() / "d/c", "newer there");
    fs::rename(there() / "d/c", there() / "c");
    EXPECT_EQ(sync("ann").exitCode, exitDone);
    EXPECT_EQ(filesIn(folder("ann")), filesIn(there()));
    nothingIsLost({"old", "new there", "newer there"});
}

INSTANTIATE_TEST_SUITE_P(, FileIds,
                         testing::Values("<D:resource-id><D:href>urn:x:{}</D:href></D:resource-id>",
                                         "<fileid xmlns=\"http://owncloud.org/ns\">{}</fileid>"));

}  // namespace
}  // namespace quillon::cli
