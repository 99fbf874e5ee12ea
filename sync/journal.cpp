#include "sync/journal.hpp"

#include <utility>

namespace quillon::sync {
namespace {

constexpr size_t mostOfGroup = 64;

}  // namespace

struct Journal::Joining {
    Journal& journal;
    Waiting& waiting;

    bool await_ready() const { return false; }
    void await_suspend(std::coroutine_handle<> task) {
        waiting.task = task;
        journal.waiting_.push_back(&waiting);
        journal.writeIfDue();
    }
    void await_resume() const {}
};

Task<Result<int64_t>> Journal::note(Intent intent) {
    Waiting waiting{std::move(intent)};
    Joining joining{*this, waiting};
    co_await joining;
    if (waiting.failure) co_return std::move(*waiting.failure);
    co_return waiting.intent.id;
}

void Journal::writeIfDue() {
    if (waiting_.empty()) return;
    if (waiting_.size() < mostOfGroup && waiting_.size() < working_) return;
    const std::vector<Waiting*> group = std::exchange(waiting_, {});
    for (const Waiting* each : group) next_.intents.push_back(each->intent);
    const Result<void> written = write();
    if (!written) next_.intents.clear();  // nothing of it is going to be done
    for (size_t at = 0; at < group.size(); ++at) {
        if (written) {
            group[at]->intent.id = lastIds_[at];
        } else {
            group[at]->failure = written.error();
        }
        loop_.post(group[at]->task);
    }
}

Result<void> Journal::write() {
    lastIds_.clear();
    if (next_.isEmpty()) return {};
    // A note that both sides are the same must not outlive the file that it is of.
    if (Result<void> stored = folder_.storeAll(); !stored) return stored;
    Result<void> written = state_.commit(next_);
    if (!written) return written;
    for (const Intent& each : next_.intents) lastIds_.push_back(each.id);
    next_ = {};
    return {};
}

}  // namespace quillon::sync
