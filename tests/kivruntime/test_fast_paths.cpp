/*
 * Tests of the library's faster paths against plain references written
 * from the rules: UCS-4 to UTF-16 in blocks of eight, UCS-4 to Latin-1 in
 * blocks of thirty-two, UTF-8 decoding in
 * blocks (ASCII, runs of three- and four-byte sequences), the narrow
 * case-insensitive search (its word and vector passes, the folds a thread
 * keeps per locale) and base64 decoding of whole groups sixteen
 * characters at a time.
 *
 * Every input is tried at every length up to well past the block sizes
 * and at every alignment of its first element (the input is copied to an
 * offset inside a larger buffer), with the capacities around the need, so
 * that each block path meets its edges: input ending inside a block, room
 * ending inside a block, a block that fails its check part-way.
 *
 * The same program is built twice: once as it is, taking the vector paths
 * the processor has, and once with KIVRUNTIME_PORTABLE and
 * KIVRUNTIME_NO_FOLD_CACHE set before the library's first call
 * (KIV_TEST_PORTABLE), taking the plain paths only and, in the narrow
 * search, the path of platforms where the locale's folds cannot be kept
 * between calls.  The test names carry the variant.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <locale.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <wctype.h>

#include <string>
#include <vector>

#include "test_rng.h"

#if defined(KIV_TEST_PORTABLE)
#define FAST_SUITE KivFastPathsPortable
/* Set before main, hence before the library's first call. */
static struct PortablePaths
{
  PortablePaths()
  {
    setenv("KIVRUNTIME_PORTABLE", "1", 1);
    setenv("KIVRUNTIME_NO_FOLD_CACHE", "1", 1);
  }
} s_portablePaths;
#else
#define FAST_SUITE KivFastPaths
#endif

