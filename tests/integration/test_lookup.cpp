/*
 * test_lookup.cpp - the queue description lookup and the device listing of
 * the real CorvaneBackend, against a private CUPS scheduler and against a
 * scripted IPP responder.
 *
 * Every run without arguments ends after the lookup, so none of these tests
 * touches the host socket.
 */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "backend_run.h"
#include "child_process.h"
#include "cupsd_fixture.h"
#include "ipp_responder.h"
#include "unix_socket.h"

namespace {

/* Queues of the private scheduler, made once per test program. */
class SchedulerLookup : public ::testing::Test
{
protected:
  static CupsdFixture *cupsd;

  static void SetUpTestSuite()
  {
    cupsd = cupsdShared();
    if (!cupsd)
      return;
    bool ok = cupsdAddQueue(cupsd, "Office", "Office Laser") &&
              cupsdAddQueue(cupsd, "Reception", "Office") &&
              cupsdAddQueue(cupsd, "Plain", nullptr) &&
              cupsdAddQueue(cupsd, "Blank", "") &&
              cupsdAddQueue(cupsd, "Buero", "B\xC3\xBCro Stra\xC3\x9F"
                                            "e 3 \xE2\x80\x93 \xCE\xA9");
    if (!ok)
      cupsd = nullptr;
  }

  void SetUp() override
  {
    ASSERT_NE(cupsd, nullptr) << cupsdLastError();
  }

  /* Runs the backend with the given arguments and PRINTER (null: unset). */
  ChildResult run(const char *printer, const std::vector<std::string> &args = {})
  {
    ChildOptions o;
    o.argv = backendArgv(args);
    o.env = cupsdEnvironment(cupsd);
    if (printer)
      o.env.push_back(std::string("PRINTER=") + printer);
    o.stdinIsDevNull = true;
    o.timeoutSeconds = 30;
    return runChild(o);
  }
};

CupsdFixture *SchedulerLookup::cupsd = nullptr;

/* Runs the backend with args and no PRINTER; expects it to end with
   status 4 after the lookup, having written nothing to stdout. */
void expectEndsWithoutPrinter(const std::vector<std::string> &args)
{
  ChildOptions o;
  o.argv = backendArgv(args);
  o.env = environmentWithout({"PRINTER"});
  o.stdinIsDevNull = true;
  ChildResult r = runChild(o);
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 4);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err, banner((int)args.size() + 1) + lookupLines(nullptr) + nameLine(nullptr));
}

TEST(BackendWithoutPrinter, ListsNothingAndEndsWithFour)
{
  expectEndsWithoutPrinter({});
}

TEST(BackendWithoutPrinter, NameCheckComesBeforeTheArgumentCheck)
{
  /* Wrong argument counts and a real job alike end after the lookup. */
  for (const std::vector<std::string> &args :
       {std::vector<std::string>{"1"}, std::vector<std::string>{"1", "u", "t", "1", ""},
        std::vector<std::string>{"1", "u", "t", "1", "", "/nonexistent/file"}})
  {
    SCOPED_TRACE(args.size());
    expectEndsWithoutPrinter(args);
  }
}

TEST_F(SchedulerLookup, DiscoveryLineNamesTheDescription)
{
  ChildResult r = run("Reception");
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out,
            "direct CorvaneBackend://Corvane/Corvane_Generic_Printer \"Corvane Generic Driver\" "
            "\"Office\" \"MFG:Corvane;MODEL:Office;\"");
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Reception") + nameLine("Office") +
                                         discoveryDebugLine("Office"));
}

TEST_F(SchedulerLookup, NameMatchIgnoresCase)
{
  for (const char *printer : {"office", "OFFICE", "Office", "oFfIcE"})
  {
    ChildResult r = run(printer);
    ASSERT_TRUE(r.exited) << printer;
    EXPECT_EQ(r.exitStatus, 0) << printer;
    EXPECT_EQ(r.out, discoveryLine("Office Laser")) << printer;
    EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines(printer) +
                                           nameLine("Office Laser") +
                                           discoveryDebugLine("Office Laser"));
  }
}

TEST_F(SchedulerLookup, QueueWithoutDescriptionOptionReportsItsName)
{
  ChildResult r = run("Plain");
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, discoveryLine("Plain"));
}

TEST_F(SchedulerLookup, EmptyDescriptionIsADescription)
{
  /* An empty printer-info is still a text the scheduler sent: the lookup
     succeeds and the device line carries two empty fields. */
  ChildResult r = run("Blank");
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, discoveryLine(""));
  EXPECT_EQ(normalizeAddresses(r.err),
            banner(1) + lookupLines("Blank") + nameLine("") + discoveryDebugLine(""));
}

TEST_F(SchedulerLookup, NonAsciiDescriptionPassesThroughAsUtf8)
{
  const std::string text = "B\xC3\xBCro Stra\xC3\x9F"
                           "e 3 \xE2\x80\x93 \xCE\xA9";
  ChildResult r = run("buero");
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0);
  EXPECT_EQ(r.out, discoveryLine(text));
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("buero") + nameLine(text.c_str()) +
                                         discoveryDebugLine(text));
}

