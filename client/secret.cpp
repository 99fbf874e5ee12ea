#include "client/secret.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/base/secret.hpp"

namespace quillon {
namespace {

constexpr size_t leastCapacity = 64;  // most passwords, as they are typed

}  // namespace

Secret::Secret(std::string_view text) {
    if (text.empty()) return;
    reserve(text.size());
    size_ = text.copy(data_, text.size());
}

Secret::~Secret() {
    vxhost::freeSecret(data_);
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
    Secret grown;
    grown.capacity_ = std::max({bytes, 2 * capacity_, leastCapacity});
    grown.data_ = static_cast<char*>(vxhost::allocateSecret(grown.capacity_));
    if (size_ > 0) std::memcpy(grown.data_, data_, size_);
    grown.size_ = size_;
    swap(grown);
}

bool isOneLine(std::string_view text) {
    return text.find_first_of(std::string_view("\0\r\n", 3)) == text.npos;
}

void wipe(std::string& text) {
    explicit_bzero(text.data(), text.capacity());
    text.clear();
}

}  // namespace quillon
