#include "platform/http/wire_trace.hpp"

#include <strings.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/logger.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/way_in.hpp"

namespace vxhost {
namespace {

// Credentials, and what stands for them.
constexpr std::string_view masked[] = {
    "Authorization:", "Proxy-Authorization:", "Cookie:", "Set-Cookie:"};

// Fields that hold a URL, which may hold credentials.
constexpr std::string_view urls[] = {
    "Location:", "Content-Location:", "Destination:", "Refresh:", "Link:"};

bool begins(std::string_view line, std::string_view name) {
    return line.size() >= name.size() && !strncasecmp(line.data(), name.data(), name.size());
}

// Without what stands between the slashes and the last "@": a server may spell a URL in any way,
// and a password may hold a slash, so rather too much of it is left out.
std::string withoutUserinfo(std::string_view line) {
    const size_t slashes = line.find("//"), at = line.rfind('@');
    const size_t colon = line.find(':', line.find(':') + 1);  // of the scheme
    const size_t begin = slashes != line.npos ? slashes + 2 : colon + 1;
    if (at == line.npos || begin == 0 || begin > at) return std::string(line);
    return std::string(line.substr(0, begin)).append("***").append(line.substr(at));
}

// The fields that the person adds to requests, whose values may open the way in.
std::optional<std::string_view> ownField(std::string_view line, const Settings& settings) {
    if (!settings.wayIn) return std::nullopt;
    for (const SecretText& field : settings.wayIn->headers) {
        const std::string_view given = field.get();
        const std::string_view name = given.substr(0, given.find(':') + 1);
        if (begins(line, name)) return name;
    }
    return std::nullopt;
}

std::string shown(std::string_view line, const Settings& settings) {
    if (const auto name = ownField(line, settings)) return std::string(*name) + " ***";
    const auto fits = [line](std::string_view name) { return begins(line, name); };
    if (const auto* name = std::find_if(std::begin(masked), std::end(masked), fits);
        name != std::end(masked)) {
        return std::string(*name) + " ***";
    }
    const bool holdsUrl = std::any_of(std::begin(urls), std::end(urls), fits);
    return holdsUrl ? withoutUserinfo(line) : std::string(line);
}

// Why libcurl got no ticket, of which it tells nobody else. Its words begin with GSSAPI's own for
// any failure at all.
std::string ticketProblem(std::string_view text) {
    constexpr std::string_view start = "gss_init_sec_context() failed: ", any = "more information.";
    if (!begins(text, start)) return {};
    text.remove_prefix(start.size());
    if (const size_t at = text.find(any); at != text.npos) text.remove_prefix(at + any.size());
    const size_t first = text.find_first_not_of(' '), last = text.find_last_not_of(". \r\n");
    return last == text.npos ? "" : std::string(text.substr(first, last + 1 - first));
}

int traceWire(CURL*, curl_infotype kind, char* data, size_t size, void* of) noexcept {
    WireTrace& trace = *static_cast<WireTrace*>(of);
    const Sender& sender = trace.sender;
    try {
        const std::string_view text(data, size);
        if (kind == CURLINFO_TEXT && trace.noTicket.empty()) trace.noTicket = ticketProblem(text);
        if (!logWanted(sender.logger, LOG_WIRE)) return 0;
        if (kind != CURLINFO_HEADER_OUT && kind != CURLINFO_HEADER_IN) return 0;
        const std::string prefix = kind == CURLINFO_HEADER_OUT ? "> " : "< ";
        for (size_t begin = 0; begin < size;) {
            const size_t end = std::min(text.find("\r\n", begin), size);
            if (end > begin) {
                logLine(sender.logger, LOG_WIRE,
                        prefix + shown(text.substr(begin, end - begin), sender.settings));
            }
            begin = end + 2;
        }
    } catch (...) {  // a trace that cannot be written is left out
    }
    return 0;
}

}  // namespace

void setWireTrace(CURL* easy, WireTrace& trace, bool usesTicket) {
    const bool isWanted = logWanted(trace.sender.logger, LOG_WIRE);
    setOption(easy, CURLOPT_VERBOSE, isWanted || usesTicket ? 1L : 0L);
    setOption(easy, CURLOPT_DEBUGFUNCTION, &traceWire);
    setOption(easy, CURLOPT_DEBUGDATA, &trace);
}

}  // namespace vxhost
