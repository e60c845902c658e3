/*
 * test_jobs_streams.cpp - print streams of every shape through the real
 * backend: line ends, comments, overlong lines, documents and pages one
 * after the other, the queue's description as printer name, input from a
 * file, depth 1 with odd line lengths.
 */
#include <stdio.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "job_run.h"

static const std::string kP1("P\0"
                             "1\0\0\0",
                             6);

/* Row data that differs per row and never starts with a line end. */
static std::string rowOf(size_t n, unsigned r)
{
  std::string s(n, '\0');
  for (size_t i = 0; i < n; i++)
    s[i] = (char)(0x30 + (i * 5 + r * 11) % 200);
  return s;
}

/* The small job most tests use, with a given line end. */
static std::string smallJob(const std::string &eol, std::vector<std::string> *rows)
{
  std::string s = "PRINTERMODEL P1" + eol + "DOCUMENT small" + eol + "PAGENAME A4" + eol +
                  "PAGE 0 0 595 842 0 0 0 300 300 0" + eol + "RASTER 8 4 3" + eol;
  rows->clear();
  for (unsigned r = 0; r < 4; r++)
  {
    rows->push_back(rowOf(24, r));
    s += "LINE 24" + eol + rows->back();
  }
  return s + "ENDPAGE" + eol + "ENDDOCUMENT" + eol;
}

/* Bottom-up lines of rows, each 3-byte group reversed (24 bytes: no
   padding, no group past the row). */
static std::string smallBitmap(const std::vector<std::string> &rows)
{
  std::string out;
  for (size_t r = rows.size(); r-- > 0;)
    for (size_t g = 0; g < rows[r].size(); g += 3)
    {
      out.push_back(rows[r][g + 2]);
      out.push_back(rows[r][g + 1]);
      out.push_back(rows[r][g]);
    }
  return out;
}

static std::string smallJobLog(const std::vector<WireRecord> &frags, int argc = 6)
{
  return jobStart(JOBS_QUEUE_OFFICE_INFO, "Office", argc) +
         "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n"
         "DEBUG: \"CorvaneBackend - PAGENAME - A4\"\n" +
         pageLogLines(1, "0 0 595 842 0 0 0 300 300 0", "0 0 595 842",
                      "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", "A4 9") +
         "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 96 depth: 3 res: 1\n" +
         endpageLogLines(frags, 24, 24, 4, 0, 83333, 1999992, 1) +
         "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine();
}

static void expectSmallJob(const JobRun &run, const std::vector<std::string> &rows, int argc = 6)
{
  EXPECT_JOB_OK(run);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(idsOf(recs), std::vector<uint32_t>({418, 420, 411, 412, 413, 421, 419}));
  for (const WireRecord &w : recs)
    EXPECT_EQ(w.payload, kP1);
  EXPECT_EQ(recs[1].rec.page.paperSize, 9);
  EXPECT_EQ(recs[1].rec.page.duplex, 1);
  EXPECT_EQ(recs[1].rec.page.color, 1);
  EXPECT_EQ(recs[2].rec.bitmap.width, 8u);
  EXPECT_EQ(recs[2].rec.bitmap.height, 4u);
  std::vector<WireRecord> frags = jobFragments(recs, 3);
  EXPECT_EQ(wireBitmap(frags), smallBitmap(rows));
  EXPECT_EQ(run.log, smallJobLog(frags, argc));
}

TEST(JobsStreams, NewLineCarriageReturnAndBothReadTheSame)
{
  std::vector<std::string> rows;
  JobRun lf = runJob(smallJob("\n", &rows));
  expectSmallJob(lf, rows);
  JobRun cr = runJob(smallJob("\r", &rows));
  expectSmallJob(cr, rows);
  JobRun crlf = runJob(smallJob("\r\n", &rows));
  expectSmallJob(crlf, rows);
  EXPECT_EQ(cr.wire, lf.wire);
  EXPECT_EQ(crlf.wire, lf.wire);
}

