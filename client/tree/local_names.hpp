// Names of the members of a folder on this side.
#pragma once

#include <string>
#include <string_view>

namespace quillon {

// Why a file here cannot have the name, in one sentence. Empty: it can.
std::string whyNotLocal(std::string_view name);

bool isUtf8(std::string_view text);

// Which names are one file on a file system.
struct Folding {
    bool letterCase = false;  // "a" is "A"
    bool form = false;        // characters composed in either way are the same (NFC, NFD)
};

// Two names are one file there when this is the same of both.
std::string foldedName(std::string_view name, Folding folding);

}  // namespace quillon
