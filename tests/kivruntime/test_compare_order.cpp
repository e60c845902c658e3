/*
 * Tests of length, equality and ordering: KivStrLen, KivStrEq, KivStrEqN,
 * KivStrEqLE, KivStrIEq, KivStrIEqN, KivStrIEqLE, KivStrCmp, KivStrCmpLE,
 * KivStrICmp and KivStrICmpLE, each in its narrow and wide overload.
 * Narrow results that depend on the locale are checked under both "C"
 * (one byte per character) and "C.UTF-8".
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <limits.h>
#include <string.h>
#include <wchar.h>

#include "kiv_compare_checks.h"

using compare_test::ALL;
using compare_test::WideOf;

namespace {

const char *const kNullN = nullptr;
const wchar_t *const kNullW = nullptr;

/* ---- KivStrLen ---- */

TEST(CompareLen, NarrowCountsBytes)
{
  EXPECT_EQ(0u, KivStrLen(kNullN));
  EXPECT_EQ(0u, KivStrLen(""));
  EXPECT_EQ(3u, KivStrLen("abc"));
  EXPECT_EQ(6u, KivStrLen("h\xC3\xA9llo"));
}

TEST(CompareLen, WideCountsElements)
{
  EXPECT_EQ(0u, KivStrLen(kNullW));
  EXPECT_EQ(0u, KivStrLen(L""));
  EXPECT_EQ(5u, KivStrLen(L"h\u00E9llo"));
}

/* ---- KivStrEq ---- */

TEST(CompareEq, NullEqualsNullAndEmpty)
{
  EXPECT_EQ(1, KivStrEq(kNullN, kNullN));
  EXPECT_EQ(1, KivStrEq(kNullN, ""));
  EXPECT_EQ(1, KivStrEq("", kNullN));
  EXPECT_EQ(0, KivStrEq(kNullN, "a"));
  EXPECT_EQ(0, KivStrEq("a", kNullN));
  EXPECT_EQ(1, KivStrEq(kNullW, kNullW));
  EXPECT_EQ(1, KivStrEq(kNullW, L""));
  EXPECT_EQ(1, KivStrEq(L"", kNullW));
  EXPECT_EQ(0, KivStrEq(kNullW, L"a"));
  EXPECT_EQ(0, KivStrEq(L"a", kNullW));
}

TEST(CompareEq, ExactComparison)
{
  EXPECT_EQ(1, KivStrEq("abc", "abc"));
  EXPECT_EQ(0, KivStrEq("abc", "abC"));
  EXPECT_EQ(0, KivStrEq("ab", "abc"));
  EXPECT_EQ(0, KivStrEq("abc", "ab"));
  EXPECT_EQ(1, KivStrEq(L"abc", L"abc"));
  EXPECT_EQ(0, KivStrEq(L"abc", L"abC"));
  EXPECT_EQ(0, KivStrEq(L"ab", L"abc"));
  EXPECT_EQ(0, KivStrEq(L"\u00E9", L"\u00C9"));
}

/* ---- KivStrEqN ---- */

TEST(CompareEqN, NullRulesComeFirstWhateverN)
{
  EXPECT_EQ(0, KivStrEqN(kNullN, "abc", 0));
  EXPECT_EQ(1, KivStrEqN("", "abc", 0));
  EXPECT_EQ(1, KivStrEqN(kNullN, kNullN, 5));
  EXPECT_EQ(1, KivStrEqN(kNullN, "", 3));
  EXPECT_EQ(0, KivStrEqN("abc", kNullN, 0));
  EXPECT_EQ(1, KivStrEqN("", kNullN, 9));
  EXPECT_EQ(0, KivStrEqN(kNullW, L"abc", 0));
  EXPECT_EQ(1, KivStrEqN(L"", L"abc", 0));
  EXPECT_EQ(1, KivStrEqN(kNullW, kNullW, 5));
  EXPECT_EQ(1, KivStrEqN(kNullW, L"", 3));
  EXPECT_EQ(0, KivStrEqN(L"abc", kNullW, 0));
  EXPECT_EQ(1, KivStrEqN(L"", kNullW, 9));
}

