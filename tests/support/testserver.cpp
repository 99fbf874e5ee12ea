// A private Apache for shell scripts: prints "URL user password" in one line, then runs until
// SIGTERM, SIGINT, or the end of the process that started it.
#include <sys/prctl.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/apache.hpp"
#include "tests/support/certificate.hpp"

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
    if (options.tls) std::puts(certificate().file.c_str());
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
    "  --tls                   over TLS; a second line has the file of its certificate\n"
    "  --http2                 the same, with HTTP/2 besides\n"
    "  --without-locks         is of DAV class 1\n";

int runServer(const std::vector<std::string>& words) {
    ApacheOptions options;
    for (size_t i = 1; i < words.size(); ++i) {
        if (words[i] == "--without-locks") {
            options.withoutLocks = true;
        } else if (words[i] == "--tls" || words[i] == "--http2") {
            options.tls = true;
            options.http2 = options.http2 || words[i] == "--http2";
        } else if (words[i] == "--directory" && i + 1 < words.size()) {
            options.documentRoot = words[++i];
        } else if (words[i] == "--auth" && i + 1 < words.size()) {
            const bool digest = words[++i] == "digest";
            options.authentication = digest ? Authentication::digest : Authentication::basic;
        } else {
            std::fputs(help, words[i] == "--help" ? stdout : stderr);
            return words[i] == "--help" ? 0 : 2;
        }
    }
    serve(options);
    return 0;
}

}  // namespace
}  // namespace support

int main(int count, char** words) {
    try {
        return support::runServer({words, words + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
