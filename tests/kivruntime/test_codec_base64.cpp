/*
 * Base64 codec (KivStrUUEncode / KivStrUUDecode) and its tables.
 */
#include "kiv_codec_checks.h"

#include <cstring>

using namespace codec_test;

namespace {

template <typename T>
Writer<T> Enc(const std::string &bytes, int lineBreaks)
{
  return [bytes, lineBreaks](T *d, unsigned c) {
    return KivStrUUEncode(d, c, bytes.data(), (unsigned)bytes.size(), lineBreaks);
  };
}

/* Decodes with ample room and checks that nothing past the result moved. */
template <typename S>
std::string Decode(const S *src, unsigned n)
{
  std::vector<unsigned char> out(4096, Guard<unsigned char>());
  unsigned r = KivStrUUDecode(out.data(), (unsigned)out.size() - 8, src, n);
  EXPECT_LE(r, out.size() - 8);
  if (r > out.size() - 8)
    return std::string();
  for (size_t k = r; k < out.size(); k++)
    EXPECT_EQ(out[k], Guard<unsigned char>()) << "at " << k;
  return std::string((const char *)out.data(), r);
}

std::string Decode(const std::string &s)
{
  return Decode(s.data(), (unsigned)s.size());
}
std::string Decode(const std::wstring &s)
{
  return Decode(s.data(), (unsigned)s.size());
}

/* Item ends of an encoding without line breaks: every four characters. */
std::vector<size_t> Groups(size_t len)
{
  std::vector<size_t> b;
  for (size_t k = 0; k <= len; k += 4)
    b.push_back(k);
  return b;
}

/* A plain, byte-at-a-time reference encoder written from the definition. */
std::string Reference(const std::string &in, int lineBreaks)
{
  const char *a = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  int groups = 0;
  size_t i = 0;
  while (i < in.size())
  {
    unsigned b0 = (unsigned char)in[i];
    unsigned b1 = i + 1 < in.size() ? (unsigned char)in[i + 1] : 0;
    unsigned b2 = i + 2 < in.size() ? (unsigned char)in[i + 2] : 0;
    out += a[b0 >> 2];
    out += a[((b0 & 3) << 4) | (b1 >> 4)];
    out += i + 1 < in.size() ? a[((b1 & 15) << 2) | (b2 >> 6)] : '=';
    out += i + 2 < in.size() ? a[b2 & 63] : '=';
    i += 3;
    if (lineBreaks && ++groups == 16)
    {
      out += "\r\n";
      groups = 0;
    }
  }
  return out;
}

} // namespace

