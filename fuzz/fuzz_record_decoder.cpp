/*
 * fuzz_record_decoder.cpp - the record decoder, the fragment decompressor,
 * the payload converter and the encoder on arbitrary bytes.
 *
 * Input: one option byte, four bytes seeding the chunk sizes, then the
 * byte stream.  Option bits: 1 and 2 replace the decoder's nameLen and
 * total length limits by values taken from the input; 4 makes the chunks
 * tiny (0 to 15 bytes); 8 adds an encode-then-decode round of a record
 * built from the input.
 *
 * Checked:
 *   - decoding the whole buffer at once and decoding it as it arrives in
 *     chunks of random sizes give the same records, the same error text and
 *     the same end result;
 *   - every answer agrees with a plain restatement of the record rules
 *     (which header values are refused, how many bytes are needed next);
 *   - each record's fields are the little-endian values at their offsets,
 *     and the encoder rebuilds the record's exact bytes;
 *   - a fragment decompresses (or not) exactly as a small independent LZF
 *     decoder says, never writing past the capacity given;
 *   - the payload converter's result is the same UTF-8 an independent
 *     conversion gives, with the truncation rules at every capacity.
 */
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <vector>

#include "fuzz_support.h"
#include "rc_decoder.h"
#include "rc_encoder.h"
#include "rc_packet.h"

/* Largest stated fragment length the target decompresses for real, and
   the bytes of output buffers one input may use in all: a 64 KiB stream
   can state thousands of fragments of megabytes each. */
static const uint32_t kMaxDecompress = 1024u * 1024u;
static const uint64_t kDecompressBudget = 8u * 1024u * 1024u;
static uint64_t g_budget;

/* Answer of the decoder, or of the restatement, for the bytes at hand. */
struct Answer
{
  int result;     /* RC_DECODE_* */
  size_t needed;  /* for NEED_MORE */
  uint32_t total; /* for RECORD */
};

/* The fixed part's size of id by the table of record layouts. */
static uint32_t fixedOf(uint32_t id)
{
  switch (id)
  {
    case 418:
    case 419:
    case 421:
    case 413: return 12;
    case 420: return 44;
    case 411: return 32;
    case 412: return 20;
    default: return 0;
  }
}

static uint32_t le32(const unsigned char *p)
{
  return (uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) | ((uint32_t)p[3] << 24);
}

static uint16_t le16(const unsigned char *p)
{
  return (uint16_t)(p[0] | (p[1] << 8));
}

/*
 * 'reference()' - What the record rules say of len bytes at buf, checked in
 * the order the bytes arrive.
 */
static Answer reference(const rc_decoder &limits, const unsigned char *buf, size_t len)
{
  Answer a = {RC_DECODE_ERROR, 0, 0};

  if (len < 8)
  {
    a.result = RC_DECODE_NEED_MORE;
    a.needed = 8;
    return a;
  }
  uint32_t id = le32(buf), total = le32(buf + 4), fixed = fixedOf(id);
  if (!fixed || total < fixed || total > limits.maxTotalLength)
    return a;
  if (len < fixed)
  {
    a.result = RC_DECODE_NEED_MORE;
    a.needed = fixed;
    return a;
  }
  uint32_t nameLen = le32(buf + fixed - 4);
  if (nameLen % 2 || nameLen > limits.maxNameLen)
    return a;
  if (id == 412 ? (uint64_t)fixed + nameLen > total : (uint64_t)fixed + nameLen != total)
    return a;
  if (len < total)
  {
    a.result = RC_DECODE_NEED_MORE;
    a.needed = total;
    return a;
  }
  if (nameLen)
  {
    bool terminated = false;
    for (uint32_t i = 0; i < nameLen && !terminated; i += 2)
      terminated = buf[fixed + i] == 0 && buf[fixed + i + 1] == 0;
    if (!terminated)
      return a;
  }
  a.result = RC_DECODE_RECORD;
  a.total = total;
  return a;
}

/*
 * 'checkFields()' - A decoded record against its raw bytes.
 */
