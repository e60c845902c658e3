/*
 * command_value.h - text written as the value of a print-stream command.
 */
#ifndef CORVANE_FILTER_COMMAND_VALUE_H
#define CORVANE_FILTER_COMMAND_VALUE_H

#include <stddef.h>

/* Writes text as a command value that the backend's line reader reads back
   unchanged: control characters, and spaces at either end (the reader
   would trim them), become '_', the first '#' gets the backslash that keeps it from
   starting a comment, and at most maxBytes bytes of text are taken (never
   part of a UTF-8 sequence).  out must hold 2 * maxBytes + 2 bytes. */
void escapeCommandValue(const char *text, size_t maxBytes, char *out);

#endif
