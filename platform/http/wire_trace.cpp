#include "platform/http/wire_trace.hpp"

#include <strings.h>

#include <string>
#include <string_view>

#include "platform/base/logger.hpp"
#include "platform/http/curl_options.hpp"

namespace vxhost {
namespace {

// Credentials, and what stands for them.
constexpr std::string_view masked[] = {
    "Authorization:", "Proxy-Authorization:", "Cookie:", "Set-Cookie:"};

std::string shown(std::string_view line) {
    for (const auto name : masked) {
        if (line.size() >= name.size() && !strncasecmp(line.data(), name.data(), name.size())) {
            return std::string(line.substr(0, name.size())) + " ***";
        }
    }
    return std::string(line);
}

int traceWire(CURL*, curl_infotype kind, char* data, size_t size, void* logger) noexcept {
    if (kind != CURLINFO_HEADER_OUT && kind != CURLINFO_HEADER_IN) return 0;
    try {
        const std::string prefix = kind == CURLINFO_HEADER_OUT ? "> " : "< ";
        const std::string_view text(data, size);
        for (size_t begin = 0; begin < size;) {
            const size_t end = std::min(text.find("\r\n", begin), size);
            if (end > begin) {
                logLine(static_cast<vx::Logger*>(logger), LOG_WIRE,
                        prefix + shown(text.substr(begin, end - begin)));
            }
            begin = end + 2;
        }
    } catch (...) {  // a trace that cannot be written is left out
    }
    return 0;
}

}  // namespace

void setWireTrace(CURL* easy, vx::Logger* logger) {
    const bool wanted = logger && logWanted(logger, LOG_WIRE);
    setOption(easy, CURLOPT_VERBOSE, wanted ? 1L : 0L);
    setOption(easy, CURLOPT_DEBUGFUNCTION, &traceWire);
    setOption(easy, CURLOPT_DEBUGDATA, logger);
}

}  // namespace vxhost
