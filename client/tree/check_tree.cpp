#include "client/tree/check_tree.hpp"

#include <chrono>
#include <map>
#include <utility>

#include "client/remote/fetch_hash.hpp"
#include "client/tree/compare.hpp"
#include "client/tree/known_file.hpp"
#include "client/tree/walk.hpp"
#include "platform/text/url.hpp"

namespace quillon {
namespace {

constexpr size_t mostPairsAhead = 256;  // whose contents wait to be compared

class Checking {
public:
    Checking(Remote& remote, const LocalFolder& folder, const CheckOptions& options)
        : remote_(remote),
          folder_(folder),
          options_(options),
          files_(remote.loop()),
          slots_(remote.loop(), mostPairsAhead) {
        clock_.datesKept = options.datesKept;
    }

    Task<Result<void>> run(std::string rootUrl) {
        Walk walk(
            remote_, std::move(rootUrl),
            [this](std::string_view path, bool isCollection) {
                return options_.filter.takes(path, isCollection);
            },
            [this](std::string_view path) { return !isOther(path); });
        Walk::Taker take = [this](WalkedCollection walked) { return check(std::move(walked)); };
        Walk::FailureTeller fail = [this](const auto& path, const auto& url, const Error& error) {
            tellUnread(path, url, error);
        };
        Result<void> outcome = co_await walk.takeAll(std::move(take), std::move(fail));
        if (options_.meter) options_.meter->expectNoMore();
        co_await files_.finish();
        co_return std::move(outcome);
    }

private:
    struct Pair {
        std::string path, url;
        LocalEntry here;
        Resource there;
    };
    using Entries = std::map<std::string, ScannedEntry>;  // by their names

    void tell(const CheckEvent& event) const { options_.tell(event); }
    void tellUnread(const std::string& path, const std::string& url, const Error& error) const {
        tell({Checked::unread, path, url, false, error});
    }
    static std::string pathIn(const std::string& parent, const std::string& name) {
        return parent.empty() ? name : parent + '/' + name;
    }

    // Something is here that is no folder.
    bool isOther(std::string_view path) const {
        const Result<std::optional<LocalEntry>> found = folder_.look(path);
        const bool isLink = found && *found && (*found)->kind == LocalKind::link;
        if (isLink && options_.links == Links::followed) return false;
        return found && *found && (*found)->kind != LocalKind::folder;
    }

    // Those that count; nothing where the folder is not here.
    Result<Entries> scan(const std::string& path, const std::string& url) const {
        Entries entries;
        const Result<std::optional<LocalEntry>> here = folder_.look(path);
        if (here && !*here) return entries;
        Result<std::vector<ScannedEntry>> found = folder_.scan(path, options_.links);
        if (!found) return std::move(found).error();
        for (ScannedEntry& entry : *found) {
            const std::string its = pathIn(path, entry.name);
            const bool isFolder = entry.entry.kind == LocalKind::folder;
            if (entry.unfit == Unfit::unfinished || !options_.filter.takes(its, isFolder)) continue;
            if (entry.unfit == Unfit::none) {
                std::string name = entry.name;
                entries.emplace(std::move(name), std::move(entry));
                continue;
            }
            const bool failed = entry.unfit == Unfit::noUtf8 || entry.unfit == Unfit::unreadable;
            tell({failed ? Checked::unread : Checked::skipped, its, url, false,
                  localError(Kind::local, std::string(whyUnfit(entry.unfit)))});
        }
        return entries;
    }

    Task<> check(WalkedCollection walked) {
        Result<Entries> scanned = scan(walked.path, walked.url);
        if (!scanned) {
            tellUnread(walked.path, walked.url, scanned.error());
            co_return;
        }
        const auto now = std::chrono::system_clock::now();
        if (const auto asked = walked.members->asked) {
            clock_.skewSeconds = std::chrono::duration<double>(*asked - now).count();
        }
        if (walked.members->unreadable > 0) {
            tellUnread(walked.path, walked.url,
                       localError(Kind::network, "The server cannot read all of its members."));
        }
        for (Resource& resource : walked.members->resources) {
            std::string path = Walk::pathOf(walked.path, resource);
            std::string url = walked.url + resource.segment;
            const auto found = scanned->find(vxhost::decodeSegment(resource.segment));
            if (found == scanned->end()) {
                tellMissingHere(path, url, resource.isCollection);
                continue;
            }
            const LocalEntry here = found->second.entry;
            scanned->erase(found);
            const bool isFolder = here.kind == LocalKind::folder;
            if (isFolder != resource.isCollection) {
                tell({Checked::different, path, url, false,
                      localError(Kind::refused, "One is a folder, the other a file.")});
            } else if (!isFolder) {
                Pair pair{std::move(path), std::move(url), here, std::move(resource)};
                co_await checkFile(std::move(pair));
            }
        }
        for (const auto& [name, entry] : *scanned) tellMissingThere(walked, name, entry);
    }

