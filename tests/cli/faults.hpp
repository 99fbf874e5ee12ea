// A server whose answers are good until a test says otherwise.
#pragma once

#include <algorithm>

#include "tests/cli/program.hpp"
#include "tests/support/scripted_server.hpp"

namespace quillon::cli {

using support::Answer;

const std::string lockToken = "opaquelocktoken:9f2c7d10-6a1b-4c3d-8e5f-0a1b2c3d4e5f";
const std::string lastModified = "Mon, 06 Jan 2025 10:20:30 GMT";

// What a listing tells of a member, or of a collection, whose href ends in a slash.
inline Answer multistatus(const std::string& href, const std::string& displayName = "") {
    return Answer::properties(href, "<displayname>" + displayName +
                                        "</displayname><getcontentlength>4</getcontentlength>"
                                        "<getlastmodified>" +
                                        lastModified + "</getlastmodified><resourcetype>" +
                                        (href.ends_with('/') ? "<collection/>" : "") +
                                        "</resourcetype>");
}

// Unless a test says otherwise, every name in a collection is a member with the content "old ";
// nothing is stored.
class Faults : public ProgramTest {
protected:
    Faults() {
        const Answer content =
            Answer(200, "old ").with("Last-Modified", lastModified).with("ETag", "\"1\"");
        const auto methods = "OPTIONS,HEAD,GET,PROPFIND,PUT,DELETE,LOCK,UNLOCK";
        server.on("OPTIONS", "/c/*", Answer(200).with("Allow", methods).with("DAV", "1,2"))
            .on("HEAD", "/c/*", content)
            .on("GET", "/c/*", content)
            .on("PROPFIND", "/c/*", [](const auto& request) { return multistatus(request.target); })
            .on("PUT", "/c/*", Answer(204))
            .on("LOCK", "/c/*", Answer(200).with("Lock-Token", "<" + lockToken + ">"))
            .on("UNLOCK", "/c/*", Answer(204));
        for (const char* name : {"a", "b", "c"}) writeFile(work / name, "new");
        editWith("printf mine >> \"$1\"");
    }

    long answered(std::string_view method) const {
        return std::ranges::count_if(server.requests(), [&](const auto& request) {
            return request.method == method && request.answered != 0;
        });
    }
    // Takes them away.
    void versionStays(const char* leftover = "") const {
        EXPECT_EQ(support::readFile(work / "file.mine"), "old mine");
        for (const std::string name : {"file.mine", leftover})
            EXPECT_TRUE(name.empty() || std::filesystem::remove(work / name)) << name;
    }
    void nothingStays() const {
        Names locked;
        for (const support::Request& request : server.requests()) {
            if (request.method == "LOCK" && request.answered == 200) locked.insert(request.target);
            if (request.method == "UNLOCK") locked.erase(request.target);
        }
        EXPECT_EQ(locked, Names{}) << server.transcript();
        EXPECT_EQ(localFiles(), (Names{"a", "b", "c"}));
        EXPECT_EQ(cacheDirectories(), Names{});
        EXPECT_EQ(support::readFile(work / "a"), "new");
    }

    support::ScriptedServer server;
    const std::string collection = server.url("c/");
    const std::string url = server.url("c/file");
};

}  // namespace quillon::cli
