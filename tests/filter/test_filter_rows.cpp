/*
 * test_filter_rows.cpp - where the filter builds its rows: straight in the
 * output buffer after their LINE command, or, for a row too large for the
 * buffer, in a row buffer of its own.  Rows that fill the buffer exactly,
 * rows one byte too large, padding that only just does not fit, placement
 * and inversion on either path, and failed writes on either path; the
 * writer's reserved room on its own.
 */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "filter_support.h"
#include "raster_filter.h"
#include "stream_out.h"

namespace {

/* What one in-process run of the filter gave. */
struct RowsRun
{
  int status = -1;
  std::string out;
  std::string log;
  unsigned long long written = 0;
};

/* The whole contents of the descriptor fd, read from its start. */
std::string readBack(int fd)
{
  std::string s;
  char buf[65536];
  if (lseek(fd, 0, SEEK_SET) != 0)
    return s;
  for (;;)
  {
    ssize_t n = read(fd, buf, sizeof(buf));
    if (n <= 0)
      break;
    s.append(buf, (size_t)n);
  }
  return s;
}

/* Runs the filter's raster-to-stream path on raster bytes, the stream into
   outFd (a temporary file when outFd is below 0). */
RowsRun runRows(const std::string &raster, int outFd = -1)
{
  static StreamOut out;
  RowsRun r;
  int fd = outFd;
  std::string path;
  if (fd < 0)
  {
    static int n = 0;
    path = tempPath("rows" + std::to_string(n++) + ".out");
    fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
      return r;
  }
  char *logText = nullptr;
  size_t logSize = 0;
  FILE *log = open_memstream(&logText, &logSize);
  RasterInput in;
  memset(&in, 0, sizeof(in));
  in.fd = -1;
  in.data = (const unsigned char *)raster.data();
  in.size = raster.size();
  FilterSettings s;
  s.title = "rows";
  s.perPage = 1;
  s.cancelled = nullptr;
  s.log = log;
  s.maxPageBytes = 0;
  streamOutInit(&out, fd);
  cups_raster_t *ras = cupsRasterOpenIO(rasterInputRead, &in, CUPS_RASTER_READ);
  r.status = rasterToStream(ras, &in, &out, &s);
  cupsRasterClose(ras);
  fclose(log);
  r.log = logText ? logText : "";
  free(logText);
  r.written = out.written;
  if (outFd < 0)
  {
    r.out = readBack(fd);
    close(fd);
    unlink(path.c_str());
  }
  return r;
}

/* The bytes of the LINE command for a row of n bytes. */
size_t lineCommandBytes(size_t n)
{
  return std::string("LINE " + std::to_string(n) + "\n").size();
}

/* The rows a page must arrive with: the raster's rows without their
   padding, inverted for K, placed at left,top on a white page of
   pageW x pageH pixels. */
std::vector<std::string> expectedRows(const TestPage &page, unsigned depth, bool invert, unsigned pageW,
                                      unsigned pageH, unsigned left, unsigned top)
{
  std::vector<std::string> rows(pageH, std::string((size_t)pageW * depth, '\xFF'));
  for (unsigned y = 0; y < page.header.cupsHeight; y++)
  {
    std::string line = page.rows[y].substr(0, (size_t)page.header.cupsWidth * depth);
    if (invert)
      for (char &b : line)
        b = (char)(0xFF - (unsigned char)b);
    rows[top + y].replace((size_t)left * depth, line.size(), line);
  }
  return rows;
}

/* Checks a one-page run against the page it was given. */
void expectOnePage(const RowsRun &r, const TestPage &page, unsigned depth, bool invert, unsigned pageW,
                   unsigned pageH, unsigned left, unsigned top)
{
  EXPECT_EQ(0, r.status) << r.log;
  EXPECT_EQ(std::string::npos, r.log.find("ERROR:")) << r.log;
  EXPECT_EQ(r.out.size(), r.written);
  ParsedStream s = parseStream(r.out);
  ASSERT_TRUE(s.ok);
  std::vector<std::string> c = commandsWithoutLines(s);
  ASSERT_EQ(8u, c.size());
  EXPECT_EQ("RASTER " + std::to_string(pageW) + " " + std::to_string(pageH) + " " + std::to_string(depth), c[5]);
  EXPECT_EQ("ENDPAGE", c[6]);
  EXPECT_EQ("ENDDOCUMENT", c[7]);
  ASSERT_EQ(1u, s.rows.size());
  std::vector<std::string> want = expectedRows(page, depth, invert, pageW, pageH, left, top);
  ASSERT_EQ(want.size(), s.rows[0].size());
  for (size_t y = 0; y < want.size(); y++)
    EXPECT_TRUE(want[y] == s.rows[0][y]) << "row " << y;
}

/* A gray page of width x height pixels at 600 dpi whose raster covers the
   page, with pad bytes of padding after each row's pixels. */
TestPage grayPage(unsigned width, unsigned height, unsigned pad, cups_cspace_t cs, int seed)
{
  cups_page_header2_t h = makeHeader(width, height, cs, 0, 0, 600);
  h.cupsBytesPerLine = width + pad;
  return patternPage(h, seed);
}

/* Rows whose LINE command and pixels together fill the buffer exactly:
   four to a buffer, the next row starting a new one. */
TEST(FilterRows, RowsThatFillTheBufferExactly)
{
  unsigned width = STREAM_OUT_BUFFER / 4 - 11;
  ASSERT_EQ(11u, lineCommandBytes(width));
  for (cups_mode_t mode : {CUPS_RASTER_WRITE, CUPS_RASTER_WRITE_PWG})
  {
    TestPage page = grayPage(width, 9, 0, CUPS_CSPACE_SW, 1);
    expectOnePage(runRows(rasterBytes({page}, mode)), page, 1, false, width, 9, 0, 0);
  }
}

/* The padding is read into the buffer too, so a row whose padding does
   not fit where its pixels would goes to the next buffer; the padding is
   never sent. */
TEST(FilterRows, PaddingThatOnlyJustDoesNotFit)
{
  unsigned width = STREAM_OUT_BUFFER / 4 - 11;
  TestPage page = grayPage(width, 9, 3, CUPS_CSPACE_K, 2);
  expectOnePage(runRows(rasterBytes({page}, CUPS_RASTER_WRITE)), page, 1, true, width, 9, 0, 0);
}

/* The largest row built in the buffer, and rows one byte larger (by their
   pixels or by their padding alone), which take the row buffer. */
TEST(FilterRows, LargestRowInTheBufferAndOneByteMore)
{
  unsigned largest = STREAM_OUT_BUFFER - 11;
  ASSERT_EQ(11u, lineCommandBytes(largest));
  struct Case
  {
    unsigned width, pad;
  } cases[] = {{largest, 0}, {largest + 1, 0}, {largest, 1}, {largest - 60, 64}};
  for (const Case &k : cases)
  {
    for (cups_cspace_t cs : {CUPS_CSPACE_W, CUPS_CSPACE_K})
    {
      TestPage page = grayPage(k.width, 6, k.pad, cs, 3);
      RowsRun r = runRows(rasterBytes({page}, CUPS_RASTER_WRITE));
      SCOPED_TRACE(std::to_string(k.width) + " + " + std::to_string(k.pad));
      expectOnePage(r, page, 1, cs == CUPS_CSPACE_K, k.width, 6, 0, 0);
    }
  }
}

/* Several pages of large RGB rows, each its own content, in order. */
TEST(FilterRows, LargeRowsOverSeveralPages)
{
  cups_page_header2_t h = makeHeader(30000, 6, CUPS_CSPACE_SRGB, 0, 0, 600);
  std::vector<TestPage> pages = {patternPage(h, 0), patternPage(h, 1), patternPage(h, 2)};
  RowsRun r = runRows(rasterBytes(pages, CUPS_RASTER_WRITE_COMPRESSED));
  EXPECT_EQ(0, r.status);
  ParsedStream s = parseStream(r.out);
  ASSERT_TRUE(s.ok);
  ASSERT_EQ(3u, s.rows.size());
  for (size_t p = 0; p < 3; p++)
    EXPECT_TRUE(pages[p].rows == s.rows[p]) << "page " << p;
}

/* A raster of the imaging box only, placed on a white page, on the row
   buffer's path: the left margin, the lines above and below and the right
   margin white, the K raster inverted. */
TEST(FilterRows, PlacementOnALargeRowPage)
{
  /* At 720 dpi a point is ten pixels. */
  cups_page_header2_t h = makeHeader(70000, 4, CUPS_CSPACE_K, 7010, 2, 720);
  h.ImagingBoundingBox[0] = 5;
  h.ImagingBoundingBox[1] = 0;
  h.ImagingBoundingBox[2] = 7005;
  h.ImagingBoundingBox[3] = 1;
  h.cupsBytesPerLine = 70000 + 7;
  TestPage page = patternPage(h, 4);
  RowsRun r = runRows(rasterBytes({page}, CUPS_RASTER_WRITE));
  expectOnePage(r, page, 1, true, 70100, 20, 50, 10);
  EXPECT_NE(std::string::npos, r.log.find("DEBUG: Page 1: raster of 70000x4 pixels placed at 50,10 on a white page of 70100x20.\n"));
}

/* The same placement with rows that fit the buffer, padding included. */
TEST(FilterRows, PlacementWithPaddingInTheBuffer)
{
  cups_page_header2_t h = makeHeader(700, 4, CUPS_CSPACE_SRGB, 80, 2, 720);
  h.ImagingBoundingBox[0] = 5;
  h.ImagingBoundingBox[3] = 1;
  h.cupsBytesPerLine = 700 * 3 + 9;
  TestPage page = patternPage(h, 6);
  expectOnePage(runRows(rasterBytes({page}, CUPS_RASTER_WRITE)), page, 3, false, 800, 20, 50, 10);
}

/* A page cut short sends only the rows that arrived whole, on both paths. */
TEST(FilterRows, PageEndingEarlySendsWholeRowsOnly)
{
  for (unsigned width : {1000u, 70000u})
  {
    TestPage page = grayPage(width, 8, 0, CUPS_CSPACE_SW, 7);
    std::string bytes = rasterBytes({page}, CUPS_RASTER_WRITE);
    bytes.resize(bytes.size() - 5 * width - width / 2);
    RowsRun r = runRows(bytes);
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.log.find("ERROR: Page 1 ends early: 2 of its 8 rows arrived.\n")) << r.log;
    ParsedStream s = parseStream(r.out);
    ASSERT_TRUE(s.ok) << width;
    ASSERT_EQ(1u, s.rows.size());
    ASSERT_EQ(2u, s.rows[0].size()) << width;
    EXPECT_TRUE(page.rows[0] == s.rows[0][0]);
    EXPECT_TRUE(page.rows[1] == s.rows[0][1]);
    EXPECT_EQ("RASTER " + std::to_string(width) + " 8 1", commandsWithoutLines(s).back());
  }
}

