/*
 * page_gen.h - synthetic print streams for the job benchmarks: A4 pages that
 * look like what real jobs send (blank, sparse text, photographs), written as
 * the backend's line-oriented stream.
 */
#ifndef CORVANE_BENCH_PAGE_GEN_H
#define CORVANE_BENCH_PAGE_GEN_H

#include <stdint.h>
#include <string>
#include <vector>

enum PageKind
{
  PAGE_BLANK, /* every byte 0xFF */
  PAGE_TEXT,  /* white with sparse glyph-sized dark marks in text lines */
  PAGE_PHOTO  /* noisy colour gradients */
};

struct PageSpec
{
  PageKind kind;
  uint32_t width;  /* pixels */
  uint32_t height; /* rows */
  uint32_t depth;  /* bytes per pixel: 1 or 3 */
  uint32_t dpi;
};

/* The page's raster, row after row (width x depth bytes per row). */
std::vector<unsigned char> makePage(const PageSpec &spec);

/* Writes a stream of pages copies of page to path; false on failure. */
bool writeStream(const std::string &path, const PageSpec &spec,
                 const std::vector<unsigned char> &page, int pages);

const char *pageKindName(PageKind kind);

#endif
