#include "client/facts/scratch_name.hpp"

#include <fmt/format.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

#include "platform/base/ascii.hpp"
#include "platform/files/random_name.hpp"

namespace quillon {
namespace {

constexpr size_t randomLength = 32;  // of randomName()

// This machine's, as far as it can be part of a member's name anywhere.
std::string hostName() {
    std::array<char, 64> name{};
    if (gethostname(name.data(), name.size() - 1) != 0) return "host";
    std::string text(name.data());
    std::erase_if(text, [](char c) {
        return !(c >= 'a' && c <= 'z') && !(c >= 'A' && c <= 'Z') && !(c >= '0' && c <= '9') &&
               c != '-';
    });
    return text.empty() ? "host" : text;
}

std::string scratchPrefix() {
    return fmt::format("{}scratch-", vxhost::hiddenPrefix);
}

// "HOST-PROCESS" of a scratch member's name; empty: it is none.
std::string_view makerIn(std::string_view name) {
    const std::string prefix = scratchPrefix();
    if (!name.starts_with(prefix) || name.size() < prefix.size() + randomLength + 2) return {};
    name.remove_prefix(prefix.size());
    const std::string_view random = name.substr(name.size() - randomLength);
    const std::string_view maker = name.substr(0, name.size() - randomLength - 1);
    const bool isRandom = random.find_first_not_of("0123456789abcdef") == random.npos;
    return isRandom && name[maker.size()] == '-' ? maker : std::string_view();
}

}  // namespace

std::string scratchName() {
    return fmt::format("{}{}-{}-{}", scratchPrefix(), hostName(), getpid(), vxhost::randomName());
}

bool isScratchName(std::string_view name) {
    return !makerIn(name).empty();
}

bool isLeftScratch(std::string_view name) {
    const std::string_view maker = makerIn(name);
    const size_t dash = maker.rfind('-');
    if (dash == maker.npos || maker.substr(0, dash) != hostName()) return false;
    const auto process = vxhost::parseNumber<pid_t>(maker.substr(dash + 1));
    return process && *process > 0 && kill(*process, 0) != 0 && errno == ESRCH;
}

}  // namespace quillon
