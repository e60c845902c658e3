/*
 * test_records_decoder.cpp - the record decoder, its checks and messages,
 * fragment decompression, the payload converter and the encoder.
 */
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <lzf.h>

#include "rc_decoder.h"
#include "rc_encoder.h"
#include "records_wire.h"

static rc_record blank(uint32_t id)
{
  rc_record r;
  memset(&r, 0, sizeof(r));
  r.id = id;
  return r;
}

static std::string encode(const rc_record &r)
{
  std::string s(rc_encoded_size(&r), '\0');
  size_t n = rc_encode_record(&r, (unsigned char *)&s[0], s.size());
  EXPECT_EQ(n, s.size());
  return s;
}

/* Encodes rec with consistent lengths. */
static std::string encodeGood(rc_record r)
{
  rc_record_set_lengths(&r);
  return encode(r);
}

static std::string payloadP1()
{
  return std::string("P\0"
                     "1\0\0\0",
                     6);
}

/* One record of every type, with a payload, consistent lengths. */
static std::string sampleStream(std::string *data)
{
  std::string p = payloadP1();
  std::string s;
  uint32_t ids[] = {418, 420, 411, 412, 413, 421, 419};
  *data = "compressed bytes";
  for (uint32_t id : ids)
  {
    rc_record r = blank(id);
    r.nameLen = 6;
    r.payload = (const unsigned char *)p.data();
    if (id == 420)
    {
      r.page.fields = 0x1F1F;
      r.page.orientation = 2;
      r.page.paperSize = 9;
      r.page.paperLength = 2970;
      r.page.paperWidth = 2099;
      r.page.scale = 100;
      r.page.copies = 1;
      r.page.defaultSource = 7;
      r.page.printQuality = 300;
      r.page.color = 2;
      r.page.duplex = 3;
      r.page.collate = -1;
    }
    if (id == 411)
    {
      r.bitmap.width = 2480;
      r.bitmap.height = 3508;
      r.bitmap.constant = 1;
      r.bitmap.xResolution = 300;
      r.bitmap.yResolution = 600;
    }
    if (id == 412)
    {
      r.fragment.uncompressedLength = 1993920;
      r.fragment.constant = 1;
      r.data = (const unsigned char *)data->data();
      r.dataLength = (uint32_t)data->size();
    }
    s += encodeGood(r);
  }
  return s;
}

TEST(RecordDecoder, EveryRecordTypeFieldByField)
{
  std::string data;
  std::string wire = sampleStream(&data);
  std::vector<WireRecord> recs;
  std::string error;
  ASSERT_TRUE(decodeWire(wire, &recs, &error)) << error;
  ASSERT_EQ(recs.size(), 7u);

  uint64_t offset = 0;
  const uint32_t ids[] = {418, 420, 411, 412, 413, 421, 419};
  const uint32_t fixed[] = {12, 44, 32, 20, 12, 12, 12};
  for (size_t i = 0; i < 7; i++)
  {
    const rc_record &r = recs[i].rec;
    EXPECT_EQ(r.id, ids[i]);
    EXPECT_EQ(r.index, i);
    EXPECT_EQ(r.offset, offset);
    EXPECT_EQ(r.fixedSize, fixed[i]);
    EXPECT_EQ(r.nameLen, 6u);
    EXPECT_EQ(recs[i].payload, payloadP1());
    uint32_t expectedTotal = fixed[i] + 6 + (ids[i] == 412 ? (uint32_t)data.size() : 0);
    EXPECT_EQ(r.totalLength, expectedTotal);
    offset += r.totalLength;
  }
  EXPECT_EQ(offset, wire.size());

  const rc_page_start_fields &pg = recs[1].rec.page;
  EXPECT_EQ(pg.fields, 0x1F1Fu);
  EXPECT_EQ(pg.orientation, 2);
  EXPECT_EQ(pg.paperSize, 9);
  EXPECT_EQ(pg.paperLength, 2970);
  EXPECT_EQ(pg.paperWidth, 2099);
  EXPECT_EQ(pg.scale, 100);
  EXPECT_EQ(pg.copies, 1);
  EXPECT_EQ(pg.defaultSource, 7);
  EXPECT_EQ(pg.printQuality, 300);
  EXPECT_EQ(pg.color, 2);
  EXPECT_EQ(pg.duplex, 3);
  EXPECT_EQ(pg.collate, -1);
  EXPECT_EQ(std::string((const char *)pg.reserved, 6), std::string(6, '\0'));

  const rc_bitmap_hdr_fields &bh = recs[2].rec.bitmap;
  EXPECT_EQ(bh.width, 2480u);
  EXPECT_EQ(bh.height, 3508u);
  EXPECT_EQ(bh.constant, 1u);
  EXPECT_EQ(bh.xResolution, 300u);
  EXPECT_EQ(bh.yResolution, 600u);

  EXPECT_EQ(recs[3].rec.fragment.uncompressedLength, 1993920u);
  EXPECT_EQ(recs[3].rec.fragment.constant, 1u);
  EXPECT_EQ(recs[3].rec.dataLength, data.size());
  EXPECT_EQ(recs[3].data, data);
}

