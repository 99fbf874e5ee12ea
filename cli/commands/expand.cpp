#include "cli/commands/expand.hpp"

#include <fmt/format.h>
#include <glob.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "cli/commands/matching.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/parser/position.hpp"
#include "cli/parser/shell_path.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

using Names = std::vector<std::string>;

Error nothingMatches(const std::string& text) {
    return localError(Kind::notFound,
                      fmt::format("No name matches {}. Quotes around it make it a name.", text));
}

bool hasSigns(std::string_view pattern) {
    for (size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] == '\\') {
            ++at;
        } else if (pattern[at] == '*' || pattern[at] == '?' || pattern[at] == '[') {
            return true;
        }
    }
    return false;
}

// So that it is taken for a name, whatever it is.
std::string asName(const std::string& name) {
    const bool isOther = name.starts_with('-') || name.find(':') != std::string::npos;
    return isOther ? "./" + name : name;
}

Result<Names> localNames(const ShellWord& word) {
    glob_t found{};
    const int failed = glob(word.pattern.c_str(), 0, nullptr, &found);
    Names names(found.gl_pathv, found.gl_pathv + (failed == 0 ? found.gl_pathc : 0));
    globfree(&found);
    if (names.empty()) return nothingMatches(word.text);
    for (std::string& name : names) name = asName(name);
    return names;
}

Result<Names> memberNames(Session& session, const ShellWord& word) {
    const std::string path = word.text.substr(0, word.text.rfind('/') + 1);
    const size_t slash = word.pattern.rfind('/') + 1;  // 0: none
    const std::string pattern = word.pattern.substr(slash);
    if (hasSigns(std::string_view(word.pattern).substr(0, slash))) {
        return localError(Kind::usage,
                          "Only the last part of a path may be a pattern. Quotes make the other "
                          "signs characters of a name.");
    }
    const Result<Address> address = resolveShellPath(*session.base, path);
    if (!address) return address.error();
    Result<Members> listing = session.list(address->asCollection(), namesAlone);
    if (!listing)
        return explainNotOpened(session, address->asCollection(), std::move(listing).error());
    Names names;
    for (const Resource& each : listing->resources) {
        std::string name = vxhost::decodeSegment(each.segment);
        const bool canBeTyped = name.find('/') == name.npos && name != "." && name != "..";
        if (!canBeTyped || !matchesPattern(pattern, name)) continue;
        names.push_back(path.empty() ? asName(name) : path + name);
    }
    if (names.empty()) return nothingMatches(word.text);
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace

Result<Names> expandWords(Session& session, CommandDefinition program,
                          std::vector<ShellWord> words) {
    Position position(program);
    Names expanded;
    for (ShellWord& word : words) {
        const bool isUrl =
            word.text.find("://") != std::string::npos || session.sites().knows(word.text);
        const bool isOperand = !position.awaits && !position.mayBeOption(word.text);
        const bool isForeign = position.operandName().find("COMMAND") != std::string::npos;
        Result<Names> names = Names();
        if (!word.pattern.empty() && isOperand && !isForeign && !isUrl) {
            if (position.namesLocalFiles()) {
                names = localNames(word);
            } else if (position.namesUrls()) {
                names = memberNames(session, word);
            }
        }
        if (!names) return names;
        position.advance(word.text);
        if (names->empty()) {
            expanded.push_back(std::move(word.text));
        } else {
            expanded.insert(expanded.end(), names->begin(), names->end());
        }
    }
    return expanded;
}

}  // namespace quillon::cli
