/*
 * test_jobs_perpage.cpp - the raster per page that the device URI's option
 * raster=per-page asks for: the same geometry reuses the buffer (white
 * again, cursor at its start, bytesPerLine 0), another geometry frees it
 * and allocates anew, a refused RASTER leaves the page without one; and
 * the reading of the device URI's options.
 */
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "device_uri.h"
#include "log_lines.h"
#include "page_raster.h"
#include "loop_run.h"

namespace {

const char kPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";
const std::string kD = "DEBUG: CorvaneBackend - ";
const std::string kQ = "DEBUG: \"CorvaneBackend - ";

std::string rasterLine(const char *what, const std::string &size, int depth, int res)
{
  return rasterLogLine(what, size, depth, res);
}

/* ENDPAGE's lines of a page sent as one fragment, packed bytes long. */
std::string endpageLines(int bytesPerLine, int rasterW, int nLines, int counter, int packed)
{
  WireRecord f;
  memset(&f.rec, 0, sizeof(f.rec));
  f.rec.dataLength = (uint32_t)packed;
  int align = bytesPerLine % 4 ? 4 - bytesPerLine % 4 : 0;
  f.rec.fragment.uncompressedLength = (uint32_t)((bytesPerLine + align) * nLines);
  return endpageLogLines({f}, bytesPerLine, rasterW, nLines, align, counter);
}

/* The fragments' bitmaps of a run, one string a page (pages of one
   fragment each). */
std::vector<std::string> pageBitmaps(const std::string &wire)
{
  std::vector<std::string> pages;
  for (const WireRecord &w : recordsOf(wire))
    if (w.rec.id == 412)
      pages.push_back(wireBitmap({w}));
  return pages;
}

/* The compressed length of each fragment, in order. */
std::vector<int> packedLengths(const std::string &wire)
{
  std::vector<int> lengths;
  for (const WireRecord &w : recordsOf(wire))
    if (w.rec.id == 412)
      lengths.push_back((int)w.data.size());
  return lengths;
}

/* Runs stream over job with a raster per page; the compressed length of
   each of the run's fragments, of which there must be `fragments`, goes
   to *packed. */
LoopRun runPerPage(const std::string &stream, print_job_s *job, size_t fragments,
                   std::vector<int> *packed)
{
  LoopRun run = runLoop(stream, "Office", job, SIZE_MAX, 1);
  EXPECT_EQ(run.result, 1);
  *packed = packedLengths(run.wire);
  EXPECT_EQ(packed->size(), fragments);
  packed->resize(fragments);
  return run;
}

struct KeptJob
{
  print_job_s job;
  ~KeptJob() { print_job_release(&job); }
};

} // namespace

TEST(JobsPerPage, SameGeometryReusesTheBufferWhiteAgain)
{
  KeptJob k;
  std::vector<int> packed;
  LoopRun run = runPerPage(std::string(kPage) + "RASTER 4 2 1\n" + lineCommand("abcd") +
                             lineCommand("efgh") + "ENDPAGE\n" + kPage + "RASTER 4 2 1\n" +
                             lineCommand("ijk") + "ENDPAGE\n",
                           &k.job, 2, &packed);
  /* Page 2: one line of 3 bytes (its own length, no complaint about the
     first page's 4), sent from the start of the buffer. */
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + rasterLine("allocated", "8", 1, 0) + endpageLines(4, 4, 2, 1, packed[0]) +
              letterPageLogLines(2) + rasterLine("reused", "8", 1, 0) +
              endpageLines(3, 4, 1, 2, packed[1]));
  std::vector<std::string> pages = pageBitmaps(run.wire);
  /* Bottom-up, groups of three reversed; the last group of a 4-byte line
     reads two bytes on (the next row, or white past the end). */
  EXPECT_EQ(pages[0], std::string("gfe\xFF"
                                  "cbaf"));
  EXPECT_EQ(pages[1], std::string("kji\0", 4));
  /* The same buffer, rewound: the second page's line at its start, the
     rest white again (the first page's bytes are gone). */
  EXPECT_EQ(k.job.raster.bytesPerLine, 3);
  EXPECT_EQ(k.job.raster.nLines, 1);
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data + 3);
  EXPECT_EQ(std::string((char *)k.job.raster.raster_data, 8), "ijk" + std::string(5, '\xFF'));
}

