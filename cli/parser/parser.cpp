#include "cli/parser/parser.hpp"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <utility>

#include "cli/parser/nearest.hpp"

namespace quillon::cli {
namespace {

// Behind a word like "[a,b]", which the library would take for a list of two; no word has it.
constexpr char bracketMark = '\0';

constexpr size_t usualWidth = 80;  // columns

std::string withoutMark(std::string word) {
    if (word.ends_with(bracketMark)) word.pop_back();
    return word;
}

// The library's own words for what is wrong with a value or an option begin with its name.
std::string optionProblem(const CLI::Error& problem) {
    std::string words = problem.what();
    const std::string option = words.substr(0, words.find(": "));
    const auto before = [&words](std::string_view text) {
        return words.substr(0, words.find(text));
    };
    switch (static_cast<CLI::ExitCodes>(problem.get_exit_code())) {
        case CLI::ExitCodes::ArgumentMismatch:
            return words.ends_with("missing") ? option + " needs a value."
                                              : option + " may be given once.";
        case CLI::ExitCodes::ConversionError: {  // "Could not convert: --long = x"
            const std::string flag = before(" = ");
            return flag.substr(flag.rfind(' ') + 1) + " takes no value.";
        }
        case CLI::ExitCodes::ExcludesError:
            return fmt::format("{} and {} do not go together.", before(" excludes "),
                               words.substr(words.rfind(' ') + 1));
        case CLI::ExitCodes::RequiredError:
            return before(" is required") + " is missing.";
        default:
            return words;
    }
}

// Without what may be its value: "--password=x", "-px".
std::string optionName(const std::string& word) {
    return word.substr(0, word.starts_with("--") ? word.find('=') : 2);
}

std::string didYouMean(const std::string& typed, const std::vector<std::string>& words) {
    const std::string nearest = nearestWord(typed, words);
    return nearest.empty() ? std::string() : fmt::format(" Did you mean {}?", nearest);
}

// As they are typed, the program's behind those of the command.
std::vector<std::string> optionNames(const CLI::App& program) {
    std::vector<const CLI::App*> apps{&program};
    for (const CLI::App* command : program.get_subcommands()) apps.insert(apps.begin(), command);
    std::vector<std::string> names;
    for (const CLI::App* app : apps) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        }
    }
    return names;
}

std::vector<std::string> commandNames(const CLI::App& program) {
    std::vector<std::string> names;
    for (const CLI::App* command : program.get_subcommands({})) {
        names.push_back(command->get_name());
        const auto& aliases = command->get_aliases();
        names.insert(names.end(), aliases.begin(), aliases.end());
    }
    return names;
}

// Words that nobody asked for may be a password, but for the one that should be a command, and for
// URLs, whose credentials a report conceals.
std::string wordProblem(const CLI::App& program, const std::string& word, bool isFirst) {
    if (word.starts_with('-')) {
        const std::string name = optionName(word);
        return fmt::format("There is no option \"{}\" here.{}", name,
                           didYouMean(name, optionNames(program)));
    }
    if (isFirst) {
        return fmt::format("There is no command \"{}\".{}", word,
                           didYouMean(word, commandNames(program)));
    }
    const std::string shown = word.find("://") == word.npos ? "There" : fmt::format("\"{}\"", word);
    return shown + " is one word too many. A name with blanks stands in quotes.";
}

// What is wrong with a line, for the person who typed it, whose first word is given.
std::string lineProblem(const CLI::App& program, const CLI::Error& problem,
                        const std::string& first) {
    std::vector<std::string> words = program.remaining(true);
    std::transform(words.begin(), words.end(), words.begin(), withoutMark);
    if (program.get_subcommands().empty()) {
        if (words.empty()) return "A command is missing.";
        return wordProblem(program, words.front(), words.front() == first);
    }
    const auto about = static_cast<CLI::ExitCodes>(problem.get_exit_code());
    const bool ofWords =
        about == CLI::ExitCodes::ExtrasError || about == CLI::ExitCodes::RequiredError;
    if (words.empty() || !ofWords) return optionProblem(problem);
    const auto option = std::find_if(words.begin(), words.end(),
                                     [](const auto& word) { return word.starts_with('-'); });
    return wordProblem(program, option != words.end() ? *option : words.front(), false);
}

// Lines as long as they may be; a word that is longer keeps one to itself.
std::string wrapped(const std::string& text, size_t columns) {
    std::string result;
    size_t lineStart = 0;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const bool fits = result.size() - lineStart + 1 + (end - at) <= columns;
        if (at > 0) result += fits ? ' ' : '\n';
        if (at > 0 && !fits) lineStart = result.size();
        result.append(text, at, end - at);
        at = end + 1;
    }
    return result;
}

// A paragraph that has indented lines keeps its lines.
std::string wrappedParagraph(std::string paragraph, size_t columns) {
    if (paragraph.find("\n ") != paragraph.npos || paragraph.starts_with(' ')) return paragraph;
    std::ranges::replace(paragraph, '\n', ' ');
    return wrapped(paragraph, columns);
}

std::string wrappedParagraphs(std::string_view text, size_t columns) {
    while (text.ends_with('\n')) text.remove_suffix(1);
    std::string result;
    while (!text.empty()) {
        const size_t end = std::min(text.find("\n\n"), text.size());
        result += wrappedParagraph(std::string(text.substr(0, end)), columns) + '\n';
        text.remove_prefix(std::min(text.find_first_not_of('\n', end), text.size()));
        if (!text.empty()) result += '\n';
    }
    return result;
}

// What it is for, and which others it does not go with.
std::string meaningOf(const CLI::Option& option) {
    std::vector<std::string> others;
    for (const CLI::Option* other : option.get_excludes()) others.push_back(other->get_name());
    if (others.empty()) return option.get_description();
    std::ranges::sort(others);  // else they come in the order of their addresses
    return fmt::format("{} (not with {})", option.get_description(), fmt::join(others, " or "));
}

class Usage : public CLI::Formatter {
public:
    explicit Usage(size_t columns)
        : columns_(columns),
          forMeaning_(std::max(columns, get_column_width() + leastForMeaning) -
                      get_column_width()) {}

private:
    static constexpr size_t leastForMeaning = 30;  // columns

    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(meaningOf(*option), forMeaning_);
    }

    // The meaning tells what the library does in a form of its own.
    std::string make_option_opts(const CLI::Option* option) const override {
        const std::string all = CLI::Formatter::make_option_opts(option);
        return all.substr(0, all.find(" Excludes:"));
    }

    std::string make_footer(const CLI::App* app) const override {
        return wrappedParagraphs(app->get_footer(), columns_);
    }

    std::string make_subcommand(const CLI::App* command) const override {
        std::ostringstream line;
        CLI::detail::format_help(line, command->get_name(),
                                 wrapped(command->get_description(), forMeaning_),
                                 get_column_width());
        return line.str();
    }

    // An operand whose name has dots gets no more.
    std::string make_option_usage(const CLI::Option* operand) const override {
        const bool dotted = operand->get_name().find("...") != std::string::npos;
        return dotted ? operand->get_name() : CLI::Formatter::make_option_usage(operand);
    }

    const size_t columns_, forMeaning_;
};

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
    return *this;
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
    app_->formatter(std::make_shared<Usage>(columns));
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
    for (std::string& word : words) {
        if (word.starts_with('[') && word.ends_with(']')) word += bracketMark;
    }
    std::reverse(words.begin(), words.end());  // as the library takes them
    try {
        app_->parse(std::move(words));
    } catch (const CLI::ParseError& problem) {
        if (problem.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
            return localError(Kind::usage, lineProblem(*app_, problem, first));
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
