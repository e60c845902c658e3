/*
 * KivNumber_unix.cpp - kivruntime: number formatting and parsing.
 *
 * Integer <-> text in radix 2..36, the decimal floating-point parser, the
 * ecvt/fcvt-style digit generator and the floating-point formatter built on
 * it.  All arithmetic on integer values is done in unsigned types, so that
 * wrap-around on overflow is defined behaviour, and characters are read
 * through codeOf() so that nothing depends on the signedness of char or
 * wchar_t.
 */
#include "KivString_unix.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

namespace {

/* The digit alphabet; formatters use its first 36 entries. */
const char s_acDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

/* Code of one element as an unsigned number: bytes 0..255, wide elements
 * their 32 bits, so negative values never look like digits or spaces. */
inline unsigned long codeOf(char c)
{
  return (unsigned char)c;
}

inline unsigned long codeOf(wchar_t c)
{
  return (unsigned long)(unsigned int)c;
}

/* White space for the parsers: the space and the codes 9 to 13. */
inline bool isSpaceCode(unsigned long c)
{
  return c == ' ' || (c >= 9 && c <= 13);
}

/* Value of a digit in either case, or 99 for anything that is not a digit
 * in any radix up to 36. */
inline unsigned int digitValue(unsigned long c)
{
  if (c >= '0' && c <= '9')
    return (unsigned int)(c - '0');
  if (c >= 'A' && c <= 'Z')
    return (unsigned int)(c - 'A' + 10);
  if (c >= 'a' && c <= 'z')
    return (unsigned int)(c - 'a' + 10);
  return 99;
}

/* Empty strings handed out as the text (and end position) of a null text. */
template <class C>
struct TEmpty;
template <>
struct TEmpty<char>
{
  static const char *get() { return ""; }
};
template <>
struct TEmpty<wchar_t>
{
  static const wchar_t *get() { return L""; }
};

/*
 * The bounded writer shared by all formatters: one element at a time while
 * it fits into capacity - 1, then a terminator; a null destination is a
 * measuring call like capacity 0.  total counts everything the output needs.
 */
template <class C>
struct TBoundedOut
{
  C *dest;
  unsigned int room;    /* elements that may be written before the terminator */
  unsigned int written; /* elements written so far */
  unsigned int total;   /* elements the whole output needs */
  bool measuring;       /* capacity 0 or null destination */
  bool full;            /* an element did not fit: writing has ended */
};

template <class C>
void outInit(TBoundedOut<C> &o, C *dest, unsigned int capacity)
{
  o.measuring = (dest == 0 || capacity == 0);
  o.dest = dest;
  o.room = o.measuring ? 0 : capacity - 1;
  o.written = 0;
  o.total = 0;
  o.full = false;
}

/* Writes n copies of c, as n separate elements. */
template <class C>
void outRun(TBoundedOut<C> &o, char c, unsigned int n)
{
  if (!o.measuring && !o.full)
  {
    unsigned int left = o.room - o.written;
    unsigned int k = n < left ? n : left;
    for (unsigned int i = 0; i < k; i++)
      o.dest[o.written++] = (C)(unsigned char)c;
    if (k < n)
      o.full = true;
  }
  o.total += n;
}

/* Writes the n characters of s. */
template <class C>
void outChars(TBoundedOut<C> &o, const char *s, unsigned int n)
{
  for (unsigned int i = 0; i < n; i++)
    outRun(o, s[i], 1);
}

/* Stores the terminator and gives the writer's result. */
template <class C>
unsigned int outFinish(TBoundedOut<C> &o)
{
  if (o.measuring)
    return o.total + 1;
  o.dest[o.written] = 0;
  return o.full ? o.total + 1 : o.total;
}

/* The value of the unsigned bits u as T, two's complement for a signed T,
 * computed without an implementation-defined narrowing conversion. */
template <class T, class U>
T fromUnsigned(U u)
{
  if constexpr (std::is_signed<T>::value)
  {
    if (u <= (U)std::numeric_limits<T>::max())
      return (T)u;
    /* u >= 2^(n-1): ~u fits T and -~u - 1 == u - 2^n. */
    return (T)(-(T)(U)~u - 1);
  }
  else
  {
    return (T)u;
  }
}

/* Appends to a fixed char array without ever passing its end; used to lay
 * out one formatted number before it goes through the bounded writer. */
struct TextBuf
{
  char text[720];
  unsigned int len;
};

inline void tbPut(TextBuf &b, char c)
{
  if (b.len < sizeof b.text)
    b.text[b.len++] = c;
}

inline void tbPutS(TextBuf &b, const char *s)
{
  while (*s)
    tbPut(b, *s++);
}

} // namespace