static void checkFields(const rc_record &rec, const unsigned char *raw, uint64_t offset,
                        uint32_t index)
{
  uint32_t fixed = fixedOf(rec.id);

  FUZZ_CHECK(rec.id == le32(raw) && rec.totalLength == le32(raw + 4));
  FUZZ_CHECK(rec.fixedSize == fixed && fixed != 0);
  FUZZ_CHECK(rec.offset == offset && rec.index == index);
  FUZZ_CHECK(rec.nameLen == le32(raw + fixed - 4));
  FUZZ_CHECK(rec.nameLen ? rec.payload == raw + fixed : rec.payload == NULL);
  switch (rec.id)
  {
    case 420:
      FUZZ_CHECK(rec.page.fields == le32(raw + 8));
      FUZZ_CHECK((uint16_t)rec.page.orientation == le16(raw + 12));
      FUZZ_CHECK((uint16_t)rec.page.paperSize == le16(raw + 14));
      FUZZ_CHECK((uint16_t)rec.page.paperLength == le16(raw + 16));
      FUZZ_CHECK((uint16_t)rec.page.paperWidth == le16(raw + 18));
      FUZZ_CHECK((uint16_t)rec.page.scale == le16(raw + 20));
      FUZZ_CHECK((uint16_t)rec.page.copies == le16(raw + 22));
      FUZZ_CHECK((uint16_t)rec.page.defaultSource == le16(raw + 24));
      FUZZ_CHECK((uint16_t)rec.page.printQuality == le16(raw + 26));
      FUZZ_CHECK((uint16_t)rec.page.color == le16(raw + 28));
      FUZZ_CHECK((uint16_t)rec.page.duplex == le16(raw + 30));
      FUZZ_CHECK((uint16_t)rec.page.collate == le16(raw + 32));
      FUZZ_CHECK(memcmp(rec.page.reserved, raw + 34, 6) == 0);
      break;
    case 411:
      FUZZ_CHECK(rec.bitmap.width == le32(raw + 8) && rec.bitmap.height == le32(raw + 12));
      FUZZ_CHECK(rec.bitmap.constant == le32(raw + 16));
      FUZZ_CHECK(rec.bitmap.xResolution == le32(raw + 20) &&
                 rec.bitmap.yResolution == le32(raw + 24));
      break;
    case 412:
      FUZZ_CHECK(rec.fragment.uncompressedLength == le32(raw + 8));
      FUZZ_CHECK(rec.fragment.constant == le32(raw + 12));
      FUZZ_CHECK(rec.dataLength == rec.totalLength - 20 - rec.nameLen);
      FUZZ_CHECK(rec.data == raw + 20 + rec.nameLen);
      break;
    default:
      FUZZ_CHECK(rec.data == NULL && rec.dataLength == 0);
      break;
  }
}

/*
 * 'lzfReference()' - An independent LZF block decoder: control bytes below
 * 32 start a literal run of control + 1 bytes; others are a back reference
 * of (control >> 5) + 2 bytes (7 meaning a further length byte follows) at
 * distance ((control & 31) << 8) + next byte + 1.  False on any overrun of
 * the input, of the output (capacity) or of the distance.
 */
static bool lzfReference(const unsigned char *in, size_t inLen, std::vector<unsigned char> *out,
                         size_t capacity)
{
  size_t i = 0;

  out->clear();
  while (i < inLen)
  {
    unsigned int ctrl = in[i++];

    if (ctrl < 32)
    {
      size_t run = ctrl + 1;
      if (inLen - i < run || capacity - out->size() < run)
        return false;
      out->insert(out->end(), in + i, in + i + run);
      i += run;
    }
    else
    {
      size_t len = ctrl >> 5;
      if (len == 7)
      {
        if (i >= inLen)
          return false;
        len += in[i++];
      }
      len += 2;
      if (i >= inLen)
        return false;
      size_t distance = ((size_t)(ctrl & 31) << 8) + in[i++] + 1;
      if (distance > out->size() || capacity - out->size() < len)
        return false;
      size_t from = out->size() - distance;
      for (size_t k = 0; k < len; k++)
        out->push_back((*out)[from + k]);
    }
  }
  return true;
}

/*
 * 'checkDecompress()' - rc_decompress_fragment at one capacity.
 */
