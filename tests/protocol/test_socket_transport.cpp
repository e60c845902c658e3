/*
 * test_socket_transport.cpp - socket_connect, socket_write, socket_read and
 * socket_close against real sockets: chunking seen through a packet socket
 * pair, short and interrupted writes, a peer that has gone, the path cut,
 * and every failure line.
 */
#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <ftw.h>
#include <pthread.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "socket_transport.h"

#include "fd_io.h"
#include "stderr_capture.h"

namespace {

/* A recognisable byte pattern of the given length. */
std::string pattern(size_t length)
{
  std::string s(length, '\0');
  for (size_t i = 0; i < length; i++)
    s[i] = (char)((i * 7 + i / 256) & 0xFF);
  return s;
}

/* Reads messages from a packet socket until the peer closes it; keeps the
   size of each message and all the bytes. */
void readMessages(int fd, std::vector<size_t> *sizes, std::string *bytes)
{
  std::vector<char> buf(1 << 17);
  for (;;)
  {
    ssize_t n = recv(fd, buf.data(), buf.size(), 0);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      break;
    sizes->push_back((size_t)n);
    bytes->append(buf.data(), (size_t)n);
  }
}

/* Writes length bytes through socket_write into a SOCK_SEQPACKET pair, which
   keeps the boundary of every write(2), and returns the message sizes. */
std::vector<size_t> writeAndCollect(size_t length, std::string *received, int *result,
                                    std::string *log)
{
  int sv[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sv), 0);
  std::vector<size_t> sizes;
  std::thread reader(readMessages, sv[1], &sizes, received);
  std::string data = pattern(length);
  StderrCapture cap;
  cap.begin();
  *result = socket_write(sv[0], data.data(), data.size());
  *log = cap.end();
  close(sv[0]);
  reader.join();
  close(sv[1]);
  EXPECT_EQ(*received, data);
  return sizes;
}

TEST(SocketWrite, HundredThousandBytesGoOutInChunksOf32768)
{
  std::string received, log;
  int result = 0;
  std::vector<size_t> sizes = writeAndCollect(100000, &received, &result, &log);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(log, "");
  EXPECT_EQ(sizes, (std::vector<size_t>{32768, 32768, 32768, 1696}));
}

TEST(SocketWrite, ChunkBoundaries)
{
  struct Case
  {
    size_t length;
    std::vector<size_t> sizes;
  };
  for (const Case &c : {Case{1, {1}},
                        Case{32767, {32767}},
                        Case{32768, {32768}},
                        Case{32769, {32768, 1}},
                        Case{65536, {32768, 32768}},
                        Case{65537, {32768, 32768, 1}}})
  {
    std::string received, log;
    int result = 0;
    EXPECT_EQ(writeAndCollect(c.length, &received, &result, &log), c.sizes) << c.length;
    EXPECT_EQ(result, 1);
    EXPECT_EQ(log, "");
  }
  EXPECT_EQ(SOCKET_WRITE_CHUNK, 32768);
}

TEST(SocketWrite, ZeroBytesTouchNothing)
{
  /* No system call at all: an invalid descriptor and a null pointer do not
     matter, and a packet socket sees no (empty) message. */
  StderrCapture cap;
  cap.begin();
  int r1 = socket_write(-1, nullptr, 0);
  std::string log = cap.end();
  EXPECT_EQ(r1, 1);
  EXPECT_EQ(log, "");

  std::string received;
  int result = 0;
  std::vector<size_t> sizes = writeAndCollect(0, &received, &result, &log);
  EXPECT_EQ(result, 1);
  EXPECT_TRUE(sizes.empty());
  EXPECT_EQ(log, "");
}

