/*
 * fuzz_kiv_number.cpp - number formatting and parsing of kivruntime.
 *
 * The first input byte picks the function family; the rest gives the
 * value, radix, options, capacity and text.  Every formatter is run through
 * checkWriter() (capacity, measuring, truncation and guard checks) for char
 * and wchar_t alike and compared with a plain restatement of its rules;
 * parsers are compared with a restatement of theirs, narrow against wide;
 * formatted integers parse back to the same value; formatted floating-point
 * numbers read back (with the C library's strtod) within one unit of their
 * last digit.
 */
#include <math.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <vector>

#include "KivString_unix.h"
#include "fuzz_kiv_support.h"

/* ---- integer formatting ---- */

/*
 * 'refInt()' - The text of an integer: bits is the value's bit pattern in
 * `width` bits, isSigned whether the type is signed.
 */
static std::string refInt(uint64_t bits, int width, bool isSigned, int radix, int forceSign,
                          int minDigits)
{
  uint64_t mask = width == 64 ? ~0ull : ((1ull << width) - 1);
  std::string sign, digits;
  int r = radix < 2 ? 2 : radix > 36 ? 36
                                     : radix;

  bits &= mask;
  if (r == 10 && radix == 10 && isSigned)
  {
    bool negative = (bits >> (width - 1)) & 1;
    if (negative)
    {
      sign = "-";
      bits = (~bits + 1) & mask;
    }
    else if (forceSign)
      sign = "+";
  }
  do
  {
    digits.insert(digits.begin(), "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"[bits % (uint64_t)r]);
    bits /= (uint64_t)r;
  } while (bits);
  int want = minDigits > width ? width : minDigits;
  while ((int)digits.size() < want)
    digits.insert(digits.begin(), '0');
  return sign + digits;
}

template <typename C>
static Items<C> unitItems(const std::string &s)
{
  Items<C> items;
  for (unsigned char c : s)
    items.add((C)c);
  return items;
}

/* ---- integer parsing ---- */

static bool isWhite(uint32_t c)
{
  return c == ' ' || (c >= 9 && c <= 13);
}

static int digitValue(uint32_t c)
{
  if (c >= '0' && c <= '9')
    return (int)(c - '0');
  if (c >= 'A' && c <= 'Z')
    return (int)(c - 'A' + 10);
  if (c >= 'a' && c <= 'z')
    return (int)(c - 'a' + 10);
  return 99;
}

/* The parser's rules over elements (the text ends at a zero element):
   the value's bits in `width` bits and the offset of the end. */
static uint64_t refParse(const std::vector<uint32_t> &t, int radix, int width, size_t *end)
{
  size_t p = 0;
  bool negative = false;
  uint64_t v = 0, mask = width == 64 ? ~0ull : ((1ull << width) - 1);

  while (isWhite(t[p]))
    p++;
  if (radix == 0)
  {
    if (t[p] == '0' && (t[p + 1] == 'x' || t[p + 1] == 'X'))
    {
      radix = 16;
      p += 2;
    }
    else if (t[p] == '0')
    {
      radix = 8;
      p++;
    }
    else
      radix = 10;
  }
  else if (radix < 2)
    radix = 2;
  else if (radix > 36)
    radix = 36;
  if (radix == 10 && (t[p] == '-' || t[p] == '+'))
    negative = t[p++] == '-';
  while (digitValue(t[p]) < radix)
    v = (v * (uint64_t)radix + (uint64_t)digitValue(t[p++])) & mask;
  if (negative)
    v = (~v + 1) & mask;
  *end = p;
  return v;
}

/* ---- the integer families ---- */

