// The parser of command lines, and what is defined for it. Only its source includes the library
// that parses, since each file that does takes ten seconds to compile.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/result.hpp"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace quillon::cli {

// An option, or an operand, which has a place instead of dashes. This only refers to it: the parser
// owns it.
class OptionDefinition {
public:
    explicit OptionDefinition(CLI::Option* option) : option_(option) {}
    bool operator==(const OptionDefinition&) const = default;

    OptionDefinition required(bool isRequired = true) const;
    OptionDefinition typeName(const std::string& name) const;  // in help; empty: none is shown
    OptionDefinition excludes(OptionDefinition other) const;

    // What a value must be. A variable of a script that was never set is no value.
    OptionDefinition notEmpty() const;
    OptionDefinition existingFile() const;
    OptionDefinition existingDirectory() const;
    OptionDefinition within(int least, int most) const;
    OptionDefinition oneOf(const std::vector<std::string>& words) const;  // which are its type
    // May be given again, and is taken where it stands: such options are one list with others.
    OptionDefinition eachInTurn() const;

    std::string name() const;                    // of an operand
    std::vector<std::string> longNames() const;  // without their dashes
    std::vector<std::string> shortNames() const;
    std::string meaning() const;
    std::string typeText() const;  // the type's name, and behind a colon what else help shows of it
    bool isOperand() const;
    bool isRequired() const;
    bool takesValue() const;
    bool mayBeRepeated() const;

private:
    CLI::Option* option_;
};

// A command, or the program itself. This only refers to it: the parser owns it.
class CommandDefinition {
public:
    explicit CommandDefinition(CLI::App* app) : app_(app) {}
    bool operator==(const CommandDefinition&) const = default;

    CommandDefinition addCommand(const std::string& name, const std::string& meaning) const;
    void addAlias(const std::string& name) const;
    void takeShortHelp() const;  // -h is an option of its own, and help is --help alone
    void setGroup(const std::string& title) const;  // under which the program's help lists it
    void setFooter(const std::string& text) const;
    void whenGiven(std::function<void()> action) const;  // once the whole line is parsed

    // The names are "-u,--user", or of an operand "URL". The value must live as long as the parser.
    OptionDefinition addOption(const std::string& names, std::string& value,
                               const std::string& meaning) const;
    OptionDefinition addOption(const std::string& names, std::vector<std::string>& values,
                               const std::string& meaning) const;
    OptionDefinition addOption(const std::string& names, int& value,
                               const std::string& meaning) const;
    OptionDefinition addOption(const std::string& names, size_t& value,
                               const std::string& meaning) const;
    // What takes the value may refuse it, with a sentence.
    using Taker = std::function<Result<void>(const std::string&)>;
    OptionDefinition addOption(const std::string& names, Taker take,
                               const std::string& meaning) const;

    OptionDefinition addFlag(const std::string& names, bool& given,
                             const std::string& meaning) const;
    OptionDefinition addFlag(const std::string& names, int& count,
                             const std::string& meaning) const;

    std::string name() const;
    std::string meaning() const;
    std::string footer() const;
    std::vector<CommandDefinition> commands() const;
    std::vector<OptionDefinition> operands() const;
    std::vector<OptionDefinition> options() const;
    std::optional<CommandDefinition> findCommand(const std::string& name) const;
    std::optional<OptionDefinition> findOption(const std::string& name) const;  // "-u", "--user"

private:
    CLI::App* app_;
};

class Parser {
public:
    Parser(const std::string& name, const std::string& meaning);
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;
    ~Parser();

    CommandDefinition program() const { return CommandDefinition(app_.get()); }

    void setWidth(size_t columns);             // of help, before commands are added; 80 at first
    void setVersion(const std::string& text);  // which --version prints
    std::string version() const;
    void requireCommand();
    void takeOptionsBehindCommand();  // the program's own
    void ignoreOtherWords();          // --help too

    // Takes the words behind the program's name, which may be any text. A text that was asked for
    // (--help, --version) is the result; empty: the line is to be carried out.
    Result<std::string> parse(std::vector<std::string> words);

    // Of the last line; empty: none.
    std::string givenCommand() const;

    // That of the program, whatever the last line was.
    std::string help() const;

private:
    std::unique_ptr<CLI::App> app_;
};

}  // namespace quillon::cli