TEST(JobsPerPage, ReuseKeepsTheAddressAndRestartsTheLineCount)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 2 1\n" + lineCommand("abcd"), "Office",
                        &k.job, SIZE_MAX, 1);
  unsigned char *first = k.job.raster.raster_data;
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(k.job.raster.nLines, 1);
  /* A second RASTER within the same page: the page's raster starts again. */
  StderrCapture cap;
  cap.begin();
  raster_command(&k.job.raster, "4 2 1", 612.0f, 792.0f);
  std::string err = cap.end();
  EXPECT_EQ(maskRasterAddress(err), rasterLine("reused", "8", 1, 0));
  EXPECT_EQ(k.job.raster.raster_data, first);
  EXPECT_EQ(k.job.raster.cursor, first);
  EXPECT_EQ(k.job.raster.bytesPerLine, 0);
  EXPECT_EQ(k.job.raster.nLines, 0);
  raster_settle(&k.job.raster);
  EXPECT_EQ(std::string((char *)first, 8), std::string(8, '\xFF'));
}

TEST(JobsPerPage, AnotherGeometryAllocatesAnew)
{
  KeptJob k;
  std::vector<int> packed;
  LoopRun run = runPerPage(std::string(kPage) + "RASTER 4 2 1\n" + lineCommand("abcd") + "ENDPAGE\n" +
                             kPage + "RASTER 2 1 3\n" + lineCommand("RGBrgb") + "ENDPAGE\n" + kPage +
                             "RASTER 2 1 3\n" + "ENDPAGE\n",
                           &k.job, 2, &packed);
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + rasterLine("allocated", "8", 1, 0) + endpageLines(4, 4, 1, 1, packed[0]) +
              letterPageLogLines(2) + rasterLine("allocated", "6", 3, 0) +
              endpageLines(6, 6, 1, 2, packed[1]) + letterPageLogLines(3) + rasterLine("reused", "6", 3, 0) +
              kQ + "ENDPAGE - raster_data OK\"\n" + kQ + "RCPACKET_PRN_BITMAP_HDR sent\"\n" + kD +
              "bitmap bytesPerLine: 0 raster_w: 6 nLines: 0 alignPerLine: 0\n" + kQ +
              "sendLines: 0 rwsize: 0\"\n" + kQ + "RCPACKET_PRN_BITMAP_END sent\"\n" + kQ +
              "PAGE 3 sent\"\n");
  std::vector<std::string> pages = pageBitmaps(run.wire);
  EXPECT_EQ(pages[0], "cba\xFF");
  EXPECT_EQ(pages[1], std::string("BGRbgr\0\0", 8));
  std::vector<WireRecord> recs = recordsOf(run.wire);
  std::vector<uint32_t> headers;
  for (const WireRecord &w : recs)
    if (w.rec.id == 411)
      headers.push_back(w.rec.bitmap.width * 100 + w.rec.bitmap.height);
  EXPECT_EQ(headers, (std::vector<uint32_t>{402, 201, 201}));
  EXPECT_EQ(k.job.raster.size, 6u);
  EXPECT_EQ(k.job.raster.depth, 3u);
}

TEST(JobsPerPage, RefusedRasterLeavesThePageWithoutOne)
{
  KeptJob k;
  std::vector<int> packed;
  LoopRun run = runPerPage(std::string(kPage) + "RASTER 4 2 1\n" + lineCommand("abcd") + "ENDPAGE\n" +
                             kPage + "RASTER 4 2 2\nENDPAGE\n" + kPage + "RASTER 4 2 1\n" +
                             lineCommand("wxyz") + "ENDPAGE\n",
                           &k.job, 2, &packed);
  EXPECT_EQ(maskRasterAddress(run.err),
            letterPageLogLines(1) + rasterLine("allocated", "8", 1, 0) + endpageLines(4, 4, 1, 1, packed[0]) +
              letterPageLogLines(2) + kD + "Raster data CANNOT allocate (4 * 2 * 2) !!!\n" + kQ +
              "ENDPAGE - raster_data EMPTY\"\n" + kD + "NO ALLOCATED raster_data !!!\n" +
              letterPageLogLines(3) + rasterLine("allocated", "8", 1, 0) +
              endpageLines(4, 4, 1, 3, packed[1]));
  std::vector<std::string> pages = pageBitmaps(run.wire);
  EXPECT_EQ(pages[1], "yxw\xFF");
}

TEST(JobsPerPage, RasterWithoutAPageStillRefusedWithTheBuffersAddress)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 2 1\nRASTER\n", "Office", &k.job, SIZE_MAX, 1);
  std::string err = maskRasterAddress(run.err);
  /* The refusal names the buffer that was there; then there is none. */
  EXPECT_EQ(err.substr(0, err.find("RASTER with ERROR")),
            letterPageLogLines(1) + rasterLine("allocated", "8", 1, 0) + kD);
  EXPECT_NE(run.err.find("RASTER with ERROR: value '(null)' raster_data: 0x"), std::string::npos);
  EXPECT_EQ(run.err.find("raster_data: 0x0 "), std::string::npos);
  EXPECT_EQ(k.job.raster.raster_data, nullptr);
}

