/*
 * Tests of the converters and integer formatters on long and varied inputs.
 *
 * The converters walk long inputs in blocks (ASCII many bytes at a time,
 * whole multi-byte sequences by one test) and fall back to one character
 * at a time near either end of the input or of the room; the formatters
 * write radix 10 and 16 straight into a destination that holds the whole
 * text; the URL and base64 encoders write directly while the room lasts,
 * and hex digits are read through a table.  Each is compared here, on generated inputs of many shapes and at
 * capacities around the need, with a plain reference written from the
 * rules: the result, the stored text and terminator, and every cell after
 * the terminator, which must be left as it was.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "convert_guards.h"
#include "test_rng.h"

namespace {

using convert_test::Guard;

/* The bounded-writer outcome for a complete output made of items (each
 * item written whole or not at all): the expected result and stored text
 * at the given capacity. */
template <class U>
void Expect(const std::vector<std::vector<U>> &items, unsigned int capacity, unsigned int *result,
            std::vector<U> *stored)
{
  size_t total = 0;
  for (const auto &it : items)
    total += it.size();
  stored->clear();
  if (capacity == 0)
  {
    *result = (unsigned int)total + 1;
    return;
  }
  size_t room = capacity - 1;
  bool cut = false;
  for (const auto &it : items)
  {
    if (stored->size() + it.size() > room)
    {
      cut = true;
      break;
    }
    stored->insert(stored->end(), it.begin(), it.end());
  }
  *result = cut ? (unsigned int)total + 1 : (unsigned int)stored->size();
}

/* Runs call(dest, capacity) at the capacity and checks the result, the
 * stored text, its terminator and that no cell after the terminator was
 * touched. */
template <class U, class F>
void CheckAt(F call, const std::vector<std::vector<U>> &items, unsigned int capacity, const char *what)
{
  unsigned int want;
  std::vector<U> text;
  Expect(items, capacity, &want, &text);
  std::vector<U> buf(capacity + 8, Guard<U>());
  unsigned int got = call(buf.data(), capacity);
  ASSERT_EQ(got, want) << what << " at capacity " << capacity;
  if (capacity == 0)
  {
    for (size_t k = 0; k < buf.size(); k++)
      ASSERT_EQ(buf[k], Guard<U>()) << what << ": measuring wrote cell " << k;
    return;
  }
  for (size_t k = 0; k < text.size(); k++)
    ASSERT_EQ(buf[k], text[k]) << what << " at capacity " << capacity << ", cell " << k;
  ASSERT_EQ(buf[text.size()], (U)0) << what << " at capacity " << capacity << ": terminator";
  for (size_t k = text.size() + 1; k < buf.size(); k++)
    ASSERT_EQ(buf[k], Guard<U>()) << what << " at capacity " << capacity << ": cell " << k
                                  << " after the terminator was written";
}

/* Capacities worth checking for an output of need units: all of them for
 * short outputs, otherwise the small ones, those around the need and a
 * spread between. */
std::vector<unsigned int> Capacities(unsigned int need, Rng &rng)
{
  std::vector<unsigned int> caps;
  if (need <= 80)
  {
    for (unsigned int c = 0; c <= need + 2; c++)
      caps.push_back(c);
    return caps;
  }
  for (unsigned int c = 0; c <= 20; c++)
    caps.push_back(c);
  for (unsigned int c = need - 20; c <= need + 2; c++)
    caps.push_back(c);
  for (int k = 0; k < 30; k++)
    caps.push_back(rng.Below(need + 3));
  return caps;
}

/* ---- UTF-8 decoding ---- */

/* Reference decoder, byte by byte from the rules: the lead byte says how
 * many bytes the sequence needs (1 to 6); they must all be there and be
 * following bytes, else the lead byte alone becomes '?'. */