TEST(CodecBase64, Tables)
{
  EXPECT_STREQ(s_acUUEncode, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
  EXPECT_EQ(strlen(s_acUUEncode), 64u);
  int valid = 0;
  for (int b = 0; b < 256; b++)
  {
    const char *at = b ? strchr(s_acUUEncode, b) : nullptr;
    if (at)
    {
      EXPECT_EQ(s_abUUDecode[b], at - s_acUUEncode) << b;
      valid++;
    }
    else
    {
      EXPECT_EQ(s_abUUDecode[b], 0x40) << b;
    }
  }
  EXPECT_EQ(valid, 64);
  EXPECT_EQ(s_abUUDecode[(unsigned char)'='], 0x40);
}

TEST(CodecBase64, EncodeExamplesBothOverloads)
{
  CheckAllCapacities(Enc<char>("Man", 0), std::string("TWFu"), Groups(4));
  CheckAllCapacities(Enc<char>("Ma", 0), std::string("TWE="), Groups(4));
  CheckAllCapacities(Enc<char>("M", 0), std::string("TQ=="), Groups(4));
  CheckAllCapacities(Enc<wchar_t>("Man", 0), std::wstring(L"TWFu"), Groups(4));
  CheckAllCapacities(Enc<wchar_t>("Ma", 1), std::wstring(L"TWE="), Groups(4));
  CheckAllCapacities(Enc<wchar_t>("M", 1), std::wstring(L"TQ=="), Groups(4));
  CheckAllCapacities(Enc<char>("ManMa", 0), std::string("TWFuTWE="), Groups(8));
  CheckAllCapacities(Enc<char>("", 1), std::string(""));
  CheckAllCapacities(Enc<wchar_t>(std::string("\0\0\0\xFF\xFF\xFF", 6), 0), std::wstring(L"AAAA////"), Groups(8));
}

TEST(CodecBase64, LineBreaks)
{
  std::string b48(48, 'x');
  std::string line = Reference(b48, 0);
  ASSERT_EQ(line.size(), 64u);
  /* 48 bytes: 64 characters, then CR LF; result 66. */
  std::vector<size_t> items = Groups(64);
  items.push_back(66);
  CheckAllCapacities(Enc<char>(b48, 1), line + "\r\n", items);
  CheckAllCapacities(Enc<wchar_t>(b48, 1), W(line + "\r\n"), items);
  /* Without line breaks: 64 characters only. */
  CheckAllCapacities(Enc<char>(b48, 0), line, Groups(64));

  /* The CR LF does not fit with one place left: 64 characters and 67. */
  std::vector<char> buf(80, Guard<char>());
  EXPECT_EQ(KivStrUUEncode(buf.data(), 66, b48.data(), 48, 1), 67u);
  EXPECT_EQ(std::string(buf.data()), line);
  EXPECT_EQ(buf[65], Guard<char>());

  /* A final padded group that is the 16th of its line ends with CR LF. */
  EXPECT_EQ(Output(Enc<char>(std::string(47, 'x'), 1)), Reference(std::string(47, 'x'), 1));
  EXPECT_EQ(Output(Enc<char>(std::string(47, 'x'), 1)).substr(60), "eHg=\r\n");
  EXPECT_EQ(Output(Enc<char>(std::string(46, 'x'), 1)).substr(60), "eA==\r\n");
  EXPECT_EQ(KivStrUUEncode((char *)nullptr, 0, std::string(47, 'x').data(), 47, 1), 67u);
  EXPECT_EQ(KivStrUUEncode((wchar_t *)nullptr, 0, std::string(46, 'x').data(), 46, 1), 67u);
  /* ... and one that is not, does not. */
  std::string e49 = Output(Enc<char>(std::string(49, 'x'), 1));
  EXPECT_EQ(e49.size(), 70u);
  EXPECT_EQ(e49.substr(64), "\r\neA==");
  /* Two full lines. */
  std::string e96 = Output(Enc<char>(std::string(96, 'x'), 1));
  EXPECT_EQ(e96.size(), 132u);
  EXPECT_EQ(e96.substr(64, 2), "\r\n");
  EXPECT_EQ(e96.substr(130), "\r\n");
}

TEST(CodecBase64, EncodeSourceConventions)
{
  char buf[16];
  EXPECT_EQ(KivStrUUEncode(buf, 16, nullptr, 5, 1), 0u);
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(KivStrUUEncode(buf, 16, "Man", (unsigned)-1, 0), 4u);
  EXPECT_STREQ(buf, "TWFu");
  EXPECT_EQ(KivStrUUEncode((char *)nullptr, 0, "Man", 3, 0), 5u);
}

TEST(CodecBase64, MatchesReferenceAtEveryLength)
{
  std::mt19937 rng(11);
  for (size_t n = 0; n < 200; n++)
  {
    std::string bytes = RandomBytes(rng, n);
    for (int lb = 0; lb < 2; lb++)
    {
      std::string ref = Reference(bytes, lb);
      EXPECT_EQ(Output(Enc<char>(bytes, lb)), ref) << n;
      EXPECT_EQ(Output(Enc<wchar_t>(bytes, lb)), W(ref)) << n;
    }
  }
}

TEST(CodecBase64, EveryCapacityWithLineBreaks)
{
  /* Lengths around line ends, and every capacity for each: groups and
     * line breaks are written whole, the count covers the whole output. */
  std::mt19937 rng(12);
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 10; n++)
    lengths.push_back(n);
  for (size_t n = 44; n <= 52; n++)
    lengths.push_back(n);
  for (size_t n = 92; n <= 100; n++)
    lengths.push_back(n);
  lengths.push_back(150);
  for (size_t n : lengths)
  {
    std::string bytes = RandomBytes(rng, n);
    for (int lb = 0; lb < 2; lb++)
    {
      std::string ref = Reference(bytes, lb);
      std::vector<size_t> items = {0};
      for (size_t pos = 0; pos < ref.size();)
      {
        pos += ref[pos] == '\r' ? 2 : 4;
        items.push_back(pos);
      }
      SCOPED_TRACE("length " + std::to_string(n) + " line breaks " + std::to_string(lb));
      CheckAllCapacities(Enc<char>(bytes, lb), ref, items);
      CheckAllCapacities(Enc<wchar_t>(bytes, lb), W(ref), items);
    }
  }
}

