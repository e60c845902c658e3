/*
 * kiv_edit_checks.h - helpers shared by the editing tests: strings of
 * either element type from ASCII text, destination buffers with guard
 * elements after the capacity, stderr capture, and a watchdog that fails a
 * test whose calls do not come back in time.
 */
#ifndef TEST_EDIT_SUPPORT_H
#define TEST_EDIT_SUPPORT_H

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "KivString_unix.h"
#include "show_string.h"
#include "stderr_capture.h"
#include "test_rng.h"

namespace edit_test {

const unsigned int kAll = 0xFFFFFFFFu; /* the "measure it" length */

/* The element types every test runs for. */
typedef ::testing::Types<char, wchar_t> ElementTypes;

/* Guard value placed after a capacity; no writer may touch it. */
template <typename C>
inline C Guard()
{
  static_assert(sizeof(C) == sizeof(char) || sizeof(C) == sizeof(wchar_t), "a guard for char or wchar_t");
  return sizeof(C) == 1 ? (C)0x7F : (C)0x7F7F7F7F;
}

/* String of either element type from bytes, one element per byte. */
template <typename C>
std::basic_string<C> S(const char *s, size_t n)
{
  std::basic_string<C> r;
  for (size_t i = 0; i < n; i++)
    r.push_back((C)(unsigned char)s[i]);
  return r;
}
template <typename C>
std::basic_string<C> S(const char *s)
{
  return S<C>(s, strlen(s));
}
template <typename C>
std::basic_string<C> S(const std::string &s)
{
  return S<C>(s.data(), s.size());
}

/*
 * Buf - a destination of `cap` elements followed by kGuard guard elements;
 * all of it starts out as the guard value, or holds `init` (terminated) at
 * its start.
 */
template <typename C>
struct Buf
{
  static const unsigned int kGuard = 16;
  std::vector<C> v;
  unsigned int cap;

  explicit Buf(unsigned int c)
      : v(c + kGuard, Guard<C>()), cap(c) {}
  Buf(unsigned int c, const std::basic_string<C> &init)
      : v(c + kGuard, Guard<C>()), cap(c)
  {
    for (size_t i = 0; i < init.size(); i++)
      v[i] = init[i];
    v[init.size()] = 0;
  }

  C *p() { return v.data(); }

  /* True when every element from index `from` on still holds the guard. */
  bool UntouchedFrom(size_t from) const
  {
    for (size_t i = from; i < v.size(); i++)
      if (v[i] != Guard<C>())
        return false;
    return true;
  }
  /* The elements after the capacity are untouched. */
  bool GuardsIntact() const { return UntouchedFrom(cap); }
  /* Nothing at all was written. */
  bool Untouched() const { return UntouchedFrom(0); }

  /* The string at the start, up to its terminator (or the capacity). */
  std::basic_string<C> Str() const
  {
    std::basic_string<C> r;
    for (size_t i = 0; i < cap && v[i] != 0; i++)
      r.push_back(v[i]);
    return r;
  }
  /* True when a terminator lies inside the capacity. */
  bool Terminated() const
  {
    for (size_t i = 0; i < cap; i++)
      if (v[i] == 0)
        return true;
    return false;
  }
};


/*
 * RunsWithin - runs fn on its own thread and waits at most `seconds` for it.
 * A call that never returns cannot be stopped from outside, so on timeout
 * the test program ends at once with a message instead of hanging.
 */
inline void RunsWithin(int seconds, const std::function<void()> &fn)
{
  std::packaged_task<void()> task(fn);
  std::future<void> done = task.get_future();
  std::thread worker(std::move(task));
  if (done.wait_for(std::chrono::seconds(seconds)) != std::future_status::ready)
  {
    fprintf(stdout, "calls did not return within %d seconds\n", seconds);
    fflush(stdout);
    _exit(1);
  }
  worker.join();
  done.get();
}


} /* namespace edit_test */

#endif /* TEST_EDIT_SUPPORT_H */
