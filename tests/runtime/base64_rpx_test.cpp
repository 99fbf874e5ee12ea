#include <gtest/gtest.h>

#include <string>

#include "runtime/base64.hpp"
#include "runtime/kernel.hpp"
#include "tests/support/test_pool.hpp"

namespace {

using Text = std::u32string;

// Answers with a fixed status and the text "out", and notes the call.
struct NotingService : vx::EncodingService {
    vx::Status status = 0;
    Text call;  // what was asked, of which text
    vx::Pool* calledPool = nullptr;
    void* calledContext = nullptr;

    NotingService() : vx::EncodingService{} {
        EncodeText = [](vx::EncodingService* self, vx::Pool* pool, uint32_t method,
                        const char32_t* text, uint64_t count, char32_t** result,
                        uint64_t* resultCount, void* context) {
            const Text asked = U"encode " + Text(1, U'0' + method) + U" " + Text(text, count);
            return static_cast<NotingService*>(self)->answer(asked, pool, result, resultCount,
                                                             context);
        };
        DecodeText = [](vx::EncodingService* self, vx::Pool* pool, const char32_t* text,
                        uint64_t count, char32_t** result, uint64_t* resultCount, void* context) {
            const Text asked = U"decode " + Text(text, count);
            return static_cast<NotingService*>(self)->answer(asked, pool, result, resultCount,
                                                             context);
        };
    }

private:
    vx::Status answer(const Text& asked, vx::Pool* pool, char32_t** result, uint64_t* resultCount,
                      void* context) {
        EXPECT_FALSE(*result || *resultCount) << "the output variables are empty at the call";
        call = asked;
        calledPool = pool;
        calledContext = context;
        *result = made;
        *resultCount = 3;
        return status;
    }

    char32_t made[3] = {U'o', U'u', U't'};
};

class Rpx : public testing::Test {
protected:
    Rpx() {
        kernel.encodingService = &service;
        kernel.encodingContext = this;
        Exported_VXHandle = &kernel;
    }
    ~Rpx() override { Exported_VXHandle = nullptr; }

    using Entry = vx::Status(vx::Pool*, const char32_t*, uint64_t, char32_t**, uint64_t*);

    // The status, and the output as a text; "-" is the null one.
    vx::Status run(Entry entry, const Text& text) {
        auto* stale = reinterpret_cast<char32_t*>(this);
        char32_t* result = stale;
        uint64_t count = 99;
        const test::Guarded<char32_t> input{std::span{text}};
        service.call.clear();
        const vx::Status status = entry(&pool, input.data(), text.size(), &result, &count);
        output = result ? Text(result, count) : U"-";
        EXPECT_TRUE(result || count == 0);
        if (pool.live.contains(result)) pool.Free(&pool, result);
        EXPECT_TRUE(pool.live.empty());
        return status;
    }

    vx::Kernel kernel{};
    NotingService service;
    test::TestPool pool;
    Text output;
};

TEST_F(Rpx, texts_on_their_way_through_the_entries) {
    struct {
        Entry* entry;
        Text text, call, output;
    } const table[] = {
        {base64EncodeRPX, U"secret ", U"encode 5 secret ", U"out"},
        {base64EncodeRPX, U"", U"", U"-"},
        {base64EncodeRPX, U"    ", U"", U"-"},
        {base64EncodeRPX, U"{CFG}secret", U"", U"{CFG}secret"},
        {base64EncodeRPX, U"{zeb", U"", U"{zeb"},
        {base64EncodeRPX, U"{ZeBxyz}1", U"", U"{ZeBxyz}1"},
        {base64EncodeRPX, U"{cfgenc}", U"", U"{cfgenc}"},
        {base64EncodeRPX, U"{base64}eA== ", U"", U"{base64}eA== "},
        {base64EncodeRPX, U"{cfgx", U"encode 5 {cfgx", U"out"},
        {base64EncodeRPX, U"{cf", U"encode 5 {cf", U"out"},
        {base64EncodeRPX, U" {cfg}", U"encode 5  {cfg}", U"out"},
        {base64DecodeRPX, U"{cfg}x", U"decode {cfg}x", U"out"},
        {base64DecodeRPX, U"  ", U"decode   ", U"out"},
        {base64DecodeRPX, U"", U"", U"-"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(run(row.entry, row.text), 0u);
        EXPECT_EQ(service.call, row.call);
        EXPECT_EQ(output, row.output);
    }
    EXPECT_EQ(service.calledPool, &pool);
    EXPECT_EQ(service.calledContext, this);
}

TEST_F(Rpx, a_status_of_the_service_comes_back_with_what_it_left) {
    service.status = 0x81234567;
    for (Entry* entry : {base64EncodeRPX, base64DecodeRPX}) {
        EXPECT_EQ(run(entry, U"secret"), 0x81234567u);
        EXPECT_EQ(output, U"out");
    }
}

TEST_F(Rpx, without_a_service_only_tagged_and_empty_texts_pass) {
    kernel.encodingService = nullptr;
    EXPECT_EQ(run(base64EncodeRPX, U"{zeb}x"), 0u);
    EXPECT_EQ(output, U"{zeb}x");
    EXPECT_EQ(run(base64EncodeRPX, U"secret"), 0x813FC10Du);
    EXPECT_EQ(output, U"-");
    EXPECT_EQ(run(base64DecodeRPX, U"secret"), 0x813FC10Du);
    EXPECT_EQ(output, U"-");
    EXPECT_EQ(run(base64DecodeRPX, U""), 0u);
}

TEST_F(Rpx, a_tagged_text_needs_memory_for_its_copy) {
    pool.failAt = 1;
    EXPECT_EQ(run(base64EncodeRPX, U"{cfg}x"), vx::VX_NO_MEMORY);
    EXPECT_EQ(output, U"-");
    EXPECT_EQ(pool.sizes, std::vector<uint64_t>{6 * 4}) << "no room for a terminator";
}

}  // namespace
