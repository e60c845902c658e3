/*
 * cups_file.h - the print stream's buffered reader.
 *
 * A small reader of our own over a file descriptor: a 4096-byte buffer,
 * exact reads of n bytes for raster rows, skips of bytes that are to be
 * dropped, and the position bookkeeping the command line reader relies on.
 *
 * Invariant kept by every operation: when ptr is set, bufpos + (ptr - buf)
 * == pos, the stream position of the next byte handed out.
 */
#ifndef CORVANE_CUPS_FILE_H
#define CORVANE_CUPS_FILE_H

#include <stdint.h>
#include <stddef.h>

struct _cups_file_s
{
  int fd;               /* input descriptor */
  char mode;            /* 'r' (or 's'); anything else reads as end of input */
  char compressed;      /* always 0 here */
  char is_stdio;        /* 1 when fd is the standard input: never closed */
  char eof;             /* 1 after a fill hit the end of input or an error */
  char buf[4096];       /* read buffer */
  char *ptr;            /* next unread byte in buf; null until the first fill */
  char *end;            /* end of the valid bytes; null until the first fill */
  int64_t pos;          /* stream position: bytes handed out so far */
  int64_t bufpos;       /* stream position of buf[0] */
  char *printf_buf;     /* formatted-output buffer: never set, freed at close */
  size_t printf_size;   /* its size: always 0 */
};

/* Allocates a zero-filled reader over fd (mode 'r'); null when out of memory. */
_cups_file_s *cups_file_new(int fd, int is_stdio);

/* Frees the reader and closes its descriptor unless it is the standard input. */
void cups_file_close(_cups_file_s *fp);

/* Refills buf: the number of bytes read, or -1 at end of input or on error. */
int cups_fill(_cups_file_s *fp);

/* Reads exactly bytes bytes unless the input ends first: the count read, 0
   when 0 were asked, -1 on a bad argument (null reader or buffer, a mode
   other than 'r' or 's', more than INT_MAX bytes) or when nothing could be
   read.  Buffered bytes are copied first; a remainder of a buffer's size or
   more is read straight into the caller's buffer. */
int cupsFileRead(_cups_file_s *fp, char *buffer, unsigned long bytes);

/* Takes count bytes from the stream and drops them, refilling as needed.
   Once a refill finds the end of the input the skip stops: no further
   read could bring the missing bytes.  pos counts the bytes actually
   taken, which is also the result. */
unsigned long cups_file_skip(_cups_file_s *fp, unsigned long count);

#endif
