/*
 * test_faults_input.cpp - the real backend fed bad print streams: cut
 * inside a LINE's data, random bytes, random commands, a gigabyte of junk
 * lines (memory must stay flat), lines of 100,000 bytes, NUL bytes inside
 * command lines, and huge and negative numbers in every numeric field.
 * Whatever the input, the job must end with status 0, never by a signal,
 * and every record it sends must be well formed.
 */
#include <math.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <regex>
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

const std::string kQ = "DEBUG: \"CorvaneBackend - ";
const std::string kD = "DEBUG: CorvaneBackend - ";

struct InputRun
{
  BackendExit exit;
  std::string wire;
  std::string log;
  std::vector<WireRecord> recs;
  std::vector<uint32_t> ids;
  long parentRssKb = 0; /* this process's RSS when it forked the backend */
};

/* Runs one job with stream on its standard input and a host that reads
   everything.  When another program of this machine takes the host path
   over meanwhile (so this host never sees the backend), the job runs
   again, twice at most. */
InputRun runInput(const std::string &stream, int timeoutSeconds = 120)
{
  InputRun run;
  for (int attempt = 0;; attempt++)
  {
    SocketSink sink;
    if (!sinkStart(&sink, KIVPRINTER_SOCKET_PATH))
    {
      ADD_FAILURE() << "cannot listen on " KIVPRINTER_SOCKET_PATH;
      return run;
    }
    unsigned long inode = faultsHostPathInode();
    run.exit = runBackend(stream, BackendOptions(), timeoutSeconds);
    bool lost = sinkConnections(&sink) == 0 && faultsHostPathInode() != inode;
    if (lost && attempt < 2)
    {
      sinkStop(&sink);
      printf("the host path was taken over by another program; running again\n");
      std::string why;
      if (!faultsClaimHostPath(&why))
        ADD_FAILURE() << why;
      continue;
    }
    EXPECT_TRUE(sinkWaitFinished(&sink, 1, 30)) << "the backend never connected";
    run.wire = sinkReceived(&sink, 0);
    sinkStop(&sink);
    break;
  }
  run.log = faultsMaskLog(run.exit.child.err);
  std::string error;
  EXPECT_TRUE(decodeWire(run.wire, &run.recs, &error)) << error;
  for (const WireRecord &w : run.recs)
    run.ids.push_back(w.rec.id);
  return run;
}

/* A normal end: status 0, not a signal, not killed for time. */
void expectOk(const InputRun &run)
{
  EXPECT_FALSE(run.exit.child.timedOut);
  EXPECT_EQ(run.exit.child.termSignal, 0);
  EXPECT_TRUE(run.exit.child.exited);
  EXPECT_EQ(run.exit.child.exitStatus, 0);
}

/* The page of most streams here: 612 x 792 points, no paper name. */
const char kPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";
std::string pageLog(int counter = 1)
{
  return faultsPageLines(counter, "0 0 612 792 0 0 0 300 300 0", "0 0 612 792",
                         "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", " 0");
}

/* Points to tenths of a millimetre as the page record carries them: the
   value taken as a single-precision float, rounded half away from zero,
   the low 16 bits read as signed. */
int16_t tenths(uint32_t points)
{
  double t = round((double)(float)points * 25.4 * 10.0 / 72.0);
  return (int16_t)(uint16_t)((uint64_t)(int64_t)t & 0xFFFFu);
}

class InputFaults : public FaultsTest
{
};

const std::string kP1Line = kD + "printer devicename: \"P1\"\n";

} // namespace

