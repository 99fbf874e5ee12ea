#include "client/http_status.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace quillon {
namespace {

struct Row {
    int status;
    std::string_view phrase;  // RFC 9110, 15, and RFC 4918, 11
    std::string_view advice;  // may be empty
};

constexpr std::array rows{
    Row{300, "Multiple Choices", "It has several things there; use the URL of one of them."},
    Row{301, "Moved Permanently", "Use the URL that the server's administrator names."},
    Row{302, "Found", "Use the URL that the server's administrator names."},
    Row{303, "See Other", "It shows a page instead; use the URL at which it speaks WebDAV."},
    Row{304, "Not Modified",
        "Nobody asked whether it was: perhaps a cache on the way answers. Try again without it."},
    Row{305, "Use Proxy",
        "It wants a proxy; give one that you trust, if its administrator agrees."},
    Row{307, "Temporary Redirect", "Use the URL that the server's administrator names."},
    Row{308, "Permanent Redirect", "Use the URL that the server's administrator names."},
    Row{400, "Bad Request", "It did not understand the request; check the URL."},
    Row{403, "Forbidden", "This account may lack the right to it."},
    Row{404, "Not Found", "Check the URL's spelling, or list its collection."},
    Row{405, "Method Not Allowed", "It does not do this at this URL; is WebDAV enabled there?"},
    Row{407, "Proxy Authentication Required", "Give the proxy's URL with user and password."},
    Row{409, "Conflict", "A collection on the way to it is missing."},
    Row{410, "Gone", "It was there once, and was removed."},
    Row{412, "Precondition Failed", "It was changed, made or removed meanwhile; look at it anew."},
    Row{413, "Content Too Large", "It takes no file of this size."},
    Row{414, "URI Too Long", "Choose a shorter name."},
    Row{415, "Unsupported Media Type", ""},
    Row{424, "Failed Dependency", ""},
    Row{429, "Too Many Requests", "Wait a while and try again."},
    Row{500, "Internal Server Error", "It may lack permission or room there; its log says why."},
    Row{501, "Not Implemented", "It does not do this."},
    Row{502, "Bad Gateway", "What stands behind it does not answer. Try again later."},
    Row{503, "Service Unavailable", "Try again later."},
    Row{504, "Gateway Timeout", "What stands behind it does not answer. Try again later."},
};

}  // namespace

std::string answerText(int httpStatus) {
    const auto* row = std::find_if(rows.begin(), rows.end(), [httpStatus](const Row& candidate) {
        return candidate.status == httpStatus;
    });
    if (row == rows.end()) return fmt::format("The server answered {}.", httpStatus);
    const std::string_view gap = row->advice.empty() ? "" : " ";
    return fmt::format("The server answered {} ({}).{}{}", httpStatus, row->phrase, gap,
                       row->advice);
}

}  // namespace quillon
