#include "client/error.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "host/status.h"
#include "platform/base/status.hpp"

namespace quillon {
namespace {

static_assert(static_cast<vx::Status>(Code::storedPasswordRefused) == vxhost::ENCODING_REFUSED);
static_assert(static_cast<vx::Status>(Code::noKey) == vxhost::ENCODING_NO_KEY);
static_assert(static_cast<vx::Status>(Code::untrusted) == vxhost::WEBLNK_TLS_REFUSED);
static_assert(static_cast<vx::Status>(Code::timedOut) == vxhost::WEBLNK_TIMED_OUT);
static_assert(static_cast<vx::Status>(Code::cutOff) == vxhost::WEBLNK_CUT_OFF);
static_assert(static_cast<vx::Status>(Code::proxyRefused) == vxhost::WEBLNK_PROXY_REFUSED);
static_assert(static_cast<vx::Status>(Code::noAuthorities) == vxhost::WEBLNK_NO_AUTHORITIES);
static_assert(static_cast<vx::Status>(Code::lockLeft) == vxhost::WEBLNK_LOCK_LEFT);
static_assert(static_cast<vx::Status>(Code::otherKey) == vxhost::WEBLNK_OTHER_KEY);
static_assert(static_cast<vx::Status>(Code::certificateWanted) ==
              vxhost::WEBLNK_CERTIFICATE_WANTED);
static_assert(static_cast<vx::Status>(Code::noSuchLock) == vxhost::WEBLNK_NO_SUCH_LOCK);
static_assert(static_cast<vx::Status>(Code::otherSchemes) == vxhost::WEBLNK_OTHER_SCHEMES);
static_assert(static_cast<vx::Status>(Code::ticketRefused) == vxhost::WEBLNK_TICKET_REFUSED);
static_assert(static_cast<vx::Status>(Code::headerRefused) == vxhost::WEBLNK_HEADER_REFUSED);
static_assert(static_cast<vx::Status>(Code::handshakeRefused) == vxhost::WEBLNK_HANDSHAKE_REFUSED);

using vxhost::Status;

// asked: the HTTP status says more than the code, when one came.
enum class Http : bool { ignored, asked };

struct Row {
    Status status;
    Kind kind;
    Http http;
};

constexpr std::array rows{
    Row{vx::QUILLON_BAD_URL, Kind::usage, Http::ignored},
    Row{vx::QUILLON_NOT_AUTHORIZED, Kind::notAuthorized, Http::ignored},
    Row{vx::QUILLON_COLLECTION_NOT_FOUND, Kind::notFound, Http::ignored},
    Row{vx::QUILLON_LOCKED, Kind::locked, Http::ignored},
    Row{vx::QUILLON_ALREADY_LOCKED, Kind::locked, Http::ignored},
    Row{vx::QUILLON_FILE_NOT_FOUND, Kind::notFound, Http::ignored},
    Row{vx::QUILLON_NO_FILE_HANDLE, Kind::network, Http::asked},
    Row{vx::QUILLON_UNEXPECTED_STATUS, Kind::network, Http::asked},
    Row{vx::QUILLON_LOCK_NOT_SUPPORTED, Kind::refused, Http::ignored},
    Row{vx::QUILLON_LOCK_FAILED, Kind::network, Http::asked},
    Row{vx::QUILLON_METHOD_NOT_ALLOWED, Kind::refused, Http::ignored},
    Row{vx::QUILLON_NO_CREATION_DATE, Kind::refused, Http::ignored},
    Row{vx::QUILLON_NEWER_FILE, Kind::changedOnServer, Http::ignored},
    // A rename onto a name that is taken: nothing changed that was fetched.
    Row{vx::QUILLON_PRECONDITION_FAILED, Kind::refused, Http::ignored},
    Row{vx::QUILLON_FILE_LOST, Kind::changedOnServer, Http::ignored},
    Row{vx::QUILLON_PUT_LOCK_FAILED, Kind::locked, Http::asked},
    Row{vx::QUILLON_REQUEST_FAILED, Kind::network, Http::asked},
    Row{vx::QUILLON_INSUFFICIENT_STORAGE, Kind::refused, Http::ignored},
    Row{vx::QUILLON_BAD_RESPONSE, Kind::network, Http::ignored},
    Row{vx::QUILLON_NO_LOCAL_CACHE, Kind::local, Http::ignored},
    Row{vx::QUILLON_NO_MEMBER_NAME, Kind::usage, Http::ignored},
    Row{vx::QUILLON_MKCOL_FORBIDDEN, Kind::refused, Http::ignored},
    Row{vx::QUILLON_MKCOL_NOT_ALLOWED, Kind::refused, Http::ignored},
    Row{vx::QUILLON_MKCOL_CONFLICT, Kind::refused, Http::ignored},
    Row{vx::QUILLON_DELETE_REFUSED, Kind::refused, Http::ignored},
    Row{vx::QUILLON_DELETE_NOT_ALLOWED, Kind::refused, Http::ignored},
    Row{vx::QUILLON_DELETE_CONFLICT, Kind::refused, Http::ignored},
    Row{vxhost::WEBLNK_BAD_URL, Kind::usage, Http::ignored},
    Row{vxhost::WEBLNK_NO_SUCH_HOST, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_NO_CONNECTION, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_TLS_REFUSED, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_TIMED_OUT, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_CUT_OFF, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_REDIRECTED_AWAY, Kind::refused, Http::ignored},
    Row{vxhost::WEBLNK_INTERRUPTED, Kind::interrupted, Http::ignored},
    Row{vxhost::WEBLNK_BAD_ANSWER, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_REFUSED, Kind::network, Http::asked},
    Row{vxhost::WEBLNK_PROXY_REFUSED, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_BAD_DATE, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_NO_TLS, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_LOCK_LEFT, Kind::refused, Http::ignored},
    Row{vxhost::WEBLNK_OTHER_KEY, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_CERTIFICATE_WANTED, Kind::notAuthorized, Http::ignored},
    Row{vxhost::WEBLNK_NO_SUCH_LOCK, Kind::notFound, Http::ignored},
    Row{vxhost::WEBLNK_OTHER_SCHEMES, Kind::notAuthorized, Http::ignored},
    Row{vxhost::WEBLNK_DEAD_SOCKET, Kind::network, Http::ignored},
    Row{vxhost::WEBLNK_TICKET_REFUSED, Kind::notAuthorized, Http::ignored},
    Row{vxhost::WEBLNK_HEADER_REFUSED, Kind::notAuthorized, Http::ignored},
    Row{vxhost::WEBLNK_HANDSHAKE_REFUSED, Kind::network, Http::ignored},
    Row{vxhost::TRANSCODE_INVALID, Kind::usage, Http::ignored},
    Row{static_cast<Status>(Code::unguarded), Kind::changedOnServer, Http::ignored},
    Row{static_cast<Status>(Code::collection), Kind::refused, Http::ignored},
};

struct Refusal {
    int status;
    std::string_view phrase;  // RFC 9110, 15, and RFC 4918, 11
    std::string_view advice;  // may be empty
};

constexpr std::array refusals{
    Refusal{300, "Multiple Choices", "It has several things there; use the URL of one of them."},
    Refusal{301, "Moved Permanently", "Use the URL that the server's administrator names."},
    Refusal{302, "Found", "Use the URL that the server's administrator names."},
    Refusal{303, "See Other", "It shows a page instead; use the URL at which it speaks WebDAV."},
    Refusal{
        304, "Not Modified",
        "Nobody asked whether it was: perhaps a cache on the way answers. Try again without it."},
    Refusal{305, "Use Proxy",
            "It wants a proxy; give one that you trust, if its administrator agrees."},
    Refusal{307, "Temporary Redirect", "Use the URL that the server's administrator names."},
    Refusal{308, "Permanent Redirect", "Use the URL that the server's administrator names."},
    Refusal{400, "Bad Request", "It did not understand the request; check the URL."},
    Refusal{403, "Forbidden", "This account may lack the right to it."},
    Refusal{404, "Not Found", "Check the URL's spelling, or list its collection."},
    Refusal{405, "Method Not Allowed", "It does not do this at this URL; is WebDAV enabled there?"},
    Refusal{407, "Proxy Authentication Required",
            "Only a proxy answers so, and none is used: is the URL that of one?"},
    Refusal{409, "Conflict", "A collection on the way to it is missing."},
    Refusal{410, "Gone", "It was there once, and was removed."},
    Refusal{412, "Precondition Failed",
            "It was changed, made or removed meanwhile; look at it anew."},
    Refusal{413, "Content Too Large", "It takes no file of this size."},
    Refusal{414, "URI Too Long", "Choose a shorter name."},
    Refusal{415, "Unsupported Media Type", ""},
    Refusal{424, "Failed Dependency", ""},
    Refusal{429, "Too Many Requests", "Wait a while and try again."},
    Refusal{500, "Internal Server Error",
            "It may lack permission or room there; its log says why."},
    Refusal{501, "Not Implemented", "It does not do this."},
    Refusal{502, "Bad Gateway", "What stands behind it does not answer. Try again later."},
    Refusal{503, "Service Unavailable", "Try again later."},
    Refusal{504, "Gateway Timeout", "What stands behind it does not answer. Try again later."},
};

Kind kindOfAnswer(int httpStatus) {
    switch (httpStatus) {
        case 401:
            return Kind::notAuthorized;
        case 404:
        case 410:
            return Kind::notFound;
        case 412:
            return Kind::changedOnServer;
        case 423:
            return Kind::locked;
        case 407:
            return Kind::network;  // a proxy's
        case 507:
            return Kind::refused;
    }
    return httpStatus >= 300 && httpStatus < 500 ? Kind::refused : Kind::network;
}

}  // namespace

bool mayPasswordHelp(Code code) {
    return code != Code::certificateWanted && code != Code::otherSchemes &&
           code != Code::ticketRefused && code != Code::headerRefused;
}

Kind kindOf(Code code, int httpStatus) {
    const auto* row = std::find_if(rows.begin(), rows.end(), [code](const Row& candidate) {
        return candidate.status == static_cast<Status>(code);
    });
    if (row == rows.end()) return Kind::local;
    const bool refusal = httpStatus >= 300;
    return row->http == Http::asked && refusal ? kindOfAnswer(httpStatus) : row->kind;
}

std::string answerText(int httpStatus) {
    const auto* refusal = std::find_if(
        refusals.begin(), refusals.end(),
        [httpStatus](const Refusal& candidate) { return candidate.status == httpStatus; });
    if (refusal == refusals.end()) return fmt::format("The server answered {}.", httpStatus);
    const std::string_view gap = refusal->advice.empty() ? "" : " ";
    return fmt::format("The server answered {} ({}).{}{}", httpStatus, refusal->phrase, gap,
                       refusal->advice);
}

bool lockIsGone(const Error& notUnlocked) {
    return notUnlocked.httpStatus != 0 && notUnlocked.locks.empty();
}

Error localError(Kind kind, std::string sentence) {
    return {kind, Code::success, 0, {std::move(sentence)}};
}

Error interruption() {
    return localError(Kind::interrupted, "Interrupted.");
}

}  // namespace quillon
