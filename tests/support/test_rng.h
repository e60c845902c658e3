/*
 * test_rng.h - deterministic pseudo-random numbers for tests that try
 * generated inputs, so that a failure can be repeated from its seed.
 */
#ifndef CORVANE_TEST_RNG_H
#define CORVANE_TEST_RNG_H

#include <stdint.h>

/* An xorshift generator: the same seed gives the same sequence. */
struct Rng
{
  uint32_t s;
  explicit Rng(uint32_t seed)
      : s(seed) {}
  uint32_t Next()
  {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    return s;
  }
  uint32_t Below(uint32_t n) { return Next() % n; }
};

#endif
