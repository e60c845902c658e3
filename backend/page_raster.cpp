/*
 * page_raster.cpp - allocating and filling the page raster.
 */
#include "page_raster.h"

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "command_line.h"
#include "large_alloc.h"

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
void raster_settle(print_job_s *job)
{
  if (!job->raster_data || !job->rasterClean)
    return;
  if (job->rasterClean < job->rasterEnd)
    memset(job->rasterClean, 0xFF, (size_t)(job->rasterEnd - job->rasterClean));
  job->rasterClean = NULL;
}

/*
 * 'markWritten()' - A LINE was to store count bytes at dst and got of
 * them arrived: keep the raster's not-yet-written part correct.
 *
 * Bytes that were to be stored but did not arrive (the input ended inside
 * the line) stand for white like the rest of the unwritten part, so they
 * are cleared where they lie in that part; then the unwritten part starts
 * after the line.  The cursor never jumps past rasterClean, but a gap
 * would be cleared all the same.
 */
static void markWritten(print_job_s *job, unsigned char *dst, size_t count, size_t got)
{
  unsigned char *clean = job->rasterClean;
  unsigned char *stop = dst + count;
  unsigned char *from;

  if (!clean || stop <= clean)
    return;
  if (dst > clean)
    memset(clean, 0xFF, (size_t)(dst - clean));
  from = dst + got > clean ? dst + got : clean;
  if (from < stop)
    memset(from, 0xFF, (size_t)(stop - from));
  job->rasterClean = stop;
}

/*
 * 'raster_command()' - RASTER width height depth.
 *
 * The page must have been set up by a valid PAGE first (its width and
 * height in points are above 0), and only the job's first valid RASTER
 * allocates.  The size is computed in 64 bits and refused when it does not
 * fit the 32-bit size the transmission works with; an allocation failure
 * is refused the same way.
 */
void raster_command(print_job_s *job, const char *value)
{
  const char *p = value;
  uint32_t width = 0, height = 0, depth = 0;
  int count = 0;
  uint64_t size;
  double res;

  if (!value || job->raster_data || !(job->pageWidth > 0.0f) || !(job->pageHeight > 0.0f))
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - RASTER with ERROR: value '%s' raster_data: 0x%X width: %f height: %f !!!\n",
            value ? value : "(null)", addressForLog(job->raster_data),
            (double)job->pageWidth, (double)job->pageHeight);
    return;
  }

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
    return;
  }

  if ((depth != 1 && depth != 3) || width == 0 || height == 0)
  {
    refuseSize(width, height, depth);
    return;
  }

  size = (uint64_t)depth * width * height;
  if (size > 0xFFFFFFFFull || size > (uint64_t)SIZE_MAX)
  {
    refuseSize(width, height, depth);
    return;
  }

  /* A non-zero rasterLimit makes a larger raster fail as the allocation
     would: same line, no raster. */
  if (job->rasterLimit != 0 && size > job->rasterLimit)
    job->raster_data = NULL;
  else
    job->raster_data = (unsigned char *)large_alloc((size_t)size);
  if (!job->raster_data)
  {
    refuseSize(width, height, depth);
    return;
  }
  job->rasterSize = (uint32_t)size;
  job->rasterCursor = job->raster_data;
  job->rasterEnd = job->raster_data + (size_t)size;
  job->rasterWidth = width;
  job->rasterHeight = height;
  job->rasterDepth = depth;
  /* Cleared to white lazily: the lines write the rows first, and whatever
     they leave is cleared before the raster is read. */
  job->rasterClean = job->raster_data;

  /* Pixels per inch along the page width; only logged.  The quotient is at
     most 2^32 x 72, so it always fits a 64-bit integer. */
  res = (double)width * 72.0 / (double)job->pageWidth;
  fprintf(stderr, "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x%X size: %d depth: %d res: %d\n",
          addressForLog(job->raster_data), (int)job->rasterSize, (int)depth,
          (int)(long long)llround(res));
}

/*
 * 'line_command()' - LINE n, followed in the stream by n raw bytes.
 *
 * Rows are filled one after the other by the cursor, not by row number: a
 * line of another length than the first shifts every later row.  The
 * cursor never passes the end of the raster; what does not fit is taken
 * from the stream and dropped, so the next command line is found where it
 * should be.  The count is checked before anything is read: a negative
 * count must not become a huge unsigned length, and one above the 32-bit
 * signed range cannot be a line length (bytesPerLine and the log are
 * 32-bit signed).
 */
void line_command(print_job_s *job, const char *value, _cups_file_s *fp)
{
  const char *p = value;
  int negative;
  uint64_t magnitude;
  int32_t n;
  size_t room;

  if (!value || !job->raster_data)
    return;

  if (!scan_decimal(&p, &negative, &magnitude))
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '%s' is not a number !!!\n", value);
    return;
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

  if (job->bytesPerLine == 0)
    job->bytesPerLine = n;
  else if (n != job->bytesPerLine)
    fprintf(stderr, "DEBUG: LINE - bytesPerLine: %d bytes: %d\n", (int)job->bytesPerLine, (int)n);

  room = (size_t)(job->rasterEnd - job->rasterCursor);
  {
    /* The bytes that fit go to the cursor; the rest is read and dropped.
       Where the input ends inside the line the cursor still moves on (the
       loop ends at its next read) over bytes that stay white. */
    size_t store = (uint64_t)n <= (uint64_t)room ? (size_t)n : room;
    unsigned char *dst = job->rasterCursor;
    int got = 0;

    if (store > 0)
      got = cupsFileRead(fp, (char *)dst, (unsigned long)store);
    markWritten(job, dst, store, got > 0 ? (size_t)got : 0);
    if ((uint64_t)n > (uint64_t)store)
      cups_file_skip(fp, (unsigned long)((uint64_t)n - store));
    job->rasterCursor = dst + store;
  }

  /* Saturates rather than wraps: a negative count would make the page's
     rows run backwards. */
  if (job->nLines < INT32_MAX)
    job->nLines++;
}
