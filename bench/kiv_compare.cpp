/*
 * kiv_compare.cpp - search, wildcard matching and replacement against the
 * C library.
 *
 *   IPos_<case>                 KivStrIPos vs strcasestr (C.UTF-8)
 *   Wildcard_Typical            KivStrWildcardMatch vs fnmatch(flags 0) over
 *                               64 file names and 8 everyday patterns
 *   Wildcard_<adv>_N<n>         adversarial patterns on strings of n
 *                               characters, n = 256, 1024, 4096: the growth
 *                               of the time with n shows the order of the
 *                               matcher (bench/kiv_summary.py prints it)
 *   Replace_<case>              KivStrReplace vs strstr + memcpy
 *
 * The patterns use only '*', '?' and letters, where both matchers mean the
 * same; every pair is checked to agree before it is timed.
 */
#include "kiv_bench.h"

#include "KivString_unix.h"

#include <fnmatch.h>
#include <string.h>
#include <strings.h>

namespace {

/* ---- case-insensitive search ---- */

struct IPosCase
{
  const char *name;
  KivTextKind kind;
  std::string needle; /* built from the text: its upper-cased tail */
};

/* A needle that first occurs near the end of the text: the text's last 24
 * bytes with the ASCII letters' case swapped.  The miss case asks for a
 * phrase that is not there. */
std::string TailNeedle(KivTextKind kind)
{
  const std::string &t = KivBenchText(kind);
  std::string n = t.substr(t.size() - 40, 24);
  for (char &c : n)
  {
    unsigned char b = (unsigned char)c;
    if (b >= 'a' && b <= 'z')
      c = (char)(b - 'a' + 'A');
    else if (b >= 'A' && b <= 'Z')
      c = (char)(b - 'A' + 'a');
  }
  return n;
}

void IPosKiv(benchmark::State &st, KivTextKind kind, std::string needle)
{
  const std::string &hay = KivBenchText(kind);
  const char *found = strcasestr(hay.c_str(), needle.c_str());
  unsigned int want = found ? (unsigned int)(found - hay.c_str()) : (unsigned int)-1;
  unsigned int pos = 0;
  for (auto _ : st)
  {
    pos = KivStrIPos(hay.c_str(), needle.c_str());
    benchmark::DoNotOptimize(pos);
  }
  KivBenchCheck(pos == want, "IPos");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)(found ? want + needle.size() : hay.size()));
}

void IPosGlibc(benchmark::State &st, KivTextKind kind, std::string needle)
{
  const std::string &hay = KivBenchText(kind);
  const char *found = 0;
  for (auto _ : st)
  {
    found = strcasestr(hay.c_str(), needle.c_str());
    benchmark::DoNotOptimize(found);
  }
  size_t want = found ? (size_t)(found - hay.c_str()) + needle.size() : hay.size();
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)want);
}

/* ---- wildcard matching ---- */

const std::vector<std::string> &FileNames()
{
  static const std::vector<std::string> names = [] {
    std::vector<std::string> v;
    char b[80];
    for (int i = 0; i < 64; i++)
    {
      switch (i % 8)
      {
        case 0: snprintf(b, sizeof b, "report-2026-11-%02d.pdf", i % 28 + 1); break;
        case 1: snprintf(b, sizeof b, "IMG_%04d.JPG", 1000 + i * 37); break;
        case 2: snprintf(b, sizeof b, "notes_%d.txt", i); break;
        case 3: snprintf(b, sizeof b, "build-%d-release.log", 4000 + i); break;
        case 4: snprintf(b, sizeof b, "archive.2026.%d.tar.gz", i); break;
        case 5: snprintf(b, sizeof b, "Quarterly Summary (draft %d).docx", i); break;
        case 6: snprintf(b, sizeof b, "page_%03d_of_120.png", i); break;
        default: snprintf(b, sizeof b, "src/lib/module_%d/file_%d.cpp", i, i * 3); break;
      }
      v.push_back(b);
    }
    return v;
  }();
  return names;
}

const char *const kTypicalPatterns[] = {
  "*.pdf",
  "report-?\?\?\?-11-*",
  "IMG_*.JPG",
  "*_1?.txt",
  "*build*log",
  "*.tar.gz",
  "*2026*2*",
  "src/*/*.cpp",
};

void WildTypicalKiv(benchmark::State &st)
{
  const std::vector<std::string> &names = FileNames();
  int hits = 0;
  for (auto _ : st)
  {
    hits = 0;
    for (const char *p : kTypicalPatterns)
      for (const std::string &n : names)
        hits += KivStrWildcardMatch(n.c_str(), (unsigned int)-1, p, (unsigned int)-1);
    benchmark::DoNotOptimize(hits);
  }
  int want = 0;
  for (const char *p : kTypicalPatterns)
    for (const std::string &n : names)
      want += fnmatch(p, n.c_str(), 0) == 0;
  KivBenchCheck(hits == want, "Wildcard_Typical");
  st.SetItemsProcessed((int64_t)st.iterations() * 8 * 64);
}

void WildTypicalGlibc(benchmark::State &st)
{
  const std::vector<std::string> &names = FileNames();
  int hits = 0;
  for (auto _ : st)
  {
    hits = 0;
    for (const char *p : kTypicalPatterns)
      for (const std::string &n : names)
        hits += fnmatch(p, n.c_str(), 0) == 0;
    benchmark::DoNotOptimize(hits);
  }
  st.SetItemsProcessed((int64_t)st.iterations() * 8 * 64);
}

