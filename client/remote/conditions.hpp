// What has to hold where a change is made, or nothing is changed (RFC 9110, 13; RFC 4918, 10.4).
#pragma once

#include <string>
#include <vector>

#include "platform/http/headers.hpp"

namespace quillon {

struct Conditions {
    bool onlyNew = false;     // nothing is there
    vxhost::EntityTag tag{};  // of what is there; empty: it may be anything
    bool tagInIf = false;     // by the If header, which takes weak ones too; else by If-Match
    std::string lockToken{};  // of a lock that is held there; empty: none
    std::string lockThere{};  // the same, where a COPY or MOVE goes
};

// As a default argument, which is no temporary (task.hpp).
inline const Conditions unconditional{};

// The tag with its quotes and, of a weak one, its "W/"; empty for none.
std::string speltTag(const vxhost::EntityTag& tag);

// The header lines that ask for them. resource: which one they are of, where the request is about
// more than that one, as a DELETE is, which changes the collection above, too (RFC 4918, 10.4.3);
// empty: the request's.
std::vector<std::string> headerLines(const Conditions& conditions,
                                     const std::string& resource = {});

}  // namespace quillon
