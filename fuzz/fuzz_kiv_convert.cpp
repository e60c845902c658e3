/*
 * fuzz_kiv_convert.cpp - the character set conversions of kivruntime.
 *
 * The first byte picks the conversion, the next bytes the capacity and the
 * count form (explicit, or -1 up to the terminator); the rest is the
 * source (bytes, or wide values built from pairs of bytes).  Each string
 * converter is run through checkWriter() against a plain restatement of its
 * rules, with its items (a UTF-8 sequence or a surrogate pair is never
 * cut), and then through its inverse where the conversion is exact:
 *   - wide (any value from 0 to 0x7FFFFFFF) -> UTF-8 -> wide;
 *   - bytes -> Latin-1 wide -> Latin-1 bytes, and -> UTF-8 bytes;
 *   - UTF-16 without unpaired surrogates -> UCS-4 -> UTF-16;
 *   - code points up to U+10FFFF (no surrogates) -> UTF-16 -> UCS-4.
 * The per-character helpers are checked against the same rules with exact
 * room and exactly-sized sources.
 */
#include <limits.h>
#include <locale.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

#include <string>
#include <vector>

#include "KivString_unix.h"
#include "fuzz_kiv_support.h"

static const unsigned int kAll = 0xFFFFFFFFu;

/* ---- the rules, restated ---- */

/* UTF-8 bytes of one value, compared as a signed 32-bit number. */
static std::string refEncodeChar(uint32_t u)
{
  int32_t v = (int32_t)u;
  std::string s;
  int n;
  unsigned char lead;

  if (v <= 127)
    return std::string(1, (char)(u & 0xFF));
  if (v <= 0x7FF)
  {
    n = 2;
    lead = 0xC0;
  }
  else if (v <= 0xFFFF)
  {
    n = 3;
    lead = 0xE0;
  }
  else if (v <= 0x1FFFFF)
  {
    n = 4;
    lead = 0xF0;
  }
  else if (v <= 0x3FFFFFF)
  {
    n = 5;
    lead = 0xF8;
  }
  else
  {
    n = 6;
    lead = 0xFC;
  }
  s.push_back((char)(lead | (u >> (6 * (n - 1)))));
  for (int i = n - 2; i >= 0; i--)
    s.push_back((char)(0x80 | ((u >> (6 * i)) & 0x3F)));
  return s;
}

/* One decoded sequence of at most `available` bytes: its value and length. */
static unsigned int refDecodeChar(const unsigned char *s, size_t available, uint32_t *value)
{
  unsigned int b = s[0];
  unsigned int n;
  uint32_t v;

  if (b < 0x80)
  {
    *value = b;
    return 1;
  }
  if ((b & 0xE0) == 0xC0)
  {
    n = 2;
    v = b & 0x1F;
  }
  else if ((b & 0xF0) == 0xE0)
  {
    n = 3;
    v = b & 0x0F;
  }
  else if ((b & 0xF8) == 0xF0)
  {
    n = 4;
    v = b & 0x07;
  }
  else if ((b & 0xFC) == 0xF8)
  {
    n = 5;
    v = b & 0x03;
  }
  else if ((b & 0xFE) == 0xFC)
  {
    n = 6;
    v = b & 0x01;
  }
  else
  {
    *value = '?';
    return 1;
  }
  if (available < n)
  {
    *value = '?';
    return 1;
  }
  for (unsigned int i = 1; i < n; i++)
  {
    if ((s[i] & 0xC0) != 0x80)
    {
      *value = '?';
      return 1;
    }
    v = (v << 6) | (s[i] & 0x3F);
  }
  *value = v;
  return n;
}

/* ---- the string converters ---- */

/* A count: explicit (n) or -1, which the source must then end by a zero. */
struct Count
{
  unsigned int value;
  size_t length; /* the elements that take part */
};

template <typename T>
static Count countFor(const std::vector<T> &src, bool all)
{
  Count c;
  if (all)
  {
    c.value = kAll;
    c.length = fuzzBoundedLength(src.data(), src.size());
  }
  else
  {
    c.value = (unsigned int)(src.size() ? src.size() - 1 : 0); /* the final zero is not counted */
    c.length = c.value;
  }
  return c;
}

/* The pointer handed to a converter: with an explicit count, a copy in a
   block of exactly that many elements, so that reading past the count is
   caught; with -1, the terminated source itself. */
