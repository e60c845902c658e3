/*
 * KivConvert_unix.cpp - kivruntime: character set conversions between wide
 * strings (UCS-4) and UTF-8, the ANSI code page, Latin-1 and UTF-16, and the
 * per-character helpers the rest of the library steps with.
 *
 * Every converter is a bounded writer: with capacity 0 it only measures;
 * otherwise one unit is kept for the terminating zero, each output item
 * (one character's whole sequence, a surrogate pair) is written only while
 * it fits, and the first item that does not fit ends writing (a zero is
 * stored there) while the rest of the input is still counted.  The result is
 * the units written when everything fitted, else the total units plus one,
 * which is the capacity a second call needs.  The whole input is walked in
 * one pass; nothing is allocated.
 */
#include "KivString_unix.h"
#include "KivVector_unix.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#if defined(KIV_VECTOR_X86)
#include <immintrin.h>
#endif

/*
 * KivWriter - destination state of one bounded write (private to this
 * file).  The total is kept in 64 bits so that a huge input cannot wrap it;
 * a result that does not fit in 32 bits is reported as 0xFFFFFFFF, which is
 * never below a capacity and so always reads as "did not fit".
 */
namespace {

template <class U>
struct KivWriter
{
  U *dest;
  unsigned int room; /* capacity - 1: units available for output */
  unsigned int pos;  /* units written so far */
  uint64_t total;    /* units the whole input needs */
  int writing;       /* 0 when measuring or after the first item that did not fit */

  KivWriter(U *d, unsigned int capacity)
  {
    if (!d)
      capacity = 0; /* no destination: measure only */
    dest = d;
    room = capacity ? capacity - 1 : 0;
    pos = 0;
    total = 0;
    writing = capacity != 0;
  }

  /* Ends writing at the current position: the output is terminated there
     * and nothing further is stored. */
  void Stop()
  {
    dest[pos] = 0;
    writing = 0;
  }

  /* One item of one unit. */
  void Put(U v)
  {
    total++;
    if (writing)
    {
      if (pos < room)
        dest[pos++] = v;
      else
        Stop();
    }
  }

  /* One item of two units, written whole or not at all. */
  void Put2(U a, U b)
  {
    total += 2;
    if (writing)
    {
      if (room - pos >= 2)
      {
        dest[pos++] = a;
        dest[pos++] = b;
      }
      else
      {
        Stop();
      }
    }
  }

  /* Result of the write; terminates a complete output. */
  unsigned int Finish()
  {
    if (writing)
    {
      dest[pos] = 0;
      return pos;
    }
    return total + 1 > 0xFFFFFFFFu ? 0xFFFFFFFFu : (unsigned int)(total + 1);
  }
};

} /* namespace */

/* A character's value read as a signed 32-bit number, whatever the
 * signedness of wchar_t on the host. */
static inline int32_t KivCharValue(wchar_t c)
{
  return (int32_t)(uint32_t)c;
}

/* Length of a narrow text up to its zero (0 for null); the C library's
 * strlen looks at many bytes per step. */
static uint64_t KivNarrowLength(char const *s)
{
  return s ? (uint64_t)strlen(s) : 0;
}

/* Length of a text of 16- or 32-bit units up to its zero (0 for null). */
template <class U>
static uint64_t KivUnitLength(U const *s)
{
  uint64_t n = 0;
  if (s)
    while (s[n] != 0)
      n++;
  return n;
}

/* The same for wide characters, by the C library's wcslen. */
static uint64_t KivUnitLength(wchar_t const *s)
{
  return s ? (uint64_t)wcslen(s) : 0;
}

/* 1 if the 8 bytes at s are all below 0x80.  Read as one 64-bit word
 * through memcpy (no alignment needed) and tested against a mask that has
 * the top bit of every byte, which gives the same answer in either byte
 * order. */
static inline int KivAscii8(unsigned char const *s)
{
  uint64_t word;
  memcpy(&word, s, 8);
  return (word & 0x8080808080808080ull) == 0;
}

/* Index (0-7) of the first byte of 0x80 or above among the 8 bytes at b,
 * given mask, the non-zero result of masking those bytes read as one word
 * as in KivAscii8.  The byte is found from the mask's lowest set bit on a
 * little-endian host and from its highest on a big-endian one, or byte by
 * byte where the byte order is not known at compile time. */
static inline unsigned int KivFirstHigh8(unsigned char const *b, uint64_t mask)
{
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  (void)b;
  return (unsigned int)__builtin_ctzll(mask) >> 3;
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  (void)b;
  return (unsigned int)__builtin_clzll(mask) >> 3;
#else
  (void)mask;
  unsigned int k = 0;
  while (b[k] < 0x80)
    k++;
  return k;
#endif
}

/* Copies 16 bytes at s into the local block b and returns the number of
 * bytes below 0x80 at its start (16 when all are).  Working on the copy
 * lets the compiler widen the block with vector instructions: stores into
 * the destination cannot change it, as they could change the source as far
 * as the compiler knows. */
static inline unsigned int KivLoadAscii16(unsigned char (&b)[16], unsigned char const *s)
{
  memcpy(b, s, 16);
  uint64_t w0, w1;
  memcpy(&w0, s, 8);
  memcpy(&w1, s + 8, 8);
  const uint64_t m0 = w0 & 0x8080808080808080ull;
  const uint64_t m1 = w1 & 0x8080808080808080ull;
  if (m0 != 0)
    return KivFirstHigh8(b, m0);
  if (m1 != 0)
    return 8 + KivFirstHigh8(b + 8, m1);
  return 16;
}

