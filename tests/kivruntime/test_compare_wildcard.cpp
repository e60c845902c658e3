/*
 * Tests of wildcard matching: KivStrWildcardMatch, KivStrWildcardMatchNoCase
 * and TStrWildcardMatch, narrow and wide.
 *
 * Besides fixed cases, a differential test runs the library's matcher and a
 * plain recursive backtracking matcher written here (exponential, one level
 * per star group, no memo) over many random strings and patterns: narrow
 * ones with valid and invalid UTF-8 under both the "C" and the "C.UTF-8"
 * locale, wide ones with values outside Unicode, with measured and explicit
 * (also cutting) lengths, case-sensitive and not.  A complexity test checks
 * that many stars against a long non-matching string stay cheap.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <limits.h>
#include <random>
#include <stdlib.h>
#include <string>
#include <time.h>
#include <vector>
#include <wctype.h>

#include "kiv_compare_checks.h"

using compare_test::ALL;

namespace {

const char *const kNullN = nullptr;
const wchar_t *const kNullW = nullptr;

/* ---- the reference matcher ---- */

/* Character length at s: 1 below 0x80, else the locale's mblen; a result
 * below 1 counts as 1 (an undecodable byte is a character of its own). */
unsigned int RefStep(const char *s)
{
  if ((unsigned char)*s < 0x80)
    return 1;
  int n = mblen(s, MB_CUR_MAX);
  return n < 1 ? 1u : (unsigned int)n;
}
unsigned int RefStep(const wchar_t *)
{
  return 1;
}

/* towlower of the value as given; narrow bytes are sign-extended first. */
wint_t RefFold(char c)
{
  return towlower((wint_t)(int)(signed char)c);
}
wint_t RefFold(wchar_t c)
{
  return towlower((wint_t)c);
}

/*
 * The matcher as plain recursion.  Positions are offsets; a string position
 * can land past lstr when a multibyte character straddles an explicit
 * length.  Such a position is treated as "no character left" wherever one
 * would be read, and is not the end for the final test.
 */
template <typename C>
int RefMatch(const C *str, unsigned long s, unsigned long lstr, const C *pat, unsigned long p,
             unsigned long lpat, int cs)
{
  while (p < lpat)
  {
    C c = pat[p];
    if (c == (C)'*')
    {
      while (p < lpat && pat[p] == (C)'*')
        p += RefStep(pat + p);
      if (p == lpat)
        return 1;
      for (unsigned long s2 = s; s2 < lstr; s2 += RefStep(str + s2))
      {
        if (RefMatch(str, s2, lstr, pat, p, lpat, cs))
          return 1;
      }
      return 0;
    }
    if (s >= lstr)
      return 0;
    if (c != (C)'?' && c != str[s])
    {
      if (cs)
        return 0;
      if (RefFold(c) != RefFold(str[s]))
        return 0;
    }
    s += RefStep(str + s);
    p += RefStep(pat + p);
  }
  return s == lstr && p == lpat;
}

template <typename C>
unsigned long RefLen(const std::basic_string<C> &s, unsigned int len)
{
  if (len != ALL)
    return len;
  unsigned long n = 0;
  while (s[n] != 0)
    ++n;
  return n;
}

/* ---- random inputs ---- */

/* Tokens of narrow text: ASCII letters in both cases, the wildcard
 * characters, a backslash, a zero byte, valid UTF-8 of 2, 3 and 4 bytes
 * (é, É, €, U+1F600), and broken UTF-8 (a lone lead byte, a lone
 * continuation byte, 0xFF, a cut 3-byte sequence, an overlong form, and
 * the lone bytes 0xC9 and 0xE9, which are É and é as code points but must
 * not fold together as bytes). */
const std::vector<std::string> &NarrowTokens()
{
  static const std::vector<std::string> t = {
    "a", "b", "A", "B", "*", "?", "\\", std::string(1, '\0'),
    "\xC3\xA9", "\xC3\x89", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
    "\xC3", "\xA9", "\xFF", "\xE2\x82", "\xC0\x80", "\xC9", "\xE9"};
  return t;
}

/* Values of wide text: letters, wildcards, a backslash, zero, é, É, €, an
 * astral character, a sign-extended byte and values that are no characters. */
