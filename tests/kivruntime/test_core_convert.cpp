/*
 * Tests of the character set conversions and the per-character helpers.
 *
 * Every converter is checked as a bounded writer with the helper
 * CheckWriter: for every capacity from 0 to a few cells past the need
 * (which includes capacity 0, exactly enough, and one short) the result,
 * the truncated and terminated output (whole items only), and the guard
 * cells at and after the capacity are compared with the expected values.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <locale.h>
#include <string.h>
#include <string>
#include <vector>

#include "convert_guards.h"

namespace {

using convert_test::Guard;

template <class U>
using Items = std::vector<std::vector<U>>;

/*
 * CheckWriter - call(dest, capacity) must behave as the bounded writer whose
 * complete output is the concatenation of items, an item being written
 * whole or not at all and the first item that does not fit ending output.
 */
template <class U, class F>
void CheckWriter(F call, const Items<U> &items)
{
  std::vector<U> full;
  for (const auto &it : items)
    full.insert(full.end(), it.begin(), it.end());
  const unsigned int n = (unsigned int)full.size();
  const U guard = Guard<U>();

  EXPECT_EQ(call((U *)nullptr, 0u), n + 1) << "measuring with a null destination";

  for (unsigned int cap = 0; cap <= n + 3; cap++)
  {
    SCOPED_TRACE(::testing::Message() << "capacity " << cap << " of need " << n + 1);
    std::vector<U> buf(cap + 4, guard);
    unsigned int r = call(buf.data(), cap);
    std::vector<U> want;
    unsigned int result;
    if (cap == 0)
    {
      result = n + 1;
    }
    else if (cap > n)
    {
      want = full;
      want.push_back(0);
      result = n;
    }
    else
    {
      unsigned int room = cap - 1;
      for (const auto &it : items)
      {
        if (want.size() + it.size() > room)
          break;
        want.insert(want.end(), it.begin(), it.end());
      }
      want.push_back(0);
      result = n + 1;
    }
    EXPECT_EQ(r, result);
    std::vector<U> got(buf.begin(), buf.begin() + want.size());
    EXPECT_EQ(got, want);
    for (size_t i = want.size(); i < buf.size(); i++)
      EXPECT_EQ(buf[i], guard) << "cell " << i << " was written";
  }
}

/* One byte item per element of a byte string (for single-byte outputs). */
Items<char> ByteItems(const std::vector<int> &bytes)
{
  Items<char> items;
  for (int b : bytes)
    items.push_back({(char)(unsigned char)b});
  return items;
}

template <class U>
Items<U> UnitItems(const std::vector<unsigned int> &units)
{
  Items<U> items;
  for (unsigned int u : units)
    items.push_back({(U)u});
  return items;
}

Items<char> Utf8Items(const std::vector<std::vector<int>> &seqs)
{
  Items<char> items;
  for (const auto &s : seqs)
  {
    std::vector<char> v;
    for (int b : s)
      v.push_back((char)(unsigned char)b);
    items.push_back(v);
  }
  return items;
}

/* ---------------------------------------------------------------- UTF-8 */

TEST(CoreConvert, DecodeUTF8MeasureFitAndTruncate)
{
  EXPECT_EQ(KivStrDecodeUTF8(nullptr, 0, "abc", (unsigned int)-1), 4u);
  wchar_t d[8];
  wmemset(d, 0x5A5A, 8);
  EXPECT_EQ(KivStrDecodeUTF8(d, 4, "abc", (unsigned int)-1), 3u);
  EXPECT_EQ(d[0], L'a');
  EXPECT_EQ(d[1], L'b');
  EXPECT_EQ(d[2], L'c');
  EXPECT_EQ(d[3], 0);
  EXPECT_EQ(d[4], 0x5A5A);
  wmemset(d, 0x5A5A, 8);
  EXPECT_EQ(KivStrDecodeUTF8(d, 3, "abc", (unsigned int)-1), 4u);
  EXPECT_EQ(d[0], L'a');
  EXPECT_EQ(d[1], L'b');
  EXPECT_EQ(d[2], 0);
  EXPECT_EQ(d[3], 0x5A5A);
}

