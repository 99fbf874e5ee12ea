#include "platform/base/render.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <iterator>

#include "platform/base/transcoder.hpp"

namespace vxhost {

std::string renderTemplate(std::u32string_view text, va_list arguments) {
    std::string line;
    const auto out = std::back_inserter(line);
    for (size_t from = 0; from < text.size();) {
        const size_t mark = text.find(U'%', from);
        line += shownUtf8(text.substr(from, mark - from));
        if (mark == std::u32string_view::npos) break;
        from = mark + 2;
        switch (mark + 1 < text.size() ? text[mark + 1] : U'\0') {
            case U'X':  // a status code, handed over sign-extended
                fmt::format_to(out, "{:08X}", static_cast<uint32_t>(va_arg(arguments, int64_t)));
                break;
            case U'd':
                fmt::format_to(out, "{}", va_arg(arguments, int64_t));
                break;
            case U'P':
                fmt::format_to(out, "{:#x}", reinterpret_cast<uintptr_t>(va_arg(arguments, void*)));
                break;
            case U's': {
                const auto* wide = va_arg(arguments, const char32_t*);
                line += wide != nullptr ? shownUtf8(wide) : "(null)";
                break;
            }
            case U'%':
                line += '%';
                break;
            default:
                line += '%';
                from = mark + 1;
        }
    }
    return line;
}

}  // namespace vxhost
