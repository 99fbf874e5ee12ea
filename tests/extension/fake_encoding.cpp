// Transcoders, the encoding service and the clock of the fake host.
#include <fmt/format.h>

#include <cstring>

#include "runtime/kernel.hpp"
#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

using Converter = Fake<vx::Transcoder>;
using Encoding = Fake<vx::EncodingService>;

// What there is room for is written, whatever the outcome: a failure may leave text behind, and so
// does "nothing", a conversion to no text at all.
template <class Unit>
vx::Status deliver(Converter& converter, std::string_view shown, std::basic_string_view<Unit> text,
                   void* destination, uint64_t capacity, uint64_t* produced) {
    const Answer answer = converter.host->script.next(converter.name);
    const uint64_t bytes = text.size() * sizeof(Unit);
    vx::Status status = answer.rc;
    if (answer.has("small") || bytes > capacity) status = vx::VX_BUFFER_TOO_SMALL;
    converter.host->say(
        fmt::format("{} \"{}\" into {}{}", converter.name, shown, capacity,
                    status == vx::VX_SUCCESS ? "" : fmt::format(" -> {:08X}", status)));
    if (bytes) std::memcpy(destination, text.data(), std::min(bytes, capacity));
    *produced = status != vx::VX_SUCCESS ? 0xBADBADBADu : answer.has("nothing") ? 0 : bytes;
    return status;
}

// "leaving": the service has its result ready and fails all the same.
vx::Status serve(FakeHost& host, const char* call, vx::Pool* pool, std::u32string_view text,
                 std::u32string_view converted, char32_t** result, uint64_t* count) {
    const Answer answer = host.script.next(call);
    host.say(fmt::format("{} \"{}\"{}", call, narrow(text),
                         answer.rc == vx::VX_SUCCESS ? "" : fmt::format(" -> {:08X}", answer.rc)));
    if (answer.rc != vx::VX_SUCCESS && !answer.has("leaving")) return answer.rc;
    *result = static_cast<char32_t*>(
        pool->Alloc(pool, converted.size() * sizeof(char32_t), vx::POOL_PLAIN));
    if (!*result) return vx::VX_NO_MEMORY;
    std::copy(converted.begin(), converted.end(), *result);
    *count = converted.size();
    return answer.rc;
}

}  // namespace

void FakeHost::setUpEncoding() {
    textTranscoder.host = pathTranscoder.host = encodingService.host = this;
    textTranscoder.name = "text";
    textTranscoder.Transcode = [](vx::Transcoder* self, const void* source, uint64_t bytes,
                                  void* destination, uint64_t capacity, uint64_t* produced,
                                  vx::Word) {
        const std::string_view text{static_cast<const char*>(source), bytes};
        const std::u32string converted = wide(text);
        return deliver(Converter::of(self), text, std::u32string_view{converted}, destination,
                       capacity, produced);
    };
    pathTranscoder.name = "path";
    pathTranscoder.Transcode = [](vx::Transcoder* self, const void* source, uint64_t bytes,
                                  void* destination, uint64_t capacity, uint64_t* produced,
                                  vx::Word) {
        const std::string converted =
            narrow({static_cast<const char32_t*>(source), bytes / sizeof(char32_t)});
        return deliver(Converter::of(self), converted, std::string_view{converted}, destination,
                       capacity, produced);
    };

    // Decoding changes nothing; encoding turns the text round and marks it.
    encodingService.DecodeText = [](vx::EncodingService* self, vx::Pool* from, const char32_t* text,
                                    uint64_t count, char32_t** result, uint64_t* resultCount,
                                    void*) {
        const std::u32string_view given{text, count};
        return serve(*Encoding::of(self).host, "DecodeText", from, given, given, result,
                     resultCount);
    };
    encodingService.EncodeText = [](vx::EncodingService* self, vx::Pool* from, uint32_t method,
                                    const char32_t* text, uint64_t count, char32_t** result,
                                    uint64_t* resultCount, void*) {
        EXPECT_EQ(method, vx::ENCODING_METHOD_STORED);
        const std::u32string_view given{text, count};
        const std::u32string turned = U"{zeb}" + std::u32string{given.rbegin(), given.rend()};
        return serve(*Encoding::of(self).host, "EncodeText", from, given, turned, result,
                     resultCount);
    };
    kernel.encodingService = &encodingService;

    kernel.DateTime = [](uint32_t request, double* output, uint32_t flags) {
        EXPECT_EQ(request, vx::DATETIME_NOW);
        EXPECT_EQ(flags, vx::DATETIME_NOW_FLAGS);
        FakeHost& host = *Fake<vx::Kernel>::of(Exported_VXHandle).host;
        output[0] = host.now;
        output[1] = host.zone;
        host.say("DateTime");
        return vx::VX_SUCCESS;
    };
}

}  // namespace test
