// What a client knows of its member's content, and whether a PUT would overwrite what somebody else
// stored after that. No I/O: GET, HEAD, PROPFIND, LOCK and PUT tell it what they heard.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "platform/http/headers.hpp"

namespace vxhost {

using ContentDigest = std::array<unsigned char, 32>;

// What one answer told; what it left open is empty.
struct MemberState {
    bool exists = true;
    EntityTag tag;
    std::optional<uint64_t> size;    // in bytes
    std::optional<double> modified;  // seconds since 1970
    static MemberState missing();
};

MemberState parseMemberState(const Headers& headers);  // of a GET or HEAD
std::optional<double> parseHttpDate(std::string_view value);

enum class Verdict : uint8_t { unchanged, unknown, gone, changed };  // each outweighs those before

// Sizes that differ tell a change. Then tags decide, in their weak comparison (RFC 9110, 8.8.3.2),
// and where one is missing the dates, which are of whole seconds.
Verdict compareStates(const MemberState& noted, const MemberState& found);

// How long after an answer a change may still get the same date, and with it the same tag, as what
// was answered; nothing when it had passed already. Both dates are the answer's own.
std::optional<std::chrono::duration<double>> racyTime(std::optional<double> modified,
                                                      std::optional<double> date);

enum class PutStep : uint8_t {
    send,
    refuse,          // somebody else stored something: the PUT is answered 412 as it stands
    compareContent,  // nothing but the content can tell: fetch it again when the time is over
};

class KnownMember {
public:
    using Clock = std::chrono::steady_clock;

    // Of a whole GET. date: of the answer; content: needed when racyTime() is not nothing.
    void noteFetched(MemberState state, std::optional<double> date, const ContentDigest& content,
                     Clock::time_point now);
    // A PUT of this client was stored. Its answer's tag is all that is known then.
    void noteStored(EntityTag tag);
    // A LOCK was granted. again: it replaces one that a PUT was refused under. made: it made the
    // member (201), empty.
    void noteLock(bool again, bool made);
    void notePutRefused();  // with 412, under a lock

    // HEAD answered 2xx or 404. Under a lock it is noted where nothing is yet.
    void noteHead(const MemberState& found, bool underLock);
    void noteProperties(const MemberState& found);  // of the PROPFIND behind it

    // flags: PUT_ bits. Under a lock only what follows a refusal is judged.
    PutStep nextStep(bool underLock, uint32_t flags) const;
    Clock::time_point racyUntil() const { return note_->racyUntil.value_or(Clock::time_point()); }
    bool hasContent(const ContentDigest& content) const { return note_->content == content; }

    // The tag of what was heard last, by a look, a fetch or a store; none of a fetch after which a
    // change could have got the same one. Empty: not known.
    EntityTag latestTag() const;

    // What a PUT carries as conditions: none that was told, or none when the member is gone and is
    // written anew. A weak tag goes with a lock's token into the first PUT alone, since some
    // servers refuse the weak form of their own tags, and so does that of an empty member that the
    // LOCK made; If-Match takes only a strong one, of a GET or PUT.
    std::optional<EntityTag> tagForLock() const;
    std::optional<EntityTag> tagForMatch(bool underLock) const;

private:
    struct Note {
        MemberState state;
        bool ours = false;    // the person has this content, fetched or stored
        bool isMade = false;  // by the LOCK, and empty
        ContentDigest content{};
        std::optional<Clock::time_point> racyUntil;
    };

    Verdict verdict(bool underLock) const;
    Verdict judge(MemberState found, bool underLock) const;
    std::optional<EntityTag> usableTag(bool underLock) const;
    void forgetLooks();

    std::optional<Note> note_;
    std::optional<MemberState> head_, properties_;  // of the latest look since then
    bool noting_ = false;                           // the latest HEAD made the note
    // PROPFIND tells another tag than HEAD does of the same content, and the other one is what the
    // server compares in If: Apache of old with "FileETag INode".
    bool twoTags_ = false;
    bool refused_ = false;  // a PUT under a lock, since the note
    bool lockMade_ = false;
};

}  // namespace vxhost
