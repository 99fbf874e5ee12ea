// Stored passwords, through the kernel's encoding service.
#include <fstream>

#include "platform/base/transcoder.hpp"
#include "platform/files/directories.hpp"
#include "platform/host/checked_pool.hpp"
#include "platform/host/encoding/encoding.hpp"
#include "platform/host/kernel.hpp"
#include "runtime/base64.hpp"
#include "tests/fuzz/fuzz.hpp"
#include "tests/support/temporary_directory.hpp"
#include "vxext/src/entry.hpp"

namespace {

using fuzz::require;

struct Coded {
    vx::Status status;
    std::u32string output;  // empty after a failure
};

// What a codec makes of a text, with a pool that watches it.
Coded coded(decltype(base64EncodeRPX)* codec, std::u32string_view text) {
    const auto tell = [](std::string_view) { require(false, "a codec leaves nothing behind"); };
    auto* pool = new vxhost::CheckedPool("codec", tell);
    char32_t* output = nullptr;
    uint64_t count = 0;
    const vx::Status status = codec(pool, text.data(), text.size(), &output, &count);
    require(status == vx::VX_SUCCESS || !output, "nothing comes of a failure");
    const Coded result{status, {output, output + count}};
    if (output) pool->Free(pool, output);
    pool->DestroyPool(pool);
    return result;
}

// The same key in every run, so that a stored text of the corpus can be opened.
void configure(const std::filesystem::path& directory) {
    setenv("XDG_CONFIG_HOME", directory.c_str(), 1);
    const std::filesystem::path key = vxhost::keyFileIn(vxhost::configHome());
    std::filesystem::create_directories(key.parent_path());
    std::ofstream(key, std::ios::binary) << "a key of thirty-two known bytes.";
    std::filesystem::permissions(key, std::filesystem::perms{0600});
    vxextent(&vxhost::kernel());
}

void checkStored(const std::u32string& clear, size_t salt) {
    std::u32string stored = coded(base64EncodeRPX, clear).output;
    if (stored.empty() || stored == clear) return;
    const auto opened = coded(base64DecodeRPX, stored);
    require(opened.status == vx::VX_SUCCESS && opened.output == clear, "a stored password opens");
    constexpr size_t tag = 12;
    stored[tag + salt % (stored.size() - tag)] ^= 1;
    require(coded(base64DecodeRPX, stored).status != vx::VX_SUCCESS, "an altered one does not");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const support::TemporaryDirectory directory;
    static const bool configured = (configure(directory.path()), true);
    static_cast<void>(configured);
    const std::u32string text = vxhost::shownUtf32(fuzz::text(data, size));
    coded(base64DecodeRPX, text);
    checkStored(text, size);
    return 0;
}
