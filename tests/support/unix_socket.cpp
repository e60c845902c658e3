/*
 * unix_socket.cpp - Unix stream sockets for the tests.
 */
#include "unix_socket.h"

#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/* Fills addr with path; false when path does not fit. */
static bool unixAddress(const std::string &path, struct sockaddr_un *addr)
{
  memset(addr, 0, sizeof *addr);
  addr->sun_family = AF_UNIX;
  if (path.size() >= sizeof addr->sun_path)
    return false;
  memcpy(addr->sun_path, path.c_str(), path.size() + 1);
  return true;
}

/* Connects to the socket at path. */
int connectUnix(const std::string &path)
{
  struct sockaddr_un addr;
  if (!unixAddress(path, &addr))
    return -1;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return -1;
  if (connect(fd, (struct sockaddr *)&addr, sizeof addr) != 0)
  {
    close(fd);
    return -1;
  }
  return fd;
}

/* Binds and listens at path after removing what was there. */
int listenUnix(const std::string &path, int backlog)
{
  struct sockaddr_un addr;
  if (!unixAddress(path, &addr))
    return -1;
  unlink(path.c_str());
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
    return -1;
  if (bind(fd, (struct sockaddr *)&addr, sizeof addr) != 0 || listen(fd, backlog) != 0)
  {
    close(fd);
    return -1;
  }
  return fd;
}

/* Binds a socket at path and closes it without listening. */
bool makeStaleUnixSocket(const std::string &path)
{
  struct sockaddr_un addr;
  if (!unixAddress(path, &addr))
    return false;
  int fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (fd < 0)
    return false;
  bool bound = bind(fd, (struct sockaddr *)&addr, sizeof addr) == 0;
  close(fd);
  return bound;
}

/* Stops the listener's thread, then closes and removes its socket. */
void stopListener(std::atomic<bool> *stopping, std::thread *thread, int *listenFd, const std::string &path)
{
  *stopping = true;
  if (thread->joinable())
    thread->join();
  if (*listenFd >= 0)
  {
    close(*listenFd);
    *listenFd = -1;
    if (!path.empty())
      unlink(path.c_str());
  }
}
