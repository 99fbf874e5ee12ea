#include "client/facts/learn_facts.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <iterator>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "client/facts/look_at_collection.hpp"
#include "client/facts/scratch_member.hpp"
#include "client/remote/content.hpp"
#include "client/remote/held_lock.hpp"
#include "client/remote/property.hpp"
#include "client/remote/resource.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using std::chrono::seconds;
using vxhost::Answer;
using vxhost::Request;

// Dates in the past that no server gives by itself, each told by another way.
constexpr Time byMtime{seconds(1'000'000'000)}, byDateField{seconds(1'100'000'000)},
    byProperty{seconds(1'200'000'000)};

// The clock of a file system may go no faster, so that what is stored right behind another version
// has its time. Nobody's edit is.
constexpr std::chrono::milliseconds tick{50};

const vxhost::EntityTag wrongTag{"quillon-no-such-tag", false};

bool isRefused(const Answer& answer) {
    return answer.status == 412;
}

bool isDone(const Answer& answer) {
    return vxhost::isSuccess(answer.status);
}

std::string redirectOf(const Answer& answer, const std::string& asked) {
    return answer.url == asked ? std::string() : notedValue(answer.url);
}

class Learning {
public:
    Learning(Remote& remote, std::string url, FactsFor purpose, CollectionState* state)
        : remote_(remote),
          url_(std::move(url)),
          member_(remote, url_),
          purpose_(purpose),
          state_(state) {}

    Task<Result<ServerFacts>> run() {
        using Step = Task<> (Learning::*)();
        if (purpose_ != FactsFor::writing) {
            const Result<void> there = co_await lookAtCollection(remote_, url_, &facts_, state_);
            if (!there) failure_ = there.error();
        }
        if (failure_ || remote_.isInterrupted()) co_return outcome();
        constexpr Step steps[] = {&Learning::begin,           &Learning::look,
                                  &Learning::tryWrongTags,    &Learning::tryRightTag,
                                  &Learning::compareTags,     &Learning::tryHeldBodies,
                                  &Learning::tryOtherChanges, &Learning::tryLock};
        for (const Step step : steps) {
            co_await (this->*step)();
            if (failure_ || remote_.isInterrupted() || !facts_.probed) break;
        }
        if (mayBeThere_) co_await member_.removeAtTheEnd(token_);
        const bool isUnknown = !facts_.probed && !failure_ && !remote_.isInterrupted();
        if (isUnknown && purpose_ != FactsFor::writing) {
            facts_.tagsInProperties = co_await tellsTags(remote_, url_);
        }
        co_return outcome();
    }

private:
    Result<ServerFacts> outcome() {
        if (remote_.isInterrupted()) return interruption();
        // Who writes can do so by what was learned before.
        const bool isEnough = purpose_ == FactsFor::writing && facts_.learned != Time();
        if (failure_ && !isEnough) return std::move(*failure_);
        facts_.probed = facts_.probed && !failure_;
        return std::move(facts_);
    }

    // The answer has the status -1 when none came.
    Task<> send(Request request, Answer* answer) {
        Result<Answer> came = co_await remote_.send(std::move(request));
        if (came) {
            if (came->status == 429 || came->status == 503) failure_ = refusal(*came);
            noteDate(parseTime(came->headers.first("Date")));
            *answer = std::move(*came);
        } else {
            failure_ = std::move(came).error();
        }
    }

    // Some servers tell when a request came, so that what it stored may be younger.
    void noteDate(std::optional<Time> date) {
        if (!date) return;
        latestDate_ = date;
        if (tagsDifferSince_) facts_.tagsDiffer = date == tagsDifferSince_;
        tagsDifferSince_.reset();
    }

    Task<> sendHeld(Request request, Answer* answer, BodyHold* hold) {
        co_await send(std::move(request), answer);
        hold->noteAnswer();
    }

    // Of the tag that the member has.
    Conditions rightTag(bool inIf) const { return {.tag = tag_, .tagInIf = inIf}; }

    // The scratch member, and what is asked of the collection.
    Task<> begin() {
        ProbeBody body(letter());
        const Conditions nothingThere{.onlyNew = true};
        Request put = member_.put(body, nothingThere);
        for (const DatesBy each : {DatesBy::mtime, DatesBy::dateField}) {
            put.headers.push_back(dateLine(each, each == DatesBy::mtime ? byMtime : byDateField));
        }
        Answer options, stored;
        TaskGroup asked(remote_.loop());
        asked.spawn(send(vxhost::optionsRequest(url_), &options));
        if (purpose_ == FactsFor::writing) {
            asked.spawn(removeLeftScratches(remote_, url_));
        } else {
            asked.spawn(tryDepthInfinity(remote_, url_, &facts_));
        }
        if (purpose_ != FactsFor::looking) {
            mayBeThere_ = true;
            asked.spawn(send(std::move(put), &stored));
        }
        auto ended = asked.finish();
        co_await ended;
        if (options.status != -1) noteServer(options);
        facts_.probed = isDone(stored);
        if (state_ && !facts_.probed) state_->scratchStatus = stored.status;
        const bool asksWho = stored.status == 401 && purpose_ == FactsFor::showing;
        if (asksWho) failure_ = refusal(stored);
        facts_.putTellsNew = stored.status == 201;
        facts_.putTellsTag = !vxhost::parseEntityTag(stored.headers.first("ETag")).text.empty();
        // What a server refuses in its own words is not there.
        if (stored.status >= 400 && stored.status < 500) mayBeThere_ = false;
    }

    void noteServer(const Answer& options) {
        facts_.redirect = redirectOf(options, url_);
        facts_.learned =
            std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
        facts_.server = notedValue(options.headers.first("Server"));
        facts_.dav = notedValue(options.headers.joined("DAV"));
        facts_.classTwo = vxhost::parseDavClasses(options.headers.joined("DAV")).two;
        facts_.http2 = options.isFramed;
        if (const auto date = parseTime(options.headers.first("Date"))) {
            const auto ahead = std::chrono::round<seconds>(*date - facts_.learned).count();
            facts_.skewSeconds = std::abs(ahead) > 1 ? ahead : 0;  // dates are of whole seconds
        }
    }

    // The member as it is told of.
    Task<> look() {
        Answer content;
        TaskGroup asked(remote_.loop());
        asked.spawn(lookAtProperties());
        asked.spawn(send(member_.get(), &content));
        auto ended = asked.finish();
        co_await ended;
        const vxhost::EntityTag told = vxhost::parseEntityTag(content.headers.first("ETag"));
        const bool isOther = !told.text.empty() && tag_.text != told.text;
        facts_.tagsInProperties = !tag_.text.empty() && !isOther;
        facts_.weakTags = tag_.weak || told.weak;
        if (tag_.text.empty()) tag_ = told;
        if (modified_ == byMtime) facts_.dates = DatesBy::mtime;
        if (modified_ == byDateField) facts_.dates = DatesBy::dateField;
    }

    Task<> lookAtProperties() {
        const Result<std::optional<Resource>> found =
            co_await quillon::look(remote_, member_.url());
        if (!found) {
            // A server whose PROPFIND fails may store all the same.
            if (found.error().httpStatus == 0) failure_ = found.error();
            co_return;
        }
        tag_ = *found ? (*found)->tag : vxhost::EntityTag();
        modified_ = *found ? (*found)->modified : std::nullopt;
    }

    // Of a member that may have changed: as the answer to its PUT tells, else as it is told of.
    Task<> learnTag(const Answer& stored) {
        vxhost::EntityTag told = vxhost::parseEntityTag(stored.headers.first("ETag"));
        if (!told.text.empty()) {
            tag_ = std::move(told);
        } else {
            co_await lookAtProperties();
        }
    }

    Task<> tryWrongTags() {
        const std::array<Conditions, 3> wrong{
            {{.tag = wrongTag}, {.tag = wrongTag, .tagInIf = true}, {.onlyNew = true}}};
        ProbeBody bodies[] = {ProbeBody(letter()), ProbeBody(letter()), ProbeBody(letter())};
        Answer answers[3];
        TaskGroup asked(remote_.loop());
        for (size_t each = 0; each < wrong.size(); ++each) {
            asked.spawn(send(member_.put(bodies[each], wrong[each]), &answers[each]));
        }
        auto ended = asked.finish();
        co_await ended;
        facts_.putIfMatch = isRefused(answers[0]);
        facts_.putTagInIf = isRefused(answers[1]);
        facts_.putIfNoneMatch = isRefused(answers[2]);
        if (!std::ranges::all_of(answers, isRefused)) co_await lookAtProperties();
    }

    // One that refuses every tag obeys none. If-Match never fits a weak one (RFC 9110, 13.1.1).
    Task<> tryRightTag() {
        const bool byMatch = facts_.putIfMatch && !tag_.weak, inIf = facts_.putTagInIf;
        const std::pair<bool, bool> ways[] = {{byMatch, inIf}, {byMatch, false}, {false, inIf}};
        bool anyTried = false, done = false;
        for (const auto& [match, tagInIf] : ways) {
            const bool isOther = !anyTried || (byMatch && inIf);
            if (tag_.text.empty() || !isOther || (!match && !tagInIf)) continue;
            anyTried = true;
            ProbeBody body(letter());
            Request put = member_.put(body, match ? rightTag(false) : rightTag(true));
            if (match && tagInIf) put.headers.push_back(headerLines(rightTag(true)).front());
            Answer stored;
            beforePut_ = latestDate_;
            co_await send(std::move(put), &stored);
            done = isDone(stored);
            if (!done) continue;
            facts_.putIfMatch = match || (tag_.weak && facts_.putIfMatch);
            facts_.putTagInIf = tagInIf;
            const std::string before = tag_.text;
            co_await learnTag(stored);
            facts_.tagsRepeat = !before.empty() && tag_.text == before;
            break;
        }
        if (!done) facts_.putIfMatch = facts_.putTagInIf = false;
    }

    // Two versions are of one second where the server tells the same one before the first is sent
    // and behind the second.
    Task<> compareTags() {
        const int mostPuts = purpose_ == FactsFor::writing ? 3 : 0;  // nobody else minds
        for (int count = 0; count < mostPuts && !tag_.text.empty() && !failure_; ++count) {
            const std::string before = tag_.text;
            const auto since = std::exchange(beforePut_, latestDate_);
            std::this_thread::sleep_for(tick);
            ProbeBody body(letter());
            Answer stored;
            Request put = member_.put(body, unconditional);
            co_await send(std::move(put), &stored);
            if (!isDone(stored)) co_return;
            co_await learnTag(stored);
            facts_.tagsRepeat = tag_.text == before;
            const bool ofOneSecond = since && since == latestDate_;
            if (ofOneSecond && !facts_.tagsRepeat) tagsDifferSince_ = since;
            if (ofOneSecond || facts_.tagsRepeat || !latestDate_) co_return;
        }
    }

    // Conditions that hold when the header comes, and no more when the last half of the body does,
    // since another PUT came between.
    Task<> tryHeldBodies() {
        struct Held {
            bool inIf;
            bool wanted;
            bool* holds;
            ProbeBody body;
            Answer answer{};
        };
        BodyHold hold(remote_.loop());
        Held both[] = {{false, facts_.putIfMatch && !tag_.weak, &facts_.ifMatchHolds,
                        ProbeBody(letter(), &hold)},
                       {true, facts_.putTagInIf, &facts_.tagInIfHolds, ProbeBody(letter(), &hold)}};
        ProbeBody plain(letter(), &hold);
        Answer plainAnswer;
        const bool anyWanted = both[0].wanted || both[1].wanted;
        TaskGroup held(remote_.loop());
        for (Held& each : both) {
            if (!each.wanted) continue;
            held.spawn(
                sendHeld(member_.putHeld(each.body, rightTag(each.inIf)), &each.answer, &hold));
        }
        if (!anyWanted) {
            held.spawn(sendHeld(member_.putHeld(plain, unconditional), &plainAnswer, &hold));
        }
        const auto areHeld = [&] {
            return anyWanted ? std::ranges::all_of(both,
                                                   [](const Held& each) {
                                                       return !each.wanted || each.body.isHeld();
                                                   })
                             : plain.isHeld();
        };
        co_await tryToRemove();
        while (!areHeld() && !hold.isAnswered()) {
            auto change = hold.change();
            co_await change;
        }
        bool wereHeld = areHeld();
        if (wereHeld && !failure_) {
            // What is asked behind a request that is under way is answered behind it.
            Answer meanwhile;
            Request get = member_.get();
            co_await send(std::move(get), &meanwhile);
            facts_.replacesAtOnce = isDone(meanwhile) && ProbeBody::letterOf(meanwhile.text);
            wereHeld = areHeld();
        }
        bool isReplaced = false;
        if (anyWanted && wereHeld && !failure_) {
            isReplaced = co_await replaceByOneOfTwo();
            wereHeld = areHeld();
        }
        hold.end();
        auto ended = held.finish();
        co_await ended;
        facts_.replacesAtOnce = facts_.replacesAtOnce && wereHeld;
        for (const Held& each : both) {
            *each.holds = wereHeld && isReplaced && isRefused(each.answer);
            (each.inIf ? heldInIf_ : heldByMatch_) = each.body.letter();
        }
    }

    // Two PUTs at once for the same tag, of which one alone may be obeyed. Something on the way
    // that sends bodies on when they are whole hides from the other test what this one may still
    // see.
    Task<bool> replaceByOneOfTwo() {
        const Conditions right = rightTag(!facts_.putIfMatch || tag_.weak);
        ProbeBody one(letter()), other(letter());
        Answer answers[2];
        TaskGroup asked(remote_.loop());
        asked.spawn(send(member_.put(one, right), &answers[0]));
        asked.spawn(send(member_.put(other, right), &answers[1]));
        auto ended = asked.finish();
        co_await ended;
        co_return isDone(answers[0]) != isDone(answers[1]);
    }

    // By a tag that the member has not. A server that obeys no condition of a PUT is not given the
    // chance.
    Task<> tryToRemove() {
        Answer byMatch, byIf;
        const Conditions wrong{.tag = wrongTag}, wrongInIf{.tag = wrongTag, .tagInIf = true};
        // One after the other, since bodies that are held back need two round trips meanwhile.
        Request match = member_.remove(wrong), tagInIf = member_.remove(wrongInIf);
        if (facts_.putIfMatch) co_await send(std::move(match), &byMatch);
        if (facts_.putTagInIf) co_await send(std::move(tagInIf), &byIf);
        facts_.deleteIfMatch = isRefused(byMatch);
        facts_.deleteTagInIf = isRefused(byIf);
    }

    // What is there now, and a date of its own.
    Task<> tryOtherChanges() {
        Answer content;
        bool dateIsSet = false;
        TaskGroup asked(remote_.loop());
        asked.spawn(send(member_.get(), &content));
        if (facts_.dates == DatesBy::none) asked.spawn(setDate(&dateIsSet));
        auto ended = asked.finish();
        co_await ended;
        dateIsSet_ = dateIsSet;
        const std::optional<char> letter = ProbeBody::letterOf(content.text);
        facts_.replacesAtOnce = facts_.replacesAtOnce && letter.has_value();
        // What was refused has left no trace, be it a half.
        facts_.ifMatchHolds = facts_.ifMatchHolds && letter && letter != heldByMatch_;
        facts_.tagInIfHolds = facts_.tagInIfHolds && letter && letter != heldInIf_;
    }

    Task<> setDate(bool* done) {
        const Result<void> set = co_await setFileDate(remote_, member_.url(), byProperty);
        *done = bool(set);
        if (!set && set.error().httpStatus == 0) failure_ = set.error();
    }

    Task<> tryLock() {
        std::optional<HeldLock> lock;
        TaskGroup asked(remote_.loop());
        asked.spawn(lookAtProperties());
        if (facts_.classTwo) asked.spawn(take(&lock));
        auto ended = asked.finish();
        co_await ended;
        if (dateIsSet_ && modified_ == byProperty) facts_.dates = DatesBy::property;
        if (!lock) co_return;
        token_ = lock->token();
        co_await tryToken();
        const Result<void> back = co_await giveBack(remote_, std::move(*lock));
        if (back) token_.clear();
        facts_.locks = facts_.locks && back;
    }

    Task<> take(std::optional<HeldLock>* lock) {
        Result<HeldLock> taken = co_await takeLock(remote_, member_.url(), Depth::zero);
        if (taken) {
            lock->emplace(std::move(*taken));
        } else if (taken.error().httpStatus == 0) {
            failure_ = std::move(taken).error();
        }
    }

    // Some servers refuse the weak form of their own tags.
    Task<> tryToken() {
        ProbeBody without(letter()), with(letter());
        Conditions locked{.lockToken = token_};
        if (!tag_.weak) locked.tag = tag_;
        Answer withoutToken, withToken;
        TaskGroup asked(remote_.loop());
        asked.spawn(send(member_.put(without, unconditional), &withoutToken));
        asked.spawn(send(member_.put(with, locked), &withToken));
        auto ended = asked.finish();
        co_await ended;
        facts_.locks = withoutToken.status == 423 && isDone(withToken);
    }

    char letter() { return next_++; }

    Remote& remote_;
    const std::string url_;
    const ScratchMember member_;
    const FactsFor purpose_;
    CollectionState* const state_;  // null: nobody wants to know
    ServerFacts facts_;
    std::optional<Error> failure_;
    char next_ = 'a';
    bool mayBeThere_ = false;
    vxhost::EntityTag tag_;                       // of the member as it is
    std::optional<Time> modified_;                // the same
    std::optional<char> heldByMatch_, heldInIf_;  // the letters of those bodies
    bool dateIsSet_ = false;
    std::optional<Time> latestDate_, beforePut_;  // by the server's clock
    std::optional<Time> tagsDifferSince_;         // if the next answer is of that second, too
    std::string token_;                           // of a lock that is held there; empty: none
};

}  // namespace

Task<Result<ServerFacts>> learnFacts(Remote& remote, std::string url, FactsFor purpose,
                                     CollectionState* state) {
    Learning learning(remote, std::move(url), purpose, state);
    co_return co_await learning.run();
}

Task<Result<bool>> isTheirServer(Remote& remote, std::string url, ServerFacts facts) {
    Request request = vxhost::optionsRequest(url);
    const Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    const bool isSame = notedValue(answer->headers.first("Server")) == facts.server &&
                        notedValue(answer->headers.joined("DAV")) == facts.dav &&
                        redirectOf(*answer, url) == facts.redirect;
    co_return isSame;
}

}  // namespace quillon
