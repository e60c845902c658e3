/*
 * socket_sink.cpp - a listening Unix stream socket that records what each
 * connection sends.
 */
#include "socket_sink.h"
#include "unix_socket.h"

#include <errno.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

/* Reads one connection until the peer closes it or the sink stops. */
static void serveConnection(SocketSink *sink, size_t index, int fd)
{
  std::vector<char> buf(sink->options.readChunk ? sink->options.readChunk : 1);
  size_t total = 0;
  while (!sink->stopping.load())
  {
    if (sink->options.neverRead)
    {
      usleep(10000);
      continue;
    }
    struct pollfd p = {fd, POLLIN, 0};
    int r = poll(&p, 1, 50);
    if (r <= 0)
      continue;
    if (sink->options.readDelayMicros)
      usleep(sink->options.readDelayMicros);
    size_t want = buf.size();
    if (sink->options.closeAfterBytes != SIZE_MAX && sink->options.closeAfterBytes - total < want)
      want = sink->options.closeAfterBytes - total;
    ssize_t got = want ? read(fd, buf.data(), want) : 0;
    if (got < 0 && errno == EINTR)
      continue;
    if (got > 0)
    {
      std::lock_guard<std::mutex> g(sink->lock);
      sink->received[index].append(buf.data(), (size_t)got);
      total += (size_t)got;
    }
    if (got <= 0 || total >= sink->options.closeAfterBytes)
      break;
  }
  /* Closing here (not at stop) is what a host that hangs up looks like. */
  std::lock_guard<std::mutex> g(sink->lock);
  if (sink->connFds[index] >= 0)
  {
    close(sink->connFds[index]);
    sink->connFds[index] = -1;
  }
  sink->finished[index] = true;
}

/* Accepts connections until the sink stops. */
static void acceptLoop(SocketSink *sink)
{
  while (!sink->stopping.load())
  {
    struct pollfd p = {sink->listenFd, POLLIN, 0};
    if (poll(&p, 1, 50) <= 0)
      continue;
    int fd = accept(sink->listenFd, nullptr, nullptr);
    if (fd < 0)
      continue;
    std::lock_guard<std::mutex> g(sink->lock);
    size_t index = sink->received.size();
    sink->received.emplace_back();
    sink->finished.push_back(false);
    sink->connFds.push_back(fd);
    sink->connThreads.emplace_back(serveConnection, sink, index, fd);
  }
}

/* True when a program accepts connections on the Unix socket at path. */
bool socketPathIsLive(const char *path)
{
  int fd = connectUnix(path);
  if (fd < 0)
    return false;
  close(fd);
  return true;
}

bool sinkStart(SocketSink *sink, const std::string &path, const SinkOptions &options)
{
  sink->path = path;
  sink->options = options;
  sink->stopping = false;
  sink->listenFd = listenUnix(path, 64);
  if (sink->listenFd < 0)
    return false;
  sink->acceptThread = std::thread(acceptLoop, sink);
  return true;
}

bool sinkWaitFinished(SocketSink *sink, size_t count, int timeoutSeconds)
{
  for (int i = 0; i < timeoutSeconds * 100; i++)
  {
    {
      std::lock_guard<std::mutex> g(sink->lock);
      size_t done = 0;
      for (bool f : sink->finished)
        done += f ? 1 : 0;
      if (sink->finished.size() >= count && done >= count)
        return true;
    }
    usleep(10000);
  }
  return false;
}

void sinkStop(SocketSink *sink)
{
  sink->stopping = true;
  if (sink->acceptThread.joinable())
    sink->acceptThread.join();
  for (std::thread &t : sink->connThreads)
    if (t.joinable())
      t.join();
  for (int &fd : sink->connFds)
    if (fd >= 0)
    {
      close(fd);
      fd = -1;
    }
  if (sink->listenFd >= 0)
  {
    close(sink->listenFd);
    sink->listenFd = -1;
    unlink(sink->path.c_str());
  }
}

std::string sinkReceived(SocketSink *sink, size_t i)
{
  std::lock_guard<std::mutex> g(sink->lock);
  return i < sink->received.size() ? sink->received[i] : std::string();
}

size_t sinkConnections(SocketSink *sink)
{
  std::lock_guard<std::mutex> g(sink->lock);
  return sink->received.size();
}
