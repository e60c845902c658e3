/*
 * socket_transport.cpp - connect, write, read and close the local
 * Unix-domain stream socket to the host application.
 */
#include "socket_transport.h"

#include <errno.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/* Longest path kept in the address; byte 103 of the path is always zero, as
   on the systems whose sockaddr_un holds 104 path bytes. */
#define SOCKET_PATH_MAX 103

/*
 * 'socket_connect()' - Create a stream socket and connect it to path.
 *
 * The descriptor is stored through fd as soon as it exists and set to -1 when
 * anything fails.  The address length is the path's length plus the two bytes
 * that precede the path on BSD systems; Linux has no length byte, so the
 * family field's offset stands in for those two bytes and the length still
 * covers the family and every byte of the path.
 */
int socket_connect(const char *path, int *fd)
{
  struct sockaddr_un addr;
  size_t len;

  *fd = socket(AF_UNIX, SOCK_STREAM, 0);
  if (*fd == -1)
  {
    fprintf(stderr, "Creating socket failed: %s\n", strerror(errno));
    return 0;
  }

  memset(&addr, 0, sizeof(addr));
  addr.sun_family = AF_UNIX;
  strncpy(addr.sun_path, path, SOCKET_PATH_MAX);
  addr.sun_path[SOCKET_PATH_MAX] = '\0';
  len = strlen(addr.sun_path);

  if (connect(*fd, (struct sockaddr *)&addr,
              (socklen_t)(offsetof(struct sockaddr_un, sun_path) + len)) == 0)
    return 1;

  fprintf(stderr, "Connecting to %s failed: %s\n", addr.sun_path, strerror(errno));
  close(*fd);
  *fd = -1;
  return 0;
}

/*
 * 'socket_write()' - Write length bytes, at most 32768 per write(2) call.
 *
 * A short write is continued within the same chunk; a write that returns 0 is
 * simply issued again.  Any error, EINTR included, ends the call: what was
 * written stays written.  Writes use send(MSG_NOSIGNAL) where the descriptor
 * is a socket, so that a host that has gone away gives EPIPE here instead of
 * killing the process with SIGPIPE; other descriptors (pipes in tests) use
 * write(2).
 */
int socket_write(int fd, const void *data, unsigned long length)
{
  const unsigned char *bytes = (const unsigned char *)data;
  unsigned long sent = 0;

  while (sent < length)
  {
    unsigned long chunk = length - sent;
    unsigned long done = 0;

    if (chunk > SOCKET_WRITE_CHUNK)
      chunk = SOCKET_WRITE_CHUNK;

    while (done < chunk)
    {
      ssize_t n = send(fd, bytes + sent + done, chunk - done, MSG_NOSIGNAL);

      if (n < 0 && errno == ENOTSOCK)
        n = write(fd, bytes + sent + done, chunk - done);
      if (n < 0)
      {
        fprintf(stderr, "Writing to socket failed: %s\n", strerror(errno));
        return 0;
      }
      done += (unsigned long)n;
    }
    sent += chunk;
  }
  return 1;
}

/*
 * 'socket_read()' - Read exactly length bytes.
 *
 * The end of the stream is not an error: the read is repeated until the bytes
 * arrive.  The backend never reads; the function completes the transport.
 */
int socket_read(int fd, void *data, unsigned long length)
{
  unsigned char *bytes = (unsigned char *)data;

  while (length > 0)
  {
    ssize_t n = read(fd, bytes, length);

    if (n < 0)
    {
      fprintf(stderr, "Reading from socket failed: %s\n", strerror(errno));
      return 0;
    }
    bytes += n;
    length -= (unsigned long)n;
  }
  return 1;
}

/*
 * 'socket_close()' - Close the socket.
 */
int socket_close(int fd)
{
  if (close(fd) == -1)
  {
    fprintf(stderr, "Closing socket failed: %s\n", strerror(errno));
    return 0;
  }
  return 1;
}
