/*
 * stream_writer.h - turns page images into a print stream, the text
 * commands with raw raster rows that the backend reads:
 *
 *   PRINTERMODEL [name]
 *   DOCUMENT title
 *   COLORDEVICE 1 | 0
 *   per page: PAGENAME paper
 *             PAGE 0 0 width height collate duplex tumble xres yres orientation
 *             RASTER pixels lines depth
 *             LINE bytes, then the row's bytes, for every row, top to bottom
 *             ENDPAGE
 *   ENDDOCUMENT
 *
 * Every command line ends with a new line.  The page box is the image's
 * size in points at the stream's resolution, so that the backend's own
 * resolution estimate (pixels * 72 / points) gives the resolution back.
 * Depth 3 rows carry three bytes per pixel in R, G, B order; depth 1 rows
 * one gray byte per pixel.
 *
 * The backend keeps one raster for the whole job: a stream of several pages
 * is well formed, but the backend sends the first page's raster again for
 * every later page.  One page per job is what reaches the host unchanged.
 */
#ifndef KIVPRINTER_STREAM_WRITER_H
#define KIVPRINTER_STREAM_WRITER_H

#include <stdint.h>
#include <string>
#include <vector>

#include "png_io.h"

struct StreamSettings
{
  bool hasPrinterName = false; /* false: a bare PRINTERMODEL, so the backend
                                   names the queue's description */
  std::string printerName;
  std::string title = "Test page";
  std::string paper = "A4"; /* PAGENAME */
  uint32_t xdpi = 300, ydpi = 300;
  uint32_t depth = 3; /* 3: colour rows and COLORDEVICE 1; 1: gray rows and COLORDEVICE 0 */
  int duplex = 0;     /* PAGE duplex flag */
  int tumble = 0;     /* PAGE tumble flag (short-edge binding) */
  int collate = 0;
  int orientation = 0; /* 0 portrait, 1 landscape */
};

/* Appends the whole stream for pages to out.  Each page is converted to the
   stream's depth first (gray to RGB or RGB to luminance).  Returns 1, or 0
   when a setting cannot be written as a command line (a line break in a
   name, a resolution of 0, no page); the reason goes to standard error. */
int build_print_stream(std::string *out, const StreamSettings &settings,
                       const std::vector<PageImage> &pages);

#endif