template <typename T>
struct Handed
{
  ExactBuffer<T> copy;
  const T *p;

  Handed(const std::vector<T> &src, const Count &n)
      : copy(n.value == kAll ? 0 : n.length), p(src.data())
  {
    if (n.value != kAll)
    {
      for (size_t i = 0; i < n.length; i++)
        copy.p[i] = src[i];
      p = n.length ? copy.p : src.data();
    }
  }
};

static void encodeUTF8(const std::vector<wchar_t> &src, bool all, size_t cap)
{
  Count n = countFor(src, all);
  Items<char> items;
  for (size_t i = 0; i < n.length; i++)
  {
    std::string seq = refEncodeChar((uint32_t)src[i]);
    items.add(seq.data(), seq.size());
  }
  Handed<wchar_t> handed(src, n);
  const wchar_t *s = handed.p;
  std::vector<char> out = checkWriter<char>(
    [&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, s, n.value); }, cap, CUT_ITEMS, &items);
  std::vector<char> ansi = checkWriter<char>(
    [&](char *d, unsigned int c) { return KivStrEncodeANSI(d, c, s, n.value); }, cap, CUT_ITEMS, &items);
  FUZZ_CHECK(out == ansi);

  /* Back to wide: every non-negative value returns as it was. */
  bool exact = true;
  for (size_t i = 0; i < n.length; i++)
    exact = exact && (int32_t)src[i] >= 0;
  if (exact)
  {
    std::vector<wchar_t> back(n.length + 1, (wchar_t)0x33);
    unsigned int r = KivStrDecodeUTF8(back.data(), (unsigned int)back.size(), out.data(),
                                      (unsigned int)out.size());
    FUZZ_CHECK_MSG(r == n.length, "UTF-8 round trip changed the length");
    FUZZ_CHECK_MSG(memcmp(back.data(), src.data(), n.length * sizeof(wchar_t)) == 0,
                   "UTF-8 round trip changed the text");
  }
}

static void decodeUTF8(const std::string &bytes, bool all, size_t cap)
{
  std::vector<char> src(bytes.begin(), bytes.end());
  src.push_back(0);
  Count n = countFor(src, all);
  Items<wchar_t> items;
  for (size_t i = 0; i < n.length;)
  {
    uint32_t v;
    i += refDecodeChar((const unsigned char *)src.data() + i, n.length - i, &v);
    items.add((wchar_t)v);
  }
  Handed<char> handed(src, n);
  const char *s = handed.p;
  std::vector<wchar_t> out = checkWriter<wchar_t>(
    [&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, s, n.value); }, cap, CUT_UNITS, &items);
  std::vector<wchar_t> ansi = checkWriter<wchar_t>(
    [&](wchar_t *d, unsigned int c) { return KivStrDecodeANSI(d, c, s, n.value); }, cap, CUT_UNITS, &items);
  FUZZ_CHECK(out == ansi);
}

static void latin1(const std::string &bytes, bool all, size_t cap)
{
  std::vector<char> src(bytes.begin(), bytes.end());
  src.push_back(0);
  Count n = countFor(src, all);
  Items<wchar_t> items;
  for (size_t i = 0; i < n.length; i++)
    items.add((wchar_t)(int32_t)(signed char)src[i]);
  Handed<char> handed(src, n);
  const char *s = handed.p;
  std::vector<wchar_t> wide = checkWriter<wchar_t>(
    [&](wchar_t *d, unsigned int c) { return KivStrDecodeLatin1(d, c, s, n.value); }, cap, CUT_UNITS, &items);

  /* The sign-extended values return as the same bytes, through Latin-1 and
     through UTF-8 alike. */
  Items<char> same;
  for (size_t i = 0; i < n.length; i++)
    same.add(src[i]);
  Count wc = {(unsigned int)n.length, n.length};
  Handed<wchar_t> handedWide(wide, wc);
  const wchar_t *w = handedWide.p;
  unsigned int wn = (unsigned int)n.length;
  checkWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeLatin1(d, c, w, wn); }, cap, CUT_UNITS,
                    &same);
  std::vector<char> utf8 = checkWriter<char>(
    [&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, w, wn); }, cap, CUT_ITEMS, &same);
  FUZZ_CHECK(utf8 == same.all);
}

