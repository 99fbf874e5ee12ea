// A private Apache for shell scripts: prints "URL user password" in one line, then runs until
// SIGTERM, SIGINT, or the end of the process that started it.
#include <getopt.h>
#include <sys/prctl.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>

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

constexpr auto help =
    "A private Apache on 127.0.0.1; at its end it tells its requests and connections\n"
    "Usage: testserver [OPTIONS]\n"
    "  --directory DIRECTORY   of the members\n"
    "  --auth basic|digest     takes a user and a password\n"
    "  --without-locks         is of DAV class 1\n";

int runServer(int count, char** words) {
    const option names[] = {{"directory", required_argument, nullptr, 'd'},
                            {"auth", required_argument, nullptr, 'a'},
                            {"without-locks", no_argument, nullptr, 'w'},
                            {"help", no_argument, nullptr, 'h'},
                            {nullptr, 0, nullptr, 0}};
    ApacheOptions options;
    for (int given = 0; (given = getopt_long(count, words, "", names, nullptr)) != -1;) {
        const std::string_view value = optarg == nullptr ? "" : optarg;
        if (given == 'd') {
            options.documentRoot = value;
        } else if (given == 'w') {
            options.withoutLocks = true;
        } else if (given == 'a' && value == "basic") {
            options.authentication = Authentication::basic;
        } else if (given == 'a' && value == "digest") {
            options.authentication = Authentication::digest;
        } else {
            std::fputs(help, given == 'h' ? stdout : stderr);
            return given == 'h' ? 0 : 2;
        }
    }
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
