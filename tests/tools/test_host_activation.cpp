/*
 * test_host_activation.cpp - kivprinter-host under a service manager: it
 * takes the listening socket handed over on descriptor 3 (LISTEN_FDS=1,
 * LISTEN_PID its own process id), as systemd's socket units do, serves
 * jobs on it, and leaves the socket file, which it did not make, in place.
 */
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "host_support.h"
#include "test_files.h"

namespace {

/* A listening Unix socket at path, made as a socket unit would make it. */
int listeningSocket(const std::string &path)
{
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  struct sockaddr_un addr;
  memset(&addr, 0, sizeof addr);
  addr.sun_family = AF_UNIX;
  memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  if (fd < 0 || bind(fd, (struct sockaddr *)&addr, sizeof addr) != 0 || listen(fd, 16) != 0)
    return -1;
  chmod(path.c_str(), 0660);
  return fd;
}

/* Starts kivprinter-host with handed descriptor 3 (-1: none) and the
   LISTEN_* variables; pidForListen "self" names the child, anything else
   is put in LISTEN_PID as it is. */
void startActivated(Receiver *r, int handed, const std::string &dir, const std::vector<std::string> &args,
                    const std::string &pidForListen = "self")
{
  r->outLog = dir + "/host.out";
  r->errLog = dir + "/host.err";
  r->outDir = dir + "/received";
  std::vector<std::string> all = {std::string(CORVANE_BIN_DIR) + "/kivprinter-host", "--out", r->outDir};
  all.insert(all.end(), args.begin(), args.end());
  r->pid = spawnWithLogs(all, r->outLog, r->errLog, [&]() {
    if (handed >= 0 && handed != 3)
    {
      dup2(handed, 3);
      close(handed);
    }
    std::string pid = pidForListen == "self" ? std::to_string(getpid()) : pidForListen;
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_PID", pid.c_str(), 1);
  });
}

class HostActivation : public ::testing::Test
{
protected:
  std::string dir;
  Receiver r;
  void SetUp() override { dir = makeTempDir("host-activation"); }
  void TearDown() override
  {
    if (r.pid > 0)
      receiverStop(&r, SIGKILL, 10);
    removeTempDir(dir);
  }
};

TEST_F(HostActivation, TakesTheInheritedSocketAndLeavesItsFile)
{
  std::string path = dir + "/activated.sock";
  int fd = listeningSocket(path);
  ASSERT_GE(fd, 0) << strerror(errno);
  startActivated(&r, fd, dir, {});
  close(fd);
  ASSERT_TRUE(receiverWaitFor(&r, false,
                              "kivprinter-host: listening on " + path + " (inherited), saving jobs under " + r.outDir,
                              20))
    << receiverOut(&r) << receiverErr(&r);
  /* It serves jobs there; its own default socket path is not touched. */
  PageImage image = patternImage(33, 21, 3, 5, 72);
  int c = connectUnix(path);
  ASSERT_GE(c, 0);
  ASSERT_TRUE(sendAll(c, jobStream(image, "Activated")));
  close(c);
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: complete, 1 page in " + r.outDir + "/0001-Activated", 20))
    << receiverOut(&r) << receiverErr(&r);
  PageImage back;
  ASSERT_TRUE(readPng(r.outDir + "/0001-Activated/page-001.png", &back));
  EXPECT_EQ(imageDifference(back, image), "");

  EXPECT_EQ(receiverStop(&r, SIGTERM, 20), 0);
  struct stat st;
  ASSERT_EQ(lstat(path.c_str(), &st), 0) << "the socket file it did not make was removed";
  EXPECT_TRUE(S_ISSOCK(st.st_mode));
  EXPECT_EQ(st.st_mode & 07777, 0660u);
  EXPECT_EQ(receiverErr(&r), "");
}

TEST_F(HostActivation, ADescriptorThatIsNotAListeningSocketIsRefused)
{
  int file = open((dir + "/plain").c_str(), O_RDWR | O_CREAT, 0644);
  ASSERT_GE(file, 0);
  startActivated(&r, file, dir, {"--socket", dir + "/own.sock"});
  close(file);
  EXPECT_EQ(receiverWaitExit(&r, 20), 1);
  EXPECT_EQ(receiverErr(&r),
            "kivprinter-host: the inherited descriptor 3 is not a listening Unix stream socket\n");
  EXPECT_FALSE(hostExists(dir + "/own.sock"));
}

TEST_F(HostActivation, VariablesMeantForAnotherProcessAreIgnored)
{
  /* LISTEN_PID of another process: nothing was handed to this one, so it
     makes its own socket as usual (and removes it at the end). */
  std::string own = dir + "/own.sock";
  startActivated(&r, -1, dir, {"--socket", own}, "1");
  ASSERT_TRUE(receiverWaitFor(&r, false, "kivprinter-host: listening on " + own + ", saving jobs under ", 20))
    << receiverOut(&r) << receiverErr(&r);
  EXPECT_TRUE(hostExists(own));
  EXPECT_EQ(receiverStop(&r, SIGTERM, 20), 0);
  EXPECT_FALSE(hostExists(own));
}

} // namespace