const std::vector<wchar_t> &WideTokens()
{
  static const std::vector<wchar_t> t = {
    L'a', L'b', L'A', L'B', L'*', L'?', L'\\', 0,
    (wchar_t)0xE9, (wchar_t)0xC9, (wchar_t)0x20AC, (wchar_t)0x1F600,
    (wchar_t)0xFFFFFFE9u, (wchar_t)0x7FFFFFFF, (wchar_t)0x80000000u};
  return t;
}

void AppendToken(std::string &out, std::mt19937 &rng, int forPattern)
{
  const std::vector<std::string> &t = NarrowTokens();
  unsigned int r = rng() % (forPattern ? t.size() + 6 : t.size());
  if (r >= t.size()) /* patterns get extra stars and question marks */
    out += (r % 2) ? "*" : "?";
  else
    out += t[r];
}

void AppendToken(std::wstring &out, std::mt19937 &rng, int forPattern)
{
  const std::vector<wchar_t> &t = WideTokens();
  unsigned int r = rng() % (forPattern ? t.size() + 6 : t.size());
  if (r >= t.size())
    out += (r % 2) ? L'*' : L'?';
  else
    out += t[r];
}

/* A length argument: mostly (unsigned)-1, sometimes the full length, and
 * sometimes a shorter one that may cut a multibyte character. */
template <typename C>
unsigned int RandomLength(const std::basic_string<C> &s, std::mt19937 &rng)
{
  unsigned int r = rng() % 10;
  if (r < 6)
    return ALL;
  if (r < 8)
    return (unsigned int)s.size();
  return (unsigned int)(rng() % (s.size() + 1));
}

template <typename C>
void RunDifferential(unsigned int seed, int rounds, const char *locale)
{
  std::mt19937 rng(seed);
  int matches = 0;
  for (int round = 0; round < rounds; ++round)
  {
    std::basic_string<C> str;
    std::basic_string<C> pat;
    unsigned int ns = rng() % 11;
    unsigned int np = rng() % 8;
    for (unsigned int i = 0; i < ns; ++i)
      AppendToken(str, rng, 0);
    for (unsigned int i = 0; i < np; ++i)
      AppendToken(pat, rng, 1);
    /* A matching string now and then: the pattern with its wildcards
         * replaced, so that successes are well represented too. */
    if (rng() % 4 == 0)
    {
      str.clear();
      for (C c : pat)
      {
        if (c == (C)'*')
        {
          for (unsigned int k = rng() % 3; k > 0; --k)
            AppendToken(str, rng, 0);
        }
        else if (c == (C)'?')
        {
          AppendToken(str, rng, 0);
        }
        else
        {
          str += c;
        }
      }
    }
    const unsigned int lstr = RandomLength(str, rng);
    const unsigned int lpat = RandomLength(pat, rng);
    const int cs = (int)(rng() % 2);
    const int expect = RefMatch(str.c_str(), 0, RefLen(str, lstr), pat.c_str(), 0,
                                RefLen(pat, lpat), cs);
    const int got = TStrWildcardMatch(str.c_str(), lstr, pat.c_str(), lpat, cs);
    matches += expect;
    ASSERT_EQ(expect, got) << "locale " << locale << ", round " << round << ", lstr "
                           << (int)lstr << ", lpat " << (int)lpat << ", cs " << cs;
    ASSERT_EQ(expect, cs ? KivStrWildcardMatch(str.c_str(), lstr, pat.c_str(), lpat)
                         : KivStrWildcardMatchNoCase(str.c_str(), lstr, pat.c_str(), lpat));
  }
  /* Both outcomes must be well represented for the comparison to mean
     * anything. */
  EXPECT_GT(matches, rounds / 10);
  EXPECT_LT(matches, rounds - rounds / 10);
}

TEST(CompareWildcardDifferential, NarrowInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  RunDifferential<char>(1001, 40000, "C");
}

TEST(CompareWildcardDifferential, NarrowInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  RunDifferential<char>(2002, 40000, "C.UTF-8");
}

TEST(CompareWildcardDifferential, WideInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  RunDifferential<wchar_t>(3003, 30000, "C");
}

TEST(CompareWildcardDifferential, WideInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  RunDifferential<wchar_t>(4004, 30000, "C.UTF-8");
}

