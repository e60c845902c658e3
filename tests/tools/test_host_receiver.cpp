/*
 * test_host_receiver.cpp - kivprinter-host as a program, on a socket of its
 * own (never the backend's): saved pages and job.json, the check of every
 * record field with its error line, connections that end early or hang,
 * many connections at once, the socket file's life, --once and --dump.
 */
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host_support.h"

namespace {

class HostReceiver : public ::testing::Test
{
protected:
  std::string dir, sock, out;
  Receiver r;
  unsigned jobs = 0; /* jobs sent so far (each connection with bytes) */

  void SetUp() override
  {
    dir = makeTempDir("host-recv");
    ASSERT_FALSE(dir.empty());
    sock = dir + "/host.sock";
    out = dir + "/received";
  }

  void TearDown() override
  {
    if (r.pid > 0)
      receiverStop(&r, SIGTERM, 20);
    removeTempDir(dir);
  }

  void start(const std::vector<std::string> &extra = {})
  {
    std::string why;
    ASSERT_TRUE(receiverStart(&r, sock, out, dir, extra, &why)) << why;
  }

  /* Sends bytes on a new connection and closes it; errors are ignored (the
     receiver may drop a bad connection before everything was sent). */
  void send(const std::string &bytes)
  {
    int fd = connectUnix(sock);
    ASSERT_GE(fd, 0);
    sendAll(fd, bytes);
    close(fd);
    jobs++;
  }

  std::string folder(unsigned job, const std::string &printer)
  {
    char name[32];
    snprintf(name, sizeof name, "/%04u-", job);
    return out + name + printer;
  }

  /* Sends a good job and expects it complete: the receiver still serves. */
  void expectStillServing()
  {
    PageImage image = patternImage(6, 5, 3, jobs, 75);
    send(jobStream(image, "OK"));
    std::string line = "job " + std::to_string(jobs) + ": complete, 1 page in " + folder(jobs, "OK");
    ASSERT_TRUE(receiverWaitFor(&r, false, line, 20)) << receiverOut(&r) << receiverErr(&r);
    PageImage back;
    ASSERT_TRUE(readPng(folder(jobs, "OK") + "/page-001.png", &back));
    EXPECT_EQ(imageDifference(back, image), "");
  }
};

/* The records of a one-page job, kept apart so that tests can alter one. */
struct Parts
{
  std::string payload = namePayload("P1");
  PageImage image;
  std::vector<rc_record> recs;
  std::vector<std::string> compressed; /* fragment data the records point into */

  Parts(uint32_t width, uint32_t height, uint32_t channels, unsigned linesPerFragment = 0)
  {
    image = patternImage(width, height, channels, width + height, 75);
    recs.push_back(simpleRecord(RCPACKETID_PRN_DOC_START, payload));
    recs.push_back(pageStartRecord(payload, 9, channels == 3 ? 2 : 1, 75));
    recs.push_back(bitmapHeaderRecord(payload, width, height, 75, 75));
    std::string lines = wireLines(image);
    size_t padded = ((size_t)width * channels + 3) / 4 * 4;
    size_t per = linesPerFragment ? linesPerFragment : height;
    compressed.reserve(64); /* the records point into these strings */
    for (size_t start = 0; start < lines.size(); start += per * padded)
    {
      compressed.emplace_back();
      recs.push_back(fragmentRecord(payload, lines.substr(start, per * padded), &compressed.back()));
    }
    recs.push_back(simpleRecord(RCPACKETID_PRN_BITMAP_END, payload));
    recs.push_back(simpleRecord(RCPACKETID_PRN_PAGE_END, payload));
    recs.push_back(simpleRecord(RCPACKETID_PRN_DOC_END, payload));
  }

  /* Offset of record i when every record before it is encoded as it is. */
  size_t offset(size_t i) const
  {
    size_t o = 0;
    for (size_t k = 0; k < i; k++)
      o += rc_encoded_size(&recs[k]);
    return o;
  }