template <typename C>
static void formatInt32(FuzzInput &in, int32_t v, int radix, size_t cap)
{
  int forceSign = in.u8() & 1;
  int minDigits = (int)(int8_t)in.u8();

  Items<C> items = unitItems<C>(refInt((uint32_t)v, 32, true, radix, forceSign, minDigits));
  checkWriter<C>([&](C *d, unsigned int c) { return TInt2Str<C, int>(v, d, c, radix, forceSign, minDigits); },
                 cap, CUT_UNITS, &items);
  items = unitItems<C>(refInt((uint32_t)v, 32, true, radix, 0, 0));
  checkWriter<C>([&](C *d, unsigned int c) { return KivLONG2Str(v, d, c, radix); }, cap, CUT_UNITS, &items);
  items = unitItems<C>(refInt((uint32_t)v, 32, false, radix, 0, 0));
  checkWriter<C>([&](C *d, unsigned int c) { return KivDWORD2Str((unsigned int)v, d, c, radix); }, cap,
                 CUT_UNITS, &items);
  items = unitItems<C>(refInt((uint32_t)v, 32, false, radix, 0, minDigits));
  checkWriter<C>([&](C *d, unsigned int c) { return TInt2Str<C, unsigned int>((unsigned int)v, d, c, radix, 0, minDigits); },
                 cap, CUT_UNITS, &items);
}

template <typename C>
static void formatInt64(FuzzInput &in, int64_t v, int radix, size_t cap)
{
  int forceSign = in.u8() & 1;
  int minDigits = (int)(int8_t)in.u8();

  Items<C> items = unitItems<C>(refInt((uint64_t)v, 64, true, radix, 0, 0));
  checkWriter<C>([&](C *d, unsigned int c) { return KivLONGLONG2Str((long long)v, d, c, radix); }, cap,
                 CUT_UNITS, &items);
  items = unitItems<C>(refInt((uint64_t)v, 64, false, radix, 0, 0));
  checkWriter<C>([&](C *d, unsigned int c) { return KivQWORD2Str((unsigned long long)v, d, c, radix); }, cap,
                 CUT_UNITS, &items);
  items = unitItems<C>(refInt((uint64_t)v, 64, true, radix, forceSign, minDigits));
  checkWriter<C>([&](C *d, unsigned int c) { return TInt2Str<C, long long>((long long)v, d, c, radix, forceSign, minDigits); },
                 cap, CUT_UNITS, &items);
  items = unitItems<C>(refInt((uint64_t)v, 64, false, radix, 0, minDigits));
  checkWriter<C>([&](C *d, unsigned int c) { return TInt2Str<C, unsigned long long>((unsigned long long)v, d, c, radix, 0, minDigits); },
                 cap, CUT_UNITS, &items);
  /* long is 32 or 64 bits, as the platform has it. */
  items = unitItems<C>(refInt((uint64_t)v, (int)sizeof(long) * 8, true, radix, forceSign, minDigits));
  checkWriter<C>([&](C *d, unsigned int c) { return TInt2Str<C, long>((long)v, d, c, radix, forceSign, minDigits); },
                 cap, CUT_UNITS, &items);
}

/* Formats v in every radix form and parses it back. */
template <typename C>
static void roundTripInt(int64_t v, int radix)
{
  int r = radix < 2 ? 2 : radix > 36 ? 36
                                     : radix;
  C buf[80];
  const C *end = NULL;

  FUZZ_CHECK(KivLONG2Str((int)v, buf, 80, r) < 80);
  FUZZ_CHECK(KivStr2LONG(buf, r, &end) == (int)v && *end == 0);
  FUZZ_CHECK(KivDWORD2Str((unsigned int)v, buf, 80, r) < 80);
  FUZZ_CHECK(KivStr2DWORD(buf, r, &end) == (unsigned int)v && *end == 0);
  FUZZ_CHECK(KivLONGLONG2Str((long long)v, buf, 80, r) < 80);
  FUZZ_CHECK(KivStr2LONGLONG(buf, r, &end) == (long long)v && *end == 0);
  FUZZ_CHECK(KivQWORD2Str((unsigned long long)v, buf, 80, r) < 80);
  FUZZ_CHECK(KivStr2QWORD(buf, r, &end) == (unsigned long long)v && *end == 0);
  FUZZ_CHECK((TInt2Str<C, long long>((long long)v, buf, 80, r, 1, 70)) < 80);
  FUZZ_CHECK((TStr2Int<C, long long>(buf, r, &end)) == (long long)v && *end == 0);
}

