/*
 * page_raster.cpp - allocating and filling the page raster.
 */
#include "page_raster.h"

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "large_alloc.h"
#include "number_scan.h"

/*
 * 'addressForLog()' - The low 32 bits of an address, as the log shows it.
 */
static unsigned int addressForLog(const void *p)
{
  return (unsigned int)((uintptr_t)p & 0xFFFFFFFFu);
}

/*
 * 'refuseSize()' - Log a raster size that cannot be had.
 */
static void refuseSize(uint32_t width, uint32_t height, uint32_t depth)
{
  fprintf(stderr, "DEBUG: CorvaneBackend - Raster data CANNOT allocate (%d * %d * %d) !!!\n",
          (int)width, (int)height, (int)depth);
}

/*
 * 'raster_settle()' - Clear the part of the raster not yet written.
 */
void raster_settle(page_raster_s *raster)
{
  if (!raster->raster_data || !raster->unwritten)
    return;
  if (raster->unwritten < raster->end)
    memset(raster->unwritten, 0xFF, (size_t)(raster->end - raster->unwritten));
  raster->unwritten = NULL;
}

/*
 * 'markWritten()' - A LINE was to store count bytes at dst and got of
 * them arrived: keep the raster's not-yet-written part correct.
 *
 * Bytes that were to be stored but did not arrive (the input ended inside
 * the line) stand for white like the rest of the unwritten part, so they
 * are cleared where they lie in that part; then the unwritten part starts
 * after the line.  The cursor never jumps past unwritten, but a gap would
 * be cleared all the same.
 */
static void markWritten(page_raster_s *raster, unsigned char *dst, size_t count, size_t got)
{
  unsigned char *unwritten = raster->unwritten;
  unsigned char *stop = dst + count;
  unsigned char *from;

  if (!unwritten || stop <= unwritten)
    return;
  if (dst > unwritten)
    memset(unwritten, 0xFF, (size_t)(dst - unwritten));
  from = dst + got > unwritten ? dst + got : unwritten;
  if (from < stop)
    memset(from, 0xFF, (size_t)(stop - from));
  raster->unwritten = stop;
}

/*
 * 'raster_free()' - Free the buffer; the limit and the mode stay.
 */
void raster_free(page_raster_s *raster)
{
  uint32_t limit = raster->limit;
  int perPage = raster->perPage;

  free(raster->raster_data);
  memset(raster, 0, sizeof(*raster));
  raster->limit = limit;
  raster->perPage = perPage;
}

/*
 * 'restartRaster()' - Per-page mode, same geometry: the raster becomes
 * white again (lazily, as a new one is), with the cursor at its start, no
 * line length and no line yet, as a newly allocated one has.
 */
static void restartRaster(page_raster_s *raster)
{
  raster->cursor = raster->raster_data;
  raster->unwritten = raster->raster_data;
  raster->bytesPerLine = 0;
  raster->nLines = 0;
}

/*
 * 'allocate()' - A new raster of size bytes; 0 (nothing changed) when the
 * limit or the allocation refuses it.
 */
static int allocate(page_raster_s *raster, uint32_t width, uint32_t height, uint32_t depth,
                    uint64_t size)
{
  unsigned char *data = NULL;

  /* A non-zero limit makes a larger raster fail as the allocation would:
     same line, no raster. */
  if (raster->limit == 0 || size <= raster->limit)
    data = (unsigned char *)large_alloc((size_t)size);
  if (!data)
    return 0;
  raster->raster_data = data;
  raster->size = (uint32_t)size;
  raster->cursor = data;
  raster->end = data + (size_t)size;
  raster->width = width;
  raster->height = height;
  raster->depth = depth;
  /* Cleared to white lazily: the lines write the rows first, and whatever
     they leave is cleared before the raster is read. */
  raster->unwritten = data;
  return 1;
}

/*
 * 'raster_command()' - RASTER width height depth.
 *
 * The page must have been set up by a valid PAGE first (its width and
 * height in points are above 0).  By default only the job's first valid
 * RASTER allocates; in per-page mode every RASTER starts the page's
 * raster, reusing the buffer when the geometry is the same.  The size is
 * computed in 64 bits and refused when it does not fit the 32-bit size the
 * transmission works with; an allocation failure is refused the same way.
 */
