/*
 * test_filter_hostile.cpp - rastertocorvane on inputs it must refuse
 * (bogus, truncated, unsupported, absurd), on a job cancelled mid-page and
 * on a closed output: always one clear line and a defined exit status.
 */
#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include "child_process.h"
#include "fd_io.h"
#include "filter_support.h"

namespace {

/* A version 3 raster built by hand, so that headers libcups's writer would
   refuse can be tried: sync word, header, then the raw bytes. */
std::string rawRaster(const cups_page_header2_t &h, const std::string &data)
{
  std::string bytes = "3SaR";
  bytes.append((const char *)&h, sizeof(h));
  return bytes + data;
}

/* The one ERROR: line of a run (empty when there is not exactly one). */
std::string onlyError(const FilterRun &r)
{
  std::vector<std::string> e = linesStarting(r.errLines, "ERROR:");
  return e.size() == 1 ? e[0] : std::string("(") + std::to_string(e.size()) + " ERROR lines)";
}

TEST(FilterHostile, EmptyInputAndSyncWordAloneHaveNoPages)
{
  for (const std::string &in : {std::string(), std::string("3SaR"), std::string("RaS2"), rasterBytes({}, CUPS_RASTER_WRITE_PWG)})
  {
    FilterRun r = runFilter(in);
    EXPECT_EQ(1, r.status) << in.size();
    EXPECT_EQ("ERROR: No pages found.", onlyError(r));
    EXPECT_EQ("", r.out);
  }
}

TEST(FilterHostile, NotARaster)
{
  FilterRun r = runFilter("%PDF-1.4\nthis is not a raster\n");
  EXPECT_EQ(1, r.status);
  EXPECT_EQ("ERROR: The input is not CUPS raster data.", onlyError(r));
  EXPECT_EQ("", r.out);
}

TEST(FilterHostile, TruncatedFirstHeader)
{
  std::string bytes = rasterBytes({patternPage(makeHeader(5, 3, CUPS_CSPACE_SRGB), 0)}, CUPS_RASTER_WRITE);
  for (size_t cut : {5u, 100u, 1000u, 1799u})
  {
    FilterRun r = runFilter(bytes.substr(0, cut));
    EXPECT_EQ(1, r.status) << cut;
    EXPECT_EQ("ERROR: The raster header of page 1 is truncated or invalid.", onlyError(r)) << cut;
    EXPECT_EQ("", r.out) << cut;
  }
}

TEST(FilterHostile, TruncatedSecondHeaderEndsAfterTheFirstPage)
{
  cups_page_header2_t h = makeHeader(5, 3, CUPS_CSPACE_SRGB);
  std::string bytes = rasterBytes({patternPage(h, 0), patternPage(h, 1)}, CUPS_RASTER_WRITE);
  size_t firstPage = 4 + sizeof(cups_page_header2_t) + 3 * 15;
  FilterRun r = runFilter(bytes.substr(0, firstPage + 200));
  EXPECT_EQ(1, r.status);
  EXPECT_EQ("ERROR: The raster header of page 2 is truncated or invalid.", onlyError(r));
  EXPECT_EQ(std::vector<std::string>{"PAGE: 1 1"}, linesStarting(r.errLines, "PAGE:"));
  std::vector<std::string> c = commandsWithoutLines(parseStream(r.out));
  EXPECT_EQ("ENDPAGE", c.back());
}

TEST(FilterHostile, PageEndingEarly)
{
  cups_page_header2_t h = makeHeader(5, 11, CUPS_CSPACE_SRGB);
  std::string bytes = rasterBytes({patternPage(h, 0)}, CUPS_RASTER_WRITE);
  FilterRun r = runFilter(bytes.substr(0, 4 + sizeof(h) + 5 * 15 + 7));
  EXPECT_EQ(1, r.status);
  EXPECT_EQ("ERROR: Page 1 ends early: 5 of its 11 rows arrived.", onlyError(r));
  ParsedStream s = parseStream(r.out);
  std::vector<std::string> c = commandsWithoutLines(s);
  EXPECT_EQ("RASTER 5 11 3", c.back());
  ASSERT_EQ(1u, s.rows.size());
  EXPECT_EQ(5u, s.rows[0].size());
  EXPECT_TRUE(linesStarting(r.errLines, "PAGE:").empty());

  /* The same in a compressed raster. */
  std::string packed = rasterBytes({patternPage(h, 0)}, CUPS_RASTER_WRITE_COMPRESSED);
  FilterRun rc = runFilter(packed.substr(0, packed.size() - 10));
  EXPECT_EQ(1, rc.status);
  EXPECT_EQ(0u, onlyError(rc).find("ERROR: Page 1 ends early: "));
}

TEST(FilterHostile, UnsupportedRastersNameWhatArrivedAndTheChoiceThatWorks)
{
  struct Case
  {
    cups_page_header2_t h;
    const char *want;
  };
  std::vector<Case> cases;
  cups_page_header2_t cmyk = makeHeader(4, 2, CUPS_CSPACE_CMYK);
  cases.push_back({cmyk, "ERROR: Page 1 is 8-bit CMYK raster in chunky order, which this printer cannot take: it needs 8-bit chunky RGB or gray; choose ColorModel RGB or Gray in the printer's options."});
  cups_page_header2_t deep = makeHeader(4, 2, CUPS_CSPACE_SRGB);
  deep.cupsBitsPerColor = 16;
  deep.cupsBitsPerPixel = 48;
  deep.cupsBytesPerLine = 24;
  cases.push_back({deep, "ERROR: Page 1 is 16-bit sRGB raster in chunky order, which this printer cannot take: it needs 8-bit chunky RGB or gray; choose ColorModel RGB or Gray in the printer's options."});
  cups_page_header2_t mono = makeHeader(16, 2, CUPS_CSPACE_K);
  mono.cupsBitsPerColor = 1;
  mono.cupsBitsPerPixel = 1;
  mono.cupsBytesPerLine = 2;
  cases.push_back({mono, "ERROR: Page 1 is 1-bit K raster in chunky order, which this printer cannot take: it needs 8-bit chunky RGB or gray; choose ColorModel RGB or Gray in the printer's options."});
  cups_page_header2_t banded = makeHeader(4, 2, CUPS_CSPACE_RGB);
  banded.cupsColorOrder = CUPS_ORDER_BANDED;
  banded.cupsBitsPerPixel = 8;
  cases.push_back({banded, "ERROR: Page 1 is 8-bit RGB raster in banded order, which this printer cannot take: it needs 8-bit chunky RGB or gray; choose ColorModel RGB or Gray in the printer's options."});
  cups_page_header2_t rgba = makeHeader(4, 2, CUPS_CSPACE_RGBA);
  rgba.cupsBitsPerPixel = 32;
  rgba.cupsBytesPerLine = 16;
  cases.push_back({rgba, "ERROR: Page 1 is 8-bit RGBA raster in chunky order, which this printer cannot take: it needs 8-bit chunky RGB or gray; choose ColorModel RGB or Gray in the printer's options."});
  for (const Case &c : cases)
  {
    std::string data((size_t)c.h.cupsBytesPerLine * c.h.cupsHeight, '\x11');
    FilterRun r = runFilter(rawRaster(c.h, data));
    EXPECT_EQ(1, r.status) << c.want;
    EXPECT_EQ(c.want, onlyError(r));
    EXPECT_EQ("", r.out);
  }
}

TEST(FilterHostile, ImpossibleGeometryIsRefusedWithoutAllocatingIt)
{
  struct Case
  {
    cups_page_header2_t h;
    const char *want;
  };
  std::vector<Case> cases;
  cups_page_header2_t huge = makeHeader(60000, 60000, CUPS_CSPACE_SRGB, 4500, 4500, 600);
  cases.push_back({huge, "ERROR: Page 1 is too large (60000 x 60000 pixels); choose a lower Resolution or a smaller PageSize."});
  cups_page_header2_t wide = makeHeader(700000, 1, CUPS_CSPACE_SRGB, 5250, 1, 9600);
  cases.push_back({wide, "ERROR: Page 1 is too large (700000 x 133 pixels); choose a lower Resolution or a smaller PageSize."});
  /* A small raster on a page whose whole size is too large. */
  cups_page_header2_t bigPage = makeHeader(10, 10, CUPS_CSPACE_SRGB, 14400, 14400, 600);
  cases.push_back({bigPage, "ERROR: Page 1 is too large (120000 x 120000 pixels); choose a lower Resolution or a smaller PageSize."});
  cups_page_header2_t noPaper = makeHeader(4, 2, CUPS_CSPACE_SRGB, 1, 842);
  noPaper.PageSize[0] = 0;
  cases.push_back({noPaper, "ERROR: Page 1 has an impossible page size (0 x 842 points)."});
  cups_page_header2_t bigPaper = makeHeader(4, 2, CUPS_CSPACE_SRGB, 595, 4000000000u);
  cases.push_back({bigPaper, "ERROR: Page 1 has an impossible page size (595 x 4000000000 points)."});
  cups_page_header2_t noRes = makeHeader(4, 2, CUPS_CSPACE_SW, 595, 842, 0);
  cases.push_back({noRes, "ERROR: Page 1 has an impossible resolution (0 x 0 dpi)."});
  cups_page_header2_t hugeRes = makeHeader(4, 2, CUPS_CSPACE_SW, 595, 842, 100000);
  cases.push_back({hugeRes, "ERROR: Page 1 has an impossible resolution (100000 x 100000 dpi)."});
  for (const Case &c : cases)
  {
    FilterRun r = runFilter(rawRaster(c.h, std::string(64, '\0')));
    EXPECT_TRUE(r.exited) << c.want;
    EXPECT_EQ(1, r.status) << c.want;
    EXPECT_EQ(c.want, onlyError(r));
    EXPECT_EQ("", r.out);
  }
}

TEST(FilterHostile, HeadersLibcupsRefusesAreReportedAsInvalid)
{
  cups_page_header2_t zeroWidth = makeHeader(0, 2, CUPS_CSPACE_SRGB);
  cups_page_header2_t zeroHeight = makeHeader(4, 0, CUPS_CSPACE_SRGB);
  cups_page_header2_t badLine = makeHeader(4, 2, CUPS_CSPACE_SRGB);
  badLine.cupsBytesPerLine = 13;
  cups_page_header2_t noBits = makeHeader(4, 2, CUPS_CSPACE_SRGB);
  noBits.cupsBitsPerPixel = 0;
  for (const cups_page_header2_t &h : {zeroWidth, zeroHeight, badLine, noBits})
  {
    FilterRun r = runFilter(rawRaster(h, std::string(64, '\0')));
    EXPECT_EQ(1, r.status);
    std::string e = onlyError(r);
    EXPECT_TRUE(e == "ERROR: The raster header of page 1 is truncated or invalid." ||
                e.rfind("ERROR: Page 1 has ", 0) == 0)
      << e;
    EXPECT_EQ("", r.out);
  }
}

TEST(FilterCommandLine, UsageAndMissingFile)
{
  ChildOptions o;
  o.argv = {CORVANE_BIN_DIR "/rastertocorvane", "1", "user"};
  o.env = environmentWithout({});
  o.stdinIsDevNull = true;
  ChildResult r = runChild(o);
  EXPECT_EQ(1, r.exitStatus);
  EXPECT_EQ("Usage: " CORVANE_BIN_DIR "/rastertocorvane job user title copies options [file]\n", r.err);

  o.argv = {CORVANE_BIN_DIR "/rastertocorvane", "1", "user", "t", "1", "", "/nonexistent/raster.ras"};
  r = runChild(o);
  EXPECT_EQ(1, r.exitStatus);
  EXPECT_EQ("ERROR: Unable to open raster file \"/nonexistent/raster.ras\": No such file or directory\n", r.err);
}

/* A child filter with pipes on its standard input, output and error. */
struct LiveFilter
{
  pid_t pid = -1;
  int in = -1, out = -1, err = -1;
};

LiveFilter startFilter(bool closeOutput)
{
  LiveFilter f;
  int pin[2], pout[2], perr[2];
  if (pipe(pin) || pipe(pout) || pipe(perr))
    return f;
  f.pid = fork();
  if (f.pid == 0)
  {
    dup2(pin[0], 0);
    dup2(pout[1], 1);
    dup2(perr[1], 2);
    for (int fd : {pin[0], pin[1], pout[0], pout[1], perr[0], perr[1]})
      close(fd);
    signal(SIGPIPE, SIG_DFL);
    execl(CORVANE_BIN_DIR "/rastertocorvane", "rastertocorvane", "9", "user", "title", "1", "", (char *)nullptr);
    _exit(127);
  }
  close(pin[0]);
  close(pout[1]);
  close(perr[1]);
  f.in = pin[1];
  f.out = pout[0];
  f.err = perr[0];
  if (closeOutput)
  {
    close(f.out);
    f.out = -1;
  }
  return f;
}

/* Reads fd until it ends (bounded by 60 seconds of quiet). */
std::string readAll(int fd)
{
  return readFor(fd, SIZE_MAX, 60000);
}

/* Reads fd until text has appeared (bounded); returns what was read. */
std::string readUntil(int fd, const std::string &text)
{
  std::string s;
  char c;
  while (s.find(text) == std::string::npos)
  {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, 60000) <= 0 || read(fd, &c, 1) != 1)
      break;
    s += c;
  }
  return s;
}

