/*
 * rc_decoder.h - reading RCPACKET records back from a byte stream.
 *
 * The inverse of rc_packet.h, for the host side and for tests: an
 * incremental decoder that takes the bytes received so far and hands back
 * one record at a time, fully checked; a fragment decompressor; and a
 * payload to UTF-8 converter.  The reverse direction, any record's bytes
 * from an rc_record, is rc_encoder.h.
 *
 * Using the decoder
 * -----------------
 *     rc_decoder dec;
 *     rc_decoder_init(&dec);
 *     // buf holds the stream bytes not consumed yet, len of them
 *     for (;;) {
 *       rc_record rec;
 *       size_t used;
 *       int r = rc_decode_next(&dec, buf, len, &rec, &used);
 *       if (r == RC_DECODE_NEED_MORE) break;       // read more, call again
 *       if (r == RC_DECODE_ERROR) { puts(dec.error); break; }
 *       ... use rec (its pointers point into buf) ...
 *       buf += used; len -= used;                   // used == rec.totalLength
 *     }
 *     // at the end of the stream:
 *     if (!rc_decoder_finish(&dec, len)) puts(dec.error);
 *
 * buf always starts at the first byte of the next record: the decoder keeps
 * no bytes of its own, only the stream offset and record count, so the
 * caller may move or grow its buffer between calls.  rc_decode_next()
 * consumes nothing until a whole record is there.
 *
 * Checks made before a record is returned (each failure is an error with a
 * message naming the record index, its stream offset and what is wrong):
 *   - the packet id is one of the seven identifiers;
 *   - the total length is at least the record's fixed size and at most
 *     dec.maxTotalLength;
 *   - nameLen is even and at most dec.maxNameLen;
 *   - the total length is exactly fixed size + nameLen, and for a fragment
 *     at least fixed size + nameLen (the rest is the compressed data);
 *   - a non-empty payload holds a 16-bit zero unit (its terminator).
 * Field values (constants, masks, codes) are decoded but not judged: the
 * caller compares them with what it expects.  After an error the decoder
 * stays failed and returns the same error again.
 */
#ifndef CORVANE_RC_DECODER_H
#define CORVANE_RC_DECODER_H

#include <stdint.h>
#include <stddef.h>

#include "rc_packet.h"

/* Results of rc_decode_next(). */
#define RC_DECODE_ERROR     (-1)
#define RC_DECODE_NEED_MORE 0
#define RC_DECODE_RECORD    1

/* Default limits: the longest printer name the backend accepts is 1023
   UTF-8 bytes (nameLen 2 x 1023 + 2), and a fragment carries at most a
   little over 2,000,000 compressed bytes for the usual line sizes; lines
   longer than that travel one per fragment, so the default total length
   limit leaves room for very wide lines while refusing absurd values. */
#define RC_DEFAULT_MAX_NAMELEN      2048u
#define RC_DEFAULT_MAX_TOTAL_LENGTH (256u * 1024u * 1024u)

/* RCPACKET_PRN_PAGE_START's settings, as signed 16-bit values. */
struct rc_page_start_fields
{
  uint32_t fields; /* DEVMODE field mask */
  int16_t orientation;
  int16_t paperSize;
  int16_t paperLength;
  int16_t paperWidth;
  int16_t scale;
  int16_t copies;
  int16_t defaultSource;
  int16_t printQuality;
  int16_t color;
  int16_t duplex;
  int16_t collate;
  unsigned char reserved[6];
};

/* RCPACKET_PRN_BITMAP_HDR's fields. */
struct rc_bitmap_hdr_fields
{
  uint32_t width;
  uint32_t height;
  uint32_t constant;
  uint32_t xResolution;
  uint32_t yResolution;
};

/* RCPACKET_PRN_BITMAP_FRAGMENT's fields. */
struct rc_fragment_fields
{
  uint32_t uncompressedLength;
  uint32_t constant;
};

/* One decoded record.  Only the sub-structure that matches id is filled
   (the others are zero); DOC_START, DOC_END, PAGE_END and BITMAP_END have
   no fields besides nameLen.  For the encoder (rc_encoder.h) the same
   structure describes the record to build. */
struct rc_record
{
  uint32_t id;                  /* packet id */
  uint32_t totalLength;         /* total length field */
  uint64_t offset;              /* stream offset of the first header byte */
  uint32_t index;               /* 0 for the first record of the stream */
  uint32_t fixedSize;           /* fixed part size for id */
  uint32_t nameLen;             /* nameLen field */
  const unsigned char *payload; /* nameLen bytes (null when nameLen is 0) */
  rc_page_start_fields page;
  rc_bitmap_hdr_fields bitmap;
  rc_fragment_fields fragment;
  const unsigned char *data; /* fragment: the compressed bytes */
  uint32_t dataLength;       /* fragment: total length - 20 - nameLen */
};

/* Decoder state: where the next record starts and what went wrong. */
struct rc_decoder
{
  uint64_t offset;     /* stream offset of the next record */
  uint32_t records;    /* records decoded so far */
  uint32_t maxNameLen; /* limits, set by rc_decoder_init() */
  uint32_t maxTotalLength;
  int failed;      /* 1 once an error was found */
  char error[256]; /* that error, as one line without new line */
};

/* Starts a decoder at stream offset 0 with the default limits. */
void rc_decoder_init(rc_decoder *dec);

/* Decodes the record at the start of buf (len bytes available).
   RC_DECODE_RECORD: rec is filled, *used is its total length.
   RC_DECODE_NEED_MORE: the record is not complete yet; *used is 0 and, when
     needed is not null, *needed is the number of bytes from buf that the
     next call needs at least (8 for the header, then the fixed part, then
     the total length).
   RC_DECODE_ERROR: dec->error says what is wrong; nothing is consumed. */
int rc_decode_next(rc_decoder *dec, const unsigned char *buf, size_t len,
                   rc_record *rec, size_t *used, size_t *needed = NULL);

/* At the end of the stream, with remaining bytes left undecoded: 1 when
   none remain, else 0 with an error ("stream ends inside record ...").
   Also 0 when the decoder had already failed. */
int rc_decoder_finish(rc_decoder *dec, size_t remaining);

/* Decompresses a fragment's data with lzf_decompress into out (capacity
   bytes).  1 when the data decompresses to exactly the stated uncompressed
   length; otherwise 0 with a message in error (errorSize bytes, may be 0):
   not a fragment, capacity too small, no data, corrupt data, or more or
   fewer bytes than stated.  A stated length of 0 is an error too: the
   backend never sends an empty fragment. */
int rc_decompress_fragment(const rc_record *rec, unsigned char *out, size_t capacity,
                           char *error, size_t errorSize);

/* The printer name of a payload (nameLen bytes of UTF-16LE units up to a
   zero unit), as UTF-8 into out (capacity bytes, always terminated when
   capacity is not 0).  Each unit is one character (no surrogate pairs);
   returns the UTF-8 length, or -1 when it did not fit or the payload has
   no terminator. */
long rc_payload_to_utf8(const unsigned char *payload, uint32_t nameLen,
                        char *out, size_t capacity);

#endif
