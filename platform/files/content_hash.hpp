// A content by its BLAKE2b-256.
#pragma once

#include <sodium.h>

#include <string>
#include <string_view>

namespace vxhost {

class ContentHash {
public:
    ContentHash();
    void reset();
    void add(std::string_view piece);
    std::string hex() const;  // of what was added so far, 64 digits

private:
    crypto_generichash_state state_;
};

}  // namespace vxhost
