/*
 * job_setup.cpp - job set-up helpers for a backend that uses the queue's PPD
 * and the job's options.  The entry point itself does not call them.
 */
#include "job_setup.h"

#include <errno.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* The PPD interface of libcups is marked deprecated; it is still the way to
   read a queue's PPD and mark options in it. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

/*
 * 'Initialize()' - Take the job's arguments and options and open its PPD.
 *
 * With the wrong number of arguments job is left untouched.  When the PPD
 * cannot be opened job stays filled and the caller owns its options.
 */
ppd_file_t *Initialize(int argc, char **argv, job_data_t *job)
{
  ppd_file_t *ppd;
  const char *ppdName;

  if (argc != 6 && argc != 7)
  {
    fprintf(stderr, "Usage: %s job user title copies options [filename]\n", argv[0]);
    return NULL;
  }

  SetLocale();

  job->job_id = atoi(argv[1]);
  job->user = argv[2];
  job->title = argv[3];
  job->options = NULL;
  job->num_options = cupsParseOptions(argv[5], 0, &job->options);

  ppdName = getenv("PPD");
  ppd = ppdName ? ppdOpenFile(ppdName) : NULL;
  if (!ppd)
  {
    /* A missing $PPD is reported like a file that cannot be opened. */
    if (!ppdName)
      errno = ENOENT;
    fprintf(stderr, "ERROR: Unable to open PPD file: %s\n", strerror(errno));
    return NULL;
  }

  ppdMarkDefaults(ppd);
  cupsMarkOptions(ppd, job->num_options, job->options);
  return ppd;
}

#pragma GCC diagnostic pop

/*
 * 'SetLocale()' - Make the process's message language follow the job's.
 *
 * Linux has no per-application language preference store to update, so the
 * language lives only in the environment: $APPLE_LANGUAGE, when set, becomes
 * the GNU message language list ($LANGUAGE, which gettext consults first),
 * and setlocale(LC_MESSAGES, "") takes the rest from $LC_ALL,
 * $LC_MESSAGES or $LANG.
 */
void SetLocale(void)
{
  const char *language;

  setbuf(stderr, NULL);

  language = getenv("APPLE_LANGUAGE");
  if (!language)
    language = getenv("LANG");
  if (!language)
    return;

  if (getenv("APPLE_LANGUAGE"))
    setenv("LANGUAGE", language, 1);
  setlocale(LC_MESSAGES, "");
}

/*
 * 'GetStatus()' - Answer a status query: always ready.
 */
int GetStatus(ppd_file_t *ppd, double value)
{
  (void)ppd;
  (void)value;
  return 1;
}