/* Parses elements with every integer parser of element type C. */
template <typename C>
static void parseInts(const std::vector<uint32_t> &t, int radix)
{
  std::vector<C> text;
  for (uint32_t c : t)
    text.push_back((C)c);
  const C *s = text.data();
  const C *end = NULL;
  size_t want;

  uint64_t v = refParse(t, radix, 32, &want);
  FUZZ_CHECK((uint32_t)KivStr2LONG(s, radix, &end) == (uint32_t)v && (size_t)(end - s) == want);
  FUZZ_CHECK(KivStr2DWORD(s, radix, &end) == (uint32_t)v && (size_t)(end - s) == want);
  FUZZ_CHECK((uint32_t)TStr2Int<C>(s, radix, &end) == (uint32_t)v && (size_t)(end - s) == want);
  FUZZ_CHECK((TStr2Int<C, unsigned int>(s, radix, NULL)) == (uint32_t)v);
  v = refParse(t, radix, 64, &want);
  FUZZ_CHECK((uint64_t)KivStr2LONGLONG(s, radix, &end) == v && (size_t)(end - s) == want);
  FUZZ_CHECK(KivStr2QWORD(s, radix, &end) == v && (size_t)(end - s) == want);
  FUZZ_CHECK((uint64_t)(TStr2Int<C, unsigned long long>(s, radix, &end)) == v &&
             (size_t)(end - s) == want);
  v = refParse(t, radix, (int)sizeof(long) * 8, &want);
  FUZZ_CHECK((uint64_t)(unsigned long)(TStr2Int<C, long>(s, radix, &end)) == v &&
             (size_t)(end - s) == want);
}

/* A null text reads as the empty string. */
template <typename C>
static void parseNull(int radix)
{
  const C *end = (const C *)1;
  FUZZ_CHECK(KivStr2LONG((const C *)NULL, radix, &end) == 0 && end && *end == 0);
  end = (const C *)1;
  FUZZ_CHECK(KivStr2DWORD((const C *)NULL, radix, &end) == 0 && end && *end == 0);
  end = (const C *)1;
  FUZZ_CHECK(KivStr2QWORD((const C *)NULL, radix, &end) == 0 && end && *end == 0);
  end = (const C *)1;
  FUZZ_CHECK(KivStr2LONGLONG((const C *)NULL, radix, &end) == 0 && end && *end == 0);
  end = (const C *)1;
  double d = KivStr2Float((const C *)NULL, &end);
  FUZZ_CHECK(d == 0.0 && !signbit(d) && end && *end == 0);
}

/* ---- floating-point parsing ---- */

/* The extent of the floating-point grammar over elements: the offset of
   the end, whether any mantissa digit was read, whether an exponent part
   was taken, and the mantissa's significant digits and decimals. */
struct FloatShape
{
  size_t end;
  bool digits, exponent, negative;
  int significant, decimals;
};

static FloatShape refFloatShape(const std::vector<uint32_t> &t)
{
  FloatShape f = {0, false, false, false, 0, 0};
  size_t p = 0;
  bool leading = true;

  while (isWhite(t[p]))
    p++;
  if (t[p] == '-' || t[p] == '+')
    f.negative = t[p++] == '-';
  while (t[p] >= '0' && t[p] <= '9')
  {
    f.digits = true;
    if (!(leading && t[p] == '0'))
    {
      leading = false;
      f.significant++;
    }
    p++;
  }
  if (t[p] == '.')
  {
    p++;
    while (t[p] >= '0' && t[p] <= '9')
    {
      f.digits = true;
      f.decimals++;
      if (!(leading && t[p] == '0'))
      {
        leading = false;
        f.significant++;
      }
      p++;
    }
  }
  if (t[p] == 'e' || t[p] == 'E')
  {
    f.exponent = true;
    p++;
    if (!isWhite(t[p]))
    {
      if (t[p] == '-' || t[p] == '+')
        p++;
      while (t[p] >= '0' && t[p] <= '9')
        p++;
    }
  }
  f.end = p;
  return f;
}

