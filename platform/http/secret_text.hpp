// A user name, a password or a URL that holds one. libcurl keeps copies of its own until its handle
// is closed; those cannot be helped.
#pragma once

#include <optional>
#include <string_view>

#include "platform/base/secret.hpp"

namespace vxhost {

class SecretText {
public:
    SecretText() = default;
    explicit SecretText(std::u32string_view text);  // kept as UTF-8; throws when it has none
    explicit SecretText(std::string_view utf8);     // no NUL in it

    bool empty() const { return !bytes_; }
    // NUL-terminated; null when empty, which is how libcurl is told that there is none.
    const char* get() const {
        return bytes_ ? reinterpret_cast<const char*>(bytes_->data()) : nullptr;
    }
    bool operator==(const SecretText& other) const;

private:
    std::optional<Secret> bytes_;
};

}  // namespace vxhost
