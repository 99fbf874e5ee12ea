// The order of two numbers.
#pragma once

#include <cstdint>

// -1, 0 or 1, as the first is less than, equal to or greater than the second.
template <class Number>
int32_t order(Number first, Number second) {
    return first < second ? -1 : first > second;
}
