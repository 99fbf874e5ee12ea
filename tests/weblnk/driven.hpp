// weblnk driven through its records, as the extension does; outcomes as lines of text.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/quillon.h"
#include "platform/journal.hpp"
#include "platform/settings.hpp"

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
    std::function<void(size_t)> beforePiece{};  // told how many bytes were handed out
};

class DrivenClient {
public:
    DrivenClient(vx::Weblnk& weblnk, vx::ClientParms parms, vx::Journal* journal);

    // Each gives "200", or the name of the status and the HTTP status: "WEBLNK_REFUSED 404".
    std::string head();
    std::string options();                     // with the methods that are allowed
    std::string propFind(uint32_t depth = 0);  // with the hrefs, or "no document"
    std::string get();                         // with the content in brackets
    std::string put(const Content& content, vx::PutOptions options = {},
                    vx::LockObject* lock = nullptr);
    std::string remove();
    std::string move(const std::string& destination);
    std::string makeCollection();
    // The HTTP status, and " lock" when there is one: it is kept in lock. 0 seconds: the default.
    std::string takeLock(uint32_t seconds = 0, const std::string& adopted = {});
    std::string unlock();

    vx::GetReport report{};
    Owned<vx::LockObject> lock;
    std::u32string owner = U"ZEB <1> & co";

private:
    Owned<vx::Client> client_;
    vx::Journal* journal_;
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

}  // namespace weblnk_test