TEST(CompareEqN, ComparesFirstNElements)
{
  EXPECT_EQ(1, KivStrEqN("ab", "ab", 5));
  EXPECT_EQ(1, KivStrEqN("abc", "abd", 2));
  EXPECT_EQ(0, KivStrEqN("abc", "abd", 3));
  EXPECT_EQ(0, KivStrEqN("ab", "abc", 3));
  EXPECT_EQ(1, KivStrEqN("a", "b", 0));
  EXPECT_EQ(1, KivStrEqN("ab", "ab", ALL));
  EXPECT_EQ(1, KivStrEqN(L"ab", L"ab", 5));
  EXPECT_EQ(1, KivStrEqN(L"abc", L"abd", 2));
  EXPECT_EQ(0, KivStrEqN(L"abc", L"abd", 3));
  EXPECT_EQ(0, KivStrEqN(L"ab", L"abc", 3));
  EXPECT_EQ(1, KivStrEqN(L"a", L"b", 0));
}

/* ---- KivStrEqLE ---- */

TEST(CompareEqLE, LengthsMustMatchThenRawCompare)
{
  EXPECT_EQ(0, KivStrEqLE("abc", 3, "abd", 3));
  EXPECT_EQ(1, KivStrEqLE("abc", 2, "abd", 2));
  EXPECT_EQ(0, KivStrEqLE("abc", 2, "ab", 3));
  EXPECT_EQ(1, KivStrEqLE("x", 0, "y", 0));
  /* Raw compare: terminators inside the length are ordinary elements. */
  EXPECT_EQ(1, KivStrEqLE("a\0b", 3, "a\0b", 3));
  EXPECT_EQ(0, KivStrEqLE("a\0b", 3, "a\0c", 3));
  EXPECT_EQ(0, KivStrEqLE(L"abc", 3, L"abd", 3));
  EXPECT_EQ(1, KivStrEqLE(L"abc", 2, L"abd", 2));
  EXPECT_EQ(0, KivStrEqLE(L"abc", 2, L"ab", 3));
  EXPECT_EQ(1, KivStrEqLE(L"a\0b", 3, L"a\0b", 3));
  EXPECT_EQ(0, KivStrEqLE(L"a\0b", 3, L"a\0c", 3));
}

TEST(CompareEqLE, LengthMarkerAndNulls)
{
  EXPECT_EQ(1, KivStrEqLE("abc", ALL, "abc", 3));
  EXPECT_EQ(0, KivStrEqLE("abc", ALL, "abc", 2));
  EXPECT_EQ(1, KivStrEqLE(kNullN, 0, kNullN, 0));
  EXPECT_EQ(1, KivStrEqLE(kNullN, ALL, "", ALL));
  /* A null pointer is the empty string whatever length comes with it. */
  EXPECT_EQ(0, KivStrEqLE(kNullN, 3, "abc", 3));
  EXPECT_EQ(1, KivStrEqLE(kNullN, 3, "", 0));
  EXPECT_EQ(1, KivStrEqLE(L"abc", ALL, L"abc", 3));
  EXPECT_EQ(1, KivStrEqLE(kNullW, ALL, L"", ALL));
  EXPECT_EQ(0, KivStrEqLE(kNullW, 3, L"abc", 3));
}

/* ---- KivStrIEq ---- */

