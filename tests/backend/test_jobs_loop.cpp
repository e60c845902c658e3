/*
 * test_jobs_loop.cpp - the command loop: every command, its log lines and
 * records, malformed and unknown commands, the loop's failure return, and
 * repeated in-process runs.
 */
#include <fcntl.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "loop_run.h"

/* The 44 bytes of a page record, written out by hand from its fields. */
static std::string pageRecord(uint16_t orientation, uint16_t paper, uint16_t length, uint16_t width,
                              uint16_t quality, uint16_t color, uint16_t duplex, uint16_t collate,
                              const std::string &payload)
{
  return le32(420) + le32(44 + (uint32_t)payload.size()) + le32(0x1F1F) + le16(orientation) +
         le16(paper) + le16(length) + le16(width) + le16(100) + le16(1) + le16(7) + le16(quality) +
         le16(color) + le16(duplex) + le16(collate) + std::string(6, '\0') +
         le32((uint32_t)payload.size()) + payload;
}

static std::string simpleRecord(uint32_t id, const std::string &payload)
{
  return le32(id) + le32(12 + (uint32_t)payload.size()) + le32((uint32_t)payload.size()) + payload;
}

TEST(JobsLoop, RecordsBeforeAnyPrinterModelHaveNoPayload)
{
  LoopRun run = runLoop("DOCUMENT Report\nENDDOCUMENT\n");
  EXPECT_EQ(run.result, 1);
  EXPECT_EQ(run.wire, simpleRecord(418, "") + simpleRecord(419, ""));
  EXPECT_EQ(run.wire.size(), 24u);
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n");
}

TEST(JobsLoop, PrinterModelBuildsAndReplacesThePayload)
{
  LoopRun run = runLoop("PRINTERMODEL P1\nDOCUMENT\nPRINTERMODEL Office Printer\nENDDOCUMENT x\n"
                        "PRINTERMODEL\nDOCUMENT\n",
                        "Queue Description");
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n"
                     "DEBUG: CorvaneBackend - printer devicename: \"Office Printer\"\n"
                     "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n"
                     "DEBUG: CorvaneBackend - printer devicename: \"Queue Description\"\n");
  EXPECT_EQ(run.wire, simpleRecord(418, std::string("P\0"
                                                    "1\0\0\0",
                                                    6)) +
                        simpleRecord(419, expectedPayload("Office Printer")) +
                        simpleRecord(418, expectedPayload("Queue Description")));
}

TEST(JobsLoop, NonAsciiPrinterName)
{
  const std::string name = "B\xC3\xBCro 3 \xE2\x80\x93 \xC3\x89tage \xF0\x9F\x96\xA8";
  LoopRun run = runLoop("PRINTERMODEL " + name + "\nDOCUMENT\n");
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].rec.nameLen, 2 * name.size() + 2);
  EXPECT_EQ(recs[0].rec.totalLength, 12 + 2 * name.size() + 2);
  EXPECT_EQ(recs[0].payload, expectedPayload(name));
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"" + name + "\"\n");
}

TEST(JobsLoop, PrinterModelWithoutAnyName)
{
  /* No value and no queue description: the empty name. */
  LoopRun run = runLoop("PRINTERMODEL\nDOCUMENT\n", nullptr);
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"\"\n");
  EXPECT_EQ(run.wire, simpleRecord(418, std::string(2, '\0')));
}

TEST(JobsLoop, LongQueueDescriptionIsCutTo1023Bytes)
{
  std::string longName(1500, 'n');
  LoopRun run = runLoop("PRINTERMODEL\nDOCUMENT\n", longName.c_str());
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"" + longName.substr(0, 1023) + "\"\n");
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].rec.nameLen, 2048u);
  EXPECT_EQ(recs[0].payload, expectedPayload(longName.substr(0, 1023)));
}

TEST(JobsLoop, ColorDevice)
{
  LoopRun run = runLoop("COLORDEVICE True\nCOLORDEVICE 1\nCOLORDEVICE True\nCOLORDEVICE\n"
                        "COLORDEVICE 0\nCOLORDEVICE 01\nCOLORDEVICE 2\nCOLORDEVICE 1abc\n"
                        "COLORDEVICE -1\n");
  EXPECT_EQ(run.err, "DEBUG: \"CorvaneBackend - COLORDEVICE: False\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: False\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: False\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n"
                     "DEBUG: \"CorvaneBackend - COLORDEVICE: False\"\n");
  EXPECT_EQ(run.wire, "");
}

