/*
 * page_raster.h - the page raster: RASTER allocates it, LINE fills it.
 *
 * By default there is one raster per job, allocated by the first valid
 * RASTER and kept for the rest of the job: it is never freed, rewound or
 * cleared between pages.  A second RASTER is refused because a raster
 * exists; later pages' lines are stored after the first page's, and once
 * the raster is full further line data is read from the stream and
 * dropped.  The transmission always sends rows counted from the start of
 * the raster.
 *
 * In per-page mode (the device URI's option raster=per-page) every RASTER
 * starts the page's own raster instead: a valid one of the same geometry
 * makes the raster white again with its cursor at the start and
 * bytesPerLine 0, one of another geometry frees it and allocates anew, and
 * a refused one leaves the page without a raster.  The memory held then
 * stays that of one page however many pages a job has.
 */
#ifndef CORVANE_PAGE_RASTER_H
#define CORVANE_PAGE_RASTER_H

#include <stdint.h>

#include "cups_file.h"

/* The raster of the current page (of the whole job by default). */
struct page_raster_s
{
  unsigned char *raster_data; /* the buffer; null while none is allocated */
  unsigned char *cursor;      /* where the next LINE's bytes go */
  unsigned char *end;         /* raster_data + size */
  /* The raster is cleared to white lazily: its bytes from unwritten to end
     have not been written yet and stand for white (0xFF).  LINE writes
     there first, so the rows of a full page are written once, not cleared
     and then written; raster_settle() clears whatever is left before
     anything reads the raster (ENDPAGE, the end of the loop).  Null when
     every byte of the raster holds its value. */
  unsigned char *unwritten;
  uint32_t size;                 /* bytes: depth x width x height */
  uint32_t width, height, depth; /* from RASTER: pixels, rows, bytes a pixel */
  int32_t bytesPerLine;          /* byte count of the raster's first LINE */
  int32_t nLines;                /* LINEs taken since the last page start */
  /* Largest raster RASTER may allocate, in bytes; 0 means no limit.  A
     RASTER above it is refused exactly like an allocation that fails.  The
     backend sets none; a program that runs jobs in-process with a memory
     budget of its own (the command loop's fuzzer) sets one. */
  uint32_t limit;
  int perPage; /* 1: every RASTER starts the page's own raster */
  /* The wire layout, which the program asks for (wireLayout 1) so that
     ENDPAGE has only to compress: while every LINE of a page carries a
     whole row (n = width x depth = bytesPerLine, at least 3 bytes), the
     rows are stored as the bitmap lines they become, bottom-up and padded:
     row r at raster_data + (height - 1 - r) x alignedLine, its groups of
     three bytes already reversed.  The cursor and unwritten keep counting
     in rows of width x depth bytes from raster_data, as in the plain
     layout.  The first LINE that breaks the pattern turns the raster back
     into the plain layout (raster_unwire()), and the page goes on as it
     would have from the start; the bytes sent are the same either way.
     Off (0) for everyone else, who may read the raster as rows. */
  int wireLayout;
  int wire;             /* 1: the rows are held in the wire layout now */
  uint32_t alignedLine; /* width x depth padded to a multiple of 4 */
  /* Wire layout: the last (width x depth) mod 3 bytes of each row as they
     arrived (two a row), which the reversed line does not keep; they make
     the plain layout again.  Part of the raster's allocation. */
  unsigned char *tails;
};

/* RASTER width height depth: allocates the raster (or, in per-page mode,
   starts the page's raster), white (0xFF) from then on as far as anyone
   reading it can tell (see unwritten), or logs why not.  value is the
   command's value, null when none; pageWidth and pageHeight are the page's
   size in points from the last valid PAGE, which must be above 0.
   A raster whose depth x width x height does not fit 32 bits, or whose
   allocation fails, is refused with the same line as a bad depth, and no
   raster is left. */
void raster_command(page_raster_s *raster, const char *value, float pageWidth, float pageHeight);

/* Clears the part of the raster that no LINE has written yet to white, so
   that every byte holds its value; called before the raster is read (at
   ENDPAGE) and when the command loop ends.  Nothing to do when there is no
   raster or it has settled already.  In the wire layout the rows not yet
   written become white bitmap lines; a page with more lines than the
   raster has rows turns the raster back into rows first (its extra lines
   are white and lie outside the raster). */
void raster_settle(page_raster_s *raster);

/* LINE n: copies the n bytes that follow in the stream to the raster at
   its cursor (as many as fit; the rest are read and dropped) and counts
   the line.  Without a value or a raster nothing is read.  n is read as
   strtol(value, NULL, 10) reads it: a value that does not start with a
   number is LINE 0 (taken and counted, no byte read).  A negative n, or
   one above 2147483647, is rejected with a line saying why: nothing is
   read and no line is counted. */
void line_command(page_raster_s *raster, const char *value, _cups_file_s *fp);

/* Turns a raster held in the wire layout back into rows, in place; nothing
   to do in the plain layout. */
void raster_unwire(page_raster_s *raster);

/* Frees the buffer and leaves the record empty, apart from its limit and
   modes. */
void raster_free(page_raster_s *raster);

#endif
