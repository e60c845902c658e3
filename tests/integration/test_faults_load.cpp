/*
 * test_faults_load.cpp - load and memory: sixteen backends at once, each
 * printing a ten-page job to one host, nothing lost and every page exact;
 * and the backend's peak memory, which must stay at the page raster plus
 * the two buffers of ENDPAGE (2,000,000 + 2,400,000 bytes) plus a small
 * constant, measured with wait4 on a real A4 job.
 *
 * A child's peak RSS as wait4 reports it also covers what this process had
 * resident when it forked (the copy of it that the child started as), so
 * every stream is made after the fork and each measurement is checked to
 * be larger than this process was at that moment.  Under the address
 * sanitizer the numbers are printed but not judged: its shadow memory and
 * quarantine are no part of the backend.
 */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
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

/* The two ENDPAGE buffers, and the allowance for everything else the
   backend may add to its size after the start (stack, stdio, allocator
   bookkeeping): the "small constant". */
const long kEndpageBuffers = 2000000 + 2400000;
const long kConstantKb = 1024;

const std::string kQ = "DEBUG: \"CorvaneBackend - ";
const std::string kD = "DEBUG: CorvaneBackend - ";

class LoadFaults : public FaultsTest
{
};

/* The peak RSS (KiB) of a job that prints nothing: the backend's size
   after its start, the lookup and the connection. */
long baselineKb(long *parentKb)
{
  SocketSink sink;
  EXPECT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  BackendProcess b;
  BackendExit e;
  EXPECT_TRUE(backendStart(&b));
  *parentKb = b.parentRssKb;
  backendWrite(&b, "DOCUMENT\nENDDOCUMENT\n");
  backendCloseInput(&b);
  backendWait(&b, 60, &e);
  sinkStop(&sink);
  EXPECT_EQ(e.child.exitStatus, 0) << e.child.err;
  return e.usage.ru_maxrss;
}

/* One of the sixteen jobs: its stream and, per page, the bitmap and the
   settings it must arrive with. */
struct TenPageJob
{
  std::string name;
  uint32_t width = 0;  /* pixels of 3 bytes */
  uint32_t height = 0; /* rows of the raster: all pages' lines */
  std::string stream;
  std::vector<std::string> bitmaps;
  std::vector<int> rows; /* lines of each page */
};

/* Job i: a raster high enough for every page's lines, pages of 4 to 13
   lines of noise.  The raster is never rewound, so page p sends the first
   rows of the raster, as many as it has lines. */
TenPageJob makeTenPageJob(int i)
{
  TenPageJob j;
  char name[8];
  snprintf(name, sizeof name, "J%02d", i + 1);
  j.name = name;
  j.width = 40 + (uint32_t)i;
  for (int p = 1; p <= 10; p++)
    j.rows.push_back(3 + p);
  for (int r : j.rows)
    j.height += (uint32_t)r;
  RasterModel m;
  rasterModelStart(&m, j.width, j.height, 3);
  j.stream = "PRINTERMODEL " + j.name + "\nDOCUMENT " + j.name + "\n";
  for (int p = 1; p <= 10; p++)
  {
    j.stream += p % 2 ? "PAGENAME A4\n" : "PAGENAME Letter\n";
    j.stream += "PAGE 0 0 595 842 0 1 " + std::to_string(p % 2) + " " + std::to_string(100 + p) + " " +
                std::to_string(200 + p) + " 0\n";
    if (p == 1)
      j.stream += "RASTER " + std::to_string(j.width) + " " + std::to_string(j.height) + " 3\n";
    m.nLines = 0;
    for (int r = 0; r < j.rows[p - 1]; r++)
    {
      std::string row = noiseBytes(j.width * 3, (uint32_t)(i * 10000 + p * 100 + r));
      rasterModelLine(&m, row);
      j.stream += faultsLine(row);
    }
    j.stream += "ENDPAGE\n";
    j.bitmaps.push_back(rasterModelBitmap(m));
  }
  j.stream += "ENDDOCUMENT\n";
  return j;
}

