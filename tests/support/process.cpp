#include "tests/support/process.hpp"

#include <fcntl.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace support {
namespace {

// The result of a system call that must succeed, with -1 and errno for a failure.
int checked(ssize_t result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return static_cast<int>(result);
}

// As env(1) starts it. Tests that a shell runs in its background ignore SIGINT, and would hand that
// on, but for --default-signal.
std::vector<std::string> wordsOf(const Command& command) {
    std::vector<std::string> words{"env", "--default-signal"};
    if (!command.directory.empty()) words.push_back("--chdir=" + command.directory.string());
    for (const auto& [name, value] : command.environment) words.push_back(name + "=" + value);
    words.insert(words.end(), command.arguments.begin(), command.arguments.end());
    return words;
}

// In the child, after fork: nothing that allocates, since other threads may hold the heap's lock.
[[noreturn]] void execute(char* const* words) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const sigset_t none{};
    sigprocmask(SIG_SETMASK, &none, nullptr);
    close_range(3, ~0U, 0);  // a connection that the parent closes must end
    execvp(words[0], words);
    _exit(127);
}

int inputPipe(const std::string& input) {
    int ends[2];
    checked(pipe2(ends, O_CLOEXEC), "pipe");
    checked(fcntl(ends[1], F_SETPIPE_SZ, 1 << 20), "the size of a pipe");
    checked(write(ends[1], input.data(), input.size()), "write");
    close(ends[1]);
    return ends[0];
}

// Appends what is there behind `into`. A terminal has no places, and tells nothing twice.
void takeIn(int fd, std::string& into) {
    char piece[65536];
    for (ssize_t count = 1; count > 0;) {
        count = pread(fd, piece, sizeof piece, static_cast<off_t>(into.size()));
        if (count < 0 && errno == ESPIPE) count = read(fd, piece, sizeof piece);
        if (count > 0) into.append(piece, static_cast<size_t>(count));
    }
}

}  // namespace

RunningProcess::RunningProcess(const Command& command, Streams streams) {
    std::vector<std::string> words = wordsOf(command);
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    if (streams == Streams::terminal) {
        const winsize size{24, 80, 0, 0};
        pid_ = checked(forkpty(&out_, nullptr, nullptr, &size), "forkpty");
        if (pid_ == 0) execute(pointers.data());
        fcntl(out_, F_SETFL, O_NONBLOCK);
        send(command.input);
        return;
    }
    // Files take what is written without anybody who reads meanwhile.
    out_ = checked(memfd_create("output", MFD_CLOEXEC), "memfd_create");
    err_ = checked(memfd_create("errors", MFD_CLOEXEC), "memfd_create");
    const int in = inputPipe(command.input);
    pid_ = checked(fork(), "fork");
    if (pid_ == 0) {
        setsid();
        dup2(in, 0);
        dup2(out_, 1);
        dup2(err_, 2);
        execute(pointers.data());
    }
    close(in);
}

RunningProcess::~RunningProcess() {
    kill(-pid_, SIGKILL);
    if (!reaped_) waitpid(pid_, nullptr, 0);
    close(out_);
    close(err_);
}

bool RunningProcess::running() {
    if (reaped_) return false;
    int status = 0;
    rusage used{};
    reaped_ = checked(wait4(pid_, &status, WNOHANG, &used), "wait4") == pid_;
    takeIn(out_, outcome_.output);
    takeIn(err_, outcome_.errors);
    if (reaped_ && WIFEXITED(status)) outcome_.exitCode = WEXITSTATUS(status);
    outcome_.peakKiB = used.ru_maxrss;
    return !reaped_;
}

void RunningProcess::signal(int number) const {
    if (!reaped_) kill(pid_, number);
}

void RunningProcess::send(std::string_view text) const {
    checked(write(out_, text.data(), text.size()), "the terminal");
}

bool RunningProcess::expect(std::string_view text) {
    size_t at = std::string::npos;
    eventually([&] {
        const bool ended = !running();
        at = outcome_.output.find(text, found_);
        return ended || at != std::string::npos;
    });
    if (at != std::string::npos) found_ = at + text.size();
    return at != std::string::npos;
}

std::optional<Outcome> RunningProcess::wait(Duration deadline) {
    if (eventually([this] { return !running(); }, deadline)) return outcome_;
    return std::nullopt;
}

bool eventually(const std::function<bool()>& condition, Duration deadline) {
    for (const auto end = Clock::now() + deadline; !condition();) {
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

Outcome run(const Command& command) {
    RunningProcess process(command);
    if (auto outcome = process.wait()) return *outcome;
    throw std::runtime_error(command.arguments[0] +
                             " does not end; it printed: " + process.output() + process.errors());
}

std::string runChecked(const Command& command) {
    const Outcome outcome = run(command);
    if (outcome.exitCode == 0) return outcome.output;
    throw std::runtime_error(command.arguments[0] + " failed: " + outcome.output + outcome.errors);
}

}  // namespace support
