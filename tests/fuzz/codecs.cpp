// Base64, and the block coder with a modulus and an exponent from the first eight bytes.
#include <cstring>

#include "runtime/base64.hpp"
#include "runtime/block_coder.hpp"
#include "tests/fuzz/coded.hpp"

namespace {

using fuzz::coded;
using fuzz::require;
using Bytes = std::vector<uint8_t>;

void checkBase64(const Bytes& bytes) {
    const auto text = coded(base64EncodeBlob, bytes);
    require(coded(base64DecodeBlob, text.output).output == bytes, "what was encoded decodes");

    const std::vector<char32_t> any(bytes.begin(), bytes.end());
    const auto blob = coded(base64DecodeBlob, any);
    const auto wide = coded(base64Decode, any);
    require(wide.status == blob.status, "both decoders read the same");
    require(
        std::equal(wide.output.begin(), wide.output.end(), blob.output.begin(), blob.output.end()),
        "to the same bytes");
    require(coded(base64EncodeBlob, blob.output).output == coded(base64Encode, wide.output).output,
            "which both encoders write as the same");
}

struct Key {
    uint64_t modulus, exponent;
};

constexpr Key PUBLIC = {65521ull * 65537, 65539};
constexpr Key PRIVATE = {65521ull * 65537, 2335287979};

// The output has the room of the input's blocks, and not a byte more.
Bytes code(const Key& key, const Bytes& input, uint32_t direction) {
    const size_t size = input.size();
    const size_t room = direction == 0 ? (size > 0 ? 4 + (size + 2) / 3 * 4 : 0)
                                       : (size > 4 ? (size - 1) / 4 * 3 : 0);
    constexpr uint8_t untouched = 0xDB;
    Bytes output(key.modulus < 1 << 24 ? size : room, untouched);
    uint32_t length = 0;
    vxzscode(&key.modulus, &key.exponent, input.data(), static_cast<int32_t>(size), direction,
             output.data(), &length);
    const auto end = output.begin() + std::min<ptrdiff_t>(length, std::ssize(output));
    require(std::count(end, output.end(), untouched) == output.end() - end, "the rest stays");
    output.erase(end, output.end());
    return output;
}

void checkBlockCoder(const Bytes& bytes) {
    if (bytes.size() < 8) return;
    uint32_t key[2];
    std::memcpy(key, bytes.data(), sizeof key);
    const Bytes input(bytes.begin() + sizeof key, bytes.end());
    for (const uint32_t direction : {0u, 1u}) code({key[0], key[1]}, input, direction);
    if (input.size() > UINT16_MAX) return;
    require(code(PRIVATE, code(PUBLIC, input, 0), 1) == input, "the private key undoes it");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes bytes(data, data + size);
    checkBase64(bytes);
    checkBlockCoder(bytes);
    return 0;
}
