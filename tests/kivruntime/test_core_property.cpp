/*
 * Property tests over many random code points and byte strings: UTF-8,
 * UTF-16 and the serial form round-trip where they are defined to, and
 * otherwise produce exactly what a straightforward model of the rules
 * produces, at random capacities, with the cells after the capacity left
 * alone.  The generator has a fixed seed, so a failure is repeatable.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <random>
#include <string.h>
#include <vector>

namespace {

std::mt19937 &Rng()
{
  static std::mt19937 rng(0xC0DE5EEDu);
  return rng;
}

unsigned int Below(unsigned int n)
{
  return std::uniform_int_distribution<unsigned int>(0, n - 1)(Rng());
}

unsigned int Between(unsigned int lo, unsigned int hi)
{
  return std::uniform_int_distribution<unsigned int>(lo, hi)(Rng());
}

/* A value of a random UTF-8 length class (1 to 6 bytes), so that every form
 * is well represented; zero is left out when noZero is set. */
unsigned int RandomNonNegative(bool noZero)
{
  static const unsigned int lo[] = {0, 0x80, 0x800, 0x10000, 0x200000, 0x4000000};
  static const unsigned int hi[] = {0x7F, 0x7FF, 0xFFFF, 0x1FFFFF, 0x3FFFFFF, 0x7FFFFFFF};
  unsigned int k = Below(6);
  unsigned int v = Between(lo[k], hi[k]);
  return (noZero && v == 0) ? 1 : v;
}

/* Any 32-bit value, biased towards the interesting places. */
unsigned int RandomAny()
{
  switch (Below(6))
  {
    case 0: return Between(0, 0x7F);
    case 1: return Between(0xD800, 0xDFFF);
    case 2: return Between(0x10000, 0x10FFFF);
    case 3: return Between(0x110000, 0xFFFFFFFFu);
    case 4: return Between(0xFFFFFF80u, 0xFFFFFFFFu);
    default: return Between(0, 0xFFFF);
  }
}

