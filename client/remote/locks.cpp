#include "client/remote/locks.hpp"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "client/address.hpp"
#include "client/remote/listing_answer.hpp"
#include "platform/base/ascii.hpp"
#include "platform/base/status.hpp"
#include "platform/http/headers.hpp"
#include "platform/markup/xml_reader.hpp"
#include "platform/text/http_status.hpp"
#include "platform/text/url.hpp"
#include "platform/text/url_path.hpp"
#include "platform/weblnk/active_lock.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

constexpr uint64_t mostOfOne = 16 << 20;  // bytes of memory for the locks of one resource
constexpr size_t mostLockText = 4096;     // bytes of an owner, or of another text of a lock

// The activelocks of an answer, while it comes.
class LockSink : public vxhost::BodySink, public vxhost::XmlHandler {
public:
    explicit LockSink(uint64_t mostBytes) : mostBytes_(mostBytes) {}

    void begin(const vxhost::Answer& answer) override {
        reader_.reset();
        if (answer.status == 207) begin(answer.url);
    }
    void begin(const std::string& url) {
        locks_.clear();
        open_.clear();
        bytes_ = 0;
        areTold_ = tellsAsked_ = false;
        base_ = url;
        reader_.emplace(*this, vxhost::XmlLimits{mostBytes_});
    }
    void write(std::string_view piece) override {
        if (reader_) reader_->feed(piece);
    }
    bool restartable() const override { return true; }

    bool isMultistatus() const { return reader_.has_value(); }
    // Nothing where that tells of no locks that there may be.
    std::optional<std::vector<FoundLock>> finish() {
        reader_->finish();
        return areTold_ ? std::optional(std::move(locks_)) : std::nullopt;
    }

private:
    void startElement(std::string_view name) override {
        const std::string_view local = vxhost::davName(name);
        const std::string parent = open_.empty() ? std::string() : open_.back();
        open_.emplace_back(local);
        if (local == "response") href_.clear();
        if (local == "activelock") lock_ = Read{};
        if (local == "propstat") {
            names_ = false;
            status_.clear();
        }
        if (local == "lockdiscovery" && parent == "prop") names_ = true;
        if (local == "shared" && parent == "lockscope") lock_.isShared = true;
        if (owner_ > 0) {
            if (lock_.owner.size() < mostLockText) lock_.owner += ' ';
        } else {
            text_ = textOf(local, parent);
        }
        if (owner_ > 0 || local == "owner") ++owner_;
    }
    void endElement() override {
        const std::string local = std::move(open_.back());
        open_.pop_back();
        if (owner_ > 0) --owner_;
        if (owner_ > 0) return;
        text_ = nullptr;
        if (local == "href" && !open_.empty() && open_.back() == "response") {
            const std::string_view asked = vxhost::splitReference(base_).path;
            tellsAsked_ = tellsAsked_ || vxhost::samePath(pathOfHref(), asked);
        }
        if (local == "activelock" && !isDeeper(pathOfHref())) take();
        // What it does not have, a server names, too (RFC 4918, 9.1).
        const bool isHad = vxhost::isSuccess(vxhost::parseStatusLine(status_).value_or(200));
        if (local == "propstat" && names_ && isHad) areTold_ = true;
    }
    void characters(std::string_view text) override {
        if (text_ && text_->size() < mostLockText) text_->append(text.substr(0, mostLockText));
    }

    std::string* textOf(std::string_view local, std::string_view parent) {
        if (local == "href" && parent == "response") return &href_;
        if (local == "href" && parent == "locktoken") return &lock_.token;
        if (local == "status" && parent == "propstat") return &status_;
        if (parent != "activelock") return nullptr;
        if (local == "owner") return &lock_.owner;
        if (local == "timeout") return &lock_.timeout;
        return local == "depth" ? &lock_.depth : nullptr;
    }

    std::string_view pathOfHref() const { return vxhost::splitReference(vxhost::trim(href_)).path; }

