/*
 * page_raster.h - the page raster: RASTER allocates it, LINE fills it.
 *
 * One raster per job, allocated by the first valid RASTER and kept for the
 * rest of the job: it is never freed, rewound or cleared between pages.  A
 * second RASTER is refused because a raster exists; later pages' lines are
 * stored after the first page's, and once the raster is full further line
 * data is read from the stream and dropped.  The transmission always sends
 * rows counted from the start of the raster.
 */
#ifndef CORVANE_PAGE_RASTER_H
#define CORVANE_PAGE_RASTER_H

#include "cups_file.h"
#include "print_job.h"

/* RASTER width height depth: allocates the raster, white (0xFF) from then
   on as far as anyone reading it can tell (see rasterClean), or logs why
   not.  value is the command's value, null when none.
   A raster whose depth x width x height does not fit 32 bits, or whose
   allocation fails, is refused with the same line as a bad depth, and no
   raster is left. */
void raster_command(print_job_s *job, const char *value);

/* Clears the part of the raster that no LINE has written yet to white, so
   that every byte holds its value; called before the raster is read (at
   ENDPAGE) and when the command loop ends.  Nothing to do when there is no
   raster or it has settled already. */
void raster_settle(print_job_s *job);

/* LINE n: copies the n bytes that follow in the stream to the raster at
   its cursor (as many as fit; the rest are read and dropped) and counts
   the line.  Without a value or a raster nothing is read.  A value that is
   not a number, is negative or is above 2147483647 is rejected with a line
   saying why: nothing is read and no line is counted. */
void line_command(print_job_s *job, const char *value, _cups_file_s *fp);

#endif
