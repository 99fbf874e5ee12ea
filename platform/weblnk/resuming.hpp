// A GET that goes on behind what an earlier one had.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace vxhost {

// For the next GETs of this thread, as long as it lives. The caller of the GET still gets the
// whole: what the file holds is handed to it first, once the server has shown that the rest belongs
// to it.
class Resuming {
public:
    // A file that holds the first bytes of what had that strong entity tag, with its quotes; an
    // empty tag: there is none.
    Resuming(std::filesystem::path beginning, uint64_t size, std::string tag);
    ~Resuming();
    Resuming(const Resuming&) = delete;
    Resuming& operator=(const Resuming&) = delete;

    static Resuming* current();  // null: none

    const std::filesystem::path beginning;
    const uint64_t size;  // of the beginning, in bytes
    const std::string tag;
    // Of what came: what a later GET needs to go on behind it. Empty: none can.
    std::string latestTag;

private:
    Resuming* const outer_;
};

}  // namespace vxhost
