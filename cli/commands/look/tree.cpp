// quillon tree: trees as drawings.
#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/look/visit_trees.hpp"

namespace quillon::cli {
namespace {

struct DrawingOptions {
    std::vector<std::string> urls;
    bool collectionsOnly = false;
    std::optional<size_t> mostDepth;
    bool json = false;
};

std::string countOf(size_t count, std::string_view what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

class Drawing : public TreeVisitor {
public:
    explicit Drawing(const DrawingOptions& options) : options_(options) {}

    bool wants(std::string_view, bool isCollection) const override {
        return isCollection || !options_.collectionsOnly;
    }
    void meet(const Visited& each) override {
        const bool isCollection = each.resource.isCollection;
        if (each.depth > 0) ++(isCollection ? collections_ : files_);
        if (options_.json) {
            if (each.depth > 0 || !isCollection) add(describe(each).text());
        } else if (each.depth == 0) {
            add(harmless(each.url));
        } else {
            // A name that ended the line would break the drawing, wherever it is read.
            add(lead_ + (each.isLast ? "└── " : "├── ") + harmless(each.name) +
                (isCollection ? "/" : ""));
        }
        if (isCollection && each.depth > 0) lead_ += each.isLast ? last : between;
    }
    void missRest(const Visited&) override {
        if (!options_.json) add(lead_ + "[not all could be read]");
    }
    void leave(const Visited& collection) override {
        if (collection.depth == 0) return;
        lead_.resize(lead_.size() - (collection.isLast ? last : between).size());
    }

    void addCounts() {
        if (options_.json) return;
        add("");
        add(countOf(collections_, "collection") +
            (options_.collectionsOnly ? "" : ", " + countOf(files_, "file")));
    }

private:
    static constexpr std::string_view last = "    ", between = "│   ";

    void add(const std::string& line) {
        output.text() += line + '\n';
        output.endLine();
    }

    const DrawingOptions& options_;
    std::string lead_;  // of the lines in the innermost collection
    size_t collections_ = 0, files_ = 0;
};

}  // namespace

void addTree(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<DrawingOptions>();
    const CommandDefinition command = program.addCommand("tree", "Draw trees");
    addTreeUrls(command, invocation, options->urls);
    command.addFlag("-d,--collections", options->collectionsOnly, "Collections alone");
    addDepthOption(command, "-L,--max-depth", options->mostDepth,
                   "Not deeper than so; 1: the members themselves");
    command.addFlag("--json", options->json, "An object a line, as find has it");
    command.setFooter(
        "Collections end in \"/\". Those that cannot be listed are told on standard error, too, "
        "and the exit\ncode says so; the rest is drawn.\n\n"
        "Examples:\n"
        "  quillon tree https://example.org/dav/\n"
        "  quillon tree -d -L 2 https://example.org/dav/\n");
    whenGiven(command, invocation, [options](Session& session) {
        Drawing drawing(*options);
        const int code = visitTrees(session, options->urls, options->mostDepth, drawing);
        drawing.addCounts();
        return code;
    });
}

}  // namespace quillon::cli
