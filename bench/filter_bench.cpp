/*
 * filter_bench.cpp - the filter's CPU time against reading the same CUPS
 * raster file with cupsRasterReadPixels alone.
 *
 *   bench_filter --filter PATH --reader PATH [--repeat N]
 *
 * For A4 pages at 300 dpi (RGB text-like and photo-like, gray text-like)
 * it writes raster files of one and of ten pages with libcups's raster
 * writer, then runs the filter (its stream to /dev/null) and the reader on
 * each, alternating, N times (default 5), and takes the minima of the CPU
 * times (user + system, from wait4).  Per page = (ten pages - one page) / 9,
 * so that starting the programs counts on neither side.  Target: the
 * filter's CPU per page at most 1.3 x the reader's.
 */
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <cups/raster.h>

#include "page_gen.h"

/* Writes pages pages of spec (each its own content) as a CUPS raster file. */
static bool writeRasterFile(const std::string &path, const PageSpec &spec, int pages)
{
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0)
    return false;
  cups_raster_t *ras = cupsRasterOpen(fd, CUPS_RASTER_WRITE_COMPRESSED);
  bool ok = ras != nullptr;
  for (int p = 0; ok && p < pages; p++)
  {
    cups_page_header2_t h;
    memset(&h, 0, sizeof h);
    h.HWResolution[0] = h.HWResolution[1] = spec.dpi;
    h.PageSize[0] = 595;
    h.PageSize[1] = 842;
    h.ImagingBoundingBox[2] = 595;
    h.ImagingBoundingBox[3] = 842;
    h.cupsPageSize[0] = 595;
    h.cupsPageSize[1] = 842;
    h.cupsWidth = spec.width;
    h.cupsHeight = spec.height;
    h.cupsBitsPerColor = 8;
    h.cupsBitsPerPixel = 8 * spec.depth;
    h.cupsBytesPerLine = spec.width * spec.depth;
    h.cupsColorOrder = CUPS_ORDER_CHUNKED;
    h.cupsColorSpace = spec.depth == 3 ? CUPS_CSPACE_RGB : CUPS_CSPACE_SW;
    h.cupsNumColors = spec.depth;
    h.NumCopies = 1;
    std::vector<unsigned char> page = makePage(spec, (uint32_t)p);
    ok = cupsRasterWriteHeader2(ras, &h) &&
         cupsRasterWritePixels(ras, page.data(), (unsigned)page.size()) == page.size();
  }
  if (ras)
    cupsRasterClose(ras);
  return close(fd) == 0 && ok;
}

/* Runs argv with standard output and error to /dev/null; CPU seconds, or
   -1 when it did not end with status 0. */
static double runCpu(const std::vector<std::string> &args)
{
  pid_t pid = fork();
  if (pid == 0)
  {
    int nul = open("/dev/null", O_RDWR);
    dup2(nul, 0);
    dup2(nul, 1);
    dup2(nul, 2);
    std::vector<char *> argv;
    for (const std::string &a : args)
      argv.push_back((char *)a.c_str());
    argv.push_back(nullptr);
    const char *envp[] = {"LANG=C", "DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page", nullptr};
    execve(argv[0], argv.data(), (char *const *)envp);
    _exit(127);
  }
  int status = 0;
  struct rusage ru;
  if (pid < 0 || wait4(pid, &status, 0, &ru) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    return -1;
  return ru.ru_utime.tv_sec + ru.ru_utime.tv_usec / 1e6 + ru.ru_stime.tv_sec + ru.ru_stime.tv_usec / 1e6;
}

int main(int argc, char **argv)
{
  std::string filter, reader;
  int repeat = 5;
  for (int i = 1; i < argc; i++)
  {
    if (!strcmp(argv[i], "--filter") && i + 1 < argc)
      filter = argv[++i];
    else if (!strcmp(argv[i], "--reader") && i + 1 < argc)
      reader = argv[++i];
    else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
      repeat = atoi(argv[++i]);
    else
      repeat = 0, i = argc;
  }
  if (filter.empty() || reader.empty() || repeat < 1)
  {
    fprintf(stderr, "usage: bench_filter --filter PATH --reader PATH [--repeat N]\n");
    return 2;
  }
  char dirTemplate[] = "/tmp/corvane-filter-bench-XXXXXX";
  if (!mkdtemp(dirTemplate))
    return 1;
  std::string dir = dirTemplate;

  struct Case
  {
    const char *name;
    PageSpec spec;
  } cases[] = {{"A4 300dpi RGB text", {PAGE_TEXT, 2480, 3508, 3, 300}},
               {"A4 300dpi RGB photo", {PAGE_PHOTO, 2480, 3508, 3, 300}},
               {"A4 300dpi gray text", {PAGE_TEXT, 2480, 3508, 1, 300}}};
  printf("CPU in ms per page: (ten-page file - one-page file) / 9, minima of %d runs,\n"
         "filter and reader alternating.\n",
         repeat);
  printf("%-22s %10s %10s %6s %8s %s\n", "raster", "filter", "reader", "ratio", "target", "met");
  int failures = 0;
  for (const Case &c : cases)
  {
    std::string one = dir + "/one.ras", ten = dir + "/ten.ras";
    if (!writeRasterFile(one, c.spec, 1) || !writeRasterFile(ten, c.spec, 10))
    {
      fprintf(stderr, "bench: cannot write the raster files\n");
      return 1;
    }
    double best[4] = {1e9, 1e9, 1e9, 1e9}; /* filter 1, filter 10, reader 1, reader 10 */
    bool ok = true;
    for (int r = 0; r < repeat && ok; r++)
      for (int k = 0; k < 4 && ok; k++)
      {
        int which = r % 2 ? 3 - k : k;
        const std::string &file = which % 2 ? ten : one;
        double t = which < 2 ? runCpu({filter, "1", "bench", "bench", "1", "", file}) : runCpu({reader, file});
        ok = t >= 0;
        best[which] = std::min(best[which], t);
      }
    unlink(one.c_str());
    unlink(ten.c_str());
    if (!ok)
    {
      fprintf(stderr, "bench: a run on %s failed\n", c.name);
      failures++;
      continue;
    }
    double f = (best[1] - best[0]) / 9, rd = (best[3] - best[2]) / 9;
    printf("%-22s %8.1fms %8.1fms %6.2f %8s %s\n", c.name, f * 1000, rd * 1000, f / rd, "<= 1.30",
           f / rd <= 1.30 ? "met" : "NOT met");
    fflush(stdout);
  }
  rmdir(dir.c_str());
  return failures ? 1 : 0;
}
