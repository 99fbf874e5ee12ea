#include "cli/terminal/foreground.hpp"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"

extern char** environ;

namespace quillon::cli {
namespace {

constexpr int notFoundCode = 127;
constexpr int notRunCode = 126;
constexpr int bySignalCode = 128;

constexpr std::string_view usualEditor =
    "command -v sensible-editor >/dev/null && exec sensible-editor \"$@\"; exec vi \"$@\"";

sigset_t setOf(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers) sigaddset(&set, number);
    return set;
}

// Ours while another program has the terminal: the keys that send signals mean that program, and
// the signals that mean us are let in only where we wait for them.
class SignalsAside {
public:
    SignalsAside() {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        sigaction(SIGINT, &ignore, &interrupt_);
        sigaction(SIGQUIT, &ignore, &quit_);
        const sigset_t ends = setOf({SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGXCPU});
        sigprocmask(SIG_BLOCK, &ends, &mask_);
    }
    SignalsAside(const SignalsAside&) = delete;
    SignalsAside& operator=(const SignalsAside&) = delete;
    ~SignalsAside() {
        sigaction(SIGINT, &interrupt_, nullptr);
        sigaction(SIGQUIT, &quit_, nullptr);
        sigprocmask(SIG_SETMASK, &mask_, nullptr);
    }
    const sigset_t& maskBefore() const { return mask_; }

private:
    struct sigaction interrupt_ {};
    struct sigaction quit_ {};
    sigset_t mask_{};
};

std::vector<char*> pointers(const std::vector<std::string>& words) {
    std::vector<char*> list;
    list.reserve(words.size() + 1);
    for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
    list.push_back(nullptr);
    return list;
}

std::vector<std::string> environmentWith(const std::vector<std::string>& more) {
    std::vector<std::string> all(more);
    for (char** entry = environ; *entry != nullptr; ++entry) all.emplace_back(*entry);
    return all;
}

// 0 or an errno.
int start(pid_t& pid, const std::vector<std::string>& words,
          const std::vector<std::string>& environment, const sigset_t& mask, int inherited) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, inherited, inherited);  // without close-on-exec
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    const sigset_t defaults =
        setOf({SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGXCPU, SIGPIPE, SIGXFSZ});
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setsigmask(&attributes, &mask);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    const int failed = posix_spawnp(&pid, words.front().c_str(), &actions, &attributes,
                                    pointers(words).data(), pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return failed;
}

// A signal that comes before the wait is not lost: it stays blocked until then.
int waitFor(pid_t pid, const sigset_t& mask, const std::function<void()>& eachSecond) {
    constexpr timespec second{1, 0};
    const int watched = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    bool handedOn = false;
    for (;;) {
        pollfd ended{watched, POLLIN, 0};
        const int ready = watched < 0 ? 1 : ppoll(&ended, 1, &second, &mask);
        if (interrupted() && !handedOn) {
            kill(pid, SIGTERM);
            handedOn = true;
        }
        if (ready > 0) break;
        if (ready == 0) eachSecond();
    }
    if (watched >= 0) close(watched);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? bySignalCode + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

int runForeground(const std::vector<std::string>& words, int inherited,
                  const std::function<void()>& eachSecond,
                  const std::vector<std::string>& moreEnvironment) {
    const SignalsAside aside;
    pid_t pid = 0;
    const int failed =
        start(pid, words, environmentWith(moreEnvironment), aside.maskBefore(), inherited);
    if (failed == 0) return waitFor(pid, aside.maskBefore(), eachSecond);
    complain(fmt::format("cannot run {}: {}", words.front(), std::strerror(failed)));
    return failed == ENOENT ? notFoundCode : notRunCode;
}

std::vector<std::string> editorWords(const std::string& file) {
    for (const char* name : {"VISUAL", "EDITOR"}) {
        const char* editor = std::getenv(name);
        if (editor == nullptr || *editor == '\0') continue;
        return {"sh", "-c", std::string(editor) + " \"$@\"", editor, file};
    }
    return {"sh", "-c", std::string(usualEditor), "editor", file};
}

}  // namespace quillon::cli
