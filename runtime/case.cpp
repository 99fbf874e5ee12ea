#include "runtime/case.hpp"

#include "runtime/case_classes.hpp"
#include "runtime/case_tables.hpp"
#include "runtime/kernel.hpp"
#include "runtime/memory.hpp"
#include "runtime/order.hpp"

namespace {

constexpr char32_t blank = U' ';

char32_t moved(char32_t c, int32_t delta) {
    return c + static_cast<uint32_t>(delta);
}

// The delta of a character in a table of blocks; 0 where its block is not kept.
template <class Base, class Delta>
int32_t deltaOf(char32_t c, const Base* bases, const Delta* shift) {
    const int32_t base = c < 0x10000 ? bases[vx::blockOf(c)] : -1;
    return base < 0 ? 0 : shift[static_cast<uint32_t>(base) + c % vx::blockSize];
}

// One direction of the library's own mapping.
struct CaseMapping {
    const int8_t* shift;
    const uint32_t* aux;

    char32_t operator()(char32_t c) const {
        const int32_t delta = deltaOf(c, nxz_metatable.data(), shift);
        return delta == vx::escape ? lookUp(c) : moved(c, delta);
    }

    char32_t lookUp(char32_t c) const {
        for (const uint32_t* pair = aux; *pair != 0; pair += 2) {
            if (*pair == c) return pair[1];
        }
        return c;
    }
};

const CaseMapping upper{nxz_upshift.data(), nxz_upaux.data()};
const CaseMapping lower{nxz_downshift.data(), nxz_downaux.data()};

constexpr int64_t stride = 8;

bool isAscii(const char32_t* units) {
    uint32_t all = 0;
    for (int64_t n = 0; n < stride; ++n) all |= units[n];
    return all < 0x80;
}

// Maps in place. Where a stride is all ASCII its deltas are read without a look at the blocks: the
// first block of every table is U+0000 to U+007F.
template <class Delta, class Mapping>
void mapText(char32_t* text, int64_t count, const Delta* shift, const Mapping& mapping) {
    int64_t i = 0;
    for (; count - i >= stride; i += stride) {
        char32_t* units = text + i;
        const bool ascii = isAscii(units);
        for (int64_t n = 0; n < stride; ++n) {
            const char32_t c = units[n];
            units[n] = ascii ? moved(c, shift[c]) : mapping(c);
        }
    }
    for (; i < count; ++i) text[i] = mapping(text[i]);
}

using ServiceSlot = int64_t (*vx::CaseService::*)(vx::CaseService*, int64_t, vx::Word);

void changeCase(char32_t* text, int64_t count, const CaseMapping& mapping, ServiceSlot slot) {
    vx::CaseService* service = Exported_VXHandle ? Exported_VXHandle->caseService : nullptr;
    if (!service) {
        mapText(text, count, mapping.shift, mapping);
        return;
    }
    mapText(text, count, mapping.shift, [&](char32_t c) {
        if (c < 0x80) return mapping(c);
        const int64_t widened = static_cast<int32_t>(c);
        return static_cast<char32_t>((service->*slot)(service, widened, 1));
    });
}

template <class Meta, class Shift>
void mapToExtreme(char32_t* text, int64_t count, const Meta& meta, const Shift& shift) {
    mapText(text, count, shift.data(),
            [&](char32_t c) { return moved(c, deltaOf(c, meta.data(), shift.data())); });
}

int64_t notNegative(int64_t count) {
    return count < 0 ? 0 : count;
}

bool allBlank(const char32_t* text, int64_t count) {
    return nxMemTNot(blank, text, static_cast<uint64_t>(count)) != 0;
}

int32_t orderOf(char32_t first, char32_t second) {
    return order(static_cast<int32_t>(first), static_cast<int32_t>(second));
}

}  // namespace

int64_t vxzstrp(const char32_t* text, int64_t count) {
    while (count > 0 && text[count - 1] == blank) --count;
    return notNegative(count);
}

void vxzstup(char32_t* text, int64_t count) {
    changeCase(text, count, upper, &vx::CaseService::UpperCase);
}

void vxzstlo(char32_t* text, int64_t count) {
    changeCase(text, count, lower, &vx::CaseService::LowerCase);
}

int32_t vxzseqn(const char32_t* first, int64_t firstCount, const char32_t* second,
                int64_t secondCount) {
    if (firstCount != secondCount) return 0;
    for (int64_t i = 0; i < firstCount; ++i) {
        if (first[i] != second[i] && lower(first[i]) != lower(second[i])) return 0;
    }
    return 1;
}

int32_t vxzsncmp(const char32_t* first, int64_t firstCount, const char32_t* second,
                 int64_t secondCount) {
    firstCount = notNegative(firstCount);
    secondCount = notNegative(secondCount);
    const int64_t common = firstCount < secondCount ? firstCount : secondCount;
    int32_t tieBreak = 0;
    for (int64_t i = 0; i < common; ++i) {
        if (first[i] == second[i]) continue;
        if (tieBreak == 0) tieBreak = orderOf(first[i], second[i]);
        if (const int32_t lowered = orderOf(lower(first[i]), lower(second[i]))) return 2 * lowered;
    }
    if (firstCount < secondCount)
        return allBlank(second + common, secondCount - common) ? tieBreak : -2;
    return allBlank(first + common, firstCount - common) ? tieBreak : 2;
}

void vxzstmin(char32_t* text, int64_t count) {
    mapToExtreme(text, count, nxz_min_meta, nxz_minshift);
}

void vxzstmax(char32_t* text, int64_t count) {
    mapToExtreme(text, count, nxz_max_meta, nxz_maxshift);
}
