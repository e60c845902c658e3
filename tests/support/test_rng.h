/*
 * test_rng.h - deterministic pseudo-random numbers for tests that try
 * generated inputs, so that a failure can be repeated from its seed.
 */
#ifndef CORVANE_TEST_RNG_H
#define CORVANE_TEST_RNG_H

#include <stdint.h>
#include <string.h>

#include <string>

/* An xorshift generator, the same on every platform: the same seed gives
   the same sequence (seed 0, which xorshift cannot use, counts as 1). */
struct Rng
{
  uint32_t s;
  explicit Rng(uint32_t seed)
      : s(seed ? seed : 1) {}
  uint32_t Next()
  {
    s ^= s << 13;
    s ^= s >> 17;
    s ^= s << 5;
    return s;
  }
  /* A number below n (0 when n is 0). */
  uint32_t Below(uint32_t n) { return n ? Next() % n : 0; }
  /* A string of up to maxLen characters drawn from alphabet. */
  std::string Pick(const char *alphabet, unsigned int maxLen)
  {
    size_t k = strlen(alphabet);
    unsigned int len = Below(maxLen + 1);
    std::string r;
    for (unsigned int i = 0; i < len; i++)
      r.push_back(alphabet[Below((unsigned int)k)]);
    return r;
  }
};

#endif
