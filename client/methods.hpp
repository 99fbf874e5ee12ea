// The mask of allowed methods, by their HTTP names.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace quillon {

std::vector<std::string_view> methodNames(uint32_t allow);

}  // namespace quillon
