/*
 * job_bench.cpp - whole-job benchmark of the real backend program.
 *
 * For each page kind and job length it writes a print stream, runs
 * CorvaneBackend on it against a receiver that drains the socket, and
 * measures per page the wall time, the CPU time (user + system) and the
 * peak memory of the backend.  In the same run, on the same input, it
 * measures the floor: reading the stream file in 1 MiB reads plus
 * lzf_compress of exactly the fragments the backend sent.  The figure that
 * counts is backend CPU / floor CPU.
 *
 *   bench_jobs --backend PATH [--repeat N] [--quick] [--only TEXT]
 *
 * Every job runs N times (default 5), backend and floor alternating, so a
 * change in the machine's load falls on both.  The table shows the minimum
 * CPU of the backend and of the floor over the runs, their ratio, and the
 * median of the per-run ratios; wall time is the median, peak memory the
 * largest seen.  The "2-10" rows are the later pages of the ten-page jobs
 * on their own: (ten-page job - one-page job) / 9, for the backend and the
 * floor alike.  The "empty" row is a job without pages: starting the
 * program, the printer lookup and the connection, which every job's
 * figures include once.
 *
 * The backend is started by a small helper process forked before anything
 * large is allocated here: a child's peak memory (ru_maxrss) counts the
 * memory of the process it was forked from, so forking the backend from
 * this process, which holds pages and received fragments, would report our
 * memory as the backend's.
 *
 * The backend always talks to /tmp/kivprinter.sock: run no receiver there
 * meanwhile.  Its printer lookup is answered by a scripted IPP responder.
 */
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <lzf.h>

#include "ipp_responder.h"
#include "page_gen.h"
#include "rc_decoder.h"
#include "socket_sink.h"

struct JobCase
{
  const char *name;
  PageSpec spec;
  int pages; /* 0: a job without pages */
};

/* One run of the backend and of the floor. */
struct Run
{
  double wall = 0, cpu = 0, floorCpu = 0;
  long peakKb = 0;
};

/* What a case's runs give, after the minima and medians are taken. */
struct Summary
{
  double wall = 0;        /* median */
  double cpu = 0;         /* minimum */
  double floorCpu = 0;    /* minimum */
  double ratioMedian = 0; /* median of cpu / floor over the runs */
  long peakKb = 0;        /* largest */
  size_t lzfPercent = 0;
  bool ok = false;
};

