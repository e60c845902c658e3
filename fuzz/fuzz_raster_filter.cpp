/*
 * fuzz_raster_filter.cpp - the filter's raster-to-stream path on arbitrary
 * bytes.
 *
 * Input: one option byte (bit 1: the queue asks for per-page rasters),
 * then the raster bytes as the filter would read them.
 *
 * Checked:
 *   - the exit status is 0 or 1, no enumeration of the header is loaded
 *     with a value outside it, and memory stays bounded (the sanitizers
 *     and the fuzzer's limits see every allocation);
 *   - the stream written is well formed: command lines, and after each
 *     LINE exactly its byte count of data, equal to the page's RASTER
 *     width times depth; depth is 1 or 3; LINEs come only inside a page;
 *   - a job that succeeded ends with ENDDOCUMENT after as many ENDPAGE as
 *     RASTER commands; a failed one never writes ENDDOCUMENT.
 */
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz_support.h"
#include "raster_filter.h"

/*
 * 'checkStream()' - The invariants of the written stream.
 */
static void checkStream(const std::string &s, int status)
{
  size_t pos = 0;
  unsigned long rowBytes = 0;
  int inPage = 0;
  int rasters = 0, endPages = 0, endDocs = 0;
  while (pos < s.size())
  {
    size_t nl = s.find('\n', pos);
    FUZZ_CHECK_MSG(nl != std::string::npos, "command line without its new line");
    std::string line = s.substr(pos, nl - pos);
    FUZZ_CHECK(line.size() <= 1023);
    FUZZ_CHECK_MSG(endDocs == 0, "command after ENDDOCUMENT");
    pos = nl + 1;
    if (line.rfind("RASTER ", 0) == 0)
    {
      unsigned long w = 0, h = 0, d = 0;
      FUZZ_CHECK(sscanf(line.c_str() + 7, "%lu %lu %lu", &w, &h, &d) == 3);
      FUZZ_CHECK(w > 0 && h > 0 && (d == 1 || d == 3));
      FUZZ_CHECK(w * d <= FILTER_MAX_ROW_BYTES);
      rowBytes = w * d;
      inPage = 1;
      rasters++;
    }
    else if (line.rfind("LINE ", 0) == 0)
    {
      FUZZ_CHECK_MSG(inPage, "LINE outside a page");
      FUZZ_CHECK(strtoul(line.c_str() + 5, NULL, 10) == rowBytes);
      FUZZ_CHECK_MSG(pos + rowBytes <= s.size(), "LINE data cut short");
      pos += rowBytes;
    }
    else if (line == "ENDPAGE")
    {
      FUZZ_CHECK(inPage);
      inPage = 0;
      endPages++;
    }
    else if (line == "ENDDOCUMENT")
      endDocs++;
    else
      FUZZ_CHECK_MSG(line == "PRINTERMODEL" || line.rfind("DOCUMENT", 0) == 0 ||
                       line.rfind("COLORDEVICE ", 0) == 0 || line.rfind("PAGENAME ", 0) == 0 ||
                       line.rfind("PAGE 0 0 ", 0) == 0,
                     line.c_str());
  }
  if (status == 0)
  {
    FUZZ_CHECK(endDocs == 1 && rasters == endPages && rasters > 0);
  }
  else
    FUZZ_CHECK(endDocs == 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  static FILE *devNull = fopen("/dev/null", "w");
  static int outFd = memfd_create("fuzz_raster_filter", 0);
  static StreamOut out;
  if (!devNull || outFd < 0)
    abort();

  FuzzInput in(data, size);
  uint8_t options = in.u8();

  FUZZ_CHECK(ftruncate(outFd, 0) == 0);
  FUZZ_CHECK(lseek(outFd, 0, SEEK_SET) == 0);
  streamOutInit(&out, outFd);

  RasterInput input;
  memset(&input, 0, sizeof(input));
  input.fd = -1;
  input.data = in.data;
  input.size = in.size;
  FilterSettings settings;
  settings.title = "fuzz";
  settings.perPage = options & 1;
  settings.cancelled = NULL;
  settings.log = devNull;
  /* Small pages only: a header may claim a page of any size, and writing
     hundreds of megabytes per input would leave no time for fuzzing. */
  settings.maxPageBytes = 1u << 20;

  cups_raster_t *ras = cupsRasterOpenIO(rasterInputRead, &input, CUPS_RASTER_READ);
  if (!ras)
    return 0;
  int status = rasterToStream(ras, &input, &out, &settings);
  cupsRasterClose(ras);
  FUZZ_CHECK(status == 0 || status == 1);
  FUZZ_CHECK(!out.failed);

  std::string written((size_t)out.written, '\0');
  FUZZ_CHECK(pread(outFd, &written[0], written.size(), 0) == (ssize_t)written.size());
  checkStream(written, status);
  return 0;
}
