#include "client/tree/put_facts.hpp"

#include <utility>

#include "client/facts/facts_store.hpp"
#include "client/facts/learn_facts.hpp"

namespace quillon {

PutFactsOnce::PutFactsOnce(Remote& remote, std::string url)
    : remote_(remote), url_(std::move(url)), asking_(remote.loop(), 1), facts_(findFacts(url_)) {}

Task<Result<ServerFacts>> PutFactsOnce::ask() {
    const Gate::Pass alone = co_await asking_.enter();
    if (!certain_ && facts_) {
        const Result<bool> theirs = co_await isTheirServer(remote_, url_, *facts_);
        if (!theirs) co_return theirs.error();
        if (!*theirs) forget();
        certain_ = *theirs;
    }
    if (!certain_) co_return co_await learn();
    co_return *facts_;
}

Task<Result<ServerFacts>> PutFactsOnce::learn() {
    Result<ServerFacts> learned = co_await learnFacts(remote_, url_, FactsFor::writing, nullptr);
    if (!learned) co_return std::move(learned).error();
    facts_ = std::move(*learned);
    certain_ = true;
    // What a server refused to tell today it may tell tomorrow.
    if (facts_->probed) keepFacts(url_, *facts_);
    co_return *facts_;
}

void PutFactsOnce::forget() {
    forgetFacts(url_);
    facts_.reset();
    certain_ = false;
}

}  // namespace quillon
