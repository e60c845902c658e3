/*
 * test_driver_chain.cpp - documents printed through the whole chain: a
 * private CUPS scheduler with the system's filters and rastertocorvane, a
 * queue with the printer's PPD and the per-page device URI, the real
 * backend, and kivprinter-host receiving the pages.
 *
 * Each received page is compared with a ghostscript rendering of the same
 * document at the same resolution.  The measure is the mean absolute
 * difference of all samples (0 to 255, gray pages against the reference's
 * luminance); a page passes at MAX_MEAN_DIFFERENCE or below and must be
 * nearer its own reference page than any other page of the document.
 */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "cupsd_fixture.h"
#include "host_support.h"
#include "test_files.h"

namespace {

const char kPerPageUri[] = "CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page";
const double MAX_MEAN_DIFFERENCE = 4.0;

/* Runs a program; its standard output, or "" when it failed. */
bool runTool(const std::vector<std::string> &argv, std::string *out = nullptr,
             const std::vector<std::string> &extraEnv = {})
{
  ChildOptions o;
  o.argv = argv;
  o.env = environmentWithout({"CUPS_SERVER", "PRINTER", "PPD"});
  for (const std::string &e : extraEnv)
    o.env.push_back(e);
  o.stdinIsDevNull = true;
  o.timeoutSeconds = 120;
  ChildResult r = runChild(o);
  if (out)
    *out = r.out;
  if (!r.exited || r.exitStatus != 0)
    fprintf(stderr, "%s failed: %s\n", argv[0].c_str(), r.err.c_str());
  return r.exited && r.exitStatus == 0;
}

/* Reads a binary PPM (P6) or PGM (P5) file. */
bool readPnm(const std::string &path, PageImage *image)
{
  std::string data = readFileText(path);
  if (data.size() < 2 || data[0] != 'P' || (data[1] != '6' && data[1] != '5'))
    return false;
  unsigned values[3];
  size_t pos = 2;
  for (int i = 0; i < 3; i++)
  {
    while (pos < data.size() && (isspace((unsigned char)data[pos]) || data[pos] == '#'))
    {
      if (data[pos] == '#')
        pos = data.find('\n', pos);
      else
        pos++;
    }
    values[i] = (unsigned)strtoul(data.c_str() + pos, nullptr, 10);
    while (pos < data.size() && isdigit((unsigned char)data[pos]))
      pos++;
  }
  pos++;
  image->width = values[0];
  image->height = values[1];
  image->channels = data[1] == '6' ? 3 : 1;
  size_t size = (size_t)image->width * image->height * image->channels;
  if (values[2] != 255 || pos + size > data.size())
    return false;
  image->pixels.assign(data.begin() + (long)pos, data.begin() + (long)(pos + size));
  return true;
}

/* The mean absolute sample difference of a received page and a reference
   (over the common area; a size difference of more than 2 pixels counts
   as 255). */
double meanDifference(const PageImage &page, const PageImage &ref)
{
  if (page.width + 2 < ref.width || ref.width + 2 < page.width || page.height + 2 < ref.height ||
      ref.height + 2 < page.height)
    return 255.0;
  uint32_t w = std::min(page.width, ref.width), h = std::min(page.height, ref.height);
  double sum = 0;
  unsigned long long n = 0;
  for (uint32_t y = 0; y < h; y++)
    for (uint32_t x = 0; x < w; x++)
    {
      const uint8_t *p = &page.pixels[((size_t)y * page.width + x) * page.channels];
      const uint8_t *r = &ref.pixels[((size_t)y * ref.width + x) * ref.channels];
      if (page.channels == 3 && ref.channels == 3)
      {
        for (int c = 0; c < 3; c++)
          sum += abs((int)p[c] - (int)r[c]);
        n += 3;
      }
      else
      {
        int pg = page.channels == 3 ? (p[0] * 30 + p[1] * 59 + p[2] * 11) / 100 : p[0];
        int rg = ref.channels == 3 ? (r[0] * 30 + r[1] * 59 + r[2] * 11) / 100 : r[0];
        sum += abs(pg - rg);
        n++;
      }
    }
  return n ? sum / (double)n : 255.0;
}

/* The page count the scheduler's page log gives job id on queue: its line
   "<queue> <user> <id> [<time>] total <n> ..." at the job's end; -1 when
   there is none. */
int pageLogTotal(const std::string &pageLog, const std::string &queue, int id)
{
  for (const std::string &line : splitLines(pageLog))
  {
    char q[64], user[64];
    int job = 0, total = -1;
    if (sscanf(line.c_str(), "%63s %63s %d", q, user, &job) != 3 || queue != q || job != id)
      continue;
    size_t at = line.find("] total ");
    if (at != std::string::npos && sscanf(line.c_str() + at + 8, "%d", &total) == 1)
      return total;
  }
  return -1;
}

/* ghostscript's rendering of a PDF, one image per page. */
std::vector<PageImage> renderReference(const std::string &pdf, const std::string &parent, int dpi, bool gray)
{
  static int n = 0;
  std::vector<PageImage> pages;
  std::string dir = parent + "/ref" + std::to_string(++n);
  mkdir(dir.c_str(), 0755);
  std::string pattern = dir + "/ref-%03d." + (gray ? "pgm" : "ppm");
  if (!runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER",
                gray ? "-sDEVICE=pgmraw" : "-sDEVICE=ppmraw", "-r" + std::to_string(dpi),
                "-sOutputFile=" + pattern, pdf}))
    return pages;
  for (int i = 1;; i++)
  {
    char name[32];
    snprintf(name, sizeof name, "/ref-%03d.%s", i, gray ? "pgm" : "ppm");
    PageImage p;
    if (!readPnm(dir + name, &p))
      break;
    pages.push_back(p);
  }
  return pages;
}