TEST(CodecBase64, DecodeEveryCapacity)
{
  std::mt19937 rng(13);
  for (size_t n : {0, 1, 2, 3, 4, 5, 47, 48, 49, 100})
  {
    std::string bytes = RandomBytes(rng, n);
    std::string text = Reference(bytes, 1);
    std::wstring wtext = W(text);
    for (unsigned cap = 0; cap <= n + 3; cap++)
    {
      std::vector<unsigned char> out(n + 8, Guard<unsigned char>());
      ASSERT_EQ(KivStrUUDecode(out.data(), cap, text.data(), (unsigned)text.size()), n);
      std::vector<unsigned char> wout(n + 8, Guard<unsigned char>());
      ASSERT_EQ(KivStrUUDecode(wout.data(), cap, wtext.data(), (unsigned)-1), n);
      for (size_t k = 0; k < out.size(); k++)
      {
        unsigned char want = k < cap && k < n ? (unsigned char)bytes[k] : Guard<unsigned char>();
        ASSERT_EQ(out[k], want) << "length " << n << " capacity " << cap << " at " << k;
        ASSERT_EQ(wout[k], want) << "length " << n << " capacity " << cap << " at " << k;
      }
    }
  }
}

TEST(CodecBase64, DecodeExamples)
{
  /* "TWFu\r\nTQ==" gives the 4 bytes "ManM". */
  EXPECT_EQ(Decode(std::string("TWFu\r\nTQ==")), "ManM");
  EXPECT_EQ(Decode(std::wstring(L"TWFu\r\nTQ==")), "ManM");
  EXPECT_EQ(KivStrUUDecode(nullptr, 0, "TWFu\r\nTQ==", (unsigned)-1), 4u);
  /* "TW Fu" stops after "M": the space lies inside a group. */
  EXPECT_EQ(Decode(std::string("TW Fu")), "M");
  EXPECT_EQ(Decode(std::wstring(L"TW Fu")), "M");
  EXPECT_EQ(Decode(std::string("TWE=")), "Ma");
  EXPECT_EQ(Decode(std::string("TQ==")), "M");
  EXPECT_EQ(Decode(std::string("TQ")), "M");
  EXPECT_EQ(Decode(std::string("TWE")), "Ma");
  EXPECT_EQ(Decode(std::string("T")), "");
  EXPECT_EQ(Decode(std::string("")), "");
  EXPECT_EQ(Decode((const char *)nullptr, (unsigned)-1), "");
  EXPECT_EQ(Decode((const wchar_t *)nullptr, 8), "");
  /* Decoding stops for good at a padded group or a foreign character. */
  EXPECT_EQ(Decode(std::string("TQ==TWFu")), "M");
  EXPECT_EQ(Decode(std::string("TWFu*WFu")), "Man");
  EXPECT_EQ(Decode(std::string("TWFuT*Fu")), "Man");
}

