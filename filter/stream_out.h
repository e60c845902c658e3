/*
 * stream_out.h - the filter's buffered writer of print-stream bytes.
 *
 * Bytes collect in a fixed buffer and go to the descriptor with write()
 * when it fills or on a flush.  A failed write (a closed pipe included:
 * the filter ignores SIGPIPE) is remembered with its errno; every later
 * call then does nothing, so the caller checks once per row or page.
 * A descriptor below 0 discards the bytes and only counts them (the fuzz
 * target and the benchmark use it).
 */
#ifndef CORVANE_FILTER_STREAM_OUT_H
#define CORVANE_FILTER_STREAM_OUT_H

#include <stddef.h>

#define STREAM_OUT_BUFFER 65536

struct StreamOut
{
  int fd;                               /* where the bytes go; below 0: discarded */
  size_t used;                          /* bytes waiting in buf */
  unsigned long long written;           /* bytes handed to the descriptor so far */
  int failed;                           /* 1 after a failed write */
  int error;                            /* errno of that write */
  unsigned char buf[STREAM_OUT_BUFFER]; /* bytes not yet written */
};

/* Sets up out to write to fd. */
void streamOutInit(StreamOut *out, int fd);

/* Appends count bytes; 1 on success, 0 once a write has failed. */
int streamOutWrite(StreamOut *out, const void *data, size_t count);

/* Room for count bytes at the end of the buffer, for a caller that builds
   a block in place (a row read straight into the buffer saves copying it
   there): flushes first when the free space is short.  Null once a write
   has failed or when count exceeds the whole buffer.  Nothing is sent
   until streamOutCommit() says how much of the room was filled. */
unsigned char *streamOutReserve(StreamOut *out, size_t count);

/* Marks the first count bytes of the room that streamOutReserve() gave
   as part of the stream. */
void streamOutCommit(StreamOut *out, size_t count);

/* Appends one text line made with printf-style formatting ("\n" added);
   1 on success, 0 once a write has failed or the line is over 1023 bytes. */
int streamOutLine(StreamOut *out, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* Writes out the buffered bytes; 1 on success, 0 on failure. */
int streamOutFlush(StreamOut *out);

#endif
