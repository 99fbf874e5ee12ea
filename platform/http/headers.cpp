#include "platform/http/headers.hpp"

#include <algorithm>

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

bool offersScheme(const Headers& headers, std::string_view scheme) {
    std::string bare;  // of what is in quotes, which may look like a scheme
    bool quoted = false;
    for (const char c : headers.joined("WWW-Authenticate")) {
        if (c == '"') quoted = !quoted;
        if (c != '"' && !quoted) bare += c;
    }
    bool offered = false;
    eachElement(bare, [&](std::string_view element) {
        offered = offered || sameName(element.substr(0, element.find(' ')), scheme);
    });
    return offered;
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

std::string EntityTag::sent() const {
    return (weak ? "W/\"" : "\"") + text + '"';
}

EntityTag parseEntityTag(std::string_view value) {
    constexpr size_t longest = 1000;
    value = trim(value);
    const bool weak = value.starts_with("W/");
    if (weak) value.remove_prefix(2);
    if (value.size() >= 2 && value.front() == '"' && value.back() == '"') {
        value = value.substr(1, value.size() - 2);
    }
    const bool clean = std::all_of(value.begin(), value.end(), [](unsigned char c) {
        return c > ' ' && c != '"' && c != 0x7F;
    });
    // mod_deflate and mod_brotli mark the tags of what they coded so.
    const bool coded = value.ends_with("-gzip") || value.ends_with("-br");
    if (!clean || coded || value.empty() || value.size() > longest) return {};
    return {std::string(value), weak};
}

}  // namespace vxhost
