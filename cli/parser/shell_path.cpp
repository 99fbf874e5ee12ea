#include "cli/parser/shell_path.hpp"

namespace quillon::cli {
namespace {

Address rootOf(Address collection) {
    for (;;) {
        Address parent = collection.parent();
        if (parent.url() == collection.url()) return collection;
        collection = std::move(parent);
    }
}

}  // namespace

Result<Address> resolveShellPath(const Address& base, std::string_view typed) {
    const bool isUrl = typed.find("://") != std::string_view::npos || typed.starts_with("http:") ||
                       typed.starts_with("https:");
    if (isUrl) return Address::parse(typed);
    Address at = typed.starts_with('/') ? rootOf(base) : base;
    while (!typed.empty()) {
        const size_t slash = typed.find('/');
        const std::string_view name = typed.substr(0, slash);
        typed.remove_prefix(slash == std::string_view::npos ? typed.size() : slash + 1);
        if (name.empty() || name == ".") continue;
        if (name == "..") {
            at = at.parent();
            continue;
        }
        Result<Address> member = at.member(name);
        if (!member) return member;
        at = slash == std::string_view::npos ? *member : member->asCollection();
    }
    return at;
}

}  // namespace quillon::cli
