/*
 * host_log.h - whole-line output for the receiver.
 *
 * Every connection runs in a thread of its own, so the receiver's lines
 * (progress, errors, --dump records) are each formatted first and then
 * written with one write(2) under a lock: lines of different jobs never
 * interleave within a line.
 */
#ifndef KIVPRINTER_HOST_LOG_H
#define KIVPRINTER_HOST_LOG_H

#include <string>

/* Writes text plus a new line to the descriptor (1 or 2) as one piece. */
void host_write_line(int fd, const std::string &text);

/* printf-style: formats one line (without its new line) and writes it to
   the descriptor with host_write_line(). */
void host_printf(int fd, const char *format, ...) __attribute__((format(printf, 2, 3)));

/* printf-style formatting into a std::string. */
std::string host_format(const char *format, ...) __attribute__((format(printf, 1, 2)));

#endif
