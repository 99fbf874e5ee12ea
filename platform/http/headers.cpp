#include "platform/http/headers.hpp"

#include <algorithm>
#include <iterator>

#include "platform/base/ascii.hpp"
#include "platform/text/date.hpp"
#include "platform/text/methods.hpp"

namespace vxhost {
namespace {

bool sameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

template <class Visit>
void eachElement(std::string_view list, Visit visit) {
    for (size_t begin = 0; begin <= list.size();) {
        const size_t end = std::min(list.find(',', begin), list.size());
        if (const auto element = trim(list.substr(begin, end - begin)); !element.empty()) {
            visit(element);
        }
        begin = end + 1;
    }
}

// Commas in quotes end no element.
template <class Visit>
void eachQuotedElement(std::string_view list, Visit visit) {
    bool quoted = false;
    size_t begin = 0;
    for (size_t at = 0; at <= list.size(); ++at) {
        const char c = at < list.size() ? list[at] : ',';
        if (quoted && c == '\\') {
            ++at;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (at >= list.size() || (c == ',' && !quoted)) {
            visit(trim(list.substr(begin, at - begin)));
            begin = at + 1;
        }
    }
}

bool isToken(std::string_view text) {  // RFC 9110, 5.6.2
    constexpr std::string_view signs = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
        const bool letter = lower(c) >= 'a' && lower(c) <= 'z';
        return letter || (c >= '0' && c <= '9') || signs.find(c) != signs.npos;
    });
}

std::string_view unquoted(std::string_view text) {
    const bool quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return quoted ? text.substr(1, text.size() - 2) : text;
}

bool isDigest(const Challenge& challenge) {
    return sameName(challenge.scheme, "Digest");
}

// What curl answers: it knows more of Digest by name than it computes.
bool canAnswer(const Challenge& challenge) {
    if (!isDigest(challenge)) return sameName(challenge.scheme, "Basic");
    if (!challenge.hasNonce) return false;
    constexpr std::string_view known[] = {"", "MD5", "MD5-sess", "SHA-256", "SHA-256-sess"};
    return std::any_of(std::begin(known), std::end(known),
                       [&](std::string_view name) { return sameName(challenge.algorithm, name); });
}

// As a person is shown it: what of a Digest there is to know.
std::string nameOf(const Challenge& challenge) {
    if (!isDigest(challenge)) return challenge.scheme;
    if (isToken(challenge.algorithm)) return challenge.scheme + " with " + challenge.algorithm;
    return challenge.scheme + (challenge.hasNonce ? "" : " without a nonce");
}

constexpr uint32_t lockMethods = vx::ALLOW_LOCK | vx::ALLOW_UNLOCK;
constexpr uint32_t plainMethods = vx::ALLOW_GET | vx::ALLOW_HEAD | vx::ALLOW_OPTIONS;
constexpr uint32_t classOneMethods = plainMethods | vx::ALLOW_COPY | vx::ALLOW_DELETE |
                                     vx::ALLOW_MKCOL | vx::ALLOW_MOVE | vx::ALLOW_PROPFIND |
                                     vx::ALLOW_PROPPATCH | vx::ALLOW_PUT;

}  // namespace

void Headers::add(std::string_view line) {
    const size_t colon = line.find(':');
    if (colon == line.npos || colon == 0) return;
    fields_.emplace_back(line.substr(0, colon), trim(line.substr(colon + 1)));
}

std::string_view Headers::first(std::string_view name) const {
    for (const auto& field : fields_) {
        if (sameName(field.first, name)) return field.second;
    }
    return {};
}

std::string Headers::joined(std::string_view name) const {
    std::string all;
    for (const auto& field : fields_) {
        if (!sameName(field.first, name)) continue;
        if (!all.empty()) all += ", ";
        all += field.second;
    }
    return all;
}

bool Headers::has(std::string_view name) const {
    return std::any_of(fields_.begin(), fields_.end(),
                       [name](const auto& field) { return sameName(field.first, name); });
}

DavClasses parseDavClasses(std::string_view dav) {
    DavClasses classes;
    eachElement(dav, [&classes](std::string_view element) {
        classes.any = true;
        if (element == "1") classes.one = true;
        if (element == "2") classes.one = classes.two = true;
        if (element == "3") classes.one = true;
    });
    return classes;
}

Framing parseFraming(const Headers& headers) {
    Framing framing;
    if (headers.has("Transfer-Encoding")) {
        const std::string codings = headers.joined("Transfer-Encoding");
        const auto last = trim(std::string_view(codings).substr(codings.rfind(',') + 1));
        framing.chunked = sameName(last, "chunked");
        return framing;
    }
    if (!headers.has("Content-Length")) return framing;
    eachElement(headers.joined("Content-Length"), [&framing](std::string_view element) {
        const auto length = parseNumber<uint64_t>(element);
        if (!length || (framing.length && framing.length != length)) framing.valid = false;
        framing.length = length;
    });
    framing.valid = framing.valid && framing.length;
    return framing;
}

bool isCoded(const Headers& headers) {
    const std::string codings = headers.joined("Content-Encoding");
    return !codings.empty() && !sameName(codings, "identity");
}

