#include <fmt/format.h>

#include <charconv>

#include "platform/base/status.hpp"
#include "platform/http/exchange.hpp"
#include "platform/weblnk/client.hpp"
#include "platform/weblnk/content_digest.hpp"
#include "platform/weblnk/lock.hpp"

namespace vxhost {
namespace {

class CallbackSink : public BodySink {
public:
    CallbackSink(const Target& target, vx::WriteCallback* callback, vx::GetReport& report)
        : target_(target), callback_(callback), report_(report) {}

    void begin(const Answer& answer) override {
        // A part that was not asked for must not pass for the whole.
        if (answer.status == 206) {
            throw Failure(WEBLNK_BAD_ANSWER,
                          fmt::format("GET {}: the server sent a part only.", target_.url));
        }
        const auto length = answer.headers.first("Content-Length");
        std::from_chars(length.data(), length.data() + length.size(), total_);
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
        if (status != vx::VX_SUCCESS) {
            throw Failure(status, fmt::format("GET {}: the content cannot be kept.", target_.url));
        }
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

}  // namespace

void get(CurlClient& client, int32_t& status, vx::WriteCallback* callback, vx::GetReport& report) {
    Target& target = *client.target;
    refreshLocks(target);
    CallbackSink sink(target, callback, report);
    DigestingSink digesting(&sink);
    Request request = contentRequest(target);
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
    sink.end();
    noteFetched(client.known, answer, digesting);
    report.modified = parseHttpDate(answer.headers.first("Last-Modified")).value_or(missingDate);
}

}  // namespace vxhost
