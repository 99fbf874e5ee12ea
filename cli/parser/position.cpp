#include "cli/parser/position.hpp"

namespace quillon::cli {

std::optional<OptionDefinition> Position::findOption(const std::string& name) const {
    const auto own = command.findOption(name);
    return own ? own : program.findOption(name);
}

bool Position::mayBeOption(const std::string& word) const {
    return !optionsEnded && word.starts_with('-');
}

// "--user", "--user=ann", "-u", "-uann", or flags in one word: the option that still lacks a value.
std::optional<OptionDefinition> Position::awaitingOption(const std::string& word) const {
    if (word.starts_with("--")) {
        const auto option = findOption(word);
        return option && option->takesValue() ? option : std::nullopt;
    }
    for (size_t i = 1; i < word.size(); ++i) {
        const auto option = findOption(std::string("-") + word[i]);
        if (option && option->takesValue()) return i + 1 == word.size() ? option : std::nullopt;
    }
    return std::nullopt;
}

void Position::advance(const std::string& word) {
    if (awaits) {
        awaits.reset();
    } else if (!optionsEnded && word == "--") {
        optionsEnded = true;
    } else if (word.size() > 1 && mayBeOption(word)) {
        awaits = awaitingOption(word);
    } else if (command == program) {
        command = program.findCommand(word).value_or(program);
    } else {
        ++operands;
    }
}

std::string Position::operandName() const {
    if (command == program) return {};
    const auto all = command.operands();
    if (all.empty()) return {};
    if (operands < all.size()) return all[operands].name();
    return all.back().mayBeRepeated() ? all.back().name() : std::string();
}

std::vector<std::string> Position::optionNames() const {
    std::vector<std::string> names;
    const auto add = [&](OptionDefinition option, const std::string& name) {
        if (findOption(name) == option) names.push_back(name);
    };
    const auto addOf = [&](CommandDefinition owner) {
        for (const OptionDefinition option : owner.options()) {
            for (const std::string& name : option.longNames()) add(option, "--" + name);
            for (const std::string& name : option.shortNames()) add(option, "-" + name);
        }
    };
    addOf(command);
    if (command != program) addOf(program);
    return names;
}

bool Position::namesLocalFiles() const {
    const std::string name = awaits ? awaits->typeText() : operandName();
    const auto means = [&name](const char* kind) { return name.find(kind) != name.npos; };
    return means("FILE") || means("COMMAND") || means("DIR");
}

bool Position::namesUrls() const {
    return !awaits && operandName().find("URL") != std::string::npos;
}

}  // namespace quillon::cli