TEST_F(InputFaults, StreamCutInsideALine)
{
  /* A 4 x 3 raster of depth 3 (rows of 12 bytes) with one full row, then
     the stream ends inside the next LINE.  The reader meets the end, the
     loop ends at its next read, and the job ends normally. */
  const std::string head = std::string("PRINTERMODEL P1\nDOCUMENT\n") + kPage + "RASTER 4 3 3\n" +
                           faultsLine("abcdefghijkl");
  const std::string start = faultsJobStart() + kP1Line + pageLog() + faultsAllocatedLine(36, 3, 0);
  struct Case
  {
    const char *what;
    std::string tail;
    std::string log; /* between the raster line and the finished line */
  };
  const std::vector<Case> cases = {
    {"no data byte", "LINE 12\n", ""},
    {"one data byte", "LINE 12\nm", ""},
    {"five data bytes", "LINE 12\nmnopq", ""},
    {"one byte short", "LINE 12\nmnopqrstuvw", ""},
    {"data that spells a command", "LINE 12\nENDPAGE\n", ""},
    {"longer than the room", "LINE 30\nmnopqrstuvwxyz0123456", "DEBUG: LINE - bytesPerLine: 12 bytes: 30\n"},
    {"inside the keyword", "LIN", ""},
    {"inside the count", "LINE 1", "DEBUG: LINE - bytesPerLine: 12 bytes: 1\n"},
  };
  for (const Case &c : cases)
  {
    SCOPED_TRACE(c.what);
    InputRun run = runInput(head + c.tail);
    expectOk(run);
    EXPECT_EQ(run.ids, std::vector<uint32_t>({418, 420}));
    EXPECT_EQ(run.log, start + c.log + finishedLine());
  }
}

TEST_F(InputFaults, StreamsOfRandomBytes)
{
  for (uint32_t seed = 1; seed <= 6; seed++)
  {
    SCOPED_TRACE("seed " + std::to_string(seed));
    InputRun run = runInput(noiseBytes(256 * 1024, seed));
    expectOk(run);
    std::vector<std::string> lines = splitLines(run.log);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back() + "\n", finishedLine());
    EXPECT_EQ(run.log.substr(0, faultsJobStart().size()), faultsJobStart());
  }
}

/* Counts the lines of log that contain text. */
size_t countLines(const std::string &log, const std::string &text)
{
  size_t n = 0;
  for (const std::string &line : splitLines(log))
    if (line.find(text) != std::string::npos)
      n++;
  return n;
}

/* A stream of random commands: every keyword, with random, huge, negative
   or missing values, LINE counts that disagree with the data that follows,
   junk lines, NUL bytes and non-ASCII names. */
std::string randomCommands(uint32_t seed, int count)
{
  uint32_t x = seed * 747796405u + 2891336453u;
  auto next = [&x]() {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    return x;
  };
  auto number = [&]() -> std::string {
    switch (next() % 8)
    {
      case 0: return "-" + std::to_string(next() % 100000);
      case 1: return std::to_string(next()) + std::to_string(next());
      case 2: return "0";
      case 3: return "-2147483649";
      case 4: return "4294967296";
      default: return std::to_string(next() % 700);
    }
  };
  static const char *keywords[] = {"PRINTERMODEL", "DOCUMENT", "COLORDEVICE", "ENDDOCUMENT", "PAGENAME",
                                   "PAGE", "ENDPAGE", "RASTER", "LINE", "junk"};
  std::string s;
  for (int i = 0; i < count; i++)
  {
    std::string k = keywords[next() % 10];
    std::string line = k;
    if (k == "PAGE")
    {
      int n = (int)(next() % 12);
      for (int j = 0; j < n; j++)
        line += " " + (j >= 2 && j < 4 && next() % 2 ? std::to_string(1 + next() % 900) : number());
    }
    else if (k == "RASTER")
      line += " " + std::to_string(next() % 300) + " " + std::to_string(next() % 300) + " " +
              std::to_string((int)(next() % 5) - 1);
    else if (k == "LINE")
    {
      uint32_t n = next() % 3000;
      uint32_t actual = next() % 4 ? n : next() % 3000;
      line += next() % 10 ? " " + std::to_string(n) : " " + number();
      s += line + "\n" + noiseBytes(actual, next());
      continue;
    }
    else if (k == "PRINTERMODEL" || k == "PAGENAME")
    {
      if (next() % 5)
        line += " " + noiseBytes(1 + next() % 60, next());
    }
    else if (k == "COLORDEVICE")
      line += " " + number();
    else if (k == "junk")
      line = noiseBytes(next() % 200, next());
    if (next() % 13 == 0)
      line.insert(next() % (line.size() + 1), 1, '\0');
    s += line + (next() % 7 ? "\n" : next() % 2 ? "\r\n"
                                                : "\r");
  }
  return s;
}

