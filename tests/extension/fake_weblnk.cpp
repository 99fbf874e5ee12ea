// Clients, contexts and locks of the fake host.
#include <cstring>

#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

// Whether an answer comes: always after a success, after a failure where the script has a status.
bool answered(const Answer& answer) {
    return answer.rc == vx::VX_SUCCESS || answer.http;
}

// What the request came to: the HTTP status where an answer came, and the result of the call.
std::string outcome(const Answer& answer, int32_t usual, int32_t* status) {
    if (!answered(answer)) return hex(answer.rc);
    *status = answer.http.value_or(usual);
    const std::string code = std::to_string(*status);
    return answer.rc == vx::VX_SUCCESS ? code : fmt::format("{} {:08X}", code, answer.rc);
}

template <class Record>
vx::Status finish(Record* record, const std::string& request, const Answer& answer, int32_t usual,
                  int32_t* status) {
    const std::string result = outcome(answer, usual, status);
    fake().say(named(record).name + " " + request, result);
    return answer.rc;
}

// A request that brings back a status alone.
template <class Record>
vx::Status send(Record* record, const char* method, int32_t usual, int32_t* status) {
    return finish(record, method, fake().script.next(method), usual, status);
}

template <class Record>
Record* make(const char* call, const std::string& line, const char* kind) {
    auto* made = fake().make<Record>(fake().script.next(call), line, kind);
    if (made) made->Destroy = [](auto* self) { return fake().destroy(self); };
    return made;
}

vx::Status get(vx::Client* self, const vx::Word* options, vx::Word, vx::Word, int32_t* status,
               vx::WriteCallback* body) {
    Answer answer = fake().script.next("GET");
    fake().say(named(self).name + " GET" + (options ? fmt::format(" options {}", *options) : ""));
    for (const std::string& piece : fake().getBody)
        if (const vx::Status refused = body->callback(body, piece.data(), piece.size())) {
            answer.rc = refused;
            break;
        }
    return finish(self, "GET", answer, 200, status);
}

// "pulls=N": the connection breaks after N pieces, whatever the answer says besides.
vx::Status put(vx::Client* self, const vx::PutOptions* options, uint64_t optionsLength,
               uint32_t putCode, vx::Word, vx::LockObject** lock, uint32_t useLock, int32_t* status,
               vx::ReadCallback* body) {
    EXPECT_EQ(useLock, lock ? 1u : 0u);
    Answer answer = fake().script.next("PUT");
    fake().say(fmt::format("{} PUT code {}{}{}", named(self).name, putCode,
                           options ? fmt::format(" options {}", optionsLength) : "",
                           lock ? " under " + named(*lock).name : ""));
    std::string& sent = fake().putBody;
    sent.clear();
    for (uint64_t pulls = answer.number("pulls", ~0ull); pulls > 0; --pulls) {
        const void* data = nullptr;
        uint64_t length = 0;
        const vx::Status end = body->callback(body, &data, &length);
        if (end == vx::VX_SUCCESS) sent.append(static_cast<const char*>(data), length);
        if (end == vx::VX_SUCCESS) continue;
        if (end != vx::VX_END_OF_DATA) answer.rc = end;
        break;
    }
    return finish(self, fmt::format("PUT {} bytes", sent.size()), answer, 201, status);
}

// A lock comes with a 2xx answer, without one when it says "lock", never when it says "null".
vx::LockObject* lock(vx::Client* self, vx::LockParms* parms, int32_t* status, vx::Journal* journal,
                     vx::Word) {
    EXPECT_EQ(parms->at00 | parms->at0C | parms->at10, 0u);
    Answer answer = fake().script.next("LOCK");
    const std::string result = outcome(answer, 200, status);
    if (!answer.has("lock") && (!answered(answer) || *status >= 300)) answer.words.insert("null");
    const std::string owner = inQuotes({parms->owner, parms->ownerLength});
    auto* made = fake().make<vx::LockObject>(
        answer,
        fmt::format("{} LOCK option {} block {:08X} {}{} -> {}", named(self).name, parms->option,
                    parms->block.flags, owner, journal ? " journal" : "", result),
        "lock");
    if (!made) return nullptr;
    made->Destroy = [](auto* gone) { return fake().destroy(gone); };
    made->InstUnlock = [](auto* held, auto* code) { return send(held, "UNLOCK", 204, code); };
    return made;
}

