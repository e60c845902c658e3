/*
 * test_faults_host.cpp - the real backend against hosts that misbehave:
 * one that hangs up at every record boundary and inside records, one that
 * reads a few bytes at a time, one that accepts and never reads (and the
 * job is then cancelled with SIGTERM, as the scheduler cancels jobs).
 *
 * The stream reaches the backend through a pipe in two parts: the first
 * makes it send the records up to the point where the host hangs up; the
 * second is written only after the host has closed.  So a record that a
 * later command sends always meets a closed connection, whatever the
 * timing.  Records that one command sends back to back (ENDPAGE sends
 * header, fragments, bitmap end and page end) may still slip into the
 * socket's buffer before the host's close: then the failure comes at a
 * later record, and the test accepts exactly that range, checking the
 * whole log for whichever record it was.  A fragment of about two million
 * bytes can never slip through (the buffers hold far less), so the
 * boundaries before big fragments are exact.
 */
#include <errno.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
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

/* A record of more than this many bytes cannot be queued whole in the
   socket's buffers (a few hundred KiB at most): its write is still going
   on when the host hangs up. */
const size_t kBigRecord = 1000000;

/* One step of a job's log: a log line, or the write of a record (with the
   line that reports its failure). */
struct Event
{
  bool write = false;
  std::string text; /* the line, or the record's failure line */
  int record = -1;
};

/* A job, command by command, with the log and records it must give. */
struct Script
{
  std::vector<std::string> commands; /* stream pieces, one per command */
  std::vector<int> commandOfRecord;  /* record -> command that sends it */
  std::vector<Event> events;

  void command(const std::string &bytes) { commands.push_back(bytes); }
  void line(const std::string &text)
  {
    Event e;
    e.text = text;
    events.push_back(e);
  }
  void write(const std::string &failLine)
  {
    Event e;
    e.write = true;
    e.text = failLine;
    e.record = (int)commandOfRecord.size();
    commandOfRecord.push_back((int)commands.size() - 1);
    events.push_back(e);
  }
  size_t records() const { return commandOfRecord.size(); }

  /* The stream of commands [from, to). */
  std::string stream(size_t from, size_t to) const
  {
    std::string s;
    for (size_t i = from; i < to && i < commands.size(); i++)
      s += commands[i];
    return s;
  }

  /* The log of a job that ran to its end. */
  std::string fullLog() const
  {
    std::string s;
    for (const Event &e : events)
      if (!e.write)
        s += e.text;
    return s + finishedLine();
  }

  /* The log of a job whose write of record j failed with error err. */
  std::string failedLog(int j, int err) const
  {
    std::string s;
    for (const Event &e : events)
    {
      if (e.write && e.record == j)
        return s + faultsWriteFailedLine(err) + e.text;
      if (!e.write)
        s += e.text;
    }
    return s;
  }
};

std::string failLine(const char *record)
{
  return std::string("DEBUG: CorvaneBackend - socket_write(") + record + ") FAILED\n";
}

const std::string kQ = "DEBUG: \"CorvaneBackend - ";

void pageLines(Script *s, int counter, const std::string &value, const std::string &box,
               const std::string &settings, const std::string &paper)
{
  std::string n = std::to_string(counter);
  s->line(kQ + "PAGE " + n + " - value: " + value + "\"\n");
  s->line(kQ + "PAGE " + n + " - Starting page - [" + box + "]\"\n");
  s->line(kQ + "PAGE - " + settings + "\"\n");
  s->line("DEBUG: CorvaneBackend - PAGE - " + paper + "\n");
  s->write(failLine("RCPACKET_PRN_PAGE_START"));
  s->line(kQ + "RCPACKET_PRN_PAGE_START was sent\"\n");
}

/* ENDPAGE of a page of nLines lines of bytesPerLine bytes; packed[i] is the
   compressed length of fragment i (known from a complete run). */
