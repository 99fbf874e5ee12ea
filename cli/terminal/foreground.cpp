#include "cli/terminal/foreground.hpp"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/spawn.hpp"

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
        spawn(pid, words,
              {.descriptors = {{inherited, inherited}},  // without close-on-exec
               .defaults = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, SIGXCPU},
               .mask = &aside.maskBefore(),
               .moreEnvironment = moreEnvironment});
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
