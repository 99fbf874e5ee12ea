#include "vxext/src/href.hpp"

#include "host/status.h"
#include "runtime/order.hpp"

namespace vx {
namespace {

int64_t withoutSlash(const char32_t* text, int64_t length) {
    return length > 0 && text[length - 1] == U'/' ? length - 1 : length;
}

}  // namespace

int32_t squillonCompareHref(const char32_t* first, int64_t firstLength, const char32_t* second,
                            int64_t secondLength) {
    if (firstLength < 0 || secondLength < 0) return int32_t(VX_INVALID_ARGUMENT);
    firstLength = withoutSlash(first, firstLength);
    secondLength = withoutSlash(second, secondLength);
    const int64_t common = firstLength < secondLength ? firstLength : secondLength;
    for (int64_t i = 0; i < common; ++i)
        if (first[i] != second[i]) return order(int32_t(first[i]), int32_t(second[i]));
    return order(firstLength, secondLength);
}

}  // namespace vx