TEST(CoreConvert, DecodeUTF8EmptyInput)
{
  wchar_t d[2] = {0x5A5A, 0x5A5A};
  EXPECT_EQ(KivStrDecodeUTF8(d, 0, "", (unsigned int)-1), 1u);
  EXPECT_EQ(d[0], 0x5A5A);
  EXPECT_EQ(KivStrDecodeUTF8(d, 1, "", (unsigned int)-1), 0u);
  EXPECT_EQ(d[0], 0);
  EXPECT_EQ(d[1], 0x5A5A);
  EXPECT_EQ(KivStrDecodeUTF8(d, 1, "abc", 0), 0u);
}

TEST(CoreConvert, DecodeUTF8NullSourceIsEmpty)
{
  wchar_t d[2] = {0x5A5A, 0x5A5A};
  EXPECT_EQ(KivStrDecodeUTF8(d, 2, nullptr, (unsigned int)-1), 0u);
  EXPECT_EQ(d[0], 0);
  EXPECT_EQ(d[1], 0x5A5A);
  EXPECT_EQ(KivStrDecodeUTF8(d, 2, nullptr, 17), 0u);
  EXPECT_EQ(KivStrDecodeUTF8(nullptr, 0, nullptr, 17), 1u);
  CheckWriter<wchar_t>([](wchar_t *d2, unsigned int c) { return KivStrDecodeUTF8(d2, c, nullptr, 5); }, {});
}

TEST(CoreConvert, DecodeUTF8BoundedWriter)
{
  /* a, é, €, U+1F600, 5-byte U+200000, 6-byte U+4000000, z */
  const char src[] = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF8\x88\x80\x80\x80\xFC\x84\x80\x80\x80\x80z";
  auto call = [&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, src, (unsigned int)-1); };
  CheckWriter<wchar_t>(call, UnitItems<wchar_t>({'a', 0xE9, 0x20AC, 0x1F600, 0x200000, 0x4000000, 'z'}));
  auto ansi = [&](wchar_t *d, unsigned int c) { return KivStrDecodeANSI(d, c, src, (unsigned int)-1); };
  CheckWriter<wchar_t>(ansi, UnitItems<wchar_t>({'a', 0xE9, 0x20AC, 0x1F600, 0x200000, 0x4000000, 'z'}));
}

TEST(CoreConvert, DecodeUTF8ExplicitCountWithEmbeddedZeros)
{
  const char src[] = "a\0\xC3\xA9\0b";
  auto call = [&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, src, 6); };
  CheckWriter<wchar_t>(call, UnitItems<wchar_t>({'a', 0, 0xE9, 0, 'b'}));
  /* -1 stops at the first zero; an explicit count stops short of it */
  auto stopAtZero = [&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, src, (unsigned int)-1); };
  CheckWriter<wchar_t>(stopAtZero, UnitItems<wchar_t>({'a'}));
  auto partial = [&](wchar_t *d, unsigned int c) { return KivStrDecodeUTF8(d, c, src + 2, 1); };
  CheckWriter<wchar_t>(partial, UnitItems<wchar_t>({'?'}));
}

TEST(CoreConvert, DecodeUTF8LenientAndBadForms)
{
  struct Case
  {
    std::vector<int> in;
    std::vector<unsigned int> out;
  } cases[] = {
    {{0xE2, 0x82}, {'?', '?'}},             /* cut short: each byte alone */
    {{0xC0, 0x80}, {0}},                    /* overlong zero accepted */
    {{0xE0, 0x80, 0x80}, {0}},              /* overlong, three bytes */
    {{0xC1, 0xBF}, {0x7F}},                 /* overlong 0x7F */
    {{0xED, 0xA0, 0x80}, {0xD800}},         /* surrogate stored as is */
    {{0xF4, 0x90, 0x80, 0x80}, {0x110000}}, /* above U+10FFFF stored as is */
    {{0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF}, {0x7FFFFFFF}},
    {{0xFB, 0xBF, 0xBF, 0xBF, 0xBF}, {0x3FFFFFF}},
    {{0x80}, {'?'}}, /* stray continuation */
    {{0xBF, 'A'}, {'?', 'A'}},
    {{0xFE}, {'?'}},
    {{0xFF, 0xFE, 'x'}, {'?', '?', 'x'}},
    {{0xE2, 0x41, 0x82}, {'?', 'A', '?'}}, /* bad following byte */
    {{0xC3, 0xC3, 0xA9}, {'?', 0xE9}},     /* resumes at the next byte */
    {{0xF0, 0x9F, 0x98}, {
                           '?',
                           '?',
                           '?',
                         }}, /* 4-byte lead, 3 available */
    {{0xFC, 0x84, 0x80, 0x80, 0x80}, {'?', '?', '?', '?', '?'}},
    {{0xC3, 0x00, 0xA9}, {'?', 0, '?'}},
  };
  for (const Case &c : cases)
  {
    std::vector<char> in;
    for (int b : c.in)
      in.push_back((char)(unsigned char)b);
    SCOPED_TRACE(::testing::Message() << "input of " << in.size() << " bytes, first 0x" << std::hex << c.in[0]);
    auto call = [&](wchar_t *d, unsigned int cap) {
      return KivStrDecodeUTF8(d, cap, in.data(), (unsigned int)in.size());
    };
    CheckWriter<wchar_t>(call, UnitItems<wchar_t>(c.out));
  }
}

