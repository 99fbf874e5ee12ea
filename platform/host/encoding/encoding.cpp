#include "platform/host/encoding/encoding.hpp"

#include <sodium.h>
#include <utf8.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/host/encoding/key.hpp"
#include "platform/host/encoding/sealed_text.hpp"

namespace vxhost {
namespace {

constexpr std::string_view base64Tag = "{base64}";
// Beginnings of what other programs encode; nothing here can open it.
constexpr std::string_view foreignTags[] = {"{zeb", "{cfgenc}", "{cfg}"};

const std::filesystem::path& keyFile(void* context) {
    return static_cast<EncodingContext*>(context)->keyFile;
}

// The beginning of the text, in any case, is the tag (in lower case). Text is UTF-8 or UTF-32.
template <class Text>
bool hasTag(Text text, std::string_view tag) {
    const auto same = [](char32_t wanted, char32_t unit) {
        return wanted == (unit >= U'A' && unit <= U'Z' ? unit + (U'a' - U'A') : unit);
    };
    return text.size() >= tag.size() && std::equal(tag.begin(), tag.end(), text.begin(), same);
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

Secret decodeTagged(std::string_view text, const std::filesystem::path& keyFile) {
    if (hasTag(text, base64Tag)) return decodeBase64(text.substr(base64Tag.size()));
    if (!hasTag(text, sealTag)) throw Failure(ENCODING_REFUSED, "no tag of ours stands before it");
    return unseal(text.substr(sealTag.size()), loadKey(keyFile));
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
            Secret narrow = toSecret(stored);
            const Secret clear = decodeTagged({narrow.text(), narrow.size()}, keyFile(context));
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

std::filesystem::path keyFileIn(const std::filesystem::path& configDirectory) {
    return configDirectory / "key";
}

Secret decodeStored(std::string_view text, const std::filesystem::path& keyFile) {
    Secret clear = decodeTagged(text, keyFile);
    if (!utf8::is_valid(clear.text(), clear.text() + clear.size())) {
        throw Failure(ENCODING_REFUSED, "a stored password is no text");
    }
    return clear;
}

}  // namespace vxhost
