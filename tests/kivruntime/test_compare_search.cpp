/*
 * Tests of search, the packed string list and the prefix and suffix tests:
 * KivStrPos, KivStrHas, KivStrPosLE / TKivStrPosLE, KivStrIPos,
 * KivStrIPosLE, KivStrIHas, KivStrFind, KivStrFindChars, KivStrFindXChars,
 * KivStrRFind, KivStrRFindChars, KivStrRFindXChars, KivStrFindStringK,
 * KivStrStartsWith, KivStrIStartsWith, KivStrEndsWith, KivStrIEndsWith;
 * narrow and wide overloads.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "kiv_compare_checks.h"

using compare_test::ALL;
using compare_test::NF;

namespace {

const char *const kNullN = nullptr;
const wchar_t *const kNullW = nullptr;

/* ---- KivStrPos / KivStrHas ---- */

TEST(CompareSearch, PosAndHas)
{
  EXPECT_EQ(2u, KivStrPos("hello", "ll"));
  EXPECT_EQ(0u, KivStrPos("hello", ""));
  EXPECT_EQ(0u, KivStrPos("", ""));
  EXPECT_EQ(NF, KivStrPos("hello", "x"));
  EXPECT_EQ(NF, KivStrPos("hello", "L"));
  EXPECT_EQ(NF, KivStrPos("", "a"));
  EXPECT_EQ(1, KivStrHas("hello", "lo"));
  EXPECT_EQ(0, KivStrHas("hello", "ol"));
  EXPECT_EQ(2u, KivStrPos(L"hello", L"ll"));
  EXPECT_EQ(0u, KivStrPos(L"hello", L""));
  EXPECT_EQ(NF, KivStrPos(L"hello", L"x"));
  EXPECT_EQ(1u, KivStrPos(L"\u00E9\u00C9\u00E9", L"\u00C9"));
  EXPECT_EQ(1, KivStrHas(L"hello", L"lo"));
  EXPECT_EQ(0, KivStrHas(L"hello", L"ol"));
}

TEST(CompareSearch, PosReadsNullAsEmpty)
{
  EXPECT_EQ(0u, KivStrPos(kNullN, ""));
  EXPECT_EQ(0u, KivStrPos(kNullN, kNullN));
  EXPECT_EQ(NF, KivStrPos(kNullN, "a"));
  EXPECT_EQ(0u, KivStrPos("abc", kNullN));
  EXPECT_EQ(0, KivStrHas(kNullN, "a"));
  EXPECT_EQ(NF, KivStrPos(kNullW, L"a"));
  EXPECT_EQ(0u, KivStrPos(L"abc", kNullW));
  EXPECT_EQ(1, KivStrHas(L"abc", kNullW));
}

/* ---- KivStrPosLE / TKivStrPosLE ---- */

TEST(CompareSearch, PosLE)
{
  EXPECT_EQ(2u, KivStrPosLE("abcabc", 6, "ca", 2));
  EXPECT_EQ(NF, KivStrPosLE("abcabc", 3, "ca", 2));
  EXPECT_EQ(NF, KivStrPosLE("ab", 2, "abc", 3));
  EXPECT_EQ(0u, KivStrPosLE("x", 1, "", 0));
  EXPECT_EQ(0u, KivStrPosLE("", 0, "", 0));
  EXPECT_EQ(0u, KivStrPosLE(kNullN, 0, kNullN, 0));
  EXPECT_EQ(1u, KivStrPosLE("aab", 3, "ab", 2));
  EXPECT_EQ(2u, KivStrPosLE("xxab", 4, "ab", 2));
  EXPECT_EQ(1u, KivStrPosLE("abc", ALL, "bc", ALL));
  EXPECT_EQ(0u, KivStrPosLE("abc", 3, "abX", 2));
  /* Terminators inside the lengths are ordinary elements. */
  EXPECT_EQ(2u, KivStrPosLE("a\0b\0c", 5, "b\0c", 3));
  /* Case matters. */
  EXPECT_EQ(NF, KivStrPosLE("ABC", 3, "b", 1));
  /* A null needle with a length is the empty needle. */
  EXPECT_EQ(0u, KivStrPosLE("abc", 3, kNullN, 2));
  EXPECT_EQ(NF, KivStrPosLE(kNullN, 4, "a", 1));

  EXPECT_EQ(2u, KivStrPosLE(L"abcabc", 6, L"ca", 2));
  EXPECT_EQ(NF, KivStrPosLE(L"abcabc", 3, L"ca", 2));
  EXPECT_EQ(NF, KivStrPosLE(L"ab", 2, L"abc", 3));
  EXPECT_EQ(0u, KivStrPosLE(L"x", 1, L"", 0));
  EXPECT_EQ(2u, KivStrPosLE(L"xxab", 4, L"ab", 2));
  EXPECT_EQ(1u, KivStrPosLE(L"abc", ALL, L"bc", ALL));
  EXPECT_EQ(2u, KivStrPosLE(L"a\0b\0c", 5, L"b\0c", 3));
}

