// The base64 codecs, with output buffers that have no byte to spare.
#include "runtime/base64.hpp"

#include <memory>
#include <vector>

#include "tests/fuzz/counting_pool.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;
using Text = std::vector<char32_t>;

Text encodeBlob(fuzz::CountingPool& pool, const uint8_t* data, size_t size) {
    char32_t* text = nullptr;
    uint32_t count = 0;
    require(base64EncodeBlob(&pool, data, size, &text, &count) == vx::VX_SUCCESS, "bytes encode");
    require(count == (size + 2) / 3 * 4 && text[count] == 0, "to whole groups, terminated");
    const Text copy(text, text + count);
    pool.Free(&pool, text);
    return copy;
}

// The bytes; empty and false for what is no base64.
bool decodeBlob(fuzz::CountingPool& pool, const Text& text, std::vector<uint8_t>& bytes) {
    const auto count = static_cast<int32_t>(text.size());
    uint8_t* decoded = nullptr;
    uint64_t length = 0;
    const bool good = base64DecodeBlob(&pool, text.data(), count, &decoded, &length) == 0;
    require(good == (decoded != nullptr), "a block comes with success alone");
    bytes.assign(decoded, decoded + length);
    if (good) {
        require(decoded[length] == 0, "it is terminated");
        pool.Free(&pool, decoded);
    }
    const size_t room = text.size() / 4 * 3;
    const std::unique_ptr<uint8_t[]> given(new uint8_t[room]);
    uint8_t* exact = given.get();
    const bool again = base64DecodeBlob(&pool, text.data(), count, &exact, &length) == 0;
    require(again == good && exact == given.get(), "a given buffer is the same");
    if (good) require(std::equal(bytes.begin(), bytes.end(), exact, exact + length), "in content");
    return good;
}

// The two decoders and the two encoders differ in the width of their units alone. A text too short
// for a buffer of its own is left out: a null one would be allocated.
void compareWide(fuzz::CountingPool& pool, const Text& text, bool good,
                 const std::vector<uint8_t>& bytes) {
    if (text.size() < 4) return;
    Text decoded(text.size() / 4 * 3);
    char32_t* units = decoded.data();
    uint32_t count = 0;
    const auto status =
        base64Decode(&pool, text.data(), static_cast<int32_t>(text.size()), &units, &count);
    require((status == vx::VX_SUCCESS) == good, "both decoders read the same");
    if (!good) return;
    require(std::equal(bytes.begin(), bytes.end(), units, units + count), "to the same bytes");

    Text encoded((count + 2) / 3 * 4);
    char32_t* characters = encoded.data();
    require(base64Encode(&pool, units, static_cast<int32_t>(count), &characters, &count) ==
                    vx::VX_SUCCESS &&
                encoded == encodeBlob(pool, bytes.data(), bytes.size()),
            "both encoders write the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::CountingPool pool;
    std::vector<uint8_t> bytes;
    require(decodeBlob(pool, encodeBlob(pool, data, size), bytes), "what was encoded decodes");
    require(std::equal(bytes.begin(), bytes.end(), data, data + size), "to what it was");

    const Text text(data, data + size);
    const bool good = decodeBlob(pool, text, bytes);
    compareWide(pool, text, good, bytes);
    require(pool.out == 0, "no block is left");
    return 0;
}
