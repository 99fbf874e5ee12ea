#include <cstring>
#include <memory>

#include "platform/base/slots.hpp"
#include "platform/files/content.hpp"
#include "platform/fsbox/file.hpp"

namespace vxhost {
namespace {

constexpr size_t gatheredBytes = size_t{256} * 1024;
constexpr size_t largePiece = size_t{64} * 1024;  // not worth a copy

struct WrittenFile : vx::File {
    WrittenFile(const std::string& path, vx::Journal* journal);

private:
    vx::Status store(const char* data, uint64_t length);
    vx::Status flush();
    vx::Status pass(const char* data, size_t length);
    void fail(int error);
    vx::Status finish();

    const std::string path_;
    vx::Journal* const journal_;
    Descriptor file_;
    const std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(gatheredBytes);
    size_t gathered_ = 0;
    vx::Status failed_ = vx::VX_SUCCESS;  // the first failure stays
};

WrittenFile::WrittenFile(const std::string& path, vx::Journal* journal)
    : path_(path), journal_(journal), file_(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0600) {
    fillSlots<vx::File>(*this);
    Write = [](vx::File* self, const void* data, uint64_t length, vx::Word, vx::Word,
               vx::Word) noexcept {
        return static_cast<WrittenFile*>(self)->store(static_cast<const char*>(data), length);
    };
    Read = [](vx::File*, const void**, uint64_t*, uint64_t*, vx::Word, vx::Word) noexcept {
        return vx::VX_UNSUPPORTED;
    };
    Close = [](vx::File* self) noexcept {
        const std::unique_ptr<WrittenFile> file(static_cast<WrittenFile*>(self));
        return file->finish();
    };
}

vx::Status WrittenFile::store(const char* data, uint64_t length) {
    if (length == 0 || length >= largePiece || length > gatheredBytes - gathered_) {
        if (const vx::Status status = flush()) return status;
        if (length >= largePiece) return pass(data, length);
    }
    if (failed_ == vx::VX_SUCCESS && length > 0) {
        std::memcpy(buffer_.get() + gathered_, data, length);
        gathered_ += length;
    }
    return failed_;
}

vx::Status WrittenFile::flush() {
    return pass(buffer_.get(), std::exchange(gathered_, 0));
}

vx::Status WrittenFile::pass(const char* data, size_t length) {
    if (failed_ == vx::VX_SUCCESS) fail(writeWhole(file_, {data, length}));
    return failed_;
}

// An error of 0 is none.
void WrittenFile::fail(int error) {
    if (error == 0 || failed_ != vx::VX_SUCCESS) return;
    failed_ = tellTrouble(journal_, path_, "written", error);
}

vx::Status WrittenFile::finish() {
    flush();
    fail(file_.shut());
    if (failed_ != vx::VX_SUCCESS) unlink(path_.c_str());
    return failed_;
}

}  // namespace

vx::File* openWrittenFile(const std::string& path, vx::Journal* journal) {
    return new WrittenFile(path, journal);
}

}  // namespace vxhost
