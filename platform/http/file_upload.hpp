// The body of a PUT from an open file, whose size it has when it begins.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <functional>
#include <string>

#include "platform/base/descriptor.hpp"
#include "platform/files/content_hash.hpp"
#include "platform/http/upload_source.hpp"

namespace vxhost {

// A file that changes while it is read fails the upload before its last byte is handed out, so that
// the server cannot take a mixture for a content.
class FileUpload final : public UploadSource {
public:
    // shown: its name in messages. moved: told of bytes as they are read, less than none where they
    // have to be read again; may be empty.
    FileUpload(Descriptor file, std::filesystem::path shown,
               std::function<void(int64_t bytes)> moved = {});

    std::optional<uint64_t> length() const override { return size_; }
    size_t read(char* to, size_t room) override;
    void rewind() override;
    void measure() override { rewind(); }
    bool hasFailed() const override { return failed_; }
    bool finished() const override { return position_ == size_; }

    const struct stat& begun() const { return begun_; }  // the file as it was opened
    std::string hash() const { return hash_.hex(); }     // of what was sent

private:
    void requireUnchanged();
    [[noreturn]] void fail(const std::string& why);

    Descriptor file_;
    const std::filesystem::path shown_;
    const std::function<void(int64_t)> moved_;
    struct stat begun_ {};
    uint64_t size_ = 0;      // in bytes
    uint64_t position_ = 0;  // of the next one
    ContentHash hash_;
    bool failed_ = false;
};

}  // namespace vxhost
