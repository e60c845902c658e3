/*
 * paper_table.cpp - PPD media names to Windows paper codes (DMPAPER_*).
 */
#include "paper_table.h"

#include <string.h>

/* Sorted by the bytes of the name; codes 48 and 49 have no media name. */
const PageTrans s_PageTrans[] =
  {
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
    {nullptr, 0}};

/*
 * 'GetWinPaperCode()' - Look a media name up, exactly and case-sensitively.
 *
 * No trimming and no folding: "a4" and "A4 " are not "A4".  A null name
 * matches nothing.
 */
unsigned int GetWinPaperCode(const char *name)
{
  if (!name)
    return 0;
  for (const PageTrans *p = s_PageTrans; p->name; p++)
    if (strcmp(name, p->name) == 0)
      return p->code;
  return 0;
}

/*
 * 'GetPaperNameForCode()' - The media name of a paper code, or null.
 */
const char *GetPaperNameForCode(unsigned int code)
{
  for (const PageTrans *p = s_PageTrans; p->name; p++)
    if (p->code == code)
      return p->name;
  return nullptr;
}
