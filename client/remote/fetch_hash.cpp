#include "client/remote/fetch_hash.hpp"

#include <string_view>
#include <utility>

#include "platform/files/content_hash.hpp"

namespace quillon {
namespace {

class HashTaker : public ContentTaker {
public:
    void begin() override { hash_.reset(); }
    void take(std::string_view piece) override { hash_.add(piece); }
    std::string hash() const { return hash_.hex(); }

private:
    vxhost::ContentHash hash_;
};

}  // namespace

Task<Result<HashedContent>> fetchHash(Remote& remote, std::string url,
                                      std::optional<uint64_t> size) {
    HashTaker taker;
    const FetchWish wish{.size = size};
    Result<FetchedContent> fetched = co_await fetchWhole(remote, std::move(url), taker, wish);
    if (!fetched) co_return std::move(fetched).error();
    co_return HashedContent{std::move(fetched->version), fetched->size, taker.hash()};
}

}  // namespace quillon
