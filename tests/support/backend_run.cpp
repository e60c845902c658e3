/*
 * backend_run.cpp - running the built backend and the texts it writes.
 */
#include "backend_run.h"
#include "test_files.h"

#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <regex>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

std::string backendPath()
{
  return std::string(CORVANE_BIN_DIR) + "/CorvaneBackend";
}

std::vector<std::string> backendArgv(const std::vector<std::string> &args)
{
  std::vector<std::string> argv(1, backendPath());
  argv.insert(argv.end(), args.begin(), args.end());
  return argv;
}

std::string normalizeAddresses(const std::string &log)
{
  static const std::regex address(
    "(DEBUG: CorvaneBackend\\.getPrinterName - (?:http|ipp_t\\* request): 0x)"
    "0*[1-9A-F][0-9A-F]*\n");
  return std::regex_replace(log, address, "$1<HEX>\n");
}

std::string banner(int argc)
{
  return "\n\n\"*** CorvaneBackend STARTED (" + std::to_string(argc) + ") ***\"\n\n";
}

std::string lookupLines(const char *printer, bool connected)
{
  std::string s = std::string("DEBUG: CorvaneBackend.getPrinterName - getenv(PRINTER): ") +
                  (printer ? printer : "(null)") + "\n";
  if (printer)
    s += std::string("DEBUG: CorvaneBackend.getPrinterName - http: 0x") +
         (connected ? "<HEX>" : "0") + "\n"
                                       "DEBUG: CorvaneBackend.getPrinterName - ipp_t* request: 0x<HEX>\n";
  return s;
}

std::string lookupNoResponse()
{
  return "DEBUG: CorvaneBackend.getPrinterName - \"cupsDoRequest FAILED\"\n";
}

std::string lookupFailed(const std::string &statusText)
{
  return "DEBUG: CorvaneBackend - getPrinterName failed: " + statusText + "\n";
}

std::string nameLine(const char *name)
{
  return std::string("DEBUG: CorvaneBackend - getPrinterName(): \"") + (name ? name : "(null)") +
         "\"\n";
}

std::string discoveryLine(const std::string &name)
{
  return "direct CorvaneBackend://Corvane/Corvane_Generic_Printer \"Corvane Generic Driver\" \"" +
         name + "\" \"MFG:Corvane;MODEL:" + name + ";\"";
}

std::string discoveryDebugLine(const std::string &name)
{
  return "DEBUG: " + discoveryLine(name) + "\n";
}

std::string usageLine()
{
  return "Usage: CorvaneBackend job user title copies options [filename]\n";
}

std::string copiesLine(const std::string &argv4)
{
  return "DEBUG: CorvaneBackend - argv[4] The number of copies to print \"" + argv4 + "\"\n";
}

std::string openFailedLine(const std::string &systemText)
{
  return "DEBUG: \"CorvaneBackend - Unable to open print file: " + systemText + "\"\n";
}

std::string connectFailedLines(const std::string &path, const std::string &systemText)
{
  return "Connecting to " + path + " failed: " + systemText + "\n" +
         "DEBUG: CorvaneBackend - socket_connect FAILED\n";
}

std::string finishedLine()
{
  return "DEBUG: \"CorvaneBackend finished with CUPS_BACKEND_OK\"\n";
}

pid_t spawnWithStdin(const std::vector<std::string> &argv, const std::vector<std::string> &env,
                     int stdinFd, const std::string &outPath, const std::string &errPath)
{
  std::vector<char *> av = execArray(argv), ev = execArray(env);
  int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (out < 0 || err < 0)
  {
    if (out >= 0)
      close(out);
    if (err >= 0)
      close(err);
    return -1;
  }
  pid_t pid = fork();
  if (pid == 0)
  {
    dup2(stdinFd, 0);
    dup2(out, 1);
    dup2(err, 2);
    for (int fd = 3; fd < 1024; fd++)
      close(fd);
    signal(SIGPIPE, SIG_DFL);
    execve(av[0], av.data(), ev.data());
    _exit(127);
  }
  close(out);
  close(err);
  return pid;
}

void waitSpawned(pid_t pid, int timeoutSeconds, const std::string &outPath,
                 const std::string &errPath, ChildResult *result)
{
  *result = ChildResult();
  if (pid <= 0)
    return;
  double deadline = monotonicNow() + timeoutSeconds;
  int status = 0;
  for (;;)
  {
    pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == pid)
      break;
    if (r < 0 && errno != EINTR)
      return;
    if (monotonicNow() > deadline)
    {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      result->timedOut = true;
      break;
    }
    usleep(5000);
  }
  if (WIFEXITED(status))
  {
    result->exited = true;
    result->exitStatus = WEXITSTATUS(status);
  }
  else if (WIFSIGNALED(status))
    result->termSignal = WTERMSIG(status);
  result->out = readFileText(outPath);
  result->err = readFileText(errPath);
}

double monotonicNow()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

/*
 * 'runLookup()' - Run the backend's printer lookup against a scheduler.
 */
ChildResult runLookup(const std::string &server, const char *printer, int timeoutSeconds, double *elapsed)
{
  ChildOptions o;
  o.argv = backendArgv({});
  o.env = environmentWithout({"PRINTER", "CUPS_SERVER", "CUPS_ENCRYPTION", "IPP_PORT"});
  o.env.push_back("CUPS_SERVER=" + server);
  if (printer)
    o.env.push_back(std::string("PRINTER=") + printer);
  o.stdinIsDevNull = true;
  o.timeoutSeconds = timeoutSeconds;
  double start = monotonicNow();
  ChildResult r = runChild(o);
  if (elapsed)
    *elapsed = monotonicNow() - start;
  return r;
}
