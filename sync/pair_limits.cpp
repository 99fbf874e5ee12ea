#include "sync/pair_limits.hpp"

#include <algorithm>
#include <limits>

#include "platform/base/ascii.hpp"
#include "sync/pair.hpp"

namespace quillon::sync {
namespace {

// A clock can still go back by that.
constexpr StoreLimits withoutEnd{.mostBytes = std::numeric_limits<uint64_t>::max(),
                                 .longest = std::chrono::hours(24 * 99'999)};

// Nothing where none was ever made whole.
std::optional<StoreLimits> limitsIn(const std::filesystem::path& directory) {
    const Result<State> state = State::open(directory, State::Damaged::isLeft);
    if (!state) return withoutEnd;  // it may want all
    const Result<std::optional<std::string>> url = state->setting("url");
    if (url && !*url) return std::nullopt;
    const Result<StoreLimits> limits = limitsOf(*state);
    return limits ? *limits : withoutEnd;
}

}  // namespace

Result<StoreLimits> limitsOf(const State& state) {
    StoreLimits limits;
    const Result<std::optional<std::string>> bytes = state.setting("keep-size");
    if (!bytes) return bytes.error();
    if (const auto number = vxhost::parseNumber<uint64_t>(bytes->value_or(""))) {
        limits.mostBytes = *number;
    }
    const Result<std::optional<std::string>> days = state.setting("keep-days");
    if (!days) return days.error();
    if (const auto number = vxhost::parseNumber<uint32_t>(days->value_or(""))) {
        limits.longest = std::chrono::hours(24) * *number;
    }
    return limits;
}

StoreLimits widerOf(StoreLimits one, const StoreLimits& other) {
    one.mostBytes = std::max(one.mostBytes, other.mostBytes);
    one.longest = std::max(one.longest, other.longest);
    return one;
}

StoreLimits limitsOfAll(StoreLimits ofRun) {
    for (const std::filesystem::path& each : stateDirectories()) {
        if (const auto its = limitsIn(each)) ofRun = widerOf(ofRun, *its);
    }
    return ofRun;
}

}  // namespace quillon::sync
