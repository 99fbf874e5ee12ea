// Programs of ours that a second signal, which ends this one at once, must not leave behind.
#pragma once

#include <sys/types.h>

#include <atomic>

namespace quillon::cli {

// A process, or a process group as kill() takes it (-PGID), that is killed then; as long as the
// object lives. Threads may make and destroy them at the same time.
class EndedWithUs {
public:
    explicit EndedWithUs(pid_t target);
    EndedWithUs(const EndedWithUs&) = delete;
    EndedWithUs& operator=(const EndedWithUs&) = delete;
    ~EndedWithUs();

private:
    std::atomic<pid_t>* place_;  // null: none was free, and it will not be killed
};

// For a signal handler, at the end of the process.
void killThoseEndedWithUs() noexcept;

}  // namespace quillon::cli
