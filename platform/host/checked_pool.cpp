#include "platform/host/checked_pool.hpp"

#include <fmt/format.h>

#include <cstdlib>
#include <utility>

#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"
#include "platform/host/pool.hpp"

namespace vxhost {
CheckedPool::CheckedPool(std::string name, std::function<void(std::string_view)> told)
    : name_(std::move(name)), told_(std::move(told)) {
    fillSlots<vx::Pool>(*this);
    Alloc = [](vx::Pool* self, uint64_t bytes, uint32_t flags) noexcept -> void* {
        void* block = nullptr;
        guarded(vx::VX_NO_MEMORY, [&] {
            block = static_cast<CheckedPool*>(self)->take(bytes, (flags & vx::POOL_ZEROED) != 0);
            return vx::VX_SUCCESS;
        });
        return block;
    };
    Free = [](vx::Pool* self, void* block) noexcept {
        guarded(vx::VX_NO_MEMORY, [&] {
            static_cast<CheckedPool*>(self)->giveBack(block);
            return vx::VX_SUCCESS;
        });
    };
    DestroyPool = [](vx::Pool* self) noexcept { delete static_cast<CheckedPool*>(self); };
}

CheckedPool::~CheckedPool() {
    for (const auto& [block, bytes] : out_) {
        guarded(vx::VX_NO_MEMORY, [&, address = block, size = bytes] {
            if (address == expected_) return vx::VX_SUCCESS;
            tell(fmt::format("a block of {} bytes was never freed", size));
            return vx::VX_SUCCESS;
        });
        std::free(block);
    }
}

void* CheckedPool::take(uint64_t bytes, bool zeroed) {
    if (bytes > maxBlockBytes) return nullptr;
    const size_t asked = bytes != 0 ? bytes : 1;  // an address of its own
    void* block = zeroed ? std::calloc(1, asked) : std::malloc(asked);
    if (block == nullptr) return nullptr;
    const std::lock_guard lock(mutex_);
    freed_.erase(block);
    out_[block] = bytes;
    return block;
}

void CheckedPool::giveBack(void* block) {
    const std::lock_guard lock(mutex_);
    if (const auto found = out_.find(block); found != out_.end()) {
        freed_.insert(out_.extract(found));
        std::free(block);
    } else if (const auto gone = freed_.find(block); gone != freed_.end()) {
        tell(fmt::format("a block of {} bytes was freed twice", gone->second));
    } else {
        tell(fmt::format("a block at {} was freed that is not of this pool", block));
    }
}

}  // namespace vxhost
