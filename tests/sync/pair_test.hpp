// People who keep a folder each and one collection the same, as they have the program.
#pragma once

#include <fmt/format.h>

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "cli/terminal/exit_code.hpp"
#include "tests/cli/program.hpp"
#include "tests/support/other_server.hpp"

namespace quillon::cli {

using Files = std::map<std::string, std::string>;  // contents by paths; of folders "/"

class PairTest : public ProgramTest {
protected:
    explicit PairTest(std::unique_ptr<const support::Server> its = std::make_unique<Apache>())
        : owned_(std::move(its)), server(*owned_) {
        server.addCollection("t");
    }

    // As tests/interoperability.py names it; it has no port where it is not installed.
    static std::unique_ptr<const support::Server> start(const std::string& name,
                                                        const std::string& without = {}) {
        if (name == "apache") return std::make_unique<Apache>();
        return std::make_unique<support::OtherServer>(name, without);
    }

    std::filesystem::path folder(const std::string& person) const { return work / person; }
    std::filesystem::path there() const { return server.documentRoot() / "t"; }

    support::Command commandOf(const std::string& person, Arguments arguments) const {
        support::Command all = command(std::move(arguments));
        all.environment["XDG_STATE_HOME"] = home / person;
        return all;
    }
    support::Outcome run(const std::string& person, Arguments arguments) const {
        return support::run(commandOf(person, std::move(arguments)));
    }
    // The same with a folder in which nothing can be written. Nothing where the system forbids
    // that.
    std::optional<support::Outcome> runReadOnly(const std::filesystem::path& readOnly,
                                                support::Command all) const {
        const Arguments words{
            "unshare",
            "-rm",
            "sh",
            "-c",
            "mount --bind \"$0\" \"$0\" && mount -o remount,bind,ro \"$0\" && exec \"$@\"; exit 77",
            readOnly};
        all.arguments.insert(all.arguments.begin(), words.begin(), words.end());
        support::Outcome outcome = support::run(all);
        const bool isForbidden = outcome.errors.find("unshare: ") != std::string::npos;
        if (outcome.exitCode == 77 || isForbidden) return std::nullopt;
        return outcome;
    }
    // url: of the collection; empty: the server's own.
    void pair(const std::string& person, const std::string& url = {}) const {
        std::filesystem::create_directory(folder(person));
        const auto outcome =
            run(person, {"sync", "-y", folder(person), url.empty() ? server.url("t/") : url});
        ASSERT_EQ(outcome.exitCode, exitDone) << outcome.errors;
    }
    support::Outcome sync(const std::string& person, const Arguments& more = {}) const {
        Arguments all{"sync", "--quiet", "--timeout", "3", folder(person)};
        all.insert(all.end(), more.begin(), more.end());
        return run(person, all);
    }

    // So long ago that nobody waits for it to be whole, and each at another moment.
    void makeOld(const std::filesystem::path& file) const {
        const auto now = std::filesystem::file_time_type::clock::now();
        std::error_code gone;  // meanwhile
        std::filesystem::last_write_time(
            file, now - std::chrono::hours(5) + std::chrono::milliseconds(1500) * ++writes_, gone);
    }
    void makeOldThere(const std::string& path) const {
        if (server.bearsOtherDates()) makeOld(there() / path);
    }
    void write(const std::filesystem::path& file, const std::string& content) const {
        std::filesystem::create_directories(file.parent_path());
        writeFile(file, content);
        makeOld(file);
    }
    // By somebody who asks the server itself, and has no lock.
    int ask(const std::string& method, const std::string& path, const std::string& fields = {},
            const std::string& body = {}) const {
        const std::string reply = support::ask(server.port(), method, "/t/" + path, fields, body);
        return std::atoi(reply.substr(9, 3).c_str());
    }
    int storeThere(const std::string& path, const std::string& content) const {
        const int status = ask("PUT", path, {}, content);
        if (status < 300) makeOldThere(path);
        return status;
    }

    static bool isOurOwn(const std::string& path) { return path.find(".DAV") != path.npos; }
    static Files filesIn(const std::filesystem::path& root) {
        Files found;
        std::error_code none;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root, none)) {
            const std::string path = entry.path().lexically_relative(root);
            if (isOurOwn(path) || entry.is_symlink(none)) continue;
            try {
                found[path] = entry.is_directory(none) ? "/" : support::readFile(entry.path());
            } catch (const std::exception&) {  // it has another name by now, of a run that goes on
                found.erase(path);
            }
        }
        return found;
    }
    // On the server, in the folders and in the stores of all.
    std::set<std::string> contentsAnywhere() const {
        std::set<std::string> contents;
        for (const auto& root : {there(), work.path()})
            for (const auto& [path, content] : filesIn(root))
                if (path.find(".quillon-scratch-") == path.npos) contents.insert(content);
        for (const auto& person : std::filesystem::directory_iterator(home.path()))
            for (const auto& [path, content] : filesIn(person.path() / "quillon/sync/store"))
                contents.insert(content);
        return contents;
    }
    void nothingIsLost(const std::set<std::string>& before) const {
        const std::set<std::string> after = contentsAnywhere();
        for (const std::string& content : before)
            EXPECT_TRUE(after.contains(content)) << "lost: " << content.substr(0, 60);
    }
    // What a run must not leave, however it ended.
    void nothingIsLeft(const std::string& person) const {
        for (const auto& root : {there(), folder(person)})
            for (const auto& [path, content] : filesIn(root))
                EXPECT_EQ(path.find(".quillon-"), path.npos) << path;
        EXPECT_EQ(lockTokens(server, "", "/t/"), Arguments());
    }

private:
    const std::unique_ptr<const support::Server> owned_;
    mutable int64_t writes_ = 0;

protected:
    const support::Server& server;
};

}  // namespace quillon::cli
