/*
 * KivVector_unix.cpp - kivruntime: the vector instructions the faster
 * paths may use (see KivVector_unix.h).
 */
#include "KivVector_unix.h"

#include <stdlib.h>

/* Asks the processor once; the answer cannot change while the program
 * runs.  A function-local static is initialised once even when several
 * threads arrive together. */
unsigned int KivVectorFeatures(void)
{
  static const unsigned int s_features = [] {
    unsigned int f = 0;
    if (getenv("KIVRUNTIME_PORTABLE") != nullptr)
      return f;
#if defined(KIV_VECTOR_X86)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("sse2"))
      f |= kKivVectorSSE2;
    if (__builtin_cpu_supports("ssse3"))
      f |= kKivVectorSSSE3;
    if (__builtin_cpu_supports("avx2"))
      f |= kKivVectorAVX2;
#endif
    return f;
  }();
  return s_features;
}