/* Number of input units to convert: the count as given, or up to the zero
 * for -1; nothing for a null source. */
static inline uint64_t KivInputCount(char const *src, unsigned int count)
{
  if (!src)
    return 0;
  return count == 0xFFFFFFFFu ? KivNarrowLength(src) : count;
}

template <class U>
static inline uint64_t KivInputCount(U const *src, unsigned int count)
{
  if (!src)
    return 0;
  return count == 0xFFFFFFFFu ? KivUnitLength(src) : count;
}

/* Bytes of the UTF-8 form of a value (compared signed: every negative value
 * is a single byte). */
static inline unsigned int KivUTF8Length(int32_t v)
{
  if (v <= 0x7F)
    return 1;
  if (v <= 0x7FF)
    return 2;
  if (v <= 0xFFFF)
    return 3;
  if (v <= 0x1FFFFF)
    return 4;
  if (v <= 0x3FFFFFF)
    return 5;
  return 6;
}

/*
 * CharEncodeUTF8 - writes the UTF-8 form of *c into dest when room holds the
 * whole sequence, and returns its length in any case.  Surrogates and values
 * above U+10FFFF are encoded by the same bit rules (up to six bytes).  A
 * negative value is written as its low byte, unchecked, so that the
 * sign-extended bytes of KivStrDecodeLatin1 come back out unchanged.
 */
unsigned int CharEncodeUTF8(char *dest, unsigned int room, wchar_t const *c, unsigned int ignored)
{
  (void)ignored;
  if (!c)
    return 0;
  int32_t v = KivCharValue(*c);
  unsigned int len = KivUTF8Length(v);
  if (!dest || room < len)
    return len;
  uint32_t u = (uint32_t)v;
  if (len == 1)
  {
    dest[0] = (char)(unsigned char)(u & 0xFF);
    return 1;
  }
  static const unsigned char s_lead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  for (unsigned int i = len - 1; i > 0; i--)
  {
    dest[i] = (char)(unsigned char)(0x80 | (u & 0x3F));
    u >>= 6;
  }
  dest[0] = (char)(unsigned char)(s_lead[len] | u);
  return len;
}

/*
 * KivDecodeOne - decodes one UTF-8 sequence of at most available bytes into
 * *out and returns the bytes consumed (at least 1; available must not be 0).
 * Only the structure is checked: 5- and 6-byte forms and overlong forms are
 * accepted and decoded by their bits, and the value is never judged.  A lead
 * byte that is not one, a following byte not of the form 10xxxxxx, or a
 * sequence cut short by the end of the input gives '?' and consumes one
 * byte, so the rest of a broken sequence is judged byte by byte.
 */
static inline unsigned int KivDecodeOne(unsigned char const *s, uint64_t available, uint32_t *out)
{
  unsigned int b = s[0];
  if (b < 0x80)
  {
    *out = b;
    return 1;
  }
  /* The three-, two- and four-byte forms, all of Unicode, are spelled
     * out, East Asian text's three-byte form first; the five- and six-byte
     * ones go through the general loop. */
  if ((b & 0xF0) == 0xE0)
  {
    /* Both following bytes checked by one test. */
    if (available >= 3 && ((((unsigned int)s[1] << 8) | s[2]) & 0xC0C0) == 0x8080)
    {
      *out = ((uint32_t)(b & 0x0F) << 12) | ((uint32_t)(s[1] & 0x3F) << 6) | (uint32_t)(s[2] & 0x3F);
      return 3;
    }
    *out = '?';
    return 1;
  }
  if ((b & 0xE0) == 0xC0)
  {
    if (available >= 2 && (s[1] & 0xC0) == 0x80)
    {
      *out = ((uint32_t)(b & 0x1F) << 6) | (uint32_t)(s[1] & 0x3F);
      return 2;
    }
    *out = '?';
    return 1;
  }
  if ((b & 0xF8) == 0xF0)
  {
    if (available >= 4 && (s[1] & 0xC0) == 0x80 && (s[2] & 0xC0) == 0x80 && (s[3] & 0xC0) == 0x80)
    {
      *out = ((uint32_t)(b & 0x07) << 18) | ((uint32_t)(s[1] & 0x3F) << 12) |
             ((uint32_t)(s[2] & 0x3F) << 6) | (uint32_t)(s[3] & 0x3F);
      return 4;
    }
    *out = '?';
    return 1;
  }
  unsigned int len;
  uint32_t v;
  if ((b & 0xFC) == 0xF8)
  {
    len = 5;
    v = b & 0x03;
  }
  else if ((b & 0xFE) == 0xFC)
  {
    len = 6;
    v = b & 0x01;
  }
  else
  {
    *out = '?';
    return 1;
  }
  if (available < len)
  {
    *out = '?';
    return 1;
  }
  for (unsigned int i = 1; i < len; i++)
  {
    unsigned int f = s[i];
    if ((f & 0xC0) != 0x80)
    {
      *out = '?';
      return 1;
    }
    v = (v << 6) | (f & 0x3F);
  }
  *out = v;
  return len;
}

/*
 * CharDecodeUTF8 - decodes one UTF-8 sequence from src, of which available
 * bytes may be read; stores the character when room is not 0 (room only
 * says whether to store) and returns the bytes consumed.  With nothing
 * available nothing is read and 0 is returned.
 */
