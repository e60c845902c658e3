/*
 * job_run.h - print jobs through the real backend program: a
 * private scheduler names the queue, a listening test host on the real
 * socket path records what arrives, and the whole job log is kept.
 */
#ifndef CORVANE_TEST_INTEGRATION_JOBS_SUPPORT_H
#define CORVANE_TEST_INTEGRATION_JOBS_SUPPORT_H

#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "log_lines.h"
#include "records_wire.h"
#include "backend_run.h"
#include "child_process.h"
#include "cupsd_fixture.h"
#include "socket_sink.h"
#include "socket_transport.h"

/* Queue descriptions the jobs run under. */
#define JOBS_QUEUE_OFFICE_INFO "Office"
#define JOBS_QUEUE_BUERO_INFO  "B\xC3\xBCro Stra\xC3\x9F" \
                              "e 3 \xE2\x80\x93 \xCE\xA9"

/* The shared scheduler with the queues "Office" (description "Office")
   and "Buero" (a non-ASCII description); null when it cannot run. */
inline CupsdFixture *jobsScheduler()
{
  static CupsdFixture *cupsd = nullptr;
  static bool tried = false;
  if (!tried)
  {
    tried = true;
    cupsd = cupsdShared();
    if (cupsd && !(cupsdAddQueue(cupsd, "Office", JOBS_QUEUE_OFFICE_INFO) &&
                   cupsdAddQueue(cupsd, "Buero", JOBS_QUEUE_BUERO_INFO)))
      cupsd = nullptr;
  }
  return cupsd;
}

/* What one run of the backend gave. */
struct JobRun
{
  ChildResult child;
  std::string wire; /* bytes the host received */
  std::string log;  /* standard error, addresses masked */
};

/* Masks the addresses in a job log: the two of the printer lookup, the
   raster's in its allocation line and in the refusal of a second RASTER. */
inline std::string maskJobLog(const std::string &err)
{
  static const std::regex raster("(Raster data allocated and cleared to white: 0x)[0-9A-F]+( size:)");
  static const std::regex refused("(RASTER with ERROR: value '[^\n]*' raster_data: 0x)[0-9A-F]*[1-9A-F][0-9A-F]*( width:)");
  std::string s = normalizeAddresses(err);
  s = std::regex_replace(s, raster, "$1<ADDR>$2");
  return std::regex_replace(s, refused, "$1<ADDR>$2");
}

struct JobOptions
{
  std::string printer = "Office";
  std::vector<std::string> args = {"12", "user1", "report", "1", ""};
  SinkOptions sink;
  std::vector<std::string> extraEnv;
  std::vector<std::string> wrapper; /* program and arguments run before the backend */
  int timeoutSeconds = 120;
};

/* The jobs' scheduler, and a test host started on the real socket path
   with options; null (the test has failed) when either cannot be had. */
inline CupsdFixture *jobHostStart(SocketSink *sink, const SinkOptions &options)
{
  CupsdFixture *cupsd = jobsScheduler();
  if (!cupsd)
  {
    ADD_FAILURE() << "no scheduler: " << cupsdLastError();
    return nullptr;
  }
  if (!sinkStart(sink, KIVPRINTER_SOCKET_PATH, options))
  {
    ADD_FAILURE() << "cannot listen on " KIVPRINTER_SOCKET_PATH;
    return nullptr;
  }
  return cupsd;
}

/* Runs the backend with stream on its standard input (or as args say) and
   a test host listening on the real socket path. */
inline JobRun runJob(const std::string &stream, const JobOptions &o = JobOptions())
{
  JobRun run;
  SocketSink sink;
  CupsdFixture *cupsd = jobHostStart(&sink, o.sink);
  if (!cupsd)
    return run;
  ChildOptions c;
  c.argv = o.wrapper;
  std::vector<std::string> backend = backendArgv(o.args);
  c.argv.insert(c.argv.end(), backend.begin(), backend.end());
  std::vector<std::string> extra = o.extraEnv;
  extra.push_back("PRINTER=" + o.printer);
  c.env = cupsdEnvironment(cupsd, extra);
  c.stdinData = stream;
  c.stdinIsDevNull = stream.empty();
  c.timeoutSeconds = o.timeoutSeconds;
  run.child = runChild(c);
  /* Every job here connects: the host may not have accepted it yet when
     the backend has already ended, so wait for the connection to end. */
  EXPECT_TRUE(sinkWaitFinished(&sink, 1, 20)) << "the backend never connected";
  run.wire = sinkReceived(&sink, 0);
  sinkStop(&sink);
  run.log = maskJobLog(run.child.err);
  return run;
}

/* The log lines every job of queue "Office" begins with. */
inline std::string jobStart(const std::string &description = JOBS_QUEUE_OFFICE_INFO,
                            const char *printer = "Office", int argc = 6,
                            const std::string &copies = "1")
{
  return banner(argc) + lookupLines(printer) + nameLine(description.c_str()) + copiesLine(copies);
}

/* Expects a normal end: status 0, no signal, the finished line last. */
#define EXPECT_JOB_OK(run)                \
  do                                      \
  {                                       \
    EXPECT_TRUE((run).child.exited);      \
    EXPECT_EQ((run).child.exitStatus, 0); \
    EXPECT_EQ((run).child.termSignal, 0); \
  } while (0)

/* A LINE command and its data. */
inline std::string jobLine(const std::string &data)
{
  return "LINE " + std::to_string(data.size()) + "\n" + data;
}

/* The fragments of consecutive records from index i on. */
inline std::vector<WireRecord> jobFragments(const std::vector<WireRecord> &recs, size_t i)
{
  std::vector<WireRecord> frags;
  while (i < recs.size() && recs[i].rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
    frags.push_back(recs[i++]);
  return frags;
}

#endif
