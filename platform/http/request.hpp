// One request and its answer, as the operations of a client see them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/http/headers.hpp"

namespace vxhost {

class UploadSource;

struct Answer {
    int32_t status = -1;
    std::string url;  // that was asked, behind redirects
    Headers headers;
    // Of a 401 that nobody can answer: the schemes that it asks for, empty where none can be read.
    std::optional<std::string> unknownSchemes{};
    std::string text;       // of the body, when no sink took it: its beginning, up to 256 KiB
    bool isFramed = false;  // HTTP/2: the end of its body is told apart from a cut (RFC 9113, 8.1)
    bool isRecalled = false;  // it was given before, to the same request
};

// Takes the body of a 2xx answer as it arrives. What it throws ends the exchange.
class BodySink {
public:
    virtual ~BodySink() = default;
    virtual void begin(const Answer& answer) = 0;  // once for each answer that has a body
    virtual void write(std::string_view piece) = 0;
    // Whether the exchange may be begun again after pieces were written.
    virtual bool restartable() const { return false; }
    // What an attempt carries besides to go on behind the bytes that came before (RFC 9110, 13.1.5
    // and 14.2): then begin() is told of a 206, too. Empty: nothing, or it cannot go on.
    virtual std::vector<std::string> continuation() const { return {}; }
    // Whether it can take no piece at present; the answer then waits.
    virtual bool isFull() const { return false; }
};

// How a kind of request is treated on its way.
struct Policy {
    // Sent again on a failing connection, 429 or 503; else never, since it might be done twice.
    bool repeatable = false;
    // Ends by itself, within a short time, when the program is interrupted.
    bool uninterrupted = false;
    bool follows301 = false;      // and 302; else only 307, 308 and an added final slash
    bool headerSuffices = false;  // a body of unknown length is not waited for
    // For a member alone: a redirect to a URL with a final slash, which this one has not, leads to
    // a collection, and is not followed: the answer is what counts.
    bool endsAtSlash = false;
    bool content = false;  // its success carries the member's bytes, which may take their time
};

inline constexpr Policy looking{.repeatable = true, .follows301 = true};
// What is asked about locks when the program ends.
inline constexpr Policy lookingAtTheEnd{
    .repeatable = true, .uninterrupted = true, .follows301 = true};
inline constexpr Policy askingOptions{
    .repeatable = true, .follows301 = true, .headerSuffices = true};
inline constexpr Policy fetchingContent{
    .repeatable = true, .follows301 = true, .endsAtSlash = true, .content = true};
inline constexpr Policy changing{};
inline constexpr Policy removingMember{.endsAtSlash = true};  // or a whole tree would go
// An UNLOCK still goes out when the program was interrupted, and the answer of a LOCK holds the
// token without which nobody can unlock.
inline constexpr Policy locking{.uninterrupted = true};

struct Request {
    std::string method;
    std::string url;  // as the request carries it
    Policy policy;
    std::vector<std::string> headers;
    std::string document;  // the body, unless it is an upload; empty: none
    const char* documentType = "application/xml; charset=utf-8";
    UploadSource* upload = nullptr;  // the body of a PUT
    BodySink* sink = nullptr;
    bool isStreamed = false;  // a sink takes its answer, as soon as somebody has one
    bool isLarge = false;     // its content is: over HTTP/1.1, where no other shares the connection
    // About how long the body of its answer is; nothing: nobody knows.
    std::optional<uint64_t> expectedBytes{};
    // How old an answer may be that was given to the same request, and is given again.
    std::chrono::milliseconds recalled{0};
};

}  // namespace vxhost