unsigned int CharDecodeUTF8(wchar_t *dest, unsigned int room, unsigned char const *src, unsigned int available)
{
  if (!src || available == 0)
    return 0;
  uint32_t v;
  unsigned int used = KivDecodeOne(src, available, &v);
  if (room != 0 && dest)
    *dest = (wchar_t)v;
  return used;
}

/*
 * KivStrEncodeUTF8 - UCS-4 to UTF-8.  A sequence is never cut: a character
 * whose sequence does not fit in the remaining room ends writing.
 *
 * While at least six bytes of room are left every character fits, so the
 * first loop writes without asking: ASCII eight characters at a time when
 * they come in a row, every other character as one sequence with the
 * common lengths spelled out.  Near the end of the room the second loop
 * weighs each character exactly.  The result is the same as one character
 * after the other through CharEncodeUTF8.
 */
unsigned int KivStrEncodeUTF8(char *dest, unsigned int capacity, wchar_t const *src, unsigned int count)
{
  uint64_t n = KivInputCount(src, count);
  KivWriter<char> w(dest, capacity);
  uint64_t i = 0;
  if (w.writing)
  {
    wchar_t const *p = src;
    wchar_t const *const pEnd = src + n;
    char *o = w.dest;
    char *const oEnd = w.dest + w.room;
    while (p < pEnd && oEnd - o >= 6)
    {
      uint32_t u = (uint32_t)*p;
      if (u < 0x80)
      {
        if (pEnd - p >= 8 && oEnd - o >= 8)
        {
          /* A local copy, for the same reason as in
                     * KivLoadAscii16. */
          uint32_t c[8];
          uint32_t any = 0;
          for (unsigned int k = 0; k < 8; k++)
          {
            c[k] = (uint32_t)p[k];
            any |= c[k];
          }
          if (any < 0x80)
          {
            for (unsigned int k = 0; k < 8; k++)
              o[k] = (char)(unsigned char)c[k];
            p += 8;
            o += 8;
            continue;
          }
          /* Another character lies among these eight, and eight
                     * bytes are free: copy up to it without counting. */
          while ((uint32_t)*p < 0x80)
            *o++ = (char)(unsigned char)(uint32_t)*p++;
          continue;
        }
        *o++ = (char)(unsigned char)u;
        p++;
        continue;
      }
      int32_t v = KivCharValue(*p);
      if (v < 0)
      {
        *o++ = (char)(unsigned char)(u & 0xFF); /* a negative value: its low byte */
      }
      else if (v <= 0x7FF)
      {
        o[0] = (char)(unsigned char)(0xC0 | (u >> 6));
        o[1] = (char)(unsigned char)(0x80 | (u & 0x3F));
        o += 2;
      }
      else if (v <= 0xFFFF)
      {
        o[0] = (char)(unsigned char)(0xE0 | (u >> 12));
        o[1] = (char)(unsigned char)(0x80 | ((u >> 6) & 0x3F));
        o[2] = (char)(unsigned char)(0x80 | (u & 0x3F));
        o += 3;
      }
      else if (v <= 0x1FFFFF)
      {
        o[0] = (char)(unsigned char)(0xF0 | (u >> 18));
        o[1] = (char)(unsigned char)(0x80 | ((u >> 12) & 0x3F));
        o[2] = (char)(unsigned char)(0x80 | ((u >> 6) & 0x3F));
        o[3] = (char)(unsigned char)(0x80 | (u & 0x3F));
        o += 4;
      }
      else
      {
        o += CharEncodeUTF8(o, (unsigned int)(oEnd - o), p, 0);
      }
      p++;
    }
    for (; p < pEnd; p++)
    {
      unsigned int len = KivUTF8Length(KivCharValue(*p));
      if (len > (unsigned int)(oEnd - o))
        break;
      CharEncodeUTF8(o, (unsigned int)(oEnd - o), p, 0);
      o += len;
    }
    i = (uint64_t)(p - src);
    w.pos = (unsigned int)(o - w.dest);
    w.total = w.pos;
    if (i < n)
      w.Stop(); /* the character at i did not fit */
  }
  for (; i < n; i++)
    w.total += KivUTF8Length(KivCharValue(src[i]));
  return w.Finish();
}

/*
 * KivDecodeAhead - KivDecodeOne for a sequence that has at least sixteen
 * bytes after its start (so no end needs watching), lead byte 0x80 or
 * above.  The next four bytes are taken as one number, first byte highest
 * (built from the bytes, so the same on every host): one test then checks
 * a whole two-, three- or four-byte sequence, lead and following bytes
 * together.  Anything else goes to KivDecodeOne.
 */
static inline unsigned int KivDecodeAhead(unsigned char const *p, uint32_t *out)
{
  uint32_t x = ((uint32_t)p[0] << 24) | ((uint32_t)p[1] << 16) | ((uint32_t)p[2] << 8) | p[3];
  if ((x & 0xF0C0C000u) == 0xE0808000u)
  {
    *out = ((x >> 12) & 0xF000u) | ((x >> 10) & 0x0FC0u) | ((x >> 8) & 0x3Fu);
    return 3;
  }
  if ((x & 0xE0C00000u) == 0xC0800000u)
  {
    *out = ((x >> 18) & 0x07C0u) | ((x >> 16) & 0x3Fu);
    return 2;
  }
  if ((x & 0xF8C0C0C0u) == 0xF0808080u)
  {
    *out = ((x >> 6) & 0x1C0000u) | ((x >> 4) & 0x3F000u) | ((x >> 2) & 0x0FC0u) | (x & 0x3Fu);
    return 4;
  }
  return KivDecodeOne(p, 16, out);
}

