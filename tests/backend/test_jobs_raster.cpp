/*
 * test_jobs_raster.cpp - RASTER and LINE: allocation and its refusals, the
 * single raster per job, filling by the cursor, excess bytes, and the
 * guards on LINE counts.
 */
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "log_lines.h"
#include "page_raster.h"
#include "loop_run.h"

/* The page used by most tests: Letter-sized, no PAGENAME (paper code 0). */
static const char kPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";

static std::string allocLine(const char *size, int depth, int res)
{
  return rasterLogLine("allocated", size, depth, res);
}

struct KeptJob
{
  print_job_s job;
  ~KeptJob() { print_job_release(&job); }
};

TEST(JobsRaster, RasterBeforeAnyPage)
{
  LoopRun run = runLoop("RASTER 100 50 3\nRASTER\n");
  EXPECT_EQ(run.result, 1);
  EXPECT_EQ(run.err,
            "DEBUG: CorvaneBackend - RASTER with ERROR: value '100 50 3' raster_data: 0x0 width: 0.000000 height: 0.000000 !!!\n"
            "DEBUG: CorvaneBackend - RASTER with ERROR: value '(null)' raster_data: 0x0 width: 0.000000 height: 0.000000 !!!\n");
  EXPECT_EQ(run.wire, "");
}

TEST(JobsRaster, RefusedSizes)
{
  LoopRun run = runLoop(std::string(kPage) +
                        "RASTER 100 50 2\n"
                        "RASTER 100 50\n"
                        "RASTER 0 50 3\n"
                        "RASTER 100 0 1\n"
                        "RASTER x\n"
                        "RASTER 65536 65536 1\n" /* 2^32: does not fit */
                        "RASTER 4294967295 4294967295 3\n"
                        "RASTER 1431655766 1 3\n" /* 2^32 + 2 */
                        "ENDPAGE\n");
  EXPECT_EQ(run.result, 1);
  std::string err = maskRasterAddress(run.err);
  std::string expected = letterPageLogLines(1) +
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate (100 * 50 * 2) !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate - '100 50' !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate (0 * 50 * 3) !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate (100 * 0 * 1) !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate - 'x' !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate (65536 * 65536 * 1) !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate (-1 * -1 * 3) !!!\n"
                         "DEBUG: CorvaneBackend - Raster data CANNOT allocate (1431655766 * 1 * 3) !!!\n"
                         "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data EMPTY\"\n"
                         "DEBUG: CorvaneBackend - NO ALLOCATED raster_data !!!\n";
  EXPECT_EQ(err, expected);
  EXPECT_EQ(run.wire, le32(420) + le32(44) + le32(0x1F1F) + le16(1) + le16(0) + le16(2794) +
                        le16(2159) + le16(100) + le16(1) + le16(7) + le16(300) + le16(1) +
                        le16(1) + le16(0) + std::string(6, '\0') + le32(0));
}

TEST(JobsRaster, AllocatesOnceClearedToWhite)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 2550 3300 3\n", "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("25245000", 3, 300));
  ASSERT_NE(k.job.raster.raster_data, nullptr);
  EXPECT_EQ(k.job.raster.size, 25245000u);
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data);
  EXPECT_EQ(k.job.raster.end, k.job.raster.raster_data + 25245000);
  EXPECT_EQ(k.job.raster.width, 2550u);
  EXPECT_EQ(k.job.raster.height, 3300u);
  EXPECT_EQ(k.job.raster.depth, 3u);
  size_t notWhite = 0;
  for (size_t i = 0; i < 25245000; i++)
    notWhite += k.job.raster.raster_data[i] != 0xFF;
  EXPECT_EQ(notWhite, 0u);
}

TEST(JobsRaster, SecondRasterIsRefusedWithTheBuffersAddress)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 10 10 1\n" + kPage + "RASTER 20 20 3\n",
                        "Office", &k.job);
  char line[200];
  snprintf(line, sizeof(line),
           "DEBUG: CorvaneBackend - RASTER with ERROR: value '20 20 3' raster_data: 0x%X width: 612.000000 height: 792.000000 !!!\n",
           (unsigned int)((uintptr_t)k.job.raster.raster_data & 0xFFFFFFFFu));
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine("100", 1, 1) + letterPageLogLines(2) + line);
  EXPECT_EQ(k.job.raster.size, 100u);
}

