#include <algorithm>
#include <memory>

#include "platform/base/slots.hpp"
#include "platform/files/content.hpp"
#include "platform/fsbox/file.hpp"

namespace vxhost {
namespace {

constexpr size_t bufferBytes = size_t{256} * 1024;

struct ReadFile : vx::File {
    ReadFile(const std::string& path, vx::Journal* journal);

private:
    vx::Status deliver(const void** data, uint64_t* length);
    vx::Status fill();

    const std::string path_;
    vx::Journal* const journal_;
    Descriptor file_;
    const std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(bufferBytes);
    size_t from_ = 0;
    size_t to_ = 0;
};

ReadFile::ReadFile(const std::string& path, vx::Journal* journal)
    : path_(path), journal_(journal), file_(path, O_RDONLY) {
    fillSlots<vx::File>(*this);
    posix_fadvise(file_.number(), 0, 0, POSIX_FADV_SEQUENTIAL);
    Read = [](vx::File* self, const void** data, uint64_t* length, uint64_t*, vx::Word,
              vx::Word) noexcept {
        return guarded(FSBOX_IO,
                       [&] { return static_cast<ReadFile*>(self)->deliver(data, length); });
    };
    Write = [](vx::File*, const void*, uint64_t, vx::Word, vx::Word, vx::Word) noexcept {
        return vx::VX_UNSUPPORTED;
    };
    Close = [](vx::File* self) noexcept {
        delete static_cast<ReadFile*>(self);
        return vx::VX_SUCCESS;
    };
}

vx::Status ReadFile::deliver(const void** data, uint64_t* length) {
    if (from_ == to_) {
        if (const vx::Status status = fill()) return status;
    }
    const size_t piece = std::min<uint64_t>(*length, to_ - from_);
    *data = buffer_.get() + from_;
    *length = piece;
    from_ += piece;
    return to_ == 0 ? vx::VX_END_OF_FILE : vx::VX_SUCCESS;
}

vx::Status ReadFile::fill() {
    const ssize_t got = readPiece(file_, buffer_.get(), bufferBytes, OnSignal::goOn);
    if (got < 0) return tellTrouble(journal_, path_, "read", errno);
    from_ = 0;
    to_ = static_cast<size_t>(got);
    return vx::VX_SUCCESS;
}

}  // namespace

vx::File* openReadFile(const std::string& path, vx::Journal* journal) {
    return new ReadFile(path, journal);
}

}  // namespace vxhost
