/*
 * child_process.h - run a program as a child process with a given
 * environment and standard input, and collect its standard output, standard
 * error and exit status.  Used by every test that runs a real binary.
 */
#ifndef CORVANE_TEST_CHILD_PROCESS_H
#define CORVANE_TEST_CHILD_PROCESS_H

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

#endif
