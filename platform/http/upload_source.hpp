// The body of a PUT, asked for piece by piece while it is sent.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "host/weblnk.h"
#include "platform/base/settings.hpp"

namespace vxhost {

// What cannot be read as it was promised throws a Failure, which ends the request.
class UploadSource {
public:
    virtual ~UploadSource() = default;

    virtual std::optional<uint64_t> length() const = 0;  // of the whole body, when known
    virtual size_t read(char* to, size_t room) = 0;      // the next bytes; 0 at the end
    virtual void rewind() = 0;                           // begins anew
    virtual void measure() = 0;                          // the same, and the length is known then
    virtual bool hasFailed() const = 0;                  // to give the body that was promised
    virtual bool finished() const = 0;
    // Whether the next bytes are not to be had yet; the body then waits, and asks again.
    virtual bool mustWait() { return false; }
};

// Pulled from a caller's read callback.
class CallbackUpload final : public UploadSource {
public:
    // announced: the length that the caller promises; a body of another length is a failure before
    // its last byte is handed out, so that the server cannot take it for a whole one.
    CallbackUpload(const Settings& settings, vx::ReadCallback* callback,
                   std::optional<uint64_t> announced);

    std::optional<uint64_t> length() const override { return length_; }
    size_t read(char* to, size_t room) override;
    void rewind() override;
    void measure() override;
    bool hasFailed() const override { return failed_; }
    bool finished() const override {
        return position_ == gathered_.size() && piece_.empty() && ended_;
    }

private:
    void gather();
    void pull();
    void checkLength();
    [[noreturn]] void fail(vx::Status status, const std::string& why);

    const Settings& settings_;
    vx::ReadCallback* callback_;
    std::optional<uint64_t> announced_;
    std::optional<uint64_t> length_;

    std::string gathered_;    // the beginning, kept: a small body is sent again from here
    size_t position_ = 0;     // in gathered_
    std::string_view piece_;  // what is left of the callback's latest piece
    bool beyond_ = false;     // pieces were taken after gathered_
    bool ended_ = false;
    bool failed_ = false;
    uint64_t pulled_ = 0;
    uint64_t sent_ = 0;
};

}  // namespace vxhost
