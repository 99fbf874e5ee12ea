#include "platform/encoding/encoding.hpp"

#include "platform/encoding/sealed_text.hpp"
#include "platform/status.hpp"
#include "platform/transcoder.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"
#include "tests/support/test_pool.hpp"

namespace {

using namespace vxhost;
namespace fs = std::filesystem;

class encoding : public testing::Test {
protected:
    ~encoding() override { EXPECT_TRUE(pool.live.empty()); }

    vx::Status encode(std::u32string_view text, uint32_t method = vx::ENCODING_METHOD_STORED) {
        return call([&](char32_t** to, uint64_t* count) {
            return service.EncodeText(&service, &pool, method, text.data(), text.size(), to, count,
                                      &context);
        });
    }
    vx::Status decode(std::u32string_view text) {
        return call([&](char32_t** to, uint64_t* count) {
            return service.DecodeText(&service, &pool, text.data(), text.size(), to, count,
                                      &context);
        });
    }
    std::u32string encoded(std::u32string_view text) {
        EXPECT_EQ(encode(text), vx::VX_SUCCESS);
        return result;
    }
    template <class Call>
    vx::Status call(Call&& operation) {
        char32_t* text = nullptr;
        uint64_t count = 0;
        const vx::Status status = operation(&text, &count);
        EXPECT_TRUE(status == vx::VX_SUCCESS || text == nullptr);
        result.assign(text, count);
        if (text != nullptr) pool.Free(&pool, text);
        return status;
    }
    void writeKey(const fs::path& path, const std::string& key) const {
        fs::create_directories(context.keyFile.parent_path());
        support::writeFile(path, key);
        fs::permissions(path, fs::perms(0600));
    }

