/*
 * print_job.h - the state of one print job, shared by the command loop, the
 * page raster and the bitmap transmission.
 *
 * One job per process: the driver keeps one print_job_s for the whole run.
 * Nothing in it is reset between pages or documents.
 */
#ifndef CORVANE_PRINT_JOB_H
#define CORVANE_PRINT_JOB_H

#include <stdint.h>
#include "cups_file.h"

struct print_job_s
{
  /* Set up by the driver. */
  int sock;                   /* connected socket to the host application */
  const char *printerName;    /* queue description, PRINTERMODEL's default */
  int copies;                 /* copies announced in every page record */

  /* Command line reader. */
  char line[1024];            /* current command line */
  char *keyword;              /* first word of the line */
  char *value;                /* rest of the line, trimmed; null when none */

  /* Settings from the stream. */
  bool colorDevice;           /* COLORDEVICE 1 seen last */
  int pageCounter;            /* PAGE commands that had a value */
  char pageName[41];          /* PAGENAME; not necessarily terminated */
  uint32_t pageBox[4];        /* first four PAGE numbers */
  int collate, duplex, tumble;
  uint32_t hwresX, hwresY;
  int orientation;
  float pageWidth, pageHeight;/* points, from the last valid PAGE */

  /* Printer-name payload that follows every record. */
  unsigned char *namePayload;
  uint32_t nameLen;

  /* Page raster: allocated once per job and kept until the process ends. */
  unsigned char *raster_data;
  unsigned char *rasterCursor;
  unsigned char *rasterEnd;
  uint32_t rasterWidth, rasterHeight, rasterDepth;
  int32_t bytesPerLine;
  int32_t nLines;
};

/* Prepares a job over a connected socket; everything else starts empty. */
void print_job_init(print_job_s *job, int sock, const char *printerName, int copies);

/* Runs the command loop over the stream until the input ends.  Returns 1 at
   the end of the input, 0 when a record could not be written (the record's
   failure line has been printed; the caller ends with status 4 at once). */
int command_loop(print_job_s *job, _cups_file_s *fp);

/* Frees the printer-name payload (normal end of the job). */
void print_job_free_payload(print_job_s *job);

#endif
