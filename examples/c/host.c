/* Kernel, host interface, pool, logger and transcoders. */
#include "host.h"

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <uchar.h>

/* ---- the pool: a ring of blocks, so that its end can free what is still out */

typedef struct Block {
    struct Block* previous;
    struct Block* next;
    max_align_t data[];
} Block;

static Block ring = {&ring, &ring};

static void* allocate(Pool* self, uint64_t bytes, uint32_t flags) {
    (void)self;
    if (bytes > SIZE_MAX - sizeof(Block)) return NULL;
    Block* block =
        flags == POOL_ZEROED ? calloc(1, sizeof(Block) + bytes) : malloc(sizeof(Block) + bytes);
    if (block == NULL) return NULL;
    block->previous = &ring;
    block->next = ring.next;
    ring.next = block->next->previous = block;
    return block->data;
}

static void release(Pool* self, void* data) {
    (void)self;
    Block* block = (Block*)((char*)data - offsetof(Block, data));
    block->previous->next = block->next;
    block->next->previous = block->previous;
    free(block);
}

static void destroyPool(Pool* self) {
    while (ring.next != &ring) release(self, ring.next->data);
}

Pool pool = {.DestroyPool = destroyPool, .Alloc = allocate, .Free = release};

static Pool* createPool(Host* self, const PoolParms* parms, void* context, const char* name) {
    (void)self, (void)parms, (void)context, (void)name;
    return &pool;
}

/* ---- the logger: all records, on standard output */

struct RenderedMessage {
    char text[512];
};

static void append(RenderedMessage* message, const char* text) {
    const size_t used = strlen(message->text);
    snprintf(message->text + used, sizeof message->text - used, "%s", text);
}

static void appendValue(RenderedMessage* message, char32_t placeholder, va_list values) {
    char text[32] = "?";
    if (placeholder == U'X') {
        snprintf(text, sizeof text, "%08" PRIX32, (uint32_t)va_arg(values, int64_t));
    } else if (placeholder == U'd') {
        snprintf(text, sizeof text, "%" PRId64, va_arg(values, int64_t));
    } else if (placeholder == U'P') {
        snprintf(text, sizeof text, "%s", va_arg(values, void*) ? "there" : "null");
    }
    append(message, text);
}

static RenderedMessage* render(Logger* self, Word unused, const char32_t* text, uint64_t length,
                               va_list values) {
    static RenderedMessage message; /* until the next one */
    (void)self, (void)unused;
    message.text[0] = '\0';
    for (uint64_t i = 0; i < length; ++i) {
        const char letter[2] = {(char)text[i]}; /* templates are ASCII */
        if (text[i] == U'%' && i + 1 < length) {
            appendValue(&message, text[++i], values);
        } else {
            append(&message, letter);
        }
    }
    return &message;
}

static void record(Logger* self, uint32_t level, Word at18, Word at20, Word at28, const char* line,
                   const char* source, uint64_t code, RenderedMessage* message, Word last) {
    (void)self, (void)at18, (void)at20, (void)at28, (void)line, (void)source, (void)code;
    (void)last;
    printf("  log %" PRIu32 ": %s\n", level, message->text);
}

static const LoggerTable loggerTable = {.Render = render, .Log = record};
static Logger logger = {.table = &loggerTable, .threshold = 2 /* LOG_TRACE */};

static Logger* getLogger(LoggerFactory* self, const char32_t* channel, uint64_t length) {
    (void)self, (void)channel, (void)length;
    return &logger;
}

static LoggerFactory loggerFactory = {.GetLogger = getLogger};

/* ---- siblings */

void nothingToUnload(LoadedExtension* self) {
    (void)self;
}

static Fsbox fsbox = {.base.Unload = nothingToUnload};
static Toolbox toolbox = {.base.Unload = nothingToUnload};

static bool named(const char* name, const char32_t* text, uint64_t length) {
    if (strlen(name) != length) return false;
    for (uint64_t i = 0; i < length; ++i)
        if (text[i] != (unsigned char)name[i]) return false;
    return true;
}

static LoadedExtension* find(const char32_t* name, uint64_t length) {
    if (named("weblnk", name, length)) return &directoryWeblnk.base;
    if (named("markup", name, length)) return &directoryMarkup.base;
    if (named("fsbox", name, length)) return &fsbox.base;
    if (named("toolbox", name, length)) return &toolbox.base;
    return NULL;
}

static LoadedExtension* loadForHost(Host* self, const char32_t* name, uint64_t length,
                                    void* context) {
    (void)self, (void)context;
    return find(name, length);
}

static LoadedExtension* loadForKernel(Kernel* self, const char32_t* name, uint64_t length,
                                      void* context) {
    (void)self, (void)context;
    return find(name, length);
}

Host host = {.CreatePool = createPool, .LoadExtension = loadForHost};
Kernel kernel = {.LoadExtension = loadForKernel, .loggerFactory = &loggerFactory};

/* ---- transcoders, by the C library, whose locale is one of UTF-8 */

static Status widen(Transcoder* self, const void* source, uint64_t sourceBytes, void* destination,
                    uint64_t capacity, uint64_t* produced, Word unused) {
    (void)self, (void)unused;
    const char* next = source;
    const char* end = next + sourceBytes;
    char32_t* wide = destination;
    mbstate_t state = {0};
    for (*produced = 0; next < end; *produced += sizeof *wide) {
        char32_t character;
        size_t taken = mbrtoc32(&character, next, (size_t)(end - next), &state);
        if (taken > (size_t)(end - next)) return VX_INVALID_ARGUMENT;
        if (capacity - *produced < sizeof character) return VX_BUFFER_TOO_SMALL;
        *wide++ = character;
        next += taken > 0 ? taken : 1; /* a NUL counts as nothing taken */
    }
    return VX_SUCCESS;
}

static Status narrow(Transcoder* self, const void* source, uint64_t sourceBytes, void* destination,
                     uint64_t capacity, uint64_t* produced, Word unused) {
    (void)self, (void)unused;
    const char32_t* wide = source;
    mbstate_t state = {0};
    *produced = 0;
    for (uint64_t i = 0; i < sourceBytes / sizeof *wide; ++i) {
        char bytes[16];
        const size_t made = c32rtomb(bytes, wide[i], &state);
        if (made == (size_t)-1) return VX_INVALID_ARGUMENT;
        if (capacity - *produced < made) return VX_BUFFER_TOO_SMALL;
        memcpy((char*)destination + *produced, bytes, made);
        *produced += made;
    }
    return VX_SUCCESS;
}

Transcoder utf8ToUtf32 = {.Transcode = widen};
Transcoder utf32ToUtf8 = {.Transcode = narrow};
