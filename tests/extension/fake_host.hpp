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

#include <memory>

#include "host/quillon.h"
#include "tests/extension/script.hpp"
#include "tests/extension/tree.hpp"
#include "tests/support/test_pool.hpp"

namespace test {

std::u32string wide(std::string_view utf8);
std::string narrow(std::u32string_view text);
inline std::string inQuotes(std::u32string_view text) {
    return '"' + narrow(text) + '"';
}
inline std::string hex(vx::Status status) {
    return fmt::format("{:08X}", status);
}
inline std::string unlessSuccess(vx::Status status) {
    return status == vx::VX_SUCCESS ? "" : hex(status);
}

// What the host makes, and its name in the transcript.
template <class Record>
struct Named : Record {
    std::string name;
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
    void say(std::string line, const std::string& result = "") {
        lines.push_back(std::move(line) + (result.empty() ? "" : " -> " + result));
    }

    // A call that has a status and nothing else.
    template <class... Arguments>
    vx::Status perform(const std::string& call, fmt::format_string<Arguments...> arguments,
                       Arguments&&... values) {
        const vx::Status rc = script.next(call).rc;
        say(call + fmt::format(arguments, std::forward<Arguments>(values)...), unlessSuccess(rc));
        return rc;
    }

    // A call that makes something: null when the answer says so, else what destroy is to get. The
    // line ends in an arrow, and perhaps more that came of the call.
    template <class Record, class Made = Named<Record>>
    Made* make(const Answer& answer, const std::string& line, const char* kind) {
        if (answer.null()) say(line + " null");
        if (answer.null()) return nullptr;
        auto* made = new Made{};
        made->name = take(kind);
        say(line + " " + made->name);
        return made;
    }
    template <class Record, class Made = Named<Record>>
    vx::Status destroy(Record* record) {
        const std::unique_ptr<Made> gone{static_cast<Made*>(record)};
        say(gone->name + " Destroy");
        giveBack(gone->name);
        return script.next("Destroy").rc;
    }
    vx::Document* makeDocument(const Answer& answer, const std::string& line, const char* kind,
                               std::vector<Tree> top);

    // Whether the text was in a block as the pool got it back, narrow or wide.
    bool gaveBack(std::string_view text) const;

    Script script;
    std::vector<std::string> lines;
    bool sayPool = false;  // write down allocations ("Alloc 152 zeroed") and frees, too
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
    std::string take(const std::string& kind);  // a new name, noted as out
    void giveBack(const std::string& name);

    std::deque<std::string> messages;                          // rendered log records
    std::map<std::u32string, std::string, std::less<>> paths;  // reserved ones, and their names

private:
    void setUpMessages();
    void setUpFiles();
    void setUpWeblnk();
    void setUpMarkup();
    void setUpEncoding();
};

FakeHost& fake();

// A multi-line literal as a transcript: blanks before a line are the literal's indentation.
std::string lines(std::string_view literal);

}  // namespace test
