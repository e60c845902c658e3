/*
 * filter_main.cpp - rastertocorvane: the CUPS filter from CUPS raster to
 * the backend's print stream.
 *
 *   rastertocorvane job user title copies options [file]
 *
 * Reads the raster from file or the standard input, writes the stream to
 * the standard output, logs to the standard error as CUPS expects of a
 * filter.  Copies are made earlier in the chain (the PPD asks for manual
 * copies), so the copies argument is not used here.  Exit status 0 when
 * the job was sent or cancelled, 1 on any error.
 */
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <cups/raster.h>

#include "raster_filter.h"

static volatile sig_atomic_t g_cancelled = 0;

/*
 * 'onTerm()' - SIGTERM: the job was cancelled; the page loop stops at the
 * next row.
 */
static void onTerm(int)
{
  g_cancelled = 1;
}

/*
 * 'main()' - Check the arguments, set up signals and input, run the filter.
 */
int main(int argc, char *argv[])
{
  setbuf(stderr, NULL);
  if (argc < 6 || argc > 7)
  {
    fprintf(stderr, "Usage: %s job user title copies options [file]\n", argc > 0 ? argv[0] : "rastertocorvane");
    return 1;
  }

  /* A closed pipe is a failed write to report, not a silent death. */
  signal(SIGPIPE, SIG_IGN);
  struct sigaction term;
  memset(&term, 0, sizeof(term));
  term.sa_handler = onTerm;
  sigemptyset(&term.sa_mask);
  sigaction(SIGTERM, &term, NULL);

  int fd = 0;
  if (argc == 7)
  {
    fd = open(argv[6], O_RDONLY | O_CLOEXEC);
    if (fd < 0)
    {
      fprintf(stderr, "ERROR: Unable to open raster file \"%s\": %s\n", argv[6], strerror(errno));
      return 1;
    }
  }

  RasterInput input;
  memset(&input, 0, sizeof(input));
  input.fd = fd;
  cups_raster_t *ras = cupsRasterOpenIO(rasterInputRead, &input, CUPS_RASTER_READ);
  if (!ras)
  {
    if (g_cancelled)
      return 0;
    if (input.pos == 0 && input.ended && !input.error)
      fprintf(stderr, "ERROR: No pages found.\n");
    else
      fprintf(stderr, "ERROR: The input is not CUPS raster data.\n");
    return 1;
  }

  static StreamOut out;
  streamOutInit(&out, 1);
  FilterSettings settings;
  settings.title = argv[3];
  settings.perPage = uriAsksPerPage(getenv("DEVICE_URI"));
  settings.cancelled = &g_cancelled;
  settings.log = stderr;
  settings.maxPageBytes = 0;

  int status = rasterToStream(ras, &input, &out, &settings);
  cupsRasterClose(ras);
  if (fd > 0)
    close(fd);
  return status;
}
