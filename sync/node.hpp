// What a folder here and a collection there hold under one path, and what both held when they were
// last the same.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "client/time.hpp"
#include "platform/http/entity_tag.hpp"

namespace quillon::sync {

enum class NodeKind : uint8_t {
    file,
    folder,
    blocked  // something is there that cannot be on the other side; it is never touched
};

// A file's here; of a folder the inode alone counts.
struct HereState {
    uint64_t inode = 0, size = 0;  // size: in bytes
    // Since 1970. changed: of the content or of what describes it; 0 in a base: the file was so
    // young that its times prove nothing.
    int64_t modifiedNs = 0, changedNs = 0;
    std::string hash{};  // ContentHash, in hexadecimal digits; empty: not known

    bool operator==(const HereState&) const = default;
};

// A file's or a collection's there.
struct ThereState {
    std::string segment{};           // its last one, as the server spells it
    vxhost::EntityTag tag{};         // empty: none is told, or which one is of that content is not
                                     // certain
    std::optional<uint64_t> size{};  // in bytes
    std::optional<Time> modified{};
    std::string hash{};    // of its content; empty: not known
    std::string fileId{};  // that the server keeps when a file is moved; empty: it tells none
    // Of a base without a tag: the date is that of a store of ours, of which nobody told what
    // became its version. Else the date proves which version it is.
    bool isLikely = false;

    bool operator==(const ThereState&) const = default;
};

struct HereNode {
    NodeKind kind = NodeKind::file;
    HereState state{};  // of a file; its hash is known where size or times are not the base's
    std::string why{};  // of what is blocked, in a sentence
};

struct ThereNode {
    NodeKind kind = NodeKind::file;
    ThereState state{};
    std::string why{};
};

// Written only when both sides were known to be the same.
struct BaseNode {
    NodeKind kind = NodeKind::file;  // or a folder
    HereState here{};                // its hash is known
    ThereState there{};              // its hash is here's
};

// By their paths: decoded names with "/" between them, in the order of bytes. The root is not in
// them.
using HereTree = std::map<std::string, HereNode>;
using ThereTree = std::map<std::string, ThereNode>;
using BaseTree = std::map<std::string, BaseNode>;

struct Trees {
    BaseTree base;
    HereTree here;
    ThereTree there;
};

}  // namespace quillon::sync
