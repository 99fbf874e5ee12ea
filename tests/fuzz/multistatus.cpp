// The answer to a PROPFIND, from its bytes to the listing that a caller walks.
#include <cstring>
#include <string>
#include <vector>

#include "platform/markup/serialize.hpp"
#include "platform/markup/walk.hpp"
#include "platform/transcoder.hpp"
#include "tests/fuzz/answering_host.hpp"
#include "tests/fuzz/builders.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;

// Order of memory, with an end that is greater than any byte.
std::vector<unsigned> sortKey(const vx::FileInfo& info) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(info.name);
    std::vector<unsigned> key(bytes, bytes + info.nameLength * sizeof(char32_t));
    key.push_back(0x100);
    return key;
}

void checkMember(const vx::FileInfo& info) {
    require((info.name == nullptr) == (info.nameLength == 0), "a name has characters");
    require((info.href == nullptr) == (info.hrefLength == 0), "so has an href");
    const auto narrow = vxhost::toUtf8({info.name, info.nameLength});
    require(info.name == nullptr ? info.narrowName == nullptr : narrow == info.narrowName,
            "the narrow name is the name");
    require(narrow.size() == info.narrowNameLength, "and has its length");
}

uint32_t walk(const vx::CollectionListHandle& list) {
    uint32_t members = 0;
    for (const vx::FileInfo* info = list.first; info; info = info->next, ++members) {
        checkMember(*info);
        require(!info->next || sortKey(*info) <= sortKey(*info->next), "names are in order");
    }
    return members;
}

// The responses that do not speak of the collection itself.
uint32_t othersIn(const vx::Document& document) {
    const std::u32string own = vxhost::toUtf32(fuzz::AnsweringHost::URL);
    uint32_t others = 0;
    for (auto* node = document.firstChild->firstChild; node; node = node->nextSibling) {
        std::u32string href(vxhost::content(vxhost::childElement(node, U"href")));
        if (!href.ends_with(U'/')) href += U'/';
        others += href != own;
    }
    return others;
}

// The count of members, or nothing when the listing does not open.
bool list(fuzz::AnsweringHost& host, uint32_t flags, uint32_t& members) {
    const size_t before = host.pool.out;
    host.collection()->flags = flags;
    auto* list = host.operations().quillonCollectionListOpen(
        host.collection(), &vxhost::utf32ToUtf8(), nullptr, nullptr);
    if (list) {
        members = list->memberCount;
        const uint32_t walked = walk(*list);
        require(walked == (flags & vx::LIST_COUNT_ONLY ? 0 : members), "what is counted is there");
        if (flags & vx::LIST_INCLUDE_COLLECTIONS) {
            require(members == othersIn(*list->responseDocument), "no response is lost");
        }
        host.operations().quillonCollectionListClose(list);
    }
    require(host.pool.out == before, "a listing leaves nothing behind");
    return list != nullptr;
}

void listWithoutMemory(fuzz::AnsweringHost& host, size_t salt) {
    uint32_t members = 0;
    const size_t before = host.pool.asked;
    list(host, vx::LIST_INCLUDE_COLLECTIONS, members);
    const size_t needed = host.pool.asked - before;
    host.pool.failAt = host.pool.asked + 1 + salt % needed;
    list(host, vx::LIST_INCLUDE_COLLECTIONS, members);
    host.pool.failAt = 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::AnsweringHost host;
    const size_t pieceBytes = 1 + size % 13;
    const auto whole = fuzz::read<vxhost::MultistatusBuilder>(fuzz::text(data, size));
    const auto pieces = fuzz::read<vxhost::MultistatusBuilder>(fuzz::text(data, size), pieceBytes);
    require(!whole == !pieces, "pieces do not decide whether an answer is read");
    if (whole) require(serialize(*whole) == serialize(*pieces), "nor how");

    host.answer = fuzz::text(data, size);
    host.pieceBytes = pieceBytes;
    uint32_t all = 0, members = 0, counted = 0;
    const bool listed = list(host, vx::LIST_INCLUDE_COLLECTIONS, all);
    require(listed == list(host, 0, members), "both listings open or none");
    require(listed == list(host, vx::LIST_COUNT_ONLY, counted), "and so does a count");
    require(members <= all && members == counted, "members are counted as they are listed");
    listWithoutMemory(host, size);
    return 0;
}