    void take() {
        FoundLock found;
        found.segment = segmentOf(pathOfHref());
        found.url = found.segment.empty() ? base_ : member(found.segment);
        found.token = vxhost::parseTokenUri(lock_.token);
        found.owner = vxhost::holderName(vxhost::singleBlanks(lock_.owner));
        found.timeout = vxhost::parseTimeout(vxhost::trim(lock_.timeout));
        found.isShared = lock_.isShared;
        found.isDeep = vxhost::lowerCase(vxhost::trim(lock_.depth)) == "infinity";
        bytes_ += sizeof found + found.url.size() + found.token.size() + found.owner.size();
        if (bytes_ > mostBytes_) {
            throw vxhost::Failure(vx::VX_NO_MEMORY,
                                  "The collection has more locks than memory may hold.");
        }
        addOnce(std::move(found));
    }

    // A lock of a collection is told of each member, too.
    void addOnce(FoundLock found) {
        const auto known = std::ranges::find_if(locks_, [&](const FoundLock& each) {
            return !found.token.empty() && each.token == found.token;
        });
        if (known == locks_.end()) {
            locks_.push_back(std::move(found));
        } else if (found.segment.empty()) {
            *known = std::move(found);
        }
    }

    // Than the members of what was asked for, as servers tell that do not heed Depth.
    bool isDeeper(std::string_view path) const {
        if (!tellsAsked_) return false;
        const std::string asked = vxhost::pathKey(vxhost::splitReference(base_).path);
        const std::string key = vxhost::pathKey(path);
        const size_t slash = key.rfind('/');
        return slash != key.npos && vxhost::isBelow(asked, key.substr(0, slash));
    }

    // Proxies rewrite paths, so that what is below the one that was asked for is told by its last
    // segment alone.
    std::string segmentOf(std::string_view path) const {
        const std::string_view asked = vxhost::splitReference(base_).path;
        if (vxhost::samePath(path, asked)) return {};
        const std::string_view segment = lastSegment(path);
        const bool isName = !segment.empty() && !vxhost::isDotSegment(segment);
        return isName ? vxhost::encodeForRequest(segment) : std::string();
    }
    std::string member(const std::string& segment) const {
        return base_ + (base_.ends_with('/') ? "" : "/") + segment;
    }

    struct Read {
        std::string token, owner, timeout, depth;
        bool isShared = false;
    };

    const uint64_t mostBytes_;
    std::string base_;  // the URL that answered
    std::optional<vxhost::XmlReader> reader_;
    std::vector<std::string> open_;  // local names, of "DAV:" alone
    std::string href_;               // of the response
    std::string status_;             // of the propstat, which names
    bool names_ = false;             // the property,
    bool areTold_ = false;           // or has it in one of the responses
    bool tellsAsked_ = false;        // a response by the path that was asked for
    Read lock_;
    std::string* text_ = nullptr;  // null: goes nowhere
    size_t owner_ = 0;             // elements of an owner that are open
    std::vector<FoundLock> locks_;
    uint64_t bytes_ = 0;
};

}  // namespace

Result<std::optional<std::vector<FoundLock>>> parseLocks(const std::string& url,
                                                         std::string_view multistatus) {
    if (multistatus.empty()) return std::optional<std::vector<FoundLock>>();
    try {
        LockSink sink(mostOfOne);
        sink.begin(url);
        sink.write(multistatus);
        return sink.finish();
    } catch (const vxhost::Failure& failure) {
        return requestError(failure);
    }
}

Task<Result<std::optional<std::vector<FoundLock>>>> findLocks(Remote& remote, std::string url) {
    LockSink sink(remote.settings().mostListingBytes);
    std::string document =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?><D:propfind xmlns:D=\"DAV:\"><D:prop>"
        "<D:lockdiscovery/></D:prop></D:propfind>";
    vxhost::Request request = vxhost::propertiesRequest(std::move(url), 1, std::move(document));
    request.sink = &sink;
    const Result<vxhost::Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    try {
        if (sink.isMultistatus()) co_return sink.finish();
        co_return notMultistatus(*answer);
    } catch (const vxhost::Failure& failure) {
        co_return requestError(failure);
    }
}

}  // namespace quillon