TEST_F(InputFaults, StreamsOfRandomCommands)
{
  for (uint32_t seed = 1; seed <= 12; seed++)
  {
    SCOPED_TRACE("seed " + std::to_string(seed));
    InputRun run = runInput(randomCommands(seed, 400));
    expectOk(run);
    EXPECT_EQ(splitLines(run.log).back() + "\n", finishedLine());
    /* Every fragment decompresses to its stated length, and the log tells
       of exactly the records that arrived. */
    auto count = [&run](uint32_t id) {
      size_t n = 0;
      for (const WireRecord &w : run.recs)
        n += w.rec.id == id ? 1 : 0;
      return n;
    };
    for (const WireRecord &w : run.recs)
      if (w.rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
      {
        std::string out, error;
        EXPECT_TRUE(decompressWire(w, &out, &error)) << error;
      }
    EXPECT_EQ(count(RCPACKETID_PRN_BITMAP_HDR), countLines(run.log, "RCPACKET_PRN_BITMAP_HDR sent"));
    EXPECT_EQ(count(RCPACKETID_PRN_BITMAP_FRAGMENT), countLines(run.log, "RCPACKET_PRN_BITMAP_FRAGMENT sent"));
    EXPECT_EQ(count(RCPACKETID_PRN_BITMAP_END), countLines(run.log, "RCPACKET_PRN_BITMAP_END sent"));
    EXPECT_EQ(count(RCPACKETID_PRN_PAGE_START), countLines(run.log, "RCPACKET_PRN_PAGE_START was sent"));
    size_t pagesSent = 0;
    static const std::regex pageSent("DEBUG: \"CorvaneBackend - PAGE -?[0-9]+ sent\"");
    for (const std::string &line : splitLines(run.log))
      pagesSent += std::regex_match(line, pageSent) ? 1 : 0;
    EXPECT_EQ(count(RCPACKETID_PRN_PAGE_END), pagesSent);
    EXPECT_EQ(count(RCPACKETID_PRN_DOC_END), countLines(run.log, "CorvaneBackend - \"ENDDOCUMENT\""));
    printf("seed %u: %zu records, %zu log lines\n", seed, run.recs.size(), splitLines(run.log).size());
  }
}

/* Junk for the gigabyte: blocks of lines that name no command (no
   upper-case letter anywhere, so no piece of a split line can either),
   known keywords without the value they need (ignored without a word),
   and LINE commands whose data the full raster drops. */
std::string junkBlock(uint32_t seed, size_t size)
{
  uint32_t x = seed * 2246822519u + 3266489917u;
  auto next = [&x]() {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    return x;
  };
  std::string s;
  while (s.size() < size)
  {
    switch (next() % 8)
    {
      case 0:
        s += "LINE 4095\n" + noiseBytes(4095, next());
        break;
      case 1:
        s += next() % 2 ? "COLORDEVICE\n" : "PAGENAME \t \r\n";
        break;
      case 2:
        s += "# " + std::string(next() % 100, 'c') + "\n";
        break;
      default:
      {
        size_t n = next() % (next() % 16 ? 200 : 5000);
        std::string line(n, ' ');
        for (char &c : line)
        {
          unsigned char b = (unsigned char)(next() >> 24);
          if (b >= 'A' && b <= 'Z')
            b = (unsigned char)(b + 32);
          c = (char)b;
        }
        s += line + "\n";
      }
    }
  }
  return s;
}

/* Runs a job whose stream is head, then junk up to total bytes, then
   tail, written through the pipe by a thread as it goes (nothing of that
   size is ever held here). */
InputRun runWithJunk(const std::string &head, size_t total, const std::string &tail)
{
  InputRun run;
  SocketSink sink;
  if (!sinkStart(&sink, KIVPRINTER_SOCKET_PATH))
  {
    ADD_FAILURE() << "cannot listen";
    return run;
  }
  BackendProcess b;
  if (!backendStart(&b))
  {
    ADD_FAILURE() << "cannot start the backend";
    sinkStop(&sink);
    return run;
  }
  /* The junk is made after the fork: a child's peak RSS as wait4 reports
     it also counts what this process had resident when it forked. */
  std::thread feeder([&] {
    std::vector<std::string> blocks;
    for (uint32_t i = 0; i < 8; i++)
      blocks.push_back(junkBlock(i + 1, 1 << 20));
    bool ok = backendWrite(&b, head);
    size_t sent = 0;
    for (size_t i = 0; ok && sent < total; i++)
    {
      const std::string &block = blocks[i % blocks.size()];
      ok = backendWrite(&b, block);
      sent += block.size();
    }
    if (ok)
      backendWrite(&b, tail);
    backendCloseInput(&b);
  });
  backendWait(&b, 600, &run.exit);
  feeder.join();
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 30));
  run.wire = sinkReceived(&sink, 0);
  sinkStop(&sink);
  run.log = faultsMaskLog(run.exit.child.err);
  std::string error;
  EXPECT_TRUE(decodeWire(run.wire, &run.recs, &error)) << error;
  for (const WireRecord &w : run.recs)
    run.ids.push_back(w.rec.id);
  run.parentRssKb = b.parentRssKb;
  return run;
}

