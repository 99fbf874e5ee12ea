#include "runtime/base64.hpp"

#include "runtime/base64_index.hpp"
#include "runtime/wipe.hpp"

namespace {

using vx::base64Alphabet;
using vx::base64Index;
using vx::base64Pad;

// Sizes are kept to what 32-bit signed arithmetic holds.
constexpr uint64_t mostBytes = INT32_MAX;

// A codec's output: the caller's buffer, or a block of the pool that goes back when the input is
// refused. It may hold part of a secret by then.
template <class Unit>
class Output {
public:
    Output(vx::Pool* pool, Unit** output)
        : pool_(pool), output_(output), bytes_(0), allocates_(!*output) {}

    bool acquire(uint64_t bytes) {
        if (!allocates_) return true;
        bytes_ = bytes;
        *output_ = static_cast<Unit*>(pool_->Alloc(pool_, bytes, vx::POOL_PLAIN));
        return *output_ != nullptr;
    }

    template <class Count>
    vx::Status accept(uint64_t units, Count* count) {
        if (allocates_) (*output_)[units] = 0;
        *count = static_cast<Count>(units);
        return vx::VX_SUCCESS;
    }

    template <class Count>
    vx::Status refuse(Count* count) {
        if (!allocates_) return vx::VX_INVALID_ARGUMENT;
        if (*output_) {
            squillonWipe(*output_, bytes_);
            pool_->Free(pool_, *output_);
        }
        *output_ = nullptr;
        *count = 0;
        return vx::VX_INVALID_ARGUMENT;
    }

private:
    vx::Pool* pool_;
    Unit** output_;
    uint64_t bytes_;
    bool allocates_;
};

// Both characters for 12 bits of input.
struct Pair {
    char32_t characters[2];
};

constexpr auto pairs = [] {
    std::array<Pair, size_t{1} << 12> table{};
    for (uint32_t bits = 0; bits < table.size(); ++bits)
        table[bits] = {{base64Alphabet[bits >> 6], base64Alphabet[bits & 63]}};
    return table;
}();

void put(char32_t* output, const Pair& pair) {
    __builtin_memcpy(output, &pair, sizeof pair);
}

// The next bytes as one number, the first the most significant.
template <uint32_t Bytes, class Input>
uint64_t gather(const Input* input) {
    uint64_t bits = 0;
    for (uint32_t n = 0; n < Bytes; ++n) bits = bits << 8 | static_cast<uint8_t>(input[n]);
    return bits;
}

// One or two bytes behind the last whole group.
template <class Input>
void encodeRest(const Input* input, uint64_t left, char32_t* output) {
    const uint64_t bits = left == 2 ? gather<2>(input) << 8 : gather<1>(input) << 16;
    put(output, pairs[bits >> 12]);
    output[2] = left == 2 ? base64Alphabet[bits >> 6 & 63] : base64Pad;
    output[3] = base64Pad;
}

template <class Input>
void encodeText(const Input* input, uint64_t count, char32_t* output) {
    for (; count >= 6; count -= 6, input += 6, output += 8) {
        const uint64_t bits = gather<6>(input);
        for (uint64_t n = 0; n < 4; ++n) put(output + 2 * n, pairs[bits >> (36 - 12 * n) & 0xFFF]);
    }
    for (; count >= 3; count -= 3, input += 3, output += 4) {
        const uint64_t bits = gather<3>(input);
        put(output, pairs[bits >> 12]);
        put(output + 2, pairs[bits & 0xFFF]);
    }
    if (count != 0) encodeRest(input, count, output);
}

template <class Input>
vx::Status encode(vx::Pool* pool, const Input* input, uint64_t count, char32_t** output,
                  uint32_t* outputCount) {
    Output<char32_t> text{pool, output};
    if (count > (mostBytes - sizeof(char32_t)) / 16 * 3) return text.refuse(outputCount);
    const uint64_t characters = (count + 2) / 3 * 4;
    if (!text.acquire((characters + 1) * sizeof(char32_t))) return vx::VX_NO_MEMORY;
    encodeText(input, count, *output);
    return text.accept(characters, outputCount);
}

// The 6 bits of a character at its place in a group of four, or a mark above the 24 bits.
constexpr uint32_t notInAlphabet = 0xFF000000;

constexpr auto placedBits = [] {
    std::array<std::array<uint32_t, 256>, 4> table{};
    for (uint32_t place = 0; place < 4; ++place) {
        for (uint32_t byte = 0; byte < 256; ++byte)
            table[place][byte] = base64Index[byte] == vx::notInBase64
                                     ? notInAlphabet
                                     : uint32_t{base64Index[byte]} << (18 - 6 * place);
    }
    return table;
}();

template <uint32_t Place>
uint32_t bitsOf(char32_t character) {
    return placedBits[Place][static_cast<uint8_t>(character)];
}

bool isPad(char32_t character) {
    return static_cast<uint8_t>(character) == base64Pad;
}

// The bytes of a group that is not four characters of the alphabet: 1, 2, or 0 when it is bad.
template <class Unit>
uint32_t decodePadded(const char32_t* group, Unit* output) {
    const uint32_t head = bitsOf<0>(group[0]) | bitsOf<1>(group[1]);
    const uint32_t third = bitsOf<2>(group[2]);
    if (head >= notInAlphabet) return 0;
    if (isPad(group[2])) {
        output[0] = static_cast<uint8_t>(head >> 16);
        return 1;
    }
    if (third >= notInAlphabet || !isPad(group[3])) return 0;
    output[0] = static_cast<uint8_t>(head >> 16);
    output[1] = static_cast<uint8_t>((head | third) >> 8);
    return 2;
}

// Stores the count of bytes; false when the text is bad.
template <class Unit>
bool decodeText(const char32_t* input, uint64_t left, Unit* output, uint64_t* bytes) {
    Unit* next = output;
    uint32_t last = 0;
    for (; left >= 4; left -= 4, input += 4, next += 3) {
        const uint32_t bits =
            bitsOf<0>(input[0]) | bitsOf<1>(input[1]) | bitsOf<2>(input[2]) | bitsOf<3>(input[3]);
        if (bits >= notInAlphabet) {
            last = decodePadded(input, next);
            left -= last ? 4 : 0;
            break;
        }
        for (uint32_t n = 0; n < 3; ++n) next[n] = static_cast<uint8_t>(bits >> (16 - 8 * n));
    }
    *bytes = static_cast<uint64_t>(next - output) + last;
    return left == 0;
}

template <class Unit, class Count>
vx::Status decode(vx::Pool* pool, const char32_t* input, int32_t count, Unit** output,
                  Count* outputCount) {
    Output<Unit> data{pool, output};
    const auto characters = static_cast<uint64_t>(count);
    const uint64_t bytes = (characters / 4 * 3 + 5) * sizeof(Unit);
    if (count < 0 || bytes > mostBytes) return data.refuse(outputCount);
    if (!data.acquire(bytes)) return vx::VX_NO_MEMORY;
    uint64_t decoded = 0;
    if (!decodeText(input, characters, *output, &decoded)) return data.refuse(outputCount);
    return data.accept(decoded, outputCount);
}

}  // namespace

vx::Status base64Encode(vx::Pool* pool, const char32_t* input, int32_t count, char32_t** output,
                        uint32_t* outputCount) {
    // A negative count becomes one that no size holds.
    return encode(pool, input, static_cast<uint64_t>(count), output, outputCount);
}

vx::Status base64EncodeBlob(vx::Pool* pool, const uint8_t* input, uint64_t count, char32_t** output,
                            uint32_t* outputCount) {
    return encode(pool, input, count, output, outputCount);
}

vx::Status base64Decode(vx::Pool* pool, const char32_t* input, int32_t count, char32_t** output,
                        uint32_t* outputCount) {
    return decode(pool, input, count, output, outputCount);
}

vx::Status base64DecodeBlob(vx::Pool* pool, const char32_t* input, int32_t count, uint8_t** output,
                            uint64_t* outputCount) {
    return decode(pool, input, count, output, outputCount);
}
