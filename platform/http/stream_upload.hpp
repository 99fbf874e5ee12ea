// The body of a PUT from a pipe or whatever else can be read but once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/base/descriptor.hpp"
#include "platform/base/settings.hpp"
#include "platform/http/upload_source.hpp"

namespace vxhost {

// What cannot be read fails the upload before its last chunk, so that the server cannot take a part
// for the whole.
class StreamUpload final : public UploadSource {
public:
    // Waits for the beginning. An input that ends within it goes out with its length, as some
    // servers want of a small one, and may be sent again.
    StreamUpload(const Settings& settings, Descriptor input, std::filesystem::path shown);

    std::optional<uint64_t> length() const override { return length_; }
    size_t read(char* to, size_t room) override;
    void rewind() override;
    void measure() override;
    bool hasFailed() const override { return failed_; }
    bool finished() const override { return ended_ && position_ == gathered_.size(); }
    bool mustWait() override;

    uint64_t sent() const { return sent_; }    // in bytes
    bool isSpent() const { return isSpent_; }  // what was read of it cannot be read again

private:
    [[noreturn]] void refuse(const std::string& why);
    size_t readInput(char* to, size_t room);

    const Settings& settings_;
    Descriptor input_;
    const std::filesystem::path shown_;
    std::string gathered_;  // the beginning, until something behind it has been read
    size_t position_ = 0;   // in it
    std::optional<uint64_t> length_;
    uint64_t sent_ = 0;
    bool ended_ = false, isSpent_ = false, failed_ = false;
};

}  // namespace vxhost
