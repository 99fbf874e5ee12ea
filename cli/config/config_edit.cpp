#include "cli/config/config_edit.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>
#include <utility>

#include "cli/config/config_keys.hpp"
#include "cli/config/text_edits.hpp"
#include "cli/config/toml.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view BARE_KEY =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

using Sentences = std::vector<std::string>;

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            result.append(1, '\\').append(1, c);
        } else if ((c >= 0 && c < ' ') || c == 0x7F) {
            result += fmt::format("\\u{:04X}", static_cast<unsigned>(c));
        } else {
            result += c;
        }
    }
    return result + '"';
}

std::string header(std::string_view name) {
    const bool bare = name.find_first_not_of(BARE_KEY) == std::string_view::npos;
    return fmt::format("[{}.{}]", SITES_TABLE, bare ? std::string(name) : quoted(name));
}

// As TOML has it; empty: not set.
std::string settingOf(const Site& site, const SiteKey& key) {
    if (const auto* text = std::get_if<std::string Site::*>(&key.field)) {
        return (site.**text).empty() ? "" : quoted(site.**text);
    }
    if (const auto* flag = std::get_if<bool Site::*>(&key.field)) return site.**flag ? "true" : "";
    const int number = site.*std::get<int Site::*>(key.field);
    return number == 0 ? "" : std::to_string(number);
}

void assign(toml::table& table, const Site& site, const SiteKey& key) {
    if (const auto* text = std::get_if<std::string Site::*>(&key.field)) {
        table.insert_or_assign(key.name, site.**text);
    } else if (const auto* flag = std::get_if<bool Site::*>(&key.field)) {
        table.insert_or_assign(key.name, site.**flag);
    } else {
        table.insert_or_assign(key.name, site.*std::get<int Site::*>(key.field));
    }
}

// Of texts, numbers and flags, which is what settings are.
bool sameValue(const toml::node& a, const toml::node& b) {
    return a.value<bool>() == b.value<bool>() && a.value<std::string>() == b.value<std::string>() &&
           a.value<int64_t>() == b.value<int64_t>();
}

// A login that needs no user or password any more must not leave the old one.
bool isEmptied(const SiteKey& key) {
    return key.name == "user" || key.name == "password";
}

bool isKnown(std::string_view key) {
    return std::any_of(siteKeys.begin(), siteKeys.end(),
                       [key](const SiteKey& each) { return each.name == key; });
}

toml::table* siteIn(toml::table& root, std::string_view name) {
    return root[SITES_TABLE][name].as_table();
}

// An empty table is as good as none, whether its header stayed or not.
void dropIfEmpty(toml::table& root, std::string_view name) {
    toml::table* sites = root[SITES_TABLE].as_table();
    if (sites == nullptr) return;
    if (const toml::table* site = siteIn(root, name); site != nullptr && site->empty()) {
        sites->erase(name);
    }
    if (sites->empty()) root.erase(SITES_TABLE);
}

// The edited text, when it says what is wanted and nothing else.
Result<std::string> checked(std::string edited, toml::table wanted, std::string_view name,
                            Sentences byHand) {
    try {
        toml::table outcome = toml::parse(edited);
        dropIfEmpty(outcome, name);
        dropIfEmpty(wanted, name);
        if (outcome == wanted) return edited;
    } catch (const toml::parse_error&) {
        // As bad as another outcome.
    }
    byHand.insert(byHand.begin(),
                  "It is written in a way that cannot be changed safely, so it was left alone.");
    return Error{Kind::local, Code::success, 0, std::move(byHand)};
}

std::string newTable(const Site& site, std::string_view lineBreak) {
    std::string text = header(site.name).append(lineBreak);
    for (const SiteKey& key : siteKeys) {
        const std::string setting = settingOf(site, key);
        if (!setting.empty()) text += fmt::format("{} = {}{}", key.name, setting, lineBreak);
    }
    return text;
}

void appendTable(TextEdits& edits, const Site& site) {
    const std::string_view text = edits.text();
    std::string gap;
    if (!text.empty()) gap = edits.lineBreak();
    if (!text.empty() && text.back() != '\n') gap += edits.lineBreak();
    edits.replace(text.size(), text.size(), gap + newTable(site, edits.lineBreak()));
}

