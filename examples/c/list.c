/* A host in plain C: loads the extension, asks it for its version, uses a few of its exported
 * functions, lists a collection through its table of operations, and takes leave of it. The log
 * shows the order of the calls.
 *
 *     list LIBRARY DIRECTORY
 */
#include <dlfcn.h>
#include <inttypes.h>
#include <locale.h>
#include <stdio.h>
#include <string.h>

#include "host.h"

/* ISO C has no way from dlsym's pointer to a function but this. */
#define FIND(library, function)                        \
    do {                                               \
        void* found = dlsym(library, #function);       \
        if (found == NULL) return complain(dlerror()); \
        memcpy(&(function), &found, sizeof found);     \
    } while (0)

static int complain(const char* sentence) {
    fprintf(stderr, "list: %s\n", sentence);
    return 1;
}

static void printWide(const char32_t* text, uint64_t count) {
    char narrow[256];
    uint64_t bytes = 0;
    if (utf32ToUtf8.Transcode(&utf32ToUtf8, text, count * sizeof *text, narrow, sizeof narrow,
                              &bytes, 0) == VX_SUCCESS)
        printf("%.*s\n", (int)bytes, narrow);
}

/* Functions that need no handle. */
static int useRuntime(void* library) {
    vxvercn1Function* vxvercn1;
    void (*vxzstup)(char32_t*, int64_t);
    Status (*base64EncodeBlob)(Pool*, const uint8_t*, uint64_t, char32_t**, uint32_t*);
    FIND(library, vxvercn1);
    FIND(library, vxzstup);
    FIND(library, base64EncodeBlob);

    const char* version[26]; /* 208 bytes: words, most of them texts */
    vxvercn1(version);
    printf("%s\n", version[13]);

    char32_t upper[] = U"größe";
    vxzstup(upper, 5);
    printWide(upper, 5);

    const char* blob = "any bytes";
    char32_t* encoded = NULL;
    uint32_t count = 0;
    if (base64EncodeBlob(&pool, (const uint8_t*)blob, strlen(blob), &encoded, &count) == 0) {
        printWide(encoded, count);
        pool.Free(&pool, encoded);
    }
    return 0;
}

/* This host has no encoding service, which the operation says. */
static void encode(ExtensionHandle* extension, const char* password) {
    char encoded[256];
    uint64_t length = sizeof encoded;
    PasswordParms parms = {.password = password,
                           .passwordLength = (int64_t)strlen(password),
                           .encoded = encoded,
                           .encodedLength = &length,
                           .inputTranscoder = &utf8ToUtf32,
                           .outputTranscoder = &utf32ToUtf8};
    const Status rc = extension->operations.quillonPasswordEncrypt(extension, &parms);
    printf("encode: %08" PRIX32 "\n", rc);
}

static int list(ExtensionHandle* extension, const char* directory) {
    Operations* operations = &extension->operations;
    CollectionParms parms = {.url = directory,
                             .urlLength = (int64_t)strlen(directory),
                             .textTranscoder = &utf8ToUtf32,
                             .pathTranscoder = &utf32ToUtf8,
                             .options = NO_CACHE | LIST_COLLECTIONS_OPTION};
    CollectionHandle* collection =
        operations->quillonCollectionHandleAcquire(extension, &parms, NULL);
    if (collection == NULL) {
        printf("acquire: %08" PRIX32 "\n", parms.rc);
        return 1;
    }
    CollectionListHandle* listing =
        operations->quillonCollectionListOpen(collection, &utf32ToUtf8, NULL, NULL);
    if (listing != NULL) {
        for (const FileInfo* info = listing->first; info != NULL; info = info->next) {
            printf("%s%s %" PRIu64 "\n", info->narrowName,
                   info->flags & FILEINFO_COLLECTION ? "/" : "", info->size);
        }
        operations->quillonCollectionListClose(listing);
    }
    operations->quillonCollectionHandleRelease(collection);
    return listing == NULL;
}

int main(int argc, char** argv) {
    if (argc != 3) return complain("usage: list LIBRARY DIRECTORY, with a final slash");
    setlocale(LC_CTYPE, "C.UTF-8");
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) return complain(dlerror());

    vxextverFunction* vxextver;
    quillonFunction* quillon;
    FIND(library, vxextver);
    FIND(library, quillon);
    uint64_t version[3] = {0};
    vxextver(&kernel, &version[0], &version[1]); /* before anything else */
    printf("interface %" PRIu64 ".%" PRIu64 "\n", version[0], version[1]);
    if (useRuntime(library) != 0) return 1;

    ExtensionHandle* extension = quillon(&host, NULL);
    if (extension == NULL) return complain("the extension did not start");
    extension->GetVersion(extension, &version[0], &version[1], &version[2]);
    printf("%s %" PRIu64 ".%" PRIu64 ".%" PRIu64 "\n", extension->name, version[0], version[1],
           version[2]);
    encode(extension, "open sesame");
    const int code = list(extension, argv[2]);
    extension->Destroy(extension); /* the pool goes with it */
    dlclose(library);
    return code;
}
