/*
 * records_wire.h - helpers shared by the record, backend and
 * integration tests: decode a captured byte stream into records that own
 * their bytes, decompress fragments, and build expected payloads and
 * bitmaps independently of the code under test.
 */
#ifndef CORVANE_TEST_RECORDS_WIRE_H
#define CORVANE_TEST_RECORDS_WIRE_H

#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rc_decoder.h"

/* A decoded record with its own copies of payload and data (the decoder's
   pointers point into the stream and are cleared here). */
struct WireRecord
{
  rc_record rec;
  std::string payload;
  std::string data;
};

/* Decodes the whole stream.  Returns true when every byte formed a valid
   record; otherwise error says what the decoder found (records decoded up
   to there are still in out). */
inline bool decodeWire(const std::string &wire, std::vector<WireRecord> *out, std::string *error)
{
  rc_decoder dec;
  const unsigned char *p = (const unsigned char *)wire.data();
  size_t left = wire.size();

  rc_decoder_init(&dec);
  out->clear();
  for (;;)
  {
    WireRecord w;
    size_t used = 0;
    int r = rc_decode_next(&dec, p, left, &w.rec, &used);

    if (r == RC_DECODE_ERROR)
    {
      if (error)
        *error = dec.error;
      return false;
    }
    if (r == RC_DECODE_NEED_MORE)
      break;
    if (w.rec.payload)
      w.payload.assign((const char *)w.rec.payload, w.rec.nameLen);
    if (w.rec.data)
      w.data.assign((const char *)w.rec.data, w.rec.dataLength);
    w.rec.payload = NULL;
    w.rec.data = NULL;
    out->push_back(w);
    p += used;
    left -= used;
  }
  if (!rc_decoder_finish(&dec, left))
  {
    if (error)
      *error = dec.error;
    return false;
  }
  return true;
}

/* Decompresses a decoded fragment; on failure returns false with error. */
inline bool decompressWire(const WireRecord &w, std::string *out, std::string *error)
{
  rc_record rec = w.rec;
  char message[256] = "";

  rec.payload = (const unsigned char *)w.payload.data();
  rec.data = (const unsigned char *)w.data.data();
  out->assign(rec.fragment.uncompressedLength, '\0');
  if (!rc_decompress_fragment(&rec, (unsigned char *)&(*out)[0], out->size(), message,
                              sizeof(message)))
  {
    if (error)
      *error = message;
    return false;
  }
  return true;
}

/* The fragments decompressed and joined: a page's bitmap.  A fragment that
   does not decompress fails the test and adds nothing. */
inline std::string wireBitmap(const std::vector<WireRecord> &frags)
{
  std::string all;
  for (const WireRecord &f : frags)
  {
    std::string out, error;
    EXPECT_TRUE(decompressWire(f, &out, &error)) << error;
    all += out;
  }
  return all;
}

/* The payload a name should travel as, computed here by hand: UTF-8
   decoded sequence by sequence (well-formed input assumed), each character
   as its low 16 bits little-endian, a zero unit, then zeros up to
   2 x bytes + 2. */
inline std::string expectedPayload(const std::string &utf8)
{
  std::string out;
  size_t i = 0;

  while (i < utf8.size())
  {
    unsigned char c = (unsigned char)utf8[i];
    uint32_t cp;
    size_t n;

    if (c < 0x80)
    {
      cp = c;
      n = 1;
    }
    else if ((c & 0xE0) == 0xC0)
    {
      cp = c & 0x1F;
      n = 2;
    }
    else if ((c & 0xF0) == 0xE0)
    {
      cp = c & 0x0F;
      n = 3;
    }
    else
    {
      cp = c & 0x07;
      n = 4;
    }
    for (size_t k = 1; k < n && i + k < utf8.size(); k++)
      cp = (cp << 6) | ((unsigned char)utf8[i + k] & 0x3F);
    out.push_back((char)(cp & 0xFF));
    out.push_back((char)((cp >> 8) & 0xFF));
    i += n;
  }
  out.push_back('\0');
  out.push_back('\0');
  out.resize(2 * utf8.size() + 2, '\0');
  return out;
}

/* Little-endian bytes of a 32-bit value, for hand-written expectations. */
inline std::string le32(uint32_t v)
{
  std::string s(4, '\0');
  for (int i = 0; i < 4; i++)
    s[i] = (char)((v >> (8 * i)) & 0xFF);
  return s;
}

inline std::string le16(uint16_t v)
{
  std::string s(2, '\0');
  s[0] = (char)(v & 0xFF);
  s[1] = (char)(v >> 8);
  return s;
}

/* The bitmap line the host should get for one row of bytesPerLine bytes,
   computed from the row itself: groups of three reversed, a group that
   reaches past the row taking its missing bytes from `after` (the bytes
   that follow the row in the raster, white when the raster ends), padding
   zeroed to a multiple of 4. */
inline std::string expectedLine(const std::string &row, const std::string &after)
{
  size_t bpl = row.size();
  size_t aligned = (bpl + 3) / 4 * 4;
  std::string src = row + after;
  std::string line(aligned + 2, '\0');

  while (src.size() < bpl + 2)
    src.push_back((char)0xFF);
  for (size_t g = 0; g < bpl; g += 3)
  {
    line[g] = src[g + 2];
    line[g + 1] = src[g + 1];
    line[g + 2] = src[g];
  }
  line.resize(aligned);
  for (size_t i = bpl; i < aligned; i++)
    line[i] = '\0';
  return line;
}

/* Decodes a run's wire bytes; fails the test when they are not valid. */
inline std::vector<WireRecord> recordsOf(const std::string &wire)
{
  std::vector<WireRecord> recs;
  std::string error;
  EXPECT_TRUE(decodeWire(wire, &recs, &error)) << error;
  return recs;
}

/* The identifiers of a record list, for comparing whole sequences. */
inline std::vector<uint32_t> idsOf(const std::vector<WireRecord> &recs)
{
  std::vector<uint32_t> ids;
  for (const WireRecord &w : recs)
    ids.push_back(w.rec.id);
  return ids;
}

#endif
