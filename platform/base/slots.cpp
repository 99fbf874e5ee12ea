#include "platform/base/slots.hpp"

#include <cstdio>
#include <cstdlib>

namespace vxhost {

void reportUnnamedOperation(const char* record, size_t offset) noexcept {
    std::fprintf(stderr, "vxhost: record %s has no operation at offset 0x%zX\n", record, offset);
    std::abort();
}

}  // namespace vxhost