/* A PostScript program of n pages, each with its number in large type, a
   coloured block at a place of its own and a line of text. */
std::string distinctPagesPostScript(int n)
{
  std::string ps = "%!PS\n<< /PageSize [595 842] >> setpagedevice\n";
  const char *colours[] = {"1 0 0", "0 0.6 0", "0 0 1", "0.8 0.5 0"};
  for (int i = 0; i < n; i++)
  {
    ps += colours[i % 4] + std::string(" setrgbcolor ") + std::to_string(60 + i * 90) + " " +
          std::to_string(500 - i * 80) + " 220 160 rectfill\n";
    ps += "0 setgray /Helvetica-Bold findfont 200 scalefont setfont 200 150 moveto (" +
          std::to_string(i + 1) + ") show\n";
    ps += "/Helvetica findfont 18 scalefont setfont 60 780 moveto (Page " + std::to_string(i + 1) +
          " of the chain test) show showpage\n";
  }
  return ps;
}

struct JobResult
{
  std::string folder;
  std::vector<PageImage> pages;
  std::string json;
  bool complete = false;
};

class DriverChain : public ::testing::Test
{
protected:
  static CupsdFixture *cupsd;
  static Receiver *receiver;
  static std::string dir;
  static unsigned hostJobs;

  static void SetUpTestSuite()
  {
    dir = makeTempDir("driver-chain");
    cupsd = new CupsdFixture;
    CupsdStartOptions options;
    options.backendProgram = std::string(CORVANE_BIN_DIR) + "/CorvaneBackend";
    options.debugLog = true;
    if (!cupsdStart(cupsd, options))
    {
      fprintf(stderr, "scheduler: %s\n", cupsdLastError().c_str());
      return;
    }
    cupsdAddFilter(cupsd, "rastertocorvane", std::string(CORVANE_BIN_DIR) + "/rastertocorvane");
    std::string ppd = std::string(CORVANE_BUILD_DIR) + "/ppd/corvane.ppd";
    cupsdRunClient(cupsd, {"lpadmin", "-p", "Office", "-D", "Office Laser", "-v", kPerPageUri, "-P", ppd, "-E"});
    cupsdRunClient(cupsd, {"lpadmin", "-p", "Plain", "-D", "Plain Laser", "-v", CUPSD_FIXTURE_DEFAULT_URI, "-P", ppd, "-E"});
    receiver = new Receiver;
    std::string why;
    if (!receiverStartOnFixedPath(receiver, dir, &why))
      fprintf(stderr, "receiver: %s\n", why.c_str());
  }

  static void TearDownTestSuite()
  {
    if (receiver && receiver->pid > 0)
      receiverStop(receiver, SIGTERM, 30);
    if (cupsd)
      cupsdStop(cupsd);
    delete receiver;
    delete cupsd;
    receiver = nullptr;
    cupsd = nullptr;
    /* CORVANE_KEEP_TEST_DIR keeps the documents, references and pages. */
    if (!getenv("CORVANE_KEEP_TEST_DIR"))
      removeTempDir(dir);
  }