namespace {

/* Sets a locale for the life of the object and puts the previous one
 * back. */
struct LocaleScope
{
  std::string previous;
  bool ok;
  explicit LocaleScope(const char *name)
  {
    const char *now = setlocale(LC_ALL, nullptr);
    previous = now ? now : "C";
    ok = setlocale(LC_ALL, name) != nullptr;
  }
  ~LocaleScope() { setlocale(LC_ALL, previous.c_str()); }
};

/* Copies elements to the given offset inside a fresh buffer (with room for
 * a terminator after them), so that the same input can be tried at every
 * alignment. */
template <class U>
struct Placed
{
  std::vector<U> buf;
  U *at;
  Placed(const std::vector<U> &in, size_t offset, bool terminate)
      : buf(offset + in.size() + 1, (U)0x41)
  {
    at = buf.data() + offset;
    for (size_t k = 0; k < in.size(); k++)
      at[k] = in[k];
    at[in.size()] = terminate ? (U)0 : (U)0x41;
  }
};

/* The bounded-writer outcome for an output made of items (each written
 * whole or not at all) at the given capacity: the result and the stored
 * units. */
template <class U>
unsigned int Expect(const std::vector<std::vector<U>> &items, unsigned int capacity, std::vector<U> *stored)
{
  size_t total = 0;
  for (const auto &it : items)
    total += it.size();
  stored->clear();
  if (capacity == 0)
    return (unsigned int)total + 1;
  for (const auto &it : items)
  {
    if (stored->size() + it.size() > capacity - 1)
      return (unsigned int)total + 1;
    stored->insert(stored->end(), it.begin(), it.end());
  }
  return (unsigned int)stored->size();
}

/* Calls call(dest, capacity) into a buffer filled with guard and checks the
 * result, the stored units, the terminator and that no later cell changed. */
template <class U, class F>
void CheckWriter(F call, const std::vector<std::vector<U>> &items, unsigned int capacity, U guard,
                 const std::string &what)
{
  std::vector<U> text;
  const unsigned int want = Expect(items, capacity, &text);
  std::vector<U> buf(capacity + 40, guard);
  ASSERT_EQ(call(buf.data(), capacity), want) << what << ", capacity " << capacity;
  size_t k = 0;
  if (capacity != 0)
  {
    for (; k < text.size(); k++)
      ASSERT_EQ(buf[k], text[k]) << what << ", capacity " << capacity << ", cell " << k;
    ASSERT_EQ(buf[k], (U)0) << what << ", capacity " << capacity << ": terminator";
    k++;
  }
  for (; k < buf.size(); k++)
    ASSERT_EQ(buf[k], guard) << what << ", capacity " << capacity << ": cell " << k << " changed";
}

/* Capacities to try for an output of need units (terminator included). */
std::vector<unsigned int> Capacities(unsigned int need)
{
  std::vector<unsigned int> caps;
  if (need <= 70)
  {
    for (unsigned int c = 0; c <= need + 1; c++)
      caps.push_back(c);
    return caps;
  }
  for (unsigned int c = 0; c <= 40; c += 3)
    caps.push_back(c);
  for (unsigned int c = need - 40; c <= need + 1; c++)
    caps.push_back(c);
  return caps;
}

/* ---- UCS-4 to UTF-16 ---- */

/* Adds the items of one character, from the rules: one unit; a pair; or
 * for a value above U+10FFFF a '?' and then a pair, two items. */
void AddUtf16(std::vector<std::vector<unsigned short>> &items, uint32_t c)
{
  if (c <= 0xFFFF)
  {
    items.push_back({(unsigned short)c});
    return;
  }
  if (c > 0x10FFFF)
    items.push_back({(unsigned short)'?'});
  items.push_back({(unsigned short)(((c >> 10) + 0xD7C0) & 0xFFFF), (unsigned short)((c & 0x3FF) + 0xDC00)});
}

/* Characters of one of several kinds: all below 0x10000 (surrogate values
 * included), mostly so with a few pairs, values above U+10FFFF, anything. */
uint32_t MakeUcs4(Rng &rng, int kind, bool zeros)
{
  uint32_t v;
  const uint32_t m = rng.Below(16);
  if (kind == 0 || (kind == 1 && m < 13))
    v = rng.Below(0x10000);
  else if (kind == 1 || (kind == 2 && m < 10))
    v = 0x10000 + rng.Below(0x100000);
  else
    v = rng.Next();
  if (v == 0 && !zeros)
    v = 0x41;
  return v;
}

TEST(FAST_SUITE, Ucs4ToUtf16AtEveryLengthAndAlignment)
{
  Rng rng(1604u);
  for (size_t len = 0; len <= 70; len++)
  {
    for (size_t offset = 0; offset < 4; offset++)
    {
      for (int kind = 0; kind < 4; kind++)
      {
        for (int terminated = 0; terminated < 2; terminated++)
        {
          std::vector<unsigned int> in;
          for (size_t k = 0; k < len; k++)
            in.push_back(MakeUcs4(rng, kind, !terminated));
          Placed<unsigned int> src(in, offset, terminated != 0);
          std::vector<std::vector<unsigned short>> items;
          for (uint32_t c : in)
            AddUtf16(items, c);
          size_t need = 1;
          for (const auto &it : items)
            need += it.size();
          const unsigned int count = terminated ? (unsigned int)-1 : (unsigned int)len;
          const std::string what = "KivStrUCS4ToUTF16 of " + std::to_string(len) + " at " + std::to_string(offset) +
                                   ", kind " + std::to_string(kind) + (terminated ? ", count -1" : "");
          for (unsigned int cap : Capacities((unsigned int)need))
          {
            CheckWriter<unsigned short>(
              [&](unsigned short *d, unsigned int c) { return KivStrUCS4ToUTF16(d, c, src.at, count); }, items, cap,
              (unsigned short)0xA5A5, what);
            if (HasFatalFailure())
              return;
          }
        }
      }
    }
  }
}

/* ---- UCS-4 to Latin-1 ---- */

TEST(FAST_SUITE, EncodeLatin1AtEveryLengthAndAlignment)
{
  Rng rng(1111u);
  for (size_t len = 0; len <= 140; len++)
  {
    for (size_t offset = 0; offset < 8; offset++)
    {
      std::vector<wchar_t> in;
      std::vector<std::vector<char>> items;
      for (size_t k = 0; k < len; k++)
      {
        /* Latin-1 values, sign-extended bytes, values just above 255, any. */
        const uint32_t m = rng.Below(4);
        const uint32_t v = m == 0 ? rng.Below(256) : m == 1 ? 0xFFFFFF80u + rng.Below(0x80)
                                                   : m == 2 ? 250 + rng.Below(12)
                                                            : rng.Next();
        in.push_back((wchar_t)v);
        const int32_t sv = (int32_t)v;
        items.push_back({sv > 255 ? '?' : (char)(unsigned char)(v & 0xFF)});
      }
      Placed<wchar_t> src(in, offset, false);
      for (unsigned int cap : Capacities((unsigned int)len + 1))
      {
        CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeLatin1(d, c, src.at, (unsigned int)len); },
                          items, cap, (char)0x5A,
                          "KivStrEncodeLatin1 of " + std::to_string(len) + " at " + std::to_string(offset));
        if (HasFatalFailure())
          return;
      }
    }
  }
}

