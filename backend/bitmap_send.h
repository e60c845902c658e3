/*
 * bitmap_send.h - sending a page's raster to the host (ENDPAGE).
 *
 * The raster goes out bottom-up, as lines padded to a multiple of 4 bytes,
 * in fragments of at most 2,000,000 uncompressed bytes, each compressed as
 * one LZF block: a bitmap header, the fragments, a bitmap end and a page
 * end record.
 */
#ifndef CORVANE_BITMAP_SEND_H
#define CORVANE_BITMAP_SEND_H

#include <stddef.h>
#include <stdint.h>

#include "page_raster.h"

/* Largest uncompressed fragment, and the compression buffer for it. */
#define BITMAP_FRAGMENT_LIMIT  2000000u
#define BITMAP_COMPRESS_BUFFER 2400000u

/* ENDPAGE's two working buffers, made by the first page that sends a
   fragment and kept for the pages after it (made again only when a page
   needs them larger); left for the process end (or bitmap_buffers_free()). */
struct bitmap_buffers_s
{
  unsigned char *lineBuffer;     /* the fragment's lines, uncompressed */
  unsigned char *compressBuffer; /* the fragment, compressed */
  size_t lineBufferSize, compressBufferSize;
};

/* What a page's bitmap is sent with besides its raster: the PAGE
   resolution for the bitmap header, the page number for the log, the
   socket and the printer-name payload that follows every record. */
struct bitmap_page_s
{
  uint32_t hwresX, hwresY;
  int pageCounter;
  int sock;
  const unsigned char *namePayload;
  uint32_t nameLen;
};

/* Geometry of a page's bitmap, as ENDPAGE computes it from bytesPerLine. */
struct bitmap_layout
{
  uint32_t alignPerLine; /* 0..3 padding bytes per line */
  uint32_t alignedLine;  /* bytesPerLine + alignPerLine */
  uint32_t sendLines;    /* lines per fragment (0 when alignedLine is 0) */
  uint32_t rwsize;       /* line buffer size: alignedLine x sendLines */
  uint32_t compressSize; /* compression buffer size */
};

/* Computes the layout for a line length.  A line longer than the fragment
   limit travels one line per fragment, with a compression buffer large
   enough for LZF's worst case of that line; a line length of 0 gives
   sendLines 0 and rwsize 0 (no fragment is sent). */
void bitmap_compute_layout(uint32_t bytesPerLine, bitmap_layout *layout);

/* Writes count bytes (a multiple of 3; a remainder of one or two bytes is
   left alone) of src to dst with each group of three reversed: dst[g],
   dst[g + 1], dst[g + 2] take src[g + 2], src[g + 1], src[g].  Any
   alignment, any byte order, the same bytes as the one group at a time
   rule; dst and src are the same (in place) or do not overlap.  The portable version works on eight
   groups at a time in 64-bit words; bitmap_reverse_groups() uses the
   processor's byte shuffle where there is one (x86 with SSSE3) and the
   portable version elsewhere. */
void bitmap_reverse_groups(unsigned char *dst, const unsigned char *src, size_t count);
void bitmap_reverse_groups_portable(unsigned char *dst, const unsigned char *src, size_t count);

/* Copies raster row `row` (counted from raster_data with the RASTER
   geometry) into dst as one bitmap line: groups of three bytes reversed
   while the group starts below bytesPerLine, source bytes beyond the end
   of the raster read as white (0xFF), and the padding up to alignedLine
   zeroed.  Writes dst[0] to dst[alignedLine - 1] (alignedLine is at least
   bytesPerLine) and nothing beyond: the bytes of the last group that fall
   past bytesPerLine are padding, sent as zeros. */
void bitmap_copy_row(const page_raster_s *raster, uint64_t row, uint32_t alignedLine,
                     unsigned char *dst);

/* ENDPAGE: logs whether the page has a raster and sends it.  The raster
   must have settled (raster_settle()) when it has lines; it is only read.
   Returns 1 when the page was sent or had no raster; 0 when a record could
   not be written or the page's buffers could not be allocated (a line has
   said which), and the job must end at once. */
int send_page_bitmap(const page_raster_s *raster, bitmap_buffers_s *buffers,
                     const bitmap_page_s *page);

/* Frees the two buffers and leaves the record empty. */
void bitmap_buffers_free(bitmap_buffers_s *buffers);

#endif
