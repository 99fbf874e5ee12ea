#include "platform/base/transcoder.hpp"

#include <utf8.h>

#include <cstring>
#include <iterator>

#include "platform/base/slots.hpp"
#include "platform/base/status.hpp"

namespace vxhost {
namespace {

constexpr char32_t replacement = 0xFFFD;

[[noreturn]] void refuse() {
    throw Failure(TRANSCODE_INVALID, "a text is not well formed Unicode");
}

// The characters of a well-formed text one by one, to a sink that answers false when it is full.
template <class Sink>
vx::Status decode(std::string_view text, Sink&& sink) {
    try {
        for (const char *at = text.data(), *end = at + text.size(); at != end;) {
            if (!sink(utf8::next(at, end))) return vx::VX_BUFFER_TOO_SMALL;
        }
        return vx::VX_SUCCESS;
    } catch (const utf8::exception&) {
        return TRANSCODE_INVALID;
    }
}

bool isCharacter(char32_t unit) {
    return unit < 0xD800 || (unit > 0xDFFF && unit <= 0x10FFFF);
}

// The destination of a Transcode call: whole characters or nothing.
class Destination {
public:
    Destination(void* bytes, uint64_t capacity)
        : bytes_(static_cast<char*>(bytes)), capacity_(capacity) {}

    bool put(const void* character, uint64_t length) {
        if (length > capacity_ - used_) return false;
        std::memcpy(bytes_ + used_, character, length);
        used_ += length;
        return true;
    }
    uint64_t used() const { return used_; }

private:
    char* bytes_;
    uint64_t capacity_;
    uint64_t used_ = 0;
};

vx::Status transcodeUtf8(const void* source, uint64_t length, Destination& destination) {
    return decode({static_cast<const char*>(source), length},
                  [&](char32_t unit) { return destination.put(&unit, sizeof unit); });
}

vx::Status transcodeUtf32(const void* source, uint64_t length, Destination& destination) {
    if (length % sizeof(char32_t) != 0) return TRANSCODE_INVALID;
    const auto* bytes = static_cast<const char*>(source);
    for (uint64_t at = 0; at != length; at += sizeof(char32_t)) {
        char32_t unit;
        std::memcpy(&unit, bytes + at, sizeof unit);
        if (!isCharacter(unit)) return TRANSCODE_INVALID;
        char character[4];
        const char* end = utf8::unchecked::append(unit, character);
        if (!destination.put(character, static_cast<uint64_t>(end - character))) {
            return vx::VX_BUFFER_TOO_SMALL;
        }
    }
    return vx::VX_SUCCESS;
}

template <vx::Status (*convert)(const void*, uint64_t, Destination&)>
struct Converter : vx::Transcoder {
    Converter() noexcept {
        fillSlots<vx::Transcoder>(*this);
        Transcode = [](vx::Transcoder*, const void* source, uint64_t sourceBytes, void* destination,
                       uint64_t capacity, uint64_t* produced, vx::Word) noexcept {
            Destination room(destination, capacity);
            const bool given = source != nullptr || sourceBytes == 0;
            const vx::Status status =
                given ? convert(source, sourceBytes, room) : TRANSCODE_INVALID;
            *produced = status == vx::VX_SUCCESS ? room.used() : 0;
            return status;
        };
    }
};

}  // namespace

vx::Transcoder& utf8ToUtf32() noexcept {
    static Converter<transcodeUtf8> converter;
    return converter;
}

vx::Transcoder& utf32ToUtf8() noexcept {
    static Converter<transcodeUtf32> converter;
    return converter;
}

std::u32string toUtf32(std::string_view text) {
    std::u32string result;
    result.reserve(text.size());
    const auto append = [&](char32_t unit) { return result.push_back(unit), true; };
    if (decode(text, append) != vx::VX_SUCCESS) refuse();
    return result;
}

std::string toUtf8(std::u32string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char32_t unit : text) {
        if (!isCharacter(unit)) refuse();
        utf8::unchecked::append(unit, std::back_inserter(result));
    }
    return result;
}

std::u32string shownUtf32(std::string_view text) {
    std::string whole;
    whole.reserve(text.size());
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(whole), replacement);
    return toUtf32(whole);
}

std::string shownUtf8(std::u32string_view text) {
    std::string result;
    result.reserve(text.size());
    for (const char32_t unit : text) {
        utf8::unchecked::append(isCharacter(unit) ? unit : replacement, std::back_inserter(result));
    }
    return result;
}

}  // namespace vxhost
