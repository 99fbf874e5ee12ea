// What opens the way to a server, made of the options that name it: files are read, commands run,
// a passphrase asked for.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "cli/parser/options.hpp"
#include "client/result.hpp"

namespace vxhost {
class ClientCertificate;
struct WayIn;
}  // namespace vxhost

namespace quillon::cli {

// Certificates whose passphrase was asked for, by the names of their files.
using Certificates = std::map<std::string, std::shared_ptr<const vxhost::ClientCertificate>>;

// Null where the options name nothing but a user. The sentences of a failure name the option or the
// key of the site.
Result<std::shared_ptr<const vxhost::WayIn>> findWayIn(const CommonOptions& options,
                                                       Certificates& known);

}  // namespace quillon::cli
