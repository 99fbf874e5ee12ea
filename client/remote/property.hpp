// Properties of a resource, whatever their names (RFC 4918, 4, 9.1 and 9.2).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/remote/conditions.hpp"
#include "client/remote/remote.hpp"
#include "client/time.hpp"

namespace quillon {

struct PropertyName {
    std::string nameSpace, local;
    bool operator==(const PropertyName&) const = default;
};

// "{namespace}name", or "D:name" of "DAV:". Fails with Kind::usage for what is no name in XML.
Result<PropertyName> parsePropertyName(std::string_view typed);
// "{namespace}name"; of "DAV:" "D:name".
std::string shownName(const PropertyName& name);

struct Property {
    PropertyName name;
    bool isXml = false;  // the value holds elements
    std::string value;   // text; or XML, each of whose elements declares its own namespace
    int status = 200;    // of this one
};

enum class AskedFor : uint8_t {
    names,  // of all; no values
    all,    // what the server gives to who names none
    these
};

// Of the resource itself, in the server's order; what is not there has another status than 2xx.
Task<Result<std::vector<Property>>> readProperties(Remote& remote, std::string url, AskedFor what,
                                                   std::vector<PropertyName> names);

struct PropertyChange {
    PropertyName name;
    std::optional<std::string> value;  // nothing: it is removed
    bool isXml = false;                // the value holds elements; else it is text
};

// All of them or none. A refusal's error says which one was refused, and the server's reason.
Task<Result<void>> changeProperties(Remote& remote, std::string url,
                                    std::vector<PropertyChange> changes, Conditions conditions);

// Whether the value can be sent: text that XML can carry, or elements, all of which end. Fails with
// Kind::usage, and says in which line what is wrong.
Result<void> checkValue(const PropertyChange& change);

// The date of its file, as some servers take it: by a property of Windows.
Task<Result<void>> setFileDate(Remote& remote, std::string url, Time modified,
                               Conditions conditions = unconditional);

}  // namespace quillon