TEST(CodecBase64, DecodeSkipsOnlyBetweenGroups)
{
  /* Space, tab, CR, LF and other controls before a group are skipped. */
  EXPECT_EQ(Decode(std::string(" \t\r\n\x01TWFu \x1FTWFu")), "ManMan");
  /* A narrow byte is read as signed: 0x80-0xFF count as blanks too. */
  EXPECT_EQ(Decode(std::string("\xC3\xA9TWFu\xFF\x80TWFu")), "ManMan");
  /* A wide element is read as signed 32-bit: negative values are
     * skipped, U+00A0 is not (and stops decoding as a foreign character). */
  std::wstring neg = {(wchar_t)0x80000000, (wchar_t)0xFFFFFFFF, L'T', L'W', L'F', L'u'};
  EXPECT_EQ(Decode(neg), "Man");
  std::wstring nbsp = {L'T', L'W', L'F', L'u', (wchar_t)0xA0, L'T', L'W', L'F', L'u'};
  EXPECT_EQ(Decode(nbsp), "Man");
  /* Inside a group nothing is skipped. */
  EXPECT_EQ(Decode(std::string("TWF\nu")), "Ma");
  EXPECT_EQ(Decode(std::string("TWFu TWF u")), "ManMa");
  /* A wide element is looked up by its low byte: U+0154 reads as 'T'. */
  std::wstring low = {(wchar_t)0x154, L'W', L'F', L'u'};
  EXPECT_EQ(Decode(low), "Man");
}

TEST(CodecBase64, DecodeZeroEnds)
{
  /* A zero element ends decoding, between groups or inside one, even
     * inside an explicit count. */
  EXPECT_EQ(Decode(std::string("TWFu\0TWFu", 9)), "Man");
  EXPECT_EQ(Decode(std::string(" \0TWFu", 6)), "");
  EXPECT_EQ(Decode(std::string("TW\0u", 4)), "M");
  EXPECT_EQ(Decode(std::wstring(L"TWF\0", 4)), "Ma");
  /* The count ends it too. */
  EXPECT_EQ(KivStrUUDecode(nullptr, 0, "TWFuTWFu", 6), 4u);
}

TEST(CodecBase64, DecodeCapacity)
{
  /* The first cap bytes are stored, the rest counted; nothing is
     * terminated and nothing past cap is touched. */
  const char *src = "TWFuTWFuTQ==";
  for (unsigned cap = 0; cap <= 9; cap++)
  {
    unsigned char out[16];
    std::fill(out, out + 16, Guard<unsigned char>());
    EXPECT_EQ(KivStrUUDecode(out, cap, src, (unsigned)-1), 7u) << cap;
    for (unsigned k = 0; k < 16; k++)
    {
      if (k < cap && k < 7)
        EXPECT_EQ(out[k], (unsigned char)"ManManM"[k]) << cap << "/" << k;
      else
        EXPECT_EQ(out[k], Guard<unsigned char>()) << cap << "/" << k;
    }
  }
  EXPECT_EQ(KivStrUUDecode(nullptr, 0, L"TWFuTWFuTQ==", (unsigned)-1), 7u);
}

TEST(CodecBase64, RoundTripRandomBytes)
{
  std::mt19937 rng(2024);
  for (int iter = 0; iter < 300; iter++)
  {
    std::string bytes = RandomBytes(rng, rng() % 400);
    for (int lb = 0; lb < 2; lb++)
    {
      std::string enc = Output(Enc<char>(bytes, lb));
      EXPECT_EQ(Decode(enc), bytes);
      std::wstring wenc = Output(Enc<wchar_t>(bytes, lb));
      EXPECT_EQ(Decode(wenc), bytes);
    }
  }
}

TEST(CodecBase64, NotInverses)
{
  /* Blanks between groups vanish, and anything after padding is lost. */
  EXPECT_EQ(Output(Enc<char>(Decode(std::string(" TWFu\tTWFu")), 0)), "TWFuTWFu");
  EXPECT_EQ(Output(Enc<char>(Decode(std::string("TQ==TWFu")), 0)), "TQ==");
  /* Unused low bits of a padded group are dropped. */
  EXPECT_EQ(Output(Enc<char>(Decode(std::string("TR==")), 0)), "TQ==");
}

TEST(CodecBase64, NullDestinationOnlyMeasures)
{
  EXPECT_EQ(KivStrUUEncode((char *)nullptr, 100, "Man", 3, 0), 5u);
  EXPECT_EQ(KivStrUUEncode((wchar_t *)nullptr, 100, "Ma", 2, 1), 5u);
  EXPECT_EQ(KivStrUUDecode(nullptr, 100, "TWFuTQ==", (unsigned)-1), 4u);
  EXPECT_EQ(KivStrUUDecode(nullptr, 100, L"TWFuTQ==", (unsigned)-1), 4u);
}