static double nowSeconds(clockid_t clock)
{
  struct timespec ts;
  clock_gettime(clock, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

static double median(std::vector<double> v)
{
  if (v.empty())
    return 0;
  std::sort(v.begin(), v.end());
  size_t n = v.size();
  return n % 2 ? v[n / 2] : (v[n / 2 - 1] + v[n / 2]) / 2;
}

/*
 * The spawner: a child forked at the start, while this process is small,
 * which runs the backend on request and reports its rusage.  Requests and
 * answers travel over two pipes as fixed records.
 */
struct SpawnRequest
{
  char backend[1024];
  char file[1024];
  char cupsServer[1024];
};

struct SpawnAnswer
{
  int ok; /* ended with status 0 */
  double wall, cpu;
  long peakKb;
};

struct Spawner
{
  pid_t pid = -1;
  int requestFd = -1;
  int answerFd = -1;
};

static bool readFull(int fd, void *data, size_t size)
{
  char *p = (char *)data;
  while (size > 0)
  {
    ssize_t n = read(fd, p, size);
    if (n <= 0)
      return false;
    p += n;
    size -= (size_t)n;
  }
  return true;
}

static bool writeFull(int fd, const void *data, size_t size)
{
  const char *p = (const char *)data;
  while (size > 0)
  {
    ssize_t n = write(fd, p, size);
    if (n <= 0)
      return false;
    p += n;
    size -= (size_t)n;
  }
  return true;
}

/* The spawner's loop: one backend run per request, until the pipe closes. */
static void spawnerLoop(int requestFd, int answerFd)
{
  SpawnRequest req;
  while (readFull(requestFd, &req, sizeof req))
  {
    char printerEnv[] = "PRINTER=Office";
    char serverEnv[1100];
    snprintf(serverEnv, sizeof serverEnv, "CUPS_SERVER=%s", req.cupsServer);
    SpawnAnswer ans;
    memset(&ans, 0, sizeof ans);
    double t0 = nowSeconds(CLOCK_MONOTONIC);
    pid_t pid = fork();
    if (pid == 0)
    {
      int nul = open("/dev/null", O_RDWR);
      dup2(nul, 0);
      dup2(nul, 1);
      dup2(nul, 2);
      close(requestFd);
      close(answerFd);
      const char *argv[] = {req.backend, "1", "bench", "bench", "1", "", req.file, nullptr};
      const char *envp[] = {printerEnv, serverEnv, "LANG=C", nullptr};
      execve(req.backend, (char *const *)argv, (char *const *)envp);
      _exit(127);
    }
    int status = 0;
    struct rusage ru;
    if (pid > 0 && wait4(pid, &status, 0, &ru) == pid)
    {
      ans.wall = nowSeconds(CLOCK_MONOTONIC) - t0;
      ans.cpu = ru.ru_utime.tv_sec + ru.ru_utime.tv_usec / 1e6 + ru.ru_stime.tv_sec +
                ru.ru_stime.tv_usec / 1e6;
      ans.peakKb = ru.ru_maxrss;
      ans.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
    if (!writeFull(answerFd, &ans, sizeof ans))
      break;
  }
  _exit(0);
}

/* Forks the spawner; call before any thread is started. */
static bool spawnerStart(Spawner *s)
{
  int req[2], ans[2];
  if (pipe(req) != 0 || pipe(ans) != 0)
    return false;
  s->pid = fork();
  if (s->pid < 0)
    return false;
  if (s->pid == 0)
  {
    close(req[1]);
    close(ans[0]);
    spawnerLoop(req[0], ans[1]);
  }
  close(req[0]);
  close(ans[1]);
  s->requestFd = req[1];
  s->answerFd = ans[0];
  return true;
}

static void spawnerStop(Spawner *s)
{
  if (s->pid <= 0)
    return;
  close(s->requestFd);
  close(s->answerFd);
  waitpid(s->pid, nullptr, 0);
  s->pid = -1;
}

/* Runs the backend on file through the spawner. */
static bool runBackend(Spawner *s, const std::string &backend, const std::string &file,
                       const std::string &cupsServer, Run *run)
{
  SpawnRequest req;
  memset(&req, 0, sizeof req);
  if (backend.size() >= sizeof req.backend || file.size() >= sizeof req.file ||
      cupsServer.size() >= sizeof req.cupsServer)
    return false;
  memcpy(req.backend, backend.data(), backend.size());
  memcpy(req.file, file.data(), file.size());
  memcpy(req.cupsServer, cupsServer.data(), cupsServer.size());
  SpawnAnswer ans;
  if (!writeFull(s->requestFd, &req, sizeof req) || !readFull(s->answerFd, &ans, sizeof ans))
    return false;
  run->wall = ans.wall;
  run->cpu = ans.cpu;
  run->peakKb = ans.peakKb;
  return ans.ok != 0;
}

/* Decodes what the receiver got and decompresses every fragment. */
static bool collectFragments(const std::string &bytes, std::vector<std::vector<unsigned char>> *frags,
                             size_t *compressed)
{
  rc_decoder dec;
  rc_decoder_init(&dec);
  const unsigned char *p = (const unsigned char *)bytes.data();
  size_t left = bytes.size();
  *compressed = 0;
  for (;;)
  {
    rc_record rec;
    size_t used = 0;
    int r = rc_decode_next(&dec, p, left, &rec, &used);
    if (r == RC_DECODE_ERROR)
    {
      fprintf(stderr, "bench: %s\n", dec.error);
      return false;
    }
    if (r == RC_DECODE_NEED_MORE)
      break;
    if (rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
    {
      std::vector<unsigned char> out(rec.fragment.uncompressedLength);
      char err[200];
      if (!rc_decompress_fragment(&rec, out.data(), out.size(), err, sizeof err))
      {
        fprintf(stderr, "bench: %s\n", err);
        return false;
      }
      *compressed += rec.dataLength;
      frags->push_back(std::move(out));
    }
    p += used;
    left -= used;
  }
  return rc_decoder_finish(&dec, left) == 1;
}

/* The floor: the stream read in 1 MiB reads plus lzf_compress of every
   fragment, in CPU seconds of this process. */
static double measureFloor(const std::string &file, const std::vector<std::vector<unsigned char>> &frags)
{
  static std::vector<char> readBuf(1 << 20);
  static std::vector<unsigned char> out(2400000);
  double c0 = nowSeconds(CLOCK_PROCESS_CPUTIME_ID);
  int fd = open(file.c_str(), O_RDONLY);
  if (fd >= 0)
  {
    while (read(fd, readBuf.data(), readBuf.size()) > 0)
      ;
    close(fd);
  }
  volatile unsigned sink = 0;
  for (const std::vector<unsigned char> &f : frags)
  {
    std::vector<unsigned char> *buf = &out;
    if (buf->size() < f.size() + f.size() / 16 + 64)
      buf->resize(f.size() + f.size() / 16 + 64);
    sink += lzf_compress(f.data(), (unsigned)f.size(), buf->data(), (unsigned)buf->size());
  }
  (void)sink;
  return nowSeconds(CLOCK_PROCESS_CPUTIME_ID) - c0;
}

/* Writes a job without pages: the fixed cost of every job. */
static bool writeEmptyStream(const std::string &path)
{
  FILE *f = fopen(path.c_str(), "wb");
  if (!f)
    return false;
  fputs("PRINTERMODEL Bench Printer\nDOCUMENT bench\nENDDOCUMENT\n", f);
  return fclose(f) == 0;
}

/* Waits until nobody owns the socket path, at most timeoutSeconds; false
   when another program's receiver (or a test's) still listens there.  A
   socket file that nobody listens on is left over from a dead process and
   is removed, as the receiver started here would replace it anyway. */
static bool waitSocketFree(const char *path, int timeoutSeconds)
{
  for (int i = 0; i < timeoutSeconds * 10; i++)
  {
    struct stat st;
    if (lstat(path, &st) != 0)
      return true;
    if (S_ISSOCK(st.st_mode) && !socketPathIsLive(path))
    {
      unlink(path);
      return true;
    }
    usleep(100000);
  }
  return false;
}

/* Runs one case repeat times and sums it up. */
static Summary runCase(Spawner *spawner, const std::string &backend, const std::string &cupsServer,
                       const std::string &file, int repeat)
{
  Summary s;
  std::vector<double> walls, cpus, floors, ratios;
  for (int r = 0; r < repeat; r++)
  {
    SocketSink sink;
    SinkOptions opt;
    opt.readChunk = 1 << 20;
    if (!waitSocketFree("/tmp/kivprinter.sock", 60))
    {
      fprintf(stderr, "bench: /tmp/kivprinter.sock is in use by another program\n");
      return s;
    }
    if (!sinkStart(&sink, "/tmp/kivprinter.sock", opt))
    {
      fprintf(stderr, "bench: cannot listen on /tmp/kivprinter.sock\n");
      return s;
    }
    Run run;
    bool ok = runBackend(spawner, backend, file, cupsServer, &run);
    sinkWaitFinished(&sink, 1, 30);
    std::string bytes = sinkReceived(&sink, 0);
    sinkStop(&sink);
    std::vector<std::vector<unsigned char>> frags;
    size_t compressed = 0;
    if (!ok || !collectFragments(bytes, &frags, &compressed))
    {
      fprintf(stderr, "bench: the %s job failed\n", file.c_str());
      return s;
    }
    bytes.clear();
    bytes.shrink_to_fit();
    run.floorCpu = measureFloor(file, frags);
    walls.push_back(run.wall);
    cpus.push_back(run.cpu);
    floors.push_back(run.floorCpu);
    ratios.push_back(run.floorCpu > 0 ? run.cpu / run.floorCpu : 0);
    s.peakKb = std::max(s.peakKb, run.peakKb);
    size_t raw = 0;
    for (auto &f : frags)
      raw += f.size();
    s.lzfPercent = raw ? compressed * 100 / raw : 0;
  }
  s.wall = median(walls);
  s.cpu = *std::min_element(cpus.begin(), cpus.end());
  s.floorCpu = *std::min_element(floors.begin(), floors.end());
  s.ratioMedian = median(ratios);
  s.ok = true;
  return s;
}

/* The target of a page kind: backend CPU / floor CPU; 0 when none. */
static double targetOf(PageKind kind)
{
  return kind == PAGE_TEXT ? 1.25 : kind == PAGE_PHOTO ? 1.10
                                                       : 0;
}

static void printRow(const char *name, const char *kind, const char *pages, double wall,
                     double cpu, double floorCpu, double ratioMedian, double target,
                     double peakMiB, double rasterMiB, long lzfPercent)
{
  char targetText[16] = "-";
  char peakText[16] = "-";
  char lzfText[24] = "-";
  if (target > 0)
    snprintf(targetText, sizeof targetText, "%.2f %s", target,
             cpu / floorCpu <= target ? "met" : "NOT");
  if (peakMiB > 0)
    snprintf(peakText, sizeof peakText, "%.1f", peakMiB);
  if (lzfPercent >= 0)
    snprintf(lzfText, sizeof lzfText, "%ld%%", lzfPercent);
  char ratioMedianText[16] = "-";
  if (ratioMedian > 0)
    snprintf(ratioMedianText, sizeof ratioMedianText, "%.2f", ratioMedian);
  printf("%-15s %-6s %5s %8.1fms %8.1fms %8.1fms %6.2f %6s %-8s %8s %7.1f %5s\n", name, kind,
         pages, wall * 1000, cpu * 1000, floorCpu * 1000, floorCpu > 0 ? cpu / floorCpu : 0,
         ratioMedianText, targetText, peakText, rasterMiB, lzfText);
  fflush(stdout);
}

int main(int argc, char **argv)
{
  std::string backend;
  std::string only;
  int repeat = 5;
  bool quick = false;
  for (int i = 1; i < argc; i++)
  {
    if (!strcmp(argv[i], "--backend") && i + 1 < argc)
      backend = argv[++i];
    else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
      repeat = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--only") && i + 1 < argc)
      only = argv[++i];
    else if (!strcmp(argv[i], "--quick"))
      quick = true;
    else
    {
      fprintf(stderr, "usage: bench_jobs --backend PATH [--repeat N] [--quick] [--only TEXT]\n");
      return 2;
    }
  }
  if (backend.empty() || repeat < 1)
  {
    fprintf(stderr, "usage: bench_jobs --backend PATH [--repeat N] [--quick] [--only TEXT]\n");
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);

  /* First, while this process is small and has no threads. */
  Spawner spawner;
  if (!spawnerStart(&spawner))
  {
    fprintf(stderr, "bench: cannot start the spawner\n");
    return 1;
  }

  char dirTemplate[] = "/tmp/corvane-bench-XXXXXX";
  if (!mkdtemp(dirTemplate))
    return 1;
  std::string dir = dirTemplate;

  IppMessage reply;
  reply.code = 0;
  ippMsgAddGroup(&reply, IPP_GROUP_OPERATION);
  ippMsgAddValue(&reply, IPP_VALUE_CHARSET, "attributes-charset", "utf-8");
  ippMsgAddValue(&reply, IPP_VALUE_LANGUAGE, "attributes-natural-language", "en");
  ippMsgAddGroup(&reply, IPP_GROUP_PRINTER);
  ippMsgAddValue(&reply, IPP_VALUE_NAME, "printer-name", "Office");
  ippMsgAddValue(&reply, IPP_VALUE_TEXT, "printer-info", "Bench Printer");
  IppResponder responder;
  if (!responderStart(&responder, dir + "/ipp.sock", reply))
  {
    fprintf(stderr, "bench: cannot start the IPP responder\n");
    return 1;
  }

  std::vector<JobCase> cases;
  PageSpec a4c = {PAGE_BLANK, 2480, 3508, 3, 300};
  PageSpec a4m = {PAGE_TEXT, 4960, 7016, 1, 600};
  cases.push_back({"empty job", a4c, 0});
  for (PageKind k : {PAGE_BLANK, PAGE_TEXT, PAGE_PHOTO})
  {
    PageSpec s = a4c;
    s.kind = k;
    cases.push_back({"A4 300dpi RGB", s, 1});
    if (!quick)
      cases.push_back({"A4 300dpi RGB", s, 10});
  }
  cases.push_back({"A4 600dpi gray", a4m, 1});
  if (!quick)
    cases.push_back({"A4 600dpi gray", a4m, 10});

  printf("Each job runs %d times; cpu and floor are minima over the runs, ratio = cpu / floor,\n"
         "med = median of the per-run ratios, wall = median, peak = largest RSS seen.\n",
         repeat);
  printf("%-15s %-6s %5s %10s %10s %10s %6s %6s %-8s %8s %7s %5s\n", "job", "page", "pages",
         "wall/page", "cpu/page", "floor/page", "ratio", "med", "target", "peak MiB",
         "raster", "lzf");
  int failures = 0;
  Summary one; /* the one-page job of the kind being run, for the 2-10 row */
  for (const JobCase &c : cases)
  {
    std::string label = std::string(c.name) + " " + pageKindName(c.spec.kind);
    if (!only.empty() && label.find(only) == std::string::npos && c.pages != 0)
      continue;
    std::string file;
    if (c.pages == 0)
    {
      file = dir + "/empty.stream";
      if (!writeEmptyStream(file))
        return 1;
    }
    else
    {
      std::vector<unsigned char> page = makePage(c.spec);
      file = dir + "/" + pageKindName(c.spec.kind) + "-" + std::to_string(c.spec.depth) + "-" +
             std::to_string(c.pages) + ".stream";
      if (!writeStream(file, c.spec, page, c.pages))
      {
        fprintf(stderr, "bench: cannot write %s\n", file.c_str());
        return 1;
      }
    }
    Summary s = runCase(&spawner, backend, responder.path, file, repeat);
    unlink(file.c_str());
    if (!s.ok)
    {
      failures++;
      continue;
    }
    if (c.pages == 0)
    {
      printRow(c.name, "-", "0", s.wall, s.cpu, s.floorCpu, 0, 0, s.peakKb / 1024.0, 0, -1);
      continue;
    }
    double rasterMiB = (double)c.spec.width * c.spec.height * c.spec.depth / (1 << 20);
    double target = targetOf(c.spec.kind);
    printRow(c.name, pageKindName(c.spec.kind), c.pages == 1 ? "1" : "10", s.wall / c.pages,
             s.cpu / c.pages, s.floorCpu / c.pages, s.ratioMedian, target, s.peakKb / 1024.0,
             rasterMiB, (long)s.lzfPercent);
    if (c.pages == 1)
      one = s;
    else if (one.ok)
    {
      /* The later pages alone: what the ten-page job costs beyond the
         one-page job, per page. */
      int later = c.pages - 1;
      printRow(c.name, pageKindName(c.spec.kind), "2-10", (s.wall - one.wall) / later,
               (s.cpu - one.cpu) / later, (s.floorCpu - one.floorCpu) / later, 0, target, 0,
               rasterMiB, -1);
      one = Summary();
    }
  }
  responderStop(&responder);
  spawnerStop(&spawner);
  rmdir(dir.c_str());
  return failures ? 1 : 0;
}
