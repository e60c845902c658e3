/*
 * page_raster.cpp - allocating and filling the page raster.
 */
#include "page_raster.h"

#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bitmap_send.h"
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
 * 'wireLine()' - Where row r lies in the wire layout.
 */
static unsigned char *wireLine(const page_raster_s *raster, uint64_t row)
{
  return raster->raster_data + (size_t)(raster->height - 1u - row) * raster->alignedLine;
}

/*
 * 'rowsWritten()' - Rows the cursor has passed (whole rows in the wire
 * layout).
 */
static uint64_t rowsWritten(const page_raster_s *raster)
{
  return (uint64_t)(raster->cursor - raster->raster_data) / ((uint64_t)raster->width * raster->depth);
}

/*
 * 'swapBytes()' - Exchange count bytes at a and b (not overlapping).
 */
static void swapBytes(unsigned char *a, unsigned char *b, size_t count)
{
  unsigned char tmp[4096];

  while (count > 0)
  {
    size_t n = count < sizeof(tmp) ? count : sizeof(tmp);

    memcpy(tmp, a, n);
    memcpy(a, b, n);
    memcpy(b, tmp, n);
    a += n;
    b += n;
    count -= n;
  }
}

/*
 * 'raster_unwire()' - From the wire layout back to rows, in place.
 *
 * Each written line gets its groups reversed back and its last bytes from
 * the tails; the lines are put in top-down order by exchanging them end for
 * end, then moved down to their places in the row layout (a row starts at
 * or before its line, so going upwards never overwrites a row still to be
 * moved).  Rows not written yet become the unwritten (white) part, as in
 * the row layout they would be.
 */
void raster_unwire(page_raster_s *raster)
{
  uint64_t rowBytes = (uint64_t)raster->width * raster->depth;
  uint64_t whole = rowBytes / 3u * 3u;
  uint64_t aligned = raster->alignedLine;
  uint64_t rows, r;

  if (!raster->raster_data || !raster->wire)
    return;
  rows = rowsWritten(raster);
  for (r = 0; r < rows; r++)
  {
    unsigned char *line = wireLine(raster, r);

    bitmap_reverse_groups(line, line, (size_t)whole);
    memcpy(line + whole, raster->tails + 2u * r, (size_t)(rowBytes - whole));
  }
  for (r = 0; r < raster->height / 2u; r++)
    swapBytes(raster->raster_data + (size_t)(r * aligned),
              raster->raster_data + (size_t)((raster->height - 1u - r) * aligned), (size_t)aligned);
  if (aligned != rowBytes)
    for (r = 1; r < rows; r++)
      memmove(raster->raster_data + (size_t)(r * rowBytes), raster->raster_data + (size_t)(r * aligned),
              (size_t)rowBytes);
  raster->unwritten = raster->cursor;
  raster->wire = 0;
}

/*
 * 'settleWire()' - The wire layout's rows not written yet become white
 * lines: 0xFF for the row's bytes, zeros for the padding.  They lie at the
 * start of the buffer, below the written ones.
 */
static void settleWire(page_raster_s *raster)
{
  size_t rowBytes = (size_t)raster->width * raster->depth;
  uint64_t rows = rowsWritten(raster);
  uint64_t r;

  for (r = rows; r < raster->height; r++)
  {
    unsigned char *line = wireLine(raster, r);

    memset(line, 0xFF, rowBytes);
    memset(line + rowBytes, 0, raster->alignedLine - rowBytes);
  }
  raster->unwritten = NULL;
}

/*
 * 'raster_settle()' - Clear the part of the raster not yet written.
 */
