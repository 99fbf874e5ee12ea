// What opens the way to a server, made of the options that name it: files are read, commands run,
// a passphrase asked for.
#pragma once

#include <memory>

#include "cli/parser/options.hpp"
#include "client/result.hpp"

namespace vxhost {
struct WayIn;
}

namespace quillon::cli {

// Null where the options name nothing but a user. The sentences of a failure name the option or the
// key of the site.
Result<std::shared_ptr<const vxhost::WayIn>> findWayIn(const CommonOptions& options);

}  // namespace quillon::cli