TEST(CompareIEq, AsciiFoldsInEveryLocale)
{
  for (const char *loc : {"C", "C.UTF-8"})
  {
    COMPARE_IN_LOCALE(loc);
    EXPECT_EQ(1, KivStrIEq("Hello", "hELLO")) << loc;
    EXPECT_EQ(0, KivStrIEq("a", "ab")) << loc;
    EXPECT_EQ(0, KivStrIEq("ab", "a")) << loc;
    EXPECT_EQ(1, KivStrIEq(kNullN, "")) << loc;
    EXPECT_EQ(1, KivStrIEq(kNullN, kNullN)) << loc;
    EXPECT_EQ(0, KivStrIEq(kNullN, "a")) << loc;
    EXPECT_EQ(1, KivStrIEq(L"Hello", L"hELLO")) << loc;
    EXPECT_EQ(0, KivStrIEq(L"a", L"ab")) << loc;
    EXPECT_EQ(1, KivStrIEq(kNullW, L"")) << loc;
    EXPECT_EQ(0, KivStrIEq(L"a", kNullW)) << loc;
  }
}

TEST(CompareIEq, NarrowDecodesInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  /* "été" against "ÉTÉ": decoded and folded. */
  EXPECT_EQ(1, KivStrIEq("\xC3\xA9t\xC3\xA9", "\xC3\x89T\xC3\x89"));
  EXPECT_EQ(0, KivStrIEq("\xC3\xA9", "\xC3\xAA"));
  /* Undecodable bytes compare raw. */
  EXPECT_EQ(1, KivStrIEq("\xFF"
                         "a",
                         "\xFF"
                         "A"));
  EXPECT_EQ(0, KivStrIEq("\xFF", "\xFE"));
  /* Left decodes "é", right does not: equal lead bytes, then the left
     * side moves by its two bytes and the right by one, so "x" is left. */
  EXPECT_EQ(0, KivStrIEq("\xC3\xA9", "\xC3x"));
}

TEST(CompareIEq, NarrowComparesBytesInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  EXPECT_EQ(0, KivStrIEq("\xC3\xA9t\xC3\xA9", "\xC3\x89T\xC3\x89"));
  EXPECT_EQ(1, KivStrIEq("\xC3\xA9t\xC3\xA9", "\xC3\xA9T\xC3\xA9"));
  EXPECT_EQ(1, KivStrIEq("\xFF"
                         "a",
                         "\xFF"
                         "A"));
  EXPECT_EQ(0, KivStrIEq("\xFF", "\xFE"));
}

TEST(CompareIEq, WideFoldingFollowsTheLocale)
{
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(1, KivStrIEq(L"\u00C9COLE", L"\u00E9cole"));
    EXPECT_EQ(1, KivStrIEq(L"\u0391\u0392", L"\u03B1\u03B2"));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0, KivStrIEq(L"\u00C9COLE", L"\u00E9cole"));
    EXPECT_EQ(1, KivStrIEq(L"\u00E9COLE", L"\u00E9cole"));
  }
}

/* ---- KivStrIEqN ---- */

TEST(CompareIEqN, BothStringsMustHoldN)
{
  EXPECT_EQ(0, KivStrIEqN("ab", "AB", 5));
  EXPECT_EQ(1, KivStrEqN("ab", "ab", 5));
  EXPECT_EQ(1, KivStrIEqN("abc", "ABD", 2));
  EXPECT_EQ(0, KivStrIEqN("abc", "ABD", 3));
  EXPECT_EQ(0, KivStrIEqN("abc", "AB", 3));
  EXPECT_EQ(1, KivStrIEqN(kNullN, "", 0));
  EXPECT_EQ(1, KivStrIEqN("x", kNullN, 0));
  EXPECT_EQ(0, KivStrIEqN(kNullN, "a", 1));
  EXPECT_EQ(0, KivStrIEqN(L"ab", L"AB", 5));
  EXPECT_EQ(1, KivStrIEqN(L"abc", L"ABD", 2));
  EXPECT_EQ(0, KivStrIEqN(L"abc", L"ABD", 3));
  EXPECT_EQ(1, KivStrIEqN(L"x", kNullW, 0));
  EXPECT_EQ(0, KivStrIEqN(kNullW, L"a", 1));
}

