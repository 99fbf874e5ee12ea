// Memory that ends at an unreadable page, so that one byte too far is a fault at once.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace test {

// Filled with a byte that is neither text nor zero. Copies share the memory.
class GuardedBlock {
public:
    explicit GuardedBlock(uint64_t bytes) : bytes_(bytes) {
        const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
        const uint64_t readable = (bytes / page + 1) * page;
        const uint64_t mapped = readable + page;
        void* pages =
            mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) throw std::bad_alloc{};
        memory_ = {pages, [=](void* all) { munmap(all, mapped); }};
        auto* const end = static_cast<uint8_t*>(pages) + readable;
        mprotect(end, page, PROT_NONE);
        std::fill(static_cast<uint8_t*>(pages), end, uint8_t{0xDB});
        data_ = end - bytes;
    }
    void* data() const { return data_; }
    std::span<uint8_t> bytes() const { return {data_, bytes_}; }

private:
    uint64_t bytes_;
    uint8_t* data_;
    std::shared_ptr<void> memory_;
};

// A copy of a text or of bytes whose last unit is the last readable one.
template <class Unit>
class Guarded {
public:
    explicit Guarded(std::span<const Unit> units) : block_(units.size_bytes()) {
        std::copy(units.begin(), units.end(), data());
    }
    Unit* data() const { return static_cast<Unit*>(block_.data()); }

private:
    GuardedBlock block_;
};

}  // namespace test
