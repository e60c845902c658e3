/*
 * test_jobs_support.h - running the command loop in-process for tests: the
 * stream comes from a temporary file, the records go to a listening test
 * socket in a temporary directory, standard error is captured.
 */
#ifndef CORVANE_TEST_JOBS_SUPPORT_H
#define CORVANE_TEST_JOBS_SUPPORT_H

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../protocol/test_records_capture.h"
#include "../protocol/test_records_wire.h"
#include "cups_file.h"
#include "print_job.h"
#include "socket_sink.h"
#include "socket_transport.h"

/* A temporary directory for one test, removed with its files. */
struct TempDir
{
  std::string path;
  TempDir()
  {
    char tmpl[] = "/tmp/corvane-jobs-XXXXXX";
    if (mkdtemp(tmpl))
      path = tmpl;
  }
  ~TempDir()
  {
    if (!path.empty())
    {
      std::string cmd = "rm -rf '" + path + "'";
      if (system(cmd.c_str()) != 0)
        fprintf(stderr, "could not remove %s\n", path.c_str());
    }
  }
};

/* Writes bytes to a new file; false on failure. */
inline bool writeFile(const std::string &path, const std::string &bytes)
{
  FILE *f = fopen(path.c_str(), "wb");
  if (!f)
    return false;
  bool ok = fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return fclose(f) == 0 && ok;
}

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
  if (!writeFile(input, stream))
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

/* Decodes a run's wire bytes; fails the test when they are not valid. */
inline std::vector<WireRecord> recordsOf(const std::string &wire)
{
  std::vector<WireRecord> recs;
  std::string error;
  EXPECT_TRUE(decodeWire(wire, &recs, &error)) << error;
  return recs;
}

/* The identifiers of a record list, for comparing whole sequences. */
inline std::vector<uint32_t> idsOf(const std::vector<WireRecord> &recs)
{
  std::vector<uint32_t> ids;
  for (const WireRecord &w : recs)
    ids.push_back(w.rec.id);
  return ids;
}

/* Replaces the raster address of the allocation (or reuse) line with
   <ADDR>. */
inline std::string maskRasterAddress(const std::string &log)
{
  static const std::regex address(
    "(Raster data (?:allocated|reused) and cleared to white: 0x)[0-9A-F]+( size:)");
  return std::regex_replace(log, address, "$1<ADDR>$2");
}

/* A LINE command and its data. */
inline std::string lineCommand(const std::string &data)
{
  return "LINE " + std::to_string(data.size()) + "\n" + data;
}

#endif
