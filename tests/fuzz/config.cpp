// Files of the person: the netrc file, and those of sites, which are written again as they were
// read.
#include <algorithm>

#include "cli/config/site_text.hpp"
#include "cli/session/netrc.hpp"
#include "tests/fuzz/fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace quillon::cli;
    using fuzz::require;
    const auto text = fuzz::text(data, size);
    const auto entry = findInNetrc(text, "h", "");
    require(!entry || !entry->password.empty(), "an entry has a password");

    // toml++ 3.3 runs into its own unreachable code for letters outside strings and ASCII.
    if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c >= 0x80; })) return 0;
    const bool more = holdsMore(text);
    const auto site = parseSite("work", text);
    if (!site) return 0;
    const std::string written = siteText(*site);
    const auto again = parseSite("work", written);
    require(again && *again == *site, "what is written is read again");
    require(!holdsMore(written), "it is what we would write");
    require(more || text.find('#') == text.npos || written.find('#') != written.npos,
            "no comment is taken for a part of a value");
    return 0;
}