TEST(JobsRaster, LinesFillByTheCursorAndFirstLengthSticks)
{
  KeptJob k;
  std::string a(30, 'a'), b(20, 'b'), c(30, 'c');
  LoopRun run = runLoop(std::string(kPage) + "RASTER 10 10 3\n" + lineCommand(a) + lineCommand(b) +
                          lineCommand(c) + "COLORDEVICE 1\n",
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine("300", 3, 1) +
              "DEBUG: LINE - bytesPerLine: 30 bytes: 20\n"
              "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n");
  EXPECT_EQ(k.job.raster.bytesPerLine, 30);
  EXPECT_EQ(k.job.raster.nLines, 3);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 80), a + b + c);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data + 80, 220), std::string(220, '\xFF'));
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data + 80);
}

TEST(JobsRaster, ExcessBytesAreReadAndDropped)
{
  KeptJob k;
  /* Room for 10 more bytes, a line of 30: 10 stored, 20 dropped, one line
     counted, and the next command is read where it should be. */
  std::string first(90, 'f');
  std::string over = std::string(10, 'k') + std::string(20, 'd');
  LoopRun run = runLoop(std::string(kPage) + "RASTER 10 10 1\n" + lineCommand(first) +
                          lineCommand(over) + lineCommand("zz") + "COLORDEVICE 0\n",
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine("100", 1, 1) +
              "DEBUG: LINE - bytesPerLine: 90 bytes: 30\n"
              "DEBUG: LINE - bytesPerLine: 90 bytes: 2\n"
              "DEBUG: \"CorvaneBackend - COLORDEVICE: False\"\n");
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 100), first + std::string(10, 'k'));
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.end);
  EXPECT_EQ(k.job.raster.nLines, 3);
}

TEST(JobsRaster, LargeExcessIsDroppedInBulk)
{
  KeptJob k;
  std::string big(3000000, 'q');
  LoopRun run = runLoop(std::string(kPage) + "RASTER 10 1 1\n" + lineCommand(big) + "COLORDEVICE 1\n",
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("10", 1, 1) +
                                          "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n");
  EXPECT_EQ(k.job.raster.bytesPerLine, 3000000);
  EXPECT_EQ(k.job.raster.nLines, 1);
}

TEST(JobsRaster, LineBeforeRasterLeavesItsDataInTheStream)
{
  /* The data bytes are read as command lines: here they are one. */
  LoopRun run = runLoop(std::string(kPage) + lineCommand("PAGENAME A5\n"));
  EXPECT_EQ(run.err, letterPageLogLines(1) + "DEBUG: \"CorvaneBackend - PAGENAME - A5\"\n");
  /* Without a value nothing is read either, raster or not. */
  KeptJob k;
  run = runLoop(std::string(kPage) + "RASTER 4 1 1\nLINE\nPAGENAME B5\n", "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("4", 1, 0) +
                                          "DEBUG: \"CorvaneBackend - PAGENAME - B5\"\n");
  EXPECT_EQ(k.job.raster.nLines, 0);
}

TEST(JobsRaster, RejectedLineCounts)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 4 1\n"
                                             "LINE -5\nPAGENAME A\n"
                                             "LINE 2147483648\nPAGENAME C\n"
                                             "LINE 99999999999999999999\nPAGENAME D\n"
                                             "LINE -2147483649\nPAGENAME E\n"
                                             "LINE -1abc\nPAGENAME F\n"
                                             "LINE 2147483647x\nLINE 4\nwxyz",
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + allocLine("16", 1, 0) +
              "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '-5' is negative !!!\n"
              "DEBUG: \"CorvaneBackend - PAGENAME - A\"\n"
              "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '2147483648' is too large !!!\n"
              "DEBUG: \"CorvaneBackend - PAGENAME - C\"\n"
              "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '99999999999999999999' is too large !!!\n"
              "DEBUG: \"CorvaneBackend - PAGENAME - D\"\n"
              "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '-2147483649' is negative !!!\n"
              "DEBUG: \"CorvaneBackend - PAGENAME - E\"\n"
              "DEBUG: CorvaneBackend - LINE - REJECTED: byte count '-1abc' is negative !!!\n"
              "DEBUG: \"CorvaneBackend - PAGENAME - F\"\n");
  /* 2147483647x is a number followed by text, as strtol reads it: it is
     taken, all of the rest of the stream is dropped, and nothing is left
     for the LINE 4 after it. */
  EXPECT_EQ(k.job.raster.nLines, 1);
  EXPECT_EQ(k.job.raster.bytesPerLine, 2147483647);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 16), "LINE 4\nwxyz" + std::string(5, '\xFF'));
}