TEST(JobsLoop, PageNameIsCutTo41Bytes)
{
  std::string longName = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  LoopRun run = runLoop("PAGENAME\nPAGENAME " + longName + "\nPAGE 0 0 10 10 0 0 0 1 1 0\n");
  std::string cut = longName.substr(0, 41);
  EXPECT_EQ(run.err, "DEBUG: \"CorvaneBackend - PAGENAME - " + cut + "\"\n"
                                                                     "DEBUG: \"CorvaneBackend - PAGE 1 - value: 0 0 10 10 0 0 0 1 1 0\"\n"
                                                                     "DEBUG: \"CorvaneBackend - PAGE 1 - Starting page - [0 0 10 10]\"\n"
                                                                     "DEBUG: \"CorvaneBackend - PAGE - collate: 0 duplex: 0 tumble: 0 hwresX: 1 hwresY: 1 orientation: 0\"\n"
                                                                     "DEBUG: CorvaneBackend - PAGE - " +
                       cut + " 0\n"
                             "DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"\n");
}

TEST(JobsLoop, PageSettingsFromTheFormatsExample)
{
  LoopRun run = runLoop("PRINTERMODEL P1\nPAGENAME Letter\nPAGE 0 0 612 792 1 1 0 600 600 1\n");
  const std::string p1("P\0"
                       "1\0\0\0",
                       6);
  EXPECT_EQ(run.wire, pageRecord(2, 1, 2794, 2159, 600, 1, 3, 1, p1));
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n"
                     "DEBUG: \"CorvaneBackend - PAGENAME - Letter\"\n"
                     "DEBUG: \"CorvaneBackend - PAGE 1 - value: 0 0 612 792 1 1 0 600 600 1\"\n"
                     "DEBUG: \"CorvaneBackend - PAGE 1 - Starting page - [0 0 612 792]\"\n"
                     "DEBUG: \"CorvaneBackend - PAGE - collate: 1 duplex: 1 tumble: 0 hwresX: 600 hwresY: 600 orientation: 1\"\n"
                     "DEBUG: CorvaneBackend - PAGE - Letter 1\n"
                     "DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"\n");
}

TEST(JobsLoop, OrientationDuplexTumbleAndColour)
{
  struct Case
  {
    const char *page;
    uint16_t orientation, duplex;
  } cases[] = {
    {"PAGE 0 0 595 842 0 1 0 300 300 0", 1, 3},
    {"PAGE 0 0 595 842 0 1 1 300 300 1", 2, 2},
    {"PAGE 0 0 595 842 0 0 1 300 300 2", 2, 1},
    {"PAGE 0 0 595 842 0 0 0 300 300 3", 2, 1},
    {"PAGE 0 0 595 842 0 -1 5 300 300 -1", 2, 1},
    {"PAGE 0 0 595 842 0 2 5 300 300 0", 1, 2},
    {"PAGE 0 0 595 842 0 7 -3 300 300 0", 1, 3},
  };
  std::string stream = "COLORDEVICE 1\nPAGENAME A4\n";
  std::string expected;
  for (const Case &c : cases)
  {
    stream += std::string(c.page) + "\n";
    expected += pageRecord(c.orientation, 9, 2970, 2099, 300, 2, c.duplex, 0, "");
  }
  stream += "COLORDEVICE 0\nPAGENAME NoSuchPaper\n" + std::string(cases[0].page) + "\n";
  expected += pageRecord(1, 0, 2970, 2099, 300, 1, 3, 0, "");
  LoopRun run = runLoop(stream);
  EXPECT_EQ(run.wire, expected);
  EXPECT_NE(run.err.find("DEBUG: CorvaneBackend - PAGE - NoSuchPaper 0\n"), std::string::npos);
}

TEST(JobsLoop, PaperSizeRoundsHalfAwayFromZero)
{
  /* 18 points are 63.5 tenths of a millimetre, 90 points 317.5. */
  LoopRun run = runLoop("PAGE 0 0 18 90 0 0 0 300 300 0\n");
  EXPECT_EQ(run.wire, pageRecord(1, 0, 318, 64, 300, 1, 1, 0, ""));
}

TEST(JobsLoop, PageWithoutValueOrWithTooFewNumbers)
{
  LoopRun run = runLoop("PAGE\nPAGE 0 0 612 792\nPAGE abc\nRASTER 10 10 1\n"
                        "PAGE 1 2 3 4 5 6 7 8 9 x\n");
  EXPECT_EQ(run.err,
            "DEBUG: CorvaneBackend - PAGE - MISSING value !!!\n"
            "DEBUG: \"CorvaneBackend - PAGE 1 - value: 0 0 612 792\"\n"
            "DEBUG: \"CorvaneBackend - PAGE - CANNOT starting page (4) !!!\"\n"
            "DEBUG: \"CorvaneBackend - PAGE 2 - value: abc\"\n"
            "DEBUG: \"CorvaneBackend - PAGE - CANNOT starting page (0) !!!\"\n"
            "DEBUG: CorvaneBackend - RASTER with ERROR: value '10 10 1' raster_data: 0x0 width: 0.000000 height: 0.000000 !!!\n"
            "DEBUG: \"CorvaneBackend - PAGE 3 - value: 1 2 3 4 5 6 7 8 9 x\"\n"
            "DEBUG: \"CorvaneBackend - PAGE - CANNOT starting page (9) !!!\"\n");
  EXPECT_EQ(run.wire, "");
}

TEST(JobsLoop, ShortPageStillReplacesLeadingNumbers)
{
  /* The short PAGE overwrites the first numbers but not the page size;
     the RASTER after it still sees the last full page's size. */
  print_job_s *job = new print_job_s;
  LoopRun run = runLoop("PAGE 0 0 612 792 1 1 1 300 300 0\nPAGE 7 8 100 200 9\n", "Office", job);
  EXPECT_EQ(job->pageBox[0], 7u);
  EXPECT_EQ(job->pageBox[1], 8u);
  EXPECT_EQ(job->pageBox[2], 100u);
  EXPECT_EQ(job->pageBox[3], 200u);
  EXPECT_EQ(job->collate, 9);
  EXPECT_EQ(job->duplex, 1);
  EXPECT_EQ(job->pageWidth, 612.0f);
  EXPECT_EQ(job->pageHeight, 792.0f);
  EXPECT_EQ(job->pageCounter, 2);
  print_job_release(job);
  delete job;
  EXPECT_NE(run.err.find("CANNOT starting page (5)"), std::string::npos);
}

TEST(JobsLoop, LargeAndNegativeNumbersPrintAsTheRecordCarriesThem)
{
  LoopRun run = runLoop("PAGE -1 0 4294967295 16777217 -2 0 0 -300 4294967295 0\n");
  EXPECT_EQ(run.err,
            "DEBUG: \"CorvaneBackend - PAGE 1 - value: -1 0 4294967295 16777217 -2 0 0 -300 4294967295 0\"\n"
            "DEBUG: \"CorvaneBackend - PAGE 1 - Starting page - [4.29497e+09 0 4.29497e+09 1.67772e+07]\"\n"
            "DEBUG: \"CorvaneBackend - PAGE - collate: -2 duplex: 0 tumble: 0 hwresX: -300 hwresY: -1 orientation: 0\"\n"
            "DEBUG: CorvaneBackend - PAGE -  0\n"
            "DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"\n");
  /* Widths are the low 16 bits of round(points x 254 / 72) of the points
     as single-precision floats: 4294967296 and 16777216. */
  EXPECT_EQ(run.wire, pageRecord(1, 0, 7282, 29127, 0xFED4, 1, 1, 0xFFFE, ""));
}

TEST(JobsLoop, UnknownAndLowerCaseCommandsAreSkippedSilently)
{
  LoopRun run = runLoop("page 1 2 3 4 5 6 7 8 9 10\nDocument\nFOO bar\n<Printer x>\nENDPAGEX\n"
                        "PRINTERMODEL\t\tP1 \n");
  EXPECT_EQ(run.err, "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n");
  EXPECT_EQ(run.wire, "");
}

TEST(JobsLoop, PageStartResetsTheLineCount)
{
  print_job_s *job = new print_job_s;
  LoopRun run = runLoop("PAGE 0 0 612 792 0 0 0 300 300 0\nRASTER 4 4 1\n" + lineCommand("abcd") +
                          lineCommand("efgh") + "PAGE 1 2\n",
                        "Office", job);
  EXPECT_EQ(job->raster.nLines, 2);
  print_job_release(job);
  run = runLoop("PAGE 0 0 612 792 0 0 0 300 300 0\nRASTER 4 4 1\n" + lineCommand("abcd") +
                  "PAGE 0 0 612 792 0 0 0 300 300 0\n",
                "Office", job);
  EXPECT_EQ(job->raster.nLines, 0);
  EXPECT_EQ(job->raster.cursor, job->raster.raster_data + 4);
  print_job_release(job);
  delete job;
}

TEST(JobsLoop, FailedWriteEndsTheLoopAtOnce)
{
  const std::string broken = std::string("Writing to socket failed: ") + strerror(EPIPE) + "\n";
  struct Case
  {
    std::string stream;
    std::string line;
  } cases[] = {
    {"DOCUMENT\nCOLORDEVICE 1\n", "DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n"},
    {"ENDDOCUMENT\nCOLORDEVICE 1\n", "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_DOC_END) FAILED\n"},
  };
  for (const Case &c : cases)
  {
    TempDir dir;
    ASSERT_TRUE(writeFileBytes(dir.path + "/in", c.stream));
    _cups_file_s *fp = cups_file_new(open((dir.path + "/in").c_str(), O_RDONLY), 0);
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    close(fds[1]);
    print_job_s *job = new print_job_s;
    print_job_init(job, fds[0], "Office", 1);
    StderrCapture cap;
    cap.begin();
    int r = command_loop(job, fp);
    std::string err = cap.end();
    EXPECT_EQ(r, 0);
    EXPECT_EQ(err, broken + c.line);
    print_job_release(job);
    delete job;
    close(fds[0]);
    cups_file_close(fp);
  }
}

TEST(JobsLoop, RepeatedInProcessRunsReleaseEverything)
{
  /* Under the sanitizers a leak of the raster or the payload fails the
     test program at exit. */
  for (int i = 0; i < 3; i++)
  {
    print_job_s *job = new print_job_s;
    LoopRun run = runLoop("PRINTERMODEL P1\nPAGE 0 0 612 792 0 0 0 300 300 0\nRASTER 8 8 3\n" +
                            lineCommand(std::string(24, 'x')) + "ENDPAGE\n",
                          "Office", job);
    EXPECT_EQ(run.result, 1);
    EXPECT_NE(job->raster.raster_data, nullptr);
    EXPECT_NE(job->namePayload, nullptr);
    print_job_release(job);
    EXPECT_EQ(job->raster.raster_data, nullptr);
    EXPECT_EQ(job->namePayload, nullptr);
    EXPECT_EQ(job->nameLen, 0u);
    EXPECT_STREQ(job->printerName, "Office");
    print_job_release(job); /* twice is harmless */
    delete job;
  }
}

/*
 * The records of ENDPAGE that a host can only miss in the middle of the
 * page: the job's socket is a non-blocking pipe of one page whose room is
 * exactly what the records before the failing one need, so the failing
 * write finds it full.
 */
struct TightRun
{
  int result = -1;
  std::string err;
  std::string written; /* what reached the pipe after the filler */
};

static TightRun runTight(const std::string &stream, size_t room)
{
  TightRun t;
  int fds[2];
  if (pipe(fds) != 0)
    return t;
  if (fcntl(fds[1], F_SETPIPE_SZ, 4096) != 4096)
  {
    close(fds[0]);
    close(fds[1]);
    return t;
  }
  fcntl(fds[1], F_SETFL, O_NONBLOCK);
  std::string filler(4096 - room, 'f');
  if (write(fds[1], filler.data(), filler.size()) != (ssize_t)filler.size())
    return t;
  TempDir dir;
  EXPECT_TRUE(writeFileBytes(dir.path + "/in", stream));
  _cups_file_s *fp = cups_file_new(open((dir.path + "/in").c_str(), O_RDONLY), 0);
  print_job_s *job = new print_job_s;
  print_job_init(job, fds[1], "Office", 1);
  StderrCapture cap;
  cap.begin();
  t.result = command_loop(job, fp);
  t.err = cap.end();
  print_job_release(job);
  delete job;
  cups_file_close(fp);
  std::string all;
  char buf[8192];
  fcntl(fds[0], F_SETFL, O_NONBLOCK);
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof(buf))) > 0)
    all.append(buf, (size_t)n);
  t.written = all.substr(filler.size());
  close(fds[0]);
  close(fds[1]);
  return t;
}

