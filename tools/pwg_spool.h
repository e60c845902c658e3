/*
 * pwg_spool.h - the job's document for the printer: a PWG raster file in
 * the job's folder, written page by page as the pages are rebuilt.
 *
 * Each page gets its own page header: the bitmap's width and height, its
 * resolution, 8-bit sRGB (three samples a pixel) or 8-bit sGray (one),
 * PageSize in points and the PWG media name of the page's paper, Duplex
 * and Tumble from the page record's duplex code.  The pixels are the
 * rebuilt rows, top to bottom, exactly as they arrived.
 */
#ifndef KIVPRINTER_PWG_SPOOL_H
#define KIVPRINTER_PWG_SPOOL_H

#include <stdint.h>

#include <string>

#include <cups/raster.h>

#include "png_io.h"
#include "rc_decoder.h"

/* Name of the document file inside a job folder. */
#define PWG_SPOOL_FILE "document.pwg"

struct PwgSpool
{
  std::string path; /* the file being written */
  int fd = -1;      /* its descriptor while open */
  cups_raster_t *raster = nullptr;
  unsigned pages = 0;  /* pages written */
  bool failed = false; /* a write failed: the file is not usable */
};

/* The job attributes a page record asks for, in IPP words. */
struct PrintSettings
{
  int copies = 1;
  std::string sides = "one-sided"; /* one-sided, two-sided-long-edge, two-sided-short-edge */
  std::string media;               /* PWG self-describing media name */
  std::string colorMode = "color"; /* color or monochrome */
};

/* The IPP settings of a page record: copies (at least 1), sides from the
   duplex code (1 one-sided, 3 long edge, 2 short edge), media from the
   paper code (or the record's paper size when the code is unknown) and the
   colour mode from the colour code. */
void print_settings_from_page(const rc_page_start_fields &page, PrintSettings *settings);

/* The PWG media name for a paper code of the project's table; when the code
   is not there, the standard size nearest to widthTenths x lengthTenths
   (tenths of a millimetre), or a custom name of that size.  Empty when
   neither is known. */
std::string pwg_media_name(unsigned paperCode, int widthTenths, int lengthTenths);

/* Creates the file (replacing an older one) and opens a PWG raster stream
   on it.  1, or 0 after an error line naming the job. */
int pwg_spool_open(PwgSpool *spool, const std::string &path, unsigned job);

/* Appends one page: image's rows with the page record's settings and the
   bitmap's resolution.  1, or 0 after an error line (the spool is then
   marked failed). */
int pwg_spool_add_page(PwgSpool *spool, const PageImage &image, const rc_page_start_fields &page,
                       unsigned job);

/* Ends the raster stream and makes the file durable (fsync).  1 when every
   page is in the file, 0 after an error line.  Safe on a spool never
   opened. */
int pwg_spool_close(PwgSpool *spool, unsigned job);

#endif
