// One request and its answer, as the operations of a client see them.
#pragma once

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
    std::string text;  // of the body, when no sink took it: its beginning, up to 256 KiB
};

// Takes the body of a 2xx answer as it arrives. What it throws ends the exchange.
class BodySink {
public:
    virtual ~BodySink() = default;
    virtual void begin(const Answer& answer) = 0;  // once for each answer that has a body
    virtual void write(std::string_view piece) = 0;
    // Whether the exchange may be begun again after pieces were written.
    virtual bool restartable() const { return false; }
};

struct Request {
    std::string method;
    std::string url;  // as the request carries it
    std::vector<std::string> headers;
    std::string document;            // an XML body; empty: none
    UploadSource* upload = nullptr;  // the body of a PUT
    bool expects = true;             // a large upload waits for 100 Continue
    BodySink* sink = nullptr;
    // Sent again on a failing connection, 429 or 503; else never, since it might be done twice.
    bool repeatable = false;
    // Ends by itself, within a short time, when the program is interrupted: an UNLOCK, which then
    // still goes out, and a LOCK, whose answer holds the token without which nobody can unlock.
    bool uninterrupted = false;
    bool follows301 = false;      // and 302; else only 307, 308 and an added final slash
    bool headerSuffices = false;  // a body of unknown length is not waited for
    // For a member alone: a redirect to a URL with a final slash, which this one has not, leads to a
    // collection, and is not followed: the answer is what counts.
    bool endsAtSlash = false;
    bool content = false;  // its success carries the member's bytes, which may take their time
};

}  // namespace vxhost