unsigned int ModelUTF8Length(unsigned int u)
{
  int32_t v = (int32_t)u;
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
 * The bounded-writer result for a complete output made of items: the
 * expected destination contents (up to and including the terminator) and
 * the expected result.
 */
template <class U>
unsigned int ModelBounded(const std::vector<std::vector<U>> &items, unsigned int cap, std::vector<U> *out)
{
  size_t total = 0;
  for (const auto &it : items)
    total += it.size();
  out->clear();
  if (cap == 0)
    return (unsigned int)total + 1;
  bool stopped = false;
  for (const auto &it : items)
  {
    if (out->size() + it.size() > cap - 1)
    {
      stopped = true;
      break;
    }
    out->insert(out->end(), it.begin(), it.end());
  }
  out->push_back(0);
  return stopped ? (unsigned int)total + 1 : (unsigned int)total;
}

/* Runs call at a random capacity (0, exact, one short or anything up to a
 * little more than needed) and compares it with the model. */
template <class U, class F>
void CheckAtRandomCapacity(F call, const std::vector<std::vector<U>> &items, const U guard)
{
  size_t total = 0;
  for (const auto &it : items)
    total += it.size();
  unsigned int cap;
  switch (Below(4))
  {
    case 0: cap = 0; break;
    case 1: cap = (unsigned int)total + 1; break;
    case 2: cap = (unsigned int)total; break;
    default: cap = Below((unsigned int)total + 4); break;
  }
  std::vector<U> want;
  unsigned int result = ModelBounded(items, cap, &want);
  std::vector<U> buf(cap + 3, guard);
  ASSERT_EQ(call(buf.data(), cap), result) << "capacity " << cap;
  ASSERT_TRUE(std::equal(want.begin(), want.end(), buf.begin())) << "capacity " << cap;
  for (size_t i = want.size(); i < buf.size(); i++)
    ASSERT_EQ(buf[i], guard) << "cell " << i << " at capacity " << cap;
}

/* A model of the UTF-8 decoding rules, written out plainly. */
std::vector<unsigned int> ModelDecodeUTF8(const std::vector<unsigned char> &in)
{
  std::vector<unsigned int> out;
  size_t i = 0;
  while (i < in.size())
  {
    unsigned int b = in[i];
    size_t len = 0;
    unsigned int v = 0;
    if (b < 0x80)
    {
      len = 1;
      v = b;
    }
    else if (b >= 0xC0 && b <= 0xDF)
    {
      len = 2;
      v = b - 0xC0;
    }
    else if (b >= 0xE0 && b <= 0xEF)
    {
      len = 3;
      v = b - 0xE0;
    }
    else if (b >= 0xF0 && b <= 0xF7)
    {
      len = 4;
      v = b - 0xF0;
    }
    else if (b >= 0xF8 && b <= 0xFB)
    {
      len = 5;
      v = b - 0xF8;
    }
    else if (b >= 0xFC && b <= 0xFD)
    {
      len = 6;
      v = b - 0xFC;
    }
    bool ok = len != 0 && in.size() - i >= len;
    for (size_t k = 1; ok && k < len; k++)
    {
      if (in[i + k] < 0x80 || in[i + k] > 0xBF)
        ok = false;
      else
        v = v * 64 + (in[i + k] - 0x80);
    }
    if (ok)
    {
      out.push_back(v);
      i += len;
    }
    else
    {
      out.push_back('?');
      i += 1;
    }
  }
  return out;
}

TEST(CoreProperty, UTF8RoundTripOfRandomCodePoints)
{
  for (int round = 0; round < 3000; round++)
  {
    unsigned int n = Below(24);
    std::vector<wchar_t> text(n + 1, 0);
    unsigned int bytes = 0;
    for (unsigned int i = 0; i < n; i++)
    {
      text[i] = (wchar_t)RandomNonNegative(false);
      bytes += ModelUTF8Length((unsigned int)text[i]);
    }
    unsigned int need = KivStrEncodeUTF8(nullptr, 0, text.data(), n);
    ASSERT_EQ(need, bytes + 1);
    std::vector<char> utf8(need + 2, (char)0x5A);
    ASSERT_EQ(KivStrEncodeUTF8(utf8.data(), need, text.data(), n), bytes);
    ASSERT_EQ(utf8[bytes], 0);
    ASSERT_EQ(utf8[bytes + 1], 0x5A);

    ASSERT_EQ(KivStrDecodeUTF8(nullptr, 0, utf8.data(), bytes), n + 1);
    std::vector<wchar_t> back(n + 2, (wchar_t)0x5A5A);
    ASSERT_EQ(KivStrDecodeUTF8(back.data(), n + 1, utf8.data(), bytes), n);
    for (unsigned int i = 0; i < n; i++)
      ASSERT_EQ(back[i], text[i]) << "character " << i;
    ASSERT_EQ(back[n], 0);
    ASSERT_EQ(back[n + 1], 0x5A5A);

    /* the encoder at a random capacity: whole sequences only */
    std::vector<std::vector<char>> items;
    for (unsigned int i = 0; i < n; i++)
    {
      char seq[6];
      unsigned int len = CharEncodeUTF8(seq, 6, &text[i], 0);
      items.emplace_back(seq, seq + len);
    }
    CheckAtRandomCapacity<char>([&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, text.data(), n); },
                                items, (char)0x5A);
  }
}

TEST(CoreProperty, NegativeValuesComeBackAsTheirLowByte)
{
  for (int round = 0; round < 1000; round++)
  {
    unsigned int n = Below(24);
    std::vector<char> bytes(n + 1, 0);
    for (unsigned int i = 0; i < n; i++)
      bytes[i] = (char)(unsigned char)Below(256);
    std::vector<wchar_t> wide(n + 1);
    ASSERT_EQ(KivStrDecodeLatin1(wide.data(), n + 1, bytes.data(), n), n);
    for (unsigned int i = 0; i < n; i++)
      ASSERT_EQ((unsigned int)wide[i], (unsigned int)(int)(signed char)bytes[i]);
    std::vector<char> out(n + 1);
    ASSERT_EQ(KivStrEncodeUTF8(out.data(), n + 1, wide.data(), n), n);
    ASSERT_EQ(memcmp(out.data(), bytes.data(), n), 0);
    ASSERT_EQ(KivStrEncodeLatin1(out.data(), n + 1, wide.data(), n), n);
    ASSERT_EQ(memcmp(out.data(), bytes.data(), n), 0);
  }
}

