#include "vxext/src/member_url.hpp"

#include <cstring>

#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {

Status squillonMemberUrl(const CollectionHandle* collection, Transcoder* transcoder,
                         const char* name, int64_t nameBytes, char32_t** url, uint64_t* length) {
    const uint64_t beginning = collection->urlLength;
    const uint64_t room = uint64_t(nameBytes);  // every byte makes one character at most
    *url = squillonAlloc<char32_t>(collection->extension->pool, beginning + room);
    *length = 0;
    if (!*url) return VX_NO_MEMORY;
    std::memcpy(*url, collection->url, beginning * sizeof(char32_t));

    uint64_t produced;
    Status rc = squillonConvert(transcoder, name, room, *url + beginning, room * sizeof(char32_t),
                                &produced);
    if (rc == VX_SUCCESS) *length = beginning + produced / sizeof(char32_t);
    // As in squillonTranscode: the collection's URL may hold a password.
    squillonWipe(*url + *length, (beginning + room - *length) * sizeof(char32_t));
    return rc;
}

}  // namespace vx
