// A member's content as a local file of the member's own name, for programs to change.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "client/left_caches.hpp"
#include "client/result.hpp"

namespace quillon::cli {

class WorkCopy {
public:
    // A copy of the original, which stays as it is; in a private folder beside it.
    static Result<WorkCopy> make(const std::filesystem::path& original, const std::string& name);

    WorkCopy(WorkCopy&& other) noexcept = default;
    WorkCopy& operator=(WorkCopy&&) = delete;
    ~WorkCopy();  // with everything that programs left beside it

    const std::filesystem::path& file() const { return file_; }
    // Of its folder: a program that inherits it keeps the copy from being taken for left over.
    int descriptor() const { return hold_.descriptor(); }
    Result<bool> changed() const;  // a file that is gone has not changed

    // A copy of the file as it is, where it has changed; nothing also while it is being written.
    // With endSnapshot it goes, or is what later changes are told from.
    Result<std::optional<std::filesystem::path>> takeSnapshot() const;
    void endSnapshot(bool wasStored) const;

    // Moves the file to where it stays: to the working directory, else the person's home, else the
    // one for temporary files; under its name with a number where that is taken.
    Result<std::filesystem::path> save() const;
    // The same for what an editor left beside it that a signal ended: its record of what was typed.
    std::vector<std::filesystem::path> saveLeftovers() const;

private:
    WorkCopy(std::filesystem::path original, std::filesystem::path file, FolderHold hold)
        : original_(std::move(original)), file_(std::move(file)), hold_(std::move(hold)) {}

    std::filesystem::path original_;
    std::filesystem::path file_;  // empty: moved from
    FolderHold hold_;
};

}  // namespace quillon::cli