void endpageLines(Script *s, int bytesPerLine, int nLines, int sendLines,
                  const std::vector<uint32_t> &packed, const std::vector<uint32_t> &plain,
                  int pageCounter)
{
  s->line(kQ + "ENDPAGE - raster_data OK\"\n");
  s->write(failLine("RCPACKET_PRN_BITMAP_HDR"));
  s->line(kQ + "RCPACKET_PRN_BITMAP_HDR sent\"\n");
  s->line("DEBUG: CorvaneBackend - bitmap bytesPerLine: " + std::to_string(bytesPerLine) +
          " raster_w: " + std::to_string(bytesPerLine) + " nLines: " + std::to_string(nLines) +
          " alignPerLine: 0\n");
  s->line(kQ + "sendLines: " + std::to_string(sendLines) +
          " rwsize: " + std::to_string(sendLines * bytesPerLine) + "\"\n");
  for (size_t f = 0; f < packed.size(); f++)
  {
    std::string k = std::to_string(f + 1) + "/" + std::to_string(nLines);
    s->line(kQ + "lzf_compress: " + std::to_string(packed[f]) +
            " sendLength: " + std::to_string(plain[f]) + "\"\n");
    s->write("DEBUG: CorvaneBackend - " + k + " socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED\n");
    s->line(kQ + k + " RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n");
  }
  s->write(failLine("RCPACKET_PRN_BITMAP_END"));
  s->line(kQ + "RCPACKET_PRN_BITMAP_END sent\"\n");
  s->write(failLine("RCPACKET_PRN_PAGE_END"));
  s->line(kQ + "PAGE " + std::to_string(pageCounter) + " sent\"\n");
}

const int kRows = 666;      /* two fragments of 333 lines */
const int kRowBytes = 6000; /* RASTER 2000 666 3 */

/* The job every hang-up runs: a document with a page of noise (two big
   fragments), a page without lines of its own (header, bitmap end and page
   end only), the document's end and the start of another.  packed and
   plain are the fragments' compressed and plain lengths. */
Script hangUpScript(const std::vector<uint32_t> &packed, const std::vector<uint32_t> &plain)
{
  Script s;
  s.line(faultsJobStart());
  s.command("PRINTERMODEL P1\n");
  s.line("DEBUG: CorvaneBackend - printer devicename: \"P1\"\n");
  s.command("DOCUMENT\n");
  s.write("DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n");
  s.command("PAGENAME A4\n");
  s.line(kQ + "PAGENAME - A4\"\n");
  s.command("PAGE 0 0 595 842 0 0 0 300 300 0\n");
  pageLines(&s, 1, "0 0 595 842 0 0 0 300 300 0", "0 0 595 842",
            "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", "A4 9");
  s.command("RASTER 2000 666 3\n");
  s.line("DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 3996000 depth: 3 res: 242\n");
  for (int r = 0; r < kRows; r++)
    s.command(faultsLine(noiseBytes(kRowBytes, 1000 + r)));
  s.command("ENDPAGE\n");
  endpageLines(&s, kRowBytes, kRows, 333, packed, plain, 1);
  s.command("PAGE 0 0 612 792 1 1 0 600 600 1\n");
  pageLines(&s, 2, "0 0 612 792 1 1 0 600 600 1", "0 0 612 792",
            "collate: 1 duplex: 1 tumble: 0 hwresX: 600 hwresY: 600 orientation: 1", "A4 9");
  s.command("ENDPAGE\n");
  endpageLines(&s, kRowBytes, 0, 333, {}, {}, 2);
  s.command("ENDDOCUMENT\n");
  s.write(failLine("RCPACKET_PRN_DOC_END"));
  s.line("DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n");
  s.command("DOCUMENT\n");
  s.write("DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n");
  return s;
}

class HostFaults : public FaultsTest
{
};

/* What one hang-up run gave. */
struct HangUp
{
  BackendExit exit;
  std::string received;
  bool hostClosed = false;
  bool pathLost = false;
};

/* Runs the script against a host that reads limit bytes and closes:
   commands [0, split) first, the rest once the host has closed. */
