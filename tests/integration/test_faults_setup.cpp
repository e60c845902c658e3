/*
 * test_faults_setup.cpp - jobs that cannot start: the host socket path is
 * a directory or a socket this user may not use, the scheduler is not
 * running or answers with an error status.  Each ends with status 4 before
 * a byte of the print stream is read.  (A missing path and a regular file
 * there are the driver tests' cases, and the device listing against an
 * absent or refusing scheduler is the lookup tests'.)
 */
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "records_wire.h"
#include "backend_run.h"
#include "ipp_responder.h"
#include "socket_sink.h"
#include "socket_transport.h"
#include "faults_support.h"

namespace {

const char kStream[] = "DOCUMENT\nENDDOCUMENT\n";

class SetupFaults : public ::testing::Test
{
protected:
  std::string dir;
  int inputFd = -1;

  void SetUp() override
  {
    std::string why;
    ASSERT_FALSE(faultsSchedulerPath().empty()) << "the scripted scheduler did not start";
    ASSERT_TRUE(faultsClaimHostPath(&why)) << why;
    dir = makeTempDir("corvane-faults-setup");
    ASSERT_FALSE(dir.empty());
    /* The stream comes from a regular file, so that the test can tell how
       far the backend read it (the offset is shared with the child). */
    std::string path = dir + "/job.prn";
    FILE *f = fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr);
    fputs(kStream, f);
    fclose(f);
    chmod(path.c_str(), 0644);
    inputFd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(inputFd, 0);
  }

  void TearDown() override
  {
    if (inputFd >= 0)
      close(inputFd);
    struct stat st;
    if (lstat(KIVPRINTER_SOCKET_PATH, &st) == 0)
    {
      if (S_ISDIR(st.st_mode))
        rmdir(KIVPRINTER_SOCKET_PATH);
      else
        unlink(KIVPRINTER_SOCKET_PATH);
    }
    removeTempDir(dir);
  }

  /* Runs a job over the input file; *consumed is how far it was read. */
  BackendExit run(BackendOptions o, off_t *consumed)
  {
    lseek(inputFd, 0, SEEK_SET);
    o.stdinFd = inputFd;
    BackendProcess b;
    BackendExit e;
    EXPECT_TRUE(backendStart(&b, o));
    backendWait(&b, 60, &e);
    *consumed = lseek(inputFd, 0, SEEK_CUR);
    return e;
  }

  static void expectStopped(const BackendExit &e)
  {
    EXPECT_FALSE(e.child.timedOut);
    EXPECT_EQ(e.child.termSignal, 0);
    EXPECT_TRUE(e.child.exited);
    EXPECT_EQ(e.child.exitStatus, 4);
    EXPECT_EQ(e.child.out, "");
  }
};

} // namespace

TEST_F(SetupFaults, HostPathIsADirectory)
{
  ASSERT_EQ(mkdir(KIVPRINTER_SOCKET_PATH, 0755), 0) << strerror(errno);
  off_t consumed = -1;
  BackendExit e = run(BackendOptions(), &consumed);
  expectStopped(e);
  EXPECT_EQ(consumed, 0);
  EXPECT_EQ(faultsMaskLog(e.child.err),
            faultsJobStart() + connectFailedLines(KIVPRINTER_SOCKET_PATH, strerror(ECONNREFUSED)));
  struct stat st;
  EXPECT_EQ(lstat(KIVPRINTER_SOCKET_PATH, &st), 0);
  EXPECT_TRUE(S_ISDIR(st.st_mode)) << "the backend must leave the path alone";
}

