/*
 * rc_decoder.cpp - decode, check and decompress RCPACKET records.  See
 * rc_decoder.h for the interface.
 */
#include "rc_decoder.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <lzf.h>

/*
 * 'rc_decoder_init()' - Start at stream offset 0 with the default limits.
 */
void rc_decoder_init(rc_decoder *dec)
{
  memset(dec, 0, sizeof(*dec));
  dec->maxNameLen = RC_DEFAULT_MAX_NAMELEN;
  dec->maxTotalLength = RC_DEFAULT_MAX_TOTAL_LENGTH;
}

/*
 * 'fail()' - Record the decoder's error: "record N at offset O: <what>".
 */
static int fail(rc_decoder *dec, const char *format, ...)
{
  char what[200];
  va_list ap;

  va_start(ap, format);
  vsnprintf(what, sizeof(what), format, ap);
  va_end(ap);
  snprintf(dec->error, sizeof(dec->error), "record %lu at offset %llu: %s",
           (unsigned long)dec->records, (unsigned long long)dec->offset, what);
  dec->failed = 1;
  return RC_DECODE_ERROR;
}

/*
 * 'loadS16()' - Read a signed little-endian 16-bit value.  The two bytes are
 * reinterpreted arithmetically, not by converting an out-of-range value.
 */
static int16_t loadS16(const unsigned char *p)
{
  unsigned int v = rc_load16(p);

  return (int16_t)(v >= 0x8000u ? (int)v - 0x10000 : (int)v);
}

/*
 * 'decodeFields()' - Fill the record's type-specific fields from its fixed
 * part (p holds at least rec->fixedSize bytes).
 */
static void decodeFields(rc_record *rec, const unsigned char *p)
{
  switch (rec->id)
  {
    case RCPACKETID_PRN_PAGE_START:
      rec->page.fields = rc_load32(p + 8);
      rec->page.orientation = loadS16(p + 12);
      rec->page.paperSize = loadS16(p + 14);
      rec->page.paperLength = loadS16(p + 16);
      rec->page.paperWidth = loadS16(p + 18);
      rec->page.scale = loadS16(p + 20);
      rec->page.copies = loadS16(p + 22);
      rec->page.defaultSource = loadS16(p + 24);
      rec->page.printQuality = loadS16(p + 26);
      rec->page.color = loadS16(p + 28);
      rec->page.duplex = loadS16(p + 30);
      rec->page.collate = loadS16(p + 32);
      memcpy(rec->page.reserved, p + 34, sizeof(rec->page.reserved));
      break;
    case RCPACKETID_PRN_BITMAP_HDR:
      rec->bitmap.width = rc_load32(p + 8);
      rec->bitmap.height = rc_load32(p + 12);
      rec->bitmap.constant = rc_load32(p + 16);
      rec->bitmap.xResolution = rc_load32(p + 20);
      rec->bitmap.yResolution = rc_load32(p + 24);
      break;
    case RCPACKETID_PRN_BITMAP_FRAGMENT:
      rec->fragment.uncompressedLength = rc_load32(p + 8);
      rec->fragment.constant = rc_load32(p + 12);
      break;
    default:
      break;
  }
}

/*
 * 'rc_decode_next()' - Decode and check the record at the start of buf.
 *
 * The checks come in the order the bytes arrive: the header (id, total
 * length bounds) as soon as its 8 bytes are there, nameLen and the exact
 * total as soon as the fixed part is there, the payload's terminator once
 * the whole record is there.  So a corrupt header is reported without
 * waiting for bytes that may never come.
 */
