/* markup, the XML layer: documents as trees of nodes, built from a stream. */
#ifndef QUILLON_HOST_MARKUP_H
#define QUILLON_HOST_MARKUP_H

#include "host/journal.h"
#include "host/kernel.h"

VX_BEGIN

typedef struct Markup Markup;
typedef struct Document Document;
typedef struct Node Node;
typedef struct DocumentParms DocumentParms;
typedef struct BlobStream BlobStream;

/* DOM node types. */
static const uint32_t NODE_ELEMENT = 1;
static const uint32_t NODE_TEXT = 3;
static const uint32_t NODE_CDATA = 4;

/* A node belongs to its document. Element names come without prefix; a name outside "DAV:" carries
 * its namespace in front ("{uri}name"), so that it can never pass for one of DAV's. What lies
 * between the named fields is the document's own, and may hold fields of other nodes: a Node that
 * somebody else made is never read or copied whole, but field by field with the functions below. */
struct Node {
    Unnamed at00[4];
    Node* nextSibling;
    Unnamed at28;
    Node* firstChild;
    Unnamed at38[2];
    uint32_t nodeType;
    uint32_t at4C;
    Unnamed at50[7];
    const char32_t* text; /* an element's name, a text or CDATA node's content */
    uint64_t textLength;  /* in bytes, 4 a character */
};
ABI_AT(Node, nextSibling, 32);
ABI_AT(Node, firstChild, 48);
ABI_AT(Node, nodeType, 72);
ABI_AT(Node, text, 136);
ABI_AT(Node, textLength, 144);

/* The built-in, since a freestanding compiler makes a call of the function. */
static inline void nodeCopyField(const Node* node, size_t offset, void* field, size_t bytes) {
    __builtin_memcpy(field, (const char*)node + offset, bytes);
}
static inline const Node* nodeCopyLink(const Node* node, size_t offset) {
    const void* linked;
    nodeCopyField(node, offset, &linked, sizeof linked);
    return (const Node*)linked;
}
static inline const Node* nodeNextSibling(const Node* node) {
    return nodeCopyLink(node, offsetof(Node, nextSibling));
}
static inline const Node* nodeFirstChild(const Node* node) {
    return nodeCopyLink(node, offsetof(Node, firstChild));
}
static inline uint32_t nodeType(const Node* node) {
    uint32_t type;
    nodeCopyField(node, offsetof(Node, nodeType), &type, sizeof type);
    return type;
}
static inline const char32_t* nodeText(const Node* node) {
    const char32_t* text;
    nodeCopyField(node, offsetof(Node, text), &text, sizeof text);
    return text;
}
static inline uint64_t nodeTextLength(const Node* node) {
    uint64_t bytes;
    nodeCopyField(node, offsetof(Node, textLength), &bytes, sizeof bytes);
    return bytes;
}

struct Document {
    Unnamed at00[2];
    void (*Destroy)(Document*); /* frees every node and text of the document */
    Unnamed at18[3];
    Node* firstChild; /* the root element, or null */
};
ABI_AT(Document, Destroy, 0x10);
ABI_AT(Document, firstChild, 48);

/* A source of document bytes. read hands out one piece, or answers VX_END_OF_DATA; the piece stays
 * valid until the next call. */
struct BlobStream {
    Status (*close)(BlobStream*);
    Status (*open)(BlobStream*);
    Status (*read)(BlobStream*, const void** data, uint64_t* length);
    Status (*resolve)(BlobStream*); /* may be null */
    const void* data;
    uint64_t length;  /* in bytes */
    uint8_t consumed; /* 0 until the block has been handed out */
};
ABI_AT(BlobStream, close, 0);
ABI_AT(BlobStream, open, 8);
ABI_AT(BlobStream, read, 16);
ABI_AT(BlobStream, resolve, 24);
ABI_AT(BlobStream, data, 32);
ABI_AT(BlobStream, length, 40);
ABI_AT(BlobStream, consumed, 48);

/* sourceEncoding and treeEncoding: 27 is UTF-32 in the machine's byte order, without a byte order
 * mark, whatever the XML declaration says. */
static const uint32_t ENCODING_UTF32 = 27;
static const uint32_t DOCUMENT_FROM_STREAM = 0x04000000u;

struct DocumentParms {
    uint32_t sourceEncoding;
    uint32_t at04;
    uint32_t treeEncoding;
    uint32_t at0C[4];
    uint32_t flags;
    Word at20;
    Journal* journal; /* may be null */
    Word at30;
    BlobStream* stream;
    Word at40[3];
};
ABI_AT(DocumentParms, sourceEncoding, 0);
ABI_AT(DocumentParms, treeEncoding, 8);
ABI_AT(DocumentParms, flags, 28);
ABI_AT(DocumentParms, journal, 40);
ABI_AT(DocumentParms, stream, 56);
ABI_SIZE(DocumentParms, 88);

struct Markup {
    LoadedExtension base;
    Unnamed at18[8];
    /* Reads the whole stream. Null: no document (malformed, hostile, or no memory). */
    Document* (*CreateDocument)(Markup*, DocumentParms*, Journal*, Word);
};
ABI_AT(Markup, CreateDocument, 0x58);

VX_END

#endif
