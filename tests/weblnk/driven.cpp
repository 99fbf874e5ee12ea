#include "tests/weblnk/driven.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <csignal>
#include <utility>

#include "platform/base/siblings.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"

namespace weblnk_test {
namespace {

using namespace vxhost;

struct Kept : vx::WriteCallback {
    std::string bytes;
    int room;  // for so many pieces
};

struct Supplied : vx::ReadCallback {
    std::string_view content;
    vx::Status end;
    size_t position = 0;
};

vx::Status supply(vx::ReadCallback* record, const void** data, uint64_t* length) {
    auto& self = *static_cast<Supplied*>(record);
    const auto piece = self.content.substr(self.position, 4096);
    *data = piece.data();
    *length = piece.size();
    self.position = piece.empty() ? 0 : self.position + piece.size();  // the next call begins anew
    return piece.empty() ? self.end : vx::VX_SUCCESS;
}

}  // namespace

Driven::Driven(std::string itsUser, std::string itsPassword)
    : user(std::move(itsUser)), password(std::move(itsPassword)) {
    std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes to a peer that is gone
    settings.interrupted = &interrupted;
    settings.stallTimeout = std::chrono::seconds(5);
    settings.strayLock = [this](const StrayLock& stray) {
        journal.write(vx::JOURNAL_NOTE,
                      fmt::format("a lock of {}: {} {}", stray.taken ? "ours" : "earlier",
                                  stray.url, stray.token));
    };
    settings.secretInClear = [this](std::string_view origin, std::string_view what) {
        if (what == "your password") passwordsInClear += origin;
    };
    weblnk.reset(reinterpret_cast<vx::Weblnk*>(createWeblnk(settings)));
    context.reset(weblnk->CreateHttpContext(weblnk.get(), nullptr, 0));
}

Driven& Driven::at(std::string itsUrl) {
    url = std::move(itsUrl);
    vx::ClientParms parms{};
    const auto wideUrl = toUtf32(url), wideUser = toUtf32(user), widePassword = toUtf32(password),
               wideProxy = toUtf32(proxy), channel = toUtf32("App.WebDAV");
    const auto give = [](const std::u32string& text, const char32_t*& field, uint64_t& length) {
        field = text.data();
        length = text.size();
    };
    give(wideUrl, parms.url, parms.urlLength);
    give(wideUser, parms.user, parms.userLength);
    give(widePassword, parms.password, parms.passwordLength);
    give(wideProxy, parms.proxy, parms.proxyLength);
    give(channel, parms.channel, parms.channelLength);
    parms.clientOption = clientOption;
    parms.journal = &journal;
    parms.httpContext = context.get();
    client.reset(weblnk->CreateClient2(weblnk.get(), &parms, &journal, 0));
    return *this;
}

std::string Driven::told(vx::Status result) const {
    constexpr std::string_view names[] = {"BAD_URL",         "NO_SUCH_HOST", "NO_CONNECTION",
                                          "TLS_REFUSED",     "TIMED_OUT",    "CUT_OFF",
                                          "REDIRECTED_AWAY", "INTERRUPTED",  "BAD_ANSWER",
                                          "REFUSED",         "PROXY_REFUSED"};
    if (result == vx::VX_SUCCESS) return std::to_string(status);
    const vx::Status nth = result - WEBLNK_BAD_URL;
    std::string text =
        nth < std::size(names) ? std::string(names[nth]) : fmt::format("{:X}", result);
    return status == -1 ? text : fmt::format("{} {}", text, status);
}

std::string Driven::propFind(uint32_t depth) {
    TreeBuilder builder;
    builder.feed("<propfind xmlns='DAV:'><allprop/></propfind>");
    const auto request = builder.finish();
    vx::Document* document = nullptr;
    std::string text =
        told(client->InstPropFind(client.get(), depth, request.get(), &status, &document));
    if (!document) return text + " no document";
    const Owned<vx::Document> owned(document);
    for (const vx::Node* response = nodeFirstChild(document->firstChild); response;
         response = nodeNextSibling(response)) {
        text += ' ' + shownUtf8(content(childElement(response, U"href")));
    }
    return text;
}

std::string Driven::get() {
    Kept kept{};
    kept.journal = running;
    kept.room = piecesTaken;
    kept.callback = [](vx::WriteCallback* self, const void* data, uint64_t length) {
        auto& taker = *static_cast<Kept*>(self);
        if (taker.room-- <= 0) {
            taker.bytes += '!';
            return vx::VX_NO_MEMORY;
        }
        taker.bytes += length > 0 ? std::string_view(static_cast<const char*>(data), length) : "]";
        return vx::VX_SUCCESS;
    };
    const auto options = reinterpret_cast<vx::Word>(&report);
    return told(client->InstGet(client.get(), &options, 0, 0, &status, &kept)) + " [" + kept.bytes;
}

std::string Driven::put(const std::string& content, vx::PutOptions options, vx::Status end) {
    Supplied supplied{};
    supplied.journal = running;
    supplied.callback = &supply;
    supplied.content = content;
    supplied.end = end;
    vx::LockObject* held = lock.get();
    return told(client->InstPut(client.get(), &options, sizeof options, vx::PUT_CODE_DEFAULT, 0,
                                &held, held ? 1 : 0, &status, &supplied));
}

std::string Driven::move(const std::string& destination) {
    const auto wide = toUtf32(destination);
    return told(
        client->InstMove(client.get(), 0, 0, 0, wide.data(), wide.size(), 0, 0, &status, 0));
}

std::string Driven::takeLock(uint32_t seconds, const std::string& adopted) {
    std::u32string owner = U"ZEB <1> & co";
    vx::LockParms parms{};
    parms.option = sharesLock ? 0 : 1;
    parms.owner = owner.data();
    parms.ownerLength = owner.size();
    parms.block = {adopted.empty() ? 0 : vx::LOCK_BLOCK_ADOPT, seconds, adopted.data(),
                   adopted.size()};
    lock.reset(client->InstLock(client.get(), &parms, &status, &journal, 0));
    return std::to_string(status) + (lock ? " lock" : "");
}

std::string Driven::sentences() {
    std::string lines;
    for (const auto& sentence : journal.take()) lines += sentence.text + '\n';
    return lines;
}

std::string pattern(size_t size) {
    std::string text;
    while (text.size() < size) text += "0123456789abcdefg";
    return text.substr(0, size);
}

std::string seen(const support::ScriptedServer& server) {
    std::string text;
    for (const auto& request : server.requests()) {
        text += (text.empty() ? "" : ", ") + request.method + ' ' + request.target;
        for (const char* name : {"Depth", "Destination", "Overwrite", "Timeout", "If", "If-Match",
                                 "If-None-Match", "Lock-Token", "Range", "If-Range", "Expect",
                                 "Authorization", "Proxy-Authorization"}) {
            if (const auto value = request.field(name); !value.empty()) {
                text.append(" ").append(value);
            }
        }
        const std::string& body = request.body;
        if (request.method == "PUT" && request.answered < 300) {
            text += request.field("Transfer-Encoding").empty() ? " [" : " [chunked ";
            if (body != pattern(body.size())) text += "another ";
            text += (body.size() < 10 ? body : std::to_string(body.size())) + ']';
        }
        text += ' ' + std::to_string(request.answered);
    }
    return text;
}

std::string check(const Row& row) {
    support::ScriptedServer server;
    server.inTurn("*", "*", row.answers);
    const auto masked = [&](const std::string& text) {
        return boost::replace_all_copy(text, server.url(), "URL/");
    };
    Driven driven;
    const std::string outcome = row.run(driven.at(server.url(row.path)));
    EXPECT_EQ(masked(outcome + " after " + seen(server)), row.outcome + " after " + row.requests);
    const std::string told = masked(driven.sentences());
    EXPECT_EQ(told.empty(), row.sentence.empty()) << told << row.requests;
    EXPECT_NE(told.find(row.sentence), told.npos) << told << row.requests;
    return told;
}

void checkAll(const std::vector<Row>& rows) {
    for (const Row& row : rows) check(row);
}

}  // namespace weblnk_test
