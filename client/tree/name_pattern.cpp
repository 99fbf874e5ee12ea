#include "client/tree/name_pattern.hpp"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>

namespace quillon {
namespace {

// In the place of a byte that is no UTF-8: a code point that no text has.
constexpr char32_t strayByte = 0xDC00;

Error badPattern(std::string_view pattern, std::string_view what) {
    return localError(quillon::Kind::usage, fmt::format("The pattern {} {}", pattern, what));
}

}  // namespace

std::u32string charactersOf(std::string_view text) {
    std::u32string characters;
    characters.reserve(text.size());
    while (!text.empty()) {
        utf8proc_int32_t character = -1;
        auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                       static_cast<utf8proc_ssize_t>(text.size()), &character);
        if (length <= 0) {
            length = 1;
            character =
                static_cast<utf8proc_int32_t>(strayByte | static_cast<unsigned char>(text.front()));
        }
        characters.push_back(static_cast<char32_t>(character));
        text.remove_prefix(static_cast<size_t>(length));
    }
    return characters;
}

struct NamePattern::Reader {
    const std::u32string characters;
    const std::string_view shown;
    size_t at = 0;

    bool atEnd() const { return at == characters.size(); }
    bool next(char32_t character) const { return !atEnd() && characters[at] == character; }
    bool take(char32_t character) {
        if (!next(character)) return false;
        ++at;
        return true;
    }

    // One that may be escaped.
    Result<char32_t> takeCharacter() {
        if (take(U'\\') && atEnd()) {
            return badPattern(shown, "ends in a \"\\\". Write two for one.");
        }
        return characters[at++];
    }

    Result<Element> takeBracket() {
        Element element{NamePattern::Kind::of};
        element.negated = take(U'!') || take(U'^');
        do {  // a "]" at the beginning is one of the characters
            if (next(U'[') && at + 1 < characters.size() && characters[at + 1] == U':') {
                return badPattern(shown, "names a class of characters. Write them as in [a-zA-Z].");
            }
            if (atEnd()) {
                return badPattern(shown,
                                  "has a \"[\" that is not closed. Write \"\\[\" where the "
                                  "character is meant.");
            }
            const Result<char32_t> first = takeCharacter();
            if (!first) return first.error();
            char32_t last = *first;
            const bool isRange =
                next(U'-') && at + 1 < characters.size() && characters[at + 1] != U']';
            if (isRange) {
                ++at;
                const Result<char32_t> end = takeCharacter();
                if (!end) return end.error();
                last = *end;
            }
            element.ranges.emplace_back(*first, last);
        } while (!take(U']'));
        return element;
    }

    Result<Element> takeElement() {
        if (take(U'*')) return Element{NamePattern::Kind::any};
        if (take(U'?')) return Element{NamePattern::Kind::one};
        if (take(U'[')) return takeBracket();
        const Result<char32_t> character = takeCharacter();
        if (!character) return character.error();
        return Element{NamePattern::Kind::of, false, {{*character, *character}}};
    }
};

Result<NamePattern> NamePattern::parse(std::string_view pattern) {
    Reader reader{charactersOf(pattern), pattern};
    NamePattern parsed;
    while (!reader.atEnd()) {
        Result<Element> element = reader.takeElement();
        if (!element) return std::move(element).error();
        parsed.elements_.push_back(*std::move(element));
    }
    return parsed;
}

bool NamePattern::matchesOne(const Element& element, char32_t character) {
    if (element.kind == Kind::one) return true;
    const bool isIn = std::ranges::any_of(element.ranges, [character](const auto& range) {
        return range.first <= character && character <= range.second;
    });
    return isIn != element.negated;
}

bool NamePattern::matches(std::u32string_view name) const {
    return matchesSequence(
        elements_, name, [](const Element& element) { return element.kind == Kind::any; },
        matchesOne);
}

bool NamePattern::matchesVisible(std::string_view name) const {
    if (name.starts_with('.')) {
        const bool said = !elements_.empty() && elements_.front().kind == Kind::of &&
                          elements_.front().ranges == decltype(Element::ranges){{U'.', U'.'}} &&
                          !elements_.front().negated;
        if (!said) return false;
    }
    return matches(charactersOf(name));
}

}  // namespace quillon
