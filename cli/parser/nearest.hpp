// What a person may have meant by a word that is none of those that there are.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quillon::cli {

// The one that takes the fewest steps to type right: a character too many, missing, wrong, or two
// that stand in each other's place. Empty: none is so near that it would not be a guess.
std::string nearestWord(std::string_view typed, const std::vector<std::string>& words);

}  // namespace quillon::cli
