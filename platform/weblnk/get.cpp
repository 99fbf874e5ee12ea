#include <fmt/format.h>

#include <charconv>

#include "platform/base/status.hpp"
#include "platform/http/exchange.hpp"
#include "platform/text/date.hpp"
#include "platform/weblnk/client.hpp"
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

double modifiedDate(const Headers& headers) {
    const auto text = headers.first("Last-Modified");
    return parseDate(std::u32string(text.begin(), text.end())).value_or(missingDate);
}

}  // namespace

void get(CurlClient& client, int32_t& status, vx::WriteCallback* callback, vx::GetReport& report) {
    Target& target = *client.target;
    target.etag.clear();
    refreshLocks(target);
    CallbackSink sink(target, callback, report);
    Request request = requestFor(target, "GET");
    request.headers = {"Accept-Encoding: identity"};  // the member's own bytes
    request.sink = &sink;
    request.repeatable = request.follows301 = request.endsAtSlash = true;
    const Answer answer = exchange(target, std::move(request));
    status = answer.status;
    if (!isSuccess(status)) {
        // Redirects elsewhere were followed, or are no redirects for want of a Location.
        const bool isCollection = isRedirect(status) && answer.headers.has("Location");
        if (isCollection) report.flags |= vx::GET_OF_COLLECTION;
        refuse(target, answer, isCollection);
    }
    sink.end();
    target.etag = parseStrongEtag(answer.headers.first("ETag"));
    report.modified = modifiedDate(answer.headers);
}

}  // namespace vxhost
