/*
 * Hexadecimal codec: all-or-nothing encoding, binary decoding, round trips.
 */
#include "kiv_codec_checks.h"

#include <cstring>

using namespace codec_test;

namespace {

const unsigned char kTwo[] = {0xAB, 0x01};

template <typename T>
void CheckEncodeAllOrNothing()
{
  /* 2 bytes with capacity 4: not even a terminator is written. */
  T buf[8];
  std::fill(buf, buf + 8, Guard<T>());
  EXPECT_EQ(KivStrEncodeHex(buf, 4, kTwo, 2), 5u);
  for (int k = 0; k < 8; k++)
    EXPECT_EQ(buf[k], Guard<T>()) << k;

  /* Capacity 0 (null destination allowed) and capacity 1 alike. */
  EXPECT_EQ(KivStrEncodeHex((T *)nullptr, 0, kTwo, 2), 5u);
  EXPECT_EQ(KivStrEncodeHex(buf, 1, kTwo, 2), 5u);
  EXPECT_EQ(buf[0], Guard<T>());

  /* Capacity 5: four digits and a terminator. */
  EXPECT_EQ(KivStrEncodeHex(buf, 5, kTwo, 2), 4u);
  EXPECT_EQ(std::basic_string<T>(buf, 5), A<T>(std::string("AB01\0", 5)));
  EXPECT_EQ(buf[5], Guard<T>());
}

} // namespace

TEST(CodecHex, EncodeAllOrNothingNarrow)
{
  CheckEncodeAllOrNothing<char>();
}
TEST(CodecHex, EncodeAllOrNothingWide)
{
  CheckEncodeAllOrNothing<wchar_t>();
}

TEST(CodecHex, EncodeEveryByteUpperCase)
{
  unsigned char all[256];
  for (int k = 0; k < 256; k++)
    all[k] = (unsigned char)k;
  std::vector<char> out(513, Guard<char>());
  EXPECT_EQ(KivStrEncodeHex(out.data(), 513, all, 256), 512u);
  std::string expect;
  const char *digits = "0123456789ABCDEF";
  for (int k = 0; k < 256; k++)
  {
    expect.push_back(digits[k >> 4]);
    expect.push_back(digits[k & 15]);
  }
  EXPECT_EQ(std::string(out.data()), expect);

  std::vector<wchar_t> wout(513, Guard<wchar_t>());
  EXPECT_EQ(KivStrEncodeHex(wout.data(), 513, all, 256), 512u);
  EXPECT_EQ(std::wstring(wout.data()), W(expect));
}

TEST(CodecHex, EncodeEmptyNullAndTerminatedSource)
{
  char buf[8] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
  /* Empty input: capacity 0 gives 1, capacity 1 a lone terminator. */
  EXPECT_EQ(KivStrEncodeHex(buf, 0, kTwo, 0), 1u);
  EXPECT_EQ(buf[0], 'x');
  EXPECT_EQ(KivStrEncodeHex(buf, 1, kTwo, 0), 0u);
  EXPECT_EQ(buf[0], '\0');
  EXPECT_EQ(buf[1], 'x');
  /* A null source is the empty string, whatever the count. */
  EXPECT_EQ(KivStrEncodeHex(buf, 8, nullptr, 7), 0u);
  EXPECT_EQ(buf[0], '\0');
  /* -1 means up to the terminating zero. */
  const unsigned char text[] = "Hi";
  wchar_t wbuf[8];
  EXPECT_EQ(KivStrEncodeHex(wbuf, 8, text, (unsigned)-1), 4u);
  EXPECT_EQ(std::wstring(wbuf), L"4869");
  /* An explicit count takes zero bytes like any other. */
  const unsigned char z[] = {0x00, 0x10};
  EXPECT_EQ(KivStrEncodeHex(buf, 5, z, 2), 4u);
  EXPECT_STREQ(buf, "0010");
  EXPECT_EQ(buf[5], 'x');
}

