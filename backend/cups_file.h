/*
 * cups_file.h - the print stream's buffered reader.
 *
 * A small reader of our own over a file descriptor: a 4096-byte buffer,
 * exact reads of n bytes for raster rows, skips of bytes that are to be
 * dropped, and the position bookkeeping the command line reader relies on.
 *
 * Invariant kept by every operation: when ptr is set, bufpos + (ptr - buf)
 * == pos, the stream position of the next byte handed out.
 *
 * Behind buf sits a larger read-ahead block: the descriptor is read in
 * blocks of CUPS_FILE_AHEAD_SIZE bytes, and buf is refilled from the block
 * (a raster row costs one copy and no system call, instead of a read(2)
 * for every 4096 bytes).  The stream's bytes are thus, in order: those
 * handed out (pos of them), buf from ptr to end, the block from aheadPtr to
 * aheadEnd, and what the descriptor has not given yet.  Every operation
 * hands out the same bytes in the same order as reading the descriptor
 * 4096 bytes at a time would; only the number of system calls differs.
 */
#ifndef CORVANE_CUPS_FILE_H
#define CORVANE_CUPS_FILE_H

#include <stdint.h>
#include <stddef.h>

struct _cups_file_s
{
  int fd;             /* input descriptor */
  char mode;          /* 'r' (or 's'); anything else reads as end of input */
  char compressed;    /* always 0 here */
  char is_stdio;      /* 1 when fd is the standard input: never closed */
  char eof;           /* 1 after a fill hit the end of input or an error */
  char buf[4096];     /* read buffer */
  char *ptr;          /* next unread byte in buf; null until the first fill */
  char *end;          /* end of the valid bytes; null until the first fill */
  int64_t pos;        /* stream position: bytes handed out so far */
  int64_t bufpos;     /* stream position of buf[0] */
  char *printf_buf;   /* formatted-output buffer: never set, freed at close */
  size_t printf_size; /* its size: always 0 */

  /* Read-ahead block, allocated at the first fill and freed at close.
     When it cannot be allocated the reader reads the descriptor straight
     into buf (or the caller's buffer), as a reader without one would. */
  char *ahead;    /* CUPS_FILE_AHEAD_SIZE bytes, or null */
  char *aheadPtr; /* next byte of the block not yet taken */
  char *aheadEnd; /* end of the valid bytes in the block */
};

/* Size of the read-ahead block: large enough that the system calls cost
   next to nothing per byte, small enough to stay in a core's cache. */
#define CUPS_FILE_AHEAD_SIZE (256u * 1024u)

/* Allocates a zero-filled reader over fd (mode 'r'); null when out of memory. */
_cups_file_s *cups_file_new(int fd, int is_stdio);

/* Frees the reader (and its read-ahead block) and closes its descriptor
   unless it is the standard input. */
void cups_file_close(_cups_file_s *fp);

/* Refills buf with up to 4096 bytes: the number of bytes put there, or -1
   at end of input or on error. */
int cups_fill(_cups_file_s *fp);

/* Refills buf for the command line reader: like cups_fill(), but when the
   read-ahead block holds a new line within the next 4096 bytes, buf is
   filled only up to and including it, so that the raw bytes that follow a
   command line stay in the block and go from there straight to where they
   belong. */
int cups_fill_line(_cups_file_s *fp);

/* Reads exactly bytes bytes unless the input ends first: the count read, 0
   when 0 were asked, -1 on a bad argument (null reader or buffer, a mode
   other than 'r' or 's', more than INT_MAX bytes) or when nothing could be
   read.  Buffered bytes are copied first, then read-ahead bytes; a
   remainder of a read-ahead block's size or more is read straight into the
   caller's buffer. */
int cupsFileRead(_cups_file_s *fp, char *buffer, unsigned long bytes);

/* Takes count bytes from the stream without copying them, when they lie
   together in what has been read already (buf or the read-ahead block):
   a pointer to them, valid until the next operation on the reader.  Null
   (and nothing taken) when they do not, when count is 0 or the reader
   cannot be read; cupsFileRead() then takes them as usual.  Positions
   move as cupsFileRead() moves them. */
const unsigned char *cups_file_take_direct(_cups_file_s *fp, size_t count);

/* Takes count bytes from the stream and drops them, refilling as needed
   (bytes in buf and in the read-ahead block are dropped where they are).
   Once a refill finds the end of the input the skip stops: no further
   read could bring the missing bytes.  pos counts the bytes actually
   taken, which is also the result. */
unsigned long cups_file_skip(_cups_file_s *fp, unsigned long count);

#endif
