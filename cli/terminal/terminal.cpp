#include "cli/terminal/terminal.hpp"

#include <fmt/format.h>
#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <wctype.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "cli/terminal/print.hpp"

namespace quillon::cli {
namespace {

struct Character {
    wchar_t value;
    size_t bytes;
    bool valid;
};

Character firstCharacter(std::string_view text) {
    std::mbstate_t state{};
    wchar_t value = 0;
    const size_t bytes = std::mbrtowc(&value, text.data(), text.size(), &state);
    const bool failed = bytes == static_cast<size_t>(-1) || bytes == static_cast<size_t>(-2);
    return failed ? Character{0, 1, false} : Character{value, std::max<size_t>(bytes, 1), true};
}

// How many characters at the beginning are printable ASCII: nearly all of most texts.
size_t plainPrefix(std::string_view text) {
    const auto end =
        std::find_if_not(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
    return static_cast<size_t>(end - text.begin());
}

bool turnsDirection(wchar_t c) {
    return c == 0x061C || (c >= 0x200E && c <= 0x200F) || (c >= 0x2028 && c <= 0x202E) ||
           (c >= 0x2066 && c <= 0x2069);
}

bool showable(const Character& character) {
    return character.valid && !iswcntrl(static_cast<wint_t>(character.value)) &&
           !turnsDirection(character.value) && wcwidth(character.value) >= 0;
}

// The text, but what cannot be shown is left to escape.
template <class Escape>
std::string withEscapes(std::string_view text, Escape&& escape) {
    std::string safe;
    safe.reserve(text.size());
    for (;;) {
        const size_t plain = plainPrefix(text);
        safe += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) return safe;
        const Character character = firstCharacter(text);
        const std::string_view bytes = text.substr(0, character.bytes);
        if (showable(character)) {
            safe += bytes;
        } else {
            escape(safe, character, bytes);
        }
        text.remove_prefix(character.bytes);
    }
}

bool onTerminal() {
    static const bool output = isTerminal(stdout);
    return output;
}

}  // namespace

void prepareLocale() {
    std::setlocale(LC_COLLATE, "");
    std::setlocale(LC_CTYPE, "");
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_CTYPE, "C.UTF-8");
}

bool isTerminal(std::FILE* stream) {
    return isatty(fileno(stream)) == 1;
}

bool outputAbandoned() {
    pollfd output{STDOUT_FILENO, 0, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

void LineOutput::write() {
    writeOut(text_);
    text_.clear();
}

void LineOutput::flush() {
    write();
    flushOut();
}

size_t terminalWidth() {
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        winsize size{};
        if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
    }
    return 80;
}

size_t textWidth() {
    constexpr size_t longest = 100;
    return std::min(terminalWidth(), longest);
}

std::string harmless(std::string_view text) {
    return withEscapes(text, [](std::string& to, const Character&, std::string_view bytes) {
        for (const char byte : bytes) {
            fmt::format_to(std::back_inserter(to), "\\x{:02X}", static_cast<unsigned char>(byte));
        }
    });
}

std::string forOutput(std::string_view text) {
    return onTerminal() ? harmless(text) : std::string(text);
}

std::string harmlessJson(std::string_view json) {
    return withEscapes(json, [](std::string& to, const Character& character, std::string_view) {
        const auto code = static_cast<char32_t>(character.value);
        if (code < 0x10000) {
            fmt::format_to(std::back_inserter(to), "\\u{:04X}", uint32_t{code});
        } else {  // a surrogate pair (RFC 8259, 7)
            fmt::format_to(std::back_inserter(to), "\\u{:04X}\\u{:04X}", 0xD7C0 + (code >> 10),
                           0xDC00 + (code & 0x3FF));
        }
    });
}

std::string jsonForOutput(std::string_view json) {
    return onTerminal() ? harmlessJson(json) : std::string(json);
}

size_t displayWidth(std::string_view text) {
    size_t columns = 0;
    for (;;) {
        const size_t plain = plainPrefix(text);
        columns += plain;
        text.remove_prefix(plain);
        if (text.empty()) return columns;
        const Character character = firstCharacter(text);
        const int width = character.valid ? wcwidth(character.value) : 1;
        columns += static_cast<size_t>(std::max(width, 0));
        text.remove_prefix(character.bytes);
    }
}

std::string collationKey(const std::string& text) {
    std::string key(text.size() + 1, '\0');  // enough where the order is that of the bytes
    const size_t length = std::strxfrm(key.data(), text.c_str(), key.size());
    if (length >= key.size()) {
        key.resize(length + 1);
        std::strxfrm(key.data(), text.c_str(), key.size());
    }
    key.resize(length);
    return key;
}

}  // namespace quillon::cli