    // What is here and cannot be part of a tree has been told.
    void tellMissingHere(const std::string& path, const std::string& url, bool isFolder) const {
        const Result<std::optional<LocalEntry>> here = folder_.look(path);
        if (here && *here) return;
        tell({Checked::missingHere, path, url, isFolder});
    }

    void tellMissingThere(const WalkedCollection& parent, const std::string& name,
                          const ScannedEntry& entry) const {
        const std::string path = pathIn(parent.path, name);
        const bool isFolder = entry.entry.kind == LocalKind::folder;
        WalkedCollection folder{path, parent.url + vxhost::encodeSegment(name), Members{}};
        tell({Checked::missingThere, path, folder.url, isFolder});
        if (!isFolder) return;
        folder.url += '/';
        const Result<Entries> inside = scan(path, folder.url);
        if (!inside) return tellUnread(path, folder.url, inside.error());
        for (const auto& [its, each] : *inside) tellMissingThere(folder, its, each);
    }

    Task<> checkFile(Pair pair) {
        const bool otherSize = pair.there.size && *pair.there.size != pair.here.size;
        if (otherSize) {
            tell({Checked::different, pair.path, pair.url});
        } else if (options_.checksum) {
            Gate::Pass slot = co_await slots_.enter();
            files_.spawn(compareContents(std::move(pair), std::move(slot)));
        } else {
            tellByDates(pair);
        }
    }

    void tellByDates(const Pair& pair) const {
        const auto note = noteAbout(options_.memory, folder_, pair.path, pair.url);
        std::optional<bool> unchanged;
        if (note && isUnchanged(*note, pair.here)) {
            unchanged = true;
        } else if (note && !note->hash.empty()) {
            unchanged = hashOf(folder_, pair.path, options_.links) == note->hash;
        }
        switch (compareSides(pair.here, pair.there, note ? &*note : nullptr, unchanged, clock_)) {
            case Sameness::same:
                return tell({Checked::same, pair.path, pair.url});
            case Sameness::other:
                return tell({Checked::different, pair.path, pair.url});
            case Sameness::unsure:
                break;
        }
        tell({Checked::different, pair.path, pair.url, false,
              localError(Kind::refused,
                         "Their sizes are the same, and their dates prove nothing: --checksum "
                         "compares contents.")});
    }

    Task<> compareContents(Pair pair, Gate::Pass slot) {
        const Gate::Pass within = std::move(slot);
        const ExpectedTransfer expected(options_.meter, pair.there.size.value_or(0));
        const std::string here = hashOf(folder_, pair.path, options_.links);
        if (here.empty()) {
            tellUnread(pair.path, pair.url, localError(Kind::local, "It cannot be read here."));
            co_return;
        }
        const Result<HashedContent> fetched =
            co_await fetchHash(remote_, pair.url, pair.there.size);
        if (!fetched) {
            tellUnread(pair.path, pair.url, fetched.error());
            co_return;
        }
        if (options_.meter) options_.meter->move(static_cast<int64_t>(fetched->size));
        const bool isSame = fetched->hash == here;
        tell({isSame ? Checked::same : Checked::different, pair.path, pair.url});
    }

    Remote& remote_;
    const LocalFolder& folder_;
    const CheckOptions& options_;
    TaskGroup files_;
    Gate slots_;
    ServerClock clock_;
};

}  // namespace

Task<Result<void>> checkTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                             const CheckOptions& options) {
    Checking checking(remote, folder, options);
    co_return co_await checking.run(std::move(rootUrl));
}

}  // namespace quillon
