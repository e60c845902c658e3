/*
 * faults_support.h - the real backend under faults: a scripted
 * scheduler that names the queue, backends started with a pipe on their
 * standard input (so a test decides when each part of the stream arrives),
 * reaped with their resource usage, signalled at will, optionally run as
 * another user; a host that closes after an exact number of bytes; print
 * streams of noise rows and the bitmaps they must give.
 */
#ifndef CORVANE_TEST_FAULTS_SUPPORT_H
#define CORVANE_TEST_FAULTS_SUPPORT_H

#include <stddef.h>
#include <stdint.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "records_wire.h"
#include "child_process.h"
#include "ipp_responder.h"
#include "socket_transport.h"

#include <gtest/gtest.h>

/* The address sanitizer makes every process several times larger and
   slower: memory bounds are reported but not enforced under it, and the
   largest inputs are scaled down. */
#if defined(__SANITIZE_ADDRESS__)
#define FAULTS_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FAULTS_UNDER_ASAN 1
#endif
#endif
#ifndef FAULTS_UNDER_ASAN
#define FAULTS_UNDER_ASAN 0
#endif

/* The queue every job runs under, and its description. */
#define FAULTS_PRINTER     "Office"
#define FAULTS_DESCRIPTION "Office"

/* The environment of a job: this process's, with CUPS_SERVER pointing at a
   scripted scheduler (started on first use, answering every lookup with
   the queue above), PRINTER set, and extra added last. */
std::vector<std::string> faultsEnvironment(const std::vector<std::string> &extra = {});

/* The scheduler's answer that names the queue, with the given IPP status
   (0: successful-ok). */
IppMessage faultsQueueAnswer(uint16_t status);

/* The path of that scheduler's socket (empty when it could not start). */
std::string faultsSchedulerPath();

/* The log lines every job of that queue starts with. */
std::string faultsJobStart(int argc = 6, const std::string &copies = "1");

/* The job log with the lookup's and the raster's addresses masked. */
std::string faultsMaskLog(const std::string &err);

/* Makes /tmp/kivprinter.sock free for this test: waits (bounded) while a
   live listener of another program holds it, then removes whatever is
   there (socket, file or empty directory).  False with a reason when it
   stays taken. */
bool faultsClaimHostPath(std::string *why);

/* The inode of whatever /tmp/kivprinter.sock names now (0 when nothing):
   a test compares it before and after a run to tell whether another
   program of this machine took the path over meanwhile. */
unsigned long faultsHostPathInode();

/* "Writing to socket failed: <text>\n" for an errno value. */
std::string faultsWriteFailedLine(int err);

/* The fixture of most fault tests: the scripted scheduler runs and this
   test holds /tmp/kivprinter.sock, which is removed after it. */
class FaultsTest : public ::testing::Test
{
protected:
  void SetUp() override
  {
    std::string why;
    ASSERT_FALSE(faultsSchedulerPath().empty()) << "the scripted scheduler did not start";
    ASSERT_TRUE(faultsClaimHostPath(&why)) << why;
  }
  void TearDown() override { unlink(KIVPRINTER_SOCKET_PATH); }
};

/* ---- backend processes ---- */

struct BackendOptions
{
  std::vector<std::string> args = {"12", "user1", "report", "1", ""};
  std::vector<std::string> env; /* empty: faultsEnvironment() */
  int stdinFd = -1;             /* >= 0: the child's standard input; else a pipe */
  bool asUser = false;          /* run with uid and gid below (needs root) */
  uid_t uid = 0;
  gid_t gid = 0;
};

struct BackendProcess
{
  pid_t pid = -1;
  int input = -1;  /* write end of the child's standard input pipe */
  std::string dir; /* holds the out and err files */
  std::string outPath, errPath;
  long parentRssKb = 0; /* this process's resident size when it forked */
  double started = 0;   /* monotonic seconds */
};

struct BackendExit
{
  ChildResult child;   /* exit status or signal, standard output and error */
  struct rusage usage; /* from wait4: ru_maxrss is the peak RSS in KiB */
  double seconds = 0;  /* from start to reaping */
};

/* Starts the backend.  Its standard output and error go to files in a
   fresh directory; its standard input is a pipe (input) unless stdinFd is
   given.  SIGPIPE is ignored in this process from then on. */