static void encodeLatin1(const std::vector<wchar_t> &src, bool all, size_t cap)
{
  Count n = countFor(src, all);
  Items<char> items;
  for (size_t i = 0; i < n.length; i++)
    items.add((int32_t)src[i] > 255 ? '?' : (char)((uint32_t)src[i] & 0xFF));
  Handed<wchar_t> handed(src, n);
  const wchar_t *s = handed.p;
  checkWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeLatin1(d, c, s, n.value); }, cap,
                    CUT_UNITS, &items);
}

static void utf16ToUcs4(const std::vector<unsigned short> &src, bool all, size_t cap)
{
  Count n = countFor(src, all);
  Items<unsigned int> items;
  bool paired = true;
  for (size_t i = 0; i < n.length;)
  {
    unsigned int u = src[i];
    if (u >= 0xD800 && u <= 0xDBFF && n.length - i >= 2 && src[i + 1] >= 0xDC00 && src[i + 1] <= 0xDFFF)
    {
      items.add(0x10000u + ((u - 0xD800u) << 10) + (src[i + 1] - 0xDC00u));
      i += 2;
      continue;
    }
    if (u >= 0xD800 && u <= 0xDFFF)
    {
      paired = false;
      u = '?';
    }
    items.add(u);
    i++;
  }
  Handed<unsigned short> handed(src, n);
  const unsigned short *s = handed.p;
  std::vector<unsigned int> out = checkWriter<unsigned int>(
    [&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, s, n.value); }, cap, CUT_UNITS,
    &items);

  if (paired)
  {
    out.push_back(0);
    std::vector<unsigned short> back(n.length + 1, 0x3333);
    unsigned int r = KivStrUCS4ToUTF16(back.data(), (unsigned int)back.size(), out.data(),
                                       (unsigned int)(out.size() - 1));
    FUZZ_CHECK_MSG(r == n.length && memcmp(back.data(), src.data(), n.length * 2) == 0,
                   "UTF-16 round trip changed the text");
  }
}

static void ucs4ToUtf16(const std::vector<unsigned int> &src, bool all, size_t cap)
{
  Count n = countFor(src, all);
  Items<unsigned short> items;
  bool plain = true;
  for (size_t i = 0; i < n.length; i++)
  {
    uint32_t c = src[i];
    if (c <= 0xFFFF)
    {
      items.add((unsigned short)c);
      plain = plain && !(c >= 0xD800 && c <= 0xDFFF);
      continue;
    }
    unsigned short pair[2];
    if (c <= 0x10FFFF)
    {
      pair[0] = (unsigned short)(0xD800 + ((c - 0x10000) >> 10));
      pair[1] = (unsigned short)(0xDC00 + (c & 0x3FF));
    }
    else
    {
      items.add((unsigned short)'?');
      pair[0] = (unsigned short)(((c >> 10) + 0xD7C0u) & 0xFFFF);
      pair[1] = (unsigned short)((c & 0x3FF) + 0xDC00u);
      plain = false;
    }
    items.add(pair, 2);
  }
  Handed<unsigned int> handed(src, n);
  const unsigned int *s = handed.p;
  std::vector<unsigned short> out = checkWriter<unsigned short>(
    [&](unsigned short *d, unsigned int c) { return KivStrUCS4ToUTF16(d, c, s, n.value); }, cap, CUT_ITEMS,
    &items);

  if (plain)
  {
    out.push_back(0);
    std::vector<unsigned int> back(n.length + 1, 0x33);
    unsigned int r = KivStrUTF16ToUCS4(back.data(), (unsigned int)back.size(), out.data(),
                                       (unsigned int)(out.size() - 1));
    FUZZ_CHECK_MSG(r == n.length && memcmp(back.data(), src.data(), n.length * 4) == 0,
                   "UCS-4 round trip changed the text");
  }
}

/* ---- the per-character helpers ---- */

