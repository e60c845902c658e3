/*
 * kiv_number.cpp - integer formatting and parsing against the C++ and C
 * libraries.
 *
 *   IntFormat_<type>_<radix>   KivDWORD2Str / KivLONG2Str / KivQWORD2Str /
 *                              KivLONGLONG2Str vs std::to_chars (plus the
 *                              terminator the library always writes),
 *                              inlined into the loop as a C++ caller gets
 *                              it ("to_chars") and behind an out-of-line
 *                              call like a library function ("to_chars_call")
 *   IntParse_<type>_<radix>    KivStr2DWORD / KivStr2LONGLONG vs
 *                              std::from_chars and strtoul / strtoll
 *
 * Each iteration formats or parses a fixed set of 1024 values whose number
 * of digits is spread evenly over the type's range, so short and long
 * numbers weigh alike.  Bytes processed are the characters of the text.
 */
#include "kiv_bench.h"

#include "KivString_unix.h"

#include <charconv>
#include <string.h>

namespace {

enum
{
  kValues = 1024
};

/* 1024 values of T whose bit lengths cycle through 1 .. the type's width,
 * with random bits below the top one; signed types get every other value
 * negated. */
template <class T>
const std::vector<T> &Values()
{
  static const std::vector<T> v = [] {
    typedef typename std::make_unsigned<T>::type U;
    const int bits = (int)sizeof(T) * 8 - (std::is_signed<T>::value ? 1 : 0);
    KivBenchRng rng(0x1234567u + (uint32_t)sizeof(T));
    std::vector<T> out;
    for (int i = 0; i < kValues; i++)
    {
      int b = 1 + i % bits;
      uint64_t r = ((uint64_t)rng.Next() << 32) | rng.Next();
      uint64_t x = b >= 64 ? r : ((r & ((1ull << b) - 1)) | (1ull << (b - 1)));
      U u = (U)x;
      if (std::is_signed<T>::value && (i & 1))
        out.push_back((T)((T)0 - (T)u));
      else
        out.push_back((T)u);
    }
    return out;
  }();
  return v;
}

/* The library's formatter for each type. */
unsigned int KivFormat(unsigned int v, char *d, unsigned int cap, int radix)
{
  return KivDWORD2Str(v, d, cap, radix);
}
unsigned int KivFormat(int v, char *d, unsigned int cap, int radix)
{
  return KivLONG2Str(v, d, cap, radix);
}
unsigned int KivFormat(unsigned long long v, char *d, unsigned int cap, int radix)
{
  return KivQWORD2Str(v, d, cap, radix);
}
unsigned int KivFormat(long long v, char *d, unsigned int cap, int radix)
{
  return KivLONGLONG2Str(v, d, cap, radix);
}

/* The text the library must give: radix 10 signed, every other radix the
 * value's bits as unsigned. */
template <class T>
std::string Expected(T v, int radix)
{
  char b[80];
  std::to_chars_result r;
  if (radix == 10)
    r = std::to_chars(b, b + sizeof b, v, 10);
  else
    r = std::to_chars(b, b + sizeof b, (typename std::make_unsigned<T>::type)v, radix);
  std::string s(b, r.ptr);
  for (char &c : s)
    if (c >= 'a' && c <= 'z')
      c = (char)(c - 'a' + 'A');
  return s;
}

template <class T>
int64_t TextBytes(int radix)
{
  int64_t n = 0;
  for (T v : Values<T>())
    n += (int64_t)Expected(v, radix).size();
  return n;
}

template <class T>
void FormatKiv(benchmark::State &st, int radix)
{
  const std::vector<T> &vals = Values<T>();
  char buf[80];
  for (T v : vals)
  {
    unsigned int n = KivFormat(v, buf, sizeof buf, radix);
    KivBenchCheck(std::string(buf, n) == Expected(v, radix), "IntFormat");
  }
  for (auto _ : st)
  {
    for (T v : vals)
    {
      unsigned int n = KivFormat(v, buf, sizeof buf, radix);
      benchmark::DoNotOptimize(n);
      benchmark::ClobberMemory();
    }
  }
  st.SetBytesProcessed((int64_t)st.iterations() * TextBytes<T>(radix));
  st.SetItemsProcessed((int64_t)st.iterations() * kValues);
}

/* std::to_chars of the same value, followed by the terminator the library
 * stores, and in a radix other than 10 of the unsigned bits as the library
 * formats them (to_chars writes lower-case letters; the work is the same). */
template <class T>
void FormatToChars(benchmark::State &st, int radix)
{
  typedef typename std::make_unsigned<T>::type U;
  const std::vector<T> &vals = Values<T>();
  char buf[80];
  for (auto _ : st)
  {
    for (T v : vals)
    {
      std::to_chars_result r = radix == 10 ? std::to_chars(buf, buf + sizeof buf - 1, v, 10)
                                           : std::to_chars(buf, buf + sizeof buf - 1, (U)v, radix);
      *r.ptr = 0;
      benchmark::DoNotOptimize(r.ptr);
      benchmark::ClobberMemory();
    }
  }
  st.SetBytesProcessed((int64_t)st.iterations() * TextBytes<T>(radix));
  st.SetItemsProcessed((int64_t)st.iterations() * kValues);
}

/* The same std::to_chars behind an out-of-line function with the
 * library's signature, so that it pays for a call as a library function
 * does: the like-for-like comparison beside the inlined one above. */
template <class T>
__attribute__((noinline)) unsigned int ToCharsCall(T v, char *dest, unsigned int cap, int radix)
{
  typedef typename std::make_unsigned<T>::type U;
  if (dest == 0 || cap == 0)
    return 0;
  std::to_chars_result r = radix == 10 ? std::to_chars(dest, dest + cap - 1, v, 10)
                                       : std::to_chars(dest, dest + cap - 1, (U)v, radix);
  *r.ptr = 0;
  return (unsigned int)(r.ptr - dest);
}

template <class T>
void FormatToCharsCall(benchmark::State &st, int radix)
{
  const std::vector<T> &vals = Values<T>();
  char buf[80];
  for (auto _ : st)
  {
    for (T v : vals)
    {
      unsigned int n = ToCharsCall(v, buf, sizeof buf, radix);
      benchmark::DoNotOptimize(n);
      benchmark::ClobberMemory();
    }
  }
  st.SetBytesProcessed((int64_t)st.iterations() * TextBytes<T>(radix));
  st.SetItemsProcessed((int64_t)st.iterations() * kValues);
}

/* ---- parsing ---- */

/* The texts of Values<T>() in the radix, each zero-terminated, packed one
 * after another; offsets index them. */
template <class T>
struct Texts
{
  std::string packed;
  std::vector<size_t> at;
};

template <class T>
const Texts<T> &TextsOf(int radix)
{
  static Texts<T> t[2];
  Texts<T> &x = t[radix == 10 ? 0 : 1];
  if (x.at.empty())
  {
    for (T v : Values<T>())
    {
      x.at.push_back(x.packed.size());
      x.packed += Expected(v, radix);
      x.packed.push_back('\0');
    }
  }
  return x;
}

template <class T>
T KivParse(const char *s, int radix, const char **end);
template <>
unsigned int KivParse<unsigned int>(const char *s, int radix, const char **end)
{
  return KivStr2DWORD(s, radix, end);
}
template <>
long long KivParse<long long>(const char *s, int radix, const char **end)
{
  return KivStr2LONGLONG(s, radix, end);
}

template <class T>
T CParse(const char *s, int radix, char **end);
template <>
unsigned int CParse<unsigned int>(const char *s, int radix, char **end)
{
  return (unsigned int)strtoul(s, end, radix);
}
template <>
long long CParse<long long>(const char *s, int radix, char **end)
{
  /* strtoll clamps where the library wraps; the bench's values all fit,
     * apart from 64-bit hexadecimal texts, which are parsed as unsigned. */
  return radix == 10 ? strtoll(s, end, radix) : (long long)strtoull(s, end, radix);
}

template <class T>
void ParseKiv(benchmark::State &st, int radix)
{
  const Texts<T> &t = TextsOf<T>(radix);
  const char *base = t.packed.c_str();
  for (size_t i = 0; i < t.at.size(); i++)
  {
    const char *end = 0;
    T v = KivParse<T>(base + t.at[i], radix, &end);
    KivBenchCheck(v == Values<T>()[i] && *end == 0, "IntParse");
  }
  for (auto _ : st)
  {
    for (size_t off : t.at)
    {
      const char *end;
      T v = KivParse<T>(base + off, radix, &end);
      benchmark::DoNotOptimize(v);
      benchmark::DoNotOptimize(end);
    }
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)(t.packed.size() - t.at.size()));
  st.SetItemsProcessed((int64_t)st.iterations() * kValues);
}

