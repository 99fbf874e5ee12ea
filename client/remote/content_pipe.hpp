// A content on its way from one server to another: one thread fetches it, another stores it, and a
// small part of it is in memory between them.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "client/remote/content.hpp"
#include "platform/base/settings.hpp"
#include "platform/files/content_hash.hpp"
#include "platform/http/upload_source.hpp"

namespace quillon {

// The last byte is handed out once all have come: a fetch that breaks off fails the upload before
// it, so that the server cannot take a part for the whole.
class ContentPipe final : public ContentTaker, public vxhost::UploadSource {
public:
    // size: that the source tells otherwise, in bytes.
    ContentPipe(const vxhost::Settings& settings, std::optional<uint64_t> size)
        : settings_(settings), length_(size) {}

    // For the thread that fetches.
    void announce(std::optional<uint64_t> length, const std::string& tagToGoOn) override;
    void begin() override;
    void take(std::string_view piece) override;
    void end(bool isWhole);

    // For the thread that stores.
    bool awaitBeginning();  // false: the fetch ended without one
    std::optional<uint64_t> length() const override { return length_; }  // once it has begun
    size_t read(char* to, size_t room) override;
    void rewind() override;
    void measure() override;
    bool hasFailed() const override;
    bool finished() const override;
    bool sourceFailed() const;  // is why it could not be read
    void close();               // no more is read

    // Once both are done.
    bool isWhole() const { return whole_; }
    bool isOther() const { return isOther_; }  // it has another length than was told otherwise
    std::string hash() const { return hash_.hex(); }

private:
    [[noreturn]] void fail(const char* why);

    const vxhost::Settings& settings_;
    mutable std::mutex mutex_;  // of all that follows, but for the hash
    std::condition_variable changed_;
    std::optional<uint64_t> length_;  // is not changed once it has begun
    std::string bytes_;
    uint64_t first_ = 0;     // position of the first of them in the content
    uint64_t position_ = 0;  // of the next one to be read
    uint64_t came_ = 0;      // in bytes
    bool begun_ = false, ended_ = false, whole_ = false, closed_ = false;
    bool failed_ = false, sourceFailed_ = false, isOther_ = false;
    vxhost::ContentHash hash_;  // of the fetching thread
};

}  // namespace quillon