vx::Status propFind(vx::Client* self, uint32_t depth, vx::Document* request, int32_t* status,
                    vx::Document** response) {
    Answer answer = fake().script.next("PROPFIND");
    const std::string result = outcome(answer, 207, status);
    if (answer.rc != vx::VX_SUCCESS) answer.words.insert("null");
    *response = fake().makeDocument(answer,
                                    fmt::format("{} PROPFIND depth {} {} -> {}", named(self).name,
                                                depth, named(request).name, result),
                                    "response", fake().response);
    return answer.rc;
}

vx::Client* makeClient(const std::string& line) {
    auto* client = make<vx::Client>("CreateClient2", line, "client");
    if (!client) return nullptr;
    client->InstHead = [](auto* self, auto* status) { return send(self, "HEAD", 200, status); };
    client->httpInstDelete = [](auto* self, auto, auto, auto* status) {
        return send(self, "DELETE", 204, status);
    };
    client->httpInstMkcol = [](auto* self, auto, auto, auto* status) {
        return send(self, "MKCOL", 201, status);
    };
    // "allow=MASK" in the answer, or the host's.
    client->InstOptions = [](auto* self, auto, auto* status, auto* allow, auto) {
        const Answer answer = fake().script.next("OPTIONS");
        *allow = static_cast<uint32_t>(answer.number("allow", fake().allow));
        return finish(self, "OPTIONS", answer, 200, status);
    };
    client->InstMove = [](auto* self, auto a, auto b, auto c, auto* destination, auto length,
                          auto d, auto e, auto* status, auto f) {
        EXPECT_EQ(a | b | c | d | e | f, 0u);
        return finish(self, "MOVE " + inQuotes({destination, length}), fake().script.next("MOVE"),
                      201, status);
    };
    client->InstGet = get;
    client->InstPut = put;
    client->InstLock = lock;
    client->InstPropFind = propFind;
    return client;
}

std::string field(const char* name, const char32_t* text, uint64_t length) {
    return text || length ? fmt::format(" {} {}", name, inQuotes({text, length})) : "";
}

// The fields that a line does not show are as the record's contract has them.
void expectRest(vx::ClientParms rest) {
    EXPECT_EQ(std::u32string_view(rest.channel, rest.channelLength), U"App.WebDAV");
    rest.url = rest.proxy = rest.user = rest.password = rest.channel = nullptr;
    rest.urlLength = rest.proxyLength = rest.userLength = rest.passwordLength = 0;
    rest.clientOption = 0;
    rest.journal = nullptr;
    rest.httpContext = nullptr;
    vx::ClientParms expected{};
    expected.code = 27;
    expected.channelLength = 10;
    EXPECT_EQ(std::memcmp(&rest, &expected, sizeof rest), 0);
}

}  // namespace

void FakeHost::setUpWeblnk() {
    weblnk.CreateClient2 = [](auto*, auto* parms, auto* notes, auto) {
        expectRest(*parms);
        return makeClient(
            "CreateClient2" + field("url", parms->url, parms->urlLength) +
            field("proxy", parms->proxy, parms->proxyLength) +
            field("user", parms->user, parms->userLength) +
            field("password", parms->password, parms->passwordLength) +
            (parms->clientOption ? fmt::format(" option {}", parms->clientOption) : "") +
            (parms->journal ? " for journal" : "") +
            (parms->httpContext ? " " + named(parms->httpContext).name : "") +
            (notes ? " journal ->" : " ->"));
    };
    weblnk.CreateHttpContext = [](auto*, auto* notes, auto) {
        return test::make<vx::HttpContext>(
            "CreateHttpContext", std::string{"CreateHttpContext"} + (notes ? " journal ->" : " ->"),
            "context");
    };
    // A date is a plain number; any other text is none.
    weblnk.ParseDate = [](auto*, auto* text, auto bytes, auto* result) {
        const std::string date = narrow({text, bytes / sizeof(char32_t)});
        fake().say("ParseDate \"" + date + "\"");
        char* end;
        *result = std::strtod(date.c_str(), &end);
        return *end || date.empty() ? vx::VX_INVALID_ARGUMENT : vx::VX_SUCCESS;
    };
}

}  // namespace test
