#include "client/facts/server_facts.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/base/ascii.hpp"

namespace quillon {
namespace {

constexpr std::string_view form = "quillon-server 4";
constexpr size_t mostValue = 512, mostText = 16384;  // bytes

constexpr std::pair<std::string_view, bool ServerFacts::*> flags[] = {
    {"probed", &ServerFacts::probed},
    {"class-2", &ServerFacts::classTwo},
    {"locks", &ServerFacts::locks},
    {"put-if-match", &ServerFacts::putIfMatch},
    {"put-tag-in-if", &ServerFacts::putTagInIf},
    {"put-if-none-match", &ServerFacts::putIfNoneMatch},
    {"delete-if-match", &ServerFacts::deleteIfMatch},
    {"delete-tag-in-if", &ServerFacts::deleteTagInIf},
    {"if-match-holds", &ServerFacts::ifMatchHolds},
    {"tag-in-if-holds", &ServerFacts::tagInIfHolds},
    {"replaces-at-once", &ServerFacts::replacesAtOnce},
    {"tags-in-properties", &ServerFacts::tagsInProperties},
    {"weak-tags", &ServerFacts::weakTags},
    {"put-tells-tag", &ServerFacts::putTellsTag},
    {"tags-repeat", &ServerFacts::tagsRepeat},
    {"tags-differ", &ServerFacts::tagsDiffer},
    {"put-tells-new", &ServerFacts::putTellsNew},
    {"http2", &ServerFacts::http2},
};

constexpr std::pair<std::string_view, std::optional<bool> ServerFacts::*> askedFlags[] = {
    {"depth-infinity", &ServerFacts::depthInfinity},
    {"quota", &ServerFacts::quota},
};

constexpr std::string_view datesWords[] = {"none", "X-OC-Mtime", "Date", "Win32LastModifiedTime"};

std::string_view wordOf(std::optional<bool> flag) {
    if (!flag) return "unknown";
    return *flag ? "yes" : "no";
}

// The lines of a text, each of which has to begin with the word that is asked for.
class Lines {
public:
    explicit Lines(std::string_view text) : rest_(text) {}

    std::string_view value(std::string_view word) {
        const size_t end = rest_.find('\n');
        const std::string_view line = rest_.substr(0, end);
        fits_ = fits_ && end != rest_.npos && line.size() > word.size() && line.starts_with(word) &&
                line[word.size()] == ' ';
        if (!fits_) return {};
        rest_.remove_prefix(end + 1);
        return line.substr(word.size() + 1);
    }
    std::optional<bool> flag(std::string_view word) {
        const std::string_view value = this->value(word);
        require(value == "yes" || value == "no" || value == "unknown");
        return value == "unknown" ? std::nullopt : std::optional(value == "yes");
    }
    int64_t number(std::string_view word) {
        const auto number = vxhost::parseNumber<int64_t>(value(word));
        require(number.has_value());
        return number.value_or(0);
    }
    void require(bool fits) { fits_ = fits_ && fits; }
    bool fit() const { return fits_ && rest_.empty(); }  // all of them

private:
    std::string_view rest_;
    bool fits_ = true;
};

}  // namespace

Guard guardOfReplacing(const ServerFacts& facts) {
    if (!facts.probed) return facts.classTwo ? Guard::lockAndLook : Guard::look;
    const bool byMatch = facts.putIfMatch && !facts.weakTags;
    if (byMatch && facts.ifMatchHolds) return Guard::condition;
    if (facts.putTagInIf && facts.tagInIfHolds) return Guard::conditionInIf;
    if (facts.locks) return facts.putTagInIf ? Guard::lock : Guard::lockAndLook;
    if (byMatch) return Guard::condition;
    return facts.putTagInIf ? Guard::conditionInIf : Guard::look;
}

Guard guardOfMaking(const ServerFacts& facts) {
    if (facts.putIfNoneMatch) return Guard::condition;
    return facts.probed && facts.locks ? Guard::lock : Guard::look;
}

Guard guardOfRemoving(const ServerFacts& facts) {
    if (!facts.probed) return facts.classTwo ? Guard::lock : Guard::look;
    if (facts.deleteTagInIf) return Guard::conditionInIf;  // which takes weak tags, too
    if (facts.deleteIfMatch && !facts.weakTags) return Guard::condition;
    return facts.locks ? Guard::lock : Guard::look;
}

std::string dateLine(DatesBy dates, Time modified) {
    const auto seconds =
        std::chrono::floor<std::chrono::seconds>(modified).time_since_epoch().count();
    if (dates == DatesBy::mtime) return fmt::format("X-OC-Mtime: {}", seconds);
    if (dates == DatesBy::dateField) return "Date: " + httpDate(modified);
    return {};
}

std::string notedValue(std::string_view value) {
    std::string noted(value.substr(0, mostValue));
    std::ranges::replace_if(
        noted, [](char c) { return c < ' ' || c > '~'; }, '?');
    return noted;
}

std::string textOf(const ServerFacts& facts, std::string_view collection) {
    const auto learned =
        std::chrono::floor<std::chrono::seconds>(facts.learned).time_since_epoch().count();
    std::string text = fmt::format(
        "form {}\nurl {}\nlearned {}\nserver {}\ndav {}\nredirect {}\nskew {}\ndates {}\n", form,
        collection, learned, facts.server, facts.dav, facts.redirect, facts.skewSeconds,
        datesWords[static_cast<size_t>(facts.dates)]);
    for (const auto& [word, flag] : flags) {
        text += fmt::format("{} {}\n", word, wordOf(facts.*flag));
    }
    for (const auto& [word, flag] : askedFlags) {
        text += fmt::format("{} {}\n", word, wordOf(facts.*flag));
    }
    return text;
}

std::optional<ServerFacts> parseFacts(std::string_view text, std::string_view collection) {
    if (text.size() > mostText) return std::nullopt;
    Lines lines(text);
    ServerFacts facts;
    lines.require(lines.value("form") == form);
    lines.require(lines.value("url") == collection);
    const auto learned = timeOf(static_cast<double>(lines.number("learned")));
    lines.require(learned.has_value());
    facts.learned = learned.value_or(Time());
    facts.server = lines.value("server");
    facts.dav = lines.value("dav");
    facts.redirect = lines.value("redirect");
    for (const std::string* value : {&facts.server, &facts.dav, &facts.redirect}) {
        lines.require(notedValue(*value) == *value);
    }
    facts.skewSeconds = lines.number("skew");
    const auto dates = std::ranges::find(datesWords, lines.value("dates"));
    lines.require(dates != std::end(datesWords));
    const auto place = static_cast<size_t>(dates - std::begin(datesWords));
    facts.dates = static_cast<DatesBy>(place % std::size(datesWords));
    for (const auto& [word, flag] : flags) {
        const std::optional<bool> said = lines.flag(word);
        lines.require(said.has_value());
        facts.*flag = said.value_or(false);
    }
    for (const auto& [word, flag] : askedFlags) facts.*flag = lines.flag(word);
    return lines.fit() ? std::optional(std::move(facts)) : std::nullopt;
}

}  // namespace quillon