HangUp runHangUpOnce(const Script &s, size_t limit, size_t split)
{
  HangUp h;
  ClosingHost host;
  if (!closingHostStart(&host, KIVPRINTER_SOCKET_PATH, limit))
  {
    ADD_FAILURE() << "cannot listen on " KIVPRINTER_SOCKET_PATH;
    return h;
  }
  BackendProcess b;
  if (!backendStart(&b))
  {
    ADD_FAILURE() << "cannot start the backend";
    closingHostStop(&host);
    return h;
  }
  std::string first = s.stream(0, split), second = s.stream(split, s.commands.size());
  std::thread feeder([&] {
    backendWrite(&b, first);
    /* The rest only after the host has gone: whatever the backend sends
       for it meets a closed connection. */
    if (limit != SIZE_MAX)
    {
      double deadline = monotonicNow() + 120;
      while (!host.closed.load() && backendAlive(&b) && monotonicNow() < deadline)
        usleep(2000);
      h.hostClosed = host.closed.load();
    }
    backendWrite(&b, second);
    backendCloseInput(&b);
  });
  /* A watchdog: when the path no longer names this host and the backend
     has not come here, it went to another program's listener; end it
     rather than wait for a job that can never reach this host. */
  std::atomic<bool> done{false};
  const pid_t pid = b.pid;
  std::thread watchdog([&done, &host, pid] {
    double since = 0;
    while (!done.load())
    {
      if (!host.accepted.load() && closingHostPathLost(&host))
      {
        if (since == 0)
          since = monotonicNow();
        else if (monotonicNow() - since > 5)
        {
          if (!done.load() && pid > 0)
            kill(pid, SIGKILL);
          break;
        }
      }
      else
        since = 0;
      usleep(20000);
    }
  });
  backendWait(&b, 180, &h.exit);
  done = true;
  watchdog.join();
  feeder.join();
  if (limit == SIZE_MAX)
    h.hostClosed = closingHostWaitClosed(&host, 30);
  h.pathLost = !host.accepted.load() && closingHostPathLost(&host);
  closingHostStop(&host);
  h.received = closingHostReceived(&host);
  return h;
}

/* The same, run again (twice at most) when another program of this
   machine took the host path over in the meantime, so that the backend
   never reached this host. */
HangUp runHangUp(const Script &s, size_t limit, size_t split)
{
  HangUp h;
  for (int attempt = 0; attempt < 3; attempt++)
  {
    h = runHangUpOnce(s, limit, split);
    if (!h.pathLost)
      break;
    printf("the host path was taken over by another program; running again\n");
    std::string why;
    if (!faultsClaimHostPath(&why))
      break;
  }
  EXPECT_FALSE(h.pathLost) << "another program kept taking " KIVPRINTER_SOCKET_PATH " over";
  return h;
}

} // namespace

TEST_F(HostFaults, HangUpAtEveryRecordBoundaryAndInsideRecords)
{
  /* A complete run first: the fragments' compressed lengths (noise gives
     the same every time) and the record offsets. */
  Script probe = hangUpScript({0, 0}, {1998000, 1998000});
  HangUp full = runHangUp(probe, SIZE_MAX, probe.commands.size());
  ASSERT_TRUE(full.exit.child.exited) << full.exit.child.err;
  ASSERT_EQ(full.exit.child.exitStatus, 0) << full.exit.child.err;
  std::vector<WireRecord> recs;
  std::string error;
  ASSERT_TRUE(decodeWire(full.received, &recs, &error)) << error;
  std::vector<uint32_t> ids;
  for (const WireRecord &w : recs)
    ids.push_back(w.rec.id);
  ASSERT_EQ(ids, std::vector<uint32_t>({418, 420, 411, 412, 412, 413, 421, 420, 411, 413, 421, 419, 418}));
  Script s = hangUpScript({recs[3].rec.dataLength, recs[4].rec.dataLength},
                          {recs[3].rec.fragment.uncompressedLength, recs[4].rec.fragment.uncompressedLength});
  ASSERT_EQ(s.records(), recs.size());
  EXPECT_EQ(faultsMaskLog(full.exit.child.err), s.fullLog());
  ASSERT_GT(recs[3].rec.totalLength, kBigRecord);
  ASSERT_GT(recs[4].rec.totalLength, kBigRecord);

  std::vector<size_t> offset(1, 0);
  for (const WireRecord &w : recs)
    offset.push_back(offset.back() + w.rec.totalLength);
  const size_t n = recs.size();

  /* Every boundary, then points inside records: the header of a page
     start, the fixed part, the payload and the data of fragments, a bitmap
     end. */
  std::vector<size_t> points;
  for (size_t k = 0; k <= n; k++)
    points.push_back(offset[k]);
  for (size_t at : {offset[1] + 5, offset[3] + 10, offset[3] + 23, offset[4] + 20,
                    offset[4] + 1000000, offset[5] + 3})
    points.push_back(at);

  for (size_t B : points)
  {
    /* k: the record holding byte B (n at the very end).  The host has
       read B bytes only when the records before it were sent, so the
       first part of the stream runs through the command that sends the
       record holding byte B - 1. */
    size_t k = 0;
    while (k < n && offset[k + 1] <= B)
      k++;
    const bool boundary = k == n || offset[k] == B;
    const size_t split = B == 0 ? (size_t)s.commandOfRecord[0]
                                : (size_t)s.commandOfRecord[boundary ? k - 1 : k] + 1;
    /* The failing record: k itself when its write is certainly still going
       on (a big record with more than the socket can hold still to come);
       otherwise k or any record after it that the same command sends before
       a big one, since those may all slip into the socket whole. */
    const bool stillWriting = !boundary && recs[k].rec.totalLength > kBigRecord &&
                              offset[k + 1] - B > kBigRecord;
    const size_t first = k;
    size_t last = k;
    if (!stillWriting)
      while (last < n && (size_t)s.commandOfRecord[last] < split && recs[last].rec.totalLength <= kBigRecord)
        last++;

    SCOPED_TRACE("host hangs up after " + std::to_string(B) + " bytes (record " + std::to_string(k) +
                 ", failure expected at record " + std::to_string(first) + " to " + std::to_string(last) + ")");
    HangUp h = runHangUp(s, B, split);
    EXPECT_TRUE(h.hostClosed);
    EXPECT_FALSE(h.exit.child.timedOut);
    EXPECT_EQ(h.exit.child.termSignal, 0);
    EXPECT_TRUE(h.exit.child.exited);
    EXPECT_EQ(h.received, full.received.substr(0, B));
    std::string log = faultsMaskLog(h.exit.child.err);
    if (first == n)
    {
      /* Hanging up after the last record is no failure. */
      EXPECT_EQ(h.exit.child.exitStatus, 0);
      EXPECT_EQ(log, s.fullLog());
      continue;
    }
    EXPECT_EQ(h.exit.child.exitStatus, 4);
    bool matched = false;
    for (size_t j = first; j <= last && !matched; j++)
      for (int err : {EPIPE, ECONNRESET})
        if (!matched && log == s.failedLog((int)j, err))
        {
          matched = true;
          printf("hang-up after %zu bytes: record %zu failed (%s), allowed %zu to %zu\n", B, j,
                 strerror(err), first, last);
        }
    EXPECT_TRUE(matched) << "log:\n"
                         << log << "\nexpected (failing at record " << first << "):\n"
                         << s.failedLog((int)first, EPIPE);
  }
}