/* ---- integer formatting ---- */

namespace {

/* The two decimal digits of 0-99, "00" to "99": radix 10 is formatted two
 * digits per division, which halves the divisions of the plain loop. */
const char s_acDigitPairs[201] =
  "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
  "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
  "8081828384858687888990919293949596979899";

/* Powers of ten that fit in 64 bits, for the decimal length. */
const uint64_t s_aPow10[20] = {
  1ull, 10ull, 100ull, 1000ull, 10000ull, 100000ull, 1000000ull, 10000000ull, 100000000ull,
  1000000000ull, 10000000000ull, 100000000000ull, 1000000000000ull, 10000000000000ull,
  100000000000000ull, 1000000000000000ull, 10000000000000000ull, 100000000000000000ull,
  1000000000000000000ull, 10000000000000000000ull};

/* Number of significant bits of u (0 for 0). */
template <class U>
inline unsigned int bitLength(U u)
{
#if defined(__GNUC__)
  if (u == 0)
    return 0;
  if constexpr (sizeof(U) <= sizeof(unsigned int))
    return (unsigned int)(sizeof(unsigned int) * CHAR_BIT) - (unsigned int)__builtin_clz((unsigned int)u);
  else
    return (unsigned int)(sizeof(unsigned long long) * CHAR_BIT) -
           (unsigned int)__builtin_clzll((unsigned long long)u);
#else
  unsigned int n = 0;
  while (u != 0)
  {
    u >>= 1;
    n++;
  }
  return n;
#endif
}

/* Number of decimal digits of u (1 for 0), without a loop.  For a value of
 * b bits, t = floor(b * log10(2)) (1233 / 4096 standing for log10(2)) puts
 * the value between 10^(t-1) and 10^(t+1), so it has t or t + 1 digits, and
 * one comparison with 10^t settles which.  u | 1 has the digits of u and is
 * never 0. */
template <class U>
inline unsigned int decimalLength(U u)
{
  U w = u | 1u;
  unsigned int t = (bitLength(w) * 1233u) >> 12;
  return t + ((uint64_t)w >= s_aPow10[t] ? 1u : 0u);
}

/* Stores the two digits of d (0-99) at p; into a narrow string as one
 * two-byte copy. */
template <class C>
inline void putPair(C *p, unsigned int d)
{
  p[0] = (C)(unsigned char)s_acDigitPairs[2 * d];
  p[1] = (C)(unsigned char)s_acDigitPairs[2 * d + 1];
}

template <>
inline void putPair<char>(char *p, unsigned int d)
{
  memcpy(p, s_acDigitPairs + 2 * d, 2);
}

/* Stores the four digits of d (0-9999) at p: two pairs, each found
 * independently of the other. */
template <class C>
inline void putQuad(C *p, uint32_t d)
{
  putPair(p, d / 100u);
  putPair(p + 2, d % 100u);
}

/* Writes the decimal digits of u backwards, ending just before p.  Four
 * digits are split off per division, and the two pairs of each block come
 * from the remainder in parallel, which shortens the chain of dependent
 * divisions.  Values wider than 32 bits first lose blocks of eight digits,
 * so that everything else is 32-bit arithmetic with constant divisors
 * (cheap also on 32-bit targets, where a 64-bit division is a library
 * call). */
template <class C, class U>
inline void putDecimal(C *p, U u)
{
  if constexpr (sizeof(U) > 4)
  {
    while (u > 0xFFFFFFFFu)
    {
      U q = u / 100000000u;
      uint32_t block = (uint32_t)(u - q * 100000000u);
      p -= 8;
      putQuad(p, block / 10000u);
      putQuad(p + 4, block % 10000u);
      u = q;
    }
  }
  uint32_t v = (uint32_t)u;
  while (v >= 10000u)
  {
    uint32_t q = v / 10000u;
    p -= 4;
    putQuad(p, v - q * 10000u);
    v = q;
  }
  if (v >= 100u)
  {
    p -= 2;
    putPair(p, v % 100u);
    v /= 100u;
  }
  if (v >= 10u)
    putPair(p - 2, v);
  else
    p[-1] = (C)(unsigned char)('0' + v);
}

/* The two upper-case hexadecimal digits of every byte, "00" to "FF",
 * built at compile time from the digit alphabet. */
struct TKivHexPairs
{
  char at[512];
};

constexpr TKivHexPairs makeHexPairs()
{
  TKivHexPairs t{};
  const char digits[] = "0123456789ABCDEF";
  for (int b = 0; b < 256; b++)
  {
    t.at[2 * b] = digits[b >> 4];
    t.at[2 * b + 1] = digits[b & 15];
  }
  return t;
}

constexpr TKivHexPairs s_hexPairs = makeHexPairs();

/* Stores the two hexadecimal digits of the byte b at p. */
template <class C>
inline void putHexPair(C *p, unsigned int b)
{
  p[0] = (C)(unsigned char)s_hexPairs.at[2 * b];
  p[1] = (C)(unsigned char)s_hexPairs.at[2 * b + 1];
}

template <>
inline void putHexPair<char>(char *p, unsigned int b)
{
  memcpy(p, s_hexPairs.at + 2 * b, 2);
}

/* Writes the hexadecimal digits of u backwards, ending just before p, a
 * byte (two digits) per step. */
template <class C, class U>
inline void putHex(C *p, U u)
{
  while (u > 0xFFu)
  {
    p -= 2;
    putHexPair(p, (unsigned int)(u & 0xFFu));
    u >>= 8;
  }
  if (u > 0xFu)
    putHexPair(p - 2, (unsigned int)u);
  else
    p[-1] = (C)(unsigned char)s_acDigits[(unsigned int)u];
}

#if defined(__GNUC__)
#define KIV_NOINLINE __attribute__((noinline))
#else
#define KIV_NOINLINE
#endif

/* Every case of the formatter: clamps the radix, decides the sign (radix
 * 10 only), makes the digits least significant first into a scratch area
 * as wide as U in bits ('0' digits up to minDigits) and writes sign and
 * digits through the bounded writer, which stores what fits element by
 * element.  Kept out of line so that the common case below stays small. */
template <class C, class T, class U>
KIV_NOINLINE unsigned int int2StrGeneral(T value, C *dest, unsigned int capacity, int radix, int forceSign,
                                         int minDigits)
{
  if (radix < 2)
    radix = 2;
  else if (radix > 36)
    radix = 36;

  const int bits = (int)(sizeof(U) * CHAR_BIT);
  U u = (U)value;
  char sign = 0;
  if (radix == 10)
  {
    const bool negative = std::is_signed<T>::value && ((u >> (bits - 1)) & 1u) != 0;
    if (negative)
    {
      sign = '-';
      u = (U)((U)0 - u); /* magnitude, also of the most negative value */
    }
    else if (forceSign)
    {
      sign = '+';
    }
  }

  if (minDigits > bits)
    minDigits = bits;
  char scratch[sizeof(U) * CHAR_BIT];
  int n = 0;
  const U r = (U)radix;
  do
  {
    scratch[n++] = s_acDigits[(unsigned int)(u % r)];
    u /= r;
  } while (u != 0 || n < minDigits);

  TBoundedOut<C> o;
  outInit(o, dest, capacity);
  if (sign)
    outRun(o, sign, 1);
  while (n > 0)
    outRun(o, scratch[--n], 1);
  return outFinish(o);
}

/* The formatter.  The common case, radix 10 or 16 without leading zeros
 * into a destination that holds the whole text, knows the length
 * beforehand and writes the digits straight in, two per step; everything
 * else (other radices, minDigits, a short or missing destination) goes to
 * int2StrGeneral.  Inline, so that the fixed-width functions below drop
 * what their constant arguments rule out. */
template <class C, class T, class U>
inline unsigned int int2Str(T value, C *dest, unsigned int capacity, int radix, int forceSign, int minDigits)
{
  if (dest != 0 && minDigits <= 1)
  {
    U u = (U)value;
    if (radix == 10)
    {
      const int bits = (int)(sizeof(U) * CHAR_BIT);
      char sign = 0;
      if (std::is_signed<T>::value && ((u >> (bits - 1)) & 1u) != 0)
      {
        sign = '-';
        u = (U)((U)0 - u); /* magnitude, also of the most negative value */
      }
      else if (forceSign)
      {
        sign = '+';
      }
      const unsigned int digits = decimalLength(u);
      const unsigned int len = digits + (sign ? 1u : 0u);
      if (capacity > len)
      {
        C *d = dest;
        if (sign)
          *d++ = (C)(unsigned char)sign;
        putDecimal(d + digits, u);
        d[digits] = 0;
        return len;
      }
    }
    else if (radix == 16)
    {
      const unsigned int digits = (bitLength(u | 1u) + 3u) >> 2;
      if (capacity > digits)
      {
        putHex(dest + digits, u);
        dest[digits] = 0;
        return digits;
      }
    }
  }
  return int2StrGeneral<C, T, U>(value, dest, capacity, radix, forceSign, minDigits);
}

} // namespace

