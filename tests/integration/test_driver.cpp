/*
 * test_driver.cpp - the real CorvaneBackend from its start to its exit
 * status: which input it reads, how far it reads it, the connection to the
 * host socket and its failures, close-on-exec on the input, and the normal
 * end.  Every test uses the host socket's fixed path (this program holds
 * its lock).
 */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "backend_run.h"
#include "child_process.h"
#include "cupsd_fixture.h"
#include "socket_sink.h"
#include "socket_transport.h"
#include "unix_socket.h"

namespace {

/* A short well-formed stream: one document without pages. */
const char kStream[] = "DOCUMENT report\nENDDOCUMENT\n";

class Driver : public ::testing::Test
{
protected:
  static CupsdFixture *cupsd;
  std::string dir;
  SocketSink sink;
  bool sinkUp = false;

  static void SetUpTestSuite()
  {
    cupsd = cupsdShared();
    if (cupsd && !cupsdAddQueue(cupsd, "Office", "Office Laser"))
      cupsd = nullptr;
  }

  void SetUp() override
  {
    ASSERT_NE(cupsd, nullptr) << cupsdLastError();
    dir = makeTempDir("driver-test");
    ASSERT_FALSE(dir.empty());
    /* The host path is ours while this program runs; a live host
       application of this machine is not touched. */
    struct stat st;
    if (lstat(KIVPRINTER_SOCKET_PATH, &st) == 0 && S_ISSOCK(st.st_mode))
    {
      if (socketPathIsLive(KIVPRINTER_SOCKET_PATH))
        GTEST_SKIP() << "a host application listens on " KIVPRINTER_SOCKET_PATH;
    }
    unlink(KIVPRINTER_SOCKET_PATH);
  }

  void TearDown() override
  {
    if (sinkUp)
      sinkStop(&sink);
    unlink(KIVPRINTER_SOCKET_PATH);
    removeTempDir(dir);
  }

  void startHost()
  {
    ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
    sinkUp = true;
  }

  std::vector<std::string> env() { return cupsdEnvironment(cupsd, {"PRINTER=Office"}); }

  /* Runs the backend with the given arguments and standard input data. */
  ChildResult run(const std::vector<std::string> &args, const std::string &input = std::string())
  {
    ChildOptions o;
    o.argv = backendArgv(args);
    o.env = env();
    o.stdinData = input;
    o.timeoutSeconds = 30;
    return runChild(o);
  }

  /* Expects r to be the run of a job with args whose connection to the
     host failed with systemText: status 4 and the log up to that line. */
  static void expectConnectFailed(const ChildResult &r, const std::vector<std::string> &args,
                                  const char *systemText)
  {
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4);
    EXPECT_EQ(normalizeAddresses(r.err), banner((int)args.size() + 1) + lookupLines("Office") +
                                           nameLine("Office Laser") + copiesLine(args[3]) +
                                           connectFailedLines("/tmp/kivprinter.sock", systemText));
  }

  /* Writes a file in the test directory and returns its path. */
  std::string writeFile(const char *name, const std::string &content)
  {
    std::string path = dir + "/" + name;
    FILE *f = fopen(path.c_str(), "wb");
    EXPECT_NE(f, nullptr);
    if (f)
    {
      fwrite(content.data(), 1, content.size(), f);
      fclose(f);
    }
    return path;
  }

  /* Runs the backend with its standard input on a regular file of the
     given content; *consumed is how far the backend read that file. */
  ChildResult runWithInputFile(const std::vector<std::string> &args, const std::string &content,
                               off_t *consumed)
  {
    std::string path = writeFile("stdin.prn", content);
    int fd = open(path.c_str(), O_RDONLY);
    EXPECT_GE(fd, 0);
    pid_t pid = spawnWithStdin(backendArgv(args), env(), fd, dir + "/out", dir + "/err");
    EXPECT_GT(pid, 0);
    ChildResult r;
    waitSpawned(pid, 30, dir + "/out", dir + "/err", &r);
    *consumed = lseek(fd, 0, SEEK_CUR);
    close(fd);
    return r;
  }

  /* The log of a job that ran to its end. */
  static std::string normalLog(int argc, const std::string &copies = "1")
  {
    return banner(argc) + lookupLines("Office") + nameLine("Office Laser") + copiesLine(copies) +
           finishedLine();
  }
};

