#include "client/tree/local_names.hpp"

#include <utf8proc.h>

#include <climits>
#include <cstdlib>
#include <memory>

#include "platform/files/random_name.hpp"

namespace quillon {
namespace {

const utf8proc_uint8_t* bytesOf(std::string_view text) {
    return reinterpret_cast<const utf8proc_uint8_t*>(text.data());
}

// What a folding file system leaves out of the comparison goes, too: zero-width joiners and such.
std::string mapped(std::string_view name, int options) {
    utf8proc_uint8_t* text = nullptr;
    const utf8proc_ssize_t size =
        utf8proc_map(bytesOf(name), static_cast<utf8proc_ssize_t>(name.size()), &text,
                     static_cast<utf8proc_option_t>(options | UTF8PROC_STABLE | UTF8PROC_IGNORE));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owned(text, &std::free);
    if (size < 0) return std::string(name);  // no UTF-8: nothing folds it
    return {reinterpret_cast<const char*>(text), static_cast<size_t>(size)};
}

}  // namespace

std::string whyNotLocal(std::string_view name) {
    if (name.empty()) return "It has no name.";
    if (name == "." || name == "..") return "Its name leads to another folder.";
    if (name.find('/') != name.npos) return "Its name has a \"/\" inside.";
    if (name.find('\0') != name.npos) return "Its name has a NUL inside.";
    if (name.size() > NAME_MAX) return "Its name is longer than 255 bytes.";
    if (name.starts_with(vxhost::hiddenPrefix)) {
        return "Its name is one that unfinished files have here.";
    }
    return {};
}

bool isUtf8(std::string_view text) {
    while (!text.empty()) {
        utf8proc_int32_t character = 0;
        const auto length =
            utf8proc_iterate(bytesOf(text), static_cast<utf8proc_ssize_t>(text.size()), &character);
        if (length <= 0) return false;
        text.remove_prefix(static_cast<size_t>(length));
    }
    return true;
}

std::string foldedName(std::string_view name, Folding folding) {
    int options = 0;
    if (folding.letterCase) options |= UTF8PROC_CASEFOLD;
    if (folding.form) options |= UTF8PROC_COMPOSE;
    return options == 0 ? std::string(name) : mapped(name, options);
}

}  // namespace quillon