    support::TemporaryDirectory temporary;
    EncodingContext context{temporary.path() / "config/quillon/key"};
    vx::EncodingService& service = encodingService();
    test::TestPool pool;
    std::u32string result;
};

TEST_F(encoding, round_trip) {
    std::u32string before;
    for (const std::u32string& clear :
         {std::u32string(U"x"), std::u32string(U" \u00E4\u20AC\U0001F600 "),
          std::u32string(U"{cf\x01"), std::u32string(5000, U'\U0010FFFF')}) {
        EXPECT_TRUE(encoded(clear).starts_with(U"{zebsodium1}"));
        EXPECT_NE(result, before);
        before = result;
        ASSERT_EQ(decode(before), vx::VX_SUCCESS);
        EXPECT_EQ(result, clear);
    }
}

TEST_F(encoding, texts_are_told_apart_by_their_tags) {
    const struct {
        std::u32string text;
        vx::Status status;
        std::u32string result;
    } rows[] = {
        {U"", 0, U""},
        {U"clear", 0, U"clear"},
        {U"{ze", 0, U"{ze"},
        {U"{cfg}abc", 0, U"{cfg}abc"},
        {U" {base64}eA==", 0, U" {base64}eA=="},
        {U"{base64}w6R4", 0, U"\u00E4x"},
        {U"{BASE64}eA==", 0, U"x"},
        {U"{base64}", 0, U""},
        {U"{base64}eA", ENCODING_REFUSED, U""},
        {U"{base64}e A==", ENCODING_REFUSED, U""},
        {U"{base64}eB==", ENCODING_REFUSED, U""},       // bits behind the end
        {U"{base64}/w==", ENCODING_REFUSED, U""},       // no UTF-8
        {U"{base64}\u0165A==", ENCODING_REFUSED, U""},  // its low byte would do
        {U"{zeb", ENCODING_REFUSED, U""},
        {U"{ZEB2}AAAA", ENCODING_REFUSED, U""},
        {U"{zebsodium1}", ENCODING_NO_KEY, U""},  // nothing was stored here yet
    };
    for (const auto& row : rows) {
        EXPECT_EQ(decode(row.text), row.status) << toUtf8(row.text);
        EXPECT_EQ(result, row.result) << toUtf8(row.text);
    }
    EXPECT_EQ(encode(U"x", 4), vx::VX_UNSUPPORTED);
    EXPECT_EQ(encode(std::u32string(1, char32_t{0xD800})), TRANSCODE_INVALID);
    EXPECT_FALSE(fs::exists(context.keyFile));
}

TEST_F(encoding, any_change_is_noticed) {
    const std::u32string stored = encoded(U"secret");
    for (size_t at = sealTag.size(); at < stored.size(); ++at) {
        EXPECT_EQ(decode(stored.substr(0, at)), ENCODING_REFUSED) << at;
        for (const unsigned change : {1u, 2u, 0x20u, 0x80u, 0x100u}) {
            std::u32string altered = stored;
            altered[at] ^= change;
            EXPECT_EQ(decode(altered), ENCODING_REFUSED) << at << " ^ " << change;
        }
    }
    EXPECT_EQ(decode(stored + U"A"), ENCODING_REFUSED);
    EXPECT_EQ(decode(stored + U"="), ENCODING_REFUSED);
    fs::remove(context.keyFile);
    EXPECT_EQ(decode(stored), ENCODING_NO_KEY);
    encoded(U"with another key");
    EXPECT_EQ(decode(stored), ENCODING_REFUSED);
}

TEST_F(encoding, key_is_made_once_and_is_ones_own) {
    const std::u32string stored = encoded(U"secret");
    EXPECT_EQ(support::modeOf(context.keyFile), 0600u);
    EXPECT_EQ(support::modeOf(context.keyFile.parent_path()), 0700u);
    const std::string key = support::readFile(context.keyFile);
    EXPECT_EQ(key.size(), 32u);
    encoded(U"other");
    EXPECT_EQ(support::readFile(context.keyFile), key);
    EXPECT_EQ(std::distance(fs::directory_iterator(context.keyFile.parent_path()), {}), 1);

    for (const unsigned exposed : {0640u, 0604u, 0620u, 0602u, 0610u}) {
        fs::permissions(context.keyFile, fs::perms(exposed));
        EXPECT_EQ(decode(stored), ENCODING_KEY_EXPOSED) << exposed;
        EXPECT_EQ(encode(U"secret"), ENCODING_KEY_EXPOSED) << exposed;
    }
    fs::permissions(context.keyFile, fs::perms(0400));
    EXPECT_EQ(decode(stored), vx::VX_SUCCESS);
}

TEST_F(encoding, key_that_is_none_is_not_replaced) {
    writeKey(context.keyFile, "short");
    EXPECT_EQ(encode(U"secret"), ENCODING_NO_KEY);
    EXPECT_EQ(support::readFile(context.keyFile), "short");
    fs::remove(context.keyFile);
    writeKey(temporary / "elsewhere", std::string(32, 'k'));
    fs::create_symlink(temporary / "elsewhere", context.keyFile);
    EXPECT_EQ(encode(U"secret"), FSBOX_DENIED);
    fs::remove(context.keyFile);
    fs::create_symlink(temporary / "nowhere", context.keyFile);
    EXPECT_EQ(encode(U"secret"), FSBOX_DENIED);
    fs::remove(context.keyFile);
    fs::create_directory(context.keyFile);
    EXPECT_NE(encode(U"secret"), vx::VX_SUCCESS);
}

TEST_F(encoding, nothing_is_left_in_memory) {
    const std::u32string stored = encoded(U"secret");
    pool.givenBack.clear();
    EXPECT_EQ(decode(U"{base64}c2VjcmV0/w=="), ENCODING_REFUSED);  // "secret", then no UTF-8
    ASSERT_EQ(pool.givenBack.size(), 1u);
    EXPECT_EQ(pool.givenBack[0], std::vector<uint8_t>(pool.givenBack[0].size(), 0));
    pool.failAt = 1;
    pool.asked = 0;
    EXPECT_EQ(decode(stored), vx::VX_NO_MEMORY);
    pool.asked = 0;
    EXPECT_EQ(encode(U"secret"), vx::VX_NO_MEMORY);
}

}  // namespace