TEST(JobsPerPage, WithoutTheModeTheSecondRasterIsRefused)
{
  KeptJob k;
  LoopRun run = runLoop(std::string(kPage) + "RASTER 4 2 1\n" + lineCommand("abcd") + kPage +
                          "RASTER 4 2 1\n",
                        "Office", &k.job);
  EXPECT_NE(run.err.find("RASTER with ERROR: value '4 2 1'"), std::string::npos);
  EXPECT_EQ(k.job.raster.cursor, k.job.raster.raster_data + 4);
  EXPECT_EQ(k.job.raster.bytesPerLine, 4);
}

TEST(JobsPerPage, ReleaseKeepsTheMode)
{
  print_job_s job;
  print_job_init(&job, -1, "Office", 1);
  EXPECT_EQ(job.raster.perPage, 0);
  job.raster.perPage = 1;
  job.raster.limit = 1000;
  print_job_release(&job);
  EXPECT_EQ(job.raster.perPage, 1);
  EXPECT_EQ(job.raster.limit, 1000u);
}

/* ---- the device URI ---- */

namespace {

struct UriRun
{
  int perPage;
  std::string err;
};

UriRun parseUri(const char *uri)
{
  device_uri_options_s options;
  memset(&options, 0x5A, sizeof(options));
  StderrCapture cap;
  cap.begin();
  device_uri_parse(uri, &options);
  UriRun r;
  r.err = cap.end();
  r.perPage = options.perPage;
  return r;
}

} // namespace

TEST(DeviceUri, PerPageOption)
{
  UriRun r = parseUri("CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page");
  EXPECT_EQ(r.perPage, 1);
  EXPECT_EQ(r.err, "");
  r = parseUri("CorvaneBackend://Corvane/Corvane_Generic_Printer?&raster=per-page&#frag");
  EXPECT_EQ(r.perPage, 1);
  EXPECT_EQ(r.err, "");
}

TEST(DeviceUri, NoOptions)
{
  for (const char *uri : {"CorvaneBackend://Corvane/Corvane_Generic_Printer",
                          "CorvaneBackend://Corvane/Corvane_Generic_Printer?", "", "?&&"})
  {
    UriRun r = parseUri(uri);
    EXPECT_EQ(r.perPage, 0) << uri;
    EXPECT_EQ(r.err, "") << uri;
  }
  UriRun r = parseUri(nullptr);
  EXPECT_EQ(r.perPage, 0);
  EXPECT_EQ(r.err, "");
}

TEST(DeviceUri, UnknownOptionsAreNamedAndIgnored)
{
  UriRun r = parseUri("CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-job&speed=fast"
                      "&raster=per-page&RASTER=PER-PAGE&x#raster=no");
  EXPECT_EQ(r.perPage, 1);
  EXPECT_EQ(r.err, kD + "device URI option 'raster=per-job' unknown, ignored\n" + kD +
                     "device URI option 'speed=fast' unknown, ignored\n" + kD +
                     "device URI option 'RASTER=PER-PAGE' unknown, ignored\n" + kD +
                     "device URI option 'x' unknown, ignored\n");
  r = parseUri("CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-pages");
  EXPECT_EQ(r.perPage, 0);
  EXPECT_EQ(r.err, kD + "device URI option 'raster=per-pages' unknown, ignored\n");
}

TEST(DeviceUri, TheRunsUriComesFromDeviceUriThenArgv0)
{
  const char *saved = getenv("DEVICE_URI");
  std::string keep = saved ? saved : "";
  setenv("DEVICE_URI", "CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page", 1);
  EXPECT_STREQ(device_uri_of_run("CorvaneBackend://Corvane/Corvane_Generic_Printer"),
               "CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page");
  setenv("DEVICE_URI", "", 1);
  EXPECT_STREQ(device_uri_of_run("CorvaneBackend://Corvane/Corvane_Generic_Printer?a=b"),
               "CorvaneBackend://Corvane/Corvane_Generic_Printer?a=b");
  unsetenv("DEVICE_URI");
  EXPECT_STREQ(device_uri_of_run("CorvaneBackend://x"), "CorvaneBackend://x");
  /* Started by hand: a program path is no URI, whatever it holds. */
  EXPECT_EQ(device_uri_of_run("/usr/lib/cups/backend/CorvaneBackend"), nullptr);
  EXPECT_EQ(device_uri_of_run("./odd?raster=per-page"), nullptr);
  EXPECT_EQ(device_uri_of_run(nullptr), nullptr);
  if (saved)
    setenv("DEVICE_URI", keep.c_str(), 1);
}
