#include "platform/base/secret.hpp"

#include <sodium.h>

#include <new>

namespace vxhost {

void* allocateSecret(size_t bytes) {
    if (sodium_init() < 0) throw std::bad_alloc();
    void* memory = sodium_malloc(bytes);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void freeSecret(void* memory) noexcept {
    sodium_free(memory);
}

}  // namespace vxhost
