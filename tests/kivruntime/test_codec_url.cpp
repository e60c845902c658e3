/*
 * URL percent-encoding: the one-character helpers, the four overloads of
 * each direction, capacities, round trips and the non-inverse cases.
 */
#include "kiv_codec_checks.h"

using namespace codec_test;

namespace {

template <typename D, typename S>
Writer<D> Enc(const std::basic_string<S> &s)
{
  return [s](D *d, unsigned c) { return KivStrEncodeURL(d, c, s.data(), (unsigned)s.size()); };
}

template <typename D, typename S>
Writer<D> Dec(const std::basic_string<S> &s)
{
  return [s](D *d, unsigned c) { return KivStrDecodeURL(d, c, s.data(), (unsigned)s.size()); };
}

/* Item ends of "a%20b%2Dc". */
const std::vector<size_t> kABC = {0, 1, 4, 5, 8, 9};

} // namespace

TEST(CodecURL, CharEncodeNarrow)
{
  char out[4] = {'x', 'x', 'x', 'x'};
  /* Letters and digits pass in one element, written only with room. */
  EXPECT_EQ(TCharEncodeURL(out, 0, 'a'), 1u);
  EXPECT_EQ(out[0], 'x');
  EXPECT_EQ(TCharEncodeURL(out, 1, 'Z'), 1u);
  EXPECT_EQ(out[0], 'Z');
  EXPECT_EQ(TCharEncodeURL(out, 1, '7'), 1u);
  EXPECT_EQ(out[0], '7');
  /* Everything else is a 3-element escape, written whole or not at all. */
  out[0] = 'x';
  EXPECT_EQ(TCharEncodeURL(out, 2, ' '), 3u);
  EXPECT_EQ(std::string(out, 4), "xxxx");
  EXPECT_EQ(TCharEncodeURL(out, 3, ' '), 3u);
  EXPECT_EQ(std::string(out, 4), "%20x");
  const char specials[] = "-._~+/?#";
  const char *codes[] = {"%2D", "%2E", "%5F", "%7E", "%2B", "%2F", "%3F", "%23"};
  for (int k = 0; specials[k]; k++)
  {
    EXPECT_EQ(TCharEncodeURL(out, 3, specials[k]), 3u);
    EXPECT_EQ(std::string(out, 3), codes[k]);
  }
  EXPECT_EQ(TCharEncodeURL(out, 3, (char)0xFF), 3u);
  EXPECT_EQ(std::string(out, 3), "%FF");
  EXPECT_EQ(TCharEncodeURL(out, 3, '\0'), 3u);
  EXPECT_EQ(std::string(out, 3), "%00");
  EXPECT_EQ(TCharEncodeURL((char *)nullptr, 0, '-'), 3u);
}

TEST(CodecURL, CharEncodeWide)
{
  wchar_t out[4] = {L'x', L'x', L'x', L'x'};
  EXPECT_EQ(TCharEncodeURL(out, 0, 'q'), 1u);
  EXPECT_EQ(out[0], L'x');
  EXPECT_EQ(TCharEncodeURL(out, 1, 'q'), 1u);
  EXPECT_EQ(out[0], L'q');
  EXPECT_EQ(TCharEncodeURL(out, 2, (char)0xE9), 3u);
  EXPECT_EQ(std::wstring(out, 4), L"qxxx");
  EXPECT_EQ(TCharEncodeURL(out, 3, (char)0xE9), 3u);
  EXPECT_EQ(std::wstring(out, 4), L"%E9x");
}

