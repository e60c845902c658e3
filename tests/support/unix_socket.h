/*
 * unix_socket.h - Unix stream sockets for the tests: connecting, listening
 * (the fake hosts and sinks), a stale socket file, and stopping a
 * listener's thread.
 */
#ifndef CORVANE_TEST_UNIX_SOCKET_H
#define CORVANE_TEST_UNIX_SOCKET_H

#include <atomic>
#include <string>
#include <thread>

/* Connects to a Unix stream socket; -1 on failure. */
int connectUnix(const std::string &path);

/* A listening Unix stream socket (close-on-exec) at path, replacing any
   file there; -1 on failure. */
int listenUnix(const std::string &path, int backlog);

/* Leaves a socket file at path that nobody listens on, as a program that
   was killed leaves it; false on failure. */
bool makeStaleUnixSocket(const std::string &path);

/* Stops a listener: sets *stopping, joins its thread, closes *listenFd
   (then -1) and removes the socket file at path (when path is not
   empty). */
void stopListener(std::atomic<bool> *stopping, std::thread *thread, int *listenFd, const std::string &path);

#endif
