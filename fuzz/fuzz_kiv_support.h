/*
 * fuzz_kiv_support.h - checking the library's bounded writers.
 *
 * A bounded writer takes (destination, capacity) and returns the elements
 * written when everything fitted, otherwise the capacity that would have
 * sufficed (needed + 1); with capacity 0 (or no destination) it only
 * measures.  checkWriter() runs one writer, given as a callable
 * (C* dst, unsigned cap) -> unsigned, at every capacity that matters for
 * the input at hand and checks:
 *
 *   - measuring (null destination, and a real one with capacity 0) writes
 *     nothing and gives needed + 1;
 *   - filling with exactly that capacity gives needed and a terminated
 *     result: the measuring call's result equals the filling call's + 1;
 *   - at the capacity taken from the input, the result is below the
 *     capacity exactly when everything fitted; a cut result is a
 *     terminated prefix of the full one, ending at an item boundary (when
 *     the caller knows the items) or exactly at capacity - 1 (one element
 *     per item);
 *   - nothing is ever written at or past the capacity: each call goes to an
 *     exactly-sized heap block (AddressSanitizer) and to a block with guard
 *     elements (checked afterwards);
 *   - nothing is written after the terminator either.
 *
 * It returns the full output, which the caller compares with a reference
 * or feeds into the inverse function.
 */
#ifndef CORVANE_FUZZ_KIV_SUPPORT_H
#define CORVANE_FUZZ_KIV_SUPPORT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>
#include <wchar.h>

#include <string>
#include <vector>

#include "fuzz_support.h"

/* The marker a fresh destination element holds before a call. */
template <typename C>
static inline C fuzzMarker()
{
  return (C)0x33;
}

/* How a cut result must end. */
enum WriterCut
{
  CUT_UNITS, /* one element per item: exactly capacity - 1 elements */
  CUT_ITEMS, /* at the last item boundary that fits (ends given) */
  CUT_ANY    /* a prefix of at most capacity - 1 elements */
};

/* The items of an expected output: their elements and their ends. */
template <typename C>
struct Items
{
  std::vector<C> all;
  std::vector<size_t> ends; /* end offset of each item, increasing */

  void add(const C *p, size_t n)
  {
    all.insert(all.end(), p, p + n);
    ends.push_back(all.size());
  }
  void add(C c) { add(&c, 1); }
  void addText(const char *s)
  {
    std::vector<C> v;
    for (; *s; s++)
      v.push_back((C)(unsigned char)*s);
    add(v.data(), v.size());
  }
};

/* Length written at capacity cap under the item rule: the end of the last
   item that fits in cap - 1. */
template <typename C>
static inline size_t itemCut(const Items<C> &items, size_t cap)
{
  size_t k = 0;
  for (size_t e : items.ends)
  {
    if (e > cap - 1)
      break;
    k = e;
  }
  return k;
}

/* Checks one filling call's buffer: the first k elements are want's, then
   the terminator, then untouched markers up to the capacity. */
template <typename C>
static inline void checkFilled(const C *buf, size_t cap, const std::vector<C> &want, size_t k,
                               bool tail = true)
{
  FUZZ_CHECK(k < cap && k <= want.size());
  FUZZ_CHECK_MSG(k == 0 || memcmp(buf, want.data(), k * sizeof(C)) == 0,
                 "the written elements are not the output's");
  FUZZ_CHECK_MSG(buf[k] == 0, "the result is not terminated where it ends");
  for (size_t i = k + 1; tail && i < cap; i++)
    FUZZ_CHECK_MSG(buf[i] == fuzzMarker<C>(), "an element after the terminator was written");
}

/* Runs the writer at capacity cap into both kinds of buffer; returns the
   result and leaves the guarded buffer's content in *out. */
template <typename C, typename F>
static inline unsigned int runWriter(F &call, size_t cap, std::vector<C> *out)
{
  ExactBuffer<C> exact(cap);
  GuardedBuffer<C> guarded(cap, fuzzMarker<C>());
  unsigned int r1 = call(exact.p, (unsigned int)cap);
  unsigned int r2 = call(guarded.data(), (unsigned int)cap);

  FUZZ_CHECK_MSG(r1 == r2, "the same call gave two results");
  FUZZ_CHECK_MSG(guarded.guardsIntact(), "written past the capacity");
  FUZZ_CHECK(cap == 0 || memcmp(exact.p, guarded.data(), cap * sizeof(C)) == 0);
  out->assign(guarded.store.begin(), guarded.store.begin() + (ptrdiff_t)cap);
  return r1;
}

