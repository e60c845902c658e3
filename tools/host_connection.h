/*
 * host_connection.h - one backend connection: one print job.
 *
 * serve_connection() reads the connection to its end, decodes every record
 * with the project's record decoder, checks what the decoder leaves to its
 * caller (the order of the bitmap records, the constant fields, fragments
 * that decompress to exactly their stated length and add up to whole
 * lines), rebuilds each page and writes it out as soon as its bitmap ends.
 *
 * Output per job, under the output folder: NNNN-<printer>/ with
 * page-001.png, page-002.png ... (not with --no-images) and job.json
 * (rewritten after every page, so that it is current even if the receiver
 * is killed).  With --forward the pages also go into document.pwg, the
 * document for the printer, and a complete job is handed to the delivery
 * thread once that file and its "pending" record are on disk; a job that
 * did not end is marked and kept, never delivered.  With --dump
 * nothing is written; every record is printed as one JSON line instead.
 *
 * The first malformed record ends the job: one error line names the job,
 * the record's index and byte offset and what was wrong; the connection is
 * closed, the pages finished before it are kept and job.json says
 * "failed".  A connection that ends before the document's end is kept as
 * "incomplete".
 */
#ifndef KIVPRINTER_HOST_CONNECTION_H
#define KIVPRINTER_HOST_CONNECTION_H

#include <stdint.h>

#include <mutex>
#include <string>

struct Delivery;

struct HostConfig
{
  std::string outDir = "received"; /* --out */
  bool dump = false;               /* --dump: JSON lines, no files */
  bool noImages = false;           /* --no-images: no PNG files */
  std::string forwardUri;          /* --forward: the printer; empty: none */
};

/* What every connection thread shares: the settings and the job counter. */
struct HostShared
{
  HostConfig config;
  Delivery *delivery = nullptr; /* with --forward: where complete jobs go */
  std::mutex lock;              /* guards the fields below */
  bool counterReady = false;
  unsigned nextJob = 1; /* first unused job number */
};

struct ConnectionResult
{
  bool hadBytes = false; /* the peer sent anything at all */
  bool complete = false; /* the document ended and nothing was wrong */
  bool failed = false;   /* a malformed record ended the job */
  unsigned job = 0;      /* job number (0: no byte arrived) */
  unsigned pages = 0;    /* pages rebuilt */
  std::string folder;    /* the job's folder (empty with --dump) */
};

/* Serves one connection until its end; does not close fd.  Thread-safe:
   any number run at once, each on its own descriptor. */
void serve_connection(int fd, HostShared *shared, ConnectionResult *result);

/* The printer name as a folder-name part: letters, digits, '.', '-' and
   '_' kept, everything else '_', at most 64 bytes, "unnamed" when empty. */
std::string folder_safe_name(const std::string &name);

#endif
