#include "vxext/src/propfind.hpp"

#include <cstring>

namespace vx {
namespace {

constexpr char32_t PROPFIND_request[] =
    U"<?xml version=\"1.0\"?> <d:propfind xmlns:d=\"DAV:\"> <d:allprop/> </d:propfind>";
static_assert(sizeof PROPFIND_request == 308);

}  // namespace

Status XMLBlobStreamOpen(BlobStream*) {
    return VX_SUCCESS;
}

Status XMLBlobStreamClose(BlobStream*) {
    return VX_SUCCESS;
}

Status XMLBlobStreamResolve(BlobStream*) {
    return VX_SUCCESS;
}

Status XMLBlobStreamRead(BlobStream* stream, const void** data, uint64_t* length) {
    if (stream->consumed) return VX_END_OF_DATA;
    *data = stream->data;
    *length = stream->length;
    stream->consumed = 1;
    return VX_SUCCESS;
}

Document* squillonCreatePropfindRequest(const ExtensionHandle* extension, Journal* journal) {
    // The XML layer may write to what it reads, so it gets a copy.
    char32_t body[sizeof PROPFIND_request / sizeof(char32_t)];
    std::memcpy(body, PROPFIND_request, sizeof body);

    BlobStream stream{};
    stream.close = XMLBlobStreamClose;
    stream.open = XMLBlobStreamOpen;
    stream.read = XMLBlobStreamRead;
    stream.data = body;
    stream.length = sizeof body - sizeof(char32_t);  // without the NUL

    DocumentParms parms{};
    parms.sourceEncoding = ENCODING_UTF32;
    parms.treeEncoding = ENCODING_UTF32;
    parms.flags = DOCUMENT_FROM_STREAM;
    parms.journal = journal;
    parms.stream = &stream;
    return extension->markup->CreateDocument(extension->markup, &parms, journal, 0);
}

}  // namespace vx
