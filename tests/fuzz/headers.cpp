// The header of an answer, and what the next requests say because of it; dates.
#include <fmt/chrono.h>

#include <cmath>
#include <string>

#include "platform/base/transcoder.hpp"
#include "platform/http/headers.hpp"
#include "platform/text/date.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using namespace vxhost;
using fuzz::require;

constexpr std::chrono::sys_days NOW{std::chrono::days(20'000)};
constexpr uint32_t LOCK_METHODS = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;

void checkMethods(const Headers& headers) {
    const uint32_t listed = parseAllow(headers.joined("Allow"));
    const uint32_t allowed = parseAllowed(headers);
    require(!headers.has("Allow") || (allowed & ~listed) == 0, "what is allowed is listed");
    const DavClasses classes = parseDavClasses(headers.joined("DAV"));
    require(classes.two || (allowed & LOCK_METHODS) == 0, "and locks from class 2 upwards");
    require(!classes.two || classes.one, "class 2 is class 1, too");
}

// In an If or a Lock-Token field.
void checkToken(const std::string& token) {
    require(
        std::all_of(token.begin(), token.end(),
                    [](unsigned char c) { return c > ' ' && c < 0x7F && c != '<' && c != '>'; }),
        "a token ends neither the field nor its brackets");
}

void checkSchemes(std::string_view value) {
    Headers headers;
    headers.add(std::string("WWW-Authenticate: ").append(value));
    const std::string shown = unknownSchemes(headers).value_or("");
    require(std::all_of(shown.begin(), shown.end(),
                        [](unsigned char c) { return c >= ' ' && c < 0x7F && c != '"'; }),
            "schemes are shown as words");
    require(shown.empty() || (!offersScheme(headers, "Basic") && shown.size() < 200), "and few");
}

void checkValue(std::string_view value) {
    require(value.empty() || (value.front() != ' ' && value.back() != ' '), "values are trimmed");
    checkToken(parseLockToken(value));
    checkToken(parseTokenUri(value));
    parseTimeout(value);
    checkSchemes(value);
    const auto wait = parseRetryAfter(value, NOW);
    require(!wait || (wait->count() >= 0 && wait->count() <= UINT32_MAX), "a wait is bounded");
    const std::string tag = parseEntityTag(value).text;
    require(tag.empty() || value.find(tag) != value.npos, "an entity tag is taken as it stands");
    require(
        std::all_of(tag.begin(), tag.end(), [](unsigned char c) { return c > ' ' && c != '"'; }),
        "and ends neither its quotes nor the field");
}

void checkDate(std::string_view line) {
    constexpr double FIRST = -62167219200, END = 253402300800;  // of the years 0 to 9999
    constexpr double OFFSET = 86400;                            // more than a date can have
    const auto date = parseDate(shownUtf32(line), NOW);
    if (!date) return;
    require(*date > FIRST - OFFSET && *date < END + OFFSET, "a year has four digits");
    if (*date < FIRST || *date >= END) return;
    const auto whole = static_cast<std::time_t>(std::floor(*date));
    const auto written = fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(whole));
    require(parseDate(toUtf32(written), NOW) == static_cast<double>(whole),
            "written out it is the same date");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Headers headers;
    for (auto rest = fuzz::text(data, size); !rest.empty();) {
        const auto line = fuzz::takeLine(rest);
        headers.add(line);
        checkDate(line);
    }
    checkMethods(headers);
    for (const auto name : {"Lock-Token", "Timeout", "Retry-After", "ETag", "DAV"})
        checkValue(headers.first(name));
    return 0;
}
