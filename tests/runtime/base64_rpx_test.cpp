#include <gtest/gtest.h>

#include <string>

#include "runtime/base64.hpp"
#include "runtime/kernel.hpp"
#include "tests/support/test_pool.hpp"

namespace {

using Text = std::u32string;

// Answers with a fixed status and the text "out", and notes the call.
struct Rpx : testing::Test, vx::EncodingService {
    Rpx() : vx::EncodingService{} {
        EncodeText = [](vx::EncodingService* self, vx::Pool* from, uint32_t method,
                        const char32_t* text, uint64_t count, char32_t** result,
                        uint64_t* resultCount, void* context) {
            const Text asked = U"encode " + Text(1, U'0' + method) + U" " + Text(text, count);
            return static_cast<Rpx*>(self)->answer(asked, from, result, resultCount, context);
        };
        DecodeText = [](vx::EncodingService* self, vx::Pool* from, const char32_t* text,
                        uint64_t count, char32_t** result, uint64_t* resultCount, void* context) {
            const Text asked = U"decode " + Text(text, count);
            return static_cast<Rpx*>(self)->answer(asked, from, result, resultCount, context);
        };
        kernel.encodingService = this;
        kernel.encodingContext = this;
        Exported_VXHandle = &kernel;
    }
    ~Rpx() override { Exported_VXHandle = nullptr; }

    vx::Status answer(const Text& asked, vx::Pool* from, char32_t** result, uint64_t* resultCount,
                      void* context) {
        EXPECT_FALSE(*result || *resultCount) << "the output variables are empty at the call";
        EXPECT_EQ(from, &pool);
        EXPECT_EQ(context, this);
        call = asked;
        *result = made;
        *resultCount = 3;
        return status;
    }

    using Entry = vx::Status(vx::Pool*, const char32_t*, uint64_t, char32_t**, uint64_t*);

    // The status; what was asked of the service, and the output, of which "-" is the null one.
    void expect(Entry entry, const Text& text, vx::Status expected, const Text& asked,
                const Text& output) {
        auto* result = reinterpret_cast<char32_t*>(this);
        uint64_t count = 99;
        const test::Guarded<char32_t> input{std::span{text}};
        call.clear();
        EXPECT_EQ(entry(&pool, input.data(), text.size(), &result, &count), expected);
        EXPECT_EQ(call, asked);
        EXPECT_EQ(result ? Text(result, count) : U"-", output);
        EXPECT_TRUE(result || count == 0);
        if (pool.live.contains(result)) pool.Free(&pool, result);
        EXPECT_TRUE(pool.live.empty());
    }

    vx::Kernel kernel{};
    test::TestPool pool;
    vx::Status status = 0;
    Text call;
    char32_t made[3] = {U'o', U'u', U't'};
};

TEST_F(Rpx, texts_on_their_way_through_the_entries) {
    // Those that are encoded already are copied.
    for (const char32_t* tagged :
         {U"{CFG}secret", U"{zeb", U"{ZeBxyz}1", U"{cfgenc}", U"{base64}eA== "})
        expect(base64EncodeRPX, tagged, 0, U"", tagged);
    for (const char32_t* plain : {U"secret ", U"{cfgx", U"{cf", U" {cfg}"})
        expect(base64EncodeRPX, plain, 0, U"encode 5 " + Text{plain}, U"out");
    for (const char32_t* blank : {U"", U"    "}) expect(base64EncodeRPX, blank, 0, U"", U"-");
    expect(base64DecodeRPX, U"{cfg}x", 0, U"decode {cfg}x", U"out");
    expect(base64DecodeRPX, U"  ", 0, U"decode   ", U"out");
    expect(base64DecodeRPX, U"", 0, U"", U"-");
    // A status of the service comes back with what it left.
    status = 0x81234567;
    expect(base64EncodeRPX, U"secret", status, U"encode 5 secret", U"out");
    expect(base64DecodeRPX, U"secret", status, U"decode secret", U"out");
}

TEST_F(Rpx, without_a_service_or_memory) {
    kernel.encodingService = nullptr;
    expect(base64EncodeRPX, U"{zeb}x", 0, U"", U"{zeb}x");
    expect(base64EncodeRPX, U"secret", 0x813FC10D, U"", U"-");
    expect(base64DecodeRPX, U"secret", 0x813FC10D, U"", U"-");
    expect(base64DecodeRPX, U"", 0, U"", U"-");
    pool.failAt = 2;
    expect(base64EncodeRPX, U"{cfg}x", vx::VX_NO_MEMORY, U"", U"-");
    EXPECT_EQ(pool.sizes.back(), 6 * 4u) << "no room for a terminator";
}

}  // namespace