TEST(CodecURL, CharDecodeNarrow)
{
  char b = 'x';
  EXPECT_EQ(TCharDecodeURL("+", 1, &b), 1u);
  EXPECT_EQ(b, ' ');
  EXPECT_EQ(TCharDecodeURL("%41", 3, &b), 3u);
  EXPECT_EQ(b, 'A');
  EXPECT_EQ(TCharDecodeURL("%e9", 3, &b), 3u);
  EXPECT_EQ((unsigned char)b, 0xE9);
  /* Malformed digits count 0 but still consume three elements. */
  EXPECT_EQ(TCharDecodeURL("%G1", 3, &b), 3u);
  EXPECT_EQ(b, '\x01');
  /* Too close to the end, or a zero among the next two: a plain '%'. */
  EXPECT_EQ(TCharDecodeURL("%41", 2, &b), 1u);
  EXPECT_EQ(b, '%');
  EXPECT_EQ(TCharDecodeURL("%4\0", 3, &b), 1u);
  EXPECT_EQ(b, '%');
  EXPECT_EQ(TCharDecodeURL("%\0"
                           "4",
                           3, &b),
            1u);
  /* A null out only measures. */
  b = 'x';
  EXPECT_EQ(TCharDecodeURL("%41", 3, nullptr), 3u);
  EXPECT_EQ(TCharDecodeURL("a", 1, nullptr), 1u);
  EXPECT_EQ(b, 'x');
  /* No input left: nothing is read, nothing consumed. */
  EXPECT_EQ(TCharDecodeURL("a", 0, &b), 0u);
  EXPECT_EQ(b, 'x');
  EXPECT_EQ(TCharDecodeURL("z", 1, &b), 1u);
  EXPECT_EQ(b, 'z');
}

TEST(CodecURL, CharDecodeWide)
{
  char b = 'x';
  EXPECT_EQ(TCharDecodeURL(L"+", 1, &b), 1u);
  EXPECT_EQ(b, ' ');
  /* Digits contribute their low byte: U+0141 counts as 'A'. */
  const wchar_t pct[] = {L'%', 0x141, L'f', 0};
  EXPECT_EQ(TCharDecodeURL(pct, 3, &b), 3u);
  EXPECT_EQ((unsigned char)b, 0xAF);
  /* Other elements are copied as their low byte; U+012B is not '+'. */
  const wchar_t other[] = {0x12B, 0};
  EXPECT_EQ(TCharDecodeURL(other, 1, &b), 1u);
  EXPECT_EQ(b, '+');
  const wchar_t e9[] = {0x20E9, 0};
  EXPECT_EQ(TCharDecodeURL(e9, 1, &b), 1u);
  EXPECT_EQ((unsigned char)b, 0xE9);
  EXPECT_EQ(TCharDecodeURL(L"%4", 2, &b), 1u);
  EXPECT_EQ(b, '%');
}

TEST(CodecURL, EncodeExamplesAllOverloads)
{
  /* "a b-c" gives "a%20b%2Dc" (9); with capacity 4 only "a" fits and the
     * result is 10. */
  std::string s = "a b-c";
  CheckAllCapacities(Enc<char>(s), std::string("a%20b%2Dc"), kABC);
  CheckAllCapacities(Enc<wchar_t>(s), std::wstring(L"a%20b%2Dc"), kABC);
  CheckAllCapacities(Enc<char>(W(s)), std::string("a%20b%2Dc"), kABC);
  CheckAllCapacities(Enc<wchar_t>(W(s)), std::wstring(L"a%20b%2Dc"), kABC);

  char buf[8];
  std::fill(buf, buf + 8, 'x');
  EXPECT_EQ(KivStrEncodeURL(buf, 4, "a b-c", (unsigned)-1), 10u);
  EXPECT_EQ(std::string(buf, 8), std::string("a\0xxxxxx", 8));
}

TEST(CodecURL, EncodeNullEmptyAndCounts)
{
  char buf[8];
  EXPECT_EQ(KivStrEncodeURL(buf, 0, (const char *)nullptr, 5), 1u);
  EXPECT_EQ(KivStrEncodeURL(buf, 8, (const char *)nullptr, 5), 0u);
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(KivStrEncodeURL(buf, 1, "", (unsigned)-1), 0u);
  wchar_t wbuf[8];
  EXPECT_EQ(KivStrEncodeURL(wbuf, 8, (const wchar_t *)nullptr, (unsigned)-1), 0u);
  EXPECT_EQ(wbuf[0], 0);
  /* An explicit count includes zero bytes and stops where it says. */
  EXPECT_EQ(KivStrEncodeURL(buf, 8, "a\0b", 3), 5u);
  EXPECT_EQ(std::string(buf), "a%00b");
  EXPECT_EQ(KivStrEncodeURL(buf, 8, "abcdef", 2), 2u);
  EXPECT_EQ(std::string(buf), "ab");
}