#if defined(KIV_VECTOR_X86)
/* For each set of kept positions among eight 16-bit lanes (bit i: lane i
 * kept), the byte shuffle that moves the kept lanes, in order, to the
 * front; the other lanes become 0.  Built at compile time. */
struct TKivKeepLanes
{
  unsigned char at[256][16];
};

constexpr TKivKeepLanes MakeKeepLanes()
{
  TKivKeepLanes t{};
  for (int keep = 0; keep < 256; keep++)
  {
    int j = 0;
    for (int i = 0; i < 8; i++)
    {
      if (keep & (1 << i))
      {
        t.at[keep][2 * j] = (unsigned char)(2 * i);
        t.at[keep][2 * j + 1] = (unsigned char)(2 * i + 1);
        j++;
      }
    }
    for (; j < 8; j++)
    {
      t.at[keep][2 * j] = 0x80;
      t.at[keep][2 * j + 1] = 0x80;
    }
  }
  return t;
}

constexpr TKivKeepLanes s_keepLanes = MakeKeepLanes();

/*
 * KivDecodeMixedAVX2 - ASCII mixed with two-byte sequences (European
 * text), sixteen bytes per step with no branch per character, from p
 * (which starts a character) while 96 bytes and 32 cells are left.  Each
 * block of sixteen bytes is classed (ASCII, lead byte 110xxxxx, following
 * byte 10xxxxxx) and taken when it holds nothing else and its following
 * bytes are exactly those after a lead byte; a lead byte at the end of a
 * block is joined with the first byte of the next, whose position that
 * block then drops.  Every kept position gets the value of the character
 * starting there (as KivDecodeOne decodes it), the positions of following
 * bytes are dropped by one shuffle per eight, looked up by which are kept,
 * and the characters are widened and stored.
 *
 * Blocks are always sixteen bytes, so where the next one starts never
 * waits for this one's bytes.  Each half stores eight cells, perhaps more
 * than it has characters; with 96 bytes left those cells are surely
 * overwritten (see KivStrDecodeUTF8).  Stops at the first block of another
 * kind, leaving p at a character's start, and returns the bytes used.
 */
__attribute__((target("avx2,popcnt"))) static void KivDecodeMixedAVX2(unsigned char const *&pp,
                                                                      unsigned char const *pEnd, wchar_t *&oo,
                                                                      wchar_t *oEnd)
{
  unsigned char const *p = pp;
  wchar_t *o = oo;
  const __m128i zero = _mm_setzero_si128();
  const __m128i top2 = _mm_set1_epi8((char)0xC0);
  const __m128i top3 = _mm_set1_epi8((char)0xE0);
  const __m128i follows = _mm_set1_epi8((char)0x80);
  const __m128i leads = _mm_set1_epi8((char)0xC0);
  const __m128i low5 = _mm_set1_epi16(0x1F);
  const __m128i low6 = _mm_set1_epi16(0x3F);
  unsigned int carry = 0; /* 1: the block starts with the following byte of the last one's lead byte */
  while (pEnd - p >= 96 && oEnd - o >= 32)
  {
    const __m128i in = _mm_loadu_si128((const __m128i *)(const void *)p);
    const __m128i next = _mm_loadu_si128((const __m128i *)(const void *)(p + 1));
    const unsigned int high = (unsigned int)_mm_movemask_epi8(in);
    const unsigned int follow = (unsigned int)_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(in, top2), follows));
    const __m128i leadBytes = _mm_cmpeq_epi8(_mm_and_si128(in, top3), leads);
    const unsigned int lead = (unsigned int)_mm_movemask_epi8(leadBytes);
    const unsigned int nextFollow =
      (unsigned int)_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(next, top2), follows)) >> 15;
    if ((high & ~(lead | follow)) != 0 || follow != (((lead << 1) | carry) & 0xFFFFu) ||
        (lead >> 15) != ((lead >> 15) & nextFollow))
      break;
    const unsigned int keep = ~follow & 0xFFFFu;
    for (int half = 0; half < 2; half++)
    {
      const __m128i cur = half ? _mm_unpackhi_epi8(in, zero) : _mm_unpacklo_epi8(in, zero);
      const __m128i nxt = half ? _mm_unpackhi_epi8(next, zero) : _mm_unpacklo_epi8(next, zero);
      const __m128i isLead = half ? _mm_unpackhi_epi8(leadBytes, leadBytes) : _mm_unpacklo_epi8(leadBytes, leadBytes);
      const __m128i joined = _mm_or_si128(_mm_slli_epi16(_mm_and_si128(cur, low5), 6), _mm_and_si128(nxt, low6));
      const __m128i values = _mm_blendv_epi8(cur, joined, isLead);
      const unsigned int k = (keep >> (8 * half)) & 0xFFu;
      const __m128i order = _mm_loadu_si128((const __m128i *)(const void *)s_keepLanes.at[k]);
      _mm256_storeu_si256((__m256i *)(void *)o, _mm256_cvtepu16_epi32(_mm_shuffle_epi8(values, order)));
      o += __builtin_popcount(k);
    }
    carry = lead >> 15;
    p += 16;
  }
  /* A lead byte ending the last block taken was decoded with the byte
   * after it: the next character starts one further on. */
  pp = p + carry;
  oo = o;
}

