/*
 * command_line.h - reading the print stream's command lines.
 *
 * A command line is one line of text: a keyword, then optionally
 * whitespace and a value.  Lines end at a new line, a carriage return, or
 * a carriage return and new line; longer lines than the buffer holds are
 * split; '#' starts a comment unless a backslash escapes it.  Whitespace is
 * that of the C locale, whatever locale the process runs in.
 */
#ifndef CORVANE_COMMAND_LINE_H
#define CORVANE_COMMAND_LINE_H

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

#endif