  void SetUp() override
  {
    ASSERT_TRUE(cupsd && cupsd->pid > 0) << cupsdLastError();
    ASSERT_TRUE(receiver && receiver->pid > 0);
  }

  /* Submits file to queue with lp and the options; the CUPS job id. */
  int submit(const std::string &queue, const std::string &file, const std::vector<std::string> &options)
  {
    std::vector<std::string> args = {"lp", "-d", queue};
    for (const std::string &o : options)
    {
      args.push_back(o.rfind("-", 0) == 0 ? o : "-o");
      if (o.rfind("-", 0) != 0)
        args.push_back(o);
    }
    args.push_back(file);
    std::string out;
    if (cupsdRunClient(cupsd, args, &out) != 0)
    {
      ADD_FAILURE() << out;
      return -1;
    }
    size_t at = out.find("request id is " + queue + "-");
    return at == std::string::npos ? -1 : atoi(out.c_str() + at + 15 + queue.size());
  }

  /* Waits for the receiver's next job to end and reads what it saved. */
  JobResult nextJob(int timeoutSeconds = 240)
  {
    JobResult j;
    unsigned k = ++hostJobs;
    std::string prefix = "job " + std::to_string(k) + ": ";
    bool ended = false;
    for (int waited = 0; !ended && waited < timeoutSeconds; waited++)
      ended = receiverWaitFor(receiver, false, prefix + "complete", 1) ||
              receiverWaitFor(receiver, false, prefix + "incomplete", 0);
    EXPECT_TRUE(ended) << receiverOut(receiver) << receiverErr(receiver) << cupsdLog(cupsd);
    std::string out = receiverOut(receiver);
    j.complete = out.find(prefix + "complete") != std::string::npos;
    std::string saving = "job " + std::to_string(k) + ": printer ";
    size_t at = out.find(saving);
    if (at != std::string::npos)
    {
      size_t to = out.find(", saving to ", at);
      size_t end = out.find('\n', to);
      if (to != std::string::npos && end != std::string::npos)
        j.folder = out.substr(to + 12, end - to - 12);
    }
    for (int i = 1;; i++)
    {
      char name[32];
      snprintf(name, sizeof name, "/page-%03d.png", i);
      PageImage p;
      if (j.folder.empty() || !readPng(j.folder + name, &p))
        break;
      j.pages.push_back(p);
    }
    j.json = readFileText(j.folder + "/job.json");
    return j;
  }

  /* Waits until the scheduler's log shows the job's end. */
  std::string waitJobLogged(int id, const std::string &what)
  {
    std::string log;
    std::string needle = "[Job " + std::to_string(id) + "] " + what;
    for (int tries = 0; tries < 600; tries++)
    {
      log = cupsdLog(cupsd);
      if (log.find(needle) != std::string::npos)
        break;
      usleep(100000);
    }
    return log;
  }

  /* Checks pages against references: each close to and nearest its own. */
  void expectPagesMatch(const std::vector<PageImage> &pages, const std::vector<PageImage> &refs,
                        const std::string &what)
  {
    ASSERT_EQ(refs.size(), pages.size()) << what;
    for (size_t i = 0; i < pages.size(); i++)
    {
      double own = meanDifference(pages[i], refs[i]);
      printf("[ similarity ] %s page %zu: mean difference %.3f (of 255) to its reference (%ux%u, reference %ux%u)\n", what.c_str(), i + 1, own,
             pages[i].width, pages[i].height, refs[i].width, refs[i].height);
      EXPECT_LE(own, MAX_MEAN_DIFFERENCE) << what << " page " << i + 1;
      for (size_t k = 0; k < refs.size(); k++)
      {
        /* A repeated reference page (copies) is the same page. */
        if (k != i && imageDifference(refs[k], refs[i]) != "")
        {
          EXPECT_LT(own, meanDifference(pages[i], refs[k])) << what << " page " << i + 1 << " vs reference " << k + 1;
        }
      }
    }
  }

  /* The page start records of job.json, in order. */
  static std::vector<std::string> pageStarts(const std::string &json)
  {
    std::vector<std::string> out;
    size_t at = 0;
    while ((at = json.find("\"type\":\"RCPACKET_PRN_PAGE_START\"", at)) != std::string::npos)
    {
      size_t end = json.find('}', json.find("\"collate\"", at));
      out.push_back(json.substr(at, end - at + 1));
      at = end;
    }
    return out;
  }
};

