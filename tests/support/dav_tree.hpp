// Good answers for a small collection, so that a test scripts only what goes wrong. Nothing is
// stored: a PUT is answered well and forgotten.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/scripted_server.hpp"

namespace support {

struct DavMember {
    std::string name{};         // as in its href, percent-encoded; a final slash: a collection
    std::string content{};      // of a member
    std::string displayName{};  // as XML text; empty: none is told
    std::string lastModified = "Mon, 06 Jan 2025 10:20:30 GMT";
    std::string created = "2024-12-24T18:00:00Z";
};

constexpr auto davLockToken = "opaquelocktoken:9f2c7d10-6a1b-4c3d-8e5f-0a1b2c3d4e5f";

// A "response" element of a multistatus, and the document around such elements.
std::string davResponse(std::string_view href, const DavMember& member);
std::string davMultistatus(std::string_view responses);

// Rules for a collection ("/c/") and its members: OPTIONS, HEAD, GET, PROPFIND of both depths, and
// for the members and new ones PUT, LOCK (granting davLockToken), UNLOCK, DELETE, MOVE, MKCOL.
void serveTree(ScriptedServer& server, const std::string& collection,
               const std::vector<DavMember>& members);

}  // namespace support
