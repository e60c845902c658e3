/*
 * page_rebuild.cpp - bitmap records back to a page image.
 *
 * Index 0 of the per-depth arrays is depth 1, index 1 is depth 3.
 */
#include "page_rebuild.h"

#include <stdio.h>

static const uint32_t kDepths[2] = {1, 3};

uint64_t page_line_bytes(uint32_t width, uint32_t depth)
{
  uint64_t bytes = (uint64_t)width * depth;
  return (bytes + 3) / 4 * 4;
}

/* Where the sample at offset s of a row ends up in the line: the line is
   copied in groups of three starting at offsets 0, 3, 6 ..., each group
   reversed, so the sample at g + j (j = 0, 1, 2) lands at g + 2 - j.  A
   group that starts inside the row is copied whole, even when it reaches
   past the row's end. */
static uint64_t line_position(uint64_t s)
{
  uint64_t g = s - s % 3;
  return g + 2 - (s - g);
}

uint32_t page_lost_samples(uint32_t width, uint32_t depth)
{
  /* Only the last partial group can move a sample past the row's own
     bytes, into the padding (meaningless, sent as zeros) or beyond. */
  uint64_t rowBytes = (uint64_t)width * depth;
  uint32_t lost = 0;
  uint64_t first = rowBytes >= 3 ? rowBytes - 3 : 0;
  for (uint64_t s = first; s < rowBytes; s++)
    if (line_position(s) >= rowBytes)
      lost++;
  return lost;
}

int page_begin(PageAssembly *page, const rc_bitmap_hdr_fields &header, int colorHint,
               std::string *error)
{
  *page = PageAssembly();
  if (header.width == 0 || header.height == 0)
  {
    char text[128];
    snprintf(text, sizeof text, "bitmap of %ux%u pixels: the %s is 0", (unsigned)header.width,
             (unsigned)header.height, header.width == 0 ? "width" : "height");
    *error = text;
    return 0;
  }
  uint64_t bytes = (uint64_t)header.width * header.height * 3;
  if (bytes > PAGE_MAX_BYTES)
  {
    char text[160];
    snprintf(text, sizeof text, "bitmap of %ux%u pixels is larger than this receiver rebuilds (%llu bytes at most)",
             (unsigned)header.width, (unsigned)header.height, (unsigned long long)PAGE_MAX_BYTES);
    *error = text;
    return 0;
  }
  page->width = header.width;
  page->height = header.height;
  page->xdpi = header.xResolution;
  page->ydpi = header.yResolution;
  page->colorHint = colorHint;
  for (int i = 0; i < 2; i++)
    page->lineBytes[i] = page_line_bytes(header.width, kDepths[i]);
  return 1;
}

int page_check_fragment(PageAssembly *page, uint32_t uncompressedLength, std::string *error)
{
  bool whole[2] = {false, false}, fits[2] = {false, false};
  for (int i = 0; i < 2; i++)
  {
    if (!page->fits[i])
      continue;
    whole[i] = uncompressedLength % page->lineBytes[i] == 0;
    fits[i] = whole[i] && page->lines[i] + uncompressedLength / page->lineBytes[i] <= page->height;
  }
  if (fits[0] || fits[1])
  {
    for (int i = 0; i < 2; i++)
    {
      page->fits[i] = fits[i];
      if (fits[i])
        page->lines[i] += uncompressedLength / page->lineBytes[i];
    }
    return 1;
  }

  char text[256];
  if (whole[0] || whole[1])
  {
    int i = whole[1] ? 1 : 0;
    snprintf(text, sizeof text, "fragments carry %llu lines at depth %u, more than the bitmap's height of %u",
             (unsigned long long)(page->lines[i] + uncompressedLength / page->lineBytes[i]),
             (unsigned)kDepths[i], (unsigned)page->height);
  }
  else if (page->fits[0] && page->fits[1])
    snprintf(text, sizeof text,
             "fragment of %u bytes is not a whole number of lines of %u pixels "
             "(%llu bytes at depth 3, %llu bytes at depth 1)",
             (unsigned)uncompressedLength, (unsigned)page->width,
             (unsigned long long)page->lineBytes[1], (unsigned long long)page->lineBytes[0]);
  else
  {
    int i = page->fits[1] ? 1 : 0;
    snprintf(text, sizeof text,
             "fragment of %u bytes is not a whole number of lines of %u pixels "
             "(%llu bytes at depth %u; earlier fragments ruled out depth %u)",
             (unsigned)uncompressedLength, (unsigned)page->width,
             (unsigned long long)page->lineBytes[i], (unsigned)kDepths[i], (unsigned)kDepths[1 - i]);
  }
  *error = text;
  return 0;
}