TEST(RecordDecoder, OneByteAtATimeAsksForExactlyWhatIsMissing)
{
  std::string data;
  std::string wire = sampleStream(&data);
  rc_decoder dec;
  rc_decoder_init(&dec);
  size_t start = 0;
  size_t records = 0;
  for (size_t have = 0; have <= wire.size() - start;)
  {
    rc_record rec;
    size_t used = 99, needed = 0;
    int r = rc_decode_next(&dec, (const unsigned char *)wire.data() + start, have, &rec, &used,
                           &needed);
    if (r == RC_DECODE_RECORD)
    {
      EXPECT_EQ(used, rec.totalLength);
      EXPECT_EQ(have, used) << "a record is returned as soon as it is complete";
      EXPECT_EQ(rec.offset, start);
      start += used;
      records++;
      have = 0;
      if (start == wire.size())
        break;
      continue;
    }
    ASSERT_EQ(r, RC_DECODE_NEED_MORE) << dec.error;
    EXPECT_EQ(used, 0u);
    EXPECT_GT(needed, have);
    uint32_t id = have >= 4 ? rc_load32((const unsigned char *)wire.data() + start) : 0;
    if (have < 8)
      EXPECT_EQ(needed, 8u);
    else if (have < rc_fixed_size(id))
      EXPECT_EQ(needed, rc_fixed_size(id));
    else
      EXPECT_EQ(needed, rc_load32((const unsigned char *)wire.data() + start + 4));
    have++;
  }
  EXPECT_EQ(records, 7u);
  EXPECT_EQ(dec.records, 7u);
  EXPECT_EQ(dec.offset, wire.size());
  EXPECT_TRUE(rc_decoder_finish(&dec, 0));
}

TEST(RecordDecoder, RecordWithoutPayload)
{
  rc_record r = blank(418);
  std::string wire = encodeGood(r);
  ASSERT_EQ(wire, le32(418) + le32(12) + le32(0));
  std::vector<WireRecord> recs;
  std::string error;
  ASSERT_TRUE(decodeWire(wire, &recs, &error)) << error;
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_EQ(recs[0].rec.nameLen, 0u);
  EXPECT_EQ(recs[0].payload, "");
}

/* The first error of a stream, with the message the decoder gives. */
static std::string firstError(const std::string &wire)
{
  std::vector<WireRecord> recs;
  std::string error;
  EXPECT_FALSE(decodeWire(wire, &recs, &error));
  return error;
}