TEST(CodecHex, EncodeHugeCountDoesNotWrap)
{
  /* 2n does not fit in 32 bits: the answer is "too small", nothing is
     * read and nothing is written. */
  char buf[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(KivStrEncodeHex(buf, 4, kTwo, 0x80000000u), 1u);
  EXPECT_EQ(buf[0], 'x');
}

TEST(CodecHex, DecodeNarrow)
{
  unsigned char out[8];
  std::fill(out, out + 8, Guard<unsigned char>());
  EXPECT_EQ(KivStrDecodeHex(out, 8, "ab01Ff", (unsigned)-1), 3u);
  EXPECT_EQ(out[0], 0xAB);
  EXPECT_EQ(out[1], 0x01);
  EXPECT_EQ(out[2], 0xFF);
  EXPECT_EQ(out[3], Guard<unsigned char>()) << "binary output is not terminated";

  /* An odd last digit is ignored; non-hex digits count 0. */
  std::fill(out, out + 8, Guard<unsigned char>());
  EXPECT_EQ(KivStrDecodeHex(out, 8, "G1zZ7", (unsigned)-1), 2u);
  EXPECT_EQ(out[0], 0x01);
  EXPECT_EQ(out[1], 0x00);
  EXPECT_EQ(out[2], Guard<unsigned char>());

  /* A pair holding a zero element stops early, even inside the count. */
  std::fill(out, out + 8, Guard<unsigned char>());
  EXPECT_EQ(KivStrDecodeHex(out, 8, "41\0"
                                    "042",
                            6),
            1u);
  EXPECT_EQ(out[0], 0x41);
  EXPECT_EQ(out[1], Guard<unsigned char>());
  EXPECT_EQ(KivStrDecodeHex(out, 8, "414\0"
                                    "42",
                            6),
            1u);

  /* Null source and empty source. */
  EXPECT_EQ(KivStrDecodeHex(out, 8, (const char *)nullptr, 4), 0u);
  EXPECT_EQ(KivStrDecodeHex(out, 8, "", (unsigned)-1), 0u);
}

TEST(CodecHex, DecodeCapacityCountsTheRest)
{
  for (unsigned cap = 0; cap <= 5; cap++)
  {
    unsigned char out[8];
    std::fill(out, out + 8, Guard<unsigned char>());
    EXPECT_EQ(KivStrDecodeHex(cap ? out : nullptr, cap, "00112233", 8), 4u);
    if (!cap)
    {
      EXPECT_EQ(KivStrDecodeHex(out, 0, "00112233", 8), 4u);
    }
    for (unsigned k = 0; k < 8; k++)
    {
      if (k < cap && k < 4)
        EXPECT_EQ(out[k], (unsigned char)(k * 0x11)) << cap << "/" << k;
      else
        EXPECT_EQ(out[k], Guard<unsigned char>()) << cap << "/" << k;
    }
  }
}

TEST(CodecHex, DecodeWideUsesLowByte)
{
  unsigned char out[4];
  std::fill(out, out + 4, Guard<unsigned char>());
  /* U+0141 and U+0142 have the low bytes 'A' and 'B'. */
  const wchar_t src[] = {0x141, 0x142, L'c', L'9', 0};
  EXPECT_EQ(KivStrDecodeHex(out, 4, src, (unsigned)-1), 2u);
  EXPECT_EQ(out[0], 0xAB);
  EXPECT_EQ(out[1], 0xC9);
  EXPECT_EQ(out[2], Guard<unsigned char>());
  /* U+0100 is not zero: it only counts as a non-hex digit. */
  const wchar_t z[] = {0x100, L'5', 0, L'5'};
  EXPECT_EQ(KivStrDecodeHex(out, 4, z, 4), 1u);
  EXPECT_EQ(out[0], 0x05);
  EXPECT_EQ(KivStrDecodeHex(out, 4, (const wchar_t *)nullptr, (unsigned)-1), 0u);
}

TEST(CodecHex, RoundTripRandomBytes)
{
  std::mt19937 rng(1234);
  for (int iter = 0; iter < 200; iter++)
  {
    std::string bytes = RandomBytes(rng, rng() % 300);
    const unsigned char *b = (const unsigned char *)bytes.data();
    unsigned n = (unsigned)bytes.size();

    std::vector<char> text(2 * n + 1);
    ASSERT_EQ(KivStrEncodeHex(text.data(), 2 * n + 1, b, n), 2 * n);
    std::vector<unsigned char> back(n + 1, Guard<unsigned char>());
    ASSERT_EQ(KivStrDecodeHex(back.data(), n, text.data(), (unsigned)-1), n);
    EXPECT_EQ(std::string((const char *)back.data(), n), bytes);
    EXPECT_EQ(back[n], Guard<unsigned char>());

    std::vector<wchar_t> wtext(2 * n + 1);
    ASSERT_EQ(KivStrEncodeHex(wtext.data(), 2 * n + 1, b, n), 2 * n);
    std::fill(back.begin(), back.end(), Guard<unsigned char>());
    ASSERT_EQ(KivStrDecodeHex(back.data(), n, wtext.data(), 2 * n), n);
    EXPECT_EQ(std::string((const char *)back.data(), n), bytes);
  }
}

TEST(CodecHex, LowerCaseInputIsNotReproduced)
{
  /* Decoding accepts lower case; encoding always writes upper case. */
  unsigned char b[2];
  ASSERT_EQ(KivStrDecodeHex(b, 2, "beef", 4), 2u);
  char text[5];
  ASSERT_EQ(KivStrEncodeHex(text, 5, b, 2), 4u);
  EXPECT_STREQ(text, "BEEF");
}

TEST(CodecHex, NullDestinationWritesNothing)
{
  /* A null destination is too small at any capacity. */
  EXPECT_EQ(KivStrEncodeHex((char *)nullptr, 100, kTwo, 2), 5u);
  EXPECT_EQ(KivStrEncodeHex((wchar_t *)nullptr, 100, kTwo, 2), 5u);
  EXPECT_EQ(KivStrDecodeHex(nullptr, 100, "4142", (unsigned)-1), 2u);
  EXPECT_EQ(KivStrDecodeHex(nullptr, 100, L"4142", (unsigned)-1), 2u);
}
