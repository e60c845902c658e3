/*
 * paper_table.h - PPD media names to Windows paper codes.
 */
#ifndef CORVANE_PAPER_TABLE_H
#define CORVANE_PAPER_TABLE_H

#include <stdint.h>

struct PageTrans
{
  const char *name; /* PPD media name; null in the terminating entry */
  uint16_t code;    /* Windows paper code */
};

/* 116 entries sorted by the bytes of the name, then a null entry. */
extern const PageTrans s_PageTrans[];

/* The paper code of name (exact, case-sensitive), or 0 when not listed. */
unsigned int GetWinPaperCode(const char *name);

/* The media name of a paper code, or null: the reverse look-up, for hosts. */
const char *GetPaperNameForCode(unsigned int code);

#endif
