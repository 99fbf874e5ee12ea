// XML from a server: its tree, the locks that it tells of, and the listing that a caller walks.
#include <optional>
#include <string>
#include <vector>

#include "platform/base/logger.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/host/checked_pool.hpp"
#include "platform/markup/multistatus_builder.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"
#include "platform/text/href_resolver.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "tests/fuzz/fuzz.hpp"
#include "vxext/src/operations.hpp"

namespace {

using fuzz::require;

// The document that the builder makes of the bytes in pieces of that many; null when it refuses
// them.
template <class Builder>
vxhost::DocumentPtr read(Builder&& builder, std::string_view bytes, size_t pieceBytes) try {
    for (; !bytes.empty(); bytes.remove_prefix(std::min(pieceBytes, bytes.size())))
        builder.feed(bytes.substr(0, pieceBytes));
    return builder.finish();
} catch (const vxhost::Failure&) {
    return nullptr;
}

// The document, written out; empty when the bytes are refused.
template <class Builder>
std::string written(std::string_view bytes, size_t pieceBytes) {
    const auto document = read(Builder(), bytes, pieceBytes);
    return document ? serialize(*document) : "";
}

void checkTrees(std::string_view answer, size_t pieceBytes) {
    const auto tree = written<vxhost::TreeBuilder>(answer, SIZE_MAX);
    require(written<vxhost::TreeBuilder>(answer, pieceBytes) == tree, "pieces do not matter");
    require(written<vxhost::MultistatusBuilder>(answer, pieceBytes) ==
                written<vxhost::MultistatusBuilder>(answer, SIZE_MAX),
            "nor do they to a listing");
    require(written<vxhost::TreeBuilder>(tree, SIZE_MAX) == tree, "what is written can be read");
}

void checkLocks(std::string_view answer) {
    for (const auto& lock : vxhost::parseActiveLocks(answer)) {
        const auto words = vxhost::toUtf32(lock.owner + lock.token);  // throws for what is no UTF-8
        require(std::all_of(words.begin(), words.end(), [](char32_t c) { return c >= U' '; }),
                "blanks are the only white space");
    }
}

uint32_t walk(const vx::CollectionListHandle& list) {
    uint32_t members = 0;
    for (const vx::FileInfo* info = list.first; info; info = info->next, ++members) {
        const auto narrow = vxhost::toUtf8({info->name, info->nameLength});
        require(narrow == std::string(info->narrowName ? info->narrowName : ""),
                "the narrow name is the name");
        require(narrow.size() == info->narrowNameLength, "and has its length");
    }
    return members;
}

// An open collection, real but for its connection: every PROPFIND has the one answer, which goes
// through the builder and its hrefs through the resolver as weblnk hands them over.
class Collection : vx::Client {
public:
    Collection();
    // The count of its members, or nothing when its listing does not open.
    std::optional<uint32_t> list(uint32_t flags);

    std::string_view answer;
    size_t pieceBytes = 1;

private:
    static constexpr std::string_view URL = "http://h.example/dav/a b/";

    const std::u32string url_ = vxhost::toUtf32(URL);
    vxhost::Settings settings_;
    vx::ExtensionHandle extension_{};
    vx::CollectionHandle handle_{};
};

Collection::Collection() : vx::Client{} {
    InstHead = [](vx::Client*, int32_t* status) -> vx::Status {
        *status = 200;
        return vx::VX_SUCCESS;
    };
    InstOptions = [](vx::Client*, vx::Word, int32_t* status, uint32_t* allow,
                     vx::Word) -> vx::Status {
        *status = 200;
        *allow = vx::ALLOW_PROPFIND;
        return vx::VX_SUCCESS;
    };
    InstPropFind = [](vx::Client* self, uint32_t, vx::Document*, int32_t* status,
                      vx::Document** response) -> vx::Status {
        const auto& collection = *static_cast<Collection*>(self);
        vxhost::HrefResolver resolver(URL);
        vxhost::MultistatusBuilder builder([&](auto href) { return resolver.resolve(href); });
        *status = 207;
        *response = read(builder, collection.answer, collection.pieceBytes).release();
        return *response ? vx::VX_SUCCESS : vxhost::WEBLNK_BAD_ANSWER;
    };
    extension_.logger = vxhost::findLogger(U"App.WebDAV.quillon");
    extension_.weblnk = reinterpret_cast<vx::Weblnk*>(vxhost::createWeblnk(settings_));
    extension_.markup = reinterpret_cast<vx::Markup*>(vxhost::createMarkup());
    handle_.extension = &extension_;
    handle_.client = this;
    handle_.url = const_cast<char32_t*>(url_.data());
    handle_.urlLength = url_.size();
}

std::optional<uint32_t> Collection::list(uint32_t flags) {
    const auto tell = [](std::string_view) { require(false, "a listing leaves nothing behind"); };
    auto* pool = new vxhost::CheckedPool("listing", tell);
    extension_.pool = pool;
    handle_.flags = flags;
    std::optional<uint32_t> members;
    if (auto* list =
            vx::quillonCollectionListOpen(&handle_, &vxhost::utf32ToUtf8(), nullptr, nullptr)) {
        members = list->memberCount;
        require(walk(*list) == (flags & vx::LIST_COUNT_ONLY ? 0 : *members),
                "what is counted is there");
        vx::quillonCollectionListClose(list);
    }
    pool->DestroyPool(pool);
    return members;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Collection collection;
    collection.answer = fuzz::text(data, size);
    collection.pieceBytes = 1 + size % 13;
    checkTrees(collection.answer, collection.pieceBytes);
    checkLocks(collection.answer);
    const auto all = collection.list(vx::LIST_INCLUDE_COLLECTIONS);
    const auto members = collection.list(0);
    require(members <= all && members.has_value() == all.has_value(), "both listings open or none");
    require(members == collection.list(vx::LIST_COUNT_ONLY), "members are counted as listed");
    return 0;
}
