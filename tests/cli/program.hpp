// The program as a person has it, in a home of its own, with an editor.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/apache.hpp"
#include "tests/support/files.hpp"
#include "tests/support/http_probe.hpp"
#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon::cli {

using Arguments = std::vector<std::string>;
using Names = std::set<std::string>;
using support::Apache;
using support::Authentication;
using support::writeFile;

// A command line and what comes of it: all of the output of a success, part of the errors else.
struct Row {
    Arguments arguments;
    int exitCode;
    std::string told;
    std::string noted{};  // part of the errors of a success
};

class ProgramTest : public testing::Test {
protected:
    support::Command command(const Arguments& arguments) const {
        return {joined({QUILLON_PROGRAM}, arguments), environment, {}, work.path()};
    }
    static Arguments joined(Arguments first, const Arguments& more) {
        first.insert(first.end(), more.begin(), more.end());
        return first;
    }
    support::Outcome quillon(Arguments arguments, std::string input = {}) const {
        support::Command all = command(std::move(arguments));
        all.input = std::move(input);
        return support::run(all);
    }

    static void expect(const support::Outcome& outcome, int exitCode, std::string_view told) {
        EXPECT_EQ(outcome.exitCode, exitCode) << outcome.output << outcome.errors;
        if (exitCode == 0) {
            EXPECT_EQ(outcome.output, told) << outcome.errors;
        } else {
            EXPECT_NE(outcome.errors.find(told), std::string::npos) << outcome.errors;
        }
    }
    void expect(const std::vector<Row>& rows) const {
        for (const Row& row : rows) {
            SCOPED_TRACE(testing::PrintToString(row.arguments));
            const support::Outcome outcome = quillon(row.arguments);
            expect(outcome, row.exitCode, row.told);
            EXPECT_NE(outcome.errors.find(row.noted), std::string::npos) << outcome.errors;
            EXPECT_EQ(cacheDirectories(), Names{});
        }
    }

    // On either stream, each of the parts.
    void tells(const Arguments& arguments, int exitCode, const Arguments& parts,
               const std::map<std::string, std::string>& moreEnvironment = {}) const {
        SCOPED_TRACE(testing::PrintToString(arguments));
        support::Command line = command(arguments);
        for (const auto& [name, value] : moreEnvironment) line.environment[name] = value;
        const support::Outcome outcome = support::run(line);
        const std::string all = outcome.output + outcome.errors;
        EXPECT_EQ(outcome.exitCode, exitCode) << all;
        for (const std::string& part : parts) EXPECT_NE(all.find(part), all.npos) << part << all;
    }

    std::filesystem::path siteFile() const { return home / "config/quillon/sites/work.toml"; }
    std::string siteText() const { return support::readFile(siteFile()); }
    void writeSite(const std::string& text, mode_t mode = 0600) const {
        std::filesystem::create_directories(siteFile().parent_path());
        writeFile(siteFile(), text);
        chmod(siteFile().c_str(), mode);
    }

    // In a terminal, where each question gets a line; what stands there is all in the output.
    support::Outcome answered(const Arguments& arguments,
                              const std::vector<std::pair<std::string, std::string>>& talk) const {
        support::RunningProcess program(command(arguments), support::Streams::terminal);
        for (const auto& [question, line] : talk) {
            EXPECT_TRUE(program.expect(question)) << program.output();
            program.send(line + "\n");
        }
        return program.wait().value_or(support::Outcome{});
    }
    static void expectHidden(const std::string& text, const Arguments& secrets) {
        for (const std::string& secret : secrets)
            EXPECT_EQ(text.find(secret), text.npos) << secret << " in " << text;
    }
    // What others see of its command line.
    static std::string shownArguments(const support::RunningProcess& program) {
        return support::readFile("/proc/" + std::to_string(program.pid()) + "/cmdline");
    }

    // What the editor does: $1 is the file.
    void editWith(const std::string& script) const { writeFile(home / "editor", script); }

    // What the program leaves in the cache and in the working directory.
    Names cacheDirectories() const { return names(home / "cache/quillon"); }
    Names localFiles() const { return names(work.path()); }

    static std::string content(const Apache& server, const std::string& path) {
        return support::readFile(server.documentRoot() / path);
    }
    // With a date an hour ago, so that a change can be told by its date.
    static void addOldMember(const Apache& server, const std::string& path,
                             const std::string& text) {
        server.addMember(path, text);
        const auto now = std::filesystem::file_time_type::clock::now();
        std::filesystem::last_write_time(server.documentRoot() / path, now - std::chrono::hours(1));
    }

    // As nothing is that a living process works in.
    static void makeOld(const std::filesystem::path& folder) {
        const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
            if (entry.is_directory()) std::filesystem::last_write_time(entry, old);
    }

    // Of all that is in the server's root, or in another collection.
    static Arguments lockTokens(const support::Server& server, const std::string& fields = "",
                                const std::string& collection = "/") {
        const std::string reply =
            support::ask(server.port(), "PROPFIND", collection, "Depth: 1\r\n" + fields,
                         "<propfind xmlns=\"DAV:\"><prop><lockdiscovery/></prop></propfind>");
        static const std::regex token("opaquelocktoken:[-0-9a-f]+");
        const std::sregex_token_iterator first(reply.begin(), reply.end(), token), end;
        return Arguments(first, end);
    }

    // A lock that stays is told of with the command that removes it, which works.
    void removeToldLocks(const std::string& errors) const {
        static const std::regex told("quillon (unlock [^ ]+ --token [^ \n]+)");
        for (std::sregex_iterator at(errors.begin(), errors.end(), told), end; at != end; ++at) {
            std::istringstream words((*at)[1]);
            Arguments unlock{std::istream_iterator<std::string>(words), {}};
            expect({{unlock, 0, ""}});
        }
    }

    support::TemporaryDirectory home;
    support::TemporaryDirectory work;
    std::map<std::string, std::string> environment{{"HOME", home.path()},
                                                   {"XDG_CACHE_HOME", home / "cache"},
                                                   {"XDG_CONFIG_HOME", home / "config"},
                                                   {"XDG_STATE_HOME", home / "state"},
                                                   {"NETRC", home / "netrc"},
                                                   {"VISUAL", "sh " + (home / "editor").string()},
                                                   {"LC_ALL", "C.UTF-8"},
                                                   {"TZ", "UTC"}};

private:
    static Names names(const std::filesystem::path& folder) {
        Names found;
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, none))
            found.insert(entry.path().filename());
        return found;
    }
};

}  // namespace quillon::cli