TEST(JobsStreams, CommentsBlankLinesAndSpacing)
{
  std::vector<std::string> rows;
  std::string plain = smallJob("\n", &rows);
  std::string s = "# a print stream\n\n   \n"
                  "  PRINTERMODEL   P1   # the printer\n"
                  "\tDOCUMENT small\t\n"
                  "# paper\n"
                  "PAGENAME A4 #\n"
                  "PAGE 0 0 595 842 0 0 0 300 300 0     \n"
                  "   # raster follows\n"
                  "RASTER 8 4 3\n";
  for (const std::string &r : rows)
    s += "LINE 24  # one row\n" + r;
  s += "\n\nENDPAGE\n#ENDDOCUMENT\n ENDDOCUMENT # done\n";
  JobRun run = runJob(s);
  expectSmallJob(run, rows);
  EXPECT_EQ(run.wire, runJob(plain).wire);
}

TEST(JobsStreams, EscapedHashInAPrinterName)
{
  JobRun run = runJob("PRINTERMODEL Room \\#4 # second floor\nDOCUMENT\n");
  EXPECT_JOB_OK(run);
  /* Only the first '#' is looked at: once it is escaped, the rest of the
     line, comment and all, is the value. */
  EXPECT_EQ(run.log, jobStart() +
                       "DEBUG: CorvaneBackend - printer devicename: \"Room #4 # second floor\"\n" +
                       finishedLine());
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].payload, expectedPayload("Room #4 # second floor"));
}

TEST(JobsStreams, InputFromAFile)
{
  std::vector<std::string> rows;
  std::string stream = smallJob("\n", &rows);
  char path[] = "/tmp/corvane-jobs-file-XXXXXX";
  int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(write(fd, stream.data(), stream.size()), (ssize_t)stream.size());
  close(fd);
  JobOptions o;
  o.args.push_back(path);
  JobRun run = runJob("", o);
  unlink(path);
  expectSmallJob(run, rows, 7);
}

TEST(JobsStreams, OverlongLinesAreSplit)
{
  /* 1500 bytes of name: the line buffer holds 1023, so the name is its
     first 1010 bytes and the rest is a line of its own (unknown, skipped). */
  std::string name(1500, 'x');
  for (size_t i = 0; i < name.size(); i++)
    name[i] = (char)('a' + i % 26);
  JobRun run = runJob("PRINTERMODEL " + name + "\nDOCUMENT\n");
  EXPECT_JOB_OK(run);
  std::string kept = name.substr(0, 1010);
  EXPECT_EQ(run.log, jobStart() + "DEBUG: CorvaneBackend - printer devicename: \"" + kept + "\"\n" +
                       finishedLine());
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].rec.nameLen, 2022u);
  EXPECT_EQ(recs[0].payload, expectedPayload(kept));
}

TEST(JobsStreams, LastCommandWithoutNewLineAndEmptyInput)
{
  JobRun run = runJob("DOCUMENT\nENDDOCUMENT");
  EXPECT_JOB_OK(run);
  EXPECT_EQ(run.wire, le32(418) + le32(12) + le32(0) + le32(419) + le32(12) + le32(0));
  EXPECT_EQ(run.log, jobStart() + "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine());

  run = runJob("");
  EXPECT_JOB_OK(run);
  EXPECT_EQ(run.wire, "");
  EXPECT_EQ(run.log, jobStart() + finishedLine());
}

TEST(JobsStreams, PrinterModelWithoutValueTakesTheQueueDescription)
{
  JobOptions o;
  o.printer = "Buero";
  JobRun run = runJob("PRINTERMODEL\nDOCUMENT\nPRINTERMODEL Other\nENDDOCUMENT\n", o);
  EXPECT_JOB_OK(run);
  EXPECT_EQ(run.log, jobStart(JOBS_QUEUE_BUERO_INFO, "Buero") +
                       "DEBUG: CorvaneBackend - printer devicename: \"" JOBS_QUEUE_BUERO_INFO "\"\n"
                       "DEBUG: CorvaneBackend - printer devicename: \"Other\"\n"
                       "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" +
                       finishedLine());
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 2u);
  const std::string info = JOBS_QUEUE_BUERO_INFO;
  EXPECT_EQ(recs[0].rec.nameLen, 2 * info.size() + 2);
  EXPECT_EQ(recs[0].payload, expectedPayload(info));
  /* Characters, by hand: B ü r o ' ' S t r a ß e ' ' 3 ' ' – ' ' Ω. */
  const uint16_t units[] = {'B', 0xFC, 'r', 'o', ' ', 'S', 't', 'r', 'a', 0xDF, 'e', ' ', '3', ' ',
                            0x2013, ' ', 0x3A9, 0};
  std::string byHand;
  for (uint16_t u : units)
    byHand += le16(u);
  byHand.resize(2 * info.size() + 2, '\0');
  EXPECT_EQ(recs[0].payload, byHand);
  EXPECT_EQ(recs[1].payload, expectedPayload("Other"));
}

