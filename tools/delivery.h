/*
 * delivery.h - forwarding complete jobs to an IPP printer (--forward).
 *
 * One delivery thread per host serves the spool (the output folder): it
 * takes the jobs in the order they were queued, sends each one's PWG
 * raster document with Print-Job, then watches the printer's job until it
 * ends.  The receiving threads only queue a job once its document and its
 * "pending" record are on disk, so a slow or absent printer never delays a
 * backend, and a host stopped at any moment finds every unfinished
 * delivery again when it starts (delivery_start() scans the spool).
 *
 * When the printer cannot be reached, refuses the job or aborts it, the
 * next attempt waits 1 s, then 2, 4 ... up to the retry limit (60 s by
 * default); each attempt is one log line.  A Print-Job whose answer was
 * lost is looked up on the printer by its unique job-name before it is
 * sent again, so a job is never printed twice because of a dropped
 * connection or a restart.
 */
#ifndef KIVPRINTER_DELIVERY_H
#define KIVPRINTER_DELIVERY_H

#include <string>

#include "delivery_state.h"

struct Delivery;

struct DeliveryConfig
{
  std::string uri;            /* --forward */
  std::string spoolDir;       /* the output folder: one job folder each */
  unsigned retryMax = 60;     /* --retry-max: longest wait between attempts, s */
  unsigned pollMillis = 1000; /* how often a printer job's state is asked */
};

/* Checks the URI, starts the delivery thread, and queues the unfinished
   deliveries found in the spool (in job order).  Null after an error line
   when the URI is not usable. */
Delivery *delivery_start(const DeliveryConfig &config);

/* Queues a job whose folder holds its document and a "pending" record. */
void delivery_enqueue(Delivery *delivery, const std::string &folder);

/* True when no queued job still waits for the printer. */
bool delivery_idle(Delivery *delivery);

/* Stops the thread (an attempt under way is abandoned; its record stays
   open and is resumed by the next start) and frees everything. */
void delivery_stop(Delivery *delivery);

/* The job-name a job is sent with: the printer's and the job's names, and
   a token that makes it unique on the printer. */
std::string delivery_job_name(const std::string &printer, unsigned job, const std::string &token);

/* The initial record of a complete job: "pending" with the printer and
   the settings of its first page, or "empty" without pages. */
DeliveryState delivery_new_state(const std::string &uri, unsigned job, const std::string &printer,
                                 const PrintSettings &settings, unsigned pages);

#endif