// Behind the last setting that is there, else behind the header.
void insertSettings(TextEdits& edits, const toml::table& table, const Sentences& settings) {
    const toml::source_position* last = &table.source().begin;
    for (const auto& [key, value] : table) {
        if (isKnown(key.str()) && value.source().end > *last) last = &value.source().end;
    }
    if (table.is_inline()) {
        if (last == &table.source().begin) return;  // for a person to fill
        edits.replace(edits.offset(*last), edits.offset(*last),
                      fmt::format(", {}", fmt::join(settings, ", ")));
        return;
    }
    const size_t at = edits.lineEnd(edits.offset(*last));
    std::string lines;
    if (at > 0 && edits.text()[at - 1] != '\n') lines = edits.lineBreak();
    for (const std::string& setting : settings) lines.append(setting).append(edits.lineBreak());
    edits.replace(at, at, lines);
}

// wanted: the table of the site, which becomes what the text is to say.
void changeTable(TextEdits& edits, const toml::table& table, const Site& site,
                 toml::table& wanted) {
    Sentences added;
    for (const SiteKey& key : siteKeys) {
        std::string setting = settingOf(site, key);
        const toml::node* old = table.get(key.name);
        if (setting.empty() && (old == nullptr || !isEmptied(key))) continue;
        if (setting.empty()) setting = quoted("");
        assign(wanted, site, key);
        if (old == nullptr) {
            added.push_back(fmt::format("{} = {}", key.name, setting));
        } else if (!sameValue(*wanted.get(key.name), *old)) {
            edits.replace(edits.offset(old->source().begin), edits.offset(old->source().end),
                          setting);
        }
    }
    if (!added.empty()) insertSettings(edits, table, added);
}

Sentences writeByHand(const Site& site) {
    Sentences sentences{"Put this into it yourself:"};
    std::istringstream table(newTable(site, "\n"));
    for (std::string line; std::getline(table, line);) sentences.push_back(line);
    return sentences;
}

void removeHeader(TextEdits& edits, const toml::table& table) {
    size_t begin = edits.offset(table.source().begin);
    const size_t end = edits.offset(table.source().end);
    if (edits.text().substr(begin, 1) != "[") return;  // dotted keys have no header
    const size_t line = edits.lineStart(begin);
    if (line > 0) {  // the blank line before goes, too
        const size_t above = edits.lineStart(line - 1);
        const auto before = edits.text().substr(above, line - above);
        if (before.find_first_not_of(" \t\r\n") == std::string_view::npos) begin = above;
    }
    edits.removeLines(begin, end);
}

void removeTable(TextEdits& edits, const toml::table& sites, std::string_view name) {
    const toml::table& table = *sites.get(name)->as_table();
    if (table.is_inline()) {
        const auto entry = sites.find(name);
        edits.removeLines(edits.offset(entry->first.source().begin),
                          edits.offset(table.source().end));
        return;
    }
    bool emptied = true;
    for (const auto& [key, value] : table) {
        if (isKnown(key.str())) {
            edits.removeLines(edits.offset(key.source().begin), edits.offset(value.source().end));
        } else {
            emptied = false;
        }
    }
    if (emptied) removeHeader(edits, table);
}

}  // namespace

Result<std::string> withSite(std::string_view text, const Site& site) {
    try {
        toml::table root = toml::parse(text);
        toml::table wanted = root;
        TextEdits edits(text);
        if (const toml::table* table = siteIn(root, site.name)) {
            changeTable(edits, *table, site, *siteIn(wanted, site.name));
        } else {
            appendTable(edits, site);
            wanted.insert(SITES_TABLE, toml::table{});
            toml::table* sites = wanted[SITES_TABLE].as_table();
            toml::table added;
            for (const SiteKey& key : siteKeys) {
                if (!settingOf(site, key).empty()) assign(added, site, key);
            }
            if (sites != nullptr) sites->insert(site.name, std::move(added));
        }
        return checked(edits.result(), std::move(wanted), site.name, writeByHand(site));
    } catch (const toml::parse_error& problem) {
        return localError(Kind::local, std::string(problem.description()));
    }
}

Result<std::string> withoutSite(std::string_view text, std::string_view name) {
    try {
        toml::table root = toml::parse(text);
        toml::table wanted = root;
        TextEdits edits(text);
        if (toml::table* site = siteIn(wanted, name)) {
            for (const SiteKey& key : siteKeys) site->erase(key.name);
            removeTable(edits, *root[SITES_TABLE].as_table(), name);
        }
        return checked(edits.result(), std::move(wanted), name,
                       {fmt::format("Take the table {} out of it yourself.", header(name))});
    } catch (const toml::parse_error& problem) {
        return localError(Kind::local, std::string(problem.description()));
    }
}

}  // namespace quillon::cli
