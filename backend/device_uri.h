/*
 * device_uri.h - the options of the queue's device URI.
 *
 * CUPS hands a backend the queue's device URI twice: as argv[0] (without
 * any password in it) and in the DEVICE_URI variable.  Options follow the
 * URI's '?' as name=value pairs separated by '&'
 * ("CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page").
 * The one option known is raster=per-page: every page gets a raster of its
 * own.  Any other is named in one DEBUG line and ignored.
 */
#ifndef CORVANE_DEVICE_URI_H
#define CORVANE_DEVICE_URI_H

/* What the device URI asks for. */
struct device_uri_options_s
{
  int perPage; /* raster=per-page: one raster per page, not per job */
};

/* The device URI of this run: DEVICE_URI when set and not empty,
   otherwise argv0 when it has the form of a URI ("scheme://..."); null
   when there is none (the backend started by hand). */
const char *device_uri_of_run(const char *argv0);

/* Reads the options of uri (null: none) into options; each option it does
   not know is named in a DEBUG line. */
void device_uri_parse(const char *uri, device_uri_options_s *options);

#endif
