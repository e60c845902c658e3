/*
 * faults_support.cpp - backends under faults, a host that hangs up,
 * noise streams and the bitmaps they must give.
 */
#include "faults_support.h"

#include "log_lines.h"

#include <errno.h>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <regex>

#include <gtest/gtest.h>

#include "backend_run.h"
#include "ipp_responder.h"
#include "socket_sink.h"
#include "socket_transport.h"
#include "test_files.h"
#include "unix_socket.h"

/* ---- the scheduler ---- */

IppMessage faultsQueueAnswer(uint16_t status)
{
  IppMessage m;
  m.code = status;
  ippMsgAddGroup(&m, IPP_GROUP_OPERATION);
  ippMsgAddValue(&m, IPP_VALUE_CHARSET, "attributes-charset", "utf-8");
  ippMsgAddValue(&m, IPP_VALUE_LANGUAGE, "attributes-natural-language", "en");
  ippMsgAddGroup(&m, IPP_GROUP_PRINTER);
  ippMsgAddValue(&m, IPP_VALUE_NAME, "printer-name", FAULTS_PRINTER);
  ippMsgAddValue(&m, IPP_VALUE_TEXT, "printer-info", FAULTS_DESCRIPTION);
  return m;
}

namespace {

struct SchedulerState
{
  bool tried = false;
  std::string dir;
  IppResponder responder;
};

SchedulerState &scheduler()
{
  static SchedulerState *s = new SchedulerState; /* lives to the process end */
  return *s;
}

/* Stops the scripted scheduler and removes its folder at the process end. */
void stopScheduler()
{
  SchedulerState &s = scheduler();
  if (s.dir.empty())
    return;
  responderStop(&s.responder);
  removeTempDir(s.dir);
  s.dir.clear();
}


/* Starts the scripted scheduler once: every request gets one printer,
   FAULTS_PRINTER, described as FAULTS_DESCRIPTION.  Its socket is open to
   every user, so that a backend run as another user can look up too. */
void startScheduler()
{
  SchedulerState &s = scheduler();
  if (s.tried)
    return;
  s.tried = true;
  s.dir = makeTempDir("corvane-faults-ipp");
  if (s.dir.empty())
    return;
  if (!responderStart(&s.responder, s.dir + "/ipp.sock", faultsQueueAnswer(0x0000)))
  {
    removeTempDir(s.dir);
    s.dir.clear();
    return;
  }
  chmod((s.dir + "/ipp.sock").c_str(), 0777);
  atexit(stopScheduler);
}

} // namespace

std::string faultsSchedulerPath()
{
  startScheduler();
  return scheduler().dir.empty() ? std::string() : scheduler().dir + "/ipp.sock";
}

std::vector<std::string> faultsEnvironment(const std::vector<std::string> &extra)
{
  std::vector<std::string> env =
    environmentWithout({"PRINTER", "CUPS_SERVER", "CUPS_ENCRYPTION", "IPP_PORT", "CUPS_USER"});
  env.push_back("CUPS_SERVER=" + faultsSchedulerPath());
  env.push_back("PRINTER=" FAULTS_PRINTER);
  env.insert(env.end(), extra.begin(), extra.end());
  return env;
}

std::string faultsJobStart(int argc, const std::string &copies)
{
  return banner(argc) + lookupLines(FAULTS_PRINTER) + nameLine(FAULTS_DESCRIPTION) + copiesLine(copies);
}

std::string faultsMaskLog(const std::string &err)
{
  static const std::regex raster("(Raster data allocated and cleared to white: 0x)[0-9A-F]+( size:)");
  static const std::regex refused("(RASTER with ERROR: value '[^\n]*' raster_data: 0x)[0-9A-F]*[1-9A-F][0-9A-F]*( width:)");
  std::string s = normalizeAddresses(err);
  s = std::regex_replace(s, raster, "$1<ADDR>$2");
  return std::regex_replace(s, refused, "$1<ADDR>$2");
}

