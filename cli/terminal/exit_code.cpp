#include "cli/terminal/exit_code.hpp"

#include <fmt/format.h>

#include <string_view>

namespace quillon::cli {
namespace {

struct Row {
    ExitCode code;
    std::string_view meaning;
};

constexpr Row rows[] = {
    {exitDone, "success"},
    {exitRefused, "the server refuses it, or something is there already"},
    {exitUsage, "the command line, a URL or a name makes no sense"},
    {exitNotFound, "no such member or collection"},
    {exitNotAuthorized,
     "user name, password, token, certificate or its passphrase are wrong or missing"},
    {exitLocked, "locked by somebody else"},
    {exitChanged, "changed meanwhile, on the server or here; nothing was overwritten"},
    {exitNetwork, "no connection, no complete answer, or a server that failed"},
    {exitLocal, "this machine: files, disk, memory, installation"},
    {exitInterrupted, "interrupted by a signal"},
    {exitUnread, "nobody reads the output any more, ended by SIGPIPE"},
};

}  // namespace

ExitCode exitCode(Kind kind) {
    switch (kind) {
        case Kind::refused:
            return exitRefused;
        case Kind::usage:
            return exitUsage;
        case Kind::notFound:
            return exitNotFound;
        case Kind::notAuthorized:
            return exitNotAuthorized;
        case Kind::locked:
            return exitLocked;
        case Kind::changedOnServer:
        case Kind::changedHere:
            return exitChanged;
        case Kind::network:
            return exitNetwork;
        case Kind::local:
            return exitLocal;
        case Kind::interrupted:
            return exitInterrupted;
    }
    return exitLocal;
}

std::string exitCodeHelp() {
    std::string text = "Exit codes:\n";
    for (const Row& row : rows) {
        text += fmt::format("  {:<4} {}\n", static_cast<int>(row.code), row.meaning);
    }
    return text;
}

}  // namespace quillon::cli
