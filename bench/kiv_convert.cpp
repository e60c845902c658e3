/*
 * kiv_convert.cpp - character set conversions against the C library and a
 * plain loop.
 *
 *   Utf8Decode_<kind>   KivStrDecodeUTF8 vs mbstowcs (C.UTF-8)
 *   Utf8Encode_<kind>   KivStrEncodeUTF8 vs wcstombs (C.UTF-8)
 *   Utf16ToUcs4_<kind>, Ucs4ToUtf16_<kind>   vs a unit-at-a-time loop
 *   Latin1Decode, Latin1Encode                vs a byte-at-a-time loop
 *
 * Both sides convert the whole zero-terminated text (count -1 for the
 * library, as the C functions take it) into a buffer that holds it all, and
 * report the text's UTF-8 size as bytes processed.
 */
#include "kiv_bench.h"

#include "KivString_unix.h"

#include <string.h>
#include <wchar.h>

namespace {

const KivTextKind kKinds[] = {kTextAscii, kTextEuropean, kTextCjk, kTextEmoji};

/* ---- UTF-8 ---- */

void Utf8DecodeKiv(benchmark::State &st, KivTextKind kind)
{
  const std::string &in = KivBenchText(kind);
  std::vector<wchar_t> out(in.size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrDecodeUTF8(out.data(), (unsigned int)out.size(), in.c_str(), (unsigned int)-1);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::wstring(out.data(), n) == KivBenchWide(kind), "Utf8Decode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void Utf8DecodeGlibc(benchmark::State &st, KivTextKind kind)
{
  const std::string &in = KivBenchText(kind);
  std::vector<wchar_t> out(in.size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = mbstowcs(out.data(), in.c_str(), out.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n != (size_t)-1 && std::wstring(out.data(), n) == KivBenchWide(kind), "Utf8Decode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void Utf8EncodeKiv(benchmark::State &st, KivTextKind kind)
{
  const std::string &want = KivBenchText(kind);
  const std::wstring &in = KivBenchWide(kind);
  std::vector<char> out(want.size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrEncodeUTF8(out.data(), (unsigned int)out.size(), in.c_str(), (unsigned int)-1);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == want, "Utf8Encode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)want.size());
}

void Utf8EncodeGlibc(benchmark::State &st, KivTextKind kind)
{
  const std::string &want = KivBenchText(kind);
  const std::wstring &in = KivBenchWide(kind);
  std::vector<char> out(want.size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = wcstombs(out.data(), in.c_str(), out.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n != (size_t)-1 && std::string(out.data(), n) == want, "Utf8Encode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)want.size());
}

/* ---- UTF-16 ---- */

/* The UTF-16 form of a wide text (valid code points only). */
std::vector<unsigned short> ToUtf16(const std::wstring &w)
{
  std::vector<unsigned short> u;
  for (wchar_t c : w)
  {
    uint32_t v = (uint32_t)c;
    if (v < 0x10000)
    {
      u.push_back((unsigned short)v);
    }
    else
    {
      u.push_back((unsigned short)(0xD800 + ((v - 0x10000) >> 10)));
      u.push_back((unsigned short)(0xDC00 + (v & 0x3FF)));
    }
  }
  u.push_back(0);
  return u;
}

std::vector<unsigned int> ToUcs4(const std::wstring &w)
{
  std::vector<unsigned int> u(w.begin(), w.end());
  u.push_back(0);
  return u;
}

void Utf16ToUcs4Kiv(benchmark::State &st, KivTextKind kind)
{
  std::vector<unsigned short> in = ToUtf16(KivBenchWide(kind));
  std::vector<unsigned int> want = ToUcs4(KivBenchWide(kind));
  std::vector<unsigned int> out(in.size());
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrUTF16ToUCS4(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)-1);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n + 1 == want.size() && memcmp(out.data(), want.data(), want.size() * 4) == 0, "Utf16ToUcs4");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)KivBenchText(kind).size());
}

/* The plain loop: one unit at a time, pairs joined, stray surrogates '?'. */
size_t Utf16ToUcs4Loop(unsigned int *out, const unsigned short *in)
{
  size_t o = 0;
  for (size_t i = 0; in[i] != 0; i++)
  {
    unsigned int u = in[i];
    if (u >= 0xD800 && u <= 0xDBFF && in[i + 1] >= 0xDC00 && in[i + 1] <= 0xDFFF)
    {
      out[o++] = 0x10000 + ((u - 0xD800) << 10) + (in[i + 1] - 0xDC00u);
      i++;
    }
    else
    {
      out[o++] = (u >= 0xD800 && u <= 0xDFFF) ? '?' : u;
    }
  }
  out[o] = 0;
  return o;
}

void Utf16ToUcs4Base(benchmark::State &st, KivTextKind kind)
{
  std::vector<unsigned short> in = ToUtf16(KivBenchWide(kind));
  std::vector<unsigned int> want = ToUcs4(KivBenchWide(kind));
  std::vector<unsigned int> out(in.size());
  size_t n = 0;
  for (auto _ : st)
  {
    n = Utf16ToUcs4Loop(out.data(), in.data());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n + 1 == want.size() && memcmp(out.data(), want.data(), want.size() * 4) == 0, "Utf16ToUcs4");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)KivBenchText(kind).size());
}

void Ucs4ToUtf16Kiv(benchmark::State &st, KivTextKind kind)
{
  std::vector<unsigned int> in = ToUcs4(KivBenchWide(kind));
  std::vector<unsigned short> want = ToUtf16(KivBenchWide(kind));
  std::vector<unsigned short> out(want.size());
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrUCS4ToUTF16(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)-1);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n + 1 == want.size() && memcmp(out.data(), want.data(), want.size() * 2) == 0, "Ucs4ToUtf16");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)KivBenchText(kind).size());
}

