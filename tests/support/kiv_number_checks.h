/*
 * kiv_number_checks.h - the bounded-writer check shared by the number
 * formatter tests.
 *
 * expectFormatBoth() runs one formatter, given as its narrow and its wide
 * call, at every capacity from 0 to the expected text's length + 3 (so
 * capacity 0, one short and exact are all included) into buffers followed
 * by guard elements, and once with a null destination.  It checks the
 * result (length when the text fitted, length + 1 otherwise), the truncated
 * text, the terminator and that nothing after the terminator changed.  The
 * wide output must be the narrow text widened element by element.
 */
#ifndef CORVANE_TEST_KIV_NUMBER_CHECKS_H
#define CORVANE_TEST_KIV_NUMBER_CHECKS_H

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace number_test {

const unsigned int kGuard = 8;

/* The guard value after a capacity (char or wchar_t); no writer may
   touch it. */
template <class C>
C guardValue()
{
  static_assert(sizeof(C) == sizeof(char) || sizeof(C) == sizeof(wchar_t), "a guard for char or wchar_t");
  return sizeof(C) == 1 ? (C)0xA5 : (C)0x5A5A5A;
}

/* One formatter call at capacity cap: result, text, terminator, guards. */
template <class C>
void checkAt(const std::function<unsigned int(C *, unsigned int)> &f, const std::string &expected, unsigned int cap)
{
  SCOPED_TRACE(std::string(sizeof(C) == 1 ? "narrow" : "wide") + ", capacity " + std::to_string(cap));
  const unsigned int n = (unsigned int)expected.size();
  std::vector<C> buf(cap + kGuard, guardValue<C>());
  const unsigned int result = f(buf.data(), cap);
  unsigned int untouchedFrom = 0;
  if (cap == 0)
  {
    EXPECT_EQ(n + 1, result);
  }
  else if (cap > n)
  {
    EXPECT_EQ(n, result);
    for (unsigned int i = 0; i < n; i++)
      ASSERT_EQ((C)(unsigned char)expected[i], buf[i]) << "at " << i;
    EXPECT_EQ((C)0, buf[n]);
    untouchedFrom = n + 1;
  }
  else
  {
    EXPECT_EQ(n + 1, result);
    for (unsigned int i = 0; i + 1 < cap; i++)
      ASSERT_EQ((C)(unsigned char)expected[i], buf[i]) << "at " << i;
    EXPECT_EQ((C)0, buf[cap - 1]);
    untouchedFrom = cap;
  }
  for (unsigned int i = untouchedFrom; i < cap + kGuard; i++)
    ASSERT_EQ(guardValue<C>(), buf[i]) << "element " << i << " was written";
}

} // namespace number_test

/* Checks one formatter, given as its narrow and its wide call, against
   expected at every capacity and with a null destination. */
inline void expectFormatBoth(const std::function<unsigned int(char *, unsigned int)> &narrow,
                             const std::function<unsigned int(wchar_t *, unsigned int)> &wide, const std::string &expected)
{
  SCOPED_TRACE("expected \"" + expected + "\"");
  const unsigned int n = (unsigned int)expected.size();
  for (unsigned int cap = 0; cap <= n + 3; cap++)
  {
    number_test::checkAt<char>(narrow, expected, cap);
    number_test::checkAt<wchar_t>(wide, expected, cap);
  }
  EXPECT_EQ(n + 1, narrow(nullptr, 0));
  EXPECT_EQ(n + 1, wide(nullptr, 0));
}

/* f is a generic lambda (auto* dest, unsigned int capacity). */
template <class F>
void expectFormat(F f, const std::string &expected)
{
  expectFormatBoth(f, f, expected);
}

#endif