TEST(CompareSearch, PosLETemplateWithDeducedArguments)
{
  const char *hay = "needle in a haystack";
  const wchar_t *whay = L"needle in a haystack";
  EXPECT_EQ(12u, TKivStrPosLE(hay, 20u, "hay", 3u));
  EXPECT_EQ(12u, TKivStrPosLE(whay, 20u, L"hay", 3u));
  EXPECT_EQ(NF, TKivStrPosLE(hay, 14u, "hay", 3u));
}

/* Random haystacks and needles over a two-letter alphabet (with zeros),
 * against std::search over the same ranges. */
template <typename C>
void CheckPosLEAgainstSearch(unsigned int seed)
{
  std::mt19937 rng(seed);
  for (int round = 0; round < 3000; ++round)
  {
    std::vector<C> hay(rng() % 12);
    std::vector<C> needle(rng() % 4);
    for (C &c : hay)
      c = (C) "ab\0"[rng() % 3];
    for (C &c : needle)
      c = (C) "ab\0"[rng() % 3];
    unsigned int expect = NF;
    if (needle.empty())
    {
      expect = 0;
    }
    else
    {
      auto it = std::search(hay.begin(), hay.end(), needle.begin(), needle.end());
      if (it != hay.end())
        expect = (unsigned int)(it - hay.begin());
    }
    hay.push_back(0);
    needle.push_back(0);
    ASSERT_EQ(expect, KivStrPosLE(hay.data(), (unsigned int)hay.size() - 1, needle.data(),
                                  (unsigned int)needle.size() - 1))
      << "round " << round;
  }
}

TEST(CompareSearch, PosLEMatchesStdSearch)
{
  CheckPosLEAgainstSearch<char>(11);
  CheckPosLEAgainstSearch<wchar_t>(12);
}

/* ---- KivStrIPos / KivStrIPosLE / KivStrIHas ---- */

TEST(CompareSearch, IPos)
{
  EXPECT_EQ(6u, KivStrIPos("Hello World", "WORLD"));
  EXPECT_EQ(2u, KivStrIPos("aBc", "C"));
  EXPECT_EQ(0u, KivStrIPos("abc", ""));
  EXPECT_EQ(0u, KivStrIPos("abc", kNullN));
  EXPECT_EQ(0u, KivStrIPos(kNullN, ""));
  EXPECT_EQ(0u, KivStrIPos(kNullN, kNullN));
  EXPECT_EQ(NF, KivStrIPos(kNullN, "a"));
  EXPECT_EQ(NF, KivStrIPos("ab", "abc"));
  EXPECT_EQ(NF, KivStrIPos("abc", "x"));
  EXPECT_EQ(0u, KivStrIPos("abab", "AB"));
  EXPECT_EQ(1u, KivStrIPos("abab", "BA"));
  EXPECT_EQ(1, KivStrIHas("Hello", "LL"));
  EXPECT_EQ(0, KivStrIHas("Hello", "LLL"));
  EXPECT_EQ(6u, KivStrIPos(L"Hello WORLD", L"world"));
  EXPECT_EQ(0u, KivStrIPos(L"abc", kNullW));
  EXPECT_EQ(NF, KivStrIPos(kNullW, L"a"));
  EXPECT_EQ(NF, KivStrIPos(L"ab", L"abc"));
  EXPECT_EQ(1, KivStrIHas(L"Hello", L"LL"));
  EXPECT_EQ(0, KivStrIHas(L"Hello", L"x"));
}

