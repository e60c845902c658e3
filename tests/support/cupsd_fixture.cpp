/*
 * cupsd_fixture.cpp - a private CUPS scheduler in a temporary directory,
 * run as a child of the test program.
 */
#include "cupsd_fixture.h"

#include "child_process.h"
#include "test_files.h"
#include "unix_socket.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <netinet/in.h>
#include <arpa/inet.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static std::string s_lastError;

/* Where the system keeps the scheduler and its helper programs. */
static const char kCupsd[] = "/usr/sbin/cupsd";
static const char kSystemServerBin[] = "/usr/lib/cups";
static const char kSystemDataDir[] = "/usr/share/cups";

/* Remembers why a call failed, for cupsdLastError(). */
static bool fail(const std::string &why)
{
  s_lastError = why;
  return false;
}

/* Monotonic time in milliseconds, for bounded waits. */
static long long nowMillis()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

/* Writes text to path; false (with the reason remembered) on failure. */
static bool writeFile(const std::string &path, const std::string &text)
{
  FILE *f = fopen(path.c_str(), "w");
  if (!f)
    return fail("cannot create " + path + ": " + strerror(errno));
  bool ok = fwrite(text.data(), 1, text.size(), f) == text.size();
  ok = (fclose(f) == 0) && ok;
  if (!ok)
    return fail("cannot write " + path);
  return true;
}

/* mkdir that accepts an existing directory. */
static bool makeDir(const std::string &path, mode_t mode)
{
  if (mkdir(path.c_str(), mode) != 0 && errno != EEXIST)
    return fail("cannot create " + path + ": " + strerror(errno));
  /* mkdir is subject to the umask; the scheduler's user must traverse. */
  chmod(path.c_str(), mode);
  return true;
}

/* Replaces whatever is at link with a symbolic link to target. */
static bool makeLink(const std::string &target, const std::string &link)
{
  unlink(link.c_str());
  if (symlink(target.c_str(), link.c_str()) != 0)
    return fail("cannot link " + link + " -> " + target + ": " + strerror(errno));
  return true;
}

/* nftw callback: removes one entry, never following symbolic links (the
   ServerBin tree links into /usr/lib/cups). */
static int removeEntry(const char *path, const struct stat *, int, struct FTW *)
{
  remove(path);
  return 0;
}

