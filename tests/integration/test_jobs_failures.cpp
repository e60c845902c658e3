/*
 * test_jobs_failures.cpp - jobs that end early: the host going away before
 * a record or in the middle of a page, and memory that cannot be had for
 * the raster or for a page's buffers.
 */
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "job_run.h"

#if defined(__SANITIZE_ADDRESS__)
#define JOBS_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define JOBS_UNDER_ASAN 1
#endif
#endif

static const std::string kP1("P\0"
                             "1\0\0\0",
                             6);

static std::string brokenPipeLine()
{
  return std::string("Writing to socket failed: ") + strerror(EPIPE) + "\n";
}

/*
 * A job whose stream is written in two parts: the host reads what the
 * first part makes the backend send (closeAfter bytes) and goes away; only
 * then is the second part written.  So the first record of the second part
 * meets a closed connection, whatever the timing.
 */
static JobRun pacedJob(const std::string &first, size_t closeAfter, const std::string &second)
{
  JobRun run;
  SocketSink sink;
  SinkOptions so;
  so.closeAfterBytes = closeAfter;
  CupsdFixture *cupsd = jobHostStart(&sink, so);
  if (!cupsd)
    return run;
  std::string dir = makeTempDir("corvane-paced");
  int fds[2];
  if (pipe(fds) != 0)
  {
    ADD_FAILURE() << "pipe";
    return run;
  }
  void (*oldPipe)(int) = signal(SIGPIPE, SIG_IGN);
  pid_t pid = spawnWithStdin(backendArgv({"12", "user1", "report", "1", ""}),
                             cupsdEnvironment(cupsd, {"PRINTER=Office"}), fds[0], dir + "/out",
                             dir + "/err");
  close(fds[0]);
  EXPECT_GT(pid, 0);
  EXPECT_EQ(write(fds[1], first.data(), first.size()), (ssize_t)first.size());
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 30)) << "the host did not get its bytes";
  if (!second.empty())
  {
    EXPECT_EQ(write(fds[1], second.data(), second.size()), (ssize_t)second.size());
  }
  close(fds[1]);
  waitSpawned(pid, 60, dir + "/out", dir + "/err", &run.child);
  signal(SIGPIPE, oldPipe);
  run.wire = sinkReceived(&sink, 0);
  sinkStop(&sink);
  removeTempDir(dir);
  run.log = maskJobLog(run.child.err);
  return run;
}

static void expectStopped(const JobRun &run)
{
  EXPECT_TRUE(run.child.exited);
  EXPECT_EQ(run.child.exitStatus, 4);
  EXPECT_EQ(run.child.termSignal, 0);
  EXPECT_FALSE(run.child.timedOut);
}