/*
 * KivDecodeUTF8AVX2 - the first part of KivStrDecodeUTF8's main loop with
 * the vector instructions of AVX2 (and the SSSE3 shuffles it includes):
 * decodes from p into o while 32 bytes and 32 cells are left, and leaves
 * p and o where it stopped, for the plain loop to go on.  Its output is
 * that loop's, sequence for sequence:
 *
 * - ASCII 32 bytes at a time when all of them are, widened by 32-byte
 *   stores (widening writes four bytes per byte, so the number of stores
 *   sets the pace); otherwise the ASCII bytes before the first other one,
 *   with the plain loop's rule for writing sixteen cells ahead.
 * - Three- and four-byte sequences four at a time where they come in a
 *   run of one length (East Asian text, emoji): the sixteen bytes at p
 *   are checked to hold four whole sequences by one mask and one compare
 *   on all bytes (lead bytes 1110xxxx or 11110xxx, following bytes
 *   10xxxxxx, as KivDecodeOne requires), a shuffle gathers each sequence
 *   into a 32-bit lane, lead byte highest, and shifts and masks take out
 *   the bits.
 * - Any other sequence one at a time through KivDecodeAhead.
 */
__attribute__((target("avx2,popcnt"))) static void KivDecodeUTF8AVX2(unsigned char const *&pp, unsigned char const *pEnd,
                                                                     wchar_t *&oo, wchar_t *oEnd)
{
  unsigned char const *p = pp;
  wchar_t *o = oo;
  const __m128i mask3 = _mm_setr_epi8((char)0xF0, (char)0xC0, (char)0xC0, (char)0xF0, (char)0xC0, (char)0xC0,
                                      (char)0xF0, (char)0xC0, (char)0xC0, (char)0xF0, (char)0xC0, (char)0xC0, 0, 0, 0,
                                      0);
  const __m128i want3 = _mm_setr_epi8((char)0xE0, (char)0x80, (char)0x80, (char)0xE0, (char)0x80, (char)0x80,
                                      (char)0xE0, (char)0x80, (char)0x80, (char)0xE0, (char)0x80, (char)0x80, 0, 0, 0,
                                      0);
  const __m128i gather3 = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
  const __m128i mask4 = _mm_set1_epi32((int)0xC0C0C0F8u); /* bytes F8 C0 C0 C0 in memory order */
  const __m128i want4 = _mm_set1_epi32((int)0x808080F0u);
  const __m128i gather4 = _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
  while (pEnd - p >= 32 && oEnd - o >= 32)
  {
    if (*p < 0x80)
    {
      const __m256i in = _mm256_loadu_si256((const __m256i *)(const void *)p);
      const unsigned int high = (unsigned int)_mm256_movemask_epi8(in);
      const unsigned int ascii = high ? (unsigned int)__builtin_ctz(high) : 32u;
      if (ascii < 32 && (p[ascii] & 0xE0) == 0xC0 && pEnd - p >= 96)
      {
        /* A two-byte sequence ahead: the text may be European, taken in
         * blocks of ASCII and two-byte sequences for as long as they
         * come. */
        unsigned char const *const before = p;
        KivDecodeMixedAVX2(p, pEnd, o, oEnd);
        if (p != before)
          continue;
      }
      if (ascii >= 16 || pEnd - p >= 96)
      {
        const unsigned int blocks = ascii == 32 ? 4u : 2u;
        for (unsigned int k = 0; k < blocks; k++)
        {
          const __m128i eight = _mm_loadl_epi64((const __m128i *)(const void *)(p + 8 * k));
          _mm256_storeu_si256((__m256i *)(void *)(o + 8 * k), _mm256_cvtepu8_epi32(eight));
        }
        if (ascii > 16 && ascii < 32)
        {
          for (unsigned int k = 16; k < ascii; k++)
            o[k] = (wchar_t)p[k];
        }
      }
      else
      {
        for (unsigned int k = 0; k < ascii; k++)
          o[k] = (wchar_t)p[k];
      }
      p += ascii;
      o += ascii;
      continue; /* both ends are checked again before the next step */
    }
    /* p is at a byte of 0x80 or above, with 16 bytes after it.  Two-byte
     * sequences: in blocks as above, or one at a time. */
    if (*p < 0xE0)
    {
      if ((*p & 0xE0) == 0xC0 && pEnd - p >= 96)
      {
        unsigned char const *const before = p;
        KivDecodeMixedAVX2(p, pEnd, o, oEnd);
        if (p != before)
          continue;
      }
      uint32_t v;
      p += KivDecodeAhead(p, &v);
      *o++ = (wchar_t)v;
      continue;
    }
    const __m128i in = _mm_loadu_si128((const __m128i *)(const void *)p);
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(in, mask3), want3)) == 0xFFFF)
    {
      const __m128i lane = _mm_shuffle_epi8(in, gather3);
      const __m128i v = _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_srli_epi32(lane, 4), _mm_set1_epi32(0xF000)),
                                                  _mm_and_si128(_mm_srli_epi32(lane, 2), _mm_set1_epi32(0x0FC0))),
                                     _mm_and_si128(lane, _mm_set1_epi32(0x3F)));
      _mm_storeu_si128((__m128i *)(void *)o, v);
      p += 12;
      o += 4;
      continue;
    }
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(in, mask4), want4)) == 0xFFFF)
    {
      const __m128i lane = _mm_shuffle_epi8(in, gather4);
      const __m128i hi = _mm_or_si128(_mm_and_si128(_mm_srli_epi32(lane, 6), _mm_set1_epi32(0x1C0000)),
                                      _mm_and_si128(_mm_srli_epi32(lane, 4), _mm_set1_epi32(0x3F000)));
      const __m128i lo = _mm_or_si128(_mm_and_si128(_mm_srli_epi32(lane, 2), _mm_set1_epi32(0x0FC0)),
                                      _mm_and_si128(lane, _mm_set1_epi32(0x3F)));
      _mm_storeu_si128((__m128i *)(void *)o, _mm_or_si128(hi, lo));
      p += 16;
      o += 4;
      continue;
    }
    uint32_t v;
    p += KivDecodeAhead(p, &v);
    *o++ = (wchar_t)v;
  }
  pp = p;
  oo = o;
}
#endif

