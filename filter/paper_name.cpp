/*
 * paper_name.cpp - the paper name a page is announced with (PAGENAME).
 */
#include "paper_name.h"

#include <stdio.h>
#include <string.h>

#include <cups/cups.h>

#include "paper_table.h"

/*
 * 'copyName()' - Copy a name, cut to PAPER_NAME_MAX bytes.
 */
static void copyName(char *name, const char *from)
{
  size_t len = strnlen(from, PAPER_NAME_MAX);
  memcpy(name, from, len);
  name[len] = '\0';
}

/*
 * 'pointsToPwg()' - A length in points as PWG units (hundredths of a
 * millimetre), rounded to the nearest.
 */
static int pointsToPwg(unsigned int points)
{
  return (int)(((unsigned long long)points * 2540 + 36) / 72);
}

/*
 * 'choosePaperName()' - The page's paper name, as paper_name.h describes.
 */
void choosePaperName(const cups_page_header2_t *header, char *name)
{
  char own[sizeof(header->cupsPageSizeName) + 1];
  memcpy(own, header->cupsPageSizeName, sizeof(header->cupsPageSizeName));
  own[sizeof(header->cupsPageSizeName)] = '\0';

  if (own[0] && GetWinPaperCode(own))
  {
    copyName(name, own);
    return;
  }

  /* Sizes beyond 200 inches are not paper; pwgMediaForSize would still
     make up a name for them. */
  pwg_media_t *media = NULL;
  if (header->PageSize[0] > 0 && header->PageSize[1] > 0 &&
      header->PageSize[0] <= 14400 && header->PageSize[1] <= 14400)
    media = pwgMediaForSize(pointsToPwg(header->PageSize[0]), pointsToPwg(header->PageSize[1]));
  if (media && media->ppd && GetWinPaperCode(media->ppd))
  {
    copyName(name, media->ppd);
    return;
  }

  if (own[0])
    copyName(name, own);
  else if (media && media->ppd)
    copyName(name, media->ppd);
  else
    snprintf(name, PAPER_NAME_MAX + 1, "Custom.%ux%u", header->PageSize[0], header->PageSize[1]);
}
