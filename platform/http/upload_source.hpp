// The body of a PUT, pulled piece by piece from the caller's read callback.
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

class UploadSource {
public:
    // announced: the length that the caller promises; a body of another length is a failure before
    // its last byte is handed out, so that the server cannot take it for a whole one.
    UploadSource(const Settings& settings, vx::ReadCallback* callback,
                 std::optional<uint64_t> announced);

    std::optional<uint64_t> length() const { return length_; }  // of the whole body, when known

    size_t read(char* to, size_t room);         // the next bytes; 0 at the end
    void rewind();                              // begins anew
    void measure();                             // the same, and the length is known then
    bool hasFailed() const { return failed_; }  // to give the body that was promised
    bool finished() const { return position_ == gathered_.size() && piece_.empty() && ended_; }

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