TEST(FilterSignals, CancelMidPageEndsWithoutEndPageAndStatusZero)
{
  signal(SIGPIPE, SIG_IGN);
  cups_page_header2_t h = makeHeader(100, 50, CUPS_CSPACE_SRGB);
  std::string bytes = rasterBytes({patternPage(h, 0), patternPage(h, 1)}, CUPS_RASTER_WRITE);
  size_t page = 4 + sizeof(h) + 50 * 300;
  LiveFilter f = startFilter(false);
  ASSERT_GT(f.pid, 0);
  /* The whole first page and 20 rows of the second. */
  ASSERT_TRUE(writeAll(f.in, bytes.substr(0, page + sizeof(h) + 20 * 300)));
  std::string err = readUntil(f.err, "INFO: Printing page 2 (");
  ASSERT_NE(std::string::npos, err.find("INFO: Printing page 2 (")) << err;
  kill(f.pid, SIGTERM);
  close(f.in); /* what the scheduler's cancel does to the filter before it */
  std::string out = readAll(f.out);
  err += readAll(f.err);
  int status = 0;
  waitpid(f.pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(0, WEXITSTATUS(status));
  ParsedStream s = parseStream(out);
  ASSERT_TRUE(s.ok);
  std::vector<std::string> c = commandsWithoutLines(s);
  EXPECT_EQ(1, std::count(c.begin(), c.end(), "ENDPAGE"));
  EXPECT_EQ(0, std::count(c.begin(), c.end(), "ENDDOCUMENT"));
  EXPECT_EQ("RASTER 100 50 3", c.back());
  ASSERT_EQ(2u, s.rows.size());
  EXPECT_LE(s.rows[1].size(), 20u);
  std::vector<std::string> lines = splitLines(err);
  EXPECT_EQ(std::vector<std::string>{"INFO: Job cancelled during page 2."}, linesStarting(lines, "INFO: Job cancelled"));
  EXPECT_EQ(std::vector<std::string>{"PAGE: 1 1"}, linesStarting(lines, "PAGE:"));
  EXPECT_TRUE(linesStarting(lines, "ERROR:").empty()) << err;
  close(f.out);
  close(f.err);
}

TEST(FilterSignals, ClosedOutputIsAnErrorNotADeathBySigpipe)
{
  signal(SIGPIPE, SIG_IGN);
  cups_page_header2_t h = makeHeader(100, 50, CUPS_CSPACE_SRGB);
  std::string bytes = rasterBytes({patternPage(h, 0)}, CUPS_RASTER_WRITE);
  LiveFilter f = startFilter(true);
  ASSERT_GT(f.pid, 0);
  writeAll(f.in, bytes);
  close(f.in);
  std::string err = readAll(f.err);
  int status = 0;
  waitpid(f.pid, &status, 0);
  ASSERT_TRUE(WIFEXITED(status)) << "signal " << (WIFSIGNALED(status) ? WTERMSIG(status) : 0);
  EXPECT_EQ(1, WEXITSTATUS(status));
  EXPECT_EQ(std::vector<std::string>{"ERROR: Unable to send the print data to the backend: Broken pipe"},
            linesStarting(splitLines(err), "ERROR:"));
  close(f.err);
}

} // namespace