TEST(CompareIEqN, NarrowFoldsLeadBytesOnly)
{
  {
    /* "é" and "ê" share their lead byte; the continuation bytes are
         * stepped over in UTF-8. */
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(1, KivStrIEqN("\xC3\xA9", "\xC3\xAA", 2));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0, KivStrIEqN("\xC3\xA9", "\xC3\xAA", 2));
  }
}

TEST(CompareIEqN, WideFoldingFollowsTheLocale)
{
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(1, KivStrIEqN(L"\u00C9T\u00C9", L"\u00E9t\u00E9", 3));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0, KivStrIEqN(L"\u00C9T\u00C9", L"\u00E9t\u00E9", 3));
  }
}

/* ---- KivStrIEqLE ---- */

TEST(CompareIEqLE, SameLengthThenFoldedCompare)
{
  EXPECT_EQ(1, KivStrIEqLE("abc", 3, "ABC", 3));
  EXPECT_EQ(0, KivStrIEqLE("abc", 3, "ABC", 2));
  EXPECT_EQ(1, KivStrIEqLE("abc", ALL, "ABC", ALL));
  EXPECT_EQ(1, KivStrIEqLE("abX", 2, "ABY", 2));
  EXPECT_EQ(1, KivStrIEqLE(kNullN, ALL, "", 0));
  EXPECT_EQ(1, KivStrIEqLE(L"abc", 3, L"ABC", 3));
  EXPECT_EQ(0, KivStrIEqLE(L"abc", 3, L"ABC", 2));
  EXPECT_EQ(1, KivStrIEqLE(L"abc", ALL, L"ABC", ALL));
  EXPECT_EQ(0, KivStrIEqLE(L"abc", 3, L"ABD", 3));
}

/* ---- KivStrCmp ---- */

/* The C library's functions called at run time: the compiler would
 * otherwise fold calls on literals to a value of its own choosing (the
 * functions only promise a sign, the library returns the C library's
 * exact value). */
int (*volatile RuntimeStrcmp)(const char *, const char *) = strcmp;
int (*volatile RuntimeWcscmp)(const wchar_t *, const wchar_t *) = wcscmp;

TEST(CompareCmp, IsTheCLibraryOrder)
{
  const char *n[] = {"", "a", "abc", "abd", "ab", "\xE9", "B"};
  for (const char *a : n)
    for (const char *b : n)
      EXPECT_EQ(RuntimeStrcmp(a, b), KivStrCmp(a, b)) << a << " / " << b;
  const wchar_t *w[] = {L"", L"a", L"abc", L"abd", L"ab", L"\u00E9", L"B"};
  for (const wchar_t *a : w)
    for (const wchar_t *b : w)
      EXPECT_EQ(RuntimeWcscmp(a, b), KivStrCmp(a, b));
  EXPECT_LT(KivStrCmp("abc", "abd"), 0);
  EXPECT_GT(KivStrCmp("\xE9", "a"), 0);
}

TEST(CompareCmp, NullReadsAsEmptyInsteadOfCrashing)
{
  EXPECT_EQ(0, KivStrCmp(kNullN, ""));
  EXPECT_EQ(0, KivStrCmp(kNullN, kNullN));
  EXPECT_EQ(RuntimeStrcmp("", "a"), KivStrCmp(kNullN, "a"));
  EXPECT_EQ(RuntimeStrcmp("a", ""), KivStrCmp("a", kNullN));
  EXPECT_EQ(0, KivStrCmp(kNullW, L""));
  EXPECT_EQ(RuntimeWcscmp(L"", L"a"), KivStrCmp(kNullW, L"a"));
}

/* ---- KivStrCmpLE ---- */

