/*
 * test_jobs_bitmap.cpp - ENDPAGE: the layout numbers, the row copy with its
 * reversal, padding and white beyond the raster, the fragments and their
 * order, and every record and log line of a page.
 */
#include <string.h>

#include <regex>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bitmap_send.h"
#include "log_lines.h"
#include "loop_run.h"

/* The page used here: Letter-sized, no PAGENAME. */
static const char kPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";

static std::string allocLine(uint64_t size, int depth, int res)
{
  return rasterLogLine("allocated", std::to_string(size), depth, res);
}

/* A simple model of the raster as the stream fills it: white, then each
   line's bytes at the cursor, as many as fit. */
struct RasterModel
{
  std::string bytes;
  size_t cursor = 0;
  size_t stride;
  RasterModel(size_t width, size_t height, size_t depth)
      : bytes(width * height * depth, '\xFF'), stride(width * depth) {}
  void line(const std::string &data)
  {
    size_t n = std::min(data.size(), bytes.size() - cursor);
    bytes.replace(cursor, n, data.substr(0, n));
    cursor += n;
  }
  /* What the host should get for nLines rows of bytesPerLine, bottom-up. */
  std::string bitmap(size_t bytesPerLine, size_t nLines) const
  {
    std::string out;
    for (size_t r = nLines; r-- > 0;)
    {
      size_t start = r * stride;
      std::string row, after;
      for (size_t i = 0; i < bytesPerLine + 2; i++)
      {
        char c = start + i < bytes.size() ? bytes[start + i] : '\xFF';
        if (i < bytesPerLine)
          row.push_back(c);
        else
          after.push_back(c);
      }
      out += expectedLine(row, after);
    }
    return out;
  }
};

/* Row data that compresses but differs from row to row. */
static std::string rowData(size_t n, unsigned row)
{
  std::string s(n, '\0');
  for (size_t i = 0; i < n; i++)
    s[i] = (char)((i / 3 + row * 7 + (i % 3) * 50) & 0xFF);
  return s;
}

/* The records of one page from index `first`: header, fragments, bitmap
   end, page end.  Checks the frame and returns the fragments. */
