// A member's content by its digest, and whether the server still has the same.
#pragma once

#include <sodium.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "platform/http/request.hpp"
#include "platform/http/upload_source.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/known_member.hpp"

namespace vxhost {

// Takes the digest of a body on its way to another sink, if there is one. It costs time: only where
// the answer's dates are too close to tell a later change.
class DigestingSink : public BodySink {
public:
    explicit DigestingSink(BodySink* next = nullptr) : next_(next) {}

    void begin(const Answer& answer) override;
    void write(std::string_view piece) override;
    bool restartable() const override { return !next_ || next_->restartable(); }
    std::vector<std::string> continuation() const override;

    uint64_t size() const { return size_; }
    ContentDigest digest() const;  // of the body so far

private:
    BodySink* next_;
    bool wanted_ = false;
    uint64_t size_ = 0;
    crypto_generichash_state state_{};
};

// racyTime() of an answer.
std::optional<std::chrono::duration<double>> racyTimeOf(const Headers& headers);

// Of a body that was sent or is to be sent, which is read anew.
ContentDigest digestOf(UploadSource& source);

// Notes what came of a successful GET: so many bytes, of which some may have come before it.
void noteFetched(KnownMember& known, const Answer& answer, uint64_t size,
                 const ContentDigest& digest);

// Waits until a change would show, fetches the member again and compares. Gone counts as the same:
// it is written anew. Throws as exchange() does, and when the server does not hand it out.
bool sameContent(CurlClient& client);

}  // namespace vxhost
