// A collection with all that is in it, made anew or completed elsewhere, member by member.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "client/remote/change.hpp"
#include "client/remote/remote.hpp"
#include "client/remote/resource.hpp"
#include "client/transfer_meter.hpp"
#include "client/tree/between.hpp"

namespace quillon {

struct TreeStep {
    std::string path;  // below the root; empty: the root
    std::string from, to;
    bool isCollection = false;
    std::optional<uint64_t> size{};  // in bytes
    std::optional<Error> error{};    // why it is not there now
};

struct TreeCopy {
    Remote& source;
    Remote& destination;
    Overwrite overwrite;  // whether a collection may be there already, too
    bool dryRun = false;
    // For a member: null in a dry run.
    std::function<Result<void>(const Resource& member, const std::string& from,
                               const std::string& to, Parent parent)>
        copyMember;
    std::function<void(const TreeStep&)> tell;
    TransferMeter* meter = nullptr;  // of the members; null: nobody wants to know
};

// Both URLs end in slashes. Gives whether all of it was copied; what was not is told, and the rest
// goes on, until an interrupt.
bool copyTree(const TreeCopy& copy, const std::string& from, const std::string& to);

}  // namespace quillon
