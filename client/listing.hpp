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
// operations take; the server's display name is a text of its own that may say anything, and stands
// among the member's Properties.
class Entry {
public:
    Entry(const vx::FileInfo* info, const std::string* collectionUrl)
        : info_(info), collectionUrl_(collectionUrl) {}

    std::string name() const;              // decoded, UTF-8 if the server's is
    std::string segment() const;           // still percent-encoded, without a final slash
    std::string href() const;              // the whole URL
    std::optional<uint64_t> size() const;  // in bytes; nothing when not known
    std::optional<Time> created() const;
    std::optional<Time> modified() const;
    bool isCollection() const;

private:
    const vx::FileInfo* info_;
    const std::string* collectionUrl_;
};

// Entries come in the extension's order: by segment as code points, longer ones before their
// prefixes, sub-collections last.
class Listing {
public:
    class Iterator {
    public:
        using value_type = Entry;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::input_iterator_tag;

        Iterator() = default;
        Iterator(const vx::FileInfo* info, const std::string* collectionUrl)
            : info_(info), collectionUrl_(collectionUrl) {}
        Entry operator*() const { return {info_, collectionUrl_}; }
        Iterator& operator++();
        void operator++(int) { ++*this; }
        bool operator==(const Iterator& other) const { return info_ == other.info_; }

    private:
        const vx::FileInfo* info_ = nullptr;
        const std::string* collectionUrl_ = nullptr;
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
