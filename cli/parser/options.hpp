// Options that every command takes, or several.
#pragma once

#include <cstddef>
#include <string>

#include "cli/parser/parser.hpp"

namespace quillon::cli {

struct CommonOptions {
    std::string user;
    std::string passwordFile;  // "-": standard input
    std::string proxy;
    std::string caFile;
    bool insecure = false;
    bool insecureBasic = false;  // a site's: no warning of passwords that go over http
    int timeoutSeconds = 0;      // 0: the defaults
    int verbosity = 0;           // 1: the extension's log, 2: the requests too
};

void addCommonOptions(CommandDefinition program, CommonOptions& options);

// How many members at a time; the default is part of its help.
void addJobsOption(CommandDefinition command, size_t& jobs, const std::string& theDefault);

}  // namespace quillon::cli
