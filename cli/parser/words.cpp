#include "cli/parser/words.hpp"

#include <fmt/format.h>

#include <iterator>

#include "platform/text/shown_bytes.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view plainSigns = "._-+,:@%/=~^";

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// With a meaning in a pattern.
constexpr std::string_view patternSigns = "*?[]!^-\\";
constexpr std::string_view patternStarts = "*?[";

struct Word {
    std::string text;
    std::string pattern;
    bool isPattern;
    size_t start;
};

class Splitter {
public:
    explicit Splitter(std::string_view line) {
        for (size_t at = 0; at < line.size(); ++at) {
            const char c = line[at];
            const bool literal = quote_ == '\'';
            if (c == '\\' && !literal && at + 1 < line.size()) {
                beginWord(at);
                const auto shown = vxhost::readShownByte(line.substr(at));
                at += shown ? vxhost::shownByteLength - 1 : 1;
                addQuoted(shown.value_or(line[at]));
            } else if (quote_ != 0) {
                if (c == quote_) {
                    quote_ = 0;
                } else {
                    addQuoted(c);
                }
            } else if (c == '\'' || c == '"') {
                beginWord(at);
                quote_ = c;
            } else if (isBlank(c)) {
                inWord_ = false;
            } else {
                beginWord(at);
                addPlain(c);
            }
        }
    }

    std::vector<Word>& words() { return words_; }
    bool isQuoteOpen() const { return quote_ != 0; }
    char redirection() const { return redirection_; }  // the first of the signs; 0: none
    bool inWord() const { return inWord_; }

private:
    void beginWord(size_t at) {
        if (!inWord_) words_.push_back({{}, {}, false, at});
        inWord_ = true;
    }

    void addPlain(char c) {
        if (redirection_ == 0 && (c == '>' || c == '|')) redirection_ = c;
        Word& word = words_.back();
        word.text += c;
        word.pattern += c;
        word.isPattern = word.isPattern || patternStarts.find(c) != std::string_view::npos;
    }
    void addQuoted(char c) {
        Word& word = words_.back();
        word.text += c;
        if (patternSigns.find(c) != std::string_view::npos) word.pattern += '\\';
        word.pattern += c;
    }

    std::vector<Word> words_;
    char quote_ = 0;
    char redirection_ = 0;
    bool inWord_ = false;
};

}  // namespace

Result<std::vector<ShellWord>> splitShellWords(std::string_view line) {
    std::vector<ShellWord> words;
    if (line.starts_with('#')) return words;
    Splitter splitter(line);
    if (splitter.isQuoteOpen()) return localError(Kind::usage, "A quote is left open.");
    if (const char sign = splitter.redirection(); sign != 0) {
        return localError(
            Kind::usage,
            fmt::format(
                "There is no {} in this shell: run quillon in your own for it, or quote the "
                "sign where it is part of a name.",
                sign));
    }
    for (Word& word : splitter.words()) {
        words.push_back(
            {std::move(word.text), word.isPattern ? std::move(word.pattern) : std::string()});
    }
    return words;
}

Result<std::vector<std::string>> splitWords(std::string_view line) {
    Result<std::vector<ShellWord>> words = splitShellWords(line);
    if (!words) return std::move(words).error();
    std::vector<std::string> texts;
    for (ShellWord& word : *words) texts.push_back(std::move(word.text));
    return texts;
}

std::string quotedWord(std::string_view name) {
    std::string word;
    for (const char c : name) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80 ||
                           plainSigns.find(c) != std::string_view::npos;
        if ((c > 0 && c < ' ') || c == '\x7F') {
            fmt::format_to(std::back_inserter(word), "\\x{:02X}", static_cast<unsigned char>(c));
            continue;
        }
        if (!plain) word += '\\';
        word += c;
    }
    return word;
}

LastWord lastWord(std::string_view line) {
    Splitter splitter(line);
    auto& words = splitter.words();
    LastWord last{words.size(), {}, line.size()};
    if (splitter.inWord()) {
        last = {words.size() - 1, std::move(words.back().text), words.back().start};
        words.pop_back();
    }
    for (Word& word : words) last.wordsBefore.push_back(std::move(word.text));
    return last;
}

}  // namespace quillon::cli
