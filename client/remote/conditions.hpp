// What has to hold where a change is made, or nothing is changed (RFC 9110, 13; RFC 4918, 10.4).
#pragma once

#include <string>
#include <vector>

#include "platform/http/headers.hpp"

namespace quillon {

// Of a resource besides the one that is changed, which the change takes with it.
struct OtherLock {
    std::string url;
    std::string token;
};

struct Conditions {
    bool onlyNew = false;     // nothing is there
    vxhost::EntityTag tag{};  // of what is there; empty: it may be anything
    bool tagInIf = false;     // by the If header, which takes weak ones too; else by If-Match
    std::string lockToken{};  // of a lock that is held there; empty: none
    // In the collection that is deleted or moved, or where a COPY or MOVE goes.
    std::vector<OtherLock> otherLocks{};
};

// As a default argument, which is no temporary (task.hpp).
inline const Conditions unconditional{};

// The tag with its quotes and, of a weak one, its "W/"; empty for none.
std::string speltTag(const vxhost::EntityTag& tag);

// The header lines that ask for them. resource: which one they are of, where the request is about
// more than that one, as a DELETE is, which changes the collection above, too (RFC 4918, 10.4.3);
// empty: the request's, and there are no other locks, which a list without URLs cannot tell.
std::vector<std::string> headerLines(const Conditions& conditions,
                                     const std::string& resource = {});

// Whether the lines of a request about the resource are as short as servers take them.
bool fitIntoHeader(const Conditions& conditions, const std::string& resource);

}  // namespace quillon
