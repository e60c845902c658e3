/*
 * KivNumber_unix.h - kivruntime: number formatting and parsing.
 * Included by KivString_unix.h; programs include that header, not this one.
 *
 * Integers (32- and 64-bit, signed and unsigned) to text in any radix from
 * 2 to 36 and back, a decimal floating-point parser, and floating-point
 * formatters.  Every function exists for narrow (char) and wide (wchar_t)
 * strings with identical results; none allocates, keeps state, sets errno
 * or reports an error.
 *
 * Formatters are bounded writers: the capacity counts elements including
 * the terminator; with capacity 0 (or a null destination) nothing is written
 * and the call only measures.  Otherwise one element is kept for the
 * terminator, output goes out one element at a time while it fits, and a
 * terminator always follows what was written.  Result: the elements written
 * (terminator excluded) when everything fitted, otherwise the total needed
 * plus one, which is the capacity a second call needs.  Nothing is ever
 * written at or past the capacity.
 *
 * Digits above 9 are written as upper-case letters ("0123456789ABCDEF...Z");
 * parsers accept both cases.
 *
 * Overloads: a call with a plain null destination (NULL, nullptr) is
 * ambiguous between the char and wchar_t overloads; cast it, e.g.
 * KivDWORD2Str(0, (char*)0, 0, 10).
 */
#ifndef KIVNUMBER_UNIX_H
#define KIVNUMBER_UNIX_H

#include "KivString_unix.h"

#include <type_traits>

/* Lets a template parameter appear in a parameter without being deduced
 * from it, so that a null end pointer can be passed as plain 0/nullptr. */
template <class C>
struct TKivNonDeduced
{
  typedef C type;
};

/* ---- integer formatting ---- */

/*
 * TInt2Str formats value in radix (clamped to 2..36: below 2 gives 2, above
 * 36 gives 36).
 *  - Radix 10 and a signed T: a negative value is written as "-" and its
 *    magnitude (the most negative value included).  With forceSign non-zero
 *    a non-negative value gets "+".
 *  - Any other radix: the value's bits are written as unsigned, never with a
 *    sign (-1 in radix 16 is "FFFFFFFF" for 32 bits); forceSign is ignored,
 *    also when the radix was clamped.
 *  - minDigits: at least that many digits, leading places filled with "0";
 *    0, 1 or a negative number give the natural count ("0" for zero).  It is
 *    capped at the width of U in bits (32 or 64), the longest natural form.
 * Result under the bounded-writer rules above, counting sign and digits.
 *
 * U is the unsigned type of T's width; it defaults to that, so calls can let
 * the compiler deduce everything: TInt2Str(5, buf, 16, 10, 1, 3) is "+005".
 * Instantiated for char and wchar_t with int, long, long long and their
 * unsigned types.
 */
template <class C, class T, class U = typename std::make_unsigned<T>::type>
unsigned int TInt2Str(T value, C *dest, unsigned int capacity, int radix, int forceSign, int minDigits);

/* TInt2Str of a 32-bit signed value, forceSign 0, minDigits 0. */
unsigned int KivLONG2Str(int value, char *dest, unsigned int capacity, int radix);
unsigned int KivLONG2Str(int value, wchar_t *dest, unsigned int capacity, int radix);

/* A 32-bit unsigned value (never a sign). */
unsigned int KivDWORD2Str(unsigned int value, char *dest, unsigned int capacity, int radix);
unsigned int KivDWORD2Str(unsigned int value, wchar_t *dest, unsigned int capacity, int radix);

/* A 64-bit signed value ("-" only in radix 10). */
unsigned int KivLONGLONG2Str(long long value, char *dest, unsigned int capacity, int radix);
unsigned int KivLONGLONG2Str(long long value, wchar_t *dest, unsigned int capacity, int radix);

/* A 64-bit unsigned value. */
unsigned int KivQWORD2Str(unsigned long long value, char *dest, unsigned int capacity, int radix);
unsigned int KivQWORD2Str(unsigned long long value, wchar_t *dest, unsigned int capacity, int radix);

/* ---- integer parsing ---- */

/*
 * TStr2Int reads an integer from text:
 *  1. A null text reads as the empty string.
 *  2. White space (space and codes 9 to 13) is skipped.
 *  3. Radix 0 chooses: "0x" or "0X" selects 16 and is skipped, any other
 *     leading "0" selects 8 and is skipped, anything else selects 10.  A
 *     radix below 2 (other than 0) is taken as 2, above 36 as 36.  With an
 *     explicit radix no prefix is skipped.
 *  4. Only in radix 10 (given or chosen) one "-" or "+" directly after the
 *     white space is accepted; in any other radix a sign ends the number.
 *  5. Digits "0"-"9", then "A"/"a" upward, below the radix.
 *  6. value = value * radix + digit in the width of U, wrapping silently on
 *     overflow (no detection, no clamping); "-" then negates it (two's
 *     complement) and the bits are returned as T.
 *  7. *end, when end is not null, receives the first element not consumed.
 *     With no digit that is the position after the white space, prefix and
 *     sign ("0x" alone gives 0 with the end after the "x").  For a null text
 *     it points to an empty string.
 * The result is 0 when no digit was read.  T defaults to int, so
 * TStr2Int(text, 0, &end) parses a 32-bit int.  Instantiated for char and
 * wchar_t with int, long, long long and their unsigned types.
 */
