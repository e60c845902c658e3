/*
 * print_job.h - the state of one print job, shared by the command loop, the
 * page raster and the bitmap transmission.
 *
 * One job per process: the driver keeps one print_job_s for the whole run.
 * Nothing in it is reset between pages or documents, except the line count
 * at each page start (and, in per-page mode, the raster at each RASTER).
 * All of the job's state lives here (nothing in globals), so the command
 * loop can also be run in-process several times, each over a fresh
 * print_job_s, and released with print_job_release().
 */
#ifndef CORVANE_PRINT_JOB_H
#define CORVANE_PRINT_JOB_H

#include <stdint.h>

#include "bitmap_send.h"
#include "command_line.h"
#include "cups_file.h"
#include "page_raster.h"

/* Longest page name kept from PAGENAME, in bytes. */
#define PRINT_JOB_PAGE_NAME_MAX 41

struct print_job_s
{
  /* Set up by the driver. */
  int sock;                /* connected socket to the host application */
  const char *printerName; /* queue description, PRINTERMODEL's default */
  int copies;              /* copies announced in every page record */

  /* Command line reader. */
  char line[COMMAND_LINE_SIZE]; /* current command line */
  char *keyword;                /* first word of the line */
  char *value;                  /* rest of the line, trimmed; null when none */

  /* Settings from the stream. */
  bool colorDevice; /* COLORDEVICE 1 seen last */
  int pageCounter;  /* PAGE commands that had a value */
  /* PAGENAME: at most 41 bytes, padded with zeros; the extra byte is
     always zero, so the name can be used as a C string. */
  char pageName[PRINT_JOB_PAGE_NAME_MAX + 1];
  uint32_t pageBox[4]; /* first four PAGE numbers */
  int32_t collate, duplex, tumble;
  uint32_t hwresX, hwresY;
  int32_t orientation;
  float pageWidth, pageHeight; /* points, from the last valid PAGE */

  /* Printer-name payload that follows every record. */
  unsigned char *namePayload;
  uint32_t nameLen;

  /* The page raster (one per job unless the device URI asks for one per
     page) and ENDPAGE's working buffers. */
  page_raster_s raster;
  bitmap_buffers_s bitmap;
};

/* Prepares a job over a connected socket; everything else starts empty
   (one raster per job, no limit). */
void print_job_init(print_job_s *job, int sock, const char *printerName, int copies);

/* Runs the command loop over the stream until the input ends.  Returns 1 at
   the end of the input, 0 when a record could not be written (the record's
   failure line has been printed; the caller ends with status 4 at once) or
   when the buffers of a page could not be allocated (a line says so). */
int command_loop(print_job_s *job, _cups_file_s *fp);

/* Frees the printer-name payload (normal end of the job). */
void print_job_free_payload(print_job_s *job);

/* Frees everything the job holds, the raster and the page buffers
   included, and leaves it as print_job_init() left it apart from the
   socket, printer name, copies and the raster's limit and mode.
   The backend itself never calls it (its raster lives until the process
   ends); it is for programs that run jobs in-process, one after another,
   in one process (the command loop's fuzzer, the benchmarks, the tests). */
void print_job_release(print_job_s *job);

#endif
