// What tests of the writing commands share: editors, and what others do on the server meanwhile.
#pragma once

#include <sys/stat.h>

#include <regex>

#include "tests/cli/program.hpp"
#include "tests/support/apache.hpp"
#include "tests/support/http_probe.hpp"

namespace quillon::cli {

class WritingTest : public ProgramTest {
protected:
    WritingTest() { mkfifo((home / "fifo").c_str(), 0600); }

    // $1 is the file.
    support::Command withEditor(Arguments arguments, const std::string& script) const {
        support::writeFile(home / "editor", script);
        support::Command ready = command(std::move(arguments));
        ready.environment["VISUAL"] = "sh " + (home / "editor").string();
        return ready;
    }
    support::Outcome edit(const std::string& url, const std::string& script) const {
        return support::run(withEditor({"edit", url}, script));
    }

    // An edit in an editor that waits for endEditor(), which then has it append a text.
    support::Command waitingEdit(const std::string& url) const {
        return withEditor({"edit", url},
                          "echo editing; cat '" + (home / "fifo").string() + "' >> \"$1\"");
    }
    void endEditor(const std::string& text) const { support::writeFile(home / "fifo", text); }

    static std::string content(const support::WebDavServer& server, const std::string& path) {
        return support::readFile(server.documentRoot() / path);
    }
    // With a date an hour ago, so that a change can be told by its date.
    static void addOldMember(const support::WebDavServer& server, const std::string& path,
                             const std::string& text) {
        server.addMember(path, text);
        std::filesystem::last_write_time(
            server.documentRoot() / path,
            std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    }

    static std::vector<std::string> lockTokens(const support::WebDavServer& server,
                                               const std::string& path = {}) {
        const auto reply =
            support::ask(server.port(), "PROPFIND", "/" + path, "Depth: 1\r\n",
                         "<propfind xmlns=\"DAV:\"><prop><lockdiscovery/></prop></propfind>");
        static const std::regex token("(opaquelocktoken|urn):[-:0-9a-zA-Z]+");
        std::vector<std::string> tokens;
        for (std::sregex_iterator at(reply->body.begin(), reply->body.end(), token), end; at != end;
             ++at) {
            tokens.push_back(at->str());
        }
        return tokens;
    }
    static std::string takeLock(const support::WebDavServer& server, const std::string& path) {
        support::ask(server.port(), "LOCK", "/" + path, "Timeout: Second-600\r\n",
                     "<lockinfo xmlns=\"DAV:\"><lockscope><exclusive/></lockscope><locktype>"
                     "<write/></locktype><owner>somebody else</owner></lockinfo>");
        return lockTokens(server).at(0);
    }
    static void removeLock(const support::WebDavServer& server, const std::string& path) {
        support::ask(server.port(), "UNLOCK", "/" + path,
                     "Lock-Token: <" + lockTokens(server).at(0) + ">\r\n");
    }
};

}  // namespace quillon::cli
