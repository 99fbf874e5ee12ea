// quillon find: the members of trees that fit what is asked of them.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/look/visit_trees.hpp"
#include "cli/parser/byte_count.hpp"
#include "client/tree/local_names.hpp"
#include "client/tree/name_pattern.hpp"

namespace quillon::cli {
namespace {

struct NameTest {
    NamePattern pattern;
    bool anyCase;

    bool fits(const std::string& name) const {
        return pattern.matches(
            charactersOf(anyCase ? foldedName(name, {.letterCase = true}) : name));
    }
};

struct SizeTest {
    char sign;  // '+', '-' or '='
    uint64_t bytes;

    bool fits(uint64_t size) const {
        if (sign == '+') return size > bytes;
        return sign == '-' ? size < bytes : size == bytes;
    }
};

struct FindOptions {
    std::vector<std::string> urls;
    std::vector<NameTest> names;
    std::vector<SizeTest> sizes;
    std::optional<Time> newer, older;
    std::string type;  // "f", "d" or empty
    std::optional<size_t> mostDepth;
    bool endsInNull = false;
    bool json = false;
};

Result<void> addNameTest(FindOptions& options, const std::string& text, bool anyCase) {
    Result<NamePattern> pattern =
        NamePattern::parse(anyCase ? foldedName(text, {.letterCase = true}) : text);
    if (!pattern) return std::move(pattern).error();
    options.names.push_back({*std::move(pattern), anyCase});
    return {};
}

Result<void> addSizeTest(FindOptions& options, const std::string& text) {
    const bool isSigned = text.starts_with('+') || text.starts_with('-');
    const auto bytes = parseByteCount(std::string_view(text).substr(isSigned ? 1 : 0));
    if (!bytes) {
        return localError(Kind::usage,
                          "Say a size as in 4096 or 10K, larger ones as +1M, smaller "
                          "ones as -1M.");
    }
    options.sizes.push_back({isSigned ? text.front() : '=', *bytes});
    return {};
}

Result<void> setType(FindOptions& options, const std::string& text) {
    options.type = text;
    if (text == "f" || text == "d") return {};
    return localError(Kind::usage, "Say f for files, d for collections.");
}

// What the server tells no date of is neither newer nor older.
bool fitsAll(const FindOptions& options, const std::string& name, const Resource& resource) {
    if (!options.type.empty() && (options.type == "d") != resource.isCollection) return false;
    if (!options.sizes.empty() && !resource.size) return false;
    const auto& date = resource.modified;
    if (options.newer && !(date && *date > *options.newer)) return false;
    if (options.older && !(date && *date < *options.older)) return false;
    return std::ranges::all_of(options.sizes,
                               [&](const SizeTest& test) { return test.fits(*resource.size); }) &&
           std::ranges::all_of(options.names,
                               [&](const NameTest& test) { return test.fits(name); });
}

class Finder : public TreeVisitor {
public:
    explicit Finder(const FindOptions& options) : options_(options) {}

    void meet(const Visited& each) override {
        const bool isStart = each.depth == 0 && each.resource.isCollection;
        if (isStart || !fitsAll(options_, each.name, each.resource)) return;
        output.text() += options_.json ? describe(each).text() : each.url;
        output.text() += options_.endsInNull ? '\0' : '\n';
        output.endLine();
    }

private:
    const FindOptions& options_;
};

}  // namespace

void addFind(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<FindOptions>();
    const CommandDefinition command =
        program.addCommand("find", "Find members of trees by name, size, date and type");
    addTreeUrls(command, invocation, options->urls);
    command
        .addOption(
            "--name",
            [options](const std::string& text) { return addNameTest(*options, text, false); },
            "Whose name matches, as a shell's patterns do")
        .typeName("PATTERN");
    command
        .addOption(
            "--iname",
            [options](const std::string& text) { return addNameTest(*options, text, true); },
            "The same, in capitals or not")
        .typeName("PATTERN");
    command
        .addOption(
            "--size", [options](const std::string& text) { return addSizeTest(*options, text); },
            "Files larger than +SIZE, smaller than -SIZE, or of just that SIZE")
        .typeName("SIZE")
        .eachInTurn();
    addTimeOption(command, "--newer", options->newer, "Changed after TIME");
    addTimeOption(command, "--older-than", options->older, "Changed before TIME");
    command
        .addOption(
            "--type", [options](const std::string& text) { return setType(*options, text); },
            "f: files; d: collections")
        .typeName("f|d");
    addDepthOption(command, "--max-depth", options->mostDepth,
                   "Not deeper than so; 1: the members themselves");
    const auto ends =
        command.addFlag("-0,--print0", options->endsInNull, "End each URL in a NUL, for xargs -0");
    command.addFlag("--json", options->json, "An object a line").excludes(ends);
    command.setFooter(
        std::string("All that is asked must fit. What is found is told as URLs, which other "
                    "commands take as they\nare, collections with a final slash. Collections "
                    "that cannot be listed are told on standard error, and\nthe exit code "
                    "says so; the rest is searched.\n\n"
                    "SIZE is in bytes, or in units of 1024: 10K, 1.5M, 2G. ") +
        timeHelp +
        "\nExamples:\n"
        "  quillon find --name '*.tmp' --older-than 7d https://example.org/dav/\n"
        "  quillon find --size +100M --json https://example.org/dav/ | jq -r .path\n"
        "  quillon find --iname '*.jpg' -0 https://example.org/dav/ | xargs -0 quillon get -O "
        "pictures\n");
    whenGiven(command, invocation, [options](Session& session) {
        Finder finder(*options);
        return visitTrees(session, options->urls, options->mostDepth, finder);
    });
}

}  // namespace quillon::cli