/* Exhaustive over a small alphabet: every string of up to 5 elements from
 * {a, b} against every pattern of up to 6 elements from {a, b, *, ?}. */
template <typename C>
void RunExhaustive()
{
  const C sAlpha[] = {(C)'a', (C)'b'};
  const C pAlpha[] = {(C)'a', (C)'b', (C)'*', (C)'?'};
  std::vector<std::basic_string<C>> strs(1);
  for (size_t i = 0; i < strs.size() && strs[i].size() < 5; ++i)
    for (C c : sAlpha)
      strs.push_back(strs[i] + c);
  std::vector<std::basic_string<C>> pats(1);
  for (size_t i = 0; i < pats.size() && pats[i].size() < 6; ++i)
    for (C c : pAlpha)
      pats.push_back(pats[i] + c);
  for (const auto &s : strs)
  {
    for (const auto &p : pats)
    {
      int expect = RefMatch(s.c_str(), 0, s.size(), p.c_str(), 0, p.size(), 1);
      ASSERT_EQ(expect, TStrWildcardMatch(s.c_str(), ALL, p.c_str(), ALL, 1));
    }
  }
}

TEST(CompareWildcardDifferential, ExhaustiveSmallAlphabet)
{
  RunExhaustive<char>();
  RunExhaustive<wchar_t>();
}

/* ---- fixed cases ---- */

TEST(CompareWildcard, BasicMatches)
{
  for (const char *p : {"a*", "*c", "a?c", "*", "**", "a*b*c", "abc", "???", "*?", "?*", "a**c",
                        "*b*", "***c"})
  {
    EXPECT_EQ(1, KivStrWildcardMatch("abc", ALL, p, ALL)) << p;
  }
  for (const char *p : {"a?", "ab", "abcd", "????", "b*", "*b", "?", "", "a*d", "*a"})
  {
    EXPECT_EQ(0, KivStrWildcardMatch("abc", ALL, p, ALL)) << p;
  }
  for (const wchar_t *p : {L"a*", L"*c", L"a?c", L"*", L"**", L"a*b*c"})
    EXPECT_EQ(1, KivStrWildcardMatch(L"abc", ALL, p, ALL));
  for (const wchar_t *p : {L"a?", L"ab", L"abcd", L"?"})
    EXPECT_EQ(0, KivStrWildcardMatch(L"abc", ALL, p, ALL));
}

