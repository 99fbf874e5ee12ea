// Files of the person: the netrc file, and the configuration, of which a change must touch nothing
// but one site.
#include <string>

#include "cli/config/config_edit.hpp"
#include "cli/session/netrc.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace quillon::cli;
using fuzz::require;

// Values of the other sites.
std::string others(const std::vector<Site>& sites) {
    std::string all;
    for (const Site& site : sites) {
        if (site.name == "work") continue;
        all += site.name + "\n" + site.url + "\n" + site.user + "\n" + site.password + "\n";
    }
    return all;
}

void checkChange(const std::vector<Site>& before, std::string_view changed, bool stored) {
    const auto after = parseSites(changed);
    require(static_cast<bool>(after), "a change leaves a configuration");
    require((findSite(*after, "work") != nullptr) == stored, "the site is there, or gone");
    require(others(before) == others(*after), "and all others are as before");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = fuzz::text(data, size);
    const auto entry = findInNetrc(text, "h", "");
    require(!entry || !entry->password.empty(), "an entry has a password");

    // toml++ 3.3 runs into its own unreachable code for letters outside strings and ASCII.
    if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x80; })) return 0;
    const Site work{.name = "work", .url = "https://new/", .user = "ann", .password = "{zeb}new"};
    const auto before = parseSites(text);
    const auto changed = withSite(text, work);
    const auto removed = withoutSite(text, "work");
    if (!before) return 0;
    if (removed) checkChange(*before, *removed, false);
    if (!changed) return 0;
    checkChange(*before, *changed, true);
    const auto again = withSite(*changed, work);
    require(again && *again == *changed, "the same change again is none");
    return 0;
}
