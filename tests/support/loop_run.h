/*
 * loop_run.h - running the command loop in-process for tests: the
 * stream comes from a temporary file, the records go to a listening test
 * socket in a temporary directory, standard error is captured.
 */
#ifndef CORVANE_TEST_JOBS_SUPPORT_H
#define CORVANE_TEST_JOBS_SUPPORT_H

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "stderr_capture.h"
#include "records_wire.h"
#include "cups_file.h"
#include "page_raster.h"
#include "print_job.h"
#include "socket_sink.h"
#include "socket_transport.h"
#include "test_files.h"

/* A temporary directory for one test, removed with its files. */
struct TempDir
{
  std::string path = makeTempDir("corvane-jobs");
  ~TempDir() { removeTempDir(path); }
};

/* A reader over a temporary file holding bytes. */
struct FileReader
{
  TempDir dir;
  _cups_file_s *fp = nullptr;
  explicit FileReader(const std::string &bytes)
  {
    std::string path = dir.path + "/in";
    EXPECT_TRUE(writeFileBytes(path, bytes));
    fp = cups_file_new(open(path.c_str(), O_RDONLY), 0);
  }
  ~FileReader() { cups_file_close(fp); }
};

/* What one in-process run of the command loop produced. */
struct LoopRun
{
  int result = -1;  /* command_loop's result */
  std::string err;  /* standard error during the loop */
  std::string wire; /* bytes the host received */
};

/* Runs the command loop over stream with a fresh job.  When job is given
   the caller keeps the state (and releases it); otherwise it is released
   here.  The host closes its end after closeAfter bytes when given.  With
   perPage the job has a raster per page, as the device URI's option
   raster=per-page asks; with wireLayout its raster keeps rows as they go
   out, as the program's does. */
inline LoopRun runLoop(const std::string &stream, const char *printerName = "Office",
                       print_job_s *job = nullptr, size_t closeAfter = SIZE_MAX, int perPage = 0,
                       int wireLayout = 0)
{
  LoopRun run;
  TempDir dir;
  std::string input = dir.path + "/stream";
  std::string sockPath = dir.path + "/host.sock";
  if (!writeFileBytes(input, stream))
  {
    ADD_FAILURE() << "cannot write " << input;
    return run;
  }
  SocketSink sink;
  SinkOptions options;
  options.closeAfterBytes = closeAfter;
  if (!sinkStart(&sink, sockPath, options))
  {
    ADD_FAILURE() << "cannot listen on " << sockPath;
    return run;
  }
  int fd = open(input.c_str(), O_RDONLY);
  _cups_file_s *fp = cups_file_new(fd, 0);
  int sock = -1;
  if (!socket_connect(sockPath.c_str(), &sock))
  {
    ADD_FAILURE() << "cannot connect";
    cups_file_close(fp);
    sinkStop(&sink);
    return run;
  }

  print_job_s *own = nullptr;
  if (!job)
    job = own = new print_job_s;
  print_job_init(job, sock, printerName, 1);
  job->raster.perPage = perPage;
  job->raster.wireLayout = wireLayout;

  StderrCapture cap;
  cap.begin();
  run.result = command_loop(job, fp);
  run.err = cap.end();

  socket_close(sock);
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 20));
  run.wire = sinkReceived(&sink, 0);
  sinkStop(&sink);
  cups_file_close(fp);
  if (own)
  {
    print_job_release(own);
    delete own;
  }
  return run;
}

/* Replaces the raster address of the allocation (or reuse) line with
   <ADDR>. */
inline std::string maskRasterAddress(const std::string &log)
{
  static const std::regex address(
    "(Raster data (?:allocated|reused) and cleared to white: 0x)[0-9A-F]+( size:)");
  return std::regex_replace(log, address, "$1<ADDR>$2");
}

/* A raster record over the bytes of raster (not owned), of the given
   geometry: for the row copy on its own. */
inline page_raster_s rasterOver(std::string &raster, uint32_t width, uint32_t height,
                                uint32_t depth, int32_t bytesPerLine)
{
  page_raster_s r;
  memset(&r, 0, sizeof(r));
  r.raster_data = (unsigned char *)&raster[0];
  r.size = (uint32_t)raster.size();
  r.end = r.raster_data + raster.size();
  r.cursor = r.end;
  r.width = width;
  r.height = height;
  r.depth = depth;
  r.bytesPerLine = bytesPerLine;
  return r;
}

/* A LINE command and its data. */
inline std::string lineCommand(const std::string &data)
{
  return "LINE " + std::to_string(data.size()) + "\n" + data;
}

#endif
