// A snapshot of a collection's members.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

#include "client/time.hpp"

namespace vx {
struct FileInfo;
}

namespace quillon {

// One member, a view into its listing, which it must not outlive. Nothing is converted before it is
// asked for. The name is the last segment of the member's href, for that is what the other
// operations take; the server's display name is a text of its own that may say anything.
class Entry {
public:
    explicit Entry(const vx::FileInfo* info) : info_(info) {}

    std::string name() const;              // decoded, UTF-8 if the server's is
    std::string segment() const;           // still percent-encoded, without a final slash
    std::string href() const;              // the whole URL
    std::string displayName() const;       // empty: the server gives none of its own
    std::optional<uint64_t> size() const;  // in bytes; nothing when not known
    std::optional<Time> created() const;
    std::optional<Time> modified() const;
    bool isCollection() const;

private:
    const vx::FileInfo* info_;
};

// Entries come in the extension's order: by name as code points, longer names before their
// prefixes, sub-collections without a display name last.
class Listing {
public:
    class Iterator {
    public:
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        Iterator() = default;
        explicit Iterator(const vx::FileInfo* info) : info_(info) {}
        Entry operator*() const { return Entry(info_); }
        Iterator& operator++();
        void operator++(int) { ++*this; }
        bool operator==(const Iterator&) const = default;

    private:
        const vx::FileInfo* info_ = nullptr;
    };

    Iterator begin() const;
    Iterator end() const { return {}; }
    size_t size() const;
    bool empty() const { return size() == 0; }

    struct State;
    explicit Listing(std::shared_ptr<const State> state) : state_(std::move(state)) {}

private:
    std::shared_ptr<const State> state_;
};

}  // namespace quillon