TEST(CodecURL, EncodeWideSourceGoesThroughUTF8)
{
  /* U+00E9 is C3 A9, U+20AC is E2 82 AC; each byte is one escape. */
  std::wstring s = {L'x', (wchar_t)0xE9, (wchar_t)0x20AC};
  std::string expect = "x%C3%A9%E2%82%AC";
  std::vector<size_t> items = {0, 1, 4, 7, 10, 13, 16};
  CheckAllCapacities(Enc<char>(s), expect, items);
  CheckAllCapacities(Enc<wchar_t>(s), W(expect), items);
  /* A narrow source is taken byte by byte, as it stands. */
  EXPECT_EQ(Output(Enc<char>(std::string("\xC3\xA9"))), "%C3%A9");
  /* A negative value (a sign-extended Latin-1 byte) is its low byte. */
  std::wstring neg = {(wchar_t)0xFFFFFFE9};
  EXPECT_EQ(Output(Enc<char>(neg)), "%E9");
  /* The largest values take six bytes. */
  std::wstring big = {(wchar_t)0x7FFFFFFF};
  EXPECT_EQ(Output(Enc<char>(big)), "%FD%BF%BF%BF%BF%BF");
}

TEST(CodecURL, DecodeExamplesAllOverloads)
{
  /* "a+b%41%4" gives "a bA%4": the final '%' is too close to the end. */
  std::string s = "a+b%41%4";
  CheckAllCapacities(Dec<char>(s), std::string("a bA%4"));
  CheckAllCapacities(Dec<char>(W(s)), std::string("a bA%4"));
  CheckAllCapacities(Dec<wchar_t>(s), std::wstring(L"a bA%4"));
  CheckAllCapacities(Dec<wchar_t>(W(s)), std::wstring(L"a bA%4"));
  /* "%zz" gives one zero byte. */
  CheckAllCapacities(Dec<char>(std::string("%zz")), std::string(1, '\0'));
  CheckAllCapacities(Dec<wchar_t>(W("%zz")), std::wstring(1, L'\0'));
  /* Lower-case digits decode too. */
  EXPECT_EQ(Output(Dec<char>(std::string("%2d%2D"))), "--");
}

TEST(CodecURL, DecodeToWideBuildsCodePoints)
{
  /* A two-byte sequence gives one element. */
  std::wstring e = {(wchar_t)0xE9, L'b'};
  CheckAllCapacities(Dec<wchar_t>(std::string("%C3%A9b")), e);
  CheckAllCapacities(Dec<wchar_t>(W("%C3%A9b")), e);
  /* Raw UTF-8 bytes in a narrow source combine the same way. */
  EXPECT_EQ(Output(Dec<wchar_t>(std::string("\xE2\x82\xAC"))), std::wstring(1, (wchar_t)0x20AC));
  /* Broken sequences: a '?' per byte that starts nothing, and the byte
     * after a broken lead is judged on its own. */
  EXPECT_EQ(Output(Dec<wchar_t>(std::string("%E9A"))), L"?A");
  EXPECT_EQ(Output(Dec<wchar_t>(std::string("%E2%82"))), L"??");
  EXPECT_EQ(Output(Dec<wchar_t>(std::string("%80%C3"))), L"??");
  /* To a narrow destination the same bytes stay bytes. */
  EXPECT_EQ(Output(Dec<char>(std::string("%C3%A9b"))), "\xC3\xA9"
                                                       "b");
  /* A long run of multibyte characters, more than six bytes at once. */
  std::string many;
  std::wstring want;
  for (int k = 0; k < 10; k++)
  {
    many += "%F0%9F%98%80x";
    want.push_back((wchar_t)0x1F600);
    want.push_back(L'x');
  }
  CheckAllCapacities(Dec<wchar_t>(many), want);
}

