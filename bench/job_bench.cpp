/*
 * job_bench.cpp - whole-job benchmark of the real backend program.
 *
 * It starts a private scheduler with the queue the jobs name, then:
 *
 * 1. The start of a job: the CPU time of an empty job (the printer lookup,
 *    the connection, no page) against bench_lookup_min, a program that
 *    links libcups alone and makes the same CUPS-Get-Printers request to the
 *    same scheduler; both again stopped at main, to split loading from what
 *    follows; and the dynamic loader's account of both.
 *
 * 2. Whole jobs: for each page kind and job length it writes a print
 *    stream, runs CorvaneBackend on it against a receiver that drains the
 *    socket, and measures per page the wall time, the CPU time (user +
 *    system) and the peak memory of the backend.  In the same run, on the
 *    same input, it measures the floor (job_floor.h), whose fragments must
 *    be the backend's.  The figure that counts is backend CPU / floor CPU.
 *
 *   bench_jobs --backend PATH --lookup PATH [--repeat N] [--quick]
 *              [--per-page] [--only TEXT]
 *   bench_jobs --write text|photo|blank|gray PAGES FILE
 *                          write one stream (each page its own content)
 *   bench_jobs --serve     start the scheduler, print its CUPS_SERVER and
 *                          wait until standard input ends (for profiling)
 *
 * Every job runs N times (default 5), backend and floor alternating, so a
 * change in the machine's load falls on both.  The table shows the minimum
 * CPU of the backend and of the floor over the runs, their ratio, and the
 * median of the per-run ratios; wall time is the median, peak memory the
 * largest seen.  The "first page" rows are a one-page job less the empty
 * job.  The "2-10" rows are the later pages of the ten-page jobs on their
 * own: (ten-page job - one-page job) / 9, for the backend and the floor
 * alike.  --per-page adds jobs whose device URI asks for a raster per page,
 * each page with its own content, and a twenty-page job for memory.  A
 * closing table lists every target with its measured value.
 *
 * The backend and the floor run in a small helper process forked before
 * anything large is allocated here: a child's peak memory (ru_maxrss)
 * counts the memory of the process it was forked from, so forking the
 * backend from this process, which holds pages and received fragments,
 * would report our memory as the backend's.
 *
 * The backend always talks to /tmp/kivprinter.sock: run no receiver there
 * meanwhile.
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

#if defined(__x86_64__) || defined(__i386__)
#include <x86intrin.h>
#endif

#include "cupsd_fixture.h"
#include "job_floor.h"
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
 * which runs programs (the backend, the lookup program) on request and
 * reports their rusage, and runs the floor in its own small address space.
 * Requests and answers travel over two pipes as fixed records.
 */
enum SpawnKind
{
  SPAWN_PROGRAM, /* run program, report its CPU time, wall time and peak RSS */
  SPAWN_FLOOR    /* run the floor over file in the spawner itself */
};

struct SpawnRequest
{
  int kind;
  int jobArguments; /* 1: the backend's six job arguments with file; 0: none */
  int withPrinter;  /* 1: PRINTER=Office in the environment */
  int ldStatistics; /* 1: LD_DEBUG=statistics */
  int listObjects;  /* 1: LD_TRACE_LOADED_OBJECTS=1 (list the libraries, run nothing) */
  int loadOnly;     /* 1: the single argument --load */
  char program[1024];
  char file[1024];
  char cupsServer[1024];
  char deviceUri[256];   /* argv[0] and DEVICE_URI, as CUPS hands them to a backend */
  char outputPath[1024]; /* standard output and error go here; empty: /dev/null */
};

