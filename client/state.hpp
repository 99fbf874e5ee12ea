// What the objects of this library hold. The order of fields is the order of life: a journal is
// destroyed after the record that was made with it, a parent after its children.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "client/collection.hpp"
#include "client/content_size.hpp"
#include "client/outcome.hpp"
#include "host/quillon.h"
#include "platform/host/host.hpp"
#include "platform/markup/multistatus_builder.hpp"

namespace quillon {

struct Extension::State {
    explicit State(vxhost::Settings settings, const std::filesystem::path& library)
        : host(std::move(settings), library) {
        host.handle().journalEnabled = 1;
    }
    vxhost::ExtensionHost host;

    vx::ExtensionHandle* handle() { return &host.handle(); }
    vx::Operations& operations() { return host.handle().operations; }
};

struct Collection::State {
    State(std::shared_ptr<Extension::State> of, std::string collectionUrl)
        : extension(std::move(of)), url(std::move(collectionUrl)) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { extension->operations().quillonCollectionHandleRelease(handle); }

    vx::Operations& operations() { return extension->operations(); }

    std::shared_ptr<Extension::State> extension;
    std::string url;
    vxhost::UserJournal journal;
    vx::CollectionHandle* handle = nullptr;
};

struct Listing::State {
    State(std::shared_ptr<Collection::State> of, vx::CollectionListHandle* opened)
        : collection(std::move(of)), handle(opened) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { collection->operations().quillonCollectionListClose(handle); }

    std::shared_ptr<Collection::State> collection;
    vx::CollectionListHandle* handle;
};

struct Member::State {
    State(std::shared_ptr<Collection::State> of, std::string encodedSegment)
        : collection(std::move(of)), segment(std::move(encodedSegment)) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { collection->operations().quillonFileHandleRelease(handle); }

    vx::Operations& operations() { return collection->operations(); }
    Result<void> outcome(vx::Status status) { return quillon::outcome(status, journal); }

    std::shared_ptr<Collection::State> collection;
    std::string segment;
    std::string adoptedToken;  // the extension's lock parameters point to it
    vxhost::UserJournal journal;
    vx::PutOptions putOptions{};
    vx::FileHandle* handle = nullptr;
    std::filesystem::path file;
};

inline bool isCollection(const vx::FileInfo& info) {
    return (info.flags & vx::FILEINFO_COLLECTION) != 0;
}

// Of a member's content; nothing where the server tells none.
inline std::optional<uint64_t> sizeOf(const vx::FileInfo& info) {
    const bool isTold = info.size != vxhost::unknownSize;
    return contentSize(isCollection(info), isTold ? std::optional(info.size) : std::nullopt);
}

// UTF-8 text as the pairs of a parameter record take it.
template <class Length>
void setText(const char*& text, Length& length, std::string_view value) {
    text = value.empty() ? nullptr : value.data();
    length = static_cast<Length>(value.size());
}

}  // namespace quillon
