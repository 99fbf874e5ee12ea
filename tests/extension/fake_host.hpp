// A host that writes down every call. What it answers is success, unless its script says otherwise;
// what the extension owes it is known; each block of its pool is watched.
//
// Calls are named as in host/ or, for requests, by their HTTP method. A line of the transcript is
// a call with its arguments and what came of it, or a log record, a journal sentence or status as
// the person would read it:
//   2 "quillonCollectionListOpen called"
//   client1 HEAD -> 404
//   journal 4 "Collection URL does not exist."
//   journal 4 81FFC803
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <utf8cpp/utf8.h>

#include <concepts>
#include <memory>
#include <regex>
#include <set>

#include "host/quillon.h"
#include "tests/extension/script.hpp"
#include "tests/extension/tree.hpp"
#include "tests/support/test_pool.hpp"

namespace test {

inline std::u32string wide(std::string_view text) {
    return utf8::utf8to32(text);
}
inline std::string narrow(std::u32string_view text) {
    return utf8::utf32to8(text);
}
inline std::string inQuotes(std::u32string_view text) {
    return '"' + narrow(text) + '"';
}
inline std::string hex(vx::Status status) {
    return fmt::format("{:08X}", status);
}
inline std::string unlessSuccess(vx::Status status) {  // at the end of a line
    return status ? " -> " + hex(status) : "";
}

// What the host makes: its name in the transcript, and what a document or a file holds.
template <class Record>
struct Named : Record {
    std::string name;
    std::vector<Tree> nodes;
    std::string* content = nullptr;
    size_t position = 0;
};
template <class Record>
Named<Record>& named(Record* record) {
    return *static_cast<Named<Record>*>(record);
}

// An argument in a line: nothing for 0 or null, nor for a place where a result goes.
template <class Value>
std::string shownOne(Value value) {
    if (!value) return "";
    if constexpr (std::integral<Value>) return fmt::format(" {}", value);
    if constexpr (std::same_as<Value, vx::Journal*>) return " journal";
    if constexpr (std::same_as<Value, void*>) return " context";
    if constexpr (std::same_as<Value, vx::HttpContext*> || std::same_as<Value, vx::Document*>)
        return fmt::format(" {}", named(value).name);
    return "";
}

// The arguments of a call; a text and its count are one.
inline std::string shown() {
    return "";
}
template <class... Rest>
std::string shown(const char32_t* text, uint64_t count, Rest... rest);
template <class First, class... Rest>
std::string shown(First first, Rest... rest) {
    return shownOne(first) + shown(rest...);
}
template <class... Rest>
std::string shown(const char32_t* text, uint64_t count, Rest... rest) {
    const std::string one = text || count ? fmt::format(" \"{}\"", narrow({text, count})) : "";
    return one + shown(rest...);
}

struct FakeHost;
FakeHost& fake();  // there is one at a time

struct FakeHost : vx::Host {
    // Starts the extension, unless started is false, and forgets what was written until then.
    explicit FakeHost(std::string_view script = "", bool started = true);
    // Destroys the extension; complains about calls that are due, about what the script names and
    // nobody asked for, and about a secret that the pool got back.
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;

    // The operation under test begins: what was written and called until then only prepared it.
    void start() {
        lines.clear();
        logLines.clear();
        firstCall = script.asked.size();
        firstAllocation = pool.asked;
    }
    // The lines since the last time.
    std::string transcript();
    template <class... Arguments>
    void say(fmt::format_string<Arguments...> line, Arguments&&... arguments) {
        lines.push_back(fmt::format(line, std::forward<Arguments>(arguments)...));
    }
    // A call that has a status and nothing else.
    vx::Status perform(const std::string& call, const std::string& arguments) {
        const vx::Status rc = script.next(call).rc;
        say("{}{}{}", call, arguments, unlessSuccess(rc));
        return rc;
    }
    // A call that is due, once.
    vx::Status settle(const std::string& call, const std::string& line) {
        EXPECT_EQ(due.erase(line), 1u) << line << " is not due";
        const vx::Status rc = script.next(call).rc;
        say("{}{}", line, unlessSuccess(rc));
        return rc;
    }
    // A call that has something to give, or null when the script says so.
    template <class Record>
    Record* give(const std::string& call, const std::string& line, Record* record) {
        const bool null = script.next(call).has("null");
        say("{}{}", line, null ? " -> null" : "");
        return null ? nullptr : record;
    }
    // A call that makes something, or null when its answer says so. The line ends in what was made;
    // end is the call that is then due.
    template <class Record>
    Record* make(const Answer& answer, const std::string& line, const std::string& kind,
                 const std::string& end = "Destroy") {
        auto* made = answer.has("null") ? nullptr : new Named<Record>{};
        if (made) made->name = kind + std::to_string(++counts[kind]);
        say("{} {}", line, made ? made->name : "null");
        if (!made) return nullptr;
        due[made->name + ' ' + end];
        if constexpr (requires {
                          { made->Destroy(made) } -> std::same_as<vx::Status>;
                      })
            made->Destroy = [](Record* self) { return fake().destroy(self); };
        return made;
    }
    template <class Record>
    vx::Status destroy(Record* record, const std::string& end = "Destroy") {
        const std::unique_ptr<Named<Record>> gone{&named(record)};
        return settle(end, gone->name + ' ' + end);
    }

    Script script;
    std::vector<std::string> lines;
    bool sayPool = false;  // write down allocations ("Alloc 152") and frees, too
    size_t firstCall = 0;  // of the operation
    int firstAllocation = 0;
    vx::ExtensionHandle* extension = nullptr;

    TestPool pool;
    vx::Logger logger{};
    vx::LoggerTable loggerTable{};
    vx::LoggerFactory loggerFactory{};
    vx::Kernel kernel{};
    vx::Journal journal{};
    vx::Weblnk weblnk{};
    vx::Fsbox fsbox{};
    vx::Toolbox toolbox{};
    vx::Markup markup{};
    vx::EncodingService encodingService{};
    vx::Transcoder textTranscoder{};  // UTF-8 to UTF-32; its calls are named "text"
    vx::Transcoder pathTranscoder{};  // UTF-32 to UTF-8; "path"

    std::vector<Tree> response;                   // the top of each PROPFIND's answer
    std::vector<std::string> getBody;             // the pieces of each GET
    std::map<std::u32string, std::string> files;  // by path
    std::string putBody;                          // of the latest PUT
    std::string requestBody;                      // bytes of the latest request document
    double zone = 0.0;                            // the date-time service's; its time is 1000

    std::map<std::string, std::u32string> due;  // lines of calls, and texts that last until then
    std::map<std::string, int> counts;          // of what was made
    std::string rendered;                       // the latest log record
    std::set<std::string> logLines;             // of the source, of all log records

private:
    void setUpMessages();
    void setUpFiles();
    void setUpWeblnk();
    void setUpEncoding();
};

// A multi-line literal as a transcript: blanks before a line are the literal's indentation.
inline std::string lines(const std::string& literal) {
    return std::regex_replace(literal, std::regex{"\n *"}, "\n");
}

}  // namespace test
