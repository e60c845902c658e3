/*
 * large_alloc.cpp - large buffers in large pages where the system allows.
 *
 * The raster of a page is tens of megabytes and the bitmap line buffer two,
 * each written from start to end soon after it is allocated.  In 4 KiB
 * pages that means one page fault per 4 KiB, and on a virtual machine a
 * fault costs a few microseconds: for an A4 page at 300 dpi the faults
 * alone cost more than reading the page from the stream.  With transparent
 * large pages a 2 MiB range takes one fault.  Linux gives them to ranges
 * that are marked with madvise(MADV_HUGEPAGE) when its policy is
 * "madvise" (and to every range when it is "always"); the range must cover
 * whole 2 MiB units, hence the alignment.  Nothing here changes what the
 * buffers hold or how big they are; the resident memory grows by at most
 * 256 KiB (see below).
 */
#include "large_alloc.h"

#include <stdlib.h>
#if defined(__linux__)
#include <sys/mman.h>
#endif

/* Under AddressSanitizer the block keeps its exact size, so that a write
   one byte past a buffer is still caught. */
#if defined(__SANITIZE_ADDRESS__)
#define LARGE_ALLOC_EXACT 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LARGE_ALLOC_EXACT 1
#endif
#endif

/* The most a block is enlarged by so that it ends on a unit boundary. */
#define LARGE_ALLOC_ROUNDING ((size_t)256 * 1024)

/*
 * 'large_alloc()' - Allocate a large buffer, large-page friendly.
 *
 * Only 2 MiB units that lie wholly inside the block can be large pages,
 * so the block starts on a unit boundary and those units are marked.  A
 * block that ends less than 256 KiB short of a unit boundary (the bitmap
 * line buffer, 2,000,002 bytes at most, is one) is asked for up to that
 * boundary, so that its last unit is a large page too; a larger shortfall
 * is left in ordinary pages, which keeps the resident memory at the
 * buffer's size (a large page is resident as a whole once touched).
 */
void *large_alloc(size_t size)
{
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (size > LARGE_ALLOC_PAGE / 2)
  {
    void *p = NULL;
    size_t whole = size;
    size_t units;

#if !defined(LARGE_ALLOC_EXACT)
    if (size % LARGE_ALLOC_PAGE != 0 &&
        LARGE_ALLOC_PAGE - size % LARGE_ALLOC_PAGE <= LARGE_ALLOC_ROUNDING)
      whole = size + (LARGE_ALLOC_PAGE - size % LARGE_ALLOC_PAGE);
#endif
    if (posix_memalign(&p, LARGE_ALLOC_PAGE, whole) != 0)
      return NULL;
    /* Advice only: a refusal leaves ordinary pages. */
    units = whole / LARGE_ALLOC_PAGE;
    if (units > 0)
      (void)madvise(p, units * LARGE_ALLOC_PAGE, MADV_HUGEPAGE);
    return p;
  }
#endif
  return malloc(size);
}
