/* Common ground of the records that a vx host and its extensions exchange.
 *
 * Every header of this folder compiles as C11 and as C++20. In C++ the names live in namespace vx.
 * Records are plain: a field stands at the offset asserted below its struct, a gap is named by its
 * offset (at30: nobody's here, the owner's own), and the fields of handles that belong to one side
 * are written by that side alone.
 *
 * Unless a slot says otherwise:
 *   - an operation takes its own record as the first argument, which is never null;
 *   - text is UTF-32, a pointer and a count of characters, not terminated and never retained;
 *   - narrow text is bytes with a count of bytes;
 *   - a Word argument that the caller does not use is handed over as 0;
 *   - an HTTP status is a signed 32-bit integer, -1 when no answer came;
 *   - no operation throws, and all run on the thread that called them.
 */
#ifndef QUILLON_HOST_ABI_H
#define QUILLON_HOST_ABI_H

#include <assert.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#ifdef __cplusplus
#define VX_BEGIN   \
    namespace vx { \
    extern "C" {
#define VX_END \
    }          \
    }
#else
#define VX_BEGIN
#define VX_END
#endif

/* Records are shared in memory with code built elsewhere, so a layout is a promise. */
#define ABI_AT(type, field, offset) \
    static_assert(offsetof(type, field) == (offset), #type "::" #field " has moved")
#define ABI_SIZE(type, bytes) static_assert(sizeof(type) == (bytes), #type " has changed its size")

static_assert(sizeof(void*) == 8, "the records are laid out for 64-bit machines");

VX_BEGIN

typedef void (*Unnamed)(void); /* an operation that neither side calls */
typedef uint64_t Word;         /* an 8-byte argument without a meaning of its own */
typedef uint32_t Status;       /* 0 is success, see status.h */

VX_END

#endif
