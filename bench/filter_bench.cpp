/*
 * filter_bench.cpp - the CPU cost of rastertocorvane per page against the
 * cost of only reading the same raster with libcups.
 *
 *   bench_filter [--pages N] [--repeat R]
 *
 * For A4 at 300 dpi in 8-bit RGB and in 8-bit gray it writes a raster of N
 * pages (uncompressed version 3, as ghostscript's raster device writes
 * them, and compressed PWG raster) into memory, then measures, R times and
 * interleaved so that a change in the machine's load falls on both alike:
 *
 *   baseline  cupsRasterReadHeader2 and cupsRasterReadPixels of every row
 *             into one line buffer, nothing else;
 *   filter    the filter's whole raster-to-stream path over the same bytes
 *             (the same reads, the LINE commands, the rows written to
 *             /dev/null through the filter's writer).
 *
 * It prints the median CPU time per page of each, their ratio and whether
 * it meets the target: the filter at most 1.3 x the reading alone.
 */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <cups/raster.h>

#include "raster_filter.h"

namespace {

/* The process's CPU time in seconds. */
double cpuSeconds()
{
  struct timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return (double)ts.tv_sec + (double)ts.tv_nsec / 1e9;
}

/* libcups's write callback into a std::string. */
ssize_t appendBytes(void *ctx, unsigned char *buffer, size_t length)
{
  ((std::string *)ctx)->append((const char *)buffer, length);
  return (ssize_t)length;
}

/* A raster of pages A4 pages at 300 dpi: text-like bands of dark strokes on
   white and a colour block, different on every page. */
std::string makeRaster(int pages, bool colour, cups_mode_t mode)
{
  cups_page_header2_t h;
  memset(&h, 0, sizeof(h));
  unsigned channels = colour ? 3 : 1;
  h.cupsWidth = 2480;
  h.cupsHeight = 3508;
  h.cupsColorSpace = colour ? CUPS_CSPACE_SRGB : CUPS_CSPACE_SW;
  h.cupsColorOrder = CUPS_ORDER_CHUNKED;
  h.cupsBitsPerColor = 8;
  h.cupsBitsPerPixel = 8 * channels;
  h.cupsBytesPerLine = h.cupsWidth * channels;
  h.cupsNumColors = channels;
  h.PageSize[0] = 595;
  h.PageSize[1] = 842;
  h.ImagingBoundingBox[2] = 595;
  h.ImagingBoundingBox[3] = 842;
  h.HWResolution[0] = h.HWResolution[1] = 300;
  h.NumCopies = 1;
  strcpy(h.cupsPageSizeName, "A4");
  strcpy(h.MediaClass, "PwgRaster");

  std::string bytes;
  cups_raster_t *r = cupsRasterOpenIO(appendBytes, &bytes, mode);
  std::vector<unsigned char> row(h.cupsBytesPerLine);
  for (int p = 0; p < pages; p++)
  {
    cupsRasterWriteHeader2(r, &h);
    for (unsigned y = 0; y < h.cupsHeight; y++)
    {
      std::fill(row.begin(), row.end(), 0xFF);
      bool textLine = (y / 50) % 2 == 0 && y > 200 && y < 3300;
      for (unsigned x = 200; textLine && x < 2280; x++)
        if (((x * 7 + y * 3 + (unsigned)p * 13) % 23) < 5)
          for (unsigned c = 0; c < channels; c++)
            row[x * channels + c] = 0x20;
      if (y > 2800 && y < 3200)
        for (unsigned x = 400 + (unsigned)p * 50; x < 1400 + (unsigned)p * 50; x++)
          for (unsigned c = 0; c < channels; c++)
            row[x * channels + c] = (unsigned char)(c == 0 ? 0xE0 : 0x30 + c * 40);
      cupsRasterWritePixels(r, row.data(), (unsigned)row.size());
    }
  }
  cupsRasterClose(r);
  return bytes;
}

/* Reads every page and row of the raster and does nothing with them. */
double readOnly(const std::string &bytes, int *pagesRead)
{
  RasterInput in;
  memset(&in, 0, sizeof(in));
  in.fd = -1;
  in.data = (const unsigned char *)bytes.data();
  in.size = bytes.size();
  double start = cpuSeconds();
  cups_raster_t *ras = cupsRasterOpenIO(rasterInputRead, &in, CUPS_RASTER_READ);
  cups_page_header2_t h;
  std::vector<unsigned char> row;
  int pages = 0;
  while (cupsRasterReadHeader2(ras, &h))
  {
    row.resize(h.cupsBytesPerLine);
    for (unsigned y = 0; y < h.cupsHeight; y++)
      cupsRasterReadPixels(ras, row.data(), h.cupsBytesPerLine);
    pages++;
  }
  cupsRasterClose(ras);
  *pagesRead = pages;
  return cpuSeconds() - start;
}

/* The filter's whole path over the raster, its stream to /dev/null. */
double filterRun(const std::string &bytes, int devNull, FILE *log, int *status)
{
  static StreamOut out;
  RasterInput in;
  memset(&in, 0, sizeof(in));
  in.fd = -1;
  in.data = (const unsigned char *)bytes.data();
  in.size = bytes.size();
  FilterSettings s;
  s.title = "bench";
  s.perPage = 1;
  s.cancelled = NULL;
  s.log = log;
  s.maxPageBytes = 0;
  double start = cpuSeconds();
  streamOutInit(&out, devNull);
  cups_raster_t *ras = cupsRasterOpenIO(rasterInputRead, &in, CUPS_RASTER_READ);
  *status = rasterToStream(ras, &in, &out, &s);
  cupsRasterClose(ras);
  return cpuSeconds() - start;
}

double median(std::vector<double> v)
{
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
  int pages = 5, repeat = 7;
  for (int i = 1; i < argc; i++)
  {
    if (!strcmp(argv[i], "--pages") && i + 1 < argc)
      pages = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
      repeat = atoi(argv[++i]);
    else
    {
      fprintf(stderr, "usage: bench_filter [--pages N] [--repeat R]\n");
      return 2;
    }
  }
  if (pages < 1 || repeat < 1)
    return 2;
  int devNull = open("/dev/null", O_WRONLY);
  FILE *log = fopen("/dev/null", "w");
  if (devNull < 0 || !log)
    return 1;

  printf("A4 at 300 dpi, %d pages per run, median of %d runs, CPU time per page\n", pages, repeat);
  printf("%-28s %12s %12s %8s %8s %s\n", "raster", "read (ms)", "filter (ms)", "ratio", "target", "met");
  struct Case
  {
    const char *name;
    bool colour;
    cups_mode_t mode;
  } cases[] = {{"RGB, uncompressed v3", true, CUPS_RASTER_WRITE},
               {"RGB, PWG (compressed)", true, CUPS_RASTER_WRITE_PWG},
               {"gray, uncompressed v3", false, CUPS_RASTER_WRITE},
               {"gray, PWG (compressed)", false, CUPS_RASTER_WRITE_PWG}};
  int failed = 0;
  for (const Case &c : cases)
  {
    std::string bytes = makeRaster(pages, c.colour, c.mode);
    std::vector<double> base, filt;
    for (int r = 0; r < repeat; r++)
    {
      int n = 0, status = 0;
      base.push_back(readOnly(bytes, &n));
      filt.push_back(filterRun(bytes, devNull, log, &status));
      if (n != pages || status != 0)
        failed = 1;
    }
    double b = median(base) / pages * 1000, f = median(filt) / pages * 1000;
    printf("%-28s %12.2f %12.2f %8.2f %8s %s\n", c.name, b, f, f / b, "<= 1.30",
           f / b <= 1.30 ? "met" : "NOT met");
  }
  if (failed)
    fprintf(stderr, "bench_filter: a run did not read or send every page\n");
  return failed;
}
