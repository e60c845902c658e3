/*
 * XML and HTML entity codecs, narrow and wide.
 */
#include "kiv_codec_checks.h"

using namespace codec_test;

namespace {

typedef unsigned int (*NarrowFn)(char *, unsigned int, const char *, unsigned int);
typedef unsigned int (*WideFn)(wchar_t *, unsigned int, const wchar_t *, unsigned int);

Writer<char> N(NarrowFn fn, const std::string &s)
{
  return [fn, s](char *d, unsigned c) { return fn(d, c, s.data(), (unsigned)s.size()); };
}

Writer<wchar_t> Wd(WideFn fn, const std::wstring &s)
{
  return [fn, s](wchar_t *d, unsigned c) { return fn(d, c, s.data(), (unsigned)s.size()); };
}

/* Checks one function in both overloads against the same ASCII texts. */
void Both(NarrowFn nf, WideFn wf, const std::string &in, const std::string &out,
          const std::vector<size_t> &items = {})
{
  SCOPED_TRACE("input \"" + in + "\"");
  CheckAllCapacities(N(nf, in), out, items);
  CheckAllCapacities(Wd(wf, W(in)), W(out), items);
}

NarrowFn EncX = KivStrEncodeXML, DecX = KivStrDecodeXML, EncH = KivStrEncodeHTML, DecH = KivStrDecodeHTML;
WideFn WEncX = KivStrEncodeXML, WDecX = KivStrDecodeXML, WEncH = KivStrEncodeHTML, WDecH = KivStrDecodeHTML;

} // namespace

TEST(CodecMarkup, EncodeXMLExample)
{
  /* Item ends: "&lt;" "a" " " "h" "r" "e" "f" "=" "&apos;" "x" "&apos;" "&gt;". */
  Both(EncX, WEncX, "<a href='x'>", "&lt;a href=&apos;x&apos;&gt;",
       {0, 4, 5, 6, 7, 8, 9, 10, 11, 17, 18, 24, 28});
}

TEST(CodecMarkup, EncodeHTMLKeepsApostrophes)
{
  Both(EncH, WEncH, "<a href='x'>", "&lt;a href='x'&gt;", {0, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 18});
}

TEST(CodecMarkup, EncodeEveryEntity)
{
  Both(EncX, WEncX, "\"&'<>", "&quot;&amp;&apos;&lt;&gt;", {0, 6, 11, 17, 21, 25});
  Both(EncH, WEncH, "\"&'<>", "&quot;&amp;'&lt;&gt;", {0, 6, 11, 12, 16, 20});
  /* An entity that does not fit is dropped whole: capacity 4 leaves room
     * for 3, "&lt;" needs 4. */
  char buf[6];
  std::fill(buf, buf + 6, 'x');
  EXPECT_EQ(KivStrEncodeXML(buf, 4, "<a", (unsigned)-1), 6u);
  EXPECT_EQ(std::string(buf, 6), std::string("\0xxxxx", 6));
}

TEST(CodecMarkup, EncodeLeavesEverythingElse)
{
  /* Control characters, high bytes and zero bytes pass; no numeric
     * references are ever produced. */
  std::string s("\x01\t\n\x7F\xC3\xA9\xFF\0z", 9);
  EXPECT_EQ(Output(N(EncX, s)), s);
  EXPECT_EQ(Output(N(EncH, s)), s);
  /* Wide code points are compared by their whole value: U+013C has the
     * low byte of '<' and is not escaped. */
  std::wstring w = {(wchar_t)0x13C, (wchar_t)0x126, (wchar_t)0x20AC, (wchar_t)0xFFFFFF3C, L'<'};
  std::wstring we = w.substr(0, 4) + L"&lt;";
  EXPECT_EQ(Output(Wd(WEncX, w)), we);
  EXPECT_EQ(Output(Wd(WEncH, w)), we);
}

TEST(CodecMarkup, DecodeOnePassAndExactNames)
{
  /* "&amp;lt;" gives "&lt;": one pass only. */
  Both(DecX, WDecX, "&amp;lt;", "&lt;");
  Both(DecH, WDecH, "&amp;lt;", "&lt;");
  /* Other cases and numeric references are left as they are. */
  Both(DecX, WDecX, "&AMP;", "&AMP;");
  Both(DecX, WDecX, "&#38;", "&#38;");
  Both(DecH, WDecH, "&Lt;&#x26;", "&Lt;&#x26;");
}

