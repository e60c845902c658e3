/*
 * host_log.cpp - whole-line output shared by the receiver's threads.
 */
#include "host_log.h"
#include "fd_write.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <unistd.h>

#include <mutex>

static std::mutex g_outputLock;

/* vsnprintf into a std::string of the exact size. */
static std::string vformat(const char *format, va_list args)
{
  va_list copy;
  va_copy(copy, args);
  char small[512];
  int n = vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (n < 0)
    return std::string();
  if ((size_t)n < sizeof small)
    return std::string(small, (size_t)n);
  std::string text((size_t)n + 1, '\0');
  vsnprintf(&text[0], text.size(), format, args);
  text.resize((size_t)n);
  return text;
}

void host_write_line(int fd, const std::string &text)
{
  std::string line = text;
  line += '\n';
  std::lock_guard<std::mutex> hold(g_outputLock);
  /* A failed write is not reported: there is nowhere left to report it. */
  (void)write_all(fd, line.data(), line.size());
}

void host_printf(int fd, const char *format, ...)
{
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  host_write_line(fd, text);
}

std::string host_format(const char *format, ...)
{
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  return text;
}
