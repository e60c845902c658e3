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

/* The page's raster, row after row (width x depth bytes per row).  Pages of
   another variant have the same look but other marks and noise. */
std::vector<unsigned char> makePage(const PageSpec &spec, uint32_t variant = 0);

/* Writes a stream of pages copies of page to path; false on failure. */
bool writeStream(const std::string &path, const PageSpec &spec,
                 const std::vector<unsigned char> &page, int pages);

/* Writes a stream of pages pages, page p drawn as variant p, so that every
   page has its own content; false on failure. */
bool writeDistinctStream(const std::string &path, const PageSpec &spec, int pages);

const char *pageKindName(PageKind kind);

#endif
