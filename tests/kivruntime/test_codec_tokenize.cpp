/*
 * KivStrTokenize, narrow and wide.
 */
#include "kiv_codec_checks.h"

using namespace codec_test;

namespace {

/* Collects every token of s; checks that after the last one the function
 * keeps returning 0 without moving the cursor. */
template <typename T>
std::vector<std::basic_string<T>> Tokens(const T *s, const T *delimiters)
{
  std::vector<std::basic_string<T>> out;
  const T *cursor = s;
  unsigned length = (unsigned)-1;
  for (int guard = 0; guard < 1000; guard++)
  {
    if (!KivStrTokenize(cursor, length, delimiters))
      break;
    out.push_back(std::basic_string<T>(cursor ? cursor : s, cursor ? length : 0));
  }
  const T *at = cursor;
  unsigned len = length;
  EXPECT_EQ(KivStrTokenize(cursor, length, delimiters), 0);
  EXPECT_EQ(cursor, at);
  EXPECT_EQ(length, len);
  return out;
}

typedef std::vector<std::string> VS;
typedef std::vector<std::wstring> VW;

} // namespace

TEST(CodecTokenize, AdjacentDelimitersGiveEmptyTokens)
{
  EXPECT_EQ(Tokens("a,,b", ","), (VS{"a", "", "b"}));
  EXPECT_EQ(Tokens(L"a,,b", L","), (VW{L"a", L"", L"b"}));
}

TEST(CodecTokenize, EmptyStringIsOneEmptyToken)
{
  EXPECT_EQ(Tokens("", ","), (VS{""}));
  EXPECT_EQ(Tokens(L"", L","), (VW{L""}));
  /* A null string too. */
  const char *cursor = nullptr;
  unsigned length = (unsigned)-1;
  EXPECT_EQ(KivStrTokenize(cursor, length, ","), 1);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(KivStrTokenize(cursor, length, ","), 0);
  const wchar_t *wcursor = nullptr;
  length = (unsigned)-1;
  EXPECT_EQ(KivStrTokenize(wcursor, length, L","), 1);
  EXPECT_EQ(length, 0u);
  EXPECT_EQ(KivStrTokenize(wcursor, length, L","), 0);
}

TEST(CodecTokenize, TrailingDelimiterGivesFinalEmptyToken)
{
  EXPECT_EQ(Tokens("a,", ","), (VS{"a", ""}));
  EXPECT_EQ(Tokens(L"a,", L","), (VW{L"a", L""}));
  EXPECT_EQ(Tokens(",", ","), (VS{"", ""}));
  EXPECT_EQ(Tokens(",a", ","), (VS{"", "a"}));
}

TEST(CodecTokenize, CursorAndLengthPointIntoTheString)
{
  const char *s = "key=value;x";
  const char *cursor = s;
  unsigned length = (unsigned)-1;
  ASSERT_EQ(KivStrTokenize(cursor, length, "=;"), 1);
  EXPECT_EQ(cursor, s);
  EXPECT_EQ(length, 3u);
  ASSERT_EQ(KivStrTokenize(cursor, length, "=;"), 1);
  EXPECT_EQ(cursor, s + 4);
  EXPECT_EQ(length, 5u);
  ASSERT_EQ(KivStrTokenize(cursor, length, "=;"), 1);
  EXPECT_EQ(cursor, s + 10);
  EXPECT_EQ(length, 1u);
  EXPECT_EQ(KivStrTokenize(cursor, length, "=;"), 0);
}

TEST(CodecTokenize, SeveralDelimitersAndNoDelimiters)
{
  EXPECT_EQ(Tokens("a b\tc", " \t"), (VS{"a", "b", "c"}));
  EXPECT_EQ(Tokens("abc", ","), (VS{"abc"}));
  /* A null delimiter set: the whole rest is one token. */
  EXPECT_EQ(Tokens("a,b", (const char *)nullptr), (VS{"a,b"}));
  EXPECT_EQ(Tokens(L"a,b", (const wchar_t *)nullptr), (VW{L"a,b"}));
  EXPECT_EQ(Tokens("a,b", ""), (VS{"a,b"}));
  /* Wide delimiters are whole code points. */
  const wchar_t s[] = {L'a', 0x2C2C, L'b', L',', L'c', 0};
  const wchar_t d[] = {L',', 0};
  VW want = {std::wstring(s, 3), L"c"};
  EXPECT_EQ(Tokens(s, d), want);
  const wchar_t d2[] = {0x2C2C, 0};
  VW want2 = {L"a", std::wstring(s + 2, 3)};
  EXPECT_EQ(Tokens(s, d2), want2);
}

TEST(CodecTokenize, ExhaustedCursorStaysExhausted)
{
  const char *cursor = "x";
  unsigned length = (unsigned)-1;
  EXPECT_EQ(KivStrTokenize(cursor, length, ","), 1);
  for (int k = 0; k < 3; k++)
    EXPECT_EQ(KivStrTokenize(cursor, length, ","), 0);
  EXPECT_EQ(length, 1u);
}