TEST(CodecMarkup, DecodeEveryEntity)
{
  Both(DecX, WDecX, "&quot;&amp;&apos;&lt;&gt;", "\"&'<>");
  /* HTML has no apostrophe entity. */
  Both(DecH, WDecH, "&quot;&amp;&apos;&lt;&gt;", "\"&&apos;<>");
  Both(DecX, WDecX, "a&lt;b&gt;c", "a<b>c");
}

TEST(CodecMarkup, DecodeNeedsTheWholeEntityInsideTheCount)
{
  /* With the count cutting an entity, the '&' is copied and the rest
     * follows as plain text. */
  char buf[16];
  EXPECT_EQ(KivStrDecodeXML(buf, 16, "&lt;", 3), 3u);
  EXPECT_STREQ(buf, "&lt");
  EXPECT_EQ(KivStrDecodeXML(buf, 16, "&amp;", 4), 4u);
  EXPECT_STREQ(buf, "&amp");
  EXPECT_EQ(KivStrDecodeXML(buf, 16, "&quot;", 5), 5u);
  EXPECT_STREQ(buf, "&quot");
  EXPECT_EQ(KivStrDecodeXML(buf, 16, "&apos;", 6), 1u);
  EXPECT_STREQ(buf, "'");
  EXPECT_EQ(KivStrDecodeHTML(buf, 16, "&", (unsigned)-1), 1u);
  EXPECT_STREQ(buf, "&");
  /* A zero element inside the count is copied like any other. */
  EXPECT_EQ(KivStrDecodeXML(buf, 16, "&l\0t;", 5), 5u);
  EXPECT_EQ(std::string(buf, 6), std::string("&l\0t;\0", 6));
  /* Wide elements must match by whole value. */
  std::wstring w = {L'&', (wchar_t)0x16C, L't', L';'};
  EXPECT_EQ(Output(Wd(WDecX, w)), w);
}

TEST(CodecMarkup, NullAndEmptySources)
{
  char buf[2] = {'x', 'x'};
  wchar_t wbuf[2] = {L'x', L'x'};
  for (NarrowFn f : {EncX, DecX, EncH, DecH})
  {
    EXPECT_EQ(f(buf, 0, nullptr, 4), 1u);
    EXPECT_EQ(buf[0], 'x');
    EXPECT_EQ(f(buf, 2, nullptr, 4), 0u);
    EXPECT_EQ(buf[0], '\0');
    buf[0] = 'x';
    EXPECT_EQ(f(buf, 1, "", (unsigned)-1), 0u);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(buf[1], 'x');
    buf[0] = 'x';
  }
  for (WideFn f : {WEncX, WDecX, WEncH, WDecH})
  {
    EXPECT_EQ(f(wbuf, 2, nullptr, (unsigned)-1), 0u);
    EXPECT_EQ(wbuf[0], 0);
    EXPECT_EQ(wbuf[1], L'x');
    wbuf[0] = L'x';
  }
}

TEST(CodecMarkup, RoundTripRandom)
{
  /* Encoding then decoding gives the input back, for XML and for HTML. */
  std::mt19937 rng(5);
  const char pool[] = "<>&'\"a;# \x01\xE9";
  for (int iter = 0; iter < 200; iter++)
  {
    std::string s;
    size_t n = rng() % 80;
    for (size_t k = 0; k < n; k++)
      s.push_back(rng() % 3 ? pool[rng() % (sizeof pool - 1)] : (char)(rng() & 0xFF));
    EXPECT_EQ(Output(N(DecX, Output(N(EncX, s)))), s);
    EXPECT_EQ(Output(N(DecH, Output(N(EncH, s)))), s);
    std::wstring w;
    for (unsigned char c : s)
      w.push_back(c & 1 ? (wchar_t)c : (wchar_t)(c | 0x100));
    EXPECT_EQ(Output(Wd(WDecX, Output(Wd(WEncX, w)))), w);
    EXPECT_EQ(Output(Wd(WDecH, Output(Wd(WEncH, w)))), w);
  }
}

TEST(CodecMarkup, NotInverses)
{
  /* Text that already holds entities is not kept as it was. */
  EXPECT_EQ(Output(N(EncX, Output(N(DecX, std::string("&lt;&#38;"))))), "&lt;&amp;#38;");
  /* HTML-encoded text decoded as XML and back changes the apostrophe. */
  EXPECT_EQ(Output(N(EncX, Output(N(DecH, std::string("'"))))), "&apos;");
}
