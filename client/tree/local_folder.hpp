// A local folder as the end of a tree: nothing outside of it is ever touched, whatever the names.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/result.hpp"
#include "client/tree/local_entry.hpp"
#include "client/tree/local_names.hpp"
#include "client/tree/new_file.hpp"
#include "platform/base/descriptor.hpp"

namespace quillon {

// Whether symbolic links count as what they lead to, wherever that is.
enum class Links : bool { left, followed };

// Why an entry of a folder is no part of the tree.
enum class Unfit : uint8_t {
    none,
    noUtf8,
    link,
    brokenLink,
    loop,
    special,
    unfinished,
    unreadable
};

// In one sentence; empty for none.
std::string_view whyUnfit(Unfit unfit);

struct ScannedEntry {
    std::string name;    // bytes
    LocalEntry entry{};  // of the target, of a link that is followed; not of one that is unreadable
    Unfit unfit = Unfit::none;
};

// Paths are in it, with "/" between their segments ("a/b c"); empty: the folder itself. It stays
// the same folder when it is renamed.
class LocalFolder {
public:
    // What the person named may be a link.
    static Result<LocalFolder> open(const std::filesystem::path& path);
    static Result<LocalFolder> create(const std::filesystem::path& path);  // unless it is there

    std::filesystem::path shown(std::string_view path) const;  // for people

    // Nothing for nothing.
    Result<std::optional<LocalEntry>> look(std::string_view path) const;
    Result<void> makeFolder(std::string_view path) const;  // one that is there is none to be made
    Result<NewFile> makeFile(std::string_view path) const;

    // By their bytes.
    Result<std::vector<ScannedEntry>> scan(std::string_view path, Links links) const;
    Result<vxhost::Descriptor> openForReading(std::string_view path, Links links) const;

    // Only the version that was seen.
    Result<void> removeFile(std::string_view path, const LocalEntry& seen,
                            const Removal& removal = {}) const;
    // Hands it out by its folder and name.
    Result<void> takeFile(std::string_view path, const OldFileTaker& take) const;
    // A file or a folder, to where nothing is; Kind::changedHere where something is.
    Result<void> move(std::string_view from, std::string_view to) const;
    Result<void> removeFolder(std::string_view path) const;  // an empty one

    // What was written and renamed in it is on the disk when it returns.
    Result<void> storeAll() const;

    // Of the file system below it, tried out at the first call.
    Result<Folding> folding() const;

private:
    LocalFolder(std::filesystem::path path, vxhost::Descriptor directory)
        : path_(std::move(path)), directory_(std::move(directory)) {}
    vxhost::Descriptor openFolder(std::string_view path) const;
    vxhost::Descriptor openToRead(std::string_view path, int flags, Links links) const;
    ScannedEntry examine(const vxhost::Descriptor& folder, std::string_view path, std::string name,
                         Links links) const;
    bool isAround(std::string_view path, const LocalEntry& folder) const;

    std::filesystem::path path_;
    vxhost::Descriptor directory_;
    mutable std::optional<Folding> folding_;
};

}  // namespace quillon