TEST(CompareSearch, IPosLE)
{
  EXPECT_EQ(2u, KivStrIPosLE("abcABC", 3, "C", 1));
  EXPECT_EQ(2u, KivStrIPosLE("xxABC", 5, "abc", 3));
  EXPECT_EQ(2u, KivStrIPosLE("abcABC", 6, "CAB", 3));
  EXPECT_EQ(NF, KivStrIPosLE("abcd", 2, "c", 1));
  EXPECT_EQ(NF, KivStrIPosLE("abcdef", 2, "abc", 3));
  EXPECT_EQ(0u, KivStrIPosLE("abc", 3, "ABX", 2));
  EXPECT_EQ(1u, KivStrIPosLE("abc", ALL, "BC", ALL));
  EXPECT_EQ(2u, KivStrIPosLE(L"abcABC", 3, L"C", 1));
  EXPECT_EQ(2u, KivStrIPosLE(L"abcABC", 6, L"CAB", 3));
  EXPECT_EQ(NF, KivStrIPosLE(L"abcd", 2, L"c", 1));
  EXPECT_EQ(1u, KivStrIPosLE(L"abc", ALL, L"BC", ALL));
}

TEST(CompareSearch, IPosNarrowStepsByCharacterInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  /* The search only starts at character starts: the continuation byte
     * 0xA9 of "é" is never a start. */
  EXPECT_EQ(NF, KivStrIPos("\xC3\xA9X", "\xA9X"));
  /* Only the lead byte of each character is compared. */
  EXPECT_EQ(1u, KivStrIPos("x\xC3\xA9", "\xC3\xAA"));
  EXPECT_EQ(3u, KivStrIPos("\xC3\xA9"
                           "aB",
                           "b"));
}

TEST(CompareSearch, IPosNarrowStepsByByteInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  EXPECT_EQ(1u, KivStrIPos("\xC3\xA9X", "\xA9x"));
  EXPECT_EQ(NF, KivStrIPos("x\xC3\xA9", "\xC3\xAA"));
  EXPECT_EQ(3u, KivStrIPos("\xC3\xA9"
                           "aB",
                           "b"));
}

TEST(CompareSearch, IPosWideFoldingFollowsTheLocale)
{
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(0u, KivStrIPos(L"\u00C9COLE", L"\u00E9cole"));
    EXPECT_EQ(1u, KivStrIPos(L"x\u00C9", L"\u00E9"));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(NF, KivStrIPos(L"\u00C9COLE", L"\u00E9cole"));
    EXPECT_EQ(NF, KivStrIPos(L"x\u00C9", L"\u00E9"));
  }
}

/* ---- KivStrFind, KivStrFindChars, KivStrFindXChars ---- */

TEST(CompareSearch, Find)
{
  EXPECT_EQ(3u, KivStrFind("abc", 0));
  EXPECT_EQ(1u, KivStrFind("abc", 'b'));
  EXPECT_EQ(1u, KivStrFind("abcb", 'b'));
  EXPECT_EQ(NF, KivStrFind("abc", 'x'));
  EXPECT_EQ(0u, KivStrFind("", 0));
  EXPECT_EQ(NF, KivStrFind(kNullN, 'a'));
  EXPECT_EQ(NF, KivStrFind(kNullN, 0));
  EXPECT_EQ(1u, KivStrFind("a\xE9", '\xE9'));
  EXPECT_EQ(3u, KivStrFind(L"abc", 0));
  EXPECT_EQ(1u, KivStrFind(L"abc", L'b'));
  EXPECT_EQ(NF, KivStrFind(L"abc", L'x'));
  EXPECT_EQ(NF, KivStrFind(kNullW, L'a'));
  EXPECT_EQ(NF, KivStrFind(kNullW, 0));
  EXPECT_EQ(1u, KivStrFind(L"a\u20AC", L'\u20AC'));
}

