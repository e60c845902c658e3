/*
 * child_process.cpp - run a child process and collect what it writes.
 */
#include "child_process.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char **environ;

static double monotonicSeconds()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

/* Appends what one read of *fd gives to *text; at its end (or on an
   error other than EINTR or EAGAIN) closes it and sets *fd to -1. */
static void collectOutput(int *fd, std::string *text)
{
  char buf[65536];
  ssize_t got = read(*fd, buf, sizeof buf);
  if (got > 0)
    text->append(buf, (size_t)got);
  else if (got == 0 || (errno != EINTR && errno != EAGAIN))
  {
    close(*fd);
    *fd = -1;
  }
}

ChildResult runChild(const ChildOptions &options)
{
  ChildResult result;
  int inPipe[2], outPipe[2], errPipe[2];

  if (pipe2(inPipe, O_CLOEXEC) || pipe2(outPipe, O_CLOEXEC) || pipe2(errPipe, O_CLOEXEC))
    return result;

  std::vector<char *> argv = execArray(options.argv), envp = execArray(options.env);

  pid_t pid = fork();
  if (pid == 0)
  {
    if (options.stdinIsDevNull)
    {
      int nul = open("/dev/null", O_RDONLY);
      dup2(nul, 0);
    }
    else
      dup2(inPipe[0], 0);
    dup2(outPipe[1], 1);
    dup2(errPipe[1], 2);
    signal(SIGPIPE, SIG_DFL);
    if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0)
      _exit(127);
    execve(argv[0], argv.data(), envp.data());
    _exit(127);
  }
  close(inPipe[0]);
  close(outPipe[1]);
  close(errPipe[1]);
  if (pid < 0)
  {
    close(inPipe[1]);
    close(outPipe[0]);
    close(errPipe[0]);
    return result;
  }

  /* Feed stdin and drain stdout and stderr together, so that a child that
     writes a lot before reading never deadlocks against us. */
  size_t written = 0;
  int inFd = inPipe[1];
  if (options.stdinIsDevNull || options.stdinData.empty())
  {
    close(inFd);
    inFd = -1;
  }
  else
    fcntl(inFd, F_SETFL, O_NONBLOCK);

  int outFd = outPipe[0], errFd = errPipe[0];
  double deadline = monotonicSeconds() + options.timeoutSeconds;
  void (*oldPipe)(int) = signal(SIGPIPE, SIG_IGN);

  while (outFd >= 0 || errFd >= 0)
  {
    struct pollfd fds[3];
    int n = 0;
    int inIdx = -1, outIdx = -1, errIdx = -1;
    if (inFd >= 0)
    {
      inIdx = n;
      fds[n].fd = inFd;
      fds[n].events = POLLOUT;
      n++;
    }
    if (outFd >= 0)
    {
      outIdx = n;
      fds[n].fd = outFd;
      fds[n].events = POLLIN;
      n++;
    }
    if (errFd >= 0)
    {
      errIdx = n;
      fds[n].fd = errFd;
      fds[n].events = POLLIN;
      n++;
    }
    double left = deadline - monotonicSeconds();
    if (left <= 0)
    {
      kill(pid, SIGKILL);
      result.timedOut = true;
      break;
    }
    int r = poll(fds, n, (int)(left * 1000) + 1);
    if (r < 0 && errno == EINTR)
      continue;
    if (r < 0)
      break;
    if (inIdx >= 0 && fds[inIdx].revents)
    {
      ssize_t w = write(inFd, options.stdinData.data() + written, options.stdinData.size() - written);
      if (w > 0)
        written += (size_t)w;
      if (w < 0 && errno != EAGAIN && errno != EINTR)
        written = options.stdinData.size(); /* child closed its stdin */
      if (written >= options.stdinData.size())
      {
        close(inFd);
        inFd = -1;
      }
    }
    if (outIdx >= 0 && fds[outIdx].revents)
      collectOutput(&outFd, &result.out);
    if (errIdx >= 0 && fds[errIdx].revents)
      collectOutput(&errFd, &result.err);
  }
  if (inFd >= 0)
    close(inFd);
  if (outFd >= 0)
    close(outFd);
  if (errFd >= 0)
    close(errFd);

  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR)
    ;
  signal(SIGPIPE, oldPipe);
  if (WIFEXITED(status))
  {
    result.exited = true;
    result.exitStatus = WEXITSTATUS(status);
  }
  else if (WIFSIGNALED(status))
    result.termSignal = WTERMSIG(status);
  return result;
}

std::vector<std::string> splitLines(const std::string &text)
{
  std::vector<std::string> lines;
  size_t start = 0;
  while (start < text.size())
  {
    size_t nl = text.find('\n', start);
    if (nl == std::string::npos)
    {
      lines.push_back(text.substr(start));
      break;
    }
    lines.push_back(text.substr(start, nl - start));
    start = nl + 1;
  }
  return lines;
}

std::vector<std::string> environmentWithout(const std::vector<std::string> &names)
{
  std::vector<std::string> env;
  for (char **e = environ; *e; e++)
  {
    bool drop = false;
    for (const std::string &n : names)
      if (strncmp(*e, n.c_str(), n.size()) == 0 && (*e)[n.size()] == '=')
        drop = true;
    if (!drop)
      env.push_back(*e);
  }
  return env;
}

std::vector<char *> execArray(const std::vector<std::string> &strings)
{
  std::vector<char *> array;
  for (const std::string &s : strings)
    array.push_back(const_cast<char *>(s.c_str()));
  array.push_back(nullptr);
  return array;
}

/*
 * 'runBuildShell()' - Run a command line under /bin/sh without the
 * caller's install settings.
 */
ChildResult runBuildShell(const std::string &command, const std::vector<std::string> &extraEnv, int timeout,
                          const std::string &cwd)
{
  ChildOptions o;
  o.argv = {"/bin/sh", "-c", command};
  o.env = environmentWithout({"DESTDIR", "PKG_CONFIG_PATH", "PKG_CONFIG_LIBDIR", "PKG_CONFIG_SYSROOT_DIR"});
  o.env.insert(o.env.end(), extraEnv.begin(), extraEnv.end());
  o.stdinIsDevNull = true;
  o.timeoutSeconds = timeout;
  o.cwd = cwd;
  return runChild(o);
}

/*
 * 'shellQuote()' - Single-quote text for the shell.
 */
std::string shellQuote(const std::string &text)
{
  std::string q = "'";
  for (char ch : text)
    q += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
  return q + "'";
}

/*
 * 'spawnWithLogs()' - Start a program in the background with its output
 * in log files.
 */
pid_t spawnWithLogs(const std::vector<std::string> &args, const std::string &outLog, const std::string &errLog,
                    const std::function<void()> &inChild)
{
  std::vector<char *> argv = execArray(args);
  pid_t pid = fork();
  if (pid == 0)
  {
    int nul = open("/dev/null", O_RDWR);
    int out = open(outLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err = errLog.empty() ? nul : open(errLog.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (nul < 0 || out < 0 || err < 0)
      _exit(127);
    dup2(nul, 0);
    dup2(out, 1);
    dup2(err, 2);
    if (inChild)
      inChild();
    execv(argv[0], argv.data());
    _exit(127);
  }
  return pid;
}
