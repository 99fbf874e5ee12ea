// What names a version of a content.
#pragma once

#include <string>
#include <string_view>

namespace vxhost {

struct EntityTag {     // RFC 9110, 8.8.3
    std::string text;  // without W/ and quotes; empty: none
    bool weak = false;
    std::string sent() const;  // as a condition carries it, with quotes

    bool operator==(const EntityTag&) const = default;  // as they are spelt
};

// Of an ETag field or a getetag property, where some servers leave out the quotes. None for what
// cannot be sent back, and for the tag of a coded answer, which is not the member's own.
EntityTag parseEntityTag(std::string_view value);

}  // namespace vxhost
