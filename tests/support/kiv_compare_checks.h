/*
 * kiv_compare_checks.h - helpers shared by the comparison, search and
 * wildcard tests: a scoped locale switch, the not-found value and wide
 * strings built from raw values.
 */
#ifndef TEST_COMPARE_SUPPORT_H
#define TEST_COMPARE_SUPPORT_H

#include <gtest/gtest.h>

#include <locale.h>
#include <string>
#include <vector>

#include "KivString_unix.h"

namespace compare_test {

/* (unsigned)-1: "not found", and the "measure up to the terminator" length. */
const unsigned int NF = (unsigned int)-1;
const unsigned int ALL = (unsigned int)-1;

/* Switches LC_ALL for the lifetime of the object and restores the previous
 * locale afterwards, so that a failing test cannot leak its locale. */
class LocaleScope
{
public:
  explicit LocaleScope(const char *name)
  {
    const char *cur = setlocale(LC_ALL, nullptr);
    saved_ = cur ? cur : "C";
    ok_ = setlocale(LC_ALL, name) != nullptr;
  }
  ~LocaleScope() { setlocale(LC_ALL, saved_.c_str()); }
  bool ok() const { return ok_; }

private:
  std::string saved_;
  bool ok_;
};

/* The two locales in which narrow results differ: single bytes ("C") and
 * UTF-8 ("C.UTF-8"). */
#define COMPARE_IN_LOCALE(name)                 \
  compare_test::LocaleScope localeScope_(name); \
  ASSERT_TRUE(localeScope_.ok()) << "locale " << (name) << " is not available"

/* A zero-terminated wide string from raw 32-bit values (values that are not
 * characters, negative ones included). */
inline std::vector<wchar_t> WideOf(std::initializer_list<unsigned int> values)
{
  std::vector<wchar_t> r;
  for (unsigned int v : values)
    r.push_back((wchar_t)v);
  r.push_back(0);
  return r;
}

} // namespace compare_test

#endif /* TEST_COMPARE_SUPPORT_H */
