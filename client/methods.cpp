#include "client/methods.hpp"

#include <utility>

#include "host/weblnk.h"

namespace quillon {
namespace {

constexpr std::pair<uint32_t, std::string_view> names[] = {
    {vx::ALLOW_COPY, "COPY"},
    {vx::ALLOW_DELETE, "DELETE"},
    {vx::ALLOW_GET, "GET"},
    {vx::ALLOW_HEAD, "HEAD"},
    {vx::ALLOW_LOCK, "LOCK"},
    {vx::ALLOW_MKCOL, "MKCOL"},
    {vx::ALLOW_MOVE, "MOVE"},
    {vx::ALLOW_OPTIONS, "OPTIONS"},
    {vx::ALLOW_POST, "POST"},
    {vx::ALLOW_PROPFIND, "PROPFIND"},
    {vx::ALLOW_PROPPATCH, "PROPPATCH"},
    {vx::ALLOW_PUT_MASK, "PUT"},
    {vx::ALLOW_UNLOCK, "UNLOCK"},
};

}  // namespace

std::vector<std::string_view> methodNames(uint32_t allow) {
    std::vector<std::string_view> allowed;
    for (const auto& [bits, name] : names) {
        if ((allow & bits) != 0) allowed.push_back(name);
    }
    return allowed;
}

}  // namespace quillon
