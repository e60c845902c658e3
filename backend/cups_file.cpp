/*
 * cups_file.cpp - the print stream's buffered reader.
 */
#include "cups_file.h"

#include <errno.h>
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
 * 'cups_fill()' - Refill the buffer.
 *
 * EAGAIN and EINTR are retried at once; anything else, like the end of the
 * input, leaves an empty buffer with eof set and returns -1.
 */
int cups_fill(_cups_file_s *fp)
{
  ssize_t n;

  if (fp->ptr && fp->end)
    fp->bufpos += fp->end - fp->buf;

  while ((n = read(fp->fd, fp->buf, sizeof(fp->buf))) < 0)
    if (errno != EAGAIN && errno != EINTR)
      break;

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
 * 'cupsFileRead()' - Read exactly bytes bytes unless the input ends first.
 */
int cupsFileRead(_cups_file_s *fp, char *buffer, unsigned long bytes)
{
  unsigned long total = 0;

  if (!fp || !buffer || (fp->mode != 'r' && fp->mode != 's'))
    return -1;
  if (bytes == 0)
    return 0;

  while (bytes > 0)
  {
    unsigned long count;

    if (fp->ptr >= fp->end)
      if (cups_fill(fp) <= 0)
        return total ? (int)total : -1;

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