/* The whole log job j must write, given its fragments. */
std::string tenPageLog(const TenPageJob &j, const std::vector<WireRecord> &frags)
{
  std::string s = faultsJobStart() + kD + "printer devicename: \"" + j.name + "\"\n";
  int bpl = (int)j.width * 3;
  int align = bpl % 4 ? 4 - bpl % 4 : 0;
  for (int p = 1; p <= 10; p++)
  {
    const char *paper = p % 2 ? "A4" : "Letter";
    std::string tumble = std::to_string(p % 2);
    s += kQ + "PAGENAME - " + paper + "\"\n";
    s += faultsPageLines(p, "0 0 595 842 0 1 " + tumble + " " + std::to_string(100 + p) + " " + std::to_string(200 + p) + " 0",
                         "0 0 595 842",
                         "collate: 0 duplex: 1 tumble: " + tumble + " hwresX: " + std::to_string(100 + p) +
                           " hwresY: " + std::to_string(200 + p) + " orientation: 0",
                         std::string(paper) + (p % 2 ? " 9" : " 1"));
    if (p == 1)
      s += faultsAllocatedLine(j.width * j.height * 3, 3, (int)((j.width * 72.0) / 595.0 + 0.5));
    s += faultsEndpageLog({frags[(size_t)p - 1]}, bpl, bpl, j.rows[(size_t)p - 1], align, p);
  }
  return s + kD + "\"ENDDOCUMENT\"\n" + finishedLine();
}

} // namespace

