// What a person can do about a server that does not let them in.
#pragma once

#include "cli/config/site.hpp"
#include "cli/parser/access_options.hpp"
#include "client/collection.hpp"
#include "client/error.hpp"

namespace quillon::cli {

// The error, and what helps. site: null for none. lineIsForAnother: what the command line says
// of how to get in is for another server.
Error explainRefusal(const AccessOptions& access, const Site* site, const Login& login, Error error,
                     bool lineIsForAnother = false);

}  // namespace quillon::cli
