/*
 * C-style literal escapes, narrow and wide.
 */
#include "kiv_codec_checks.h"

using namespace codec_test;

namespace {

Writer<char> Enc(const std::string &s)
{
  return [s](char *d, unsigned c) { return KivStrEncodeCPP(d, c, s.data(), (unsigned)s.size()); };
}
Writer<wchar_t> Enc(const std::wstring &s)
{
  return [s](wchar_t *d, unsigned c) { return KivStrEncodeCPP(d, c, s.data(), (unsigned)s.size()); };
}
Writer<char> Dec(const std::string &s)
{
  return [s](char *d, unsigned c) { return KivStrDecodeCPP(d, c, s.data(), (unsigned)s.size()); };
}
Writer<wchar_t> Dec(const std::wstring &s)
{
  return [s](wchar_t *d, unsigned c) { return KivStrDecodeCPP(d, c, s.data(), (unsigned)s.size()); };
}

/* The expected escape of one byte value 0-255 in a narrow string. */
std::string ExpectedEscape(unsigned v)
{
  switch (v)
  {
    case 0x08: return "\\b";
    case 0x09: return "\\t";
    case 0x0A: return "\\n";
    case 0x0B: return "\\v";
    case 0x0C: return "\\f";
    case 0x0D: return "\\r";
    case '"': return "\\\"";
    case '\'': return "\\'";
    case '\\': return "\\\\";
  }
  if (v < 0x20 || v == '<' || v == '>')
  {
    char t[5];
    snprintf(t, sizeof t, "\\x%02X", v);
    return t;
  }
  return std::string(1, (char)(unsigned char)v);
}

} // namespace

TEST(CodecCEscape, EncodeExamples)
{
  /* Tab, bell and '<' give \t, \x07 and \x3C; each escape is one item. */
  std::string in("\t\x07<", 3);
  CheckAllCapacities(Enc(in), std::string("\\t\\x07\\x3C"), {0, 2, 6, 10});
  CheckAllCapacities(Enc(W(in)), std::wstring(L"\\t\\x07\\x3C"), {0, 2, 6, 10});
  /* '>' is escaped too, so the text can sit inside markup. */
  EXPECT_EQ(Output(Enc(std::string("a>b"))), "a\\x3Eb");
  EXPECT_EQ(Output(Enc(std::wstring(L"a>b"))), L"a\\x3Eb");
}

TEST(CodecCEscape, EncodeEveryByte)
{
  for (unsigned v = 0; v < 256; v++)
  {
    std::string in(1, (char)(unsigned char)v);
    std::string want = ExpectedEscape(v);
    EXPECT_EQ(Output(Enc(in)), want) << "byte " << v;
    /* The wide overload gives the same for the same code point. */
    std::wstring win(1, (wchar_t)v);
    EXPECT_EQ(Output(Enc(win)), v < 0x80 ? W(want) : win) << "code point " << v;
  }
  /* Bytes 0x80-0xFF pass unchanged: 0x07 is \x07 (no \a), no octal. */
  EXPECT_EQ(Output(Enc(std::string("\x80\xFF\x7F?", 4))), "\x80\xFF\x7F?");
  EXPECT_EQ(Output(Enc(std::string("\x07\0", 2))), "\\x07\\x00");
}

TEST(CodecCEscape, EncodeWideWholeValues)
{
  /* Only the values themselves are escaped: U+010A and U+013C are not
     * a line feed and a '<'; negative values pass too. */
  std::wstring w = {(wchar_t)0x10A, (wchar_t)0x13C, (wchar_t)0x20AC, (wchar_t)0xFFFFFF0A, (wchar_t)0x7FFFFFFF};
  EXPECT_EQ(Output(Enc(w)), w);
}

TEST(CodecCEscape, DecodeSimpleEscapes)
{
  std::string in = "\\0\\a\\b\\f\\n\\r\\t\\v";
  std::string out("\0\x07\x08\x0C\x0A\x0D\x09\x0B", 8);
  CheckAllCapacities(Dec(in), out);
  CheckAllCapacities(Dec(W(in)), W(out));
}

TEST(CodecCEscape, DecodeOtherCharactersStandForThemselves)
{
  /* \q gives q; backslash, quotes, '?', digits and 'e' give themselves. */
  EXPECT_EQ(Output(Dec(std::string("\\q"))), "q");
  EXPECT_EQ(Output(Dec(std::string("\\\\\\\"\\'\\?\\1\\7\\e"))), "\\\"'?17e");
  EXPECT_EQ(Output(Dec(std::wstring(L"\\q\\\\"))), L"q\\");
  /* A wide character after the backslash is copied whole. */
  std::wstring w = {L'\\', (wchar_t)0x16E};
  EXPECT_EQ(Output(Dec(w)), std::wstring(1, (wchar_t)0x16E));
}