struct SpawnAnswer
{
  int ok;     /* ended with status 0 (the floor: succeeded) */
  int status; /* exit status, -1 when killed */
  double wall, cpu;
  long peakKb;
  size_t pages, fragments, rawBytes, compressedBytes; /* the floor's */
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

/* Runs the program of req in a child and waits for it. */
static void spawnProgram(const SpawnRequest &req, int requestFd, int answerFd, SpawnAnswer *ans)
{
  char printerEnv[] = "PRINTER=Office";
  char serverEnv[1100];
  char uriEnv[300];
  snprintf(serverEnv, sizeof serverEnv, "CUPS_SERVER=%s", req.cupsServer);
  snprintf(uriEnv, sizeof uriEnv, "DEVICE_URI=%s", req.deviceUri);
  double t0 = nowSeconds(CLOCK_MONOTONIC);
  pid_t pid = fork();
  if (pid == 0)
  {
    int nul = open("/dev/null", O_RDWR);
    int out = req.outputPath[0] ? open(req.outputPath, O_WRONLY | O_CREAT | O_TRUNC, 0644) : nul;
    dup2(nul, 0);
    dup2(out, 1);
    dup2(out, 2);
    close(requestFd);
    close(answerFd);
    const char *argv[8] = {req.program, req.loadOnly ? "--load" : nullptr, nullptr};
    if (req.jobArguments)
    {
      const char *jobArgv[] = {req.deviceUri[0] ? req.deviceUri : req.program, "1", "bench", "bench", "1", "", req.file, nullptr};
      memcpy(argv, jobArgv, sizeof jobArgv);
    }
    const char *envp[8];
    int n = 0;
    envp[n++] = serverEnv;
    envp[n++] = "LANG=C";
    if (req.withPrinter)
      envp[n++] = printerEnv;
    if (req.deviceUri[0])
      envp[n++] = uriEnv;
    if (req.ldStatistics)
      envp[n++] = "LD_DEBUG=statistics";
    if (req.listObjects)
      envp[n++] = "LD_TRACE_LOADED_OBJECTS=1";
    envp[n] = nullptr;
    execve(req.program, (char *const *)argv, (char *const *)envp);
    _exit(127);
  }
  int status = 0;
  struct rusage ru;
  ans->status = -1;
  if (pid > 0 && wait4(pid, &status, 0, &ru) == pid)
  {
    ans->wall = nowSeconds(CLOCK_MONOTONIC) - t0;
    ans->cpu = ru.ru_utime.tv_sec + ru.ru_utime.tv_usec / 1e6 + ru.ru_stime.tv_sec +
               ru.ru_stime.tv_usec / 1e6;
    ans->peakKb = ru.ru_maxrss;
    ans->status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    ans->ok = ans->status == 0;
  }
}

/* The spawner's loop: one request at a time, until the pipe closes. */
static void spawnerLoop(int requestFd, int answerFd)
{
  SpawnRequest req;
  while (readFull(requestFd, &req, sizeof req))
  {
    SpawnAnswer ans;
    memset(&ans, 0, sizeof ans);
    if (req.kind == SPAWN_FLOOR)
    {
      FloorResult fr;
      ans.ok = floorRunStream(req.file, &fr);
      ans.cpu = fr.cpu;
      ans.pages = fr.pages;
      ans.fragments = fr.fragments;
      ans.rawBytes = fr.rawBytes;
      ans.compressedBytes = fr.compressedBytes;
    }
    else
      spawnProgram(req, requestFd, answerFd, &ans);
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

/* Copies text into a fixed field; false when it does not fit. */
static bool setField(char *field, size_t size, const std::string &text)
{
  if (text.size() >= size)
    return false;
  memcpy(field, text.data(), text.size());
  field[text.size()] = '\0';
  return true;
}

/* Sends one request to the spawner and waits for its answer. */
static bool spawnerAsk(Spawner *s, const SpawnRequest &req, SpawnAnswer *ans)
{
  return writeFull(s->requestFd, &req, sizeof req) && readFull(s->answerFd, ans, sizeof *ans);
}

/* What a program run is asked to be. */
struct ProgramRun
{
  std::string program;
  std::string file;       /* empty: no job arguments */
  std::string deviceUri;  /* empty: none */
  std::string outputPath; /* empty: /dev/null */
  bool withPrinter = true;
  bool ldStatistics = false;
  bool listObjects = false;
  bool loadOnly = false;
};

/* Runs a program through the spawner; false when it could not be asked. */
static bool runProgram(Spawner *s, const ProgramRun &pr, const std::string &cupsServer,
                       SpawnAnswer *ans)
{
  SpawnRequest req;
  memset(&req, 0, sizeof req);
  req.kind = SPAWN_PROGRAM;
  req.jobArguments = !pr.file.empty();
  req.withPrinter = pr.withPrinter;
  req.ldStatistics = pr.ldStatistics;
  req.listObjects = pr.listObjects;
  req.loadOnly = pr.loadOnly;
  if (!setField(req.program, sizeof req.program, pr.program) ||
      !setField(req.file, sizeof req.file, pr.file) ||
      !setField(req.cupsServer, sizeof req.cupsServer, cupsServer) ||
      !setField(req.deviceUri, sizeof req.deviceUri, pr.deviceUri) ||
      !setField(req.outputPath, sizeof req.outputPath, pr.outputPath))
    return false;
  return spawnerAsk(s, req, ans);
}

/* Runs the backend on file through the spawner. */
static bool runBackend(Spawner *s, const std::string &backend, const std::string &file,
                       const std::string &deviceUri, const std::string &cupsServer, Run *run)
{
  ProgramRun pr;
  pr.program = backend;
  pr.file = file;
  pr.deviceUri = deviceUri;
  SpawnAnswer ans;
  if (!runProgram(s, pr, cupsServer, &ans))
    return false;
  run->wall = ans.wall;
  run->cpu = ans.cpu;
  run->peakKb = ans.peakKb;
  return ans.ok != 0;
}

/* Runs the floor over file in the spawner. */
static bool runFloor(Spawner *s, const std::string &file, SpawnAnswer *ans)
{
  SpawnRequest req;
  memset(&req, 0, sizeof req);
  req.kind = SPAWN_FLOOR;
  if (!setField(req.file, sizeof req.file, file))
    return false;
  return spawnerAsk(s, req, ans) && ans->ok;
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

/* Runs one case repeat times, backend and floor alternating, and sums it
   up.  The floor's fragments must be the backend's (count and bytes), or
   the two sides would not be doing the same job. */
static Summary runCase(Spawner *spawner, const std::string &backend, const std::string &deviceUri,
                       const std::string &cupsServer, const std::string &file, int repeat)
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
    SpawnAnswer fl;
    memset(&fl, 0, sizeof fl);
    /* Alternate which side goes first, so that a change of load in the
       middle of a pair does not always fall on the same side. */
    bool floorOk = true;
    if (r % 2)
      floorOk = runFloor(spawner, file, &fl);
    bool ok = runBackend(spawner, backend, file, deviceUri, cupsServer, &run);
    sinkWaitFinished(&sink, 1, 30);
    std::string bytes = sinkReceived(&sink, 0);
    sinkStop(&sink);
    if (r % 2 == 0)
      floorOk = runFloor(spawner, file, &fl);
    std::vector<std::vector<unsigned char>> frags;
    size_t compressed = 0;
    if (!ok || !collectFragments(bytes, &frags, &compressed))
    {
      fprintf(stderr, "bench: the %s job failed\n", file.c_str());
      return s;
    }
    size_t raw = 0;
    for (auto &f : frags)
      raw += f.size();
    if (!floorOk || fl.fragments != frags.size() || fl.rawBytes != raw)
    {
      fprintf(stderr, "bench: the floor of %s did not make the backend's fragments (%zu of %zu bytes against %zu of %zu)\n",
              file.c_str(), fl.fragments, fl.rawBytes, frags.size(), raw);
      return s;
    }
    run.floorCpu = fl.cpu;
    walls.push_back(run.wall);
    cpus.push_back(run.cpu);
    floors.push_back(run.floorCpu);
    ratios.push_back(run.floorCpu > 0 ? run.cpu / run.floorCpu : 0);
    s.peakKb = std::max(s.peakKb, run.peakKb);
    s.lzfPercent = raw ? compressed * 100 / raw : 0;
  }
  s.wall = median(walls);
  s.cpu = *std::min_element(cpus.begin(), cpus.end());
  s.floorCpu = *std::min_element(floors.begin(), floors.end());
  s.ratioMedian = median(ratios);
  s.ok = true;
  return s;
}

static void printRow(const char *name, const char *kind, const char *pages, double wall,
                     double cpu, double floorCpu, double ratioMedian, double peakMiB,
                     double rasterMiB, long lzfPercent)
{
  char peakText[16] = "-";
  char lzfText[24] = "-";
  if (peakMiB > 0)
    snprintf(peakText, sizeof peakText, "%.1f", peakMiB);
  if (lzfPercent >= 0)
    snprintf(lzfText, sizeof lzfText, "%ld%%", lzfPercent);
  char ratioMedianText[16] = "-";
  if (ratioMedian > 0)
    snprintf(ratioMedianText, sizeof ratioMedianText, "%.2f", ratioMedian);
  printf("%-24s %-6s %5s %8.1fms %8.1fms %8.1fms %6.2f %6s %8s %7.1f %5s\n", name, kind,
         pages, wall * 1000, cpu * 1000, floorCpu * 1000, floorCpu > 0 ? cpu / floorCpu : 0,
         ratioMedianText, peakText, rasterMiB, lzfText);
  fflush(stdout);
}

/* One line of the closing table: a target, what was measured, and whether
   it holds. */
struct TargetRow
{
  std::string name;
  std::string measured;
  std::string target;
  bool met;
};

static std::vector<TargetRow> s_targets;

static void addTarget(const std::string &name, const std::string &measured,
                      const std::string &target, bool met)
{
  s_targets.push_back({name, measured, target, met});
}

static std::string format(const char *fmt, double a, double b = 0, double c = 0)
{
  char text[200];
  snprintf(text, sizeof text, fmt, a, b, c);
  return text;
}

/* What the dynamic loader said of one run (LD_DEBUG=statistics). */
struct LoaderStats
{
  double startupCycles = 0;
  double relocationCycles = 0;
  long relocations = 0;
  long relativeRelocations = 0;
  int objects = 0; /* shared objects loaded, from LD_TRACE_LOADED_OBJECTS */
};

/* Reads the number after key in text (the first occurrence); -1 if absent. */
static double numberAfter(const std::string &text, const char *key)
{
  size_t at = text.find(key);
  if (at == std::string::npos)
    return -1;
  return strtod(text.c_str() + at + strlen(key), nullptr);
}

static std::string readText(const std::string &path)
{
  std::string text;
  FILE *f = fopen(path.c_str(), "rb");
  if (!f)
    return text;
  char buf[4096];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
    text.append(buf, n);
  fclose(f);
  return text;
}

/* Runs pr once with the loader's statistics and once listing its objects. */
static LoaderStats loaderStats(Spawner *spawner, ProgramRun pr, const std::string &cupsServer,
                               const std::string &dir)
{
  LoaderStats ls;
  SpawnAnswer ans;
  pr.outputPath = dir + "/ld.out";
  pr.ldStatistics = true;
  if (runProgram(spawner, pr, cupsServer, &ans))
  {
    std::string text = readText(pr.outputPath);
    ls.startupCycles = numberAfter(text, "total startup time in dynamic loader:");
    ls.relocationCycles = numberAfter(text, "time needed for relocation:");
    ls.relocations = (long)numberAfter(text, "final number of relocations:");
    ls.relativeRelocations = (long)numberAfter(text, "number of relative relocations:");
  }
  pr.ldStatistics = false;
  pr.listObjects = true;
  if (runProgram(spawner, pr, cupsServer, &ans))
  {
    std::string text = readText(pr.outputPath);
    for (size_t at = 0; (at = text.find(" (0x", at)) != std::string::npos; at++)
      ls.objects++;
  }
  unlink(pr.outputPath.c_str());
  return ls;
}

/* The loader counts in time-stamp-counter cycles; their rate, measured
   against the monotonic clock, turns them into milliseconds.  0 where the
   counter cannot be read. */
static double cyclesPerSecond()
{
#if defined(__x86_64__) || defined(__i386__)
  double t0 = nowSeconds(CLOCK_MONOTONIC);
  unsigned long long c0 = __rdtsc();
  while (nowSeconds(CLOCK_MONOTONIC) - t0 < 0.05)
    ;
  unsigned long long c1 = __rdtsc();
  return (double)(c1 - c0) / (nowSeconds(CLOCK_MONOTONIC) - t0);
#else
  return 0;
#endif
}

/*
 * The start of a job: the empty job (lookup, connection, no page) against
 * the lookup program, alternating, minima over the runs; then the same two
 * programs stopped right at main (the backend without $PRINTER: loading,
 * the initialisers of its libraries and two log lines) to split each into
 * loading and what comes after it, and the dynamic loader's own account.
 * Returns the empty job's minimum CPU, the fixed cost in every job's row.
 */
static double measureStart(Spawner *spawner, const std::string &backend,
                           const std::string &lookupProgram, const std::string &cupsServer,
                           const std::string &dir, int runs)
{
  std::string file = dir + "/empty.stream";
  if (!writeEmptyStream(file))
    return -1;
  if (!waitSocketFree("/tmp/kivprinter.sock", 60))
  {
    fprintf(stderr, "bench: /tmp/kivprinter.sock is in use by another program\n");
    return -1;
  }
  SocketSink sink;
  if (!sinkStart(&sink, "/tmp/kivprinter.sock"))
  {
    fprintf(stderr, "bench: cannot listen on /tmp/kivprinter.sock\n");
    return -1;
  }
  ProgramRun job, lookup, jobLoad, lookupLoad;
  job.program = backend;
  job.file = file;
  job.deviceUri = "CorvaneBackend://Corvane/Corvane_Generic_Printer";
  lookup.program = lookupProgram;
  jobLoad = job;
  jobLoad.withPrinter = false;
  lookupLoad.program = lookupProgram;
  lookupLoad.withPrinter = false;
  lookupLoad.loadOnly = true;
  std::vector<double> tJob, tLookup, tJobLoad, tLookupLoad;
  bool failed = false;
  for (int i = 0; i < runs && !failed; i++)
  {
    struct Side
    {
      ProgramRun *pr;
      std::vector<double> *t;
      int status;
    } sides[4] = {{&job, &tJob, 0}, {&lookup, &tLookup, 0}, {&jobLoad, &tJobLoad, 4}, {&lookupLoad, &tLookupLoad, 0}};
    for (int k = 0; k < 4; k++)
    {
      /* Each pair swaps its order every other run. */
      Side &sd = sides[(k ^ (i & 1))];
      SpawnAnswer ans;
      if (!runProgram(spawner, *sd.pr, cupsServer, &ans) || ans.status != sd.status)
      {
        fprintf(stderr, "bench: %s ended with status %d, not %d\n", sd.pr->program.c_str(),
                ans.status, sd.status);
        failed = true;
        break;
      }
      sd.t->push_back(ans.cpu);
    }
  }
  sinkStop(&sink);
  unlink(file.c_str());
  if (failed)
    return -1;
  double job1 = *std::min_element(tJob.begin(), tJob.end());
  double look1 = *std::min_element(tLookup.begin(), tLookup.end());
  double jobL = *std::min_element(tJobLoad.begin(), tJobLoad.end());
  double lookL = *std::min_element(tLookupLoad.begin(), tLookupLoad.end());
  LoaderStats lsJob = loaderStats(spawner, job, cupsServer, dir);
  LoaderStats lsLookup = loaderStats(spawner, lookup, cupsServer, dir);
  double hz = cyclesPerSecond();

  printf("CPU in ms, minima of %d runs each, the programs alternating:\n", runs);
  printf("%-44s %10s %10s %6s\n", "", "backend", "lookup", "ratio");
  printf("%-44s %9.2fms %9.2fms %6.2f\n", "whole run (empty job / lookup program)", job1 * 1000,
         look1 * 1000, job1 / look1);
  printf("%-44s %9.2fms %9.2fms %6.2f\n", "stopped at main (no $PRINTER / --load)", jobL * 1000,
         lookL * 1000, jobL / lookL);
  printf("%-44s %9.2fms %9.2fms\n", "after main (lookup, connection, stream)",
         (job1 - jobL) * 1000, (look1 - lookL) * 1000);
  printf("%-44s %10d %10d\n", "shared objects loaded", lsJob.objects, lsLookup.objects);
  printf("%-44s %10ld %10ld\n", "symbol relocations", lsJob.relocations, lsLookup.relocations);
  printf("%-44s %10ld %10ld\n", "relative relocations", lsJob.relativeRelocations,
         lsLookup.relativeRelocations);
  if (hz > 0)
    printf("%-44s %9.2fms %9.2fms\n", "dynamic loader, total (LD_DEBUG=statistics)",
           lsJob.startupCycles / hz * 1000, lsLookup.startupCycles / hz * 1000);
  else
    printf("%-44s %10.0f %10.0f cycles\n", "dynamic loader, total (LD_DEBUG=statistics)",
           lsJob.startupCycles, lsLookup.startupCycles);
  fflush(stdout);
  addTarget("start of a job: empty job / lookup program", format("%.2f / %.2f ms = %.2f", job1 * 1000, look1 * 1000, job1 / look1),
            "<= 1.10", job1 / look1 <= 1.10);
  return job1;
}

/* Writes the stream of a case; false on failure. */
static bool writeCase(const std::string &file, const PageSpec &spec, int pages, bool distinct)
{
  if (distinct)
    return writeDistinctStream(file, spec, pages);
  std::vector<unsigned char> page = makePage(spec);
  return writeStream(file, spec, page, pages);
}

int main(int argc, char **argv)
{
  std::string backend;
  std::string lookupProgram;
  std::string only;
  int repeat = 5;
  bool quick = false;
  bool perPage = false;
  bool serve = false;
  for (int i = 1; i < argc; i++)
  {
    if (!strcmp(argv[i], "--backend") && i + 1 < argc)
      backend = argv[++i];
    else if (!strcmp(argv[i], "--lookup") && i + 1 < argc)
      lookupProgram = argv[++i];
    else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
      repeat = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--only") && i + 1 < argc)
      only = argv[++i];
    else if (!strcmp(argv[i], "--quick"))
      quick = true;
    else if (!strcmp(argv[i], "--per-page"))
      perPage = true;
    else if (!strcmp(argv[i], "--serve"))
      serve = true;
    else if (!strcmp(argv[i], "--write") && i + 3 < argc)
    {
      /* For profiling by hand: one stream as the jobs here use it. */
      PageSpec spec = {PAGE_TEXT, 2480, 3508, 3, 300};
      std::string kind = argv[i + 1];
      if (kind == "gray")
        spec = {PAGE_TEXT, 4960, 7016, 1, 600};
      else if (kind == "photo" || kind == "blank")
        spec.kind = kind == "photo" ? PAGE_PHOTO : PAGE_BLANK;
      return writeCase(argv[i + 3], spec, atoi(argv[i + 2]), true) ? 0 : 1;
    }
    else
      backend.clear(), repeat = 0, i = argc;
  }
  if (!serve && (backend.empty() || lookupProgram.empty() || repeat < 1))
  {
    fprintf(stderr, "usage: bench_jobs --backend PATH --lookup PATH [--repeat N] [--quick] [--per-page] [--only TEXT]\n");
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

  /* A private scheduler with the queue the jobs name. */
  CupsdFixture cupsd;
  if (!cupsdStart(&cupsd) || !cupsdAddQueue(&cupsd, "Office", "Bench Printer"))
  {
    fprintf(stderr, "bench: cannot start a private scheduler: %s\n", cupsdLastError().c_str());
    cupsdStop(&cupsd);
    return 1;
  }

  if (serve)
  {
    /* For profiling by hand: the scheduler of the benchmark, until standard
       input ends. */
    printf("CUPS_SERVER=%s PRINTER=Office\n", cupsd.socketPath.c_str());
    fflush(stdout);
    while (getchar() != EOF)
      ;
    cupsdStop(&cupsd);
    return 0;
  }

  printf("== The start of a job: the empty job against a program that links libcups alone\n"
         "   and makes the same CUPS-Get-Printers request to the same private scheduler\n");
  double emptyCpu = measureStart(&spawner, backend, lookupProgram, cupsd.socketPath, dir,
                                 quick ? 5 : 4 * repeat);
  if (emptyCpu < 0)
  {
    cupsdStop(&cupsd);
    return 1;
  }

  const char *defaultUri = "CorvaneBackend://Corvane/Corvane_Generic_Printer";
  const char *perPageUri = "CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page";
  struct JobCaseRun
  {
    JobCase c;
    bool perPage;
    bool distinct; /* each page its own content */
  };
  std::vector<JobCaseRun> cases;
  PageSpec a4c = {PAGE_BLANK, 2480, 3508, 3, 300};
  PageSpec a4m = {PAGE_TEXT, 4960, 7016, 1, 600};
  cases.push_back({{"empty job", a4c, 0}, false, false});
  for (PageKind k : {PAGE_BLANK, PAGE_TEXT, PAGE_PHOTO})
  {
    PageSpec s = a4c;
    s.kind = k;
    cases.push_back({{"A4 300dpi RGB", s, 1}, false, false});
    if (!quick)
      cases.push_back({{"A4 300dpi RGB", s, 10}, false, false});
  }
  cases.push_back({{"A4 600dpi gray", a4m, 1}, false, false});
  if (!quick)
    cases.push_back({{"A4 600dpi gray", a4m, 10}, false, false});
  if (perPage)
  {
    /* Text last: the memory row compares with its one-page job. */
    for (PageKind k : {PAGE_PHOTO, PAGE_TEXT})
    {
      PageSpec s = a4c;
      s.kind = k;
      cases.push_back({{"per-page RGB", s, 1}, true, true});
      cases.push_back({{"per-page RGB", s, 10}, true, true});
    }
    PageSpec s = a4c;
    s.kind = PAGE_TEXT;
    cases.push_back({{"per-page RGB memory", s, 20}, true, false});
  }

  printf("\n== Whole jobs: backend CPU against the floor (1 MiB reads into one buffer, each line\n"
         "   copied once to its place in a bottom-up page raster, lzf_compress of 2,000,000-byte\n"
         "   fragments straight from it)\n");
  printf("Each job runs %d times; cpu and floor are minima over the runs, ratio = cpu / floor,\n"
         "med = median of the per-run ratios, wall = median, peak = largest RSS seen.\n",
         repeat);
  printf("%-24s %-6s %5s %10s %10s %10s %6s %6s %8s %7s %5s\n", "job", "page", "pages",
         "wall/page", "cpu/page", "floor/page", "ratio", "med", "peak MiB", "raster", "lzf");
  int failures = 0;
  Summary one;      /* the one-page job of the kind being run, for the 2-10 row */
  Summary emptyJob; /* the empty job of this table, for memory growth */
  for (const JobCaseRun &cr : cases)
  {
    const JobCase &c = cr.c;
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
      file = dir + "/" + pageKindName(c.spec.kind) + "-" + std::to_string(c.spec.depth) + "-" +
             std::to_string(c.pages) + ".stream";
      if (!writeCase(file, c.spec, c.pages, cr.distinct))
      {
        fprintf(stderr, "bench: cannot write %s\n", file.c_str());
        return 1;
      }
    }
    Summary s = runCase(&spawner, backend, cr.perPage ? perPageUri : defaultUri, cupsd.socketPath,
                        file, repeat);
    unlink(file.c_str());
    if (!s.ok)
    {
      failures++;
      continue;
    }
    if (c.pages == 0)
    {
      /* Its floor is a few microseconds of reading: no ratio to speak of. */
      printRow(c.name, "-", "0", s.wall, s.cpu, 0, 0, s.peakKb / 1024.0, 0, -1);
      emptyJob = s;
      continue;
    }
    double rasterMiB = (double)c.spec.width * c.spec.height * c.spec.depth / (1 << 20);
    const char *kind = pageKindName(c.spec.kind);
    std::string pagesText = std::to_string(c.pages);
    printRow(c.name, kind, pagesText.c_str(), s.wall / c.pages, s.cpu / c.pages,
             s.floorCpu / c.pages, s.ratioMedian, s.peakKb / 1024.0, rasterMiB,
             (long)s.lzfPercent);
    if (c.pages == 20)
    {
      /* Memory of a long per-page job: flat over the pages, and the raster
         plus little over the empty job. */
      if (one.ok && emptyJob.ok)
      {
        double grow = (s.peakKb - one.peakKb) / 1024.0;
        addTarget("per-page: peak of 20 pages - peak of 1 page", format("%.1f MiB - %.1f MiB = %.2f MiB", s.peakKb / 1024.0, one.peakKb / 1024.0, grow),
                  "<= 1 MiB", grow <= 1.0);
        double over = (s.peakKb - emptyJob.peakKb) / 1024.0 - rasterMiB;
        addTarget("per-page: peak of 20 pages - empty job - raster", format("%.1f - %.1f - %.1f MiB", s.peakKb / 1024.0, emptyJob.peakKb / 1024.0, rasterMiB) + format(" = %.2f MiB", over),
                  "<= 4.5 MiB", over <= 4.5);
      }
      continue;
    }
    if (c.pages == 1)
    {
      one = s;
      /* The first page: what a one-page job costs beyond the empty job. */
      double first = (s.cpu - emptyCpu) / s.floorCpu;
      printRow("  first page (- empty)", kind, "1", 0, s.cpu - emptyCpu, s.floorCpu, 0, 0,
               rasterMiB, -1);
      if (!cr.perPage && c.spec.kind != PAGE_BLANK)
        addTarget(std::string("first page: ") + c.name + " " + kind,
                  format("(%.1f - %.1f) / %.1f ms", s.cpu * 1000, emptyCpu * 1000, s.floorCpu * 1000) + format(" = %.2f", first),
                  "<= 1.05", first <= 1.05);
    }
    else if (one.ok)
    {
      /* The later pages alone: what the ten-page job costs beyond the
         one-page job, per page. */
      int later = c.pages - 1;
      double cpu = (s.cpu - one.cpu) / later, fl = (s.floorCpu - one.floorCpu) / later;
      printRow(c.name, kind, "2-10", (s.wall - one.wall) / later, cpu, fl, 0, 0, rasterMiB, -1);
      if (cr.perPage)
        addTarget(std::string("pages 2-10: ") + c.name + " " + kind,
                  format("%.1f / %.1f ms = %.2f", cpu * 1000, fl * 1000, cpu / fl), "<= 1.05",
                  cpu / fl <= 1.05);
      if (!cr.perPage)
        one = Summary();
    }
  }
  if (!perPage)
    addTarget("per-page rows", "not run (--per-page)", "-", false);
  cupsdStop(&cupsd);
  spawnerStop(&spawner);
  rmdir(dir.c_str());

  printf("\n== Targets of the whole-job rows\n");
  for (const TargetRow &t : s_targets)
    printf("%-50s %-40s %-10s %s\n", t.name.c_str(), t.measured.c_str(), t.target.c_str(),
           t.target == "-" ? "-" : t.met ? "met"
                                         : "NOT met");
  return failures ? 1 : 0;
}
