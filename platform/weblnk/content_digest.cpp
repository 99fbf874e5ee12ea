#include "platform/weblnk/content_digest.hpp"

#include <fmt/format.h>

#include <new>
#include <optional>
#include <utility>

#include "platform/base/status.hpp"
#include "platform/http/exchange.hpp"
#include "platform/http/repeats.hpp"
#include "platform/weblnk/requests.hpp"

namespace vxhost {
namespace {}  // namespace

std::optional<std::chrono::duration<double>> racyTimeOf(const Headers& headers) {
    return racyTime(parseHttpDate(headers.first("Last-Modified")),
                    parseHttpDate(headers.first("Date")));
}

void DigestingSink::begin(const Answer& answer) {
    if (next_) next_->begin(answer);
    if (answer.status == 206 && size_ > 0) return;  // it goes on behind what came
    size_ = 0;
    wanted_ = !next_ || racyTimeOf(answer.headers);
    if (sodium_init() < 0) throw std::bad_alloc();
    crypto_generichash_init(&state_, nullptr, 0, sizeof(ContentDigest));
}

std::vector<std::string> DigestingSink::continuation() const {
    return next_ ? next_->continuation() : std::vector<std::string>();
}

void DigestingSink::write(std::string_view piece) {
    if (wanted_) {
        crypto_generichash_update(&state_, reinterpret_cast<const unsigned char*>(piece.data()),
                                  piece.size());
    }
    size_ += piece.size();
    if (next_) next_->write(piece);
}

ContentDigest DigestingSink::digest() const {
    ContentDigest digest{};
    crypto_generichash_state state = state_;
    crypto_generichash_final(&state, digest.data(), digest.size());
    return digest;
}

ContentDigest digestOf(UploadSource& source) {
    source.rewind();
    DigestingSink sink;
    sink.begin(Answer{});
    std::vector<char> piece(size_t{1} << 16);
    while (const size_t size = source.read(piece.data(), piece.size())) {
        sink.write({piece.data(), size});
    }
    return sink.digest();
}

void noteFetched(KnownMember& known, const Answer& answer, uint64_t size,
                 const ContentDigest& digest) {
    MemberState state = parseMemberState(answer.headers);
    state.size = size;
    known.noteFetched(std::move(state), parseHttpDate(answer.headers.first("Date")), digest,
                      KnownMember::Clock::now());
}

bool sameContent(CurlClient& client) {
    const Target& target = *client.target;
    KnownMember& known = client.known;
    pause(target.settings, std::chrono::ceil<std::chrono::milliseconds>(known.racyUntil() -
                                                                        KnownMember::Clock::now()));
    DigestingSink sink;
    Request request = contentRequest(usableUrl(target));
    request.sink = &sink;
    const Answer answer = exchange(target, std::move(request));
    if (answer.status == 404) {
        known.noteHead(MemberState::missing(), false);
        return true;
    }
    if (answer.status != 200) {
        throw Failure(WEBLNK_BAD_ANSWER,
                      fmt::format("GET {}: the server answered {}, so that nobody can tell whether "
                                  "somebody else changed it; nothing was stored.",
                                  target.url, answer.status));
    }
    if (!known.hasContent(sink.digest())) return false;
    noteFetched(known, answer, sink.size(), sink.digest());
    return true;
}

}  // namespace vxhost