TEST(RecordDecoder, UnknownIdentifiers)
{
  for (uint32_t id : {0u, 410u, 414u, 415u, 416u, 417u, 422u, 0xFFFFFFFFu})
  {
    rc_record r = blank(id);
    r.totalLength = 12;
    std::string wire = encode(r);
    char expected[128];
    snprintf(expected, sizeof(expected), "record 0 at offset 0: unknown packet id %lu (0x%08lX)",
             (unsigned long)id, (unsigned long)id);
    EXPECT_EQ(firstError(wire), expected);
  }
  /* Reported at the record's own index and offset, after good records. */
  std::string wire = encodeGood(blank(418)) + encodeGood(blank(419));
  rc_record bad = blank(414);
  bad.totalLength = 8;
  wire += encode(bad);
  EXPECT_EQ(firstError(wire), "record 2 at offset 24: unknown packet id 414 (0x0000019E)");
}

TEST(RecordDecoder, TotalLengthMustMatchFixedPartAndNameLen)
{
  rc_record r = blank(419);
  r.nameLen = 6;
  r.payload = (const unsigned char *)"P\0"
                                     "1\0\0";
  r.totalLength = 17;
  EXPECT_EQ(firstError(encode(r)),
            "record 0 at offset 0: RCPACKET_PRN_DOC_END total length 17 is not fixed part 12 + nameLen 6");
  r.totalLength = 19;
  EXPECT_EQ(firstError(encode(r) + std::string(1, '\0')),
            "record 0 at offset 0: RCPACKET_PRN_DOC_END total length 19 is not fixed part 12 + nameLen 6");
  r.totalLength = 11;
  EXPECT_EQ(firstError(encode(r)),
            "record 0 at offset 0: RCPACKET_PRN_DOC_END total length 11 is shorter than its 12-byte fixed part");

  rc_record p = blank(420);
  p.totalLength = 44 + 2;
  EXPECT_EQ(firstError(encode(p) + std::string(2, '\0')),
            "record 0 at offset 0: RCPACKET_PRN_PAGE_START total length 46 is not fixed part 44 + nameLen 0");
}

TEST(RecordDecoder, FragmentTotalMustCoverFixedPartAndName)
{
  rc_record f = blank(412);
  f.nameLen = 6;
  f.payload = (const unsigned char *)"P\0"
                                     "1\0\0";
  f.totalLength = 25;
  EXPECT_EQ(firstError(encode(f)),
            "record 0 at offset 0: RCPACKET_PRN_BITMAP_FRAGMENT total length 25 is shorter than fixed part 20 + nameLen 6");
  /* Exactly fixed + nameLen: a fragment with no data is well formed;
     decompressing it is what fails. */
  f.totalLength = 26;
  std::vector<WireRecord> recs;
  std::string error;
  ASSERT_TRUE(decodeWire(encode(f), &recs, &error)) << error;
  EXPECT_EQ(recs[0].rec.dataLength, 0u);
}

TEST(RecordDecoder, NameLenOddOrTooLarge)
{
  rc_record r = blank(418);
  r.nameLen = 5;
  r.totalLength = 17;
  EXPECT_EQ(firstError(encode(r)),
            "record 0 at offset 0: RCPACKET_PRN_DOC_START nameLen 5 is odd: the payload is made of 16-bit units");
  r.nameLen = 2050;
  r.totalLength = 2062;
  EXPECT_EQ(firstError(encode(r)),
            "record 0 at offset 0: RCPACKET_PRN_DOC_START nameLen 2050 exceeds the limit of 2048 bytes");
  /* 2048 is the longest name the backend sends. */
  r.nameLen = 2048;
  r.totalLength = 2060;
  std::vector<WireRecord> recs;
  std::string error;
  EXPECT_TRUE(decodeWire(encode(r), &recs, &error)) << error;
}

