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
  free(fp->ahead);
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
 * 'aheadCount()' - Bytes waiting in the read-ahead block.
 */
static size_t aheadCount(const _cups_file_s *fp)
{
  return fp->ahead ? (size_t)(fp->aheadEnd - fp->aheadPtr) : 0;
}

/*
 * 'fillAhead()' - Read the next block of the stream into the read-ahead
 * block, which must be empty.
 *
 * The block is allocated at the first call.  Returns the count read; 0 at
 * the end of the input or on an error (the block stays empty), and -1
 * when there is no block (allocation failed): the caller then reads the
 * descriptor itself.
 */
static ssize_t fillAhead(_cups_file_s *fp)
{
  ssize_t n;

  if (!fp->ahead)
  {
    fp->ahead = (char *)malloc(CUPS_FILE_AHEAD_SIZE);
    if (!fp->ahead)
      return -1;
  }
  fp->aheadPtr = fp->aheadEnd = fp->ahead;
  n = readRetrying(fp->fd, fp->ahead, CUPS_FILE_AHEAD_SIZE);
  if (n <= 0)
    return 0;
  fp->aheadEnd = fp->ahead + n;
  return n;
}

/*
 * 'fillBuffer()' - Refill buf with at most limit (1..4096) bytes, or up to
 * and including the first new line when toNewLine is set.
 *
 * The bytes of the old buffer are counted into bufpos first.  The bytes
 * come from the read-ahead block, which is refilled when empty; without a
 * block, buf is read from the descriptor directly.  EAGAIN and EINTR are
 * retried at once; anything else, like the end of the input, leaves an
 * empty buffer with eof set and returns -1.
 */
static int fillBuffer(_cups_file_s *fp, int toNewLine)
{
  ssize_t n = 0;

  if (fp->ptr && fp->end)
    fp->bufpos += fp->end - fp->buf;

  if (aheadCount(fp) == 0 && (n = fillAhead(fp)) <= 0)
  {
    /* The end of the input (n is 0), or no block to read into. */
    if (n < 0)
      n = readRetrying(fp->fd, fp->buf, sizeof(fp->buf));
  }
  else
  {
    size_t count = aheadCount(fp);

    if (count > sizeof(fp->buf))
      count = sizeof(fp->buf);
    if (toNewLine)
    {
      const char *nl = (const char *)memchr(fp->aheadPtr, '\n', count);

      if (nl)
        count = (size_t)(nl - fp->aheadPtr) + 1;
    }
    memcpy(fp->buf, fp->aheadPtr, count);
    fp->aheadPtr += count;
    n = (ssize_t)count;
  }

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
 * 'cups_fill()' - Refill the buffer with up to 4096 bytes.
 */
int cups_fill(_cups_file_s *fp)
{
  return fillBuffer(fp, 0);
}

/*
 * 'cups_fill_line()' - Refill the buffer up to the next new line.
 */
int cups_fill_line(_cups_file_s *fp)
{
  return fillBuffer(fp, 1);
}

/*
 * 'retireBuffer()' - Count the bytes of buf (all taken) into bufpos and
 * leave buf empty, as a fill that was used up at once would.
 *
 * Called before bytes are handed out from elsewhere than buf, which is
 * empty then; those bytes are later counted in both pos and bufpos, so buf
 * stays an empty buffer that starts at the next stream position.
 */
static void retireBuffer(_cups_file_s *fp)
{
  if (fp->ptr && fp->end)
    fp->bufpos += fp->end - fp->buf;
  fp->ptr = fp->end = fp->buf;
}

/*
 * 'takeOutside()' - Account for count bytes handed out from outside buf.
 */
static void takeOutside(_cups_file_s *fp, size_t count)
{
  fp->bufpos += (int64_t)count;
  fp->pos += (int64_t)count;
  fp->eof = 0;
}

/*
 * 'takeBuffered()' - Hand out up to max bytes of what has been read
 * already: buf first, then the read-ahead block.
 *
 * The bytes are copied to dst, or dropped where they lie when dst is null
 * (a skip).  Returns their count; 0 when buf and the block are both empty.
 */
static size_t takeBuffered(_cups_file_s *fp, char *dst, size_t max)
{
  size_t count;

  if (fp->ptr && fp->ptr < fp->end)
  {
    count = (size_t)(fp->end - fp->ptr);
    if (count > max)
      count = max;
    if (dst)
      memcpy(dst, fp->ptr, count);
    fp->ptr += count;
    fp->pos += (int64_t)count;
    return count;
  }
  count = aheadCount(fp);
  if (count == 0)
    return 0;
  if (count > max)
    count = max;
  retireBuffer(fp);
  if (dst)
    memcpy(dst, fp->aheadPtr, count);
  fp->aheadPtr += count;
  takeOutside(fp, count);
  return count;
}

/*
 * 'refillToTake()' - Read more of the stream once buf and the block are
 * empty: into the block, or into buf when there is no block.
 *
 * Returns 1 when bytes came; 0 at the end of the input or on an error,
 * leaving buf empty and eof set as a failed fill does.
 */
static int refillToTake(_cups_file_s *fp)
{
  ssize_t n = fillAhead(fp);

  if (n > 0 || (n < 0 && cups_fill(fp) > 0))
    return 1;
  retireBuffer(fp);
  fp->eof = 1;
  return 0;
}

/*
 * 'cupsFileRead()' - Read exactly bytes bytes unless the input ends first.
 *
 * What buf holds is copied out first, then what the read-ahead block
 * holds.  A remainder of a block's size or more is read straight into the
 * caller's buffer (fewer copies, and the same bytes in the same order); a
 * smaller one refills the block, whose rest stays there for what follows.
 * Without a block, buf is refilled instead and remainders of a buffer's
 * size or more are read directly.
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
    unsigned long count = (unsigned long)takeBuffered(fp, buffer, (size_t)bytes);

    if (count == 0)
    {
      if (bytes < (fp->ahead ? CUPS_FILE_AHEAD_SIZE : sizeof(fp->buf)))
      {
        /* A small remainder refills the block; its rest stays there. */
        if (!refillToTake(fp))
          break;
        continue;
      }

      /* A large remainder: straight from the descriptor. */
      ssize_t n;

      retireBuffer(fp);
      n = readRetrying(fp->fd, buffer, bytes);
      if (n <= 0)
      {
        fp->eof = 1;
        break;
      }
      count = (unsigned long)n;
      takeOutside(fp, count);
    }
    buffer += count;
    bytes -= count;
    total += count;
  }
  if (total == 0)
    return -1;
  return (int)total;
}