TEST_F(SetupFaults, HostSocketThisUserMayNotUse)
{
  /* Connecting needs write permission on the socket file.  Root passes
     every permission check, so as root the backend runs as the user lp
     (as the scheduler runs backends); otherwise as this user, with every
     permission bit of the socket cleared. */
  BackendOptions o;
  mode_t denied = 0000;
  if (geteuid() == 0)
  {
    struct passwd *pw = getpwnam("lp");
    if (!pw)
      GTEST_SKIP() << "running as root and there is no user lp to run the backend as";
    o.asUser = true;
    o.uid = pw->pw_uid;
    o.gid = pw->pw_gid;
    denied = 0700;
  }
  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));

  ASSERT_EQ(chmod(KIVPRINTER_SOCKET_PATH, denied), 0);
  off_t consumed = -1;
  BackendExit e = run(o, &consumed);
  ASSERT_NE(e.child.exitStatus, 126) << "cannot switch to the user lp";
  ASSERT_NE(e.child.exitStatus, 127) << "the user lp cannot run " << backendPath();
  expectStopped(e);
  EXPECT_EQ(consumed, 0);
  EXPECT_EQ(faultsMaskLog(e.child.err),
            faultsJobStart() + connectFailedLines(KIVPRINTER_SOCKET_PATH, strerror(EACCES)));
  EXPECT_EQ(sinkConnections(&sink), 0u);

  /* The same job once the socket is open to everyone: the permission was
     the only obstacle. */
  ASSERT_EQ(chmod(KIVPRINTER_SOCKET_PATH, 0777), 0);
  e = run(o, &consumed);
  EXPECT_TRUE(e.child.exited);
  EXPECT_EQ(e.child.exitStatus, 0) << e.child.err;
  EXPECT_EQ(consumed, (off_t)strlen(kStream));
  EXPECT_EQ(faultsMaskLog(e.child.err),
            faultsJobStart() + "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" + finishedLine());
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 30));
  EXPECT_EQ(sinkReceived(&sink, 0), le32(418) + le32(12) + le32(0) + le32(419) + le32(12) + le32(0));
  sinkStop(&sink);
}

TEST_F(SetupFaults, SchedulerNotRunningForAJob)
{
  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  BackendOptions o;
  o.env = environmentWithout({"PRINTER", "CUPS_SERVER", "CUPS_ENCRYPTION", "IPP_PORT", "CUPS_USER"});
  o.env.push_back("CUPS_SERVER=" + dir + "/no-scheduler.sock");
  o.env.push_back("PRINTER=" FAULTS_PRINTER);
  off_t consumed = -1;
  BackendExit e = run(o, &consumed);
  expectStopped(e);
  EXPECT_LT(e.seconds, 10.0);
  EXPECT_EQ(consumed, 0);
  EXPECT_EQ(normalizeAddresses(e.child.err),
            banner(6) + lookupLines(FAULTS_PRINTER, false) + lookupNoResponse() + nameLine(nullptr));
  usleep(200000);
  EXPECT_EQ(sinkConnections(&sink), 0u) << "the backend connected to the host without a queue";
  sinkStop(&sink);
}

TEST_F(SetupFaults, SchedulerAnswersAnErrorStatusForAJob)
{
  SocketSink sink;
  ASSERT_TRUE(sinkStart(&sink, KIVPRINTER_SOCKET_PATH));
  struct Case
  {
    uint16_t status;
    const char *text;
  };
  for (const Case &c : {Case{0x0406, "client-error-not-found"}, Case{0x0500, "server-error-internal-error"},
                        Case{0x0507, "server-error-busy"}})
  {
    SCOPED_TRACE(c.text);
    IppMessage m = faultsQueueAnswer(c.status);
    IppResponder responder;
    ASSERT_TRUE(responderStart(&responder, dir + "/refusing.sock", m));
    BackendOptions o;
    o.env = environmentWithout({"PRINTER", "CUPS_SERVER", "CUPS_ENCRYPTION", "IPP_PORT", "CUPS_USER"});
    o.env.push_back("CUPS_SERVER=" + dir + "/refusing.sock");
    o.env.push_back("PRINTER=" FAULTS_PRINTER);
    off_t consumed = -1;
    BackendExit e = run(o, &consumed);
    responderStop(&responder);
    expectStopped(e);
    EXPECT_EQ(consumed, 0);
    EXPECT_EQ(normalizeAddresses(e.child.err),
              banner(6) + lookupLines(FAULTS_PRINTER) + lookupFailed(c.text) + nameLine(nullptr));
  }
  usleep(200000);
  EXPECT_EQ(sinkConnections(&sink), 0u) << "the backend connected to the host without a queue";
  sinkStop(&sink);
}
