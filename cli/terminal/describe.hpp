// A member's properties for other programs.
#pragma once

#include <string>

#include "cli/terminal/json.hpp"
#include "client/listing.hpp"
#include "client/member.hpp"

namespace quillon::cli {

// "name", "url", "type", "size" (of files), "created" and "modified" (RFC 3339, where known).
JsonObject describe(const Entry& entry);
JsonObject describe(const std::string& name, const std::string& url, const Properties& properties);

}  // namespace quillon::cli