TEST(CoreProperty, UTF8DecodingOfRandomBytesMatchesTheRules)
{
  static const unsigned char pool[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0xBF, 0xC0, 0xC3, 0xDF, 0xE0,
                                       0xE2, 0xEF, 0xF0, 0xF4, 0xF7, 0xF8, 0xFB, 0xFC, 0xFD, 0xFE, 0xFF};
  for (int round = 0; round < 4000; round++)
  {
    unsigned int n = Below(20);
    std::vector<unsigned char> in(n);
    for (auto &b : in)
      b = (Below(3) == 0) ? (unsigned char)Below(256) : pool[Below(sizeof pool)];
    std::vector<unsigned int> model = ModelDecodeUTF8(in);
    std::vector<std::vector<wchar_t>> items;
    for (unsigned int v : model)
      items.push_back({(wchar_t)v});
    const char *src = reinterpret_cast<const char *>(in.data());
    CheckAtRandomCapacity<wchar_t>([&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, src, n); },
                                   items, (wchar_t)0x5A5A5A5A);
    CheckAtRandomCapacity<wchar_t>([&](wchar_t *d, unsigned int c) { return KivStrDecodeANSI(d, c, src, n); },
                                   items, (wchar_t)0x5A5A5A5A);
    ASSERT_EQ(KivStrDecodeUTF8(nullptr, 0, src, n), model.size() + 1);
  }
}

TEST(CoreProperty, UTF16RoundTripOfValidCodePoints)
{
  for (int round = 0; round < 3000; round++)
  {
    unsigned int n = Below(24);
    std::vector<unsigned int> text(n + 1, 0);
    unsigned int units = 0;
    for (unsigned int i = 0; i < n; i++)
    {
      unsigned int v;
      do
        v = Below(3) ? Between(1, 0xFFFF) : Between(0x10000, 0x10FFFF);
      while (v >= 0xD800 && v <= 0xDFFF);
      text[i] = v;
      units += v > 0xFFFF ? 2 : 1;
    }
    std::vector<unsigned short> u16(units + 2, 0xA5A5);
    ASSERT_EQ(KivStrUCS4ToUTF16(nullptr, 0, text.data(), (unsigned int)-1), units + 1);
    ASSERT_EQ(KivStrUCS4ToUTF16(u16.data(), units + 1, text.data(), (unsigned int)-1), units);
    ASSERT_EQ(u16[units], 0);
    ASSERT_EQ(u16[units + 1], 0xA5A5);
    std::vector<unsigned int> back(n + 1, 0xDEADBEEF);
    ASSERT_EQ(KivStrUTF16ToUCS4(back.data(), n + 1, u16.data(), (unsigned int)-1), n);
    for (unsigned int i = 0; i <= n; i++)
      ASSERT_EQ(back[i], text[i]) << "character " << i;
  }
}

TEST(CoreProperty, UTF16OfAnyValueMatchesTheRules)
{
  for (int round = 0; round < 3000; round++)
  {
    unsigned int n = Below(16);
    std::vector<unsigned int> text(n);
    std::vector<std::vector<unsigned short>> items;
    for (unsigned int i = 0; i < n; i++)
    {
      unsigned int c = RandomAny();
      text[i] = c;
      if (c <= 0xFFFF)
      {
        items.push_back({(unsigned short)c});
      }
      else
      {
        if (c > 0x10FFFF)
          items.push_back({'?'});
        /* the pair formula, each half kept to 16 bits */
        unsigned long long hi = 0xD800ull + (((unsigned long long)c - 0x10000ull) >> 10);
        items.push_back({(unsigned short)(hi & 0xFFFF), (unsigned short)(0xDC00 + (c & 0x3FF))});
      }
    }
    CheckAtRandomCapacity<unsigned short>(
      [&](unsigned short *d, unsigned int c) { return KivStrUCS4ToUTF16(d, c, text.data(), n); }, items,
      (unsigned short)0xA5A5);
  }
  for (int round = 0; round < 3000; round++)
  {
    unsigned int n = Below(16);
    std::vector<unsigned short> in(n);
    for (auto &u : in)
      u = (unsigned short)(Below(2) ? Between(0xD800, 0xDFFF) : Between(0, 0xFFFF));
    std::vector<std::vector<unsigned int>> items;
    for (unsigned int i = 0; i < n; i++)
    {
      unsigned int u = in[i];
      if (u >= 0xD800 && u < 0xDC00 && i + 1 < n && in[i + 1] >= 0xDC00 && in[i + 1] < 0xE000)
      {
        items.push_back({0x10000 + ((u - 0xD800) << 10) + (in[i + 1] - 0xDC00u)});
        i++;
      }
      else if (u >= 0xD800 && u < 0xE000)
      {
        items.push_back({'?'});
      }
      else
      {
        items.push_back({u});
      }
    }
    CheckAtRandomCapacity<unsigned int>(
      [&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, in.data(), n); }, items, 0xDEADBEEFu);
  }
}