TEST(CompareSearch, FindChars)
{
  EXPECT_EQ(NF, KivStrFindChars("abc", "xyz"));
  EXPECT_EQ(1u, KivStrFindChars("abc", "cb"));
  EXPECT_EQ(0u, KivStrFindChars("abc", "a"));
  EXPECT_EQ(NF, KivStrFindChars(kNullN, "a"));
  EXPECT_EQ(NF, KivStrFindChars("abc", kNullN));
  EXPECT_EQ(NF, KivStrFindChars("abc", ""));
  EXPECT_EQ(NF, KivStrFindChars("", "a"));
  EXPECT_EQ(NF, KivStrFindChars(L"abc", L"xyz"));
  EXPECT_EQ(1u, KivStrFindChars(L"abc", L"cb"));
  EXPECT_EQ(NF, KivStrFindChars(kNullW, L"a"));
  EXPECT_EQ(NF, KivStrFindChars(L"abc", kNullW));
  EXPECT_EQ(NF, KivStrFindChars(L"abc", L""));
}

TEST(CompareSearch, FindXChars)
{
  EXPECT_EQ(0u, KivStrFindXChars(kNullN, " "));
  EXPECT_EQ(0u, KivStrFindXChars("abc", kNullN));
  EXPECT_EQ(NF, KivStrFindXChars("   ", " "));
  EXPECT_EQ(2u, KivStrFindXChars("  x ", " "));
  EXPECT_EQ(NF, KivStrFindXChars("", " "));
  EXPECT_EQ(0u, KivStrFindXChars("abc", ""));
  EXPECT_EQ(3u, KivStrFindXChars(" \t\nx", " \t\n"));
  EXPECT_EQ(0u, KivStrFindXChars(kNullW, L" "));
  EXPECT_EQ(0u, KivStrFindXChars(L"abc", kNullW));
  EXPECT_EQ(NF, KivStrFindXChars(L"   ", L" "));
  EXPECT_EQ(2u, KivStrFindXChars(L"  x ", L" "));
  EXPECT_EQ(NF, KivStrFindXChars(L"", L" "));
}

/* ---- KivStrRFind, KivStrRFindChars, KivStrRFindXChars ---- */

TEST(CompareSearch, RFind)
{
  EXPECT_EQ(3u, KivStrRFind("a/b/c", '/', ALL));
  EXPECT_EQ(3u, KivStrRFind("abc", 0, ALL));
  EXPECT_EQ(0u, KivStrRFind("", 0, ALL));
  EXPECT_EQ(1u, KivStrRFind("a/b/c", '/', 2));
  EXPECT_EQ(1u, KivStrRFind("a/b/c", '/', 1));
  EXPECT_EQ(NF, KivStrRFind("a/b/c", '/', 0));
  EXPECT_EQ(0u, KivStrRFind("a/b/c", 'a', 0));
  EXPECT_EQ(NF, KivStrRFind("", 'a', ALL));
  EXPECT_EQ(NF, KivStrRFind(kNullN, 'a', ALL));
  EXPECT_EQ(NF, KivStrRFind(kNullN, 0, ALL));
  /* An explicit start is taken as given, also past the terminator. */
  const char buf[] = {'a', 'b', 0, '/', 'x', 0};
  EXPECT_EQ(3u, KivStrRFind(buf, '/', 4));
  EXPECT_EQ(NF, KivStrRFind(buf, '/', ALL));
  EXPECT_EQ(3u, KivStrRFind(L"a/b/c", L'/', ALL));
  EXPECT_EQ(3u, KivStrRFind(L"abc", 0, ALL));
  EXPECT_EQ(1u, KivStrRFind(L"a/b/c", L'/', 2));
  EXPECT_EQ(NF, KivStrRFind(L"a/b/c", L'/', 0));
  EXPECT_EQ(NF, KivStrRFind(kNullW, L'a', ALL));
  const wchar_t wbuf[] = {L'a', L'b', 0, L'/', L'x', 0};
  EXPECT_EQ(3u, KivStrRFind(wbuf, L'/', 4));
}