/*
 * KivStrDecodeUTF8 - UTF-8 to UCS-4, one character per sequence (see
 * KivDecodeOne for the leniency).  Zero bytes inside an explicit count
 * decode to U+0000 like any other byte.
 *
 * Every sequence gives exactly one character.  While sixteen input bytes
 * and sixteen cells remain, ASCII is tested and widened sixteen bytes at a
 * time (up to the first other byte), and the common multi-byte sequences
 * are checked and decoded by one test each; near either end the loop takes
 * one character at a time and stops when the room is used up.  The rest is
 * then only counted, ASCII eight bytes at a time.  Results and output are
 * those of KivDecodeOne applied sequence after sequence.
 */
unsigned int KivStrDecodeUTF8(wchar_t *dest, unsigned int capacity, char const *src, unsigned int count)
{
  uint64_t n = KivInputCount(src, count);
  unsigned char const *s = reinterpret_cast<unsigned char const *>(src);
  KivWriter<wchar_t> w(dest, capacity);
  uint64_t i = 0;
  if (w.writing)
  {
    /* Pointers rather than offsets, so that the compiler sees sixteen
         * neighbouring cells in the block copy and can widen them at once. */
    unsigned char const *p = s;
    unsigned char const *const pEnd = s + n;
    wchar_t *o = w.dest;
    wchar_t *const oEnd = w.dest + w.room;

#if defined(KIV_VECTOR_X86)
    if (KivVectorFeatures() & kKivVectorAVX2)
      KivDecodeUTF8AVX2(p, pEnd, o, oEnd);
#endif
    /* While sixteen bytes and sixteen cells are left, neither end needs
         * watching inside a step: a sequence is at most six bytes and gives
         * one character. */
    while (pEnd - p >= 16 && oEnd - o >= 16)
    {
      if (*p >= 0x80)
      {
        uint32_t v;
        p += KivDecodeAhead(p, &v);
        *o++ = (wchar_t)v;
        continue;
      }
      /* Sixteen bytes and cells at once; where a byte of 0x80 or above
             * lies among them, only the ASCII bytes before it are kept.
             * With at least 96 bytes left, the cells after those are
             * written too, ahead of time: never a visible difference,
             * because they will all be overwritten.  Either the room runs
             * out later (and every cell up to its end is written) or the
             * output runs on to the end of the input, which here is at
             * least 16 more characters, as no sequence is longer than 6
             * bytes. */
      unsigned char b[16];
      unsigned int ascii = KivLoadAscii16(b, p);
      if (ascii == 16 || pEnd - p >= 96)
      {
        for (unsigned int k = 0; k < 16; k++)
          o[k] = (wchar_t)b[k];
      }
      else
      {
        for (unsigned int k = 0; k < ascii; k++)
          o[k] = (wchar_t)b[k];
      }
      p += ascii;
      o += ascii;
    }
    /* Near either end: one character at a time. */
    while (p < pEnd)
    {
      if (o >= oEnd)
        break; /* the character at p does not fit */
      uint32_t v;
      p += KivDecodeOne(p, (uint64_t)(pEnd - p), &v);
      *o++ = (wchar_t)v;
    }
    i = (uint64_t)(p - s);
    w.pos = (unsigned int)(o - w.dest);
    w.total = w.pos;
    if (i < n)
      w.Stop();
  }
  /* Measuring, or counting what did not fit. */
  while (i < n)
  {
    if (n - i >= 8 && KivAscii8(s + i))
    {
      w.total += 8;
      i += 8;
      continue;
    }
    uint32_t v;
    i += KivDecodeOne(s + i, n - i, &v);
    w.total++;
  }
  return w.Finish();
}

/* The ANSI code page of this platform is UTF-8. */
unsigned int KivStrEncodeANSI(char *dest, unsigned int capacity, wchar_t const *src, unsigned int count)
{
  return KivStrEncodeUTF8(dest, capacity, src, count);
}

/* The ANSI code page of this platform is UTF-8. */
unsigned int KivStrDecodeANSI(wchar_t *dest, unsigned int capacity, char const *src, unsigned int count)
{
  return KivStrDecodeUTF8(dest, capacity, src, count);
}

