#include "vxext/src/transcode.hpp"

#include "runtime/wipe.hpp"
#include "vxext/src/pool_ptr.hpp"

namespace vx {

Status squillonConvert(Transcoder* transcoder, const void* source, uint64_t sourceBytes,
                       void* destination, uint64_t capacity, uint64_t* produced) {
    *produced = 0;
    Status status =
        transcoder->Transcode(transcoder, source, sourceBytes, destination, capacity, produced, 0);
    if (status == VX_SUCCESS && *produced > capacity) status = VX_INVALID_ARGUMENT;
    if (status != VX_SUCCESS) *produced = 0;
    return status;
}

Status squillonTranscode(ExtensionHandle* extension, Transcoder* transcoder, const char* source,
                         int64_t sourceBytes, char32_t** result, uint64_t* resultLength) {
    *result = nullptr;
    *resultLength = 0;
    if (!source || sourceBytes == 0) return VX_SUCCESS;
    return squillonTranscodeGiven(extension, transcoder, source, sourceBytes, result, resultLength);
}

Status squillonTranscodeGiven(ExtensionHandle* extension, Transcoder* transcoder,
                              const char* source, int64_t sourceBytes, char32_t** result,
                              uint64_t* resultLength) {
    const uint64_t room = uint64_t(sourceBytes);  // in characters; of a negative length: no memory
    *result = squillonAlloc<char32_t>(extension->pool, room);
    *resultLength = 0;
    if (!*result) return VX_NO_MEMORY;

    uint64_t produced;
    Status status =
        squillonConvert(transcoder, source, room, *result, room * sizeof(char32_t), &produced);
    *resultLength = produced / sizeof(char32_t);
    // The text may be a password: whoever holds it wipes its length, so nothing lies beyond.
    squillonWipe(*result + *resultLength, (room - *resultLength) * sizeof(char32_t));
    return status;
}

Status squillonNarrow(ExtensionHandle* extension, Transcoder* transcoder, const char32_t* text,
                      uint64_t characters, uint64_t capacity, char** buffer, uint64_t* length) {
    constexpr int attempts = 4;
    for (int attempt = 1;; ++attempt, capacity *= 2) {
        *buffer = squillonAlloc<char>(extension->pool, capacity + 1);
        if (!*buffer) return VX_NO_MEMORY;

        uint64_t produced;
        Status status = squillonConvert(transcoder, text, characters * sizeof(char32_t), *buffer,
                                        capacity, &produced);
        if (status == VX_SUCCESS) {
            (*buffer)[produced] = '\0';
            *length = produced;
        }
        if (status != VX_BUFFER_TOO_SMALL || attempt == attempts) return status;
        squillonFree(extension->pool, *buffer);
    }
}

}  // namespace vx