TEST(CoreConvert, EncodeUTF8SequenceNeverCut)
{
  wchar_t e9[] = {0xE9, 0};
  char d[6];
  memset(d, 0x5A, sizeof d);
  EXPECT_EQ(KivStrEncodeUTF8(d, 2, e9, (unsigned int)-1), 3u);
  EXPECT_EQ(d[0], 0);
  EXPECT_EQ(d[1], 0x5A);
  memset(d, 0x5A, sizeof d);
  EXPECT_EQ(KivStrEncodeUTF8(d, 3, e9, (unsigned int)-1), 2u);
  EXPECT_EQ((unsigned char)d[0], 0xC3);
  EXPECT_EQ((unsigned char)d[1], 0xA9);
  EXPECT_EQ(d[2], 0);
  EXPECT_EQ(d[3], 0x5A);
  /* the sign-extended Latin-1 value comes back as its single byte */
  wchar_t neg[] = {(wchar_t)0xFFFFFFE9u, 0};
  memset(d, 0x5A, sizeof d);
  EXPECT_EQ(KivStrEncodeUTF8(d, 6, neg, (unsigned int)-1), 1u);
  EXPECT_EQ((unsigned char)d[0], 0xE9);
  EXPECT_EQ(d[1], 0);
}

TEST(CoreConvert, EncodeUTF8BoundedWriterAllLengths)
{
  const wchar_t src[] = {'a', 0xE9, 0x20AC, 0x1F600, 0x200000, 0x4000000, 0x7FFFFFFF, 0xD800,
                         (wchar_t)0xFFFFFFE9u, (wchar_t)0x80000000u, 0x10FFFF, 0x7F, 0x80, 0x7FF, 0x800,
                         0xFFFF, 0x10000, 0x1FFFFF, 0x3FFFFFF, 0};
  Items<char> want = Utf8Items({{'a'},
                                {0xC3, 0xA9},
                                {0xE2, 0x82, 0xAC},
                                {0xF0, 0x9F, 0x98, 0x80},
                                {0xF8, 0x88, 0x80, 0x80, 0x80},
                                {0xFC, 0x84, 0x80, 0x80, 0x80, 0x80},
                                {0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF},
                                {0xED, 0xA0, 0x80},
                                {0xE9},
                                {0x00},
                                {0xF4, 0x8F, 0xBF, 0xBF},
                                {0x7F},
                                {0xC2, 0x80},
                                {0xDF, 0xBF},
                                {0xE0, 0xA0, 0x80},
                                {0xEF, 0xBF, 0xBF},
                                {0xF0, 0x90, 0x80, 0x80},
                                {0xF7, 0xBF, 0xBF, 0xBF},
                                {0xFB, 0xBF, 0xBF, 0xBF, 0xBF}});
  auto call = [&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, src, (unsigned int)-1); };
  CheckWriter<char>(call, want);
  auto ansi = [&](char *d, unsigned int c) { return KivStrEncodeANSI(d, c, src, (unsigned int)-1); };
  CheckWriter<char>(ansi, want);
}

TEST(CoreConvert, EncodeUTF8LaterItemsAreNotWrittenAfterAShortfall)
{
  /* "€a": with room 2 the euro sign does not fit, and the "a" after it,
     * which would fit, is not written either. */
  const wchar_t src[] = {0x20AC, 'a', 0};
  char d[4] = {0x5A, 0x5A, 0x5A, 0x5A};
  EXPECT_EQ(KivStrEncodeUTF8(d, 3, src, (unsigned int)-1), 5u);
  EXPECT_EQ(d[0], 0);
  EXPECT_EQ(d[1], 0x5A);
}