static void checkDecompress(const rc_record &rec, size_t capacity)
{
  uint32_t stated = rec.fragment.uncompressedLength;
  char error[128];
  std::vector<unsigned char> want;

  bool possible = stated != 0 && capacity >= stated && rec.dataLength != 0;
  bool good = possible && lzfReference(rec.data, rec.dataLength, &want, stated) &&
              want.size() == stated;

  GuardedBuffer<unsigned char> guarded(capacity);
  int r = rc_decompress_fragment(&rec, guarded.data(), capacity, error, sizeof error);
  FUZZ_CHECK_MSG(r == (good ? 1 : 0), r ? "decompressed what the reference refuses" : error);
  FUZZ_CHECK(guarded.guardsIntact());
  FUZZ_CHECK(r || memchr(error, 0, sizeof error) != NULL);
  if (r)
    FUZZ_CHECK(memcmp(guarded.data(), want.data(), stated) == 0);

  /* The same into an exactly-sized block, and into a tiny error buffer. */
  ExactBuffer<unsigned char> exact(capacity);
  char tiny[1];
  FUZZ_CHECK(rc_decompress_fragment(&rec, exact.p, capacity, tiny, sizeof tiny) == r);
  if (r)
    FUZZ_CHECK(memcmp(exact.p, want.data(), stated) == 0);
  else
    FUZZ_CHECK(tiny[0] == 0);
  FUZZ_CHECK(rc_decompress_fragment(&rec, exact.p, capacity, NULL, 0) == r);
}

/*
 * 'unitsToUtf8()' - The payload converter's rule, restated: units up to
 * the first zero unit, each as one to three UTF-8 bytes.  False when there
 * is no zero unit.
 */
static bool unitsToUtf8(const unsigned char *payload, uint32_t nameLen, std::string *out)
{
  out->clear();
  for (uint32_t i = 0; i + 1 < nameLen; i += 2)
  {
    unsigned int u = le16(payload + i);
    if (u == 0)
      return true;
    if (u < 0x80)
      out->push_back((char)u);
    else if (u < 0x800)
    {
      out->push_back((char)(0xC0 | (u >> 6)));
      out->push_back((char)(0x80 | (u & 0x3F)));
    }
    else
    {
      out->push_back((char)(0xE0 | (u >> 12)));
      out->push_back((char)(0x80 | ((u >> 6) & 0x3F)));
      out->push_back((char)(0x80 | (u & 0x3F)));
    }
  }
  return false;
}

/*
 * 'checkPayloadText()' - rc_payload_to_utf8 at one capacity.
 */
static void checkPayloadText(const unsigned char *payload, uint32_t nameLen, size_t capacity)
{
  std::string want;
  bool terminated = payload ? unitsToUtf8(payload, nameLen, &want) : nameLen == 0;

  GuardedBuffer<char> out(capacity, 'x');
  long r = rc_payload_to_utf8(payload, nameLen, out.data(), capacity);
  FUZZ_CHECK(out.guardsIntact());
  if (terminated && want.size() < capacity)
  {
    FUZZ_CHECK(r == (long)want.size());
    FUZZ_CHECK(memcmp(out.data(), want.data(), want.size()) == 0 && out.data()[want.size()] == 0);
  }
  else
  {
    FUZZ_CHECK(r == -1);
    if (capacity)
    {
      /* What is left is a terminated prefix of the name. */
      size_t got = fuzzBoundedLength(out.data(), capacity);
      FUZZ_CHECK(got < capacity);
      FUZZ_CHECK(got <= want.size() && memcmp(out.data(), want.data(), got) == 0);
    }
  }

  ExactBuffer<char> exact(capacity);
  FUZZ_CHECK(rc_payload_to_utf8(payload, nameLen, exact.p, capacity) == r);
}

/*
 * 'checkRecord()' - Everything about one decoded record.
 */
