#include "client/remote/content.hpp"

#include <fmt/format.h>

#include <utility>

#include "client/remote/confirm.hpp"
#include "client/remote/resource.hpp"
#include "platform/base/status.hpp"
#include "platform/text/http_status.hpp"
#include "platform/weblnk/going_on.hpp"
#include "platform/weblnk/requests.hpp"

namespace quillon {
namespace {

using vxhost::Answer;

constexpr std::chrono::seconds leastAge{1};  // of a version whose tag no other one gets

Version versionOf(const vxhost::Headers& headers) {
    return {vxhost::parseEntityTag(headers.first("ETag")),
            parseTime(headers.first("Last-Modified")), parseTime(headers.first("Date"))};
}

// Passes a content on, and counts it.
class TakenBody : public vxhost::BodySink {
public:
    TakenBody(ContentTaker& taker, const FetchWish& wish)
        : taker_(taker), wish_(wish), size_(wish.beginning), tag_(wish.beginningTag) {}

    void begin(const Answer& answer) override {
        if (size_ > 0 && answer.status == 206 && !isRange()) return goOn(answer);
        if (size_ > 0 && taker_.takesOnce()) doNotGoOn(answer.url);
        // A part that was not asked for must not pass for the whole, nor a page about it.
        const bool isContent = answer.status == 200 || answer.status == 203 || answer.status == 204;
        if (!isContent && !(isRange() && answer.status == 206)) {
            throw vxhost::Failure(
                vxhost::WEBLNK_BAD_ANSWER,
                fmt::format("GET {}: the server answered {}, which is not the content.", answer.url,
                            answer.status));
        }
        length_ = vxhost::parseFraming(answer.headers).length;
        requireAsStored(answer);
        if (answer.status == 206) announcePart(answer);
        size_ = 0;
        isContinued_ = false;
        version_ = versionOf(answer.headers);
        tag_ = isRange() || !length_ ? std::string() : vxhost::tagToGoOn(answer);
        taker_.announce(length_, tag_);
        taker_.begin();
    }
    void write(std::string_view piece) override {
        taker_.take(piece);
        size_ += piece.size();
    }
    bool restartable() const override { return size_ == 0 || !taker_.takesOnce(); }
    std::vector<std::string> continuation() const override {
        if (size_ == 0 || tag_.empty()) return {};
        return vxhost::rangeBehind(size_, tag_);
    }

    uint64_t size() const { return size_; }
    const Version& version() const { return version_; }
    bool isWhole() const { return !isContinued_ || size_ == length_; }
    uint64_t length() const { return length_.value_or(0); }
    // Whether the size that the server tells otherwise could prove that a coding is a label.
    bool wantsSize() const { return wantsSize_; }

private:
    bool isRange() const { return !wish_.range.empty(); }

    // A server may label a content with a coding that it was stored in, as Apache does with
    // archives; one that coded it on the way sends other bytes. Its size shows which.
    void requireAsStored(const Answer& answer) {
        if (!vxhost::isCoded(answer.headers) || (wish_.size && length_ == wish_.size)) return;
        wantsSize_ = !wish_.size;
        throw vxhost::Failure(
            vxhost::WEBLNK_BAD_ANSWER,
            fmt::format("GET {}: the server sends the content coded (Content-Encoding: {}), though "
                        "it was asked for as it is stored.",
                        answer.url, answer.headers.joined("Content-Encoding")));
    }

    void announcePart(const Answer& answer) {
        const auto part = vxhost::parseContentRange(answer.headers.first("Content-Range"));
        if (!part) {
            throw vxhost::Failure(vxhost::WEBLNK_BAD_ANSWER,
                                  fmt::format("GET {}: the server does not tell which part of the "
                                              "content it answers.",
                                              answer.url));
        }
        taker_.announcePart(*part);
    }

    void goOn(const Answer& answer) {
        const auto range = vxhost::restBehind(answer, size_, tag_);
        const auto whole = range && range->whole ? range->whole : length_;
        if (!range || !whole || *whole < size_ || *whole != length_.value_or(*whole)) {
            doNotGoOn(answer.url);
        }
        isContinued_ = true;
        if (length_) return;
        length_ = whole;  // of what an earlier fetch began
        version_ = versionOf(answer.headers);
        taker_.announce(length_, tag_);
    }

    [[noreturn]] void doNotGoOn(const std::string& url) {
        tag_.clear();
        throw vxhost::Failure(vxhost::WEBLNK_CUT_OFF,
                              fmt::format("GET {}: the connection was cut off after {} bytes, and "
                                          "the server does not go on behind them.",
                                          url, size_));
    }

