// The text converters, with destinations that have no byte to spare.
#include "platform/transcoder.hpp"

#include <cstring>
#include <string>
#include <vector>

#include "platform/status.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;
using Bytes = std::vector<char>;

// What the converter makes of the bytes; refused is VX_SUCCESS or why there is nothing.
Bytes convert(vx::Transcoder& transcoder, std::string_view source, vx::Status& refused) {
    const auto into = [&](Bytes& to, uint64_t& produced) {
        return transcoder.Transcode(&transcoder, source.data(), source.size(), to.data(), to.size(),
                                    &produced, 0);
    };
    Bytes roomy(source.size() * 4);
    uint64_t produced = 0;
    refused = into(roomy, produced);
    if (refused != vx::VX_SUCCESS) return {};
    Bytes exact(produced);
    require(into(exact, produced) == vx::VX_SUCCESS, "the room needed is enough");
    if (!exact.empty()) {
        Bytes small(exact.size() - 1);
        require(into(small, produced) == vx::VX_BUFFER_TOO_SMALL, "less is too small");
    }
    return exact;
}

std::string_view view(const Bytes& bytes) {
    return {bytes.data(), bytes.size()};
}

void checkThereAndBack(vx::Transcoder& there, vx::Transcoder& back, std::string_view source) {
    vx::Status refused;
    const Bytes converted = convert(there, source, refused);
    if (refused != vx::VX_SUCCESS) {
        require(refused == vxhost::TRANSCODE_INVALID, "only what is not well formed is refused");
        return;
    }
    require(view(convert(back, view(converted), refused)) == source, "there and back is the same");
}

bool isWellFormed(std::string_view text) {
    vx::Status refused;
    convert(vxhost::utf8ToUtf32(), text, refused);
    return refused == vx::VX_SUCCESS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto text = fuzz::text(data, size);
    checkThereAndBack(vxhost::utf8ToUtf32(), vxhost::utf32ToUtf8(), text);
    checkThereAndBack(vxhost::utf32ToUtf8(), vxhost::utf8ToUtf32(), text);

    const auto shown = vxhost::shownUtf8(vxhost::shownUtf32(text));
    require(isWellFormed(shown), "what is shown is well formed");
    require((shown == text) == isWellFormed(text), "and the same when it was so before");
    std::u32string units(size / sizeof(char32_t), U'\0');
    std::memcpy(units.data(), data, units.size() * sizeof(char32_t));
    require(isWellFormed(vxhost::shownUtf8(units)), "whatever it was");
    return 0;
}