TEST(RecordDecoder, TotalLengthLimitIsCheckedFromTheHeaderAlone)
{
  rc_decoder dec;
  rc_decoder_init(&dec);
  unsigned char header[8];
  rc_store32(header, 412);
  rc_store32(header + 4, 0xFFFFFFF0u);
  rc_record rec;
  size_t used;
  EXPECT_EQ(rc_decode_next(&dec, header, 8, &rec, &used), RC_DECODE_ERROR);
  EXPECT_STREQ(dec.error,
               "record 0 at offset 0: RCPACKET_PRN_BITMAP_FRAGMENT total length 4294967280 exceeds the limit of 268435456 bytes");
  /* The error sticks. */
  EXPECT_EQ(rc_decode_next(&dec, header, 0, &rec, &used), RC_DECODE_ERROR);
  EXPECT_FALSE(rc_decoder_finish(&dec, 0));
}

TEST(RecordDecoder, PayloadWithoutTerminator)
{
  rc_record r = blank(421);
  r.nameLen = 4;
  r.payload = (const unsigned char *)"P\0"
                                     "1\0";
  r.totalLength = 16;
  EXPECT_EQ(firstError(encode(r)),
            "record 0 at offset 0: RCPACKET_PRN_PAGE_END printer-name payload of 4 bytes has no 16-bit terminator");
  /* A zero byte that is not a whole unit does not count. */
  r.payload = (const unsigned char *)"\0P\0"
                                     "1";
  EXPECT_NE(firstError(encode(r)).find("no 16-bit terminator"), std::string::npos);
}

TEST(RecordDecoder, StreamEndingInsideARecord)
{
  std::string wire = encodeGood(blank(418));
  wire += wire.substr(0, 7);
  EXPECT_EQ(firstError(wire),
            "record 1 at offset 12: stream ends inside the record: 7 byte(s) left undecoded");
}

static std::string compress(const std::string &in)
{
  std::string out(in.size() + in.size() / 16 + 64, '\0');
  unsigned int n = lzf_compress(in.data(), (unsigned int)in.size(), &out[0], (unsigned int)out.size());
  out.resize(n);
  return out;
}

static WireRecord fragmentOf(const std::string &compressed, uint32_t stated)
{
  WireRecord w;
  memset(&w.rec, 0, sizeof(w.rec));
  w.rec.id = 412;
  w.rec.fragment.uncompressedLength = stated;
  w.rec.fragment.constant = 1;
  w.rec.dataLength = (uint32_t)compressed.size();
  w.data = compressed;
  return w;
}

TEST(RecordDecompress, ExactLengthOnly)
{
  std::string plain;
  for (int i = 0; i < 10000; i++)
    plain.push_back((char)((i * 7) % 251));
  std::string packed = compress(plain);
  ASSERT_FALSE(packed.empty());

  std::string out, error;
  ASSERT_TRUE(decompressWire(fragmentOf(packed, 10000), &out, &error)) << error;
  EXPECT_EQ(out, plain);

  EXPECT_FALSE(decompressWire(fragmentOf(packed, 10001), &out, &error));
  EXPECT_EQ(error, "fragment 0 decompresses to 10000 bytes, 10001 stated");
  EXPECT_FALSE(decompressWire(fragmentOf(packed, 9999), &out, &error));
  EXPECT_EQ(error, "fragment 0 decompresses to more than its stated 9999 bytes");
  EXPECT_FALSE(decompressWire(fragmentOf(packed, 0), &out, &error));
  EXPECT_EQ(error, "fragment 0 states 0 uncompressed bytes");
  EXPECT_FALSE(decompressWire(fragmentOf("", 10), &out, &error));
  EXPECT_EQ(error, "fragment 0 carries no compressed data");

  /* A back reference before the start of the output is corrupt data. */
  std::string corrupt("\x20\x10\x00", 3);
  EXPECT_FALSE(decompressWire(fragmentOf(corrupt, 100), &out, &error));
  EXPECT_EQ(error, "fragment 0: corrupt LZF data (3 compressed bytes)");
}

