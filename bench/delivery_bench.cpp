/*
 * delivery_bench.cpp - what delivering a page costs the host, next to what
 * receiving it costs.
 *
 * kivprinter-host runs as a child in four ways, each fed the same jobs
 * (record streams of A4 pages, text-like and photo-like) on a private
 * socket:
 *
 *   receive            --no-images            decode, check, rebuild, job.json
 *   receive+png        (default)              ... and a PNG per page
 *   receive+deliver    --no-images --forward  ... and a PWG raster spool,
 *                                             Print-Job, job watching
 *   receive+png+deliver          --forward    all of it
 *
 * The printer is a private scheduler on 127.0.0.1 whose queue's backend
 * discards what it gets; its CPU is not the host's and is not counted.
 * The host's CPU (user + system, from wait4) is divided by the pages it
 * handled.  The ways are interleaved over the repeats so that a change in
 * the machine's load falls on all of them, and the medians are reported as
 * ratios to "receive" measured in the same run.
 *
 *   bench_delivery --host PATH [--repeat N] [--quick]
 */
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "child_process.h"
#include "cupsd_fixture.h"
#include "page_gen.h"
#include "host_support.h"
#include "test_files.h"

namespace {

double nowSeconds()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

struct Way
{
  const char *name;
  std::vector<std::string> args; /* besides --socket and --out */
  bool delivers;
  std::vector<double> cpuPerPage; /* seconds, one per repeat */
};

/* Runs the host one way over all jobs; the CPU seconds per page, or -1. */
double runWay(const std::string &host, const Way &way, const std::string &dir, const std::string &uri,
              const std::vector<std::string> &jobs, unsigned pagesPerJob, int run)
{
  std::string work = dir + "/run-" + std::to_string(run);
  mkdir(work.c_str(), 0755);
  std::string sock = work + "/host.sock", out = work + "/spool", log = work + "/host.out";
  std::vector<std::string> args = {host, "--socket", sock, "--out", out};
  for (const std::string &a : way.args)
    args.push_back(a == "URI" ? uri : a);
  pid_t pid = spawnWithLogs(args, log, std::string());
  double deadline = nowSeconds() + 30;
  while (readFileText(log).find("listening on") == std::string::npos && nowSeconds() < deadline)
    usleep(5000);
  for (const std::string &job : jobs)
  {
    int fd = connectUnix(sock);
    if (fd < 0 || !sendAll(fd, job))
    {
      fprintf(stderr, "bench_delivery: cannot send a job to %s\n", sock.c_str());
      return -1;
    }
    close(fd);
  }
  const char *done = way.delivers ? ": delivered" : ": complete, ";
  deadline = nowSeconds() + 600;
  while (hostCount(readFileText(log), done) < jobs.size() && nowSeconds() < deadline)
    usleep(20000);
  bool finished = hostCount(readFileText(log), done) >= jobs.size();
  kill(pid, SIGTERM);
  int status;
  struct rusage ru;
  if (wait4(pid, &status, 0, &ru) != pid || !finished)
  {
    fprintf(stderr, "bench_delivery: %s did not finish:\n%s\n", way.name, readFileText(log).c_str());
    return -1;
  }
  removeTempDir(work);
  double cpu = ru.ru_utime.tv_sec + ru.ru_utime.tv_usec / 1e6 + ru.ru_stime.tv_sec + ru.ru_stime.tv_usec / 1e6;
  return cpu / (double)(jobs.size() * pagesPerJob);
}

double median(std::vector<double> v)
{
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
  std::string host;
  int repeat = 3;
  bool quick = false;
  for (int i = 1; i < argc; i++)
  {
    if (!strcmp(argv[i], "--host") && i + 1 < argc)
      host = argv[++i];
    else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
      repeat = atoi(argv[++i]);
    else if (!strcmp(argv[i], "--quick"))
      quick = true;
    else
    {
      fprintf(stderr, "usage: bench_delivery --host PATH [--repeat N] [--quick]\n");
      return 2;
    }
  }
  if (host.empty() || repeat < 1)
  {
    fprintf(stderr, "usage: bench_delivery --host PATH [--repeat N] [--quick]\n");
    return 2;
  }
  signal(SIGPIPE, SIG_IGN);

  /* The printer: a scheduler on 127.0.0.1 whose backend reads and drops. */
  std::string dir = makeTempDir("bench-delivery");
  std::string discard = dir + "/discard";
  writeFileBytes(discard, "#!/bin/sh\n[ $# -eq 0 ] && exit 0\nif [ $# -ge 6 ]; then cat \"$6\"; else cat; fi >/dev/null\n");
  chmod(discard.c_str(), 0755);
  CupsdFixture printer;
  CupsdStartOptions options;
  options.tcpPort = cupsdFreeTcpPort();
  if (!cupsdStart(&printer, options) || !cupsdAddBackend(&printer, "discard", discard) ||
      !cupsdAddQueue(&printer, "Sink", "Sink", "discard://sink"))
  {
    fprintf(stderr, "bench_delivery: the printer's scheduler: %s\n", cupsdLastError().c_str());
    cupsdStop(&printer);
    return 1;
  }
  std::string uri = "ipp://127.0.0.1:" + std::to_string(options.tcpPort) + "/printers/Sink";

  /* Jobs of three A4 pages each: text-like and photo-like, colour. */
  unsigned dpi = quick ? 150 : 300;
  unsigned pagesPerJob = 3;
  std::vector<std::string> jobs;
  for (PageKind kind : {PAGE_TEXT, PAGE_PHOTO})
  {
    ::PageSpec spec = {kind, 210 * dpi * 10 / 254, 297 * dpi * 10 / 254, 3, dpi};
    PageImage image;
    image_init(&image, spec.width, spec.height, 3);
    image.xdpi = image.ydpi = dpi;
    image.pixels = makePage(spec);
    std::string name = std::string("Bench ") + pageKindName(kind);
    std::string one = jobStream(image, name);
    /* A job of pagesPerJob pages: the page's records repeated between one
       document start and one document end (12 bytes and the name payload
       each). */
    size_t docStart = 12 + 2 * name.size() + 2, docEnd = docStart;
    std::string pages = one.substr(docStart, one.size() - docStart - docEnd);
    std::string job = one.substr(0, docStart);
    for (unsigned p = 0; p < pagesPerJob; p++)
      job += pages;
    job += one.substr(one.size() - docEnd);
    jobs.push_back(job);
  }

  std::vector<Way> ways = {
    {"receive", {"--no-images"}, false, {}},
    {"receive+png", {}, false, {}},
    {"receive+deliver", {"--no-images", "--forward", "URI"}, true, {}},
    {"receive+png+deliver", {"--forward", "URI"}, true, {}},
  };
  int run = 0;
  for (int r = 0; r < repeat; r++)
    for (Way &way : ways)
    {
      double cpu = runWay(host, way, dir, uri, jobs, pagesPerJob, run++);
      if (cpu < 0)
      {
        cupsdStop(&printer);
        return 1;
      }
      way.cpuPerPage.push_back(cpu);
    }
  cupsdStop(&printer);
  removeTempDir(dir);

  double base = median(ways[0].cpuPerPage);
  printf("A4 pages at %u dpi RGB (%u x %u), text-like and photo-like, %u pages a job, %zu jobs, "
         "median of %d runs\n",
         dpi, 210 * dpi * 10 / 254, 297 * dpi * 10 / 254, pagesPerJob, jobs.size(), repeat);
  printf("%-22s %14s %10s\n", "host CPU per page", "ms", "ratio");
  for (const Way &way : ways)
    printf("%-22s %14.1f %10.2f\n", way.name, median(way.cpuPerPage) * 1000, median(way.cpuPerPage) / base);
  double deliver = median(ways[2].cpuPerPage) - base;
  double png = median(ways[1].cpuPerPage) - base;
  printf("delivery alone (receive+deliver - receive): %.1f ms a page, %.2f x receiving\n", deliver * 1000,
         deliver / base);
  printf("PNG alone (receive+png - receive):          %.1f ms a page, %.2f x receiving\n", png * 1000, png / base);
  return 0;
}
