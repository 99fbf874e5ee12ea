// Documents of the fake host.
#include <fmt/format.h>

#include <cstring>

#include "tests/extension/fake_document.hpp"

namespace test {

FakeDocument* FakeDocument::create(FakeHost& host, const std::string& kind,
                                   const std::vector<Tree>& top) {
    auto* document = new FakeDocument{};
    document->host = &host;
    document->name = host.take(kind);
    document->top = top;
    document->firstChild = document->nodes.build(document->top);
    document->Destroy = [](vx::Document* self) {
        auto* gone = static_cast<FakeDocument*>(self);
        gone->host->say(gone->name + " Destroy");
        gone->host->giveBack(gone->name);
        delete gone;
    };
    return document;
}

namespace {

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

vx::Document* createDocument(vx::Markup* self, vx::DocumentParms* parms, vx::Journal* journal,
                             vx::Word) {
    FakeHost& host = *Fake<vx::Markup>::of(self).host;
    vx::DocumentParms expected{};
    expected.sourceEncoding = expected.treeEncoding = vx::ENCODING_UTF32;
    expected.flags = vx::DOCUMENT_FROM_STREAM;
    expected.journal = journal;
    expected.stream = parms->stream;
    EXPECT_EQ(std::memcmp(parms, &expected, sizeof expected), 0);
    host.requestBody = readAll(parms->stream);
    const bool null = host.script.next("CreateDocument").null();
    auto* document = null ? nullptr : FakeDocument::create(host, "request", {});
    host.say(fmt::format("CreateDocument {} bytes{} -> {}", host.requestBody.size(),
                         journal ? " journal" : "", null ? "null" : document->name));
    return document;
}

}  // namespace

void FakeHost::setUpMarkup() {
    markup.CreateDocument = createDocument;
}

}  // namespace test
