/*
 * show_string.h - a narrow or wide string in printable form for failure
 * messages: printable ASCII as it is, every other element as \x{hex}.
 */
#ifndef CORVANE_TEST_SHOW_STRING_H
#define CORVANE_TEST_SHOW_STRING_H

#include <stdint.h>
#include <stdio.h>

#include <string>

/* Printable form of s. */
template <typename C>
std::string Show(const std::basic_string<C> &s)
{
  std::string r;
  char tmp[24];
  for (C c : s)
  {
    unsigned long v = (unsigned long)(uint32_t)c;
    if (sizeof(C) == 1)
      v &= 0xFF;
    if (v >= 0x20 && v < 0x7F && v != '\\')
    {
      r.push_back((char)v);
    }
    else
    {
      snprintf(tmp, sizeof tmp, "\\x{%lX}", v);
      r += tmp;
    }
  }
  return r;
}

#endif
