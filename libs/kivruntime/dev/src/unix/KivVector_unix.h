/*
 * KivVector_unix.h - kivruntime: which vector instructions the library's
 * faster paths may use on this processor.  Private to the library (its
 * .cpp files include it; programs do not).
 *
 * Every path that uses them has a plain C++ twin that gives the same
 * results byte for byte and is used wherever they are missing.  Setting
 * the environment variable KIVRUNTIME_PORTABLE (to anything) before the
 * first call makes the library use the plain paths only, so that both can
 * be run on one machine.
 */
#ifndef KIVVECTOR_UNIX_H
#define KIVVECTOR_UNIX_H

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#define KIV_VECTOR_X86 1
#endif

enum
{
  kKivVectorSSE2 = 1,  /* 16-byte compares and masks */
  kKivVectorSSSE3 = 2, /* byte shuffles and the multiply-adds of bytes */
  kKivVectorAVX2 = 4,  /* 32-byte integer instructions */
};

/* The kKivVector... bits usable here (0 off x86 or with KIVRUNTIME_PORTABLE
 * set); worked out once, on the first call. */
unsigned int KivVectorFeatures(void);

#endif /* KIVVECTOR_UNIX_H */