TEST_F(InputFaults, GigabyteOfJunkLinesKeepsMemoryFlat)
{
  /* A 1365 x 2 raster of depth 3 is filled by its first two rows; every
     later LINE of the junk is read and dropped.  After the junk a page with
     one line of its own is sent: row 0, the first row of the job. */
  const std::string row0 = noiseBytes(4095, 77), row1 = noiseBytes(4095, 78);
  const std::string head = std::string("PRINTERMODEL P1\nDOCUMENT\n") + kPage + "RASTER 1365 2 3\n" +
                           faultsLine(row0) + faultsLine(row1);
  const std::string tail = std::string(kPage) + faultsLine(noiseBytes(4095, 79)) + "ENDPAGE\nENDDOCUMENT\n";
  const size_t gigabyte = (size_t)1 << 30;
  /* Under the address sanitizer every byte costs several times as much:
     an eighth of it there. */
  const size_t total = FAULTS_UNDER_ASAN ? gigabyte / 8 : gigabyte;

  InputRun small = runWithJunk(head, 1 << 20, tail);
  double t0 = monotonicNow();
  InputRun big = runWithJunk(head, total, tail);
  double took = monotonicNow() - t0;

  for (const InputRun *run : {&small, &big})
  {
    expectOk(*run);
    ASSERT_EQ(run->ids, std::vector<uint32_t>({418, 420, 420, 411, 412, 413, 421, 419}));
    std::vector<WireRecord> frags = faultsFragments(run->recs);
    std::string line(4096, '\0');
    for (size_t g = 0; g < 4095; g += 3)
      for (size_t i = 0; i < 3; i++)
        line[g + i] = row0[g + 2 - i];
    EXPECT_TRUE(wireBitmap(frags) == line);
    EXPECT_EQ(run->log, faultsJobStart() + kP1Line + pageLog(1) + faultsAllocatedLine(8190, 3, 161) + pageLog(2) +
                          faultsEndpageLog(frags, 4095, 4095, 1, 1, 2) +
                          "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine());
  }
  long smallKb = small.exit.usage.ru_maxrss, bigKb = big.exit.usage.ru_maxrss;
  printf("junk: %zu MiB in %.1f s (%.0f MiB/s); backend peak RSS (wait4) %ld KiB after 1 MiB, "
         "%ld KiB after %zu MiB; this process had %ld and %ld KiB resident when it forked%s\n",
         total >> 20, took, (double)(total >> 20) / took, smallKb, bigKb, total >> 20,
         small.parentRssKb, big.parentRssKb, FAULTS_UNDER_ASAN ? " (address sanitizer build)" : "");
  /* Flat: the whole stream passes through the reader's 4096-byte buffer
     and the job's fixed state; nothing grows with the input.  The numbers
     are the backend's own only when this process was smaller at the fork
     (the sanitizer makes it far larger: there they are only shown). */
  if (!FAULTS_UNDER_ASAN)
  {
    EXPECT_LT(small.parentRssKb, smallKb) << "the measurement would be this process's size";
    EXPECT_LT(big.parentRssKb, bigKb) << "the measurement would be this process's size";
    EXPECT_LE(bigKb, smallKb + 1024);
  }
}

TEST_F(InputFaults, LinesOfAHundredThousandBytes)
{
  /* A name of 100,000 bytes: the line buffer keeps 1023 bytes, the name
     its first 1010; the rest arrives as 97 more lines of lower-case
     letters, unknown keywords skipped without a word. */
  std::string name(100000, 'x');
  for (size_t i = 0; i < name.size(); i++)
    name[i] = (char)('a' + (i * 7) % 26);
  std::string spaces(100000, ' ');
  for (size_t i = 0; i < spaces.size(); i += 3)
    spaces[i] = '\t';
  std::string comment = "#" + std::string(99999, 'q');
  /* A PAGE of 100,000 bytes: its first 1023 bytes are a whole page of
     ones, the rest lines of "1 1 1 ...", keyword "1", unknown. */
  std::string ones;
  while (ones.size() < 100000 - 5)
    ones += "1 ";
  /* Rows of 100,002 bytes (33,334 pixels of 3 bytes). */
  RasterModel m;
  rasterModelStart(&m, 33334, 2, 3);
  std::string rows;
  for (int r = 0; r < 2; r++)
  {
    std::string row = noiseBytes(100002, 500 + r);
    rasterModelLine(&m, row);
    rows += faultsLine(row);
  }

  std::string stream = "PRINTERMODEL " + name + "\nDOCUMENT\n" + spaces + "\n" + comment + "\n" + "PAGE " +
                       ones + "\n" + kPage + "RASTER 33334 2 3\n" + rows + "ENDPAGE\nENDDOCUMENT\n";
  InputRun run = runInput(stream);
  expectOk(run);
  ASSERT_EQ(run.ids, std::vector<uint32_t>({418, 420, 420, 411, 412, 413, 421, 419}));
  std::string kept = name.substr(0, 1010);
  for (const WireRecord &w : run.recs)
  {
    EXPECT_EQ(w.rec.nameLen, 2022u);
    EXPECT_TRUE(w.payload == expectedPayload(kept));
  }
  const rc_page_start_fields &p = run.recs[1].rec.page;
  EXPECT_EQ(p.paperWidth, 4);
  EXPECT_EQ(p.paperLength, 4);
  EXPECT_EQ(p.duplex, 2);
  EXPECT_EQ(p.orientation, 2);
  EXPECT_EQ(p.printQuality, 1);
  EXPECT_EQ(p.collate, 1);
  std::vector<WireRecord> frags = faultsFragments(run.recs);
  EXPECT_TRUE(wireBitmap(frags) == rasterModelBitmap(m));
  std::string value = ones.substr(0, 1023 - 5);
  value.pop_back(); /* the trailing space */
  EXPECT_EQ(run.log, faultsJobStart() + kD + "printer devicename: \"" + kept + "\"\n" +
                       faultsPageLines(1, value, "1 1 1 1",
                                       "collate: 1 duplex: 1 tumble: 1 hwresX: 1 hwresY: 1 orientation: 1", " 0") +
                       pageLog(2) + faultsAllocatedLine(200004, 3, 3922) +
                       faultsEndpageLog(frags, 100002, 100002, 2, 2, 2) +
                       "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine());
}

TEST_F(InputFaults, NulBytesInCommandLines)
{
  /* The line reader keeps a NUL byte like any other; everything after it
     reads as the end of the line's text. */
  const std::string nul(1, '\0');
  std::string stream = "PRINTERMODEL Of" + nul + "fice\n" +              /* the name is "Of" */
                       "DOC" + nul + "UMENT\n" +                         /* keyword DOC: unknown */
                       nul + "DOCUMENT\n" +                              /* empty line */
                       "DOCUMENT" + nul + "\n" +                         /* DOCUMENT */
                       "COLORDEVICE " + nul + "1\n" +                    /* no value: ignored */
                       "PAGENAME A4" + nul + "junk\n" +                  /* A4 */
                       "PAGE 0 0 612" + nul + " 792 0 0 0 300 300 0\n" + /* three numbers */
                       "PAGE 0 0 612 792 0 0 0 300 300 0" + nul + nul + "\n" +
                       "RASTER 1 1 3" + nul + "7\n" +
                       "LINE 3" + nul + "0\n" + "abc" +    /* LINE 3 */
                       "ENDPAGE" + nul + "ENDDOCUMENT\n" + /* ENDPAGE */
                       "ENDDOCUMENT\n";
  InputRun run = runInput(stream);
  expectOk(run);
  ASSERT_EQ(run.ids, std::vector<uint32_t>({418, 420, 411, 412, 413, 421, 419}));
  for (const WireRecord &w : run.recs)
    EXPECT_TRUE(w.payload == std::string("O\0f\0\0\0", 6));
  EXPECT_EQ(run.recs[1].rec.page.paperSize, 9);
  std::vector<WireRecord> frags = faultsFragments(run.recs);
  EXPECT_TRUE(wireBitmap(frags) == std::string("cba\0", 4));
  EXPECT_EQ(run.log, faultsJobStart() + kD + "printer devicename: \"Of\"\n" + kQ + "PAGENAME - A4\"\n" +
                       kQ + "PAGE 1 - value: 0 0 612\"\n" + kQ + "PAGE - CANNOT starting page (3) !!!\"\n" +
                       faultsPageLines(2, "0 0 612 792 0 0 0 300 300 0", "0 0 612 792",
                                       "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", "A4 9") +
                       faultsAllocatedLine(3, 3, 0) + faultsEndpageLog(frags, 3, 3, 1, 1, 2) +
                       "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine());
}

TEST_F(InputFaults, HugeAndNegativeNumbersInThePageCommand)
{
  /* "%u" fields: above 4294967295 they stay there, a minus sign negates
     modulo 2^32; "%d" fields clamp to the 32-bit range. */
  InputRun run = runInput("PAGE 4294967296 -1 99999999999999999999 -4294967295 2147483648 -2147483649 "
                          "99999999999 4294967295 -5 -99999999999\n"
                          "PAGE 0 0 0 0 -1 -1 -1 0 0 0\n"
                          "RASTER 4 1 3\nLINE 12\nabcdefghijkl\nENDPAGE\n");
  expectOk(run);
  ASSERT_EQ(run.ids, std::vector<uint32_t>({420, 420}));
  const rc_page_start_fields &p = run.recs[0].rec.page;
  EXPECT_EQ(p.fields, 0x1F1Fu);
  EXPECT_EQ(p.orientation, 2);
  EXPECT_EQ(p.paperSize, 0);
  EXPECT_EQ(p.paperLength, tenths(1));
  EXPECT_EQ(p.paperWidth, tenths(4294967295u));
  EXPECT_EQ(p.paperWidth, (int16_t)29127);
  EXPECT_EQ(p.scale, 100);
  EXPECT_EQ(p.copies, 1);
  EXPECT_EQ(p.defaultSource, 7);
  EXPECT_EQ(p.printQuality, -1);
  EXPECT_EQ(p.color, 1);
  EXPECT_EQ(p.duplex, 1);
  EXPECT_EQ(p.collate, -1);
  /* A page of zero size starts a page, but leaves no room for a raster. */
  const rc_page_start_fields &q = run.recs[1].rec.page;
  EXPECT_EQ(q.paperWidth, 0);
  EXPECT_EQ(q.paperLength, 0);
  EXPECT_EQ(q.duplex, 1);
  EXPECT_EQ(q.collate, -1);
  EXPECT_EQ(q.orientation, 1);
  EXPECT_EQ(run.log,
            faultsJobStart() +
              faultsPageLines(1, "4294967296 -1 99999999999999999999 -4294967295 2147483648 -2147483649 99999999999 4294967295 -5 -99999999999",
                              "4.29497e+09 4.29497e+09 4.29497e+09 1",
                              "collate: 2147483647 duplex: -2147483648 tumble: 2147483647 hwresX: -1 hwresY: -5 orientation: -2147483648",
                              " 0") +
              faultsPageLines(2, "0 0 0 0 -1 -1 -1 0 0 0", "0 0 0 0",
                              "collate: -1 duplex: -1 tumble: -1 hwresX: 0 hwresY: 0 orientation: 0", " 0") +
              kD + "RASTER with ERROR: value '4 1 3' raster_data: 0x0 width: 0.000000 height: 0.000000 !!!\n" +
              kQ + "ENDPAGE - raster_data EMPTY\"\n" + kD + "NO ALLOCATED raster_data !!!\n" + finishedLine());
}

TEST_F(InputFaults, HugeAndNegativeNumbersInRasterLineAndColorDevice)
{
  const std::string row1 = "ABCDEFGHIJKL", row2 = "mnopqrstuvwx";
  InputRun run = runInput(std::string("PRINTERMODEL P1\n") +
                          "COLORDEVICE 4294967297\nCOLORDEVICE +1\nCOLORDEVICE -1\nCOLORDEVICE 01\n"
                          "COLORDEVICE 99999999999999999999\nCOLORDEVICE 1x\nCOLORDEVICE -2147483649\n"
                          "COLORDEVICE 1\n" +
                          kPage +
                          "RASTER -1 2 3\n"
                          "RASTER 99999999999 99999999999 99999999999\n"
                          "RASTER 2 2 -3\n"
                          "RASTER 65536 65536 1\n"
                          "RASTER 0 5 3\n"
                          "RASTER 4 -4294967293 3\n" /* height 3 */
                          "LINE -1\nabc\n"           /* refused; abc is a line */
                          "LINE 2147483648\n"
                          "LINE 99999999999999999999\n"
                          "LINE -0\n" /* no bytes, one line */
                          "LINE 12\n" +
                          row1 +
                          "LINE +12\n" + row2 +
                          "ENDPAGE\n"
                          "DOCUMENT\n"
                          "LINE 2147483647\nENDDOCUMENT\n"); /* eats the rest */
  expectOk(run);
  ASSERT_EQ(run.ids, std::vector<uint32_t>({420, 411, 412, 413, 421, 418}));
  EXPECT_EQ(run.recs[0].rec.page.color, 2);
  EXPECT_EQ(run.recs[1].rec.bitmap.width, 4u);
  EXPECT_EQ(run.recs[1].rec.bitmap.height, 3u);
  std::vector<WireRecord> frags = faultsFragments(run.recs);
  /* Rows 2 (never written: white), 1 and 0, each group reversed. */
  EXPECT_TRUE(wireBitmap(frags) == std::string(12, '\xFF') + "onmrqputsxwv" + "CBAFEDIHGLKJ");
  const std::string c = kQ + "COLORDEVICE: ";
  EXPECT_EQ(run.log,
            faultsJobStart() + kP1Line + c + "False\"\n" + c + "True\"\n" + c + "False\"\n" + c + "True\"\n" +
              c + "False\"\n" + c + "True\"\n" + c + "False\"\n" + c + "True\"\n" +
              faultsPageLines(1, "0 0 612 792 0 0 0 300 300 0", "0 0 612 792",
                              "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", " 0") +
              kD + "Raster data CANNOT allocate (-1 * 2 * 3) !!!\n" +
              kD + "Raster data CANNOT allocate (-1 * -1 * -1) !!!\n" +
              kD + "Raster data CANNOT allocate (2 * 2 * -3) !!!\n" +
              kD + "Raster data CANNOT allocate (65536 * 65536 * 1) !!!\n" +
              kD + "Raster data CANNOT allocate (0 * 5 * 3) !!!\n" + faultsAllocatedLine(36, 3, 0) +
              kD + "LINE - REJECTED: byte count '-1' is negative !!!\n" +
              kD + "LINE - REJECTED: byte count '2147483648' is too large !!!\n" +
              kD + "LINE - REJECTED: byte count '99999999999999999999' is too large !!!\n" +
              faultsEndpageLog(frags, 12, 12, 3, 0, 1) + "DEBUG: LINE - bytesPerLine: 12 bytes: 2147483647\n" +
              finishedLine());
}
