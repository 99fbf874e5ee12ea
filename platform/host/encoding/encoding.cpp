#include "platform/host/encoding/encoding.hpp"

#include <sodium.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/host/encoding/key.hpp"
#include "platform/host/encoding/sealed_text.hpp"
#include "platform/host/kernel.hpp"
#include "platform/host/pool.hpp"

namespace vxhost {
namespace {

constexpr std::string_view base64Tag = "{base64}";
// Beginnings of what other programs encode; nothing here can open it.
constexpr std::string_view foreignTags[] = {"{zeb", "{cfgenc}", "{cfg}"};

const std::filesystem::path& keyFile(void* context) {
    return static_cast<EncodingContext*>(context)->keyFile;
}

// The beginning of the text, in any case, is the tag (in lower case).
bool hasTag(std::u32string_view text, std::string_view tag) {
    const auto same = [](char32_t unit, char wanted) {
        const char32_t lower = unit >= U'A' && unit <= U'Z' ? unit + (U'a' - U'A') : unit;
        return lower == static_cast<unsigned char>(wanted);
    };
    return text.size() >= tag.size() && std::equal(tag.begin(), tag.end(), text.begin(),
                                                   [&](char w, char32_t u) { return same(u, w); });
}

bool isTagged(std::u32string_view text) {
    return hasTag(text, base64Tag) ||
           std::ranges::any_of(foreignTags, [&](auto tag) { return hasTag(text, tag); });
}

// The UTF-8 of a text that may be a secret, without a copy elsewhere.
Secret toSecret(std::u32string_view text) {
    Secret narrow(text.size() * 4);
    uint64_t length = 0;
    vx::Transcoder& transcoder = utf32ToUtf8();
    const vx::Status status =
        transcoder.Transcode(&transcoder, text.data(), text.size() * sizeof(char32_t),
                             narrow.data(), narrow.size(), &length, 0);
    if (status != vx::VX_SUCCESS) throw Failure(status, "a password is not well formed");
    narrow.shorten(length);
    return narrow;
}

// A block of the pool that holds a result; given back, zeroed, unless it is handed over.
class Result {
public:
    Result(vx::Pool* pool, size_t characters) : pool_(pool), bytes_(characters * sizeof(char32_t)) {
        if (bytes_ == 0) return;
        block_ = static_cast<char32_t*>(pool->Alloc(pool, bytes_, vx::POOL_PLAIN));
        if (block_ == nullptr) throw std::bad_alloc();
    }
    // Takes over what a service has handed out.
    Result(vx::Pool* pool, char32_t* text, uint64_t count)
        : pool_(pool), bytes_(count * sizeof(char32_t)), block_(text), count_(count) {}
    Result(const Result&) = delete;
    Result& operator=(const Result&) = delete;
    ~Result() {
        if (block_ == nullptr) return;
        sodium_memzero(block_, bytes_);
        pool_->Free(pool_, block_);
    }

    // False: the text is not well formed.
    bool fill(const Secret& utf8) {
        vx::Transcoder& transcoder = utf8ToUtf32();
        uint64_t produced = 0;
        const vx::Status status = transcoder.Transcode(&transcoder, utf8.data(), utf8.size(),
                                                       block_, bytes_, &produced, 0);
        count_ = produced / sizeof(char32_t);
        return status == vx::VX_SUCCESS;
    }
    void fill(std::u32string_view text) {
        if (block_ != nullptr) std::memcpy(block_, text.data(), text.size() * sizeof(char32_t));
        count_ = text.size();
    }
    void handOver(char32_t** text, uint64_t* count) {
        *text = std::exchange(block_, nullptr);
        *count = count_;
    }

private:
    vx::Pool* pool_;
    size_t bytes_;
    char32_t* block_ = nullptr;
    uint64_t count_ = 0;
};

Secret decodeTagged(std::u32string_view text, void* context) {
    if (hasTag(text, base64Tag)) {
        Secret narrow = toSecret(text.substr(base64Tag.size()));
        return decodeBase64({narrow.text(), narrow.size()});
    }
    if (!hasTag(text, sealTag)) throw Failure(ENCODING_REFUSED, "sealed by another program");
    Secret narrow = toSecret(text.substr(sealTag.size()));
    return unseal({narrow.text(), narrow.size()}, loadKey(keyFile(context)));
}

struct Service : vx::EncodingService {
    Service();
};

Service::Service() {
    fillSlots<vx::EncodingService>(*this);
    EncodeText = [](vx::EncodingService*, vx::Pool* pool, uint32_t method, const char32_t* text,
                    uint64_t count, char32_t** result, uint64_t* resultCount,
                    void* context) noexcept {
        return guarded(ENCODING_NO_KEY, [&] {
            if (method != vx::ENCODING_METHOD_STORED) return vx::VX_UNSUPPORTED;
            const Secret clear = toSecret({text, count});
            const std::u32string stored = toUtf32(seal(clear, loadOrCreateKey(keyFile(context))));
            Result encoded(pool, stored.size());
            encoded.fill(stored);
            encoded.handOver(result, resultCount);
            return vx::VX_SUCCESS;
        });
    };
    DecodeText = [](vx::EncodingService*, vx::Pool* pool, const char32_t* text, uint64_t count,
                    char32_t** result, uint64_t* resultCount, void* context) noexcept {
        return guarded(ENCODING_REFUSED, [&] {
            const std::u32string_view stored(text, count);
            if (!isTagged(stored)) {
                Result unchanged(pool, stored.size());
                unchanged.fill(stored);
                unchanged.handOver(result, resultCount);
                return vx::VX_SUCCESS;
            }
            const Secret clear = decodeTagged(stored, context);
            Result decoded(pool, clear.size());
            if (!decoded.fill(clear)) return ENCODING_REFUSED;
            decoded.handOver(result, resultCount);
            return vx::VX_SUCCESS;
        });
    };
}

}  // namespace

vx::EncodingService& encodingService() {
    static Service service;
    return service;
}

Secret decodeStored(std::string_view text) {
    const std::u32string stored = toUtf32(text);
    if (!isTagged(stored)) throw Failure(ENCODING_REFUSED, "a stored password carries no tag");
    const vx::Kernel& owner = kernel();
    const std::unique_ptr<vx::Pool, void (*)(vx::Pool*)> pool(
        createPool(), [](vx::Pool* one) { one->DestroyPool(one); });
    char32_t* clear = nullptr;
    uint64_t count = 0;
    const vx::Status status =
        owner.encodingService->DecodeText(owner.encodingService, pool.get(), stored.data(),
                                          stored.size(), &clear, &count, owner.encodingContext);
    if (status != vx::VX_SUCCESS) throw Failure(status, "a stored password cannot be decoded");
    const Result decoded(pool.get(), clear, count);
    return toSecret({clear, count});
}

}  // namespace vxhost