/* ---- UTF-8 decoding ---- */

/* The UTF-8 form of a value up to U+1FFFFF (one to four bytes). */
std::string Utf8Of(uint32_t v)
{
  std::string s;
  if (v < 0x80)
  {
    s.push_back((char)v);
  }
  else if (v < 0x800)
  {
    s.push_back((char)(0xC0 | (v >> 6)));
    s.push_back((char)(0x80 | (v & 0x3F)));
  }
  else if (v < 0x10000)
  {
    s.push_back((char)(0xE0 | (v >> 12)));
    s.push_back((char)(0x80 | ((v >> 6) & 0x3F)));
    s.push_back((char)(0x80 | (v & 0x3F)));
  }
  else
  {
    s.push_back((char)(0xF0 | (v >> 18)));
    s.push_back((char)(0x80 | ((v >> 12) & 0x3F)));
    s.push_back((char)(0x80 | ((v >> 6) & 0x3F)));
    s.push_back((char)(0x80 | (v & 0x3F)));
  }
  return s;
}

/* Reference decoder from the rules: the lead byte gives the length (1 to
 * 6); all its bytes must be there and be following bytes, else the lead
 * byte alone becomes '?'.  Overlong forms decode by their bits. */
std::vector<std::vector<wchar_t>> RefDecodeUtf8(const std::string &in)
{
  std::vector<std::vector<wchar_t>> out;
  size_t i = 0;
  while (i < in.size())
  {
    const unsigned int b = (unsigned char)in[i];
    const size_t len = b < 0x80 ? 1 : b < 0xC0 ? 0
                                    : b < 0xE0 ? 2
                                    : b < 0xF0 ? 3
                                    : b < 0xF8 ? 4
                                    : b < 0xFC ? 5
                                    : b < 0xFE ? 6
                                               : 0;
    uint32_t v = '?';
    size_t used = 1;
    if (len == 1)
    {
      v = b;
    }
    else if (len > 1 && in.size() - i >= len)
    {
      static const unsigned int leadBits[7] = {0, 0, 0x1F, 0x0F, 0x07, 0x03, 0x01};
      uint32_t acc = b & leadBits[len];
      bool ok = true;
      for (size_t k = 1; k < len; k++)
      {
        const unsigned int f = (unsigned char)in[i + k];
        ok = ok && (f & 0xC0) == 0x80;
        acc = (acc << 6) | (f & 0x3F);
      }
      if (ok)
      {
        v = acc;
        used = len;
      }
    }
    out.push_back(std::vector<wchar_t>(1, (wchar_t)v));
    i += used;
  }
  return out;
}

/* Text made of runs: ASCII, two-, three- and four-byte sequences (runs
 * long enough for the four-at-a-time paths), overlong forms, and breaks
 * inside a run (a sequence cut short, a stray following byte, a lead byte
 * followed by ASCII, 0xFE/0xFF, a zero byte where zeros are allowed). */
std::string MakeUtf8(Rng &rng, size_t len, bool zeros)
{
  std::string s;
  while (s.size() < len)
  {
    const uint32_t m = rng.Below(12);
    const size_t run = 1 + rng.Below(m < 3 ? 40 : 9);
    for (size_t k = 0; k < run && s.size() < len; k++)
    {
      if (m < 3)
        s.push_back((char)(1 + rng.Below(0x7F)));
      else if (m < 5)
        s += Utf8Of(0x80 + rng.Below(0x780));
      else if (m < 8)
        s += Utf8Of(0x800 + rng.Below(0xF800));
      else if (m < 10)
        s += Utf8Of(0x10000 + rng.Below(0x1F0000));
      else if (m < 11)
        s += k % 2 ? "\xC0\x80" : "\xE0\x80\x80"; /* overlong */
      else
      {
        static const char *const breaks[] = {"\xE4\xB8", "\xF0\x9F\x98", "\x80", "\xBF", "\xE4"
                                                                                         "A",
                                             "\xF0\x9F"
                                             "AB",
                                             "\xFE", "\xFF", "\xF8\x88\x80\x80\x80", "\xFC\x84\x80\x80\x80\x80"};
        s += breaks[rng.Below(10)];
        if (zeros && rng.Below(4) == 0)
          s.push_back('\0');
      }
    }
  }
  return s;
}