TEST(CompareCmpLE, FirstDifferenceThenLengths)
{
  EXPECT_EQ(-1, KivStrCmpLE("abc", 3, "abd", 3));
  EXPECT_EQ(1, KivStrCmpLE("abc", 3, "ab", 2));
  EXPECT_EQ(-1, KivStrCmpLE("ab", 2, "abc", 3));
  EXPECT_EQ(0, KivStrCmpLE("ab", 2, "abX", 2));
  EXPECT_EQ(0, KivStrCmpLE("", 0, "", 0));
  EXPECT_EQ('a' - 'A', KivStrCmpLE("a", 1, "A", 1));
  /* The explicit length runs over terminators. */
  EXPECT_EQ('x' - 'y', KivStrCmpLE("a\0x", 3, "a\0y", 3));
  EXPECT_EQ(0, KivStrCmpLE("abc", ALL, "abc", 3));
  EXPECT_EQ(-1, KivStrCmpLE(kNullN, ALL, "a", 1));
  EXPECT_EQ(-1, KivStrCmpLE(L"abc", 3, L"abd", 3));
  EXPECT_EQ(1, KivStrCmpLE(L"abc", 3, L"ab", 2));
  EXPECT_EQ(-1, KivStrCmpLE(L"ab", 2, L"abc", 3));
  EXPECT_EQ(0, KivStrCmpLE(L"ab", 2, L"abX", 2));
  EXPECT_EQ('x' - 'y', KivStrCmpLE(L"a\0x", 3, L"a\0y", 3));
  EXPECT_EQ(1, KivStrCmpLE(L"a", 1, kNullW, 5));
}

TEST(CompareCmpLE, NarrowBytesAreSigned)
{
  /* 0xE9 is -23 as a signed char, so it orders below 'a'. */
  EXPECT_EQ(-23 - 'a', KivStrCmpLE("\xE9", 1, "a", 1));
  EXPECT_EQ('a' + 23, KivStrCmpLE("a", 1, "\xE9", 1));
  EXPECT_EQ(-23 - (-1), KivStrCmpLE("\xE9", 1, "\xFF", 1));
  /* Wide elements are code points. */
  EXPECT_EQ(0xE9 - 'a', KivStrCmpLE(L"\u00E9", 1, L"a", 1));
}

TEST(CompareCmpLE, WideDifferenceIsClampedNotWrapped)
{
  std::vector<wchar_t> big = WideOf({0x7FFFFFFFu});
  std::vector<wchar_t> neg = WideOf({0xFFFFFFFEu}); /* -2 */
  EXPECT_EQ(INT_MAX, KivStrCmpLE(big.data(), 1, neg.data(), 1));
  EXPECT_EQ(INT_MIN, KivStrCmpLE(neg.data(), 1, big.data(), 1));
  std::vector<wchar_t> m1 = WideOf({0xFFFFFFFFu});
  EXPECT_EQ(-3, KivStrCmpLE(neg.data(), 1, std::vector<wchar_t>(WideOf({1u})).data(), 1));
  EXPECT_EQ(-1, KivStrCmpLE(neg.data(), 1, m1.data(), 1));
}

/* ---- KivStrICmp ---- */

TEST(CompareICmp, NarrowLengthRuleIsStrcmpLike)
{
  for (const char *loc : {"C", "C.UTF-8"})
  {
    COMPARE_IN_LOCALE(loc);
    EXPECT_EQ(0 - 'C', KivStrICmp("ab", "ABC")) << loc;
    EXPECT_LT(KivStrICmp("ab", "ABC"), 0) << loc;
    EXPECT_EQ('c', KivStrICmp("abc", "AB")) << loc;
    EXPECT_EQ('c' - 'd', KivStrICmp("abc", "ABD")) << loc;
    EXPECT_EQ(1, KivStrICmp("B", "a")) << loc;
    EXPECT_EQ(0, KivStrICmp("aBc", "AbC")) << loc;
    EXPECT_EQ(0, KivStrICmp(kNullN, "")) << loc;
    EXPECT_EQ(0 - 'a', KivStrICmp(kNullN, "a")) << loc;
    EXPECT_EQ('a', KivStrICmp("a", kNullN)) << loc;
    /* At the end the next byte is read as signed: a string that ends
         * early orders above a longer one whose next byte is 0x80 or more. */
    EXPECT_EQ(0 - (-61), KivStrICmp("ab", "ab\xC3\xA9")) << loc;
    EXPECT_EQ(-61, KivStrICmp("AB\xC3\xA9", "ab")) << loc;
  }
}