TEST(CompareSearch, RFindChars)
{
  EXPECT_EQ(0u, KivStrRFindChars("abc", "a", ALL));
  EXPECT_EQ(NF, KivStrRFindChars("", "a", ALL));
  EXPECT_EQ(3u, KivStrRFindChars("a/b\\c", "/\\", ALL));
  EXPECT_EQ(1u, KivStrRFindChars("a/b\\c", "/\\", 2));
  EXPECT_EQ(NF, KivStrRFindChars("abc", "c", 1));
  EXPECT_EQ(2u, KivStrRFindChars("abc", "c", 2));
  EXPECT_EQ(NF, KivStrRFindChars(kNullN, "a", ALL));
  EXPECT_EQ(NF, KivStrRFindChars("abc", kNullN, ALL));
  EXPECT_EQ(NF, KivStrRFindChars("abc", "", ALL));
  EXPECT_EQ(0u, KivStrRFindChars(L"abc", L"a", ALL));
  EXPECT_EQ(NF, KivStrRFindChars(L"", L"a", ALL));
  EXPECT_EQ(3u, KivStrRFindChars(L"a/b\\c", L"/\\", ALL));
  EXPECT_EQ(1u, KivStrRFindChars(L"a/b\\c", L"/\\", 2));
  EXPECT_EQ(NF, KivStrRFindChars(kNullW, L"a", ALL));
  EXPECT_EQ(NF, KivStrRFindChars(L"abc", kNullW, ALL));
}

TEST(CompareSearch, RFindXChars)
{
  EXPECT_EQ(2u, KivStrRFindXChars("abc   ", " ", ALL));
  EXPECT_EQ(NF, KivStrRFindXChars("   ", " ", ALL));
  EXPECT_EQ(2u, KivStrRFindXChars("abc", "", ALL));
  EXPECT_EQ(0u, KivStrRFindXChars("a  ", " ", 1));
  EXPECT_EQ(NF, KivStrRFindXChars(" a ", " ", 0));
  EXPECT_EQ(NF, KivStrRFindXChars("abc", kNullN, ALL));
  EXPECT_EQ(NF, KivStrRFindXChars(kNullN, " ", ALL));
  EXPECT_EQ(NF, KivStrRFindXChars("", " ", ALL));
  EXPECT_EQ(2u, KivStrRFindXChars(L"abc   ", L" ", ALL));
  EXPECT_EQ(NF, KivStrRFindXChars(L"   ", L" ", ALL));
  EXPECT_EQ(0u, KivStrRFindXChars(L"a  ", L" ", 1));
  EXPECT_EQ(NF, KivStrRFindXChars(L"abc", kNullW, ALL));
  EXPECT_EQ(NF, KivStrRFindXChars(L"", L" ", ALL));
}

/* ---- KivStrFindStringK ---- */

TEST(CompareSearch, FindStringK)
{
  const char list[] = {'a', 'b', 0, 'c', 'd', 0};
  EXPECT_EQ(3u, KivStrFindStringK(list, 6, 1));
  EXPECT_EQ(NF, KivStrFindStringK(list, 6, 2));
  EXPECT_EQ(0u, KivStrFindStringK(list, 6, 0));
  EXPECT_EQ(0u, KivStrFindStringK(list, 0, 0));
  EXPECT_EQ(NF, KivStrFindStringK(list, 0, 1));
  EXPECT_EQ(NF, KivStrFindStringK(kNullN, 6, 0));
  EXPECT_EQ(NF, KivStrFindStringK(kNullN, 6, 1));
  const char list3[] = {'a', 'b', 0, 'c', 'd', 0, 'e'};
  EXPECT_EQ(6u, KivStrFindStringK(list3, 7, 2));
  /* The second string has no terminator inside the size. */
  EXPECT_EQ(3u, KivStrFindStringK(list3, 5, 1));
  EXPECT_EQ(NF, KivStrFindStringK(list3, 5, 2));
  const char empties[] = {0, 0, 0};
  EXPECT_EQ(1u, KivStrFindStringK(empties, 3, 1));
  EXPECT_EQ(2u, KivStrFindStringK(empties, 3, 2));
  EXPECT_EQ(NF, KivStrFindStringK(empties, 3, 3));

  const wchar_t wlist[] = {L'a', L'b', 0, L'c', L'd', 0};
  EXPECT_EQ(3u, KivStrFindStringK(wlist, 6, 1));
  EXPECT_EQ(NF, KivStrFindStringK(wlist, 6, 2));
  EXPECT_EQ(0u, KivStrFindStringK(wlist, 6, 0));
  EXPECT_EQ(0u, KivStrFindStringK(wlist, 0, 0));
  EXPECT_EQ(NF, KivStrFindStringK(wlist, 0, 1));
  EXPECT_EQ(NF, KivStrFindStringK(kNullW, 6, 0));
}