TEST(JobsStreams, CopiesArgumentIsAnnouncedAsOne)
{
  JobOptions o;
  o.args = {"12", "user1", "report", "3", ""};
  JobRun run = runJob("PAGE 0 0 612 792 0 0 0 300 300 0\n", o);
  EXPECT_JOB_OK(run);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].rec.page.copies, 1);
  EXPECT_EQ(recs[0].rec.page.paperWidth, 2159);
  EXPECT_EQ(recs[0].rec.page.paperLength, 2794);
  EXPECT_EQ(run.log.substr(0, jobStart(JOBS_QUEUE_OFFICE_INFO, "Office", 6, "3").size()),
            jobStart(JOBS_QUEUE_OFFICE_INFO, "Office", 6, "3"));
}

TEST(JobsStreams, DepthOneWithLinesNeitherMultipleOfThreeNorFour)
{
  /* 10 bytes a line: the last 3-byte group reaches into the next row (and
     past the raster for the last row, which reads as white). */
  std::vector<std::string> rows;
  std::string s = "PAGE 0 0 612 792 0 0 0 300 300 0\nRASTER 10 3 1\n";
  std::string raster;
  for (unsigned r = 0; r < 3; r++)
  {
    rows.push_back(rowOf(10, r));
    raster += rows.back();
    s += jobLine(rows.back());
  }
  s += "ENDPAGE\n";
  JobRun run = runJob(s);
  EXPECT_JOB_OK(run);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(idsOf(recs), std::vector<uint32_t>({420, 411, 412, 413, 421}));
  std::string expected = expectedLine(rows[2], "") + expectedLine(rows[1], rows[2].substr(0, 2)) +
                         expectedLine(rows[0], rows[1].substr(0, 2));
  /* Written out for the top row: groups 012 345 678 reversed, then the
     group of byte 9 takes bytes 11, 10, 9 of the raster (row 1's second
     and first bytes and row 0's last), and the padding is zero. */
  std::string top = expected.substr(24, 12);
  EXPECT_EQ(top[0], rows[0][2]);
  EXPECT_EQ(top[2], rows[0][0]);
  EXPECT_EQ(top[9], rows[1][1]);
  EXPECT_EQ(top[10], '\0');
  EXPECT_EQ(top[11], '\0');
  std::vector<WireRecord> frags = jobFragments(recs, 2);
  ASSERT_EQ(frags.size(), 1u);
  EXPECT_EQ(frags[0].rec.fragment.uncompressedLength, 36u);
  EXPECT_EQ(wireBitmap(frags), expected);
  EXPECT_EQ(run.log,
            jobStart() +
              pageLogLines(1, "0 0 612 792 0 0 0 300 300 0", "0 0 612 792",
                           "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", " 0") +
              "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 30 depth: 1 res: 1\n" +
              endpageLogLines(frags, 10, 10, 3, 2, 166666, 1999992, 1) + finishedLine());
}

