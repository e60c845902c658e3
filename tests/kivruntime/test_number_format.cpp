/*
 * test_number_format.cpp - integer formatters of kivruntime: TInt2Str,
 * KivLONG2Str, KivDWORD2Str, KivLONGLONG2Str, KivQWORD2Str, narrow and wide.
 *
 * Every expected text goes through expectFormat(), which runs the formatter
 * for char and wchar_t at every capacity from 0 to the text's length + 3
 * (so capacity 0, one short and exact included) with guard elements after
 * the capacity, and through a null destination.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include <functional>

#include "kiv_number_checks.h"

namespace {

TEST(KivNumberFormat, Long2StrNegativeInRadix16IsTwosComplement)
{
  char buf[16];
  EXPECT_EQ(8u, KivLONG2Str(-255, buf, 16, 16));
  EXPECT_STREQ("FFFFFF01", buf);
  wchar_t wbuf[16];
  EXPECT_EQ(8u, KivLONG2Str(-255, wbuf, 16, 16));
  EXPECT_STREQ(L"FFFFFF01", wbuf);
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(-255, d, c, 16); }, "FFFFFF01");
}

TEST(KivNumberFormat, Long2StrNegativeInRadix10HasSign)
{
  char buf[16];
  EXPECT_EQ(4u, KivLONG2Str(-255, buf, 16, 10));
  EXPECT_STREQ("-255", buf);
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(-255, d, c, 10); }, "-255");
}

TEST(KivNumberFormat, ForceSignAndMinDigitsInRadix10)
{
  char buf[16];
  EXPECT_EQ(4u, TInt2Str(5, buf, 16, 10, 1, 3));
  EXPECT_STREQ("+005", buf);
  wchar_t wbuf[16];
  EXPECT_EQ(4u, TInt2Str(5, wbuf, 16, 10, 1, 3));
  EXPECT_STREQ(L"+005", wbuf);
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 10, 1, 3); }, "+005");
}

TEST(KivNumberFormat, NoSignOutsideRadix10)
{
  char buf[16];
  EXPECT_EQ(3u, TInt2Str(5, buf, 16, 16, 1, 3));
  EXPECT_STREQ("005", buf);
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 16, 1, 3); }, "005");
  /* A clamped radix loses forceSign too. */
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 1, 1, 0); }, "101");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 37, 1, 0); }, "5");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(-1, d, c, 2, 1, 0); },
               std::string(32, '1'));
}

TEST(KivNumberFormat, RadixOneIsBinaryAndRadix37IsRadix36)
{
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(5, d, c, 1); }, "101");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(35, d, c, 37); }, "Z");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(36, d, c, 37); }, "10");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(35, d, c, 37); }, "Z");
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(6, d, c, 1); }, "110");
  /* 0 and negative radixes are clamped to 2 as well. */
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(6, d, c, 0); }, "110");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(6, d, c, -10); }, "110");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(1295, d, c, 1000); }, "ZZ");
}

TEST(KivNumberFormat, ZeroMeasuresAsTwo)
{
  EXPECT_EQ(2u, KivDWORD2Str(0, (char *)0, 0, 10));
  EXPECT_EQ(2u, KivDWORD2Str(0, (wchar_t *)0, 0, 10));
  char buf[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(2u, KivDWORD2Str(0, buf, 1, 10));
  EXPECT_EQ(0, buf[0]);
  EXPECT_EQ('x', buf[1]);
  wchar_t wbuf[4] = {L'x', L'x', L'x', L'x'};
  EXPECT_EQ(2u, KivDWORD2Str(0, wbuf, 1, 10));
  EXPECT_EQ(0, wbuf[0]);
  EXPECT_EQ(L'x', wbuf[1]);
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(0, d, c, 10); }, "0");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(0, d, c, 2); }, "0");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(0, d, c, 36); }, "0");
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(0, d, c, 16); }, "0");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(0, d, c, 10, 1, 0); }, "+0");
}

TEST(KivNumberFormat, ExtremesOf32Bits)
{
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(INT_MIN, d, c, 10); }, "-2147483648");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(INT_MIN, d, c, 16); }, "80000000");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(INT_MIN, d, c, 2); },
               "1" + std::string(31, '0'));
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(INT_MIN, d, c, 36); }, "ZIK0ZK");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(INT_MAX, d, c, 10); }, "2147483647");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(INT_MAX, d, c, 16); }, "7FFFFFFF");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(-1, d, c, 16); }, "FFFFFFFF");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(-1, d, c, 8); }, "37777777777");
  expectFormat([](auto *d, unsigned int c) { return KivLONG2Str(-1, d, c, 10); }, "-1");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(UINT_MAX, d, c, 10); }, "4294967295");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(UINT_MAX, d, c, 16); }, "FFFFFFFF");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(UINT_MAX, d, c, 36); }, "1Z141Z3");
  expectFormat([](auto *d, unsigned int c) { return KivDWORD2Str(UINT_MAX, d, c, 2); },
               std::string(32, '1'));
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(INT_MIN, d, c, 10, 1, 0); }, "-2147483648");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(INT_MAX, d, c, 10, 1, 0); }, "+2147483647");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(UINT_MAX, d, c, 10, 1, 0); }, "+4294967295");
}