TEST(CoreConvert, EncodeUTF8ExplicitCountNullAndEmpty)
{
  const wchar_t src[] = {'a', 0, 0xE9, 'b', 0};
  CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, src, 4); },
                    Utf8Items({{'a'}, {0}, {0xC3, 0xA9}, {'b'}}));
  CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, src, (unsigned int)-1); },
                    Utf8Items({{'a'}}));
  CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, nullptr, (unsigned int)-1); }, {});
  CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, nullptr, 9); }, {});
  CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeUTF8(d, c, src, 0); }, {});
}

TEST(CoreConvert, CharEncodeUTF8RoomAndLength)
{
  char d[8];
  wchar_t c = 'A';
  memset(d, 0x5A, sizeof d);
  EXPECT_EQ(CharEncodeUTF8(d, 0, &c, 0), 1u);
  EXPECT_EQ(d[0], 0x5A);
  EXPECT_EQ(CharEncodeUTF8(d, 1, &c, 12345), 1u);
  EXPECT_EQ(d[0], 'A');
  c = 0x20AC;
  memset(d, 0x5A, sizeof d);
  EXPECT_EQ(CharEncodeUTF8(d, 2, &c, 0), 3u);
  EXPECT_EQ(d[0], 0x5A);
  EXPECT_EQ(CharEncodeUTF8(d, 3, &c, 0), 3u);
  EXPECT_EQ((unsigned char)d[0], 0xE2);
  EXPECT_EQ((unsigned char)d[1], 0x82);
  EXPECT_EQ((unsigned char)d[2], 0xAC);
  EXPECT_EQ(d[3], 0x5A);
  c = 0x7FFFFFFF;
  EXPECT_EQ(CharEncodeUTF8(nullptr, 0, &c, 0), 6u);
  c = (wchar_t)0xFFFFFF80u;
  EXPECT_EQ(CharEncodeUTF8(d, 1, &c, 0), 1u);
  EXPECT_EQ((unsigned char)d[0], 0x80);
}

TEST(CoreConvert, CharDecodeUTF8ConsumedAndStored)
{
  const unsigned char euro[] = {0xE2, 0x82, 0xAC, 'x'};
  wchar_t d = 0x5A5A;
  EXPECT_EQ(CharDecodeUTF8(&d, 1, euro, 4), 3u);
  EXPECT_EQ(d, 0x20AC);
  d = 0x5A5A;
  EXPECT_EQ(CharDecodeUTF8(&d, 0, euro, 4), 3u); /* measure: not stored */
  EXPECT_EQ(d, 0x5A5A);
  EXPECT_EQ(CharDecodeUTF8(&d, 1, euro, 2), 1u); /* cut short */
  EXPECT_EQ(d, L'?');
  EXPECT_EQ(CharDecodeUTF8(&d, 1, euro + 1, 3), 1u);
  EXPECT_EQ(d, L'?');
  EXPECT_EQ(CharDecodeUTF8(&d, 1, euro + 3, 1), 1u);
  EXPECT_EQ(d, L'x');
  d = 0x5A5A;
  EXPECT_EQ(CharDecodeUTF8(&d, 1, euro, 0), 0u); /* nothing available: nothing read */
  EXPECT_EQ(d, 0x5A5A);
  const unsigned char six[] = {0xFD, 0xBF, 0xBF, 0xBF, 0xBF, 0xBF};
  EXPECT_EQ(CharDecodeUTF8(&d, 1, six, 6), 6u);
  EXPECT_EQ(d, 0x7FFFFFFF);
  EXPECT_EQ(CharDecodeUTF8(&d, 1, six, 5), 1u);
  EXPECT_EQ(d, L'?');
}

/* ---------------------------------------------------------------- Latin-1 */

TEST(CoreConvert, DecodeLatin1SignExtends)
{
  const char src[] = "A\xE9\x80\xFF\0z";
  auto call = [&](wchar_t *d, unsigned int c) { return KivStrDecodeLatin1(d, c, src, 6); };
  CheckWriter<wchar_t>(call, UnitItems<wchar_t>({'A', 0xFFFFFFE9u, 0xFFFFFF80u, 0xFFFFFFFFu, 0, 'z'}));
  wchar_t d[2];
  EXPECT_EQ(KivStrDecodeLatin1(d, 2, "\xE9", 1), 1u);
  EXPECT_EQ((unsigned int)d[0], 0xFFFFFFE9u);
}

