#include "cli/terminal/process.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "cli/terminal/exit_code.hpp"
#include "cli/terminal/last_words.hpp"

namespace quillon::cli {
namespace {

std::atomic<bool> flag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

volatile sig_atomic_t latest = 0;

std::atomic<bool> continued{false};

void onSignal(int number) {
    latest = number;
    if (flag.exchange(true)) {
        writeLastWords();
        _exit(exitInterrupted);
    }
    alarm(1);
}

// A call that began to wait just after the signal is interrupted, too.
void onAlarm(int) {
    if (flag) alarm(1);
}

void onContinue(int) {
    continued = true;
}

void handle(int number, void (*handler)(int), int flags = 0) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigemptyset(&action.sa_mask);
    sigaction(number, &action, nullptr);
}

}  // namespace

void occupyStandardStreams() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int flags = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", flags);
    }
}

void forbidCoreDumps() {
    // A limit of RLIMIT_CORE would be the editor's, too, and a core handler may not heed it.
    prctl(PR_SET_DUMPABLE, 0);
}

void catchInterrupts() {
    handle(SIGALRM, onAlarm);
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2, SIGXCPU}) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) handle(number, onSignal);  // nohup stays
    }
    handle(SIGCONT, onContinue, SA_RESTART);
    // A reader of our output that went away, or a limit on the size of files, shows as a failed
    // write, not as a sudden end that would leave locks behind.
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

void endBySigpipe() {
    signal(SIGPIPE, SIG_DFL);
    raise(SIGPIPE);
}

const std::atomic<bool>& interruptFlag() {
    return flag;
}

bool takeContinued() {
    return continued.exchange(false);
}

bool forgetInterrupt() {
    if (!flag || latest != SIGINT) return false;
    flag = false;
    return true;
}

}  // namespace quillon::cli