TEST(FAST_SUITE, DecodeUtf8AtEveryLengthAndAlignment)
{
  LocaleScope utf8("C.UTF-8");
  Rng rng(8808u);
  for (int round = 0; round < 3000; round++)
  {
    const size_t len = round < 2000 ? (size_t)(round % 100) : 100 + rng.Below(500);
    const size_t offset = rng.Below(32);
    const bool terminated = rng.Below(2) == 0;
    const std::string text = MakeUtf8(rng, len, !terminated);
    std::vector<char> bytes(text.begin(), text.end());
    Placed<char> src(bytes, offset, terminated);
    const auto items = RefDecodeUtf8(text);
    const unsigned int count = terminated ? (unsigned int)-1 : (unsigned int)text.size();
    std::string what = "KivStrDecodeUTF8, round " + std::to_string(round) + ", offset " + std::to_string(offset) +
                       (terminated ? ", count -1" : "") + ", bytes";
    for (unsigned char c : text)
    {
      static const char hex[] = "0123456789ABCDEF";
      what += ' ';
      what += hex[c >> 4];
      what += hex[c & 15];
    }
    for (unsigned int cap : Capacities((unsigned int)items.size() + 1))
    {
      CheckWriter<wchar_t>([&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, src.at, count); }, items,
                           cap, (wchar_t)0x5EADBEEF, what);
      if (HasFatalFailure())
        return;
    }
  }
}

/* ---- case-insensitive search ---- */

/* The narrow step at s, as the library walks: one byte below 0x80,
 * otherwise the locale's character length, at least 1. */
unsigned int RefStep(const char *s)
{
  if ((unsigned char)*s < 0x80)
    return 1;
  const int n = mblen(s, MB_CUR_MAX);
  return n < 1 ? 1u : (unsigned int)n;
}

int32_t RefFold(char c)
{
  return (int32_t)(uint32_t)towlower((wint_t)(uint32_t)(int32_t)(signed char)c);
}

/* KivStrICmpLE from the rules: lead bytes folded, each side stepping by
 * its own character length. */
int RefICmpLE(const char *a, unsigned int la, const char *b, unsigned int lb)
{
  if (la == 0)
    return lb == 0 ? 0 : -1;
  if (lb == 0)
    return 1;
  unsigned int pa = 0, pb = 0;
  while (pa < la && pb < lb)
  {
    const int32_t d = RefFold(a[pa]) - RefFold(b[pb]);
    if (d != 0)
      return d;
    pa += RefStep(a + pa);
    pb += RefStep(b + pb);
  }
  return (int)la - (int)lb;
}

/* KivStrIPosLE from the rules. */
unsigned int RefIPos(const char *hay, unsigned int lh, const char *needle, unsigned int ln)
{
  if (lh < ln)
    return (unsigned int)-1;
  if (ln == 0)
    return 0;
  unsigned int off = 0;
  for (;;)
  {
    if (RefICmpLE(hay + off, ln, needle, ln) == 0)
      return off;
    off += RefStep(hay + off);
    if (off > lh - ln)
      return (unsigned int)-1;
  }
}

/* Pieces of text: letters the needles are made of, in both cases, blanks,
 * other bytes and multibyte characters, whole and broken. */
std::string MakeHay(Rng &rng, size_t len)
{
  static const char *const pieces[] = {"t", "T", "h", "H", "e", "E", "a", " ", "x", "y", "Z", "th", "TH", "The ",
                                       "\xC3\xA9", "\xC3\x89", "\xE4\xB8\xAD", "\xF0\x9F\x98\x80", "\xC3",
                                       "\x80", "\xFF", "\xE4"
                                                       "t",
                                       "\xE2\x82"};
  std::string s;
  while (s.size() < len)
  {
    const uint32_t m = rng.Below(10);
    if (m < 6)
      s.push_back("tThHeEaxyZ "[rng.Below(11)]);
    else
      s += pieces[rng.Below(sizeof pieces / sizeof pieces[0])];
  }
  s.resize(len);
  return s;
}

