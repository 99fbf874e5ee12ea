#include "tests/weblnk/driven.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <csignal>
#include <utility>

#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"
#include "platform/siblings.hpp"
#include "platform/status.hpp"
#include "platform/transcoder.hpp"

namespace weblnk_test {
namespace {

using namespace vxhost;

struct Kept : vx::WriteCallback {
    std::string bytes;
};

struct Supplied : vx::ReadCallback {
    const Content* content;
    size_t* position;
    bool ended = true;  // the next call begins anew
};

vx::Status supply(vx::ReadCallback* record, const void** data, uint64_t* length) {
    auto& self = *static_cast<Supplied*>(record);
    if (std::exchange(self.ended, false)) *self.position = 0;
    *length = std::min(self.content->piece, self.content->bytes.size() - *self.position);
    self.ended = *length == 0;
    if (self.ended) return self.content->end;
    *data = self.content->bytes.data() + *self.position;
    *self.position += *length;
    return vx::VX_SUCCESS;
}

}  // namespace

std::string DrivenClient::told(vx::Status result) const {
    constexpr std::string_view names[] = {"BAD_URL",         "NO_SUCH_HOST", "NO_CONNECTION",
                                          "TLS_REFUSED",     "TIMED_OUT",    "CUT_OFF",
                                          "REDIRECTED_AWAY", "INTERRUPTED",  "BAD_ANSWER",
                                          "REFUSED",         "PROXY_REFUSED"};
    if (result == vx::VX_SUCCESS) return std::to_string(status_);
    const vx::Status nth = result - WEBLNK_BAD_URL;
    std::string text =
        nth < std::size(names) ? std::string(names[nth]) : fmt::format("{:X}", result);
    return status_ == -1 ? text : fmt::format("{} {}", text, status_);
}

std::string DrivenClient::propFind(uint32_t depth) {
    TreeBuilder builder;
    builder.feed("<propfind xmlns='DAV:'><allprop/></propfind>");
    const auto request = builder.finish();
    vx::Document* document = nullptr;
    std::string text =
        told(client_->InstPropFind(client_.get(), depth, request.get(), &status_, &document));
    if (!document) return text + " no document";
    const Owned<vx::Document> owned(document);
    for (const vx::Node* response = document->firstChild->firstChild; response;
         response = response->nextSibling) {
        text += ' ' + shownUtf8(content(childElement(response, U"href")));
    }
    return text;
}

std::string DrivenClient::get() {
    Kept kept;
    kept.callback = [](vx::WriteCallback* self, const void* data, uint64_t length) {
        auto& bytes = static_cast<Kept*>(self)->bytes;
        bytes += length > 0 ? std::string_view(static_cast<const char*>(data), length) : "]";
        return vx::VX_SUCCESS;
    };
    const auto options = reinterpret_cast<vx::Word>(&report);
    return told(client_->InstGet(client_.get(), &options, 0, 0, &status_, &kept)) + " [" +
           kept.bytes;
}

std::string DrivenClient::put(const Content& content, vx::PutOptions options,
                              vx::LockObject* held) {
    Supplied supplied;
    supplied.callback = &supply;
    supplied.content = &content;
    supplied.position = &pulled;
    return told(client_->InstPut(client_.get(), &options, sizeof options, vx::PUT_CODE_DEFAULT, 0,
                                 held ? &held : nullptr, held ? 1 : 0, &status_, &supplied));
}

std::string DrivenClient::move(const std::string& destination) {
    const auto wide = toUtf32(destination);
    return told(
        client_->InstMove(client_.get(), 0, 0, 0, wide.data(), wide.size(), 0, 0, &status_, 0));
}

std::string DrivenClient::takeLock(uint32_t seconds, const std::string& adopted) {
    std::u32string owner = U"ZEB <1> & co";
    vx::LockParms parms{};
    parms.option = 1;
    parms.owner = owner.data();
    parms.ownerLength = owner.size();
    parms.block = {adopted.empty() ? 0 : vx::LOCK_BLOCK_ADOPT, seconds, adopted.data(),
                   adopted.size()};
    lock.reset(client_->InstLock(client_.get(), &parms, &status_, journal_, 0));
    return std::to_string(status_) + (lock ? " lock" : "");
}

Driven::Driven() {
    std::signal(SIGPIPE, SIG_IGN);  // OpenSSL writes to a peer that is gone
    settings.interrupted = &interrupted;
    settings.stallTimeout = std::chrono::seconds(5);
    weblnk_.reset(reinterpret_cast<vx::Weblnk*>(createWeblnk(settings)));
    context_.reset(weblnk_->CreateHttpContext(weblnk_.get(), nullptr, 0));
}

DrivenClient Driven::client(const std::string& url) {
    const auto wideUrl = toUtf32(url), wideUser = toUtf32(user), widePassword = toUtf32(password),
               wideProxy = toUtf32(proxy);
    constexpr std::u32string_view channel = U"App.WebDAV";
    vx::ClientParms parms{};
    parms.url = wideUrl.data();
    parms.urlLength = wideUrl.size();
    parms.user = wideUser.data();
    parms.userLength = wideUser.size();
    parms.password = widePassword.data();
    parms.passwordLength = widePassword.size();
    parms.proxy = wideProxy.data();
    parms.proxyLength = wideProxy.size();
    parms.clientOption = clientOption;
    parms.journal = &journal;
    parms.code = 27;
    parms.httpContext = context_.get();
    parms.channel = channel.data();
    parms.channelLength = channel.size();
    return DrivenClient(*weblnk_, parms, &journal);
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
                                 "If-None-Match", "Lock-Token", "Expect"}) {
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
    for (size_t i = 0; i + 1 < row.answers.size(); ++i) server.once("*", "*", row.answers[i]);
    server.on("*", "*", row.answers.back());
    const auto masked = [&](const std::string& text) {
        return boost::replace_all_copy(text, server.url(), "URL/");
    };
    Driven driven;
    const std::string outcome = row.run(driven, server.url(row.path));
    EXPECT_EQ(masked(outcome + " after " + seen(server)), row.outcome + " after " + row.requests);
    const std::string told = masked(driven.sentences());
    EXPECT_EQ(told.empty(), row.sentence.empty()) << told << row.requests;
    EXPECT_NE(told.find(row.sentence), told.npos) << told << row.requests;
    return told;
}

}  // namespace weblnk_test
