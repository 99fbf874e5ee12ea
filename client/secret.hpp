// A password in memory, in pages of its own: neither dumped nor, where the system permits it,
// swapped out, and zeroed before they are given back.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillon {

class Secret {
public:
    Secret() = default;
    explicit Secret(std::string_view text);
    Secret(const Secret& other) : Secret(other.view()) {}
    Secret(Secret&& other) noexcept { swap(other); }
    Secret& operator=(Secret other) noexcept {
        swap(other);
        return *this;
    }
    ~Secret();

    void append(char byte);
    void dropLast();  // nothing when it is empty
    void swap(Secret& other) noexcept;

    std::string_view view() const { return {data_, size_}; }
    const char* data() const { return data_; }
    size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

private:
    void reserve(size_t bytes);

    char* data_ = nullptr;
    size_t size_ = 0;
    size_t capacity_ = 0;  // in bytes
};

bool isOneLine(std::string_view text);  // no NUL stands in it, and no line break

// Zeroes the text, which the optimiser cannot drop, and empties it.
void wipe(std::string& text);

}  // namespace quillon