template <class C, class T = int, class U = typename std::make_unsigned<T>::type>
T TStr2Int(C const *text, int radix, typename TKivNonDeduced<C>::type const **end);

/* 32-bit unsigned: TStr2Int in unsigned arithmetic ("-1" in radix 10 gives
 * 0xFFFFFFFF). */
unsigned int KivStr2DWORD(char const *text, int radix, char const **end = 0);
unsigned int KivStr2DWORD(wchar_t const *text, int radix, wchar_t const **end = 0);

/* 32-bit signed TStr2Int. */
int KivStr2LONG(char const *text, int radix, char const **end = 0);
int KivStr2LONG(wchar_t const *text, int radix, wchar_t const **end = 0);

/* 64-bit signed and unsigned. */
long long KivStr2LONGLONG(char const *text, int radix, char const **end = 0);
long long KivStr2LONGLONG(wchar_t const *text, int radix, wchar_t const **end = 0);
unsigned long long KivStr2QWORD(char const *text, int radix, char const **end = 0);
unsigned long long KivStr2QWORD(wchar_t const *text, int radix, wchar_t const **end = 0);

/*
 * KivStr2Float reads a decimal floating-point number:
 *  - a null text is the empty string; white space (space, 9-13) is skipped;
 *    one "-" or "+" is taken ("-" alone gives -0.0);
 *  - mantissa: decimal digits, an optional "." and more digits; a "." with
 *    no digit after it is consumed and ends the mantissa.  No digit at all is
 *    allowed and gives 0 (or -0.0).  The first 19 significant digits are
 *    used, later ones only count their place; the mantissa is then scaled by
 *    the power of ten of its point (division for the fraction, so "0.1" is
 *    the double nearest to 0.1);
 *  - "e" or "E" is consumed; if white space follows, the exponent is 0,
 *    otherwise it is TStr2Int of what follows in radix 10 (32-bit, wrapping);
 *  - the result is mantissa * pow(10.0, exponent).  Note that this product
 *    follows IEEE rules: "0e400" is 0 * infinity, a NaN;
 *  - *end, when end is not null, receives the position after what was
 *    consumed: KivStr2Float("e5", &end) is 0.0 with end after the "5".
 * There is no "inf" or "nan" spelling and no hexadecimal form.
 */
double KivStr2Float(char const *text, char const **end = 0);
double KivStr2Float(wchar_t const *text, wchar_t const **end = 0);

/* ---- floating-point formatting ---- */

/* Size of the digit buffer Float2Str_Core works in, and its digit limit. */
#define KIV_FLOAT_CORE_BUFFER    312
#define KIV_FLOAT_CORE_MAXDIGITS 310

/*
 * Float2Str_Core: the digit generator of the formatters, in the manner of
 * the classic Unix ecvt/fcvt, writing at most KIV_FLOAT_CORE_BUFFER (312)
 * characters into buffer (always terminated) and returning buffer.
 *  - significant non-zero (ecvt form): digits counts significant digits;
 *    significant 0 (fcvt form): digits counts digits after the point.
 *  - The buffer receives decimal digits only; the value is 0.d1d2d3... times
 *    10 to the power *decimalPoint.  *negative is 1 if value < 0.0, else 0
 *    (so -0.0 gives 0).  Zero gives digits of "0" and *decimalPoint 0.
 *  - digits above 310 are taken as 310.  A negative count is allowed (in the
 *    fcvt form it rounds to tens, hundreds, ...); counts below -1000 are
 *    taken as -1000.  When the last digit would lie before the buffer the
 *    string is empty.
 *  - Digits: the integer part by repeated modf(i / 10) (each digit being
 *    (int)((fraction + 0.03) * 10)), the fraction by repeated multiplying
 *    by 10.  The last digit is rounded half up with carry ("995" to 2 digits
 *    is "100" with *decimalPoint one higher; the fcvt form then appends a
 *    "0" to keep its count of digits after the point).  When the last digit
 *    would lie at or past the buffer's end the string is cut at 311
 *    characters without rounding.  The digits are those of this classic
 *    method, not the exactly rounded decimal expansion of the double.
 *  - Infinity gives "inf" and NaN "nan", with *decimalPoint 0 (and
 *    *negative 1 for negative infinity).
 *  - A null buffer returns null; null decimalPoint or negative pointers are
 *    allowed (the value is then not reported).
 */
char *Float2Str_Core(double value, char *buffer, int digits, int *decimalPoint, int *negative, int significant);