unsigned long faultsHostPathInode()
{
  struct stat st;
  return lstat(KIVPRINTER_SOCKET_PATH, &st) == 0 ? (unsigned long)st.st_ino : 0;
}

std::string faultsWriteFailedLine(int err)
{
  return std::string("Writing to socket failed: ") + strerror(err) + "\n";
}

bool faultsClaimHostPath(std::string *why)
{
  /* Another test program of this machine may hold the path for a while;
     CTest serialises the programs of one run, not those of other runs. */
  for (int i = 0; i < 600 && socketPathIsLive(KIVPRINTER_SOCKET_PATH); i++)
    usleep(100000);
  if (socketPathIsLive(KIVPRINTER_SOCKET_PATH))
  {
    *why = "a host application keeps listening on " KIVPRINTER_SOCKET_PATH;
    return false;
  }
  struct stat st;
  if (lstat(KIVPRINTER_SOCKET_PATH, &st) == 0)
  {
    if (S_ISDIR(st.st_mode) ? rmdir(KIVPRINTER_SOCKET_PATH) != 0 : unlink(KIVPRINTER_SOCKET_PATH) != 0)
    {
      *why = std::string("cannot remove " KIVPRINTER_SOCKET_PATH ": ") + strerror(errno);
      return false;
    }
  }
  return true;
}

/* ---- backend processes ---- */

long selfRssKb()
{
  FILE *f = fopen("/proc/self/statm", "r");
  long pages = 0, resident = 0;
  if (!f)
    return -1;
  if (fscanf(f, "%ld %ld", &pages, &resident) != 2)
    resident = -1;
  fclose(f);
  return resident < 0 ? -1 : resident * (sysconf(_SC_PAGESIZE) / 1024);
}