TEST(CompareICmp, NarrowUndecodableBytesNeverOrderBelow)
{
  for (const char *loc : {"C", "C.UTF-8"})
  {
    COMPARE_IN_LOCALE(loc);
    EXPECT_EQ(1, KivStrICmp("\xE9", "\xC9")) << loc;
    EXPECT_EQ(1, KivStrICmp("\xC9", "\xE9")) << loc;
    EXPECT_EQ(1, KivStrICmp("\xFF", "a")) << loc;
    EXPECT_EQ(1, KivStrICmp("a", "\xFF")) << loc;
    EXPECT_EQ(0, KivStrICmp("\xFF"
                            "A",
                            "\xFF"
                            "a"))
      << loc;
  }
}

TEST(CompareICmp, NarrowDecodedCharactersInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  EXPECT_EQ(0, KivStrICmp("\xC3\xA9", "\xC3\x89"));           /* é / É */
  EXPECT_EQ(0xE9 - 0xEA, KivStrICmp("\xC3\xA9", "\xC3\xAA")); /* é / ê */
  EXPECT_EQ(0xEA - 0xE9, KivStrICmp("\xC3\x8A", "\xC3\xA9")); /* Ê / é */
  EXPECT_EQ(0x20AC - 'e', KivStrICmp("\xE2\x82\xAC", "E"));   /* € / E */
  /* The left side decodes "é", the right side not: equal lead bytes, the
     * left moves on by two bytes, the right by one, and the end rule
     * compares the terminator with 'x'. */
  EXPECT_EQ(0 - 'x', KivStrICmp("\xC3\xA9", "\xC3x"));
}

TEST(CompareICmp, NarrowBytesInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  EXPECT_EQ(1, KivStrICmp("\xC3\xA9", "\xC3\x89"));
  EXPECT_EQ(1, KivStrICmp("\xC3\xA9", "\xC3\xAA"));
  EXPECT_EQ(0, KivStrICmp("\xC3\xA9", "\xC3\xA9"));
}

TEST(CompareICmp, WideLengthRuleIsReversed)
{
  for (const char *loc : {"C", "C.UTF-8"})
  {
    COMPARE_IN_LOCALE(loc);
    EXPECT_EQ(1, KivStrICmp(L"ab", L"ABC")) << loc;
    EXPECT_EQ(-1, KivStrICmp(L"abc", L"AB")) << loc;
    EXPECT_EQ(0, KivStrICmp(L"abc", L"ABC")) << loc;
    EXPECT_EQ('c' - 'd', KivStrICmp(L"abc", L"ABD")) << loc;
    EXPECT_EQ(1, KivStrICmp(L"B", L"a")) << loc;
    EXPECT_EQ(0, KivStrICmp(kNullW, L"")) << loc;
    EXPECT_EQ(1, KivStrICmp(kNullW, L"a")) << loc;
    EXPECT_EQ(-1, KivStrICmp(L"a", kNullW)) << loc;
    EXPECT_EQ(0, KivStrICmp(kNullW, kNullW)) << loc;
  }
}

TEST(CompareICmp, WideFoldingFollowsTheLocale)
{
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(0, KivStrICmp(L"\u00C9cole", L"\u00E9COLE"));
    EXPECT_EQ(0xE9 - 0xEA, KivStrICmp(L"\u00C9", L"\u00CA"));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0xC9 - 0xE9, KivStrICmp(L"\u00C9cole", L"\u00E9COLE"));
  }
}