/*
 * 'cups_file_take_direct()' - Take count buffered bytes where they lie.
 *
 * The same accounting as takeBuffered() taking them, without the copy:
 * the caller reads them in place (a raster row on its way to the raster
 * is turned around as it is copied, in one pass).
 */
const unsigned char *cups_file_take_direct(_cups_file_s *fp, size_t count)
{
  const char *p;

  if (!fp || count == 0 || (fp->mode != 'r' && fp->mode != 's'))
    return NULL;
  if (fp->ptr && fp->ptr < fp->end)
  {
    if ((size_t)(fp->end - fp->ptr) < count)
      return NULL;
    p = fp->ptr;
    fp->ptr += count;
    fp->pos += (int64_t)count;
    return (const unsigned char *)p;
  }
  if (aheadCount(fp) < count)
    return NULL;
  retireBuffer(fp);
  p = fp->aheadPtr;
  fp->aheadPtr += count;
  takeOutside(fp, count);
  return (const unsigned char *)p;
}

/*
 * 'cups_file_skip()' - Drop count bytes of the stream.
 *
 * Works a block at a time rather than a byte at a time: bytes in buf and
 * in the read-ahead block are dropped where they lie, and the block is
 * refilled as often as needed.  The bytes dropped and the positions are
 * those of taking them one by one.  A refill that finds the end of the
 * input ends the skip: taking the rest byte by byte would only issue one
 * failing read(2) per missing byte, and the stream would end at the next
 * command line read anyway.
 */
unsigned long cups_file_skip(_cups_file_s *fp, unsigned long count)
{
  unsigned long taken = 0;

  if (!fp || (fp->mode != 'r' && fp->mode != 's'))
    return 0;

  while (count > 0)
  {
    unsigned long avail = (unsigned long)takeBuffered(fp, NULL, (size_t)count);

    if (avail == 0)
    {
      if (!refillToTake(fp))
        break;
      continue;
    }
    count -= avail;
    taken += avail;
  }
  return taken;
}
