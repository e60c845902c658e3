/*
 * job_setup.h - job set-up helpers: arguments and options, the queue's PPD,
 * and the process's language.
 */
#ifndef CORVANE_JOB_SETUP_H
#define CORVANE_JOB_SETUP_H

#include <cups/cups.h>
#include <cups/ppd.h>

struct job_data_t
{
  int job_id;             /* atoi(argv[1]) */
  char *user;             /* argv[2], not copied */
  char *title;            /* argv[3], not copied */
  int num_options;        /* count from cupsParseOptions */
  cups_option_t *options; /* owned by the caller (cupsFreeOptions) */
};

/* Fills job from the arguments, opens $PPD and marks its defaults and the
   job's options.  The marked PPD (the caller closes it), or null. */
ppd_file_t *Initialize(int argc, char **argv, job_data_t *job);

/* Unbuffered standard error; messages in the language of $APPLE_LANGUAGE or
   $LANG. */
void SetLocale(void);

/* Status query for a PPD: always 1. */
int GetStatus(ppd_file_t *ppd, double value);

#endif