TEST(RecordDecompress, ArgumentChecks)
{
  std::string packed = compress(std::string(100, 'x'));
  WireRecord w = fragmentOf(packed, 100);
  w.rec.data = (const unsigned char *)w.data.data();
  unsigned char out[100];
  char error[128];
  EXPECT_FALSE(rc_decompress_fragment(&w.rec, out, 99, error, sizeof(error)));
  EXPECT_STREQ(error, "fragment 0 needs 100 bytes, the buffer has 99");
  EXPECT_TRUE(rc_decompress_fragment(&w.rec, out, 100, error, sizeof(error)));
  EXPECT_EQ(std::string((char *)out, 100), std::string(100, 'x'));
  w.rec.id = 418;
  EXPECT_FALSE(rc_decompress_fragment(&w.rec, out, 100, error, sizeof(error)));
  EXPECT_STREQ(error, "record is not a bitmap fragment");
  /* No message buffer is fine too. */
  EXPECT_FALSE(rc_decompress_fragment(&w.rec, out, 100, NULL, 0));
}

TEST(RecordPayloadText, BackToUtf8)
{
  char out[64];
  std::string p = expectedPayload("B\xC3\xBCro \xE2\x82\xAC");
  EXPECT_EQ(rc_payload_to_utf8((const unsigned char *)p.data(), (uint32_t)p.size(), out, sizeof(out)),
            9);
  EXPECT_STREQ(out, "B\xC3\xBCro \xE2\x82\xAC");
  EXPECT_EQ(rc_payload_to_utf8((const unsigned char *)p.data(), (uint32_t)p.size(), out, 9), -1);
  EXPECT_EQ(rc_payload_to_utf8((const unsigned char *)p.data(), (uint32_t)p.size(), out, 10), 9);
  EXPECT_EQ(rc_payload_to_utf8(NULL, 0, out, sizeof(out)), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(rc_payload_to_utf8((const unsigned char *)"A\0B\0", 4, out, sizeof(out)), -1);
}

TEST(RecordEncoder, WritesExactlyWhatItIsGiven)
{
  rc_record r = blank(411);
  r.totalLength = 7; /* deliberately wrong */
  r.nameLen = 3;     /* deliberately odd */
  r.bitmap.width = 1;
  r.bitmap.constant = 5;
  std::string s = encode(r);
  EXPECT_EQ(s, le32(411) + le32(7) + le32(1) + le32(0) + le32(5) + le32(0) + le32(0) + le32(3) +
                 std::string(3, '\0'));
  unsigned char small[10];
  EXPECT_EQ(rc_encode_record(&r, small, sizeof(small)), 0u);

  rc_record u = blank(416);
  u.totalLength = 12;
  u.data = (const unsigned char *)"xyzw";
  u.dataLength = 4;
  EXPECT_EQ(rc_encoded_size(&u), 12u);
  EXPECT_EQ(encode(u), le32(416) + le32(12) + "xyzw");
}

TEST(RecordEncoder, AgreesWithTheBackendsBuilders)
{
  rc_page_settings s;
  memset(&s, 0, sizeof(s));
  s.orientation = 1;
  s.paperSize = 9;
  s.paperLength = 2970;
  s.paperWidth = 2099;
  s.copies = 1;
  s.printQuality = 300;
  s.color = 2;
  s.duplex = 3;
  s.collate = 0;
  unsigned char built[44];
  rc_build_page_start(built, &s, 0);

  rc_record r = blank(420);
  r.page.fields = 0x1F1F;
  r.page.orientation = 1;
  r.page.paperSize = 9;
  r.page.paperLength = 2970;
  r.page.paperWidth = 2099;
  r.page.scale = 100;
  r.page.copies = 1;
  r.page.defaultSource = 7;
  r.page.printQuality = 300;
  r.page.color = 2;
  r.page.duplex = 3;
  EXPECT_EQ(encodeGood(r), std::string((const char *)built, 44));
}
