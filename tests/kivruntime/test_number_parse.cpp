/*
 * test_number_parse.cpp - the parsers of kivruntime: KivStr2DWORD, TStr2Int,
 * KivStr2LONG, KivStr2LONGLONG, KivStr2QWORD and KivStr2Float.
 *
 * parseBoth() runs a parser on a narrow text and on the same text widened
 * element by element, with an end pointer and without one, and checks that
 * all four calls agree on the value and both calls on the end position.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <clocale>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace {

std::wstring widen(const std::string &s)
{
  std::wstring w;
  for (char c : s)
    w += (wchar_t)(unsigned char)c;
  return w;
}

/* Same value, telling -0.0 from 0.0 and any NaN equal to any NaN. */
bool sameDouble(double a, double b)
{
  if (std::isnan(a) || std::isnan(b))
    return std::isnan(a) && std::isnan(b);
  return std::memcmp(&a, &b, sizeof a) == 0;
}

template <class R>
bool sameValue(R a, R b)
{
  return a == b;
}
template <>
bool sameValue<double>(double a, double b)
{
  return sameDouble(a, b);
}

template <class R>
struct Parsed
{
  R value;
  long end; /* elements consumed */
};

/* f is a generic lambda (auto text, auto end) calling one parser. */
template <class R, class F>
Parsed<R> parseBoth(F f, const std::string &text)
{
  SCOPED_TRACE("text \"" + text + "\"");
  const char *end = 0;
  const R narrow = f(text.c_str(), &end);
  std::wstring w = widen(text);
  const wchar_t *wend = 0;
  const R wide = f(w.c_str(), &wend);
  EXPECT_TRUE(sameValue(narrow, wide)) << narrow << " / " << wide;
  EXPECT_TRUE(end != 0 && wend != 0);
  if (!end || !wend)
    return Parsed<R>{narrow, -1};
  EXPECT_EQ(end - text.c_str(), wend - w.c_str());
  EXPECT_TRUE(sameValue(narrow, (R)f(text.c_str(), nullptr)));
  EXPECT_TRUE(sameValue(narrow, (R)f(w.c_str(), nullptr)));
  return Parsed<R>{narrow, (long)(end - text.c_str())};
}

#define DWORD_P(radix) [](auto t, auto e) { return KivStr2DWORD(t, radix, e); }
#define LONG_P(radix)  [](auto t, auto e) { return KivStr2LONG(t, radix, e); }
#define TINT_P(radix)  [](auto t, auto e) { return TStr2Int(t, radix, e); }
#define LL_P(radix)    [](auto t, auto e) { return KivStr2LONGLONG(t, radix, e); }
#define QW_P(radix)    [](auto t, auto e) { return KivStr2QWORD(t, radix, e); }
#define FLOAT_P        [](auto t, auto e) { return KivStr2Float(t, e); }

/* Two's complement reading of unsigned bits, without relying on the
 * implementation-defined narrowing conversion. */
int asInt(unsigned int u)
{
  return u <= (unsigned int)INT_MAX ? (int)u : (int)(u - 0x80000000u) + INT_MIN;
}

long long asLongLong(unsigned long long u)
{
  return u <= (unsigned long long)LLONG_MAX ? (long long)u : (long long)(u - 0x8000000000000000ULL) + LLONG_MIN;
}

/* Expects every integer parser to give the low bits of value64 (in its own
 * width) and to stop after `consumed` elements. */
void expectAllInts(const std::string &text, int radix, unsigned long long value64, long consumed)
{
  SCOPED_TRACE("radix " + std::to_string(radix));
  const unsigned int v32 = (unsigned int)value64;
  Parsed<unsigned int> d = parseBoth<unsigned int>(
    [radix](auto t, auto e) { return KivStr2DWORD(t, radix, e); }, text);
  EXPECT_EQ(v32, d.value);
  EXPECT_EQ(consumed, d.end);
  Parsed<int> l = parseBoth<int>([radix](auto t, auto e) { return KivStr2LONG(t, radix, e); }, text);
  EXPECT_EQ(asInt(v32), l.value);
  EXPECT_EQ(consumed, l.end);
  Parsed<int> ti = parseBoth<int>([radix](auto t, auto e) { return TStr2Int(t, radix, e); }, text);
  EXPECT_EQ(l.value, ti.value);
  EXPECT_EQ(consumed, ti.end);
  Parsed<long long> ll = parseBoth<long long>(
    [radix](auto t, auto e) { return KivStr2LONGLONG(t, radix, e); }, text);
  EXPECT_EQ(asLongLong(value64), ll.value);
  EXPECT_EQ(consumed, ll.end);
  Parsed<unsigned long long> q = parseBoth<unsigned long long>(
    [radix](auto t, auto e) { return KivStr2QWORD(t, radix, e); }, text);
  EXPECT_EQ(value64, q.value);
  EXPECT_EQ(consumed, q.end);
}

