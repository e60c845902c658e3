/*
 * host_listener.cpp - listening socket, signals and connection threads.
 *
 * The main thread only accepts: it waits in poll(2) on the listening socket
 * and on a self-pipe.  The signal handler writes 'S' to the pipe (the only
 * thing a handler may safely do here), and each connection thread writes
 * 'D' when it has finished, which --once waits for.
 */
#include "host_listener.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <stddef.h>
#include <sys/un.h>
#include <unistd.h>

#include <systemd/sd-daemon.h>

#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>

#include "host_log.h"

static int g_wakePipe[2] = {-1, -1};
static volatile sig_atomic_t g_stopRequested = 0;

/* SIGINT/SIGTERM: wake the accept loop. */
static void on_stop_signal(int)
{
  int saved = errno;
  g_stopRequested = 1;
  char byte = 'S';
  ssize_t ignored = write(g_wakePipe[1], &byte, 1);
  (void)ignored;
  errno = saved;
}

/* Fills a Unix socket address; 0 when the path does not fit. */
static int fill_address(struct sockaddr_un *addr, const std::string &path)
{
  memset(addr, 0, sizeof *addr);
  addr->sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof addr->sun_path)
    return 0;
  memcpy(addr->sun_path, path.c_str(), path.size() + 1);
  return 1;
}

/* Looks at what is at path before binding: nothing (1), a stale socket
   that it removes (1), or a live receiver / something else (0, reported). */
static int clear_stale_socket(const std::string &path)
{
  struct stat st;
  if (lstat(path.c_str(), &st) != 0)
  {
    if (errno == ENOENT)
      return 1;
    host_printf(2, "kivprinter-host: cannot look at %s: %s", path.c_str(), strerror(errno));
    return 0;
  }
  if (!S_ISSOCK(st.st_mode))
  {
    host_printf(2, "kivprinter-host: %s exists and is not a socket; not touching it", path.c_str());
    return 0;
  }
  /* A socket file: someone answering means a live receiver owns it. */
  struct sockaddr_un addr;
  fill_address(&addr, path);
  int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0)
  {
    host_printf(2, "kivprinter-host: socket: %s", strerror(errno));
    return 0;
  }
  int r = connect(probe, (struct sockaddr *)&addr, sizeof addr);
  int err = errno;
  close(probe);
  if (r == 0)
  {
    host_printf(2, "kivprinter-host: another receiver is listening on %s; not starting", path.c_str());
    return 0;
  }
  if (err != ECONNREFUSED)
  {
    host_printf(2, "kivprinter-host: cannot check the socket %s: %s", path.c_str(), strerror(err));
    return 0;
  }
  if (unlink(path.c_str()) != 0 && errno != ENOENT)
  {
    host_printf(2, "kivprinter-host: cannot remove the stale socket %s: %s", path.c_str(), strerror(errno));
    return 0;
  }
  host_printf(2, "kivprinter-host: removed the stale socket %s", path.c_str());
  return 1;
}

int listener_open(const std::string &path, unsigned mode)
{
  struct sockaddr_un addr;
  if (!fill_address(&addr, path))
  {
    host_printf(2, "kivprinter-host: socket path '%s' is empty or longer than %zu bytes",
                path.c_str(), sizeof addr.sun_path - 1);
    return -1;
  }
  if (!clear_stale_socket(path))
    return -1;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0)
  {
    host_printf(2, "kivprinter-host: socket: %s", strerror(errno));
    return -1;
  }
  if (bind(fd, (struct sockaddr *)&addr, sizeof addr) != 0)
  {
    host_printf(2, "kivprinter-host: cannot bind %s: %s", path.c_str(), strerror(errno));
    close(fd);
    return -1;
  }
  /* The umask shaped the file's mode at bind time; set the asked one. */
  if (chmod(path.c_str(), mode) != 0)
  {
    host_printf(2, "kivprinter-host: cannot set mode %04o on %s: %s", mode, path.c_str(), strerror(errno));
    close(fd);
    unlink(path.c_str());
    return -1;
  }
  if (listen(fd, 64) != 0)
  {
    host_printf(2, "kivprinter-host: cannot listen on %s: %s", path.c_str(), strerror(errno));
    close(fd);
    unlink(path.c_str());
    return -1;
  }
  return fd;
}

bool receiver_stop_requested()
{
  return g_stopRequested != 0;
}

int listener_inherited(std::string *path)
{
  int count = sd_listen_fds(1);
  if (count == 0)
    return -1;
  if (count < 0)
  {
    host_printf(2, "kivprinter-host: the inherited sockets cannot be used: %s", strerror(-count));
    return -2;
  }
  int fd = SD_LISTEN_FDS_START;
  if (sd_is_socket_unix(fd, SOCK_STREAM, 1, nullptr, 0) <= 0)
  {
    host_printf(2, "kivprinter-host: the inherited descriptor %d is not a listening Unix stream socket", fd);
    return -2;
  }
  if (count > 1)
    host_printf(2, "kivprinter-host: %d sockets inherited; listening on the first only", count);
  /* Its path, for the log line; the file is the service manager's. */
  struct sockaddr_un addr;
  socklen_t length = sizeof addr;
  memset(&addr, 0, sizeof addr);
  if (getsockname(fd, (struct sockaddr *)&addr, &length) == 0 && length > offsetof(struct sockaddr_un, sun_path) &&
      addr.sun_path[0])
    *path = std::string(addr.sun_path, strnlen(addr.sun_path, sizeof addr.sun_path));
  else
    *path = "descriptor " + std::to_string(fd);
  fcntl(fd, F_SETFD, FD_CLOEXEC);
  return fd;
}

