#include "cli/parser/complete.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "cli/parser/complete_remote.hpp"
#include "cli/parser/definitions.hpp"
#include "cli/parser/options.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view LOCAL_FILES = ":files";
constexpr std::string_view LOCAL_DIRECTORIES = ":directories";

// What the words so far amount to.
struct Position {
    const CLI::App* program;
    const CLI::App* command;              // the program itself until one is named
    const CLI::Option* awaits = nullptr;  // the option whose value comes next
    size_t operands = 0;
    bool optionsEnded = false;  // behind "--"
};

// Commands take the program's options, too.
const CLI::Option* findOption(const Position& position, const std::string& name) {
    const CLI::Option* own = position.command->get_option_no_throw(name);
    return own != nullptr ? own : position.program->get_option_no_throw(name);
}

// "--user", "--user=ann", "-u", "-uann", or flags in one word: the option that still lacks a value.
const CLI::Option* awaitingOption(const Position& position, const std::string& word) {
    if (word.starts_with("--")) {
        const CLI::Option* option = findOption(position, word);
        return option != nullptr && takesValue(*option) ? option : nullptr;
    }
    for (size_t i = 1; i < word.size(); ++i) {
        const CLI::Option* option = findOption(position, std::string("-") + word[i]);
        if (option != nullptr && takesValue(*option))
            return i + 1 == word.size() ? option : nullptr;
    }
    return nullptr;
}

void advance(Position& position, const std::string& word) {
    if (position.awaits != nullptr) {
        position.awaits = nullptr;
    } else if (!position.optionsEnded && word == "--") {
        position.optionsEnded = true;
    } else if (!position.optionsEnded && word.size() > 1 && word.front() == '-') {
        position.awaits = awaitingOption(position, word);
    } else if (position.command == position.program) {
        const CLI::App* named = findCommand(*position.program, word);
        if (named != nullptr) position.command = named;
    } else {
        ++position.operands;
    }
}

class Completer {
public:
    Completer(const Position& position, std::string typed, const CommonOptions& options)
        : position_(position), typed_(std::move(typed)), options_(options) {}

    void run() {
        if (position_.awaits != nullptr) return offerValue(*position_.awaits);
        const bool mayBeOption = !position_.optionsEnded && typed_.starts_with('-');
        if (!mayBeOption) return offerOperand();
        const size_t end = typed_.find('=');
        const CLI::Option* given =
            end == std::string::npos ? nullptr : findOption(position_, typed_.substr(0, end));
        if (given == nullptr || !takesValue(*given)) return offerOptions();
        lead_ = typed_.substr(0, end + 1);
        typed_.erase(0, end + 1);
        offerValue(*given);
    }

private:
    void offer(const std::string& word, const std::string& description) const {
        if (word.starts_with(typed_)) fmt::print("{}{}\t{}\n", lead_, word, description);
    }

    void offerCommands() const {
        for (const CLI::App* command : position_.program->get_subcommands({})) {
            offer(command->get_name(), command->get_description());
        }
    }

    // Without the program's own where a command has one of the same name.
    void offerOption(const CLI::Option& option, const std::string& name) const {
        if (findOption(position_, name) == &option) offer(name, option.get_description());
    }

    void offerOptions() const {
        for (const CLI::App* app : {position_.command, position_.program}) {
            for (const CLI::Option* option : optionsOf(*app)) {
                for (const std::string& name : option->get_lnames())
                    offerOption(*option, "--" + name);
                for (const std::string& name : option->get_snames())
                    offerOption(*option, "-" + name);
            }
            if (position_.command == position_.program) return;
        }
    }

    void offerValue(const CLI::Option& option) const {
        const std::string type = option.get_type_name();
        if (type.find("FILE") != std::string::npos) fmt::print("{}\n", LOCAL_FILES);
        if (type.find("DIR") != std::string::npos) fmt::print("{}\n", LOCAL_DIRECTORIES);
    }

    // The last operand may be repeated.
    void offerOperand() const {
        if (position_.command == position_.program) return offerCommands();
        const auto operands = operandsOf(*position_.command);
        if (operands.empty()) return;
        const bool beyond = position_.operands >= operands.size();
        if (beyond && !repeatable(*operands.back())) return;
        const std::string name =
            (beyond ? operands.back() : operands[position_.operands])->get_name();
        const auto means = [&name](std::string_view kind) {
            return name.find(kind) != std::string::npos;
        };
        if (means("URL")) {
            for (const Remote& remote : remoteNames(options_, typed_)) {
                offer(remote.word, remote.description);
            }
        }
        if (name == "NAME") {
            for (const Remote& site : siteNames(options_)) offer(site.word, site.description);
        }
        if (means("FILE") || means("COMMAND")) fmt::print("{}\n", LOCAL_FILES);
    }

    const Position& position_;
    std::string typed_;
    std::string lead_;  // of the word, in front of what is completed
    const CommonOptions& options_;
};

// Those among the words that tell how to reach a server; a password is not read from a standard
// input that is not for us.
CommonOptions optionsAmong(std::vector<std::string> words) {
    CommonOptions options;
    CLI::App parser;
    parser.allow_extras();
    parser.set_help_flag();
    addCommonOptions(parser, options);
    try {
        std::reverse(words.begin(), words.end());  // as the parser takes them
        parser.parse(std::move(words));
    } catch (const CLI::ParseError&) {
    }
    if (options.passwordFile == "-") options.passwordFile.clear();
    options.verbosity = 0;
    return options;
}

}  // namespace

void complete(const CLI::App& program, std::vector<std::string> words) {
    if (words.empty()) words.emplace_back();
    const std::string typed = std::move(words.back());
    words.pop_back();
    Position position{&program, &program};
    for (const std::string& word : words) advance(position, word);
    const CommonOptions options = optionsAmong(std::move(words));
    Completer(position, typed, options).run();
}

}  // namespace quillon::cli
