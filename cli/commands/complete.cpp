#include "cli/commands/complete.hpp"

#include <optional>
#include <ranges>
#include <string_view>

#include "cli/parser/options.hpp"
#include "cli/parser/position.hpp"
#include "cli/session/name_candidates.hpp"
#include "cli/session/sites.hpp"
#include "cli/terminal/print.hpp"

namespace quillon::cli {
namespace {

constexpr std::string_view localFiles = ":files";
constexpr std::string_view localDirectories = ":directories";

class Completer {
public:
    Completer(const Position& position, std::string typed, const CommonOptions& options,
              std::string firstUrl)
        : position_(position),
          typed_(std::move(typed)),
          options_(options),
          firstUrl_(std::move(firstUrl)) {}

    void run() {
        if (position_.awaits) return offerValue(*position_.awaits);
        if (!position_.mayBeOption(typed_)) return offerOperand();
        const size_t end = typed_.find('=');
        const auto given =
            end == std::string::npos ? std::nullopt : position_.findOption(typed_.substr(0, end));
        if (!given || !given->takesValue()) return offerOptions();
        lead_ = typed_.substr(0, end + 1);
        typed_.erase(0, end + 1);
        offerValue(*given);
    }

private:
    void offer(const std::string& word, const std::string& description) const {
        if (word.starts_with(typed_)) printOut("{}{}\t{}\n", lead_, word, description);
    }

    void offerCommands() const {
        for (const CommandDefinition command : position_.program.commands()) {
            offer(command.name(), command.meaning());
        }
    }

    void offerOptions() const {
        for (const std::string& name : position_.optionNames()) {
            offer(name, position_.findOption(name)->meaning());
        }
    }

    void offerValue(OptionDefinition option) const {
        const std::string type = option.typeText();
        if (type.find('|') != type.npos) {
            for (const auto& word : std::views::split(type, '|')) {
                offer(std::string(word.begin(), word.end()), "");
            }
        }
        if (type.find("FILE") != std::string::npos) printOut("{}\n", localFiles);
        if (type.find("DIR") != std::string::npos) printOut("{}\n", localDirectories);
    }

    void offerOperand() const {
        if (position_.command == position_.program) return offerCommands();
        const std::string name = position_.operandName();
        const auto means = [&name](std::string_view kind) {
            return name.find(kind) != std::string::npos;
        };
        if (means("URL")) {
            for (const NameCandidate& remote : urlCandidates(options_, firstUrl_, typed_)) {
                offer(remote.word, remote.description);
            }
        }
        if (name == "NAME") {
            for (const NameCandidate& site : siteCandidates(options_))
                offer(site.word, site.description);
        }
        if (means("FILE") || means("COMMAND")) printOut("{}\n", localFiles);
        if (name == "ACTION") {
            for (const char* action : {"get", "set", "rm", "ls"}) offer(action, "");
        }
        if (means("DIRECTORY")) printOut("{}\n", localDirectories);
    }

    const Position& position_;
    std::string typed_;
    std::string lead_;  // of the word, in front of what is completed
    const CommonOptions& options_;
    const std::string firstUrl_;  // of the words before; empty: none
};

// Those among the words that tell how to reach a server; a password is not read from a standard
// input that is not for us.
CommonOptions optionsAmong(std::vector<std::string> words) {
    CommonOptions options;
    Parser parser("", "");
    parser.ignoreOtherWords();
    addCommonOptions(parser.program(), options);
    (void)parser.parse(std::move(words));
    for (std::string* file : {&options.passwordFile, &options.access.tokenFile}) {
        if (*file == "-") file->clear();
    }
    options.verbosity = 0;  // a log would end up between the person's prompt and the cursor
    return options;
}

}  // namespace

void complete(const Parser& parser, std::vector<std::string> words) {
    if (words.empty()) words.emplace_back();
    const std::string typed = std::move(words.back());
    words.pop_back();
    Position position(parser.program());
    std::string firstUrl;
    for (const std::string& word : words) {
        // Local files may stand beside URLs.
        const bool isUrl = word.find("://") != word.npos || Sites::knows(word);
        const bool mayBeFirst = firstUrl.empty() && isUrl && position.namesUrls();
        const size_t before = position.operands;
        position.advance(word);
        if (mayBeFirst && position.operands > before) firstUrl = word;
    }
    // The words are read twice: first for their places, by the parser's definitions alone since the
    // line is not complete, then for the options that tell how to reach a server.
    const CommonOptions options = optionsAmong(std::move(words));
    Completer(position, typed, options, std::move(firstUrl)).run();
}

}  // namespace quillon::cli