TEST(CoreProperty, SerialFormOfRandomText)
{
  for (int round = 0; round < 3000; round++)
  {
    unsigned int n = Below(24);
    std::vector<wchar_t> text(n + 1, 0);
    for (unsigned int i = 0; i < n; i++)
      text[i] = (wchar_t)RandomAny();
    std::vector<unsigned char> ser(2 * n + 4, 0xAA);
    ASSERT_EQ(KivStrSerialize(ser.data(), 2 * n + 2, text.data(), n), 2 * n + 2);
    for (unsigned int i = 0; i < n; i++)
    {
      unsigned int c = (unsigned int)text[i];
      ASSERT_EQ(ser[2 * i], c & 0xFF);
      ASSERT_EQ(ser[2 * i + 1], (c >> 8) & 0xFF);
    }
    ASSERT_EQ(ser[2 * n], 0);
    ASSERT_EQ(ser[2 * n + 1], 0);
    ASSERT_EQ(ser[2 * n + 2], 0xAA);

    std::vector<wchar_t> back(n + 3, (wchar_t)0x5A5A5A5A);
    ASSERT_EQ(KivStrDeSerialize(back.data(), n + 1, ser.data(), 2 * n), n);
    for (unsigned int i = 0; i < n; i++)
      ASSERT_EQ((unsigned int)back[i], (unsigned int)text[i] & 0xFFFF);
    ASSERT_EQ(back[n], 0);
    ASSERT_EQ(back[n + 1], (wchar_t)0x5A5A5A5A);
    /* the whole form: one unit more, two cells more */
    ASSERT_EQ(KivStrDeSerialize(back.data(), n + 1, ser.data(), 2 * n + 2), n + 2);
    ASSERT_EQ(KivStrDeSerialize(back.data(), n + 2, ser.data(), 2 * n + 2), n + 1);
    ASSERT_EQ(back[n], 0);
    ASSERT_EQ(back[n + 1], 0);
  }
}

TEST(CoreProperty, HandleFromRandomUTF8SerialisesItsCharacters)
{
  TKivString<wchar_t, CKivMemHeap> s;
  for (int round = 0; round < 2000; round++)
  {
    unsigned int n = 1 + Below(60);
    std::vector<wchar_t> text(n + 1, 0);
    for (unsigned int i = 0; i < n; i++)
      text[i] = (wchar_t)RandomNonNegative(i == 0);
    unsigned int bytes = KivStrEncodeUTF8(nullptr, 0, text.data(), n) - 1;
    std::vector<char> utf8(bytes + 1);
    ASSERT_EQ(KivStrEncodeUTF8(utf8.data(), bytes + 1, text.data(), n), bytes);

    s.SetUTF8(utf8.data(), bytes); /* explicit count: embedded zeros kept */
    auto *b = s.GetBuffer();
    ASSERT_NE(b, nullptr);
    ASSERT_EQ(b->m_nLength, n);
    ASSERT_LT(b->m_nLength, b->m_nCapacity);
    ASSERT_EQ(b->GetChars()[n], 0);
    ASSERT_EQ(wmemcmp(b->GetChars(), text.data(), n), 0);

    std::vector<unsigned char> want(2 * n + 2), got(2 * n + 2);
    ASSERT_EQ(KivStrSerialize(want.data(), 2 * n + 2, text.data(), n), 2 * n + 2);
    ASSERT_EQ(s.Serialize(got.data(), 2 * n + 2), 2 * n + 2);
    ASSERT_EQ(got, want);
    ASSERT_EQ(s.Serialize(got.data(), 2 * n + 1), 2 * n + 2);
  }
}

} // namespace
