// quillon du: how much collections hold.
#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/look/visit_trees.hpp"
#include "cli/terminal/format.hpp"

namespace quillon::cli {
namespace {

struct DuOptions {
    std::vector<std::string> urls;
    bool forPeople = false;
    bool sumsOnly = false;
    std::optional<size_t> shownDepth;
    bool json = false;
};

struct Sum {
    uint64_t bytes = 0, files = 0, collections = 0;
    bool isComplete = true;

    void add(const Sum& other) {
        bytes += other.bytes;
        files += other.files;
        collections += other.collections;
        isComplete = isComplete && other.isComplete;
    }
};

class Summing : public TreeVisitor {
public:
    explicit Summing(const DuOptions& options) : options_(options) {}

    void meet(const Visited& each) override {
        if (each.resource.isCollection) {
            open_.emplace_back();
            return;
        }
        const Sum its{each.resource.size.value_or(0), 1, 0, each.resource.size.has_value()};
        if (each.depth == 0) return tell(each, its);
        open_.back().add(its);
    }
    void missRest(const Visited&) override { open_.back().isComplete = false; }
    void leave(const Visited& collection) override {
        const Sum its = open_.back();
        open_.pop_back();
        if (!open_.empty()) {
            open_.back().add(its);
            ++open_.back().collections;
        }
        const size_t shown =
            options_.sumsOnly ? 0 : options_.shownDepth.value_or(static_cast<size_t>(-1));
        if (collection.depth <= shown) tell(collection, its);
    }

private:
    void tell(const Visited& each, const Sum& sum) {
        output.text() += options_.json ? object(each, sum) : line(each, sum);
        output.text() += '\n';
        output.endLine();
    }
    std::string line(const Visited& each, const Sum& sum) const {
        return fmt::format("{}\t{}",
                           options_.forPeople ? shortSize(sum.bytes) : std::to_string(sum.bytes),
                           each.url);
    }
    static std::string object(const Visited& each, const Sum& sum) {
        JsonObject object;
        object.addText("path", each.path);
        object.addText("url", each.url);
        object.addNumber("size", sum.bytes);
        object.addNumber("files", sum.files);
        object.addNumber("collections", sum.collections);
        object.addFlag("complete", sum.isComplete);
        return object.text();
    }

    const DuOptions& options_;
    std::vector<Sum> open_;  // of the collections that are not left yet, from the outermost
};

}  // namespace

void addDu(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<DuOptions>();
    const CommandDefinition command = program.addCommand("du", "Sum up the sizes in collections");
    command.takeShortHelp();
    addTreeUrls(command, invocation, options->urls);
    command.addFlag("-h,--human-readable", options->forPeople, "Sizes for people: 12.3 MiB");
    const auto sums = command.addFlag("-s,--summarize", options->sumsOnly,
                                      "What was named alone, and not what lies in it");
    const auto depth =
        addDepthOption(command, "-d,--max-depth", options->shownDepth,
                       "Tell collections that lie not deeper than so; all are summed up");
    depth.excludes(sums);
    command.addFlag("--json", options->json, "An object a line");
    command.setFooter(
        "A line a collection: the bytes of all files in it, at any depth, and its URL; what was\n"
        "named comes last. Sizes are those that the server tells, and a file whose size it does\n"
        "not tell counts as 0. Collections that cannot be listed are told on standard error, and\n"
        "the exit code says so; the rest is summed up, and \"complete\" is false in JSON.\n\n"
        "Examples:\n"
        "  quillon du -h -d 1 https://example.org/dav/\n"
        "  quillon du -s https://example.org/dav/reports/\n");
    whenGiven(command, invocation, [options](Session& session) {
        Summing summing(*options);
        return visitTrees(session, options->urls, std::nullopt, summing);
    });
}

}  // namespace quillon::cli
