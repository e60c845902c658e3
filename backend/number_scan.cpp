/*
 * number_scan.cpp - the number readers of the command handlers.
 */
#include "number_scan.h"

#include "command_line.h"

/*
 * 'scan_decimal()' - Skip whitespace, read a sign and the digits.
 *
 * Digits stop accumulating once the magnitude passes 2^36: the value is
 * then above every 32-bit result and no longer grows, so no overflow can
 * happen however long the digit string.
 */
int scan_decimal(const char **text, int *negative, uint64_t *magnitude)
{
  const char *p = *text;
  uint64_t m = 0;

  while (command_isspace((unsigned char)*p))
    p++;
  *negative = 0;
  if (*p == '+' || *p == '-')
  {
    *negative = (*p == '-');
    p++;
  }
  if (*p < '0' || *p > '9')
    return 0;
  while (*p >= '0' && *p <= '9')
  {
    if (m <= 0xFFFFFFFFFull)
      m = m * 10u + (uint64_t)(*p - '0');
    p++;
  }
  *magnitude = m;
  *text = p;
  return 1;
}

/*
 * 'scan_u32()' - Read one "%u" number.
 */
int scan_u32(const char **text, uint32_t *out)
{
  int negative;
  uint64_t m;
  const char *end = *text;
  uint32_t v;

  if (!scan_decimal(&end, &negative, &m))
    return 0;
  if (m > 0xFFFFFFFFull)
    v = 0xFFFFFFFFu;
  else
  {
    v = (uint32_t)m;
    if (negative)
      v = (uint32_t)(0u - v);
  }
  *out = v;
  *text = end;
  return 1;
}

/*
 * 'scan_i32()' - Read one "%d" number.
 */
int scan_i32(const char **text, int32_t *out)
{
  int negative;
  uint64_t m;
  const char *end = *text;

  if (!scan_decimal(&end, &negative, &m))
    return 0;
  if (negative)
    *out = m >= 0x80000000ull ? INT32_MIN : -(int32_t)m;
  else
    *out = m > 0x7FFFFFFFull ? INT32_MAX : (int32_t)m;
  *text = end;
  return 1;
}
