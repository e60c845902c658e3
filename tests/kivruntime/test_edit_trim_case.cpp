/*
 * test_edit_trim_case.cpp - trimming in place (TKivStrTrimLeft,
 * TKivStrTrimRight and the KivStrTrim* overloads) and case conversion in
 * place (KivStrLower, KivStrUpper), narrow and wide; the narrow case
 * conversion under C.UTF-8 with characters whose other case has a
 * shorter or longer UTF-8 form.
 */
#include <clocale>
#include <cwctype>

#include "kiv_edit_checks.h"

using namespace edit_test;

template <typename C>
class EditTrim : public ::testing::Test
{
};
TYPED_TEST_SUITE(EditTrim, ElementTypes);

namespace {

/* The buffer contents as a string of exactly n elements. */
template <typename C>
std::basic_string<C> Raw(const Buf<C> &b, size_t n)
{
  return std::basic_string<C>(b.v.data(), n);
}

} // namespace

/* ---- trimming ---- */

TYPED_TEST(EditTrim, TrimBothEnds)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("  x  "));
  EXPECT_EQ(4u, KivStrTrim(b.p(), kAll));
  EXPECT_EQ(S<C>("x"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(6));
}

TYPED_TEST(EditTrim, TrimRightKeepsOneBlank)
{
  typedef TypeParam C;
  Buf<C> three(8, S<C>("   "));
  EXPECT_EQ(3u, KivStrTrimRight(three.p(), kAll));
  EXPECT_EQ(S<C>(" "), three.Str());
  Buf<C> two(8, S<C>("  "));
  EXPECT_EQ(2u, KivStrTrimRight(two.p(), kAll));
  EXPECT_EQ(S<C>(" "), two.Str());
  Buf<C> one(8, S<C>(" "));
  EXPECT_EQ(1u, KivStrTrimRight(one.p(), kAll));
  EXPECT_EQ(S<C>(" "), one.Str());
  /* KivStrTrim does empty an all-blank string. */
  Buf<C> all(8, S<C>("   "));
  EXPECT_EQ(3u, KivStrTrim(all.p(), kAll));
  EXPECT_EQ(S<C>(""), all.Str());
}

TYPED_TEST(EditTrim, TrimRightMeasured)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("x y \t"));
  EXPECT_EQ(2u, KivStrTrimRight(b.p(), kAll));
  EXPECT_EQ(S<C>("x y"), b.Str());
  EXPECT_EQ(S<C>("x y\0\t\0", 6), Raw(b, 6));
  Buf<C> none(8, S<C>(" ab"));
  EXPECT_EQ(0u, KivStrTrimRight(none.p(), kAll));
  EXPECT_EQ(S<C>(" ab\0", 4), Raw(none, 4));
  Buf<C> empty(4, S<C>(""));
  EXPECT_EQ(0u, KivStrTrimRight(empty.p(), kAll));
  EXPECT_TRUE(empty.UntouchedFrom(1));
}

/* With an explicit length the count comes back and nothing is written. */
TYPED_TEST(EditTrim, TrimRightExplicitWritesNothing)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("ab  "));
  EXPECT_EQ(2u, KivStrTrimRight(b.p(), 4));
  EXPECT_EQ(S<C>("ab  \0", 5), Raw(b, 5));
  EXPECT_EQ(1u, KivStrTrimRight(b.p(), 3));
  Buf<C> all(8, S<C>("   "));
  EXPECT_EQ(3u, KivStrTrimRight(all.p(), 3));
  EXPECT_EQ(S<C>("   \0", 4), Raw(all, 4));
  EXPECT_EQ(0u, KivStrTrimRight(all.p(), 0));
}

TYPED_TEST(EditTrim, TrimLeftMeasured)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("  x"));
  EXPECT_EQ(2u, KivStrTrimLeft(b.p(), kAll));
  EXPECT_EQ(S<C>("x"), b.Str());
  Buf<C> all(8, S<C>("   "));
  EXPECT_EQ(3u, KivStrTrimLeft(all.p(), kAll));
  EXPECT_EQ(S<C>(""), all.Str());
  Buf<C> none(8, S<C>("x  "));
  EXPECT_EQ(0u, KivStrTrimLeft(none.p(), kAll));
  EXPECT_EQ(S<C>("x  \0", 4), Raw(none, 4));
}

