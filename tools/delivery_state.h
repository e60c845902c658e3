/*
 * delivery_state.h - a job's delivery record: the file "delivery.state" in
 * the job's folder, and its copy in job.json.
 *
 * The file is the truth a restarted host resumes from.  It is small text,
 * one "key=value" per line, rewritten whole through a temporary file and a
 * rename, so that it always holds either the old or the new state.  The
 * states:
 *
 *   pending      complete job, document spooled, waiting for the printer
 *   sending      a Print-Job was under way; whether the printer got it is
 *                not known (looked up on the printer before sending again)
 *   sent         the printer took it as its job printerJobId; its end is
 *                being watched
 *   delivered    the printer's job completed
 *   canceled     the printer's job was canceled there (not sent again)
 *   unsupported  the printer does not accept PWG raster: kept, tried again
 *                when the host starts again
 *   incomplete   the job never ended (no document end) or failed: kept,
 *                never delivered
 *   empty        a complete job without pages: nothing to deliver
 */
#ifndef KIVPRINTER_DELIVERY_STATE_H
#define KIVPRINTER_DELIVERY_STATE_H

#include <string>
#include <vector>

#include "pwg_spool.h"

#define DELIVERY_STATE_FILE "delivery.state"

struct DeliveryState
{
  std::string state;      /* one of the words above */
  unsigned job = 0;       /* the host's job number */
  std::string printer;    /* the printer name the job carried, UTF-8 */
  std::string printerUri; /* where it goes */
  std::string jobName;    /* job-name sent; unique, so a lost answer can be looked up */
  PrintSettings settings; /* copies, sides, media, print-color-mode */
  unsigned pages = 0;
  unsigned attempts = 0; /* Print-Job attempts so far */
  int printerJobId = 0;  /* the printer's job-id, 0: none yet */
  std::string jobState;  /* the printer job's last job-state keyword */
  std::string ippStatus; /* the status of the printer's last answer */
  std::string ignored;   /* attributes the printer ignored or changed, comma-separated */
  std::string lastError; /* why the last attempt failed (empty: none) */
  std::string note;      /* why the job is not delivered (incomplete, empty) */
};

/* True for the states that still need the printer. */
bool delivery_state_open(const std::string &state);

/* Reads folder/delivery.state.  1, or 0 when it is missing or unreadable
   (nothing logged: a folder without it is simply not the spool's). */
int delivery_state_read(const std::string &folder, DeliveryState *state);

/* The record from the text of a delivery.state file: unknown keys and
   lines without '=' are skipped, numbers that are not plain decimals of at
   most 9 digits read as 0.  1 when it names a state. */
int delivery_state_parse(const std::string &text, DeliveryState *state);

/* The text of a delivery.state file for the record. */
std::string delivery_state_text(const DeliveryState &state);

/* Writes folder/delivery.state atomically and durably, then (unless
   updateJobJson is false) puts the same record into the "delivery" line of
   folder/job.json.  1, or 0 after an error line. */
int delivery_state_write(const std::string &folder, const DeliveryState &state, bool updateJobJson = true);

/* The record as the JSON object job.json carries. */
std::string delivery_state_json(const DeliveryState &state);

/* Replaces the "delivery" line of the job.json text (adds it after
   "note" when missing).  False when the text has neither. */
bool job_json_put_delivery(std::string *jobJson, const std::string &deliveryJson);

#endif