template <class T>
void ParseFromChars(benchmark::State &st, int radix)
{
  typedef typename std::make_unsigned<T>::type U;
  const Texts<T> &t = TextsOf<T>(radix);
  const char *base = t.packed.c_str();
  /* from_chars needs the end of each text; the library and strtoul find
     * it themselves, so it is looked up here inside the timed loop too. */
  for (auto _ : st)
  {
    for (size_t off : t.at)
    {
      const char *s = base + off;
      const char *e = s + strlen(s);
      T v = 0;
      if (radix == 10)
      {
        std::from_chars(s, e, v, 10);
      }
      else
      {
        U u = 0;
        std::from_chars(s, e, u, radix);
        v = (T)u;
      }
      benchmark::DoNotOptimize(v);
    }
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)(t.packed.size() - t.at.size()));
  st.SetItemsProcessed((int64_t)st.iterations() * kValues);
}

template <class T>
void ParseStrtoul(benchmark::State &st, int radix)
{
  const Texts<T> &t = TextsOf<T>(radix);
  const char *base = t.packed.c_str();
  for (auto _ : st)
  {
    for (size_t off : t.at)
    {
      char *end;
      T v = CParse<T>(base + off, radix, &end);
      benchmark::DoNotOptimize(v);
      benchmark::DoNotOptimize(end);
    }
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)(t.packed.size() - t.at.size()));
  st.SetItemsProcessed((int64_t)st.iterations() * kValues);
}