TEST_F(HostFaults, SlowHostGetsEveryByteInOrder)
{
  /* Two pages of noise: the second page's lines find the raster full and
     its 80 rows are the first 80 of the raster. */
  RasterModel m;
  std::string stream = "PRINTERMODEL P1\nDOCUMENT\nPAGE 0 0 200 160 0 0 0 72 72 0\nRASTER 200 160 3\n";
  rasterModelStart(&m, 200, 160, 3);
  for (int r = 0; r < 160; r++)
  {
    std::string row = noiseBytes(600, 7 * r + 1);
    rasterModelLine(&m, row);
    stream += faultsLine(row);
  }
  stream += "ENDPAGE\n";
  std::string page1 = rasterModelBitmap(m);
  stream += "PAGE 0 0 200 160 0 0 0 72 72 0\n";
  m.nLines = 0;
  for (int r = 0; r < 80; r++)
  {
    std::string row = noiseBytes(600, 9 * r + 5);
    rasterModelLine(&m, row);
    stream += faultsLine(row);
  }
  stream += "ENDPAGE\nENDDOCUMENT\n";
  std::string page2 = rasterModelBitmap(m);

  std::string wire[2];
  std::string logs[2];
  for (int slow = 0; slow < 2; slow++)
  {
    SocketSink sink;
    SinkOptions o;
    if (slow)
      o.readChunk = 5;
    ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH, o));
    BackendExit e = runBackend(stream);
    EXPECT_TRUE(sinkWaitFinished(&sink, 1, 120));
    wire[slow] = sinkReceived(&sink, 0);
    sinkStop(&sink);
    EXPECT_TRUE(e.child.exited);
    EXPECT_EQ(e.child.exitStatus, 0) << e.child.err;
    logs[slow] = faultsMaskLog(e.child.err);
  }
  EXPECT_GT(wire[1].size(), 140000u);
  EXPECT_TRUE(wire[1] == wire[0]) << "slow host: " << wire[1].size() << " bytes, fast host: " << wire[0].size();
  EXPECT_EQ(logs[1], logs[0]);

  std::vector<WireRecord> recs;
  std::string error;
  ASSERT_TRUE(decodeWire(wire[1], &recs, &error)) << error;
  std::vector<uint32_t> ids;
  for (const WireRecord &w : recs)
    ids.push_back(w.rec.id);
  ASSERT_EQ(ids, std::vector<uint32_t>({418, 420, 411, 412, 413, 421, 420, 411, 412, 413, 421, 419}));
  std::string out;
  ASSERT_TRUE(decompressWire(recs[3], &out, &error)) << error;
  EXPECT_TRUE(out == page1);
  ASSERT_TRUE(decompressWire(recs[8], &out, &error)) << error;
  EXPECT_TRUE(out == page2);
}