/* Formats value in the radix (clamped to 2-36): in radix 10 a "-" before a
 * negative value and, with forceSign, a "+" before any other; in every
 * other radix the value's bits as unsigned.  At least minDigits digits,
 * leading places '0'.  Bounded-writer result. */
template <class C, class T, class U>
unsigned int TInt2Str(T value, C *dest, unsigned int capacity, int radix, int forceSign, int minDigits)
{
  return int2Str<C, T, U>(value, dest, capacity, radix, forceSign, minDigits);
}

unsigned int KivLONG2Str(int value, char *dest, unsigned int capacity, int radix)
{
  return int2Str<char, int, unsigned int>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivLONG2Str(int value, wchar_t *dest, unsigned int capacity, int radix)
{
  return int2Str<wchar_t, int, unsigned int>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivDWORD2Str(unsigned int value, char *dest, unsigned int capacity, int radix)
{
  return int2Str<char, unsigned int, unsigned int>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivDWORD2Str(unsigned int value, wchar_t *dest, unsigned int capacity, int radix)
{
  return int2Str<wchar_t, unsigned int, unsigned int>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivLONGLONG2Str(long long value, char *dest, unsigned int capacity, int radix)
{
  return int2Str<char, long long, unsigned long long>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivLONGLONG2Str(long long value, wchar_t *dest, unsigned int capacity, int radix)
{
  return int2Str<wchar_t, long long, unsigned long long>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivQWORD2Str(unsigned long long value, char *dest, unsigned int capacity, int radix)
{
  return int2Str<char, unsigned long long, unsigned long long>(value, dest, capacity, radix, 0, 0);
}

unsigned int KivQWORD2Str(unsigned long long value, wchar_t *dest, unsigned int capacity, int radix)
{
  return int2Str<wchar_t, unsigned long long, unsigned long long>(value, dest, capacity, radix, 0, 0);
}

/* ---- integer parsing ---- */

/* Parses white space, radix prefix, sign and digits; accumulates in U so
 * that overflow wraps, negates in U and hands the bits back as T. */
template <class C, class T, class U>
T TStr2Int(C const *text, int radix, typename TKivNonDeduced<C>::type const **end)
{
  const C *s = text ? text : TEmpty<C>::get();
  while (isSpaceCode(codeOf(*s)))
    s++;

  if (radix == 0)
  {
    if (codeOf(s[0]) == '0')
    {
      /* s[0] is not the terminator, so s[1] may be read. */
      if (codeOf(s[1]) == 'x' || codeOf(s[1]) == 'X')
      {
        radix = 16;
        s += 2;
      }
      else
      {
        radix = 8;
        s += 1;
      }
    }
    else
    {
      radix = 10;
    }
  }
  else if (radix < 2)
  {
    radix = 2;
  }
  else if (radix > 36)
  {
    radix = 36;
  }

  bool negative = false;
  if (radix == 10)
  {
    if (codeOf(*s) == '-')
    {
      negative = true;
      s++;
    }
    else if (codeOf(*s) == '+')
    {
      s++;
    }
  }

  U value = 0;
  const U r = (U)radix;
  for (;;)
  {
    unsigned int d = digitValue(codeOf(*s));
    if (d >= (unsigned int)radix)
      break;
    value = (U)(value * r + (U)d);
    s++;
  }
  if (end)
    *end = s;
  if (negative)
    value = (U)((U)0 - value);
  return fromUnsigned<T, U>(value);
}

unsigned int KivStr2DWORD(char const *text, int radix, char const **end)
{
  return TStr2Int<char, unsigned int, unsigned int>(text, radix, end);
}

unsigned int KivStr2DWORD(wchar_t const *text, int radix, wchar_t const **end)
{
  return TStr2Int<wchar_t, unsigned int, unsigned int>(text, radix, end);
}

int KivStr2LONG(char const *text, int radix, char const **end)
{
  return TStr2Int<char, int, unsigned int>(text ? text : "", radix, end);
}

int KivStr2LONG(wchar_t const *text, int radix, wchar_t const **end)
{
  return TStr2Int<wchar_t, int, unsigned int>(text ? text : L"", radix, end);
}

long long KivStr2LONGLONG(char const *text, int radix, char const **end)
{
  return TStr2Int<char, long long, unsigned long long>(text, radix, end);
}

long long KivStr2LONGLONG(wchar_t const *text, int radix, wchar_t const **end)
{
  return TStr2Int<wchar_t, long long, unsigned long long>(text, radix, end);
}

unsigned long long KivStr2QWORD(char const *text, int radix, char const **end)
{
  return TStr2Int<char, unsigned long long, unsigned long long>(text, radix, end);
}

unsigned long long KivStr2QWORD(wchar_t const *text, int radix, wchar_t const **end)
{
  return TStr2Int<wchar_t, unsigned long long, unsigned long long>(text, radix, end);
}

/* ---- floating-point parsing ---- */

namespace {

/* Mantissa digits kept exactly: 19 decimal digits always fit 64 bits. */
const int kMaxMantissaDigits = 19;
/* Beyond this the place count no longer changes the result (it is then
 * infinity or zero already); keeping it bounded avoids int overflow on
 * absurdly long inputs. */
const int kMaxPlaceShift = 100000;

/*
 * The parser shared by both overloads.  Mantissa digits accumulate as an
 * integer of up to 19 significant digits plus a decimal shift (one per
 * integer digit dropped, minus one per fraction digit kept or leading fraction
 * zero), so "12.5" is 125 shifted by -1.  A negative shift is applied by
 * division, which keeps "0.1" and other short decimals exactly rounded.
 */
template <class C>
double str2Float(C const *text, C const **end)
{
  const C *s = text ? text : TEmpty<C>::get();
  while (isSpaceCode(codeOf(*s)))
    s++;

  bool negative = false;
  if (codeOf(*s) == '-')
  {
    negative = true;
    s++;
  }
  else if (codeOf(*s) == '+')
  {
    s++;
  }

  unsigned long long acc = 0;
  int kept = 0;  /* significant digits in acc */
  int shift = 0; /* decimal places to move acc by */
  bool fraction = false;
  for (;;)
  {
    unsigned int d = digitValue(codeOf(*s));
    if (d < 10)
    {
      if (acc == 0 && d == 0)
      {
        /* a leading zero: only its place counts after the point */
        if (fraction && shift > -kMaxPlaceShift)
          shift--;
      }
      else if (kept < kMaxMantissaDigits)
      {
        acc = acc * 10u + d;
        kept++;
        if (fraction)
          shift--;
      }
      else if (!fraction && shift < kMaxPlaceShift)
      {
        shift++;
      }
      s++;
    }
    else if (!fraction && codeOf(*s) == '.')
    {
      /* The point is always consumed; without a digit after it the
             * next round ends the mantissa. */
      s++;
      fraction = true;
    }
    else
    {
      break;
    }
  }

  double mantissa = (double)acc;
  if (shift > 0)
  {
    mantissa *= std::pow(10.0, (double)shift);
  }
  else if (shift < 0)
  {
    if (shift >= -308)
    {
      mantissa /= std::pow(10.0, (double)-shift);
    }
    else
    {
      /* 10^309 and beyond are infinite: divide in two steps so that
             * results in the subnormal range survive. */
      mantissa /= 1e308;
      mantissa /= std::pow(10.0, (double)(-shift - 308));
    }
  }
  if (negative)
    mantissa = -mantissa;

  int exponent = 0;
  if (codeOf(*s) == 'e' || codeOf(*s) == 'E')
  {
    s++;
    if (!isSpaceCode(codeOf(*s)))
    {
      const C *after = s;
      exponent = TStr2Int<C, int, unsigned int>(s, 10, &after);
      s = after;
    }
  }
  if (end)
    *end = s;
  return mantissa * std::pow(10.0, (double)exponent);
}

} // namespace

double KivStr2Float(char const *text, char const **end)
{
  return str2Float<char>(text, end);
}

double KivStr2Float(wchar_t const *text, wchar_t const **end)
{
  return str2Float<wchar_t>(text, end);
}

/* ---- floating-point digits ---- */

/*
 * The classic ecvt/fcvt digit generator, with buffer indices instead of
 * pointers so that no position outside the buffer is ever formed.  NDIG is
 * the buffer size; the integer part's digits are first produced at its end
 * (least significant last) and then moved to the front.
 */
char *Float2Str_Core(double value, char *buffer, int digits, int *decimalPoint, int *negative, int significant)
{
  const int NDIG = KIV_FLOAT_CORE_BUFFER;
  int pointDummy = 0;
  int negativeDummy = 0;
  if (!decimalPoint)
    decimalPoint = &pointDummy;
  if (!negative)
    negative = &negativeDummy;
  if (!buffer)
  {
    *decimalPoint = 0;
    *negative = 0;
    return 0;
  }
  if (digits > KIV_FLOAT_CORE_MAXDIGITS)
    digits = KIV_FLOAT_CORE_MAXDIGITS;
  else if (digits < -1000)
    digits = -1000;

  *negative = 0;
  if (std::isnan(value) || std::isinf(value))
  {
    /* modf would never exhaust these; name them instead */
    if (value < 0.0)
      *negative = 1;
    *decimalPoint = 0;
    buffer[0] = std::isnan(value) ? 'n' : 'i';
    buffer[1] = std::isnan(value) ? 'a' : 'n';
    buffer[2] = std::isnan(value) ? 'n' : 'f';
    buffer[3] = 0;
    return buffer;
  }
  if (value < 0.0)
  {
    *negative = 1;
    value = -value;
  }

  int r2 = 0; /* decimal exponent */
  double fi, fj;
  double arg = std::modf(value, &fi);
  int p = 0;
  if (fi != 0.0)
  {
    /* Integer part: digits from the least significant end.  A finite
         * double has at most 309 of them, so p1 stays inside the buffer. */
    int p1 = NDIG;
    while (fi != 0.0 && p1 > 0)
    {
      fj = std::modf(fi / 10.0, &fi);
      buffer[--p1] = (char)((int)((fj + 0.03) * 10.0) + '0');
      r2++;
    }
    while (p1 < NDIG)
      buffer[p++] = buffer[p1++];
  }
  else if (arg > 0.0)
  {
    /* Pure fraction: scale up to [0.1, 1), counting the exponent down. */
    while ((fj = arg * 10.0) < 1.0)
    {
      arg = fj;
      r2--;
    }
  }

  int last = digits; /* index of the digit that gets rounded */
  if (!significant)
    last += r2;
  *decimalPoint = r2;
  if (last < 0)
  {
    buffer[0] = 0;
    return buffer;
  }
  while (p <= last && p < NDIG)
  {
    arg *= 10.0;
    arg = std::modf(arg, &fj);
    buffer[p++] = (char)((int)fj + '0');
  }
  if (last >= NDIG)
  {
    buffer[NDIG - 1] = 0;
    return buffer;
  }

  /* Round half up at the last position, carrying leftwards. */
  p = last;
  int q = last;
  buffer[q] = (char)(buffer[q] + 5);
  while (buffer[q] > '9')
  {
    buffer[q] = '0';
    if (q > 0)
    {
      --q;
      buffer[q] = (char)(buffer[q] + 1);
    }
    else
    {
      buffer[q] = '1';
      (*decimalPoint)++;
      /* fcvt form: one more integer digit, so one more digit in all
             * keeps the count after the point (while the buffer has room). */
      if (!significant && p < NDIG - 1)
      {
        if (p > 0)
          buffer[p] = '0';
        p++;
      }
    }
  }
  buffer[p] = 0;
  return buffer;
}

/* ---- floating-point formatting ---- */

namespace {

/* Largest precision accepted: the exponent form asks the core for
 * precision + 1 significant digits, at most 310. */
const int kMaxPrecision = KIV_FLOAT_CORE_MAXDIGITS - 1;

/* Digit i of a core result of length n, "0" outside it (before the first
 * digit of a small number and after the digits the core could hold). */
inline char coreDigit(const char *digits, int n, int i)
{
  return (i >= 0 && i < n) ? digits[i] : '0';
}

/* Lays out 0.digits * 10^point in fixed notation with `decimals` decimals. */
void layFixed(TextBuf &b, const char *digits, int n, int point, int decimals)
{
  if (point <= 0)
  {
    tbPut(b, '0');
  }
  else
  {
    for (int i = 0; i < point; i++)
      tbPut(b, coreDigit(digits, n, i));
  }
  if (decimals > 0)
  {
    tbPut(b, '.');
    for (int k = 0; k < decimals; k++)
      tbPut(b, coreDigit(digits, n, point + k));
  }
}

/* Lays out d.ddd followed by "e", the exponent's sign and at least two of
 * its digits (written by TInt2Str). */
void layExponent(TextBuf &b, const char *digits, int n, int exponent, int decimals)
{
  tbPut(b, coreDigit(digits, n, 0));
  if (decimals > 0)
  {
    tbPut(b, '.');
    for (int k = 1; k <= decimals; k++)
      tbPut(b, coreDigit(digits, n, k));
  }
  tbPut(b, 'e');
  char exp[16];
  TInt2Str<char, int, unsigned int>(exponent, exp, sizeof exp, 10, 1, 2);
  tbPutS(b, exp);
}

/* Removes trailing zeros after a point, and the point if nothing is left
 * after it, from the text after index `from` (the general notation's %g rule). */
void trimFraction(TextBuf &b, unsigned int from)
{
  unsigned int dot = b.len;
  for (unsigned int i = from; i < b.len; i++)
  {
    if (b.text[i] == '.')
    {
      dot = i;
      break;
    }
  }
  if (dot == b.len)
    return;
  unsigned int stop = b.len; /* end of the fraction: the "e" or the end */
  for (unsigned int i = dot; i < b.len; i++)
  {
    if (b.text[i] == 'e')
    {
      stop = i;
      break;
    }
  }
  unsigned int keep = stop;
  while (keep > dot + 1 && b.text[keep - 1] == '0')
    keep--;
  if (keep == dot + 1)
    keep = dot;
  unsigned int tail = b.len - stop;
  for (unsigned int i = 0; i < tail; i++)
    b.text[keep + i] = b.text[stop + i];
  b.len = keep + tail;
}

/* The body of a finite value (without sign) in the chosen notation. */
void layFinite(TextBuf &b, double magnitude, int precision, int notation)
{
  char digits[KIV_FLOAT_CORE_BUFFER];
  int point = 0;
  int negative = 0;
  const bool zero = (magnitude == 0.0);

  if (notation == KIVFLOAT_EXPONENT)
  {
    Float2Str_Core(magnitude, digits, precision + 1, &point, &negative, 1);
    int n = (int)strlen(digits);
    layExponent(b, digits, n, zero ? 0 : point - 1, precision);
    return;
  }
  if (notation == KIVFLOAT_GENERAL)
  {
    int p = precision == 0 ? 1 : precision;
    Float2Str_Core(magnitude, digits, p, &point, &negative, 1);
    int n = (int)strlen(digits);
    int x = zero ? 0 : point - 1; /* zero is written as "0", exponent 0 */
    if (x < -4 || x >= p)
      layExponent(b, digits, n, x, p - 1);
    else
      layFixed(b, digits, n, point, p - 1 - x);
    trimFraction(b, 0);
    return;
  }
  Float2Str_Core(magnitude, digits, precision, &point, &negative, 0);
  int n = (int)strlen(digits);
  layFixed(b, digits, n, point, precision);
}

} // namespace

/* Formats value in the notation asked for, then pads it to width and writes
 * it through the bounded writer. */
template <class C>
unsigned int TFloat2Str(double value, C *dest, unsigned int capacity, int precision, int notation, int width,
                        int forceSign, int padding)
{
  if (precision < 0)
    precision = 6;
  else if (precision > kMaxPrecision)
    precision = kMaxPrecision;
  if (notation != KIVFLOAT_GENERAL && notation != KIVFLOAT_EXPONENT)
    notation = KIVFLOAT_FIXED;
  if (padding != KIVFLOAT_PAD_ZERO && padding != KIVFLOAT_PAD_RIGHT)
    padding = KIVFLOAT_PAD_SPACE;

  char sign = 0;
  TextBuf body;
  body.len = 0;
  if (std::isnan(value))
  {
    tbPutS(body, "nan");
  }
  else
  {
    if (std::signbit(value))
      sign = '-';
    else if (forceSign)
      sign = '+';
    if (std::isinf(value))
      tbPutS(body, "inf");
    else
      layFinite(body, std::fabs(value), precision, notation);
  }
  if (!std::isfinite(value) && padding == KIVFLOAT_PAD_ZERO)
    padding = KIVFLOAT_PAD_SPACE;

  const unsigned int length = body.len + (sign ? 1u : 0u);
  const unsigned int pad = (width > 0 && (unsigned int)width > length) ? (unsigned int)width - length : 0u;

  TBoundedOut<C> o;
  outInit(o, dest, capacity);
  if (padding == KIVFLOAT_PAD_SPACE)
    outRun(o, ' ', pad);
  if (sign)
    outRun(o, sign, 1);
  if (padding == KIVFLOAT_PAD_ZERO)
    outRun(o, '0', pad);
  outChars(o, body.text, body.len);
  if (padding == KIVFLOAT_PAD_RIGHT)
    outRun(o, ' ', pad);
  return outFinish(o);
}

unsigned int KivFloat2StrEx(double value, char *dest, unsigned int capacity, int precision, int notation, int width,
                            int forceSign, int padding)
{
  return TFloat2Str<char>(value, dest, capacity, precision, notation, width, forceSign, padding);
}

unsigned int KivFloat2StrEx(double value, wchar_t *dest, unsigned int capacity, int precision, int notation,
                            int width, int forceSign, int padding)
{
  return TFloat2Str<wchar_t>(value, dest, capacity, precision, notation, width, forceSign, padding);
}

unsigned int KivFloat2Str(double value, char *dest, unsigned int capacity, int precision)
{
  return KivFloat2StrEx(value, dest, capacity, precision, 1, 0, 0, 0);
}

unsigned int KivFloat2Str(double value, wchar_t *dest, unsigned int capacity, int precision)
{
  return KivFloat2StrEx(value, dest, capacity, precision, 1, 0, 0, 0);
}

/* ---- instantiations ---- */

#define KIV_NUMBER_INSTANTIATE(C, T, U)                                         \
  template unsigned int TInt2Str<C, T, U>(T, C *, unsigned int, int, int, int); \
  template T TStr2Int<C, T, U>(C const *, int, C const **);
KIV_NUMBER_INSTANTIATE(char, int, unsigned int)
KIV_NUMBER_INSTANTIATE(char, unsigned int, unsigned int)
KIV_NUMBER_INSTANTIATE(char, long, unsigned long)
KIV_NUMBER_INSTANTIATE(char, unsigned long, unsigned long)
KIV_NUMBER_INSTANTIATE(char, long long, unsigned long long)
KIV_NUMBER_INSTANTIATE(char, unsigned long long, unsigned long long)
KIV_NUMBER_INSTANTIATE(wchar_t, int, unsigned int)
KIV_NUMBER_INSTANTIATE(wchar_t, unsigned int, unsigned int)
KIV_NUMBER_INSTANTIATE(wchar_t, long, unsigned long)
KIV_NUMBER_INSTANTIATE(wchar_t, unsigned long, unsigned long)
KIV_NUMBER_INSTANTIATE(wchar_t, long long, unsigned long long)
KIV_NUMBER_INSTANTIATE(wchar_t, unsigned long long, unsigned long long)
#undef KIV_NUMBER_INSTANTIATE
template unsigned int TFloat2Str<char>(double, char *, unsigned int, int, int, int, int, int);
template unsigned int TFloat2Str<wchar_t>(double, wchar_t *, unsigned int, int, int, int, int, int);
