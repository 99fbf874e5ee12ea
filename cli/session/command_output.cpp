#include "cli/session/command_output.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>

#include "cli/session/prompt.hpp"
#include "cli/session/sources.hpp"
#include "cli/terminal/ended_with_us.hpp"
#include "cli/terminal/process.hpp"
#include "platform/base/descriptor.hpp"

extern char** environ;

namespace quillon::cli {
namespace {

using vxhost::Descriptor;

constexpr size_t mostOutputBytes = 64 << 10;
constexpr int untilKilledMs = 1000;

bool mayRun = true;

struct Pipe {
    Descriptor out, in;
};

Pipe makePipe() {
    int both[2] = {-1, -1};
    (void)pipe2(both, O_CLOEXEC);
    return {Descriptor(both[0], "pipe"), Descriptor(both[1], "pipe")};
}

// A command of ours, until it has ended: it is never left behind.
class Running {
public:
    // 0 or an errno.
    int start(const std::vector<std::string>& words, int input, int output) {
        std::vector<char*> list;
        list.reserve(words.size() + 1);
        for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
        list.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t defaults;
        sigemptyset(&defaults);
        for (const int number : {SIGPIPE, SIGXFSZ}) sigaddset(&defaults, number);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        // At a terminal it is of our group, which alone may read there and gets Ctrl-C together.
        const bool isAlone = !canPrompt();
        const int group = isAlone ? POSIX_SPAWN_SETPGROUP : 0;  // one of its own
        posix_spawnattr_setflags(&attributes, static_cast<short>(POSIX_SPAWN_SETSIGDEF | group));
        const int failed =
            posix_spawnp(&pid_, list.front(), &actions, &attributes, list.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        if (failed != 0) pid_ = -1;
        target_ = isAlone ? -pid_ : pid_;
        if (failed == 0) withUs_.emplace(target_);
        const long ended = failed == 0 ? syscall(SYS_pidfd_open, pid_, 0) : -1;
        if (ended >= 0) ended_.emplace(static_cast<int>(ended), "process");
        return failed;
    }

    ~Running() {
        if (pid_ < 0) return;
        kill(target_, SIGTERM);
        // Who does not listen is ended all the same: a person waits.
        pollfd end{ended(), POLLIN, 0};
        if (ended() >= 0) poll(&end, 1, untilKilledMs);
        kill(target_, SIGKILL);
        (void)reap();
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
        withUs_.reset();  // before its number may be another's
        int status = 0;
        while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    pid_t pid_ = -1;
    pid_t target_ = 0;  // for kill(): its group, or itself
    std::optional<EndedWithUs> withUs_;
    std::optional<Descriptor> ended_;
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
        return commandError(words, key, fmt::format("cannot be run: {}", std::strerror(failed)));
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