static void parseFloat(const std::vector<uint32_t> &t)
{
  std::vector<char> narrow;
  std::vector<wchar_t> wide;
  for (uint32_t c : t)
  {
    narrow.push_back((char)c);
    wide.push_back((wchar_t)c);
  }
  const char *ne = NULL;
  const wchar_t *we = NULL;
  double a = KivStr2Float(narrow.data(), &ne);
  double b = KivStr2Float(wide.data(), &we);
  FloatShape f = refFloatShape(t);

  FUZZ_CHECK((size_t)(ne - narrow.data()) == f.end && (size_t)(we - wide.data()) == f.end);
  FUZZ_CHECK(isnan(a) ? isnan(b) : memcmp(&a, &b, sizeof a) == 0);
  FUZZ_CHECK(KivStr2Float(narrow.data()) == a || isnan(a));

  if (!f.exponent && !f.digits)
    FUZZ_CHECK(a == 0.0 && (bool)signbit(a) == f.negative);
  if (!f.exponent && f.digits && f.significant <= 15 && f.decimals <= 22)
  {
    /* An exact integer divided by an exact power of ten: correctly rounded,
       so the C library must agree bit for bit. */
    std::string text;
    for (size_t i = 0; i < f.end; i++)
      text.push_back((char)t[i]);
    double want = strtod(text.c_str(), NULL);
    FUZZ_CHECK_MSG(memcmp(&a, &want, sizeof a) == 0, text.c_str());
  }
}

/* ---- floating-point formatting ---- */

/* Reads back a formatted number (narrow), checks its shape and returns the
   value; infinity and NaN are checked by their spelling. */
static void checkFloatText(const std::vector<char> &out, double v, int precision, int notation,
                           int width, int forceSign, int padding)
{
  std::string s(out.begin(), out.end());
  if (width > 0)
    FUZZ_CHECK(s.size() >= (size_t)width);

  size_t first = s.find_first_not_of(' ');
  size_t last = s.find_last_not_of(' ');
  FUZZ_CHECK(first != std::string::npos);
  std::string body = s.substr(first, last - first + 1);
  if (padding == KIVFLOAT_PAD_RIGHT)
    FUZZ_CHECK(first == 0);
  else if (width > 0 && (int)s.size() > (int)body.size())
    FUZZ_CHECK(last == s.size() - 1);

  if (isnan(v))
  {
    FUZZ_CHECK(body == "nan");
    return;
  }
  if (isinf(v))
  {
    FUZZ_CHECK(body == (v < 0 ? "-inf" : forceSign ? "+inf"
                                                   : "inf"));
    return;
  }
  FUZZ_CHECK(body[0] == '-' ? (bool)signbit(v) : !signbit(v));
  if (forceSign && !signbit(v))
    FUZZ_CHECK(body[0] == '+');

  /* Shape: fixed has no exponent; the exponent form has "e", a sign and at
     least two digits; the point is followed by exactly precision digits. */
  size_t e = body.find('e');
  int p = precision < 0 ? 6 : precision > 309 ? 309
                                              : precision;
  if (notation == KIVFLOAT_EXPONENT)
  {
    FUZZ_CHECK(e != std::string::npos && e + 2 < body.size());
    FUZZ_CHECK(body[e + 1] == '+' || body[e + 1] == '-');
    FUZZ_CHECK(body.size() - (e + 2) >= 2);
  }
  else if (notation != KIVFLOAT_GENERAL)
    FUZZ_CHECK(e == std::string::npos);
  if (notation != KIVFLOAT_GENERAL)
  {
    size_t dot = body.find('.');
    size_t digitsEnd = e == std::string::npos ? body.size() : e;
    if (p == 0)
      FUZZ_CHECK(dot == std::string::npos);
    else
      FUZZ_CHECK(dot != std::string::npos && digitsEnd - dot - 1 == (size_t)p);
  }

  char *end = NULL;
  double back = strtod(body.c_str(), &end);
  FUZZ_CHECK_MSG(*end == 0, body.c_str());

  /* Within one unit of the last digit written (plus the small drift of the
     digit generator, which is not exactly rounded). */
  double mag = fabs(v);
  if (mag != 0.0 && (mag < 1e-290 || mag > 1e300))
    return;
  int x = mag == 0.0 ? 0 : (int)floor(log10(mag));
  double unit;
  if (notation == KIVFLOAT_EXPONENT)
    unit = pow(10.0, x - p);
  else if (notation == KIVFLOAT_GENERAL)
    unit = pow(10.0, x - (p == 0 ? 1 : p) + 1);
  else
    unit = pow(10.0, -p);
  double error = fabs(back - v);
  FUZZ_CHECK_MSG(error <= 1.01 * unit + mag * 1e-12, body.c_str());
}

