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

/*
 * 'escapeCommandValue()' - Make text safe as a command value (see header).
 */
void escapeCommandValue(const char *text, size_t maxBytes, char *out)
{
  size_t len = strnlen(text, maxBytes);
  /* Do not cut a UTF-8 sequence: step back over continuation bytes. */
  if (len == maxBytes && text[len] != '\0')
  {
    while (len > 0 && ((unsigned char)text[len] & 0xC0) == 0x80)
      len--;
  }

  size_t o = 0;
  int hashSeen = 0;
  for (size_t i = 0; i < len; i++)
  {
    unsigned char c = (unsigned char)text[i];
    /* A line end would end the command and other controls have no place
       in a name; a space at either end would be trimmed away. */
    if (c < 0x20 || c == 0x7F || (c == ' ' && (i == 0 || i + 1 == len)))
      c = '_';
    if (c == '#' && !hashSeen)
    {
      out[o++] = '\\';
      hashSeen = 1;
    }
    out[o++] = (char)c;
  }
  out[o] = '\0';
}
