// The program as a person has it, in a home of its own.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/files.hpp"
#include "tests/support/process.hpp"
#include "tests/support/temporary_directory.hpp"

namespace quillon::cli {

using Arguments = std::vector<std::string>;

class ProgramTest : public testing::Test {
protected:
    support::Command command(Arguments arguments) const {
        arguments.insert(arguments.begin(), QUILLON_PROGRAM);
        return {std::move(arguments),
                {{"HOME", home.path()},
                 {"XDG_CACHE_HOME", home / "cache"},
                 {"XDG_CONFIG_HOME", home / "config"},
                 {"NETRC", home / "netrc"},
                 {"LC_ALL", "C.UTF-8"},
                 {"TZ", "UTC"}},
                {},
                work.path()};
    }
    support::Outcome quillon(Arguments arguments) const {
        return support::run(command(std::move(arguments)));
    }

    // What the program leaves in the cache and in the working directory.
    std::vector<std::string> cacheDirectories() const { return names(home / "cache"); }
    std::vector<std::string> localFiles() const { return names(work.path()); }

    support::TemporaryDirectory home;
    support::TemporaryDirectory work;

private:
    static std::vector<std::string> names(const std::filesystem::path& folder) {
        std::vector<std::string> found;
        if (!std::filesystem::exists(folder)) return found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
            if (folder.filename() != "cache" || entry.path().filename() != "quillon") {
                found.push_back(entry.path().filename());
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }
};

}  // namespace quillon::cli