/* Swaps the case of some ASCII letters. */
std::string SwapSomeCase(Rng &rng, std::string s)
{
  for (char &c : s)
  {
    if (rng.Below(2) == 0)
      continue;
    if (c >= 'a' && c <= 'z')
      c = (char)(c - 'a' + 'A');
    else if (c >= 'A' && c <= 'Z')
      c = (char)(c - 'A' + 'a');
  }
  return s;
}

void CheckIPos(const char *locale)
{
  LocaleScope scope(locale);
  ASSERT_TRUE(scope.ok) << locale;
  Rng rng(4040u);
  for (int round = 0; round < 6000; round++)
  {
    const size_t lh = round < 3000 ? (size_t)(round % 120) : 120 + rng.Below(400);
    const std::string hay = MakeHay(rng, lh);
    std::string needle;
    const uint32_t kind = rng.Below(4);
    if (kind < 2 && lh > 0)
    {
      /* A piece of the hay, case changed, found or almost found. */
      const size_t at = rng.Below((uint32_t)lh);
      needle = SwapSomeCase(rng, hay.substr(at, 1 + rng.Below(kind == 0 ? 4 : 24)));
      if (kind == 1 && rng.Below(2) == 0 && !needle.empty())
        needle[rng.Below((uint32_t)needle.size())] = 'q';
    }
    else
    {
      needle = MakeHay(rng, 1 + rng.Below(kind == 2 ? 3 : 12));
    }
    if (needle.find('\0') != std::string::npos)
      needle.clear();
    const size_t offset = rng.Below(32);
    std::vector<char> bytes(hay.begin(), hay.end());
    Placed<char> src(bytes, offset, true);
    /* The whole texts, and explicit lengths inside them. */
    const unsigned int want = RefIPos(src.at, (unsigned int)lh, needle.c_str(), (unsigned int)needle.size());
    ASSERT_EQ(KivStrIPos(src.at, needle.c_str()), want)
      << locale << ", round " << round << ": \"" << hay << "\" / \"" << needle << "\"";
    const unsigned int shorter = lh ? (unsigned int)rng.Below((uint32_t)lh + 1) : 0;
    const unsigned int lnShort = needle.empty() ? 0 : (unsigned int)rng.Below((uint32_t)needle.size() + 1);
    ASSERT_EQ(KivStrIPosLE(src.at, shorter, needle.c_str(), lnShort),
              RefIPos(src.at, shorter, needle.c_str(), lnShort))
      << locale << ", round " << round << ": \"" << hay << "\" / \"" << needle << "\" with lengths " << shorter
      << ", " << lnShort;
  }
}

TEST(FAST_SUITE, IPosAgreesWithTheWalkInUtf8)
{
  CheckIPos("C.UTF-8");
}

TEST(FAST_SUITE, IPosAgreesWithTheWalkInTheCLocale)
{
  CheckIPos("C");
}

/* The folds a thread keeps follow a change of locale between calls: in the
 * C locale a byte of 0x80 or above is a character of its own, in UTF-8 it
 * starts one of several bytes, and the search steps accordingly. */
TEST(FAST_SUITE, IPosFollowsALocaleChange)
{
  /* "\xC3\xA9x" then "\xA9x": in UTF-8 the second byte of the first
   * character is never an offset, so the match is the later one. */
  const char *hay = "\xC3\xA9xyz \xA9XY";
  for (int k = 0; k < 3; k++)
  {
    {
      LocaleScope scope("C");
      ASSERT_TRUE(scope.ok);
      EXPECT_EQ(KivStrIPos(hay, "\xA9xy"), 1u);
    }
    {
      LocaleScope scope("C.UTF-8");
      ASSERT_TRUE(scope.ok);
      EXPECT_EQ(KivStrIPos(hay, "\xA9xy"), 6u);
    }
  }
}

/* ---- base64 decoding ---- */

