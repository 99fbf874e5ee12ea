// Each primitive of the runtime beside what one would use instead: the C library's function where
// there is one, else the plain loop. Rows of one subject stand together, ours first.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <random>
#include <vector>

#include "host/quillon.h"
#include "runtime/base64.hpp"
#include "runtime/case.hpp"
#include "runtime/case_tables.hpp"
#include "runtime/memory.hpp"
#include "runtime/text.hpp"

extern "C" vx::vxextentFunction vxextent;

namespace {

using benchmark::DoNotOptimize;

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Texts of one size; nothing in them ends a scan before the last unit.
struct Texts {
    explicit Texts(int64_t units)
        : count(static_cast<uint64_t>(units)),
          bytes(count + 1, 'x'),
          otherBytes(bytes),
          wide(count + 1, U'x'),
          otherWide(2 * count + 4, U'x'),
          numbers(count, 1.0),
          encoded(count / 3 * 4) {
        bytes[count] = otherBytes[count] = 0;
        wide[count] = 0;
        // Characters in no order that a branch predictor could learn.
        std::mt19937 random{1};
        for (char32_t& c : encoded) c = static_cast<char32_t>(alphabet[random() % 64]);
    }

    uint64_t count;
    std::vector<char> bytes, otherBytes;
    std::vector<char32_t> wide, otherWide;
    std::vector<double> numbers;
    std::vector<char32_t> encoded;

