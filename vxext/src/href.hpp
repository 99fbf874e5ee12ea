// Comparing the URLs of resources as texts.
#pragma once

#include <cstdint>

namespace vx {

// Negative, 0 or positive, as the first text is less than, equal to or greater than the second: one
// trailing "/" of each is ignored, characters compare as signed values, a prefix is less. Lengths
// are in characters; VX_INVALID_ARGUMENT when one is negative.
int32_t squillonCompareHref(const char32_t* first, int64_t firstLength, const char32_t* second,
                            int64_t secondLength);

}  // namespace vx