TEST(CodecCEscape, DecodeHex)
{
  EXPECT_EQ(Output(Dec(std::string("\\x41\\x3c\\xFF"))), "A<\xFF");
  /* Non-hex digits count 0. */
  EXPECT_EQ(Output(Dec(std::string("\\xg1\\xZZ"))), std::string("\x01\0", 2));
  /* \x4 at the end of the input gives x4. */
  CheckAllCapacities(Dec(std::string("\\x4")), std::string("x4"));
  CheckAllCapacities(Dec(W("\\x4")), std::wstring(L"x4"));
  /* A zero among the two digits: 'x', then the rest as it is. */
  EXPECT_EQ(Output(Dec(std::string("\\x4\0", 4))), std::string("x4\0", 3));
  EXPECT_EQ(Output(Dec(std::string("\\x\0"
                                   "4",
                                   4))),
            std::string("x\0"
                        "4",
                        3));
  /* Only two digits are taken. */
  EXPECT_EQ(Output(Dec(std::string("\\x414"))), "A4");
  /* Wide: digits by their low byte, the value as a code point 0-255. */
  std::wstring w = {L'\\', L'x', (wchar_t)0x146, L'f'};
  EXPECT_EQ(Output(Dec(w)), std::wstring(1, (wchar_t)0xFF));
}

TEST(CodecCEscape, DecodeNoOctal)
{
  /* \012 is 0x00 followed by '1' and '2'; the zero is stored and counted. */
  CheckAllCapacities(Dec(std::string("\\012")), std::string("\0"
                                                            "12",
                                                            3));
  CheckAllCapacities(Dec(W("\\012")), std::wstring(L"\0"
                                                   L"12",
                                                   3));
}

TEST(CodecCEscape, DecodeLoneBackslash)
{
  /* At the end, or before a zero element, a backslash is itself. */
  EXPECT_EQ(Output(Dec(std::string("ab\\"))), "ab\\");
  EXPECT_EQ(Output(Dec(std::string("\\\0n", 3))), std::string("\\\0n", 3));
  EXPECT_EQ(Output(Dec(std::wstring(L"\\"))), L"\\");
  /* The count decides where the input ends. */
  char buf[8];
  EXPECT_EQ(KivStrDecodeCPP(buf, 8, "a\\n", 2), 2u);
  EXPECT_STREQ(buf, "a\\");
  EXPECT_EQ(KivStrDecodeCPP(buf, 8, "\\x41", 3), 2u);
  EXPECT_STREQ(buf, "x4");
}

TEST(CodecCEscape, NullAndEmpty)
{
  char buf[2] = {'x', 'x'};
  EXPECT_EQ(KivStrEncodeCPP(buf, 0, nullptr, 3), 1u);
  EXPECT_EQ(buf[0], 'x');
  EXPECT_EQ(KivStrEncodeCPP(buf, 2, nullptr, 3), 0u);
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(buf[1], 'x');
  buf[0] = 'x';
  EXPECT_EQ(KivStrDecodeCPP(buf, 1, "", (unsigned)-1), 0u);
  EXPECT_EQ(buf[0], '\0');
  wchar_t wbuf[2] = {L'x', L'x'};
  EXPECT_EQ(KivStrDecodeCPP(wbuf, 2, nullptr, (unsigned)-1), 0u);
  EXPECT_EQ(wbuf[0], 0);
  EXPECT_EQ(KivStrEncodeCPP(wbuf, 0, L"\n", (unsigned)-1), 3u);
  /* -1 stops at the terminator. */
  EXPECT_EQ(Output(Enc(std::string("a\tb"))), "a\\tb");
  EXPECT_EQ(KivStrEncodeCPP(buf, 0, "a\tb", (unsigned)-1), 5u);
}

TEST(CodecCEscape, RoundTripRandomBytes)
{
  /* Encoding then decoding gives every byte sequence back, zero bytes
     * included (with an explicit count). */
  std::mt19937 rng(31);
  for (int iter = 0; iter < 300; iter++)
  {
    std::string bytes = RandomBytes(rng, rng() % 200);
    std::string enc = Output(Enc(bytes));
    EXPECT_EQ(enc.find('<'), std::string::npos);
    EXPECT_EQ(enc.find('>'), std::string::npos);
    EXPECT_EQ(Output(Dec(enc)), bytes);
  }
}

TEST(CodecCEscape, RoundTripRandomCodePoints)
{
  std::mt19937 rng(32);
  for (int iter = 0; iter < 300; iter++)
  {
    std::wstring s;
    size_t n = rng() % 100;
    for (size_t k = 0; k < n; k++)
      s.push_back(rng() % 2 ? (wchar_t)(rng() & 0x7F) : (wchar_t)rng());
    EXPECT_EQ(Output(Dec(Output(Enc(s)))), s);
  }
}

TEST(CodecCEscape, NotInverses)
{
  /* Decoding accepts forms that encoding never writes. */
  EXPECT_EQ(Output(Enc(Output(Dec(std::string("\\a"))))), "\\x07");
  EXPECT_EQ(Output(Enc(Output(Dec(std::string("\\0"))))), "\\x00");
  EXPECT_EQ(Output(Enc(Output(Dec(std::string("\\012"))))), "\\x0012");
  EXPECT_EQ(Output(Enc(Output(Dec(std::string("\\q\\x3c"))))), "q\\x3C");
  EXPECT_EQ(Output(Enc(Output(Dec(std::string("\\x4"))))), "x4");
}
