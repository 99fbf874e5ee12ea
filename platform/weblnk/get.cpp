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

class CallbackSink : public BodySink {
public:
    CallbackSink(const Target& target, vx::WriteCallback* callback, vx::GetReport& report)
        : target_(target), callback_(callback), report_(report) {}

    void begin(const Answer& answer) override {
        // A part that was not asked for must not pass for the whole, nor a page about it.
        if (answer.status != 200 && answer.status != 203 && answer.status != 204) {
            throw Failure(WEBLNK_BAD_ANSWER,
                          fmt::format("GET {}: the server answered {}, which is not the content.",
                                      target_.url, answer.status));
        }
        total_ = parseFraming(answer.headers).length.value_or(0);
    }
    void write(std::string_view piece) override {
        hand(piece);
        report_.length += piece.size();
        const auto& progress = target_.settings.progress;
        if (progress) progress({report_.length, total_});
    }
    bool restartable() const override { return report_.length == 0; }

    // A file that gathers pieces stores them now, while its failure can still fail the GET.
    void end() { hand(""); }

private:
    void hand(std::string_view piece) {
        const Status status = callback_->callback(callback_, piece.data(), piece.size());
        if (status != vx::VX_SUCCESS) throw Failure(status, {});  // the callback has told why
    }

    const Target& target_;
    vx::WriteCallback* callback_;
    vx::GetReport& report_;
    uint64_t total_ = 0;  // 0: not known
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
    if (!empty && parseFraming(answer.headers).provesEnd()) return;
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
    status = answer.status;
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
