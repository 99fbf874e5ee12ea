#include "cli/interrupt.hpp"

#include <signal.h>
#include <unistd.h>

#include "cli/exit_code.hpp"

namespace quillon::cli {
namespace {

std::atomic<bool> flag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

volatile sig_atomic_t latest = 0;

void onSignal(int number) {
    latest = number;
    if (flag.exchange(true)) _exit(EXIT_INTERRUPTED);
}

}  // namespace

void catchInterrupts() {
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);  // nohup stays
    }
    // A reader of our output that went away shows as a failed write, not as a sudden end that would
    // leave locks behind.
    signal(SIGPIPE, SIG_IGN);
}

const std::atomic<bool>& interruptFlag() {
    return flag;
}

bool forgetInterrupt() {
    if (!flag || latest != SIGINT) return false;
    flag = false;
    return true;
}

}  // namespace quillon::cli
