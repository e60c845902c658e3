/*
 * kiv_bench.h - shared pieces of the kivruntime micro-benchmarks.
 *
 * Every benchmark is registered under a name of the form "<Row>/<impl>",
 * where <impl> is "kiv" for the library and the baseline's name otherwise
 * ("glibc", "to_chars", "from_chars", "strtoul", "loop"), so that
 * bench/kiv_summary.py can pair each library run with its baselines and
 * print the ratio table.  Both sides of a row get the same input and report
 * the same byte count, so their throughputs compare directly.
 *
 * The inputs are built once, on first use, from fixed sentences and a fixed
 * pseudo-random sequence, so every run measures the same bytes.
 */
#ifndef KIV_BENCH_H
#define KIV_BENCH_H

#include <benchmark/benchmark.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

/* Size of the text inputs in bytes (UTF-8) or elements. */
enum
{
  kKivBenchTextBytes = 4096
};

/* The kinds of narrow text the converters are measured on. */
enum KivTextKind
{
  kTextAscii,
  kTextEuropean,
  kTextCjk,
  kTextEmoji
};

/* UTF-8 text of the given kind, at least kKivBenchTextBytes long, made of
 * whole sentences (no sequence is cut). */
const std::string &KivBenchText(KivTextKind kind);

/* The same text as wide characters (UCS-4), decoded by the bench itself. */
const std::wstring &KivBenchWide(KivTextKind kind);

/* Short name of a text kind for benchmark names: "Ascii", "European"... */
const char *KivBenchKindName(KivTextKind kind);

/* Deterministic pseudo-random 32-bit sequence (xorshift). */
struct KivBenchRng
{
  uint32_t state;
  explicit KivBenchRng(uint32_t seed)
      : state(seed ? seed : 1) {}
  uint32_t Next()
  {
    uint32_t x = state;
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    state = x;
    return x;
  }
};

/* Stops the run with a message when a library result and its baseline
 * disagree on the bench's own input: a ratio between two programs that do
 * different work would mean nothing. */
inline void KivBenchCheck(bool ok, const char *what)
{
  if (!ok)
  {
    fprintf(stderr, "bench_kivruntime: %s: library and baseline disagree\n", what);
    exit(2);
  }
}

/* Smallest of the repetitions: on a loaded machine other programs only ever
 * add time, so the minimum is the steadiest estimate of the code's own
 * cost.  Reported beside Google Benchmark's mean, median and spread. */
inline double KivBenchMin(const std::vector<double> &v)
{
  return v.empty() ? 0.0 : *std::min_element(v.begin(), v.end());
}

/* Registers a benchmark under "<row>/<impl>" with the extra "min"
 * statistic. */
template <class... Args>
benchmark::internal::Benchmark *KivBenchAdd(const char *name, Args &&...args)
{
  return benchmark::RegisterBenchmark(name, std::forward<Args>(args)...)->ComputeStatistics("min", KivBenchMin);
}

#endif /* KIV_BENCH_H */
