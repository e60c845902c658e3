/*
 * fd_write.h - writing a whole buffer to a descriptor, for the host tools'
 * output, files and logs.
 */
#ifndef KIVPRINTER_FD_WRITE_H
#define KIVPRINTER_FD_WRITE_H

#include <stddef.h>

/* Writes all size bytes of data to fd, continuing after short writes and
   EINTR; 1, or 0 with errno set by the write that failed. */
int write_all(int fd, const char *data, size_t size);

#endif
