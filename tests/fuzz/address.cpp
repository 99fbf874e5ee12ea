// URLs as a person types them, and names. The first line is a URL, the rest a member's name.
#include "client/address.hpp"

#include <string>

#include "client/name.hpp"
#include "platform/transcoder.hpp"
#include "platform/weblnk/url.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;
using quillon::Address;

void checkParts(const Address& address) {
    require(address.collection().ends_with('/'), "a collection ends in a slash");
    require(address.segment().find('/') == std::string::npos, "a segment holds none");
    const std::string url = address.url();
    require(url.find('@') == std::string::npos || url.find('@') > url.find('/', 8),
            "a URL holds no credentials");
    require(!address.host().empty() && address.origin().find(address.host()) != std::string::npos,
            "an origin names its host");
    require(!address.name().empty(), "everything has a name");
}

void checkAgain(const Address& address) {
    const auto again = Address::parse(address.url());
    require(bool(again), "an address can be typed");
    require(again->collection() == address.collection() && again->segment() == address.segment(),
            "and is the same then");
    require(!again->hasCredentials(), "without credentials");
    const Address member = address.asCollection().asMember();
    if (address.namesMember()) require(member.url() == address.url(), "a member is itself");
}

void checkMember(const Address& address, std::string_view name) {
    const auto member = address.member(name);
    if (!member) return;
    require(member->collection() == address.collection(), "a member is in its collection");
    checkParts(*member);
    const bool isText = vxhost::shownUtf8(vxhost::shownUtf32(name)) == name;
    if (isText) require(member->name() == name, "under its name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    auto rest = fuzz::text(data, size);
    const auto address = Address::parse(fuzz::takeLine(rest));
    if (!address) return 0;
    checkParts(*address);
    checkAgain(*address);
    checkMember(*address, rest);
    return 0;
}
