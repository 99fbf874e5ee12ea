// Stored passwords, through the kernel's encoding service.
#include <cstring>
#include <fstream>
#include <string>

#include "platform/kernel.hpp"
#include "platform/transcoder.hpp"
#include "runtime/base64.hpp"
#include "tests/fuzz/counting_pool.hpp"
#include "tests/fuzz/fuzz.hpp"
#include "tests/support/temporary_directory.hpp"
#include "vxext/src/entry.hpp"

namespace {

using fuzz::require;
namespace fs = std::filesystem;

// The same key in every run, so that a stored text of the corpus can be opened.
struct Kernel {
    Kernel() {
        const fs::path key = directory.path() / "key";
        std::ofstream(key, std::ios::binary) << "a key of thirty-two known bytes.";
        fs::permissions(key, fs::perms::owner_read | fs::perms::owner_write);
        vxhost::KernelSettings settings;
        settings.configDirectory = directory.path();
        vxhost::configureKernel(settings);
        vxextent(&vxhost::kernel());
    }
    support::TemporaryDirectory directory;
};

struct Coded {
    vx::Status status;
    std::u32string text;
};

template <class Code>
Coded call(Code* code, std::u32string_view text) {
    fuzz::CountingPool pool;
    char32_t* result = nullptr;
    uint64_t count = 0;
    const vx::Status status = code(&pool, text.data(), text.size(), &result, &count);
    require(status == vx::VX_SUCCESS || result == nullptr, "nothing comes of a failure");
    std::u32string copy(result, count);
    if (result) pool.Free(&pool, result);
    require(pool.out == 0, "no block is left");
    return {status, std::move(copy)};
}

void checkStored(std::u32string_view clear, size_t salt) {
    const Coded stored = call(base64EncodeRPX, clear);
    if (stored.status != vx::VX_SUCCESS || stored.text.empty() || stored.text == clear) return;
    const Coded opened = call(base64DecodeRPX, stored.text);
    require(opened.status == vx::VX_SUCCESS && opened.text == clear, "a stored password opens");

    std::u32string altered = stored.text;
    constexpr size_t tag = 12;
    altered[tag + salt % (altered.size() - tag)] ^= 1;
    require(call(base64DecodeRPX, altered).status != vx::VX_SUCCESS, "an altered one does not");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Kernel kernel;
    std::u32string units(size / sizeof(char32_t), U'\0');
    std::memcpy(units.data(), data, units.size() * sizeof(char32_t));
    call(base64DecodeRPX, units);

    const auto text = vxhost::shownUtf32(fuzz::text(data, size));
    call(base64DecodeRPX, text);
    checkStored(text, size);
    return 0;
}
