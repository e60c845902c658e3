/*
 * command_line.h - reading the print stream's command lines, and reading
 * numbers from a command's value.
 *
 * A command line is one line of text: a keyword, then optionally
 * whitespace and a value.  Lines end at a new line, a carriage return, or
 * a carriage return and new line; longer lines than the buffer holds are
 * split; '#' starts a comment unless a backslash escapes it.  Whitespace is
 * that of the C locale, whatever locale the process runs in.
 */
#ifndef CORVANE_COMMAND_LINE_H
#define CORVANE_COMMAND_LINE_H

#include <stdint.h>

#include "cups_file.h"

/* Size of the line buffer: 1023 characters and a terminator. */
#define COMMAND_LINE_SIZE 1024

/* isspace() of the C locale: space, \t, \n, \v, \f, \r. */
int command_isspace(int c);

/* Reads the next command line into line (COMMAND_LINE_SIZE bytes), skipping
   empty and comment-only lines.  Returns 1 with *keyword at the start of
   line and *value at the trimmed rest of it (null when there is none), or
   0 at the end of the input (then line, keyword and value are unchanged
   apart from the line's contents). */
int read_command_line(_cups_file_s *fp, char *line, char **keyword, char **value);

/* Number readers with the rules of the C library's formatted input for
   "%u" and "%d": leading whitespace is skipped, then an optional sign and
   at least one decimal digit; *text is advanced past what was read.  They
   return 1 when a number was read, 0 (text not advanced) when not.
   Out-of-range values give what a C library with 32-bit long gives, the
   same on every host: for "%u" a magnitude above 4294967295 becomes
   4294967295 and a leading '-' negates the value modulo 2^32; "%d" clamps
   to -2147483648 .. 2147483647. */
int scan_u32(const char **text, uint32_t *out);

/* The common first step of both: whitespace, an optional sign, decimal
   digits.  1 when a digit was read, with the sign in *negative and the
   magnitude in *magnitude (held exactly up to 68719476735 and kept above
   that value for anything longer); *text is advanced past the digits. */
int scan_decimal(const char **text, int *negative, uint64_t *magnitude);
int scan_i32(const char **text, int32_t *out);

#endif