TEST(CoreConvert, EncodeLatin1)
{
  const wchar_t src[] = {'A', 0xE9, (wchar_t)0xFFFFFFE9u, 0x20AC, 0xFF, 0x100, 0, (wchar_t)0x80000000u, 'z'};
  auto call = [&](char *d, unsigned int c) { return KivStrEncodeLatin1(d, c, src, 9); };
  CheckWriter<char>(call, ByteItems({'A', 0xE9, 0xE9, '?', 0xFF, '?', 0, 0x00, 'z'}));
  const wchar_t euro[] = {0x20AC};
  char d[2];
  EXPECT_EQ(KivStrEncodeLatin1(d, 2, euro, 1), 1u);
  EXPECT_EQ(d[0], '?');
}

TEST(CoreConvert, Latin1MinusOneAndNullSource)
{
  /* outside the usual use, but safe: -1 reads up to the zero, null is empty */
  CheckWriter<wchar_t>([](wchar_t *d, unsigned int c) { return KivStrDecodeLatin1(d, c, "a\xE9", (unsigned int)-1); },
                       UnitItems<wchar_t>({'a', 0xFFFFFFE9u}));
  const wchar_t w[] = {'a', 0x300, 0};
  CheckWriter<char>([&](char *d, unsigned int c) { return KivStrEncodeLatin1(d, c, w, (unsigned int)-1); },
                    ByteItems({'a', '?'}));
  CheckWriter<wchar_t>([](wchar_t *d, unsigned int c) { return KivStrDecodeLatin1(d, c, nullptr, 4); }, {});
  CheckWriter<char>([](char *d, unsigned int c) { return KivStrEncodeLatin1(d, c, nullptr, 4); }, {});
}

TEST(CoreConvert, Latin1BytesRoundTripThroughUTF8Encoder)
{
  char all[256];
  for (int i = 0; i < 256; i++)
    all[i] = (char)(unsigned char)i;
  wchar_t wide[257];
  ASSERT_EQ(KivStrDecodeLatin1(wide, 257, all, 256), 256u);
  char back[257];
  ASSERT_EQ(KivStrEncodeUTF8(back, 257, wide, 256), 256u);
  EXPECT_EQ(memcmp(back, all, 256), 0);
  ASSERT_EQ(KivStrEncodeLatin1(back, 257, wide, 256), 256u);
  EXPECT_EQ(memcmp(back, all, 256), 0);
}

/* ---------------------------------------------------------------- UTF-16 */

TEST(CoreConvert, UTF16ToUCS4Pairs)
{
  const unsigned short pair[] = {0xD83D, 0xDE00, 0};
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, pair, (unsigned int)-1); },
                            UnitItems<unsigned int>({0x1F600}));
  const unsigned short lone[] = {0xD83D};
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, lone, 1); },
                            UnitItems<unsigned int>({'?'}));
  const unsigned short highA[] = {0xD83D, 0x0041, 0};
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, highA, (unsigned int)-1); },
                            UnitItems<unsigned int>({'?', 'A'}));
  /* a pair cut by the count is two lone halves */
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, pair, 1); },
                            UnitItems<unsigned int>({'?'}));
  const unsigned short mixed[] = {'x', 0xDC00, 0xD800, 0xDC00, 0xDBFF, 0xDFFF, 0xFFFF, 0, 0xE9, 0xDE00, 0xD83D};
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, mixed, 11); },
                            UnitItems<unsigned int>({'x', '?', 0x10000, 0x10FFFF, 0xFFFF, 0, 0xE9, '?', '?'}));
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, mixed, (unsigned int)-1); },
                            UnitItems<unsigned int>({'x', '?', 0x10000, 0x10FFFF, 0xFFFF}));
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, nullptr, (unsigned int)-1); }, {});
  CheckWriter<unsigned int>([&](unsigned int *d, unsigned int c) { return KivStrUTF16ToUCS4(d, c, nullptr, 3); }, {});
}

