#include "cli/session/keyring.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <initializer_list>

#include "cli/session/command_output.hpp"
#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

std::vector<std::string> toolWords(std::initializer_list<std::string> begin,
                                   const std::string& site) {
    std::vector<std::string> words{"secret-tool"};
    words.insert(words.end(), begin);
    words.insert(words.end(), {"application", "quillon", "site", site});
    return words;
}

}  // namespace

std::vector<std::string> keyringLookup(const std::string& site) {
    return toolWords({"lookup"}, site);
}

Result<void> storeInKeyring(const std::string& site, const Secret& password) {
    const auto words = toolWords({"store", "--label=quillon " + site}, site);
    const Result<Secret> stored = outputOf(words, "keyring", password);
    return stored ? Result<void>() : Result<void>(stored.error());
}

void forgetInKeyring(const std::string& site) {
    const auto words = toolWords({"clear"}, site);
    if (outputOf(words, "keyring")) return;
    complain(fmt::format("the keyring still holds the password of {}; to remove it: {}", site,
                         fmt::join(words, " ")));
}

}  // namespace quillon::cli
