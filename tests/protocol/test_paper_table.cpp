/*
 * test_paper_table.cpp - media names to Windows paper codes: every name of
 * the table, exact matching, and the table's own shape.
 */
#include <gtest/gtest.h>

#include <string.h>

#include <set>
#include <string>
#include <vector>

#include "paper_table.h"

namespace {

struct Expected
{
  const char *name;
  unsigned code;
};

/* The whole table, written out here independently of the code, in the
   order of the four printed columns. */
const Expected kTable[] = {
  /* column 1 */
  {"10x11", 45},
  {"10x14", 16},
  {"11x17", 17},
  {"12x11", 90},
  {"15x11", 46},
  {"9x11", 44},
  {"A2", 66},
  {"A3", 8},
  {"A3.Transverse", 67},
  {"A3Extra", 63},
  {"A3Extra.Transverse", 68},
  {"A3Rotated", 76},
  {"A4", 9},
  {"A4.Transverse", 55},
  {"A4Extra", 53},
  {"A4Plus", 60},
  {"A4Rotated", 77},
  {"A4Small", 10},
  {"A5", 11},
  {"A5.Transverse", 61},
  {"A5Extra", 64},
  {"A5Rotated", 78},
  {"A6", 70},
  {"A6Rotated", 83},
  {"ARCHC", 24},
  {"ARCHD", 25},
  {"ARCHE", 26},
  {"B4", 12},
  {"B4Rotated", 79},
  /* column 2 */
  {"B5", 13},
  {"B5.Transverse", 62},
  {"B5Rotated", 80},
  {"B6", 88},
  {"B6Rotated", 89},
  {"DoublePostcard", 69},
  {"DoublePostcardRotated", 82},
  {"Env10", 20},
  {"Env11", 21},
  {"Env12", 22},
  {"Env14", 23},
  {"Env9", 19},
  {"EnvC3", 29},
  {"EnvC4", 30},
  {"EnvC5", 28},
  {"EnvC6", 31},
  {"EnvC65", 32},
  {"EnvChou3", 73},
  {"EnvChou3Rotated", 86},
  {"EnvChou4", 74},
  {"EnvChou4Rotated", 87},
  {"EnvDL", 27},
  {"EnvISOB4", 33},
  {"EnvISOB5", 34},
  {"EnvISOB6", 35},
  {"EnvInvite", 47},
  {"EnvItalian", 36},
  {"EnvKaku2", 71},
  {"EnvKaku2Rotated", 84},
  /* column 3 */
  {"EnvKaku3", 72},
  {"EnvKaku3Rotated", 85},
  {"EnvMonarch", 37},
  {"EnvPRC1", 96},
  {"EnvPRC10", 105},
  {"EnvPRC10Rotated", 118},
  {"EnvPRC1Rotated", 109},
  {"EnvPRC2", 97},
  {"EnvPRC2Rotated", 110},
  {"EnvPRC3", 98},
  {"EnvPRC3Rotated", 111},
  {"EnvPRC4", 99},
  {"EnvPRC4Rotated", 112},
  {"EnvPRC5", 100},
  {"EnvPRC5Rotated", 113},
  {"EnvPRC6", 101},
  {"EnvPRC6Rotated", 114},
  {"EnvPRC7", 102},
  {"EnvPRC7Rotated", 115},
  {"EnvPRC8", 103},
  {"EnvPRC8Rotated", 116},
  {"EnvPRC9", 104},
  {"EnvPRC9Rotated", 117},
  {"EnvPersonal", 38},
  {"EnvYou4", 91},
  {"EnvYou4Rotated", 92},
  {"Executive", 7},
  {"FanFoldGerman", 40},
  {"FanFoldGermanLegal", 41},
  /* column 4 */
  {"FanFoldUS", 39},
  {"Folio", 14},
  {"ISOB4", 42},
  {"ISOB5Extra", 65},
  {"Ledger", 4},
  {"Legal", 5},
  {"LegalExtra", 51},
  {"Letter", 1},
  {"Letter.Transverse", 54},
  {"LetterExtra", 50},
  {"LetterExtra.Transverse", 56},
  {"LetterPlus", 59},
  {"LetterRotated", 75},
  {"LetterSmall", 2},
  {"Note", 18},
  {"PRC16K", 93},
  {"PRC16KRotated", 106},
  {"PRC32K", 94},
  {"PRC32KBig", 95},
  {"PRC32KBigRotated", 108},
  {"PRC32KRotated", 107},
  {"Postcard", 43},
  {"PostcardRotated", 81},
  {"Quarto", 15},
  {"Statement", 6},
  {"SuperA", 57},
  {"SuperB", 58},
  {"Tabloid", 3},
  {"TabloidExtra", 52},
};

TEST(PaperTable, EveryNameGivesItsCode)
{
  ASSERT_EQ(sizeof kTable / sizeof kTable[0], 116u);
  for (const Expected &e : kTable)
  {
    /* From a writable copy, as the parser's page name field holds it. */
    char name[41];
    snprintf(name, sizeof name, "%s", e.name);
    EXPECT_EQ(GetWinPaperCode(name), e.code) << e.name;
    EXPECT_STREQ(name, e.name) << "the name must not be modified";
  }
}

TEST(PaperTable, TableHoldsExactlyTheseEntriesInByteOrder)
{
  size_t count = 0;
  while (s_PageTrans[count].name)
    count++;
  ASSERT_EQ(count, 116u);
  EXPECT_EQ(s_PageTrans[116].code, 0u);
  for (size_t i = 0; i < count; i++)
  {
    EXPECT_STREQ(s_PageTrans[i].name, kTable[i].name) << i;
    EXPECT_EQ(s_PageTrans[i].code, kTable[i].code) << i;
    if (i > 0)
    {
      EXPECT_LT(strcmp(s_PageTrans[i - 1].name, s_PageTrans[i].name), 0) << i;
    }
  }
}

TEST(PaperTable, CodesAreOneToHundredEighteenWithout48And49)
{
  std::set<unsigned> codes;
  for (const Expected &e : kTable)
    EXPECT_TRUE(codes.insert(e.code).second) << "code " << e.code << " twice";
  std::set<unsigned> expected;
  for (unsigned c = 1; c <= 118; c++)
    if (c != 48 && c != 49)
      expected.insert(c);
  EXPECT_EQ(codes, expected);
}

TEST(PaperTable, NamedExamples)
{
  EXPECT_EQ(GetWinPaperCode("A4"), 9u);
  EXPECT_EQ(GetWinPaperCode("Letter"), 1u);
  EXPECT_EQ(GetWinPaperCode("Letter.Transverse"), 54u);
  EXPECT_EQ(GetWinPaperCode("EnvPRC10Rotated"), 118u);
}

TEST(PaperTable, MatchingIsExact)
{
  for (const char *name :
       {"a4", "A4 ", " A4", "", "LETTER", "letter", "A4\t", "A4\n", "A4.", "A4Rotate",
        "A4Rotatedd", "A4.transverse", "EnvPRC10rotated", "Custom.595x842", "Custom",
        "A4.Transverse ", "Env", "PRC32KBigRotatedX", "ISO_A4", "iso_a4_210x297mm", "A",
        "10x1", "Letter\xC2\xA0", "\xFF", "A4\xFF"})
    EXPECT_EQ(GetWinPaperCode(name), 0u) << "'" << name << "'";
}

TEST(PaperTable, EveryOneByteChangeOfANameMissesOrHitsAnotherEntry)
{
  /* Turning one character of a listed name into another character gives
     either 0 or the code of the name it turned into: no prefix, suffix or
     folding rule hides in the look-up. */
  std::set<std::string> names;
  for (const Expected &e : kTable)
    names.insert(e.name);
  for (const Expected &e : kTable)
  {
    std::string base = e.name;
    for (size_t i = 0; i <= base.size(); i++)
    {
      for (const std::string &variant :
           {base.substr(0, i),                        /* prefix */
            base.substr(0, i) + "x" + base.substr(i), /* insertion */
            i < base.size() ? base.substr(0, i) + base.substr(i + 1) : base + "?"})
      {
        unsigned code = GetWinPaperCode(variant.c_str());
        if (names.count(variant))
          continue;
        EXPECT_EQ(code, 0u) << "'" << variant << "' from '" << base << "'";
      }
    }
  }
}

TEST(PaperTable, FortyOneBytesOrMoreMatchNothing)
{
  /* Listed names followed by padding up to and past the 40 characters the
     parser's field can hold. */
  for (size_t length : {40u, 41u, 100u})
    for (const char *name : {"A4", "LetterExtra.Transverse"})
    {
      std::string padded = name + std::string(length - strlen(name), ' ');
      EXPECT_EQ(GetWinPaperCode(padded.c_str()), 0u) << length;
    }
}

TEST(PaperTable, NullNameMatchesNothing)
{
  EXPECT_EQ(GetWinPaperCode(nullptr), 0u);
}

TEST(PaperTable, ReverseLookUpGivesTheNameOfEachCode)
{
  for (const Expected &e : kTable)
    EXPECT_STREQ(GetPaperNameForCode(e.code), e.name) << e.code;
  for (unsigned code : {0u, 48u, 49u, 119u, 256u, 65535u, 65536u + 9u})
    EXPECT_EQ(GetPaperNameForCode(code), nullptr) << code;
}

} // namespace