static const char kPage[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";

static std::string pageLog(int counter = 1)
{
  return pageLogLines(counter, "0 0 612 792 0 0 0 300 300 0", "0 0 612 792",
                      "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", " 0");
}

/* The test host only notices a count once bytes arrive, so every paced
   job sends one record before the host goes away. */
TEST(JobsFailures, HostGoneBeforeDocumentStart)
{
  JobRun run = pacedJob("DOCUMENT first\n", 12, "DOCUMENT second\nCOLORDEVICE 1\n");
  expectStopped(run);
  EXPECT_EQ(run.wire, le32(418) + le32(12) + le32(0));
  EXPECT_EQ(run.log, jobStart() + brokenPipeLine() +
                       "DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n");
}

TEST(JobsFailures, HostGoneBeforeDocumentEnd)
{
  JobRun run = pacedJob("PRINTERMODEL P1\nDOCUMENT\n", 18, "ENDDOCUMENT\nCOLORDEVICE 1\n");
  expectStopped(run);
  EXPECT_EQ(run.wire, le32(418) + le32(18) + le32(6) + kP1);
  EXPECT_EQ(run.log, jobStart() + "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n" +
                       brokenPipeLine() +
                       "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_DOC_END) FAILED\n");
}

TEST(JobsFailures, HostGoneBeforePageStart)
{
  JobRun run = pacedJob("PRINTERMODEL P1\nDOCUMENT\n", 18, std::string(kPage) + "COLORDEVICE 1\n");
  expectStopped(run);
  EXPECT_EQ(run.wire, le32(418) + le32(18) + le32(6) + kP1);
  std::string page = pageLog();
  page = page.substr(0, page.rfind("DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\""));
  EXPECT_EQ(run.log, jobStart() + "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n" + page +
                       brokenPipeLine() +
                       "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_PAGE_START) FAILED\n");
}

TEST(JobsFailures, HostGoneBeforeBitmapHeader)
{
  std::string first = std::string(kPage) + "RASTER 4 1 3\n" + jobLine(std::string(12, 'a'));
  JobRun run = pacedJob(first, 44, "ENDPAGE\nCOLORDEVICE 1\n");
  expectStopped(run);
  std::vector<WireRecord> recs = recordsOf(run.wire);
  EXPECT_EQ(idsOf(recs), std::vector<uint32_t>({420}));
  EXPECT_EQ(run.log, jobStart() + pageLog() +
                       "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 12 depth: 3 res: 0\n"
                       "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data OK\"\n" +
                       brokenPipeLine() +
                       "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_BITMAP_HDR) FAILED\n");
}

TEST(JobsFailures, HostVanishesInTheMiddleOfAPage)
{
  /* Rows of noise do not compress: the first fragment's data (about two
     million bytes) is far larger than what the socket buffers, so the
     backend is still writing it when the host closes after 100000 bytes. */
  std::string stream = "PRINTERMODEL P1\nDOCUMENT\n" + std::string(kPage) + "RASTER 2000 1000 3\n";
  uint32_t x = 12345;
  for (int r = 0; r < 1000; r++)
  {
    std::string row(6000, '\0');
    for (char &c : row)
    {
      x = x * 1664525u + 1013904223u;
      c = (char)(x >> 24);
    }
    stream += jobLine(row);
  }
  stream += "ENDPAGE\nENDDOCUMENT\n";
  JobOptions o;
  o.sink.closeAfterBytes = 100000;
  JobRun run = runJob(stream, o);
  expectStopped(run);
  EXPECT_EQ(run.wire.size(), 100000u);

  /* What arrived: whole records up to the fragment, then part of it. */
  rc_decoder dec;
  rc_decoder_init(&dec);
  const unsigned char *p = (const unsigned char *)run.wire.data();
  size_t left = run.wire.size();
  std::vector<uint32_t> ids;
  rc_record rec;
  size_t used, needed;
  while (rc_decode_next(&dec, p, left, &rec, &used, &needed) == RC_DECODE_RECORD)
  {
    ids.push_back(rec.id);
    p += used;
    left -= used;
  }
  EXPECT_EQ(ids, std::vector<uint32_t>({418, 420, 411}));
  EXPECT_EQ(rc_load32(p), RCPACKETID_PRN_BITMAP_FRAGMENT);
  EXPECT_GT(needed, left);

  std::vector<std::string> lines = splitLines(run.log);
  std::vector<std::string> want = splitLines(
    jobStart() + "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n" + pageLog() +
    "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 6000000 depth: 3 res: 235\n"
    "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data OK\"\n"
    "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"\n"
    "DEBUG: CorvaneBackend - bitmap bytesPerLine: 6000 raster_w: 6000 nLines: 1000 alignPerLine: 0\n"
    "DEBUG: \"CorvaneBackend - sendLines: 333 rwsize: 1998000\"\n");
  ASSERT_EQ(lines.size(), want.size() + 3);
  for (size_t i = 0; i < want.size(); i++)
    EXPECT_EQ(lines[i], want[i]) << i;
  EXPECT_TRUE(std::regex_match(lines[want.size()],
                               std::regex("DEBUG: \"CorvaneBackend - lzf_compress: [0-9]+ sendLength: 1998000\"")))
    << lines[want.size()];
  /* The peer's close shows as a broken pipe, or as a reset when it left
     bytes unread. */
  EXPECT_TRUE(lines[want.size() + 1] == "Writing to socket failed: " + std::string(strerror(EPIPE)) ||
              lines[want.size() + 1] == "Writing to socket failed: " + std::string(strerror(ECONNRESET)))
    << lines[want.size() + 1];
  EXPECT_EQ(lines[want.size() + 2],
            "DEBUG: CorvaneBackend - 1/1000 socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED");
}

/*
 * Memory limits for the backend: an address-space limit set by a shell
 * before it starts the backend, or, under the address sanitizer (which
 * needs a vast address space of its own), the sanitizer's own cap on a
 * single allocation.
 */
static void limitMemory(JobOptions *o)
{
#ifdef JOBS_UNDER_ASAN
  const char *old = getenv("ASAN_OPTIONS");
  o->extraEnv.push_back(std::string("ASAN_OPTIONS=") + (old ? std::string(old) + ":" : "") +
                        "allocator_may_return_null=1:max_allocation_size_mb=256");
#else
  o->wrapper = {"/bin/sh", "-c", "ulimit -v 400000 && exec \"$0\" \"$@\""};
#endif
}

/* Removes lines a sanitizer may add when it refuses an allocation. */
static std::string withoutSanitizerLines(const std::string &log)
{
  std::string out;
  for (const std::string &line : splitLines(log))
    if (line.find("AddressSanitizer") == std::string::npos && line.rfind("==", 0) != 0)
      out += line + "\n";
  return out;
}

TEST(JobsFailures, RasterThatCannotBeAllocated)
{
  JobOptions o;
  limitMemory(&o);
  JobRun run = runJob(std::string(kPage) + "RASTER 20000 20000 3\n" + jobLine("abc\n") + "ENDPAGE\n", o);
  EXPECT_JOB_OK(run);
  EXPECT_EQ(idsOf(recordsOf(run.wire)), std::vector<uint32_t>({420}));
  /* LINE without a raster leaves "abc" in the stream: an unknown line. */
  EXPECT_EQ(withoutSanitizerLines(run.log),
            jobStart() + pageLog() +
              "DEBUG: CorvaneBackend - Raster data CANNOT allocate (20000 * 20000 * 3) !!!\n"
              "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data EMPTY\"\n"
              "DEBUG: CorvaneBackend - NO ALLOCATED raster_data !!!\n" +
              finishedLine());
}

TEST(JobsFailures, PageBuffersThatCannotBeAllocatedEndTheJob)
{
  /* One LINE of 300,000,000 bytes over a 16-byte raster: the bytes are
     read and dropped (a sparse file makes them cheap), and ENDPAGE then
     needs two buffers of about 300 MB that the limit refuses. */
  std::string head = std::string(kPage) + "RASTER 4 4 1\nLINE 300000000\n";
  std::string tail = "ENDPAGE\nENDDOCUMENT\n";
  char path[] = "/tmp/corvane-jobs-sparse-XXXXXX";
  int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  ASSERT_EQ(write(fd, head.data(), head.size()), (ssize_t)head.size());
  ASSERT_EQ(pwrite(fd, tail.data(), tail.size(), (off_t)head.size() + 300000000), (ssize_t)tail.size());
  close(fd);
  JobOptions o;
  limitMemory(&o);
  o.args.push_back(path);
  JobRun run = runJob("", o);
  unlink(path);
  expectStopped(run);
  EXPECT_EQ(idsOf(recordsOf(run.wire)), std::vector<uint32_t>({420, 411}));
  EXPECT_EQ(withoutSanitizerLines(run.log),
            jobStart(JOBS_QUEUE_OFFICE_INFO, "Office", 7) + pageLog() +
              "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 16 depth: 1 res: 0\n"
              "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data OK\"\n"
              "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"\n"
              "DEBUG: CorvaneBackend - bitmap bytesPerLine: 300000000 raster_w: 4 nLines: 1 alignPerLine: 0\n"
              "DEBUG: \"CorvaneBackend - sendLines: 1 rwsize: 300000000\"\n"
              "DEBUG: CorvaneBackend - ENDPAGE - CANNOT allocate bitmap buffers (300000002 + 318750064 bytes) !!!\n");
}
