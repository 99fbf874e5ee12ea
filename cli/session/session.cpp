#include "cli/session/session.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "cli/session/netrc.hpp"
#include "cli/session/refusal.hpp"
#include "cli/session/servers.hpp"
#include "cli/session/this_machine.hpp"
#include "cli/session/way_in.hpp"
#include "cli/terminal/last_words.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/suggestion.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/lock_notes.hpp"
#include "client/remote/held_lock.hpp"
#include "client/remote/remote.hpp"

namespace quillon::cli {
namespace {

constexpr int logWire = 1;
constexpr int logOperations = 2;
constexpr int logFailures = 3;

constexpr size_t mostOpen = 8;  // open collections

void logToStderr(int, std::string_view channel, std::string_view text) {
    printErrors("[{}] {}\n", channel, harmless(concealed(std::string(text))));
}

// Of the HTTP client the requests, of the extension failures alone.
void logRequestsToStderr(int level, std::string_view channel, std::string_view text) {
    if (channel == "App.WebDAV" || level >= logFailures) logToStderr(level, channel, text);
}

// What stays when a request about a lock does not end in time.
std::string lockLeft(const std::string& url, const std::string& token) {
    if (token.empty()) {
        return fmt::format("quillon: {} may be locked now, by a token that did not come\n",
                           harmless(url));
    }
    return fmt::format("quillon: {} may stay locked. {}\n", harmless(url),
                       harmless(unlockAdvice("To unlock it", url, token)));
}

// For the person who ends this by a second signal, and for who comes after a kill -9.
struct LockTold {
    LockTold(const std::string& url, const std::string& token, const std::string& owner)
        : words(lockLeft(url, token)) {
        if (token.empty() && owner.empty()) return;
        // Where notes cannot be written, edit complains of it; the lock is as good without.
        if (auto written = WrittenNote::write({url, token, owner, {}, getpid()})) {
            note.emplace(std::move(*written));
        }
    }
    const LastWords words;
    std::optional<WrittenNote> note;
};

// Gives whether there was one.
Task<Result<bool>> giveBackNoted(Remote& remote, LockNote note) {
    if (note.token.empty()) {
        co_return co_await giveBackOf(remote, std::move(note.url), std::move(note.owner));
    }
    HeldLock lock(std::move(note.url), std::move(note.token), false, nullptr);
    const Result<void> back = co_await giveBack(remote, std::move(lock));
    if (!back) co_return back.error();
    co_return true;
}

// Whether the URL is the site's, or below it.
bool liesIn(std::string_view url, const std::string& site) {
    return !site.empty() && url.starts_with(site);
}

ExtensionOptions extensionOptions(const CommonOptions& options, Progress& progress) {
    ExtensionOptions wanted;
    wanted.caFile = options.caFile;
    wanted.insecure = options.insecure;
    wanted.proxyCaFile = options.proxyCaFile;
    wanted.noProxy = options.noProxy;
    wanted.proxyAuth = options.proxyAuth;
    if (options.timeoutSeconds > 0) {
        wanted.connectTimeout = wanted.stallTimeout = std::chrono::seconds(options.timeoutSeconds);
    }
    if (options.verbosity > 1) {
        wanted.logThreshold = options.verbosity > 2 ? logWire : logOperations;
        wanted.log = options.verbosity > 2 ? logToStderr : logRequestsToStderr;
    }
    wanted.progress = [&progress](uint64_t moved, uint64_t total) {
        progress.update(moved, total);
    };
    wanted.watchLock = [](const std::string& url, const std::string& token,
                          const std::string& owner) {
        return std::make_shared<LockTold>(url, token, owner);
    };
    wanted.mostSpeed = options.mostSpeed;
    wanted.knowsBasic = [site = options.basicUrl](std::string_view url) {
        return liesIn(url, site);
    };
    wanted.interrupted = &interruptFlag();
    return wanted;
}

}  // namespace

Session::Session(const CommonOptions& options, Cost* cost)
    : options_(options),
      sites_(options),
      credentials_(sites_),
      cost_(cost),
      ownLocks_(leftWork_, options.verbosity > 0),
      servers_(std::make_unique<Servers>(*this)) {}

Session::~Session() = default;

Error Session::refusal(const Address& address, const Login& login, Error error) const {
    const AccessOptions access = sites_.optionsFor(address).access;
    Error explained = explainRefusal(access, sites_.of(address), login, std::move(error),
                                     sites_.lineIsForAnother(address.origin()));
    const bool byPassword = explained.httpStatus == 401 && mayPasswordHelp(explained.code);
    const std::lock_guard lock(mutex_);
    if (byPassword && credentials_.areOfNetrc(address)) {
        explained.sentences.emplace_back(passwordIsOfNetrc);
    }
    return explained;
}

// The mutex is held while a person is asked, so that a second worker waits for the answer to the
// first question instead of asking the same.
Result<Login> Session::findLogin(const Address& address) {
    const std::lock_guard lock(mutex_);
    return credentials_.find(address);
}

Result<Login> Session::askAgain(const Address& address) {
    const std::lock_guard lock(mutex_);
    return credentials_.askAgain(address);
}

void Session::beginCommand() {
    ownLocks_.beginCommand();
    closed_.clear();
}

void Session::forgetLogins() {
    sites_.reload();
    closeCollectionsOfThisThread();
    servers_->forget();
    const std::lock_guard lock(mutex_);
    credentials_.forget();
}

void Session::giveBackLeft(const Address& address, const Login& login) {
    const std::vector<LockNote> left = leftWork_.takeLeftLocks(address.origin());
    if (left.empty()) return;
    const Result<Extension> loaded = extension(address);
    if (!loaded) return;
    const auto remote = Remote::open(*loaded, address, login);
    if (!remote) return;
    for (const LockNote& note : left) {
        const Result<bool> back = (*remote)->run(giveBackNoted(**remote, note));
        if (back) {
            leftWork_.noteLockOff(note.url, note.token);
            if (!*back) continue;
            complain(
                fmt::format("{}: the lock is off that a quillon left which was killed", note.url));
        } else if (back.error().kind == Kind::notAuthorized) {
            leftWork_.untakeLeftLocks(address.origin());
            return;
        } else if (back.error().kind == Kind::network) {
            return;  // and so will all others
        }
    }
}

Result<Extension> Session::extension(const Address& address) {
    return extension(sites_.optionsFor(address));
}

Result<Extension> Session::extension(const CommonOptions& options) {
    const std::string key =
        fmt::format("{}\n{}\n{}\n{}\n{}\n{}\n{}\n{}", options.caFile, options.insecure,
                    options.timeoutSeconds, options.insecureBasic, options.basicUrl,
                    options.proxyAuth, options.proxyCaFile, options.noProxy);
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find_if(extensions_, [&](const Started& each) {
        return each.key == key && each.access == options.access;
    });
    if (found != extensions_.end()) return found->extension;
    const auto wayIn = findWayIn(options, certificates_);
    if (!wayIn) return wayIn.error();
    ExtensionOptions wanted = extensionOptions(options, progress_);
    wanted.wayIn = *wayIn;
    wanted.senders = &senders_;
    wanted.ownLocks = &ownLocks_;
    if (cost_ != nullptr) wanted.traffic = [this](const Traffic& now) { cost_->add(now); };
    wanted.foundBasic = [this](std::string_view origin) {
        const std::lock_guard schemes(schemesMutex_);
        basicOrigins_.emplace(origin);
    };
    if (!options.insecureBasic && options.access.unixSocket.empty()) {
        wanted.secretInClear = [this](std::string_view origin, std::string_view what) {
            warnOfClearSecret(origin, what);
        };
    }
    Result<Extension> loaded = Extension::load(std::move(wanted));
    if (loaded) extensions_.push_back({key, options.access, *loaded});
    return loaded;
}

bool Session::foundBasic(const std::string& origin) const {
    const std::lock_guard lock(schemesMutex_);
    return basicOrigins_.contains(origin);
}

void Session::warnOfClearSecret(std::string_view origin, std::string_view what) {
    const Result<Address> server = Address::parse(origin);
    if (!server || isThisMachine(server->host())) return;
    {
        const std::lock_guard lock(schemesMutex_);
        if (!warnedOf_.emplace(what).second) return;
    }
    progress_.hide();
    complain(
        fmt::format("{} gets {} unprotected: anybody on the way there can read that. Use https:// "
                    "if the server has it; insecure-basic = true in a site's configuration "
                    "silences this.",
                    origin, what));
}

std::deque<Session::OpenCollection>& Session::collectionsOfThisThread() {
    const std::lock_guard lock(mutex_);
    return open_[std::this_thread::get_id()];
}

void Session::closeCollectionsOfThisThread() {
    // It is declared before the lock, so that the collections are closed once the mutex is free:
    // that may send requests, and other workers must not wait for them.
    std::deque<OpenCollection> closing;
    const std::lock_guard lock(mutex_);
    if (const auto found = open_.find(std::this_thread::get_id()); found != open_.end()) {
        closing = std::move(found->second);
        open_.erase(found);
    }
}

void Session::closeCollectionsBesideFiles() {
    std::erase_if(collectionsOfThisThread(),
                  [](const OpenCollection& each) { return !each.options.cacheParent.empty(); });
}

Result<std::shared_ptr<Collection>> Session::open(const Address& address,
                                                  const OpenOptions& options) {
    std::deque<OpenCollection>& mine = collectionsOfThisThread();
    for (const OpenCollection& each : mine) {
        const bool same = each.collection->url() == address.collection() &&
                          each.user == address.user() && each.options.cache == options.cache &&
                          each.options.cacheParent == options.cacheParent;
        if (same) return each.collection;
    }
    const std::string key = identityOf(address) + "\n" + address.collection();
    if (const std::lock_guard lock(mutex_); closed_.contains(key)) return closed_.at(key);
    const Result<Extension> loaded = extension(address);
    if (!loaded) return loaded.error();
    Result<Collection> opened = withLogin(address, [&](const Login& login) {
        return Collection::open(*loaded, address, login, options);
    });
    if (!opened && opened.error().httpStatus == 401) {
        const std::lock_guard lock(mutex_);
        closed_.emplace(key, opened.error());
    }
    if (!opened) return std::move(opened).error();
    // Who still uses the oldest keeps it alive; only the session lets go of it.
    if (mine.size() == mostOpen) mine.pop_front();
    mine.push_back({std::make_shared<Collection>(std::move(*opened)), address.user(), options});
    return mine.back().collection;
}

Result<Members> Session::list(const Address& collection, WantedProperties wanted) {
    return servers().with(collection, [&](Remote& remote) {
        return remote.run(quillon::list(remote, collection.url(), wanted));
    });
}

Result<Member> Session::openMember(const Address& address, const OpenOptions& options) {
    if (!options.cacheParent.empty()) leftWork_.clearPlace(options.cacheParent);
    const auto collection = open(address, options);
    leftWork_.tell(address.url());  // which has been given back where that could be done
    if (!collection) return collection.error();
    return (*collection)->member(address.segment(), options.purpose);
}

Result<std::shared_ptr<Member>> Session::member(const Address& address, Purpose purpose) {
    if (auto locked = lockedMember(address)) return locked;
    if (!address.namesMember()) {
        return localError(Kind::usage,
                          "This is a collection, which has no content. Name a member of it.");
    }
    Result<Member> member = openMember(address, {.purpose = purpose});
    if (!member) return std::move(member).error();
    return std::make_shared<Member>(std::move(*member));
}

void Session::rememberLocked(const Address& address, std::shared_ptr<Member> member) {
    locked_.insert_or_assign(address.url(), Locked{address, std::move(member)});
}

std::shared_ptr<Member> Session::lockedMember(const Address& address) const {
    const auto found = locked_.find(address.url());
    return found == locked_.end() ? nullptr : found->second.member;
}

void Session::renewLocks() {
    for (auto& [url, locked] : locked_) locked.member->renewLock();
}

void Session::forgetLocked(const Address& address) {
    locked_.erase(address.url());
}

std::vector<Address> Session::lockedAddresses() const {
    std::vector<Address> addresses;
    for (const auto& [url, locked] : locked_) addresses.push_back(locked.address);
    return addresses;
}

}  // namespace quillon::cli