TEST_F(SchedulerLookup, UnknownQueuePrintsNothingMoreAndEndsWithFour)
{
  ChildResult r = run("Nowhere");
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 4);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Nowhere") + nameLine(nullptr));
}

TEST_F(SchedulerLookup, PrefixOfAQueueNameDoesNotMatch)
{
  for (const char *printer : {"Offic", "Office ", "OfficeX", ""})
  {
    ChildResult r = run(printer);
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4) << "'" << printer << "'";
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines(printer) + nameLine(nullptr));
  }
}

TEST_F(SchedulerLookup, WrongArgumentCountsPrintTheUsageLine)
{
  /* argc 2 to 5, and 8 and 9. */
  const std::vector<std::vector<std::string>> cases = {
    {"1"},
    {"1", "user"},
    {"1", "user", "title"},
    {"1", "user", "title", "1"},
    {"1", "user", "title", "1", "", "file", "extra"},
    {"1", "user", "title", "1", "", "file", "extra", "more"}};
  for (const std::vector<std::string> &args : cases)
  {
    ChildResult r = run("Office", args);
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4) << "argc " << args.size() + 1;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(normalizeAddresses(r.err), banner((int)args.size() + 1) + lookupLines("Office") +
                                           nameLine("Office Laser") + usageLine());
  }
  EXPECT_EQ(usageLine().size(), 63u);
}

TEST_F(SchedulerLookup, MissingPrintFileFailsBeforeAnyConnection)
{
  /* The file is opened before the connection is tried: the only lines after
     the lookup are the open failure, whatever listens on the host socket. */
  struct Case
  {
    std::string file;
    std::string text;
  };
  for (const Case &c : {Case{"/nonexistent-dir/job.prn", "No such file or directory"},
                        Case{"", "No such file or directory"},
                        Case{"/etc/hostname/job.prn", "Not a directory"}})
  {
    ChildResult r = run("Office", {"7", "user", "title", "1", "", c.file});
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4) << c.file;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(normalizeAddresses(r.err), banner(7) + lookupLines("Office") +
                                           nameLine("Office Laser") + openFailedLine(c.text));
  }
}

TEST_F(SchedulerLookup, StoppedSchedulerIsNotReachable)
{
  /* A scheduler of its own, stopped before the run: the socket file is gone
     and the lookup fails at once. */
  CupsdFixture own;
  ASSERT_TRUE(cupsdStart(&own)) << cupsdLastError();
  ASSERT_TRUE(cupsdAddQueue(&own, "Office", "Office Laser")) << cupsdLastError();
  std::string socketPath = own.socketPath;
  std::string dir = own.dir;
  cupsdStop(&own);
  struct stat st;
  EXPECT_NE(stat(dir.c_str(), &st), 0) << "the fixture left its directory behind";

  double elapsed = 0;
  ChildResult r = runLookup(socketPath, "Office", 60, &elapsed);
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 4);
  EXPECT_LT(elapsed, 5.0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Office", false) +
                                         lookupNoResponse() + nameLine(nullptr));
}

/* Runs the backend without arguments against CUPS_SERVER=server. */
ChildResult runAgainst(const std::string &server, const char *printer, double *elapsed = nullptr)
{
  return runLookup(server, printer, 60, elapsed);
}

/* A temporary directory per test for sockets and files. */
class Unreachable : public ::testing::Test
{
protected:
  std::string dir;
  void SetUp() override
  {
    dir = makeTempDir("lookup-test");
    ASSERT_FALSE(dir.empty());
  }
  void TearDown() override { removeTempDir(dir); }

  /* The lookup gives up at once: no connection, no response, status 4. */
  void expectPromptFailure(const std::string &server)
  {
    double elapsed = 0;
    ChildResult r = runAgainst(server, "Office", &elapsed);
    ASSERT_TRUE(r.exited) << server;
    EXPECT_EQ(r.exitStatus, 4);
    EXPECT_LT(elapsed, 5.0) << server;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Office", false) +
                                           lookupNoResponse() + nameLine(nullptr));
  }
};

TEST_F(Unreachable, SchedulerNotRunning)
{
  expectPromptFailure(dir + "/cupsd.sock");
}

TEST_F(Unreachable, SocketPathIsARegularFile)
{
  std::string path = dir + "/not-a-socket";
  int fd = open(path.c_str(), O_WRONLY | O_CREAT, 0644);
  ASSERT_GE(fd, 0);
  close(fd);
  expectPromptFailure(path);
}

TEST_F(Unreachable, ConnectionRefusedByStaleSocket)
{
  /* A socket file whose listener is gone refuses connections. */
  std::string path = dir + "/stale.sock";
  ASSERT_TRUE(makeStaleUnixSocket(path));
  expectPromptFailure(path);
}

TEST_F(Unreachable, TcpPortWithNoListener)
{
  /* Port 1 on the loopback address: nothing listens there. */
  expectPromptFailure("127.0.0.1:1");
}

} // namespace
