// weblnk driven through its records, as the extension does; outcomes as lines of text.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/quillon.h"
#include "platform/journal.hpp"
#include "platform/settings.hpp"
#include "tests/support/scripted_server.hpp"

namespace weblnk_test {

template <class Record>
struct Destroyer {
    void operator()(Record* record) const { record->Destroy(record); }
};
template <class Record>
using Owned = std::unique_ptr<Record, Destroyer<Record>>;

// What a PUT pulls: pieces of so many bytes, then the status.
struct Content {
    std::string bytes;
    size_t piece = 4096;
    vx::Status end = vx::VX_END_OF_DATA;
};

class DrivenClient {
public:
    DrivenClient(vx::Weblnk& weblnk, vx::ClientParms parms, vx::Journal* journal)
        : client_(weblnk.CreateClient2(&weblnk, &parms, journal, 0)), journal_(journal) {}

    // Each gives "200", or the name of the status and what is known of the answer: "REFUSED 404".
    std::string head() { return told(client_->InstHead(client_.get(), &status_)); }
    std::string options() {  // its methods are in allowed
        return told(client_->InstOptions(client_.get(), 0, &status_, &allowed, 0));
    }
    std::string propFind(uint32_t depth);  // with the hrefs, or "no document"
    std::string get();                     // with the content in brackets, closed by its end
    std::string put(const Content& content, vx::PutOptions options = {},
                    vx::LockObject* held = nullptr);
    std::string remove() { return told(client_->httpInstDelete(client_.get(), 0, 0, &status_)); }
    std::string move(const std::string& destination);
    std::string makeCollection() {
        return told(client_->httpInstMkcol(client_.get(), 0, 0, &status_));
    }
    // The HTTP status, and " lock" when there is one: it is kept in lock. 0 seconds: the default.
    std::string takeLock(uint32_t seconds = 0, const std::string& adopted = {});
    std::string unlock() { return told(lock->InstUnlock(lock.get(), &status_)); }

    vx::GetReport report{};
    uint32_t allowed = 0;
    size_t pulled = 0;  // bytes of the latest PUT
    Owned<vx::LockObject> lock;

private:
    std::string told(vx::Status result) const;

    Owned<vx::Client> client_;
    vx::Journal* journal_;
    int32_t status_ = 0;  // of HTTP
};

// weblnk and one context; a client for each URL.
struct Driven {
    Driven();

    DrivenClient client(const std::string& url);

    vxhost::Settings settings;
    std::atomic<bool> interrupted = false;
    vxhost::UserJournal journal;
    std::string user, password, proxy;
    uint8_t clientOption = 0;
    std::string sentences();  // of the journal, a line each; empties it

private:
    struct Unloader {
        void operator()(vx::Weblnk* weblnk) const { weblnk->base.Unload(&weblnk->base); }
    };
    std::unique_ptr<vx::Weblnk, Unloader> weblnk_;
    Owned<vx::HttpContext> context_;
};

std::string pattern(size_t size);  // a text whose parts are told apart

// Each request as "METHOD target VALUES status", joined by commas: the values of the fields that
// weblnk adds, and of a PUT that was not refused the body or, of a pattern(), its size.
std::string seen(const support::ScriptedServer& server);

// An operation on a server of its own that gives these answers in turn, whatever is asked.
struct Row {
    std::function<std::string(Driven&, const std::string& url)> run;
    std::vector<support::Answer> answers;  // the last is repeated
    std::string outcome, requests;         // the server's URL stands as "URL/"
    std::string sentence{};                // part of what is said; empty: nothing is
    const char* path = "a";
};
std::string check(const Row& row);  // what is said

}  // namespace weblnk_test
