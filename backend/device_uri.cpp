/*
 * device_uri.cpp - reading the device URI's options.
 */
#include "device_uri.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/*
 * 'device_uri_of_run()' - The device URI CUPS handed this run, if any.
 */
const char *device_uri_of_run(const char *argv0)
{
  const char *uri = getenv("DEVICE_URI");

  if (uri && uri[0])
    return uri;
  if (argv0 && strstr(argv0, "://"))
    return argv0;
  return NULL;
}

/*
 * 'takeOption()' - One name=value pair of the query, length bytes at text.
 */
static void takeOption(const char *text, size_t length, device_uri_options_s *options)
{
  static const char perPage[] = "raster=per-page";

  if (length == sizeof(perPage) - 1 && !memcmp(text, perPage, length))
  {
    options->perPage = 1;
    return;
  }
  /* Bounded by the length given; an option is at most the rest of a URI. */
  fprintf(stderr, "DEBUG: CorvaneBackend - device URI option '%.*s' unknown, ignored\n",
          length > 1024 ? 1024 : (int)length, text);
}

/*
 * 'device_uri_parse()' - Read the options after the URI's '?'.
 *
 * The query ends at a '#' (a fragment) or at the end of the URI; empty
 * pairs ("a&&b", a final '&') are skipped without a word.
 */
void device_uri_parse(const char *uri, device_uri_options_s *options)
{
  const char *query;
  const char *end;

  memset(options, 0, sizeof(*options));
  if (!uri || !(query = strchr(uri, '?')))
    return;
  query++;
  end = query + strcspn(query, "#");
  while (query < end)
  {
    const char *amp = (const char *)memchr(query, '&', (size_t)(end - query));
    const char *stop = amp ? amp : end;

    if (stop > query)
      takeOption(query, (size_t)(stop - query), options);
    query = stop + (amp ? 1 : 0);
  }
}
