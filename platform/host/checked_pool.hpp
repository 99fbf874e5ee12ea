// A pool that watches its caller: each leaked block at its destruction, each block that is freed
// twice or was never its own, is told by size and left alone. Every block is the system's own, so
// that memory checkers see its ends.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

#include "host/pool.h"

namespace vxhost {

// Made with new; its DestroyPool deletes it. Usable from several threads.
class CheckedPool : public vx::Pool {
public:
    // told: one report a call, with the pool's name in front.
    CheckedPool(std::string name, std::function<void(std::string_view)> told);
    ~CheckedPool();

    // The block is no leak when it is out at the end: the pool's destruction is how it is freed.
    void expectAtEnd(const void* block) { expected_ = block; }

private:
    void* take(uint64_t bytes, bool zeroed);
    void giveBack(void* block);
    void tell(const std::string& report) { told_(name_ + ": " + report); }

    const std::string name_;
    const std::function<void(std::string_view)> told_;
    const void* expected_ = nullptr;
    std::mutex mutex_;
    std::map<void*, uint64_t> out_;    // sizes of live blocks
    std::map<void*, uint64_t> freed_;  // and of those freed, until their address comes again
};

}  // namespace vxhost
