#include "client/tree/copy_tree.hpp"

#include <list>
#include <set>
#include <utility>

#include "client/tree/walk.hpp"

namespace quillon {
namespace {

class Copying {
public:
    Copying(const TreeCopy& copy, const std::string& from, const std::string& to)
        : copy_(copy), from_(from), to_(to) {}

    bool run() {
        Walk walk(copy_.source, from_);
        while (!stopped_) {
            std::optional<WalkedCollection> walked = copy_.source.run(walk.next());
            if (!walked) break;
            take(*walked);
        }
        if (copy_.meter) copy_.meter->expectNoMore();
        for (const auto& [path, url, error] : walk.leftOut()) fail({path, url, {}, true}, error);
        return complete_ && walk.isComplete();
    }

private:
    void take(const WalkedCollection& walked) {
        const std::string place = to_ + walked.url.substr(from_.size());
        TreeStep step{walked.path, walked.url, place, true};
        if (!walked.members) return fail(std::move(step), walked.members.error());
        if (isBelowMissing(place)) {
            complete_ = false;  // what is above it was told
            return;
        }
        const Result<Parent> made = make(place);
        if (!made) {
            missing_.insert(place);
            return fail(std::move(step), made.error());
        }
        copy_.tell(step);
        if (walked.members->unreadable > 0) {
            fail(std::move(step), unreadableMembers());
        }
        std::list<ExpectedTransfer> expected;  // in the order of the members
        for (const Resource& resource : walked.members->resources) {
            if (!resource.isCollection) {
                expected.emplace_back(copy_.meter, resource.size.value_or(0));
            }
        }
        for (const Resource& resource : walked.members->resources) {
            if (resource.isCollection) continue;
            if (!stopped_) takeMember(walked, resource, place, *made);
            expected.pop_front();
        }
    }

    void takeMember(const WalkedCollection& walked, const Resource& resource,
                    const std::string& place, Parent parent) {
        TreeStep step{Walk::pathOf(walked.path, resource), walked.url + resource.segment,
                      place + resource.segment, false, resource.size};
        if (!copy_.dryRun) {
            Result<void> copied = copy_.copyMember(resource, step.from, step.to, parent);
            if (!copied) return fail(std::move(step), std::move(copied).error());
        }
        copy_.tell(step);
    }

    // The walk tells a collection before those in it.
    bool isBelowMissing(const std::string& place) const {
        const auto next = missing_.upper_bound(place);
        return next != missing_.begin() && place.starts_with(*std::prev(next));
    }

    Result<Parent> make(const std::string& place) {
        if (copy_.dryRun) return Parent::existing;
        Result<void> made = copy_.destination.run(makeCollection(copy_.destination, place));
        if (made) return Parent::madeNow;
        // What is there already answers 405 (RFC 4918, 9.3.1), or whatever a server likes.
        const Result<std::optional<Resource>> there =
            copy_.destination.run(look(copy_.destination, place));
        if (!there || !*there) return std::move(made).error();
        const bool mayStay = (*there)->isCollection && copy_.overwrite == Overwrite::yes;
        if (!mayStay) return takenAlready();
        return Parent::existing;
    }

    void fail(TreeStep step, Error error) {
        complete_ = false;
        stopped_ = error.kind == Kind::interrupted;
        step.error = std::move(error);
        copy_.tell(step);
    }

    const TreeCopy& copy_;
    const std::string& from_;
    const std::string& to_;
    std::set<std::string> missing_;  // collections that could not be made
    bool complete_ = true;
    bool stopped_ = false;
};

}  // namespace

bool copyTree(const TreeCopy& copy, const std::string& from, const std::string& to) {
    return Copying(copy, from, to).run();
}

}  // namespace quillon
