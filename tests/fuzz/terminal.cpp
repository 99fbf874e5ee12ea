// Names on their way to a terminal.
#include "cli/terminal.hpp"

#include "platform/transcoder.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

bool movesCursor(char32_t unit) {
    const bool control = unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
    const bool separates = unit == 0x2028 || unit == 0x2029;
    const bool turns = (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
    return control || separates || turns;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool prepared = (quillon::cli::prepareLocale(), true);
    static_cast<void>(prepared);
    const std::string shown = quillon::cli::harmless(fuzz::text(data, size));
    const auto units = vxhost::toUtf32(shown);  // throws for what is no UTF-8
    fuzz::require(std::none_of(units.begin(), units.end(), movesCursor),
                  "nothing moves the cursor");
    fuzz::require(quillon::cli::displayWidth(shown) <= 2 * units.size(), "a width is bounded");
    return 0;
}