#if defined(KIV_VECTOR_X86)
/*
 * KivEncodeLatin1AVX2 - the first characters of count (all of which fit)
 * to Latin-1 thirty-two at a time with AVX2: a value whose signed reading
 * is above 255 becomes '?', any other its low byte, as in the plain loop.
 * Each block of 32 cells is compared with 255, masked to its low byte,
 * given '?' where it was above, and narrowed to bytes by two saturating
 * packs (nothing saturates: every value is 0-255 by then) and one
 * reordering of the 8-byte pieces the packs interleave.  Returns the
 * characters done (a multiple of 32); the caller does the rest.
 */
__attribute__((target("avx2"))) static uint64_t KivEncodeLatin1AVX2(char *dest, wchar_t const *src, uint64_t count)
{
  const __m256i limit = _mm256_set1_epi32(255);
  const __m256i low = _mm256_set1_epi32(0xFF);
  const __m256i question = _mm256_set1_epi32('?');
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  uint64_t i = 0;
  for (; count - i >= 32; i += 32)
  {
    __m256i v[4];
    for (int k = 0; k < 4; k++)
    {
      const __m256i x = _mm256_loadu_si256((const __m256i *)(const void *)(src + i + 8 * k));
      const __m256i above = _mm256_cmpgt_epi32(x, limit);
      v[k] = _mm256_blendv_epi8(_mm256_and_si256(x, low), question, above);
    }
    const __m256i w01 = _mm256_packus_epi32(v[0], v[1]); /* per 128-bit lane: 0 1 | 0 1 */
    const __m256i w23 = _mm256_packus_epi32(v[2], v[3]);
    const __m256i b = _mm256_packus_epi16(w01, w23); /* 4-byte pieces: 0 1 2 3 | 0 1 2 3 */
    _mm256_storeu_si256((__m256i *)(void *)(dest + i), _mm256_permutevar8x32_epi32(b, order));
  }
  return i;
}
#endif

/*
 * KivStrEncodeLatin1 - one byte per character: a value whose signed reading
 * is above 255 becomes '?', any other (negative values included) its low
 * byte, so the sign-extended output of KivStrDecodeLatin1 round-trips.
 * The count is meant to be explicit; -1 is taken, for safety, as "up to the
 * terminating zero", and a null source as the empty string.
 */
unsigned int KivStrEncodeLatin1(char *dest, unsigned int capacity, wchar_t const *src, unsigned int count)
{
  uint64_t n = KivInputCount(src, count);
  KivWriter<char> w(dest, capacity);
  uint64_t i = 0;
  if (w.writing)
  {
    /* The characters that surely fit, in a plain loop; the writer takes
         * over for any rest. */
    uint64_t fit = n < w.room ? n : w.room;
#if defined(KIV_VECTOR_X86)
    if (KivVectorFeatures() & kKivVectorAVX2)
      i = KivEncodeLatin1AVX2(w.dest, src, fit);
#endif
    for (; i < fit; i++)
    {
      int32_t v = KivCharValue(src[i]);
      w.dest[i] = v > 255 ? '?' : (char)(unsigned char)(v & 0xFF);
    }
    w.pos = (unsigned int)fit;
    w.total = fit;
  }
  for (; i < n; i++)
  {
    int32_t v = KivCharValue(src[i]);
    w.Put(v > 255 ? '?' : (char)(unsigned char)(v & 0xFF));
  }
  return w.Finish();
}

/*
 * KivStrDecodeLatin1 - one character per byte, sign-extended: bytes
 * 0x80-0xFF become 0xFFFFFF80-0xFFFFFFFF (intended; KivStrEncodeLatin1 and
 * KivStrEncodeUTF8 turn them back into the same bytes).  Same -1 and null
 * rules as KivStrEncodeLatin1.
 */
unsigned int KivStrDecodeLatin1(wchar_t *dest, unsigned int capacity, char const *src, unsigned int count)
{
  uint64_t n = KivInputCount(src, count);
  KivWriter<wchar_t> w(dest, capacity);
  uint64_t i = 0;
  if (w.writing)
  {
    /* The bytes that surely fit, in a plain loop; the writer takes over
         * for any rest. */
    uint64_t fit = n < w.room ? n : w.room;
    for (; i < fit; i++)
      w.dest[i] = (wchar_t)(signed char)src[i];
    w.pos = (unsigned int)fit;
    w.total = fit;
  }
  for (; i < n; i++)
    w.Put((wchar_t)(signed char)src[i]);
  return w.Finish();
}

/*
 * KivStrUTF16ToUCS4 - a high surrogate directly followed by a low one gives
 * one character; any other surrogate unit becomes '?'; every other unit is
 * copied.  The result counts characters.
 */
unsigned int KivStrUTF16ToUCS4(unsigned int *dest, unsigned int capacity, unsigned short const *src, unsigned int count)
{
  uint64_t n = KivInputCount(src, count);
  KivWriter<unsigned int> w(dest, capacity);
  uint64_t i = 0;
  if (w.writing)
  {
    /* Each item is one cell: while a cell is left, write without the
         * writer's bookkeeping; it takes over at the end of the room. */
    unsigned int *d = w.dest;
    const unsigned int room = w.room;
    unsigned int pos = 0;
    while (i < n && pos < room)
    {
      unsigned int u = src[i];
      if (u - 0xD800u < 0x800u)
      {
        if (u <= 0xDBFF && n - i >= 2 && src[i + 1] >= 0xDC00 && src[i + 1] <= 0xDFFF)
        {
          d[pos++] = (u << 10) + src[i + 1] - 0x35FDC00u;
          i += 2;
          continue;
        }
        u = '?';
      }
      d[pos++] = u;
      i++;
    }
    w.pos = pos;
    w.total = pos;
  }
  while (i < n)
  {
    unsigned int u = src[i];
    if (u >= 0xD800 && u <= 0xDBFF && n - i >= 2 && src[i + 1] >= 0xDC00 && src[i + 1] <= 0xDFFF)
    {
      w.Put((u << 10) + src[i + 1] - 0x35FDC00u);
      i += 2;
      continue;
    }
    w.Put(u >= 0xD800 && u <= 0xDFFF ? (unsigned int)'?' : u);
    i++;
  }
  return w.Finish();
}

