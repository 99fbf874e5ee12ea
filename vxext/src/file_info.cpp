#include "vxext/src/file_info.hpp"

#include "vxext/src/datetime.hpp"
#include "vxext/src/dom.hpp"
#include "vxext/src/journal.hpp"
#include "vxext/src/pool_ptr.hpp"
#include "vxext/src/transcode.hpp"

namespace vx {
namespace {

struct Retrieval {
    ExtensionHandle* extension;
    Transcoder* transcoder;  // or null
    FileInfo* info;
};

// Takes the name from the href: what follows the last "/", escapes and all. The href of a
// collection ends in "/" and gives none. The name is there without a transcoder, too, since the
// listing is sorted by it.
void takeHref(FileInfo* info, const Node* text) {
    info->href = nodeText(text);
    info->hrefLength = squillonCharacters(text);
    uint64_t start = info->hrefLength;
    while (start > 0 && info->href[start - 1] != U'/') --start;
    info->nameLength = info->hrefLength - start;
    if (info->nameLength > 0) info->name = info->href + start;
}

Status narrowHrefName(const Retrieval& retrieval) {
    FileInfo* info = retrieval.info;
    Status rc =
        squillonNarrow(retrieval.extension, retrieval.transcoder, info->name, info->nameLength,
                       info->nameLength, &info->narrowName, &info->narrowNameLength);
    if (!info->narrowName)
        squillonLogFailure(retrieval.extension,
                           U"squillonFileInfoRetrieve no memory for narrow member name");
    else if (rc == VX_BUFFER_TOO_SMALL)
        squillonLogFailure(
            retrieval.extension,
            U"squillonFileInfoRetrieve too many transcode tries for narrow member name");
    else if (rc != VX_SUCCESS)
        squillonLogFailure(retrieval.extension,
                           U"squillonFileInfoRetrieve transcode for narrow member name returned=%d",
                           rc);
    return rc;
}

Status retrieveHref(const Retrieval& retrieval, const Node* response) {
    const Node* href = squillonChildNamed(response, U"href");
    const Node* text = href ? squillonTextChild(href) : nullptr;
    if (!text) return VX_SUCCESS;
    takeHref(retrieval.info, text);
    if (retrieval.info->nameLength == 0 || !retrieval.transcoder) return VX_SUCCESS;
    return narrowHrefName(retrieval);
}

bool alreadyNamed(const FileInfo* info, const Node* text) {
    return squillonCharacters(text) == info->nameLength &&
           std::memcmp(nodeText(text), info->name, nodeTextLength(text)) == 0;
}

// A display name replaces the one of the href, but only with its narrow form: one that cannot be
// narrowed is no reason to lose the member.
Status takeDisplayName(const Retrieval& retrieval, const Node* text) {
    FileInfo* info = retrieval.info;
    if (nodeTextLength(text) == 0 || !retrieval.transcoder || alreadyNamed(info, text))
        return VX_SUCCESS;

    char* narrow = nullptr;
    uint64_t narrowLength = 0;
    Status rc =
        squillonNarrow(retrieval.extension, retrieval.transcoder, nodeText(text),
                       squillonCharacters(text), nodeTextLength(text), &narrow, &narrowLength);
    if (!narrow) {
        squillonLogFailure(retrieval.extension,
                           U"squillonFileInfoRetrieve no memory for narrow member name(2)");
        return rc;
    }
    if (rc != VX_SUCCESS) {
        squillonFree(retrieval.extension->pool, narrow);
        squillonLogFailure(
            retrieval.extension,
            U"squillonFileInfoRetrieve too many transcoding tries for narrow member name");
        return VX_SUCCESS;
    }
    squillonFree(retrieval.extension->pool, info->narrowName);
    info->narrowName = narrow;
    info->narrowNameLength = narrowLength;
    info->name = nodeText(text);
    info->nameLength = squillonCharacters(text);
    return VX_SUCCESS;
}

double parseDate(const Retrieval& retrieval, const Node* text) {
    Weblnk* weblnk = retrieval.extension->weblnk;
    double date = squillonMissingDate;
    Status status = weblnk->ParseDate(weblnk, nodeText(text), nodeTextLength(text), &date);
    return status == VX_SUCCESS ? date : squillonMissingDate;
}

// Decimal digits alone make a size; it wraps beyond 64 bits.
uint64_t parseSize(const Node* text) {
    uint64_t size = 0;
    for (uint64_t i = 0; i < squillonCharacters(text); ++i) {
        const char32_t digit = nodeText(text)[i];
        if (digit < U'0' || digit > U'9') return 0;
        size = size * 10 + (digit - U'0');
    }
    return size;
}

// A resource type that begins with text is none, so the first child is looked at as it is.
bool isCollection(const Node* resourceType) {
    const Node* first = nodeFirstChild(resourceType);
    return first && nodeType(first) == NODE_ELEMENT &&
           squillonChildNamed(resourceType, U"collection");
}

// Properties of any other name, or without the content they need, are ignored.
Status retrieveProperty(const Retrieval& retrieval, const Node* property) {
    FileInfo* info = retrieval.info;
    if (squillonNamed(property, U"resourcetype")) {
        if (isCollection(property)) info->flags |= FILEINFO_COLLECTION;
        return VX_SUCCESS;
    }
    const Node* text = squillonTextChild(property);
    if (!text) return VX_SUCCESS;
    if (squillonNamed(property, U"displayname")) return takeDisplayName(retrieval, text);
    if (squillonNamed(property, U"creationdate"))
        info->created = parseDate(retrieval, text);
    else if (squillonNamed(property, U"getlastmodified"))
        info->modified = parseDate(retrieval, text);
    else if (squillonNamed(property, U"getcontentlength"))
        info->size = parseSize(text);
    return VX_SUCCESS;
}

}  // namespace

void squillonFileInfoReset(Pool* pool, FileInfo* info) {
    squillonFree(pool, info->narrowName);
    *info = {};
    info->created = squillonMissingDate;
    info->modified = squillonMissingDate;
}

void squillonFileInfoRelease(Pool* pool, FileInfo* info) {
    if (!info) return;
    squillonFree(pool, info->narrowName);
    pool->Free(pool, info);
}

Status squillonFileInfoRetrieve(ExtensionHandle* extension, Transcoder* transcoder,
                                const Node* response, FileInfo* info, Journal* journal) {
    squillonFileInfoReset(extension->pool, info);
    const Retrieval retrieval{extension, transcoder, info};
    if (Status status = retrieveHref(retrieval, response)) return status;

    // Servers put the properties that they have into the first propstat, those that they lack into
    // another one.
    const Node* propstat = squillonChildNamed(response, U"propstat");
    if (!propstat) {
        squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                                U"propstat element could not be found.");
        squillonLogFailure(extension, U"squillonFileInfoRetrieve propstat element not found");
        return QUILLON_BAD_RESPONSE;
    }
    const Node* prop = squillonChildNamed(propstat, U"prop");
    if (!prop) {
        squillonLogFailure(extension, U"squillonFileInfoRetrieve prop element not found");
        squillonJournalSentence(extension, journal, JOURNAL_FAILURE,
                                U"prop element could not be found.");
        return QUILLON_BAD_RESPONSE;
    }
    for (const Node* property = squillonElementFrom(nodeFirstChild(prop)); property;
         property = squillonNextElement(property))
        if (Status status = retrieveProperty(retrieval, property)) return status;
    return VX_SUCCESS;
}

}  // namespace vx