TEST(KivNumberFormat, ExtremesOf64Bits)
{
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(LLONG_MIN, d, c, 10); },
               "-9223372036854775808");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(LLONG_MIN, d, c, 16); },
               "8000000000000000");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(LLONG_MIN, d, c, 2); },
               "1" + std::string(63, '0'));
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(LLONG_MAX, d, c, 10); },
               "9223372036854775807");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(LLONG_MAX, d, c, 36); }, "1Y2P0IJ32E8E7");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(-1, d, c, 16); }, "FFFFFFFFFFFFFFFF");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(-1, d, c, 10); }, "-1");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(-255, d, c, 16); }, "FFFFFFFFFFFFFF01");
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(ULLONG_MAX, d, c, 10); },
               "18446744073709551615");
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(ULLONG_MAX, d, c, 16); }, "FFFFFFFFFFFFFFFF");
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(ULLONG_MAX, d, c, 36); }, "3W5E11264SGSF");
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(ULLONG_MAX, d, c, 2); },
               std::string(64, '1'));
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(ULLONG_MAX, d, c, 8); },
               "1777777777777777777777");
  /* 64-bit values need 64-bit division: the high half must show. */
  expectFormat([](auto *d, unsigned int c) { return KivQWORD2Str(0x100000000ULL, d, c, 10); }, "4294967296");
  expectFormat([](auto *d, unsigned int c) { return KivLONGLONG2Str(-4294967296LL, d, c, 10); }, "-4294967296");
}

TEST(KivNumberFormat, MinDigits)
{
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(7, d, c, 10, 0, 0); }, "7");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(7, d, c, 10, 0, 1); }, "7");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(7, d, c, 10, 0, -5); }, "7");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(7, d, c, 10, 0, 2); }, "07");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(1234, d, c, 10, 0, 2); }, "1234");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(0, d, c, 10, 0, 4); }, "0000");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(-5, d, c, 10, 0, 3); }, "-005");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(255, d, c, 16, 0, 4); }, "00FF");
  /* Capped at the widest natural form: 32 or 64 digits. */
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 2, 0, 32); }, std::string(29, '0') + "101");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 2, 0, 33); }, std::string(29, '0') + "101");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5, d, c, 10, 0, 1000000); },
               std::string(31, '0') + "5");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5LL, d, c, 10, 1, 64); },
               "+" + std::string(63, '0') + "5");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(5ULL, d, c, 10, 0, 65); }, std::string(63, '0') + "5");
  expectFormat([](auto *d, unsigned int c) { return TInt2Str(INT_MIN, d, c, 10, 0, 32); },
               "-" + std::string(22, '0') + "2147483648");
}

TEST(KivNumberFormat, ExplicitInstantiationsAreUsable)
{
  char buf[80];
  wchar_t wbuf[80];
  EXPECT_EQ(3u, (TInt2Str<char, int, unsigned int>(-42, buf, 80, 10, 0, 0)));
  EXPECT_STREQ("-42", buf);
  EXPECT_EQ(3u, (TInt2Str<wchar_t, int, unsigned int>(-42, wbuf, 80, 10, 0, 0)));
  EXPECT_STREQ(L"-42", wbuf);
  EXPECT_EQ(3u, (TInt2Str<char, unsigned int, unsigned int>(42u, buf, 80, 10, 1, 0)));
  EXPECT_STREQ("+42", buf);
  EXPECT_EQ(16u, (TInt2Str<char, long long, unsigned long long>(-1LL, buf, 80, 16, 0, 0)));
  EXPECT_STREQ("FFFFFFFFFFFFFFFF", buf);
  EXPECT_EQ(16u, (TInt2Str<wchar_t, unsigned long long, unsigned long long>(ULLONG_MAX, wbuf, 80, 16, 0, 0)));
  EXPECT_STREQ(L"FFFFFFFFFFFFFFFF", wbuf);
  /* long has the platform's width (32 bits on 32-bit PowerPC). */
  std::string ones(sizeof(long) * 2, 'F');
  EXPECT_EQ(ones.size(), TInt2Str(-1L, buf, 80, 16, 0, 0));
  EXPECT_EQ(ones, buf);
  EXPECT_EQ(ones.size(), TInt2Str(ULONG_MAX, wbuf, 80, 16, 0, 0));
  EXPECT_EQ(std::wstring(ones.begin(), ones.end()), wbuf);
  EXPECT_EQ(3u, TInt2Str(-42L, buf, 80, 10, 0, 0));
  EXPECT_STREQ("-42", buf);
  /* A measuring call with the element type named. */
  EXPECT_EQ(4u, TInt2Str<char>(-42, 0, 0, 10, 0, 0));
  EXPECT_EQ(4u, TInt2Str<wchar_t>(-42, 0, 0, 10, 0, 0));
}

