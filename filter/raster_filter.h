/*
 * raster_filter.h - CUPS raster in, print stream out: the whole work of
 * rastertocorvane, apart from its command line, so that the tests, the
 * fuzz target and the benchmark run the very code the filter runs.
 */
#ifndef CORVANE_FILTER_RASTER_FILTER_H
#define CORVANE_FILTER_RASTER_FILTER_H

#include <signal.h>
#include <stdio.h>

#include <cups/raster.h>

#include "stream_out.h"

/* Largest sizes accepted from a raster header.  A row goes out in one LINE
   and the backend sends a row of up to 2,000,000 bytes in one fragment; a
   page is held whole by the backend, so it must fit its 32-bit size and
   stay a sensible amount of memory (600 dpi on 11 x 17 inch paper in
   colour is about 200 MiB). */
#define FILTER_MAX_ROW_BYTES   2000000u
#define FILTER_MAX_PAGE_BYTES  (512u * 1024u * 1024u)
#define FILTER_MAX_RESOLUTION  9600u
#define FILTER_MAX_PAGE_POINTS 14400u /* 200 inches */

struct FilterSettings
{
  const char *title;                /* job title, sent with DOCUMENT; null: none */
  int perPage;                      /* 1: the queue's device URI asks for per-page rasters */
  volatile sig_atomic_t *cancelled; /* set when the job is cancelled; may be null */
  FILE *log;                        /* where the CUPS log lines go (stderr) */
  unsigned long long maxPageBytes;  /* largest page raster taken; 0: FILTER_MAX_PAGE_BYTES */
};

/* Input side of the filter: reads from a descriptor for libcups and notes
   how the input ended, so that a header cut short can be told from the
   clean end of the job. */
struct RasterInput
{
  int fd;                    /* the raster; below 0 with data: from memory */
  const unsigned char *data; /* memory input (fuzz target), else null */
  size_t size;               /* bytes at data */
  size_t pos;                /* bytes handed to libcups so far */
  int ended;                 /* 1 once the input reported its end */
  int error;                 /* errno of a failed read, else 0 */
};

/* The libcups read callback over a RasterInput. */
ssize_t rasterInputRead(void *ctx, unsigned char *buffer, size_t length);

/* Reads every page of ras (opened over input) and writes the print stream
   to out, logging as a CUPS filter does.  Returns the filter's exit
   status: 0 when the job was sent or cancelled, 1 on an error (which has
   been logged with an "ERROR:" line). */
int rasterToStream(cups_raster_t *ras, RasterInput *input, StreamOut *out,
                   const FilterSettings *settings);

/* 1 when the device URI's query holds the option raster=per-page. */
int uriAsksPerPage(const char *uri);

#endif
