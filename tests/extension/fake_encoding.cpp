// Transcoders, the encoding service and the clock of the fake host.
#include <cstring>

#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

// What there is room for is written, whatever the outcome: a failure may leave text behind, and so
// does "nothing", a conversion to no text at all. "more": it claims to have written beyond.
vx::Status deliver(const char* call, std::string_view shown, const void* text, uint64_t bytes,
                   void* destination, uint64_t capacity, uint64_t* produced, vx::Word) {
    const Answer answer = fake().script.next(call);
    const bool small = answer.has("small") || bytes > capacity;
    const vx::Status status = small ? vx::VX_BUFFER_TOO_SMALL : answer.rc;
    fake().say("{} \"{}\" into {}{}", call, shown, capacity, unlessSuccess(status));
    std::memcpy(destination, text, std::min(bytes, capacity));
    *produced = status                  ? 0xBADBADBADu
                : answer.has("nothing") ? 0
                : answer.has("more")    ? capacity + 4
                                        : bytes;
    return status;
}

// "leaving": the service fails and leaves the text that it was given, in clear.
vx::Status serve(const char* call, vx::Pool* pool, std::u32string_view text,
                 std::u32string_view converted, char32_t** result, uint64_t* count, void* context) {
    EXPECT_EQ(context, fake().kernel.encodingContext);
    const Answer answer = fake().script.next(call);
    fake().say("{} {}{}", call, inQuotes(text), unlessSuccess(answer.rc));
    if (answer.rc && !answer.has("leaving")) return answer.rc;
    const std::u32string_view left = answer.rc ? text : converted;
    *result =
        static_cast<char32_t*>(pool->Alloc(pool, left.size() * sizeof(char32_t), vx::POOL_PLAIN));
    if (!*result) return vx::VX_NO_MEMORY;
    *count = left.copy(*result, left.size());
    return answer.rc;
}

}  // namespace

void FakeHost::setUpEncoding() {
    textTranscoder.Transcode = [](auto*, auto* source, auto bytes, auto... destination) {
        if (!source) return fake().say("text null"), vx::VX_INVALID_ARGUMENT;
        const std::string_view text{static_cast<const char*>(source), bytes};
        const std::u32string converted = wide(text);
        return deliver("text", text, converted.data(), converted.size() * sizeof(char32_t),
                       destination...);
    };
    pathTranscoder.Transcode = [](auto*, auto* source, auto bytes, auto... destination) {
        const std::string text =
            narrow({static_cast<const char32_t*>(source), bytes / sizeof(char32_t)});
        return deliver("path", text, text.data(), text.size(), destination...);
    };

    // Decoding takes "{old}" away; encoding turns the text round and marks it.
    encodingService.DecodeText = [](auto*, auto* from, auto* text, auto count, auto... result) {
        const std::u32string_view given{text, count};
        const size_t tag = given.starts_with(U"{old}") ? 5 : 0;
        return serve("DecodeText", from, given, given.substr(tag), result...);
    };
    encodingService.EncodeText = [](auto*, auto* from, auto method, auto* text, auto count,
                                    auto... result) {
        EXPECT_EQ(method, vx::ENCODING_METHOD_STORED);
        const std::u32string_view given{text, count};
        const std::u32string turned{given.rbegin(), given.rend()};
        return serve("EncodeText", from, given, U"{zeb}" + turned, result...);
    };
    kernel.encodingService = &encodingService;
    kernel.encodingContext = &encodingService;

    kernel.DateTime = [](uint32_t request, double* output, uint32_t flags) {
        EXPECT_EQ(request, vx::DATETIME_NOW);
        EXPECT_EQ(flags, vx::DATETIME_NOW_FLAGS);
        output[0] = 1000;
        output[1] = fake().zone;
        return vx::VX_SUCCESS;
    };
}

}  // namespace test
