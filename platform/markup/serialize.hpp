// Documents as bytes.
#pragma once

#include <string>

#include "host/markup.h"

namespace vxhost {

// UTF-8 with a declaration. Elements of "DAV:" bear the prefix "D", declared at the root; others
// declare the namespace of their name ("{uri}name") as the default one. Throws a Failure for text
// that is no Unicode.
std::string serialize(const vx::Document& document);

std::string escapeXml(std::string_view text);  // for text and for attributes in double quotes

}  // namespace vxhost
