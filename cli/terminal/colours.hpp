// Names in the colours of their types, as the person's LS_COLORS says.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quillon::cli {

class NameColours {
public:
    // None where the output is no terminal, or one without colours, or NO_COLOR is set. Where
    // LS_COLORS is not set, collections are blue.
    static NameColours ofOutput();
    // A text as LS_COLORS has it: "di=01;34:*.tar=01;31". What is no colour there does not count,
    // for nothing else may reach the terminal.
    static NameColours parse(std::string_view text);

    // The text, which is harmless already, in the colour of a name.
    std::string painted(const std::string& text, std::string_view name, bool isCollection) const;

private:
    std::string collections_, files_;                          // empty: none
    std::vector<std::pair<std::string, std::string>> byEnds_;  // of names, the latest first
};

}  // namespace quillon::cli