TEST_F(HostFaults, HostThatNeverReadsBlocksTheBackendUntilSigterm)
{
  std::string stream = "PRINTERMODEL P1\nDOCUMENT\nPAGE 0 0 595 842 0 0 0 300 300 0\nRASTER 2000 400 3\n";
  for (int r = 0; r < 400; r++)
    stream += faultsLine(noiseBytes(kRowBytes, 3 * r));
  stream += "ENDPAGE\nENDDOCUMENT\n";

  SocketSink sink;
  SinkOptions o;
  o.neverRead = true;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH, o));
  BackendProcess b;
  ASSERT_TRUE(backendStart(&b));
  std::thread feeder([&] {
    backendWrite(&b, stream);
    backendCloseInput(&b);
  });

  /* The first fragment (about two million bytes) is compressed and being
     written when its lzf_compress line is there. */
  bool writing = false;
  for (int i = 0; i < 1200 && !writing && backendAlive(&b); i++)
  {
    writing = backendErrSoFar(&b).find("lzf_compress: ") != std::string::npos;
    if (!writing)
      usleep(50000);
  }
  EXPECT_TRUE(writing) << backendErrSoFar(&b);

  /* Blocked in the write: alive, no further line, and asleep (next to no
     CPU time over a second and a half). */
  double cpu0 = backendCpuSeconds(&b);
  usleep(1500000);
  double cpu1 = backendCpuSeconds(&b);
  std::string before = backendErrSoFar(&b);
  EXPECT_TRUE(backendAlive(&b));
  EXPECT_EQ(before.find("RCPACKET_PRN_BITMAP_FRAGMENT sent"), std::string::npos);
  EXPECT_GE(cpu0, 0.0);
  EXPECT_LT(cpu1 - cpu0, 0.5) << "the backend spins instead of blocking";
  EXPECT_EQ(before.substr(before.rfind('\n', before.size() - 2) + 1).find("DEBUG: \"CorvaneBackend - lzf_compress: "), 0u)
    << before;

  /* The scheduler cancels the job. */
  double t0 = monotonicNow();
  ASSERT_EQ(kill(b.pid, SIGTERM), 0);
  BackendExit e;
  backendWait(&b, 60, &e);
  double took = monotonicNow() - t0;
  feeder.join();
  sinkStop(&sink);
  EXPECT_FALSE(e.child.timedOut);
  EXPECT_FALSE(e.child.exited);
  EXPECT_EQ(e.child.termSignal, SIGTERM);
  EXPECT_LT(took, 10.0);
  printf("blocked backend ended %.3f s after SIGTERM\n", took);
  EXPECT_EQ(e.child.err, before);
}

TEST_F(HostFaults, SigtermWhileWaitingForTheStream)
{
  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  BackendProcess b;
  ASSERT_TRUE(backendStart(&b));
  ASSERT_TRUE(backendWrite(&b, "DOCUMENT\n"));
  /* The document start has arrived: the backend now waits for more. */
  bool arrived = false;
  for (int i = 0; i < 1200 && !arrived; i++)
  {
    arrived = sinkReceived(&sink, 0).size() == 12;
    if (!arrived)
      usleep(50000);
  }
  EXPECT_TRUE(arrived);
  double t0 = monotonicNow();
  ASSERT_EQ(kill(b.pid, SIGTERM), 0);
  BackendExit e;
  backendWait(&b, 60, &e);
  double took = monotonicNow() - t0;
  backendCloseInput(&b);
  sinkStop(&sink);
  EXPECT_FALSE(e.child.timedOut);
  EXPECT_EQ(e.child.termSignal, SIGTERM);
  EXPECT_LT(took, 10.0);
  EXPECT_EQ(faultsMaskLog(e.child.err), faultsJobStart());
}