TEST(CompareWildcard, EmptyString)
{
  EXPECT_EQ(1, KivStrWildcardMatch("", ALL, "", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("", ALL, "*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("", ALL, "***", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("", ALL, "?", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("", ALL, "*a", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("a", ALL, "", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(L"", ALL, L"", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(L"", ALL, L"*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(L"", ALL, L"?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatchNoCase("", ALL, "*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatchNoCase(L"", ALL, L"?", ALL));
}

TEST(CompareWildcard, CaseSensitivity)
{
  EXPECT_EQ(0, KivStrWildcardMatch("ABC", ALL, "a*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatchNoCase("ABC", ALL, "a*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatchNoCase("Hello.TXT", ALL, "*.txt", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("Hello.TXT", ALL, "*.txt", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(L"ABC", ALL, L"a*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatchNoCase(L"ABC", ALL, L"a*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatchNoCase(L"Hello.TXT", ALL, L"*.txt", ALL));
}

TEST(CompareWildcard, BackslashIsAnOrdinaryLiteral)
{
  EXPECT_EQ(1, KivStrWildcardMatch("\\abc", ALL, "\\*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\\", ALL, "\\*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("*", ALL, "\\*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("x", ALL, "\\*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("a\\bc", ALL, "a\\*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("a?", ALL, "a\\?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("a\\x", ALL, "a\\?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(L"\\abc", ALL, L"\\*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(L"*", ALL, L"\\*", ALL));
  /* Wildcard characters in the string are ordinary characters. */
  EXPECT_EQ(1, KivStrWildcardMatch("*?", ALL, "??", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("ab", ALL, "a*?*b", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("axb", ALL, "a*?*b", ALL));
}

TEST(CompareWildcard, ExplicitLengthsAndNulls)
{
  EXPECT_EQ(1, KivStrWildcardMatch("abcdef", 3, "abc", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("abc", ALL, "abcd", 3));
  EXPECT_EQ(1, KivStrWildcardMatch("abc", 2, "a?", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("abc", 0, "?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("abc", 0, "a", 0));
  EXPECT_EQ(1, KivStrWildcardMatch("abc", 2, "*b", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("abc", 2, "*c", ALL));
  /* Terminators inside explicit lengths are ordinary characters. */
  EXPECT_EQ(1, KivStrWildcardMatch("a\0b", 3, "a?b", 3));
  EXPECT_EQ(1, KivStrWildcardMatch("a\0b", 3, "*b", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(kNullN, ALL, "", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(kNullN, ALL, "*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(kNullN, ALL, "?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(kNullN, 5, "*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(kNullN, 5, "?", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("abc", ALL, kNullN, ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("", ALL, kNullN, ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(kNullN, ALL, kNullN, 3));
  EXPECT_EQ(1, KivStrWildcardMatch(L"abcdef", 3, L"abc", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch(L"a\0b", 3, L"a?b", 3));
  EXPECT_EQ(1, KivStrWildcardMatch(kNullW, ALL, L"*", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(kNullW, ALL, L"?", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch(L"abc", ALL, kNullW, ALL));
}

TEST(CompareWildcard, TemplateWithDeducedArguments)
{
  const char *s = "report.pdf";
  const wchar_t *w = L"REPORT.PDF";
  EXPECT_EQ(1, TStrWildcardMatch(s, ALL, "*.pdf", ALL, 1));
  EXPECT_EQ(0, TStrWildcardMatch(w, ALL, L"*.pdf", ALL, 1));
  EXPECT_EQ(1, TStrWildcardMatch(w, ALL, L"*.pdf", ALL, 0));
  EXPECT_EQ(1, TStrWildcardMatch("abc", 3u, "a?c", 3u, 1));
}

TEST(CompareWildcard, NarrowCharactersInTheUtf8Locale)
{
  COMPARE_IN_LOCALE("C.UTF-8");
  EXPECT_EQ(1, KivStrWildcardMatch("\xC3\xA9", ALL, "?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("a\xC3\xA9"
                                   "b",
                                   ALL, "a?b", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("a\xC3\xA9"
                                   "b",
                                   ALL, "a??b", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xE2\x82\xAC"
                                   "5",
                                   ALL, "?5", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xF0\x9F\x98\x80", ALL, "?", ALL));
  /* A literal compares lead bytes only: "é" and "É" share theirs. */
  EXPECT_EQ(1, KivStrWildcardMatch("\xC3\x89", ALL, "\xC3\xA9", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("\xC3\x89", ALL, "\xE2\x82\xAC", ALL));
  /* Broken sequences: each undecodable byte is one character. */
  EXPECT_EQ(1, KivStrWildcardMatch("\xFF\xC3"
                                   "a",
                                   ALL, "???", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xE2\x82", ALL, "??", ALL));
  /* A character cut by an explicit length: '?' takes all of it and
     * lands past the end, which is not the end of the string. */
  EXPECT_EQ(0, KivStrWildcardMatch("\xE2\x82\xAC", 1, "?", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("\xE2\x82\xAC", 2, "??", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("\xE2\x82\xAC", 2, "*?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xE2\x82\xAC", 1, "?*", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xE2\x82\xAC", 1, "*", ALL));
  /* The same for a pattern character cut by its length. */
  EXPECT_EQ(0, KivStrWildcardMatch("\xE2", ALL, "\xE2\x82\xAC", 1));
}

TEST(CompareWildcard, NarrowBytesInTheCLocale)
{
  COMPARE_IN_LOCALE("C");
  EXPECT_EQ(0, KivStrWildcardMatch("\xC3\xA9", ALL, "?", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xC3\xA9", ALL, "??", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("a\xC3\xA9"
                                   "b",
                                   ALL, "a?b", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("a\xC3\xA9"
                                   "b",
                                   ALL, "a??b", ALL));
  EXPECT_EQ(0, KivStrWildcardMatch("\xC3\x89", ALL, "\xC3\xA9", ALL));
  EXPECT_EQ(0, KivStrWildcardMatchNoCase("\xC3\x89", ALL, "\xC3\xA9", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xE2\x82\xAC", 2, "??", ALL));
  EXPECT_EQ(1, KivStrWildcardMatch("\xE2", ALL, "\xE2\x82\xAC", 1));
}

TEST(CompareWildcard, WideFoldingFollowsTheLocale)
{
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    EXPECT_EQ(1, KivStrWildcardMatchNoCase(L"\u00C9COLE", ALL, L"\u00E9*", ALL));
    EXPECT_EQ(0, KivStrWildcardMatch(L"\u00C9COLE", ALL, L"\u00E9*", ALL));
    EXPECT_EQ(1, KivStrWildcardMatch(L"\U0001F600x", ALL, L"?x", ALL));
  }
  {
    COMPARE_IN_LOCALE("C");
    EXPECT_EQ(0, KivStrWildcardMatchNoCase(L"\u00C9COLE", ALL, L"\u00E9*", ALL));
    EXPECT_EQ(1, KivStrWildcardMatchNoCase(L"\u00E9COLE", ALL, L"\u00E9*", ALL));
  }
}

/* ---- complexity ---- */

/* CPU seconds used by this process so far (not wall time, so that a busy
 * machine does not count against the test). */
double CpuSeconds()
{
  return (double)clock() / CLOCKS_PER_SEC;
}

/* "a*a*...*a*b" style patterns with twenty star groups against long strings
 * that do not match.  Plain backtracking would need more steps than there
 * are atoms in the world (about C(1000, 20) for the first case); the linear
 * matcher needs milliseconds.  The CPU-time bounds below are a hundred
 * times or more what it takes natively, so that sanitizers and an emulated
 * target stay far inside them while exponential behaviour cannot. */
TEST(CompareWildcardComplexity, TwentyStarsAgainstALongNonMatchingString)
{
  std::string pat;
  std::wstring wpat;
  for (int i = 0; i < 20; ++i)
  {
    pat += "a*";
    wpat += L"a*";
  }
  pat += "b";
  wpat += L"b";
  std::string str(1000, 'a');
  std::wstring wstr(1000, L'a');

  double t0 = CpuSeconds();
  for (int r = 0; r < 100; ++r)
  {
    ASSERT_EQ(0, KivStrWildcardMatch(str.c_str(), ALL, pat.c_str(), ALL));
    ASSERT_EQ(0, KivStrWildcardMatchNoCase(wstr.c_str(), ALL, wpat.c_str(), ALL));
  }
  /* 200 calls; natively each takes tens of microseconds. */
  EXPECT_LT(CpuSeconds() - t0, 2.0);

  /* Stars between distinct letters, the string long and almost matching. */
  std::string pat2 = "*";
  for (char c = 'a'; c < 'a' + 20; ++c)
  {
    pat2 += c;
    pat2 += '*';
  }
  pat2 += 'z';
  std::string str2;
  for (int i = 0; i < 2000; ++i)
    str2 += (char)('a' + i % 20);
  t0 = CpuSeconds();
  for (int r = 0; r < 20; ++r)
    ASSERT_EQ(0, KivStrWildcardMatch(str2.c_str(), ALL, pat2.c_str(), ALL));
  EXPECT_LT(CpuSeconds() - t0, 1.0);
  str2 += 'z';
  EXPECT_EQ(1, KivStrWildcardMatch(str2.c_str(), ALL, pat2.c_str(), ALL));

  /* A long string of multibyte characters in the UTF-8 locale. */
  {
    COMPARE_IN_LOCALE("C.UTF-8");
    std::string u;
    for (int i = 0; i < 3000; ++i)
      u += "\xC3\xA9";
    std::string upat;
    for (int i = 0; i < 20; ++i)
      upat += "\xC3\xA9*";
    upat += "?x";
    t0 = CpuSeconds();
    ASSERT_EQ(0, KivStrWildcardMatch(u.c_str(), ALL, upat.c_str(), ALL));
    EXPECT_LT(CpuSeconds() - t0, 1.0);
  }

  /* The worst case of the linear matcher: O(lstr * lpat). */
  std::string worst(20000, 'a');
  std::string wp = "*" + std::string(30, 'a') + "b";
  t0 = CpuSeconds();
  ASSERT_EQ(0, KivStrWildcardMatch(worst.c_str(), ALL, wp.c_str(), ALL));
  EXPECT_LT(CpuSeconds() - t0, 5.0);
}

} // namespace