TEST(CompareSearch, FindStringKNeverReadsPastTheSize)
{
  /* Exactly sized heap blocks without a terminator after them: any read
     * past the size is caught by the address sanitizer. */
  std::vector<char> two = {'a', 'b'};
  EXPECT_EQ(NF, KivStrFindStringK(two.data(), 2, 1));
  std::vector<char> one = {0};
  EXPECT_EQ(NF, KivStrFindStringK(one.data(), 1, 1));
  std::vector<wchar_t> wtwo = {L'a', 0};
  EXPECT_EQ(NF, KivStrFindStringK(wtwo.data(), 2, 1));
  std::vector<wchar_t> wthree = {L'a', 0, L'b'};
  EXPECT_EQ(2u, KivStrFindStringK(wthree.data(), 3, 1));
  EXPECT_EQ(NF, KivStrFindStringK(wthree.data(), 3, 2));
}

/* ---- KivStrStartsWith / KivStrIStartsWith ---- */

TEST(CompareAffix, StartsWith)
{
  EXPECT_EQ(0, KivStrStartsWith("abc", kNullN, ALL));
  EXPECT_EQ(1, KivStrStartsWith("abc", "", ALL));
  EXPECT_EQ(1, KivStrStartsWith("abc", "ab", ALL));
  EXPECT_EQ(1, KivStrStartsWith("abc", "abc", ALL));
  EXPECT_EQ(1, KivStrStartsWith("abc", "abd", 2));
  EXPECT_EQ(0, KivStrStartsWith("abc", "abd", ALL));
  EXPECT_EQ(0, KivStrStartsWith("ab", "abc", ALL));
  EXPECT_EQ(0, KivStrStartsWith("abc", "Ab", ALL));
  EXPECT_EQ(1, KivStrStartsWith(kNullN, "", ALL));
  EXPECT_EQ(0, KivStrStartsWith(kNullN, "a", ALL));
  EXPECT_EQ(0, KivStrStartsWith(kNullN, "a", 0));
  EXPECT_EQ(1, KivStrStartsWith(kNullN, kNullN, ALL));
  EXPECT_EQ(1, KivStrStartsWith("", kNullN, ALL));
  EXPECT_EQ(0, KivStrStartsWith(L"abc", kNullW, ALL));
  EXPECT_EQ(1, KivStrStartsWith(L"abc", L"", ALL));
  EXPECT_EQ(1, KivStrStartsWith(L"abc", L"ab", ALL));
  EXPECT_EQ(1, KivStrStartsWith(L"abc", L"abd", 2));
  EXPECT_EQ(0, KivStrStartsWith(L"ab", L"abc", ALL));
  EXPECT_EQ(1, KivStrStartsWith(kNullW, L"", ALL));
  EXPECT_EQ(0, KivStrStartsWith(kNullW, L"a", ALL));
}

TEST(CompareAffix, IStartsWith)
{
  /* Nulls read as "" here, unlike the case-sensitive test. */
  EXPECT_EQ(1, KivStrIStartsWith("abc", kNullN, ALL));
  EXPECT_EQ(1, KivStrIStartsWith("ABC", "ab", ALL));
  EXPECT_EQ(0, KivStrIStartsWith("ab", "abc", ALL));
  EXPECT_EQ(1, KivStrIStartsWith("abc", "ABX", 2));
  EXPECT_EQ(0, KivStrIStartsWith("abc", "ABX", ALL));
  EXPECT_EQ(0, KivStrIStartsWith("abc", "abc", 5));
  EXPECT_EQ(1, KivStrIStartsWith(kNullN, kNullN, ALL));
  EXPECT_EQ(0, KivStrIStartsWith(kNullN, "a", ALL));
  EXPECT_EQ(1, KivStrIStartsWith(L"abc", kNullW, ALL));
  EXPECT_EQ(1, KivStrIStartsWith(L"ABC", L"ab", ALL));
  EXPECT_EQ(0, KivStrIStartsWith(L"ab", L"abc", ALL));
  EXPECT_EQ(1, KivStrIStartsWith(L"abc", L"ABX", 2));
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(1, KivStrIStartsWith(L"\u00C9cole", L"\u00E9", ALL));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0, KivStrIStartsWith(L"\u00C9cole", L"\u00E9", ALL));
  }
}

