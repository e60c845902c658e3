/*
 * number_scan.h - reading numbers from a command's value, as the command
 * handlers need them.
 */
#ifndef CORVANE_NUMBER_SCAN_H
#define CORVANE_NUMBER_SCAN_H

#include <stdint.h>

/* Number readers with the rules of the C library's formatted input for
   "%u" and "%d": leading whitespace is skipped, then an optional sign and
   at least one decimal digit; *text is advanced past what was read.  They
   return 1 when a number was read, 0 (text not advanced) when not.
   Out-of-range values give what a C library with 32-bit long gives, the
   same on every host: for "%u" a magnitude above 4294967295 becomes
   4294967295 and a leading '-' negates the value modulo 2^32; "%d" clamps
   to -2147483648 .. 2147483647. */
int scan_u32(const char **text, uint32_t *out);
int scan_i32(const char **text, int32_t *out);

/* The common first step of both: whitespace, an optional sign, decimal
   digits.  1 when a digit was read, with the sign in *negative and the
   magnitude in *magnitude (held exactly up to 68719476735 and kept above
   that value for anything longer); *text is advanced past the digits. */
int scan_decimal(const char **text, int *negative, uint64_t *magnitude);

#endif
