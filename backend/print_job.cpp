/*
 * print_job.cpp - job state set-up and the command loop.
 *
 * Placeholder until the command parser lands: the loop reads the stream to
 * its end without acting on it.
 */
#include "print_job.h"

#include <stdlib.h>
#include <string.h>

void print_job_init(print_job_s *job, int sock, const char *printerName, int copies)
{
  memset(job, 0, sizeof(*job));
  job->sock = sock;
  job->printerName = printerName;
  job->copies = copies;
}

int command_loop(print_job_s *job, _cups_file_s *fp)
{
  (void)job;
  while (cups_fill(fp) > 0)
    ;
  return 1;
}

void print_job_free_payload(print_job_s *job)
{
  free(job->namePayload);
  job->namePayload = NULL;
  job->nameLen = 0;
}
