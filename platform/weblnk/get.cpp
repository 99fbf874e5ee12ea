#include <fmt/format.h>

#include <utility>

#include "platform/base/status.hpp"
#include "platform/files/content.hpp"
#include "platform/http/exchange.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/content_digest.hpp"
#include "platform/weblnk/going_on.hpp"
#include "platform/weblnk/lock.hpp"
#include "platform/weblnk/properties.hpp"
#include "platform/weblnk/requests.hpp"
#include "platform/weblnk/resuming.hpp"

namespace vxhost {
namespace {

class CallbackSink : public BodySink {
public:
    CallbackSink(const Target& target, vx::WriteCallback* callback, vx::GetReport& report)
        : target_(target), callback_(callback), report_(report) {}

    void begin(const Answer& answer) override {
        if (report_.length > 0) return goOn(answer);
        if (answer.status == 206 && resumes()) return beginBehind(answer);
        // A part that was not asked for must not pass for the whole, nor a page about it.
        if (answer.status != 200 && answer.status != 203 && answer.status != 204) {
            throw Failure(WEBLNK_BAD_ANSWER,
                          fmt::format("GET {}: the server answered {}, which is not the content.",
                                      target_.url, answer.status));
        }
        total_ = parseFraming(answer.headers).length.value_or(0);
        noteTag(tagToGoOn(answer));
    }
    void write(std::string_view piece) override { take(piece); }
    bool restartable() const override { return report_.length == 0; }
    std::vector<std::string> continuation() const override {
        if (report_.length == 0) {
            return resumes() ? rangeBehind(resuming_->size, resuming_->tag)
                             : std::vector<std::string>();
        }
        if (tag_.empty() || total_ == 0) return {};
        return rangeBehind(report_.length, tag_);
    }
    // The server has less than what an earlier GET had, or cannot go on behind it.
    bool startsOver() {
        const bool may = resumes() && report_.length == 0;
        if (may) mayResume_ = false;
        return may;
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
    bool resumes() const { return mayResume_ && resuming_ && !resuming_->tag.empty(); }

    void noteTag(std::string tag) {
        tag_ = std::move(tag);
        if (resuming_) resuming_->latestTag = tag_;
    }

    // What an earlier GET had, to the byte, comes before the rest.
    void beginBehind(const Answer& answer) {
        const auto range = restBehind(answer, resuming_->size, resuming_->tag);
        if (!range || range->whole.value_or(0) < range->first) {
            throw Failure(WEBLNK_BAD_ANSWER,
                          fmt::format("GET {}: the server answered another part than the one "
                                      "that was asked for.",
                                      target_.url));
        }
        total_ = *range->whole;
        isContinued_ = true;
        noteTag(resuming_->tag);
        readPieces(openForReading(resuming_->beginning), resuming_->beginning,
                   [this](std::string_view piece) {
                       take(piece.substr(0, resuming_->size - report_.length));
                       return report_.length < resuming_->size;
                   });
        if (report_.length != resuming_->size) {
            throw Failure(
                WEBLNK_CUT_OFF,
                fmt::format("GET {}: what came before is not there any more.", target_.url));
        }
    }

    // The rest of what came, to the byte; else bytes of two versions would be one file.
    void goOn(const Answer& answer) {
        const auto range = restBehind(answer, report_.length, tag_);
        isContinued_ = true;
        if (range && range->whole.value_or(total_) == total_) return;
        tag_.clear();
        throw Failure(WEBLNK_CUT_OFF,
                      fmt::format("GET {}: the connection was cut off after {} bytes, and the "
                                  "server does not go on behind them.",
                                  target_.url, report_.length));
    }

    void take(std::string_view piece) {
        hand(piece);
        report_.length += piece.size();
        const auto& progress = target_.settings.progress;
        if (progress) progress({report_.length, total_});
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
    Resuming* const resuming_ = Resuming::current();
    bool mayResume_ = true;
    std::string tag_;  // as If-Range takes it; empty: nothing proves that the rest is of the same
};

// Begins anew, while nothing was handed on, when the server does not go on behind what came before.
Answer fetch(const Target& target, const Request& request, CallbackSink& sink) {
    try {
        Answer answer = exchange(target, request);
        if (answer.status != 416 || !sink.startsOver()) return answer;
    } catch (const Failure& failure) {
        if (failure.status() != WEBLNK_BAD_ANSWER || !sink.startsOver()) throw;
    }
    return exchange(target, request);
}

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

// The member's own bytes are asked for. A server may label them with a coding that they were stored
// in, as Apache does with archives; but one that coded them on the way hands out other bytes. The
// size that it tells otherwise shows which (RFC 4918, 15.4).
void requireAsStored(const Target& target, const Answer& answer, uint64_t length) {
    if (!isCoded(answer.headers) || sizeByProperties(target) == length) return;
    throw Failure(
        WEBLNK_BAD_ANSWER,
        fmt::format("GET {}: the bytes came in the coding {}, and not as they are stored, which "
                    "was asked for. A filter of the server or a proxy on the way does that.",
                    target.url, answer.headers.joined("Content-Encoding")));
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
    const Answer answer = fetch(target, request, sink);
    if (answer.status == 416 && report.length > 0) {
        throw Failure(WEBLNK_CUT_OFF, fmt::format("GET {}: the connection was cut off after {} "
                                                  "bytes, and there are no more now.",
                                                  target.url, report.length));
    }
    status = answer.status == 206 ? 200 : answer.status;  // the sink has the whole
    if (status == 404) client.known.noteHead(MemberState::missing(), !target.locks.empty());
    if (!isSuccess(status)) {
        // Redirects elsewhere were followed, or are no redirects for want of a Location.
        const bool isCollection = isRedirect(status) && answer.headers.has("Location");
        if (isCollection) report.flags |= vx::GET_OF_COLLECTION;
        refuse(target, answer, isCollection);
    }
    requireWhole(client, answer, report);
    requireAsStored(target, answer, report.length);
    sink.end();
    noteFetched(client.known, answer, report.length, digesting.digest());
    report.modified = parseHttpDate(answer.headers.first("Last-Modified")).value_or(missingDate);
}

}  // namespace vxhost
