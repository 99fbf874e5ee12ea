#include "platform/host/encoding/encoding.hpp"

#include "platform/base/status.hpp"
#include "platform/host/encoding/sealed_text.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"
#include "tests/support/test_pool.hpp"

namespace {

using namespace vxhost;
using Text = std::u32string;
using Coded = std::pair<vx::Status, Text>;

class encoding : public testing::Test {
protected:
    ~encoding() override { EXPECT_TRUE(pool.live.empty()); }

    Coded encode(const Text& text) {
        return taken(service.EncodeText(&service, &pool, vx::ENCODING_METHOD_STORED, text.data(),
                                        text.size(), &block, &count, &context));
    }
    Coded decode(const Text& text) {
        return taken(service.DecodeText(&service, &pool, text.data(), text.size(), &block, &count,
                                        &context));
    }
    Coded taken(vx::Status status) {
        EXPECT_TRUE(status == vx::VX_SUCCESS || block == nullptr);
        const Coded coded{status, Text(block, count)};
        if (block != nullptr) pool.Free(&pool, std::exchange(block, nullptr));
        count = 0;
        return coded;
    }

    support::TemporaryDirectory temporary;
    const std::filesystem::path directory = temporary / "config/quillon", key = directory / "key";
    EncodingContext context{key};
    vx::EncodingService& service = encodingService();
    test::TestPool pool;
    char32_t* block = nullptr;
    uint64_t count = 0;
};

TEST_F(encoding, texts_are_told_apart_by_their_tags) {
    const Coded refused = {ENCODING_REFUSED, U""};
    const std::pair<Text, Coded> rows[] = {
        {U"", {0, U""}},
        {U"{ze", {0, U"{ze"}},
        {U"{cfgabc", {0, U"{cfgabc"}},
        {U"{CFG}abc", refused},
        {U"{cfgenc}", refused},
        {U" {base64}eA==", {0, U" {base64}eA=="}},
        {U"{BASE64}w6R4", {0, U"\u00E4x"}},
        {U"{base64}", {0, U""}},
        {U"{base64}eA", refused},
        {U"{base64}e A==", refused},
        {U"{base64}eB==", refused},       // bits behind the end
        {U"{base64}\u0165A==", refused},  // its low byte would do
        {U"{ZEBsodium2}AAAA", refused},
        {U"{zebsodium1}", {ENCODING_NO_KEY, U""}},  // nothing was stored here yet
    };
    for (const auto& [text, coded] : rows) EXPECT_EQ(decode(text), coded);
    EXPECT_EQ(encode(Text(1, char32_t{0xD800})).first, TRANSCODE_INVALID);
    EXPECT_FALSE(exists(key));
}

TEST_F(encoding, what_is_stored_opens_unless_anything_is_changed) {
    const Text clear = U" \u00E4\u20AC\U0001F600 {cf\x01";
    const Text text = encode(clear).second;
    EXPECT_NE(encode(clear).second, text);
    EXPECT_EQ(decode(text), Coded(vx::VX_SUCCESS, clear));
    for (size_t at = sealTag.size(); at < text.size(); ++at) {
        EXPECT_EQ(decode(text.substr(0, at)).first, ENCODING_REFUSED) << at;
        for (const unsigned change : {1u, 2u, 0x20u, 0x80u, 0x100u}) {
            Text altered = text;
            altered[at] ^= change;
            EXPECT_EQ(decode(altered).first, ENCODING_REFUSED) << at << " ^ " << change;
        }
    }
    EXPECT_EQ(decode(text + U"=").first, ENCODING_REFUSED);
    std::filesystem::remove(key);
    EXPECT_EQ(decode(text).first, ENCODING_NO_KEY);
    encode(U"with another key");
    EXPECT_EQ(decode(text).first, ENCODING_REFUSED);
}

TEST_F(encoding, the_key_is_made_once_and_is_ones_own) {
    const Text text = encode(U"secret").second;
    EXPECT_EQ(support::modeOf(key), 0600u);
    EXPECT_EQ(support::modeOf(directory), 0700u);
    encode(U"other");
    EXPECT_EQ(decode(text).second, U"secret") << "it stays";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1);
    for (const unsigned mode : {0640u, 0604u, 0620u, 0602u, 0610u, 0400u}) {
        permissions(key, std::filesystem::perms(mode));
        EXPECT_EQ(decode(text).first, mode == 0400 ? vx::VX_SUCCESS : ENCODING_KEY_EXPOSED);
    }
    // What is no key, or a link to one, is neither used nor replaced.
    permissions(key, std::filesystem::perms(0600));
    for (const uintmax_t size : {33u, 31u}) {
        resize_file(key, size);
        EXPECT_EQ(encode(U"secret").first, ENCODING_NO_KEY);
        EXPECT_EQ(file_size(key), size);
    }
    rename(key, temporary / "key");
    create_symlink(temporary / "key", key);
    EXPECT_EQ(encode(U"secret").first, FSBOX_DENIED);
}

TEST_F(encoding, nothing_is_left_in_memory) {
    const Text text = encode(U"secret").second;
    pool.givenBack.clear();
    EXPECT_EQ(decode(U"{base64}c2VjcmV0/w==").first, ENCODING_REFUSED);  // "secret", then no UTF-8
    EXPECT_EQ(pool.givenBack.at(0), std::vector<uint8_t>(pool.sizes.back()));
    for (const bool decodes : {true, false}) {
        pool.failAt = pool.asked + 1;
        EXPECT_EQ((decodes ? decode(text) : encode(text)).first, vx::VX_NO_MEMORY);
    }
}

}  // namespace