  std::string bytes() const
  {
    std::string s;
    for (const rc_record &rec : recs)
      s += encodeRecord(rec, true);
    return s;
  }
};

std::string errorLine(unsigned job, size_t index, size_t offset, const std::string &what, unsigned kept = 0)
{
  return "kivprinter-host: job " + std::to_string(job) + ": record " + std::to_string(index) +
         " at offset " + std::to_string(offset) + ": " + what + "; connection dropped, " +
         std::to_string(kept) + (kept == 1 ? " page kept\n" : " pages kept\n");
}

} // namespace

TEST_F(HostReceiver, SavesAJobAsPngAndJobJson)
{
  start();
  Parts p(29, 17, 3);
  send(p.bytes());
  std::string f = folder(1, "P1");
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: complete", 20)) << receiverErr(&r);
  size_t compressed = p.recs[3].dataLength;
  char ratio[32];
  snprintf(ratio, sizeof ratio, "%.2f", 1496.0 / compressed); /* 17 lines of 88 bytes */
  EXPECT_EQ(receiverOut(&r),
            "kivprinter-host: listening on " + sock + ", saving jobs under " + out + "\n"
                                                                                     "job 1: printer \"P1\", saving to " +
              f + "\n"
                  "job 1 page 1: 29x17 depth 3, 1 fragment, " +
              std::to_string(compressed) +
              " compressed bytes, 1496 raw bytes, ratio " + ratio + " -> " + f + "/page-001.png\n"
                                                                                 "job 1: complete, 1 page in " +
              f + "\n");
  EXPECT_EQ(receiverErr(&r), "");
  PageImage back;
  ASSERT_TRUE(readPng(f + "/page-001.png", &back));
  EXPECT_EQ(imageDifference(back, p.image), "");
  EXPECT_EQ(back.xdpi, 75u);

  std::string json = readFileText(f + "/job.json");
  EXPECT_NE(json.find("\n  \"job\":1,\n  \"printer\":\"P1\",\n  \"folder\":\"" + f +
                      "\",\n  \"status\":\"complete\",\n  \"complete\":true,\n  \"error\":null,\n"),
            std::string::npos)
    << json;
  EXPECT_NE(json.find("{\"index\":1,\"offset\":18,\"type\":\"RCPACKET_PRN_PAGE_START\",\"id\":420,"
                      "\"totalLength\":50,\"nameLen\":6,\"printer\":\"P1\",\"fields\":\"0x00001F1F\","
                      "\"orientation\":{\"code\":1,\"name\":\"portrait\"},\"paper\":{\"code\":9,\"name\":\"A4\"},"
                      "\"paperWidthMm\":210.0,\"paperLengthMm\":297.0,\"scale\":100,\"copies\":1,"
                      "\"defaultSource\":7,\"printQuality\":75,\"color\":{\"code\":2,\"name\":\"color\"},"
                      "\"duplex\":{\"code\":1,\"name\":\"simplex\"},\"collate\":0}"),
            std::string::npos)
    << json;
  EXPECT_NE(json.find("\"type\":\"RCPACKET_PRN_BITMAP_HDR\",\"id\":411,\"totalLength\":38,\"nameLen\":6,"
                      "\"printer\":\"P1\",\"width\":29,\"height\":17,\"constant\":1,\"xResolution\":75,"
                      "\"yResolution\":75,\"widthMm\":9.8,\"heightMm\":5.8}"),
            std::string::npos)
    << json;
  snprintf(ratio, sizeof ratio, "%.2f", 1496.0 / compressed);
  EXPECT_NE(json.find("\"uncompressedLength\":1496,\"constant\":1,\"compressedLength\":" +
                      std::to_string(compressed) + ",\"ratio\":" + ratio + "}"),
            std::string::npos)
    << json;
  EXPECT_NE(json.find("\"type\":\"RCPACKET_PRN_BITMAP_END\",\"id\":413,\"totalLength\":18,\"nameLen\":6,"
                      "\"printer\":\"P1\",\"page\":1,\"depth\":3,\"image\":\"page-001.png\"}"),
            std::string::npos)
    << json;
  EXPECT_NE(json.find("{\"page\":1,\"image\":\"page-001.png\",\"width\":29,\"height\":17,\"depth\":3,"
                      "\"depthAmbiguous\":false,\"xResolution\":75,\"yResolution\":75,\"lineBytes\":88,"
                      "\"linesReceived\":17,\"lostSamplesPerRow\":0,\"fragments\":1,"),
            std::string::npos)
    << json;
  EXPECT_EQ(hostCount(json, "\"type\":"), 7u);
  EXPECT_EQ(hostListDir(f), (std::vector<std::string>{"job.json", "page-001.png"}));
}