TEST(CoreConvert, UCS4ToUTF16Items)
{
  const unsigned int emoji[] = {0x1F600, 0};
  unsigned short d[4] = {0xA5A5, 0xA5A5, 0xA5A5, 0xA5A5};
  EXPECT_EQ(KivStrUCS4ToUTF16(d, 2, emoji, (unsigned int)-1), 3u);
  EXPECT_EQ(d[0], 0);
  EXPECT_EQ(d[1], 0xA5A5);

  const unsigned int src[] = {'a', 0x1F600, 0xD800, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0xFFFFFFFFu, 0, 'z'};
  Items<unsigned short> want = {{'a'},
                                {0xD83D, 0xDE00},
                                {0xD800},
                                {0xFFFF},
                                {0xD800, 0xDC00},
                                {0xDBFF, 0xDFFF},
                                {'?'},
                                {0xDC00, 0xDC00}, /* 0x110000: ((0x110000>>10)+0xD7C0) = 0xDC00 */
                                {'?'},
                                {0xD7BF, 0xDFFF}, /* 0xFFFFFFFF: (0x3FFFFF+0xD7C0) mod 0x10000 */
                                {0},
                                {'z'}};
  CheckWriter<unsigned short>([&](unsigned short *d2, unsigned int c) { return KivStrUCS4ToUTF16(d2, c, src, 10); }, want);
  want.resize(10);
  CheckWriter<unsigned short>([&](unsigned short *d2, unsigned int c) { return KivStrUCS4ToUTF16(d2, c, src, (unsigned int)-1); }, want);
  CheckWriter<unsigned short>([&](unsigned short *d2, unsigned int c) { return KivStrUCS4ToUTF16(d2, c, nullptr, (unsigned int)-1); }, {});
  CheckWriter<unsigned short>([&](unsigned short *d2, unsigned int c) { return KivStrUCS4ToUTF16(d2, c, nullptr, 2); }, {});
}

TEST(CoreConvert, UCS4ToUTF16AboveRangeCostsThreeUnits)
{
  const unsigned int big[] = {0x110000};
  EXPECT_EQ(KivStrUCS4ToUTF16(nullptr, 0, big, 1), 4u);
  unsigned short d[5] = {0xA5A5, 0xA5A5, 0xA5A5, 0xA5A5, 0xA5A5};
  EXPECT_EQ(KivStrUCS4ToUTF16(d, 4, big, 1), 3u);
  EXPECT_EQ(d[0], '?');
  EXPECT_EQ(d[1], 0xDC00);
  EXPECT_EQ(d[2], 0xDC00);
  EXPECT_EQ(d[3], 0);
  EXPECT_EQ(d[4], 0xA5A5);
}

/* ---------------------------------------------------------------- helpers */

TEST(CoreConvert, CharX2C)
{
  const char *hex = "0123456789ABCDEF";
  for (unsigned int d = 0; d < 16; d++)
    EXPECT_EQ(CharX2C((unsigned char)d), hex[d]);
  EXPECT_EQ(CharX2C(16), '?');
  EXPECT_EQ(CharX2C(255), '?');
}

TEST(CoreConvert, KivCharMBLenBothOverloads)
{
  const wchar_t w[] = {0x1F600, 0};
  EXPECT_EQ(KivCharMBLen(w), 1);
  EXPECT_EQ(KivCharMBLen(w + 1), 1); /* even at the terminator */
  EXPECT_EQ(KivCharMBLen((const wchar_t *)nullptr), 1);
  EXPECT_EQ(KivCharMBLen((const char *)nullptr), 0);
  EXPECT_EQ(KivCharMBLen(""), 1);
  EXPECT_EQ(KivCharMBLen("a"), 1);
  /* the program starts in the "C" locale, where no byte above 0x7F is a
     * character: the C library's answer is passed on as it is */
  EXPECT_EQ(KivCharMBLen("\xC3\xA9"), -1);
  EXPECT_EQ(KivCharMBLen("\x80"), -1);
}

TEST(CoreConvert, KivCharMBLenInUTF8Locale)
{
  char *old = setlocale(LC_CTYPE, nullptr);
  std::string saved = old ? old : "C";
  if (!setlocale(LC_CTYPE, "C.UTF-8"))
    GTEST_SKIP() << "no C.UTF-8 locale data for this architecture";
  EXPECT_EQ(KivCharMBLen("\xC3\xA9"), 2);
  EXPECT_EQ(KivCharMBLen("\xE2\x82\xAC"), 3);
  EXPECT_EQ(KivCharMBLen("\xF0\x9F\x98\x80"), 4);
  EXPECT_EQ(KivCharMBLen("\xC3"), -1); /* cut short by the terminator */
  EXPECT_EQ(KivCharMBLen("\xFF"), -1);
  EXPECT_EQ(KivCharMBLen("\x80"), -1);
  setlocale(LC_CTYPE, saved.c_str());
}

} // namespace