TEST_F(LoadFaults, SixteenBackendsTenPagesEachToOneHost)
{
  long parentKb = 0;
  const long baseKb = baselineKb(&parentKb);

  const int kJobs = 16;
  std::vector<TenPageJob> jobs;
  for (int i = 0; i < kJobs; i++)
    jobs.push_back(makeTenPageJob(i));

  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  std::vector<BackendExit> exits(kJobs);
  std::vector<long> forkedAt(kJobs);
  std::vector<std::thread> threads;
  double t0 = monotonicNow();
  for (int i = 0; i < kJobs; i++)
    threads.emplace_back([&, i] {
      BackendProcess b;
      if (!backendStart(&b))
        return;
      forkedAt[i] = b.parentRssKb;
      backendWrite(&b, jobs[i].stream);
      backendCloseInput(&b);
      backendWait(&b, 240, &exits[i]);
    });
  for (std::thread &t : threads)
    t.join();
  double took = monotonicNow() - t0;
  ASSERT_TRUE(sinkWaitFinished(&sink, kJobs, 60)) << sinkConnections(&sink) << " connections";
  ASSERT_EQ(sinkConnections(&sink), (size_t)kJobs);

  /* Each connection is one job, found by the printer name it carries. */
  std::vector<int> seen(kJobs, 0);
  for (size_t c = 0; c < (size_t)kJobs; c++)
  {
    std::string wire = sinkReceived(&sink, c);
    std::vector<WireRecord> recs;
    std::string error;
    ASSERT_TRUE(decodeWire(wire, &recs, &error)) << "connection " << c << ": " << error;
    ASSERT_FALSE(recs.empty());
    std::string name;
    char utf8[64];
    rc_record first = recs[0].rec;
    first.payload = (const unsigned char *)recs[0].payload.data();
    ASSERT_GT(rc_payload_to_utf8(first.payload, first.nameLen, utf8, sizeof utf8), 0);
    name = utf8;
    int i = atoi(name.c_str() + 1) - 1;
    ASSERT_TRUE(i >= 0 && i < kJobs) << name;
    seen[i]++;
    const TenPageJob &j = jobs[i];
    SCOPED_TRACE(j.name);

    std::vector<uint32_t> ids, want;
    for (const WireRecord &w : recs)
      ids.push_back(w.rec.id);
    want.push_back(RCPACKETID_PRN_DOC_START);
    for (int p = 0; p < 10; p++)
      for (uint32_t id : {RCPACKETID_PRN_PAGE_START, RCPACKETID_PRN_BITMAP_HDR, RCPACKETID_PRN_BITMAP_FRAGMENT,
                          RCPACKETID_PRN_BITMAP_END, RCPACKETID_PRN_PAGE_END})
        want.push_back(id);
    want.push_back(RCPACKETID_PRN_DOC_END);
    ASSERT_EQ(ids, want);
    for (const WireRecord &w : recs)
      EXPECT_TRUE(w.payload == expectedPayload(j.name));
    for (int p = 1; p <= 10; p++)
    {
      const WireRecord &page = recs[(size_t)(1 + 5 * (p - 1))];
      const WireRecord &hdr = recs[(size_t)(2 + 5 * (p - 1))];
      const WireRecord &frag = recs[(size_t)(3 + 5 * (p - 1))];
      EXPECT_EQ(page.rec.page.paperSize, p % 2 ? 9 : 1) << "page " << p;
      EXPECT_EQ(page.rec.page.printQuality, 100 + p) << "page " << p;
      EXPECT_EQ(page.rec.page.duplex, p % 2 ? 2 : 3) << "page " << p;
      EXPECT_EQ(hdr.rec.bitmap.width, j.width) << "page " << p;
      EXPECT_EQ(hdr.rec.bitmap.height, j.height) << "page " << p;
      EXPECT_EQ(hdr.rec.bitmap.xResolution, (uint32_t)(100 + p)) << "page " << p;
      EXPECT_EQ(hdr.rec.bitmap.yResolution, (uint32_t)(200 + p)) << "page " << p;
      std::string out;
      ASSERT_TRUE(decompressWire(frag, &out, &error)) << error;
      EXPECT_TRUE(out == j.bitmaps[(size_t)p - 1]) << "page " << p << " is not exact";
    }
    EXPECT_TRUE(exits[i].child.exited);
    EXPECT_EQ(exits[i].child.exitStatus, 0);
    EXPECT_EQ(faultsMaskLog(exits[i].child.err), tenPageLog(j, faultsFragments(recs)));
  }
  sinkStop(&sink);
  for (int i = 0; i < kJobs; i++)
    EXPECT_EQ(seen[i], 1) << jobs[i].name;

  long lo = exits[0].usage.ru_maxrss, hi = lo, forkedMax = 0;
  for (int i = 0; i < kJobs; i++)
  {
    lo = std::min(lo, exits[i].usage.ru_maxrss);
    hi = std::max(hi, exits[i].usage.ru_maxrss);
    forkedMax = std::max(forkedMax, forkedAt[i]);
  }
  const long rasterKb = (long)(jobs[kJobs - 1].width * jobs[kJobs - 1].height * 3 + 1023) / 1024;
  printf("sixteen ten-page jobs in %.1f s; backend peak RSS %ld to %ld KiB (baseline %ld KiB, "
         "largest raster %ld KiB); this process had at most %ld KiB resident when it forked%s\n",
         took, lo, hi, baseKb, rasterKb, forkedMax, FAULTS_UNDER_ASAN ? " (address sanitizer build)" : "");
  if (!FAULTS_UNDER_ASAN)
  {
    EXPECT_LT(parentKb, baseKb) << "the baseline would be this process's size";
    EXPECT_LT(forkedMax, lo) << "the measurements would be this process's size";
    EXPECT_LE(hi, baseKb + rasterKb + (kEndpageBuffers + 1023) / 1024 + kConstantKb);
  }
}

