#include "platform/markup/byte_encoding.hpp"

#include <iconv.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <optional>

namespace vxhost {
namespace {

class Converter {
public:
    explicit Converter(const char* name)
        : handle_(iconv_open(std::endian::native == std::endian::little ? "UTF-32LE" : "UTF-32BE",
                             name)) {}
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;
    ~Converter() {
        if (good()) iconv_close(handle_);
    }

    bool good() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    // The byte's character, -1 where the encoding has none, nothing when the byte is a part of one.
    std::optional<int> character(unsigned byte) {
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        char in = static_cast<char>(byte);
        char32_t out = 0;
        char *from = &in, *to = reinterpret_cast<char*>(&out);
        size_t inLeft = 1, outLeft = sizeof out;
        if (iconv(handle_, &from, &inLeft, &to, &outLeft) == static_cast<size_t>(-1)) {
            return errno == EILSEQ ? std::optional(-1) : std::nullopt;
        }
        return outLeft == 0 ? std::optional(static_cast<int>(out)) : std::nullopt;
    }

private:
    iconv_t handle_;
};

}  // namespace

bool fillByteEncoding(const char* name, XML_Encoding& encoding) noexcept {
    Converter converter(name);
    if (!converter.good()) return false;
    for (unsigned byte = 0; byte < 256; ++byte) {
        const auto character = converter.character(byte);
        if (!character) return false;
        encoding.map[byte] = *character;
    }
    encoding.data = nullptr;
    encoding.convert = nullptr;
    encoding.release = nullptr;
    return true;
}

}  // namespace vxhost