/* Notations and paddings of TFloat2Str. */
enum
{
  KIVFLOAT_GENERAL = 0, /* like printf %g */
  KIVFLOAT_FIXED = 1,   /* like printf %f */
  KIVFLOAT_EXPONENT = 2 /* like printf %e */
};
enum
{
  KIVFLOAT_PAD_SPACE = 0, /* spaces before the number (right-aligned) */
  KIVFLOAT_PAD_ZERO = 1,  /* zeros between sign and digits */
  KIVFLOAT_PAD_RIGHT = 2  /* spaces after the number (left-aligned) */
};

/*
 * TFloat2Str formats value like printf's %f, %e and %g, with the digits of
 * Float2Str_Core (rounding half up on its digits, so 0.125 at 2 decimals is
 * "0.13") and the exponent written by TInt2Str.
 *  precision: digits after the point for KIVFLOAT_FIXED and
 *    KIVFLOAT_EXPONENT (0 writes no point); significant digits for
 *    KIVFLOAT_GENERAL (0 is taken as 1).  Negative means 6; above 309 is
 *    taken as 309.
 *  notation: KIVFLOAT_FIXED "-1234.50"; KIVFLOAT_EXPONENT "-1.23e+03" (the
 *    exponent has a sign and at least two digits); KIVFLOAT_GENERAL uses the
 *    exponent form when the decimal exponent X after rounding to precision
 *    significant digits is below -4 or at least precision, otherwise fixed
 *    with precision - 1 - X decimals, and then removes trailing zeros after
 *    the point and a point left alone.  Any other value is taken as
 *    KIVFLOAT_FIXED.
 *  width: the least number of elements; shorter output is padded as
 *    padding says.  0 or negative: no padding.
 *  forceSign: non-zero writes "+" before a non-negative number.  "-" is
 *    written whenever the sign bit is set, so -0.0 and a negative value that
 *    rounds to zero keep it ("-0.00").
 *  padding: KIVFLOAT_PAD_SPACE, KIVFLOAT_PAD_ZERO (not for infinity and NaN,
 *    which get spaces) or KIVFLOAT_PAD_RIGHT; any other value is taken as
 *    KIVFLOAT_PAD_SPACE.
 * Infinity is "inf" ("-inf", "+inf" with forceSign), NaN is "nan", never
 * with a sign (the sign of a NaN differs between processors).
 * In fixed notation digits beyond the 311 that Float2Str_Core holds are
 * written as "0" (only for huge values with many decimals).
 * Result under the bounded-writer rules.  Instantiated for char and wchar_t.
 */
template <class C>
unsigned int TFloat2Str(double value, C *dest, unsigned int capacity, int precision, int notation, int width,
                        int forceSign, int padding);

/* The same as TFloat2Str. */
unsigned int KivFloat2StrEx(double value, char *dest, unsigned int capacity, int precision, int notation, int width,
                            int forceSign, int padding);
unsigned int KivFloat2StrEx(double value, wchar_t *dest, unsigned int capacity, int precision, int notation,
                            int width, int forceSign, int padding);

/* Fixed notation with precision decimals, no width, no forced sign:
 * KivFloat2StrEx(value, dest, capacity, precision, 1, 0, 0, 0), so
 * KivFloat2Str(3.14159, buf, 16, 2) gives "3.14". */
unsigned int KivFloat2Str(double value, char *dest, unsigned int capacity, int precision);
unsigned int KivFloat2Str(double value, wchar_t *dest, unsigned int capacity, int precision);

/* ---- instantiations kept in the library ---- */

#define KIV_NUMBER_EXTERN(C, T, U)                                                     \
  extern template unsigned int TInt2Str<C, T, U>(T, C *, unsigned int, int, int, int); \
  extern template T TStr2Int<C, T, U>(C const *, int, C const **);
KIV_NUMBER_EXTERN(char, int, unsigned int)
KIV_NUMBER_EXTERN(char, unsigned int, unsigned int)
KIV_NUMBER_EXTERN(char, long, unsigned long)
KIV_NUMBER_EXTERN(char, unsigned long, unsigned long)
KIV_NUMBER_EXTERN(char, long long, unsigned long long)
KIV_NUMBER_EXTERN(char, unsigned long long, unsigned long long)
KIV_NUMBER_EXTERN(wchar_t, int, unsigned int)
KIV_NUMBER_EXTERN(wchar_t, unsigned int, unsigned int)
KIV_NUMBER_EXTERN(wchar_t, long, unsigned long)
KIV_NUMBER_EXTERN(wchar_t, unsigned long, unsigned long)
KIV_NUMBER_EXTERN(wchar_t, long long, unsigned long long)
KIV_NUMBER_EXTERN(wchar_t, unsigned long long, unsigned long long)
#undef KIV_NUMBER_EXTERN
extern template unsigned int TFloat2Str<char>(double, char *, unsigned int, int, int, int, int, int);
extern template unsigned int TFloat2Str<wchar_t>(double, wchar_t *, unsigned int, int, int, int, int, int);

#endif /* KIVNUMBER_UNIX_H */
