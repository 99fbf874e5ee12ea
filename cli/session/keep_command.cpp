#include "cli/session/keep_command.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include "cli/terminal/spawn.hpp"

namespace quillon::cli {
namespace {

constexpr int roundMs = 10;
constexpr int roundsUntilKilled = 100, mostRounds = 300;  // a dying process may be slow

struct Process {
    pid_t pid, parent, group;
};

bool isPid(const std::string& name) {
    return name.find_first_not_of("0123456789") == name.npos;
}

// Those that have not ended (proc(5)).
std::vector<Process> processes() {
    std::vector<Process> found;
    std::error_code none;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", none)) {
        std::ostringstream content;  // which stays empty for what has ended meanwhile
        if (isPid(entry.path().filename())) content << std::ifstream(entry.path() / "stat").rdbuf();
        const std::string text = content.str();
        const size_t name = text.rfind(')');  // which may hold anything
        Process one{};
        char state = 0;
        if (name == text.npos || std::sscanf(text.c_str(), "%d", &one.pid) != 1) continue;
        const char* rest = text.c_str() + name + 1;
        if (std::sscanf(rest, " %c %d %d", &state, &one.parent, &one.group) != 3) continue;
        if (state != 'Z') found.push_back(one);
    }
    return found;
}

// What descends from the process and is in the group.
std::vector<pid_t> descendants(const std::vector<Process>& all, pid_t ancestor, pid_t group) {
    std::vector<pid_t> found{ancestor};
    for (size_t i = 0; i < found.size(); ++i) {
        for (const Process& one : all) {
            if (one.parent == found[i] && one.group == group) found.push_back(one.pid);
        }
    }
    found.erase(found.begin());
    return found;
}

// As a subreaper we are the parent of whatever has lost its own.
void endAllThatRuns() {
    for (int round = 0; round < mostRounds; ++round) {
        while (waitpid(-1, nullptr, WNOHANG) > 0) {
        }
        const auto running = descendants(processes(), getpid(), getpgrp());
        if (running.empty()) return;
        const int number = round == 0 ? SIGTERM : round >= roundsUntilKilled ? SIGKILL : 0;
        for (const pid_t pid : running) kill(pid, number);
        constexpr timespec pause{0, roundMs * 1'000'000};
        nanosleep(&pause, nullptr);
    }
}

int endAs(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return raise(SIGKILL);
}

}  // namespace

bool hasKeepLine() {
    ucred maker{};  // of the pair of sockets (socket(7))
    socklen_t size = sizeof maker;
    return getsockopt(keepLine, SOL_SOCKET, SO_PEERCRED, &maker, &size) == 0 &&
           maker.pid == getppid();
}

int keepCommand(const std::vector<std::string>& words) {
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    fcntl(keepLine, F_SETFD, FD_CLOEXEC);
    // What the keyboard sends is for the command, and for who keeps the line.
    sigset_t every, before;
    sigfillset(&every);
    sigprocmask(SIG_BLOCK, &every, &before);
    pid_t pid = -1;
    const int failed = spawn(pid, words, {.mask = &before});
    for (const int its : {STDIN_FILENO, STDOUT_FILENO}) close(its);  // it alone ends them
    const bool isHeard = write(keepLine, &failed, sizeof failed) > 0;
    if (!isHeard) endAllThatRuns();
    if (failed != 0 || !isHeard) return 0;
    const int ended = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));  // -1 in some sandboxes
    pollfd both[] = {{ended, POLLIN, 0}, {keepLine, POLLIN, 0}};
    for (int status = 0;;) {
        poll(both, 2, ended < 0 ? roundMs : -1);
        if (waitpid(pid, &status, WNOHANG) == pid) return endAs(status);
        if (both[1].revents == 0) continue;
        endAllThatRuns();
        return 0;
    }
}

}  // namespace quillon::cli
