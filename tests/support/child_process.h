/*
 * child_process.h - run a program as a child process with a given
 * environment and standard input, and collect its standard output, standard
 * error and exit status.  Used by every test that runs a real binary.
 */
#ifndef CORVANE_TEST_CHILD_PROCESS_H
#define CORVANE_TEST_CHILD_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

struct ChildOptions
{
  std::vector<std::string> argv; /* argv[0] is the program's path */
  std::vector<std::string> env;  /* the whole environment, "K=V" */
  std::string stdinData;         /* written to the child's stdin, then closed */
  bool stdinIsDevNull = false;   /* stdin from /dev/null instead */
  int timeoutSeconds = 60;       /* SIGKILL after this long */
  std::string cwd;               /* working directory; empty: inherit */
};

struct ChildResult
{
  bool exited = false;   /* ended through exit() */
  int exitStatus = -1;   /* its status, when exited */
  int termSignal = 0;    /* the signal that ended it, when not exited */
  bool timedOut = false; /* killed because it ran past its time */
  std::string out;       /* everything written to stdout */
  std::string err;       /* everything written to stderr */
};

ChildResult runChild(const ChildOptions &options);

/* The strings as the null-terminated array of pointers that execve()
   takes; the pointers stay valid while the strings do. */
std::vector<char *> execArray(const std::vector<std::string> &strings);

/* Splits text into lines at '\n'; a final line without '\n' is kept. */
std::vector<std::string> splitLines(const std::string &text);

/* The environment of this process minus the listed names, as "K=V" strings. */
std::vector<std::string> environmentWithout(const std::vector<std::string> &names);

/* Starts args[0] with args in the background: stdin from /dev/null,
   stdout to outLog, stderr to errLog (empty: /dev/null); inChild, when
   given, runs in the child just before exec (descriptors, environment).
   Returns the child's pid, or -1 when fork fails; a child that cannot open
   its logs or exec exits with status 127. */
pid_t spawnWithLogs(const std::vector<std::string> &args, const std::string &outLog, const std::string &errLog,
                    const std::function<void()> &inChild = nullptr);

/* Runs a shell command line as the install and packaging tests do: no
   DESTDIR or pkg-config settings of the caller's, extraEnv added, stdin
   from /dev/null, in cwd (when given); returns its result. */
ChildResult runBuildShell(const std::string &command, const std::vector<std::string> &extraEnv = {},
                          int timeout = 600, const std::string &cwd = std::string());

/* text single-quoted for the shell. */
std::string shellQuote(const std::string &text);

#endif