TEST_F(LoadFaults, PeakMemoryOfAnA4Job)
{
  /* Two A4 pages at 300 dpi in colour, rows of noise so that the
     compression buffer is used in full: 3508 rows of 7440 bytes, a raster
     of 26,100,480 bytes.  The second page's lines find the raster full
     and are dropped; it sends the same rows again. */
  const uint32_t kW = 2480, kH = 3508, kRow = kW * 3;
  const long rasterBytes = (long)kW * kH * 3;
  long parentKb = 0;
  const long baseKb = baselineKb(&parentKb);

  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  BackendProcess b;
  ASSERT_TRUE(backendStart(&b));
  const long forkedKb = b.parentRssKb;
  std::thread feeder([&] {
    bool ok = backendWrite(&b, "PRINTERMODEL A4 memory\nDOCUMENT\nPAGENAME A4\n"
                               "PAGE 0 0 595 842 0 0 0 300 300 0\nRASTER 2480 3508 3\n");
    for (int page = 0; page < 2 && ok; page++)
    {
      if (page == 1)
        ok = backendWrite(&b, "PAGE 0 0 595 842 0 0 0 300 300 0\n");
      for (uint32_t r = 0; r < kH && ok; r++)
        ok = backendWrite(&b, faultsLine(noiseBytes(kRow, r + 1)));
      ok = ok && backendWrite(&b, "ENDPAGE\n");
    }
    if (ok)
      backendWrite(&b, "ENDDOCUMENT\n");
    backendCloseInput(&b);
  });
  BackendExit e;
  backendWait(&b, 600, &e);
  feeder.join();
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 60));
  std::string wire = sinkReceived(&sink, 0);
  sinkStop(&sink);
  ASSERT_TRUE(e.child.exited);
  ASSERT_EQ(e.child.exitStatus, 0) << e.child.err;

  /* The pages arrived exact. */
  std::vector<WireRecord> recs;
  std::string error;
  ASSERT_TRUE(decodeWire(wire, &recs, &error)) << error;
  std::vector<WireRecord> all = faultsFragments(recs);
  ASSERT_EQ(all.size(), 28u); /* 13 fragments of 268 lines and one of 24, per page */
  std::string expected;
  expected.reserve((size_t)rasterBytes);
  for (uint32_t r = kH; r-- > 0;)
  {
    std::string row = noiseBytes(kRow, r + 1);
    for (uint32_t g = 0; g < kRow; g += 3)
    {
      expected.push_back(row[g + 2]);
      expected.push_back(row[g + 1]);
      expected.push_back(row[g]);
    }
  }
  EXPECT_TRUE(wireBitmap(std::vector<WireRecord>(all.begin(), all.begin() + 14)) == expected);
  EXPECT_TRUE(wireBitmap(std::vector<WireRecord>(all.begin() + 14, all.end())) == expected);

  const long peakKb = e.usage.ru_maxrss;
  const long limitKb = baseKb + (rasterBytes + kEndpageBuffers + 1023) / 1024 + kConstantKb;
  printf("A4 job (raster %ld bytes, ENDPAGE buffers %ld bytes): backend peak RSS %ld KiB, baseline %ld KiB, "
         "growth %ld KiB, raster + buffers %ld KiB, limit %ld KiB; this process had %ld KiB resident "
         "when it forked%s\n",
         rasterBytes, kEndpageBuffers, peakKb, baseKb, peakKb - baseKb,
         (rasterBytes + kEndpageBuffers + 1023) / 1024, limitKb, forkedKb,
         FAULTS_UNDER_ASAN ? " (address sanitizer build: not judged)" : "");
  if (!FAULTS_UNDER_ASAN)
  {
    EXPECT_LT(parentKb, baseKb) << "the baseline would be this process's size";
    EXPECT_LT(forkedKb, peakKb) << "the measurement would be this process's size";
    EXPECT_LE(peakKb, limitKb);
    /* And the raster is really there: the peak is not below it. */
    EXPECT_GE(peakKb, baseKb + rasterBytes / 1024);
  }
}
