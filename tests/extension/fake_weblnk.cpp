// Clients, contexts and locks of the fake host.
#include "tests/extension/fake_document.hpp"

#include <fmt/format.h>

#include <cstring>

namespace test {
namespace {

using FakeClient = Fake<vx::Client>;
using FakeLock = Fake<vx::LockObject>;

template <class Record>
vx::Status destroy(Record* self) {
    auto* gone = static_cast<Fake<Record>*>(self);
    FakeHost& host = *gone->host;
    const vx::Status status = host.script.next("Destroy").rc;
    host.say(gone->name + " Destroy");
    host.giveBack(gone->name);
    delete gone;
    return status;
}

template <class Record>
Fake<Record>* make(FakeHost& host, const char* kind) {
    auto* made = new Fake<Record>{};
    made->host = &host;
    made->name = host.take(kind);
    made->Destroy = destroy<Record>;
    return made;
}

// Notes what the request came to: the HTTP status where an answer came, the result of the call.
vx::Status finish(FakeHost& host, const std::string& line, const Answer& answer, int32_t usual,
                  int32_t* status, const std::string& made = "") {
    const bool answered = answer.rc == vx::VX_SUCCESS || answer.http;
    if (answered) *status = answer.http.value_or(usual);
    host.say(fmt::format("{} ->{}{}{}", line, answered ? fmt::format(" {}", *status) : "",
                         answer.rc == vx::VX_SUCCESS ? "" : fmt::format(" {:08X}", answer.rc),
                         made.empty() ? "" : " " + made));
    return answer.rc;
}

// A request of which nothing but the status comes back.
vx::Status plain(vx::Client* self, const char* method, int32_t usual, int32_t* status) {
    auto& client = FakeClient::of(self);
    return finish(*client.host, client.name + " " + method, client.host->script.next(method), usual,
                  status);
}

vx::Status get(vx::Client* self, const vx::Word* options, vx::Word, vx::Word, int32_t* status,
               vx::WriteCallback* body) {
    auto& client = FakeClient::of(self);
    const Answer answer = client.host->script.next("GET");
    client.host->say(
        fmt::format("{} GET{}", client.name, options ? fmt::format(" options {}", *options) : ""));
    Answer outcome = answer;
    for (const std::string& piece : client.host->getBody)
        if (const vx::Status refused = body->callback(body, piece.data(), piece.size())) {
            outcome.rc = refused;
            break;
        }
    return finish(*client.host, client.name + " GET", outcome, 200, status);
}

// "pulls=N": the connection breaks after N pieces, whatever the answer says besides.
vx::Status put(vx::Client* self, const vx::PutOptions* options, uint64_t optionsLength,
               uint32_t putCode, vx::Word, vx::LockObject** lock, uint32_t useLock, int32_t* status,
               vx::ReadCallback* body) {
    auto& client = FakeClient::of(self);
    FakeHost& host = *client.host;
    EXPECT_EQ(useLock, lock ? 1u : 0u);
    Answer answer = host.script.next("PUT");
    host.say(fmt::format("{} PUT code {}{}{}", client.name, putCode,
                         options ? fmt::format(" options {}", optionsLength) : "",
                         lock ? " under " + FakeLock::of(*lock).name : ""));
    std::string& sent = host.bodies.emplace_back();
    const uint64_t most = answer.number("pulls=").value_or(~0ull);
    for (uint64_t pulls = 0; pulls < most; ++pulls) {
        const void* data = nullptr;
        uint64_t length = 0;
        const vx::Status end = body->callback(body, &data, &length);
        if (end == vx::VX_SUCCESS) {
            sent.append(static_cast<const char*>(data), length);
            continue;
        }
        if (end != vx::VX_END_OF_DATA) answer.rc = end;
        break;
    }
    return finish(host, fmt::format("{} PUT {} bytes", client.name, sent.size()), answer, 201,
                  status);
}

vx::Status unlock(vx::LockObject* self, int32_t* status) {
    auto& lock = FakeLock::of(self);
    return finish(*lock.host, lock.name + " UNLOCK", lock.host->script.next("UNLOCK"), 204, status);
}

// A lock comes with a 2xx answer, without one when it says "lock", never when it says "null".
vx::LockObject* lock(vx::Client* self, vx::LockParms* parms, int32_t* status, vx::Journal* journal,
                     vx::Word) {
    auto& client = FakeClient::of(self);
    FakeHost& host = *client.host;
    EXPECT_EQ(parms->at00 | parms->at0C | parms->at10, 0u);
    const Answer answer = host.script.next("LOCK");
    const bool locked =
        !answer.null() &&
        (answer.has("lock") || (answer.rc == vx::VX_SUCCESS && answer.http.value_or(200) < 300));
    auto* made = locked ? make<vx::LockObject>(host, "lock") : nullptr;
    if (made) made->InstUnlock = unlock;
    finish(host,
           fmt::format("{} LOCK option {} block {:08X} \"{}\"{}", client.name, parms->option,
                       parms->block.flags, narrow({parms->owner, parms->ownerLength}),
                       journal ? " journal" : ""),
           answer, 200, status, made ? made->name : "null");
    return made;
}

// "allow=MASK" in the answer, or the host's.
vx::Status options(vx::Client* self, vx::Word, int32_t* status, uint32_t* allow, vx::Word) {
    auto& client = FakeClient::of(self);
    const Answer answer = client.host->script.next("OPTIONS");
    *allow = static_cast<uint32_t>(answer.number("allow=").value_or(client.host->allow));
    return finish(*client.host, client.name + " OPTIONS", answer, 200, status);
}

vx::Status propFind(vx::Client* self, uint32_t depth, vx::Document* request, int32_t* status,
                    vx::Document** response) {
    auto& client = FakeClient::of(self);
    FakeHost& host = *client.host;
    const Answer answer = host.script.next("PROPFIND");
    const bool comes = answer.rc == vx::VX_SUCCESS && !answer.null();
    auto* document = comes ? FakeDocument::create(host, "response", host.response) : nullptr;
    *response = document;
    return finish(host,
                  fmt::format("{} PROPFIND depth {} {}", client.name, depth,
                              static_cast<FakeDocument*>(request)->name),
                  answer, 207, status, document ? document->name : "null");
}

vx::Status move(vx::Client* self, vx::Word a, vx::Word b, vx::Word c, const char32_t* destination,
                uint64_t length, vx::Word d, vx::Word e, int32_t* status, vx::Word f) {
    auto& client = FakeClient::of(self);
    EXPECT_EQ(a | b | c | d | e | f, 0u);
    return finish(*client.host,
                  fmt::format("{} MOVE \"{}\"", client.name, narrow({destination, length})),
                  client.host->script.next("MOVE"), 201, status);
}

vx::Client* makeClient(FakeHost& host) {
    auto* client = make<vx::Client>(host, "client");
    client->InstHead = [](vx::Client* self, int32_t* status) {
        return plain(self, "HEAD", 200, status);
    };
    client->httpInstDelete = [](vx::Client* self, vx::Word, vx::Word, int32_t* status) {
        return plain(self, "DELETE", 204, status);
    };
    client->httpInstMkcol = [](vx::Client* self, vx::Word, vx::Word, int32_t* status) {
        return plain(self, "MKCOL", 201, status);
    };
    client->InstGet = get;
    client->InstPut = put;
    client->InstLock = lock;
    client->InstOptions = options;
    client->InstPropFind = propFind;
    client->InstMove = move;
    return client;
}

std::string field(const char* name, const char32_t* text, uint64_t length) {
    return text || length ? fmt::format(" {} \"{}\"", name, narrow({text, length})) : "";
}

// The fields that a line does not show are as the record's contract has them.
void expectRest(const vx::ClientParms& parms) {
    vx::ClientParms rest = parms;
    rest.url = rest.proxy = rest.user = rest.password = rest.channel = nullptr;
    rest.urlLength = rest.proxyLength = rest.userLength = rest.passwordLength = 0;
    rest.clientOption = 0;
    rest.journal = nullptr;
    rest.httpContext = nullptr;
    vx::ClientParms expected{};
    expected.code = 27;
    expected.channelLength = 10;
    EXPECT_EQ(std::memcmp(&rest, &expected, sizeof rest), 0);
    EXPECT_EQ(std::u32string_view(parms.channel, parms.channelLength), U"App.WebDAV");
}

vx::Client* createClient(vx::Weblnk* self, vx::ClientParms* parms, vx::Journal* journal, vx::Word) {
    FakeHost& host = *Fake<vx::Weblnk>::of(self).host;
    expectRest(*parms);
    vx::Client* client = host.script.next("CreateClient2").null() ? nullptr : makeClient(host);
    host.say(fmt::format(
        "CreateClient2{}{}{}{}{}{}{}{} -> {}", field("url", parms->url, parms->urlLength),
        field("proxy", parms->proxy, parms->proxyLength),
        field("user", parms->user, parms->userLength),
        field("password", parms->password, parms->passwordLength),
        parms->clientOption ? fmt::format(" option {}", parms->clientOption) : "",
        parms->journal ? " for journal" : "",
        parms->httpContext ? " " + Fake<vx::HttpContext>::of(parms->httpContext).name : "",
        journal ? " journal" : "", client ? FakeClient::of(client).name : "null"));
    return client;
}

}  // namespace

void FakeHost::setUpWeblnk() {
    weblnk.CreateClient2 = createClient;
    weblnk.CreateHttpContext = [](vx::Weblnk* self, vx::Journal* notes,
                                  vx::Word) -> vx::HttpContext* {
        FakeHost& host = *Fake<vx::Weblnk>::of(self).host;
        auto* context = host.script.next("CreateHttpContext").null()
                            ? nullptr
                            : make<vx::HttpContext>(host, "context");
        host.say(fmt::format("CreateHttpContext{} -> {}", notes ? " journal" : "",
                             context ? context->name : "null"));
        return context;
    };
    // A date is a plain number; any other text is none.
    weblnk.ParseDate = [](vx::Weblnk* self, const char32_t* text, uint64_t bytes, double* result) {
        const std::string date = narrow({text, bytes / sizeof(char32_t)});
        Fake<vx::Weblnk>::of(self).host->say(fmt::format("ParseDate \"{}\"", date));
        char* end;
        *result = std::strtod(date.c_str(), &end);
        return *end || date.empty() ? vx::VX_INVALID_ARGUMENT : vx::VX_SUCCESS;
    };
}

}  // namespace test
