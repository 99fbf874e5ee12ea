#include "platform/markup/byte_encoding.hpp"

#include <iconv.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

#include "platform/base/ascii.hpp"

namespace vxhost {
namespace {

// A name from a server could otherwise load any converter of the system, with options behind it.
// ISO-8859-1, US-ASCII and Unicode are expat's own.
constexpr std::string_view allowed[] = {
    "iso-8859-2",   "iso-8859-3",   "iso-8859-4",   "iso-8859-5",   "iso-8859-6",   "iso-8859-7",
    "iso-8859-8",   "iso-8859-9",   "iso-8859-10",  "iso-8859-11",  "iso-8859-13",  "iso-8859-14",
    "iso-8859-15",  "iso-8859-16",  "windows-1250", "windows-1251", "windows-1252", "windows-1253",
    "windows-1254", "windows-1255", "windows-1256", "windows-1257", "windows-1258", "windows-874",
    "tis-620",      "koi8-r",       "koi8-u",       "ibm437",       "ibm850",       "ibm852",
    "ibm866",       "macintosh",
};

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
    if (std::ranges::find(allowed, lowerCase(name)) == std::end(allowed)) return false;
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