static std::vector<WireRecord> pageFragments(const std::vector<WireRecord> &recs, size_t first,
                                             uint32_t width, uint32_t height, size_t *next)
{
  std::vector<WireRecord> frags;
  EXPECT_LT(first, recs.size());
  if (first >= recs.size())
    return frags;
  const rc_record &h = recs[first].rec;
  EXPECT_EQ(h.id, RCPACKETID_PRN_BITMAP_HDR);
  EXPECT_EQ(h.bitmap.width, width);
  EXPECT_EQ(h.bitmap.height, height);
  EXPECT_EQ(h.bitmap.constant, 1u);
  EXPECT_EQ(h.bitmap.xResolution, 300u);
  EXPECT_EQ(h.bitmap.yResolution, 300u);
  size_t i = first + 1;
  while (i < recs.size() && recs[i].rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
  {
    EXPECT_EQ(recs[i].rec.fragment.constant, 1u);
    frags.push_back(recs[i++]);
  }
  EXPECT_LT(i + 1, recs.size());
  if (i + 1 < recs.size())
  {
    EXPECT_EQ(recs[i].rec.id, RCPACKETID_PRN_BITMAP_END);
    EXPECT_EQ(recs[i + 1].rec.id, RCPACKETID_PRN_PAGE_END);
  }
  *next = i + 2;
  return frags;
}

TEST(JobsBitmapLayout, TheNumbersOfTheFormat)
{
  bitmap_layout l;
  bitmap_compute_layout(7650, &l);
  EXPECT_EQ(l.alignPerLine, 2u);
  EXPECT_EQ(l.alignedLine, 7652u);
  EXPECT_EQ(l.sendLines, 261u);
  EXPECT_EQ(l.rwsize, 1997172u);
  EXPECT_EQ(l.compressSize, 2400000u);
  bitmap_compute_layout(7648, &l);
  EXPECT_EQ(l.alignPerLine, 0u);
  EXPECT_EQ(l.sendLines, 261u);
  bitmap_compute_layout(7440, &l);
  EXPECT_EQ(l.sendLines, 268u);
  EXPECT_EQ(l.rwsize, 1993920u);
  bitmap_compute_layout(1, &l);
  EXPECT_EQ(l.alignPerLine, 3u);
  EXPECT_EQ(l.sendLines, 500000u);
  EXPECT_EQ(l.rwsize, 2000000u);
  bitmap_compute_layout(2000000, &l);
  EXPECT_EQ(l.sendLines, 1u);
  EXPECT_EQ(l.rwsize, 2000000u);
  EXPECT_EQ(l.compressSize, 2400000u);
}

TEST(JobsBitmapLayout, GuardedLineLengths)
{
  bitmap_layout l;
  bitmap_compute_layout(0, &l);
  EXPECT_EQ(l.alignedLine, 0u);
  EXPECT_EQ(l.sendLines, 0u);
  EXPECT_EQ(l.rwsize, 0u);
  /* Longer than a fragment: one line per fragment, room for LZF's worst
     case (1/32 growth plus a byte). */
  bitmap_compute_layout(2000001, &l);
  EXPECT_EQ(l.alignPerLine, 3u);
  EXPECT_EQ(l.alignedLine, 2000004u);
  EXPECT_EQ(l.sendLines, 1u);
  EXPECT_EQ(l.rwsize, 2000004u);
  EXPECT_GE(l.compressSize, 2000004u + 2000004u / 32u + 1u);
  bitmap_compute_layout(0x7FFFFFFFu, &l);
  EXPECT_EQ(l.alignedLine, 0x80000000u);
  EXPECT_EQ(l.sendLines, 1u);
  EXPECT_GE(l.compressSize, 0x80000000u + 0x80000000u / 32u + 1u);
}

TEST(JobsBitmapRow, GroupsReversedPaddingZeroWhiteBeyondTheEnd)
{
  /* Depth 1, 10 bytes a row: the last group reaches two bytes into the
     next row, and for the last row past the raster (white). */
  std::string raster = "0123456789abcdefghij";
  page_raster_s rows = rasterOver(raster, 10, 2, 1, 10);
  unsigned char dst[16];
  memset(dst, 0xEE, sizeof(dst));
  bitmap_copy_row(&rows, 0, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string("210543876\x00\x00\x00", 12).replace(9, 1, "b"));
  memset(dst, 0xEE, sizeof(dst));
  bitmap_copy_row(&rows, 1, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string("cbafedihg\xFF\0\0", 12));
  /* Rows wholly past the end are white data with zero padding. */
  bitmap_copy_row(&rows, 7, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string(10, '\xFF') + std::string(2, '\0'));
  bitmap_copy_row(&rows, 0xFFFFFFFFFFull, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string(10, '\xFF') + std::string(2, '\0'));
}

TEST(JobsBitmapRow, DepthThreeComponentOrderTurnsAround)
{
  std::string raster = "RGBrgbXYZ";
  page_raster_s rows = rasterOver(raster, 3, 1, 3, 9);
  unsigned char dst[14];
  memset(dst, 0xEE, sizeof(dst));
  bitmap_copy_row(&rows, 0, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string("BGRbgrZYX\0\0\0", 12));
}

TEST(JobsBitmap, NoRasterSendsNothing)
{
  LoopRun run = runLoop("PRINTERMODEL P1\nENDPAGE\nENDPAGE please\n");
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n"
                     "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data EMPTY\"\n"
                     "DEBUG: CorvaneBackend - NO ALLOCATED raster_data !!!\n"
                     "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data EMPTY\"\n"
                     "DEBUG: CorvaneBackend - NO ALLOCATED raster_data !!!\n");
  EXPECT_EQ(run.wire, "");
}

TEST(JobsBitmap, SmallColourPageFieldByField)
{
  RasterModel model(4, 3, 3);
  std::string stream = std::string("PRINTERMODEL P1\n") + kPage + "RASTER 4 3 3\n";
  for (unsigned r = 0; r < 3; r++)
  {
    std::string d = rowData(12, r);
    model.line(d);
    stream += lineCommand(d);
  }
  stream += "ENDPAGE\n";
  LoopRun run = runLoop(stream);
  ASSERT_EQ(run.result, 1);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 5u);
  for (const WireRecord &w : recs)
  {
    EXPECT_EQ(w.rec.nameLen, 6u);
    EXPECT_EQ(w.payload, std::string("P\0"
                                     "1\0\0\0",
                                     6));
  }
  EXPECT_EQ(recs[0].rec.id, RCPACKETID_PRN_PAGE_START);
  size_t next;
  std::vector<WireRecord> frags = pageFragments(recs, 1, 4, 3, &next);
  ASSERT_EQ(frags.size(), 1u);
  EXPECT_EQ(frags[0].rec.fragment.uncompressedLength, 36u);
  EXPECT_EQ(frags[0].rec.totalLength, 20u + 6u + frags[0].rec.dataLength);
  EXPECT_EQ(wireBitmap(frags), model.bitmap(12, 3));
  EXPECT_EQ(maskRasterAddress(run.err),
            "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n" + letterPageLogLines(1) +
              allocLine(36, 3, 0) + endpageLogLines(frags, 12, 12, 3, 0, 166666, 1999992, 1));
}

