#include "vxext/src/log.hpp"

namespace vx {

void squillonLogRendered(Logger* logger, uint32_t level, const char* line,
                         RenderedMessage* message) {
    constexpr uint64_t code = 27;  // the host's; every record of the extension carries it
    if (message)
        logger->table->Log(logger, level, 0, 0, 0, line, "vxext/src/quillon", code, message, 0);
}

}  // namespace vx
