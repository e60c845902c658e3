/*
 * fd_io.cpp - whole reads and writes on descriptors for the tests.
 */
#include "fd_io.h"

#include <errno.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

/* Writes all bytes with send (MSG_NOSIGNAL) on a socket or write on any
   other descriptor, continuing after short writes and EINTR. */
static bool putAll(int fd, const std::string &bytes, bool socket)
{
  size_t done = 0;
  while (done < bytes.size())
  {
    const char *at = bytes.data() + done;
    size_t left = bytes.size() - done;
    ssize_t n = socket ? send(fd, at, left, MSG_NOSIGNAL) : write(fd, at, left);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      return false;
    done += (size_t)n;
  }
  return true;
}

/* Writes all bytes to a socket. */
bool sendAll(int fd, const std::string &bytes)
{
  return putAll(fd, bytes, true);
}

/* Writes all bytes to any descriptor. */
bool writeAll(int fd, const std::string &bytes)
{
  return putAll(fd, bytes, false);
}

/* Reads until the end, length bytes or a quiet spell of waitMillis. */
std::string readFor(int fd, size_t length, int waitMillis)
{
  std::string out;
  char buf[65536];
  while (out.size() < length)
  {
    struct pollfd p = {fd, POLLIN, 0};
    if (poll(&p, 1, waitMillis) <= 0)
      break;
    ssize_t n = read(fd, buf, sizeof buf);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
      break;
    out.append(buf, (size_t)n);
  }
  return out;
}
