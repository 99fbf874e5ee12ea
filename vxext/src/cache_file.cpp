#include "vxext/src/cache_file.hpp"

namespace vx {
namespace {

constexpr uint64_t readLength = 4096;  // bytes at a time

void closeFile(ReadCallback* record) {
    record->file->Close(record->file);
    record->file = nullptr;
}

}  // namespace

File* squillonOpenCacheFile(FileHandle* member, uint32_t mode, uint64_t bufferLength,
                            Journal* journal, Status* status) {
    Fsbox* fsbox = member->extension->fsbox;
    FsboxOpenParms parms{};
    for (size_t i = 0; i < 8; ++i) parms.device[i] = U"DISK    "[i];
    parms.mode = mode;
    parms.at24 = 1;
    parms.bufferLength = bufferLength;
    parms.at30 = 1;
    parms.journal = journal;
    *status = VX_SUCCESS;
    File* file = fsbox->fsboxOpen(fsbox, member->cacheName, member->cacheNameLength, &parms, 0,
                                  journal, 0, status, 0);
    // No file without a reason must not pass for a success.
    if (!file && *status == VX_SUCCESS) *status = QUILLON_REQUEST_FAILED;
    return file;
}

Status bquillonWriteCache(WriteCallback* record, const void* data, uint64_t length) {
    return record->file->Write(record->file, data, length, 0, 0, 0);
}

Status bquillonReadCache(ReadCallback* record, const void** data, uint64_t* length) {
    if (!record->file) {
        record->total = 0;
        Status status;
        record->file =
            squillonOpenCacheFile(record->handle, FSBOX_READ, readLength, record->journal, &status);
        if (!record->file) return status;
    }
    const void* piece = nullptr;
    uint64_t pieceLength = readLength;
    uint64_t spare = 0;
    Status status = record->file->Read(record->file, &piece, &pieceLength, &spare, 0, 0);
    if (status != VX_SUCCESS) {
        closeFile(record);
        return status == VX_END_OF_FILE ? VX_END_OF_DATA : status;
    }
    *data = piece;
    *length = pieceLength;
    record->total += pieceLength;
    return VX_SUCCESS;
}

Status squillonReadNull(ReadCallback*, const void**, uint64_t*) {
    return VX_END_OF_DATA;
}

}  // namespace vx
