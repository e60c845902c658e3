/*
 * KivVector_unix.cpp - kivruntime: the vector instructions the faster
 * paths may use (see KivVector_unix.h).
 */
#include "KivVector_unix.h"

#include <stdlib.h>

#include <atomic>

/* Set in s_features once the processor has been asked. */
static const unsigned int kKivVectorKnown = 0x80000000u;

/* The answer, kept in an atomic word rather than a function-local static:
 * such a static's thread-safe initialisation calls into the C++ runtime
 * library, which a program linking the library (the backend among them)
 * would then have to load at every start.  Threads that arrive together
 * may each ask the processor; they all store the same answer. */
static std::atomic<unsigned int> s_features(0);

/* Asks the processor once; the answer cannot change while the program
 * runs. */
unsigned int KivVectorFeatures(void)
{
  unsigned int f = s_features.load(std::memory_order_relaxed);
  if (f & kKivVectorKnown)
    return f & ~kKivVectorKnown;
  f = 0;
  if (getenv("KIVRUNTIME_PORTABLE") == nullptr)
  {
#if defined(KIV_VECTOR_X86)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("sse2"))
      f |= kKivVectorSSE2;
    if (__builtin_cpu_supports("ssse3"))
      f |= kKivVectorSSSE3;
    if (__builtin_cpu_supports("avx2"))
      f |= kKivVectorAVX2;
#endif
  }
  s_features.store(f | kKivVectorKnown, std::memory_order_relaxed);
  return f;
}
