// What is about to be changed, noted before it is: many at a time, for each group waits for the
// disk once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "client/remote/loop.hpp"
#include "client/tree/local_folder.hpp"
#include "sync/state.hpp"

namespace quillon::sync {

// For the tasks of one thread.
class Journal {
public:
    Journal(Loop& loop, State& state, const LocalFolder& folder)
        : loop_(loop), state_(state), folder_(folder) {}
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // A task that may yet note something. A group is written when all of them wait for it.
    class Worker {
    public:
        explicit Worker(Journal& journal) : journal_(journal) { ++journal_.working_; }
        Worker(const Worker&) = delete;
        Worker& operator=(const Worker&) = delete;
        ~Worker() {
            --journal_.working_;
            journal_.writeIfDue();
        }

    private:
        Journal& journal_;
    };

    // Gives the intent's id. It is on the disk then, as is all that was written in the folder.
    Task<Result<int64_t>> note(Intent intent);

    // What goes with the next group. Only what is on the disk of both sides, or will be by then.
    StateChange& next() { return next_; }
    // That now.
    Result<void> write();

private:
    struct Waiting {
        Intent intent;
        std::coroutine_handle<> task{};
        std::optional<Error> failure{};
    };
    struct Joining;

    void writeIfDue();

    Loop& loop_;
    State& state_;
    const LocalFolder& folder_;
    size_t working_ = 0;
    std::vector<Waiting*> waiting_;
    StateChange next_;
    std::vector<int64_t> lastIds_;  // of the intents of the group that was written last
};

}  // namespace quillon::sync