TEST(JobsStreams, DocumentsAndPagesOneAfterTheOther)
{
  /* Document 1: page 1 fills the raster, page 2 comes after it is full
     (its lines are dropped, the same rows go out again).  Document 2:
     another printer name, page 3 with no LINE of its own, then page 4 with
     a RASTER that is refused because the raster exists. */
  std::vector<std::string> rows = {rowOf(12, 1), rowOf(12, 2)};
  std::string s = "PRINTERMODEL P1\nDOCUMENT one\nCOLORDEVICE 1\nPAGENAME Letter\n"
                  "PAGE 0 0 612 792 1 1 1 600 600 0\nRASTER 4 2 3\n" +
                  jobLine(rows[0]) + jobLine(rows[1]) + "ENDPAGE\n"
                                                        "PAGE 0 0 612 792 1 1 1 600 600 1\n" +
                  jobLine(rowOf(12, 3)) + jobLine(rowOf(12, 4)) +
                  jobLine(rowOf(12, 5)) + "ENDPAGE\nENDDOCUMENT\n"
                                          "PRINTERMODEL P2\nDOCUMENT two\nCOLORDEVICE 0\nPAGENAME A4\n"
                                          "PAGE 0 0 595 842 0 0 0 300 300 0\nENDPAGE\n"
                                          "PAGE 0 0 595 842 0 0 0 300 300 0\nRASTER 8 8 3\nENDPAGE\nENDDOCUMENT\n";
  JobRun run = runJob(s);
  EXPECT_JOB_OK(run);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(idsOf(recs),
            std::vector<uint32_t>({418, 420, 411, 412, 413, 421, 420, 411, 412, 413, 421, 419,
                                   418, 420, 411, 413, 421, 420, 411, 413, 421, 419}));
  const std::string p2("P\0"
                       "2\0\0\0",
                       6);
  for (size_t i = 0; i < recs.size(); i++)
    EXPECT_EQ(recs[i].payload, i < 12 ? kP1 : p2) << i;

  EXPECT_EQ(recs[1].rec.page.color, 2);
  EXPECT_EQ(recs[1].rec.page.paperSize, 1);
  EXPECT_EQ(recs[1].rec.page.duplex, 2);
  EXPECT_EQ(recs[1].rec.page.collate, 1);
  EXPECT_EQ(recs[1].rec.page.printQuality, 600);
  EXPECT_EQ(recs[1].rec.page.orientation, 1);
  EXPECT_EQ(recs[6].rec.page.orientation, 2);
  EXPECT_EQ(recs[13].rec.page.color, 1);
  EXPECT_EQ(recs[13].rec.page.paperSize, 9);
  EXPECT_EQ(recs[13].rec.page.duplex, 1);
  /* Every bitmap header keeps the job's raster size and the page's
     resolution. */
  for (size_t i : {2u, 7u, 14u, 18u})
  {
    EXPECT_EQ(recs[i].rec.bitmap.width, 4u) << i;
    EXPECT_EQ(recs[i].rec.bitmap.height, 2u) << i;
  }
  EXPECT_EQ(recs[2].rec.bitmap.xResolution, 600u);
  EXPECT_EQ(recs[14].rec.bitmap.xResolution, 300u);

  std::string bitmap = smallBitmap(rows);
  std::vector<WireRecord> f1 = jobFragments(recs, 3), f2 = jobFragments(recs, 8);
  EXPECT_EQ(wireBitmap(f1), bitmap);
  /* Page 2 counts three lines; rows past the two of the raster are white. */
  EXPECT_EQ(wireBitmap(f2), std::string(12, '\xFF') + bitmap);

  std::string log =
    jobStart() + "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n"
                 "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n"
                 "DEBUG: \"CorvaneBackend - PAGENAME - Letter\"\n" +
    pageLogLines(1, "0 0 612 792 1 1 1 600 600 0", "0 0 612 792",
                 "collate: 1 duplex: 1 tumble: 1 hwresX: 600 hwresY: 600 orientation: 0", "Letter 1") +
    "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 24 depth: 3 res: 0\n" +
    endpageLogLines(f1, 12, 12, 2, 0, 166666, 1999992, 1) +
    pageLogLines(2, "0 0 612 792 1 1 1 600 600 1", "0 0 612 792",
                 "collate: 1 duplex: 1 tumble: 1 hwresX: 600 hwresY: 600 orientation: 1", "Letter 1") +
    endpageLogLines(f2, 12, 12, 3, 0, 166666, 1999992, 2) +
    "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n"
    "DEBUG: CorvaneBackend - printer devicename: \"P2\"\n"
    "DEBUG: \"CorvaneBackend - COLORDEVICE: False\"\n"
    "DEBUG: \"CorvaneBackend - PAGENAME - A4\"\n" +
    pageLogLines(3, "0 0 595 842 0 0 0 300 300 0", "0 0 595 842",
                 "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", "A4 9") +
    endpageLogLines({}, 12, 12, 0, 0, 166666, 1999992, 3) +
    pageLogLines(4, "0 0 595 842 0 0 0 300 300 0", "0 0 595 842",
                 "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", "A4 9") +
    "DEBUG: CorvaneBackend - RASTER with ERROR: value '8 8 3' raster_data: 0x<ADDR> width: 595.000000 height: 842.000000 !!!\n" +
    endpageLogLines({}, 12, 12, 0, 0, 166666, 1999992, 4) +
    "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine();
  EXPECT_EQ(run.log, log);
}
