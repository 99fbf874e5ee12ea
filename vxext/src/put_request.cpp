#include "vxext/src/put_request.hpp"

namespace vx {

Status squillonSendPut(FileHandle* member, decltype(ReadCallback::callback) callback,
                       LockObject** lock, Journal* journal) {
    ReadCallback record{callback, member, nullptr, journal, 0};
    Status rc =
        member->client->InstPut(member->client, member->putOptions, member->putOptionsLength,
                                member->putCode, 0, lock, lock ? 1 : 0, &member->status, &record);
    // A client that stopped before the end of the body has left the file open.
    if (record.file) record.file->Close(record.file);
    return rc;
}

}  // namespace vx
