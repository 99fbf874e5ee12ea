// The program.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "cli/command.hpp"
#include "cli/interrupt.hpp"
#include "cli/report.hpp"
#include "cli/terminal.hpp"

namespace quillon::cli {
namespace {

void describe(CLI::App& program, CommonOptions& options) {
    program.name("quillon");
    program.set_version_flag("--version", "quillon " QUILLON_VERSION);
    program.require_subcommand(1);
    program.fallthrough();
    program.failure_message([](const CLI::App* given, const CLI::Error& problem) {
        const auto commands = given->get_subcommands();
        const std::string command = commands.empty() ? "" : " " + commands.front()->get_name();
        return fmt::format("quillon: {}\nSee quillon{} --help.\n", problem.what(), command);
    });
    addCommonOptions(program, options);
    program.footer(
        "A URL is typed as it is read: blanks and letters of any script are encoded, a valid\n"
        "escape such as %20 stays, and ? and # are characters of a name. A final slash means a\n"
        "collection.\n\n"
        "Passwords come from --password-file, the netrc file, or the terminal.\n\n"
        "Examples:\n"
        "  quillon ls -l https://example.org/dav/\n"
        "  quillon get \"https://example.org/dav/My report.txt\"\n"
        "  quillon --user ann ls https://example.org/dav/private/\n\n" +
        exitCodeHelp());
}

// Other people see the arguments of a process: credentials in URLs do not stay there.
void hideCredentials(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        char* host = std::strstr(argv[i], "://");
        if (host == nullptr) continue;
        host += 3;
        for (char* at = host + std::strcspn(host, "/"); at > host; --at) {
            if (at[-1] != '@') continue;
            std::memset(host, '*', static_cast<size_t>(at - 1 - host));
            break;
        }
    }
}

// A full disk shows when the last bytes are written.
int withOutputWritten(int code) {
    const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (written || code != EXIT_DONE) return code;
    if (errno != EPIPE) {
        complain(fmt::format("cannot write to the standard output: {}", std::strerror(errno)));
    }
    return EXIT_LOCAL;
}

int runProgram(int argc, char** argv) {
    CLI::App program("WebDAV at the command line: list, fetch, change and write back");
    Invocation invocation;
    describe(program, invocation.common);
    addLs(program, invocation);
    addInfo(program, invocation);
    addGet(program, invocation);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& problem) {
        return program.exit(problem) == 0 ? EXIT_DONE : EXIT_USAGE;
    }
    hideCredentials(argc, argv);
    Session session(invocation.common);
    return withOutputWritten(invocation.run(session));
}

}  // namespace
}  // namespace quillon::cli

int main(int argc, char** argv) {
    using namespace quillon::cli;
    prepareLocale();
    catchInterrupts();
    try {
        return runProgram(argc, argv);
    } catch (const std::exception& problem) {
        complain(problem.what());
        return EXIT_LOCAL;
    }
}