TEST(CodecURL, DecodeNullAndEmpty)
{
  char buf[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(KivStrDecodeURL(buf, 0, (const char *)nullptr, 3), 1u);
  EXPECT_EQ(buf[0], 'x');
  EXPECT_EQ(KivStrDecodeURL(buf, 4, (const char *)nullptr, 3), 0u);
  EXPECT_EQ(buf[0], '\0');
  wchar_t wbuf[2] = {L'x', L'x'};
  EXPECT_EQ(KivStrDecodeURL(wbuf, 1, L"", (unsigned)-1), 0u);
  EXPECT_EQ(wbuf[0], 0);
  EXPECT_EQ(wbuf[1], L'x');
  /* An explicit count carries zero elements into the output. */
  EXPECT_EQ(KivStrDecodeURL(buf, 4, "a\0b", 3), 3u);
  EXPECT_EQ(std::string(buf, 4), std::string("a\0b\0", 4));
}

TEST(CodecURL, RoundTripRandomBytes)
{
  std::mt19937 rng(99);
  for (int iter = 0; iter < 200; iter++)
  {
    std::string bytes = RandomBytes(rng, rng() % 200);
    std::string enc = Output(Enc<char>(bytes));
    EXPECT_EQ(Output(Dec<char>(enc)), bytes);
    std::wstring wenc = Output(Enc<wchar_t>(bytes));
    EXPECT_EQ(wenc, W(enc));
    EXPECT_EQ(Output(Dec<char>(wenc)), bytes);
  }
}

TEST(CodecURL, RoundTripRandomCodePoints)
{
  /* Every value from 0 to 0x7FFFFFFF survives wide -> URL -> wide, as
     * long as the decoder is given whole UTF-8 sequences. */
  std::mt19937 rng(7);
  for (int iter = 0; iter < 200; iter++)
  {
    std::wstring s;
    size_t n = rng() % 60;
    for (size_t k = 0; k < n; k++)
    {
      uint32_t v;
      switch (rng() % 4)
      {
        case 0: v = rng() & 0x7F; break;
        case 1: v = rng() & 0x7FF; break;
        case 2: v = rng() & 0x10FFFF; break;
        default: v = rng() & 0x7FFFFFFF; break;
      }
      s.push_back((wchar_t)v);
    }
    std::string enc = Output(Enc<char>(s));
    EXPECT_EQ(Output(Dec<wchar_t>(enc)), s);
    std::wstring wenc = Output(Enc<wchar_t>(s));
    EXPECT_EQ(Output(Dec<wchar_t>(wenc)), s);
  }
}

TEST(CodecURL, NotInverses)
{
  /* '+' decodes to a space, but a space encodes as %20. */
  EXPECT_EQ(Output(Dec<char>(std::string("a+b"))), "a b");
  EXPECT_EQ(Output(Enc<char>(std::string("a b"))), "a%20b");
  /* Lower-case escapes come back in upper case; '%' too near the end is
     * taken literally and then escaped. */
  EXPECT_EQ(Output(Enc<char>(Output(Dec<char>(std::string("%2d"))))), "%2D");
  EXPECT_EQ(Output(Enc<char>(Output(Dec<char>(std::string("%4"))))), "%254");
  /* A negative wide value comes back as a '?' */
  std::wstring neg = {(wchar_t)0xFFFFFFE9};
  EXPECT_EQ(Output(Dec<wchar_t>(Output(Enc<char>(neg)))), L"?");
}

TEST(CodecURL, NullDestinationOnlyMeasures)
{
  EXPECT_EQ(KivStrEncodeURL((char *)nullptr, 100, "a b", (unsigned)-1), 6u);
  EXPECT_EQ(KivStrEncodeURL((wchar_t *)nullptr, 100, L"a b", (unsigned)-1), 6u);
  EXPECT_EQ(KivStrDecodeURL((char *)nullptr, 100, "a%20b", (unsigned)-1), 4u);
  EXPECT_EQ(KivStrDecodeURL((wchar_t *)nullptr, 100, "%C3%A9", (unsigned)-1), 2u);
  EXPECT_EQ(KivStrEncodeXML((char *)nullptr, 100, "<", (unsigned)-1), 5u);
  EXPECT_EQ(KivStrDecodeCPP((wchar_t *)nullptr, 100, L"\\n", (unsigned)-1), 2u);
}