static const char kTightPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\nRASTER 4 1 3\n";

static std::string tightStart()
{
  return "DEBUG: \"CorvaneBackend - PAGE 1 - value: 0 0 612 792 0 0 0 300 300 0\"\n"
         "DEBUG: \"CorvaneBackend - PAGE 1 - Starting page - [0 0 612 792]\"\n"
         "DEBUG: \"CorvaneBackend - PAGE - collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0\"\n"
         "DEBUG: CorvaneBackend - PAGE -  0\n"
         "DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"\n"
         "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 12 depth: 3 res: 0\n"
         "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data OK\"\n"
         "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"\n";
}

TEST(JobsLoopTight, BitmapEndAndPageEndFailures)
{
  const std::string again = std::string("Writing to socket failed: ") + strerror(EAGAIN) + "\n";
  std::string stream = std::string(kTightPage) + "ENDPAGE\nCOLORDEVICE 1\n";
  TightRun t = runTight(stream, 44 + 32);
  if (t.result == -1)
    GTEST_SKIP() << "pipe size cannot be set here";
  EXPECT_EQ(t.result, 0);
  EXPECT_EQ(maskRasterAddress(t.err),
            tightStart() +
              "DEBUG: CorvaneBackend - bitmap bytesPerLine: 0 raster_w: 12 nLines: 0 alignPerLine: 0\n"
              "DEBUG: \"CorvaneBackend - sendLines: 0 rwsize: 0\"\n" +
              again + "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_BITMAP_END) FAILED\n");
  EXPECT_EQ(t.written.size(), 76u);

  t = runTight(stream, 44 + 32 + 12);
  EXPECT_EQ(t.result, 0);
  EXPECT_EQ(maskRasterAddress(t.err),
            tightStart() +
              "DEBUG: CorvaneBackend - bitmap bytesPerLine: 0 raster_w: 12 nLines: 0 alignPerLine: 0\n"
              "DEBUG: \"CorvaneBackend - sendLines: 0 rwsize: 0\"\n"
              "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_END sent\"\n" +
              again + "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_PAGE_END) FAILED\n");
  EXPECT_EQ(t.written.substr(76), le32(413) + le32(12) + le32(0));
}

