// The host's own status codes, their texts, and the bridge from exceptions to them: inside the host
// a failure is thrown, at the edge of every slot it becomes a status.
#pragma once

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "host/status.h"

namespace vxhost {

using vx::Status;

// weblnk: no complete answer came.
inline constexpr Status WEBLNK_BAD_URL = 0x80FFD001u;
inline constexpr Status WEBLNK_NO_SUCH_HOST = 0x80FFD002u;
inline constexpr Status WEBLNK_NO_CONNECTION = 0x80FFD003u;
inline constexpr Status WEBLNK_TLS_REFUSED = 0x80FFD004u;
inline constexpr Status WEBLNK_TIMED_OUT = 0x80FFD005u;
inline constexpr Status WEBLNK_CUT_OFF = 0x80FFD006u;  // the connection ended inside an exchange
inline constexpr Status WEBLNK_REDIRECTED_AWAY = 0x80FFD007u;  // to another origin
inline constexpr Status WEBLNK_INTERRUPTED = 0x80FFD008u;
inline constexpr Status WEBLNK_BAD_ANSWER = 0x80FFD009u;  // not HTTP, or not the XML it must be
inline constexpr Status WEBLNK_REFUSED = 0x80FFD00Au;     // GET answered other than 2xx
inline constexpr Status WEBLNK_PROXY_REFUSED = 0x80FFD00Bu;
inline constexpr Status WEBLNK_BAD_DATE = 0x80FFD00Cu;
inline constexpr Status WEBLNK_LIBRARY_FAILED = 0x80FFD00Du;  // libcurl itself
inline constexpr Status WEBLNK_NO_TLS = 0x80FFD00Eu;  // the handshake failed before any certificate
inline constexpr Status WEBLNK_NO_AUTHORITIES = 0x80FFD00Fu;  // the trusted ones cannot be read
inline constexpr Status WEBLNK_LOCK_LEFT = 0x80FFD010u;  // UNLOCK says there is none, but there is
inline constexpr Status WEBLNK_OTHER_KEY = 0x80FFD011u;  // than the one that is pinned
inline constexpr Status WEBLNK_CERTIFICATE_WANTED = 0x80FFD012u;  // of the person, or another one
inline constexpr Status WEBLNK_NO_SUCH_LOCK = 0x80FFD013u;   // as the person named by its token
inline constexpr Status WEBLNK_OTHER_SCHEMES = 0x80FFD014u;  // the server offers, not the given one
inline constexpr Status WEBLNK_DEAD_SOCKET = 0x80FFD015u;    // nobody listens at it
inline constexpr Status WEBLNK_TICKET_REFUSED = 0x80FFD016u;  // of Kerberos, or there is none
inline constexpr Status WEBLNK_HEADER_REFUSED = 0x80FFD017u;  // Authorization of the person's own
inline constexpr Status WEBLNK_HANDSHAKE_REFUSED = 0x80FFD018u;  // of TLS, by an alert

// fsbox.
inline constexpr Status FSBOX_DENIED = 0x80BFE811u;
inline constexpr Status FSBOX_EXISTS = 0x80BFE812u;
inline constexpr Status FSBOX_NO_SPACE = 0x80BFE813u;
inline constexpr Status FSBOX_IO = 0x80BFE814u;

// Transcoders, encoding service.
inline constexpr Status TRANSCODE_INVALID = 0x803FE808u;
inline constexpr Status ENCODING_REFUSED = 0x813FC110u;      // tampered with, or not ours
inline constexpr Status ENCODING_KEY_EXPOSED = 0x813FC111u;  // others can read the key file
inline constexpr Status ENCODING_NO_KEY = 0x813FC112u;

// What a code means and what to do, as one or two sentences for a person. Every code of
// host/status.h and of this header has a text; another code is shown by number.
std::string statusText(Status status);

class Failure : public std::exception {
public:
    Failure(Status status, std::string detail) : status_(status), detail_(std::move(detail)) {}
    Status status() const noexcept { return status_; }
    const char* what() const noexcept override { return detail_.c_str(); }

private:
    Status status_;
    std::string detail_;
};

// The latest Failure of this thread that became the status of a slot: its detail says which file.
struct LastFailure {
    Status status = vx::VX_SUCCESS;
    std::string detail;
};
LastFailure& lastFailure() noexcept;

// Keeps it as the latest one. Returns its status.
Status noted(const Failure& failure) noexcept;

// Runs the body of a slot; otherwise is the status of an exception that names none.
template <class Body>
Status guarded(Status otherwise, Body&& body) noexcept {
    try {
        return std::forward<Body>(body)();
    } catch (const Failure& failure) {
        return noted(failure);
    } catch (const std::bad_alloc&) {
        return vx::VX_NO_MEMORY;
    } catch (...) {
        return otherwise;
    }
}

}  // namespace vxhost
