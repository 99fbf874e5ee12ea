// Clients, contexts, locks and documents of the fake host.
#include <cstring>

#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

// Leaves the HTTP status where an answer came: always after a success, after a failure where the
// script has one. Returns what the request came to, for the transcript.
std::string outcome(const Answer& answer, int32_t usual, int32_t* status) {
    if (answer.rc && !answer.http) return hex(answer.rc);
    *status = answer.http.value_or(usual);
    return std::to_string(*status) + (answer.rc ? fmt::format(" {:08X}", answer.rc) : "");
}

template <class Record>
vx::Status finish(Record* record, const std::string& request, const Answer& answer, int32_t usual,
                  int32_t* status) {
    fake().say("{} {} -> {}", named(record).name, request, outcome(answer, usual, status));
    return answer.rc;
}

// A request that brings back a status alone.
template <class Record>
vx::Status send(Record* record, const char* method, int32_t usual, int32_t* status) {
    return finish(record, method, fake().script.next(method), usual, status);
}

template <class Record>
Record* make(const Answer& answer, const std::string& line, const char* kind) {
    auto* made = fake().make<Record>(answer, line, kind);
    if (made) made->Destroy = [](auto* self) { return fake().destroy(self); };
    return made;
}

vx::Status get(vx::Client* self, const vx::Word* options, vx::Word, vx::Word, int32_t* status,
               vx::WriteCallback* body) {
    Answer answer = fake().script.next("GET");
    fake().say(named(self).name + " GET" + (options ? fmt::format(" options {}", *options) : ""));
    for (auto piece = fake().getBody.begin(); piece != fake().getBody.end() && !answer.rc; ++piece)
        answer.rc = body->callback(body, piece->data(), piece->size());
    return finish(self, "GET", answer, 200, status);
}

// "pulls=N": the connection breaks after N pieces, whatever the answer says besides. "again": the
// body is to be sent twice.
vx::Status put(vx::Client* self, const vx::PutOptions* options, uint64_t optionsLength,
               uint32_t putCode, vx::Word, vx::LockObject** lock, uint32_t useLock, int32_t* status,
               vx::ReadCallback* body) {
    EXPECT_EQ(useLock, lock ? 1u : 0u);
    Answer answer = fake().script.next("PUT");
    fake().say("{} PUT code {}{}{}", named(self).name, putCode,
               options ? fmt::format(" options {}", optionsLength) : "",
               lock ? " under " + named(*lock).name : "");
    std::string& sent = fake().putBody;
    sent.clear();
    const void* data = nullptr;
    uint64_t length = 0;
    vx::Status end = vx::VX_SUCCESS;
    for (uint64_t pulls = answer.number("pulls", ~0ull); pulls > 0 && !end; --pulls) {
        end = body->callback(body, &data, &length);
        if (!end) sent.append(static_cast<const char*>(data), length);
        if (end && answer.words.erase("again")) {
            sent.clear();
            end = vx::VX_SUCCESS;
        }
    }
    if (end && end != vx::VX_END_OF_DATA) answer.rc = end;
    EXPECT_EQ(body->total, sent.size());
    return finish(self, fmt::format("PUT {} bytes", sent.size()), answer, 201, status);
}

// A lock comes with a 2xx answer, without one when it says "lock", never when it says "null".
vx::LockObject* lock(vx::Client* self, vx::LockParms* parms, int32_t* status, vx::Journal* journal,
                     vx::Word) {
    EXPECT_EQ(parms->at00 | parms->at0C | parms->at10, 0u);
    Answer answer = fake().script.next("LOCK");
    const bool refused = answer.http ? *answer.http >= 300 : answer.rc != vx::VX_SUCCESS;
    if (refused && !answer.has("lock")) answer.take("null");
    const std::string owner = inQuotes({parms->owner, parms->ownerLength});
    auto* made =
        make<vx::LockObject>(answer,
                             fmt::format("{} LOCK option {} block {:08X} {}{} -> {}",
                                         named(self).name, parms->option, parms->block.flags, owner,
                                         journal ? " journal" : "", outcome(answer, 200, status)),
                             "lock");
    if (made)
        made->InstUnlock = [](auto* held, auto* code) { return send(held, "UNLOCK", 204, code); };
    return made;
}

