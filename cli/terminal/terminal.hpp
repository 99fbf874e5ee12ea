// Text on terminals. The program writes UTF-8, whatever the locale.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace quillon::cli {

// Character classes and widths from a UTF-8 locale, order of names from the person's.
void prepareLocale();

bool isTerminal(std::FILE* stream);
// Whether the reader of a pipe on standard output has left, as "head" does.
bool outputAbandoned();

// Lines to standard output in large pieces, the last one at the end of its life.
class LineOutput {
public:
    LineOutput() = default;
    LineOutput(const LineOutput&) = delete;
    LineOutput& operator=(const LineOutput&) = delete;
    ~LineOutput() { write(); }

    std::string& text() { return text_; }  // what is not written yet, to append to
    void endLine() {
        if (text_.size() >= piece) write();
    }
    // To be seen at once, before what takes time or goes to standard error.
    void flush();

private:
    static constexpr size_t piece = 64 << 10;  // bytes
    void write();

    std::string text_;
};

size_t terminalWidth();  // in columns; 80 when it is not known
size_t textWidth();      // the same for text to be read, which no eye follows over long lines

// With control characters, text direction marks and bytes that are no UTF-8 written out as "\x1B":
// a name must not be able to move the cursor or to pass for another.
std::string harmless(std::string_view text);

// Harmless on a terminal; as it stands otherwise, for other programs to read.
std::string forOutput(std::string_view text);

// The same of JSON in one line, where "\u001B" and a surrogate pair stand for such characters.
std::string harmlessJson(std::string_view json);
std::string jsonForOutput(std::string_view json);

size_t displayWidth(std::string_view text);  // of harmless text, in columns

// Keys compare, byte by byte, as the locale orders their texts for people: made once for each
// text, they cost a long list far less than comparing by the locale each time.
std::string collationKey(const std::string& text);

}  // namespace quillon::cli
