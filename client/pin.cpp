#include "client/pin.hpp"

namespace quillon {

std::string_view pinProblem(std::string_view pin) {
    constexpr std::string_view start = "sha256//";
    constexpr std::string_view base64 =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr size_t digits = 43;  // of 32 bytes; one "=" fills up
    const bool starts = pin.starts_with(start);
    const std::string_view hash = starts ? pin.substr(start.size()) : pin;
    const bool whole =
        hash.size() == digits + 1 && hash.back() == '=' && hash.find_first_not_of(base64) == digits;
    return starts && whole ? "" : "must be \"sha256//\" and 44 characters of base64";
}

}  // namespace quillon
