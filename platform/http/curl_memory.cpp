#include "platform/http/curl_memory.hpp"

#include <curl/curl.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "platform/http/curl_options.hpp"

namespace vxhost {
namespace {

constexpr size_t largeBytes = size_t{64} << 10;

// Buffers are larger than what most transfers put into them: pages that nobody wrote to would be
// touched only to be zeroed. The kernel takes whole ones back, and hands them out zeroed.
void zero(char* begin, size_t bytes) noexcept {
    if (bytes >= largeBytes) {
        static const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        const size_t before = -reinterpret_cast<uintptr_t>(begin) % page;
        const size_t whole = (bytes - before) / page * page;
        if (madvise(begin + before, whole, MADV_DONTNEED) == 0) {
            explicit_bzero(begin, before);
            explicit_bzero(begin + before + whole, bytes - before - whole);
            return;
        }
    }
    explicit_bzero(begin, bytes);
}

void freeZeroed(void* memory) noexcept {
    if (memory != nullptr) zero(static_cast<char*>(memory), malloc_usable_size(memory));
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