    ContentTaker& taker_;
    const FetchWish& wish_;
    uint64_t size_;    // in bytes
    std::string tag_;  // as If-Range takes it; empty: it cannot go on
    std::optional<uint64_t> length_;
    Version version_;
    bool isContinued_ = false;
    bool wantsSize_ = false;
};

Error otherSize(uint64_t came, uint64_t told) {
    std::string sentence =
        came < told ? fmt::format("Only {} bytes came of {}. Try again.", came, told)
                    : fmt::format(
                          "{} bytes came, but the server tells a size of {}. It may have been "
                          "changed meanwhile: try again.",
                          came, told);
    Error error = localError(Kind::network, std::move(sentence));
    error.code = static_cast<Code>(vxhost::WEBLNK_CUT_OFF);
    return error;
}

Error nothingCame() {
    Error error = localError(Kind::network,
                             "The server answered without a content, and tells no size of it, so "
                             "that it need not be empty. Try again.");
    error.code = static_cast<Code>(vxhost::WEBLNK_CUT_OFF);
    return error;
}

// A server points to the URL with the final slash, or has no GET there. Other redirects were
// followed.
Task<bool> isCollection(Remote& remote, std::string url, const Answer& refusal) {
    if (refusal.status != 405) {
        co_return vxhost::isRedirect(refusal.status) && refusal.headers.has("Location");
    }
    const Result<std::optional<Resource>> found = co_await look(remote, std::move(url));
    const bool isThere = found && *found;
    co_return isThere && (*found)->isCollection;
}

// As its properties tell it.
Task<std::optional<uint64_t>> sizeOf(Remote& remote, std::string url) {
    const Result<std::optional<Resource>> found = co_await look(remote, std::move(url));
    const bool isTold = found && *found && !(*found)->isCollection;
    co_return isTold ? (*found)->size : std::nullopt;
}

}  // namespace

Error nothingToFetch() {
    Error error = localError(Kind::refused, "This is a collection, which has no content to fetch.");
    error.code = Code::collection;
    return error;
}

std::string provenTag(const Version& version) {
    const bool settled =
        version.modified && version.date && *version.date - *version.modified > leastAge;
    return settled ? speltTag(version.tag) : std::string();
}

std::optional<Time> provenDate(const Version& version) {
    const bool isYoung =
        version.modified && version.date && *version.date - *version.modified <= leastAge;
    return isYoung ? std::nullopt : version.modified;
}

Task<Result<FetchedContent>> fetch(Remote& remote, std::string url, ContentTaker& taker,
                                   FetchWish wish) {
    TakenBody body(taker, wish);
    vxhost::Request request = vxhost::contentRequest(url);
    request.sink = &body;
    request.isLarge = wish.size.value_or(0) > largeContent;
    request.expectedBytes = wish.size;
    if (!wish.range.empty()) request.headers.push_back("Range: " + wish.range);
    Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer && body.wantsSize()) {
        wish.size = co_await sizeOf(remote, url);
        if (wish.size) co_return co_await fetch(remote, std::move(url), taker, std::move(wish));
    }
    if (!answer) co_return answer.error();
    if (co_await isCollection(remote, url, *answer)) co_return nothingToFetch();
    if (answer->status == 416 && std::exchange(wish.beginning, 0) > 0) {
        wish.beginningTag.clear();
        co_return co_await fetch(remote, std::move(url), taker, std::move(wish));
    }
    if (answer->status == 416 && body.size() > 0) {
        co_return localError(Kind::network, "It became shorter while it was fetched. Try again.");
    }
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    if (!body.isWhole()) co_return otherSize(body.size(), body.length());
    FetchedContent fetched{body.version(), body.size(), true};
    const bool proven = answer->isFramed || vxhost::parseFraming(answer->headers).provesEnd();
    if (answer->status == 206 && !wish.range.empty()) {
        fetched.endProven = proven;  // the whole's size tells nothing of it
    } else if (!proven || answer->status == 204) {
        if (!wish.size) wish.size = co_await sizeOf(remote, std::move(url));
        if (wish.size && *wish.size != body.size()) co_return otherSize(body.size(), *wish.size);
        if (!wish.size && answer->status == 204) co_return nothingCame();
        fetched.endProven = wish.size.has_value();
    }
    co_return std::move(fetched);
}

Task<Result<FetchedContent>> fetchWhole(Remote& remote, std::string url, ContentTaker& taker,
                                        FetchWish wish) {
    Result<FetchedContent> fetched = co_await fetch(remote, std::move(url), taker, std::move(wish));
    if (!fetched || fetched->endProven) co_return std::move(fetched);
    co_return localError(Kind::network,
                         "The server tells neither its length nor its size, so that a part of it "
                         "could pass for the whole. Look at it with quillon get.");
}

Task<Result<void>> checkSize(Remote& remote, std::string url, uint64_t came) {
    const Result<std::optional<Resource>> now = co_await look(remote, std::move(url));
    if (!now) co_return now.error();
    if (!*now || !(*now)->size || *(*now)->size == came) co_return Result<void>();
    co_return localError(Kind::network,
                         "The server tells two sizes of it, so that a part of it could pass for "
                         "the whole. Look at it with quillon get.");
}

Task<Result<Stored>> store(Remote& remote, std::string url, vxhost::UploadSource& content,
                           Conditions conditions, std::vector<std::string> extraHeaders) {
    vxhost::Request request;
    request.method = "PUT";
    request.url = url;
    request.policy = vxhost::changing;
    request.headers = headerLines(conditions);
    request.headers.insert(request.headers.end(), extraHeaders.begin(), extraHeaders.end());
    request.upload = &content;
    request.isLarge = content.length().value_or(largeContent + 1) > largeContent;
    Result<Answer> answer = co_await remote.send(std::move(request));
    if (!answer) co_return answer.error();
    if (!vxhost::isSuccess(answer->status)) co_return refusal(*answer);
    const bool isUnsure = isDoubtful(*answer);
    if (isUnsure) {
        vxhost::EntityTag before = conditions.tag;
        const Result<void> confirmed =
            co_await confirmStored(remote, std::move(url), content.length(), std::move(before));
        if (!confirmed) co_return confirmed.error();
    }
    const bool isNew = answer->status == 201 || (isUnsure && conditions.onlyNew);
    co_return Stored{isNew, versionOf(answer->headers)};
}

}  // namespace quillon
