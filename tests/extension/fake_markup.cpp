// Documents of the fake host.
#include <cstring>

#include "tests/extension/fake_host.hpp"

namespace test {
namespace {

struct FakeDocument : Named<vx::Document> {
    std::vector<Tree> top;
};

std::string readAll(vx::BlobStream* stream) {
    std::string bytes;
    EXPECT_EQ(stream->open(stream), vx::VX_SUCCESS);
    const void* data;
    uint64_t length;
    while (stream->read(stream, &data, &length) == vx::VX_SUCCESS)
        bytes.append(static_cast<const char*>(data), length);
    EXPECT_EQ(stream->read(stream, &data, &length), vx::VX_END_OF_DATA);
    EXPECT_EQ(stream->close(stream), vx::VX_SUCCESS);
    return bytes;
}

}  // namespace

vx::Document* FakeHost::makeDocument(const Answer& answer, const std::string& line,
                                     const char* kind, std::vector<Tree> top) {
    auto* document = make<vx::Document, FakeDocument>(answer, line, kind);
    if (!document) return nullptr;
    document->top = std::move(top);
    document->firstChild = nodesOf(document->top);
    document->Destroy = [](vx::Document* self) {
        fake().destroy<vx::Document, FakeDocument>(self);
    };
    return document;
}

void FakeHost::setUpMarkup() {
    markup.CreateDocument = [](vx::Markup*, vx::DocumentParms* parms, vx::Journal* notes,
                               vx::Word) {
        vx::DocumentParms expected{};
        expected.sourceEncoding = expected.treeEncoding = vx::ENCODING_UTF32;
        expected.flags = vx::DOCUMENT_FROM_STREAM;
        expected.journal = notes;
        expected.stream = parms->stream;
        EXPECT_EQ(std::memcmp(parms, &expected, sizeof expected), 0);
        FakeHost& host = fake();
        host.requestBody = readAll(parms->stream);
        return host.makeDocument(host.script.next("CreateDocument"),
                                 fmt::format("CreateDocument {} bytes{} ->",
                                             host.requestBody.size(), notes ? " journal" : ""),
                                 "request", {});
    };
}

}  // namespace test
