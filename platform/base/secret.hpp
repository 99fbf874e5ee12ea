// Memory for passwords and keys: locked where the system permits it, kept out of core dumps,
// between guard pages, and zeroed before it is freed.
#pragma once

#include <cstddef>
#include <utility>

namespace vxhost {

void* allocateSecret(size_t bytes);      // uninitialised; throws std::bad_alloc
void freeSecret(void* memory) noexcept;  // null is accepted

class Secret {
public:
    explicit Secret(size_t bytes)  // as above
        : data_(static_cast<unsigned char*>(allocateSecret(bytes))), size_(bytes) {}
    Secret(Secret&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    Secret& operator=(Secret&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Secret() { freeSecret(data_); }

    unsigned char* data() { return data_; }
    const unsigned char* data() const { return data_; }
    char* text() { return reinterpret_cast<char*>(data_); }
    size_t size() const { return size_; }
    void shorten(size_t bytes) { size_ = bytes; }  // not above size(); all of it is still zeroed

private:
    unsigned char* data_;
    size_t size_;
};

}  // namespace vxhost
