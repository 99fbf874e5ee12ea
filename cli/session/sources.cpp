#include "cli/session/sources.hpp"

#include <fmt/format.h>

#include <utility>

#include "cli/terminal/report.hpp"

namespace quillon::cli {

void tellSource(const CommonOptions& options, std::string_view words) {
    if (options.verbosity > 0) complain(words);
}

Result<Secret> oneLine(Secret secret, std::string_view source) {
    if (isOneLine(secret.view())) return secret;
    return localError(Kind::local,
                      fmt::format("{} holds a NUL or a line break, which cannot be sent.", source));
}

}  // namespace quillon::cli
