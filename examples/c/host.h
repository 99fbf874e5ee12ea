/* A small host for the extension. Slots that the extension does not reach for from here stay null:
 * without a cache directory (NO_CACHE) it asks nothing of fsbox and toolbox. */
#ifndef EXAMPLE_HOST_H
#define EXAMPLE_HOST_H

#include <host/quillon.h>

extern Kernel kernel; /* registered with vxextver, once a process */
extern Host host;     /* handed to the entry, one a handle */
extern Pool pool;     /* what host makes */

extern Transcoder utf8ToUtf32;
extern Transcoder utf32ToUtf8;

/* The HTTP client and the XML layer, of a local directory in the place of a server (directory.c):
 * a collection's URL is the path of the directory. */
extern Weblnk directoryWeblnk;
extern Markup directoryMarkup;

void nothingToUnload(LoadedExtension*);

#endif
