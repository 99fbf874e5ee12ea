#include "cli/config/site_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <sstream>

#include "cli/config/toml.hpp"

namespace quillon::cli {
namespace {

using toml::format_flags;

Error problemAt(const toml::source_region& where, std::string_view what) {
    return localError(Kind::local, fmt::format("Line {}: {}.", where.begin.line, what));
}

// What a value must be for its field.
std::string_view rule(const std::string&) {
    return "must be a text in quotes";
}
std::string_view rule(int) {
    return "must be a whole number";
}
std::string_view rule(bool) {
    return "must be true or false";
}
std::string_view rule(const Texts&) {
    return "must be a list of texts in quotes, such as [\"one\", \"two\"]";
}

// Stores a value in its field. What is wrong with its type; empty: nothing.
std::string_view take(const toml::node& value, std::string& field) {
    const auto* given = value.as_string();
    if (given == nullptr) return rule(field);
    field = given->get();
    return field.empty() ? "is empty; leave it out, or give it a value" : "";
}

std::string_view take(const toml::node& value, int& field) {
    const auto* given = value.as_integer();
    if (given == nullptr) return rule(field);
    using Limits = std::numeric_limits<int>;
    field = static_cast<int>(std::clamp<int64_t>(given->get(), Limits::min(), Limits::max()));
    return "";
}

std::string_view take(const toml::node& value, bool& field) {
    const auto* given = value.as_boolean();
    if (given == nullptr) return rule(field);
    field = given->get();
    return "";
}

std::string_view take(const toml::node& value, Texts& field) {
    const auto* given = value.as_array();
    if (given == nullptr) return rule(field);
    for (const toml::node& each : *given) {
        const auto* text = each.as_string();
        if (text == nullptr) return rule(field);
        field.push_back(text->get());
    }
    return "";
}

template <class Value>
std::string written(const Value& value) {
    std::ostringstream text;
    const toml::value node(value);
    text << toml::toml_formatter(node, format_flags::allow_unicode_strings);
    return text.str();
}

// In one line, however long it is.
std::string written(const Texts& values) {
    std::string text;
    for (const std::string& value : values) text += (text.empty() ? "" : ", ") + written(value);
    return fmt::format("[{}]", text);
}

std::string problemOf(const SiteKey& key, const toml::node& value, Site& site) {
    std::string problem(
        std::visit([&](auto field) { return take(value, site.*field); }, key.field));
    if (problem.empty() && key.problem != nullptr) problem = key.problem(site);
    return problem;
}

// A key of ours and its value in one line; behind a comment anything may stand, behind a value
// nothing may.
bool isSetting(const std::string& line) {
    try {
        const toml::table table = toml::parse(line);
        const auto isOurs = [&](const SiteKey& key) { return table.contains(key.name); };
        if (table.size() != 1 || std::ranges::none_of(siteKeys(), isOurs)) return false;
    } catch (const toml::parse_error&) {
        return false;
    }
    try {
        static_cast<void>(toml::parse(line + " ="));
    } catch (const toml::parse_error&) {
        return true;
    }
    return false;
}

std::string lineOf(std::string_view text, size_t number) {
    std::istringstream lines{std::string(text)};
    std::string line;
    for (size_t i = 0; i < number; ++i) std::getline(lines, line);
    return line;
}

// Of what is no TOML. The library's words are for who knows its grammar, and a line may hold a
// password, so that only the key is told.
std::string syntaxProblem(const std::string& line) {
    const std::string_view before = std::string_view(line).substr(0, line.find('='));
    const std::string_view name = before.substr(0, before.find_last_not_of(" \t") + 1);
    for (const SiteKey& key : siteKeys()) {
        if (key.name != name) continue;
        if (isSetting(line)) return fmt::format("{} stands there twice", name);
        const auto wanted = std::visit([](auto field) { return rule(Site().*field); }, key.field);
        return fmt::format("{} {}, with nothing behind it", name, wanted);
    }
    return "it is none that sets a key, such as url = \"https://example.org/dav/\" or jobs = 4";
}

}  // namespace

Result<Site> parseSite(std::string_view name, std::string_view text) {
    Site site{.name = std::string(name)};
    try {
        const toml::table table = toml::parse(text);
        for (const SiteKey& key : siteKeys()) {
            const toml::node* value = table.get(key.name);
            if (value == nullptr) continue;
            const std::string problem = problemOf(key, *value, site);
            if (problem.empty()) continue;
            return problemAt(value->source(), fmt::format("{} {}", key.name, problem));
        }
    } catch (const toml::parse_error& problem) {
        const std::string line = lineOf(text, problem.source().begin.line);
        return problemAt(problem.source(), syntaxProblem(line));
    }
    if (site.url.empty()) return localError(Kind::local, "It has no url.");
    return site;
}

std::vector<std::string> unknownKeys(std::string_view text) {
    std::vector<std::string> unknown;
    try {
        for (const auto& [key, value] : toml::parse(text)) {
            const auto isOurs = [name = key.str()](const SiteKey& each) {
                return each.name == name;
            };
            if (std::ranges::none_of(siteKeys(), isOurs)) unknown.emplace_back(key.str());
        }
    } catch (const toml::parse_error&) {
        // which reading the site tells
    }
    return unknown;
}

std::string siteText(const Site& site) {
    std::ostringstream text;
    for (const SiteKey& key : siteKeys()) {
        const auto write = [&](auto field) {
            text << key.name << " = " << written(site.*field) << "\n";
        };
        if (isSet(site, key)) std::visit(write, key.field);
    }
    return text.str();
}

bool holdsMore(std::string_view text) {
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        const bool isBlank = line.find_first_not_of(" \t") == std::string::npos;
        if (!isBlank && !isSetting(line)) return true;
    }
    return false;
}

}  // namespace quillon::cli
