#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "platform/base/ascii.hpp"
#include "platform/base/logger.hpp"
#include "platform/base/status.hpp"
#include "platform/http/exchange.hpp"
#include "platform/markup/multistatus_builder.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/text/href_resolver.hpp"
#include "platform/text/url.hpp"
#include "platform/text/url_path.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

MemberState parseMemberState(const MultistatusBuilder::Told& told) {
    MemberState state;
    state.tag = parseEntityTag(told.entityTag);
    state.size = parseNumber<uint64_t>(told.contentLength);
    state.modified = parseHttpDate(told.lastModified);
    return state;
}

constexpr uint64_t mostOfOne = 16 << 20;  // bytes of memory for the properties of one resource

// Builds the document while the answer arrives.
class MultistatusSink : public BodySink {
public:
    MultistatusSink(const Target& target, uint32_t depth)
        : target_(target),
          isOfOne_(depth == 0),
          mostBytes_(depth == 0 ? std::min(mostOfOne, target.settings.mostListingBytes)
                                : target.settings.mostListingBytes) {}

    void begin(const Answer& answer) override {
        const bool isXml = answer.headers.first("Content-Type").find("xml") != std::string::npos;
        builder_.reset();
        if (answer.status == 207 || isXml) {
            resolver_.emplace(target_.spelt, answer.url);
            asked_ = pathKey(splitReference(answer.url).path);
            tellsInside_ = tellsOther_ = false;
            builder_.emplace(
                [this](std::string_view href) {
                    if (isOfOne_) noteWhere(href);
                    return resolver_->resolve(href);
                },
                mostBytes_);
        }
    }
    void write(std::string_view piece) override {
        if (builder_) explained([&] { builder_->feed(piece); });
    }
    bool restartable() const override { return true; }

    vx::Document* finish() {  // or null when no document came
        if (!builder_) return nullptr;
        DocumentPtr document;
        explained([&] { document = builder_->finish(); });
        if (builder_->skipped() > 0) {
            logLine(target_.logger, vx::LOG_FAILURE,
                    fmt::format("PROPFIND {}: {} members left out, the server cannot read them",
                                target_.url, builder_->skipped()));
        }
        if (tellsNoSelf()) document = makeCollection();
        return document.release();
    }

    MemberState latest() const {
        return builder_ && !tellsNoSelf() ? parseMemberState(builder_->latest()) : MemberState();
    }

private:
    void noteWhere(std::string_view href) {
        const bool isInside = isBelow(asked_, pathKey(splitReference(href).path));
        (isInside ? tellsInside_ : tellsOther_) = true;
    }

    // Asked for one resource, some servers tell of what is in it alone: then it is a collection.
    bool tellsNoSelf() const {
        return tellsInside_ && !tellsOther_ && !builder_->latest().isCollection;
    }

    static DocumentPtr makeCollection() {
        MultistatusBuilder builder;
        builder.feed(
            "<multistatus xmlns=\"DAV:\"><response><propstat><prop><resourcetype><collection/>"
            "</resourcetype></prop></propstat></response></multistatus>");
        return builder.finish();
    }

    template <class Body>
    void explained(Body&& body) {
        try {
            body();
        } catch (const Failure& failure) {
            throw Failure(failure.status(), fmt::format("PROPFIND {}: the answer cannot be used: "
                                                        "{}",
                                                        target_.url, failure.what()));
        }
    }

    const Target& target_;
    const bool isOfOne_;
    const uint64_t mostBytes_;
    std::string asked_;  // the key of its path
    bool tellsInside_ = false, tellsOther_ = false;
    std::optional<HrefResolver> resolver_;
    std::optional<MultistatusBuilder> builder_;
};

}  // namespace

vx::Document* propFind(CurlClient& client, uint32_t depth, const vx::Document& request,
                       int32_t& status) {
    refreshLocks(*client.target);
    MultistatusSink sink(*client.target, depth);
    Request ask = propertiesRequest(usableUrl(*client.target), depth, serialize(request));
    ask.sink = &sink;
    client.hasSeenProperties = true;
    const int32_t answered = exchange(*client.target, std::move(ask)).status;
    vx::Document* document = isSuccess(answered) ? sink.finish() : nullptr;
    if (document && depth == 0) client.known.noteProperties(sink.latest());
    status = answered;
    return document;
}

}  // namespace vxhost
