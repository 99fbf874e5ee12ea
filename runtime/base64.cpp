#include "runtime/base64.hpp"

#include <array>

#include "runtime/wipe.hpp"

namespace {

constexpr char32_t alphabet[] = U"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr char32_t pad = U'=';
constexpr uint8_t notInAlphabet = 0xFF;

// Byte to the value of its character; the pad, too, is not in the alphabet.
constexpr std::array<uint8_t, 256> base64Index = [] {
    std::array<uint8_t, 256> index{};
    index.fill(notInAlphabet);
    for (uint8_t value = 0; value < 64; ++value) index[alphabet[value]] = value;
    return index;
}();

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

// The characters of a group's 24 bits from the first on.
void put(char32_t* output, uint32_t bits, uint32_t characters) {
    for (uint32_t n = 0; n < characters; ++n) output[n] = alphabet[bits >> (18 - 6 * n) & 63];
}

template <class Input>
void encodeText(const Input* input, uint64_t count, char32_t* output) {
    const auto byte = [&](uint64_t n) { return uint32_t{static_cast<uint8_t>(input[n])}; };
    for (; count >= 3; count -= 3, input += 3, output += 4)
        put(output, byte(0) << 16 | byte(1) << 8 | byte(2), 4);
    if (count == 0) return;
    output[2] = output[3] = pad;
    put(output, byte(0) << 16 | (count == 2 ? byte(1) << 8 : 0), uint32_t(count) + 1);
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

uint32_t valueOf(char32_t character) {
    return base64Index[static_cast<uint8_t>(character)];
}

bool isPad(char32_t character) {
    return static_cast<uint8_t>(character) == pad;
}

// How many bytes a group stands for: less than 3 at the end of a text alone, 0 when it is bad.
uint32_t bytesIn(const char32_t* group) {
    if (((valueOf(group[0]) | valueOf(group[1])) & ~63u) != 0) return 0;
    if (isPad(group[2])) return 1;
    if (valueOf(group[2]) == notInAlphabet) return 0;
    if (isPad(group[3])) return 2;
    return valueOf(group[3]) == notInAlphabet ? 0 : 3;
}

// Stores the count of bytes; false when the text is bad.
template <class Unit>
bool decodeText(const char32_t* input, uint64_t left, Unit* output, uint64_t* bytes) {
    Unit* next = output;
    uint32_t last = 3;
    for (; left >= 4 && last == 3; left -= 4, input += 4, next += last) {
        last = bytesIn(input);
        if (last == 0) break;
        const uint32_t bits = valueOf(input[0]) << 18 | valueOf(input[1]) << 12 |
                              (valueOf(input[2]) & 63) << 6 | (valueOf(input[3]) & 63);
        for (uint32_t n = 0; n < last; ++n) next[n] = static_cast<uint8_t>(bits >> (16 - 8 * n));
    }
    *bytes = static_cast<uint64_t>(next - output);
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