/*
 * checkWriter - see the top of this file.  cap is the capacity chosen by
 * the input; items (may be null) is the expected output with its item
 * boundaries, compared when given.  maxNeeded bounds the sizes the check
 * will allocate (larger outputs are only measured).
 */
template <typename C, typename F>
static inline std::vector<C> checkWriter(F call, size_t cap, WriterCut cut, const Items<C> *items,
                                         size_t maxNeeded = 1u << 20)
{
  std::vector<C> buf;

  unsigned int measured = call((C *)NULL, 0);
  FUZZ_CHECK_MSG(measured >= 1, "measuring gave 0");
  FUZZ_CHECK(runWriter(call, 0, &buf) == measured);
  FUZZ_CHECK(call((C *)NULL, 5) == measured);
  size_t needed = measured - 1;
  if (items)
    FUZZ_CHECK_MSG(needed == items->all.size(), "the measured size is not the output's");
  if (needed > maxNeeded)
    return std::vector<C>();

  /* Exactly the capacity the measuring call asked for. */
  FUZZ_CHECK_MSG(runWriter(call, measured, &buf) == needed, "filling at the measured capacity failed");
  std::vector<C> full(buf.begin(), buf.begin() + (ptrdiff_t)needed);
  checkFilled(buf.data(), measured, full, needed);
  if (items)
    FUZZ_CHECK_MSG(full == items->all, "the output differs from the expected one");

  /* The input's capacity, and the one just too small. */
  size_t caps[2] = {cap, needed};
  for (size_t c : caps)
  {
    if (c > needed + 64)
      c = needed + 64;
    unsigned int r = runWriter(call, c, &buf);
    if (c > needed)
    {
      FUZZ_CHECK_MSG(r == needed, "everything fitted but the result is not the length");
      checkFilled(buf.data(), c, full, needed);
    }
    else
    {
      FUZZ_CHECK_MSG(r == measured, "the output was cut but the result is not needed + 1");
      if (c == 0)
        continue;
      size_t k;
      if (cut == CUT_UNITS)
        k = c - 1;
      else if (cut == CUT_ITEMS && items)
        k = itemCut(*items, c);
      else
      {
        /* The first zero: the terminator, or a zero of the output's own
           (then only the prefix before it can be checked). */
        k = 0;
        while (k < c && buf[k] != 0)
          k++;
        FUZZ_CHECK_MSG(k < c, "a cut result is not terminated");
      }
      checkFilled(buf.data(), c, full, k, cut != CUT_ANY);
    }
  }
  return full;
}

/* A narrow byte string as elements of C (bytes zero-extended). */
template <typename C>
static inline std::vector<C> widen(const std::string &s)
{
  std::vector<C> v;
  for (unsigned char c : s)
    v.push_back((C)c);
  return v;
}

/* A wide string from input bytes: mostly ASCII and Latin-1 values, with
   some code points of other planes, surrogates, values above U+10FFFF and
   negative values, chosen by the top bits of each 16-bit piece. */
static inline std::vector<wchar_t> wideFrom(const std::string &s)
{
  std::vector<wchar_t> v;
  for (size_t i = 0; i < s.size(); i += 2)
  {
    unsigned int lo = (unsigned char)s[i];
    unsigned int hi = i + 1 < s.size() ? (unsigned char)s[i + 1] : 0;
    uint32_t c;
    switch (hi >> 5)
    {
      case 0:
      case 1:
      case 2: c = lo & 0x7F; break;                                   /* ASCII */
      case 3: c = lo; break;                                          /* Latin-1 */
      case 4: c = ((hi & 0x1F) << 8) | lo; break;                     /* below U+2000 */
      case 5: c = 0xD800u + (((hi & 0x1F) << 8 | lo) & 0x7FF); break; /* surrogates */
      case 6: c = ((hi & 0x1F) << 16) | (lo << 8) | lo; break;        /* other planes */
      default: c = (hi & 1) ? 0x80000000u | lo : 0x7FFF0000u | (hi << 8) | lo; break;
    }
    v.push_back((wchar_t)c);
  }
  return v;
}

#endif
