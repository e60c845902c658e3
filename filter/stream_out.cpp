/*
 * stream_out.cpp - the filter's buffered writer of print-stream bytes.
 */
#include "stream_out.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

/*
 * 'writeAll()' - Write count bytes to the descriptor, retrying after
 * signals and short writes.  Sets the failure state when it cannot.
 */
static int writeAll(StreamOut *out, const unsigned char *data, size_t count)
{
  while (count > 0)
  {
    if (out->fd < 0)
    {
      out->written += count;
      return 1;
    }
    ssize_t n = write(out->fd, data, count);
    if (n < 0)
    {
      if (errno == EINTR || errno == EAGAIN)
        continue;
      out->failed = 1;
      out->error = errno;
      return 0;
    }
    if (n == 0)
    {
      out->failed = 1;
      out->error = EIO;
      return 0;
    }
    data += n;
    count -= (size_t)n;
    out->written += (unsigned long long)n;
  }
  return 1;
}

/*
 * 'streamOutInit()' - Set up a writer to the descriptor fd.
 */
void streamOutInit(StreamOut *out, int fd)
{
  out->fd = fd;
  out->used = 0;
  out->written = 0;
  out->failed = 0;
  out->error = 0;
}

/*
 * 'streamOutFlush()' - Write out the buffered bytes.
 */
int streamOutFlush(StreamOut *out)
{
  if (out->failed)
    return 0;
  size_t used = out->used;
  out->used = 0;
  return writeAll(out, out->buf, used);
}

/*
 * 'streamOutWrite()' - Append bytes; a block larger than the buffer goes
 * out directly after what is buffered.
 */
int streamOutWrite(StreamOut *out, const void *data, size_t count)
{
  if (out->failed)
    return 0;
  if (count > sizeof(out->buf) - out->used)
  {
    if (!streamOutFlush(out))
      return 0;
    if (count > sizeof(out->buf))
      return writeAll(out, (const unsigned char *)data, count);
  }
  memcpy(out->buf + out->used, data, count);
  out->used += count;
  return 1;
}

/*
 * 'streamOutReserve()' - Room for count bytes at the end of the buffer,
 * flushing what is buffered when the free space is too small.
 */
unsigned char *streamOutReserve(StreamOut *out, size_t count)
{
  if (out->failed || count > sizeof(out->buf))
    return NULL;
  if (count > sizeof(out->buf) - out->used && !streamOutFlush(out))
    return NULL;
  return out->buf + out->used;
}

/*
 * 'streamOutCommit()' - Take count bytes of the reserved room into the
 * stream.
 */
void streamOutCommit(StreamOut *out, size_t count)
{
  out->used += count;
}

/*
 * 'streamOutLine()' - Append one formatted command line.  The backend
 * reads lines of at most 1023 bytes, so a longer one is a caller's bug
 * and is refused rather than split.
 */
int streamOutLine(StreamOut *out, const char *format, ...)
{
  char line[1025];
  va_list ap;
  va_start(ap, format);
  int n = vsnprintf(line, sizeof(line) - 1, format, ap);
  va_end(ap);
  if (n < 0 || n > 1023)
    return 0;
  line[n] = '\n';
  return streamOutWrite(out, line, (size_t)n + 1);
}
