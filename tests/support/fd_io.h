/*
 * fd_io.h - whole reads and writes on descriptors for the tests: pipes to
 * and from programs, socket pairs, connections.
 */
#ifndef CORVANE_TEST_FD_IO_H
#define CORVANE_TEST_FD_IO_H

#include <stddef.h>
#include <stdint.h>

#include <string>

/* Writes all bytes to a socket (without SIGPIPE); false on failure. */
bool sendAll(int fd, const std::string &bytes);

/* Writes all bytes to any descriptor (a pipe, a file); false on failure. */
bool writeAll(int fd, const std::string &bytes);

/* Reads fd until it ends, length bytes have come or nothing has come for
   waitMillis; returns what was read. */
std::string readFor(int fd, size_t length, int waitMillis);

#endif