std::vector<std::vector<wchar_t>> RefDecode(const std::string &in)
{
  std::vector<std::vector<wchar_t>> out;
  size_t i = 0;
  while (i < in.size())
  {
    unsigned int b = (unsigned char)in[i];
    size_t len = b < 0x80 ? 1 : b >= 0xC0 && b < 0xE0 ? 2
                              : b >= 0xE0 && b < 0xF0 ? 3
                              : b >= 0xF0 && b < 0xF8 ? 4
                              : b >= 0xF8 && b < 0xFC ? 5
                              : b >= 0xFC && b < 0xFE ? 6
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
        unsigned int f = (unsigned char)in[i + k];
        if ((f & 0xC0) != 0x80)
          ok = false;
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

/* The UTF-8 form of v by the encoder's rules (up to six bytes; negative
 * values as their low byte). */
std::string RefEncodeOne(int32_t v)
{
  uint32_t u = (uint32_t)v;
  if (v <= 0x7F)
    return std::string(1, (char)(unsigned char)(u & 0xFF));
  int len = v <= 0x7FF ? 2 : v <= 0xFFFF    ? 3
                           : v <= 0x1FFFFF  ? 4
                           : v <= 0x3FFFFFF ? 5
                                            : 6;
  static const unsigned char lead[7] = {0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
  std::string s(len, '\0');
  for (int k = len - 1; k > 0; k--)
  {
    s[k] = (char)(unsigned char)(0x80 | (u & 0x3F));
    u >>= 6;
  }
  s[0] = (char)(unsigned char)(lead[len] | u);
  return s;
}

/* Generated narrow text of about len bytes in one of several styles: long
 * ASCII runs, European-like, East Asian, emoji, five- and six-byte forms,
 * and broken sequences (stray following bytes, cut sequences, 0xFE/0xFF,
 * zero bytes). */
std::string MakeNarrow(Rng &rng, size_t len, int style)
{
  std::string s;
  while (s.size() < len)
  {
    uint32_t m = rng.Below(10);
    if (style == 0 || (style == 1 && m < 7) || m < 3)
    {
      size_t run = style == 0 ? 1 + rng.Below(64) : 1 + rng.Below(12);
      for (size_t k = 0; k < run; k++)
        s.push_back((char)(0x20 + rng.Below(0x5F)));
    }
    else if (style == 1 || m < 5)
    {
      s += RefEncodeOne((int32_t)(0x80 + rng.Below(0x780)));
    }
    else if (style == 2 || m < 6)
    {
      s += RefEncodeOne((int32_t)(0x800 + rng.Below(0xF800)));
    }
    else if (style == 3 || m < 7)
    {
      s += RefEncodeOne((int32_t)(0x10000 + rng.Below(0x100000)));
    }
    else if (m < 8)
    {
      s += RefEncodeOne((int32_t)(0x200000 + rng.Below(0x7FE00000)));
    }
    else if (m < 9)
    {
      std::string seq = RefEncodeOne((int32_t)(0x80 + rng.Below(0x10FF80)));
      seq.resize(1 + rng.Below((uint32_t)seq.size())); /* cut short */
      s += seq;
    }
    else
    {
      static const unsigned char odd[] = {0x80, 0xBF, 0xFE, 0xFF, 0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC};
      s.push_back((char)odd[rng.Below(sizeof odd)]);
    }
  }
  return s;
}

TEST(KivLongInputs, DecodeUTF8AgreesWithReference)
{
  Rng rng(20261121u);
  for (int round = 0; round < 400; round++)
  {
    size_t len = round < 100 ? rng.Below(40) : 16 + rng.Below(round < 380 ? 400 : 3000);
    std::string in = MakeNarrow(rng, len, (int)rng.Below(6));
    auto items = RefDecode(in);
    for (unsigned int cap : Capacities((unsigned int)items.size() + 1, rng))
    {
      CheckAt<wchar_t>([&](wchar_t *d, unsigned int c) {
        return KivStrDecodeUTF8(d, c, in.data(), (unsigned int)in.size());
      },
                       items, cap, "KivStrDecodeUTF8");
    }
    /* A null destination only measures, whatever the capacity. */
    ASSERT_EQ(KivStrDecodeUTF8(nullptr, 100, in.data(), (unsigned int)in.size()),
              (unsigned int)items.size() + 1);
    /* Count -1: up to the first zero byte. */
    std::string head = in.substr(0, strlen(in.c_str()));
    auto headItems = RefDecode(head);
    CheckAt<wchar_t>([&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, in.c_str(), (unsigned int)-1); },
                     headItems, (unsigned int)headItems.size() + 1, "KivStrDecodeUTF8 (-1)");
    if (HasFatalFailure())
      return;
  }
}

/* ---- UTF-8 encoding ---- */

/* Generated wide text in one of several styles, with negative values,
 * surrogates and values above U+10FFFF mixed in. */
std::vector<wchar_t> MakeWide(Rng &rng, size_t len, int style)
{
  std::vector<wchar_t> w;
  while (w.size() < len)
  {
    uint32_t m = rng.Below(12);
    uint32_t v;
    if (style == 0 || m < 5)
    {
      size_t run = 1 + rng.Below(style == 0 ? 40 : 10);
      for (size_t k = 0; k < run; k++)
        w.push_back((wchar_t)(0x20 + rng.Below(0x5F)));
      continue;
    }
    else if (m < 7)
    {
      v = 0x80 + rng.Below(0x780);
    }
    else if (m < 9)
    {
      v = 0x800 + rng.Below(0xF800);
    }
    else if (m < 10)
    {
      v = 0x10000 + rng.Below(0x100000);
    }
    else if (m < 11)
    {
      v = rng.Next(); /* any 32-bit value, negative ones included */
    }
    else
    {
      v = 0xFFFFFF80u + rng.Below(0x80); /* sign-extended Latin-1 */
    }
    w.push_back((wchar_t)v);
  }
  return w;
}

TEST(KivLongInputs, EncodeUTF8AgreesWithReference)
{
  Rng rng(777u);
  for (int round = 0; round < 300; round++)
  {
    size_t len = round < 80 ? rng.Below(30) : 8 + rng.Below(round < 280 ? 300 : 2000);
    std::vector<wchar_t> in = MakeWide(rng, len, (int)rng.Below(3));
    std::vector<std::vector<char>> items;
    for (wchar_t c : in)
    {
      std::string s = RefEncodeOne((int32_t)(uint32_t)c);
      items.push_back(std::vector<char>(s.begin(), s.end()));
    }
    size_t need = 1;
    for (const auto &it : items)
      need += it.size();
    for (unsigned int cap : Capacities((unsigned int)need, rng))
    {
      CheckAt<char>([&](char *d, unsigned int c) {
        return KivStrEncodeUTF8(d, c, in.data(), (unsigned int)in.size());
      },
                    items, cap, "KivStrEncodeUTF8");
    }
    if (HasFatalFailure())
      return;
  }
}

/* ---- Latin-1 and UTF-16 ---- */

TEST(KivLongInputs, Latin1BothWays)
{
  Rng rng(4242u);
  for (int round = 0; round < 100; round++)
  {
    size_t len = rng.Below(round < 90 ? 200 : 3000);
    std::string bytes;
    for (size_t k = 0; k < len; k++)
      bytes.push_back((char)(unsigned char)rng.Below(256));
    std::vector<std::vector<wchar_t>> wide;
    for (char c : bytes)
      wide.push_back(std::vector<wchar_t>(1, (wchar_t)(int32_t)(signed char)c));
    for (unsigned int cap : Capacities((unsigned int)len + 1, rng))
    {
      CheckAt<wchar_t>([&](wchar_t *d, unsigned int c) {
        return KivStrDecodeLatin1(d, c, bytes.data(), (unsigned int)bytes.size());
      },
                       wide, cap, "KivStrDecodeLatin1");
    }
    std::vector<wchar_t> in = MakeWide(rng, len, 1);
    std::vector<std::vector<char>> narrow;
    for (wchar_t c : in)
    {
      int32_t v = (int32_t)(uint32_t)c;
      narrow.push_back(std::vector<char>(1, v > 255 ? '?' : (char)(unsigned char)(v & 0xFF)));
    }
    for (unsigned int cap : Capacities((unsigned int)in.size() + 1, rng))
    {
      CheckAt<char>([&](char *d, unsigned int c) {
        return KivStrEncodeLatin1(d, c, in.data(), (unsigned int)in.size());
      },
                    narrow, cap, "KivStrEncodeLatin1");
    }
    if (HasFatalFailure())
      return;
  }
}

TEST(KivLongInputs, UTF16BothWays)
{
  Rng rng(1616u);
  for (int round = 0; round < 150; round++)
  {
    size_t len = rng.Below(round < 130 ? 200 : 3000);
    /* UTF-16 in: plain units, pairs, lone and reversed surrogates. */
    std::vector<unsigned short> u16;
    while (u16.size() < len)
    {
      uint32_t m = rng.Below(8);
      if (m < 4)
      {
        u16.push_back((unsigned short)(1 + rng.Below(0xD7FF)));
      }
      else if (m < 6)
      {
        u16.push_back((unsigned short)(0xD800 + rng.Below(0x400)));
        u16.push_back((unsigned short)(0xDC00 + rng.Below(0x400)));
      }
      else if (m < 7)
      {
        u16.push_back((unsigned short)(0xD800 + rng.Below(0x800)));
      }
      else
      {
        u16.push_back((unsigned short)(0xE000 + rng.Below(0x2000)));
      }
    }
    std::vector<std::vector<unsigned int>> chars;
    for (size_t i = 0; i < u16.size();)
    {
      unsigned int u = u16[i];
      if (u >= 0xD800 && u <= 0xDBFF && i + 1 < u16.size() && u16[i + 1] >= 0xDC00 && u16[i + 1] <= 0xDFFF)
      {
        chars.push_back({0x10000 + ((u - 0xD800) << 10) + (u16[i + 1] - 0xDC00u)});
        i += 2;
      }
      else
      {
        chars.push_back({u >= 0xD800 && u <= 0xDFFF ? (unsigned int)'?' : u});
        i++;
      }
    }
    for (unsigned int cap : Capacities((unsigned int)chars.size() + 1, rng))
    {
      CheckAt<unsigned int>([&](unsigned int *d, unsigned int c) {
        return KivStrUTF16ToUCS4(d, c, u16.data(), (unsigned int)u16.size());
      },
                            chars, cap, "KivStrUTF16ToUCS4");
    }
    /* UCS-4 in: every range, values above U+10FFFF included. */
    std::vector<unsigned int> u32;
    for (size_t k = 0; k < len; k++)
    {
      uint32_t m = rng.Below(6);
      u32.push_back(m < 3 ? 1 + rng.Below(0xFFFF) : m < 5 ? 0x10000 + rng.Below(0x100000)
                                                          : rng.Next() | 1u);
    }
    std::vector<std::vector<unsigned short>> units;
    for (unsigned int c : u32)
    {
      if (c <= 0xFFFF)
      {
        units.push_back({(unsigned short)c});
        continue;
      }
      if (c > 0x10FFFF)
        units.push_back({(unsigned short)'?'});
      units.push_back({(unsigned short)(((c >> 10) + 0xD7C0) & 0xFFFF), (unsigned short)((c & 0x3FF) + 0xDC00)});
    }
    size_t need = 1;
    for (const auto &it : units)
      need += it.size();
    for (unsigned int cap : Capacities((unsigned int)need, rng))
    {
      CheckAt<unsigned short>([&](unsigned short *d, unsigned int c) {
        return KivStrUCS4ToUTF16(d, c, u32.data(), (unsigned int)u32.size());
      },
                              units, cap, "KivStrUCS4ToUTF16");
    }
    if (HasFatalFailure())
      return;
  }
}

/* ---- integer formatting ---- */

/* The values formatted: around every power of 10 and of 16 that fits, the
 * extremes, and pseudo-random values of every bit length. */
std::vector<unsigned long long> Values64()
{
  std::vector<unsigned long long> v;
  for (unsigned long long p = 1; p <= 1000000000000000000ull; p *= 10)
    for (int d = -2; d <= 2; d++)
      v.push_back(p + (unsigned long long)(long long)d);
  for (int b = 1; b < 64; b++)
    for (int d = -1; d <= 1; d++)
      v.push_back((1ull << b) + (unsigned long long)(long long)d);
  v.push_back(0);
  v.push_back(~0ull);
  v.push_back(10000000000000000000ull);
  Rng rng(64u);
  for (int k = 0; k < 400; k++)
  {
    unsigned long long x = ((unsigned long long)rng.Next() << 32) | rng.Next();
    v.push_back(x >> rng.Below(64));
  }
  return v;
}

/* Splits a text into one-character items, for CheckAt. */
template <class C>
std::vector<std::vector<C>> Chars(const std::string &s)
{
  std::vector<std::vector<C>> items;
  for (char c : s)
    items.push_back(std::vector<C>(1, (C)(unsigned char)c));
  return items;
}

/* The text of every capacity from 0 to two past the need. */
template <class C, class F>
void CheckAllCapacities(F call, const std::string &want, const char *what)
{
  auto items = Chars<C>(want);
  for (unsigned int cap = 0; cap <= want.size() + 2; cap++)
    CheckAt<C>(call, items, cap, what);
}

TEST(KivLongInputs, FormattingInRadix10And16)
{
  char ref[80];
  for (unsigned long long v : Values64())
  {
    unsigned int u32 = (unsigned int)v;
    int i32 = (int)(int32_t)(uint32_t)u32;
    long long i64 = (long long)v;

    snprintf(ref, sizeof ref, "%u", u32);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivDWORD2Str(u32, d, c, 10); }, ref, "KivDWORD2Str 10");
    CheckAllCapacities<wchar_t>([&](wchar_t *d, unsigned int c) { return KivDWORD2Str(u32, d, c, 10); }, ref, "KivDWORD2Str 10 (wide)");
    snprintf(ref, sizeof ref, "%X", u32);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivDWORD2Str(u32, d, c, 16); }, ref, "KivDWORD2Str 16");
    snprintf(ref, sizeof ref, "%d", i32);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivLONG2Str(i32, d, c, 10); }, ref, "KivLONG2Str 10");
    snprintf(ref, sizeof ref, "%X", u32);
    CheckAllCapacities<wchar_t>([&](wchar_t *d, unsigned int c) { return KivLONG2Str(i32, d, c, 16); }, ref, "KivLONG2Str 16 (wide)");
    snprintf(ref, sizeof ref, "%llu", v);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivQWORD2Str(v, d, c, 10); }, ref, "KivQWORD2Str 10");
    snprintf(ref, sizeof ref, "%llX", v);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivQWORD2Str(v, d, c, 16); }, ref, "KivQWORD2Str 16");
    snprintf(ref, sizeof ref, "%lld", i64);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivLONGLONG2Str(i64, d, c, 10); }, ref, "KivLONGLONG2Str 10");
    CheckAllCapacities<wchar_t>([&](wchar_t *d, unsigned int c) { return KivLONGLONG2Str(i64, d, c, 10); }, ref, "KivLONGLONG2Str 10 (wide)");
    snprintf(ref, sizeof ref, "%llX", v);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return KivLONGLONG2Str(i64, d, c, 16); }, ref, "KivLONGLONG2Str 16");

    /* Sign and leading zeros: the paths beside the direct one. */
    snprintf(ref, sizeof ref, "%+06d", i32);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return TInt2Str<char, int>(i32, d, c, 10, 1, 5); }, ref, "TInt2Str +, 5 digits");
    snprintf(ref, sizeof ref, "%+d", i32);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return TInt2Str<char, int>(i32, d, c, 10, 1, 1); }, ref, "TInt2Str +");
    snprintf(ref, sizeof ref, "%08X", u32);
    CheckAllCapacities<char>([&](char *d, unsigned int c) { return TInt2Str<char, int>(i32, d, c, 16, 1, 8); }, ref, "TInt2Str 16, 8 digits");
    if (HasFatalFailure())
      return;
  }
}

