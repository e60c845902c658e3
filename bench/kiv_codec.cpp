/*
 * kiv_codec.cpp - escaping codecs against a plain byte-at-a-time loop
 * written here (the C library has none of them).
 *
 *   Base64Encode, Base64Decode   KivStrUUEncode / KivStrUUDecode
 *   HexEncode, HexDecode         KivStrEncodeHex / KivStrDecodeHex
 *   UrlEncode, UrlDecode         KivStrEncodeURL / KivStrDecodeURL (narrow)
 *
 * The loops do the same work the obvious way: one input byte per step,
 * output appended without bounds bookkeeping (their buffers are big enough).
 * Bytes processed are the input bytes of the encoder (raw bytes, or the
 * text for URL encoding) on both directions, so encode and decode rows read
 * in the same unit.
 */
#include "kiv_bench.h"

#include "KivString_unix.h"

#include <string.h>

namespace {

/* 3072 pseudo-random bytes: 4096 base64 characters, 6144 hex digits. */
const std::string &RawBytes()
{
  static const std::string s = [] {
    KivBenchRng rng(0xC0DEC);
    std::string t;
    for (int i = 0; i < 3072; i++)
      t.push_back((char)(unsigned char)(rng.Next() >> 24));
    return t;
  }();
  return s;
}

const char kB64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/* Base64 of n bytes, one byte at a time through a bit accumulator. */
size_t Base64EncodeLoop(char *out, const unsigned char *in, size_t n)
{
  size_t o = 0;
  uint32_t acc = 0;
  int bits = 0;
  for (size_t i = 0; i < n; i++)
  {
    acc = (acc << 8) | in[i];
    bits += 8;
    while (bits >= 6)
    {
      bits -= 6;
      out[o++] = kB64[(acc >> bits) & 63];
    }
  }
  if (bits > 0)
    out[o++] = kB64[(acc << (6 - bits)) & 63];
  while (o % 4 != 0)
    out[o++] = '=';
  out[o] = 0;
  return o;
}

/* Reverse of kB64: 0-63, or 64 for every other byte. */
struct B64Reverse
{
  unsigned char v[256];
  B64Reverse()
  {
    memset(v, 64, sizeof v);
    for (int i = 0; i < 64; i++)
      v[(unsigned char)kB64[i]] = (unsigned char)i;
  }
};
const B64Reverse s_b64rev;

/* Decodes base64 one character at a time until a character outside the
 * alphabet ('=' or the terminator). */
size_t Base64DecodeLoop(unsigned char *out, const char *in)
{
  size_t o = 0;
  uint32_t acc = 0;
  int bits = 0;
  for (size_t i = 0;; i++)
  {
    unsigned int v = s_b64rev.v[(unsigned char)in[i]];
    if (v >= 64)
      break;
    acc = (acc << 6) | v;
    bits += 6;
    if (bits >= 8)
    {
      bits -= 8;
      out[o++] = (unsigned char)(acc >> bits);
    }
  }
  return o;
}

const std::string &Base64Text()
{
  static const std::string s = [] {
    std::string t(4200, '\0');
    t.resize(Base64EncodeLoop(&t[0], (const unsigned char *)RawBytes().data(), RawBytes().size()));
    return t;
  }();
  return s;
}

void Base64EncodeKiv(benchmark::State &st)
{
  const std::string &in = RawBytes();
  std::vector<char> out(Base64Text().size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrUUEncode(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)in.size(), 0);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == Base64Text(), "Base64Encode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void Base64EncodeBase(benchmark::State &st)
{
  const std::string &in = RawBytes();
  std::vector<char> out(Base64Text().size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = Base64EncodeLoop(out.data(), (const unsigned char *)in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void Base64DecodeKiv(benchmark::State &st)
{
  const std::string &in = Base64Text();
  std::vector<unsigned char> out(RawBytes().size());
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrUUDecode(out.data(), (unsigned int)out.size(), in.c_str(), (unsigned int)-1);
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n == out.size() && memcmp(out.data(), RawBytes().data(), n) == 0, "Base64Decode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)RawBytes().size());
}

void Base64DecodeBase(benchmark::State &st)
{
  const std::string &in = Base64Text();
  std::vector<unsigned char> out(RawBytes().size());
  size_t n = 0;
  for (auto _ : st)
  {
    n = Base64DecodeLoop(out.data(), in.c_str());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n == out.size() && memcmp(out.data(), RawBytes().data(), n) == 0, "Base64Decode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)RawBytes().size());
}

/* ---- hexadecimal ---- */

size_t HexEncodeLoop(char *out, const unsigned char *in, size_t n)
{
  static const char digits[] = "0123456789ABCDEF";
  for (size_t i = 0; i < n; i++)
  {
    out[2 * i] = digits[in[i] >> 4];
    out[2 * i + 1] = digits[in[i] & 15];
  }
  out[2 * n] = 0;
  return 2 * n;
}

unsigned int HexDigit(unsigned char c)
{
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  return 0;
}

size_t HexDecodeLoop(unsigned char *out, const char *in, size_t n)
{
  for (size_t i = 0; i < n / 2; i++)
    out[i] = (unsigned char)(HexDigit((unsigned char)in[2 * i]) * 16 + HexDigit((unsigned char)in[2 * i + 1]));
  return n / 2;
}

const std::string &HexText()
{
  static const std::string s = [] {
    std::string t(2 * RawBytes().size() + 1, '\0');
    t.resize(HexEncodeLoop(&t[0], (const unsigned char *)RawBytes().data(), RawBytes().size()));
    return t;
  }();
  return s;
}

void HexEncodeKiv(benchmark::State &st)
{
  const std::string &in = RawBytes();
  std::vector<char> out(HexText().size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrEncodeHex(out.data(), (unsigned int)out.size(), (const unsigned char *)in.data(),
                        (unsigned int)in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == HexText(), "HexEncode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void HexEncodeBase(benchmark::State &st)
{
  const std::string &in = RawBytes();
  std::vector<char> out(HexText().size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = HexEncodeLoop(out.data(), (const unsigned char *)in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void HexDecodeKiv(benchmark::State &st)
{
  const std::string &in = HexText();
  std::vector<unsigned char> out(RawBytes().size());
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrDecodeHex(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n == out.size() && memcmp(out.data(), RawBytes().data(), n) == 0, "HexDecode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)RawBytes().size());
}

void HexDecodeBase(benchmark::State &st)
{
  const std::string &in = HexText();
  std::vector<unsigned char> out(RawBytes().size());
  size_t n = 0;
  for (auto _ : st)
  {
    n = HexDecodeLoop(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(n == out.size() && memcmp(out.data(), RawBytes().data(), n) == 0, "HexDecode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)RawBytes().size());
}

/* ---- URL ---- */

/* Letters and digits pass, every other byte becomes %XX. */
size_t UrlEncodeLoop(char *out, const char *in, size_t n)
{
  static const char digits[] = "0123456789ABCDEF";
  size_t o = 0;
  for (size_t i = 0; i < n; i++)
  {
    unsigned char b = (unsigned char)in[i];
    if ((b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z'))
    {
      out[o++] = (char)b;
    }
    else
    {
      out[o++] = '%';
      out[o++] = digits[b >> 4];
      out[o++] = digits[b & 15];
    }
  }
  out[o] = 0;
  return o;
}

/* '+' is a space, %XX a byte, anything else itself. */
size_t UrlDecodeLoop(char *out, const char *in, size_t n)
{
  size_t o = 0;
  for (size_t i = 0; i < n; i++)
  {
    char c = in[i];
    if (c == '+')
    {
      out[o++] = ' ';
    }
    else if (c == '%' && n - i > 2)
    {
      out[o++] = (char)(unsigned char)(HexDigit((unsigned char)in[i + 1]) * 16 + HexDigit((unsigned char)in[i + 2]));
      i += 2;
    }
    else
    {
      out[o++] = c;
    }
  }
  out[o] = 0;
  return o;
}

const std::string &UrlPlain()
{
  return KivBenchText(kTextEuropean);
}

const std::string &UrlText()
{
  static const std::string s = [] {
    std::string t(3 * UrlPlain().size() + 1, '\0');
    t.resize(UrlEncodeLoop(&t[0], UrlPlain().data(), UrlPlain().size()));
    return t;
  }();
  return s;
}

void UrlEncodeKiv(benchmark::State &st)
{
  const std::string &in = UrlPlain();
  std::vector<char> out(UrlText().size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrEncodeURL(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == UrlText(), "UrlEncode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void UrlEncodeBase(benchmark::State &st)
{
  const std::string &in = UrlPlain();
  std::vector<char> out(UrlText().size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = UrlEncodeLoop(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)in.size());
}

void UrlDecodeKiv(benchmark::State &st)
{
  const std::string &in = UrlText();
  std::vector<char> out(UrlPlain().size() + 1);
  unsigned int n = 0;
  for (auto _ : st)
  {
    n = KivStrDecodeURL(out.data(), (unsigned int)out.size(), in.data(), (unsigned int)in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == UrlPlain(), "UrlDecode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)UrlPlain().size());
}

void UrlDecodeBase(benchmark::State &st)
{
  const std::string &in = UrlText();
  std::vector<char> out(UrlPlain().size() + 1);
  size_t n = 0;
  for (auto _ : st)
  {
    n = UrlDecodeLoop(out.data(), in.data(), in.size());
    benchmark::DoNotOptimize(n);
    benchmark::ClobberMemory();
  }
  KivBenchCheck(std::string(out.data(), n) == UrlPlain(), "UrlDecode");
  st.SetBytesProcessed((int64_t)st.iterations() * (int64_t)UrlPlain().size());
}

int Register()
{
  KivBenchAdd("Base64Encode/kiv", Base64EncodeKiv);
  KivBenchAdd("Base64Encode/loop", Base64EncodeBase);
  KivBenchAdd("Base64Decode/kiv", Base64DecodeKiv);
  KivBenchAdd("Base64Decode/loop", Base64DecodeBase);
  KivBenchAdd("HexEncode/kiv", HexEncodeKiv);
  KivBenchAdd("HexEncode/loop", HexEncodeBase);
  KivBenchAdd("HexDecode/kiv", HexDecodeKiv);
  KivBenchAdd("HexDecode/loop", HexDecodeBase);
  KivBenchAdd("UrlEncode/kiv", UrlEncodeKiv);
  KivBenchAdd("UrlEncode/loop", UrlEncodeBase);
  KivBenchAdd("UrlDecode/kiv", UrlDecodeKiv);
  KivBenchAdd("UrlDecode/loop", UrlDecodeBase);
  return 0;
}

const int s_registered = Register();

} // namespace
