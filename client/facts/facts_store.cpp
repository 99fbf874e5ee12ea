#include "client/facts/facts_store.hpp"

#include <chrono>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include "client/own_file.hpp"
#include "platform/base/logger.hpp"
#include "platform/files/random_name.hpp"

namespace quillon {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::hours longestLife{30 * 24};
constexpr std::chrono::hours clockError{24};  // of this machine, between two commands

fs::path directory() {
    return stateDirectory() / "servers";
}

fs::path fileOf(std::string_view url) {
    return directory() / vxhost::digestName(url);
}

Time now() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

bool isAlive(const ServerFacts& facts) {
    const auto age = now() - facts.learned;
    return age < longestLife && age > -clockError;
}

void removeFile(const fs::path& path) {
    std::error_code none;
    fs::remove(path, none);
}

void removeOld() {
    std::error_code none;
    for (const auto& entry : fs::directory_iterator(directory(), none)) {
        const auto written = entry.last_write_time(none);
        if (none || fs::file_time_type::clock::now() - written <= longestLife) continue;
        removeFile(entry.path());
    }
}

// The collection above; empty for a root.
std::string_view above(std::string_view url) {
    url.remove_suffix(1);
    const size_t slash = url.rfind('/');
    return slash == url.npos || url.substr(0, slash).ends_with('/') ? std::string_view()
                                                                    : url.substr(0, slash + 1);
}

using Found = std::pair<std::string, ServerFacts>;  // and of which collection they are

std::optional<Found> findNearest(std::string_view url) {
    for (; !url.empty(); url = above(url)) {
        const Result<std::optional<OwnText>> read = readOwnFile(fileOf(url));
        if (!read || !*read) continue;
        auto facts = parseFacts((*read)->text, url);
        if (facts && isAlive(*facts)) return Found{url, std::move(*facts)};
    }
    return std::nullopt;
}

}  // namespace

std::optional<ServerFacts> findFacts(const std::string& url) {
    auto found = findNearest(url);
    if (!found) return std::nullopt;
    return std::move(found->second);
}

void keepFacts(const std::string& url, const ServerFacts& facts) {
    removeOld();
    const Result<void> kept = replaceOwnFile(fileOf(url), textOf(facts, url));
    if (kept) return;
    vxhost::logLine(vxhost::findLogger(U"App.WebDAV.quillon"), vx::LOG_FAILURE,
                    "What the server does is not kept: " + kept.error().sentences.front());
}

void forgetFacts(const std::string& url) {
    while (const auto found = findNearest(url)) {
        removeFile(fileOf(found->first));
        std::error_code none;
        if (fs::exists(fileOf(found->first), none)) return;  // it cannot be removed
    }
}

}  // namespace quillon
