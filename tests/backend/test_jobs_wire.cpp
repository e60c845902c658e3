/*
 * test_jobs_wire.cpp - the wire layout of the page raster: rows stored as
 * the bitmap lines they become while they arrive, so that ENDPAGE only
 * compresses.  Every stream here runs twice, with the raster kept as rows
 * and in the wire layout, and the two runs must send the same bytes and
 * write the same log, byte for byte.
 */
#include <stdint.h>
#include <string.h>

#include <regex>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bitmap_send.h"
#include "page_raster.h"
#include "loop_run.h"
#include "test_rng.h"

namespace {

const char kPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";

/* The generator of a test, so that a failure names its seed; seeds are
   spread over the whole state. */
Rng generator(uint32_t seed)
{
  return Rng(seed * 2654435761u + 1u);
}

/* n bytes of row data; distinct values so that a byte out of place shows. */
std::string rowData(Rng *r, size_t n)
{
  std::string s(n, '\0');
  for (size_t i = 0; i < n; i++)
    s[i] = (char)(r->Below(4) == 0 ? 0xFF : r->Next() & 0xFF);
  return s;
}

/* The log with every raster address masked (a refused RASTER names the
   address of the raster that exists, which differs from run to run). */
std::string maskAddresses(const std::string &log)
{
  static const std::regex refused("(raster_data: 0x)[0-9A-F]+( width)");
  return std::regex_replace(maskRasterAddress(log), refused, "$1<ADDR>$2");
}

/* Runs stream both ways and compares records and log. */
void expectSameBothWays(const std::string &stream, int perPage, const std::string &what)
{
  LoopRun rows = runLoop(stream, "Office", nullptr, SIZE_MAX, perPage, 0);
  LoopRun wire = runLoop(stream, "Office", nullptr, SIZE_MAX, perPage, 1);
  EXPECT_EQ(wire.result, rows.result) << what;
  EXPECT_EQ(maskAddresses(wire.err), maskAddresses(rows.err)) << what;
  EXPECT_TRUE(wire.wire == rows.wire) << what << ": " << wire.wire.size() << " bytes against "
                                      << rows.wire.size();
}

/* A document of whole rows: RASTER w h d, then lines of exactly w x d bytes. */
std::string regularPage(Rng *r, uint32_t w, uint32_t h, uint32_t d, uint32_t lines)
{
  std::string s = kPage;
  s += "RASTER " + std::to_string(w) + " " + std::to_string(h) + " " + std::to_string(d) + "\n";
  for (uint32_t i = 0; i < lines; i++)
    s += lineCommand(rowData(r, (size_t)w * d));
  return s + "ENDPAGE\n";
}

const char kHead[] = "PRINTERMODEL Bench\nDOCUMENT x\n";
const char kTail[] = "ENDDOCUMENT\n";

/* Every row length from 1 to 26 bytes (each remainder modulo 3 and 4),
   depth 1 and 3, full pages, short pages and pages with more lines than
   rows. */
TEST(WireLayout, EveryRowLengthAndPageShape)
{
  for (uint32_t d : {1u, 3u})
    for (uint32_t w = 1; w * d <= 26; w++)
      for (uint32_t h : {1u, 7u})
        for (uint32_t lines : {0u, 1u, h, h + 3})
        {
          Rng r = generator(w * 1000 + h * 10 + lines + d);
          std::string stream = kHead + regularPage(&r, w, h, d, lines) + kTail;
          expectSameBothWays(stream, 0, "w " + std::to_string(w) + " h " + std::to_string(h) + " d " + std::to_string(d) + " lines " + std::to_string(lines));
        }
}

/* Pages after the first: by default they append to the raster (and are
   dropped once it is full); per page each has its own raster. */
TEST(WireLayout, LaterPagesBothModes)
{
  for (int perPage : {0, 1})
    for (uint32_t w : {4u, 5u, 6u, 7u})
      for (uint32_t first : {2u, 5u})
      {
        Rng r = generator(w * 31 + first + (uint32_t)perPage);
        std::string stream = kHead + regularPage(&r, w, 5, 3, first) + regularPage(&r, w, 5, 3, 5) +
                             regularPage(&r, w, 5, 3, 3) + kTail;
        expectSameBothWays(stream, perPage, "w " + std::to_string(w) + " first " + std::to_string(first) + " perPage " + std::to_string(perPage));
      }
}

/* A line of another length in the middle of a page turns the raster back
   into rows; short and long lines, LINE 0 and a line that overflows the
   raster. */
TEST(WireLayout, IrregularLinesTurnTheRasterBack)
{
  const uint32_t w = 7, d = 3, h = 6;
  const size_t row = (size_t)w * d;
  std::vector<size_t> odd = {0, 1, 2, row - 1, row + 1, row + 2, 2 * row, 5 * row + 4, 20 * row};
  for (size_t at = 0; at < h + 2; at++)
    for (size_t n : odd)
    {
      Rng r = generator((uint32_t)(at * 100 + n));
      std::string s = std::string(kHead) + kPage + "RASTER 7 6 3\n";
      for (size_t i = 0; i < h + 2; i++)
        s += lineCommand(rowData(&r, i == at ? n : row));
      s += "ENDPAGE\n" + regularPage(&r, w, h, d, 3) + kTail;
      for (int perPage : {0, 1})
        expectSameBothWays(s, perPage, "odd line " + std::to_string(n) + " at " + std::to_string(at));
    }
}

/* The first line of another length keeps the rows (bytesPerLine differs
   from the row); a later page of whole rows in per-page mode takes the
   wire layout again. */
TEST(WireLayout, FirstLineOfAnotherLength)
{
  Rng r = generator(7);
  std::string s = std::string(kHead) + kPage + "RASTER 5 4 3\n" + lineCommand(rowData(&r, 14)) +
                  lineCommand(rowData(&r, 15)) + lineCommand(rowData(&r, 15)) + "ENDPAGE\n" +
                  regularPage(&r, 5, 4, 3, 4) + kTail;
  expectSameBothWays(s, 0, "default");
  expectSameBothWays(s, 1, "per page");
}

/* The input ends inside a row, and inside a LINE command: what arrived
   counts, the rest is white. */
TEST(WireLayout, InputEndsInsideARow)
{
  for (uint32_t w : {4u, 5u, 6u})
  {
    Rng r = generator(w);
    std::string full = std::string(kHead) + kPage + "RASTER " + std::to_string(w) + " 4 3\n";
    for (int i = 0; i < 3; i++)
      full += lineCommand(rowData(&r, (size_t)w * 3));
    for (size_t cut = full.size() - 3 * w * 3 - 10; cut <= full.size(); cut++)
      expectSameBothWays(full.substr(0, cut), 0, "cut at " + std::to_string(cut));
  }
}

/* Random streams of whole rows with now and then a line of another length,
   a new RASTER, pages of other geometries, in both modes. */
TEST(WireLayout, RandomStreams)
{
  for (uint32_t seed = 1; seed <= 60; seed++)
  {
    Rng r = generator(seed);
    std::string s = kHead;
    uint32_t pages = 1 + r.Below(4);
    for (uint32_t p = 0; p < pages; p++)
    {
      uint32_t d = r.Below(2) ? 3 : 1;
      uint32_t w = 1 + r.Below(30), h = 1 + r.Below(12);
      s += kPage;
      s += "RASTER " + std::to_string(w) + " " + std::to_string(h) + " " + std::to_string(d) + "\n";
      uint32_t lines = r.Below(h + 4);
      for (uint32_t i = 0; i < lines; i++)
      {
        size_t n = (size_t)w * d;
        if (r.Below(12) == 0)
          n = r.Below((uint32_t)(3 * n + 5));
        s += lineCommand(rowData(&r, n));
      }
      s += "ENDPAGE\n";
    }
    s += kTail;
    for (int perPage : {0, 1})
      expectSameBothWays(s, perPage, "seed " + std::to_string(seed) + " perPage " + std::to_string(perPage));
  }
}

/* A page larger than one fragment: several fragments compressed straight
   from the raster, each of whole lines. */
TEST(WireLayout, PagesOfSeveralFragments)
{
  for (uint32_t w : {2550u, 2551u, 4961u})
  {
    Rng r = generator(w);
    std::string s = kHead + regularPage(&r, w, 700, w == 4961u ? 1 : 3, 700) +
                    regularPage(&r, w, 700, w == 4961u ? 1 : 3, 650) + kTail;
    expectSameBothWays(s, 1, "w " + std::to_string(w));
    expectSameBothWays(s, 0, "w " + std::to_string(w) + " default");
  }
}

/* raster_unwire() gives back the rows exactly as the row layout has them:
   the raster after a stream of whole rows, turned back, against the same
   stream run in rows. */
TEST(WireLayout, UnwireGivesTheRowsBack)
{
  for (uint32_t w : {3u, 4u, 5u, 8u, 10u, 11u})
    for (uint32_t lines : {1u, 3u, 6u})
    {
      Rng r = generator(w * 7 + lines);
      std::string s = std::string(kHead) + kPage + "RASTER " + std::to_string(w) + " 6 1\n";
      for (uint32_t i = 0; i < lines; i++)
        s += lineCommand(rowData(&r, w));
      print_job_s rowsJob, wireJob;
      runLoop(s, "Office", &rowsJob, SIZE_MAX, 0, 0);
      runLoop(s, "Office", &wireJob, SIZE_MAX, 0, 1);
      ASSERT_EQ(wireJob.raster.wire, 1) << w;
      raster_unwire(&wireJob.raster);
      raster_settle(&wireJob.raster);
      EXPECT_EQ(wireJob.raster.wire, 0);
      EXPECT_EQ(wireJob.raster.cursor - wireJob.raster.raster_data, (ptrdiff_t)(w * lines));
      EXPECT_EQ(std::string((char *)wireJob.raster.raster_data, wireJob.raster.size),
                std::string((char *)rowsJob.raster.raster_data, rowsJob.raster.size))
        << "w " << w << " lines " << lines;
      print_job_release(&rowsJob);
      print_job_release(&wireJob);
    }
}

/* Taking bytes where they lie hands out the bytes and positions of
   reading them, and takes nothing when they are not all buffered. */
TEST(WireLayout, TakeDirectAgreesWithRead)
{
  Rng r = generator(11);
  std::string data = rowData(&r, 3 * CUPS_FILE_AHEAD_SIZE + 123);
  FileReader reader(data);
  _cups_file_s *fp = reader.fp;
  ASSERT_NE(fp, nullptr);
  EXPECT_EQ(cups_file_take_direct(fp, 10), nullptr); /* nothing read yet */
  EXPECT_EQ(fp->pos, 0);
  size_t at = 0, direct = 0;
  std::vector<char> buf(9000);
  while (at < data.size())
  {
    size_t n = 1 + r.Below(8999);
    const unsigned char *p = cups_file_take_direct(fp, n);
    if (p)
    {
      direct++;
      ASSERT_EQ(std::string((const char *)p, n), data.substr(at, n)) << at;
      at += n;
    }
    else
    {
      int got = cupsFileRead(fp, buf.data(), n);
      ASSERT_GT(got, 0);
      ASSERT_EQ(std::string(buf.data(), (size_t)got), data.substr(at, (size_t)got)) << at;
      at += (size_t)got;
    }
    ASSERT_EQ(fp->pos, (int64_t)at);
  }
  EXPECT_GT(direct, 0u);
  EXPECT_EQ(cups_file_take_direct(fp, 1), nullptr);
  EXPECT_EQ(cups_file_take_direct(fp, 0), nullptr);
}

/* In place, the group reversal gives what it gives between two buffers. */
TEST(WireLayout, ReversalInPlace)
{
  Rng r = generator(3);
  for (size_t n = 0; n < 200; n++)
    for (size_t offset = 0; offset < 4; offset++)
    {
      std::string src = rowData(&r, n + offset);
      std::string apart(n + offset, '\0');
      bitmap_reverse_groups((unsigned char *)&apart[offset], (const unsigned char *)&src[offset], n / 3 * 3);
      std::string inPlace = src;
      bitmap_reverse_groups((unsigned char *)&inPlace[offset], (const unsigned char *)&inPlace[offset], n / 3 * 3);
      EXPECT_EQ(inPlace.substr(offset, n / 3 * 3), apart.substr(offset, n / 3 * 3)) << n << " " << offset;
      bitmap_reverse_groups_portable((unsigned char *)&inPlace[offset], (const unsigned char *)&inPlace[offset], n / 3 * 3);
      EXPECT_EQ(inPlace.substr(offset, n / 3 * 3), src.substr(offset, n / 3 * 3)) << n << " " << offset;
    }
}

} // namespace
