// The configuration file: reading it, and changes that must touch nothing but one site.
#include <string>

#include "cli/config_edit.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace quillon::cli;

// Values of the other sites, which no change may alter.
std::string others(const std::vector<Site>& sites) {
    std::string all;
    for (const Site& site : sites) {
        if (site.name == "work") continue;
        all += site.name + "\n" + site.url + "\n" + site.user + "\n" + site.password + "\n";
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = fuzz::text(data, size);
    // toml++ 3.3 runs into its own unreachable code for letters outside strings and ASCII.
    if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x80; })) return 0;
    Site work;
    work.name = "work";
    work.url = "https://new/";
    work.user = "ann";
    work.password = "{zebsodium1}new";
    const auto before = parseSites(text);
    if (const auto changed = withSite(text, work); changed && before) {
        const auto after = parseSites(*changed);
        fuzz::require(static_cast<bool>(after), "a change leaves a configuration");
        const Site* site = findSite(*after, "work");
        fuzz::require(site != nullptr && site->user == "ann", "with the site");
        fuzz::require(others(*before) == others(*after), "and all others");
        const auto again = withSite(*changed, work);
        fuzz::require(again && *again == *changed, "the same change again is none");
    }
    if (const auto removed = withoutSite(text, "work"); removed && before) {
        const auto after = parseSites(*removed);
        fuzz::require(after && findSite(*after, "work") == nullptr, "a removed site is gone");
        fuzz::require(others(*before) == others(*after), "and all others are there");
    }
    return 0;
}