/* Adversarial inputs of size n: a run of 'a' that almost matches. */
struct Adversary
{
  std::string str;
  std::string pat;
};

Adversary MakeAdversary(int which, int n)
{
  Adversary a;
  switch (which)
  {
    case 0: /* many stars, each literal found everywhere, the end fails */
      a.str = std::string(n, 'a') + "c";
      a.pat = "*a*a*a*a*a*a*a*a*b";
      break;
    case 1: /* one star before a long literal run: retried at each place */
      a.str = std::string(n, 'a');
      a.pat = "*" + std::string(n / 8, 'a') + "b";
      break;
    default: /* stars and '?' that can take any character */
      a.str = std::string(n, 'a') + "b";
      a.pat = "*?*?*?*?*?*?*?*?*c";
      break;
  }
  return a;
}

const char *const kAdversaryNames[] = {"StarsA", "LongRun", "StarsQ"};

void WildAdvKiv(benchmark::State &st, int which, int n)
{
  Adversary a = MakeAdversary(which, n);
  int r = 0;
  for (auto _ : st)
  {
    r = KivStrWildcardMatch(a.str.c_str(), (unsigned int)a.str.size(), a.pat.c_str(), (unsigned int)a.pat.size());
    benchmark::DoNotOptimize(r);
  }
  KivBenchCheck(r == (fnmatch(a.pat.c_str(), a.str.c_str(), 0) == 0), "Wildcard adversarial");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)a.str.size());
}

void WildAdvGlibc(benchmark::State &st, int which, int n)
{
  Adversary a = MakeAdversary(which, n);
  int r = 0;
  for (auto _ : st)
  {
    r = fnmatch(a.pat.c_str(), a.str.c_str(), 0);
    benchmark::DoNotOptimize(r);
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)a.str.size());
}

/* ---- replacement ---- */

/* strstr + memcpy: the plain C way, output buffer known to be big enough. */
size_t ReplaceLoop(char *out, const char *src, const char *find, size_t lf, const char *repl, size_t lr)
{
  size_t o = 0;
  for (;;)
  {
    const char *hit = strstr(src, find);
    size_t keep = hit ? (size_t)(hit - src) : strlen(src);
    memcpy(out + o, src, keep);
    o += keep;
    if (!hit)
      break;
    memcpy(out + o, repl, lr);
    o += lr;
    src = hit + lf;
  }
  out[o] = 0;
  return o;
}

struct ReplaceCase
{
  const char *name;
  const char *find;
  const char *repl;
};

const ReplaceCase kReplaceCases[] = {
  {"Short", "the", "THE"},
  {"Grow", "host", "receiving machine"},
};

void ReplaceKiv(benchmark::State &st, ReplaceCase c)
{
  const std::string &in = KivBenchText(kTextAscii);
  std::vector<char> out(in.size() * 8);
  std::vector<char> want(in.size() * 8);
  size_t wn = ReplaceLoop(want.data(), in.c_str(), c.find, strlen(c.find), c.repl, strlen(c.repl));
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrReplace(out.data(), (unsigned int)out.size(), in.c_str(), (unsigned int)in.size(), c.find,
                      (unsigned int)strlen(c.find), c.repl, (unsigned int)strlen(c.repl));
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n == wn && memcmp(out.data(), want.data(), wn + 1) == 0, "Replace");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void ReplaceGlibc(benchmark::State &st, ReplaceCase c)
{
  const std::string &in = KivBenchText(kTextAscii);
  std::vector<char> out(in.size() * 8);
  size_t n = 0;
  for (auto _ : st)
  {
    n = ReplaceLoop(out.data(), in.c_str(), c.find, strlen(c.find), c.repl, strlen(c.repl));
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

int Register()
{
  static const struct
  {
    const char *name;
    KivTextKind kind;
    int miss;
  } kIPos[] = {
    {"Ascii", kTextAscii, 0}, {"European", kTextEuropean, 0}, {"AsciiMiss", kTextAscii, 1}};
  for (const auto &c : kIPos)
  {
    std::string needle = c.miss ? std::string("THE HOST WENT SIDEWAYS") : TailNeedle(c.kind);
    std::string n = c.name;
    KivBenchAdd(("IPos_" + n + "/kiv").c_str(), IPosKiv, c.kind, needle);
    KivBenchAdd(("IPos_" + n + "/glibc").c_str(), IPosGlibc, c.kind, needle);
  }

  KivBenchAdd("Wildcard_Typical/kiv", WildTypicalKiv);
  KivBenchAdd("Wildcard_Typical/glibc", WildTypicalGlibc);
  for (int which = 0; which < 3; which++)
  {
    for (int n : {256, 1024, 4096})
    {
      std::string base = std::string("Wildcard_") + kAdversaryNames[which] + "_N" + std::to_string(n);
      KivBenchAdd((base + "/kiv").c_str(), WildAdvKiv, which, n);
      KivBenchAdd((base + "/glibc").c_str(), WildAdvGlibc, which, n);
    }
  }

  for (const ReplaceCase &c : kReplaceCases)
  {
    std::string n = c.name;
    KivBenchAdd(("Replace_" + n + "/kiv").c_str(), ReplaceKiv, c);
    KivBenchAdd(("Replace_" + n + "/glibc").c_str(), ReplaceGlibc, c);
  }
  return 0;
}

const int s_registered = Register();

} // namespace
