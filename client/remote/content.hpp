// A member's content, fetched and stored by one request.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/remote/conditions.hpp"
#include "client/remote/remote.hpp"
#include "client/time.hpp"
#include "platform/http/headers.hpp"
#include "platform/http/upload_source.hpp"

namespace quillon {

// Takes a content piece by piece. What it throws ends the request.
class ContentTaker {
public:
    virtual ~ContentTaker() = default;
    // Of what begins next: its length in bytes, where the answer tells it, and the tag by which a
    // later fetch may go on behind a part of it, or none.
    virtual void announce(std::optional<uint64_t> /*length*/, const std::string& /*tagToGoOn*/) {}
    // That what begins next is that part, where one was asked for and is answered.
    virtual void announcePart(const vxhost::ContentRange& /*part*/) {}
    virtual void begin() = 0;  // also once more: what came before is worthless then
    virtual void take(std::string_view piece) = 0;
    // Whether what it took is gone for good, so that it cannot begin once more.
    virtual bool takesOnce() const { return false; }
};

struct Version {
    vxhost::EntityTag tag;  // empty: none is told
    std::optional<Time> modified;
    std::optional<Time> date;  // of the answer, by the server's clock
};

// The tag as a condition carries it; empty when a later change could still get the same one, as one
// within the same second does where tags are made of dates.
std::string provenTag(const Version& version);
// The same of its date, where the server tells how young it is.
std::optional<Time> provenDate(const Version& version);

struct FetchWish {
    std::optional<uint64_t> size;  // that the server told otherwise, in bytes
    std::string range{};           // "bytes=0-99"; empty: all of it
    // Bytes that the taker has from an earlier fetch of what had that tag. It is told to begin
    // where the server has another version now.
    uint64_t beginning = 0;
    std::string beginningTag{};
};

struct FetchedContent {
    Version version;
    uint64_t size = 0;      // in bytes
    bool endProven = true;  // false: nothing shows whether all of it came
};

// The whole content, or a failure. What breaks off goes on behind what came, where a strong tag
// proves that the rest is of the same version, and else begins once more. Where the connection's
// end is all that ends it, what came must have the size that the server tells.
Task<Result<FetchedContent>> fetch(Remote& remote, std::string url, ContentTaker& taker,
                                   FetchWish wish);

// The same where a part must not pass for the whole: what proves no end is a failure.
Task<Result<FetchedContent>> fetchWhole(Remote& remote, std::string url, ContentTaker& taker,
                                        FetchWish wish);

// Why a collection is not fetched.
Error nothingToFetch();

// Of a content that came in another size than a listing told: fails where the server still tells
// another one, for a part could pass for the whole. Else the member was changed since.
Task<Result<void>> checkSize(Remote& remote, std::string url, uint64_t came);

struct Stored {
    bool isNew = false;                  // it was made (201)
    Version version;                     // as far as the answer tells
    bool isOther = false;                // what is there has another size than what was sent
    std::optional<Error> stillLocked{};  // by the lock that it was stored under
};

// Above what size a content is large.
inline constexpr uint64_t largeContent = uint64_t{1} << 20;  // bytes

// extraHeaders: as "X-OC-Mtime: 1700000000". A condition that does not hold is
// Kind::changedOnServer.
Task<Result<Stored>> store(Remote& remote, std::string url, vxhost::UploadSource& content,
                           Conditions conditions, std::vector<std::string> extraHeaders = {});

}  // namespace quillon