int rc_decode_next(rc_decoder *dec, const unsigned char *buf, size_t len,
                   rc_record *rec, size_t *used, size_t *needed)
{
  uint32_t id, total, fixed, nameLen;

  if (used)
    *used = 0;
  if (needed)
    *needed = 0;
  if (dec->failed)
    return RC_DECODE_ERROR;

  if (len < RCPACKET_HEADER_SIZE)
  {
    if (needed)
      *needed = RCPACKET_HEADER_SIZE;
    return RC_DECODE_NEED_MORE;
  }

  id = rc_load32(buf);
  total = rc_load32(buf + 4);
  fixed = rc_fixed_size(id);
  if (!fixed)
    return fail(dec, "unknown packet id %lu (0x%08lX)", (unsigned long)id, (unsigned long)id);
  if (total < fixed)
    return fail(dec, "%s total length %lu is shorter than its %lu-byte fixed part",
                rc_record_name(id), (unsigned long)total, (unsigned long)fixed);
  if (total > dec->maxTotalLength)
    return fail(dec, "%s total length %lu exceeds the limit of %lu bytes",
                rc_record_name(id), (unsigned long)total, (unsigned long)dec->maxTotalLength);

  if (len < fixed)
  {
    if (needed)
      *needed = fixed;
    return RC_DECODE_NEED_MORE;
  }

  /* nameLen is the last field of every fixed part. */
  nameLen = rc_load32(buf + fixed - 4);
  if (nameLen & 1u)
    return fail(dec, "%s nameLen %lu is odd: the payload is made of 16-bit units",
                rc_record_name(id), (unsigned long)nameLen);
  if (nameLen > dec->maxNameLen)
    return fail(dec, "%s nameLen %lu exceeds the limit of %lu bytes",
                rc_record_name(id), (unsigned long)nameLen, (unsigned long)dec->maxNameLen);
  if (id == RCPACKETID_PRN_BITMAP_FRAGMENT)
  {
    if (total - fixed < nameLen)
      return fail(dec, "%s total length %lu is shorter than fixed part %lu + nameLen %lu",
                  rc_record_name(id), (unsigned long)total, (unsigned long)fixed,
                  (unsigned long)nameLen);
  }
  else if (total - fixed != nameLen)
    return fail(dec, "%s total length %lu is not fixed part %lu + nameLen %lu",
                rc_record_name(id), (unsigned long)total, (unsigned long)fixed,
                (unsigned long)nameLen);

  if (len < total)
  {
    if (needed)
      *needed = total;
    return RC_DECODE_NEED_MORE;
  }

  if (nameLen)
  {
    const unsigned char *payload = buf + fixed;
    uint32_t i;

    for (i = 0; i < nameLen; i += 2)
      if (payload[i] == 0 && payload[i + 1] == 0)
        break;
    if (i >= nameLen)
      return fail(dec, "%s printer-name payload of %lu bytes has no 16-bit terminator",
                  rc_record_name(id), (unsigned long)nameLen);
  }

  memset(rec, 0, sizeof(*rec));
  rec->id = id;
  rec->totalLength = total;
  rec->offset = dec->offset;
  rec->index = dec->records;
  rec->fixedSize = fixed;
  rec->nameLen = nameLen;
  rec->payload = nameLen ? buf + fixed : NULL;
  decodeFields(rec, buf);
  if (id == RCPACKETID_PRN_BITMAP_FRAGMENT)
  {
    rec->dataLength = total - fixed - nameLen;
    rec->data = buf + fixed + nameLen;
  }

  dec->offset += total;
  dec->records++;
  if (used)
    *used = total;
  return RC_DECODE_RECORD;
}

/*
 * 'rc_decoder_finish()' - Check that the stream ended between records.
 */
int rc_decoder_finish(rc_decoder *dec, size_t remaining)
{
  if (dec->failed)
    return 0;
  if (remaining == 0)
    return 1;
  fail(dec, "stream ends inside the record: %lu byte(s) left undecoded",
       (unsigned long)remaining);
  return 0;
}

/*
 * 'setError()' - Format a message into a caller's buffer, if it has one.
 */
static void setError(char *error, size_t errorSize, const char *format, ...)
{
  va_list ap;

  if (!error || !errorSize)
    return;
  va_start(ap, format);
  vsnprintf(error, errorSize, format, ap);
  va_end(ap);
}

