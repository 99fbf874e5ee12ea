// What a login leaves: the site, with what opens its server.
#pragma once

#include <optional>

#include "cli/session/session.hpp"

namespace quillon::cli {

// What the command line gives becomes the site's own, but no secret in clear does; the password is
// sealed, or goes into the keyring where the site has its words.
// options: those that the server took; before: what the file says so far.
Result<void> storeLogin(Session& session, Site site, const std::optional<Site>& before,
                        const CommonOptions& given, const CommonOptions& options,
                        const Login& login);

}  // namespace quillon::cli
