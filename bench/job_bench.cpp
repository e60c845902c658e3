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
 *   bench_jobs --backend PATH [--repeat N] [--quick]
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
  int pages;
};

struct Measure
{
  double wall = 1e30, cpu = 1e30, floorCpu = 1e30;
  long peakKb = 0;
  size_t fragments = 0;
  size_t compressedBytes = 0;
};

static double nowSeconds(clockid_t clock)
{
  struct timespec ts;
  clock_gettime(clock, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

/* Runs the backend on file; wall seconds, CPU seconds and peak RSS in KiB.
   False when it did not end with status 0. */
static bool runBackend(const std::string &backend, const std::string &file,
                       const std::string &cupsServer, double *wall, double *cpu, long *peakKb)
{
  std::string printerEnv = "PRINTER=Office";
  std::string serverEnv = "CUPS_SERVER=" + cupsServer;
  double t0 = nowSeconds(CLOCK_MONOTONIC);
  pid_t pid = fork();
  if (pid == 0)
  {
    int nul = open("/dev/null", O_RDWR);
    dup2(nul, 0);
    dup2(nul, 1);
    dup2(nul, 2);
    const char *argv[] = {backend.c_str(), "1", "bench", "bench", "1", "", file.c_str(), nullptr};
    const char *envp[] = {printerEnv.c_str(), serverEnv.c_str(), "LANG=C", nullptr};
    execve(backend.c_str(), (char *const *)argv, (char *const *)envp);
    _exit(127);
  }
  int status = 0;
  struct rusage ru;
  if (pid < 0 || wait4(pid, &status, 0, &ru) != pid)
    return false;
  *wall = nowSeconds(CLOCK_MONOTONIC) - t0;
  *cpu = ru.ru_utime.tv_sec + ru.ru_utime.tv_usec / 1e6 + ru.ru_stime.tv_sec + ru.ru_stime.tv_usec / 1e6;
  *peakKb = ru.ru_maxrss;
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
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

int main(int argc, char **argv)
{
  std::string backend;
  int repeat = 3;
  bool quick = false;
  for (int i = 1; i < argc; i++)
  {
    if (!strcmp(argv[i], "--backend") && i + 1 < argc)
      backend = argv[++i];
    else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
      repeat = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--quick"))
      quick = true;
    else
    {
      fprintf(stderr, "usage: bench_jobs --backend PATH [--repeat N] [--quick]\n");
      return 2;
    }
  }
  if (backend.empty() || repeat < 1)
  {
    fprintf(stderr, "usage: bench_jobs --backend PATH [--repeat N] [--quick]\n");
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);

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
  for (int pages : {1, 10})
  {
    if (quick && pages == 10)
      continue;
    for (PageKind k : {PAGE_BLANK, PAGE_TEXT, PAGE_PHOTO})
    {
      PageSpec s = a4c;
      s.kind = k;
      cases.push_back({"A4 300dpi RGB", s, pages});
    }
    cases.push_back({"A4 600dpi gray", a4m, pages});
  }

  printf("%-15s %-6s %5s %10s %10s %10s %7s %9s %9s %8s\n", "job", "page", "pages",
         "wall/page", "cpu/page", "floor/page", "ratio", "peak MiB", "raster", "lzf %");
  int failures = 0;
  for (const JobCase &c : cases)
  {
    std::vector<unsigned char> page = makePage(c.spec);
    std::string file = dir + "/" + pageKindName(c.spec.kind) + "-" + std::to_string(c.spec.depth) +
                       "-" + std::to_string(c.pages) + ".stream";
    if (!writeStream(file, c.spec, page, c.pages))
    {
      fprintf(stderr, "bench: cannot write %s\n", file.c_str());
      return 1;
    }
    Measure m;
    for (int r = 0; r < repeat; r++)
    {
      SocketSink sink;
      SinkOptions opt;
      opt.readChunk = 1 << 20;
      if (!sinkStart(&sink, "/tmp/kivprinter.sock", opt))
      {
        fprintf(stderr, "bench: cannot listen on /tmp/kivprinter.sock\n");
        return 1;
      }
      double wall = 0, cpu = 0;
      long peak = 0;
      bool ok = runBackend(backend, file, responder.path, &wall, &cpu, &peak);
      sinkWaitFinished(&sink, 1, 30);
      std::string bytes = sinkReceived(&sink, 0);
      sinkStop(&sink);
      std::vector<std::vector<unsigned char>> frags;
      size_t compressed = 0;
      if (!ok || !collectFragments(bytes, &frags, &compressed))
      {
        fprintf(stderr, "bench: the %s job failed\n", file.c_str());
        failures++;
        break;
      }
      double floorCpu = measureFloor(file, frags);
      m.wall = std::min(m.wall, wall);
      m.cpu = std::min(m.cpu, cpu);
      m.floorCpu = std::min(m.floorCpu, floorCpu);
      m.peakKb = std::max(m.peakKb, peak);
      m.fragments = frags.size();
      size_t raw = 0;
      for (auto &f : frags)
        raw += f.size();
      m.compressedBytes = raw ? compressed * 100 / raw : 0;
    }
    if (m.wall > 1e29)
      continue;
    double rasterMiB = (double)c.spec.width * c.spec.height * c.spec.depth / (1 << 20);
    printf("%-15s %-6s %5d %8.1fms %8.1fms %8.1fms %7.2f %9.1f %9.1f %7zu%%\n", c.name,
           pageKindName(c.spec.kind), c.pages, m.wall * 1000 / c.pages, m.cpu * 1000 / c.pages,
           m.floorCpu * 1000 / c.pages, m.cpu / m.floorCpu, m.peakKb / 1024.0, rasterMiB,
           m.compressedBytes);
    fflush(stdout);
    unlink(file.c_str());
  }
  responderStop(&responder);
  rmdir(dir.c_str());
  return failures ? 1 : 0;
}