/* Removes a directory tree. */
static void removeTree(const std::string &dir)
{
  if (!dir.empty())
    nftw(dir.c_str(), removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

/* Builds ServerBin: real directories backend/, daemon/ and filter/ holding
   links to each system program (cups-exec above all: without it the
   scheduler starts no backend or filter; filter/ so that a test can add its
   own filter beside the system's), and links for the other folders. */
static bool buildServerBin(CupsdFixture *fixture, const CupsdStartOptions &options)
{
  if (!makeDir(fixture->serverBin, 0755) ||
      !makeDir(fixture->serverBin + "/backend", 0755) ||
      !makeDir(fixture->serverBin + "/daemon", 0755) ||
      !makeDir(fixture->serverBin + "/filter", 0755))
    return false;

  DIR *top = opendir(kSystemServerBin);
  if (!top)
    return fail(std::string("cannot read ") + kSystemServerBin + ": " + strerror(errno));
  struct dirent *e;
  while ((e = readdir(top)) != nullptr)
  {
    std::string name = e->d_name;
    if (name == "." || name == "..")
      continue;
    std::string system = std::string(kSystemServerBin) + "/" + name;
    if (name == "backend" || name == "daemon" || name == "filter")
    {
      DIR *sub = opendir(system.c_str());
      if (!sub)
        continue;
      struct dirent *f;
      while ((f = readdir(sub)) != nullptr)
      {
        std::string prog = f->d_name;
        if (prog != "." && prog != ".." &&
            !makeLink(system + "/" + prog, fixture->serverBin + "/" + name + "/" + prog))
        {
          closedir(sub);
          closedir(top);
          return false;
        }
      }
      closedir(sub);
    }
    else if (!makeLink(system, fixture->serverBin + "/" + name))
    {
      closedir(top);
      return false;
    }
  }
  closedir(top);

  struct stat st;
  if (stat((fixture->serverBin + "/daemon/cups-exec").c_str(), &st) != 0)
    return fail(std::string("no cups-exec in ") + kSystemServerBin + "/daemon: install cups-daemon");

  std::string backend = options.backendProgram;
  if (backend.empty())
  {
    /* Any program will do: lpadmin only needs the scheme to have a backend. */
    static const char *const candidates[] = {"/usr/lib/cups/backend/ipp", "/bin/true", "/usr/bin/true"};
    for (const char *c : candidates)
      if (stat(c, &st) == 0)
      {
        backend = c;
        break;
      }
  }
  return makeLink(backend, fixture->serverBin + "/backend/CorvaneBackend");
}

/* Writes cupsd.conf and cups-files.conf into dir/etc. */
static bool writeConfiguration(CupsdFixture *fixture, const CupsdStartOptions &options)
{
  const std::string &d = fixture->dir;
  std::string conf =
    "# Private scheduler for tests: a Unix socket only, no browsing, and\n"
    "# every operation allowed to every local client.\n" +
    std::string() + (options.tcpPort > 0 ? "Listen 127.0.0.1:" + std::to_string(options.tcpPort) + "\n" : std::string()) +
    "Listen " + fixture->socketPath + "\n"
                                      "Browsing Off\n"
                                      "LogLevel " +
    std::string(options.debugLog ? "debug" : "warn") + "\n"
                                                       "DefaultAuthType None\n"
                                                       "WebInterface No\n"
                                                       "<Location />\n"
                                                       "  Order allow,deny\n"
                                                       "  Allow all\n"
                                                       "</Location>\n"
                                                       "<Policy default>\n"
                                                       "  <Limit All>\n"
                                                       "    Order deny,allow\n"
                                                       "  </Limit>\n"
                                                       "</Policy>\n";

  std::string files;
  if (geteuid() == 0)
  {
    /* As root the scheduler runs its children as lp and refuses to run
       them as root; the tree is world-traversable for that user. */
    files += "User lp\nGroup lp\nSystemGroup root\n";
  }
  else
  {
    struct group *g = getgrgid(getegid());
    if (g)
      files += std::string("SystemGroup ") + g->gr_name + "\n";
  }
  files +=
    "ServerRoot " + d + "/etc\n"
                        "ServerBin " +
    fixture->serverBin + "\n"
                         "DataDir " +
    d + "/share\n"
        "CacheDir " +
    d + "/cache\n"
        "StateDir " +
    d + "/state\n"
        "RequestRoot " +
    d + "/spool\n"
        "TempDir " +
    d + "/tmp\n"
        "ErrorLog " +
    fixture->errorLog + "\n"
                        "AccessLog " +
    d + "/log/access_log\n"
        "PageLog " +
    d + "/log/page_log\n";

  return writeFile(d + "/etc/cupsd.conf", conf) &&
         writeFile(d + "/etc/cups-files.conf", files);
}

/* Asks the socket for "/" over HTTP; true when an HTTP response comes back
   within waitMillis. */
static bool socketAnswers(const std::string &path, int waitMillis)
{
  int fd = connectUnix(path);
  if (fd < 0)
    return false;
  bool ok = false;
  static const char request[] = "GET / HTTP/1.0\r\nHost: localhost\r\n\r\n";
  if (send(fd, request, sizeof request - 1, MSG_NOSIGNAL) == (ssize_t)(sizeof request - 1))
  {
    struct pollfd p = {fd, POLLIN, 0};
    char buf[16];
    if (poll(&p, 1, waitMillis) == 1)
    {
      ssize_t n = recv(fd, buf, sizeof buf, 0);
      ok = n >= 5 && memcmp(buf, "HTTP/", 5) == 0;
    }
  }
  close(fd);
  return ok;
}

/* Reaps the scheduler if it has ended; true when it is gone. */
static bool reapIfGone(CupsdFixture *fixture)
{
  int status;
  pid_t r = waitpid(fixture->pid, &status, WNOHANG);
  if (r == fixture->pid || (r < 0 && errno == ECHILD))
  {
    fixture->pid = -1;
    return true;
  }
  return false;
}

static bool launchScheduler(CupsdFixture *fixture, const CupsdStartOptions &options);

bool cupsdStart(CupsdFixture *fixture, const CupsdStartOptions &options)
{
  if (fixture->pid > 0)
    return fail("scheduler already running");
  if (access(kCupsd, X_OK) != 0)
    return fail(std::string(kCupsd) + " not found: install cups-daemon");

  char templ[] = "/tmp/cupsd-test.XXXXXX";
  if (!mkdtemp(templ))
    return fail(std::string("mkdtemp: ") + strerror(errno));
  fixture->dir = templ;
  fixture->socketPath = fixture->dir + "/cupsd.sock";
  fixture->serverBin = fixture->dir + "/bin";
  fixture->errorLog = fixture->dir + "/log/error_log";

  const std::string &d = fixture->dir;
  bool ok = makeDir(d, 0755) && makeDir(d + "/etc", 0755) && makeDir(d + "/cache", 0770) &&
            makeDir(d + "/state", 0755) && makeDir(d + "/spool", 0710) &&
            makeDir(d + "/tmp", 01777) && makeDir(d + "/log", 0755) &&
            makeLink(kSystemDataDir, d + "/share") && buildServerBin(fixture, options) &&
            writeConfiguration(fixture, options);
  if (!ok)
  {
    std::string why = s_lastError;
    cupsdStop(fixture);
    return fail(why);
  }
  return launchScheduler(fixture, options);
}

/* Runs the scheduler on the tree at fixture->dir and waits (bounded) for
   its socket to answer; on failure stops it and removes the tree. */
static bool launchScheduler(CupsdFixture *fixture, const CupsdStartOptions &options)
{
  const std::string &d = fixture->dir;
  std::string conf = d + "/etc/cupsd.conf";
  std::string files = d + "/etc/cups-files.conf";
  std::string out = d + "/log/cupsd.out";
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid == 0)
  {
    /* The scheduler must not outlive the test program, however that ends. */
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
      _exit(127);
    int nul = open("/dev/null", O_RDONLY);
    int log = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (nul >= 0)
      dup2(nul, 0);
    if (log >= 0)
    {
      dup2(log, 1);
      dup2(log, 2);
    }
    for (int fd = 3; fd < 1024; fd++)
      close(fd);
    signal(SIGPIPE, SIG_DFL);
    /* A clean environment: nothing of the test's CUPS settings leaks in. */
    char *const argv[] = {const_cast<char *>(kCupsd), const_cast<char *>("-f"),
                          const_cast<char *>("-c"), const_cast<char *>(conf.c_str()),
                          const_cast<char *>("-s"), const_cast<char *>(files.c_str()), nullptr};
    char *const envp[] = {const_cast<char *>("PATH=/usr/sbin:/usr/bin:/sbin:/bin"),
                          const_cast<char *>("LANG=C"), nullptr};
    execve(kCupsd, argv, envp);
    _exit(127);
  }
  if (pid < 0)
  {
    std::string why = std::string("fork: ") + strerror(errno);
    cupsdStop(fixture);
    return fail(why);
  }
  fixture->pid = pid;

  long long deadline = nowMillis() + (long long)options.startTimeoutSeconds * 1000;
  while (nowMillis() < deadline)
  {
    if (reapIfGone(fixture))
    {
      std::string why = "cupsd ended at start: " + readFileText(out) + readFileText(fixture->errorLog);
      cupsdStop(fixture);
      return fail(why);
    }
    if (socketAnswers(fixture->socketPath, 1000))
      return true;
    usleep(10000);
  }
  std::string why = "cupsd did not answer within " + std::to_string(options.startTimeoutSeconds) +
                    " s: " + readFileText(out) + readFileText(fixture->errorLog);
  cupsdStop(fixture);
  return fail(why);
}

void cupsdHalt(CupsdFixture *fixture)
{
  if (fixture->pid > 0)
  {
    kill(fixture->pid, SIGTERM);
    long long deadline = nowMillis() + 5000;
    while (!reapIfGone(fixture) && nowMillis() < deadline)
      usleep(10000);
    if (fixture->pid > 0)
    {
      kill(fixture->pid, SIGKILL);
      while (waitpid(fixture->pid, nullptr, 0) < 0 && errno == EINTR)
        ;
      fixture->pid = -1;
    }
  }
}

bool cupsdResume(CupsdFixture *fixture, const CupsdStartOptions &options)
{
  if (fixture->pid > 0)
    return fail("scheduler already running");
  if (fixture->dir.empty())
    return fail("scheduler not started");
  /* The old socket file would answer nothing; the scheduler makes a new one. */
  unlink(fixture->socketPath.c_str());
  return launchScheduler(fixture, options);
}

int cupsdFreeTcpPort()
{
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return 0;
  struct sockaddr_in addr;
  memset(&addr, 0, sizeof addr);
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof addr;
  int port = 0;
  if (bind(fd, (struct sockaddr *)&addr, sizeof addr) == 0 &&
      getsockname(fd, (struct sockaddr *)&addr, &length) == 0)
    port = ntohs(addr.sin_port);
  close(fd);
  return port;
}

void cupsdStop(CupsdFixture *fixture)
{
  cupsdHalt(fixture);
  removeTree(fixture->dir);
  fixture->dir.clear();
}

int cupsdRunClient(CupsdFixture *fixture, const std::vector<std::string> &args,
                   std::string *output, int timeoutSeconds)
{
  if (args.empty())
  {
    fail("no client program named");
    return -1;
  }
  std::string program;
  for (const char *dir : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"})
    if (access((dir + args[0]).c_str(), X_OK) == 0)
    {
      program = dir + args[0];
      break;
    }
  if (program.empty())
  {
    fail(args[0] + " not found: install cups-client");
    return -1;
  }
  ChildOptions o;
  o.argv = args;
  o.argv[0] = program;
  o.env = cupsdEnvironment(fixture);
  o.stdinIsDevNull = true;
  o.timeoutSeconds = timeoutSeconds;
  ChildResult r = runChild(o);
  if (output)
    *output = r.out + r.err;
  if (!r.exited)
  {
    fail(args[0] + (r.timedOut ? " timed out" : " did not run") + ": " + r.out + r.err);
    return -1;
  }
  if (r.exitStatus != 0)
    fail(args[0] + " exited with " + std::to_string(r.exitStatus) + ": " + r.out + r.err);
  return r.exitStatus;
}

bool cupsdAddQueue(CupsdFixture *fixture, const std::string &name, const char *description,
                   const std::string &uri)
{
  std::vector<std::string> args = {"lpadmin", "-p", name, "-v",
                                   uri.empty() ? CUPSD_FIXTURE_DEFAULT_URI : uri};
  if (description)
  {
    args.push_back("-D");
    args.push_back(description);
  }
  args.push_back("-E"); /* after -p: enable the queue and accept jobs */
  return cupsdRunClient(fixture, args) == 0;
}

bool cupsdRemoveQueue(CupsdFixture *fixture, const std::string &name)
{
  return cupsdRunClient(fixture, {"lpadmin", "-x", name}) == 0;
}

bool cupsdAddBackend(CupsdFixture *fixture, const std::string &scheme, const std::string &target)
{
  if (fixture->serverBin.empty())
    return fail("scheduler not started");
  return makeLink(target, fixture->serverBin + "/backend/" + scheme);
}

bool cupsdAddFilter(CupsdFixture *fixture, const std::string &name, const std::string &target)
{
  if (fixture->serverBin.empty())
    return fail("scheduler not started");
  return makeLink(target, fixture->serverBin + "/filter/" + name);
}

std::vector<std::string> cupsdEnvironment(const CupsdFixture *fixture,
                                          const std::vector<std::string> &extra)
{
  std::vector<std::string> env = environmentWithout(
    {"CUPS_SERVER", "PRINTER", "CUPS_ENCRYPTION", "CUPS_USER", "IPP_PORT",
     "CUPS_GSSSERVICENAME", "CUPS_ANYROOT", "CUPS_EXPIREDCERTS", "CUPS_VALIDATECERTS",
     "CUPS_TRUSTFIRST", "CUPS_DEBUG_LOG", "CUPS_DEBUG_LEVEL", "CUPS_DEBUG_FILTER"});
  env.push_back("CUPS_SERVER=" + fixture->socketPath);
  /* An extra "K=V" replaces an inherited K: the C library's getenv() takes
     the first entry of a name, so a second one would never be seen. */
  for (const std::string &e : extra)
  {
    std::string key = e.substr(0, e.find('=') + 1);
    for (size_t i = 0; i < env.size(); i++)
      if (env[i].compare(0, key.size(), key) == 0)
      {
        env.erase(env.begin() + (long)i);
        break;
      }
    env.push_back(e);
  }
  return env;
}

std::string cupsdLog(const CupsdFixture *fixture)
{
  return readFileText(fixture->errorLog) + readFileText(fixture->dir + "/log/cupsd.out");
}

std::string cupsdLastError()
{
  return s_lastError;
}

static CupsdFixture s_shared;
static bool s_sharedTried = false;
static bool s_sharedUp = false;

/* atexit handler of cupsdShared(). */
static void stopShared()
{
  if (s_sharedUp)
    cupsdStop(&s_shared);
  s_sharedUp = false;
}

CupsdFixture *cupsdShared()
{
  if (!s_sharedTried)
  {
    s_sharedTried = true;
    s_sharedUp = cupsdStart(&s_shared);
    if (s_sharedUp)
      atexit(stopShared);
  }
  return s_sharedUp ? &s_shared : nullptr;
}
