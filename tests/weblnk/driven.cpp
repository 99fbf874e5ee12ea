#include "tests/weblnk/driven.hpp"

#include <algorithm>
#include <utility>

#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"
#include "platform/siblings.hpp"
#include "platform/status.hpp"
#include "platform/transcoder.hpp"

namespace weblnk_test {
namespace {

using namespace vxhost;

constexpr std::pair<vx::Status, std::string_view> names[] = {
    {WEBLNK_BAD_URL, "WEBLNK_BAD_URL"},
    {WEBLNK_NO_SUCH_HOST, "WEBLNK_NO_SUCH_HOST"},
    {WEBLNK_NO_CONNECTION, "WEBLNK_NO_CONNECTION"},
    {WEBLNK_TLS_REFUSED, "WEBLNK_TLS_REFUSED"},
    {WEBLNK_TIMED_OUT, "WEBLNK_TIMED_OUT"},
    {WEBLNK_CUT_OFF, "WEBLNK_CUT_OFF"},
    {WEBLNK_REDIRECTED_AWAY, "WEBLNK_REDIRECTED_AWAY"},
    {WEBLNK_INTERRUPTED, "WEBLNK_INTERRUPTED"},
    {WEBLNK_BAD_ANSWER, "WEBLNK_BAD_ANSWER"},
    {WEBLNK_REFUSED, "WEBLNK_REFUSED"},
    {WEBLNK_PROXY_REFUSED, "WEBLNK_PROXY_REFUSED"},
    {FSBOX_IO, "FSBOX_IO"},
};

constexpr std::pair<uint32_t, std::string_view> allowed[] = {
    {vx::ALLOW_GET, " GET"},         {vx::ALLOW_HEAD, " HEAD"},         {vx::ALLOW_PUT, " PUT"},
    {vx::ALLOW_PUT_NEW, " PUT_NEW"}, {vx::ALLOW_DELETE, " DELETE"},     {vx::ALLOW_MOVE, " MOVE"},
    {vx::ALLOW_MKCOL, " MKCOL"},     {vx::ALLOW_PROPFIND, " PROPFIND"}, {vx::ALLOW_LOCK, " LOCK"},
    {vx::ALLOW_UNLOCK, " UNLOCK"},   {vx::ALLOW_OPTIONS, " OPTIONS"},
};

struct Kept : vx::WriteCallback {
    std::string bytes;
};

struct Supplied : vx::ReadCallback {
    const Content* content;
    size_t position = 0;
    bool ended = true;  // the next call begins anew
};

vx::Status supply(vx::ReadCallback* record, const void** data, uint64_t* length) {
    auto& self = *static_cast<Supplied*>(record);
    if (std::exchange(self.ended, false)) self.position = 0;
    if (self.content->beforePiece) self.content->beforePiece(self.position);
    const size_t size = std::min(self.content->piece, self.content->bytes.size() - self.position);
    if (size == 0) {
        self.ended = true;
        return self.content->end;
    }
    *data = self.content->bytes.data() + self.position;
    *length = size;
    self.position += size;
    return vx::VX_SUCCESS;
}

std::string hrefs(const vx::Document* document) {
    if (!document) return " no document";
    std::string all;
    const vx::Node* response = document->firstChild ? document->firstChild->firstChild : nullptr;
    for (; response; response = response->nextSibling) {
        all += ' ' + shownUtf8(content(childElement(response, U"href")));
    }
    return all;
}

// What an operation returns and the HTTP status that it tells.
template <class Operation>
std::string told(Operation&& operation) {
    int32_t httpStatus = 0;
    const vx::Status result = operation(&httpStatus);
    if (result == vx::VX_SUCCESS) return std::to_string(httpStatus);
    for (const auto& [status, name] : names) {
        if (status == result) return std::string(name) + ' ' + std::to_string(httpStatus);
    }
    return std::to_string(result);
}

}  // namespace

DrivenClient::DrivenClient(vx::Weblnk& weblnk, vx::ClientParms parms, vx::Journal* journal)
    : client_(weblnk.CreateClient2(&weblnk, &parms, journal, 0)), journal_(journal) {}

std::string DrivenClient::head() {
    return told([&](int32_t* status) { return client_->InstHead(client_.get(), status); });
}

std::string DrivenClient::options() {
    uint32_t mask = 0;
    std::string text = told(
        [&](int32_t* status) { return client_->InstOptions(client_.get(), 0, status, &mask, 0); });
    for (const auto& [bit, name] : allowed) {
        if (mask & bit) text += name;
    }
    return text;
}

std::string DrivenClient::propFind(uint32_t depth) {
    TreeBuilder builder;
    builder.feed("<propfind xmlns='DAV:'><allprop/></propfind>");
    const auto request = builder.finish();
    vx::Document* response = nullptr;
    const std::string text = told([&](int32_t* status) {
        return client_->InstPropFind(client_.get(), depth, request.get(), status, &response);
    });
    const Owned<vx::Document> owned(response);
    return text + hrefs(response);
}

std::string DrivenClient::get() {
    Kept kept;
    kept.callback = [](vx::WriteCallback* self, const void* data, uint64_t length) {
        static_cast<Kept*>(self)->bytes.append(static_cast<const char*>(data), length);
        return vx::VX_SUCCESS;
    };
    const auto options = reinterpret_cast<vx::Word>(&report);
    return told([&](int32_t* status) {
               return client_->InstGet(client_.get(), &options, 0, 0, status, &kept);
           }) +
           " [" + kept.bytes + ']';
}

std::string DrivenClient::put(const Content& content, vx::PutOptions options,
                              vx::LockObject* held) {
    Supplied supplied;
    supplied.callback = &supply;
    supplied.content = &content;
    return told([&](int32_t* status) {
        return client_->InstPut(client_.get(), &options, sizeof options, vx::PUT_CODE_DEFAULT, 0,
                                held ? &held : nullptr, held ? 1 : 0, status, &supplied);
    });
}

std::string DrivenClient::remove() {
    return told(
        [&](int32_t* status) { return client_->httpInstDelete(client_.get(), 0, 0, status); });
}

std::string DrivenClient::move(const std::string& destination) {
    const auto wide = toUtf32(destination);
    return told([&](int32_t* status) {
        return client_->InstMove(client_.get(), 0, 0, 0, wide.data(), wide.size(), 0, 0, status, 0);
    });
}

std::string DrivenClient::makeCollection() {
    return told(
        [&](int32_t* status) { return client_->httpInstMkcol(client_.get(), 0, 0, status); });
}

std::string DrivenClient::takeLock(uint32_t seconds, const std::string& adopted) {
    vx::LockParms parms{};
    parms.option = 1;
    parms.owner = owner.data();
    parms.ownerLength = owner.size();
    const uint32_t defaults = seconds == 0 ? vx::LOCK_BLOCK_DEFAULTS : 0;
    parms.block = {adopted.empty() ? defaults : vx::LOCK_BLOCK_ADOPT, seconds, adopted.data(),
                   adopted.size()};
    int32_t status = 0;
    lock.reset(client_->InstLock(client_.get(), &parms, &status, journal_, 0));
    return std::to_string(status) + (lock ? " lock" : "");
}

std::string DrivenClient::unlock() {
    return told([&](int32_t* status) { return lock->InstUnlock(lock.get(), status); });
}

Driven::Driven() {
    settings.interrupted = &interrupted;
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
    parms.user = user.empty() ? nullptr : wideUser.data();
    parms.userLength = wideUser.size();
    parms.password = password.empty() ? nullptr : widePassword.data();
    parms.passwordLength = widePassword.size();
    parms.proxy = proxy.empty() ? nullptr : wideProxy.data();
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

}  // namespace weblnk_test
