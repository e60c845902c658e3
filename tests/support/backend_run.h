/*
 * backend_run.h - running the built CorvaneBackend in tests, and the exact
 * log texts it is expected to write.
 */
#ifndef CORVANE_TEST_BACKEND_RUN_H
#define CORVANE_TEST_BACKEND_RUN_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "child_process.h"
#include "test_files.h"

/* The program under test: build/bin/CorvaneBackend. */
std::string backendPath();

/* argv for the backend: its path followed by args. */
std::vector<std::string> backendArgv(const std::vector<std::string> &args);

/* Replaces the non-zero hexadecimal numbers of the two address lines of the
   printer lookup ("http: 0x%X", "ipp_t* request: 0x%X") with "<HEX>", so that
   a whole log can be compared exactly.  "0x0" (no connection) is left as it
   is; lower-case or empty hex digits are left too, and so fail to match. */
std::string normalizeAddresses(const std::string &log);

/* Expected log texts, byte for byte. */
std::string banner(int argc);
/* getenv line and, when printer is not null, the two address lines (with
   "<HEX>", or "0x0" for the connection when connected is false). */
std::string lookupLines(const char *printer, bool connected = true);
std::string lookupNoResponse();                          /* "cupsDoRequest FAILED" */
std::string lookupFailed(const std::string &statusText); /* getPrinterName failed: %s */
std::string nameLine(const char *name);                  /* getPrinterName(): "%s" */
std::string discoveryLine(const std::string &name);      /* stdout, no new line */
std::string discoveryDebugLine(const std::string &name);
std::string usageLine();
std::string copiesLine(const std::string &argv4);
std::string openFailedLine(const std::string &systemText);
std::string connectFailedLines(const std::string &path, const std::string &systemText);
std::string finishedLine();

/* Runs a child with its standard input read from fd (shared, so that the
   caller can see afterwards how far the child read), its output and error
   collected through files.  Returns the pid, or -1. */
pid_t spawnWithStdin(const std::vector<std::string> &argv, const std::vector<std::string> &env,
                     int stdinFd, const std::string &outPath, const std::string &errPath);

/* Waits for a child of spawnWithStdin at most timeoutSeconds (then kills
   it), and fills result from its status and the two files. */
void waitSpawned(pid_t pid, int timeoutSeconds, const std::string &outPath,
                 const std::string &errPath, ChildResult *result);


/* Runs the backend without arguments (the printer lookup) against the
   scheduler at server, with PRINTER=printer (none when null) and none of
   the caller's CUPS settings; *elapsed (when given) gets its run time. */
ChildResult runLookup(const std::string &server, const char *printer, int timeoutSeconds,
                      double *elapsed = nullptr);

/* Seconds on a monotonic clock. */
double monotonicNow();

#endif
