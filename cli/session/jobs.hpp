// Several members at a time. Each worker is a thread with collections, and so connections, of its
// own (Session::open).
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "cli/session/session.hpp"
#include "cli/terminal/exit_code.hpp"

namespace quillon::cli {

// Most of the time that a small member takes is waiting for answers.
inline constexpr size_t defaultJobs = 16;
// By bare requests: how many of them that is is for the server to show.
inline constexpr size_t mostAtOnce = 64;

// How many of the members to do at a time: what the command line says, else the site of the first,
// else as usual. One when two come to one place, whose names are given, since their order counts
// then; and when members are remembered with their locks, which belong to this thread.
struct Jobs {
    size_t asked;  // 0: not
    size_t usual;
    size_t worth = 4;  // so many members are worth one more
};
size_t jobsFor(Session& session, const Address& first, Jobs jobs, std::vector<std::string> places);

// Opens a collection of each server, so that a person is asked for passwords before several workers
// need them. What fails here will fail again, and be reported, where it is needed.
void meetServers(Session& session, const std::vector<Address>& addresses,
                 const OpenOptions& options);

// How numbered tasks end, in any order. What they report is printed in their own; any thread may
// record an end.
class OrderedEnds {
public:
    OrderedEnds(size_t count, Session& session) : session_(session), ends_(count) {}
    void record(size_t n, int code, std::string reports);
    // That of the first failure in their order, or exitInterrupted, of those that have ended.
    int code() const { return code_; }

private:
    struct End {
        int code;
        std::string reports;
    };
    void print(const End& end);

    Session& session_;
    std::mutex mutex_;
    std::vector<std::optional<End>> ends_;
    size_t printed_ = 0;
    int code_ = exitDone;
};

using NumberedTask = std::function<int(size_t)>;  // the exit code of the n-th task

// Runs the tasks 0 to count - 1, at most so many at a time, one of them on this thread. What they
// report comes in their order. A failure is not the end of the others, an interrupt is; the code is
// exitInterrupted then, else that of the first failure.
int runTasks(size_t count, size_t jobs, Session& session, const NumberedTask& task);

}  // namespace quillon::cli