/* The plain loop: one character at a time, a pair above U+FFFF. */
size_t Ucs4ToUtf16Loop(unsigned short *out, const unsigned int *in)
{
  size_t o = 0;
  for (size_t i = 0; in[i] != 0; i++)
  {
    unsigned int c = in[i];
    if (c <= 0xFFFF)
    {
      out[o++] = (unsigned short)c;
    }
    else
    {
      if (c > 0x10FFFF)
        out[o++] = '?';
      out[o++] = (unsigned short)(((c >> 10) + 0xD7C0) & 0xFFFF);
      out[o++] = (unsigned short)((c & 0x3FF) + 0xDC00);
    }
  }
  out[o] = 0;
  return o;
}

void Ucs4ToUtf16Base(benchmark::State &st, KivTextKind kind)
{
  std::vector<unsigned int> in = ToUcs4(KivBenchWide(kind));
  std::vector<unsigned short> want = ToUtf16(KivBenchWide(kind));
  std::vector<unsigned short> out(want.size());
  size_t n = 0;
  for (auto _ : st)
  {
    n = Ucs4ToUtf16Loop(out.data(), in.data());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n + 1 == want.size() && memcmp(out.data(), want.data(), want.size() * 2) == 0, "Ucs4ToUtf16");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)KivBenchText(kind).size());
}

/* ---- Latin-1 ---- */

/* The European text in Latin-1 (every character of it is below 0x100). */
const std::string &Latin1Text()
{
  static const std::string s = [] {
    std::string t;
    for (wchar_t c : KivBenchWide(kTextEuropean))
      t.push_back((char)(unsigned char)(uint32_t)c);
    return t;
  }();
  return s;
}

void Latin1DecodeKiv(benchmark::State &st)
{
  const std::string &in = Latin1Text();
  std::vector<wchar_t> out(in.size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrDecodeLatin1(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  for (size_t i = 0; i < in.size(); i++)
    KivBenchCheck(out[i] == (wchar_t)(signed char)in[i], "Latin1Decode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

/* The plain loop: each byte sign-extended, as the library defines it. */
size_t Latin1DecodeLoop(wchar_t *out, const char *in, size_t n)
{
  for (size_t i = 0; i < n; i++)
    out[i] = (wchar_t)(signed char)in[i];
  out[n] = 0;
  return n;
}

void Latin1DecodeBase(benchmark::State &st)
{
  const std::string &in = Latin1Text();
  std::vector<wchar_t> out(in.size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = Latin1DecodeLoop(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void Latin1EncodeKiv(benchmark::State &st)
{
  const std::wstring &in = KivBenchWide(kTextEuropean);
  std::vector<char> out(in.size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrEncodeLatin1(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == Latin1Text(), "Latin1Encode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

/* The plain loop: values above 255 become '?'. */
size_t Latin1EncodeLoop(char *out, const wchar_t *in, size_t n)
{
  for (size_t i = 0; i < n; i++)
  {
    int32_t v = (int32_t)(uint32_t)in[i];
    out[i] = v > 255 ? '?' : (char)(unsigned char)(v & 0xFF);
  }
  out[n] = 0;
  return n;
}

void Latin1EncodeBase(benchmark::State &st)
{
  const std::wstring &in = KivBenchWide(kTextEuropean);
  std::vector<char> out(in.size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = Latin1EncodeLoop(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == Latin1Text(), "Latin1Encode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

int Register()
{
  for (KivTextKind k : kKinds)
  {
    std::string kn = KivBenchKindName(k);
    KivBenchAdd(("Utf8Decode_" + kn + "/kiv").c_str(), Utf8DecodeKiv, k);
    KivBenchAdd(("Utf8Decode_" + kn + "/glibc").c_str(), Utf8DecodeGlibc, k);
  }
  for (KivTextKind k : kKinds)
  {
    std::string kn = KivBenchKindName(k);
    KivBenchAdd(("Utf8Encode_" + kn + "/kiv").c_str(), Utf8EncodeKiv, k);
    KivBenchAdd(("Utf8Encode_" + kn + "/glibc").c_str(), Utf8EncodeGlibc, k);
  }
  for (KivTextKind k : {kTextEuropean, kTextEmoji})
  {
    std::string kn = KivBenchKindName(k);
    KivBenchAdd(("Utf16ToUcs4_" + kn + "/kiv").c_str(), Utf16ToUcs4Kiv, k);
    KivBenchAdd(("Utf16ToUcs4_" + kn + "/loop").c_str(), Utf16ToUcs4Base, k);
    KivBenchAdd(("Ucs4ToUtf16_" + kn + "/kiv").c_str(), Ucs4ToUtf16Kiv, k);
    KivBenchAdd(("Ucs4ToUtf16_" + kn + "/loop").c_str(), Ucs4ToUtf16Base, k);
  }
  KivBenchAdd("Latin1Decode/kiv", Latin1DecodeKiv);
  KivBenchAdd("Latin1Decode/loop", Latin1DecodeBase);
  KivBenchAdd("Latin1Encode/kiv", Latin1EncodeKiv);
  KivBenchAdd("Latin1Encode/loop", Latin1EncodeBase);
  return 0;
}

const int s_registered = Register();

} // namespace
