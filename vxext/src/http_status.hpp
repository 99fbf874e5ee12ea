// What an HTTP status says.
#pragma once

#include <cstdint>

namespace vx {

constexpr int32_t HTTP_CREATED = 201;
constexpr int32_t HTTP_MULTI_STATUS = 207;
constexpr int32_t HTTP_NOT_AUTHORIZED = 401;
constexpr int32_t HTTP_FORBIDDEN = 403;
constexpr int32_t HTTP_NOT_FOUND = 404;
constexpr int32_t HTTP_METHOD_NOT_ALLOWED = 405;
constexpr int32_t HTTP_CONFLICT = 409;
constexpr int32_t HTTP_PRECONDITION_FAILED = 412;
constexpr int32_t HTTP_LOCKED = 423;
constexpr int32_t HTTP_INSUFFICIENT_STORAGE = 507;

inline bool squillonHttpSuccess(int32_t status) {
    return status / 100 == 2;
}

}  // namespace vx