    const wchar_t* asWchar() const { return reinterpret_cast<const wchar_t*>(wide.data()); }
};

template <class Run>
void add(const char* name, uint64_t unitBytes, Run run) {
    benchmark::RegisterBenchmark(name,
                                 [=](benchmark::State& state) {
                                     Texts texts{state.range(0)};
                                     for (auto _ : state) {
                                         run(texts);
                                         benchmark::ClobberMemory();
                                     }
                                     state.SetBytesProcessed(state.iterations() * state.range(0) *
                                                             static_cast<int64_t>(unitBytes));
                                 })
        ->Arg(48)
        ->Arg(3072)
        ->Arg(196608);
}

template <class Unit>
uint64_t plainFirstOther(const Unit* block, uint64_t count, Unit value) {
    uint64_t at = 0;
    while (at < count && block[at] == value) ++at;
    return at;
}

void plainUpper(char* text, uint64_t count) {
    for (uint64_t i = 0; i < count; ++i) {
        if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<char>(text[i] - 32);
    }
}

char32_t plainLower(char32_t c) {
    if (c > 0xFFFF || nxz_metatable[c >> 7] < 0) return c;
    const int8_t delta = nxz_downshift[static_cast<uint32_t>(nxz_metatable[c >> 7]) + (c & 0x7F)];
    return c + static_cast<uint32_t>(int32_t{delta});
}

uint32_t plainValue(char32_t c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    const char* found = std::strchr(alphabet + 62, static_cast<char>(c));
    return found ? static_cast<uint32_t>(found - alphabet) : 64;
}

void plainEncode(const uint8_t* input, uint64_t count, char32_t* output) {
    for (uint64_t i = 0; i + 2 < count; i += 3) {
        *output++ = static_cast<char32_t>(alphabet[input[i] >> 2]);
        *output++ = static_cast<char32_t>(alphabet[(input[i] & 3) << 4 | input[i + 1] >> 4]);
        *output++ = static_cast<char32_t>(alphabet[(input[i + 1] & 15) << 2 | input[i + 2] >> 6]);
        *output++ = static_cast<char32_t>(alphabet[input[i + 2] & 63]);
    }
}

bool plainDecode(const char32_t* input, uint64_t count, uint8_t* output) {
    for (uint64_t i = 0; i + 3 < count; i += 4) {
        uint32_t d[4];
        for (uint64_t n = 0; n < 4; ++n) {
            d[n] = plainValue(input[i + n]);
            if (d[n] == 64) return false;
        }
        *output++ = static_cast<uint8_t>(d[0] << 2 | d[1] >> 4);
        *output++ = static_cast<uint8_t>(d[1] << 4 | d[2] >> 2);
        *output++ = static_cast<uint8_t>(d[2] << 6 | d[3]);
    }
    return true;
}

void addLengths() {
    add("length/nxStrLen", 1, [](Texts& t) { DoNotOptimize(nxStrLen(t.bytes.data())); });
    add("length/strlen", 1, [](Texts& t) { DoNotOptimize(std::strlen(t.bytes.data())); });
    add("length/nxStrTLen", 4, [](Texts& t) { DoNotOptimize(nxStrTLen(t.wide.data())); });
    add("length/wcslen", 4, [](Texts& t) { DoNotOptimize(std::wcslen(t.asWchar())); });
}

void addFills() {
    add("fill/nxMemSet", 1, [](Texts& t) { nxMemSet(t.bytes.data(), 1, t.count); });
    add("fill/memset", 1, [](Texts& t) { std::memset(t.bytes.data(), 1, t.count); });
    add("fill/nxMemTSet", 4, [](Texts& t) { nxMemTSet(t.wide.data(), 1, t.count); });
    add("fill/wmemset", 4,
        [](Texts& t) { std::wmemset(reinterpret_cast<wchar_t*>(t.wide.data()), 1, t.count); });
}

void addScans() {
    add("scan/nxMemScan", 1,
        [](Texts& t) { DoNotOptimize(nxMemScan(t.bytes.data(), t.count, 'y')); });
    add("scan/memchr", 1,
        [](Texts& t) { DoNotOptimize(std::memchr(t.bytes.data(), 'y', t.count)); });
    add("scan/nxMemNScan", 1,
        [](Texts& t) { DoNotOptimize(nxMemNScan(t.bytes.data(), t.count, 'x')); });
    add("scan/loop_bytes", 1,
        [](Texts& t) { DoNotOptimize(plainFirstOther(t.bytes.data(), t.count, 'x')); });
    add("scan/nxMemTNScan", 4,
        [](Texts& t) { DoNotOptimize(nxMemTNScan(t.wide.data(), t.count, U'x')); });
    add("scan/loop_units", 4,
        [](Texts& t) { DoNotOptimize(plainFirstOther(t.wide.data(), t.count, U'x')); });
    add("scan/nxMissArray", 8,
        [](Texts& t) { DoNotOptimize(nxMissArray(t.numbers.data(), t.count)); });
    add("scan/loop_numbers", 8, [](Texts& t) {
        bool missing = false;
        for (const double number : t.numbers) {
            if (number != number) {
                missing = true;
                break;
            }
        }
        DoNotOptimize(missing);
    });
}

void addComparisonsAndCopies() {
    add("compare/nxMemCmp", 1,
        [](Texts& t) { DoNotOptimize(nxMemCmp(t.bytes.data(), t.otherBytes.data(), t.count)); });
    add("compare/memcmp", 1,
        [](Texts& t) { DoNotOptimize(std::memcmp(t.bytes.data(), t.otherBytes.data(), t.count)); });
    add("compare/nxWMemCmp", 4,
        [](Texts& t) { DoNotOptimize(nxWMemCmp(t.wide.data(), t.otherWide.data(), t.count)); });
    add("compare/wmemcmp", 4, [](Texts& t) {
        DoNotOptimize(std::wmemcmp(t.asWchar(),
                                   reinterpret_cast<const wchar_t*>(t.otherWide.data()), t.count));
    });
    add("copy/nxMemCpy", 1,
        [](Texts& t) { nxMemCpy(t.bytes.data(), t.otherBytes.data(), t.count); });
    add("copy/memcpy", 1,
        [](Texts& t) { std::memcpy(t.otherBytes.data(), t.bytes.data(), t.count); });
    add("copy/nxMemSCpy_overlapping", 1,
        [](Texts& t) { nxMemSCpy(t.bytes.data(), t.bytes.data() + 16, t.count - 16); });
    add("copy/memmove_overlapping", 1,
        [](Texts& t) { std::memmove(t.bytes.data() + 16, t.bytes.data(), t.count - 16); });
}

void addCase() {
    static vx::Kernel kernel{};
    vxextent(&kernel);
    const auto wideCount = [](const Texts& t) { return static_cast<int64_t>(t.count); };
    add("case/nxStrUp", 1, [](Texts& t) { nxStrUp(t.bytes.data(), t.count); });
    add("case/loop_ascii", 1, [](Texts& t) { plainUpper(t.bytes.data(), t.count); });
    add("case/vxzstlo", 4, [=](Texts& t) { vxzstlo(t.wide.data(), wideCount(t)); });
    add("case/vxzstmin", 4, [=](Texts& t) { vxzstmin(t.wide.data(), wideCount(t)); });
    add("case/vxzstmax", 4, [=](Texts& t) { vxzstmax(t.wide.data(), wideCount(t)); });
    add("case/loop_tables", 4, [](Texts& t) {
        for (uint64_t i = 0; i < t.count; ++i) t.wide[i] = plainLower(t.wide[i]);
    });
    add("case/vxzseqn", 4, [=](Texts& t) {
        DoNotOptimize(vxzseqn(t.wide.data(), wideCount(t), t.otherWide.data(), wideCount(t)));
    });
    add("case/loop_equal", 4, [](Texts& t) {
        bool equal = true;
        for (uint64_t i = 0; i < t.count && equal; ++i)
            equal = plainLower(t.wide[i]) == plainLower(t.otherWide[i]);
        DoNotOptimize(equal);
    });
}

void addCodecs() {
    add("base64/encode_blob", 1, [](Texts& t) {
        auto* text = t.otherWide.data();
        uint32_t count = 0;
        const uint64_t bytes = t.count / 3 * 3;
        base64EncodeBlob(nullptr, reinterpret_cast<uint8_t*>(t.bytes.data()), bytes, &text, &count);
    });
    add("base64/encode_loop", 1, [](Texts& t) {
        plainEncode(reinterpret_cast<uint8_t*>(t.bytes.data()), t.count / 3 * 3,
                    t.otherWide.data());
    });
    add("base64/encode_units", 1, [](Texts& t) {
        auto* text = t.otherWide.data();
        uint32_t count = 0;
        base64Encode(nullptr, t.wide.data(), static_cast<int32_t>(t.count / 3 * 3), &text, &count);
    });
    add("base64/decode_blob", 1, [](Texts& t) {
        auto* bytes = reinterpret_cast<uint8_t*>(t.bytes.data());
        uint64_t count = 0;
        base64DecodeBlob(nullptr, t.encoded.data(), static_cast<int32_t>(t.encoded.size()), &bytes,
                         &count);
    });
    add("base64/decode_loop", 1, [](Texts& t) {
        DoNotOptimize(plainDecode(t.encoded.data(), t.encoded.size(),
                                  reinterpret_cast<uint8_t*>(t.bytes.data())));
    });
}

const bool registered = [] {
    addLengths();
    addFills();
    addScans();
    addComparisonsAndCopies();
    addCase();
    addCodecs();
    return true;
}();

}  // namespace
