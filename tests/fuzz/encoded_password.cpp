// Stored passwords, through the kernel's encoding service.
#include <fstream>

#include "platform/base/transcoder.hpp"
#include "platform/host/kernel.hpp"
#include "runtime/base64.hpp"
#include "tests/fuzz/coded.hpp"
#include "tests/support/temporary_directory.hpp"
#include "vxext/src/entry.hpp"

namespace {

using fuzz::coded;
using fuzz::require;
using Text = std::vector<char32_t>;

// The same key in every run, so that a stored text of the corpus can be opened.
void configure(const std::filesystem::path& directory) {
    std::ofstream(directory / "key", std::ios::binary) << "a key of thirty-two known bytes.";
    std::filesystem::permissions(directory / "key", std::filesystem::perms{0600});
    vxhost::KernelSettings settings;
    settings.configDirectory = directory;
    vxhost::configureKernel(settings);
    vxextent(&vxhost::kernel());
}

void checkStored(const Text& clear, size_t salt) {
    Text stored = coded(base64EncodeRPX, clear).output;
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
    const auto text = vxhost::shownUtf32(fuzz::text(data, size));
    const Text units(text.begin(), text.end());
    coded(base64DecodeRPX, units);
    checkStored(units, size);
    return 0;
}
