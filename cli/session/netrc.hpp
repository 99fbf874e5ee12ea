// The netrc file: user names and passwords by host.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// What a person may have forgotten, where it is refused.
inline constexpr std::string_view passwordIsOfNetrc = "The password is that of the netrc file.";

struct NetrcEntry {
    std::string login;  // empty: the file gives none
    Secret password;
    size_t line = 0;  // of what was read last of these, from 1
};

// The first entry for the host, and for the login unless one of both is empty; else the "default"
// entry.
std::optional<NetrcEntry> findInNetrc(std::string_view text, std::string_view host,
                                      std::string_view login);

// The same from $NETRC or ~/.netrc; a file that is missing or cannot be read has no entries. Fails
// with Kind::local for an entry that cannot be sent, and for a file that is larger than 1 MiB. That
// others can read the file is told once.
Result<std::optional<NetrcEntry>> findInNetrcFile(std::string_view host, std::string_view login);

}  // namespace quillon::cli