/* Checks text against value in radix r: accepted back by strtoull, upper
 * case only, no leading zero. */
void expectDigitsOf(unsigned long long value, int r, const std::string &text)
{
  SCOPED_TRACE("radix " + std::to_string(r) + " text " + text);
  ASSERT_FALSE(text.empty());
  if (value != 0)
  {
    EXPECT_NE('0', text[0]);
  }
  for (char ch : text)
    EXPECT_TRUE((ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'Z'));
  char *end = 0;
  EXPECT_EQ(value, strtoull(text.c_str(), &end, r));
  EXPECT_EQ('\0', *end);
}

/* Narrow result of f at a generous capacity, after expectFormat agreed on
 * both element types. */
template <class F>
std::string formatted(F f)
{
  char buf[100];
  unsigned int n = f(buf, 100u);
  EXPECT_LT(n, 100u);
  std::string s(buf);
  expectFormat(f, s);
  return s;
}

TEST(KivNumberFormat, EveryRadixFrom0To37)
{
  const long long values[] = {0, 1, 7, 35, 36, 1295, 123456789, -1, -2, -123456789,
                              INT_MAX, INT_MIN, LLONG_MAX, LLONG_MIN, 0x0123456789ABCDEFLL};
  for (int radix = 0; radix <= 37; radix++)
  {
    const int r = radix < 2 ? 2 : (radix > 36 ? 36 : radix);
    for (long long v : values)
    {
      SCOPED_TRACE("value " + std::to_string(v) + " radix " + std::to_string(radix));
      const int v32 = (int)(unsigned int)(unsigned long long)v;
      const unsigned int u32 = (unsigned int)(unsigned long long)v;
      const unsigned long long u64 = (unsigned long long)v;

      std::string s = formatted([&](auto *d, unsigned int c) { return KivLONG2Str(v32, d, c, radix); });
      if (r == 10 && v32 < 0)
      {
        ASSERT_EQ('-', s[0]);
        expectDigitsOf(0ULL - (unsigned long long)(long long)v32, 10, s.substr(1));
      }
      else
      {
        expectDigitsOf(u32, r, s);
      }
      EXPECT_EQ(s, formatted([&](auto *d, unsigned int c) { return TInt2Str(v32, d, c, radix, 0, 0); }));

      s = formatted([&](auto *d, unsigned int c) { return TInt2Str(v32, d, c, radix, 1, 0); });
      if (r == 10)
      {
        ASSERT_EQ(v32 < 0 ? '-' : '+', s[0]);
        s = s.substr(1);
        expectDigitsOf(v32 < 0 ? 0ULL - (unsigned long long)(long long)v32 : u32, 10, s);
      }
      else
      {
        expectDigitsOf(u32, r, s);
      }

      s = formatted([&](auto *d, unsigned int c) { return KivDWORD2Str(u32, d, c, radix); });
      expectDigitsOf(u32, r, s);

      s = formatted([&](auto *d, unsigned int c) { return KivLONGLONG2Str(v, d, c, radix); });
      if (r == 10 && v < 0)
      {
        ASSERT_EQ('-', s[0]);
        expectDigitsOf(0ULL - u64, 10, s.substr(1));
      }
      else
      {
        expectDigitsOf(u64, r, s);
      }

      s = formatted([&](auto *d, unsigned int c) { return KivQWORD2Str(u64, d, c, radix); });
      expectDigitsOf(u64, r, s);
    }
  }
}

TEST(KivNumberFormat, NullDestinationWithCapacityOnlyMeasures)
{
  EXPECT_EQ(5u, KivLONG2Str(-255, (char *)0, 100, 10));
  EXPECT_EQ(5u, KivLONG2Str(-255, (wchar_t *)0, 100, 10));
  EXPECT_EQ(17u, KivQWORD2Str(ULLONG_MAX, (char *)0, 5, 16));
}

} // namespace