/* With an explicit length only len - count elements move; the old tail
 * stays and no terminator is written. */
TYPED_TEST(EditTrim, TrimLeftExplicitKeepsTail)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("  xyz"));
  EXPECT_EQ(2u, KivStrTrimLeft(b.p(), 4));
  EXPECT_EQ(S<C>("xyxyz\0", 6), Raw(b, 6));
  Buf<C> limit(8, S<C>("   x"));
  EXPECT_EQ(2u, KivStrTrimLeft(limit.p(), 2));
  EXPECT_EQ(S<C>("   x\0", 5), Raw(limit, 5));
}

TYPED_TEST(EditTrim, TrimExplicit)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("  x  "));
  EXPECT_EQ(4u, KivStrTrim(b.p(), 5));
  EXPECT_EQ(S<C>("x x  \0", 6), Raw(b, 6));
  Buf<C> part(8, S<C>(" ab c "));
  /* The first four elements " ab ": one blank each side. */
  EXPECT_EQ(2u, KivStrTrim(part.p(), 4));
  EXPECT_EQ(S<C>("abb c \0", 7), Raw(part, 7));
}

TYPED_TEST(EditTrim, WhiteSpaceSet)
{
  typedef TypeParam C;
  Buf<C> b(16, S<C>("\t\n\v\f\r x\r\n \t"));
  EXPECT_EQ(10u, KivStrTrim(b.p(), kAll));
  EXPECT_EQ(S<C>("x"), b.Str());
  /* 0x08, 0x0E and 0x1F are not white space. */
  Buf<C> ctl(16, S<C>("\x08x\x0e\x1f"));
  EXPECT_EQ(0u, KivStrTrim(ctl.p(), kAll));
  EXPECT_EQ(S<C>("\x08x\x0e\x1f"), ctl.Str());
}

TYPED_TEST(EditTrim, NullString)
{
  typedef TypeParam C;
  EXPECT_EQ(0u, KivStrTrim((C *)nullptr, kAll));
  EXPECT_EQ(0u, KivStrTrimLeft((C *)nullptr, kAll));
  EXPECT_EQ(0u, KivStrTrimRight((C *)nullptr, kAll));
  EXPECT_EQ(0u, KivStrTrim((C *)nullptr, 5));
}

/* The templates take their element type from the argument. */
TEST(EditTrimTemplates, DeducedArguments)
{
  char n[] = "  ab  ";
  EXPECT_EQ(2u, TKivStrTrimLeft(n, -1));
  EXPECT_STREQ("ab  ", n);
  EXPECT_EQ(2u, TKivStrTrimRight(n, -1));
  EXPECT_STREQ("ab", n);
  wchar_t w[] = L"\t ab\r\n";
  EXPECT_EQ(2u, TKivStrTrimLeft(w, -1));
  EXPECT_STREQ(L"ab\r\n", w);
  EXPECT_EQ(2u, TKivStrTrimRight(w, -1));
  EXPECT_STREQ(L"ab", w);
  unsigned int (*left)(char *, unsigned int) = &TKivStrTrimLeft<char>;
  unsigned int (*right)(wchar_t *, unsigned int) = &TKivStrTrimRight<wchar_t>;
  char n2[] = " q";
  EXPECT_EQ(1u, left(n2, 2));
  wchar_t w2[] = L"q ";
  EXPECT_EQ(1u, right(w2, 2));
}

/* Non-ASCII blanks are not white space here. */
TEST(EditTrimTemplates, OnlyAsciiBlanks)
{
  char n[] = "\xa0x\xc2\xa0";
  EXPECT_EQ(0u, KivStrTrim(n, -1));
  EXPECT_STREQ("\xa0x\xc2\xa0", n);
  wchar_t w[] = L"\u00a0x\u3000\u0085";
  EXPECT_EQ(0u, KivStrTrim(w, -1));
  EXPECT_STREQ(L"\u00a0x\u3000\u0085", w);
}

/* ---- case conversion ---- */

namespace {

/* Runs the body under a locale, then goes back to "C". */
class LocaleScope
{
public:
  explicit LocaleScope(const char *name) { m_ok = setlocale(LC_ALL, name) != nullptr; }
  ~LocaleScope() { setlocale(LC_ALL, "C"); }
  bool Ok() const { return m_ok; }

private:
  bool m_ok;
};

} // namespace

