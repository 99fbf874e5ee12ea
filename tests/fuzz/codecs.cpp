// What encodes and decodes: Base64, the block coder with a modulus and an exponent from the first
// eight bytes, and stored passwords, through the kernel's encoding service.
#include <cstring>
#include <fstream>
#include <vector>

#include "platform/base/transcoder.hpp"
#include "platform/files/directories.hpp"
#include "platform/host/checked_pool.hpp"
#include "platform/host/encoding/encoding.hpp"
#include "platform/host/kernel.hpp"
#include "runtime/base64.hpp"
#include "runtime/block_coder.hpp"
#include "tests/fuzz/fuzz.hpp"
#include "tests/support/temporary_directory.hpp"
#include "vxext/src/entry.hpp"

namespace {

using fuzz::require;
using Bytes = std::vector<uint8_t>;
using Units = std::vector<char32_t>;

template <class Unit>
struct Coded {
    vx::Status status;
    std::vector<Unit> output;  // empty after a failure
};

// What a codec makes of an input, with a pool that watches it.
template <class Input, class InputCount, class Unit, class Count>
Coded<Unit> coded(vx::Status (*codec)(vx::Pool*, const Input*, InputCount, Unit**, Count*),
                  const std::vector<Input>& input) {
    const auto tell = [](std::string_view) { require(false, "a codec leaves nothing behind"); };
    auto* pool = new vxhost::CheckedPool("codec", tell);
    Unit* output = nullptr;
    Count count = 0;
    const vx::Status status =
        codec(pool, input.data(), static_cast<InputCount>(input.size()), &output, &count);
    require(status == vx::VX_SUCCESS || !output, "nothing comes of a failure");
    const Coded<Unit> result{status, {output, output + count}};
    if (output) pool->Free(pool, output);
    pool->DestroyPool(pool);
    return result;
}

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

// The same key in every run, so that a stored text of the corpus can be opened.
void configure(const std::filesystem::path& directory) {
    setenv("XDG_CONFIG_HOME", directory.c_str(), 1);
    const std::filesystem::path key = vxhost::keyFileIn(vxhost::configHome());
    std::filesystem::create_directories(key.parent_path());
    std::ofstream(key, std::ios::binary) << "a key of thirty-two known bytes.";
    std::filesystem::permissions(key, std::filesystem::perms{0600});
    vxextent(&vxhost::kernel());
}

void checkStored(const Units& clear, size_t salt) {
    Units stored = coded(base64EncodeRPX, clear).output;
    if (stored.empty() || stored == clear) return;
    const auto opened = coded(base64DecodeRPX, stored);
    require(opened.status == vx::VX_SUCCESS && opened.output == clear, "a stored password opens");
    constexpr size_t tag = 12;
    stored[tag + salt % (stored.size() - tag)] ^= 1;
    require(coded(base64DecodeRPX, stored).status != vx::VX_SUCCESS, "an altered one does not");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const support::TemporaryDirectory directory;
    static const bool configured = (configure(directory.path()), true);
    static_cast<void>(configured);
    const Bytes bytes(data, data + size);
    checkBase64(bytes);
    checkBlockCoder(bytes);
    const auto text = vxhost::shownUtf32(fuzz::text(data, size));
    const Units units(text.begin(), text.end());
    coded(base64DecodeRPX, units);
    checkStored(units, size);
    return 0;
}
