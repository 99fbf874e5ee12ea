// What theirs beside a file in conflict is called.
#pragma once

#include <string>

#include "client/time.hpp"

namespace quillon::sync {

// As "q3 (theirs, 2026-11-25 14.02).csv", by the local time; number: from 2 on where that is taken.
// A name too long for a file system is shortened before the bracket.
std::string copyPathOf(const std::string& path, Time when, int number);

}  // namespace quillon::sync
