// Options that every command takes, or several.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "cli/parser/access_options.hpp"
#include "cli/parser/parser.hpp"
#include "client/result.hpp"
#include "client/time.hpp"

namespace quillon::cli {

// Fails with Kind::usage for a name that hides a password.
Result<void> checkUserName(std::string_view name);

struct CommonOptions {
    std::string user;
    std::string passwordFile;                  // "-": standard input
    std::vector<std::string> passwordCommand;  // a site's: the program and its arguments
    std::string proxy;
    std::string proxyAuth;
    std::string proxyCaFile;
    std::string noProxy;
    std::string caFile;
    bool insecure = false;
    AccessOptions access;
    bool insecureBasic = false;  // a site's: no warning of passwords that go over http
    std::string basicUrl;        // a site's, which is known to ask for Basic below it
    uint64_t mostSpeed = 0;      // bytes a second; 0: no limit
    int timeoutSeconds = 0;      // 0: the defaults
    int verbosity = 0;           // 1: words, 2: the requests, 3: the whole log
};

// Of a line on which the teller, such as "--token-file", says who it is: fails with Kind::usage for
// a user or a password beside it, be it a user that stands in a URL, which would go unheard.
Result<void> checkSoleTeller(const CommonOptions& options, std::string_view teller,
                             bool urlHasUser = false);

// What the options of a whole line are together, and beside a URL. Fails with Kind::usage.
Result<void> checkCommonOptions(const CommonOptions& options, std::string_view userInUrl = {});

void addCommonOptions(CommandDefinition program, CommonOptions& options);

// How many members at a time; the default is part of its help.
void addJobsOption(CommandDefinition command, size_t& jobs, const std::string& theDefault);

// An option that takes a point in time (time_argument.hpp). The time must live as long as the
// command.
OptionDefinition addTimeOption(CommandDefinition command, const std::string& name,
                               std::optional<Time>& time, const std::string& meaning);

inline constexpr auto timeHelp =
    "TIME is an age (90s, 30m, 12h, 7d, 2w), a local time (2026-11-24, \"2026-11-24 20:32\") or\n"
    "one with its zone (2026-11-24T20:32:05Z).\n";

}  // namespace quillon::cli
