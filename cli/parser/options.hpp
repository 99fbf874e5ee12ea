// Options that every command takes.
#pragma once

#include <string>

namespace CLI {
class App;
class Validator;
}  // namespace CLI

namespace quillon::cli {

struct CommonOptions {
    std::string user;
    std::string passwordFile;  // "-": standard input
    std::string proxy;
    std::string caFile;
    bool insecure = false;
    int timeoutSeconds = 0;  // 0: the defaults
    int verbosity = 0;       // 1: the extension's log, 2: the requests too
};

// Of an option's value: a variable of a script that was never set is no value.
CLI::Validator notEmpty();

void addCommonOptions(CLI::App& program, CommonOptions& options);

}  // namespace quillon::cli