vx::Status propFind(vx::Client* self, uint32_t depth, vx::Document* request, int32_t* status,
                    vx::Document** response) {
    Answer answer = fake().script.next("PROPFIND");
    const std::string result = outcome(answer, 207, status);
    if (answer.rc) answer.take("null");
    *response = fake().makeDocument(answer,
                                    fmt::format("{} PROPFIND depth {} {} -> {}", named(self).name,
                                                depth, named(request).name, result),
                                    "response", fake().response);
    return answer.rc;
}

std::string field(const char* name, const char32_t* text, uint64_t length) {
    return text || length ? fmt::format(" {} {}", name, inQuotes({text, length})) : "";
}

// The fields that a line does not show are as the record's contract has them.
void expectRest(vx::ClientParms rest) {
    EXPECT_EQ(std::u32string_view(rest.channel, rest.channelLength), U"App.WebDAV");
    std::memset(&rest, 0, offsetof(vx::ClientParms, at41));
    rest.journal = nullptr;
    rest.httpContext = nullptr;
    rest.channel = nullptr;
    vx::ClientParms expected{};
    expected.code = 27;
    expected.channelLength = 10;
    EXPECT_EQ(std::memcmp(&rest, &expected, sizeof rest), 0);
}

vx::Client* createClient(vx::Weblnk*, vx::ClientParms* parms, vx::Journal* journal, vx::Word) {
    expectRest(*parms);
    auto* client = make<vx::Client>(
        fake().script.next("CreateClient2"),
        "CreateClient2" + field("url", parms->url, parms->urlLength) +
            field("proxy", parms->proxy, parms->proxyLength) +
            field("user", parms->user, parms->userLength) +
            field("password", parms->password, parms->passwordLength) +
            (parms->clientOption ? fmt::format(" option {}", parms->clientOption) : "") +
            (parms->journal ? " for journal" : "") +
            (parms->httpContext ? " " + named(parms->httpContext).name : "") +
            (journal ? " journal ->" : " ->"),
        "client");
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
        *allow = uint32_t(answer.number("allow", fake().allow));
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

std::string readAll(vx::BlobStream* stream) {
    std::string bytes;
    const void* data;
    uint64_t length;
    EXPECT_EQ(stream->open(stream), vx::VX_SUCCESS);
    while (stream->read(stream, &data, &length) == vx::VX_SUCCESS)
        bytes.append(static_cast<const char*>(data), length);
    EXPECT_EQ(stream->read(stream, &data, &length), vx::VX_END_OF_DATA);
    EXPECT_EQ(stream->close(stream), vx::VX_SUCCESS);
    return bytes;
}

vx::Document* createDocument(vx::Markup*, vx::DocumentParms* parms, vx::Journal* journal,
                             vx::Word) {
    vx::DocumentParms expected{};
    expected.sourceEncoding = expected.treeEncoding = vx::ENCODING_UTF32;
    expected.flags = vx::DOCUMENT_FROM_STREAM;
    expected.journal = journal;
    expected.stream = parms->stream;
    EXPECT_EQ(std::memcmp(parms, &expected, sizeof expected), 0);
    fake().requestBody = readAll(parms->stream);
    return fake().makeDocument(fake().script.next("CreateDocument"),
                               fmt::format("CreateDocument {} bytes{} ->",
                                           fake().requestBody.size(), journal ? " journal" : ""),
                               "request", {});
}

}  // namespace

vx::Document* FakeHost::makeDocument(const Answer& answer, const std::string& line,
                                     const char* kind, std::vector<Tree> top) {
    auto* document = make<vx::Document>(answer, line, kind);
    if (!document) return nullptr;
    named(document).nodes = std::move(top);
    document->firstChild = nodesOf(named(document).nodes);
    document->Destroy = [](auto* self) { fake().destroy(self); };
    return document;
}

void FakeHost::setUpWeblnk() {
    weblnk.CreateClient2 = createClient;
    weblnk.CreateHttpContext = [](auto*, auto* notes, auto) {
        return test::make<vx::HttpContext>(
            fake().script.next("CreateHttpContext"),
            std::string{"CreateHttpContext"} + (notes ? " journal ->" : " ->"), "context");
    };
    // A date is a plain number; any other text is none.
    weblnk.ParseDate = [](auto*, auto* text, auto bytes, auto* result) {
        const std::string date = narrow({text, bytes / sizeof(char32_t)});
        fake().say("ParseDate \"" + date + "\"");
        char* end;
        *result = std::strtod(date.c_str(), &end);
        return *end || date.empty() ? vx::VX_INVALID_ARGUMENT : vx::VX_SUCCESS;
    };
    markup.CreateDocument = createDocument;
}

}  // namespace test
