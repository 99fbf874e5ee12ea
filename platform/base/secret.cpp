#include "platform/base/secret.hpp"

#include <sodium.h>

#include <new>

namespace vxhost {

Secret::Secret(size_t bytes) : size_(bytes) {
    if (sodium_init() < 0) throw std::bad_alloc();
    data_ = static_cast<unsigned char*>(sodium_malloc(bytes));
    if (data_ == nullptr) throw std::bad_alloc();
}

Secret::~Secret() {
    sodium_free(data_);
}

}  // namespace vxhost
