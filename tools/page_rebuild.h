/*
 * page_rebuild.h - turns a page's bitmap records back into a page image.
 *
 * The backend sends a page as a bitmap header (width, height, resolution)
 * and fragments that decompress to padded lines, bottom line first.  Each
 * line is the raster row with every group of three bytes reversed (for
 * depth 1 too) and zero padding up to a multiple of 4 bytes.
 *
 * The header does not say the depth.  It is inferred from the fragments:
 * at depth d a line is align4(width * d) bytes, so every fragment must hold
 * a whole number of such lines, and all fragments together at most `height`
 * lines.  A depth that fails either test for any fragment is ruled out; a
 * fragment that rules out both depths is an error.  When both still fit at
 * the end (a width of 1, or few lines), the depth whose line count equals
 * the height wins; if that does not decide, the colour setting of the page
 * record does (colour: 3, monochrome: 1), and the page notes the choice.
 *
 * Lines that were not sent (the stream had fewer rows than the raster's
 * height) stay white, as the backend's raster started white.
 *
 * The padding carries no meaning (the backend sends it as zeros), so it is
 * never read.  At depth 1 with a width that is not a multiple of 3, the
 * reversal of the last, partial group of three moves one sample of every
 * row into the padding (or past it): the last sample when the width leaves
 * 1 modulo 3, the one before it when it leaves 2.  That sample does not
 * reach the host; the rebuilt page shows it white and reports the count of
 * lost samples per row.  Depth 3 rows always hold whole groups.
 */
#ifndef KIVPRINTER_PAGE_REBUILD_H
#define KIVPRINTER_PAGE_REBUILD_H

#include <stdint.h>
#include <string>
#include <vector>

#include "png_io.h"
#include "rc_decoder.h"

struct PageAssembly
{
  uint32_t width = 0, height = 0;
  uint32_t xdpi = 0, ydpi = 0;
  int colorHint = 0;              /* colour field of the page record: 2, 1, or 0 unknown */
  uint64_t lineBytes[2] = {0, 0}; /* padded line length at depth 1 [0] and depth 3 [1] */
  bool fits[2] = {true, true};    /* depth still possible */
  uint64_t lines[2] = {0, 0};     /* lines received, counted at each depth */
  std::vector<uint8_t> bitmap;    /* decompressed lines in arrival order */
  uint32_t fragments = 0;
  uint64_t compressedBytes = 0;
};

struct PageResult
{
  PageImage image;
  uint32_t depth = 0;          /* 1 or 3 */
  bool depthAmbiguous = false; /* both depths fit; chosen as told above */
  uint64_t linesReceived = 0;
  uint32_t lostSamplesPerRow = 0;
};

/* Largest page the receiver rebuilds: width * height * 3 bytes. */
#define PAGE_MAX_BYTES (1ull << 30)

/* Starts a page from its bitmap header.  0 with *error set when the header
   cannot describe a page (width or height 0, larger than PAGE_MAX_BYTES). */
int page_begin(PageAssembly *page, const rc_bitmap_hdr_fields &header, int colorHint,
               std::string *error);

/* Checks a fragment's stated uncompressed length before it is decompressed:
   it must be a whole number of lines at a depth still possible, without
   passing the page's height.  Updates the possible depths; 0 with *error
   when none is left. */
int page_check_fragment(PageAssembly *page, uint32_t uncompressedLength, std::string *error);

/* Decompresses an already checked fragment onto the page's bitmap.  0 with
   *error when the data does not decompress to exactly the stated length. */
int page_add_fragment(PageAssembly *page, const rc_record &fragment, std::string *error);

/* Rebuilds the image after the bitmap's last fragment (always succeeds on a
   page whose fragments were all accepted). */
int page_finish(PageAssembly *page, PageResult *result, std::string *error);

/* The padded line length at depth for width pixels. */
uint64_t page_line_bytes(uint32_t width, uint32_t depth);

/* Samples per row that the line layout loses at this width and depth. */
uint32_t page_lost_samples(uint32_t width, uint32_t depth);

#endif
