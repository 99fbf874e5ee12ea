// Patterns of names as a shell has them: "*", "?", "[a-z]", "[!a-z]", and "\" before a character
// that stands for itself.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/result.hpp"

namespace quillon {

// Whether a pattern matches all of a text, both sequences. isAny: an element of the pattern that
// stands for any number of elements of the text; each other one stands for one. Only the latest
// such element is ever tried anew, so that the time is at most the product of the lengths.
template <class Pattern, class Text, class IsAny, class MatchesOne>
bool matchesSequence(const Pattern& pattern, const Text& text, IsAny isAny, MatchesOne matchesOne) {
    constexpr size_t none = static_cast<size_t>(-1);
    size_t at = 0, done = 0;             // in the pattern, in the text
    size_t latestAny = none, tried = 0;  // tried: where the text goes on behind it
    while (done < text.size()) {
        if (at < pattern.size() && isAny(pattern[at])) {
            latestAny = at++;
            tried = done;
        } else if (at < pattern.size() && matchesOne(pattern[at], text[done])) {
            ++at;
            ++done;
        } else if (latestAny != none) {
            at = latestAny + 1;
            done = ++tried;
        } else {
            return false;
        }
    }
    while (at < pattern.size() && isAny(pattern[at])) ++at;
    return at == pattern.size();
}

// Characters of UTF-8; a byte that is none counts as one that equals itself alone.
std::u32string charactersOf(std::string_view text);

class NamePattern {
public:
    // Fails with Kind::usage for a bracket that is not closed and for a "\" at the end.
    static Result<NamePattern> parse(std::string_view pattern);

    bool matches(std::u32string_view name) const;
    // As a shell does: a dot at the beginning has to be said.
    bool matchesVisible(std::string_view name) const;

private:
    enum class Kind : unsigned char { one, any, of };
    struct Element {
        Kind kind;
        bool negated = false;
        std::vector<std::pair<char32_t, char32_t>> ranges{};  // of Kind::of
    };
    struct Reader;

    static bool matchesOne(const Element& element, char32_t character);

    std::vector<Element> elements_;
};

}  // namespace quillon