/* ---- integer parsing ---- */

TEST(KivNumberParse, AutomaticRadixHex)
{
  const char *text = "  0x1fG";
  const char *end = 0;
  EXPECT_EQ(31u, KivStr2DWORD(text, 0, &end));
  EXPECT_EQ(text + 6, end);
  EXPECT_EQ('G', *end);
  expectAllInts("  0x1fG", 0, 31, 6);
  expectAllInts("0X1F", 0, 31, 4);
  expectAllInts("0xfFfFfFfF", 0, 0xFFFFFFFFu, 10);
}

TEST(KivNumberParse, AutomaticRadixOctal)
{
  const char *end = 0;
  EXPECT_EQ(15u, KivStr2DWORD("017", 0, &end));
  EXPECT_EQ('\0', *end);
  expectAllInts("017", 0, 15, 3);
  expectAllInts("0789", 0, 7, 2); /* 8 is no octal digit */
  expectAllInts("08", 0, 0, 1);   /* the "0" is the prefix: no digit, end at "8" */
  expectAllInts("0", 0, 0, 1);
  expectAllInts("00", 0, 0, 2);
}

TEST(KivNumberParse, AutomaticRadixDecimal)
{
  expectAllInts("123", 0, 123, 3);
  expectAllInts("-123", 0, 0ULL - 123, 4);
  expectAllInts("+123x", 0, 123, 4);
  /* The prefix is looked for before the sign: "-0x10" is decimal -0. */
  expectAllInts("-0x10", 0, 0, 2);
  expectAllInts("-017", 0, 0ULL - 17, 4);
}

TEST(KivNumberParse, NoDigitEndsAfterWhiteSpacePrefixAndSign)
{
  const char *text = "0x";
  const char *end = 0;
  EXPECT_EQ(0u, KivStr2DWORD(text, 0, &end));
  EXPECT_EQ(text + 2, end);
  expectAllInts("0x", 0, 0, 2);
  expectAllInts("0xg", 0, 0, 2);
  expectAllInts("   z", 10, 0, 3);
  expectAllInts("   z", 0, 0, 3);
  expectAllInts("  -", 10, 0, 3);
  expectAllInts("  +", 0, 0, 3);
  expectAllInts("--5", 10, 0, 1);
  expectAllInts("- 5", 10, 0, 1);
  expectAllInts("", 10, 0, 0);
  expectAllInts("", 0, 0, 0);
  expectAllInts(" \t\n\v\f\r", 16, 0, 6);
}

TEST(KivNumberParse, SignOnlyInRadix10)
{
  const char *text = "-12";
  const char *end = 0;
  EXPECT_EQ(0, KivStr2LONG(text, 16, &end));
  EXPECT_EQ(text, end);
  expectAllInts("-12", 16, 0, 0);
  expectAllInts("+12", 16, 0, 0);
  expectAllInts("  -12", 8, 0, 2);
  expectAllInts("-12", 10, 0ULL - 12, 3);
  expectAllInts("+12", 10, 12, 3);
  expectAllInts("-12", 1, 0, 0);
  expectAllInts("-12", 37, 0, 0);
}

TEST(KivNumberParse, ExplicitRadixSkipsNoPrefix)
{
  expectAllInts("0x1f", 16, 0, 1);
  expectAllInts("017", 8, 15, 3);
  expectAllInts("017", 10, 17, 3);
}

