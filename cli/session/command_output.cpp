#include "cli/session/command_output.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "cli/session/keep_command.hpp"
#include "cli/session/sources.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/spawn.hpp"
#include "platform/base/descriptor.hpp"

namespace quillon::cli {
namespace {

using vxhost::Descriptor;

constexpr size_t mostOutputBytes = 64 << 10;

bool mayRun = true;

struct Pipe {
    Descriptor out, in;
};

Pipe makePipe() {
    int both[2] = {-1, -1};
    (void)pipe2(both, O_CLOEXEC);
    return {Descriptor(both[0], "pipe"), Descriptor(both[1], "pipe")};
}

// A command of ours, until it has ended: it is never left behind, whatever becomes of us.
class Running {
public:
    // 0 or an errno.
    int start(std::vector<std::string> words, int input, int output) {
        int both[2] = {-1, -1};
        (void)socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, both);
        Descriptor its(both[0], "socket"), ours(both[1], "socket");
        words.insert(words.begin(), {"/proc/self/exe", std::string(keepWord)});
        int failed =
            spawn(pid_, words,
                  {.descriptors = {
                       {input, STDIN_FILENO}, {output, STDOUT_FILENO}, {its.number(), keepLine}}});
        if (failed != 0) return pid_ = -1, failed;
        its.shut();
        const long ended = syscall(SYS_pidfd_open, pid_, 0);
        if (ended >= 0) ended_.emplace(static_cast<int>(ended), "process");
        line_.emplace(std::move(ours));
        while (read(line_->number(), &failed, sizeof failed) < 0 && errno == EINTR) {
        }
        return failed;
    }

    ~Running() {
        line_.reset();  // who keeps it ends it, in a second at most: a person waits
        if (pid_ >= 0) (void)reap();
    }

    // Readable when it has; -1: nobody knows.
    int ended() const { return ended_ ? ended_->number() : -1; }

    // False: we are to end first.
    bool waitForEnd() const {
        siginfo_t none{};
        while (waitid(P_PID, static_cast<id_t>(pid_), &none, WEXITED | WNOWAIT) < 0 &&
               errno == EINTR) {
            if (interrupted()) return false;
        }
        return true;
    }

    // Its exit code, once it has ended; -1: a signal ended it.
    int reap() {
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;  // of who keeps it
    std::optional<Descriptor> ended_, line_;
};

bool isReady(int descriptor) {
    pollfd one{descriptor, POLLIN, 0};
    return poll(&one, 1, 0) > 0;
}

// Up to the end, or what was printed when the program ended: what it left running may keep the
// pipe. Gives false for too much.
Result<bool> readAll(const Descriptor& from, const Running& running, Secret& text) {
    for (;;) {
        pollfd both[] = {{from.number(), POLLIN, 0}, {running.ended(), POLLIN, 0}};
        const int ready = poll(both, 2, -1);
        if (interrupted()) return interruption();
        if (ready <= 0) continue;
        if (both[0].revents == 0 && !isReady(from.number())) return true;
        char piece[4096];
        const ssize_t got = read(from.number(), piece, sizeof piece);
        for (ssize_t i = 0; i < got; ++i) text.append(piece[i]);
        explicit_bzero(piece, sizeof piece);
        if (got <= 0) return true;
        if (text.size() > mostOutputBytes) return false;
    }
}

Error commandError(const std::vector<std::string>& words, std::string_view key,
                   std::string_view what) {
    return localError(Kind::local, fmt::format("{}, the {}, {}.", words.front(), key, what));
}

// A reader that has gone is told by its exit code. Less than a pipe holds is written at once.
void writeAll(const Descriptor& to, const Secret& input) {
    for (size_t at = 0; at < input.size();) {
        const ssize_t put = write(to.number(), input.data() + at, input.size() - at);
        if (put <= 0) return;
        at += static_cast<size_t>(put);
    }
}

}  // namespace

Result<Secret> outputOf(const std::vector<std::string>& words, std::string_view key,
                        const Secret& input) {
    if (!mayRun) return commandError(words, key, "is not run here");
    Pipe output = makePipe(), toIt = makePipe();
    const Descriptor nothing("/dev/null", O_RDONLY);
    Running running;
    const int from = input.empty() ? nothing.number() : toIt.out.number();
    if (const int failed = running.start(words, from, output.in.number()); failed != 0) {
        Error error =
            commandError(words, key, fmt::format("cannot be run: {}", std::strerror(failed)));
        if (failed == ENOENT && words.front().find(' ') != std::string::npos) {
            error.sentences.emplace_back(
                "The program is a word by itself, and so is each of its arguments, such as "
                "[\"pass\", \"show\", \"dav\"].");
        }
        return error;
    }
    output.in.shut();
    toIt.out.shut();  // or writing to who has gone would last for ever
    writeAll(toIt.in, input);
    toIt.in.shut();
    Secret text;
    const Result<bool> whole = readAll(output.out, running, text);
    if (!whole) return whole.error();
    if (!*whole) return commandError(words, key, "prints too much");
    if (!running.waitForEnd()) return interruption();
    const int code = running.reap();
    if (interrupted()) return interruption();
    if (code < 0) return commandError(words, key, "was ended by a signal");
    if (code > 0) return commandError(words, key, fmt::format("failed with exit code {}", code));
    return text;
}

Result<Secret> firstLineOf(const std::vector<std::string>& words, std::string_view key) {
    const Result<Secret> text = outputOf(words, key);
    if (!text) return text.error();
    std::string_view line = text->view().substr(0, text->view().find('\n'));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (line.empty()) return commandError(words, key, "printed nothing");
    return oneLine(Secret(line),
                   fmt::format("The first line that {}, the {}, prints", words.front(), key));
}

void neverRunCommands() {
    mayRun = false;
}

}  // namespace quillon::cli
