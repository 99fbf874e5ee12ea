// Reading a member's properties.
#include "vxext/src/dom.hpp"
#include "vxext/src/failure.hpp"
#include "vxext/src/file_info.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/propfind.hpp"

namespace vx {
namespace {

struct Exchange {
    DocumentPtr request;
    DocumentPtr response;  // destroyed first
};

Status probe(FileHandle* member) {
    Client* client = member->client;
    // The HTTP status of OPTIONS does not matter here, whether the member exists is HEAD's to say.
    if (Status rc = client->InstOptions(client, 0, &member->status, &member->allow, 0))
        return squillonFail(member->extension, rc, U"quillonFileInfo InstOptions failed rc=%X", rc);
    if (Status rc = client->InstHead(client, &member->status))
        return squillonFail(member->extension, rc, U"quillonFileInfo InstHead failed rc=%X", rc);
    if (squillonHttpSuccess(member->status))
        member->flags |= FILE_EXISTS;
    else if (member->status == HTTP_NOT_FOUND)
        member->flags &= ~FILE_EXISTS;
    else
        return squillonFail(member->extension, QUILLON_UNEXPECTED_STATUS,
                            U"quillonFileInfo InstHead unexpected status=%d", member->status);
    return VX_SUCCESS;
}

Status propfind(FileHandle* member, Journal* journal, Document* request, Document** response) {
    ExtensionHandle* extension = member->extension;
    Client* client = member->client;
    if (Status rc = client->InstPropFind(client, 0, request, &member->status, response))
        return squillonFail(extension, rc, U"quillonFileInfo InstPropFind failed rc=%X", rc);
    if (!*response) {
        squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                                U"No info returned for PROPFIND request.");
        return squillonFail(extension, QUILLON_REQUEST_FAILED,
                            U"quillonFileInfo PROPFIND returned no info status=%d", member->status);
    }
    if (!squillonHttpSuccess(member->status))
        return squillonFail(extension, QUILLON_UNEXPECTED_STATUS,
                            U"quillonFileInfo PROPFIND returned unexpected status=%d",
                            member->status);
    return VX_SUCCESS;
}

Status readResponse(FileHandle* member, Transcoder* transcoder, Journal* journal,
                    const Document* document) {
    const Node* root = squillonRoot(document);
    if (!root) return VX_SUCCESS;
    const Node* response = squillonFirstResponse(root);
    if (!response)
        return squillonFail(member->extension, QUILLON_BAD_RESPONSE,
                            U"quillonFileInfo unexpected XML response");
    if (Status rc = squillonFileInfoRetrieve(member->extension, transcoder, response,
                                             member->fileInfo, journal))
        return squillonFail(member->extension, rc, U"quillonFileInfo FileInfoRetrieve failed rc=%X",
                            rc);
    // The texts go with the document.
    member->fileInfo->name = nullptr;
    member->fileInfo->href = nullptr;
    return VX_SUCCESS;
}

Status refresh(FileHandle* member, Transcoder* transcoder, Journal* journal, Exchange& exchange) {
    ExtensionHandle* extension = member->extension;
    if (Status rc = probe(member)) return rc;
    if (!member->fileInfo) member->fileInfo = squillonAllocRecord<FileInfo>(extension->pool);
    if (!member->fileInfo)
        return squillonFail(extension, VX_NO_MEMORY, U"quillonFileInfo no memory for info");
    if (!(member->flags & FILE_EXISTS)) {
        squillonFileInfoReset(extension->pool, member->fileInfo);
        return VX_SUCCESS;
    }
    *exchange.request.address() = squillonCreatePropfindRequest(extension, journal);
    if (!exchange.request) {
        squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                                U"XML document for PROPFIND request could not be created.");
        return squillonFail(extension, QUILLON_REQUEST_FAILED,
                            U"quillonFileInfo XML document creation failed");
    }
    if (Status rc = propfind(member, journal, exchange.request.get(), exchange.response.address()))
        return rc;
    return readResponse(member, transcoder, journal, exchange.response.get());
}

}  // namespace

Status quillonFileInfo(FileHandle* member, Transcoder* transcoder, Journal* journal) {
    member->status = -1;
    squillonTrace(member->extension, U"quillonFileInfo called");
    Status rc;
    {
        Exchange exchange;
        rc = refresh(member, transcoder, journal, exchange);
        if (rc != VX_SUCCESS) {  // nothing that is out of date stays
            squillonFileInfoRelease(member->extension->pool, member->fileInfo);
            member->fileInfo = nullptr;
        }
    }
    squillonTrace(member->extension, U"quillonFileInfo returning rc=%X", rc);
    return rc;
}

}  // namespace vx
