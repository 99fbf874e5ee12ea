#include "tests/support/process.hpp"

#include <fcntl.h>
#include <pty.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace support {
namespace {

// The result of a system call that must succeed, with -1 and errno for a failure.
int checked(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

std::vector<std::string> environmentOf(const Command& command) {
    std::vector<std::string> all;
    for (const auto& [name, value] : command.environment) all.push_back(name + "=" + value);
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        if (!command.environment.contains(text.substr(0, text.find('=')))) all.push_back(text);
    }
    return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// In the child, after fork: nothing that allocates, since other threads may hold the heap's lock.
[[noreturn]] void execute(char* const* words, char* const* environment, const char* directory) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    // Tests that a shell runs in its background ignore SIGINT, and would hand that on.
    for (const int number : {SIGINT, SIGQUIT, SIGHUP}) signal(number, SIG_DFL);
    close_range(3, ~0U, 0);  // a connection that the parent closes must end
    if (chdir(directory) == 0) execvpe(words[0], words, environment);
    dprintf(2, "cannot run %s\n", words[0]);
    _exit(127);
}

int inputPipe(const std::string& input) {
    int ends[2];
    checked(pipe2(ends, O_CLOEXEC), "pipe");
    const auto size = static_cast<int>(input.size());
    if (size > 0) checked(fcntl(ends[1], F_SETPIPE_SZ, size), "a pipe for so much");
    checked(static_cast<int>(write(ends[1], input.data(), input.size())), "write");
    close(ends[1]);
    return ends[0];
}

// Appends what is there behind `into`: of a file, or of a terminal, which tells nothing twice.
void takeIn(int fd, bool isFile, std::string& into) {
    std::array<char, 65536> piece;
    ssize_t count;
    do {
        const auto behind = static_cast<off_t>(into.size());
        count = isFile ? pread(fd, piece.data(), piece.size(), behind)
                       : read(fd, piece.data(), piece.size());
        if (count > 0) into.append(piece.data(), static_cast<size_t>(count));
    } while (count > 0);
}

}  // namespace

RunningProcess::RunningProcess(const Command& command, Streams streams) {
    auto words = command.arguments, environment = environmentOf(command);
    const auto argv = pointers(words), envp = pointers(environment);
    const std::string directory = command.directory.empty() ? "." : command.directory.string();
    if (streams == Streams::terminal) {
        const winsize size{24, 80, 0, 0};
        pid_ = checked(forkpty(&terminal_, nullptr, nullptr, &size), "forkpty");
        if (pid_ == 0) execute(argv.data(), envp.data(), directory.c_str());
        fcntl(terminal_, F_SETFL, O_NONBLOCK);
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
        execute(argv.data(), envp.data(), directory.c_str());
    }
    close(in);
}

RunningProcess::~RunningProcess() {
    kill(-pid_, SIGKILL);
    if (!reaped_) waitpid(pid_, nullptr, 0);
    for (const int fd : {terminal_, out_, err_}) close(fd);
}

bool RunningProcess::running() {
    if (reaped_) return false;
    int status = 0;
    rusage used{};
    reaped_ = checked(wait4(pid_, &status, WNOHANG, &used), "wait4") == pid_;
    if (terminal_ >= 0) {
        takeIn(terminal_, false, outcome_.output);
    } else {
        takeIn(out_, true, outcome_.output);
        takeIn(err_, true, outcome_.errors);
    }
    if (!reaped_) return true;
    if (WIFEXITED(status)) outcome_.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome_.signal = WTERMSIG(status);
    outcome_.peakKiB = used.ru_maxrss;
    return false;
}

void RunningProcess::signal(int number) const {
    if (!reaped_) kill(pid_, number);
}

void RunningProcess::send(std::string_view text) const {
    checked(static_cast<int>(write(terminal_, text.data(), text.size())), "the terminal");
}

bool RunningProcess::expect(std::string_view text, Duration deadline) {
    size_t at = std::string::npos;
    eventually(
        [&] {
            const bool ended = !running();
            at = outcome_.output.find(text, found_);
            return ended || at != std::string::npos;
        },
        deadline);
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

Outcome run(const Command& command, Duration deadline) {
    RunningProcess process(command);
    if (auto outcome = process.wait(deadline)) return *outcome;
    throw std::runtime_error(command.arguments[0] +
                             " does not end; it printed: " + process.output() + process.errors());
}

std::string runChecked(const Command& command) {
    const Outcome outcome = run(command);
    if (outcome.exitCode == 0) return outcome.output;
    throw std::runtime_error(command.arguments[0] + " failed: " + outcome.output + outcome.errors);
}

}  // namespace support
