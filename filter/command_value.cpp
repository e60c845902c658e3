/*
 * command_value.cpp - text written as the value of a print-stream command.
 */
#include "command_value.h"

#include <string.h>

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