TEST(JobsLoopTight, FragmentFixedPartAndDataFailures)
{
  const std::string again = std::string("Writing to socket failed: ") + strerror(EAGAIN) + "\n";
  std::string stream = std::string(kTightPage) + lineCommand("abcdefghijkl") + "ENDPAGE\nCOLORDEVICE 1\n";
  const std::string head = tightStart() +
                           "DEBUG: CorvaneBackend - bitmap bytesPerLine: 12 raster_w: 12 nLines: 1 alignPerLine: 0\n"
                           "DEBUG: \"CorvaneBackend - sendLines: 166666 rwsize: 1999992\"\n";
  static const std::regex compressLine("DEBUG: \"CorvaneBackend - lzf_compress: ([0-9]+) sendLength: 12\"\n");

  /* The fixed part meets the full pipe. */
  TightRun t = runTight(stream, 44 + 32);
  if (t.result == -1)
    GTEST_SKIP() << "pipe size cannot be set here";
  EXPECT_EQ(t.result, 0);
  std::string err = maskRasterAddress(t.err);
  ASSERT_EQ(err.substr(0, head.size()), head);
  std::string rest = err.substr(head.size());
  std::smatch m;
  ASSERT_TRUE(std::regex_search(rest, m, compressLine)) << rest;
  EXPECT_EQ(m.position(0), 0);
  EXPECT_EQ(rest.substr(m.length(0)),
            again + "DEBUG: CorvaneBackend - 1/1 socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED\n");
  EXPECT_EQ(t.written.size(), 76u);

  /* The fixed part fits, its data does not. */
  t = runTight(stream, 44 + 32 + 20);
  EXPECT_EQ(t.result, 0);
  err = maskRasterAddress(t.err);
  ASSERT_EQ(err.substr(0, head.size()), head);
  rest = err.substr(head.size());
  ASSERT_TRUE(std::regex_search(rest, m, compressLine)) << rest;
  EXPECT_EQ(rest.substr(m.length(0)),
            again + "DEBUG: CorvaneBackend - 1/1 socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED\n");
  ASSERT_EQ(t.written.size(), 96u);
  uint32_t packed = (uint32_t)std::stoul(m[1].str());
  EXPECT_EQ(t.written.substr(76), le32(412) + le32(20 + packed) + le32(12) + le32(1) + le32(0));
}
