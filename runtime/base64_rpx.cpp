#include "runtime/base64.hpp"
#include "runtime/case.hpp"
#include "runtime/kernel.hpp"
#include "runtime/memory.hpp"

namespace {

// How the text of an encoded password begins; the first stands for a family of tags.
struct Tag {
    const char32_t* text;
    int64_t length;
};

constexpr Tag tags[] = {{U"{zeb", 4}, {U"{cfgenc}", 8}, {U"{cfg}", 5}, {U"{base64}", 8}};

bool isEncoded(const char32_t* text, int64_t count) {
    if (text[0] != U'{') return false;
    for (const Tag& tag : tags) {
        const int64_t compared = count < tag.length ? count : tag.length;
        if (vxzseqn(text, compared, tag.text, tag.length)) return true;
    }
    return false;
}

vx::Status copyText(vx::Pool* pool, const char32_t* text, uint64_t count, char32_t** output,
                    uint64_t* outputCount) {
    if (count > UINT64_MAX / sizeof(char32_t)) return vx::VX_NO_MEMORY;
    *output = static_cast<char32_t*>(nxMemDup(text, count * sizeof(char32_t), pool));
    if (!*output) return vx::VX_NO_MEMORY;
    *outputCount = count;
    return vx::VX_SUCCESS;
}

}  // namespace

vx::Status base64EncodeRPX(vx::Pool* pool, const char32_t* text, uint64_t count, char32_t** output,
                           uint64_t* outputCount) {
    *output = nullptr;
    *outputCount = 0;
    const auto characters = static_cast<int64_t>(count);
    if (vxzstrp(text, characters) == 0) return vx::VX_SUCCESS;
    if (isEncoded(text, characters)) return copyText(pool, text, count, output, outputCount);
    vx::EncodingService* service = Exported_VXHandle->encodingService;
    if (!service) return vx::VX_NO_ENCODING_SERVICE;
    return service->EncodeText(service, pool, vx::ENCODING_METHOD_STORED, text, count, output,
                               outputCount, Exported_VXHandle->encodingContext);
}

vx::Status base64DecodeRPX(vx::Pool* pool, const char32_t* text, uint64_t count, char32_t** output,
                           uint64_t* outputCount) {
    *output = nullptr;
    *outputCount = 0;
    if (count == 0) return vx::VX_SUCCESS;
    vx::EncodingService* service = Exported_VXHandle->encodingService;
    if (!service) return vx::VX_NO_ENCODING_SERVICE;
    return service->DecodeText(service, pool, text, count, output, outputCount,
                               Exported_VXHandle->encodingContext);
}
