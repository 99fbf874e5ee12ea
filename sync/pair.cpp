#include "sync/pair.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

#include <string_view>
#include <system_error>
#include <utility>

#include "client/outcome.hpp"
#include "client/own_file.hpp"
#include "platform/files/content.hpp"
#include "platform/files/directories.hpp"
#include "platform/files/random_name.hpp"

namespace quillon::sync {
namespace {

namespace fs = std::filesystem;

constexpr const char* stateName = "state.db";
constexpr const char* ignoreName = ".quillonignore";
constexpr size_t mostIgnoreBytes = size_t{1} << 20;

fs::path pairsDirectory() {
    return stateDirectory() / "sync";
}

// Of a folder by its real path.
fs::path directoryOf(const fs::path& folder) {
    return pairsDirectory() / vxhost::digestName(folder.native());
}

Result<fs::path> realPath(const fs::path& path) {
    std::error_code error;
    fs::path real = fs::canonical(path, error);
    if (!error) return real;
    return localError(Kind::local,
                      fmt::format("{} cannot be found: {}.", path.string(), error.message()));
}

bool isPaired(const fs::path& folder) {
    std::error_code none;
    return fs::exists(directoryOf(folder) / stateName, none);
}

bool isBelow(const fs::path& path, const fs::path& folder) {
    const std::string above =
        folder == folder.root_path() ? folder.string() : folder.string() + '/';
    return path.string().starts_with(above);
}

std::string joined(const FilterRules& rules) {
    std::string text;
    for (const std::string& rule : rules) text += rule + '\n';
    return text;
}

FilterRules split(std::string_view text) {
    FilterRules rules;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        if (end > 0) rules.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return rules;
}

Error nestedError(const fs::path& folder, const fs::path& other) {
    return localError(Kind::usage,
                      fmt::format("{} is paired already, and {} is in the other. Choose one of "
                                  "them (quillon sync --forget FOLDER forgets a pair and leaves "
                                  "its files as they are).",
                                  other.string(), folder.string()));
}

// What quillon notes while it runs would be a change of the folder each time.
Result<void> checkNotOurs(const fs::path& folder) {
    for (fs::path at = folder;; at = at.parent_path()) {
        std::error_code none;
        if (fs::equivalent(at, stateDirectory(), none)) {
            return localError(Kind::usage,
                              fmt::format("quillon notes things for itself in {}, which cannot be "
                                          "paired, nor can what is in it.",
                                          at.string()));
        }
        if (at == at.root_path()) return {};
    }
}

// A pair above the folder, or in it.
Result<void> checkNotNested(const fs::path& folder) {
    for (fs::path above = folder; above != above.root_path();) {
        above = above.parent_path();
        if (isPaired(above)) return nestedError(folder, above);
    }
    for (const fs::path& each : stateDirectories()) {
        const Result<State> state = State::open(each, State::Damaged::isLeft);
        if (!state) continue;
        const Result<std::optional<std::string>> other = state->setting("folder");
        if (other && *other && isBelow(**other, folder)) return nestedError(folder, **other);
    }
    return {};
}

}  // namespace

std::vector<fs::path> stateDirectories() {
    std::vector<fs::path> directories;
    std::error_code none;
    for (fs::directory_iterator each(pairsDirectory(), none), end; !none && each != end;
         each.increment(none)) {
        std::error_code unseen;
        if (fs::exists(each->path() / stateName, unseen)) directories.push_back(each->path());
    }
    return directories;
}

fs::path storeDirectory() {
    return pairsDirectory() / "store";
}

Result<Pair> Pair::open(const fs::path& directory, Purpose purpose) {
    Result<State> state =
        purpose == Purpose::look ? State::openToLook(directory) : State::open(directory);
    if (!state) return std::move(state).error();
    Pair pair(directory, std::move(*state));
    Result<std::optional<std::string>> url = pair.state_.setting("url");
    if (!url) return std::move(url).error();
    pair.url_ = url->value_or("");
    Result<std::optional<std::string>> folder = pair.state_.setting("folder");
    if (!folder) return std::move(folder).error();
    pair.folder_ = folder->value_or("");
    Result<std::optional<std::string>> rules = pair.state_.setting("rules");
    if (!rules) return std::move(rules).error();
    pair.rules_ = split(rules->value_or(""));
    return pair;
}

Result<std::optional<Pair>> Pair::find(const fs::path& folder, Purpose purpose) {
    Result<fs::path> real = realPath(folder);
    if (!real) {  // one that is gone can still be forgotten
        std::error_code none;
        const fs::path gone = fs::weakly_canonical(fs::absolute(folder, none), none);
        if (none || !isPaired(gone)) return std::move(real).error();
        real = gone;
    }
    for (fs::path at = *real;; at = at.parent_path()) {
        if (isPaired(at)) {
            Result<Pair> pair = open(directoryOf(at), purpose);
            if (!pair) return std::move(pair).error();
            if (pair->url_.empty()) return std::optional<Pair>();  // it was never made whole
            return std::optional(std::move(*pair));
        }
        if (at == at.root_path()) return std::optional<Pair>();
    }
}

Result<Pair> Pair::make(const fs::path& folder, const Address& collection,
                        const FilterRules& rules) {
    const Result<fs::path> real = realPath(folder);
    if (!real) return real.error();
    if (Result<void> free = checkNotOurs(*real); !free) return std::move(free).error();
    if (Result<void> free = checkNotNested(*real); !free) return std::move(free).error();
    const fs::path directory = directoryOf(*real);
    const Result<void> made = caught([&]() -> Result<void> {
        vxhost::makePrivateDirectories(directory);
        return {};
    });
    if (!made) return made.error();
    Result<State> state = State::open(directory);
    if (!state) return std::move(state).error();
    // The URL comes last: without it nothing is paired.
    for (const auto& [name, value] : {std::pair<const char*, std::string>{"folder", real->string()},
                                      {"rules", joined(rules)},
                                      {"user", collection.user()},
                                      {"url", collection.asCollection().url()}}) {
        if (Result<void> written = state->set(name, value); !written) {
            return std::move(written).error();
        }
    }
    return open(directory, Purpose::change);
}

Result<Address> Pair::collection() const {
    Result<Address> address = Address::parse(url_);
    const Result<std::optional<std::string>> user = state_.setting("user");
    if (!user) return user.error();
    if (address && *user && !(*user)->empty()) return address->withUser(**user);
    return address;
}

Result<void> Pair::setRules(const FilterRules& rules) {
    rules_ = rules;
    return state_.set("rules", joined(rules));
}

Result<void> Pair::forget(Pair pair) {
    const Result<vxhost::Descriptor> held = pair.hold();
    if (!held) return held.error();
    std::error_code error;
    fs::remove_all(pair.directory_, error);
    if (!error) return {};
    return localError(Kind::local, fmt::format("{} cannot be removed: {}.",
                                               pair.directory_.string(), error.message()));
}

std::optional<std::string> Pair::pathOf(const fs::path& typed) const {
    std::error_code error;
    // What is gone has no real path, but its folder may have.
    fs::path path = fs::absolute(typed, error).lexically_normal();
    if (path.filename().empty()) path = path.parent_path();
    const fs::path parent = fs::canonical(path.parent_path(), error);
    if (!error) path = parent / path.filename();
    if (!isBelow(path, folder_)) return std::nullopt;
    return path.lexically_relative(folder_).string();
}

Result<vxhost::Descriptor> Pair::hold() const {
    return caught([&]() -> Result<vxhost::Descriptor> {
        const fs::path path = directory_ / "lock";
        constexpr int flags = O_NOFOLLOW | O_CLOEXEC;
        int number = ::open(path.c_str(), flags | O_RDWR | O_CREAT, 0600);
        // NFS locks what can be written, and who only looks may have nothing of that.
        if (number < 0 && errno == EROFS) number = ::open(path.c_str(), flags | O_RDONLY);
        vxhost::Descriptor lock(number, "Cannot write " + path.string());
        if (flock(lock.number(), LOCK_EX | LOCK_NB) == 0) return lock;
        if (errno != EWOULDBLOCK) vxhost::throwSystemFailure(errno, "Cannot lock the pair");
        return localError(Kind::locked, "Another quillon is at work on this pair. Wait for it.");
    });
}

Result<Pair::EffectiveFilter> Pair::filter() const {
    EffectiveFilter effective;
    for (const std::string& rule : rules_) {
        const std::string pattern = rule.substr(std::min<size_t>(2, rule.size()));
        Result<void> added = rule.starts_with('x') ? effective.filter.exclude(pattern)
                                                   : effective.filter.include(pattern);
        if (!added) return std::move(added).error();
    }
    effective.text = joined(rules_);
    const fs::path ignore = folder_ / ignoreName;
    std::error_code none;
    if (!fs::is_regular_file(fs::symlink_status(ignore, none))) return effective;
    const Result<std::string> text = caught([&]() -> Result<std::string> {
        return vxhost::readWhole(vxhost::openForReading(ignore), ignore, mostIgnoreBytes);
    });
    if (!text) return text.error();
    if (Result<void> added = effective.filter.excludeLines(*text, ignore.string()); !added) {
        return std::move(added).error();
    }
    effective.text += *text;
    return effective;
}

}  // namespace quillon::sync
