#include "vxext/src/member_url.hpp"

#include <cstring>

#include "vxext/src/pool_ptr.hpp"

namespace vx {

Status squillonMemberUrl(const CollectionHandle* collection, Transcoder* transcoder,
                         const char* name, int64_t nameBytes, char32_t** url, uint64_t* length) {
    const uint64_t room = uint64_t(nameBytes);  // every byte makes one character at most
    *url = squillonAlloc<char32_t>(collection->extension->pool, collection->urlLength + room);
    if (!*url) return VX_NO_MEMORY;
    std::memcpy(*url, collection->url, collection->urlLength * sizeof(char32_t));

    uint64_t produced = 0;
    Status rc = transcoder->Transcode(transcoder, name, room, *url + collection->urlLength,
                                      room * sizeof(char32_t), &produced, 0);
    if (rc == VX_SUCCESS) *length = collection->urlLength + produced / sizeof(char32_t);
    return rc;
}

}  // namespace vx
