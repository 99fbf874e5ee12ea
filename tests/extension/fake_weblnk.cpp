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

template <size_t N>
struct Method {
    consteval Method(const char (&text)[N]) { std::copy_n(text, N, name); }
    char name[N];
};

// A slot that brings back a status alone.
template <Method method, int32_t usual>
constexpr auto request = [](auto* self, auto... arguments) {
    return finish(self, method.name + shown(arguments...), fake().script.next(method.name), usual,
                  std::get<int32_t*>(std::tuple{arguments...}));
};

vx::Status options(vx::Client* self, vx::Word, int32_t* status, uint32_t* allow, vx::Word) {
    const Answer answer = fake().script.next("OPTIONS");
    *allow = uint32_t(answer.number("allow", ~0u));
    return finish(self, "OPTIONS", answer, 200, status);
}

vx::Status get(vx::Client* self, const vx::Word* options, vx::Word, vx::Word, int32_t* status,
               vx::WriteCallback* body) {
    Answer answer = fake().script.next("GET");
    for (auto piece = fake().getBody.begin(); piece != fake().getBody.end() && !answer.rc; ++piece)
        answer.rc = body->callback(body, piece->data(), piece->size());
    return finish(self, "GET" + shown(options ? *options : 0), answer, 200, status);
}

// "pulls=N": the connection breaks after N pieces, whatever the answer says besides. "again": the
// body is to be sent twice.
vx::Status put(vx::Client* self, const vx::PutOptions*, uint64_t optionsLength, uint32_t putCode,
               vx::Word, vx::LockObject** lock, uint32_t useLock, int32_t* status,
               vx::ReadCallback* body) {
    EXPECT_EQ(useLock, lock ? 1u : 0u);
    Answer answer = fake().script.next("PUT");
    fake().say("{} PUT code {}{}{}", named(self).name, putCode, shown(optionsLength),
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
    auto* made = fake().make<vx::LockObject>(
        answer,
        fmt::format("{} LOCK option {} block {:08X} {}{} -> {}", named(self).name, parms->option,
                    parms->block.flags, inQuotes({parms->owner, parms->ownerLength}),
                    shown(journal), outcome(answer, 200, status)),
        "lock");
    if (made) made->InstUnlock = request<"UNLOCK", 204>;
    return made;
}

vx::Document* makeDocument(const Answer& answer, const std::string& line, const char* kind,
                           const std::vector<Tree>& top) {
    auto* document = fake().make<vx::Document>(answer, line, kind);
    if (!document) return nullptr;
    named(document).nodes = top;
    document->firstChild = nodesOf(named(document).nodes);
    document->Destroy = [](auto* self) { fake().destroy(self); };
    return document;
}

vx::Status propFind(vx::Client* self, uint32_t depth, vx::Document* request, int32_t* status,
                    vx::Document** response) {
    Answer answer = fake().script.next("PROPFIND");
    const std::string result = outcome(answer, 207, status);
    if (answer.rc) answer.take("null");
    *response = makeDocument(answer,
                             fmt::format("{} PROPFIND depth {}{} -> {}", named(self).name, depth,
                                         shown(request), result),
                             "response", fake().response);
    return answer.rc;
}

vx::Client* createClient(vx::Weblnk*, vx::ClientParms* parms, vx::Journal* journal, vx::Word) {
    static constexpr vx::Word zeros[9] = {};
    EXPECT_EQ(std::memcmp(parms->at98, zeros, sizeof zeros), 0);
    EXPECT_EQ(fmt::format("{}{}{}{}", parms->at50, parms->code, parms->at5C, parms->at60), "02700");
    EXPECT_EQ(std::u32string_view(parms->channel, parms->channelLength), U"App.WebDAV");
    const std::string line = fmt::format(
        "CreateClient2{} option{} for{}{} ->",
        shown(parms->url, parms->urlLength, parms->proxy, parms->proxyLength, parms->user,
              parms->userLength, parms->password, parms->passwordLength),
        shown(parms->clientOption), shown(parms->journal, parms->httpContext), shown(journal));
    auto* client = fake().make<vx::Client>(fake().script.next("CreateClient2"), line, "client");
    if (!client) return nullptr;
    client->InstHead = request<"HEAD", 200>;
    client->httpInstDelete = request<"DELETE", 204>;
    client->httpInstMkcol = request<"MKCOL", 201>;
    client->InstMove = request<"MOVE", 201>;
    client->InstOptions = options;
    client->InstGet = get;
    client->InstPut = put;
    client->InstLock = lock;
    client->InstPropFind = propFind;
    return client;
}

std::string readAll(vx::BlobStream* stream) {
    const void* data = nullptr;
    uint64_t length = 0;
    EXPECT_EQ(stream->open(stream) | stream->read(stream, &data, &length), vx::VX_SUCCESS);
    const std::string bytes(static_cast<const char*>(data), length);
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
    return makeDocument(
        fake().script.next("CreateDocument"),
        fmt::format("CreateDocument {} bytes{} ->", fake().requestBody.size(), shown(journal)),
        "request", {});
}

}  // namespace

void FakeHost::setUpWeblnk() {
    weblnk.CreateClient2 = createClient;
    weblnk.CreateHttpContext = [](auto*, auto... arguments) {
        return fake().make<vx::HttpContext>(
            fake().script.next("CreateHttpContext"),
            fmt::format("CreateHttpContext{} ->", shown(arguments...)), "context");
    };
    // A date is a plain number; any other text is none.
    weblnk.ParseDate = [](auto*, auto* text, auto bytes, auto* result) {
        const std::string date = narrow({text, bytes / sizeof(char32_t)});
        fake().say("ParseDate \"{}\"", date);
        char* end;
        *result = std::strtod(date.c_str(), &end);
        return *end || date.empty() ? vx::VX_INVALID_ARGUMENT : vx::VX_SUCCESS;
    };
    markup.CreateDocument = createDocument;
}

}  // namespace test
