#include "vxext/src/transcode.hpp"

#include "runtime/wipe.hpp"
#include "vxext/src/pool_ptr.hpp"

namespace vx {

Status squillonTranscode(ExtensionHandle* extension, Transcoder* transcoder, const char* source,
                         int64_t sourceBytes, char32_t** result, uint64_t* resultLength) {
    *result = nullptr;
    *resultLength = 0;
    if (!source || sourceBytes == 0) return VX_SUCCESS;
    const uint64_t room = uint64_t(sourceBytes);  // in characters; of a negative length: no memory
    char32_t* text = squillonAlloc<char32_t>(extension->pool, room);
    if (!text) return VX_NO_MEMORY;
    *result = text;

    uint64_t produced = 0;
    Status status = transcoder->Transcode(transcoder, source, room, text, room * sizeof(char32_t),
                                          &produced, 0);
    if (status == VX_SUCCESS) *resultLength = produced / sizeof(char32_t);
    // The text may be a password: whoever holds it wipes its length, so nothing lies beyond.
    squillonWipe(text + *resultLength, (room - *resultLength) * sizeof(char32_t));
    return status;
}

Narrowing squillonNarrow(ExtensionHandle* extension, Transcoder* transcoder, const char32_t* text,
                         uint64_t characters, uint64_t capacity, char** buffer, uint64_t* length) {
    constexpr int attempts = 4;
    for (int attempt = 1;; ++attempt, capacity *= 2) {
        *buffer = squillonAlloc<char>(extension->pool, capacity + 1);
        if (!*buffer) return {VX_NO_MEMORY, true};

        uint64_t produced = 0;
        Status status = transcoder->Transcode(transcoder, text, characters * sizeof(char32_t),
                                              *buffer, capacity, &produced, 0);
        if (status == VX_SUCCESS) {
            (*buffer)[produced] = '\0';
            *length = produced;
        }
        if (status != VX_BUFFER_TOO_SMALL || attempt == attempts) return {status, false};
        squillonFree(extension->pool, *buffer);
    }
}

}  // namespace vx
