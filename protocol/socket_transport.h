/*
 * socket_transport.h - the local Unix-domain stream socket to the host
 * application.  Each function prints its own system error line on standard
 * error and returns 1 on success, 0 on failure; the caller decides what
 * happens to the job.
 */
#ifndef CORVANE_SOCKET_TRANSPORT_H
#define CORVANE_SOCKET_TRANSPORT_H

/* The host application's socket. */
#define KIVPRINTER_SOCKET_PATH "/tmp/kivprinter.sock"

/* Largest single write(2) that socket_write issues. */
#define SOCKET_WRITE_CHUNK 0x8000

int socket_connect(const char *path, int *fd);
int socket_write(int fd, const void *data, unsigned long length);
int socket_read(int fd, void *data, unsigned long length);
int socket_close(int fd);

#endif
