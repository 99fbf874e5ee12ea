// A private Apache for shell scripts: prints "URL user password" in one line, then runs until
// SIGTERM, SIGINT, or the end of the process that started it.
#include <sys/prctl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>

#include "tests/support/apache.hpp"

namespace support {
namespace {

void serve(const ApacheOptions& options) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t ends{};
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    const Apache server(options);
    std::string line = server.url();
    if (options.authentication != Authentication::none)
        line.append(" ").append(options.account.user).append(" ").append(options.account.password);
    std::puts(line.c_str());
    std::fflush(stdout);
    int number = 0;
    sigwait(&ends, &number);
    const std::string requests = server.transcript();
    std::printf("%zd requests over %d connections\n",
                std::count(requests.begin(), requests.end(), '\n'), server.connections());
}

int runServer(int count, char** words) {
    CLI::App app("A private Apache on 127.0.0.1; at its end it tells its requests and connections");
    ApacheOptions options;
    app.add_option("--directory", options.documentRoot, "of the members");
    const std::map<std::string, Authentication> schemes{{"basic", Authentication::basic},
                                                        {"digest", Authentication::digest}};
    app.add_option("--auth", options.authentication)->transform(CLI::CheckedTransformer(schemes));
    app.add_flag("--without-locks", options.withoutLocks);
    CLI11_PARSE(app, count, words);
    serve(options);
    return 0;
}

}  // namespace
}  // namespace support

int main(int count, char** words) {
    try {
        return support::runServer(count, words);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
