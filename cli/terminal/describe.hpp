// A member's properties for other programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "client/listing.hpp"
#include "client/member.hpp"

namespace quillon::cli {

using Json = nlohmann::ordered_json;

// "name", "url", "type", "size" (of files), "created" and "modified" (RFC 3339, where known).
Json describe(const Entry& entry);
Json describe(const std::string& name, const std::string& url, const Properties& properties);

// One line; bytes that are no UTF-8 appear as U+FFFD, and on a terminal what could steer it as an
// escape.
std::string jsonText(const Json& value);

}  // namespace quillon::cli
