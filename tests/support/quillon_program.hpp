// The built program, run in a home of its own: no netrc file, configuration, proxy or language of
// the person who runs the tests takes part. For test programs of quillon_program_test(), which
// know where the program is.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/files.hpp"
#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"
#include "tests/support/web_dav_server.hpp"

namespace support {

class QuillonProgram {
public:
    QuillonProgram() { std::filesystem::create_directory(workingDirectory()); }

    // To run or change further: environment, input, directory.
    Command command(std::vector<std::string> arguments, std::string input = {}) const {
        arguments.insert(arguments.begin(), QUILLON_PROGRAM);
        return {std::move(arguments), environment(), std::move(input), workingDirectory()};
    }

    Outcome run(std::vector<std::string> arguments, std::string input = {}) const {
        return support::run(command(std::move(arguments), std::move(input)));
    }

    // Writes a netrc file, so that the account need not be named in each command.
    void logIn(const Account& account) const {
        writeFile(home_ / ".netrc", "machine 127.0.0.1\nlogin \"" + account.user +
                                        "\"\npassword \"" + account.password + "\"\n");
        std::filesystem::permissions(home_ / ".netrc", std::filesystem::perms::owner_read |
                                                           std::filesystem::perms::owner_write);
    }

    const std::filesystem::path& home() const { return home_.path(); }
    std::filesystem::path workingDirectory() const { return home_ / "work"; }

    // What it keeps while it runs, and must not leave behind: paths below its cache folder.
    std::vector<std::filesystem::path> leftInCache() const {
        std::vector<std::filesystem::path> left;
        auto cache = home_ / ".cache/quillon";
        if (!std::filesystem::exists(cache)) return left;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(cache))
            left.push_back(std::filesystem::relative(entry.path(), cache));
        return left;
    }

private:
    std::map<std::string, std::string> environment() const {
        std::map<std::string, std::string> result{{"HOME", home().string()},
                                                  {"XDG_CACHE_HOME", home_ / ".cache"},
                                                  {"XDG_CONFIG_HOME", home_ / ".config"},
                                                  {"LC_ALL", "C.UTF-8"},
                                                  {"TZ", "UTC"}};
        for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "HTTPS_PROXY",
                                 "ALL_PROXY", "no_proxy", "VISUAL", "EDITOR"})
            result[name] = "";
        return result;
    }

    TemporaryDirectory home_;
};

}  // namespace support