static void checkRecord(const rc_record &rec, const unsigned char *raw, FuzzInput &opts)
{
  /* The encoder rebuilds the exact bytes, and says so when there is room. */
  FUZZ_CHECK(rc_encoded_size(&rec) == rec.totalLength);
  std::vector<unsigned char> again(rec.totalLength + FUZZ_GUARD, 0xA5);
  FUZZ_CHECK(rc_encode_record(&rec, again.data(), rec.totalLength) == rec.totalLength);
  FUZZ_CHECK(memcmp(again.data(), raw, rec.totalLength) == 0);
  for (size_t i = rec.totalLength; i < again.size(); i++)
    FUZZ_CHECK(again[i] == 0xA5);

  size_t shortCap = opts.upTo(rec.totalLength - 1);
  std::vector<unsigned char> small(shortCap + FUZZ_GUARD, 0xA5);
  FUZZ_CHECK(rc_encode_record(&rec, small.data(), shortCap) == 0);
  for (unsigned char c : small)
    FUZZ_CHECK(c == 0xA5);

  rc_record copy = rec;
  rc_record_set_lengths(&copy);
  FUZZ_CHECK(copy.totalLength == rec.totalLength && copy.fixedSize == rec.fixedSize);

  if (rec.nameLen)
  {
    checkPayloadText(rec.payload, rec.nameLen, opts.upTo(3 * 1024 + 2));
    checkPayloadText(rec.payload, rec.nameLen, 3 * 1024 + 1);
  }

  if (rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
  {
    uint32_t stated = rec.fragment.uncompressedLength;
    if (stated <= kMaxDecompress && 3u * (uint64_t)stated + 64 <= g_budget)
    {
      g_budget -= 3u * (uint64_t)stated + 64;
      checkDecompress(rec, stated);
      checkDecompress(rec, stated ? stated - 1 : 0);
      checkDecompress(rec, opts.upTo(stated + 64));
    }
    else
      checkDecompress(rec, opts.upTo(4096));
  }
  else
  {
    char error[64];
    unsigned char out[4];
    error[0] = 'x';
    FUZZ_CHECK(rc_decompress_fragment(&rec, out, sizeof out, error, sizeof error) == 0);
    FUZZ_CHECK(memchr(error, 0, sizeof error) != NULL);
  }
}

/* The outcome of decoding a stream: its records and how it ended. */
struct Outcome
{
  std::vector<rc_record> records;
  std::vector<uint64_t> payloadAt, dataAt; /* stream offsets of the pointers */
  int last;                                /* NEED_MORE or ERROR */
  std::string error;
  int finished;
  std::string finishError;
};

/* Stream offset of a pointer into a buffer that starts at stream offset base. */
static uint64_t offsetOf(const unsigned char *p, const unsigned char *buf, uint64_t base)
{
  return p ? base + (uint64_t)(p - buf) : UINT64_MAX;
}

static void keep(Outcome *o, const rc_record &rec, const unsigned char *buf, uint64_t base)
{
  o->records.push_back(rec);
  o->payloadAt.push_back(offsetOf(rec.payload, buf, base));
  o->dataAt.push_back(offsetOf(rec.data, buf, base));
}

/*
 * 'decodeWhole()' - The whole stream in one buffer, with every check.
 */
static Outcome decodeWhole(const rc_decoder &start, const unsigned char *s, size_t n,
                           FuzzInput &opts)
{
  Outcome o;
  rc_decoder dec = start;
  size_t at = 0;

  for (;;)
  {
    rc_record rec;
    size_t used = 7, needed = 7;
    Answer want = reference(dec, s + at, n - at);
    int r = rc_decode_next(&dec, s + at, n - at, &rec, &used, &needed);

    FUZZ_CHECK_MSG(r == want.result, dec.failed ? dec.error : "decoder and rules disagree");
    if (r == RC_DECODE_RECORD)
    {
      FUZZ_CHECK(used == want.total && used == rec.totalLength && needed == 0);
      checkFields(rec, s + at, at, (uint32_t)o.records.size());
      checkRecord(rec, s + at, opts);
      keep(&o, rec, s, 0);
      at += used;
      continue;
    }
    FUZZ_CHECK(used == 0);
    o.last = r;
    if (r == RC_DECODE_NEED_MORE)
    {
      FUZZ_CHECK(needed == want.needed && needed > n - at);
      FUZZ_CHECK(!dec.failed);
    }
    else
    {
      FUZZ_CHECK(needed == 0 && dec.failed);
      o.error = dec.error;
      FUZZ_CHECK(!o.error.empty());
      /* A failed decoder stays failed, with the same message. */
      FUZZ_CHECK(rc_decode_next(&dec, s + at, n - at, &rec, &used, NULL) == RC_DECODE_ERROR);
      FUZZ_CHECK(o.error == dec.error);
    }
    break;
  }
  FUZZ_CHECK(dec.offset == at && dec.records == o.records.size());
  o.finished = rc_decoder_finish(&dec, n - at);
  FUZZ_CHECK(o.finished == (o.last == RC_DECODE_NEED_MORE && at == n));
  o.finishError = o.finished ? "" : dec.error;
  return o;
}

/* A small generator for chunk sizes. */
static uint32_t nextRandom(uint32_t *state)
{
  *state = *state * 1103515245u + 12345u;
  return *state >> 8;
}

/*
 * 'decodeChunked()' - The same stream arriving in pieces, decoded as a
 * receiver does: append, decode what is complete, drop what was used.
 */
static Outcome decodeChunked(const rc_decoder &start, const unsigned char *s, size_t n,
                             uint32_t seed, bool tiny)
{
  Outcome o;
  rc_decoder dec = start;
  std::vector<unsigned char> pending;
  uint64_t base = 0; /* stream offset of pending[0] */
  size_t fed = 0;

  o.last = RC_DECODE_NEED_MORE;
  while (o.last == RC_DECODE_NEED_MORE)
  {
    size_t chunk = tiny ? nextRandom(&seed) % 16 : nextRandom(&seed) % 4096;
    if (chunk > n - fed)
      chunk = n - fed;
    pending.insert(pending.end(), s + fed, s + fed + chunk);
    fed += chunk;

    for (;;)
    {
      rc_record rec;
      size_t used = 0, needed = 0;
      int r = rc_decode_next(&dec, pending.data(), pending.size(), &rec, &used, &needed);
      if (r == RC_DECODE_RECORD)
      {
        keep(&o, rec, pending.data(), base);
        pending.erase(pending.begin(), pending.begin() + (ptrdiff_t)used);
        base += used;
        continue;
      }
      o.last = r;
      if (r == RC_DECODE_ERROR)
        o.error = dec.error;
      else
        FUZZ_CHECK(needed > pending.size());
      break;
    }
    if (fed == n)
      break;
  }
  o.finished = rc_decoder_finish(&dec, pending.size());
  o.finishError = o.finished ? "" : dec.error;
  return o;
}

/*
 * 'sameOutcome()' - Whole-buffer and chunked decoding agree.
 */
static void sameOutcome(const Outcome &a, const Outcome &b)
{
  FUZZ_CHECK(a.records.size() == b.records.size());
  for (size_t i = 0; i < a.records.size(); i++)
  {
    const rc_record &x = a.records[i], &y = b.records[i];
    FUZZ_CHECK(x.id == y.id && x.totalLength == y.totalLength && x.offset == y.offset &&
               x.index == y.index && x.fixedSize == y.fixedSize && x.nameLen == y.nameLen &&
               x.dataLength == y.dataLength);
    FUZZ_CHECK(memcmp(&x.page, &y.page, sizeof x.page) == 0);
    FUZZ_CHECK(memcmp(&x.bitmap, &y.bitmap, sizeof x.bitmap) == 0);
    FUZZ_CHECK(memcmp(&x.fragment, &y.fragment, sizeof x.fragment) == 0);
    FUZZ_CHECK(a.payloadAt[i] == b.payloadAt[i] && a.dataAt[i] == b.dataAt[i]);
  }
  FUZZ_CHECK(a.last == b.last);
  FUZZ_CHECK_MSG(a.error == b.error, b.error.c_str());
  FUZZ_CHECK(a.finished == b.finished);
  FUZZ_CHECK_MSG(a.finishError == b.finishError, b.finishError.c_str());
}

/*
 * 'encodeThenDecode()' - A record built from the input, encoded with
 * consistent lengths, decodes to itself when its payload is terminated.
 */
static void encodeThenDecode(FuzzInput &in)
{
  static const uint32_t ids[] = {411, 412, 413, 418, 419, 420, 421};
  rc_record rec;
  unsigned char fixedBytes[44];

  memset(&rec, 0, sizeof rec);
  rec.id = ids[in.u8() % 7];
  std::string fixedPart = in.bytes(sizeof fixedBytes);
  memset(fixedBytes, 0, sizeof fixedBytes);
  memcpy(fixedBytes, fixedPart.data(), fixedPart.size());
  rec.page.fields = le32(fixedBytes);
  rec.page.orientation = (int16_t)le16(fixedBytes + 4);
  rec.page.paperSize = (int16_t)le16(fixedBytes + 6);
  rec.page.collate = (int16_t)le16(fixedBytes + 8);
  memcpy(rec.page.reserved, fixedBytes + 10, 6);
  rec.bitmap.width = le32(fixedBytes + 16);
  rec.bitmap.yResolution = le32(fixedBytes + 20);
  rec.fragment.uncompressedLength = le32(fixedBytes + 24);
  rec.fragment.constant = le32(fixedBytes + 28);
  if (rec.id != 420)
    memset(&rec.page, 0, sizeof rec.page);
  if (rec.id != 411)
    memset(&rec.bitmap, 0, sizeof rec.bitmap);
  if (rec.id != 412)
    memset(&rec.fragment, 0, sizeof rec.fragment);

  std::string payload = in.bytes(in.u8() & 0xFE);
  std::string data = rec.id == 412 ? in.piece() : std::string();
  rec.nameLen = (uint32_t)payload.size();
  rec.payload = payload.empty() ? NULL : (const unsigned char *)payload.data();
  rec.dataLength = (uint32_t)data.size();
  rec.data = data.empty() ? NULL : (const unsigned char *)data.data();
  rc_record_set_lengths(&rec);

  std::vector<unsigned char> bytes(rc_encoded_size(&rec));
  FUZZ_CHECK(rc_encode_record(&rec, bytes.data(), bytes.size()) == bytes.size());

  rc_decoder dec;
  rc_decoder_init(&dec);
  Answer want = reference(dec, bytes.data(), bytes.size());
  rc_record back;
  size_t used = 0;
  int r = rc_decode_next(&dec, bytes.data(), bytes.size(), &back, &used);
  FUZZ_CHECK(r == want.result);
  if (r != RC_DECODE_RECORD)
  {
    FUZZ_CHECK(r == RC_DECODE_ERROR && rec.nameLen > 0);
    return;
  }
  FUZZ_CHECK(used == bytes.size());
  FUZZ_CHECK(back.id == rec.id && back.totalLength == rec.totalLength &&
             back.nameLen == rec.nameLen && back.dataLength == rec.dataLength);
  FUZZ_CHECK(memcmp(&back.page, &rec.page, sizeof rec.page) == 0);
  FUZZ_CHECK(memcmp(&back.bitmap, &rec.bitmap, sizeof rec.bitmap) == 0);
  FUZZ_CHECK(memcmp(&back.fragment, &rec.fragment, sizeof rec.fragment) == 0);
  FUZZ_CHECK(rec.nameLen == 0 || memcmp(back.payload, payload.data(), rec.nameLen) == 0);
  FUZZ_CHECK(rec.dataLength == 0 || memcmp(back.data, data.data(), rec.dataLength) == 0);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t options = in.u8();
  uint32_t seed = in.u32();
  rc_decoder start;

  g_budget = kDecompressBudget;
  rc_decoder_init(&start);
  if (options & 1)
    start.maxNameLen = in.u16();
  if (options & 2)
    start.maxTotalLength = in.u32() % (RC_DEFAULT_MAX_TOTAL_LENGTH + 1);
  if (options & 8)
    encodeThenDecode(in);

  /* The stream is the rest; the parameters of the per-record checks come
     from a copy of it read from the back, so they do not shift it. */
  std::string stream = in.rest();
  std::string reversed(stream.rbegin(), stream.rend());
  FuzzInput opts((const uint8_t *)reversed.data(), reversed.size());
  const unsigned char *s = (const unsigned char *)stream.data();

  Outcome whole = decodeWhole(start, s, stream.size(), opts);
  Outcome chunked = decodeChunked(start, s, stream.size(), seed, (options & 4) != 0);
  sameOutcome(whole, chunked);

  /* The converter on raw bytes, whatever they hold (odd lengths and no
     terminator included), and with no payload at all. */
  FuzzInput raw(data, size);
  uint32_t rawLen = (uint32_t)raw.upTo(size);
  checkPayloadText(data, rawLen, raw.upTo(64));
  checkPayloadText(NULL, 0, raw.upTo(4));
  checkPayloadText(NULL, 2, raw.upTo(4));
  return 0;
}
