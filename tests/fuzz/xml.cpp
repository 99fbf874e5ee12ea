// XML of any kind to a tree, and back.
#include <cstring>
#include <string>

#include "platform/markup/serialize.hpp"
#include "platform/markup/walk.hpp"
#include "platform/siblings.hpp"
#include "platform/transcoder.hpp"
#include "tests/fuzz/builders.hpp"
#include "tests/fuzz/fuzz.hpp"

namespace {

using fuzz::require;

// A source that hands out its bytes in two pieces, wherever that cuts them.
struct Source : vx::BlobStream {
    Source(std::string_view bytes, size_t cut);
    std::string_view first, second;
};

Source::Source(std::string_view bytes, size_t cut)
    : vx::BlobStream{}, first(bytes.substr(0, cut)), second(bytes.substr(cut)) {
    open = close = [](vx::BlobStream*) -> vx::Status { return vx::VX_SUCCESS; };
    read = [](vx::BlobStream* self, const void** piece, uint64_t* pieceBytes) -> vx::Status {
        auto& source = *static_cast<Source*>(self);
        if (source.first.empty()) std::swap(source.first, source.second);
        if (source.first.empty()) return vx::VX_END_OF_DATA;
        *piece = source.first.data();
        *pieceBytes = source.first.size();
        source.first = {};
        return vx::VX_SUCCESS;
    };
}

// As the extension makes its documents; null when the bytes are refused.
vx::Document* createDocument(std::string_view utf32, size_t cut) {
    static auto* markup = reinterpret_cast<vx::Markup*>(vxhost::createMarkup());
    Source source(utf32, std::min(cut, utf32.size()));
    vx::DocumentParms parms{};
    parms.sourceEncoding = parms.treeEncoding = vx::ENCODING_UTF32;
    parms.flags = vx::DOCUMENT_FROM_STREAM;
    parms.stream = &source;
    return markup->CreateDocument(markup, &parms, nullptr, 0);
}

std::string_view bytesOf(std::u32string_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char32_t)};
}

void checkWide(const std::string& xml, size_t cut) {
    vx::Document* document = createDocument(bytesOf(vxhost::toUtf32(xml)), cut);
    require(document != nullptr, "UTF-32 is read like UTF-8");
    require(vxhost::serialize(*document) == xml, "to the same tree");
    document->Destroy(document);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto input = fuzz::text(data, size);
    if (auto* document = createDocument(input, size / 2)) document->Destroy(document);

    const auto whole = fuzz::read<vxhost::TreeBuilder>(input);
    const auto pieces = fuzz::read<vxhost::TreeBuilder>(input, 1 + size % 13);
    require(!whole == !pieces, "pieces do not decide whether a document is read");
    if (!whole) return 0;
    const std::string xml = serialize(*whole);
    require(xml == serialize(*pieces), "nor how");

    const auto again = fuzz::read<vxhost::TreeBuilder>(xml);
    require(again != nullptr, "what is written can be read");
    require(serialize(*again) == xml, "and is the same tree");
    checkWide(xml, size);
    return 0;
}