const char kB64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/* Value of a base64 character, 64 for any other byte. */
unsigned int B64Value(unsigned char c)
{
  const char *p = c ? strchr(kB64, c) : nullptr;
  return p ? (unsigned int)(p - kB64) : 64u;
}

/* KivStrUUDecode from the rules: the bytes the whole input decodes to. */
std::vector<unsigned char> RefUUDecode(const char *s, size_t n)
{
  std::vector<unsigned char> out;
  size_t i = 0;
  for (;;)
  {
    while (i < n && s[i] != 0 && (signed char)s[i] <= 32)
      i++;
    if (i >= n || s[i] == 0)
      break;
    unsigned int v[4];
    for (size_t k = 0; k < 4; k++)
    {
      const bool there = i + k < n;
      v[k] = there ? B64Value((unsigned char)s[i + k]) : 64u;
      if (!there || s[i + k] == 0)
      {
        for (; k < 4; k++)
          v[k] = 64;
        break;
      }
    }
    if (v[0] >= 64 || v[1] >= 64)
      break;
    out.push_back((unsigned char)((v[0] << 2) | (v[1] >> 4)));
    if (v[2] >= 64)
      break;
    out.push_back((unsigned char)(((v[1] << 4) | (v[2] >> 2)) & 0xFF));
    if (v[3] >= 64)
      break;
    out.push_back((unsigned char)(((v[2] << 6) | v[3]) & 0xFF));
    i += 4;
  }
  return out;
}

TEST(FAST_SUITE, UUDecodeAtEveryLengthAndAlignment)
{
  Rng rng(6464u);
  for (int round = 0; round < 4000; round++)
  {
    /* Base64 of random bytes, with line breaks or not, and now and then
     * one element that ends or interrupts decoding somewhere. */
    const size_t raw = round < 2500 ? (size_t)(round % 100) : 100 + rng.Below(600);
    std::string text;
    const bool lines = rng.Below(3) == 0;
    for (size_t g = 0; g * 3 < raw; g++)
    {
      uint32_t bits = rng.Next() & 0xFFFFFF;
      const size_t have = raw - g * 3 < 3 ? raw - g * 3 : 3;
      text.push_back(kB64[bits >> 18]);
      text.push_back(kB64[(bits >> 12) & 63]);
      text.push_back(have > 1 ? kB64[(bits >> 6) & 63] : '=');
      text.push_back(have > 2 ? kB64[bits & 63] : '=');
      if (lines && g % 16 == 15)
        text += "\r\n";
    }
    const bool terminated = rng.Below(2) == 0;
    if (rng.Below(3) == 0 && !text.empty())
    {
      static const char odd[] = {' ', '\n', '=', '-', '*', '\x80', '\xFF', '\0', '.', '\x7F'};
      char c = odd[rng.Below(sizeof odd)];
      if (terminated && c == '\0')
        c = '-';
      text.insert(text.begin() + rng.Below((uint32_t)text.size() + 1), c);
    }
    const size_t offset = rng.Below(32);
    std::vector<char> bytes(text.begin(), text.end());
    Placed<char> src(bytes, offset, terminated);
    const size_t n = terminated ? strlen(src.at) : text.size();
    const std::vector<unsigned char> want = RefUUDecode(src.at, n);
    const unsigned int count = terminated ? (unsigned int)-1 : (unsigned int)text.size();
    std::vector<unsigned int> caps = {0, 1, 2, 3, 11, 12, 13, (unsigned int)want.size() + 5};
    for (unsigned int d = 0; d <= 14 && d <= want.size(); d++)
      caps.push_back((unsigned int)want.size() - d);
    for (unsigned int cap : caps)
    {
      std::vector<unsigned char> out(cap + 32, 0xA5);
      ASSERT_EQ(KivStrUUDecode(out.data(), cap, src.at, count), (unsigned int)want.size())
        << "round " << round << ", capacity " << cap << ": " << text;
      for (size_t k = 0; k < out.size(); k++)
      {
        const unsigned char expect = k < cap && k < want.size() ? want[k] : 0xA5;
        ASSERT_EQ(out[k], expect) << "round " << round << ", capacity " << cap << ", byte " << k << ": " << text;
      }
    }
    ASSERT_EQ(KivStrUUDecode(nullptr, 100, src.at, count), (unsigned int)want.size());
  }
}

} // namespace
