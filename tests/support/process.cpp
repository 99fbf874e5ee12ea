#include "tests/support/process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace support {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void closeEnd(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

std::vector<std::string> environmentWith(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> all;
    for (char** entry = environ; *entry; ++entry) {
        std::string text = *entry;
        if (!changes.contains(text.substr(0, text.find('=')))) all.push_back(std::move(text));
    }
    for (const auto& [name, value] : changes) all.push_back(name + "=" + value);
    return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

// Appends what is there. A stream that ended is closed; a terminal ends with EIO.
void drain(int& fd, std::string& into) {
    std::array<char, 65536> piece;
    while (fd >= 0) {
        ssize_t count = read(fd, piece.data(), piece.size());
        if (count > 0)
            into.append(piece.data(), static_cast<size_t>(count));
        else if (count < 0 && errno == EINTR)
            continue;
        else if (count < 0 && errno == EAGAIN)
            return;
        else
            closeEnd(fd);
    }
}

}  // namespace

// What the child runs.
class RunningProcess::Execution {
public:
    explicit Execution(const Command& command)
        : arguments_(command.arguments),
          environment_(environmentWith(command.environment)),
          directory_(command.directory) {}

    // After fork: nothing that allocates, since other threads may hold the heap's lock.
    [[noreturn]] void replaceChild() const {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent_) _exit(127);
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        std::signal(SIGPIPE, SIG_DFL);
        if (directory_.empty() || chdir(directory_.c_str()) == 0)
            execvpe(argv_[0], argv_.data(), envp_.data());
        dprintf(2, "cannot run %s\n", argv_[0]);
        _exit(127);
    }

private:
    std::vector<std::string> arguments_, environment_;
    std::string directory_;
    std::vector<char*> argv_ = pointers(arguments_), envp_ = pointers(environment_);
    pid_t parent_ = getpid();
};

RunningProcess::RunningProcess(const Command& command, Streams streams)
    : unsent_(command.input), closeWhenSent_(streams == Streams::pipes && !command.input.empty()) {
    // A process that went away is seen by what it leaves, not by a signal of ours.
    static const auto ignored = std::signal(SIGPIPE, SIG_IGN);
    static_cast<void>(ignored);
    const Execution execution(command);
    if (streams == Streams::terminal)
        startInTerminal(execution);
    else
        startInPipes(execution);
    if (pid_ < 0) fail("fork");
    for (int fd : {in_, out_, err_})
        if (fd >= 0) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    // The header of this call in glibc 2.36 is not for C++.
    ended_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    if (ended_ < 0) fail("pidfd_open");
    feed();
}

void RunningProcess::startInTerminal(const Execution& execution) {
    winsize size{24, 80, 0, 0};
    pid_ = forkpty(&in_, nullptr, nullptr, &size);
    if (pid_ == 0) execution.replaceChild();
    fcntl(in_, F_SETFD, FD_CLOEXEC);
    out_ = fcntl(in_, F_DUPFD_CLOEXEC, 0);
}

void RunningProcess::startInPipes(const Execution& execution) {
    int in[2], out[2], err[2];
    for (int* ends : {in, out, err})
        if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
    pid_ = fork();
    if (pid_ == 0) {
        setpgid(0, 0);
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        execution.replaceChild();
    }
    setpgid(pid_, pid_);  // whoever of the two comes first
    for (int childs : {in[0], out[1], err[1]}) close(childs);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
}

RunningProcess::~RunningProcess() {
    kill(-pid_, SIGKILL);
    if (!reaped_) waitpid(pid_, nullptr, 0);
    for (int* fd : {&in_, &out_, &err_, &ended_}) closeEnd(*fd);
}

bool RunningProcess::running() {
    if (!reaped_) takeIn(Clock::now());
    return !reaped_;
}

void RunningProcess::signal(int number) const {
    if (!reaped_) kill(pid_, number);
}

void RunningProcess::send(std::string_view text) {
    unsent_ += text;
    feed();
}

void RunningProcess::closeInput() {
    closeWhenSent_ = true;
    feed();
}

bool RunningProcess::expect(std::string_view text, Duration deadline) {
    auto end = Clock::now() + deadline;
    for (;;) {
        size_t at = outcome_.output.find(text, found_);
        if (at != std::string::npos) {
            found_ = at + text.size();
            return true;
        }
        if (reaped_ || Clock::now() >= end) return false;
        takeIn(end);
    }
}

std::optional<Outcome> RunningProcess::wait(Duration deadline) {
    auto end = Clock::now() + deadline;
    while (!reaped_) {
        if (Clock::now() >= end) return std::nullopt;
        takeIn(end);
    }
    return outcome_;
}

void RunningProcess::takeIn(Clock::time_point until) {
    std::array<pollfd, 4> ready{{{ended_, POLLIN, 0},
                                 {out_, POLLIN, 0},
                                 {err_, POLLIN, 0},
                                 {unsent_.empty() ? -1 : in_, POLLOUT, 0}}};
    auto left = std::max(Duration{0}, std::chrono::ceil<Duration>(until - Clock::now()));
    poll(ready.data(), ready.size(), static_cast<int>(left.count()));
    feed();
    drain(out_, outcome_.output);
    drain(err_, outcome_.errors);
    if (ready[0].revents != 0) reap();
}

void RunningProcess::feed() {
    while (in_ >= 0 && !unsent_.empty()) {
        ssize_t count = write(in_, unsent_.data(), unsent_.size());
        if (count >= 0)
            unsent_.erase(0, static_cast<size_t>(count));
        else if (errno == EAGAIN)
            return;
        else if (errno != EINTR)
            unsent_.clear();  // nobody reads it any more
    }
    if (closeWhenSent_) closeEnd(in_);
}

void RunningProcess::reap() {
    int status = 0;
    rusage used{};
    if (wait4(pid_, &status, 0, &used) != pid_) fail("wait4");
    reaped_ = true;
    // Its last words; what a child of its own may still write is not waited for.
    drain(out_, outcome_.output);
    drain(err_, outcome_.errors);
    if (WIFEXITED(status)) outcome_.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome_.signal = WTERMSIG(status);
    outcome_.peakKiB = used.ru_maxrss;
}

bool eventually(const std::function<bool()>& condition, Duration deadline) {
    for (auto end = Clock::now() + deadline; !condition();) {
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

Outcome run(const Command& command, Duration deadline) {
    RunningProcess process(command);
    process.closeInput();
    if (auto outcome = process.wait(deadline)) return *outcome;
    throw std::runtime_error(command.arguments[0] +
                             " does not end; it printed: " + process.output() + process.errors());
}

std::string runChecked(const Command& command) {
    Outcome outcome = run(command);
    if (outcome.exitCode == 0) return outcome.output;
    throw std::runtime_error(command.arguments[0] + " failed: " + outcome.output + outcome.errors);
}

}  // namespace support
