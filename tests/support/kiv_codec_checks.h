/*
 * kiv_codec_checks.h - helpers shared by the codec tests: guarded
 * buffers and a check of the bounded-writer rule at every capacity.
 */
#ifndef TEST_CODEC_SUPPORT_H
#define TEST_CODEC_SUPPORT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "KivString_unix.h"
#include "show_string.h"

namespace codec_test {

/* Guard values placed after the capacity; a writer must never touch them. */
template <typename T>
inline T Guard()
{
  static_assert(std::is_same<T, char>::value || std::is_same<T, wchar_t>::value ||
                  std::is_same<T, unsigned char>::value,
                "a guard for char, wchar_t or unsigned char");
  return std::is_same<T, unsigned char>::value ? (T)0xA5 : sizeof(T) == 1 ? (T)0x5A
                                                                          : (T)0x5A5A5A5A;
}

/* Wide string from ASCII text. */
inline std::wstring W(const std::string &s)
{
  std::wstring r;
  for (unsigned char c : s)
    r.push_back((wchar_t)c);
  return r;
}

/* String of either element type from bytes (each byte one element). */
template <typename T>
std::basic_string<T> A(const std::string &s)
{
  std::basic_string<T> r;
  for (unsigned char c : s)
    r.push_back((T)c);
  return r;
}
template <>
inline std::string A<char>(const std::string &s)
{
  return s;
}

template <typename T>
using Writer = std::function<unsigned int(T *, unsigned int)>;

/*
 * Checks a text writer against the bounded-writer rule for every capacity
 * from 0 to two past the exact one.  `full` is the complete output;
 * `boundaries` lists the output lengths at which an item ends (empty: every
 * element is an item).  At a short capacity the writer must have stored the
 * longest whole-item prefix that fits before the terminator, the terminator,
 * and nothing else: every element after it, inside and outside the
 * capacity, keeps its guard value.
 */
template <typename T>
void CheckAllCapacities(const Writer<T> &f, const std::basic_string<T> &full,
                        std::vector<size_t> boundaries = {})
{
  const size_t size = full.size();
  if (boundaries.empty())
    for (size_t k = 0; k <= size; k++)
      boundaries.push_back(k);
  ASSERT_EQ(boundaries.front(), 0u);
  ASSERT_EQ(boundaries.back(), size);

  EXPECT_EQ(f(nullptr, 0), size + 1) << "measuring with a null destination";

  for (size_t cap = 0; cap <= size + 2; cap++)
  {
    std::vector<T> buf(size + 8, Guard<T>());
    unsigned int r = f(buf.data(), (unsigned int)cap);
    SCOPED_TRACE("capacity " + std::to_string(cap) + " of output \"" + Show(full) + "\"");
    if (cap > size)
    {
      EXPECT_EQ(r, size);
      EXPECT_EQ(std::basic_string<T>(buf.data(), size), full);
      EXPECT_EQ(buf[size], (T)0);
      for (size_t k = size + 1; k < buf.size(); k++)
        EXPECT_EQ(buf[k], Guard<T>()) << "at " << k;
      continue;
    }
    EXPECT_EQ(r, size + 1);
    if (cap == 0)
    {
      for (size_t k = 0; k < buf.size(); k++)
        EXPECT_EQ(buf[k], Guard<T>()) << "at " << k;
      continue;
    }
    size_t kept = 0;
    for (size_t b : boundaries)
      if (b <= cap - 1)
        kept = b;
    EXPECT_EQ(std::basic_string<T>(buf.data(), kept), full.substr(0, kept));
    EXPECT_EQ(buf[kept], (T)0);
    for (size_t k = kept + 1; k < buf.size(); k++)
      EXPECT_EQ(buf[k], Guard<T>()) << "at " << k;
  }
}

/* Runs a text writer once with ample room and returns its output; expects a
 * result equal to the output length. */
template <typename T>
std::basic_string<T> Output(const Writer<T> &f)
{
  unsigned int need = f(nullptr, 0);
  EXPECT_GE(need, 1u);
  std::vector<T> buf(need + 4, Guard<T>());
  unsigned int r = f(buf.data(), need);
  EXPECT_EQ(r, need - 1);
  if (r >= need)
    return std::basic_string<T>();
  EXPECT_EQ(buf[r], (T)0);
  EXPECT_EQ(buf[need], Guard<T>());
  return std::basic_string<T>(buf.data(), r);
}

/* Fixed-seed random bytes, so a failure can be replayed. */
inline std::string RandomBytes(std::mt19937 &rng, size_t n)
{
  std::string s(n, '\0');
  for (size_t k = 0; k < n; k++)
    s[k] = (char)(unsigned char)(rng() & 0xFF);
  return s;
}

} /* namespace codec_test */

#endif /* TEST_CODEC_SUPPORT_H */
