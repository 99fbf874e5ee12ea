// The keyring of the desktop, through the secret-tool of libsecret.
#pragma once

#include <string>
#include <vector>

#include "client/result.hpp"
#include "client/secret.hpp"

namespace quillon::cli {

// The words that print the password of a site.
std::vector<std::string> keyringLookup(const std::string& site);

// Fails where no keyring runs.
Result<void> storeInKeyring(const std::string& site, const Secret& password);
void forgetInKeyring(const std::string& site);

}  // namespace quillon::cli
