// What a client knows of its member, row by row and step by step.
#include "platform/weblnk/known_member.hpp"

#include <gtest/gtest.h>

#include "host/weblnk.h"

namespace vxhost {
namespace {

constexpr double now = 1'700'000'000, old = now - 60;

// "tag size" as two answers of now would tell it; size 0: not told.
MemberState state(const char* tag, uint64_t size = 0, double modified = 0) {
    MemberState told;
    told.tag = parseEntityTag(tag);
    if (size > 0) told.size = size;
    if (modified > 0) told.modified = modified;
    return told;
}

TEST(KnownMember, statesAreCompared) {
    const MemberState gone = MemberState::missing();
    const struct {
        MemberState noted, found;
        Verdict expected;
    } rows[] = {
        {state("\"a\"", 3, now), state("\"a\"", 3, now), Verdict::unchanged},
        {state("W/\"a\""), state("\"a\""), Verdict::unchanged},  // Apache, a second later
        {state("\"a\""), state("a"), Verdict::unchanged},        // nephele's PROPFIND
        {state("\"a\"", 0, now), state("\"a\"", 0, now + 9), Verdict::unchanged},
        {state("\"a\"", 3), state("\"a\"", 4), Verdict::changed},
        {state("\"a\"", 3, now), state("\"b\"", 3, now), Verdict::changed},
        {state("\"a\"", 3), state("\"a-gzip\"", 3), Verdict::unknown},
        {state("\"a\"", 0, now), state("", 0, now), Verdict::unchanged},
        {state("", 3, now + 0.7), state("", 3, now), Verdict::unchanged},
        {state("", 3, now), state("", 3, old), Verdict::changed},  // an older file in its place
        {state("", 3), state("", 3), Verdict::unknown},
        {gone, state("\"a\""), Verdict::changed},
        {state("\"a\""), gone, Verdict::gone},
        {gone, gone, Verdict::unchanged},
    };
    for (const auto& row : rows)
        EXPECT_EQ(compareStates(row.noted, row.found), row.expected) << &row - rows;
}

TEST(KnownMember, aChangeWithinTwoSecondsMayLookTheSame) {
    const struct {
        std::optional<double> modified, date;
        double seconds;  // 0: passed
    } rows[] = {{now - 2, now, 0},  {now - 1, now, 1}, {now, now, 2},
                {now + 60, now, 2}, {{}, now, 2},      {now, {}, 2}};
    for (const auto& row : rows) {
        const auto left = racyTime(row.modified, row.date);
        EXPECT_EQ(left ? left->count() : 0, row.seconds) << &row - rows;
    }
}

TEST(KnownMember, whatIsDoneBeforeAPut) {
    // g, r: a GET of "a", old or racy; l, n: a LOCK, which made the member; R: a PUT refused with
    // 412, and another LOCK; N: the same, which made it; p, q: a PUT stored, with "a" or without;
    // HEAD and PROPFIND: s the same, S of another size, t of another tag, 0 empty, - gone,
    // d another tag in PROPFIND alone.
    const auto play = [](const std::string& script) {
        KnownMember known;
        bool locked = false;
        const auto look = [&](const MemberState& found, std::optional<uint64_t> size) {
            known.noteHead(found, locked);
            MemberState told = found;
            told.size = size;
            if (found.exists) known.noteProperties(told);
        };
        for (const char c : script) {
            if (c == 'g' || c == 'r')
                known.noteFetched(state("\"a\"", 3, c == 'g' ? old : now), now, {}, {});
            if (c == 'R' || c == 'N') known.notePutRefused();
            if (c == 'l' || c == 'n' || c == 'R' || c == 'N') {
                locked = true;
                known.noteLock(c == 'R' || c == 'N', c == 'n' || c == 'N');
            }
            if (c == 'p' || c == 'q') known.noteStored(parseEntityTag(c == 'p' ? "\"a\"" : ""));
            if (c == 'd') {
                known.noteHead(state("\"a\""), locked);
                known.noteProperties(state("\"x\"", 3));
            }
            if (c == 's') look(state("\"a\""), 3);
            if (c == 'S') look(state("\"a\""), 4);
            if (c == 't') look(state("\"b\""), 3);
            if (c == '0') look(state("\"0\""), 0);
            if (c == '-') look(MemberState::missing(), {});
        }
        const auto step = [&](uint32_t flags) {
            return std::string(1, "+!?"[static_cast<int>(known.nextStep(locked, flags))]);
        };
        const auto tag = locked ? known.tagForLock() : known.tagForMatch(false);
        return step(0) + step(vx::PUT_IF_UNCHANGED) + step(vx::PUT_ONLY_NEW) +
               (tag ? ' ' + tag->sent() : "");
    };
    // To send, to refuse or to compare the content: for any PUT, if unchanged, only new; the tag.
    const std::pair<const char*, const char*> rows[] = {
        {"", "+++"},
        {"s", "++!"},
        {"-", "+++"},
        {"g", "+++ \"a\""},
        {"gs", "++! \"a\""},
        {"gt", "+!! \"a\""},
        {"gS", "+!! \"a\""},
        {"gt-", "+++"},
        {"r", "+?+ \"a\""},
        {"rs", "+?! \"a\""},
        {"rt", "+!! \"a\""},
        {"r-", "+++"},
        {"lsg", "+++ \"a\""},
        {"lst", "+++ \"a\""},  // the server judges
        {"lsgR", "+++ \"a\""},
        {"lsgRs", "+++ \"a\""},
        {"lsgRt", "!!! \"a\""},
        {"lsgRS", "!!! \"a\""},
        {"lsRt", "!!! \"a\""},  // as of the lock
        {"lsgR-", "+++"},
        {"lsgN0", "+++"},  // gone, and made by the lock
        {"lsgR0", "!!! \"a\""},
        {"lsrRs", "??? \"a\""},
        {"l-R-", "+++"},
        {"l-Rt", "!!!"},  // 404 has become 200
        {"l-N0", "+++"},
        {"n0", "+++ \"0\""},  // so that it is still the empty one
        {"lsgn0", "+++"},
        {"n0R0", "+++"},
        {"n0N0", "+++"},
        {"n0Rt", "!!!"},
        {"lsgqRt", "+++ \"b\""},  // our own PUT has voided it, and what was seen then counts
        {"lsgpRt", "!!! \"a\""},
        {"dgd", "++! \"a\""},  // always, so it is no change
        {"gd", "+!! \"a\""},
        {"ldg", "+++"},
        {"ldgRd", "+++"},
        {"ldgRt", "!!!"},
        {"lsRtlt", "+++ \"b\""},  // a lock of a new beginning
        {"gRtls", "+++ \"a\""},
    };
    for (const auto& [script, expected] : rows) EXPECT_EQ(play(script), expected) << script;
}

}  // namespace
}  // namespace vxhost
