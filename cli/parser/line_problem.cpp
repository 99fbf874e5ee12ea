#include "cli/parser/line_problem.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/parser/nearest.hpp"

namespace quillon::cli {
namespace {

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

// "-name", as find(1) has its options: the library takes that for several short ones, and leaves
// what is behind the last that it knows, which is rest. Empty: it is nothing of the kind.
std::string nameBehindOneDash(const std::string& rest, const std::vector<std::string>& typed,
                              const std::vector<std::string>& names) {
    const std::string end = withoutValue(rest).substr(1);
    const auto isIt = [&](const std::string& word) {
        return word.ends_with(end) &&
               std::find(names.begin(), names.end(), '-' + word) != names.end();
    };
    const auto found = std::find_if(typed.begin(), typed.end(), isIt);
    return found == typed.end() ? std::string() : *found;
}

// What others call otherwise.
constexpr std::pair<std::string_view, std::string_view> foreignNames[] = {
    {"--cacert", "--ca-file"},
    {"-k", "--insecure"},
    {"--password", "--password-file"},
    {"--oauth2-bearer", "--token-file"},
    {"--bearer-token", "--token-file"},
    {"--ntlm", "--auth ntlm"},
    {"--negotiate", "--auth negotiate"},
    {"--socks5", "--proxy with a URL that begins with socks5h://"},
    {"--socks4a", "--proxy with a URL that begins with socks4a://"}};

std::string didYouMean(const std::string& typed, const std::vector<std::string>& words) {
    const auto foreign = std::ranges::find(foreignNames, typed,
                                           &std::pair<std::string_view, std::string_view>::first);
    if (foreign != std::end(foreignNames)) {
        return fmt::format(" Did you mean {}?", foreign->second);
    }
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
std::string wordProblem(const CLI::App& program, const std::string& word, bool isFirst,
                        const std::vector<std::string>& typedOptions) {
    if (word.starts_with('-')) {
        const std::vector<std::string> names = optionNames(program);
        const std::string behindOneDash = nameBehindOneDash(word, typedOptions, names);
        const std::string name = behindOneDash.empty() ? optionName(word) : behindOneDash;
        return fmt::format("There is no option \"{}\" here.{}", name, didYouMean(name, names));
    }
    if (isFirst) {
        return fmt::format("There is no command \"{}\".{}", word,
                           didYouMean(word, commandNames(program)));
    }
    const std::string shown = word.find("://") == word.npos ? "There" : fmt::format("\"{}\"", word);
    return shown + " is one word too many. A name with blanks stands in quotes.";
}

}  // namespace

std::string withoutMark(std::string word) {
    if (word.ends_with(mark)) word.pop_back();
    return word;
}

std::string withoutValue(const std::string& word) {
    return word.substr(0, word.find_first_of("=:"));
}

std::string lineProblem(const CLI::App& program, const CLI::Error& problem,
                        const std::string& first, const std::vector<std::string>& typedOptions) {
    std::vector<std::string> words = program.remaining(true);
    std::transform(words.begin(), words.end(), words.begin(), withoutMark);
    const auto about = static_cast<CLI::ExitCodes>(problem.get_exit_code());
    const bool ofWords =
        about == CLI::ExitCodes::ExtrasError || about == CLI::ExitCodes::RequiredError;
    if (program.get_subcommands().empty()) {
        if (words.empty()) return ofWords ? "A command is missing." : optionProblem(problem);
        return wordProblem(program, words.front(), words.front() == first, typedOptions);
    }
    if (words.empty() || !ofWords) return optionProblem(problem);
    const auto option = std::find_if(words.begin(), words.end(),
                                     [](const auto& word) { return word.starts_with('-'); });
    return wordProblem(program, option != words.end() ? *option : words.front(), false,
                       typedOptions);
}

}  // namespace quillon::cli
