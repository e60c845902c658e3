/*
 * kiv_main.cpp - entry of bench_kivruntime and the shared text inputs.
 *
 * The program runs under the C.UTF-8 locale, as the library's callers do
 * and as the C library's multibyte baselines (mbstowcs, wcstombs,
 * strcasestr, fnmatch) need for UTF-8 text.  All Google Benchmark options
 * apply; scripts/bench runs it with repetitions and a JSON output file that
 * bench/kiv_summary.py turns into the ratio table.
 */
#include "kiv_bench.h"

#include <locale.h>

namespace {

/* Sentences each text kind is made of, repeated until the text is long
 * enough.  Written for this bench: ordinary prose of each script. */
const char *const kAsciiSentences[] = {
  "The queue sends every page of the job to the host in the order it was printed. ",
  "Each row of the raster is compressed before it leaves the machine, 42 rows at a time. ",
  "If the host goes away, the job ends with a clear line in the log (status 4). ",
};

const char *const kEuropeanSentences[] = {
  "Le d\xC3\xA9veloppement d'une id\xC3\xA9"
  "e n\xC3\xA9"
  "cessite de la patience et du caf\xC3\xA9. ",
  "Die Gr\xC3\xB6\xC3\x9F"
  "e der Seite wird f\xC3\xBC"
  "r jeden Drucker gepr\xC3\xBC"
  "ft. ",
  "El ni\xC3\xB1o pidi\xC3\xB3 un caf\xC3\xA9 m\xC3\xA1s fuerte a las ocho y media. ",
  "\xC3\x85ret b\xC3\xB8rjer med en kort m\xC3\xB8"
  "de i K\xC3\xB8"
  "benhavn. ",
};

const char *const kCjkSentences[] = {
  /* "The print queue sends every page to the host in order." */
  "\xE6\x89\x93\xE5\x8D\xB0\xE9\x98\x9F\xE5\x88\x97\xE6\x8C\x89\xE9\xA1\xBA\xE5\xBA\x8F\xE6\x8A\x8A"
  "\xE6\xAF\x8F\xE4\xB8\x80\xE9\xA1\xB5\xE5\x8F\x91\xE9\x80\x81\xE5\x88\xB0\xE4\xB8\xBB\xE6\x9C\xBA"
  "\xE3\x80\x82",
  /* "The printer sends each page in turn." */
  "\xE3\x83\x97\xE3\x83\xAA\xE3\x83\xB3\xE3\x82\xBF\xE3\x83\xBC\xE3\x81\xAF\xE5\x90\x84\xE3\x83\x9A"
  "\xE3\x83\xBC\xE3\x82\xB8\xE3\x82\x92\xE9\xA0\x86\xE7\x95\xAA\xE3\x81\xAB\xE9\x80\x81\xE4\xBF\xA1"
  "\xE3\x81\x97\xE3\x81\xBE\xE3\x81\x99\xE3\x80\x82",
  /* "The page size is checked." */
  "\xED\x8E\x98\xEC\x9D\xB4\xEC\xA7\x80 \xED\x81\xAC\xEA\xB8\xB0\xEB\xA5\xBC \xED\x99\x95\xEC\x9D\xB8"
  "\xED\x95\xA9\xEB\x8B\x88\xEB\x8B\xA4. ",
};

const char *const kEmojiSentences[] = {
  "\xF0\x9F\x98\x80\xF0\x9F\x98\x83\xF0\x9F\x98\x84\xF0\x9F\x98\x81\xF0\x9F\x98\x86\xF0\x9F\x98\x85"
  "\xF0\x9F\xA4\xA3\xF0\x9F\x98\x82 ",
  "\xF0\x9F\x9A\x80\xF0\x9F\x93\x84\xF0\x9F\x96\xA8\xF0\x9F\x99\x82\xF0\x9F\x99\x83\xF0\x9F\x98\x89"
  "\xF0\x9F\x98\x8A\xF0\x9F\x98\x87 ",
  "\xF0\x9F\xA5\xB0\xF0\x9F\x98\x8D\xF0\x9F\xA4\xA9\xF0\x9F\x8C\x8D\xF0\x9F\x8C\x88\xF0\x9F\x8D\x80"
  "\xF0\x9F\x8E\x89\xF0\x9F\x93\xA6 ",
};

/* Joins the sentences in turn until the text holds kKivBenchTextBytes. */
template <size_t N>
std::string Repeat(const char *const (&sentences)[N])
{
  std::string s;
  for (size_t i = 0; s.size() < kKivBenchTextBytes; i++)
    s += sentences[i % N];
  return s;
}

/* Decodes well-formed UTF-8 (the bench's own texts) into UCS-4; kept
 * separate from the library so the wide inputs do not depend on it. */
std::wstring DecodeOwn(const std::string &s)
{
  std::wstring w;
  for (size_t i = 0; i < s.size();)
  {
    unsigned int b = (unsigned char)s[i];
    unsigned int len = b < 0x80 ? 1 : b < 0xE0 ? 2
                                    : b < 0xF0 ? 3
                                               : 4;
    uint32_t v = len == 1 ? b : len == 2 ? (b & 0x1F)
                              : len == 3 ? (b & 0x0F)
                                         : (b & 0x07);
    for (unsigned int k = 1; k < len; k++)
      v = (v << 6) | ((unsigned char)s[i + k] & 0x3F);
    w.push_back((wchar_t)v);
    i += len;
  }
  return w;
}

} // namespace

const std::string &KivBenchText(KivTextKind kind)
{
  static const std::string texts[4] = {Repeat(kAsciiSentences), Repeat(kEuropeanSentences),
                                       Repeat(kCjkSentences), Repeat(kEmojiSentences)};
  return texts[kind];
}

const std::wstring &KivBenchWide(KivTextKind kind)
{
  static const std::wstring texts[4] = {DecodeOwn(KivBenchText(kTextAscii)), DecodeOwn(KivBenchText(kTextEuropean)),
                                        DecodeOwn(KivBenchText(kTextCjk)), DecodeOwn(KivBenchText(kTextEmoji))};
  return texts[kind];
}

const char *KivBenchKindName(KivTextKind kind)
{
  static const char *const names[4] = {"Ascii", "European", "Cjk", "Emoji"};
  return names[kind];
}

int main(int argc, char **argv)
{
  if (!setlocale(LC_ALL, "C.UTF-8"))
  {
    fprintf(stderr, "bench_kivruntime: the C.UTF-8 locale is not available\n");
    return 1;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv))
    return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