namespace {

/* The connections being served, shared between the accept loop and the
   connection threads. */
struct Registry
{
  std::mutex lock;
  std::condition_variable idle;
  std::map<int, bool> active; /* descriptor -> being served */
  unsigned running = 0;
  bool lastHadBytes = false; /* --once: what the finished one did */
  bool lastComplete = false;
  unsigned finished = 0;
};

void connection_thread(int fd, HostShared *shared, Registry *registry)
{
  ConnectionResult result;
  serve_connection(fd, shared, &result);
  {
    std::lock_guard<std::mutex> hold(registry->lock);
    registry->active.erase(fd);
    close(fd);
    registry->finished++;
    registry->lastHadBytes = result.hadBytes;
    registry->lastComplete = result.complete;
    /* Wake the accept loop before counting this thread out: once the count
       is 0 the loop may close the pipe. */
    char byte = 'D';
    ssize_t ignored = write(g_wakePipe[1], &byte, 1);
    (void)ignored;
    registry->running--;
    /* Notified under the lock: the waiting loop may destroy the registry
       as soon as it can take the lock again. */
    registry->idle.notify_all();
  }
}

} // namespace

int run_receiver(const ListenerConfig &config, HostShared *shared)
{
  if (pipe2(g_wakePipe, O_CLOEXEC | O_NONBLOCK) != 0)
  {
    host_printf(2, "kivprinter-host: pipe: %s", strerror(errno));
    return 1;
  }
  struct sigaction sa;
  memset(&sa, 0, sizeof sa);
  sa.sa_handler = on_stop_signal;
  sigemptyset(&sa.sa_mask);
  sigaction(SIGINT, &sa, nullptr);
  sigaction(SIGTERM, &sa, nullptr);
  signal(SIGPIPE, SIG_IGN);

  /* A socket handed over by the service manager is used as it is: its
     file belongs to the manager and is never removed here. */
  std::string inheritedPath;
  int listenFd = listener_inherited(&inheritedPath);
  bool inherited = listenFd >= 0;
  if (listenFd == -2)
    return 1;
  if (!inherited)
    listenFd = listener_open(config.path, config.mode);
  if (listenFd < 0)
    return 1;
  struct stat bound;
  bool haveBound = !inherited && stat(config.path.c_str(), &bound) == 0;
  host_printf(shared->config.dump ? 2 : 1, "kivprinter-host: listening on %s%s%s%s",
              inherited ? inheritedPath.c_str() : config.path.c_str(), inherited ? " (inherited)" : "",
              shared->config.dump ? "" : ", saving jobs under ",
              shared->config.dump ? "" : shared->config.outDir.c_str());

  Registry registry;
  /* With --once the status says whether the job was complete; a stop by
     signal before that leaves it at 1. */
  int status = config.once ? 1 : 0;
  bool serving = false; /* --once: a connection is being served */
  for (;;)
  {
    struct pollfd fds[2];
    fds[0].fd = g_wakePipe[0];
    fds[0].events = POLLIN;
    fds[1].fd = listenFd;
    fds[1].events = POLLIN;
    nfds_t count = (config.once && serving) ? 1 : 2;
    if (poll(fds, count, -1) < 0)
    {
      if (errno == EINTR)
        continue;
      host_printf(2, "kivprinter-host: poll: %s", strerror(errno));
      status = 1;
      break;
    }
    bool stopNow = false;
    if (fds[0].revents & POLLIN)
    {
      char bytes[64];
      ssize_t n;
      while ((n = read(g_wakePipe[0], bytes, sizeof bytes)) > 0)
        for (ssize_t i = 0; i < n; i++)
          if (bytes[i] == 'S')
            stopNow = true;
      if (config.once && serving)
      {
        std::lock_guard<std::mutex> hold(registry.lock);
        if (registry.running == 0)
        {
          serving = false;
          if (registry.lastHadBytes)
          {
            status = registry.lastComplete ? 0 : 1;
            stopNow = true;
          }
        }
      }
    }
    if (stopNow)
      break;
    if (count == 2 && (fds[1].revents & POLLIN))
    {
      int fd = accept4(listenFd, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd < 0)
      {
        if (errno != EINTR && errno != EAGAIN && errno != ECONNABORTED)
        {
          host_printf(2, "kivprinter-host: accept: %s", strerror(errno));
          /* Out of descriptors: the pending connection stays ready, so
             pause instead of spinning until a job ends. */
          usleep(100000);
        }
        continue;
      }
      {
        std::lock_guard<std::mutex> hold(registry.lock);
        registry.active[fd] = true;
        registry.running++;
      }
      std::thread(connection_thread, fd, shared, &registry).detach();
      if (config.once)
        serving = true;
    }
  }

  /* Stop taking connections and remove the file, if it is still ours. */
  close(listenFd);
  struct stat now;
  if (haveBound && stat(config.path.c_str(), &now) == 0 && now.st_ino == bound.st_ino &&
      now.st_dev == bound.st_dev)
    unlink(config.path.c_str());

  /* End the connections still open and wait for their threads. */
  std::unique_lock<std::mutex> hold(registry.lock);
  for (auto &entry : registry.active)
    shutdown(entry.first, SHUT_RDWR);
  registry.idle.wait(hold, [&] { return registry.running == 0; });
  hold.unlock();
  close(g_wakePipe[0]);
  close(g_wakePipe[1]);
  g_wakePipe[0] = g_wakePipe[1] = -1;
  return status;
}