TEST(CompareICmp, WideValuesOutsideUnicode)
{
  /* Values that are not characters fold to themselves; a difference that
     * does not fit in an int keeps its sign. */
  std::vector<wchar_t> big = WideOf({0x7FFFFFFFu});
  std::vector<wchar_t> neg = WideOf({0xFFFFFFFEu});
  EXPECT_EQ(INT_MAX, KivStrICmp(big.data(), neg.data()));
  EXPECT_EQ(INT_MIN, KivStrICmp(neg.data(), big.data()));
  std::vector<wchar_t> latin = WideOf({0xFFFFFFE9u, 'A'}); /* sign-extended 0xE9 */
  std::vector<wchar_t> latin2 = WideOf({0xFFFFFFE9u, 'a'});
  EXPECT_EQ(0, KivStrICmp(latin.data(), latin2.data()));
  EXPECT_EQ(-23 - 'a', KivStrICmp(latin.data(), L"a"));
}

/* ---- KivStrICmpLE ---- */

TEST(CompareICmpLE, EmptyRangesAndLengthRule)
{
  const char *x = "xyz";
  const char *y = "uvw";
  EXPECT_EQ(0, KivStrICmpLE(x, 0, y, 0));
  EXPECT_EQ(-1, KivStrICmpLE(x, 0, y, 3));
  EXPECT_EQ(1, KivStrICmpLE(x, 2, y, 0));
  EXPECT_EQ('c' - 'd', KivStrICmpLE("abc", 3, "ABD", 3));
  EXPECT_EQ(-1, KivStrICmpLE("ab", 2, "AB", 3));
  EXPECT_EQ(1, KivStrICmpLE("abc", 3, "AB", 2));
  EXPECT_EQ(0, KivStrICmpLE("abc", ALL, "ABC", ALL));
  EXPECT_EQ(0, KivStrICmpLE(kNullN, ALL, "", 0));
  EXPECT_EQ(-1, KivStrICmpLE(kNullN, 5, "a", 1));
  const wchar_t *wx = L"xyz";
  const wchar_t *wy = L"uvw";
  EXPECT_EQ(0, KivStrICmpLE(wx, 0, wy, 0));
  EXPECT_EQ(-1, KivStrICmpLE(wx, 0, wy, 3));
  EXPECT_EQ(1, KivStrICmpLE(wx, 2, wy, 0));
  EXPECT_EQ('c' - 'd', KivStrICmpLE(L"abc", 3, L"ABD", 3));
  EXPECT_EQ(-1, KivStrICmpLE(L"ab", 2, L"AB", 3));
  EXPECT_EQ(1, KivStrICmpLE(L"abc", 3, L"AB", 2));
  EXPECT_EQ(0, KivStrICmpLE(L"abc", ALL, L"ABC", ALL));
  EXPECT_EQ(1, KivStrICmpLE(L"a", 1, kNullW, 4));
}

TEST(CompareICmpLE, NarrowLeadBytesInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  /* Only lead bytes take part: é and ê compare equal. */
  EXPECT_EQ(0, KivStrICmpLE("\xC3\xA9", 2, "\xC3\xAA", 2));
  /* Lead bytes are read as signed chars and not folded. */
  EXPECT_EQ(-61 - (-30), KivStrICmpLE("\xC3\xA9", 2, "\xE2\x82\xAC", 3));
  /* Each side steps by its own character length: the left "é" takes two
     * bytes, the right lone 0xC3 one. */
  EXPECT_EQ(0, KivStrICmpLE("\xC3\xA9z", 3, "\xC3zz", 3));
}

TEST(CompareICmpLE, NarrowBytesInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  EXPECT_EQ(-87 - (-86), KivStrICmpLE("\xC3\xA9", 2, "\xC3\xAA", 2));
  EXPECT_EQ(-87 - 'z', KivStrICmpLE("\xC3\xA9z", 3, "\xC3zz", 3));
  EXPECT_EQ(-23 - 'a', KivStrICmpLE("\xE9", 1, "A", 1));
}

TEST(CompareICmpLE, WideFoldingFollowsTheLocale)
{
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(0, KivStrICmpLE(L"\u00C9", 1, L"\u00E9", 1));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0xC9 - 0xE9, KivStrICmpLE(L"\u00C9", 1, L"\u00E9", 1));
  }
}

} // namespace
