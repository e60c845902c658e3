/*
 * test_records_payload.cpp - the printer-name payload built from UTF-8.
 */
#include <stdlib.h>

#include <string>

#include <gtest/gtest.h>

#include "name_payload.h"
#include "records_wire.h"

static std::string build(const char *name, uint32_t *nameLen)
{
  unsigned char *p = name_payload_build(name, nameLen);
  if (!p)
    return "<null>";
  std::string s((const char *)p, *nameLen);
  free(p);
  return s;
}

TEST(NamePayload, TwoCharacterNameFromTheFormat)
{
  uint32_t n = 0;
  EXPECT_EQ(build("P1", &n), std::string("\x50\x00\x31\x00\x00\x00", 6));
  EXPECT_EQ(n, 6u);
}

TEST(NamePayload, EmptyAndNullNamesAreJustTheTerminator)
{
  uint32_t n = 99;
  EXPECT_EQ(build("", &n), std::string("\0\0", 2));
  EXPECT_EQ(n, 2u);
  n = 99;
  EXPECT_EQ(build(NULL, &n), std::string("\0\0", 2));
  EXPECT_EQ(n, 2u);
}

TEST(NamePayload, LengthComesFromTheUtf8ByteCount)
{
  EXPECT_EQ(name_payload_length(0), 2u);
  EXPECT_EQ(name_payload_length(6), 14u);
  EXPECT_EQ(name_payload_length(1023), 2048u);
}

TEST(NamePayload, MultiByteNamesAreZeroFilledAfterTheTerminator)
{
  uint32_t n = 0;
  /* "Büro": 5 bytes, 4 characters. */
  EXPECT_EQ(build("B\xC3\xBCro", &n),
            std::string("B\0\xFC\0r\0o\0\0\0\0\0", 12));
  EXPECT_EQ(n, 12u);
  /* The euro sign: 3 bytes, one character U+20AC. */
  EXPECT_EQ(build("\xE2\x82\xAC", &n), std::string("\xAC\x20\0\0\0\0\0\0", 8));
  EXPECT_EQ(n, 8u);
}

TEST(NamePayload, CharactersBeyondTheBasicPlaneKeepTheirLowSixteenBits)
{
  uint32_t n = 0;
  /* U+1F600 travels as 0xF600, with no surrogate pair. */
  EXPECT_EQ(build("\xF0\x9F\x98\x80!", &n), std::string("\x00\xF6!\0\0\0\0\0\0\0\0\0", 12));
  EXPECT_EQ(n, 12u);
}

TEST(NamePayload, AgreesWithAnIndependentEncoding)
{
  const char *names[] = {"Office", "Office Printer", "Imprimante \xC3\xA9tage 2",
                         "\xE6\x89\x93\xE5\x8D\xB0\xE6\x9C\xBA", "a\xC2\xA0"
                                                                 "b"};
  for (const char *name : names)
  {
    uint32_t n = 0;
    EXPECT_EQ(build(name, &n), expectedPayload(name)) << name;
    EXPECT_EQ(n, 2 * strlen(name) + 2) << name;
  }
}

TEST(NamePayload, LongestName)
{
  std::string name(1023, 'Z');
  uint32_t n = 0;
  std::string p = build(name.c_str(), &n);
  ASSERT_EQ(n, 2048u);
  EXPECT_EQ(p, expectedPayload(name));
}
