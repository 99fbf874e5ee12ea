// Opening and closing a listing of a collection's members.
#include "vxext/src/dom.hpp"
#include "vxext/src/file_info.hpp"
#include "vxext/src/handle.hpp"
#include "vxext/src/href.hpp"
#include "vxext/src/http_status.hpp"
#include "vxext/src/journal.hpp"
#include "vxext/src/listing_sort.hpp"
#include "vxext/src/operations.hpp"
#include "vxext/src/propfind.hpp"

namespace vx {
namespace {

struct Opening {
    ExtensionHandle* extension;
    CollectionHandle* collection;
    CollectionListHandle* list;
    Transcoder* transcoder;  // or null
    Journal* journal;        // or null

    int32_t* status() const { return &collection->lastStatus; }
};

template <class... Arguments>
bool fail(const Opening& opening, const LogText& text, Arguments... arguments) {
    squillonLogFailure(opening.extension, text, arguments...);
    return false;
}

void tellPerson(const Opening& opening, const JournalText& sentence) {
    squillonJournalSentence(opening.extension, opening.journal, JOURNAL_FAILURE, sentence);
}

bool collectionExists(const Opening& opening) {
    Client* client = opening.collection->client;
    if (Status rc = client->InstHead(client, opening.status()))
        return fail(opening, U"quillonCollectionListOpen InstHead returned rc=%X", rc);
    if (squillonHttpSuccess(*opening.status())) return true;
    tellPerson(opening, U"Collection URL does not exist.");
    return fail(opening, U"quillonCollectionListOpen InstHead returned status=%d",
                *opening.status());
}

bool propfindAllowed(const Opening& opening) {
    Client* client = opening.collection->client;
    uint32_t allow = 0;
    if (Status rc = client->InstOptions(client, 0, opening.status(), &allow, 0))
        return fail(opening, U"quillonCollectionListOpen InstOptions returned rc=%X", rc);
    if (!squillonHttpSuccess(*opening.status()))
        return fail(opening, U"quillonCollectionListOpen InstOptions returned status=%d",
                    *opening.status());
    if (allow & ALLOW_PROPFIND) return true;
    tellPerson(opening, U"PROPFIND method not supported.");
    return fail(opening, U"quillonCollectionListOpen PROPFIND method not supported");
}

bool requestMembers(const Opening& opening, Document* request) {
    Client* client = opening.collection->client;
    if (Status rc = client->InstPropFind(client, 1, request, opening.status(),
                                         &opening.list->responseDocument))
        return fail(opening, U"quillonCollectionListOpen InstPropFind returned rc=%X", rc);
    if (!opening.list->responseDocument) {
        tellPerson(opening, U"No info returned for PROPFIND request.");
        return fail(opening, U"quillonCollectionListOpen InstPropFind returned no info");
    }
    if (squillonHttpSuccess(*opening.status())) return true;
    return fail(opening, U"quillonCollectionListOpen InstPropFind returned status=%d",
                *opening.status());
}

bool isMember(const CollectionHandle* collection, const FileInfo* info) {
    if (info->flags & FILEINFO_COLLECTION && !(collection->flags & LIST_INCLUDE_COLLECTIONS))
        return false;
    return squillonCompareHref(info->href, int64_t(info->hrefLength), collection->url,
                               int64_t(collection->urlLength)) != 0;
}

// Chains the members, in the order of the responses, from the list's head. *spare is a record that
// is not kept; it serves for the next response. One bad response abandons the listing.
bool chainMembers(const Opening& opening, const Node* response, FileInfo** spare) {
    FileInfo** end = &opening.list->head;
    for (; response; response = squillonNextElement(response)) {
        if (!*spare) *spare = squillonAllocRecord<FileInfo>(opening.extension->pool);
        if (!*spare)
            return fail(opening, U"quillonCollectionListOpen no memory for file info struct");
        if (Status rc = squillonFileInfoRetrieve(opening.extension, opening.transcoder, response,
                                                 *spare, opening.journal))
            return fail(opening, U"quillonCollectionListOpen FileInfoRetrieve returned rc=%X", rc);
        if (!isMember(opening.collection, *spare)) continue;
        ++opening.list->memberCount;
        if (opening.collection->flags & LIST_COUNT_ONLY) continue;
        *end = *spare;
        end = &(*end)->next;
        *spare = nullptr;
    }
    return true;
}

bool readMembers(const Opening& opening) {
    CollectionListHandle* list = opening.list;
    const Node* root = squillonRoot(list->responseDocument);
    if (!root) return true;
    const Node* response = squillonFirstResponse(root);
    if (!response) {
        fail(opening, U"quillonCollectionListOpen error parsing xml, no response node found");
        tellPerson(opening, U"XML response from PROPFIND request could not be parsed.");
        return false;
    }
    FileInfo* spare = nullptr;
    const bool complete = chainMembers(opening, response, &spare);
    // An incomplete chain is published, too, as it lies: closing releases what is published.
    if (complete) list->head = squillonSortByName(list->head);
    list->headLink = &list->head;
    list->first = list->head;
    squillonFileInfoRelease(opening.extension->pool, spare);
    return complete;
}

bool propfind(const Opening& opening) {
    DocumentPtr request(squillonCreatePropfindRequest(opening.extension, opening.journal));
    if (request) return requestMembers(opening, request.get()) && readMembers(opening);
    tellPerson(opening, U"XML document for PROPFIND request could not be created.");
    return fail(opening, U"quillonCollectionListOpen XML for PROPFIND not created");
}

bool fill(const Opening& opening, const char* genericName) {
    CollectionListHandle* list = opening.list;
    squillonMark(list->magic);
    list->extension = opening.extension;
    list->collection = opening.collection;
    if (genericName) {
        list->genericName = squillonCopyGenericName(opening.extension->pool, genericName);
        if (!list->genericName)
            return fail(opening,
                        U"quillonCollectionListOpen no memory for collection list generic name");
    }
    list->release = quillonCollectionListClose;
    return collectionExists(opening) && propfindAllowed(opening) && propfind(opening);
}

CollectionListHandle* open(CollectionHandle* collection, Transcoder* transcoder,
                           const char* genericName, Journal* journal) {
    ExtensionHandle* extension = collection->extension;
    auto* list = squillonAllocRecord<CollectionListHandle>(extension->pool);
    if (!list) {
        squillonLogFailure(extension,
                           U"quillonCollectionListOpen no memory for collection list handle");
        return nullptr;
    }
    if (fill({extension, collection, list, transcoder, journal}, genericName)) return list;
    quillonCollectionListClose(list);
    return nullptr;
}

}  // namespace

CollectionListHandle* quillonCollectionListOpen(CollectionHandle* collection,
                                                Transcoder* transcoder, const char* genericName,
                                                Journal* journal) {
    collection->lastStatus = -1;
    squillonTrace(collection->extension, U"quillonCollectionListOpen called");
    CollectionListHandle* list = open(collection, transcoder, genericName, journal);
    squillonTrace(collection->extension, U"quillonCollectionListOpen returning cListp=%P", list);
    return list;
}

Status quillonCollectionListClose(CollectionListHandle* list) {
    if (!list) return VX_SUCCESS;
    Pool* pool = list->extension->pool;
    squillonTrace(list->extension, U"quillonCollectionListClose called");
    squillonFree(pool, list->genericName);
    for (FileInfo* info = list->first; info;) {
        FileInfo* next = info->next;
        squillonFileInfoRelease(pool, info);
        info = next;
    }
    if (list->responseDocument) list->responseDocument->Destroy(list->responseDocument);
    pool->Free(pool, list);
    return VX_SUCCESS;
}

}  // namespace vx
