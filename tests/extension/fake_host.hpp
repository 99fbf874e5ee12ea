// A host that writes down every call. What it answers is success, unless its script says otherwise;
// what it made and did not get back is known; each block of its pool is watched.
//
// Calls are named as in host/ or, for requests, by their HTTP method. A line of the transcript is
// a call with the arguments that matter and what came of it, or a log record, a journal sentence
// or status as the person would read it:
//   2 "quillonCollectionListOpen called"
//   client1 HEAD -> 404
//   journal 4 "Collection URL does not exist."
//   journal 4 81FFC803
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <utf8cpp/utf8.h>

#include <deque>
#include <memory>
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
    return status ? fmt::format(" -> {:08X}", status) : "";
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

inline constexpr std::string_view passwordText = "sesame!";

// There is one at a time.
struct FakeHost : vx::Host {
    // Starts the extension, unless started is false, and forgets what was written until then.
    explicit FakeHost(std::string_view script = "", bool started = true);
    // Destroys the extension; complains about what is left, of what the script names and nobody
    // asked for, and about a password that the pool got back.
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;

    // The lines since the last time, each with its line break.
    std::string transcript();
    void say(std::string line) { lines.push_back(std::move(line)); }
    template <class... Arguments>
    void say(fmt::format_string<Arguments...> line, Arguments&&... arguments) {
        lines.push_back(fmt::format(line, std::forward<Arguments>(arguments)...));
    }
    // A call that has a status and nothing else.
    vx::Status perform(const std::string& call, const std::string& arguments = "") {
        const vx::Status rc = script.next(call).rc;
        say(call + arguments + unlessSuccess(rc));
        return rc;
    }
    // A call that has something to give, or null when the script says so.
    template <class Record>
    Record* give(const std::string& call, const std::string& line, Record* record) {
        const bool null = script.next(call).null();
        say(line + (null ? " -> null" : ""));
        return null ? nullptr : record;
    }
    // A call that makes something: null when the answer says so, else what destroy is to get. The
    // line ends in an arrow, and perhaps more that came of the call.
    template <class Record>
    Record* make(const Answer& answer, const std::string& line, const char* kind) {
        auto made = answer.null() ? nullptr : std::make_unique<Named<Record>>();
        if (made) made->name = take(kind);
        say(line + " " + (made ? made->name : "null"));
        return made.release();
    }
    template <class Record>
    vx::Status destroy(Record* record, const char* call = "Destroy") {
        const std::unique_ptr<Named<Record>> gone{&named(record)};
        say(gone->name + " " + call);
        giveBack(gone->name);
        return script.next(call).rc;
    }
    vx::Document* makeDocument(const Answer& answer, const std::string& line, const char* kind,
                               std::vector<Tree> top);
    std::string take(const std::string& kind);  // a new name, noted as out
    void giveBack(const std::string& name);
    // Whether the text was in a block as the pool got it back, narrow or wide.
    bool gaveBack(std::string_view text) const;

    Script script;
    std::vector<std::string> lines;
    bool sayPool = false;  // write down allocations ("Alloc 152") and frees, too
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

    uint32_t allow = ~0u;                         // what OPTIONS reports
    std::vector<Tree> response;                   // the top of each PROPFIND's answer
    std::vector<std::string> getBody;             // the pieces of each GET
    std::map<std::u32string, std::string> files;  // by path
    std::string putBody;                          // of the latest PUT
    std::string requestBody;                      // bytes of the latest request document
    double now = 1000.0;                          // the date-time service's, and its zone
    double zone = 0.0;

    std::set<std::string> out;  // names of what the extension must give back
    std::map<std::string, int> counts;
    std::map<std::u32string, std::string> paths;  // reserved ones, and their names
    std::deque<std::string> messages;             // rendered log records
    std::vector<const char*> lineTexts;           // of the records, which are to last

private:
    void setUpMessages();
    void setUpFiles();
    void setUpWeblnk();
    void setUpEncoding();
};

FakeHost& fake();

// A multi-line literal as a transcript: blanks before a line are the literal's indentation.
std::string lines(std::string_view literal);

}  // namespace test
