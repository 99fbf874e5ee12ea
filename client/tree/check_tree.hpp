// A local folder compared with a tree of a server. Nothing is changed on either side.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "client/error.hpp"
#include "client/memory/file_memory.hpp"
#include "client/remote/remote.hpp"
#include "client/transfer_meter.hpp"
#include "client/tree/filter.hpp"
#include "client/tree/local_folder.hpp"

namespace quillon {

enum class Checked : uint8_t {
    same,
    different,
    missingHere,
    missingThere,
    skipped,  // is here, and no part of a tree
    unread    // could not be read, here or there
};

struct CheckEvent {
    Checked outcome;
    std::string path;  // below the root; empty: the root
    std::string url;   // of the other side
    bool isFolder = false;
    std::optional<Error> error{};  // why it is different, where more than its size tells, or unread
};

struct CheckOptions {
    bool checksum = false;   // contents are compared, not dates and notes
    bool datesKept = false;  // the server gives its files the dates that it is told
    Filter filter;
    Links links = Links::left;
    FileMemory* memory = nullptr;
    std::function<void(const CheckEvent&)> tell;
    TransferMeter* meter = nullptr;  // of contents that are compared; null: nobody wants to know
};

// The root's URL ends in a slash. Fails when the root cannot be listed.
Task<Result<void>> checkTree(Remote& remote, std::string rootUrl, const LocalFolder& folder,
                             const CheckOptions& options);

}  // namespace quillon
