/*
 * option_number.cpp - bounded numbers in command-line options.
 */
#include "option_number.h"

#include <errno.h>
#include <stdlib.h>

/* Reads a bounded number at the start of text. */
int option_number_prefix(const char *text, int base, unsigned long low, unsigned long high,
                         unsigned long *value, char **end)
{
  errno = 0;
  *value = strtoul(text, end, base);
  return !errno && *end != text && *value >= low && *value <= high;
}
