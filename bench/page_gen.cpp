/*
 * page_gen.cpp - synthetic pages and print streams for the benchmarks.
 */
#include "page_gen.h"

#include <stdio.h>

/* A small deterministic generator, so every run benches the same bytes. */
static uint32_t nextRandom(uint32_t *state)
{
  uint32_t x = *state;
  x ^= x << 13;
  x ^= x >> 17;
  x ^= x << 5;
  *state = x;
  return x;
}

const char *pageKindName(PageKind kind)
{
  switch (kind)
  {
    case PAGE_BLANK: return "blank";
    case PAGE_TEXT: return "text";
    case PAGE_PHOTO: return "photo";
  }
  return "?";
}

/*
 * 'makePage()' - Draw a page.
 *
 * Text: lines of "glyphs" 12 points apart, each glyph a dark box of strokes
 * about 2 x 2.5 mm with gaps between words, with margins: roughly what a page
 * of 10-point text looks like to a compressor.  Photo: smooth gradients in
 * each component plus a few levels of noise, which leaves LZF little to find.
 */
std::vector<unsigned char> makePage(const PageSpec &spec, uint32_t variant)
{
  size_t rowBytes = (size_t)spec.width * spec.depth;
  std::vector<unsigned char> page(rowBytes * spec.height, 0xFF);
  /* xorshift must not start from 0; variant 0 keeps the original seed. */
  uint32_t seed = 0x2545F491u ^ (variant * 0x9E3779B9u);
  if (!seed)
    seed = 1;

  if (spec.kind == PAGE_TEXT)
  {
    uint32_t lineHeight = spec.dpi / 6;  /* 12 pt */
    uint32_t glyphW = spec.dpi * 2 / 25; /* ~2 mm */
    uint32_t glyphH = spec.dpi / 10;     /* ~2.5 mm */
    uint32_t margin = spec.dpi;          /* 1 inch */
    for (uint32_t top = margin; top + glyphH < spec.height - margin; top += lineHeight)
    {
      uint32_t x = margin;
      while (x + glyphW < spec.width - margin)
      {
        if (nextRandom(&seed) % 6 == 0) /* a space between words */
        {
          x += glyphW;
          continue;
        }
        uint32_t strokes = nextRandom(&seed);
        for (uint32_t y = 0; y < glyphH; y++)
          for (uint32_t gx = 0; gx < glyphW - 2; gx++)
          {
            /* Vertical and horizontal strokes picked by the glyph's bits. */
            bool ink = ((strokes >> (gx * 4 / glyphW)) & 1) && (gx % (glyphW / 4 + 1)) < 2;
            ink = ink || (((strokes >> 8 >> (y * 3 / glyphH)) & 1) && (y % (glyphH / 3 + 1)) < 2);
            if (!ink)
              continue;
            unsigned char *p = &page[(size_t)(top + y) * rowBytes + (size_t)(x + gx) * spec.depth];
            for (uint32_t c = 0; c < spec.depth; c++)
              p[c] = 0x10;
          }
        x += glyphW;
      }
    }
  }
  else if (spec.kind == PAGE_PHOTO)
  {
    for (uint32_t y = 0; y < spec.height; y++)
    {
      unsigned char *row = &page[(size_t)y * rowBytes];
      for (uint32_t x = 0; x < spec.width; x++)
        for (uint32_t c = 0; c < spec.depth; c++)
        {
          uint32_t base = c == 0   ? x * 255u / spec.width
                          : c == 1 ? y * 255u / spec.height
                                   : (x + y) * 255u / (spec.width + spec.height);
          int v = (int)base + (int)(nextRandom(&seed) % 17) - 8;
          row[(size_t)x * spec.depth + c] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255
                                                                                : v);
        }
    }
  }
  return page;
}

/* The head of a stream: printer, document and page settings. */
static void writeHead(FILE *f, const PageSpec &spec)
{
  fprintf(f, "PRINTERMODEL Bench Printer\nDOCUMENT bench\nCOLORDEVICE %d\nPAGENAME A4\n",
          spec.depth == 3 ? 1 : 0);
}

/* One page: PAGE, RASTER, a LINE per row, ENDPAGE. */
static void writePage(FILE *f, const PageSpec &spec, const std::vector<unsigned char> &page)
{
  size_t rowBytes = (size_t)spec.width * spec.depth;
  unsigned pointsW = 595, pointsH = 842;
  fprintf(f, "PAGE 0 0 %u %u 0 0 0 %u %u 0\n", pointsW, pointsH, spec.dpi, spec.dpi);
  fprintf(f, "RASTER %u %u %u\n", spec.width, spec.height, spec.depth);
  for (uint32_t y = 0; y < spec.height; y++)
  {
    fprintf(f, "LINE %zu\n", rowBytes);
    fwrite(&page[(size_t)y * rowBytes], 1, rowBytes, f);
  }
  fputs("ENDPAGE\n", f);
}

/*
 * 'writeStream()' - One document of pages pages, each with the same raster.
 */
bool writeStream(const std::string &path, const PageSpec &spec,
                 const std::vector<unsigned char> &page, int pages)
{
  FILE *f = fopen(path.c_str(), "wb");
  if (!f)
    return false;
  writeHead(f, spec);
  for (int p = 0; p < pages; p++)
    writePage(f, spec, page);
  fputs("ENDDOCUMENT\n", f);
  return fclose(f) == 0;
}

/*
 * 'writeDistinctStream()' - One document of pages pages, each drawn anew.
 */
bool writeDistinctStream(const std::string &path, const PageSpec &spec, int pages)
{
  FILE *f = fopen(path.c_str(), "wb");
  if (!f)
    return false;
  writeHead(f, spec);
  for (int p = 0; p < pages; p++)
    writePage(f, spec, makePage(spec, (uint32_t)p));
  fputs("ENDDOCUMENT\n", f);
  return fclose(f) == 0;
}