bool backendStart(BackendProcess *b, const BackendOptions &o)
{
  signal(SIGPIPE, SIG_IGN);
  b->dir = makeTempDir("corvane-faults-run");
  if (b->dir.empty())
    return false;
  b->outPath = b->dir + "/out";
  b->errPath = b->dir + "/err";
  int out = open(b->outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  int err = open(b->errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  int in[2] = {-1, -1};
  if (out < 0 || err < 0 || (o.stdinFd < 0 && pipe2(in, O_CLOEXEC) != 0))
  {
    if (out >= 0)
      close(out);
    if (err >= 0)
      close(err);
    return false;
  }

  std::vector<std::string> argv = backendArgv(o.args);
  std::vector<std::string> env = o.env.empty() ? faultsEnvironment() : o.env;
  std::vector<char *> av = execArray(argv), ev = execArray(env);

  b->parentRssKb = selfRssKb();
  b->started = monotonicNow();
  b->pid = fork();
  if (b->pid == 0)
  {
    dup2(o.stdinFd >= 0 ? o.stdinFd : in[0], 0);
    dup2(out, 1);
    dup2(err, 2);
    for (int fd = 3; fd < 1024; fd++)
      close(fd);
    signal(SIGPIPE, SIG_DFL);
    if (o.asUser && (setgroups(0, nullptr) != 0 || setgid(o.gid) != 0 || setuid(o.uid) != 0))
      _exit(126);
    execve(av[0], av.data(), ev.data());
    _exit(127);
  }
  close(out);
  close(err);
  if (o.stdinFd < 0)
  {
    close(in[0]);
    b->input = in[1];
  }
  return b->pid > 0;
}

bool backendWrite(BackendProcess *b, const std::string &bytes)
{
  size_t done = 0;
  while (b->input >= 0 && done < bytes.size())
  {
    ssize_t n = write(b->input, bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += (size_t)n;
  }
  return done == bytes.size();
}

void backendCloseInput(BackendProcess *b)
{
  if (b->input >= 0)
  {
    close(b->input);
    b->input = -1;
  }
}

void backendWait(BackendProcess *b, int timeoutSeconds, BackendExit *e)
{
  *e = BackendExit();
  memset(&e->usage, 0, sizeof e->usage);
  if (b->pid <= 0)
    return;
  double deadline = monotonicNow() + timeoutSeconds;
  int status = 0;
  for (;;)
  {
    pid_t r = wait4(b->pid, &status, WNOHANG, &e->usage);
    if (r == b->pid)
      break;
    if (r < 0 && errno != EINTR)
      return;
    if (monotonicNow() > deadline)
    {
      kill(b->pid, SIGKILL);
      wait4(b->pid, &status, 0, &e->usage);
      e->child.timedOut = true;
      break;
    }
    usleep(2000);
  }
  e->seconds = monotonicNow() - b->started;
  if (WIFEXITED(status))
  {
    e->child.exited = true;
    e->child.exitStatus = WEXITSTATUS(status);
  }
  else if (WIFSIGNALED(status))
    e->child.termSignal = WTERMSIG(status);
  e->child.out = readFileText(b->outPath);
  e->child.err = readFileText(b->errPath);
  b->pid = -1;
  removeTempDir(b->dir);
}

std::string backendErrSoFar(const BackendProcess *b)
{
  return readFileText(b->errPath);
}

bool backendAlive(const BackendProcess *b)
{
  siginfo_t info;
  memset(&info, 0, sizeof info);
  /* WNOWAIT: look without reaping. */
  if (waitid(P_PID, (id_t)b->pid, &info, WEXITED | WNOHANG | WNOWAIT) != 0)
    return false;
  return info.si_pid == 0;
}

double backendCpuSeconds(const BackendProcess *b)
{
  std::string stat = readFileText("/proc/" + std::to_string(b->pid) + "/stat");
  size_t close = stat.rfind(')');
  if (close == std::string::npos)
    return -1;
  /* Fields after the command name: state is field 3, utime 14, stime 15. */
  const char *p = stat.c_str() + close + 2;
  int field = 3;
  unsigned long long utime = 0, stime = 0;
  while (*p && field < 16)
  {
    if (field == 14)
      utime = strtoull(p, nullptr, 10);
    if (field == 15)
      stime = strtoull(p, nullptr, 10);
    while (*p && *p != ' ')
      p++;
    while (*p == ' ')
      p++;
    field++;
  }
  return (double)(utime + stime) / (double)sysconf(_SC_CLK_TCK);
}

BackendExit runBackend(const std::string &stream, const BackendOptions &o, int timeoutSeconds)
{
  BackendExit e;
  BackendProcess b;
  if (!backendStart(&b, o))
  {
    ADD_FAILURE() << "cannot start the backend";
    return e;
  }
  std::thread feeder([&b, &stream] {
    backendWrite(&b, stream);
    backendCloseInput(&b);
  });
  backendWait(&b, timeoutSeconds, &e);
  feeder.join();
  return e;
}

/* ---- a host that hangs up ---- */

static void closingHostRun(ClosingHost *h)
{
  int fd = -1;
  while (!h->stopping.load() && fd < 0)
  {
    struct pollfd p = {h->listenFd, POLLIN, 0};
    if (poll(&p, 1, 50) > 0)
      fd = accept4(h->listenFd, nullptr, nullptr, SOCK_CLOEXEC);
  }
  if (fd < 0)
    return;
  h->accepted = true;
  size_t got = 0;
  std::vector<char> buf(65536);
  while (!h->stopping.load() && got < h->limit)
  {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, 50) <= 0)
      continue;
    size_t want = buf.size();
    if (h->limit - got < want)
      want = h->limit - got;
    ssize_t n = read(fd, buf.data(), want);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      break;
    std::lock_guard<std::mutex> g(h->lock);
    h->received.append(buf.data(), (size_t)n);
    got += (size_t)n;
  }
  close(fd);
  h->closed = true;
}

bool closingHostStart(ClosingHost *h, const std::string &path, size_t limit)
{
  h->path = path;
  h->limit = limit;
  h->listenFd = listenUnix(path, 4);
  if (h->listenFd < 0)
    return false;
  struct stat st;
  if (stat(path.c_str(), &st) == 0)
    h->inode = (unsigned long)st.st_ino;
  h->thread = std::thread(closingHostRun, h);
  return true;
}

bool closingHostPathLost(const ClosingHost *h)
{
  struct stat st;
  return stat(h->path.c_str(), &st) != 0 || (unsigned long)st.st_ino != h->inode;
}

bool closingHostWaitClosed(ClosingHost *h, int timeoutSeconds)
{
  double deadline = monotonicNow() + timeoutSeconds;
  while (!h->closed.load())
  {
    if (monotonicNow() > deadline)
      return false;
    usleep(2000);
  }
  return true;
}

void closingHostStop(ClosingHost *h)
{
  stopListener(&h->stopping, &h->thread, &h->listenFd, h->path);
}

std::string closingHostReceived(ClosingHost *h)
{
  std::lock_guard<std::mutex> g(h->lock);
  return h->received;
}

/* ---- streams and bitmaps ---- */

std::string noiseBytes(size_t n, uint32_t seed)
{
  std::string s(n, '\0');
  uint32_t x = seed * 2654435761u + 12345u;
  for (size_t i = 0; i < n; i++)
  {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    s[i] = (char)(x >> 24);
  }
  return s;
}

std::string faultsLine(const std::string &data)
{
  return "LINE " + std::to_string(data.size()) + "\n" + data;
}

void rasterModelStart(RasterModel *m, uint32_t width, uint32_t height, uint32_t depth)
{
  m->width = width;
  m->height = height;
  m->depth = depth;
  m->bytes.assign((size_t)width * height * depth, '\xFF');
  m->cursor = 0;
}

void rasterModelLine(RasterModel *m, const std::string &data)
{
  if (m->bytesPerLine == 0)
    m->bytesPerLine = (int32_t)data.size();
  size_t room = m->bytes.size() - m->cursor;
  size_t take = data.size() < room ? data.size() : room;
  m->bytes.replace(m->cursor, take, data, 0, take);
  m->cursor += take;
  m->nLines++;
}

std::string rasterModelBitmap(const RasterModel &m)
{
  size_t bpl = (size_t)m.bytesPerLine;
  EXPECT_EQ(bpl % 3, 0u) << "the model covers whole 3-byte groups only";
  size_t aligned = (bpl + 3) / 4 * 4;
  size_t stride = (size_t)m.width * m.depth;
  std::string out;
  for (int32_t r = m.nLines - 1; r >= 0; r--)
  {
    std::string line(aligned, '\0');
    for (size_t g = 0; g + 3 <= bpl; g += 3)
      for (size_t i = 0; i < 3; i++)
      {
        size_t at = (size_t)r * stride + g + 2 - i;
        line[g + i] = at < m.bytes.size() ? m.bytes[at] : '\xFF';
      }
    out += line;
  }
  return out;
}

/* ---- expected log lines ---- */


std::string faultsPageLines(int counter, const std::string &value, const std::string &box,
                            const std::string &settings, const std::string &paper)
{
  return pageLogLines(counter, value, box, settings, paper);
}

std::string faultsAllocatedLine(unsigned size, unsigned depth, int res)
{
  return rasterLogLine("allocated", std::to_string(size), (int)depth, res);
}

std::string faultsEndpageLog(const std::vector<WireRecord> &frags, int bytesPerLine, int rasterW,
                             int nLines, int align, int pageCounter)
{
  return endpageLogLines(frags, bytesPerLine, rasterW, nLines, align, pageCounter);
}

std::vector<WireRecord> faultsFragments(const std::vector<WireRecord> &recs)
{
  std::vector<WireRecord> f;
  for (const WireRecord &w : recs)
    if (w.rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
      f.push_back(w);
  return f;
}
