// The header of an answer, and what the next requests say because of it.
#include <memory>
#include <string>

#include "platform/weblnk/headers.hpp"
#include "platform/weblnk/lock.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace vxhost;
using fuzz::require;

constexpr std::chrono::sys_days NOW = std::chrono::sys_days(std::chrono::days(20'000));

constexpr uint32_t LOCK_METHODS = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;
constexpr uint32_t METHODS = 0x7FFA0000;

bool endsNoLine(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c >= ' '; });
}

void checkMethods(const Headers& headers) {
    const uint32_t listed = parseAllow(headers.joined("Allow"));
    const uint32_t allowed = parseAllowed(headers);
    require((listed & ~METHODS) == 0 && (allowed & ~METHODS) == 0, "only methods are allowed");
    if (headers.has("Allow")) require((allowed & ~listed) == 0, "none that is not listed");
    const DavClasses classes = parseDavClasses(headers.joined("DAV"));
    require(classes.two || (allowed & LOCK_METHODS) == 0, "and locks from class 2 upwards");
    require(!classes.two || classes.one, "class 2 is class 1, too");
}

void checkToken(const std::string& token) {
    if (token.empty()) return;
    static const Settings settings;
    const HeldLock lock(std::make_shared<Target>(Target{
                            settings, nullptr, {}, {}, nullptr, nullptr, nullptr, {}, {}, {}}),
                        token, {});
    const std::string condition = lock.condition();
    require(condition == "If: (<" + token + ">)", "a token is submitted as it came");
    require(endsNoLine(condition) && condition.find('>') == condition.rfind('>'),
            "it ends neither the field nor the condition");
}

void checkValue(std::string_view value) {
    require(value.empty() || (value.front() != ' ' && value.back() != ' '), "values are trimmed");
    checkToken(parseLockToken(value));
    checkToken(parseTokenUri(value));
    parseTimeout(value);
    const auto wait = parseRetryAfter(value, NOW);
    require(!wait || (wait->count() >= 0 && wait->count() <= UINT32_MAX), "a wait is bounded");
    const std::string etag = parseStrongEtag(value);
    require(etag.empty() || (etag == value && endsNoLine(etag)), "an entity tag can be sent back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Headers headers;
    for (auto rest = fuzz::text(data, size); !rest.empty();) headers.add(fuzz::takeLine(rest));
    checkMethods(headers);
    for (const auto name : {"Lock-Token", "Timeout", "Retry-After", "ETag", "DAV"}) {
        checkValue(headers.first(name));
        parseTimeout(headers.joined(name));
    }
    return 0;
}
