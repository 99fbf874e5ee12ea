// What of a local folder is not in the tree that is fetched into it: it may have been removed
// there.
#pragma once

#include <string>
#include <vector>

#include "client/tree/get_tree.hpp"
#include "client/tree/local_folder.hpp"
#include "client/tree/walk.hpp"

namespace quillon {

class LeftOverHere {
public:
    // Both outlive it.
    LeftOverHere(const LocalFolder& folder, const TreeOptions& options)
        : folder_(folder), options_(options) {}

    // An entry of the collection's folder that the collection has no member for.
    void note(const WalkedCollection& walked, const ScannedEntry& entry);
    // Once all of the tree was seen: removes what it may, and tells of the rest.
    void remove();

private:
    struct Entry {
        std::string path, url;
        LocalEntry entry;
    };

    bool removeFolder(const Entry& folder);
    bool removeFile(const Entry& file);
    bool wasOnBothSides(const Entry& file) const;
    void tellFailure(const Entry& entry, const Error& error) const;

    const LocalFolder& folder_;
    const TreeOptions& options_;
    std::vector<Entry> entries_;
    bool removesUnknown_ = false;
};

}  // namespace quillon