TEST(JobsBitmap, DepthOneOddLineLengths)
{
  /* 10 bytes a line: neither a multiple of 3 nor of 4. */
  for (int bpl : {10, 7, 5, 11})
  {
    RasterModel model(bpl, 4, 1);
    std::string stream = std::string(kPage) + "RASTER " + std::to_string(bpl) + " 4 1\n";
    for (unsigned r = 0; r < 4; r++)
    {
      std::string d = rowData(bpl, r + 1);
      model.line(d);
      stream += lineCommand(d);
    }
    stream += "ENDPAGE\n";
    LoopRun run = runLoop(stream);
    std::vector<WireRecord> recs = recordsOf(run.wire);
    size_t next;
    std::vector<WireRecord> frags = pageFragments(recs, 1, bpl, 4, &next);
    ASSERT_EQ(frags.size(), 1u) << bpl;
    int aligned = (bpl + 3) / 4 * 4;
    EXPECT_EQ(frags[0].rec.fragment.uncompressedLength, (uint32_t)(4 * aligned));
    EXPECT_EQ(wireBitmap(frags), model.bitmap(bpl, 4)) << bpl;
    bitmap_layout l;
    bitmap_compute_layout(bpl, &l);
    EXPECT_EQ(maskRasterAddress(run.err),
              letterPageLogLines(1) + allocLine(4 * bpl, 1, (int)(bpl * 72.0 / 612.0 + 0.5)) +
                endpageLogLines(frags, bpl, bpl, 4, aligned - bpl, l.sendLines, l.rwsize, 1))
      << bpl;
  }
}

TEST(JobsBitmap, TwoLinesPerFragmentBottomUp)
{
  /* 700000-byte lines: sendLines 2; five lines go as rows 4 and 3, rows 2
     and 1, and row 0. */
  const int bpl = 700000;
  RasterModel model(bpl, 5, 1);
  std::string stream = std::string(kPage) + "RASTER 700000 5 1\n";
  std::vector<std::string> rows;
  for (unsigned r = 0; r < 5; r++)
  {
    rows.push_back(rowData(bpl, r * 13));
    model.line(rows.back());
    stream += lineCommand(rows.back());
  }
  stream += "ENDPAGE\n";
  LoopRun run = runLoop(stream);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  size_t next;
  std::vector<WireRecord> frags = pageFragments(recs, 1, 700000, 5, &next);
  ASSERT_EQ(frags.size(), 3u);
  EXPECT_EQ(frags[0].rec.fragment.uncompressedLength, 1400000u);
  EXPECT_EQ(frags[1].rec.fragment.uncompressedLength, 1400000u);
  EXPECT_EQ(frags[2].rec.fragment.uncompressedLength, 700000u);
  std::string bitmap = model.bitmap(bpl, 5);
  std::string out, error;
  ASSERT_TRUE(decompressWire(frags[0], &out, &error)) << error;
  EXPECT_EQ(out, bitmap.substr(0, 1400000));
  EXPECT_EQ(out.substr(0, 700000), expectedLine(rows[4], std::string(2, '\xFF')));
  ASSERT_TRUE(decompressWire(frags[2], &out, &error)) << error;
  EXPECT_EQ(out, expectedLine(rows[0], rows[1].substr(0, 2)));
  EXPECT_EQ(wireBitmap(frags), bitmap);
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine(3500000, 1, 82353) +
              endpageLogLines(frags, 700000, 700000, 5, 0, 2, 1400000, 1));
}

