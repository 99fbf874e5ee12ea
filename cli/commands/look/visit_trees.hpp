// Trees on servers, resource by resource, for commands that show them: a collection comes before
// what it holds, and that in the order of its segments.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/remote/resource.hpp"

namespace quillon::cli {

struct Visited {
    std::string path;    // decoded names with "/" between them; empty: the one that was named
    std::string name;    // decoded
    std::string url;     // a collection's ends in a slash
    Resource resource;   // of a collection that was named nothing but that it is one
    size_t depth = 0;    // 0: the one that was named
    bool isLast = true;  // in its collection
};

class TreeVisitor {
public:
    virtual ~TreeVisitor() = default;
    // Whether a resource is visited at all. The path: as in Visited.
    virtual bool wants(std::string_view /*path*/, bool /*isCollection*/) const { return true; }
    virtual void meet(const Visited& each) = 0;
    // Before what a collection holds, which can be read.
    virtual void open(const Visited& /*collection*/, const std::vector<Resource>& /*members*/) {}
    // Behind what a collection holds, whether that could be read or not.
    virtual void leave(const Visited& /*collection*/) {}
    // In place of what it holds, or of what is missing of it. It has been reported.
    virtual void missRest(const Visited& /*collection*/) {}

    LineOutput output;
};

// Visits what each URL names; one without a final slash may name a file. What cannot be read is
// reported, the rest is visited. The code is that of the first failure.
// mostDepth: how deep below what was named; at least 1.
int visitTrees(Session& session, std::vector<std::string>& urls, std::optional<size_t> mostDepth,
               TreeVisitor& visitor);

// That a listing lacks members. Gives the exit code.
int tellUnreadable(const std::string& collection, size_t count);

// Those of a command; in a shell its own collection where none is named.
void addTreeUrls(CommandDefinition command, const Invocation& invocation,
                 std::vector<std::string>& urls);
// How deep, as an option whose names are given.
OptionDefinition addDepthOption(CommandDefinition command, const std::string& names,
                                std::optional<size_t>& depth, const std::string& meaning);

JsonObject describe(const Visited& each);  // with its path

}  // namespace quillon::cli