/* Length of a text of 32-bit units up to its zero (0 for null).  Where
 * wchar_t is a 32-bit unit too, the C library's wcslen measures it many
 * units per step; elsewhere one unit at a time. */
static uint64_t KivUnit32Length(unsigned int const *s)
{
  if (!s)
    return 0;
  if (sizeof(wchar_t) == sizeof(unsigned int))
    return (uint64_t)wcslen(reinterpret_cast<wchar_t const *>(s));
  return KivUnitLength(s);
}

/*
 * KivStrUCS4ToUTF16 - values up to 0xFFFF are one unit (surrogate values
 * pass through); U+10000 to U+10FFFF a surrogate pair, written whole or not
 * at all.  A value above U+10FFFF gives a '?' unit and then the pair built
 * from its bits by the same formula, each half kept to 16 bits: three units,
 * the '?' and the pair being two separate items.  The result counts units.
 *
 * While eight characters and 24 units of room are left, eight characters
 * are taken at once: when none is above 0xFFFF (the common case) they are
 * narrowed in one block, otherwise converted one by one, which cannot run
 * out of room either (three units at most per character).  Near the end of
 * the room the writer weighs each item.
 */
unsigned int KivStrUCS4ToUTF16(unsigned short *dest, unsigned int capacity, unsigned int const *src, unsigned int count)
{
  uint64_t n = src ? (count == 0xFFFFFFFFu ? KivUnit32Length(src) : count) : 0;
  KivWriter<unsigned short> w(dest, capacity);
  uint64_t i = 0;
  if (w.writing)
  {
    unsigned short *d = w.dest;
    const unsigned int room = w.room;
    unsigned int pos = 0;
    while (n - i >= 8 && room - pos >= 24)
    {
      /* A local copy, so that the compiler may widen the block: stores
       * into the destination cannot change it. */
      uint32_t c[8];
      uint32_t any = 0;
      for (unsigned int k = 0; k < 8; k++)
      {
        c[k] = src[i + k];
        any |= c[k];
      }
      if (any <= 0xFFFF)
      {
        for (unsigned int k = 0; k < 8; k++)
          d[pos + k] = (unsigned short)c[k];
        pos += 8;
        i += 8;
        continue;
      }
      for (unsigned int k = 0; k < 8; k++)
      {
        const uint32_t v = c[k];
        if (v <= 0xFFFF)
        {
          d[pos++] = (unsigned short)v;
          continue;
        }
        if (v > 0x10FFFF)
          d[pos++] = (unsigned short)'?';
        d[pos] = (unsigned short)(((v >> 10) + 0xD7C0) & 0xFFFF);
        d[pos + 1] = (unsigned short)((v & 0x3FF) + 0xDC00);
        pos += 2;
      }
      i += 8;
    }
    /* Fewer than eight characters, or the end of the room near: while
     * three units are left no character can fail to fit. */
    for (; i < n && room - pos >= 3; i++)
    {
      uint32_t c = src[i];
      if (c <= 0xFFFF)
      {
        d[pos++] = (unsigned short)c;
        continue;
      }
      if (c > 0x10FFFF)
        d[pos++] = (unsigned short)'?';
      d[pos] = (unsigned short)(((c >> 10) + 0xD7C0) & 0xFFFF);
      d[pos + 1] = (unsigned short)((c & 0x3FF) + 0xDC00);
      pos += 2;
    }
    w.pos = pos;
    w.total = pos;
  }
  for (; i < n; i++)
  {
    uint32_t c = src[i];
    if (c <= 0xFFFF)
    {
      w.Put((unsigned short)c);
      continue;
    }
    if (c > 0x10FFFF)
      w.Put((unsigned short)'?');
    w.Put2((unsigned short)(((c >> 10) + 0xD7C0) & 0xFFFF),
           (unsigned short)((c & 0x3FF) + 0xDC00));
  }
  return w.Finish();
}

/*
 * KivCharMBLen - bytes of the character at s: 1 below 0x80, otherwise what
 * the C library's mblen() says in the current locale (-1 for an invalid
 * sequence), returned as it is.  A null pointer has no character: 0.
 */
int KivCharMBLen(char const *s)
{
  if (!s)
    return 0;
  if ((unsigned char)*s < 0x80)
    return 1;
  return mblen(s, MB_CUR_MAX);
}

/* KivCharMBLen - wide strings hold one character per element. */
int KivCharMBLen(wchar_t const *s)
{
  (void)s;
  return 1;
}

/* CharX2C - the upper-case hexadecimal digit of 0-15, '?' above. */
char CharX2C(unsigned char digit)
{
  static const char s_acHex[] = "0123456789ABCDEF";
  return digit <= 15 ? s_acHex[digit] : '?';
}
