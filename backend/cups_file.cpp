/*
 * cups_file.cpp - the print stream's buffered reader.
 */
#include "cups_file.h"

#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/*
 * 'cups_file_new()' - Allocate a zero-filled reader over fd.
 */
_cups_file_s *cups_file_new(int fd, int is_stdio)
{
  _cups_file_s *fp = (_cups_file_s *)calloc(1, sizeof(_cups_file_s));

  if (!fp)
    return NULL;
  fp->fd = fd;
  fp->mode = 'r';
  fp->is_stdio = is_stdio ? 1 : 0;
  return fp;
}

/*
 * 'cups_file_close()' - Free the reader; close fd unless it is stdin.
 */
void cups_file_close(_cups_file_s *fp)
{
  if (!fp)
    return;
  free(fp->printf_buf);
  if (!fp->is_stdio)
    close(fp->fd);
  free(fp);
}

/*
 * 'readRetrying()' - read(2), called again at once on EAGAIN and EINTR.
 */
static ssize_t readRetrying(int fd, void *buffer, size_t bytes)
{
  ssize_t n;

  while ((n = read(fd, buffer, bytes)) < 0)
    if (errno != EAGAIN && errno != EINTR)
      break;
  return n;
}

/*
 * 'cups_fill()' - Refill the buffer.
 *
 * The bytes of the old buffer are counted into bufpos first.  EAGAIN and
 * EINTR are retried at once; anything else, like the end of the input,
 * leaves an empty buffer with eof set and returns -1.
 */
int cups_fill(_cups_file_s *fp)
{
  ssize_t n;

  if (fp->ptr && fp->end)
    fp->bufpos += fp->end - fp->buf;

  n = readRetrying(fp->fd, fp->buf, sizeof(fp->buf));
  if (n > 0)
  {
    fp->ptr = fp->buf;
    fp->end = fp->buf + n;
    fp->eof = 0;
    return (int)n;
  }

  fp->ptr = fp->end = fp->buf;
  fp->eof = 1;
  return -1;
}

/*
 * 'readDirect()' - Read up to bytes bytes into the caller's buffer,
 * bypassing buf, with the bookkeeping of a fill that was used up at once.
 *
 * The buffer is empty when this is called.  Its bytes are retired into
 * bufpos as cups_fill() would, then the bytes read directly are counted in
 * both pos and bufpos, so buf stays an empty buffer that starts at the
 * next stream position.  The result and eof follow cups_fill(): the count
 * read, or -1 (eof set) at the end of the input or on an error.
 */
static long readDirect(_cups_file_s *fp, char *buffer, unsigned long bytes)
{
  ssize_t n;

  if (fp->ptr && fp->end)
    fp->bufpos += fp->end - fp->buf;
  fp->ptr = fp->end = fp->buf;

  n = readRetrying(fp->fd, buffer, bytes);
  if (n > 0)
  {
    fp->bufpos += n;
    fp->pos += n;
    fp->eof = 0;
    return (long)n;
  }
  fp->eof = 1;
  return -1;
}

/*
 * 'cupsFileRead()' - Read exactly bytes bytes unless the input ends first.
 *
 * What the buffer holds is copied out first.  A remainder smaller than the
 * buffer goes through cups_fill() (the rest of that fill stays buffered for
 * the command lines that follow); a larger one is read straight into the
 * caller's buffer, which hands out the same bytes in the same order with
 * fewer copies and fewer system calls.
 */
int cupsFileRead(_cups_file_s *fp, char *buffer, unsigned long bytes)
{
  unsigned long total = 0;

  if (!fp || !buffer || (fp->mode != 'r' && fp->mode != 's'))
    return -1;
  if (bytes == 0)
    return 0;
  if (bytes > (unsigned long)INT_MAX)
    return -1;

  while (bytes > 0)
  {
    unsigned long count;

    if (!fp->ptr || fp->ptr >= fp->end)
    {
      if (bytes >= sizeof(fp->buf))
      {
        long n = readDirect(fp, buffer, bytes);

        if (n <= 0)
          return total ? (int)total : -1;
        buffer += n;
        bytes -= (unsigned long)n;
        total += (unsigned long)n;
        continue;
      }
      if (cups_fill(fp) <= 0)
        return total ? (int)total : -1;
    }

    count = (unsigned long)(fp->end - fp->ptr);
    if (count > bytes)
      count = bytes;
    memcpy(buffer, fp->ptr, count);
    fp->ptr += count;
    fp->pos += (int64_t)count;
    buffer += count;
    bytes -= count;
    total += count;
  }
  return (int)total;
}

/*
 * 'cups_file_skip()' - Drop count bytes of the stream.
 *
 * Works a buffer at a time rather than a byte at a time; the bytes dropped
 * and the positions are those of taking them one by one.  A refill that
 * finds the end of the input ends the skip: taking the rest byte by byte
 * would only issue one failing read(2) per missing byte, and the stream
 * would end at the next command line read anyway.
 */
unsigned long cups_file_skip(_cups_file_s *fp, unsigned long count)
{
  unsigned long taken = 0;

  if (!fp || (fp->mode != 'r' && fp->mode != 's'))
    return 0;

  while (count > 0)
  {
    unsigned long avail;

    if (!fp->ptr || fp->ptr >= fp->end)
    {
      if (cups_fill(fp) <= 0)
        break;
    }
    avail = (unsigned long)(fp->end - fp->ptr);
    if (avail > count)
      avail = count;
    fp->ptr += avail;
    fp->pos += (int64_t)avail;
    count -= avail;
    taken += avail;
  }
  return taken;
}