TEST_F(HostReceiver, GrayPagesInSeveralFragmentsAndSeveralPages)
{
  start();
  /* Width 9: 9 bytes per row, 12 per line; fragments of 4 lines. */
  Parts a(9, 10, 1, 4);
  Parts b(5, 3, 3);
  std::string s = a.bytes();
  /* A second page in the same job: drop the first page's DOC_END. */
  s.resize(s.size() - rc_encoded_size(&a.recs.back()));
  for (size_t i = 1; i < b.recs.size(); i++)
    s += encodeRecord(b.recs[i], true);
  send(s);
  std::string f = folder(1, "P1");
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: complete, 2 pages in " + f, 20)) << receiverErr(&r);
  EXPECT_NE(receiverOut(&r).find("job 1 page 1: 9x10 depth 1, 3 fragments, "), std::string::npos);
  PageImage back;
  ASSERT_TRUE(readPng(f + "/page-001.png", &back));
  EXPECT_EQ(back.channels, 1u);
  EXPECT_EQ(imageDifference(back, a.image), "");
  ASSERT_TRUE(readPng(f + "/page-002.png", &back));
  EXPECT_EQ(imageDifference(back, b.image), "");
}

TEST_F(HostReceiver, EveryCorruptFieldGivesItsErrorLineAndTheReceiverGoesOn)
{
  start();
  struct Case
  {
    const char *name;
    std::function<void(Parts *)> alter;
    size_t index; /* record named in the error */
    std::string what;
    unsigned kept = 0; /* pages finished before it */
  };
  /* Width 29 colour: 88 bytes per line (32 at depth 1); 17 lines. */
  std::vector<Case> cases = {
    {"unknown id", [](Parts *p) { p->recs[1].id = 414; }, 1,
     "unknown packet id 414 (0x0000019E)"},
    {"total below fixed part", [](Parts *p) { p->recs[1].totalLength = 40; }, 1,
     "RCPACKET_PRN_PAGE_START total length 40 is shorter than its 44-byte fixed part"},
    {"total over the limit", [](Parts *p) { p->recs[0].totalLength = 0x20000000; }, 0,
     "RCPACKET_PRN_DOC_START total length 536870912 exceeds the limit of 268435456 bytes"},
    {"total not fixed + nameLen", [](Parts *p) { p->recs[2].totalLength += 2; }, 2,
     "RCPACKET_PRN_BITMAP_HDR total length 40 is not fixed part 32 + nameLen 6"},
    {"odd nameLen", [](Parts *p) { p->recs[0].nameLen = 5; p->recs[0].totalLength = 17; }, 0,
     "RCPACKET_PRN_DOC_START nameLen 5 is odd: the payload is made of 16-bit units"},
    {"nameLen over the limit", [](Parts *p) { p->recs[1].nameLen = 4096; p->recs[1].payload = nullptr;
                                              p->recs[1].totalLength = 44 + 4096; }, 1,
     "RCPACKET_PRN_PAGE_START nameLen 4096 exceeds the limit of 2048 bytes"},
    {"payload without terminator", [](Parts *p) {
       static const std::string noZero("P\0" "1\0" "2\0", 6);
       p->recs[5].payload = (const unsigned char *)noZero.data(); }, 5,
     "RCPACKET_PRN_PAGE_END printer-name payload of 6 bytes has no 16-bit terminator", 1},
    {"fragment total below fixed + nameLen", [](Parts *p) {
       p->recs[3].totalLength = 22; p->recs[3].dataLength = 0; }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT total length 22 is shorter than fixed part 20 + nameLen 6"},
    {"corrupt LZF data", [](Parts *p) {
       /* A back reference before the start of the output. */
       static const std::string bad = std::string("\xE0\xFF\xFF", 3) + std::string(17, 'x');
       p->recs[3].data = (const unsigned char *)bad.data(); p->recs[3].dataLength = 20;
       rc_record_set_lengths(&p->recs[3]); }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragment 3: corrupt LZF data (20 compressed bytes)"},
    {"more than LZF can expand to", [](Parts *p) {
       p->recs[3].dataLength = 16; rc_record_set_lengths(&p->recs[3]); }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragment 3 states 1496 uncompressed bytes, more than its 16 compressed "
     "bytes can hold"},
    {"decompresses to more", [](Parts *p) { p->recs[3].fragment.uncompressedLength -= 88; }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragment 3 decompresses to more than its stated 1408 bytes"},
    {"stated length 0", [](Parts *p) { p->recs[3].fragment.uncompressedLength = 0; }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragment 3 states 0 uncompressed bytes"},
    {"no compressed data", [](Parts *p) { p->recs[3].dataLength = 0; rc_record_set_lengths(&p->recs[3]); }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragment 3 carries no compressed data"},
    {"not whole lines", [](Parts *p) { p->recs[3].fragment.uncompressedLength -= 1; }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragment of 1495 bytes is not a whole number of lines of 29 pixels "
     "(88 bytes at depth 3, 32 bytes at depth 1)"},
    {"more lines than the height", [](Parts *p) { p->recs[2].bitmap.height = 16; }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT fragments carry 17 lines at depth 3, more than the bitmap's height of 16"},
    {"fragment constant", [](Parts *p) { p->recs[3].fragment.constant = 2; }, 3,
     "RCPACKET_PRN_BITMAP_FRAGMENT constant is 2, expected 1"},
    {"header constant", [](Parts *p) { p->recs[2].bitmap.constant = 0; }, 2,
     "RCPACKET_PRN_BITMAP_HDR constant is 0, expected 1"},
    {"header width 0", [](Parts *p) { p->recs[2].bitmap.width = 0; }, 2,
     "RCPACKET_PRN_BITMAP_HDR bitmap of 0x17 pixels: the width is 0"},
    {"header height 0", [](Parts *p) { p->recs[2].bitmap.height = 0; }, 2,
     "RCPACKET_PRN_BITMAP_HDR bitmap of 29x0 pixels: the height is 0"},
    {"header too large", [](Parts *p) { p->recs[2].bitmap.width = 100000; p->recs[2].bitmap.height = 100000; }, 2,
     "RCPACKET_PRN_BITMAP_HDR bitmap of 100000x100000 pixels is larger than this receiver rebuilds "
     "(1073741824 bytes at most)"},
    {"field mask", [](Parts *p) { p->recs[1].page.fields = 0x1F1E; }, 1,
     "RCPACKET_PRN_PAGE_START field mask is 0x00001F1E, expected 0x00001F1F"},
    {"reserved bytes", [](Parts *p) { p->recs[1].page.reserved[5] = 1; }, 1,
     "RCPACKET_PRN_PAGE_START reserved bytes are not zero"},
    {"fragment before its header", [](Parts *p) { p->recs.erase(p->recs.begin() + 2); }, 2,
     "RCPACKET_PRN_BITMAP_FRAGMENT outside a bitmap (no RCPACKET_PRN_BITMAP_HDR before it)"},
    {"bitmap end without header", [](Parts *p) { p->recs.erase(p->recs.begin() + 2, p->recs.begin() + 4); }, 2,
     "RCPACKET_PRN_BITMAP_END without a bitmap (no RCPACKET_PRN_BITMAP_HDR before it)"},
    {"page end inside a bitmap", [](Parts *p) { p->recs.erase(p->recs.begin() + 4); }, 4,
     "RCPACKET_PRN_PAGE_END inside an unfinished bitmap (no RCPACKET_PRN_BITMAP_END after the "
     "RCPACKET_PRN_BITMAP_HDR)"},
  };
  for (const Case &c : cases)
  {
    SCOPED_TRACE(c.name);
    Parts p(29, 17, 3);
    c.alter(&p);
    size_t offset = p.offset(c.index);
    send(p.bytes());
    std::string line = errorLine(jobs, c.index, offset, c.what, c.kept);
    ASSERT_TRUE(receiverWaitFor(&r, true, line, 20)) << receiverErr(&r);
    expectStillServing();
  }
  /* Nothing else went to standard error: one line per bad connection. */
  EXPECT_EQ(hostCount(receiverErr(&r), "\n"), cases.size());
}

TEST_F(HostReceiver, FewerBytesThanStatedAndPagesKeptBeforeAnError)
{
  start();
  /* Two fragments of 8 and 9 lines; the first claims one line more than it
     holds (still within the height). */
  Parts p(29, 17, 3, 8);
  p.recs[3].fragment.uncompressedLength += 88;
  send(p.bytes());
  ASSERT_TRUE(receiverWaitFor(&r, true, errorLine(1, 3, p.offset(3), "RCPACKET_PRN_BITMAP_FRAGMENT fragment 3 decompresses to 704 bytes, 792 stated"), 20))
    << receiverErr(&r);

  /* A first page arrives whole, the second page's fragment is corrupt. */
  Parts a(6, 4, 3), b(6, 4, 3);
  b.recs[3].fragment.constant = 7;
  std::string s = a.bytes();
  s.resize(s.size() - rc_encoded_size(&a.recs.back()));
  size_t offset = s.size();
  for (size_t i = 1; i < b.recs.size(); i++)
  {
    if (i < 3)
      offset += rc_encoded_size(&b.recs[i]);
    s += encodeRecord(b.recs[i], true);
  }
  send(s);
  ASSERT_TRUE(receiverWaitFor(&r, true, errorLine(2, 8, offset, "RCPACKET_PRN_BITMAP_FRAGMENT constant is 7, expected 1", 1), 20)) << receiverErr(&r);
  std::string f = folder(2, "P1");
  PageImage back;
  ASSERT_TRUE(readPng(f + "/page-001.png", &back));
  EXPECT_EQ(imageDifference(back, a.image), "");
  EXPECT_FALSE(hostExists(f + "/page-002.png"));
  std::string json = readFileText(f + "/job.json");
  EXPECT_NE(json.find("\"status\":\"failed\",\n  \"complete\":false,\n  \"error\":\"record 8 at offset " +
                      std::to_string(offset) + ": RCPACKET_PRN_BITMAP_FRAGMENT constant is 7, expected 1\""),
            std::string::npos)
    << json;
  /* The failing record is listed with its error. */
  EXPECT_NE(json.find("\"constant\":7,"), std::string::npos);
  EXPECT_NE(json.find("\"error\":\"RCPACKET_PRN_BITMAP_FRAGMENT constant is 7, expected 1\"}"), std::string::npos);
}

TEST_F(HostReceiver, JobsThatEndEarlyAreKeptAsIncomplete)
{
  start();
  Parts p(6, 4, 3);
  /* Ends between records, before the document's end. */
  send(p.bytes().substr(0, p.offset(2)));
  ASSERT_TRUE(receiverWaitFor(&r, false,
                              "job 1: incomplete: the connection ended before the document's end; 0 pages kept\n", 20));
  std::string json = readFileText(folder(1, "P1") + "/job.json");
  EXPECT_NE(json.find("\"status\":\"incomplete\",\n  \"complete\":false,\n  \"error\":null,\n"
                      "  \"note\":\"the connection ended before the document's end\""),
            std::string::npos)
    << json;
  /* Ends inside a bitmap. */
  send(p.bytes().substr(0, p.offset(4)));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 2: incomplete: the connection ended inside a bitmap; 0 pages kept\n", 20));
  /* Ends inside a record: 10 bytes of the bitmap header. */
  send(p.bytes().substr(0, p.offset(2) + 10));
  ASSERT_TRUE(receiverWaitFor(&r, false,
                              "job 3: incomplete: record 2 at offset 68: stream ends inside the record: 10 byte(s) left undecoded; "
                              "0 pages kept\n",
                              20))
    << receiverOut(&r);
  /* After the page but before the document's end: the page is kept. */
  send(p.bytes().substr(0, p.offset(6)));
  ASSERT_TRUE(receiverWaitFor(&r, false,
                              "job 4: incomplete: the connection ended before the document's end; 1 page kept\n", 20));
  EXPECT_TRUE(hostExists(folder(4, "P1") + "/page-001.png"));
  /* A connection that sends nothing is no job at all. */
  int fd = connectUnix(sock);
  ASSERT_GE(fd, 0);
  close(fd);
  expectStillServing();
  EXPECT_EQ(jobs, 5u);
  EXPECT_EQ(receiverErr(&r), "");
}

TEST_F(HostReceiver, AStuckConnectionDoesNotDelayOthers)
{
  start();
  Parts p(6, 4, 3);
  std::string whole = p.bytes();
  int stuck = connectUnix(sock);
  ASSERT_GE(stuck, 0);
  ASSERT_TRUE(sendAll(stuck, whole.substr(0, p.offset(3) + 7))); /* inside a fragment */
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: printer \"P1\"", 20));
  jobs = 1;
  expectStillServing();
  expectStillServing();
  /* The first one finishes when its peer does. */
  ASSERT_TRUE(sendAll(stuck, whole.substr(p.offset(3) + 7)));
  close(stuck);
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: complete, 1 page in " + folder(1, "P1"), 20));
  PageImage back;
  ASSERT_TRUE(readPng(folder(1, "P1") + "/page-001.png", &back));
  EXPECT_EQ(imageDifference(back, p.image), "");
}

TEST_F(HostReceiver, SixteenConnectionsAtOnce)
{
  start();
  const int n = 16;
  std::vector<PageImage> images;
  std::vector<std::string> streams;
  for (int i = 0; i < n; i++)
  {
    uint32_t channels = i % 2 ? 1 : 3;
    uint32_t width = 40 + i * 7;
    while (channels == 1 && grayWidthLosesASample(width))
      width++;
    images.push_back(patternImage(width, 30 + i * 3, channels, i, 75));
    char name[8];
    snprintf(name, sizeof name, "J%02d", i + 1);
    streams.push_back(jobStream(images.back(), name, 5));
  }
  /* All connect first, then all send in small pieces, interleaved. */
  std::vector<int> fds;
  for (int i = 0; i < n; i++)
  {
    fds.push_back(connectUnix(sock));
    ASSERT_GE(fds.back(), 0);
  }
  std::vector<std::thread> threads;
  for (int i = 0; i < n; i++)
    threads.emplace_back([&, i] {
      const std::string &s = streams[i];
      for (size_t pos = 0; pos < s.size(); pos += 1000)
      {
        sendAll(fds[i], s.substr(pos, 1000));
        usleep(200);
      }
      close(fds[i]);
    });
  for (std::thread &t : threads)
    t.join();
  ASSERT_TRUE(receiverWaitFor(&r, false, ": complete, 1 page in ", 60, n)) << receiverOut(&r) << receiverErr(&r);
  std::vector<std::string> folders = hostListDir(out);
  ASSERT_EQ(folders.size(), (size_t)n);
  for (const std::string &name : folders)
  {
    /* "NNNN-Jkk": the job numbers follow the order of the first bytes. */
    int k = atoi(name.substr(6).c_str()) - 1;
    ASSERT_TRUE(k >= 0 && k < n) << name;
    PageImage back;
    ASSERT_TRUE(readPng(out + "/" + name + "/page-001.png", &back)) << name;
    EXPECT_EQ(imageDifference(back, images[k]), "") << name;
    EXPECT_NE(readFileText(out + "/" + name + "/job.json").find("\"status\":\"complete\""), std::string::npos);
  }
  EXPECT_EQ(receiverErr(&r), "");
}

TEST_F(HostReceiver, SocketModeAndRemovalOnSignals)
{
  start();
  struct stat st;
  ASSERT_EQ(stat(sock.c_str(), &st), 0);
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0666u);
  EXPECT_EQ(receiverStop(&r, SIGTERM, 20), 0);
  EXPECT_FALSE(hostExists(sock));

  start({"--mode", "0600"});
  ASSERT_EQ(stat(sock.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);
  EXPECT_EQ(receiverStop(&r, SIGINT, 20), 0);
  EXPECT_FALSE(hostExists(sock));
}

TEST_F(HostReceiver, AStaleSocketIsReplacedALiveOneIsNot)
{
  /* A socket file nobody listens on, as a killed receiver leaves it. */
  ASSERT_TRUE(makeStaleUnixSocket(sock));
  ASSERT_TRUE(hostExists(sock));
  start();
  EXPECT_EQ(receiverErr(&r), "kivprinter-host: removed the stale socket " + sock + "\n");

  /* A second receiver on the same path refuses and leaves it alone. */
  Receiver second;
  std::string why;
  std::string dir2 = makeTempDir("host-recv2");
  EXPECT_FALSE(receiverStart(&second, sock, out, dir2, {}, &why));
  EXPECT_EQ(readFileText(second.errLog), "kivprinter-host: another receiver is listening on " + sock + "; not starting\n");
  removeTempDir(dir2);
  expectStillServing();

  /* Killed without a chance to clean up: the next start takes over. */
  EXPECT_EQ(receiverStop(&r, SIGKILL, 20), 128 + SIGKILL);
  EXPECT_TRUE(hostExists(sock));
  start();
  EXPECT_NE(receiverErr(&r).find("kivprinter-host: removed the stale socket " + sock), std::string::npos);
  jobs = 0;
  removeTempDir(out);
  expectStillServing();
}

TEST_F(HostReceiver, WhatIsNotASocketIsNeverRemoved)
{
  ASSERT_TRUE(writeFileBytes(sock, "precious"));
  std::string why;
  EXPECT_FALSE(receiverStart(&r, sock, out, dir, {}, &why));
  EXPECT_EQ(receiverErr(&r), "kivprinter-host: " + sock + " exists and is not a socket; not touching it\n");
  EXPECT_EQ(readFileText(sock), "precious");

  std::string longPath = dir + "/" + std::string(120, 's');
  EXPECT_FALSE(receiverStart(&r, longPath, out, dir, {}, &why));
  EXPECT_EQ(receiverErr(&r), "kivprinter-host: socket path '" + longPath + "' is empty or longer than 107 bytes\n");
}

TEST_F(HostReceiver, OnceStopsAfterTheFirstJobWithItsOutcome)
{
  start({"--once"});
  /* A connection without bytes is no job: the receiver stays. */
  int fd = connectUnix(sock);
  ASSERT_GE(fd, 0);
  close(fd);
  usleep(200000);
  ASSERT_GT(r.pid, 0);
  EXPECT_TRUE(hostExists(sock));
  Parts p(6, 4, 3);
  send(p.bytes());
  EXPECT_EQ(receiverWaitExit(&r, 20), 0);
  EXPECT_FALSE(hostExists(sock));
  EXPECT_TRUE(hostExists(folder(1, "P1") + "/page-001.png"));

  start({"--once"});
  send(p.bytes().substr(0, p.offset(6)));
  EXPECT_EQ(receiverWaitExit(&r, 20), 1);
  EXPECT_FALSE(hostExists(sock));
}

TEST_F(HostReceiver, DumpPrintsRecordsAndSavesNothing)
{
  start({"--dump"});
  Parts p(6, 4, 3);
  send(p.bytes());
  ASSERT_TRUE(receiverWaitFor(&r, true, "job 1: complete, 1 page\n", 20)) << receiverErr(&r);
  std::string o = receiverOut(&r);
  std::vector<std::string> lines;
  for (size_t pos = 0; pos < o.size();)
  {
    size_t nl = o.find('\n', pos);
    lines.push_back(o.substr(pos, nl - pos));
    pos = nl + 1;
  }
  ASSERT_EQ(lines.size(), 7u) << o;
  EXPECT_EQ(lines[0], "{\"job\":1,\"index\":0,\"offset\":0,\"type\":\"RCPACKET_PRN_DOC_START\",\"id\":418,"
                      "\"totalLength\":18,\"nameLen\":6,\"printer\":\"P1\"}");
  EXPECT_EQ(lines[4], "{\"job\":1,\"index\":4,\"offset\":" + std::to_string(p.offset(4)) +
                        ",\"type\":\"RCPACKET_PRN_BITMAP_END\",\"id\":413,\"totalLength\":18,\"nameLen\":6,"
                        "\"printer\":\"P1\",\"page\":1,\"depth\":3,\"image\":null}");
  for (size_t i = 0; i < lines.size(); i++)
  {
    std::string prefix = "{\"job\":1,\"index\":" + std::to_string(i) + ",";
    EXPECT_EQ(lines[i].substr(0, prefix.size()), prefix);
  }
  EXPECT_FALSE(hostExists(out));
  EXPECT_NE(receiverErr(&r).find("job 1 page 1: 6x4 depth 3, 1 fragment, "), std::string::npos);
}

TEST_F(HostReceiver, NumbersContinueAfterExistingJobsAndNamesAreSafe)
{
  ASSERT_EQ(mkdir(out.c_str(), 0755), 0);
  ASSERT_EQ(mkdir((out + "/0041-Old").c_str(), 0755), 0);
  ASSERT_EQ(mkdir((out + "/notes").c_str(), 0755), 0);
  start();
  PageImage image = patternImage(3, 2, 3, 1, 75);
  /* "Bü/ro 1" in UTF-16: a non-ASCII character, a slash and a blank. */
  std::string payload("B\0\xFC\0/\0r\0o\0 \0"
                      "1\0\0\0",
                      16);
  std::string s = encodeRecord(simpleRecord(RCPACKETID_PRN_DOC_START, payload));
  s += encodeRecord(simpleRecord(RCPACKETID_PRN_DOC_END, payload));
  send(s);
  std::string f = out + "/0042-B___ro_1"; /* two bytes of UTF-8, a slash, a blank */
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 42: complete, 0 pages in " + f, 20)) << receiverOut(&r);
  EXPECT_NE(receiverOut(&r).find("job 42: printer \"B\xC3\xBC/ro 1\", saving to " + f + "\n"), std::string::npos);
  std::string json = readFileText(f + "/job.json");
  EXPECT_NE(json.find("\"printer\":\"B\xC3\xBC/ro 1\","), std::string::npos) << json;
  EXPECT_NE(json.find("\"printer\":\"B\\u00FC/ro 1\"}"), std::string::npos) << json;
}