std::optional<ContentRange> parseContentRange(std::string_view value) {
    const size_t unit = value.find(' '), dash = value.find('-'), slash = value.find('/');
    if (!sameName(value.substr(0, unit), "bytes") || dash == value.npos || slash == value.npos) {
        return {};
    }
    const auto first = parseNumber<uint64_t>(trim(value.substr(unit + 1, dash - unit - 1)));
    if (!first || dash < unit) return {};
    return ContentRange{*first, parseNumber<uint64_t>(trim(value.substr(slash + 1)))};
}

std::vector<Challenge> parseChallenges(const Headers& headers) {
    std::vector<Challenge> challenges;
    eachQuotedElement(headers.joined("WWW-Authenticate"), [&](std::string_view element) {
        const auto word = element.substr(0, element.find_first_of(" \t"));
        const auto rest = trim(element.substr(word.size()));
        const bool begins = isToken(word) && !rest.starts_with('=');
        if (begins) challenges.push_back({std::string(word), {}});
        const auto parameter = begins ? rest : element;
        const size_t sign = parameter.find('=');
        if (challenges.empty() || sign == parameter.npos) return;
        const auto name = trim(parameter.substr(0, sign));
        Challenge& challenge = challenges.back();
        if (sameName(name, "nonce")) challenge.hasNonce = true;
        if (!sameName(name, "algorithm")) return;
        challenge.algorithm = unquoted(trim(parameter.substr(sign + 1)));
    });
    return challenges;
}

bool offersScheme(const Headers& headers, std::string_view scheme) {
    const auto challenges = parseChallenges(headers);
    return std::any_of(challenges.begin(), challenges.end(), [&](const Challenge& challenge) {
        return sameName(challenge.scheme, scheme);
    });
}

bool offersUsableDigest(const Headers& headers) {
    const auto challenges = parseChallenges(headers);
    return std::any_of(challenges.begin(), challenges.end(), [](const Challenge& challenge) {
        return isDigest(challenge) && canAnswer(challenge);
    });
}

std::string offeredSchemes(const Headers& headers) {
    constexpr size_t most = 4, longest = 40;
    std::vector<std::string> names;
    for (const Challenge& challenge : parseChallenges(headers)) {
        const std::string name = nameOf(challenge);
        const bool isNew = std::find(names.begin(), names.end(), name) == names.end();
        if (isNew && names.size() < most && name.size() <= longest) names.push_back(name);
    }
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::optional<std::string> unknownSchemes(const Headers& headers) {
    const auto challenges = parseChallenges(headers);
    if (std::any_of(challenges.begin(), challenges.end(), canAnswer)) return std::nullopt;
    return offeredSchemes(headers);
}

uint32_t parseAllow(std::string_view allow) {
    uint32_t mask = 0;
    eachElement(allow, [&mask](std::string_view element) {
        for (const Method& method : methods) {
            if (element == method.name) mask |= method.bit;
        }
    });
    return mask;
}

uint32_t impliedMethods(const DavClasses& classes) {
    if (classes.two) return classOneMethods | lockMethods;
    return classes.one ? classOneMethods : plainMethods;
}

uint32_t parseAllowed(const Headers& headers) {
    const DavClasses classes = parseDavClasses(headers.joined("DAV"));
    if (!headers.has("Allow")) return impliedMethods(classes);
    const uint32_t listed = parseAllow(headers.joined("Allow"));
    return classes.two ? listed : listed & ~lockMethods;
}

std::string parseTokenUri(std::string_view text) {
    const auto token = trim(text);
    // It goes back to the server inside a header: nothing may end the line or the brackets, and a
    // URI is ASCII (RFC 3986, 2).
    const bool clean = std::all_of(token.begin(), token.end(), [](unsigned char c) {
        return c > ' ' && c < 0x7F && c != '<' && c != '>';
    });
    return clean ? std::string(token) : std::string();
}

std::string parseLockToken(std::string_view value) {
    const size_t begin = value.find('<');
    if (begin == value.npos) return {};
    const size_t end = value.find('>', begin);
    if (end == value.npos) return {};
    return parseTokenUri(value.substr(begin + 1, end - begin - 1));
}

std::optional<uint32_t> parseTimeout(std::string_view value) {
    std::optional<uint32_t> seconds;
    eachElement(value, [&seconds](std::string_view choice) {
        constexpr std::string_view prefix = "Second-";
        if (seconds) return;
        if (sameName(choice, "Infinite")) {
            seconds = vx::LOCK_TIMEOUT_INFINITE;
        } else if (sameName(choice.substr(0, prefix.size()), prefix)) {
            // Second-4294967295 is legal, and as good as infinite.
            seconds = parseNumber<uint32_t>(choice.substr(prefix.size()));
        }
    });
    return seconds;
}

std::optional<std::chrono::seconds> parseRetryAfter(std::string_view value,
                                                    std::chrono::system_clock::time_point now) {
    if (const auto seconds = parseNumber<uint32_t>(trim(value))) {
        return std::chrono::seconds(*seconds);
    }
    const auto date = parseDate(std::u32string(value.begin(), value.end()), now);
    if (!date) return {};
    const double wait = *date - std::chrono::duration<double>(now.time_since_epoch()).count();
    constexpr double longest = 86400.0 * 365;
    return std::chrono::seconds(static_cast<int64_t>(std::clamp(wait + 0.999, 0.0, longest)));
}

}  // namespace vxhost
