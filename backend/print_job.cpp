/*
 * print_job.cpp - job state set-up and the command loop.
 *
 * The loop reads one command line at a time and carries it out.  There is
 * no document or page state machine: any command may come at any time and
 * any number of times, and what a command does depends only on the
 * settings that earlier commands left behind.  Unknown keywords, and known
 * ones without the value they need, are skipped without a word.
 */
#include "print_job.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "bitmap_send.h"
#include "command_line.h"
#include "name_payload.h"
#include "number_scan.h"
#include "page_raster.h"
#include "paper_table.h"
#include "rc_packet.h"

/*
 * 'print_job_init()' - Start a job over a connected socket.
 */
void print_job_init(print_job_s *job, int sock, const char *printerName, int copies)
{
  memset(job, 0, sizeof(*job));
  job->sock = sock;
  job->printerName = printerName;
  job->copies = copies;
}

/*
 * 'printermodel_command()' - PRINTERMODEL [name]: name the printer and rebuild the
 * payload that follows every later record.
 *
 * Without a value the queue's description is the name.  The name is cut to
 * 1023 bytes (the description may be longer than a command line), which
 * bounds nameLen at 2048.  If the payload cannot be allocated the records
 * go out without a name (nameLen 0), as before the first PRINTERMODEL.
 */
static int printermodel_command(print_job_s *job, const char *value, _cups_file_s *)
{
  char name[COMMAND_LINE_SIZE];
  const char *source = value ? value : job->printerName;

  memset(name, 0, sizeof(name));
  if (source)
    strncpy(name, source, sizeof(name) - 1);
  fprintf(stderr, "DEBUG: CorvaneBackend - printer devicename: \"%s\"\n", name);

  free(job->namePayload);
  job->namePayload = name_payload_build(name, &job->nameLen);
  if (!job->namePayload)
    fputs("DEBUG: CorvaneBackend - printer devicename: CANNOT allocate the name payload !!!\n", stderr);
  return 1;
}

/*
 * 'colordevice_command()' - COLORDEVICE number: only the number 1 declares
 * colour; text that is not a number leaves the flag as it was, and without
 * a value the command is ignored.
 */
static int colordevice_command(print_job_s *job, const char *value, _cups_file_s *)
{
  const char *p = value;
  int32_t number;

  if (!value)
    return 1;
  if (scan_i32(&p, &number))
    job->colorDevice = (number == 1);
  fprintf(stderr, "DEBUG: \"CorvaneBackend - COLORDEVICE: %s\"\n",
          job->colorDevice ? "True" : "False");
  return 1;
}

/*
 * 'pagename_command()' - PAGENAME name: keep at most 41 bytes of the paper
 * name; without a value the command is ignored.
 */
static int pagename_command(print_job_s *job, const char *value, _cups_file_s *)
{
  if (!value)
    return 1;
  strncpy(job->pageName, value, PRINT_JOB_PAGE_NAME_MAX);
  job->pageName[PRINT_JOB_PAGE_NAME_MAX] = '\0';
  fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGENAME - %s\"\n", job->pageName);
  return 1;
}

/*
 * 'tenthsOfMillimetre()' - Points to tenths of a millimetre, rounded half
 * away from zero, as the low 16 bits the record carries.
 *
 * The value is at most 2^32 x 254 / 72, which a 64-bit integer holds, so
 * the conversion is always defined.
 */
static int tenthsOfMillimetre(float points)
{
  double tenths = round((double)points * 25.4 * 10.0 / 72.0);
  int64_t whole = (int64_t)tenths;

  return (int)((uint64_t)whole & 0xFFFFu);
}

/*
 * 'page_command()' - PAGE numbers: the page's settings, and its start record.
 *
 * The ten numbers are read in order and each is stored as soon as it is
 * read, so a short value still replaces the leading ones; only a full set
 * starts a page.
 */
static int page_command(print_job_s *job, const char *value, _cups_file_s *)
{
  const char *p = value;
  int count = 0;
  unsigned int paperCode;
  rc_page_settings settings;

  if (!value)
  {
    fputs("DEBUG: CorvaneBackend - PAGE - MISSING value !!!\n", stderr);
    return 1;
  }

  /* Counted in unsigned arithmetic: no overflow, however many pages. */
  job->pageCounter = (int)((unsigned int)job->pageCounter + 1u);
  fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGE %d - value: %s\"\n", job->pageCounter, value);

  if (scan_u32(&p, &job->pageBox[0]) && ++count &&
      scan_u32(&p, &job->pageBox[1]) && ++count &&
      scan_u32(&p, &job->pageBox[2]) && ++count &&
      scan_u32(&p, &job->pageBox[3]) && ++count &&
      scan_i32(&p, &job->collate) && ++count &&
      scan_i32(&p, &job->duplex) && ++count &&
      scan_i32(&p, &job->tumble) && ++count &&
      scan_u32(&p, &job->hwresX) && ++count &&
      scan_u32(&p, &job->hwresY) && ++count &&
      scan_i32(&p, &job->orientation))
    ++count;
  if (count < 10)
  {
    fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGE - CANNOT starting page (%d) !!!\"\n", count);
    return 1;
  }

  job->pageWidth = (float)job->pageBox[2];
  job->pageHeight = (float)job->pageBox[3];
  fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGE %d - Starting page - [%g %g %g %g]\"\n",
          job->pageCounter, (double)(float)job->pageBox[0], (double)(float)job->pageBox[1],
          (double)(float)job->pageBox[2], (double)(float)job->pageBox[3]);
  fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGE - collate: %d duplex: %d tumble: %d hwresX: %d hwresY: %d orientation: %d\"\n",
          (int)job->collate, (int)job->duplex, (int)job->tumble, (int)job->hwresX,
          (int)job->hwresY, (int)job->orientation);

  paperCode = GetWinPaperCode(job->pageName);
  memset(&settings, 0, sizeof(settings));
  settings.orientation = job->orientation == 0 ? 1 : 2;
  settings.paperSize = (int)(paperCode & 0xFFFFu);
  settings.paperLength = tenthsOfMillimetre(job->pageHeight);
  settings.paperWidth = tenthsOfMillimetre(job->pageWidth);
  settings.copies = job->copies;
  settings.printQuality = (int)(job->hwresX & 0xFFFFu);
  settings.color = job->colorDevice ? 2 : 1;
  settings.duplex = job->duplex <= 0 ? 1 : (job->tumble > 0 ? 2 : 3);
  settings.collate = job->collate;

  /* The paper code is shown as the record's signed 16-bit field. */
  fprintf(stderr, "DEBUG: CorvaneBackend - PAGE - %s %d\n", job->pageName,
          (int)(paperCode & 0xFFFFu) >= 0x8000 ? (int)(paperCode & 0xFFFFu) - 0x10000
                                               : (int)(paperCode & 0xFFFFu));

  if (!rc_send_page_start(job->sock, &settings, job->namePayload, job->nameLen))
    return 0;
  fputs("DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"\n", stderr);
  job->raster.nLines = 0;
  return 1;
}