/* ---- KivStrEndsWith / KivStrIEndsWith ---- */

TEST(CompareAffix, EndsWith)
{
  EXPECT_EQ(1, KivStrEndsWith("file.txt", ".txt", ALL, ALL));
  EXPECT_EQ(0, KivStrEndsWith("file.TXT", ".txt", ALL, ALL));
  /* ls and lx only place the start of the tail: "cdef" runs to the end. */
  EXPECT_EQ(0, KivStrEndsWith("abcdef", "cd", 4, 2));
  EXPECT_EQ(1, KivStrEndsWith("abcdef", "cdef", 4, 2));
  EXPECT_EQ(1, KivStrEndsWith("abcdef", "ef", ALL, ALL));
  EXPECT_EQ(0, KivStrEndsWith("abc", "abcd", ALL, ALL));
  EXPECT_EQ(1, KivStrEndsWith("abc", "abc", ALL, ALL));
  EXPECT_EQ(1, KivStrEndsWith("abc", "", ALL, ALL));
  /* A null suffix with lx == -1 matches when s + ls is empty. */
  EXPECT_EQ(1, KivStrEndsWith("abc", kNullN, ALL, ALL));
  EXPECT_EQ(0, KivStrEndsWith("abc", kNullN, 2, ALL));
  EXPECT_EQ(1, KivStrEndsWith(kNullN, "", ALL, ALL));
  EXPECT_EQ(0, KivStrEndsWith(kNullN, "a", ALL, ALL));
  EXPECT_EQ(1, KivStrEndsWith(kNullN, kNullN, ALL, ALL));
  /* ls < lx. */
  EXPECT_EQ(0, KivStrEndsWith("abc", "c", 0, 1));
  EXPECT_EQ(1, KivStrEndsWith(L"file.txt", L".txt", ALL, ALL));
  EXPECT_EQ(0, KivStrEndsWith(L"abcdef", L"cd", 4, 2));
  EXPECT_EQ(1, KivStrEndsWith(L"abcdef", L"cdef", 4, 2));
  EXPECT_EQ(0, KivStrEndsWith(L"abc", L"abcd", ALL, ALL));
  EXPECT_EQ(1, KivStrEndsWith(L"abc", kNullW, ALL, ALL));
  EXPECT_EQ(0, KivStrEndsWith(L"abc", kNullW, 2, ALL));
  EXPECT_EQ(1, KivStrEndsWith(kNullW, L"", ALL, ALL));
}

TEST(CompareAffix, IEndsWith)
{
  EXPECT_EQ(1, KivStrIEndsWith("file.TXT", ".txt", ALL, ALL));
  EXPECT_EQ(0, KivStrIEndsWith("file.TXT", ".doc", ALL, ALL));
  EXPECT_EQ(0, KivStrIEndsWith("ABCDEF", "cd", 4, 2));
  EXPECT_EQ(1, KivStrIEndsWith("ABC", kNullN, ALL, ALL));
  EXPECT_EQ(0, KivStrIEndsWith("ABC", kNullN, 1, ALL));
  EXPECT_EQ(1, KivStrIEndsWith(L"file.TXT", L".txt", ALL, ALL));
  EXPECT_EQ(0, KivStrIEndsWith(L"ABCDEF", L"cd", 4, 2));
  EXPECT_EQ(1, KivStrIEndsWith(L"ABC", kNullW, ALL, ALL));
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(1, KivStrIEndsWith("caf\xC3\xA9", "\xC3\x89", ALL, ALL));
    EXPECT_EQ(1, KivStrIEndsWith(L"caf\u00E9", L"\u00C9", ALL, ALL));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0, KivStrIEndsWith("caf\xC3\xA9", "\xC3\x89", ALL, ALL));
    EXPECT_EQ(0, KivStrIEndsWith(L"caf\u00E9", L"\u00C9", ALL, ALL));
  }
}

} // namespace
