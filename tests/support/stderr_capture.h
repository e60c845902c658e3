/*
 * stderr_capture.h - capture what this process writes to standard
 * error (descriptor 2) while a piece of code under test runs in-process.
 */
#ifndef CORVANE_TEST_STDERR_CAPTURE_H
#define CORVANE_TEST_STDERR_CAPTURE_H

#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

struct StderrCapture
{
  int saved = -1;
  int fd = -1;
  char path[64];

  /* Points descriptor 2 at a fresh temporary file. */
  void begin()
  {
    snprintf(path, sizeof(path), "/tmp/corvane-stderr-XXXXXX");
    fd = mkstemp(path);
    unlink(path);
    fflush(stderr);
    saved = dup(2);
    dup2(fd, 2);
  }

  /* What has reached the descriptor so far, without flushing anything. */
  std::string peek()
  {
    std::string text;
    struct stat st;
    if (fstat(fd, &st) != 0 || st.st_size <= 0)
      return text;
    text.resize((size_t)st.st_size);
    if (pread(fd, &text[0], text.size(), 0) != (ssize_t)text.size())
      text.clear();
    return text;
  }

  /* Restores descriptor 2 and returns what was written meanwhile. */
  std::string end()
  {
    std::string text;
    char buf[65536];
    ssize_t n;

    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    lseek(fd, 0, SEEK_SET);
    while ((n = read(fd, buf, sizeof(buf))) > 0)
      text.append(buf, (size_t)n);
    close(fd);
    fd = saved = -1;
    return text;
  }
};

#endif
