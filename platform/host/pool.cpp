#include "platform/host/pool.hpp"

#include <cstddef>
#include <cstring>
#include <memory_resource>
#include <mutex>

#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"

namespace vxhost {
namespace {

// In front of each block; as wide as the strictest alignment, which the block keeps.
struct alignas(std::max_align_t) Header {
    size_t bytes;  // of header and block
};

// The resource (libstdc++ 12) keeps the alignment of sizes alone that are a multiple of it.
constexpr size_t roundUp(size_t bytes) {
    return (bytes + sizeof(Header) - 1) / sizeof(Header) * sizeof(Header);
}

struct ArenaPool : vx::Pool {
    ArenaPool();

    void* take(uint64_t bytes) {
        if (bytes > maxBlockBytes) return nullptr;
        const size_t whole = roundUp(bytes) + sizeof(Header);
        const std::lock_guard lock(mutex_);
        return new (blocks_.allocate(whole)) Header{whole} + 1;
    }
    void giveBack(void* block) {
        Header* header = static_cast<Header*>(block) - 1;
        const std::lock_guard lock(mutex_);
        blocks_.deallocate(header, header->bytes);
    }

private:
    std::mutex mutex_;
    std::pmr::unsynchronized_pool_resource blocks_;
};

ArenaPool::ArenaPool() {
    fillSlots<vx::Pool>(*this);
    Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) noexcept -> void* {
        void* block = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            block = static_cast<ArenaPool*>(self)->take(bytes);
            return vx::VX_SUCCESS;
        });
        if (block != nullptr && (flags & vx::POOL_ZEROED) != 0) std::memset(block, 0, bytes);
        return block;
    };
    Free = [](vx::Pool* self, void* block) noexcept {
        static_cast<ArenaPool*>(self)->giveBack(block);
    };
    DestroyPool = [](vx::Pool* self) noexcept { delete static_cast<ArenaPool*>(self); };
}

}  // namespace

vx::Pool* createPool() {
    return new ArenaPool;
}

}  // namespace vxhost
