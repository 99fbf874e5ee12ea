#include "tests/support/process.hpp"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

namespace support {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void closeEnd(int& fd) {
    if (fd >= 0) close(fd);
    fd = -1;
}

// Both ends of each stream, of ours (kept non-blocking) and of the child.
struct Ends {
    int in = -1, out = -1, err = -1;
    int childIn = -1, childOut = -1, childErr = -1;

    explicit Ends(Streams streams) {
        if (streams == Streams::terminal) {
            winsize size{24, 80, 0, 0};
            if (openpty(&in, &childIn, nullptr, nullptr, &size) != 0) fail("openpty");
            fcntl(in, F_SETFD, FD_CLOEXEC);
            fcntl(childIn, F_SETFD, FD_CLOEXEC);
            out = fcntl(in, F_DUPFD_CLOEXEC, 0);
        } else {
            connect(childIn, in);
            connect(out, childOut);
            connect(err, childErr);
        }
        for (int fd : {in, out, err})
            if (fd >= 0) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
    void closeChildEnds() {
        for (int* fd : {&childIn, &childOut, &childErr}) closeEnd(*fd);
    }

private:
    static void connect(int& read, int& write) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
        read = ends[0];
        write = ends[1];
    }
};

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

// Between fork and exec: nothing that allocates, since other threads may hold the heap's lock.
[[noreturn]] void becomeChild(const Ends& ends, pid_t parent, const char* directory,
                              char* const* arguments, char* const* environment) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(127);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
    if (ends.childOut < 0) {
        if (login_tty(fcntl(ends.childIn, F_DUPFD, 3)) != 0) _exit(127);
    } else {
        setpgid(0, 0);
        dup2(ends.childIn, 0);
        dup2(ends.childOut, 1);
        dup2(ends.childErr, 2);
    }
    if (*directory && chdir(directory) != 0) _exit(127);
    execvpe(arguments[0], arguments, environment);
    dprintf(2, "cannot run %s\n", arguments[0]);
    _exit(127);
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

Duration milliseconds(const timeval& time) {
    return std::chrono::duration_cast<Duration>(std::chrono::seconds(time.tv_sec) +
                                                std::chrono::microseconds(time.tv_usec));
}

Duration until(Clock::time_point end) {
    return std::max(Duration{0}, std::chrono::ceil<Duration>(end - Clock::now()));
}

}  // namespace

RunningProcess::RunningProcess(const Command& command, Streams streams)
    : arguments_(command.arguments), unsent_(command.input) {
    // A process that went away is seen by what it leaves, not by a signal of ours.
    static const auto ignored = std::signal(SIGPIPE, SIG_IGN);
    static_cast<void>(ignored);

    Ends ends(streams);
    auto environment = environmentWith(command.environment);
    auto argumentPointers = pointers(arguments_);
    auto environmentPointers = pointers(environment);
    pid_t self = getpid();
    pid_ = fork();
    if (pid_ < 0) fail("fork");
    if (pid_ == 0)
        becomeChild(ends, self, command.directory.c_str(), argumentPointers.data(),
                    environmentPointers.data());
    if (streams == Streams::pipes) setpgid(pid_, pid_);  // whoever of the two comes first
    ends.closeChildEnds();
    in_ = ends.in;
    out_ = ends.out;
    err_ = ends.err;
    // The header of this call in glibc 2.36 is not for C++.
    ended_ = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
    if (ended_ < 0) fail("pidfd_open");
    if (streams == Streams::pipes && !command.input.empty()) closeInput();
    feed();
}

RunningProcess::~RunningProcess() {
    kill(-pid_, SIGKILL);
    if (!reaped_) waitpid(pid_, nullptr, 0);
    for (int* fd : {&in_, &out_, &err_, &ended_}) closeEnd(*fd);
}

bool RunningProcess::running() {
    if (!reaped_) takeIn(Duration{0});
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
        takeIn(until(end));
    }
}

std::optional<Outcome> RunningProcess::wait(Duration deadline) {
    auto end = Clock::now() + deadline;
    while (!reaped_) {
        if (Clock::now() >= end) return std::nullopt;
        takeIn(until(end));
    }
    return outcome_;
}

void RunningProcess::takeIn(Duration atMost) {
    std::array<pollfd, 4> ready{{{ended_, POLLIN, 0},
                                 {out_, POLLIN, 0},
                                 {err_, POLLIN, 0},
                                 {unsent_.empty() ? -1 : in_, POLLOUT, 0}}};
    poll(ready.data(), ready.size(), static_cast<int>(atMost.count()));
    feed();
    drain(out_, outcome_.output);
    drain(err_, outcome_.errors);
    if (ready[0].revents != 0) reap();
}

void RunningProcess::feed() {
    while (in_ >= 0 && sent_ < unsent_.size()) {
        ssize_t count = write(in_, unsent_.data() + sent_, unsent_.size() - sent_);
        if (count >= 0)
            sent_ += static_cast<size_t>(count);
        else if (errno == EAGAIN)
            return;
        else if (errno != EINTR)
            break;  // nobody reads it any more
    }
    unsent_.clear();
    sent_ = 0;
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
    outcome_.processorTime = milliseconds(used.ru_utime) + milliseconds(used.ru_stime);
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
