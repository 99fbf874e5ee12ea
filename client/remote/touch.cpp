#include "client/remote/touch.hpp"

#include <chrono>
#include <utility>
#include <vector>

#include "client/remote/content.hpp"
#include "client/remote/held_lock.hpp"
#include "client/remote/property.hpp"
#include "client/remote/resource.hpp"

namespace quillon {
namespace {

class EmptyContent final : public vxhost::UploadSource {
public:
    std::optional<uint64_t> length() const override { return 0; }
    size_t read(char*, size_t) override { return 0; }
    void rewind() override {}
    void measure() override {}
    bool hasFailed() const override { return false; }
    bool finished() const override { return true; }
};

Time wholeSeconds(Time time) {
    return std::chrono::floor<std::chrono::seconds>(time);
}

// Whether the member then has it: servers may take the property, and keep their own date.
Task<Result<Touched>> setDate(Remote& remote, std::string url, Time date) {
    const Result<std::optional<HeldLock>> own = co_await useOwnLock(remote, url);
    if (!own) co_return own.error();
    Conditions conditions;
    if (*own) conditions.lockToken = (*own)->token();
    const Result<void> set = co_await setFileDate(remote, url, date, std::move(conditions));
    if (!set) co_return set.error();
    const Result<std::optional<Resource>> now = co_await look(remote, std::move(url));
    if (!now) co_return now.error();
    const bool isDated = *now && (*now)->modified && wholeSeconds(*(*now)->modified) == date;
    co_return isDated ? Touched::dated : Touched::keepsNoDates;
}

// Another one may have made it since it was looked for: nothing is overwritten.
Task<Result<Touched>> make(Remote& remote, std::string url, std::optional<Time> date,
                           PutFactsOnce& facts) {
    DatesBy dates = DatesBy::none;
    if (date) {
        const Result<ServerFacts> known = co_await facts.ask();
        if (!known) co_return known.error();
        dates = known->dates;
    }
    std::vector<std::string> headers;
    if (date) headers.push_back(dateLine(dates, *date));
    if (!headers.empty() && headers.front().empty()) headers.clear();
    EmptyContent nothing;
    Result<std::optional<HeldLock>> own = co_await useOwnLock(remote, url);
    if (!own) co_return own.error();
    Conditions nothingThere{.onlyNew = true};
    if (*own) nothingThere.lockToken = (*own)->token();
    const Result<Stored> stored =
        co_await store(remote, url, nothing, std::move(nothingThere), std::move(headers));
    (*own).reset();
    if (!stored) co_return stored.error();
    if (date && dates == DatesBy::property) co_return co_await setDate(remote, url, *date);
    co_return date&& dates == DatesBy::none ? Touched::keepsNoDates : Touched::made;
}

}  // namespace

Task<Result<Touched>> touch(Remote& remote, std::string url, std::optional<Time> date,
                            PutFactsOnce& facts) {
    if (date) date = wholeSeconds(*date);
    const Result<std::optional<Resource>> found = co_await look(remote, url);
    if (!found) co_return found.error();
    if (!*found) co_return co_await make(remote, std::move(url), date, facts);
    if ((*found)->isCollection) {
        co_return localError(Kind::refused, "This is a collection, whose date is the server's.");
    }
    const Result<ServerFacts> known = co_await facts.ask();
    if (!known) co_return known.error();
    if (!known->probed) {
        co_return localError(Kind::refused,
                             "Whether the server keeps dates could not be found out, since it "
                             "refused a scratch member beside it.");
    }
    switch (known->dates) {
        case DatesBy::none:
            co_return Touched::keepsNoDates;
        case DatesBy::mtime:
        case DatesBy::dateField:
            co_return Touched::datesByContent;
        case DatesBy::property:
            break;
    }
    const Time now =
        std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
    co_return co_await setDate(remote, std::move(url), date.value_or(wholeSeconds(now)));
}

}  // namespace quillon
