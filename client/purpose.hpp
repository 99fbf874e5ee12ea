// What a collection or a member of it is opened for.
#pragma once

#include <cstdint>

namespace quillon {

// What will be asked of the server goes out together with the first request, so that a distant
// server's round trips are waited for once. A purpose promises nothing: what is not asked for in
// the end is cancelled. A check against changes of others is never asked for early.
enum class Purpose : uint8_t {
    any,      // nothing more is known
    list,     // the collection's members
    change,   // a member, to lock, store or rename it
    look,     // its properties
    inspect,  // its properties, and its locks
    fetch,    // its content
};

}  // namespace quillon
