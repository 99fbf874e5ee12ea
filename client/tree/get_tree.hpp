// A tree of a server into a local folder.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/memory/file_memory.hpp"
#include "client/remote/remote.hpp"
#include "client/transfer_meter.hpp"
#include "client/tree/compare.hpp"
#include "client/tree/filter.hpp"
#include "client/tree/local_folder.hpp"
#include "client/tree/tree_report.hpp"

namespace quillon {

struct TreeOptions {
    CompareOptions compare;
    Filter filter;
    bool dryRun = false;  // everything is told, nothing is done
    std::string base{};   // of the folder here: a name in it, which is made; empty: itself
    bool remove = false;  // what one side alone has, and both had, goes
    // Whether so many of what nobody knows to have been on both go, too. Asked once; may be empty.
    std::function<bool(size_t count)> mayRemoveUnknown{};
    Links links = Links::left;     // on this side
    FileMemory* memory = nullptr;  // null: nothing is noted, and no note is believed
    TreeListener tell;
    TransferMeter* meter = nullptr;  // null: nobody wants to know

    // The path in the folder here of one in the tree.
    std::string placeOf(const std::string& path) const {
        if (base.empty()) return path;
        return path.empty() ? base : base + '/' + path;
    }
};

// The root's URL ends in a slash. Fails when the root cannot be listed; what else fails is told of
// the file, and the others go on.
Task<Result<void>> getTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                           const TreeOptions& options);

}  // namespace quillon
