#include <fmt/format.h>

#include "platform/base/status.hpp"
#include "platform/http/exchange.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/content_digest.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/properties.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {

// A strong tag, of a version that can have had no other within the second of its date: some servers
// make tags of size and second.
std::string tagToGoOn(const Answer& answer) {
    const EntityTag tag = parseMemberState(answer.headers).tag;
    const bool proves = answer.status == 200 && !tag.text.empty() && !tag.weak;
    return proves && !racyTimeOf(answer.headers) ? tag.sent() : std::string();
}

class CallbackSink : public BodySink {
public:
    CallbackSink(const Target& target, vx::WriteCallback* callback, vx::GetReport& report)
        : target_(target), callback_(callback), report_(report) {}

    void begin(const Answer& answer) override {
        if (report_.length > 0) return goOn(answer);
        // A part that was not asked for must not pass for the whole, nor a page about it.
        if (answer.status != 200 && answer.status != 203 && answer.status != 204) {
            throw Failure(WEBLNK_BAD_ANSWER,
                          fmt::format("GET {}: the server answered {}, which is not the content.",
                                      target_.url, answer.status));
        }
        total_ = parseFraming(answer.headers).length.value_or(0);
        tag_ = tagToGoOn(answer);
    }
    void write(std::string_view piece) override {
        hand(piece);
        report_.length += piece.size();
        const auto& progress = target_.settings.progress;
        if (progress) progress({report_.length, total_});
    }
    bool restartable() const override { return report_.length == 0; }
    std::vector<std::string> continuation() const override {
        if (tag_.empty() || total_ == 0) return {};
        return {fmt::format("Range: bytes={}-", report_.length), "If-Range: " + tag_};
    }

    // A file that gathers pieces stores them now, while its failure can still fail the GET.
    void end() {
        if (isContinued_ && report_.length != total_) {
            throw Failure(WEBLNK_CUT_OFF, fmt::format("GET {}: {} bytes came of {}.", target_.url,
                                                      report_.length, total_));
        }
        hand("");
    }

private:
    // The rest of what came, to the byte; else bytes of two versions would be one file.
    void goOn(const Answer& answer) {
        const auto range = parseContentRange(answer.headers.first("Content-Range"));
        const bool fits = answer.status == 206 && range && range->first == report_.length &&
                          range->whole.value_or(total_) == total_;
        isContinued_ = true;
        if (fits) return;
        tag_.clear();
        throw Failure(WEBLNK_CUT_OFF,
                      fmt::format("GET {}: the connection was cut off after {} bytes, and the "
                                  "server does not go on behind them.",
                                  target_.url, report_.length));
    }

    void hand(std::string_view piece) {
        const Status status = callback_->callback(callback_, piece.data(), piece.size());
        if (status != vx::VX_SUCCESS) throw Failure(status, {});  // the callback has told why
    }

    const Target& target_;
    vx::WriteCallback* callback_;
    vx::GetReport& report_;
    uint64_t total_ = 0;  // 0: not known
    bool isContinued_ = false;
    std::string tag_;  // as If-Range takes it; empty: nothing proves that the rest is of the same
};

[[noreturn]] void refuse(const Target& target, const Answer& answer, bool isCollection) {
    const std::string why = isCollection ? "it is a collection, not a member"
                                         : fmt::format("the server answered {}", answer.status);
    throw Failure(WEBLNK_REFUSED, fmt::format("GET {}: {}.", target.url, why));
}

// Where neither a length nor a last chunk shows the end, and after 204, what came must have the
// size that the server tells otherwise: a connection that was cut looks like one that was closed.
void requireWhole(const CurlClient& client, const Answer& answer, vx::GetReport& report) {
    const Target& target = *client.target;
    const bool empty = answer.status == 204;
    const bool proven = answer.isFramed || parseFraming(answer.headers).provesEnd();
    if (!empty && proven) return;
    if (client.toldSize == report.length) return;
    const auto size = sizeByProperties(target);
    if (size == report.length) return;
    const auto told = size ? size : client.toldSize;
    if (!told && !empty) {
        report.flags |= vx::GET_END_UNPROVEN;
        return;
    }
    throw Failure(
        WEBLNK_CUT_OFF,
        fmt::format("GET {}: {} bytes came, but the server tells {}.", target.url, report.length,
                    told ? fmt::format("a size of {}", *told) : "no size"));
}

}  // namespace

void get(CurlClient& client, int32_t& status, vx::WriteCallback* callback, vx::GetReport& report) {
    Target& target = *client.target;
    refreshLocks(target);
    CallbackSink sink(target, callback, report);
    DigestingSink digesting(&sink);
    client.hasContent = true;
    Request request = contentRequest(usableUrl(target));
    request.sink = &digesting;
    const Answer answer = exchange(target, std::move(request));
    status = answer.status == 206 ? 200 : answer.status;  // the sink has the whole
    if (status == 404) client.known.noteHead(MemberState::missing(), !target.locks.empty());
    if (!isSuccess(status)) {
        // Redirects elsewhere were followed, or are no redirects for want of a Location.
        const bool isCollection = isRedirect(status) && answer.headers.has("Location");
        if (isCollection) report.flags |= vx::GET_OF_COLLECTION;
        refuse(target, answer, isCollection);
    }
    requireWhole(client, answer, report);
    sink.end();
    noteFetched(client.known, answer, digesting);
    report.modified = parseHttpDate(answer.headers.first("Last-Modified")).value_or(missingDate);
}

}  // namespace vxhost
