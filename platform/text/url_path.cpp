#include "platform/text/url_path.hpp"

#include "platform/text/url.hpp"

namespace vxhost {
namespace {

constexpr int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

constexpr int ESCAPED_SLASH = 256 + '/';  // a character of a name, not a separator
constexpr int END = -1;

// Hands out a path byte by byte, escapes as what they stand for.
class PathReader {
public:
    explicit PathReader(std::string_view path) : path_(path) {
        if (path_.starts_with('/')) path_.remove_prefix(1);
        if (path_.ends_with('/')) path_.remove_suffix(1);
    }

    int next() {
        if (at_ >= path_.size()) return END;
        if (!isEscape(path_, at_)) return static_cast<unsigned char>(path_[at_++]);
        const char byte = escapedByte(path_, at_);
        at_ += 3;
        return byte == '/' ? ESCAPED_SLASH : static_cast<unsigned char>(byte);
    }

private:
    std::string_view path_;
    size_t at_ = 0;
};

}  // namespace

bool isEscape(std::string_view text, size_t at) {
    return text[at] == '%' && text.size() - at > 2 && hexValue(text[at + 1]) >= 0 &&
           hexValue(text[at + 2]) >= 0;
}

char escapedByte(std::string_view text, size_t at) {
    return static_cast<char>(hexValue(text[at + 1]) * 16 + hexValue(text[at + 2]));
}

bool samePath(std::string_view a, std::string_view b) {
    PathReader left(a), right(b);
    for (;;) {
        const int unit = left.next();
        if (unit != right.next()) return false;
        if (unit == END) return true;
    }
}

std::string pathKey(std::string_view path) {
    while (path.starts_with('/')) path.remove_prefix(1);
    while (path.ends_with('/')) path.remove_suffix(1);
    return alikeSpelt(path);
}

bool isBelow(std::string_view collection, std::string_view key) {
    if (collection.empty()) return !key.empty();
    return key.starts_with(collection) && key.substr(collection.size()).starts_with('/');
}

}  // namespace vxhost