template <typename C>
static std::vector<C> formatFloat(double v, size_t cap, int precision,
                                  int notation, int width, int forceSign,
                                  int padding)
{
  std::vector<C> out = checkWriter<C>(
    [&](C *d, unsigned int c) { return TFloat2Str<C>(v, d, c, precision, notation, width, forceSign, padding); },
    cap, CUT_UNITS, NULL, 4096);
  std::vector<C> ex = checkWriter<C>(
    [&](C *d, unsigned int c) { return KivFloat2StrEx(v, d, c, precision, notation, width, forceSign, padding); },
    cap, CUT_UNITS, NULL, 4096);
  FUZZ_CHECK(ex == out);
  return out;
}

static double doubleFrom(FuzzInput &in)
{
  uint8_t kind = in.u8();
  uint64_t bits = (uint64_t)in.u32() | ((uint64_t)in.u32() << 32);
  double v;

  switch (kind % 4)
  {
    case 0: /* any bit pattern */
      memcpy(&v, &bits, sizeof v);
      return v;
    case 1: /* a decimal-looking value */
      return (double)(int64_t)(bits % 2000000001ull) / pow(10.0, (double)(kind >> 2 & 15)) *
             ((kind & 0x40) ? -1.0 : 1.0);
    case 2: /* a value near a rounding edge: x.5 at some digit */
      return ((double)(bits % 100000) + 0.5) * pow(10.0, (double)((int)(kind >> 2) - 32));
    default: /* a modest magnitude */
      return ((double)(int64_t)bits / 9.2233720368547758e18) * pow(10.0, (double)((int)(kind >> 2) - 20));
  }
}

static void floatFamily(FuzzInput &in)
{
  double v = doubleFrom(in);
  int precision = (int)(int16_t)in.u16() % 400;
  int notation = (int)(in.u8() % 5) - 1;
  int width = (int)(int8_t)in.u8();
  int forceSign = in.u8() & 1;
  int padding = (int)(in.u8() % 5) - 1;
  size_t cap = in.upTo(1024);

  if (in.u8() & 1)
    precision = precision % 20;
  std::vector<char> a = formatFloat<char>(v, cap, precision, notation, width, forceSign, padding);
  std::vector<wchar_t> b = formatFloat<wchar_t>(v, cap, precision, notation, width, forceSign, padding);
  FUZZ_CHECK(a.size() == b.size());
  for (size_t i = 0; i < a.size(); i++)
    FUZZ_CHECK((wchar_t)(unsigned char)a[i] == b[i]);

  int effective = notation == KIVFLOAT_GENERAL || notation == KIVFLOAT_EXPONENT ? notation : KIVFLOAT_FIXED;
  int pad = padding == KIVFLOAT_PAD_ZERO || padding == KIVFLOAT_PAD_RIGHT ? padding : KIVFLOAT_PAD_SPACE;
  if (!a.empty())
    checkFloatText(a, v, precision, effective, width, forceSign, pad);

  /* KivFloat2Str is the fixed form without width or sign. */
  std::vector<char> f = checkWriter<char>([&](char *d, unsigned int c) { return KivFloat2Str(v, d, c, precision); },
                                          cap, CUT_UNITS, NULL, 4096);
  std::vector<char> g = formatFloat<char>(v, 0, precision, 1, 0, 0, 0);
  FUZZ_CHECK(f == g);
}