/*
 * 'document_command()' - DOCUMENT [anything]: the document start record.
 */
static int document_command(print_job_s *job, const char *, _cups_file_s *)
{
  return rc_send_doc_start(job->sock, job->namePayload, job->nameLen);
}

/*
 * 'enddocument_command()' - ENDDOCUMENT: the document end record.
 */
static int enddocument_command(print_job_s *job, const char *, _cups_file_s *)
{
  if (!rc_send_doc_end(job->sock, job->namePayload, job->nameLen))
    return 0;
  fputs("DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n", stderr);
  return 1;
}

/*
 * 'endpage_command()' - ENDPAGE: the page's raster goes out as a bitmap.
 *
 * The rows are read from here on, so whatever no line wrote is made white
 * first; a page without lines reads no row and needs no clearing.
 */
static int endpage_command(print_job_s *job, const char *, _cups_file_s *)
{
  bitmap_page_s page;

  if (job->raster.nLines > 0)
    raster_settle(&job->raster);
  page.hwresX = job->hwresX;
  page.hwresY = job->hwresY;
  page.pageCounter = job->pageCounter;
  page.sock = job->sock;
  page.namePayload = job->namePayload;
  page.nameLen = job->nameLen;
  return send_page_bitmap(&job->raster, &job->bitmap, &page);
}

/*
 * 'jobRaster()' - RASTER, handed to the job's raster with the page's size.
 */
static int jobRaster(print_job_s *job, const char *value, _cups_file_s *)
{
  raster_command(&job->raster, value, job->pageWidth, job->pageHeight);
  return 1;
}

/*
 * 'jobLine()' - LINE, handed to the job's raster with the stream.
 */
static int jobLine(print_job_s *job, const char *value, _cups_file_s *fp)
{
  line_command(&job->raster, value, fp);
  return 1;
}

/* A stream command: its keyword and what carries it out.  Every handler
   returns 0 only when a record could not be written, which ends the job. */
struct stream_command_s
{
  const char *keyword;
  int (*handler)(print_job_s *job, const char *value, _cups_file_s *fp);
};

/* The keywords are compared whole and case-sensitively, so no two can
   match the same line and their order changes nothing but the cost: LINE,
   thousands of times a page, comes first. */
static const stream_command_s streamCommands[] = {
  {"LINE", jobLine},
  {"PRINTERMODEL", printermodel_command},
  {"DOCUMENT", document_command},
  {"COLORDEVICE", colordevice_command},
  {"ENDDOCUMENT", enddocument_command},
  {"PAGENAME", pagename_command},
  {"PAGE", page_command},
  {"ENDPAGE", endpage_command},
  {"RASTER", jobRaster},
};

/*
 * 'runCommands()' - Carry out the stream's commands until it ends.
 */
static int runCommands(print_job_s *job, _cups_file_s *fp)
{
  while (read_command_line(fp, job->line, &job->keyword, &job->value))
  {
    for (const stream_command_s &command : streamCommands)
      if (!strcmp(job->keyword, command.keyword))
      {
        if (!command.handler(job, job->value, fp))
          return 0;
        break;
      }
  }
  return 1;
}

/*
 * 'command_loop()' - Carry out the stream's commands until it ends, or a
 * record cannot be sent.
 *
 * Either way the raster is left settled, every byte holding its value, for
 * whoever looks at it afterwards (in the wire layout when the program asked
 * for it and the page kept it: raster_unwire() gives the rows back).
 */
int command_loop(print_job_s *job, _cups_file_s *fp)
{
  int result = runCommands(job, fp);

  raster_settle(&job->raster);
  return result;
}

/*
 * 'print_job_free_payload()' - Free the printer-name payload.
 */
void print_job_free_payload(print_job_s *job)
{
  free(job->namePayload);
  job->namePayload = NULL;
  job->nameLen = 0;
}

/*
 * 'print_job_release()' - Free everything the job holds.
 */
void print_job_release(print_job_s *job)
{
  int sock = job->sock;
  const char *printerName = job->printerName;
  int copies = job->copies;
  uint32_t limit = job->raster.limit;
  int perPage = job->raster.perPage;
  int wireLayout = job->raster.wireLayout;

  free(job->namePayload);
  raster_free(&job->raster);
  bitmap_buffers_free(&job->bitmap);
  print_job_init(job, sock, printerName, copies);
  job->raster.limit = limit;
  job->raster.perPage = perPage;
  job->raster.wireLayout = wireLayout;
}
