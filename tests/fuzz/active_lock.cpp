// Descriptions of locks: what a server tells of the locks on a member, to be shown to a person and
// sent back to the server.
#include <string>

#include "platform/transcoder.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/headers.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;

void checkWords(const std::string& words) {
    vxhost::toUtf32(words);  // throws for what is no UTF-8
    require(!words.starts_with(' ') && !words.ends_with(' ') && words.find("  ") == words.npos,
            "blanks are single ones");
    require(std::all_of(words.begin(), words.end(), [](unsigned char c) { return c >= ' '; }),
            "and the only white space");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    for (const auto& lock : vxhost::parseActiveLocks(fuzz::text(data, size))) {
        checkWords(lock.owner);
        checkWords(lock.token);
        const auto token = vxhost::parseTokenUri(lock.token);
        require(token.empty() || token == lock.token, "a token is taken whole or not at all");
    }
    return 0;
}