int Register()
{
  static const struct
  {
    const char *name;
    int radix;
  } kRadix[] = {{"Dec", 10}, {"Hex", 16}};
  for (const auto &r : kRadix)
  {
    std::string n = r.name;
    KivBenchAdd(("IntFormat_U32_" + n + "/kiv").c_str(), FormatKiv<unsigned int>, r.radix);
    KivBenchAdd(("IntFormat_U32_" + n + "/to_chars").c_str(), FormatToChars<unsigned int>,
                r.radix);
    KivBenchAdd(("IntFormat_U32_" + n + "/to_chars_call").c_str(), FormatToCharsCall<unsigned int>,
                r.radix);
  }
  KivBenchAdd("IntFormat_I32_Dec/kiv", FormatKiv<int>, 10);
  KivBenchAdd("IntFormat_I32_Dec/to_chars", FormatToChars<int>, 10);
  KivBenchAdd("IntFormat_I32_Dec/to_chars_call", FormatToCharsCall<int>, 10);
  for (const auto &r : kRadix)
  {
    std::string n = r.name;
    KivBenchAdd(("IntFormat_U64_" + n + "/kiv").c_str(), FormatKiv<unsigned long long>,
                r.radix);
    KivBenchAdd(("IntFormat_U64_" + n + "/to_chars").c_str(),
                FormatToChars<unsigned long long>, r.radix);
    KivBenchAdd(("IntFormat_U64_" + n + "/to_chars_call").c_str(), FormatToCharsCall<unsigned long long>,
                r.radix);
  }
  KivBenchAdd("IntFormat_I64_Dec/kiv", FormatKiv<long long>, 10);
  KivBenchAdd("IntFormat_I64_Dec/to_chars", FormatToChars<long long>, 10);
  KivBenchAdd("IntFormat_I64_Dec/to_chars_call", FormatToCharsCall<long long>, 10);

  for (const auto &r : kRadix)
  {
    std::string n = r.name;
    KivBenchAdd(("IntParse_U32_" + n + "/kiv").c_str(), ParseKiv<unsigned int>, r.radix);
    KivBenchAdd(("IntParse_U32_" + n + "/from_chars").c_str(), ParseFromChars<unsigned int>,
                r.radix);
    KivBenchAdd(("IntParse_U32_" + n + "/strtoul").c_str(), ParseStrtoul<unsigned int>,
                r.radix);
  }
  KivBenchAdd("IntParse_I64_Dec/kiv", ParseKiv<long long>, 10);
  KivBenchAdd("IntParse_I64_Dec/from_chars", ParseFromChars<long long>, 10);
  KivBenchAdd("IntParse_I64_Dec/strtoll", ParseStrtoul<long long>, 10);
  return 0;
}

const int s_registered = Register();

} // namespace
