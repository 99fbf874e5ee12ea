#include "cli/session/sources.hpp"

#include "cli/terminal/report.hpp"

namespace quillon::cli {

void tellSource(const CommonOptions& options, std::string_view words) {
    if (options.verbosity > 0) complain(words);
}

}  // namespace quillon::cli