CupsdFixture *Driver::cupsd = nullptr;

TEST_F(Driver, EmptyStandardInputConnectsSendsNothingAndEndsWithZero)
{
  startHost();
  ChildResult r = run({"12", "user1", "report", "1", ""});
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), normalLog(6));
  ASSERT_TRUE(sinkWaitFinished(&sink, 1, 10)) << "the connection was not closed";
  EXPECT_EQ(sinkConnections(&sink), 1u);
  EXPECT_EQ(sinkReceived(&sink, 0), "");
}

TEST_F(Driver, EmptyFileConnectsSendsNothingAndEndsWithZero)
{
  startHost();
  std::string file = writeFile("empty.prn", "");
  ChildResult r = run({"12", "user1", "report", "1", "", file});
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), normalLog(7));
  ASSERT_TRUE(sinkWaitFinished(&sink, 1, 10));
  EXPECT_EQ(sinkConnections(&sink), 1u);
  EXPECT_EQ(sinkReceived(&sink, 0), "");
}

TEST_F(Driver, FiveArgumentsReadStandardInputToItsEnd)
{
  startHost();
  off_t consumed = -1;
  ChildResult r = runWithInputFile({"12", "user1", "report", "1", ""}, kStream, &consumed);
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(consumed, (off_t)strlen(kStream));
  ASSERT_TRUE(sinkWaitFinished(&sink, 1, 10));
  EXPECT_FALSE(sinkReceived(&sink, 0).empty()) << "the document records were not sent";
  EXPECT_NE(r.err.find(finishedLine()), std::string::npos);
}

TEST_F(Driver, SixArgumentsReadTheFileAndLeaveStandardInputAlone)
{
  startHost();
  /* The same stream once on standard input, once from a file while
     standard input holds something else: the host gets the same bytes, and
     the second run does not read its standard input at all. */
  off_t consumed = -1;
  ChildResult first = runWithInputFile({"12", "user1", "report", "1", ""}, kStream, &consumed);
  ASSERT_TRUE(first.exited);
  ASSERT_TRUE(sinkWaitFinished(&sink, 1, 10));
  std::string fromStdin = sinkReceived(&sink, 0);

  std::string file = writeFile("job.prn", kStream);
  ChildResult second = runWithInputFile({"12", "user1", "report", "1", "", file},
                                        "DOCUMENT other\nENDDOCUMENT\n", &consumed);
  ASSERT_TRUE(second.exited);
  EXPECT_EQ(second.exitStatus, 0);
  EXPECT_EQ(consumed, 0) << "standard input was read although a file was named";
  ASSERT_TRUE(sinkWaitFinished(&sink, 2, 10));
  EXPECT_EQ(sinkReceived(&sink, 1), fromStdin);
  EXPECT_FALSE(fromStdin.empty());
}

TEST_F(Driver, CopiesArgumentIsLoggedAsGivenAndIgnored)
{
  startHost();
  for (const char *copies : {"3", "1", "0", "-2", "abc", "", "99999999999999999999"})
  {
    ChildResult r = run({"12", "user1", "report", copies, ""});
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 0) << copies;
    EXPECT_EQ(normalizeAddresses(r.err), normalLog(6, copies));
  }
}

TEST_F(Driver, NoHostListeningEndsWithFourBeforeReadingTheInput)
{
  off_t consumed = -1;
  std::vector<std::string> args = {"12", "user1", "report", "1", ""};
  ChildResult r = runWithInputFile(args, kStream, &consumed);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(consumed, 0) << "the input was read although there was no host";
  expectConnectFailed(r, args, "No such file or directory");
}

TEST_F(Driver, NoHostListeningWithAFile)
{
  std::string file = writeFile("job.prn", kStream);
  std::vector<std::string> args = {"12", "user1", "report", "2", "", file};
  expectConnectFailed(run(args), args, "No such file or directory");
}

TEST_F(Driver, HostPathThatIsNotASocketRefuses)
{
  int fd = open(KIVPRINTER_SOCKET_PATH, O_WRONLY | O_CREAT | O_EXCL, 0644);
  ASSERT_GE(fd, 0);
  close(fd);
  std::vector<std::string> args = {"12", "user1", "report", "1", ""};
  expectConnectFailed(run(args, kStream), args, "Connection refused");
}

