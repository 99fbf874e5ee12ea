// weblnk driven through its records, as the extension does; outcomes as lines of text.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/quillon.h"
#include "platform/base/journal.hpp"
#include "platform/base/settings.hpp"
#include "tests/support/scripted_server.hpp"

namespace weblnk_test {

template <class Record>
struct Destroyer {
    void operator()(Record* record) const { record->Destroy(record); }
};
template <class Record>
using Owned = std::unique_ptr<Record, Destroyer<Record>>;

// weblnk, one context, and a client for one URL after the other.
struct Driven {
    explicit Driven(std::string itsUser = {}, std::string itsPassword = {});
    Driven& at(std::string url);

    // Each gives "200", or the name of the status and what is known of the answer: "REFUSED 404".
    std::string head() { return told(client->InstHead(client.get(), &status)); }
    std::string options() {  // its methods are in allowed
        return told(client->InstOptions(client.get(), 0, &status, &allowed, 0));
    }
    // A PROPFIND: with the hrefs, or "no document".
    std::string propFind(uint32_t depth);
    std::string list() { return propFind(1); }
    std::string get();  // with the content in brackets, closed by its end
    // Under the lock that is held. What is pulled ends with that status.
    std::string put(const std::string& content, vx::PutOptions options = {},
                    vx::Status end = vx::VX_END_OF_DATA);
    std::string remove() { return told(client->httpInstDelete(client.get(), 0, 0, &status)); }
    std::string move(const std::string& destination);
    std::string makeCollection() {
        return told(client->httpInstMkcol(client.get(), 0, 0, &status));
    }
    // The HTTP status, and " lock" when there is one: it is kept in lock. 0 seconds: the default.
    std::string takeLock(uint32_t seconds = 0, const std::string& adopted = {});
    std::string unlock() { return told(lock->InstUnlock(lock.get(), &status)); }

    std::string told(vx::Status result) const;
    std::string sentences();  // of the journal, a line each; empties it

    struct Unloader {
        void operator()(vx::Weblnk* record) const { record->base.Unload(&record->base); }
    };
    vxhost::Settings settings;
    std::atomic<bool> interrupted = false;
    vxhost::UserJournal journal;
    vx::Journal* running = nullptr;  // of the next GET or PUT, if it is to have one
    std::string url, user, password, proxy;
    std::string passwordsInClear;  // the origins that got one
    int piecesTaken = 1 << 20;     // of a GET; each more is a "!", and refused
    uint8_t clientOption = 0;
    bool sharesLock = false;
    std::unique_ptr<vx::Weblnk, Unloader> weblnk;
    Owned<vx::HttpContext> context;
    Owned<vx::LockObject> lock;
    Owned<vx::Client> client;
    int32_t status = 0;  // of HTTP
    uint32_t allowed = 0;
    vx::GetReport report{};
};

std::string pattern(size_t size);  // a text whose parts are told apart

// Each request as "METHOD target VALUES status", joined by commas: the values of the fields that
// weblnk adds, and of a PUT that was not refused the body or, of a pattern(), its size.
std::string seen(const support::ScriptedServer& server);

// An operation on a server of its own that gives these answers in turn, whatever is asked.
struct Row {
    std::function<std::string(Driven&)> run;
    std::vector<support::Answer> answers;  // the last is repeated
    std::string outcome, requests;         // the server's URL stands as "URL/"
    std::string sentence{};                // part of what is said; empty: nothing is
    const char* path = "a";
};
std::string check(const Row& row);  // what is said
void checkAll(const std::vector<Row>& rows);

}  // namespace weblnk_test
