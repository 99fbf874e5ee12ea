// Memory that ends at an unreadable page, so that one byte too far is a fault at once.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <span>

namespace test {

class GuardedBlock {
public:
    // Filled with a byte that is neither text nor zero.
    explicit GuardedBlock(uint64_t bytes)
        : bytes_(bytes), readable_(roundUp(std::max(bytes, uint64_t{1}))) {
        void* pages = mmap(nullptr, readable_ + pageSize(), PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) throw std::bad_alloc{};
        pages_ = static_cast<uint8_t*>(pages);
        mprotect(pages_ + readable_, pageSize(), PROT_NONE);
        std::fill_n(pages_, readable_, uint8_t{0xDB});
    }
    ~GuardedBlock() {
        if (pages_) munmap(pages_, readable_ + pageSize());
    }
    GuardedBlock(GuardedBlock&& other) noexcept
        : bytes_(other.bytes_), readable_(other.readable_), pages_(other.pages_) {
        other.pages_ = nullptr;
    }
    GuardedBlock& operator=(GuardedBlock&&) = delete;

    void* data() const { return pages_ + readable_ - bytes_; }
    std::span<const uint8_t> bytes() const { return {static_cast<const uint8_t*>(data()), bytes_}; }

private:
    static uint64_t pageSize() { return static_cast<uint64_t>(sysconf(_SC_PAGESIZE)); }
    static uint64_t roundUp(uint64_t bytes) {
        return (bytes + pageSize() - 1) / pageSize() * pageSize();
    }

    uint64_t bytes_;
    uint64_t readable_;
    uint8_t* pages_ = nullptr;
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