TEST_F(Driver, HostSocketWithoutListenerRefuses)
{
  ASSERT_TRUE(makeStaleUnixSocket(KIVPRINTER_SOCKET_PATH));
  std::vector<std::string> args = {"12", "user1", "report", "1", ""};
  expectConnectFailed(run(args, kStream), args, "Connection refused");
}

TEST_F(Driver, UnreadableFileNamesTheSystemError)
{
  startHost();
  std::string file = writeFile("job.prn", kStream);
  std::string missing = dir + "/absent.prn";
  struct Case
  {
    std::string path;
    std::string text;
  };
  for (const Case &c : {Case{missing, "No such file or directory"},
                        Case{file + "/below", "Not a directory"}})
  {
    ChildResult r = run({"12", "user1", "report", "1", "", c.path});
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4);
    EXPECT_EQ(normalizeAddresses(r.err), banner(7) + lookupLines("Office") +
                                           nameLine("Office Laser") + openFailedLine(c.text));
  }
  /* Before any connection. */
  EXPECT_EQ(sinkConnections(&sink), 0u);
}

/* The flags of descriptor fd of process pid, from /proc (octal); -1 when
   they cannot be read. */
long descriptorFlags(pid_t pid, int fd)
{
  std::string path = "/proc/" + std::to_string(pid) + "/fdinfo/" + std::to_string(fd);
  FILE *f = fopen(path.c_str(), "r");
  if (!f)
    return -1;
  char line[256];
  long flags = -1;
  while (fgets(line, sizeof line, f))
    if (strncmp(line, "flags:", 6) == 0)
      flags = strtol(line + 6, nullptr, 8);
  fclose(f);
  return flags;
}

/* The descriptor of pid that refers to path, or -1. */
int descriptorOf(pid_t pid, const std::string &path)
{
  for (int fd = 0; fd < 64; fd++)
  {
    std::string link = "/proc/" + std::to_string(pid) + "/fd/" + std::to_string(fd);
    char target[4096];
    ssize_t n = readlink(link.c_str(), target, sizeof target - 1);
    if (n > 0 && std::string(target, (size_t)n) == path)
      return fd;
  }
  return -1;
}

TEST_F(Driver, InputDescriptorsAreCloseOnExec)
{
  startHost();
  /* Inputs that block: the backend connects, then waits in its first read,
     and its descriptors can be looked at from outside. */
  std::string fifo = dir + "/input.fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0644), 0);
  for (bool fromFile : {false, true})
  {
    SCOPED_TRACE(fromFile ? "file argument" : "standard input");
    int writer = open(fifo.c_str(), O_RDWR); /* keeps the pipe open both ways */
    ASSERT_GE(writer, 0);
    int reader = open(fifo.c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    std::vector<std::string> args = {"12", "user1", "report", "1", ""};
    if (fromFile)
      args.push_back(fifo);
    int devnull = open("/dev/null", O_RDONLY);
    pid_t pid = spawnWithStdin(backendArgv(args), env(), fromFile ? devnull : reader,
                               dir + "/out", dir + "/err");
    close(devnull);
    close(reader);
    ASSERT_GT(pid, 0);
    size_t before = sinkConnections(&sink);
    double deadline = monotonicNow() + 10;
    while (sinkConnections(&sink) == before && monotonicNow() < deadline)
      usleep(5000);
    EXPECT_EQ(sinkConnections(&sink), before + 1);
    int fd = fromFile ? descriptorOf(pid, fifo) : 0;
    EXPECT_GE(fd, fromFile ? 3 : 0);
    long flags = descriptorFlags(pid, fd);
    EXPECT_NE(flags, -1);
    EXPECT_NE(flags & O_CLOEXEC, 0) << "flags " << std::oct << flags;
    /* The end of the input ends the job normally. */
    close(writer);
    ChildResult r;
    waitSpawned(pid, 30, dir + "/out", dir + "/err", &r);
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_EQ(normalizeAddresses(r.err), normalLog(fromFile ? 7 : 6));
  }
}

} // namespace
