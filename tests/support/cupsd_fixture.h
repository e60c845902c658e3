/*
 * cupsd_fixture.h - a private CUPS scheduler for tests.
 *
 * cupsdStart() builds a fresh temporary tree (configuration, spool, cache,
 * logs, and a ServerBin of symlinks to the system's /usr/lib/cups), writes a
 * cupsd.conf that listens only on a Unix socket inside that tree and lets
 * every local request through, and runs the system's cupsd in the
 * foreground as a child of the test.  Queues are added with the system's
 * lpadmin.  Programs under test reach the scheduler through
 * CUPS_SERVER=<socketPath> (cupsdEnvironment() builds such an environment).
 *
 * Every wait is bounded; cupsdStop() kills the scheduler with SIGTERM, then
 * SIGKILL, and removes the tree.  The scheduler is also started with a
 * parent-death signal, so it cannot outlive a test program that crashes.
 *
 * Typical use, once per test program (starting takes a fraction of a
 * second; see cupsdShared()):
 *
 *   CupsdFixture *cupsd = cupsdShared();           // started on first use
 *   ASSERT_TRUE(cupsd) << cupsdLastError();
 *   ASSERT_TRUE(cupsdAddQueue(cupsd, "Office", "Office Laser"));
 *   ChildOptions o;
 *   o.env = cupsdEnvironment(cupsd, {"PRINTER=Office"});
 *
 * Works as root (the scheduler then runs its children as User/Group lp and
 * the tree is made traversable for lp) and as an ordinary user.
 */
#ifndef CORVANE_TEST_CUPSD_FIXTURE_H
#define CORVANE_TEST_CUPSD_FIXTURE_H

#include <sys/types.h>

#include <string>
#include <vector>

/* The device URI that queues get by default; its scheme names the backend
   that must exist in ServerBin/backend (cupsdStart() links one there). */
#define CUPSD_FIXTURE_DEFAULT_URI "CorvaneBackend://Corvane/Corvane_Generic_Printer"

struct CupsdFixture
{
  std::string dir;        /* the temporary tree; removed by cupsdStop() */
  std::string socketPath; /* dir + "/cupsd.sock": the value of CUPS_SERVER */
  std::string serverBin;  /* dir + "/bin": ServerBin (daemon/, backend/, filter/ ...) */
  std::string errorLog;   /* dir + "/log/error_log" */
  pid_t pid = -1;         /* the scheduler; -1 when not running */
};

struct CupsdStartOptions
{
  /* Program linked as ServerBin/backend/CorvaneBackend, so that lpadmin
     accepts CUPSD_FIXTURE_DEFAULT_URI.  Empty: a system backend stands in
     (the scheduler only checks that the scheme has a backend; tests that
     let the scheduler run jobs pass CORVANE_BIN_DIR "/CorvaneBackend"). */
  std::string backendProgram;
  int startTimeoutSeconds = 15; /* give up waiting for the socket after this */
  bool debugLog = false;        /* LogLevel debug instead of warn */
};

/* Starts a scheduler in a fresh temporary directory and waits (bounded)
   until its socket answers an HTTP request.  On failure everything made so
   far is removed, fixture->pid is -1, and cupsdLastError() says why. */
bool cupsdStart(CupsdFixture *fixture, const CupsdStartOptions &options = CupsdStartOptions());

/* Stops the scheduler (SIGTERM, then SIGKILL after 5 seconds), reaps it and
   removes the tree.  Safe to call twice or after a failed start. */
void cupsdStop(CupsdFixture *fixture);

/* Adds (or changes) a raw, enabled queue with lpadmin.  description null:
   no -D (the scheduler then reports the queue's name as printer-info);
   "" gives -D "" (an empty printer-info).  uri empty: the default URI. */
bool cupsdAddQueue(CupsdFixture *fixture, const std::string &name,
                   const char *description, const std::string &uri = std::string());

/* Deletes a queue with lpadmin -x. */
bool cupsdRemoveQueue(CupsdFixture *fixture, const std::string &name);

/* Links target into ServerBin/backend under scheme (replacing a link of that
   name), so that queues with URIs of that scheme can be added. */
bool cupsdAddBackend(CupsdFixture *fixture, const std::string &scheme, const std::string &target);

/* Links target into ServerBin/filter under name (replacing a link of that
   name), beside the system's filters, so that a PPD can name it. */
bool cupsdAddFilter(CupsdFixture *fixture, const std::string &name, const std::string &target);

/* Runs one of the system's CUPS client programs (lpadmin, lpstat, ...,
   looked up in /usr/sbin and /usr/bin) against this scheduler; returns its
   exit status (-1 when it could not run or was killed) and, when output is
   not null, its standard output and error together. */
int cupsdRunClient(CupsdFixture *fixture, const std::vector<std::string> &args,
                   std::string *output = nullptr, int timeoutSeconds = 20);

/* This process's environment without CUPS_SERVER, PRINTER, CUPS_ENCRYPTION
   and the other variables that would steer a CUPS client elsewhere, plus
   CUPS_SERVER=<socketPath>, plus extra ("K=V" each, added last). */
std::vector<std::string> cupsdEnvironment(const CupsdFixture *fixture,
                                          const std::vector<std::string> &extra = {});

/* The scheduler's error log, for failure messages. */
std::string cupsdLog(const CupsdFixture *fixture);

/* Why the last cupsd* call of this process failed. */
std::string cupsdLastError();

/* One scheduler per test program: started on the first call (with default
   options) and stopped at process exit.  Null when it cannot start; the
   failure is remembered and not retried. */
CupsdFixture *cupsdShared();

#endif