static void charHelpers(FuzzInput &in)
{
  uint32_t v = in.u32();
  unsigned int room = (unsigned int)in.upTo(8);
  wchar_t c = (wchar_t)v;
  std::string want = refEncodeChar(v);

  /* CharEncodeUTF8 writes the whole sequence or nothing. */
  GuardedBuffer<char> g(room, 'x');
  unsigned int r = CharEncodeUTF8(g.data(), room, &c, in.u32());
  FUZZ_CHECK(r == want.size() && g.guardsIntact());
  if (room >= want.size())
    FUZZ_CHECK(memcmp(g.data(), want.data(), want.size()) == 0);
  for (size_t i = room >= want.size() ? want.size() : 0; i < room; i++)
    FUZZ_CHECK(g.data()[i] == 'x');

  /* CharDecodeUTF8 over an exactly-sized source. */
  std::string bytes = in.bytes(in.upTo(8));
  unsigned int available = (unsigned int)bytes.size();
  ExactBuffer<unsigned char> src(available);
  if (available)
    memcpy(src.p, bytes.data(), available);
  wchar_t out = (wchar_t)0x12345;
  unsigned int used = CharDecodeUTF8(&out, 1, src.p, available);
  if (available == 0)
    FUZZ_CHECK(used == 0 && out == (wchar_t)0x12345);
  else
  {
    uint32_t value;
    FUZZ_CHECK(used == refDecodeChar(src.p, available, &value));
    FUZZ_CHECK((uint32_t)out == value);
    wchar_t untouched = (wchar_t)0x12345;
    FUZZ_CHECK(CharDecodeUTF8(&untouched, 0, src.p, available) == used && untouched == (wchar_t)0x12345);
  }

  /* KivCharMBLen: 1 below 0x80, else the C library's answer. */
  if (available)
  {
    std::vector<char> z(bytes.begin(), bytes.end());
    z.push_back(0);
    int want = (unsigned char)z[0] < 0x80 ? 1 : mblen(z.data(), MB_CUR_MAX);
    mblen(NULL, 0);
    FUZZ_CHECK(KivCharMBLen(z.data()) == want);
    mblen(NULL, 0);
  }
  FUZZ_CHECK(KivCharMBLen((const char *)NULL) == 0);
  FUZZ_CHECK(KivCharMBLen(&c) == 1);

  unsigned char d = (unsigned char)v;
  FUZZ_CHECK(CharX2C(d) == (d <= 15 ? "0123456789ABCDEF"[d] : '?'));
}

/* ---- sources ---- */

static std::vector<unsigned short> unitsFrom(const std::string &s)
{
  std::vector<unsigned short> v;
  for (size_t i = 0; i + 1 < s.size(); i += 2)
  {
    unsigned int u = (unsigned char)s[i] | ((unsigned char)s[i + 1] << 8);
    /* Make surrogates common: top bits 0b1101 stay, others map often into
       the surrogate range. */
    if ((u & 0xF000) == 0xF000)
      u = 0xD800 | (u & 0x7FF);
    v.push_back((unsigned short)u);
  }
  return v;
}

template <typename T>
static std::vector<T> terminated(std::vector<T> v)
{
  v.push_back(0);
  return v;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
  /* Narrow text is UTF-8 here, as for the library's callers. */
  if (!setlocale(LC_ALL, "C.UTF-8"))
    setlocale(LC_ALL, "C");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t which = in.u8();
  bool all = (which & 0x80) != 0;
  size_t cap = in.upTo(600);

  switch (which % 7)
  {
    case 0:
    {
      std::vector<wchar_t> w = terminated(wideFrom(in.rest()));
      encodeUTF8(w, all, cap);
      encodeLatin1(w, all, cap);
      break;
    }
    case 1:
      decodeUTF8(in.rest(), all, cap);
      break;
    case 2:
      latin1(in.rest(), all, cap);
      break;
    case 3:
      utf16ToUcs4(terminated(unitsFrom(in.rest())), all, cap);
      break;
    case 4:
    {
      std::vector<wchar_t> w = wideFrom(in.rest());
      std::vector<unsigned int> u(w.begin(), w.end());
      ucs4ToUtf16(terminated(u), all, cap);
      break;
    }
    case 5:
      charHelpers(in);
      break;
    default:
    {
      /* Null sources read as empty. */
      FUZZ_CHECK(KivStrEncodeUTF8((char *)NULL, 0, NULL, kAll) == 1);
      FUZZ_CHECK(KivStrDecodeUTF8((wchar_t *)NULL, 0, NULL, kAll) == 1);
      FUZZ_CHECK(KivStrUTF16ToUCS4(NULL, 0, NULL, kAll) == 1);
      FUZZ_CHECK(KivStrUCS4ToUTF16(NULL, 0, NULL, kAll) == 1);
      wchar_t w[2] = {L'x', L'x'};
      FUZZ_CHECK(KivStrDecodeUTF8(w, 2, NULL, kAll) == 0 && w[0] == 0 && w[1] == L'x');
      decodeUTF8(in.rest(), true, cap);
      break;
    }
  }
  return 0;
}