TEST(SocketWrite, PeerGoneReportsBrokenPipeAndDoesNotKillTheProcess)
{
  /* With the default action for SIGPIPE a write that raised it would end
     this test program here. */
  struct sigaction dfl = {}, old;
  dfl.sa_handler = SIG_DFL;
  sigaction(SIGPIPE, &dfl, &old);
  int sv[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
  close(sv[1]);
  std::string data = pattern(100);
  StderrCapture cap;
  cap.begin();
  int r = socket_write(sv[0], data.data(), data.size());
  std::string log = cap.end();
  close(sv[0]);
  sigaction(SIGPIPE, &old, nullptr);
  EXPECT_EQ(r, 0);
  EXPECT_EQ(log, "Writing to socket failed: Broken pipe\n");
}

TEST(SocketWrite, BadDescriptorReportsTheSystemError)
{
  char byte = 'x';
  StderrCapture cap;
  cap.begin();
  int r = socket_write(-1, &byte, 1);
  std::string log = cap.end();
  EXPECT_EQ(r, 0);
  EXPECT_EQ(log, "Writing to socket failed: Bad file descriptor\n");
}

std::atomic<int> g_signals{0};
void countSignal(int)
{
  g_signals++;
}

/* Installs a SIGUSR1 handler without SA_RESTART, so that a blocked write is
   interrupted: after some bytes it returns their count (a short write),
   before any it fails with EINTR. */
struct InterruptingSignal
{
  struct sigaction old;
  InterruptingSignal()
  {
    struct sigaction sa = {};
    sa.sa_handler = countSignal;
    sa.sa_flags = 0;
    sigemptyset(&sa.sa_mask);
    sigaction(SIGUSR1, &sa, &old);
    g_signals = 0;
  }
  ~InterruptingSignal() { sigaction(SIGUSR1, &old, nullptr); }
};

/* A stream pair whose writing side has a small send buffer, so that a large
   write blocks after a few kilobytes. */
void smallBufferPair(int sv[2])
{
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
  int size = 4096;
  setsockopt(sv[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
}

/* Reads exactly length bytes, or less when the peer closes or nothing
   comes for two seconds. */
std::string readAll(int fd, size_t length)
{
  return readFor(fd, length, 2000);
}

TEST(SocketWrite, ShortWriteIsContinuedWithTheRestOfTheChunk)
{
  InterruptingSignal sig;
  int sv[2];
  smallBufferPair(sv);
  std::string data = pattern(100000);
  std::atomic<int> result{-1};
  StderrCapture cap;
  cap.begin();
  pthread_t writerThread;
  std::atomic<bool> ready{false};
  std::thread writer([&] {
    writerThread = pthread_self();
    ready = true;
    result = socket_write(sv[0], data.data(), data.size());
  });
  while (!ready)
    usleep(1000);
  /* The writer is blocked inside its first chunk with part of it queued:
     the signal makes that write return short. */
  usleep(200000);
  pthread_kill(writerThread, SIGUSR1);
  usleep(100000);
  std::string got = readAll(sv[1], data.size());
  writer.join();
  std::string log = cap.end();
  close(sv[0]);
  close(sv[1]);
  EXPECT_EQ(g_signals.load(), 1);
  EXPECT_EQ(result.load(), 1);
  EXPECT_EQ(log, "");
  EXPECT_EQ(got.size(), data.size());
  EXPECT_TRUE(got == data) << "bytes lost or repeated around the short write";
}

TEST(SocketWrite, InterruptedWriteIsAnError)
{
  InterruptingSignal sig;
  int sv[2];
  smallBufferPair(sv);
  std::string data = pattern(100000);
  std::atomic<int> result{-1};
  StderrCapture cap;
  cap.begin();
  pthread_t writerThread;
  std::atomic<bool> ready{false};
  std::thread writer([&] {
    writerThread = pthread_self();
    ready = true;
    result = socket_write(sv[0], data.data(), data.size());
  });
  while (!ready)
    usleep(1000);
  /* First signal: a short write, continued at once, which blocks again
     with nothing written; second signal: EINTR, which ends the call. */
  usleep(200000);
  pthread_kill(writerThread, SIGUSR1);
  usleep(200000);
  pthread_kill(writerThread, SIGUSR1);
  writer.join();
  std::string log = cap.end();
  close(sv[0]);
  std::string got = readAll(sv[1], data.size());
  close(sv[1]);
  EXPECT_EQ(g_signals.load(), 2);
  EXPECT_EQ(result.load(), 0);
  EXPECT_EQ(log, "Writing to socket failed: Interrupted system call\n");
  /* What was written stays written: a prefix of the data. */
  EXPECT_GT(got.size(), 0u);
  EXPECT_LT(got.size(), data.size());
  EXPECT_TRUE(got == data.substr(0, got.size()));
}

TEST(SocketRead, GathersBytesAcrossSeveralWrites)
{
  int sv[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
  std::thread writer([&] {
    ASSERT_EQ(write(sv[1], "hello", 5), 5);
    usleep(50000);
    ASSERT_EQ(write(sv[1], " world", 6), 6);
  });
  char buf[12] = {0};
  StderrCapture cap;
  cap.begin();
  int r = socket_read(sv[0], buf, 11);
  std::string log = cap.end();
  writer.join();
  close(sv[0]);
  close(sv[1]);
  EXPECT_EQ(r, 1);
  EXPECT_EQ(log, "");
  EXPECT_STREQ(buf, "hello world");
}

TEST(SocketRead, ZeroBytesAndBadDescriptor)
{
  StderrCapture cap;
  cap.begin();
  int r0 = socket_read(-1, nullptr, 0);
  char byte;
  int r1 = socket_read(-1, &byte, 1);
  std::string log = cap.end();
  EXPECT_EQ(r0, 1);
  EXPECT_EQ(r1, 0);
  EXPECT_EQ(log, "Reading from socket failed: Bad file descriptor\n");
}

TEST(SocketClose, ClosesOnceAndReportsTheSecondClose)
{
  int sv[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
  StderrCapture cap;
  cap.begin();
  int first = socket_close(sv[0]);
  int second = socket_close(sv[0]);
  std::string log = cap.end();
  close(sv[1]);
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 0);
  EXPECT_EQ(log, "Closing socket failed: Bad file descriptor\n");
}

/* nftw callback for removing a test directory. */
int removeOne(const char *path, const struct stat *, int, struct FTW *)
{
  remove(path);
  return 0;
}

/* A temporary directory per test, for sockets at paths of chosen lengths. */
class SocketConnect : public ::testing::Test
{
protected:
  std::string dir;
  std::vector<int> listeners;

  void SetUp() override
  {
    char templ[] = "/tmp/transport-test.XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    dir = templ;
  }
  void TearDown() override
  {
    for (int fd : listeners)
      close(fd);
    nftw(dir.c_str(), removeOne, 8, FTW_DEPTH | FTW_PHYS);
  }

  /* A listening socket at path; -1 on failure. */
  int listenAt(const std::string &path)
  {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    struct sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    if (fd < 0 || path.size() >= sizeof addr.sun_path)
      return -1;
    memcpy(addr.sun_path, path.data(), path.size());
    if (bind(fd, (struct sockaddr *)&addr, sizeof addr) != 0 || listen(fd, 4) != 0)
    {
      close(fd);
      return -1;
    }
    listeners.push_back(fd);
    return fd;
  }

  /* A path of exactly length bytes inside dir. */
  std::string pathOfLength(size_t length, char fill = 'p')
  {
    std::string p = dir + "/";
    return p + std::string(length - p.size(), fill);
  }

  int connectLogged(const std::string &path, int *fd, std::string *log)
  {
    StderrCapture cap;
    cap.begin();
    int r = socket_connect(path.c_str(), fd);
    *log = cap.end();
    return r;
  }
};

TEST_F(SocketConnect, ConnectsToAListenerAndCarriesBytes)
{
  std::string path = dir + "/host.sock";
  int lfd = listenAt(path);
  ASSERT_GE(lfd, 0);
  int fd = 0;
  std::string log;
  ASSERT_EQ(connectLogged(path, &fd, &log), 1);
  EXPECT_EQ(log, "");
  ASSERT_GT(fd, 2);
  int peer = accept(lfd, nullptr, nullptr);
  ASSERT_GE(peer, 0);
  EXPECT_EQ(socket_write(fd, "abc", 3), 1);
  EXPECT_EQ(readAll(peer, 3), "abc");
  /* A stream socket, not a packet one. */
  int type = 0;
  socklen_t len = sizeof type;
  ASSERT_EQ(getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &len), 0);
  EXPECT_EQ(type, SOCK_STREAM);
  EXPECT_EQ(socket_close(fd), 1);
  close(peer);
}

TEST_F(SocketConnect, NobodyListeningLeavesMinusOne)
{
  std::string path = dir + "/absent.sock";
  int fd = 0;
  std::string log;
  EXPECT_EQ(connectLogged(path, &fd, &log), 0);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(log, "Connecting to " + path + " failed: No such file or directory\n");
}

TEST_F(SocketConnect, StaleSocketRefuses)
{
  std::string path = dir + "/stale.sock";
  int lfd = listenAt(path);
  ASSERT_GE(lfd, 0);
  close(lfd);
  listeners.clear();
  int fd = 0;
  std::string log;
  EXPECT_EQ(connectLogged(path, &fd, &log), 0);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(log, "Connecting to " + path + " failed: Connection refused\n");
}

TEST_F(SocketConnect, PathThatIsNotASocketRefuses)
{
  std::string path = dir + "/plain-file";
  int f = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
  ASSERT_GE(f, 0);
  close(f);
  int fd = 0;
  std::string log;
  EXPECT_EQ(connectLogged(path, &fd, &log), 0);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(log, "Connecting to " + path + " failed: Connection refused\n");
}

TEST_F(SocketConnect, PathOf103BytesIsKeptWhole)
{
  std::string path = pathOfLength(103);
  ASSERT_GE(listenAt(path), 0);
  int fd = 0;
  std::string log;
  EXPECT_EQ(connectLogged(path, &fd, &log), 1);
  EXPECT_EQ(log, "");
  EXPECT_GE(fd, 0);
  close(fd);
}

TEST_F(SocketConnect, LongerPathIsCutTo103Bytes)
{
  /* The listener sits at the first 103 bytes of a longer path: connecting
     with the long path reaches it. */
  std::string cut = pathOfLength(103);
  ASSERT_GE(listenAt(cut), 0);
  for (size_t extra : {1, 4, 50, 400})
  {
    std::string longPath = cut + std::string(extra, 'X');
    int fd = 0;
    std::string log;
    EXPECT_EQ(connectLogged(longPath, &fd, &log), 1) << extra;
    EXPECT_EQ(log, "");
    EXPECT_GE(fd, 0);
    close(fd);
  }
}

TEST_F(SocketConnect, CutPathIsTheOneReported)
{
  /* A listener at a 104-byte path (Linux allows up to 107) is out of reach:
     the cut path has no socket, and the message names the cut path. */
  std::string full = pathOfLength(104);
  ASSERT_GE(listenAt(full), 0);
  int fd = 0;
  std::string log;
  EXPECT_EQ(connectLogged(full, &fd, &log), 0);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(log, "Connecting to " + full.substr(0, 103) + " failed: No such file or directory\n");
}

TEST_F(SocketConnect, NoDescriptorLeftReportsCreationFailure)
{
  /* In a child whose descriptors are used up, socket() fails. */
  std::string logPath = dir + "/stderr";
  pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0)
  {
    int logFd = open(logPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(logFd, 2);
    struct rlimit rl;
    getrlimit(RLIMIT_NOFILE, &rl);
    rl.rlim_cur = 64;
    setrlimit(RLIMIT_NOFILE, &rl);
    while (open("/dev/null", O_RDONLY) >= 0)
      ;
    int fd = 12345;
    int r = socket_connect("/tmp/kivprinter.sock", &fd);
    _exit(r == 0 && fd == -1 ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  FILE *f = fopen(logPath.c_str(), "r");
  ASSERT_NE(f, nullptr);
  char buf[256] = {0};
  size_t n = fread(buf, 1, sizeof buf - 1, f);
  fclose(f);
  EXPECT_EQ(std::string(buf, n), "Creating socket failed: Too many open files\n");
}

TEST(SocketConnectHostPath, NoHostApplicationListening)
{
  /* The host socket's fixed path, with nothing there (this program holds
     the lock on that path while it runs).  A live host application on this
     machine is left alone. */
  int probe = 0;
  StderrCapture quiet;
  quiet.begin();
  int live = socket_connect(KIVPRINTER_SOCKET_PATH, &probe);
  quiet.end();
  if (live)
  {
    close(probe);
    GTEST_SKIP() << "a host application listens on " KIVPRINTER_SOCKET_PATH;
  }
  unlink(KIVPRINTER_SOCKET_PATH);
  int fd = 0;
  StderrCapture cap;
  cap.begin();
  int r = socket_connect(KIVPRINTER_SOCKET_PATH, &fd);
  std::string log = cap.end();
  EXPECT_EQ(r, 0);
  EXPECT_EQ(fd, -1);
  EXPECT_EQ(log, "Connecting to /tmp/kivprinter.sock failed: No such file or directory\n");
  EXPECT_STREQ(KIVPRINTER_SOCKET_PATH, "/tmp/kivprinter.sock");
  EXPECT_EQ(sizeof(KIVPRINTER_SOCKET_PATH), 21u);
}

} // namespace
