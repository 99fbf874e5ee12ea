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
    {EXIT_DONE, "success"},
    {EXIT_REFUSED, "the server refuses it, or something is there already"},
    {EXIT_USAGE, "the command line, a URL or a name makes no sense"},
    {EXIT_NOT_FOUND, "no such member or collection"},
    {EXIT_NOT_AUTHORIZED, "user name or password are wrong or missing"},
    {EXIT_LOCKED, "locked by somebody else"},
    {EXIT_CHANGED, "changed on the server meanwhile; nothing was overwritten"},
    {EXIT_NETWORK, "no connection, no complete answer, or a server that failed"},
    {EXIT_LOCAL, "this machine: files, disk, memory, installation"},
    {EXIT_INTERRUPTED, "interrupted by a signal"},
    {EXIT_UNREAD, "nobody reads the output any more, ended by SIGPIPE"},
};

}  // namespace

ExitCode exitCode(Kind kind) {
    switch (kind) {
        case Kind::refused:
            return EXIT_REFUSED;
        case Kind::usage:
            return EXIT_USAGE;
        case Kind::notFound:
            return EXIT_NOT_FOUND;
        case Kind::notAuthorized:
            return EXIT_NOT_AUTHORIZED;
        case Kind::locked:
            return EXIT_LOCKED;
        case Kind::changedOnServer:
            return EXIT_CHANGED;
        case Kind::network:
            return EXIT_NETWORK;
        case Kind::local:
            return EXIT_LOCAL;
        case Kind::interrupted:
            return EXIT_INTERRUPTED;
    }
    return EXIT_LOCAL;
}

std::string exitCodeHelp() {
    std::string text = "Exit codes:\n";
    for (const Row& row : rows) {
        text += fmt::format("  {:<4} {}\n", static_cast<int>(row.code), row.meaning);
    }
    return text;
}

}  // namespace quillon::cli
