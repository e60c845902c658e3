/*
 * large_alloc.h - allocating the job's large working buffers (the page
 * raster, the bitmap line buffer) so that filling them costs few page
 * faults.
 */
#ifndef CORVANE_LARGE_ALLOC_H
#define CORVANE_LARGE_ALLOC_H

#include <stddef.h>

/* Size from which a buffer is placed on a large-page boundary. */
#define LARGE_ALLOC_PAGE ((size_t)2 * 1024 * 1024)

/* Allocates size bytes (uninitialised), to be released with free(); null
   on failure.  A buffer of more than half of LARGE_ALLOC_PAGE starts on a
   LARGE_ALLOC_PAGE boundary, and the whole LARGE_ALLOC_PAGE units in it
   are offered to the system for transparent large pages where the system
   has them on request (Linux); elsewhere, or when the system declines, it
   is an ordinary allocation in ordinary pages. */
void *large_alloc(size_t size);

#endif