TYPED_TEST(EditTrim, CaseAscii)
{
  typedef TypeParam C;
  Buf<C> b(16, S<C>("Hello, World 9"));
  KivStrLower(b.p(), kAll);
  EXPECT_EQ(S<C>("hello, world 9"), b.Str());
  KivStrUpper(b.p(), kAll);
  EXPECT_EQ(S<C>("HELLO, WORLD 9"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(15));
  /* An explicit length converts only that many elements. */
  KivStrLower(b.p(), 3);
  EXPECT_EQ(S<C>("helLO, WORLD 9"), b.Str());
  KivStrUpper(b.p(), 0);
  EXPECT_EQ(S<C>("helLO, WORLD 9"), b.Str());
  KivStrLower((C *)nullptr, kAll);
  KivStrUpper((C *)nullptr, 4);
}

TEST(EditCase, WideUnicode)
{
  LocaleScope loc("C.UTF-8");
  ASSERT_TRUE(loc.Ok());
  wchar_t w[] = L"\u00c9\u0416\u023f\u0130x";
  KivStrUpper(w, -1);
  /* The wide form converts every code point, whatever its UTF-8 length. */
  EXPECT_EQ((wchar_t)0xC9, w[0]);
  EXPECT_EQ((wchar_t)0x416, w[1]);
  EXPECT_EQ((wchar_t)0x2C7E, w[2]);
  EXPECT_EQ((wchar_t)0x130, w[3]);
  EXPECT_EQ(L'X', w[4]);
  KivStrLower(w, -1);
  EXPECT_EQ((wchar_t)0xE9, w[0]);
  EXPECT_EQ((wchar_t)0x436, w[1]);
  EXPECT_EQ((wchar_t)0x23F, w[2]);
  EXPECT_EQ((wchar_t)towlower(0x130), w[3]);
  EXPECT_EQ(L'x', w[4]);
}

/* Same-length conversions go through; the terminator and what follows it
 * are not touched. */
TEST(EditCase, NarrowUtf8SameLength)
{
  LocaleScope loc("C.UTF-8");
  ASSERT_TRUE(loc.Ok());
  char s[32] = "\xc3\x84\xc3\x96\xc3\x9c \xd0\x9f\xd0\xa0\xd0\x98 Ab";
  s[31] = 0x7F;
  KivStrLower(s, -1);
  EXPECT_STREQ("\xc3\xa4\xc3\xb6\xc3\xbc \xd0\xbf\xd1\x80\xd0\xb8 ab", s);
  KivStrUpper(s, -1);
  EXPECT_STREQ("\xc3\x84\xc3\x96\xc3\x9c \xd0\x9f\xd0\xa0\xd0\x98 AB", s);
  EXPECT_EQ(0x7F, s[31]);
}

/*
 * A converted form no longer than the character is written over its start
 * and the rest of the old character's bytes stay; a longer form leaves the
 * character as it is.  Its neighbours are converted either way:
 *   U+023F (2 bytes) -> upper U+2C7E (3 bytes): unchanged
 *   U+0250 (2 bytes) -> upper U+2C6F (3 bytes): unchanged
 *   U+0131 (2 bytes) -> upper 'I' (1 byte): "I" then the old 0xB1
 *   U+212A Kelvin (3 bytes) -> lower 'k' (1 byte): "k" then 0x84 0xAA
 *   U+1E9E (3 bytes) -> lower U+00DF (2 bytes): C3 9F then the old 0x9E
 *   U+2C6F (3 bytes) -> lower U+0250 (2 bytes): C9 90 then the old 0xAF
 */
TEST(EditCase, NarrowUtf8ShorterWrittenLongerLeftAlone)
{
  LocaleScope loc("C.UTF-8");
  ASSERT_TRUE(loc.Ok());
  /* The library's locale really has those mappings. */
  ASSERT_EQ((wint_t)0x2C7E, towupper(0x23F));
  ASSERT_EQ((wint_t)0x2C6F, towupper(0x250));
  ASSERT_EQ((wint_t)'I', towupper(0x131));
  ASSERT_EQ((wint_t)'k', towlower(0x212A));
  ASSERT_EQ((wint_t)0xDF, towlower(0x1E9E));
  ASSERT_EQ((wint_t)0x250, towlower(0x2C6F));

  /* The string sits at the very end of an exact-size heap block, so any
     write past it is caught under AddressSanitizer as well. */
  const char up[] = "a\xc8\xbf"
                    "b\xc9\x90"
                    "c\xc4\xb1"
                    "d";
  std::vector<char> u(up, up + sizeof up);
  KivStrUpper(u.data(), -1);
  EXPECT_EQ(std::string("A\xc8\xbf"
                        "B\xc9\x90"
                        "CI\xb1"
                        "D",
                        sizeof up),
            std::string(u.data(), u.size()));

  const char lo[] = "A\xe2\x84\xaa"
                    "B\xe1\xba\x9e"
                    "C\xe2\xb1\xaf"
                    "D";
  std::vector<char> l(lo, lo + sizeof lo);
  KivStrLower(l.data(), -1);
  EXPECT_EQ(std::string("ak\x84\xaa"
                        "b\xc3\x9f\x9e"
                        "c\xc9\x90\xaf"
                        "d",
                        sizeof lo),
            std::string(l.data(), l.size()));

  /* Each character alone, last before the terminator. */
  std::vector<char> longer = {'\xc8', '\xbf', 0};
  KivStrUpper(longer.data(), -1);
  EXPECT_EQ((std::vector<char>{'\xc8', '\xbf', 0}), longer);
  std::vector<char> dotless = {'\xc4', '\xb1', 0};
  KivStrUpper(dotless.data(), -1);
  EXPECT_EQ((std::vector<char>{'I', '\xb1', 0}), dotless);
  std::vector<char> kelvin = {'\xe2', '\x84', '\xaa', 0};
  KivStrLower(kelvin.data(), -1);
  EXPECT_EQ((std::vector<char>{'k', '\x84', '\xaa', 0}), kelvin);
  /* With an explicit length and no terminator at all. */
  std::vector<char> bare = {'x', '\xc8', '\xbf'};
  KivStrUpper(bare.data(), 3);
  EXPECT_EQ((std::vector<char>{'X', '\xc8', '\xbf'}), bare);
  std::vector<char> bareKelvin = {'\xe2', '\x84', '\xaa'};
  KivStrLower(bareKelvin.data(), 3);
  EXPECT_EQ((std::vector<char>{'k', '\x84', '\xaa'}), bareKelvin);
  /* Upper-casing again walks by the decoded lengths: "I" is one character,
     the stray 0xB1 another (not valid, stepped over). */
  KivStrUpper(dotless.data(), -1);
  EXPECT_EQ((std::vector<char>{'I', '\xb1', 0}), dotless);
}

/* Invalid bytes are stepped over one at a time; a character cut by the
 * explicit length is not decoded, and nothing past the length changes. */
TEST(EditCase, NarrowInvalidAndCut)
{
  LocaleScope loc("C.UTF-8");
  ASSERT_TRUE(loc.Ok());
  char bad[] = "A\xff"
               "B\x80"
               "C\xc3";
  KivStrLower(bad, -1);
  EXPECT_STREQ("a\xff"
               "b\x80"
               "c\xc3",
               bad);

  std::vector<char> cut = {'A', '\xc3', '\x89', 'B'};
  KivStrLower(cut.data(), 2);
  EXPECT_EQ((std::vector<char>{'a', '\xc3', '\x89', 'B'}), cut);
  KivStrLower(cut.data(), 3);
  EXPECT_EQ((std::vector<char>{'a', '\xc3', '\xa9', 'B'}), cut);

  /* A zero inside an explicit length is stepped over. */
  std::vector<char> z = {'A', 0, 'B'};
  KivStrLower(z.data(), 3);
  EXPECT_EQ((std::vector<char>{'a', 0, 'b'}), z);
}

/* In the "C" locale bytes of 0x80 and above are left alone. */
TEST(EditCase, NarrowCLocale)
{
  LocaleScope loc("C");
  ASSERT_TRUE(loc.Ok());
  char s[] = "Ab\xc3\x89z";
  KivStrUpper(s, -1);
  EXPECT_STREQ("AB\xc3\x89Z", s);
}