/* The count is what strtol(value, NULL, 10) gives: text that does not
   start with a number is LINE 0 (taken, logged against bytesPerLine when
   that differs, counted, no byte read), digits followed by text are the
   digits' number, and a leading sign or whitespace is read as strtol reads
   it. */
TEST(JobsRaster, LineCountIsReadAsStrtolReadsIt)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 8 1\n"
                                             "LINE abc\n"      /* first: bytesPerLine stays 0 */
                                             "LINE 4\nabcd"    /* bytesPerLine becomes 4 */
                                             "LINE abc\n"      /* 0: logged, counted */
                                             "LINE 4abc\nefgh" /* 4 */
                                             "LINE +4\nijkl"   /* 4 */
                                             "LINE 12abc\nmnopqrstuvwx"
                                             "LINE -\n"    /* a sign alone: 0 */
                                             "LINE 0x10\n" /* 0, then text */
                                             "PAGENAME Z\n",
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("32", 1, 0) +
                                          "DEBUG: LINE - bytesPerLine: 4 bytes: 0\n"
                                          "DEBUG: LINE - bytesPerLine: 4 bytes: 12\n"
                                          "DEBUG: LINE - bytesPerLine: 4 bytes: 0\n"
                                          "DEBUG: LINE - bytesPerLine: 4 bytes: 0\n"
                                          "DEBUG: \"CorvaneBackend - PAGENAME - Z\"\n");
  EXPECT_EQ(run.result, 1);
  EXPECT_EQ(k.job.raster.nLines, 8);
  EXPECT_EQ(k.job.raster.bytesPerLine, 4);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 32),
            "abcdefghijklmnopqrstuvwx" + std::string(8, '\xFF'));
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data + 24);
}

/* Whitespace before the number, which the command line reader never
   leaves in a value, is skipped as strtol skips it. */
TEST(JobsRaster, LineCountAfterWhitespace)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 7 1 1\n", "Office", &k.job);
  ASSERT_EQ(run.result, 1);
  FileReader rows("abcdefgZ");
  ASSERT_NE(rows.fp, nullptr);
  StderrCapture cap;
  cap.begin();
  line_command(&k.job.raster, " 7", rows.fp);
  std::string err = cap.end();
  EXPECT_EQ(err, "");
  EXPECT_EQ(k.job.raster.nLines, 1);
  EXPECT_EQ(k.job.raster.bytesPerLine, 7);
  raster_settle(&k.job.raster);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 7), "abcdefg");
}

TEST(JobsRaster, ZeroLengthLinesAreCounted)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 4 1\nLINE 0\nLINE -0\n" + lineCommand("abcd"),
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("16", 1, 0));
  EXPECT_EQ(k.job.raster.nLines, 3);
  EXPECT_EQ(k.job.raster.bytesPerLine, 4);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 4), "abcd");
}

TEST(JobsRaster, LoneCarriageReturnBeforeDataThatStartsWithNewLine)
{
  KeptJob k;
  /* The 0x0A is taken as the end of the LINE line: the row starts one byte
     late and takes the first byte of what follows. */
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 1 1\nLINE 4\r\nabcdZ", "Office", &k.job);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 4), "abcd");
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("4", 1, 0));
  EXPECT_EQ(run.result, 1);
}

TEST(JobsRaster, StreamEndingInsideLineData)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 10 1 1\nLINE 8\nabc", "Office", &k.job);
  EXPECT_EQ(run.result, 1);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 10), "abc" + std::string(7, '\xFF'));
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data + 8);
  EXPECT_EQ(k.job.raster.nLines, 1);
}

TEST(JobsRaster, ALaterLineOfAnotherLengthIsStoredWithItsOwn)
{
  KeptJob k;
  std::string a(7650, 'a'), b(7000, 'b');
  LoopRun run = runLoop(std::string(kPage) + "RASTER 2550 3300 3\n" + lineCommand(a) + lineCommand(b) +
                          lineCommand(a),
                        "Office", &k.job);
  EXPECT_EQ(maskRasterAddress(run.err), letterPageLogLines(1) + allocLine("25245000", 3, 300) +
                                          "DEBUG: LINE - bytesPerLine: 7650 bytes: 7000\n");
  EXPECT_EQ(k.job.raster.bytesPerLine, 7650);
  EXPECT_EQ(k.job.raster.nLines, 3);
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data + 7650 + 7000 + 7650);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data + 7650, 7000), b);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data + 14650, 7650), a);
  EXPECT_EQ((unsigned char)k.job.raster.raster_data[22300], 0xFF);
}
