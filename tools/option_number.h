/*
 * option_number.h - bounded numbers in the host tools' command-line
 * options.
 */
#ifndef KIVPRINTER_OPTION_NUMBER_H
#define KIVPRINTER_OPTION_NUMBER_H

/* Reads an unsigned number in base from the start of text, by strtoul's
   rules (leading white space and a sign are taken: callers that refuse
   them look at text[0] first), that lies between low and high.  1 with
   *value and *end just after its digits, or 0 (no digits, out of range). */
int option_number_prefix(const char *text, int base, unsigned long low, unsigned long high,
                         unsigned long *value, char **end);

#endif
