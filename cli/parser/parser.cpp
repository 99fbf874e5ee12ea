#include "cli/parser/parser.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <utility>

#include "cli/parser/line_problem.hpp"
#include "cli/parser/usage.hpp"

namespace quillon::cli {
namespace {

constexpr size_t usualWidth = 80;  // columns

// The check with a person's words; help does not tell of it.
CLI::Validator orIsNo(std::string what, CLI::Validator check) {
    return CLI::Validator(
        [what = std::move(what), check = std::move(check)](const std::string& value) {
            return check(value).empty() ? std::string()
                                        : fmt::format("\"{}\" is no {}.", value, what);
        },
        "");
}

std::vector<OptionDefinition> optionsOf(CLI::App& app, bool operands) {
    std::vector<OptionDefinition> found;
    for (CLI::Option* each : app.get_options()) {
        if (each->get_positional() == operands) found.emplace_back(each);
    }
    return found;
}

}  // namespace

OptionDefinition OptionDefinition::required(bool isRequired) const {
    option_->required(isRequired);
    return *this;
}

OptionDefinition OptionDefinition::typeName(const std::string& name) const {
    option_->type_name(name);
    return *this;
}

OptionDefinition OptionDefinition::excludes(OptionDefinition other) const {
    option_->excludes(other.option_);
    return *this;
}

OptionDefinition OptionDefinition::notEmpty() const {
    option_->check([](const std::string& value) {
        return std::string(value.empty() ? "its value is empty." : "");
    });
    return *this;
}

OptionDefinition OptionDefinition::existingFile() const {
    option_->check(orIsNo("file", CLI::ExistingFile));
    return *this;
}

OptionDefinition OptionDefinition::existingDirectory() const {
    option_->check(orIsNo("directory", CLI::ExistingDirectory));
    return *this;
}

OptionDefinition OptionDefinition::eachInTurn() const {
    option_->trigger_on_parse();
    return *this;
}

OptionDefinition OptionDefinition::within(int least, int most) const {
    option_->check(
        orIsNo(fmt::format("number from {} to {}", least, most), CLI::Range(least, most)));
    return *this;
}

OptionDefinition OptionDefinition::oneOf(const std::vector<std::string>& words) const {
    option_->check([words](const std::string& value) {
        const bool known = std::find(words.begin(), words.end(), value) != words.end();
        return known ? std::string() : fmt::format("it is one of {}.", fmt::join(words, ", "));
    });
    return typeName(fmt::format("{}", fmt::join(words, "|")));
}

std::string OptionDefinition::name() const {
    return option_->get_name();
}

std::vector<std::string> OptionDefinition::longNames() const {
    return option_->get_lnames();
}

std::vector<std::string> OptionDefinition::shortNames() const {
    return option_->get_snames();
}

std::string OptionDefinition::meaning() const {
    return meaningOf(*option_);
}

std::string OptionDefinition::typeText() const {
    return option_->get_type_name();
}

bool OptionDefinition::isOperand() const {
    return option_->get_positional();
}

bool OptionDefinition::isRequired() const {
    return option_->get_required();
}

bool OptionDefinition::takesValue() const {
    return option_->get_items_expected_max() != 0;
}

bool OptionDefinition::mayBeRepeated() const {
    return option_->get_expected_max() == CLI::detail::expected_max_vector_size;
}

CommandDefinition CommandDefinition::addCommand(const std::string& name,
                                                const std::string& meaning) const {
    return CommandDefinition(app_->add_subcommand(name, meaning));
}

void CommandDefinition::addAlias(const std::string& name) const {
    app_->alias(name);
}

void CommandDefinition::takeShortHelp() const {
    app_->set_help_flag("--help", "Print this help message and exit");
}

void CommandDefinition::setGroup(const std::string& title) const {
    app_->group(title);
}

void CommandDefinition::setFooter(const std::string& text) const {
    app_->footer(text);
}

void CommandDefinition::whenGiven(std::function<void()> action) const {
    app_->callback(std::move(action));
}

OptionDefinition CommandDefinition::addOption(const std::string& names, std::string& value,
                                              const std::string& meaning) const {
    return OptionDefinition(app_->add_option(names, value, meaning));
}

OptionDefinition CommandDefinition::addOption(const std::string& names,
                                              std::vector<std::string>& values,
                                              const std::string& meaning) const {
    return OptionDefinition(app_->add_option(names, values, meaning));
}

OptionDefinition CommandDefinition::addOption(const std::string& names, int& value,
                                              const std::string& meaning) const {
    return OptionDefinition(app_->add_option(names, value, meaning));
}

OptionDefinition CommandDefinition::addOption(const std::string& names, size_t& value,
                                              const std::string& meaning) const {
    return OptionDefinition(app_->add_option(names, value, meaning));
}

OptionDefinition CommandDefinition::addOption(const std::string& names, Taker take,
                                              const std::string& meaning) const {
    const auto takeOrThrow = [names, take = std::move(take)](const std::string& text) {
        const Result<void> taken = take(text);
        if (!taken) throw CLI::ValidationError(names, taken.error().sentences.front());
    };
    return OptionDefinition(app_->add_option_function<std::string>(names, takeOrThrow, meaning));
}

OptionDefinition CommandDefinition::addFlag(const std::string& names, bool& given,
                                            const std::string& meaning) const {
    return OptionDefinition(app_->add_flag(names, given, meaning));
}

OptionDefinition CommandDefinition::addFlag(const std::string& names, int& count,
                                            const std::string& meaning) const {
    return OptionDefinition(app_->add_flag(names, count, meaning));
}

std::string CommandDefinition::name() const {
    return app_->get_name();
}

std::string CommandDefinition::meaning() const {
    return app_->get_description();
}

std::string CommandDefinition::footer() const {
    return app_->get_footer();
}

std::vector<CommandDefinition> CommandDefinition::commands() const {
    std::vector<CommandDefinition> found;
    for (CLI::App* each : app_->get_subcommands({})) found.emplace_back(each);
    return found;
}

std::vector<OptionDefinition> CommandDefinition::operands() const {
    return optionsOf(*app_, true);
}

std::vector<OptionDefinition> CommandDefinition::options() const {
    return optionsOf(*app_, false);
}

std::optional<CommandDefinition> CommandDefinition::findCommand(const std::string& name) const {
    for (CLI::App* each : app_->get_subcommands({})) {
        if (each->check_name(name)) return CommandDefinition(each);
    }
    return std::nullopt;
}

std::optional<OptionDefinition> CommandDefinition::findOption(const std::string& name) const {
    CLI::Option* found = app_->get_option_no_throw(name);
    return found == nullptr ? std::nullopt : std::optional(OptionDefinition(found));
}

Parser::Parser(const std::string& name, const std::string& meaning)
    : app_(std::make_unique<CLI::App>(meaning)) {
    app_->name(name);
    setWidth(usualWidth);
}

void Parser::setWidth(size_t columns) {
    app_->formatter(makeUsage(columns));
}

Parser::~Parser() = default;

void Parser::setVersion(const std::string& text) {
    app_->set_version_flag("--version", text);
}

std::string Parser::version() const {
    return app_->version();
}

void Parser::requireCommand() {
    app_->require_subcommand(1);
}

void Parser::takeOptionsBehindCommand() {
    app_->fallthrough();
}

void Parser::ignoreOtherWords() {
    app_->allow_extras();
    app_->set_help_flag();
}

Result<std::string> Parser::parse(std::vector<std::string> words) {
    for (CLI::App* command : app_->get_subcommands({})) {
        for (CLI::Option* option : command->get_options()) option->transform(withoutMark);
    }
    for (CLI::Option* option : app_->get_options()) option->transform(withoutMark);
    const std::string first = words.empty() ? std::string() : words.front();
    std::vector<std::string> typedOptions;
    for (std::string& word : words) {
        if (word.starts_with('-')) typedOptions.push_back(withoutValue(word));
        const bool isInBrackets = word.starts_with('[') && word.ends_with(']');
        const bool hasEmptyValue = word.starts_with("--") && word.find('=') == word.size() - 1;
        if (isInBrackets || hasEmptyValue) word += mark;
    }
    std::reverse(words.begin(), words.end());  // as the library takes them
    try {
        app_->parse(std::move(words));
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
            return localError(Kind::usage, lineProblem(*app_, problem, first, typedOptions));
        std::ostringstream answer;
        app_->exit(problem, answer, answer);
        return answer.str();
    }
    return std::string();
}

std::string Parser::givenCommand() const {
    const auto commands = app_->get_subcommands();
    return commands.empty() ? "" : commands.front()->get_name();
}

std::string Parser::help() const {
    // App::help() would be that of the command that was given.
    return app_->get_formatter()->make_help(app_.get(), {}, CLI::AppFormatMode::Normal);
}

}  // namespace quillon::cli
