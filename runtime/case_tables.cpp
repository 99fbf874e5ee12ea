#include "runtime/case_tables.hpp"

namespace {

using vx::CaseRun;
using vx::escape;

struct FarMapping {
    uint32_t from, to;
};

#include "runtime/case_runs.inc"

constexpr vx::BlockSet mappedBlocks() {
    vx::BlockSet blocks{};
    const auto keep = [&](uint32_t c, int32_t) { blocks[vx::blockOf(c)] = true; };
    vx::forEachOf(upRuns, keep);
    vx::forEachOf(downRuns, keep);
    return blocks;
}

template <size_t Count>
constexpr vx::ShiftTable shiftTable(const CaseRun (&runs)[Count]) {
    vx::ShiftTable shift{};
    const auto meta = vx::metaTable<int32_t>(mappedBlocks());
    vx::forEachOf(runs, [&](uint32_t c, int32_t delta) {
        const auto base = static_cast<uint32_t>(meta[vx::blockOf(c)]);
        shift[base + c % vx::blockSize] = static_cast<int8_t>(delta);
    });
    return shift;
}

template <size_t Count>
constexpr vx::AuxTable<Count> auxTable(const FarMapping (&mappings)[Count]) {
    vx::AuxTable<Count> table{};
    uint32_t word = 0;
    for (const FarMapping& mapping : mappings) {
        table[word++] = mapping.from;
        table[word++] = mapping.to;
    }
    return table;
}

// Whether exactly the characters of the list have the escape as delta.
template <size_t Runs, size_t Count>
constexpr bool escapesAre(const CaseRun (&runs)[Runs], const FarMapping (&mappings)[Count]) {
    uint32_t escapes = 0;
    bool inOrder = true;
    vx::forEachOf(runs, [&](uint32_t c, int32_t delta) {
        if (delta != escape) return;
        inOrder = inOrder && escapes < Count && mappings[escapes].from == c;
        ++escapes;
    });
    return inOrder && escapes == Count;
}

static_assert(vx::consistsOf(mappedBlocks(),
                             {0x0000, 0x0080, 0x0100, 0x0180, 0x0200, 0x0280, 0x0380, 0x0400,
                              0x0480, 0x0500, 0x0580, 0x1080, 0x1E00, 0x1E80, 0x1F00, 0x1F80,
                              0x2100, 0x2480, 0xFF00}));
static_assert(escapesAre(upRuns, farUp) && escapesAre(downRuns, farDown));

}  // namespace

constexpr std::array<int16_t, vx::blockCount> nxz_metatable =
    vx::metaTable<int16_t>(mappedBlocks());
constexpr vx::ShiftTable nxz_upshift = shiftTable(upRuns);
constexpr vx::ShiftTable nxz_downshift = shiftTable(downRuns);
constexpr vx::AuxTable<20> nxz_upaux = auxTable(farUp);
constexpr vx::AuxTable<19> nxz_downaux = auxTable(farDown);

static_assert(vx::changesIn(nxz_upshift) == 671 && vx::changesIn(nxz_downshift) == 706);
static_assert(sizeof nxz_metatable == 1024);
static_assert(sizeof nxz_upshift == 2432 && sizeof nxz_downshift == 2432);
static_assert(sizeof nxz_upaux == 164 && sizeof nxz_downaux == 156);