/*
 * 'rc_decompress_fragment()' - Decompress a fragment's LZF block.
 *
 * The output capacity handed to lzf_decompress is exactly the stated
 * length: data that would decompress to more fails with E2BIG there, data
 * that decompresses to less is caught by comparing the result.
 */
int rc_decompress_fragment(const rc_record *rec, unsigned char *out, size_t capacity,
                           char *error, size_t errorSize)
{
  uint32_t stated;
  unsigned int got;

  if (!rec || rec->id != RCPACKETID_PRN_BITMAP_FRAGMENT)
  {
    setError(error, errorSize, "record is not a bitmap fragment");
    return 0;
  }
  stated = rec->fragment.uncompressedLength;
  if (stated == 0)
  {
    setError(error, errorSize, "fragment %lu states 0 uncompressed bytes",
             (unsigned long)rec->index);
    return 0;
  }
  if (capacity < stated || !out)
  {
    setError(error, errorSize, "fragment %lu needs %lu bytes, the buffer has %lu",
             (unsigned long)rec->index, (unsigned long)stated, (unsigned long)capacity);
    return 0;
  }
  if (rec->dataLength == 0 || !rec->data)
  {
    setError(error, errorSize, "fragment %lu carries no compressed data",
             (unsigned long)rec->index);
    return 0;
  }

  errno = 0;
  got = lzf_decompress(rec->data, rec->dataLength, out, stated);
  if (got == 0)
  {
    if (errno == E2BIG)
      setError(error, errorSize,
               "fragment %lu decompresses to more than its stated %lu bytes",
               (unsigned long)rec->index, (unsigned long)stated);
    else
      setError(error, errorSize, "fragment %lu: corrupt LZF data (%lu compressed bytes)",
               (unsigned long)rec->index, (unsigned long)rec->dataLength);
    return 0;
  }
  if (got != stated)
  {
    setError(error, errorSize, "fragment %lu decompresses to %lu bytes, %lu stated",
             (unsigned long)rec->index, (unsigned long)got, (unsigned long)stated);
    return 0;
  }
  return 1;
}

/*
 * 'rc_payload_to_utf8()' - The payload's name as UTF-8.
 *
 * Each unit is one character of the Basic Multilingual Plane, as the
 * sender stores only the low 16 bits of each character; units in the
 * surrogate range are encoded as they stand (three bytes each).
 */
long rc_payload_to_utf8(const unsigned char *payload, uint32_t nameLen,
                        char *out, size_t capacity)
{
  size_t n = 0;
  uint32_t i;

  if (capacity)
    out[0] = 0;
  /* No payload is the empty name, which still needs room for its
     terminator, as a payload of one zero unit does. */
  if (!payload)
    return (nameLen || !capacity) ? -1 : 0;

  for (i = 0; i + 1 < nameLen; i += 2)
  {
    unsigned int unit = rc_load16(payload + i);
    unsigned char bytes[3];
    size_t count;

    if (unit == 0)
    {
      if (n >= capacity)
        return -1;
      out[n] = 0;
      return (long)n;
    }
    if (unit < 0x80)
    {
      bytes[0] = (unsigned char)unit;
      count = 1;
    }
    else if (unit < 0x800)
    {
      bytes[0] = (unsigned char)(0xC0 | (unit >> 6));
      bytes[1] = (unsigned char)(0x80 | (unit & 0x3F));
      count = 2;
    }
    else
    {
      bytes[0] = (unsigned char)(0xE0 | (unit >> 12));
      bytes[1] = (unsigned char)(0x80 | ((unit >> 6) & 0x3F));
      bytes[2] = (unsigned char)(0x80 | (unit & 0x3F));
      count = 3;
    }
    if (n >= capacity || capacity - n <= count)
    {
      if (capacity)
        out[capacity - 1] = 0;
      return -1;
    }
    memcpy(out + n, bytes, count);
    n += count;
    out[n] = 0;
  }
  return -1;
}
