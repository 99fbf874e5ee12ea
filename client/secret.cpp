#include "client/secret.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <utility>

namespace quillon {

Secret::Secret(std::string_view text) {
    if (text.empty()) return;
    reserve(text.size());
    size_ = text.copy(data_, text.size());
}

Secret::~Secret() {
    if (data_ == nullptr) return;
    explicit_bzero(data_, capacity_);
    munmap(data_, capacity_);
}

void Secret::append(char byte) {
    reserve(size_ + 1);
    data_[size_++] = byte;
}

void Secret::dropLast() {
    if (size_ > 0) data_[--size_] = 0;
}

void Secret::swap(Secret& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
}

void Secret::reserve(size_t bytes) {
    if (bytes <= capacity_) return;
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    Secret grown;
    const size_t capacity = (bytes + page - 1) / page * page;
    void* memory =
        mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    grown.data_ = static_cast<char*>(memory);
    grown.capacity_ = capacity;
    // Best effort: a person's limit on locked memory may be 0.
    mlock(memory, capacity);
    madvise(memory, capacity, MADV_DONTDUMP);
    if (size_ > 0) std::memcpy(grown.data_, data_, size_);
    grown.size_ = size_;
    swap(grown);
}

void wipe(std::string& text) {
    explicit_bzero(text.data(), text.capacity());
    text.clear();
}

}  // namespace quillon
