/*
 * fd_write.cpp - writing a whole buffer to a descriptor.
 */
#include "fd_write.h"

#include <errno.h>
#include <unistd.h>

/* Writes the whole buffer; 1 or 0. */
int write_all(int fd, const char *data, size_t size)
{
  size_t done = 0;
  while (done < size)
  {
    ssize_t n = write(fd, data + done, size - done);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return 0;
    done += (size_t)n;
  }
  return 1;
}
