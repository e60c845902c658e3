/*
 * test_cupsd_fixture.cpp - the private scheduler that the other tests rely
 * on: it starts, takes queues, answers the CUPS client programs, and leaves
 * no process and no directory behind, even when its test program dies.
 */
#include <gtest/gtest.h>

#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "backend_run.h"
#include "cupsd_fixture.h"

namespace {

/* True while pid is a live process (a zombie counts as gone). */
bool processAlive(pid_t pid)
{
  std::string path = "/proc/" + std::to_string(pid) + "/stat";
  FILE *f = fopen(path.c_str(), "r");
  if (!f)
    return false;
  char buf[512] = {0};
  size_t n = fread(buf, 1, sizeof buf - 1, f);
  fclose(f);
  const char *close = strrchr(buf, ')');
  return n > 0 && close && close[1] == ' ' && close[2] != 'Z' && close[2] != 'X';
}

bool exists(const std::string &path)
{
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

TEST(CupsdFixture, StartsTakesQueuesAndStopsWithoutTrace)
{
  CupsdFixture f;
  ASSERT_TRUE(cupsdStart(&f)) << cupsdLastError();
  pid_t pid = f.pid;
  std::string dir = f.dir;
  EXPECT_GT(pid, 0);
  EXPECT_TRUE(processAlive(pid));
  EXPECT_EQ(f.socketPath, dir + "/cupsd.sock");
  EXPECT_TRUE(exists(f.serverBin + "/daemon/cups-exec"));
  EXPECT_TRUE(exists(f.serverBin + "/backend/CorvaneBackend"));

  ASSERT_TRUE(cupsdAddQueue(&f, "Office", "Office Laser")) << cupsdLastError();
  std::string out;
  EXPECT_EQ(cupsdRunClient(&f, {"lpstat", "-v", "Office"}, &out), 0) << out;
  EXPECT_NE(out.find(CUPSD_FIXTURE_DEFAULT_URI), std::string::npos) << out;
  EXPECT_EQ(cupsdRunClient(&f, {"lpstat", "-l", "-p", "Office"}, &out), 0) << out;
  EXPECT_NE(out.find("Description: Office Laser"), std::string::npos) << out;

  ASSERT_TRUE(cupsdRemoveQueue(&f, "Office")) << cupsdLastError();
  EXPECT_NE(cupsdRunClient(&f, {"lpstat", "-v", "Office"}, &out), 0) << out;

  cupsdStop(&f);
  EXPECT_EQ(f.pid, -1);
  EXPECT_FALSE(processAlive(pid));
  EXPECT_FALSE(exists(dir));
  cupsdStop(&f); /* a second stop is harmless */
  /* The system's programs behind the links are untouched. */
  EXPECT_TRUE(exists("/usr/lib/cups/daemon/cups-exec"));
}

TEST(CupsdFixture, QueueOfAnUnknownSchemeIsRefused)
{
  CupsdFixture f;
  ASSERT_TRUE(cupsdStart(&f)) << cupsdLastError();
  EXPECT_FALSE(cupsdAddQueue(&f, "Odd", "Odd", "nosuchscheme://x/y"));
  EXPECT_NE(cupsdLastError().find("lpadmin"), std::string::npos) << cupsdLastError();
  ASSERT_TRUE(cupsdAddBackend(&f, "nosuchscheme", "/bin/true"));
  EXPECT_TRUE(cupsdAddQueue(&f, "Odd", "Odd", "nosuchscheme://x/y")) << cupsdLastError();
  cupsdStop(&f);
}

TEST(CupsdFixture, EnvironmentPointsAtThePrivateScheduler)
{
  CupsdFixture f;
  f.socketPath = "/tmp/somewhere/cupsd.sock";
  setenv("PRINTER", "Leaked", 1);
  setenv("CUPS_SERVER", "elsewhere.example", 1);
  std::vector<std::string> env = cupsdEnvironment(&f, {"PRINTER=Office"});
  unsetenv("PRINTER");
  unsetenv("CUPS_SERVER");
  int servers = 0, printers = 0;
  for (const std::string &e : env)
  {
    if (e.compare(0, 12, "CUPS_SERVER=") == 0)
    {
      servers++;
      EXPECT_EQ(e, "CUPS_SERVER=/tmp/somewhere/cupsd.sock");
    }
    if (e.compare(0, 8, "PRINTER=") == 0)
    {
      printers++;
      EXPECT_EQ(e, "PRINTER=Office");
    }
  }
  EXPECT_EQ(servers, 1);
  EXPECT_EQ(printers, 1);
}

TEST(CupsdFixture, SchedulerDiesWithItsTestProgram)
{
  /* A test program that ends without stopping its scheduler (a crash): the
     scheduler goes with it. */
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0)
  {
    close(fds[0]);
    CupsdFixture f;
    if (!cupsdStart(&f))
      _exit(1);
    std::string report = std::to_string(f.pid) + " " + f.dir + "\n";
    if (write(fds[1], report.data(), report.size()) != (ssize_t)report.size())
      _exit(2);
    _exit(0); /* no cupsdStop, no exit handlers */
  }
  close(fds[1]);
  char buf[512] = {0};
  ssize_t n = read(fds[0], buf, sizeof buf - 1);
  close(fds[0]);
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  ASSERT_EQ(WEXITSTATUS(status), 0);
  ASSERT_GT(n, 0);
  long pid = 0;
  char dir[400] = {0};
  ASSERT_EQ(sscanf(buf, "%ld %399s", &pid, dir), 2);
  double deadline = monotonicNow() + 5;
  while (processAlive((pid_t)pid) && monotonicNow() < deadline)
    usleep(10000);
  EXPECT_FALSE(processAlive((pid_t)pid));
  if (processAlive((pid_t)pid))
    kill((pid_t)pid, SIGKILL);
  /* Its directory is left to whoever cleans /tmp; remove it here. */
  removeTempDir(dir);
}

} // namespace