/* ---- codecs ---- */

TEST(KivLongInputs, CodecsAgreeWithReference)
{
  static const char hex[] = "0123456789ABCDEF";
  static const char b64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  Rng rng(9090u);
  for (int round = 0; round < 200; round++)
  {
    size_t len = rng.Below(round < 150 ? 60 : 1500);
    std::string in;
    for (size_t k = 0; k < len; k++)
    {
      uint32_t m = rng.Below(4);
      in.push_back(m == 0 ? '%' : m == 1 ? "0123456789abcdefABCDEFxyz+"[rng.Below(26)]
                                         : (char)(unsigned char)rng.Below(256));
    }

    /* URL encoding: letters and digits pass, every other byte is %XX. */
    std::vector<std::vector<char>> enc;
    for (char c : in)
    {
      unsigned char b = (unsigned char)c;
      if ((b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z'))
        enc.push_back({c});
      else
        enc.push_back({'%', hex[b >> 4], hex[b & 15]});
    }
    size_t need = 1;
    for (const auto &it : enc)
      need += it.size();
    for (unsigned int cap : Capacities((unsigned int)need, rng))
    {
      CheckAt<char>([&](char *d, unsigned int c) { return KivStrEncodeURL(d, c, in.data(), (unsigned int)in.size()); },
                    enc, cap, "KivStrEncodeURL");
      CheckAt<wchar_t>([&](wchar_t *d, unsigned int c) { return KivStrEncodeURL(d, c, in.data(), (unsigned int)in.size()); },
                       [&] {
                         std::vector<std::vector<wchar_t>> w;
                         for (const auto &it : enc)
                           w.push_back(std::vector<wchar_t>(it.begin(), it.end()));
                         return w;
                       }(),
                       cap, "KivStrEncodeURL (wide)");
    }

    /* URL decoding: '+' a space, '%' and two non-zero elements a byte
         * (non-hex digits counting 0), anything else itself. */
    auto digit = [](unsigned char c) -> unsigned int {
      return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                            : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                                   : 0;
    };
    std::vector<std::vector<char>> dec;
    for (size_t i = 0; i < in.size();)
    {
      if (in[i] == '+')
      {
        dec.push_back({' '});
        i++;
      }
      else if (in[i] == '%' && in.size() - i > 2 && in[i + 1] != 0 && in[i + 2] != 0)
      {
        dec.push_back({(char)(unsigned char)(digit((unsigned char)in[i + 1]) * 16 + digit((unsigned char)in[i + 2]))});
        i += 3;
      }
      else
      {
        dec.push_back({in[i]});
        i++;
      }
    }
    for (unsigned int cap : Capacities((unsigned int)dec.size() + 1, rng))
    {
      CheckAt<char>([&](char *d, unsigned int c) { return KivStrDecodeURL(d, c, in.data(), (unsigned int)in.size()); },
                    dec, cap, "KivStrDecodeURL");
    }

    /* Hex decoding: pairs up to the first pair holding a zero. */
    std::vector<unsigned char> want;
    for (size_t p = 0; p + 1 < in.size(); p += 2)
    {
      if (in[p] == 0 || in[p + 1] == 0)
        break;
      want.push_back((unsigned char)(digit((unsigned char)in[p]) * 16 + digit((unsigned char)in[p + 1])));
    }
    std::vector<unsigned char> got(want.size() + 4, 0xA5);
    ASSERT_EQ(KivStrDecodeHex(got.data(), (unsigned int)want.size(), in.data(), (unsigned int)in.size()),
              (unsigned int)want.size());
    for (size_t k = 0; k < want.size(); k++)
      ASSERT_EQ(got[k], want[k]) << "byte " << k;
    for (size_t k = want.size(); k < got.size(); k++)
      ASSERT_EQ(got[k], 0xA5);

    /* Base64 with and without line breaks (CR LF after every 16th
         * group, the last one included). */
    for (int lineBreaks = 0; lineBreaks < 2; lineBreaks++)
    {
      std::vector<std::vector<char>> groups;
      for (size_t i = 0, g = 0; i < in.size(); i += 3, g++)
      {
        uint32_t b0 = (unsigned char)in[i];
        uint32_t b1 = i + 1 < in.size() ? (unsigned char)in[i + 1] : 0;
        uint32_t b2 = i + 2 < in.size() ? (unsigned char)in[i + 2] : 0;
        uint32_t v = (b0 << 16) | (b1 << 8) | b2;
        groups.push_back({b64[v >> 18], b64[(v >> 12) & 63], i + 1 < in.size() ? b64[(v >> 6) & 63] : '=',
                          i + 2 < in.size() ? b64[v & 63] : '='});
        if (lineBreaks && g % 16 == 15)
          groups.push_back({'\r', '\n'});
      }
      size_t need64 = 1;
      for (const auto &it : groups)
        need64 += it.size();
      for (unsigned int cap : Capacities((unsigned int)need64, rng))
      {
        CheckAt<char>([&](char *d, unsigned int c) {
          return KivStrUUEncode(d, c, in.data(), (unsigned int)in.size(), lineBreaks);
        },
                      groups, cap, "KivStrUUEncode");
      }
    }
    if (HasFatalFailure())
      return;
  }
}

} // namespace
