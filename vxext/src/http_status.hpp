// What an HTTP status says.
#pragma once

#include <cstdint>

namespace vx {

constexpr int32_t HTTP_NOT_AUTHORIZED = 401;
constexpr int32_t HTTP_NOT_FOUND = 404;
constexpr int32_t HTTP_PRECONDITION_FAILED = 412;
constexpr int32_t HTTP_LOCKED = 423;
constexpr int32_t HTTP_INSUFFICIENT_STORAGE = 507;

inline bool squillonHttpSuccess(int32_t status) {
    return status / 100 == 2;
}

}  // namespace vx
