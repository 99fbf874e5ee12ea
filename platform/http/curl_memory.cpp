#include "platform/http/curl_memory.hpp"

#include <curl/curl.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "platform/http/curl_options.hpp"

namespace vxhost {
namespace {

void freeZeroed(void* memory) noexcept {
    if (memory != nullptr) explicit_bzero(memory, malloc_usable_size(memory));
    std::free(memory);
}

// The system's own would leave what it moves.
void* reallocate(void* memory, size_t bytes) noexcept {
    const size_t held = memory == nullptr ? 0 : malloc_usable_size(memory);
    if (memory != nullptr && bytes <= held && bytes >= held / 2) return memory;
    void* moved = std::malloc(bytes);
    if (moved == nullptr) return nullptr;
    if (memory != nullptr) std::memcpy(moved, memory, std::min(held, bytes));
    freeZeroed(memory);
    return moved;
}

}  // namespace

void startCurl() {
    static std::once_flag once;  // curl_global_init_mem is not safe on every platform
    std::call_once(once, [] {
        const auto code = curl_global_init_mem(CURL_GLOBAL_DEFAULT, std::malloc, freeZeroed,
                                               reallocate, strdup, std::calloc);
        if (code != CURLE_OK) refuseOption(code);
    });
}

}  // namespace vxhost
