// A server for shell scripts: prints "URL user password" in one line, then runs until SIGTERM,
// SIGINT, or the end of a pipe or terminal on standard input.
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <functional>
#include <stdexcept>

#include "tests/support/apache.hpp"
#include "tests/support/certificates.hpp"
#include "tests/support/delay_proxy.hpp"
#include "tests/support/files.hpp"
#include "tests/support/lighttpd.hpp"
#include "tests/support/nginx.hpp"
#include "tests/support/rclone.hpp"

namespace support {
namespace {

constexpr auto usage =
    "testserver apache|lighttpd|nginx|rclone [--directory DIR] [--port-file FILE]\n"
    "           apache also takes: [--auth basic|digest] [--tls] [--without-locks]\n"
    "           with --tls a second line names the authority's certificate;\n"
    "           at its end it tells how many requests came over how many connections\n"
    "testserver delay-proxy PORT MILLISECONDS [--port-file FILE]\n";

struct Arguments {
    std::string kind;
    std::vector<std::string> plain;
    std::filesystem::path portFile;
    ApacheOptions options;
};

Authentication authenticationNamed(const std::string& name) {
    if (name == "basic") return Authentication::basic;
    if (name == "digest") return Authentication::digest;
    throw std::invalid_argument(usage);
}

Arguments parse(const std::vector<std::string>& words) {
    Arguments result;
    for (auto word = words.begin(); word != words.end(); ++word) {
        auto value = [&] {
            if (++word == words.end()) throw std::invalid_argument(usage);
            return *word;
        };
        if (*word == "--directory")
            result.options.documentRoot = value();
        else if (*word == "--port-file")
            result.portFile = value();
        else if (*word == "--auth")
            result.options.authentication = authenticationNamed(value());
        else if (*word == "--tls")
            result.options.tls = true;
        else if (*word == "--without-locks")
            result.options.withoutLocks = true;
        else if (word->starts_with("--"))
            throw std::invalid_argument(usage);
        else
            result.plain.push_back(*word);
    }
    if (result.plain.empty()) throw std::invalid_argument(usage);
    result.kind = result.plain[0];
    return result;
}

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

void serve(const Arguments& arguments, int signals, uint16_t port, const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
    if (!arguments.portFile.empty()) writeFile(arguments.portFile, std::to_string(port) + "\n");
    pollfd ready[] = {{signals, POLLIN, 0}, {inputCounts() ? 0 : -1, POLLIN, 0}};
    for (char sink[256]; poll(ready, 2, -1) >= 0 && !ready[0].revents;)
        if (ready[1].revents && read(0, sink, sizeof sink) <= 0) return;
}

void serveApache(const Arguments& arguments, int signals) {
    Apache server(arguments.options);
    const auto& [user, password] = server.account();
    std::string line = server.url();
    if (arguments.options.authentication != Authentication::none)
        line.append(" ").append(user).append(" ").append(password);
    if (arguments.options.tls) line.append("\n").append(certificates().authority.string());
    serve(arguments, signals, server.port(), line);
    std::printf("%zu requests over %d connections\n", server.accessLog().size(),
                server.connections());
}

template <class Server>
void serveOther(const Arguments& arguments, int signals) {
    Server server(arguments.options.documentRoot);
    serve(arguments, signals, server.port(), server.url());
}

void serveDelayed(const Arguments& arguments, int signals) {
    if (arguments.plain.size() != 3) throw std::invalid_argument(usage);
    DelayProxy proxy(static_cast<uint16_t>(std::stoi(arguments.plain[1])),
                     Duration(std::stoi(arguments.plain[2])));
    serve(arguments, signals, proxy.port(),
          "http://127.0.0.1:" + std::to_string(proxy.port()).append("/"));
}

int runServer(const std::vector<std::string>& words) {
    const std::map<std::string, std::function<void(const Arguments&, int)>> kinds{
        {"apache", serveApache},
        {"lighttpd", serveOther<Lighttpd>},
        {"nginx", serveOther<Nginx>},
        {"rclone", serveOther<Rclone>},
        {"delay-proxy", serveDelayed}};
    Arguments arguments = parse(words);
    auto kind = kinds.find(arguments.kind);
    if (kind == kinds.end()) throw std::invalid_argument(usage);
    kind->second(arguments, blockedSignals());
    return 0;
}

}  // namespace
}  // namespace support

int main(int count, char** words) {
    try {
        return support::runServer({words + 1, words + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
