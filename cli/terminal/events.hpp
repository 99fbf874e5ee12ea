// What a command on many files does, as it does it: a line a file for a person who wants to see
// that, an object a line for programs, and one line in the end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "cli/terminal/progress.hpp"

namespace quillon::cli {

struct Event {
    std::string_view what;  // a past participle: "fetched"; of a plan an imperative: "fetch"
    std::string path;       // below the tree's root, or a name
    std::string url{};      // empty: not told
    std::optional<uint64_t> size{};  // in bytes
    std::string why{};               // of what was not done
};

class Events {
public:
    // confirmed: a line each, without a sum.
    enum class Manner { quiet, summary, lines, confirmed, json };

    Events(Manner manner, Progress& progress) : manner_(manner), progress_(progress) {}

    void tell(const Event& event);
    // For what needs no line but in the sum, as what was the same already.
    void count(std::string_view what) { ++counts_[std::string(what)]; }
    // "12 fetched (3.4 MiB), 988 the same": on standard error.
    void sumUp();

private:
    const Manner manner_;
    Progress& progress_;
    std::map<std::string, size_t, std::less<>> counts_;
    uint64_t bytes_ = 0;
};

}  // namespace quillon::cli