static void coreFamily(FuzzInput &in)
{
  double v = doubleFrom(in);
  int digits = (int)(int16_t)in.u16();
  int significant = in.u8() & 1;
  GuardedBuffer<char> buf(KIV_FLOAT_CORE_BUFFER, 'x');
  int point = 12345, negative = 12345;

  if (in.u8() & 1)
    digits = digits % 400;
  char *r = Float2Str_Core(v, buf.data(), digits, &point, &negative, significant);
  FUZZ_CHECK(r == buf.data());
  FUZZ_CHECK(buf.guardsIntact());
  size_t n = fuzzBoundedLength(buf.data(), KIV_FLOAT_CORE_BUFFER);
  FUZZ_CHECK(n < KIV_FLOAT_CORE_BUFFER);
  if (isnan(v) || isinf(v))
    FUZZ_CHECK(strcmp(r, isnan(v) ? "nan" : "inf") == 0 && point == 0);
  else
  {
    for (size_t i = 0; i < n; i++)
      FUZZ_CHECK(r[i] >= '0' && r[i] <= '9');
    FUZZ_CHECK(point >= -400 && point <= 400);
    if (significant && digits >= 1 && digits <= KIV_FLOAT_CORE_MAXDIGITS && v != 0.0)
      FUZZ_CHECK(n >= (size_t)digits && r[0] != '0');
  }
  FUZZ_CHECK(negative == (v < 0.0 ? 1 : 0));

  /* Null result pointers are allowed, and give the same digits. */
  GuardedBuffer<char> again(KIV_FLOAT_CORE_BUFFER, 'x');
  Float2Str_Core(v, again.data(), digits, NULL, NULL, significant);
  FUZZ_CHECK(again.guardsIntact() && strcmp(again.data(), buf.data()) == 0);
  FUZZ_CHECK(Float2Str_Core(v, NULL, digits, &point, &negative, significant) == NULL);
}

/* Elements of a text to parse: input bytes, with some wide values that
   only look like digits, signs or white space in their low byte. */
static std::vector<uint32_t> textFrom(const std::string &s, bool wideValues)
{
  std::vector<uint32_t> t;
  for (size_t i = 0; i < s.size(); i++)
  {
    uint32_t c = (unsigned char)s[i];
    if (c == 0)
      break;
    if (wideValues && c == 0x7F && i + 1 < s.size())
      c = 0x100u | (unsigned char)s[++i];
    t.push_back(c);
  }
  t.push_back(0);
  t.push_back(0);
  return t;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t family = in.u8();

  switch (family % 6)
  {
    case 0:
    case 1:
    {
      int64_t v = (int64_t)((uint64_t)in.u32() | ((uint64_t)in.u32() << 32));
      int radix = (int)(int8_t)in.u8();
      size_t cap = in.upTo(80);
      if (family & 0x80)
        radix = 2 + (radix & 0x7F) % 35;
      if (family % 6 == 0)
      {
        formatInt32<char>(in, (int32_t)v, radix, cap);
        formatInt32<wchar_t>(in, (int32_t)v, radix, cap);
      }
      else
      {
        formatInt64<char>(in, v, radix, cap);
        formatInt64<wchar_t>(in, v, radix, cap);
      }
      roundTripInt<char>(v, radix);
      roundTripInt<wchar_t>(v, radix);
      break;
    }
    case 2:
    {
      int radix = (int)(int8_t)in.u8();
      if (family & 0x80)
        radix = radix & 0x3F;
      std::string text = in.rest();
      std::vector<uint32_t> narrow = textFrom(text, false);
      parseInts<char>(narrow, radix);
      parseInts<wchar_t>(narrow, radix);
      parseInts<wchar_t>(textFrom(text, true), radix);
      parseNull<char>(radix);
      parseNull<wchar_t>(radix);
      break;
    }
    case 3:
    {
      std::string text = in.rest();
      parseFloat(textFrom(text, false));
      std::vector<uint32_t> wide = textFrom(text, true);
      std::vector<wchar_t> w(wide.begin(), wide.end());
      const wchar_t *we = NULL;
      double d = KivStr2Float(w.data(), &we);
      FUZZ_CHECK((size_t)(we - w.data()) == refFloatShape(wide).end);
      (void)d;
      break;
    }
    case 4:
      floatFamily(in);
      break;
    default:
      coreFamily(in);
      break;
  }
  return 0;
}