void raster_settle(page_raster_s *raster)
{
  if (raster->wire && raster->nLines >= 0 && (uint64_t)raster->nLines > raster->height)
    raster_unwire(raster);
  if (!raster->raster_data || !raster->unwritten)
    return;
  if (raster->wire)
  {
    settleWire(raster);
    return;
  }
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
 * 'raster_free()' - Free the buffer; the limit and the modes stay.
 */
void raster_free(page_raster_s *raster)
{
  uint32_t limit = raster->limit;
  int perPage = raster->perPage;
  int wireLayout = raster->wireLayout;

  free(raster->raster_data);
  memset(raster, 0, sizeof(*raster));
  raster->limit = limit;
  raster->perPage = perPage;
  raster->wireLayout = wireLayout;
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
  raster->wire = 0;
}

/*
 * 'allocate()' - A new raster of size bytes; 0 (nothing changed) when the
 * limit or the allocation refuses it.
 */
static int allocate(page_raster_s *raster, uint32_t width, uint32_t height, uint32_t depth,
                    uint64_t size)
{
  unsigned char *data = NULL;
  uint64_t aligned = ((uint64_t)width * depth + 3u) & ~(uint64_t)3u;
  /* Room for the wire layout when the program wants it: the padded lines
     and two tail bytes a row; a raster whose padded line does not fit 32
     bits stays in rows. */
  uint64_t capacity = size;

  if (raster->wireLayout && aligned <= 0xFFFFFFFFull)
    capacity = aligned * height + 2u * (uint64_t)height;
  if (capacity > (uint64_t)SIZE_MAX)
    capacity = size;

  /* A non-zero limit makes a larger raster fail as the allocation would:
     same line, no raster. */
  if (raster->limit == 0 || size <= raster->limit)
    data = (unsigned char *)large_alloc((size_t)capacity);
  if (!data)
    return 0;
  raster->alignedLine = capacity > size ? (uint32_t)aligned : 0u;
  raster->tails = capacity > size ? data + (size_t)(aligned * height) : NULL;
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
 * 'storeWireRow()' - Read the next row from the stream into its line of
 * the wire layout.
 *
 * The row goes where its line lies and is reversed there, group by group.
 * When the row's length is not a multiple of 3, its line's last group
 * takes one or two bytes of the next row, as the bitmap is defined: they
 * are white until that row arrives (and stay white past the raster's
 * end), and the arriving row writes them into the line before it.  The
 * row's own bytes that the reversed line leaves out are kept in the tails.
 * Bytes that do not arrive (the input ended inside the row) are white, as
 * in the row layout.
 */
static void storeWireRow(page_raster_s *raster, _cups_file_s *fp)
{
  size_t rowBytes = (size_t)raster->width * raster->depth;
  size_t whole = rowBytes / 3u * 3u;
  uint64_t row = rowsWritten(raster);
  unsigned char *line = wireLine(raster, row);
  unsigned char *tail = raster->tails + 2u * row;
  unsigned char first0, first1;
  /* Mostly the row lies in the reader's block and is turned around on its
     way from there; otherwise it is read into its line and turned around
     in place. */
  const unsigned char *src = cups_file_take_direct(fp, rowBytes);

  if (!src)
  {
    int got = cupsFileRead(fp, (char *)line, (unsigned long)rowBytes);

    if (got < 0)
      got = 0;
    if ((size_t)got < rowBytes)
      memset(line + got, 0xFF, rowBytes - (size_t)got);
    src = line;
  }
  first0 = src[0];
  first1 = src[1];
  memcpy(tail, src + whole, rowBytes - whole);
  bitmap_reverse_groups(line, src, whole);
  if (rowBytes - whole == 1)
    line[whole] = 0xFF;
  else if (rowBytes - whole == 2)
  {
    line[whole] = 0xFF;
    line[whole + 1] = src[whole + 1];
  }
  memset(line + rowBytes, 0, raster->alignedLine - rowBytes);
  if (row > 0)
  {
    unsigned char *before = wireLine(raster, row - 1u);

    if (rowBytes - whole == 1)
      before[whole] = first1;
    else if (rowBytes - whole == 2)
      before[whole] = first0;
  }
  raster->cursor += rowBytes;
  if (raster->unwritten)
    raster->unwritten = raster->cursor;
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
  if (raster->tails && (uint64_t)n == (uint64_t)raster->width * raster->depth && n >= 3 &&
      (size_t)n <= room)
  {
    /* A whole row: kept in the wire layout when the page has kept it so
       far, or starts it when this is the raster's first line. */
    if (!raster->wire && raster->bytesPerLine == n && raster->cursor == raster->raster_data &&
        raster->unwritten == raster->raster_data)
      raster->wire = 1;
    if (raster->wire)
    {
      storeWireRow(raster, fp);
      if (raster->nLines < INT32_MAX)
        raster->nLines++;
      return;
    }
  }
  /* Anything else is stored in rows. */
  if (raster->wire && n > 0 && room > 0)
    raster_unwire(raster);
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
