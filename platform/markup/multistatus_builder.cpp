#include "platform/markup/multistatus_builder.hpp"

#include <fmt/format.h>

#include <array>
#include <utility>

#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/markup/tree_builder.hpp"

namespace vxhost {
namespace {

using Response = MultistatusResponse;

// Of a member: the extension would take what is no number for 0, and what is missing, too.
std::string_view sizeOrUnknown(std::string_view size) {
    static const std::string unknown = std::to_string(unknownSize);
    return parseNumber<uint64_t>(size) ? size : unknown;
}

// The extension would take such a display name for what it has already.
bool repeatsName(std::string_view href, std::string_view name) {
    return href.ends_with(name) && href.size() > name.size() &&
           href[href.size() - name.size() - 1] == '/';
}

}  // namespace

MultistatusBuilder::MultistatusBuilder(RewriteHref rewrite, uint64_t mostBytes)
    : rewrite_(std::move(rewrite)),
      mostBytes_(mostBytes),
      reader_([this](const Response& response) { appendResponse(response); },
              [this](std::string_view root) { beginDocument(root); }) {}

void MultistatusBuilder::beginDocument(std::string_view root) {
    const auto name = davName(root) == "multistatus" ? std::u32string_view(U"multistatus")
                                                     : document_->keep(nodeName(root));
    document_->firstChild = nodes_.create(vx::NODE_ELEMENT, name);
}

void MultistatusBuilder::appendResponse(const Response& response) {
    if (response.isRefused()) {
        if (skipped_++ == 0) firstSkipped_ = response.href;
        return;
    }
    const bool saysNothing = !response.hasPropstat && response.status.empty();
    append(response.href, saysNothing ? nullptr : makePropstat(response));
}

void MultistatusBuilder::append(std::string_view href, const vx::Node* propstat) {
    if (document_->bytes() > mostBytes_) {
        throw Failure(WEBLNK_BAD_ANSWER,
                      fmt::format("it names so many members that {} MiB of memory, the most that "
                                  "one listing may take, do not hold them",
                                  mostBytes_ >> 20));
    }
    const vx::Node* child = propstat;
    if (rewrite_) href = rewrite_(href);
    if (!href.empty()) {
        const auto text = document_->keep(href);
        child =
            nodes_.create(vx::NODE_ELEMENT, U"href", nodes_.create(vx::NODE_TEXT, text), propstat);
    }
    auto* response = nodes_.create(vx::NODE_ELEMENT, U"response", child);
    if (lastResponse_) {
        NodeArena::setNextSibling(lastResponse_, response);
    } else {
        NodeArena::setFirstChild(document_->firstChild, response);
    }
    lastResponse_ = response;
}

// From the last property, which most members share, to the first.
const vx::Node* MultistatusBuilder::makePropstat(const Response& response) {
    static constexpr std::array<std::u32string_view, Response::entityTag> names = {
        U"displayname", U"getcontentlength", U"getlastmodified", U"creationdate"};
    const vx::Node* properties = nullptr;
    if (response.isCollection) {
        auto* collection = sharer_.element(U"collection", nullptr, nullptr);
        properties = sharer_.element(U"resourcetype", collection, nullptr);
    }
    for (size_t i = names.size(); i-- > 0;) {
        const std::string_view raw = response.values[i];
        auto value = i == Response::displayName ? raw : trim(raw);
        const bool isSize = i == Response::contentLength;
        if (isSize && !response.isCollection) value = sizeOrUnknown(value);
        const bool told = i == Response::displayName && repeatsName(response.href, value);
        if (value.empty() || told) continue;
        properties = sharer_.element(names[i], sharer_.text(value), properties);
    }
    return sharer_.element(U"propstat", sharer_.element(U"prop", properties, nullptr), nullptr);
}

MultistatusBuilder::Told MultistatusBuilder::latest() const {
    const auto& values = reader_.latest().values;
    return {trim(values[Response::entityTag]), trim(values[Response::contentLength]),
            trim(values[Response::lastModified]), reader_.latest().isCollection};
}

DocumentPtr MultistatusBuilder::finish() {
    reader_.finish();
    if (skipped_ > 0 && !lastResponse_) {
        --skipped_;
        append(firstSkipped_, nullptr);
    }
    return std::move(document_);
}

}  // namespace vxhost
