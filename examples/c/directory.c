/* weblnk and markup of a local directory: what a server would answer as a multistatus document is
 * built of nodes here, one response an entry. */
#include <dirent.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "host.h"

/* ---- documents */

typedef struct Piece { /* a node, its text behind it */
    Node node;
    struct Piece* next;
    char32_t text[];
} Piece;

typedef struct Tree {
    Document base;
    Piece* pieces;
    bool complete; /* memory sufficed so far */
} Tree;

static void destroyTree(Document* self) {
    Tree* tree = (Tree*)self;
    for (Piece* piece = tree->pieces; piece != NULL;) {
        Piece* next = piece->next;
        free(piece);
        piece = next;
    }
    free(tree);
}

static Tree* createTree(void) {
    Tree* tree = calloc(1, sizeof *tree);
    if (tree == NULL) return NULL;
    tree->base.Destroy = destroyTree;
    tree->complete = true;
    return tree;
}

/* In front of the parent's children: neither properties nor responses have an order. A null parent
 * is one that could not be made. */
static Node* add(Tree* tree, Node** children, uint32_t type, const char* utf8) {
    const size_t bytes = strlen(utf8);
    Piece* piece = calloc(1, sizeof *piece + bytes * sizeof(char32_t));
    uint64_t wideBytes = 0;
    if (piece == NULL || utf8ToUtf32.Transcode(&utf8ToUtf32, utf8, bytes, piece->text,
                                               bytes * sizeof(char32_t), &wideBytes, 0) != 0) {
        free(piece);
        tree->complete = false;
        return NULL;
    }
    piece->next = tree->pieces;
    tree->pieces = piece;
    piece->node.nodeType = type;
    piece->node.text = piece->text;
    piece->node.textLength = wideBytes;
    piece->node.nextSibling = *children;
    return *children = &piece->node;
}

static Node* addElement(Tree* tree, Node* parent, const char* name) {
    return parent ? add(tree, &parent->firstChild, NODE_ELEMENT, name) : NULL;
}

static void addProperty(Tree* tree, Node* parent, const char* name, const char* value) {
    Node* element = addElement(tree, parent, name);
    if (element != NULL) add(tree, &element->firstChild, NODE_TEXT, value);
}

/* The only document that is asked for is the request of a PROPFIND, which a directory need not
 * read. */
static Document* createDocument(Markup* self, DocumentParms* parms, Journal* journal, Word unused) {
    (void)self, (void)parms, (void)journal, (void)unused;
    Tree* tree = createTree();
    return tree ? &tree->base : NULL;
}

Markup directoryMarkup = {.base.Unload = nothingToUnload, .CreateDocument = createDocument};

/* ---- the client of one directory */

typedef struct DirectoryClient {
    Client base;
    char path[4096]; /* ends in "/" */
} DirectoryClient;

static const char* pathOf(const Client* client) {
    return ((const DirectoryClient*)client)->path;
}

static void addResponse(Tree* tree, Node* multistatus, const char* directory, const char* name) {
    const bool itself = strcmp(name, ".") == 0;
    char href[4096 + 256];
    struct stat found;
    snprintf(href, sizeof href, "%s%s", directory, itself ? "" : name);
    if (stat(href, &found) != 0) return;

    Node* response = addElement(tree, multistatus, "response");
    if (!itself && S_ISDIR(found.st_mode)) strcat(href, "/");
    addProperty(tree, response, "href", href);
    Node* prop = addElement(tree, addElement(tree, response, "propstat"), "prop");
    if (S_ISDIR(found.st_mode)) {
        addProperty(tree, prop, "displayname", name);
        addElement(tree, addElement(tree, prop, "resourcetype"), "collection");
    } else {
        char size[24];
        snprintf(size, sizeof size, "%" PRIu64, (uint64_t)found.st_size);
        addProperty(tree, prop, "getcontentlength", size);
    }
}

static Status head(Client* self, int32_t* status) {
    struct stat found;
    *status = stat(pathOf(self), &found) == 0 && S_ISDIR(found.st_mode) ? 200 : 404;
    return VX_SUCCESS;
}

static Status options(Client* self, Word at08, int32_t* status, uint32_t* allow, Word at20) {
    (void)self, (void)at08, (void)at20;
    *status = 200;
    *allow = ALLOW_OPTIONS | ALLOW_HEAD | ALLOW_PROPFIND;
    return VX_SUCCESS;
}

static Status propFind(Client* self, uint32_t depth, Document* request, int32_t* status,
                       Document** response) {
    (void)depth, (void)request;
    DIR* directory = opendir(pathOf(self));
    *status = directory ? 207 : 404;
    if (directory == NULL) return VX_SUCCESS;
    Tree* tree = createTree();
    if (tree != NULL) {
        Node* multistatus = add(tree, &tree->base.firstChild, NODE_ELEMENT, "multistatus");
        for (struct dirent* entry; (entry = readdir(directory)) != NULL;) {
            if (strcmp(entry->d_name, "..") != 0)
                addResponse(tree, multistatus, pathOf(self), entry->d_name);
        }
    }
    closedir(directory);
    if (tree != NULL && tree->complete) {
        *response = &tree->base;
        return VX_SUCCESS;
    }
    if (tree != NULL) destroyTree(&tree->base);
    return VX_NO_MEMORY;
}

static Status destroyClient(Client* self) {
    free(self);
    return VX_SUCCESS;
}

static Client* createClient(Weblnk* self, ClientParms* parms, Journal* journal, Word unused) {
    (void)self, (void)journal, (void)unused;
    DirectoryClient* client = calloc(1, sizeof *client);
    uint64_t bytes = 0;
    if (client == NULL) return NULL;
    if (utf32ToUtf8.Transcode(&utf32ToUtf8, parms->url, parms->urlLength * sizeof(char32_t),
                              client->path, sizeof client->path - 1, &bytes, 0) != 0) {
        free(client);
        return NULL;
    }
    client->base.Destroy = destroyClient;
    client->base.InstHead = head;
    client->base.InstOptions = options;
    client->base.InstPropFind = propFind;
    return &client->base;
}

/* Null: clients then share nothing. */
static HttpContext* createContext(Weblnk* self, Journal* journal, Word unused) {
    (void)self, (void)journal, (void)unused;
    return NULL;
}

Weblnk directoryWeblnk = {.base.Unload = nothingToUnload,
                          .CreateClient2 = createClient,
                          .CreateHttpContext = createContext};