CupsdFixture *DriverChain::cupsd = nullptr;
Receiver *DriverChain::receiver = nullptr;
std::string DriverChain::dir;
unsigned DriverChain::hostJobs = 0;

TEST_F(DriverChain, PdfOfThreePagesArrivesPageByPage)
{
  std::string ps = dir + "/three.ps", pdf = dir + "/three.pdf";
  ASSERT_TRUE(writeFileBytes(ps, distinctPagesPostScript(3)));
  ASSERT_TRUE(runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pdfwrite", "-sOutputFile=" + pdf, ps}));
  chmod(pdf.c_str(), 0644);
  int id = submit("Office", pdf, {"Resolution=150dpi"});
  ASSERT_GT(id, 0);
  JobResult j = nextJob();
  EXPECT_TRUE(j.complete);
  std::vector<PageImage> refs = renderReference(pdf, dir, 150, false);
  ASSERT_EQ(3u, refs.size());
  expectPagesMatch(j.pages, refs, "PDF");
  std::string log = waitJobLogged(id, "Job completed.");
  EXPECT_EQ(3, pageLogTotal(readFileText(cupsd->dir + "/log/page_log"), "Office", id)) << readFileText(cupsd->dir + "/log/page_log");
  EXPECT_EQ(0u, hostCount(log, "[Job " + std::to_string(id) + "] WARNING"));
}

TEST_F(DriverChain, TextOfTwoPagesArrivesPageByPage)
{
  std::string text = dir + "/two.txt", pdf = dir + "/two.pdf";
  std::string body;
  for (int i = 1; i <= 20; i++)
    body += "First page, line " + std::to_string(i) + ": the quick brown fox jumps over the lazy dog.\n";
  body += "\f";
  for (int i = 1; i <= 40; i++)
    body += "Second page, line " + std::to_string(i) + "\n";
  ASSERT_TRUE(writeFileBytes(text, body));
  chmod(text.c_str(), 0644);
  int id = submit("Office", text, {"Resolution=150dpi"});
  ASSERT_GT(id, 0);
  JobResult j = nextJob();
  EXPECT_TRUE(j.complete);
  /* The reference: the same text filter, then ghostscript. */
  std::string pdfBytes;
  /* CHARSET as the scheduler sets it: it chooses the font. */
  ASSERT_TRUE(runTool({"/usr/lib/cups/filter/texttopdf", "1", "user", "two", "1", "", text}, &pdfBytes,
                      {"PPD=" + std::string(CORVANE_BUILD_DIR) + "/ppd/corvane.ppd", "CHARSET=utf-8"}));
  ASSERT_TRUE(writeFileBytes(pdf, pdfBytes));
  std::vector<PageImage> refs = renderReference(pdf, dir, 150, false);
  ASSERT_EQ(2u, refs.size());
  expectPagesMatch(j.pages, refs, "text");
  waitJobLogged(id, "Job completed.");
  EXPECT_EQ(2, pageLogTotal(readFileText(cupsd->dir + "/log/page_log"), "Office", id));
}

TEST_F(DriverChain, PngImageArrivesAsOnePage)
{
  std::string ps = dir + "/image.ps", png = dir + "/image.png", pdf = dir + "/image.pdf";
  ASSERT_TRUE(writeFileBytes(ps, "%!PS\n<< /PageSize [300 200] >> setpagedevice\n1 0.8 0 setrgbcolor 0 0 300 200 rectfill\n"
                                 "0 0 1 setrgbcolor 40 40 120 100 rectfill 0 setgray /Helvetica findfont 40 scalefont setfont 170 80 moveto (PNG) show showpage\n"));
  ASSERT_TRUE(runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=png16m", "-r72", "-sOutputFile=" + png, ps}));
  chmod(png.c_str(), 0644);
  int id = submit("Office", png, {"Resolution=150dpi"});
  ASSERT_GT(id, 0);
  JobResult j = nextJob();
  EXPECT_TRUE(j.complete);
  std::string pdfBytes;
  ASSERT_TRUE(runTool({"/usr/lib/cups/filter/imagetopdf", "1", "user", "image", "1", "", png}, &pdfBytes,
                      {"PPD=" + std::string(CORVANE_BUILD_DIR) + "/ppd/corvane.ppd", "CHARSET=utf-8"}));
  ASSERT_TRUE(writeFileBytes(pdf, pdfBytes));
  std::vector<PageImage> refs = renderReference(pdf, dir, 150, false);
  ASSERT_EQ(1u, refs.size());
  expectPagesMatch(j.pages, refs, "PNG");
  waitJobLogged(id, "Job completed.");
  EXPECT_EQ(1, pageLogTotal(readFileText(cupsd->dir + "/log/page_log"), "Office", id));
}

/* The options a user gives lp reach the page records. */
TEST_F(DriverChain, OptionsReachTheRecords)
{
  std::string ps = dir + "/one.ps", pdf = dir + "/one.pdf";
  ASSERT_TRUE(writeFileBytes(ps, distinctPagesPostScript(1)));
  ASSERT_TRUE(runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pdfwrite", "-sOutputFile=" + pdf, ps}));
  chmod(pdf.c_str(), 0644);
  struct Case
  {
    std::vector<std::string> options;
    const char *expect; /* text of the page start record */
    const char *bitmap; /* text of the bitmap header */
    uint32_t channels;
  } cases[] = {
    {{"media=Letter", "Resolution=150dpi"},
     "\"paper\":{\"code\":1,\"name\":\"Letter\"},\"paperWidthMm\":215.9,\"paperLengthMm\":279.4,\"scale\":100,\"copies\":1,\"defaultSource\":7,\"printQuality\":150,\"color\":{\"code\":2,\"name\":\"color\"},\"duplex\":{\"code\":1,\"name\":\"simplex\"}",
     "\"width\":1275,\"height\":1650,\"constant\":1,\"xResolution\":150,\"yResolution\":150",
     3},
    {{"ColorModel=Gray", "Resolution=150dpi"},
     "\"paperLengthMm\":297.0,\"scale\":100,\"copies\":1,\"defaultSource\":7,\"printQuality\":150,\"color\":{\"code\":1,\"name\":\"monochrome\"}",
     "\"height\":1754,\"constant\":1,\"xResolution\":150,\"yResolution\":150",
     1},
    {{"sides=two-sided-long-edge", "Resolution=150dpi"},
     "\"printQuality\":150,\"color\":{\"code\":2,\"name\":\"color\"},\"duplex\":{\"code\":3,\"name\":\"horizontal\"}",
     "\"xResolution\":150",
     3},
    {{"sides=two-sided-short-edge", "Resolution=150dpi"},
     "\"printQuality\":150,\"color\":{\"code\":2,\"name\":\"color\"},\"duplex\":{\"code\":2,\"name\":\"vertical\"}",
     "\"xResolution\":150",
     3},
    {{},
     "\"paperLengthMm\":297.0,\"scale\":100,\"copies\":1,\"defaultSource\":7,\"printQuality\":300,\"color\":{\"code\":2,\"name\":\"color\"},\"duplex\":{\"code\":1,\"name\":\"simplex\"}",
     "\"height\":3508,\"constant\":1,\"xResolution\":300,\"yResolution\":300",
     3},
  };
  for (const Case &c : cases)
  {
    std::string what;
    for (const std::string &o : c.options)
      what += o + " ";
    int id = submit("Office", pdf, c.options);
    ASSERT_GT(id, 0) << what;
    JobResult j = nextJob();
    EXPECT_TRUE(j.complete) << what;
    std::vector<std::string> starts = pageStarts(j.json);
    ASSERT_EQ(1u, starts.size()) << what << j.json;
    EXPECT_NE(std::string::npos, starts[0].find(c.expect)) << what << "\n"
                                                           << starts[0];
    EXPECT_NE(std::string::npos, j.json.find(c.bitmap)) << what << "\n"
                                                        << j.json;
    ASSERT_EQ(1u, j.pages.size()) << what;
    EXPECT_EQ(c.channels, j.pages[0].channels) << what;
    waitJobLogged(id, "Job completed.");
  }
}

/* Copies are made by the filters: two copies of two pages are four pages,
   collated when asked. */
TEST_F(DriverChain, CopiesArriveAsPages)
{
  std::string ps = dir + "/copies.ps", pdf = dir + "/copies.pdf";
  ASSERT_TRUE(writeFileBytes(ps, distinctPagesPostScript(2)));
  ASSERT_TRUE(runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pdfwrite", "-sOutputFile=" + pdf, ps}));
  chmod(pdf.c_str(), 0644);
  std::vector<PageImage> refs = renderReference(pdf, dir, 150, false);
  ASSERT_EQ(2u, refs.size());
  int id = submit("Office", pdf, {"-n2", "collate=true", "Resolution=150dpi"});
  ASSERT_GT(id, 0);
  JobResult j = nextJob();
  EXPECT_TRUE(j.complete);
  expectPagesMatch(j.pages, {refs[0], refs[1], refs[0], refs[1]}, "collated copies");
  waitJobLogged(id, "Job completed.");
}

/* Cancelling in the middle of a page ends filter and backend at once; the
   queue stays enabled and the receiver marks the job incomplete. */
TEST_F(DriverChain, CancelMidPage)
{
  std::string ps = dir + "/long.ps", pdf = dir + "/long.pdf";
  /* Eight pages at 600 dpi: once the first has arrived, the job has
     seconds of work left, so the cancel falls inside it. */
  ASSERT_TRUE(writeFileBytes(ps, distinctPagesPostScript(8)));
  ASSERT_TRUE(runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pdfwrite", "-sOutputFile=" + pdf, ps}));
  chmod(pdf.c_str(), 0644);
  int id = submit("Office", pdf, {"Resolution=600dpi"});
  ASSERT_GT(id, 0);
  unsigned k = hostJobs + 1;
  /* Once the first page has arrived the second is on its way. */
  ASSERT_TRUE(receiverWaitFor(receiver, false, "job " + std::to_string(k) + " page 1: ", 240)) << receiverOut(receiver) << cupsdLog(cupsd);
  std::string out;
  EXPECT_EQ(0, cupsdRunClient(cupsd, {"cancel", "Office-" + std::to_string(id)}, &out)) << out;
  JobResult j = nextJob(120);
  EXPECT_FALSE(j.complete);
  EXPECT_LT(j.pages.size(), 8u);
  EXPECT_NE(std::string::npos, j.json.find("\"status\":\"incomplete\"")) << j.json;
  std::string log = waitJobLogged(id, "Canceled by \"root\".");
  std::string job = "[Job " + std::to_string(id) + "] ";
  EXPECT_NE(std::string::npos, log.find(job + "Canceled by \"root\".")) << log;
  /* The filter stopped at the next row and ended well. */
  EXPECT_NE(std::string::npos, log.find("/filter/rastertocorvane) exited with no errors.")) << log;
  std::string state;
  cupsdRunClient(cupsd, {"lpstat", "-p", "Office"}, &state);
  EXPECT_NE(std::string::npos, state.find("enabled")) << state;
  EXPECT_EQ(std::string::npos, log.find("[Job " + std::to_string(id) + "] Backend returned status")) << log;
}

/* A queue whose device URI does not ask for per-page rasters keeps the
   backend's single raster: the second page repeats the first, and the
   filter warns about it in the job log. */
TEST_F(DriverChain, QueueWithoutTheOptionRepeatsTheFirstPage)
{
  std::string ps = dir + "/plain.ps", pdf = dir + "/plain.pdf";
  ASSERT_TRUE(writeFileBytes(ps, distinctPagesPostScript(2)));
  ASSERT_TRUE(runTool({"/usr/bin/gs", "-q", "-dNOPAUSE", "-dBATCH", "-dSAFER", "-sDEVICE=pdfwrite", "-sOutputFile=" + pdf, ps}));
  chmod(pdf.c_str(), 0644);
  int id = submit("Plain", pdf, {"Resolution=150dpi"});
  ASSERT_GT(id, 0);
  JobResult j = nextJob();
  EXPECT_TRUE(j.complete);
  ASSERT_EQ(2u, j.pages.size());
  EXPECT_EQ("", imageDifference(j.pages[0], j.pages[1]));
  std::vector<PageImage> refs = renderReference(pdf, dir, 150, false);
  ASSERT_EQ(2u, refs.size());
  EXPECT_LE(meanDifference(j.pages[0], refs[0]), MAX_MEAN_DIFFERENCE);
  std::string log = waitJobLogged(id, "Job completed.");
  EXPECT_NE(std::string::npos, log.find("[Job " + std::to_string(id) + "] This job has more than one page, but the printer")) << log;
}

} // namespace