TEST(JobsBitmap, ThirteenFragmentsOf261AndOne168)
{
  const int bpl = 7650;
  RasterModel model(2550, 3300, 3);
  std::string stream = std::string(kPage) + "RASTER 2550 3300 3\n";
  stream.reserve(3300 * 7662 + 1000);
  for (unsigned r = 0; r < 3300; r++)
  {
    std::string d = rowData(bpl, r);
    model.line(d);
    stream += lineCommand(d);
  }
  stream += "ENDPAGE\n";
  LoopRun run = runLoop(stream);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  size_t next;
  std::vector<WireRecord> frags = pageFragments(recs, 1, 2550, 3300, &next);
  ASSERT_EQ(frags.size(), 13u);
  for (size_t i = 0; i < 12; i++)
    EXPECT_EQ(frags[i].rec.fragment.uncompressedLength, 261u * 7652u) << i;
  EXPECT_EQ(frags[12].rec.fragment.uncompressedLength, 168u * 7652u);
  EXPECT_EQ(wireBitmap(frags), model.bitmap(bpl, 3300));
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine(25245000, 3, 300) +
              endpageLogLines(frags, 7650, 7650, 3300, 2, 261, 1997172, 1));
}

TEST(JobsBitmap, LinesLongerThanAFragmentGoOnePerFragment)
{
  const int bpl = 2000001;
  RasterModel model(bpl, 2, 1);
  std::string stream = std::string(kPage) + "RASTER 2000001 2 1\n";
  for (unsigned r = 0; r < 2; r++)
  {
    std::string d = rowData(bpl, r + 5);
    model.line(d);
    stream += lineCommand(d);
  }
  stream += "ENDPAGE\n";
  LoopRun run = runLoop(stream);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  size_t next;
  std::vector<WireRecord> frags = pageFragments(recs, 1, 2000001, 2, &next);
  ASSERT_EQ(frags.size(), 2u);
  EXPECT_EQ(frags[0].rec.fragment.uncompressedLength, 2000004u);
  EXPECT_EQ(frags[1].rec.fragment.uncompressedLength, 2000004u);
  EXPECT_EQ(wireBitmap(frags), model.bitmap(bpl, 2));
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine(4000002, 1, 235294) +
              endpageLogLines(frags, 2000001, 2000001, 2, 3, 1, 2000004, 1));
}

TEST(JobsBitmap, ZeroLengthLinesSendAnEmptyBitmap)
{
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 4 1\nLINE 0\nLINE 0\nENDPAGE\n");
  std::vector<WireRecord> recs = recordsOf(run.wire);
  EXPECT_EQ(idsOf(recs), std::vector<uint32_t>({420, 411, 413, 421}));
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine(16, 1, 0) +
              endpageLogLines({}, 0, 4, 2, 0, 0, 0, 1));
}

TEST(JobsBitmap, MoreLinesThanTheRasterHoldsSendWhite)
{
  /* Three rows of room, five lines: the last two are dropped from the
     stream, and their rows (past the end) go out white. */
  RasterModel model(10, 3, 1);
  std::string stream = std::string(kPage) + "RASTER 10 3 1\n";
  for (unsigned r = 0; r < 5; r++)
  {
    std::string d = rowData(10, r + 1);
    model.line(d);
    stream += lineCommand(d);
  }
  stream += "ENDPAGE\n";
  LoopRun run = runLoop(stream);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  size_t next;
  std::vector<WireRecord> frags = pageFragments(recs, 1, 10, 3, &next);
  ASSERT_EQ(frags.size(), 1u);
  std::string bitmap = wireBitmap(frags);
  EXPECT_EQ(bitmap, model.bitmap(10, 5));
  std::string white = std::string(10, '\xFF') + std::string(2, '\0');
  EXPECT_EQ(bitmap.substr(0, 24), white + white);
}

TEST(JobsBitmap, LinesLongerThanTheRasterRowReadOnFromTheBuffer)
{
  /* bytesPerLine 6 over rows of 4: rows are still counted by the RASTER
     geometry, so each line shows part of the next row, and the last
     row's missing bytes are white. */
  RasterModel model(4, 4, 1);
  std::string stream = std::string(kPage) + "RASTER 4 4 1\n";
  for (unsigned r = 0; r < 3; r++)
  {
    std::string d = rowData(6, r + 3);
    model.line(d);
    stream += lineCommand(d);
  }
  stream += "ENDPAGE\n";
  LoopRun run = runLoop(stream);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  size_t next;
  std::vector<WireRecord> frags = pageFragments(recs, 1, 4, 4, &next);
  ASSERT_EQ(frags.size(), 1u);
  EXPECT_EQ(wireBitmap(frags), model.bitmap(6, 3));
  EXPECT_NE(run.err.find("bitmap bytesPerLine: 6 raster_w: 4 nLines: 3 alignPerLine: 2\n"),
            std::string::npos);
}

