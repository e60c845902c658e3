/*
 * fuzz_support.h - small helpers shared by the fuzz targets.
 *
 * FUZZ_CHECK: an invariant that must hold whatever the input; a violation
 * prints where and why, then abort()s, which libFuzzer records as a crash
 * and the replay program as a failed test.
 *
 * FuzzInput: takes typed values off the front of the fuzzer's bytes
 * (capacities, lengths, option bits), so one input drives both the
 * parameters and the data of a call.  Once the bytes run out every value
 * reads as zero, so any input is usable.
 *
 * Guarded buffers: a writer is called twice with the same capacity, once
 * into an exactly-sized heap block (AddressSanitizer flags the first byte
 * beyond it) and once into a block with guard elements after the capacity
 * filled with a fixed pattern (checked afterwards, so an overrun is caught
 * in builds without a sanitizer too).
 */
#ifndef CORVANE_FUZZ_SUPPORT_H
#define CORVANE_FUZZ_SUPPORT_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

/* Prints the failed condition and its place, then aborts.  The line goes
   straight to descriptor 2: a target may have pointed the stderr stream
   elsewhere while the code under test runs. */
[[noreturn]] static inline void fuzzFail(const char *what, const char *file, int line,
                                         const char *detail)
{
  dprintf(2, "fuzz invariant failed: %s (%s:%d)%s%s\n", what, file, line,
          detail && *detail ? ": " : "", detail ? detail : "");
  abort();
}

#define FUZZ_CHECK(cond)                         \
  do                                             \
  {                                              \
    if (!(cond))                                 \
      fuzzFail(#cond, __FILE__, __LINE__, NULL); \
  } while (0)
#define FUZZ_CHECK_MSG(cond, detail)                 \
  do                                                 \
  {                                                  \
    if (!(cond))                                     \
      fuzzFail(#cond, __FILE__, __LINE__, (detail)); \
  } while (0)

/* Typed values taken from the front of the input. */
struct FuzzInput
{
  const uint8_t *data;
  size_t size;

  FuzzInput(const uint8_t *d, size_t n)
      : data(d), size(n) {}

  uint8_t u8()
  {
    if (!size)
      return 0;
    size--;
    return *data++;
  }

  uint16_t u16()
  {
    uint16_t v = u8();
    return (uint16_t)(v | (uint16_t)(u8() << 8));
  }

  uint32_t u32()
  {
    uint32_t v = u16();
    return v | ((uint32_t)u16() << 16);
  }

  /* A value in 0 .. limit (inclusive), mostly small: small capacities are
     where truncation happens. */
  size_t upTo(size_t limit)
  {
    uint8_t sel = u8();
    size_t v = (sel & 0x80) ? u16() : (size_t)(sel & 0x7F);
    return limit ? v % (limit + 1) : 0;
  }

  /* n bytes (fewer when the input ends), as a byte string. */
  std::string bytes(size_t n)
  {
    if (n > size)
      n = size;
    std::string s((const char *)data, n);
    data += n;
    size -= n;
    return s;
  }

  /* The rest of the input. */
  std::string rest() { return bytes(size); }

  /* A length-prefixed piece (one byte of length, 0 .. 255). */
  std::string piece() { return bytes(u8()); }
};

/* Guard elements after the capacity of a guarded buffer. */
#define FUZZ_GUARD 16

/* The pattern of guard element i: not 0, not a character any writer is
   likely to produce at that place. */
template <typename T>
static inline T fuzzGuardValue(size_t i)
{
  return (T)(0x5A + (i * 7) % 31);
}

/* A buffer of capacity elements followed by FUZZ_GUARD guard elements;
   the usable part is filled with a marker first, so a writer that leaves
   elements untouched is visible too. */
template <typename T>
struct GuardedBuffer
{
  std::vector<T> store;
  size_t capacity;

  explicit GuardedBuffer(size_t cap, T fill = (T)0x33)
      : store(cap + FUZZ_GUARD), capacity(cap)
  {
    for (size_t i = 0; i < cap; i++)
      store[i] = fill;
    for (size_t i = 0; i < FUZZ_GUARD; i++)
      store[cap + i] = fuzzGuardValue<T>(i);
  }

  T *data() { return store.data(); }

  /* True when no guard element was touched. */
  bool guardsIntact() const
  {
    for (size_t i = 0; i < FUZZ_GUARD; i++)
      if (store[capacity + i] != fuzzGuardValue<T>(i))
        return false;
    return true;
  }
};

/* An exactly-sized heap block (null for capacity 0, as a caller with no
   room would pass), freed when it goes out of scope. */
template <typename T>
struct ExactBuffer
{
  T *p;
  size_t capacity;

  explicit ExactBuffer(size_t cap)
      : p(cap ? (T *)malloc(cap * sizeof(T)) : NULL), capacity(cap)
  {
    for (size_t i = 0; i < cap; i++)
      p[i] = (T)0x33;
  }
  ~ExactBuffer() { free(p); }
  ExactBuffer(const ExactBuffer &) = delete;
  ExactBuffer &operator=(const ExactBuffer &) = delete;
};

/* Length of a zero-terminated string of elements within n elements, or n. */
template <typename T>
static inline size_t fuzzBoundedLength(const T *s, size_t n)
{
  size_t i = 0;
  while (i < n && s[i] != 0)
    i++;
  return i;
}

#endif
