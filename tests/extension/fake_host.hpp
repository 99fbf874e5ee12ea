// A host that writes down every call. What it answers is success, unless its script says otherwise;
// what it made and did not get back is known; each block of its pool is watched.
//
// Calls are named as in host/ or, for requests, by their HTTP method. A line of the transcript is
// a call with the arguments that matter, or a log record, a journal sentence or status as the
// person would read it:
//   2 "quillonCollectionListOpen called"
//   client1 HEAD -> 404
//   journal 4 "Collection URL does not exist."
//   journal 4 81FFC803
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/quillon.h"
#include "tests/extension/script.hpp"
#include "tests/extension/tree.hpp"
#include "tests/support/test_pool.hpp"

namespace test {

struct FakeHost;

// A record of the host with the way back to it.
template <class Record>
struct Fake : Record {
    FakeHost* host = nullptr;
    std::string name;
    static Fake& of(Record* record) { return *static_cast<Fake*>(record); }
};

std::u32string wide(std::string_view utf8);
std::string narrow(std::u32string_view text);

struct WatchedPool : TestPool {
    FakeHost* host = nullptr;
};

struct FakeHost : vx::Host {
    // Starts the extension, unless started is false, and forgets what was written until then.
    explicit FakeHost(std::string_view script = "", bool started = true);
    ~FakeHost();  // destroys the extension; complains about what is left and what was not asked
    FakeHost(const FakeHost&) = delete;

    // The lines since the last time, each with its line break.
    std::string transcript();
    void say(std::string line) { lines.push_back(std::move(line)); }

    // Names of what was made and not given back, and of blocks besides the extension handle.
    std::string left() const;

    // Whether the text was in a block as the pool got it back, narrow or wide.
    bool gaveBack(std::string_view text) const;

    // From startFailing on the failNth-th allocation fails (0: none). quitFailing ends that, and
    // notes whether it came to it.
    void startFailing() { pool.failAt = failNth ? pool.asked + failNth : 0; }
    void quitFailing();
    int failNth = 0;
    bool failed = false;

    Script script;
    std::vector<std::string> lines;
    bool sayPool =
        false;  // write down allocations ("Alloc 152 zeroed") and frees ("Free 152"), too
    vx::ExtensionHandle* extension = nullptr;

    WatchedPool pool;
    Fake<vx::Logger> logger{};
    vx::LoggerTable loggerTable{};
    Fake<vx::LoggerFactory> loggerFactory{};
    Fake<vx::Kernel> kernel{};
    Fake<vx::Journal> journal{};
    Fake<vx::Weblnk> weblnk{};
    Fake<vx::Fsbox> fsbox{};
    Fake<vx::Toolbox> toolbox{};
    Fake<vx::Markup> markup{};
    Fake<vx::EncodingService> encodingService{};
    Fake<vx::Transcoder> textTranscoder{};  // UTF-8 to UTF-32; its calls are named "text"
    Fake<vx::Transcoder> pathTranscoder{};  // UTF-32 to UTF-8; "path"

    uint32_t allow = ~0u;                         // what OPTIONS reports
    std::vector<Tree> response;                   // the top of each PROPFIND's answer
    std::vector<std::string> getBody;             // the pieces of each GET
    std::map<std::u32string, std::string> files;  // by path
    std::vector<std::string> bodies;              // of the PUTs so far
    std::string requestBody;                      // bytes of the latest request document
    double now = 1000.0;                          // the date-time service's, and its zone
    double zone = 0.0;

    std::set<std::string> out;  // names of what the extension must give back
    std::map<std::string, int> counts;
    std::string number(const std::string& kind) { return kind + std::to_string(++counts[kind]); }
    std::string take(const std::string& kind);  // a new name, noted as out
    void giveBack(const std::string& name);

    std::deque<std::string> messages;             // rendered log records
    std::map<std::u32string, std::string> paths;  // reserved paths, and their names
    std::set<std::u32string> directories;         // created ones

private:
    void setUpMessages();
    void setUpFiles();
    void setUpWeblnk();
    void setUpMarkup();
    void setUpEncoding();
};

// A multi-line literal as a transcript: blanks before a line are the literal's indentation.
std::string lines(std::string_view literal);

// Runs the operation with its first, its second ... allocation failing, until there is none left
// to fail: the status must then be VX_NO_MEMORY, and never must anything be left. run starts and
// quits failing around the operation itself, and releases what it got.
void everyAllocationFails(const std::function<vx::Status(FakeHost&)>& run,
                          std::string_view script = "");

}  // namespace test
