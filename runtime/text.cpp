#include "runtime/text.hpp"

#include <cstring>

#include "runtime/lanes.hpp"
#include "runtime/memory.hpp"

namespace {

// An aligned block lies within one page, so all of it can be read where one byte of it can. What
// stands before the text or behind its terminator never decides. No block is read that holds
// nothing of the text, so that memory checkers have nothing to complain of.
template <class Unit, class Text>
[[gnu::no_sanitize_address]] uint64_t terminatedLength(const Text* text) {
    static_assert(sizeof(Unit) == sizeof(Text));
    if (!text) return 0;
    const auto start = reinterpret_cast<uintptr_t>(text);
    if (start % sizeof(Unit) != 0) {  // its units lie across the lanes
        constexpr ReadUnit<Unit> unit;
        uint64_t length = 0;
        while (unit(text, length) != 0) ++length;
        return length;
    }
    const uintptr_t before = start % laneBytes;
    using Block [[gnu::may_alias]] = Lanes<Unit>;  // of units that are the text's in size alone
    const auto* block = reinterpret_cast<const Block*>(start - before);
    uint32_t zeros = byteMask(*block == Lanes<Unit>{}) & (~0u << before);
    while (!zeros) zeros = byteMask(*++block == Lanes<Unit>{});
    const auto end = reinterpret_cast<uintptr_t>(block) + unsigned(std::countr_zero(zeros));
    return (end - start) / sizeof(Unit);
}

// A null source stands for the empty text.
template <class Unit>
void copyTerminated(const Unit* source, Unit* destination, uint64_t length) {
    if (!destination) return;
    const uint64_t bytes = length * sizeof(Unit);
    if (source) nxMemCpy(source, destination, bytes);
    std::memset(reinterpret_cast<char*>(destination) + bytes, 0, sizeof(Unit));
}

// Flips the case of the 26 letters from first on.
void flipCase(char* text, uint64_t count, char first) {
    for (uint64_t i = 0; i < count; ++i) {
        const auto letter = static_cast<uint8_t>(text[i] - first);
        text[i] = static_cast<char>(text[i] ^ (letter < 26 ? 0x20 : 0));
    }
}

}  // namespace

uint64_t nxStrLen(const char* text) {
    return terminatedLength<uint8_t>(text);
}

uint64_t nxStrTLen(const char32_t* text) {
    return terminatedLength<uint32_t>(text);
}

void nxStrCpy(const char* source, char* destination) {
    copyTerminated(source, destination, nxStrLen(source));
}

void nxStrTCpy(const char32_t* source, char32_t* destination) {
    copyTerminated(source, destination, nxStrTLen(source));
}

void nxStrUp(char* text, uint64_t count) {
    flipCase(text, count, 'a');
}

void nxStrLow(char* text, uint64_t count) {
    flipCase(text, count, 'A');
}