void raster_command(page_raster_s *raster, const char *value, float pageWidth, float pageHeight)
{
  const char *p = value;
  uint32_t width = 0, height = 0, depth = 0;
  int count = 0;
  uint64_t size;
  double res;
  int reused = 0;

  if (!value || (raster->raster_data && !raster->perPage) || !(pageWidth > 0.0f) ||
      !(pageHeight > 0.0f))
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - RASTER with ERROR: value '%s' raster_data: 0x%X width: %f height: %f !!!\n",
            value ? value : "(null)", addressForLog(raster->raster_data), (double)pageWidth,
            (double)pageHeight);
    /* A page of its own gets no raster from a refused RASTER; without
       this its ENDPAGE would send the page before it again. */
    if (raster->perPage)
      raster_free(raster);
    return;
  }
  /* From here on the command is this page's, whatever comes of it. */

  if (scan_u32(&p, &width))
  {
    count++;
    if (scan_u32(&p, &height))
    {
      count++;
      if (scan_u32(&p, &depth))
        count++;
    }
  }
  if (count < 3)
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - Raster data CANNOT allocate - '%s' !!!\n", value);
    raster_free(raster);
    return;
  }

  size = (uint64_t)depth * width * height;
  if ((depth != 1 && depth != 3) || width == 0 || height == 0 || size > 0xFFFFFFFFull ||
      size > (uint64_t)SIZE_MAX)
  {
    refuseSize(width, height, depth);
    raster_free(raster);
    return;
  }

  if (raster->raster_data && raster->width == width && raster->height == height &&
      raster->depth == depth)
  {
    restartRaster(raster);
    reused = 1;
  }
  else
  {
    /* Another geometry (or the first raster): the old buffer goes before
       the new one comes, so that two are never held at once. */
    raster_free(raster);
    if (!allocate(raster, width, height, depth, size))
    {
      refuseSize(width, height, depth);
      return;
    }
  }

  /* Pixels per inch along the page width; only logged.  The quotient is at
     most 2^32 x 72, so it always fits a 64-bit integer. */
  res = (double)width * 72.0 / (double)pageWidth;
  fprintf(stderr,
          reused ? "DEBUG: CorvaneBackend - Raster data reused and cleared to white: 0x%X size: %d depth: %d res: %d\n"
                 : "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x%X size: %d depth: %d res: %d\n",
          addressForLog(raster->raster_data), (int)raster->size, (int)depth,
          (int)(long long)llround(res));
}

/*
 * 'line_command()' - LINE n, followed in the stream by n raw bytes.
 *
 * Rows are filled one after the other by the cursor, not by row number: a
 * line of another length than the first shifts every later row.  The
 * cursor never passes the end of the raster; what does not fit is taken
 * from the stream and dropped, so the next command line is found where it
 * should be.  The count is read as strtol() reads it ("abc" is 0, "12abc"
 * is 12), with the same result on every host whatever the width of its
 * long.  It is checked before anything is read: a negative count must not
 * become a huge unsigned length, and one above the 32-bit signed range
 * cannot be a line length (bytesPerLine and the log are 32-bit signed).
 */
void line_command(page_raster_s *raster, const char *value, _cups_file_s *fp)
{
  const char *p = value;
  int negative;
  uint64_t magnitude;
  int32_t n;
  size_t room;

  if (!value || !raster->raster_data)
    return;

  /* As strtol() in base 10 reads it: text that does not start with a
     number is 0, and whatever follows the digits is ignored. */
  if (!scan_decimal(&p, &negative, &magnitude))
  {
    negative = 0;
    magnitude = 0;
  }
  if (negative && magnitude != 0)
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '%s' is negative !!!\n", value);
    return;
  }
  if (magnitude > 0x7FFFFFFFull)
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '%s' is too large !!!\n", value);
    return;
  }
  n = (int32_t)magnitude;

  if (raster->bytesPerLine == 0)
    raster->bytesPerLine = n;
  else if (n != raster->bytesPerLine)
    fprintf(stderr, "DEBUG: LINE - bytesPerLine: %d bytes: %d\n", (int)raster->bytesPerLine, (int)n);

  room = (size_t)(raster->end - raster->cursor);
  {
    /* The bytes that fit go to the cursor; the rest is read and dropped.
       Where the input ends inside the line the cursor still moves on (the
       loop ends at its next read) over bytes that stay white. */
    size_t store = (uint64_t)n <= (uint64_t)room ? (size_t)n : room;
    unsigned char *dst = raster->cursor;
    int got = 0;

    if (store > 0)
      got = cupsFileRead(fp, (char *)dst, (unsigned long)store);
    markWritten(raster, dst, store, got > 0 ? (size_t)got : 0);
    if ((uint64_t)n > (uint64_t)store)
      cups_file_skip(fp, (unsigned long)((uint64_t)n - store));
    raster->cursor = dst + store;
  }

  /* Saturates rather than wraps: a negative count would make the page's
     rows run backwards. */
  if (raster->nLines < INT32_MAX)
    raster->nLines++;
}
