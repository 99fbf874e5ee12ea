// A server for shell scripts: prints "URL user password" in one line, then runs until SIGTERM,
// SIGINT, or the end of a pipe or terminal on standard input.
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>

#include "tests/support/apache.hpp"
#include "tests/support/certificates.hpp"

namespace support {
namespace {

int blockedSignals() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    return signalfd(-1, &ends, SFD_CLOEXEC);
}

// A script's background job has /dev/null as standard input, whose end means nothing.
bool inputCounts() {
    struct stat status {};
    return isatty(0) || (fstat(0, &status) == 0 && S_ISFIFO(status.st_mode));
}

struct TestServer {
    void serve(const std::string& line) const {
        std::puts(line.c_str());
        std::fflush(stdout);
        pollfd ready[] = {{signals, POLLIN, 0}, {inputCounts() ? 0 : -1, POLLIN, 0}};
        for (char sink[256]; poll(ready, 2, -1) >= 0 && !ready[0].revents;)
            if (ready[1].revents && read(0, sink, sizeof sink) <= 0) return;
    }

    void serveApache() const {
        const Apache server(options);
        const auto& [user, password] = server.account();
        std::string line = server.url();
        if (options.authentication != Authentication::none)
            line.append(" ").append(user).append(" ").append(password);
        if (options.tls) line.append("\n").append(certificates().authority.string());
        serve(line);
        std::printf("%zu requests over %d connections\n", server.accessLog().size(),
                    server.connections());
    }

    template <class Server>
    void serveOther() const {
        const Server server(options.documentRoot);
        serve(server.url());
    }

    ApacheOptions options{};
    int signals = blockedSignals();
};

int runServer(int count, char** words) {
    TestServer test;
    CLI::App app("Servers on 127.0.0.1");
    app.require_subcommand(1)->fallthrough();
    app.add_option("--directory", test.options.documentRoot, "of the members");
    const auto kind = [&](const char* name, const char* about, void (TestServer::*run)() const) {
        return app.add_subcommand(name, about)->final_callback([&test, run] { (test.*run)(); });
    };
    auto* apache =
        kind("apache", "at its end tells its requests and connections", &TestServer::serveApache);
    const std::map<std::string, Authentication> schemes{{"basic", Authentication::basic},
                                                        {"digest", Authentication::digest}};
    apache->add_option("--auth", test.options.authentication)
        ->transform(CLI::CheckedTransformer(schemes));
    apache->add_flag("--tls", test.options.tls, "a second line names the authority's certificate");
    apache->add_flag("--without-locks", test.options.withoutLocks);
    kind("lighttpd", "mod_webdav", &TestServer::serveOther<Lighttpd>);
    kind("nginx", "dav and dav-ext", &TestServer::serveOther<Nginx>);
    kind("rclone", "serve webdav", &TestServer::serveOther<Rclone>);
    CLI11_PARSE(app, count, words);
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