TEST(KivNumberParse, WrapsSilently)
{
  const char *end = 0;
  EXPECT_EQ(0u, KivStr2DWORD("4294967296", 10, &end));
  EXPECT_EQ('\0', *end);
  expectAllInts("4294967296", 10, 4294967296ULL, 10);
  expectAllInts("4294967297", 10, 4294967297ULL, 10);
  expectAllInts("99999999999999999999", 10, 7766279631452241919ULL, 20);
  EXPECT_EQ(1661992959u, KivStr2DWORD("99999999999999999999", 10));
  expectAllInts("18446744073709551616", 10, 0, 20);
  expectAllInts("18446744073709551617", 10, 1, 20);
  expectAllInts("1FFFFFFFF", 16, 0x1FFFFFFFFULL, 9);
  EXPECT_EQ(-1, KivStr2LONG("1FFFFFFFF", 16));
  expectAllInts("-1", 10, ULLONG_MAX, 2);
  EXPECT_EQ(UINT_MAX, KivStr2DWORD("-1", 10));
  EXPECT_EQ(ULLONG_MAX, KivStr2QWORD("-1", 10));
}

TEST(KivNumberParse, ExtremeValues)
{
  EXPECT_EQ(INT_MIN, KivStr2LONG("-2147483648", 10));
  EXPECT_EQ(INT_MIN, KivStr2LONG("2147483648", 10));
  EXPECT_EQ(INT_MAX, KivStr2LONG("2147483647", 10));
  EXPECT_EQ(INT_MAX, KivStr2LONG("-2147483649", 10));
  EXPECT_EQ(INT_MIN, KivStr2LONG("80000000", 16));
  EXPECT_EQ(-1, KivStr2LONG("4294967295", 10));
  EXPECT_EQ(UINT_MAX, KivStr2DWORD("4294967295", 10));
  EXPECT_EQ(UINT_MAX, KivStr2DWORD("ffffffff", 16));
  EXPECT_EQ(UINT_MAX, KivStr2DWORD(std::string(32, '1').c_str(), 2));
  EXPECT_EQ(UINT_MAX, KivStr2DWORD("1z141z3", 36));
  EXPECT_EQ(LLONG_MIN, KivStr2LONGLONG("-9223372036854775808", 10));
  EXPECT_EQ(LLONG_MIN, KivStr2LONGLONG("9223372036854775808", 10));
  EXPECT_EQ(LLONG_MAX, KivStr2LONGLONG("9223372036854775807", 10));
  EXPECT_EQ(LLONG_MIN, KivStr2LONGLONG("8000000000000000", 16));
  EXPECT_EQ(-1LL, KivStr2LONGLONG("FFFFFFFFFFFFFFFF", 16));
  EXPECT_EQ(LLONG_MAX, KivStr2LONGLONG("1y2p0ij32e8e7", 36));
  EXPECT_EQ(ULLONG_MAX, KivStr2QWORD("18446744073709551615", 10));
  EXPECT_EQ(ULLONG_MAX, KivStr2QWORD("3w5e11264sgsf", 36));
  EXPECT_EQ(ULLONG_MAX, KivStr2QWORD(std::string(64, '1').c_str(), 2));
  EXPECT_EQ(ULLONG_MAX, KivStr2QWORD("1777777777777777777777", 8));
  EXPECT_EQ(ULLONG_MAX, KivStr2QWORD(L"0xFFFFFFFFFFFFFFFF", 0));
  EXPECT_EQ(LLONG_MIN, KivStr2LONGLONG(L"-9223372036854775808", 0));
}

