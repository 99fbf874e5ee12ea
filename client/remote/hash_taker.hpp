// Takes the hash of a content that a server has.
#pragma once

#include <string>
#include <string_view>

#include "client/remote/content.hpp"
#include "platform/files/content_hash.hpp"

namespace quillon {

class HashTaker : public ContentTaker {
public:
    void begin() override { hash_.reset(); }
    void take(std::string_view piece) override { hash_.add(piece); }
    std::string hash() const { return hash_.hex(); }

private:
    vxhost::ContentHash hash_;
};

}  // namespace quillon