/* A write that fails (the reader gone) is one ERROR line and status 1 on
   both paths. */
TEST(FilterRows, FailedWriteOnEitherPath)
{
  signal(SIGPIPE, SIG_IGN);
  for (unsigned width : {1000u, 70000u})
  {
    int p[2];
    ASSERT_EQ(0, pipe(p));
    close(p[0]);
    TestPage page = grayPage(width, 200, 0, CUPS_CSPACE_SW, 8);
    RowsRun r = runRows(rasterBytes({page}, CUPS_RASTER_WRITE), p[1]);
    close(p[1]);
    EXPECT_EQ(1, r.status) << width;
    EXPECT_EQ(0u, r.written);
    EXPECT_NE(std::string::npos, r.log.find("ERROR: Unable to send the print data to the backend: Broken pipe\n")) << r.log;
    EXPECT_EQ(std::string::npos, r.log.find("PAGE: ")) << r.log;
  }
}

/* The writer's reserved room: flushed first when short, refused when
   larger than the buffer or after a failure, counted only when committed. */
TEST(FilterRows, ReservedRoomOfTheWriter)
{
  static StreamOut out;
  std::string path = tempPath("reserve.out");
  int fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0600);
  ASSERT_GE(fd, 0);
  streamOutInit(&out, fd);
  EXPECT_EQ(nullptr, streamOutReserve(&out, STREAM_OUT_BUFFER + 1));
  ASSERT_TRUE(streamOutWrite(&out, "abc", 3));
  unsigned char *room = streamOutReserve(&out, STREAM_OUT_BUFFER - 3);
  ASSERT_EQ(out.buf + 3, room);
  memset(room, 'x', STREAM_OUT_BUFFER - 3);
  streamOutCommit(&out, 10);
  EXPECT_EQ(0u, out.written);
  /* Thirteen bytes buffered: the whole buffer no longer fits after them. */
  room = streamOutReserve(&out, STREAM_OUT_BUFFER);
  ASSERT_EQ(out.buf, room);
  EXPECT_EQ(13u, out.written);
  memcpy(room, "yz", 2);
  streamOutCommit(&out, 2);
  ASSERT_TRUE(streamOutFlush(&out));
  EXPECT_EQ("abcxxxxxxxxxxyz", readBack(fd));
  close(fd);

  int p[2];
  ASSERT_EQ(0, pipe(p));
  close(p[0]);
  signal(SIGPIPE, SIG_IGN);
  streamOutInit(&out, p[1]);
  ASSERT_TRUE(streamOutWrite(&out, "abc", 3));
  EXPECT_EQ(nullptr, streamOutReserve(&out, STREAM_OUT_BUFFER));
  EXPECT_TRUE(out.failed);
  EXPECT_EQ(EPIPE, out.error);
  EXPECT_EQ(nullptr, streamOutReserve(&out, 1));
  close(p[1]);
  unlink(path.c_str());
}

} // namespace