TEST(KivNumberParse, EveryRadixFrom0To37)
{
  /* Texts made of every digit of the radix in mixed case followed by the
     * first character that is not one, checked against strtoull (which
     * reads the same digits in radix 2 to 36). */
  const char digitsLower[] = "0123456789abcdefghijklmnopqrstuvwxyz";
  const char digitsUpper[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  for (int radix = 0; radix <= 37; radix++)
  {
    const int r = radix == 0 ? 10 : (radix < 2 ? 2 : (radix > 36 ? 36 : radix));
    for (int variant = 0; variant < 3; variant++)
    {
      std::string text;
      /* at most 12 digits: below 36^12, so strtoull does not overflow */
      for (int i = 0; i < 12; i++)
      {
        int d = (variant == 0) ? (r - 1 - i % r) : ((i * 7 + variant) % r);
        if (variant == 0 && i == 0 && radix == 0)
          d = 9; /* radix 0 must not see a leading zero */
        if (variant != 0 && i == 0 && d == 0)
          d = 1;
        text += (i % 2) ? digitsUpper[d] : digitsLower[d];
      }
      text += (r < 36) ? digitsUpper[r] : '!';
      text += "123";
      SCOPED_TRACE(text);
      char *e = 0;
      const unsigned long long expected = strtoull(text.c_str(), &e, r);
      ASSERT_EQ(12, e - text.c_str());
      expectAllInts(text, radix, expected, 12);
      expectAllInts("\t " + text, radix, expected, 14);
    }
  }
}

TEST(KivNumberParse, NullText)
{
  const char *end = "x";
  EXPECT_EQ(0u, KivStr2DWORD((const char *)0, 10, &end));
  ASSERT_NE(nullptr, end);
  EXPECT_EQ('\0', *end);
  end = "x";
  EXPECT_EQ(0, KivStr2LONG((const char *)0, 0, &end));
  EXPECT_EQ('\0', *end);
  end = "x";
  EXPECT_EQ(0, TStr2Int((const char *)0, 0, &end));
  EXPECT_EQ('\0', *end);
  end = "x";
  EXPECT_EQ(0LL, KivStr2LONGLONG((const char *)0, 16, &end));
  EXPECT_EQ('\0', *end);
  end = "x";
  EXPECT_EQ(0ULL, KivStr2QWORD((const char *)0, 36, &end));
  EXPECT_EQ('\0', *end);
  end = "x";
  EXPECT_TRUE(sameDouble(0.0, KivStr2Float((const char *)0, &end)));
  EXPECT_EQ('\0', *end);

  const wchar_t *wend = L"x";
  EXPECT_EQ(0u, KivStr2DWORD((const wchar_t *)0, 10, &wend));
  EXPECT_EQ(L'\0', *wend);
  wend = L"x";
  EXPECT_EQ(0, KivStr2LONG((const wchar_t *)0, 10, &wend));
  EXPECT_EQ(L'\0', *wend);
  wend = L"x";
  EXPECT_EQ(0, TStr2Int((const wchar_t *)0, 10, &wend));
  EXPECT_EQ(L'\0', *wend);
  wend = L"x";
  EXPECT_EQ(0LL, KivStr2LONGLONG((const wchar_t *)0, 10, &wend));
  EXPECT_EQ(L'\0', *wend);
  wend = L"x";
  EXPECT_EQ(0ULL, KivStr2QWORD((const wchar_t *)0, 10, &wend));
  EXPECT_EQ(L'\0', *wend);
  wend = L"x";
  EXPECT_TRUE(sameDouble(0.0, KivStr2Float((const wchar_t *)0, &wend)));
  EXPECT_EQ(L'\0', *wend);

  EXPECT_EQ(0u, KivStr2DWORD((const char *)0, 10));
  EXPECT_EQ(0, KivStr2LONG((const wchar_t *)0, 10));
}

TEST(KivNumberParse, WithoutEndPointer)
{
  EXPECT_EQ(31u, KivStr2DWORD("  0x1fG", 0));
  EXPECT_EQ(31u, KivStr2DWORD(L"  0x1fG", 0));
  EXPECT_EQ(-12, KivStr2LONG("-12", 10));
  EXPECT_EQ(-12, KivStr2LONG(L"-12", 10));
  EXPECT_EQ(-12, KivStr2LONG("-12", 10, nullptr));
  EXPECT_EQ(-12LL, KivStr2LONGLONG("-12", 10));
  EXPECT_EQ(-12LL, KivStr2LONGLONG(L"-12", 10));
  EXPECT_EQ(255ULL, KivStr2QWORD("ff", 16));
  EXPECT_EQ(255ULL, KivStr2QWORD(L"FF", 16));
  EXPECT_EQ(2.5, KivStr2Float("2.5"));
  EXPECT_EQ(2.5, KivStr2Float(L"2.5"));
  EXPECT_EQ(-7, TStr2Int("-7", 10, nullptr));
  EXPECT_EQ(-7, TStr2Int(L"-7", 10, 0));
}

TEST(KivNumberParse, TemplateInstantiations)
{
  const char *end = 0;
  EXPECT_EQ(-42, (TStr2Int<char, int, unsigned int>("-42", 10, &end)));
  EXPECT_EQ('\0', *end);
  const wchar_t *wend = 0;
  EXPECT_EQ(-42, (TStr2Int<wchar_t, int, unsigned int>(L"-42", 10, &wend)));
  EXPECT_EQ(L'\0', *wend);
  EXPECT_EQ(4294967254u, (TStr2Int<char, unsigned int, unsigned int>("-42", 10, nullptr)));
  EXPECT_EQ(-42LL, (TStr2Int<char, long long>("-42", 10, nullptr)));
  EXPECT_EQ(0xFFFFFFFFFFULL, (TStr2Int<wchar_t, unsigned long long>(L"ffffffffff", 16, nullptr)));
  /* long has the platform's width. */
  EXPECT_EQ(-1L, (TStr2Int<char, long>(std::string(sizeof(long) * 2, 'F').c_str(), 16, nullptr)));
  EXPECT_EQ(ULONG_MAX, (TStr2Int<wchar_t, unsigned long>(L"-1", 10, nullptr)));
}

TEST(KivNumberParse, OnlyAsciiDigitsAndSpaces)
{
  /* Bytes with the high bit set are not digits or spaces, whatever the
     * signedness of char. */
  expectAllInts("\xB0"
                "1",
                10, 0, 0);
  expectAllInts("\xA0"
                "1",
                10, 0, 0);
  expectAllInts("\x85"
                "1",
                10, 0, 0);
  expectAllInts("\x1C"
                "1",
                10, 0, 0);
  expectAllInts("1\xB1", 10, 1, 1);
  expectAllInts("[1", 36, 0, 0);
  expectAllInts("`1", 36, 0, 0);
  expectAllInts("@1", 36, 0, 0);
  expectAllInts("{1", 36, 0, 0);
  expectAllInts("/1", 10, 0, 0);
  expectAllInts(":1", 10, 0, 0);
  /* Wide elements whose low bits look like digits or spaces are neither. */
  const wchar_t wide[] = {(wchar_t)0x130, L'1', 0};
  const wchar_t *wend = 0;
  EXPECT_EQ(0u, KivStr2DWORD(wide, 36, &wend));
  EXPECT_EQ(wide, wend);
  const wchar_t wide2[] = {(wchar_t)0x10031, (wchar_t)0x120, (wchar_t)0x660, 0};
  EXPECT_EQ(0u, KivStr2DWORD(wide2, 10, &wend));
  EXPECT_EQ(wide2, wend);
  const wchar_t wide3[] = {L'7', (wchar_t)-48, L'1', 0}; /* -48 has the low byte of "0" */
  EXPECT_EQ(7u, KivStr2DWORD(wide3, 10, &wend));
  EXPECT_EQ(wide3 + 1, wend);
  const wchar_t wide4[] = {(wchar_t)0x2003, (wchar_t)0x3000, L'1', 0};
  EXPECT_EQ(0, KivStr2LONG(wide4, 10, &wend));
  EXPECT_EQ(wide4, wend);
}

TEST(KivNumberParse, LocaleDoesNotChangeResults)
{
  /* The parsers' white space is the fixed ASCII set: C.UTF-8 classifies
     * U+00A0 and U+2003 as spaces (iswspace), the parsers do not. */
  const char *before = setlocale(LC_ALL, 0);
  std::string saved = before ? before : "C";
  for (const char *loc : {"C", "C.UTF-8"})
  {
    if (!setlocale(LC_ALL, loc))
      continue;
    SCOPED_TRACE(loc);
    expectAllInts("\xC2\xA0"
                  "12",
                  10, 0, 0);
    const wchar_t emSpace[] = {(wchar_t)0x2003, L'1', L'2', 0};
    const wchar_t *wend = 0;
    EXPECT_EQ(0u, KivStr2DWORD(emSpace, 10, &wend));
    EXPECT_EQ(emSpace, wend);
    EXPECT_TRUE(sameDouble(0.0, KivStr2Float(emSpace, &wend)));
    EXPECT_EQ(emSpace, wend);
    EXPECT_EQ(1.5, KivStr2Float(" 1.5"));
    expectAllInts(" \t12", 10, 12, 4);
  }
  setlocale(LC_ALL, saved.c_str());
}

/* ---- floating-point parsing ---- */

void expectFloat(const std::string &text, double value, long consumed)
{
  Parsed<double> p = parseBoth<double>(FLOAT_P, text);
  EXPECT_TRUE(sameDouble(value, p.value)) << "text \"" << text << "\": " << p.value << " instead of " << value;
  EXPECT_EQ(consumed, p.end) << "text \"" << text << "\"";
}

TEST(KivNumberParseFloat, SignAloneIsNegativeZero)
{
  const char *end = 0;
  double v = KivStr2Float("-", &end);
  EXPECT_EQ(0.0, v);
  EXPECT_TRUE(std::signbit(v));
  EXPECT_EQ('\0', *end);
  expectFloat("-", -0.0, 1);
  expectFloat("+", 0.0, 1);
  expectFloat("  -x", -0.0, 3);
  expectFloat("-0", -0.0, 2);
  expectFloat("-0.000", -0.0, 6);
}

TEST(KivNumberParseFloat, ExponentWithoutMantissa)
{
  const char *text = "e5";
  const char *end = 0;
  double v = KivStr2Float(text, &end);
  EXPECT_TRUE(sameDouble(0.0, v));
  EXPECT_EQ(text + 2, end);
  expectFloat("e5", 0.0, 2);
  expectFloat("-E5", -0.0, 3);
  /* An "e" is always consumed, even when no exponent follows. */
  expectFloat("east", 0.0, 1);
}

TEST(KivNumberParseFloat, Mantissa)
{
  expectFloat("1.5", 1.5, 3);
  expectFloat("  -2.25x", -2.25, 7);
  expectFloat("\t\n\v\f\r 8", 8.0, 7);
  expectFloat(".5", 0.5, 2);
  expectFloat("5.", 5.0, 2);
  expectFloat("5.x", 5.0, 2);
  expectFloat(".", 0.0, 1);
  expectFloat("-.", -0.0, 2);
  expectFloat("1.2.3", 1.2, 3);
  expectFloat("0.1", 0.1, 3);
  expectFloat("3.14159", 3.14159, 7);
  expectFloat("000123.4500", 123.45, 11);
  expectFloat("12345678901234567", 12345678901234567.0, 17);
  expectFloat("9007199254740993", 9007199254740992.0, 16);
  expectFloat("abc", 0.0, 0);
  expectFloat("", 0.0, 0);
  expectFloat("++1", 0.0, 1);
  /* 19 significant digits are used, the rest only count their place. */
  expectFloat("123456789012345678901234", 1.2345678901234567e+23, 24);
  expectFloat("0.1234567890123456789999", 1234567890123456789.0 / 1e19, 24);
  expectFloat("1" + std::string(400, '0'), INFINITY, 401);
  expectFloat("-1" + std::string(400, '0'), -INFINITY, 402);
  /* Small values survive down to the subnormal range. */
  expectFloat("0." + std::string(320, '0') + "1", 1e-321, 323);
  expectFloat("0." + std::string(400, '0') + "1", 0.0, 403);
}

TEST(KivNumberParseFloat, Exponent)
{
  expectFloat("1.5e3", 1500.0, 5);
  expectFloat("1.5E+3", 1500.0, 6);
  expectFloat("2.5e-3", 2.5 * std::pow(10.0, -3), 6);
  expectFloat("1e-2", std::pow(10.0, -2), 4);
  expectFloat("1.e3", 1000.0, 4);
  expectFloat(".e3", 0.0, 3);
  expectFloat("1e 5", 1.0, 2);
  expectFloat("1e\t5", 1.0, 2);
  expectFloat("1e", 1.0, 2);
  expectFloat("1e+", 1.0, 3);
  expectFloat("1e-x", 1.0, 3);
  expectFloat("1ex", 1.0, 2);
  expectFloat("1e0x10", 1.0, 3);
  expectFloat("1e400", INFINITY, 5);
  expectFloat("-1e400", -INFINITY, 6);
  expectFloat("1e-400", 0.0, 6);
  expectFloat("-1e-400", -0.0, 7);
  /* mantissa * pow(10, exponent) literally: 0 times infinity. */
  Parsed<double> p = parseBoth<double>(FLOAT_P, "0e400");
  EXPECT_TRUE(std::isnan(p.value));
  /* The exponent is a wrapping 32-bit integer. */
  expectFloat("1e4294967297", 10.0, 12);
}

TEST(KivNumberParseFloat, ShortDecimalsAreExactlyRounded)
{
  /* Up to 15 significant digits and 15 decimals the mantissa is one exact
     * integer divided by an exact power of ten: the nearest double, as
     * strtod gives it. */
  std::mt19937 rng(12345);
  for (int i = 0; i < 3000; i++)
  {
    int digits = 1 + (int)(rng() % 15);
    std::string text;
    for (int k = 0; k < digits; k++)
      text += (char)('0' + rng() % 10);
    int point = (int)(rng() % (digits + 1));
    text.insert(text.begin() + point, '.');
    if (rng() % 2)
      text = "-" + text;
    double expected = strtod(text.c_str(), 0);
    expectFloat(text, expected, (long)text.size());
  }
}

} // namespace