bool backendStart(BackendProcess *b, const BackendOptions &o = BackendOptions());

/* Writes bytes to the backend's standard input; false when it stopped
   reading (the pipe broke). */
bool backendWrite(BackendProcess *b, const std::string &bytes);

/* Closes the backend's standard input: the end of the print stream. */
void backendCloseInput(BackendProcess *b);

/* Waits at most timeoutSeconds for the backend to end (then kills it and
   marks the result timed out), reaps it with wait4 and collects its output
   and usage; removes its directory.  The input pipe stays the caller's to
   close. */
void backendWait(BackendProcess *b, int timeoutSeconds, BackendExit *e);

/* What the backend has written to standard error so far. */
std::string backendErrSoFar(const BackendProcess *b);

/* True while the backend has not ended (it is not reaped here). */
bool backendAlive(const BackendProcess *b);

/* CPU seconds (user and system) the running backend has used, or -1. */
double backendCpuSeconds(const BackendProcess *b);

/* Starts a backend, writes stream from a thread of its own, closes the
   input and waits. */
BackendExit runBackend(const std::string &stream, const BackendOptions &o = BackendOptions(),
                       int timeoutSeconds = 120);

/* ---- a host that hangs up ---- */

/* Listens on a path, accepts one connection, reads exactly limit bytes of
   it (all of them when limit is SIZE_MAX) and closes it. */
struct ClosingHost
{
  std::string path;
  size_t limit = SIZE_MAX;
  int listenFd = -1;
  std::thread thread;
  std::mutex lock;
  std::string received;
  std::atomic<bool> accepted{false};
  std::atomic<bool> closed{false};
  std::atomic<bool> stopping{false};
  unsigned long inode = 0; /* of the socket file it made */
};

bool closingHostStart(ClosingHost *h, const std::string &path, size_t limit);

/* Waits until the host has closed its connection; false after timeoutSeconds. */
bool closingHostWaitClosed(ClosingHost *h, int timeoutSeconds);

void closingHostStop(ClosingHost *h);

std::string closingHostReceived(ClosingHost *h);

/* True when the host's path no longer names the socket it made (another
   program of this machine took the path over meanwhile). */
bool closingHostPathLost(const ClosingHost *h);

/* ---- streams and bitmaps ---- */

/* n bytes of noise from a seed: they do not compress. */
std::string noiseBytes(size_t n, uint32_t seed);

/* "LINE n\n" and the data. */
std::string faultsLine(const std::string &data);

/* The raster as the backend keeps it: one buffer for the whole job,
   cleared to white, filled by a cursor that never rewinds. */
struct RasterModel
{
  uint32_t width = 0, height = 0, depth = 0;
  std::string bytes;
  size_t cursor = 0;
  int32_t bytesPerLine = 0;
  int32_t nLines = 0;
};

void rasterModelStart(RasterModel *m, uint32_t width, uint32_t height, uint32_t depth);
void rasterModelLine(RasterModel *m, const std::string &data);

/* The page's bitmap as ENDPAGE must send it: rows nLines - 1 down to 0,
   taken with the RASTER geometry, each group of three bytes reversed,
   padded with zeros to a multiple of 4 (bytesPerLine a multiple of 3). */
std::string rasterModelBitmap(const RasterModel &m);

/* ---- expected log lines ---- */

/* The five lines of a PAGE command with ten numbers that was sent. */
std::string faultsPageLines(int counter, const std::string &value, const std::string &box,
                            const std::string &settings, const std::string &paper);

/* The raster allocation line (address masked as faultsMaskLog does). */
std::string faultsAllocatedLine(unsigned size, unsigned depth, int res);

/* ENDPAGE's lines for a page sent as the given fragments; align is
   alignPerLine. */
std::string faultsEndpageLog(const std::vector<WireRecord> &frags, int bytesPerLine, int rasterW,
                             int nLines, int align, int pageCounter);

/* The fragments among records (their bitmap: wireBitmap()). */
std::vector<WireRecord> faultsFragments(const std::vector<WireRecord> &recs);

/* This process's resident size in KiB. */
long selfRssKb();

#endif
