// The block coder: four bytes of modulus, four of exponent, and what is to be coded.
#include "runtime/block_coder.hpp"

#include <cstring>
#include <vector>

#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;
using Bytes = std::vector<uint8_t>;

struct Key {
    uint64_t modulus, exponent;
};

constexpr Key PUBLIC = {65521ull * 65537, 65539};
constexpr Key PRIVATE = {65521ull * 65537, 2335287979};
constexpr uint64_t COPYING = 1 << 24;  // moduli below it copy

uint32_t code(const Key& key, const Bytes& input, uint32_t direction, Bytes& output) {
    uint32_t length = 0;
    vxzscode(&key.modulus, &key.exponent, input.data(), static_cast<int32_t>(input.size()),
             direction, output.data(), &length);
    return length;
}

Bytes encode(const Key& key, const Bytes& input) {
    Bytes output(key.modulus < COPYING ? input.size()
                 : input.empty()       ? 0
                                       : 4 + (input.size() + 2) / 3 * 4);
    require(code(key, input, 0, output) == output.size(), "an encoding has its length");
    return output;
}

// The length is in the input's header: what a first run with all the room stores and writes, a
// second one must not exceed.
Bytes decode(const Key& key, const Bytes& input) {
    Bytes roomy(std::max<size_t>(input.size(), UINT16_MAX));
    const uint32_t length = code(key, input, 1, roomy);
    const size_t blocks = input.size() < 4 ? 0 : (input.size() - 4 + 3) / 4;
    const bool copies = key.modulus < COPYING;
    Bytes exact(copies ? length : std::min<size_t>(length, blocks * 3));
    require(code(key, input, 1, exact) == length, "a decoded length is the input's");
    require(std::equal(exact.begin(), exact.end(), roomy.begin()), "whatever the room");
    return exact;
}

uint32_t takeWord(const uint8_t* data) {
    uint32_t word;
    std::memcpy(&word, data, sizeof word);
    return word;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 8) return 0;
    const Key key = {takeWord(data), takeWord(data + 4)};
    const Bytes input(data + 8, data + size);
    encode(key, input);
    decode(key, input);
    if (input.size() <= UINT16_MAX) {
        require(decode(PRIVATE, encode(PUBLIC, input)) == input, "the private key undoes it");
    }
    return 0;
}