/* The most an LZF block can expand: a three-byte back reference copies
   at most 264 bytes, so no block yields more than 88 bytes per byte. */
static const uint64_t kLzfMaxExpansion = 88;

int page_add_fragment(PageAssembly *page, const rc_record &fragment, std::string *error)
{
  size_t start = page->bitmap.size();
  size_t length = fragment.fragment.uncompressedLength;
  /* Refused before the room for it is made: a few bytes that claim a
     gigabyte must not cost a gigabyte. */
  if (fragment.dataLength && (uint64_t)length > kLzfMaxExpansion * fragment.dataLength)
  {
    char text[160];
    snprintf(text, sizeof text, "fragment %u states %u uncompressed bytes, more than its %u compressed bytes can hold",
             (unsigned)fragment.index, (unsigned)length, (unsigned)fragment.dataLength);
    *error = text;
    return 0;
  }
  page->bitmap.resize(start + length);
  char text[256];
  text[0] = '\0';
  if (!rc_decompress_fragment(&fragment, page->bitmap.data() + start, length, text, sizeof text))
  {
    page->bitmap.resize(start);
    *error = text[0] ? text : "fragment data does not decompress";
    return 0;
  }
  page->fragments++;
  page->compressedBytes += fragment.dataLength;
  return 1;
}

int page_finish(PageAssembly *page, PageResult *result, std::string *error)
{
  int d; /* index into the depth arrays */
  result->depthAmbiguous = false;
  if (page->fits[0] && page->fits[1])
  {
    bool full1 = page->lines[0] == page->height, full3 = page->lines[1] == page->height;
    if (full3 != full1)
      d = full3 ? 1 : 0;
    else
    {
      d = page->colorHint == 1 ? 0 : 1;
      result->depthAmbiguous = true;
    }
  }
  else if (page->fits[1])
    d = 1;
  else if (page->fits[0])
    d = 0;
  else
  {
    *error = "the bitmap's lines fit neither depth"; /* refused earlier; kept as a guard */
    return 0;
  }

  uint32_t depth = kDepths[d];
  uint64_t padded = page->lineBytes[d];
  uint64_t rowBytes = (uint64_t)page->width * depth;
  uint64_t lines = page->lines[d];
  if (!image_init(&result->image, page->width, page->height, depth))
  {
    *error = "the page image cannot be held in memory";
    return 0;
  }
  result->image.xdpi = page->xdpi;
  result->image.ydpi = page->ydpi;
  result->depth = depth;
  result->linesReceived = lines;
  result->lostSamplesPerRow = page_lost_samples(page->width, depth);

  /* The first line received is the lowest row that was sent (row lines-1);
     rows from `lines` down to the bottom were not sent and stay white. */
  uint8_t *pixels = result->image.pixels.data();
  for (uint64_t k = 0; k < lines; k++)
  {
    const uint8_t *line = page->bitmap.data() + k * padded;
    uint8_t *row = pixels + (lines - 1 - k) * rowBytes;
    uint64_t g = 0;
    /* Whole groups: a plain reversal. */
    for (; g + 3 <= rowBytes; g += 3)
    {
      row[g] = line[g + 2];
      row[g + 1] = line[g + 1];
      row[g + 2] = line[g];
    }
    /* The last, partial group: a sample moved into the padding is lost. */
    for (uint64_t s = g; s < rowBytes; s++)
    {
      uint64_t pos = line_position(s);
      row[s] = pos < rowBytes ? line[pos] : 0xFF;
    }
  }
  return 1;
}
