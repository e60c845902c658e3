/*
 * printer_ipp.h - the few IPP conversations the host has with the printer
 * it forwards to, all through libcups's IPP API: does it take PWG raster
 * (Get-Printer-Attributes), print this document (Print-Job), how far is
 * that job (Get-Job-Attributes), and did a job of this name arrive after
 * all (Get-Jobs, for an answer lost to a dropped connection).
 *
 * Every call opens its own connection, waits a bounded time, and reports a
 * failure as one line of text in *error (nothing is logged here: the
 * caller knows which job it was for).
 */
#ifndef KIVPRINTER_PRINTER_IPP_H
#define KIVPRINTER_PRINTER_IPP_H

#include <string>

#include "pwg_spool.h"

struct PrinterTarget
{
  std::string uri; /* as given: ipp://host[:port]/resource or ipps:// */
  std::string host;
  int port = 631;
  std::string resource; /* the path part, e.g. /printers/Office */
  bool encrypted = false;
};

/* Outcome of one Print-Job. */
struct PrintOutcome
{
  bool reached = false;  /* the request may have reached the printer */
  bool accepted = false; /* the printer answered with a job */
  int jobId = 0;
  std::string ippStatus;      /* its status keyword, e.g. successful-ok */
  std::string ignored;        /* unsupported-group attribute names, comma-separated */
  bool formatRefused = false; /* client-error-document-format-not-supported */
};

/* Splits an ipp:// or ipps:// URI.  0 with *error for anything else. */
int printer_target_parse(const std::string &uri, PrinterTarget *target, std::string *error);

/* Asks for document-format-supported.  1 with *pwg (image/pwg-raster is
   listed) and *formats (the list, comma-separated); 0 with *error when the
   printer cannot be asked. */
int printer_query_formats(const PrinterTarget &target, bool *pwg, std::string *formats,
                          std::string *error);

/* Sends the PWG raster file at path as one job named jobName with the
   settings, ipp-attribute-fidelity false.  1 when the printer took it;
   0 with *error otherwise (outcome says whether it may have got it). */
int printer_print_job(const PrinterTarget &target, const std::string &path, const std::string &jobName,
                      const PrintSettings &settings, PrintOutcome *outcome, std::string *error);

/* The printer job's job-state as its keyword (pending, held, processing,
   processing-stopped, canceled, aborted, completed) with its reasons.
   1, or 0 with *error; *gone is true when the printer no longer knows
   the job. */
int printer_job_state(const PrinterTarget &target, int jobId, std::string *state, std::string *reasons,
                      bool *gone, std::string *error);

/* Looks among the printer's jobs for one named jobName.  1 with *jobId (0
   when there is none), or 0 with *error when the printer cannot be asked. */
int printer_find_job(const PrinterTarget &target, const std::string &jobName, int *jobId,
                     std::string *error);

/* True for the job-state keywords that end a job. */
bool printer_job_state_final(const std::string &state);

/* Shuts down the connection of a call in progress in another thread, so
   that it returns at once (used when the host stops). */
void printer_interrupt();

#endif
