#include "cli/terminal/print.hpp"

#include <atomic>
#include <cerrno>
#include <cstdio>

namespace quillon::cli {
namespace {

std::atomic<int> firstError = 0;

int noteOutcome(bool taken) {
    if (taken) return 0;
    int none = 0;
    const int error = errno;
    firstError.compare_exchange_strong(none, error);
    return error;
}

}  // namespace

int writeOut(std::string_view text) {
    return noteOutcome(std::fwrite(text.data(), 1, text.size(), stdout) == text.size());
}

int writeErrors(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stderr) == text.size() ? 0 : errno;
}

int flushOut() {
    return noteOutcome(std::fflush(stdout) == 0);
}

int outputError() {
    return firstError;
}

}  // namespace quillon::cli
