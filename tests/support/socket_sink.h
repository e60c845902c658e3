/*
 * socket_sink.h - a listening Unix stream socket for tests: accepts every
 * connection in a thread of its own and keeps the bytes each one sent.
 *
 * Options make it a misbehaving host: read a few bytes at a time, close the
 * connection after a number of bytes, or accept and never read.
 */
#ifndef CORVANE_TEST_SOCKET_SINK_H
#define CORVANE_TEST_SOCKET_SINK_H

#include <stddef.h>
#include <stdint.h>
#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct SinkOptions
{
  size_t readChunk = 65536;          /* bytes asked of each read */
  size_t closeAfterBytes = SIZE_MAX; /* close a connection once it sent this many */
  bool neverRead = false;            /* accept, then hold the connection unread */
  unsigned readDelayMicros = 0;      /* pause before each read */
};

struct SocketSink
{
  std::string path;
  SinkOptions options;
  int listenFd = -1;
  std::thread acceptThread;
  std::vector<std::thread> connThreads;
  std::vector<int> connFds;
  std::mutex lock;
  std::vector<std::string> received; /* one entry per accepted connection */
  std::vector<bool> finished;        /* peer closed (or we closed) */
  std::atomic<bool> stopping{false};
};

/* True when a program accepts connections on the Unix socket at path. */
bool socketPathIsLive(const char *path);

/* Listens on path (a stale file there is removed first); false on failure. */
bool sinkStart(SocketSink *sink, const std::string &path, const SinkOptions &options = SinkOptions());

/* Waits until count connections have been accepted and have ended, at most
   timeoutSeconds; true when they have. */
bool sinkWaitFinished(SocketSink *sink, size_t count, int timeoutSeconds);

/* Stops listening, closes every connection, removes the socket file. */
void sinkStop(SocketSink *sink);

/* The bytes of connection i (empty when there is none). */
std::string sinkReceived(SocketSink *sink, size_t i);

/* The number of connections accepted so far. */
size_t sinkConnections(SocketSink *sink);

#endif