TEST(JobsBitmap, LaterPagesUseTheSameRasterFromItsStart)
{
  /* Page 1 fills two of four rows; page 2's lines go to rows 2 and 3, but
     its ENDPAGE sends rows 1 and 0 again; page 3 has no LINE of its own;
     page 4 comes after the raster is full and its lines are dropped. */
  RasterModel model(4, 4, 3);
  std::string stream = std::string("PRINTERMODEL P1\nDOCUMENT\n") + kPage + "RASTER 4 4 3\n";
  for (unsigned r = 0; r < 2; r++)
  {
    std::string d = rowData(12, r);
    model.line(d);
    stream += lineCommand(d);
  }
  std::string bitmap1 = model.bitmap(12, 2);
  stream += "ENDPAGE\n" + std::string(kPage) + "RASTER 4 4 3\n";
  for (unsigned r = 2; r < 4; r++)
  {
    std::string d = rowData(12, r);
    model.line(d);
    stream += lineCommand(d);
  }
  std::string bitmap2 = model.bitmap(12, 2);
  stream += "ENDPAGE\n" + std::string(kPage) + "ENDPAGE\n" + kPage;
  stream += lineCommand(rowData(12, 9)) + lineCommand(rowData(12, 10)) + lineCommand(rowData(12, 11));
  stream += "ENDPAGE\nENDDOCUMENT\n";
  std::string bitmap4 = model.bitmap(12, 3);

  print_job_s *job = new print_job_s;
  LoopRun run = runLoop(stream, "Office", job);
  EXPECT_EQ(job->raster.cursor, job->raster.end);
  EXPECT_EQ(job->raster.nLines, 3);
  EXPECT_EQ(job->pageCounter, 4);
  print_job_release(job);
  EXPECT_EQ(job->raster.raster_data, nullptr);
  delete job;

  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_GE(recs.size(), 2u);
  EXPECT_EQ(recs[0].rec.id, RCPACKETID_PRN_DOC_START);
  EXPECT_EQ(recs[1].rec.id, RCPACKETID_PRN_PAGE_START);
  size_t next;
  std::vector<WireRecord> f1 = pageFragments(recs, 2, 4, 4, &next);
  EXPECT_EQ(wireBitmap(f1), bitmap1);
  EXPECT_EQ(recs[next].rec.id, RCPACKETID_PRN_PAGE_START);
  std::vector<WireRecord> f2 = pageFragments(recs, next + 1, 4, 4, &next);
  EXPECT_EQ(wireBitmap(f2), bitmap2);
  EXPECT_EQ(bitmap2, bitmap1);
  EXPECT_EQ(recs[next].rec.id, RCPACKETID_PRN_PAGE_START);
  std::vector<WireRecord> f3 = pageFragments(recs, next + 1, 4, 4, &next);
  EXPECT_TRUE(f3.empty());
  EXPECT_EQ(recs[next].rec.id, RCPACKETID_PRN_PAGE_START);
  std::vector<WireRecord> f4 = pageFragments(recs, next + 1, 4, 4, &next);
  EXPECT_EQ(wireBitmap(f4), bitmap4);
  ASSERT_EQ(next + 1, recs.size());
  EXPECT_EQ(recs[next].rec.id, RCPACKETID_PRN_DOC_END);

  char refused[200];
  snprintf(refused, sizeof(refused), "DEBUG: CorvaneBackend - RASTER with ERROR: value '4 4 3' raster_data: 0x");
  std::string expected = "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n" + letterPageLogLines(1) +
                         allocLine(48, 3, 0) + endpageLogLines(f1, 12, 12, 2, 0, 166666, 1999992, 1) +
                         letterPageLogLines(2) + refused + "<ADDR> width: 612.000000 height: 792.000000 !!!\n" +
                         endpageLogLines(f2, 12, 12, 2, 0, 166666, 1999992, 2) + letterPageLogLines(3) +
                         endpageLogLines(f3, 12, 12, 0, 0, 166666, 1999992, 3) + letterPageLogLines(4) +
                         endpageLogLines(f4, 12, 12, 3, 0, 166666, 1999992, 4) +
                         "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n";
  static const std::regex refusedAddress("(raster_data: 0x)[0-9A-F]+( width)");
  EXPECT_EQ(std::regex_replace(maskRasterAddress(run.err), refusedAddress, "$1<ADDR>$2"), expected);
}
