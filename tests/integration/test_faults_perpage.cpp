/*
 * test_faults_perpage.cpp - the real backend with the device URI's option
 * raster=per-page: every page arrives with its own rows, and the peak
 * memory of a twenty-page job is that of a one-page job (within 1 MiB),
 * measured with wait4 as the other memory tests do; an option the backend
 * does not know is named in one line and changes nothing else.
 */
#include <stdio.h>
#include <string.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "records_wire.h"
#include "backend_run.h"
#include "socket_sink.h"
#include "socket_transport.h"
#include "faults_support.h"

namespace {

const char kPerPageUri[] = "DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page";

class PerPageFaults : public FaultsTest
{
};

/* An A4 page at 150 dpi in colour: rows of noise, seeded by page and row,
   so that no page's bitmap can pass for another's. */
const uint32_t kW = 1240, kH = 1754, kRow = kW * 3;

uint32_t seedOf(int page, uint32_t row)
{
  return (uint32_t)page * 100000u + row + 1u;
}

/* The page's bitmap as ENDPAGE must send it: bottom-up, every group of
   three bytes reversed (rows of 3720 bytes: no padding). */
std::string pageBitmap(int page)
{
  std::string expected;
  expected.reserve((size_t)kRow * kH);
  for (uint32_t r = kH; r-- > 0;)
  {
    std::string row = noiseBytes(kRow, seedOf(page, r));
    for (uint32_t g = 0; g < kRow; g += 3)
    {
      expected.push_back(row[g + 2]);
      expected.push_back(row[g + 1]);
      expected.push_back(row[g]);
    }
  }
  return expected;
}

struct PagesRun
{
  BackendExit exit;
  long forkedKb = 0;
  int pagesExact = 0; /* pages that arrived with exactly their own rows */
  int pagesSent = 0;  /* bitmap headers received */
};

std::vector<std::vector<WireRecord>> fragmentsByPage(const std::vector<WireRecord> &recs);

/* Runs a job of `pages` pages under the per-page device URI and checks
   what arrived; nothing of it is kept, so that this process stays small
   for the next fork. */
void runPages(int pages, PagesRun *run)
{
  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  BackendOptions o;
  o.env = faultsEnvironment({kPerPageUri});
  BackendProcess b;
  ASSERT_TRUE(backendStart(&b, o));
  run->forkedKb = b.parentRssKb;
  /* The stream is made after the fork, row by row. */
  std::thread feeder([&] {
    bool ok = backendWrite(&b, "PRINTERMODEL per page\nDOCUMENT\nPAGENAME A4\n");
    for (int page = 0; page < pages && ok; page++)
    {
      ok = backendWrite(&b, "PAGE 0 0 595 842 0 0 0 150 150 0\nRASTER 1240 1754 3\n");
      for (uint32_t r = 0; r < kH && ok; r++)
        ok = backendWrite(&b, faultsLine(noiseBytes(kRow, seedOf(page, r))));
      ok = ok && backendWrite(&b, "ENDPAGE\n");
    }
    if (ok)
      backendWrite(&b, "ENDDOCUMENT\n");
    backendCloseInput(&b);
  });
  backendWait(&b, 600, &run->exit);
  feeder.join();
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 60));
  std::string wire = sinkReceived(&sink, 0);
  sinkStop(&sink);
  std::string error;
  std::vector<WireRecord> recs;
  EXPECT_TRUE(decodeWire(wire, &recs, &error)) << error;
  std::vector<std::vector<WireRecord>> sent = fragmentsByPage(recs);
  run->pagesSent = (int)sent.size();
  for (size_t page = 0; page < sent.size(); page++)
    if (wireBitmap(sent[page]) == pageBitmap((int)page))
      run->pagesExact++;
}

/* The fragments of each page, page by page. */
std::vector<std::vector<WireRecord>> fragmentsByPage(const std::vector<WireRecord> &recs)
{
  std::vector<std::vector<WireRecord>> pages;
  for (const WireRecord &w : recs)
  {
    if (w.rec.id == 411)
      pages.emplace_back();
    else if (w.rec.id == 412 && !pages.empty())
      pages.back().push_back(w);
  }
  return pages;
}

size_t countOf(const std::string &text, const std::string &what)
{
  size_t n = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
    n++;
  return n;
}

} // namespace

TEST_F(PerPageFaults, TwentyPagesEachItsOwnAndPeakMemoryOfOnePage)
{
  PagesRun one, twenty;
  runPages(1, &one);
  runPages(20, &twenty);
  ASSERT_TRUE(one.exit.child.exited);
  ASSERT_EQ(one.exit.child.exitStatus, 0) << one.exit.child.err;
  ASSERT_TRUE(twenty.exit.child.exited);
  ASSERT_EQ(twenty.exit.child.exitStatus, 0) << twenty.exit.child.err;

  /* Every page arrived with its own rows. */
  EXPECT_EQ(twenty.pagesSent, 20);
  EXPECT_EQ(twenty.pagesExact, 20);
  EXPECT_EQ(one.pagesSent, 1);
  EXPECT_EQ(one.pagesExact, 1);

  /* One allocation, then the same buffer for every later page. */
  const std::string &err = twenty.exit.child.err;
  EXPECT_EQ(countOf(err, "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x"), 1u);
  EXPECT_EQ(countOf(err, "DEBUG: CorvaneBackend - Raster data reused and cleared to white: 0x"), 19u);
  EXPECT_EQ(countOf(err, "RASTER with ERROR"), 0u);
  EXPECT_EQ(countOf(err, "DEBUG: LINE - bytesPerLine"), 0u);
  EXPECT_EQ(countOf(err, "device URI option"), 0u);

  const long oneKb = one.exit.usage.ru_maxrss, twentyKb = twenty.exit.usage.ru_maxrss;
  printf("per-page raster: backend peak RSS %ld KiB for 1 page, %ld KiB for 20 pages (difference %ld "
         "KiB, raster %u KiB); this process had %ld and %ld KiB resident when it forked%s\n",
         oneKb, twentyKb, twentyKb - oneKb, (kRow * kH + 1023) / 1024, one.forkedKb, twenty.forkedKb,
         FAULTS_UNDER_ASAN ? " (address sanitizer build: not judged)" : "");
  if (!FAULTS_UNDER_ASAN)
  {
    EXPECT_LT(one.forkedKb, oneKb) << "the measurement would be this process's size";
    EXPECT_LT(twenty.forkedKb, twentyKb) << "the measurement would be this process's size";
    EXPECT_LE(twentyKb, oneKb + 1024);
    EXPECT_GE(twentyKb, oneKb - 1024);
    /* And the raster is really there in both. */
    EXPECT_GE(oneKb, (long)(kRow * kH / 1024));
  }
}

TEST_F(PerPageFaults, UnknownOptionIsNamedOnceAndIgnored)
{
  BackendOptions o;
  o.env = faultsEnvironment(
    {"DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?speed=fast&raster=per-job"});
  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  BackendExit e = runBackend("DOCUMENT\nENDDOCUMENT\n", o);
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 60));
  sinkStop(&sink);
  ASSERT_TRUE(e.child.exited);
  EXPECT_EQ(e.child.exitStatus, 0);
  EXPECT_EQ(faultsMaskLog(e.child.err),
            faultsJobStart() +
              "DEBUG: CorvaneBackend - device URI option 'speed=fast' unknown, ignored\n"
              "DEBUG: CorvaneBackend - device URI option 'raster=per-job' unknown, ignored\n"
              "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" +
              finishedLine());
}
