// The requests of a client. Safe ones are made of a URL alone, since they may be expected before
// the operation that sends them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/http/request.hpp"
#include "platform/http/target.hpp"

namespace vxhost {

Request headRequest(std::string url);
Request optionsRequest(std::string url);
Request contentRequest(std::string url);  // for a member's content, as it is stored
Request propertiesRequest(std::string url, uint32_t depth, std::string document);
Request propertyRequest(std::string url, std::string_view property);  // a live one, by its name

// That changes the target. Throws as usableUrl() does.
Request changeRequest(const Target& target, const char* method, const Policy& policy = changing);

}  // namespace vxhost
