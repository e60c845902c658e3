/*
 * KivCodec_unix.cpp - kivruntime: escaping codecs (hex, URL, XML, HTML,
 * C-style escapes, base64) and the cursor-style tokenizer.
 *
 * Every converter is one pass over its source.  Text output goes through
 * TKivTextOut below, which implements the library's bounded-writer rule in
 * one place: items are written whole or not at all, the terminator goes at
 * the first item that does not fit, and the rest is only counted.
 *
 * Nothing here depends on the signedness of plain char: bytes are read
 * through (unsigned char) unless a rule asks for a signed reading, which is
 * then spelled (signed char).
 */
#include "KivString_unix.h"
#include "KivVector_unix.h"

#include <string.h>
#include <wchar.h>

#if defined(KIV_VECTOR_X86)
#include <tmmintrin.h>
#endif

/* The base64 alphabet, spelled once for the public table and for the
 * compile-time decoding tables below. */
#define KIV_UU_ALPHABET "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"

/* Base64 alphabet, shared with whoever needs the encoded form. */
const char s_acUUEncode[65] = KIV_UU_ALPHABET;

/* Reverse table: 6-bit value of each alphabet byte, 0x40 for all others.
 * Written out rather than built at start-up so that it is read-only data
 * and needs no initialisation order. */
#define X 0x40
const unsigned char s_abUUDecode[256] = {
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,                /* 0x00 */
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,                /* 0x10 */
  X, X, X, X, X, X, X, X, X, X, X, 62, X, X, X, 63,              /* 0x20 '+' '/' */
  52, 53, 54, 55, 56, 57, 58, 59, 60, 61, X, X, X, X, X, X,      /* 0x30 '0'-'9' */
  X, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14,           /* 0x40 'A'-'O' */
  15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, X, X, X, X, X,     /* 0x50 'P'-'Z' */
  X, 26, 27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, /* 0x60 'a'-'o' */
  41, 42, 43, 44, 45, 46, 47, 48, 49, 50, 51, X, X, X, X, X,     /* 0x70 'p'-'z' */
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,                /* 0x80 */
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X,
  X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, X, /* 0xF0 */
};
#undef X

namespace {

const char s_acHexDigits[] = "0123456789ABCDEF";
const unsigned int kAll = (unsigned int)-1;

/* Element value for comparisons: a narrow byte as 0-255, a wide element as
 * its 32-bit pattern, so that ASCII constants compare equal only to
 * themselves. */
inline uint32_t Elem(char c)
{
  return (unsigned char)c;
}
inline uint32_t Elem(wchar_t c)
{
  return (uint32_t)c;
}

/* The byte a wide element contributes where a rule works on bytes. */
inline unsigned char Low(char c)
{
  return (unsigned char)c;
}
inline unsigned char Low(wchar_t c)
{
  return (unsigned char)((uint32_t)c & 0xFFu);
}

inline size_t StrLen(const char *s)
{
  return strlen(s);
}
inline size_t StrLen(const wchar_t *s)
{
  return wcslen(s);
}
inline size_t StrCSpn(const char *s, const char *d)
{
  return strcspn(s, d);
}
inline size_t StrCSpn(const wchar_t *s, const wchar_t *d)
{
  return wcscspn(s, d);
}

/* Length of a source under the input convention: a null source is empty,
 * -1 means up to the terminating zero. */
template <typename T>
unsigned int SourceLength(const T *src, unsigned int n)
{
  if (!src)
    return 0;
  if (n == kAll)
    return (unsigned int)StrLen(src);
  return n;
}

/* Values of the hex digits by byte, any other byte 0 (malformed escapes
 * are not errors).  A table rather than comparisons: in random data which
 * kind of digit comes next cannot be predicted, and a missed branch per
 * digit costs more than the whole look-up.  Built at compile time. */
struct TKivHexValues
{
  unsigned char v[256];
};

constexpr TKivHexValues MakeHexValues()
{
  TKivHexValues t{};
  for (int c = 0; c < 256; c++)
    t.v[c] = (unsigned char)(c >= '0' && c <= '9'   ? c - '0'
                             : c >= 'A' && c <= 'F' ? c - 'A' + 10
                             : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                    : 0);
  return t;
}

constexpr TKivHexValues s_hexValues = MakeHexValues();

/* Value of a hex digit; any other character counts 0. */
inline unsigned int HexValue(unsigned char c)
{
  return s_hexValues.v[c];
}

/* Stores a byte value 0-255 into a plain char without relying on how an
 * out-of-range conversion to a signed char behaves. */
inline char ByteToChar(unsigned int b)
{
  unsigned char u = (unsigned char)b;
  char c;
  memcpy(&c, &u, 1);
  return c;
}

/* Converts a 0-255 value to a destination element (narrow: that byte; wide:
 * that code point). */
template <typename T>
inline T FromByte(unsigned int b);
template <>
inline char FromByte<char>(unsigned int b)
{
  return ByteToChar(b);
}
template <>
inline wchar_t FromByte<wchar_t>(unsigned int b)
{
  return (wchar_t)(b & 0xFFu);
}

/*
 * Bounded text writer.  `written` counts elements stored, `total` the
 * elements the whole output needs; once an item has not fitted, `full` is
 * set, the terminator has been stored and only counting goes on.  A null
 * destination is treated as capacity 0 so that a careless caller cannot make
 * us write through it.
 */
template <typename T>
struct TKivTextOut
{
  T *dst;
  unsigned int cap;
  unsigned int written;
  unsigned int total;
  int full;

  TKivTextOut(T *d, unsigned int c)
      : dst(d), cap(d ? c : 0), written(0), total(0), full(cap == 0) {}

  /* Elements that still fit before the terminator. */
  unsigned int Room() const { return full ? 0 : cap - 1 - written; }

  /* Ends writing at the current position. */
  void Stop()
  {
    if (!full)
    {
      dst[written] = 0;
      full = 1;
    }
  }

  /* One item of one element. */
  void Put1(T c)
  {
    total++;
    if (full)
      return;
    if (written < cap - 1)
      dst[written++] = c;
    else
      Stop();
  }

  /* One item of len ASCII characters (an entity, an escape, a line break). */
  void PutAscii(const char *s, unsigned int len)
  {
    total += len;
    if (full)
      return;
    if (len <= cap - 1 - written)
    {
      for (unsigned int k = 0; k < len; k++)
        dst[written + k] = (T)(unsigned char)s[k];
      written += len;
    }
    else
    {
      Stop();
    }
  }

  /* One item of four elements (a base64 group). */
  void Put4(T a, T b, T c, T d)
  {
    total += 4;
    if (full)
      return;
    if (4 <= cap - 1 - written)
    {
      T *p = dst + written;
      p[0] = a;
      p[1] = b;
      p[2] = c;
      p[3] = d;
      written += 4;
    }
    else
    {
      Stop();
    }
  }

  /* Records an item of len elements that the caller wrote itself at
     * Cursor() after checking it against Room(); len may exceed Room(), in
     * which case nothing was written and writing stops. */
  void Account(unsigned int len)
  {
    total += len;
    if (full)
      return;
    if (len <= cap - 1 - written)
      written += len;
    else
      Stop();
  }

  T *Cursor() const { return full ? (T *)0 : dst + written; }

  /* Terminates and yields the result of the text-output convention. */
  unsigned int Finish()
  {
    if (!full)
    {
      dst[written] = 0;
      return written;
    }
    return total + 1;
  }
};

/* ---- hexadecimal ---- */

template <typename T>
unsigned int EncodeHex(T *dst, unsigned int cap, const unsigned char *src, unsigned int n)
{
  n = SourceLength((const char *)src, n);
  /* 64-bit arithmetic: 2n must not wrap for the all-or-nothing check. */
  unsigned long long need = 2ull * n;
  if (!dst || (unsigned long long)cap <= need)
    return (unsigned int)(need + 1);
  for (unsigned int i = 0; i < n; i++)
  {
    dst[2 * i] = (T)s_acHexDigits[src[i] >> 4];
    dst[2 * i + 1] = (T)s_acHexDigits[src[i] & 15];
  }
  dst[2 * n] = 0;
  return 2 * n;
}

template <typename T>
unsigned int DecodeHex(unsigned char *dst, unsigned int cap, const T *src, unsigned int n)
{
  n = SourceLength(src, n);
  if (!dst)
    cap = 0;
  unsigned int pairs = n / 2, count = 0;
  for (unsigned int p = 0; p < pairs; p++)
  {
    T hi = src[2 * p], lo = src[2 * p + 1];
    if (hi == 0 || lo == 0)
      break;
    if (count < cap)
      dst[count] = (unsigned char)(HexValue(Low(hi)) * 16 + HexValue(Low(lo)));
    count++;
  }
  return count;
}

/* ---- URL ---- */

/* 1 for the ASCII letters and digits, by byte: one look-up instead of
 * three range tests whose outcome text does not let the processor guess.
 * Built at compile time. */
struct TKivAlnum
{
  unsigned char is[256];
};

constexpr TKivAlnum MakeAlnum()
{
  TKivAlnum t{};
  for (int b = 0; b < 256; b++)
    t.is[b] = (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z');
  return t;
}

constexpr TKivAlnum s_alnum = MakeAlnum();

inline int IsAsciiAlnum(unsigned char b)
{
  return s_alnum.is[b];
}

/* Percent-encodes the bytes of one source element into the writer. */
template <typename T>
void EncodeURLByte(TKivTextOut<T> &w, char c)
{
  w.Account(TCharEncodeURL(w.Cursor(), w.Room(), c));
}

template <typename T>
unsigned int EncodeURLNarrow(T *dst, unsigned int cap, const char *src, unsigned int n)
{
  n = SourceLength(src, n);
  TKivTextOut<T> w(dst, cap);
  unsigned int i = 0;
  if (!w.full)
  {
    /* While three elements of room are left every byte's item fits:
         * write it directly; the writer takes over near the end. */
    T *o = w.dst + w.written;
    T *const oEnd = w.dst + (cap - 1);
    for (; i < n && oEnd - o >= 3; i++)
    {
      unsigned char b = (unsigned char)src[i];
      if (IsAsciiAlnum(b))
      {
        *o++ = (T)b;
      }
      else
      {
        o[0] = (T)'%';
        o[1] = (T)s_acHexDigits[b >> 4];
        o[2] = (T)s_acHexDigits[b & 15];
        o += 3;
      }
    }
    unsigned int used = (unsigned int)(o - (w.dst + w.written));
    w.written += used;
    w.total += used;
  }
  for (; i < n; i++)
    EncodeURLByte(w, src[i]);
  return w.Finish();
}

template <typename T>
unsigned int EncodeURLWide(T *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  n = SourceLength(src, n);
  TKivTextOut<T> w(dst, cap);
  for (unsigned int i = 0; i < n; i++)
  {
    char utf8[6];
    unsigned int len = CharEncodeUTF8(utf8, sizeof utf8, &src[i], 0);
    if (len > sizeof utf8) /* cannot happen: six bytes hold any 32-bit value */
      len = sizeof utf8;
    for (unsigned int k = 0; k < len; k++)
      EncodeURLByte(w, utf8[k]);
  }
  return w.Finish();
}

/* Narrow destination: every decoded byte is one element. */
template <typename S>
unsigned int DecodeURLToNarrow(char *dst, unsigned int cap, const S *src, unsigned int n)
{
  n = SourceLength(src, n);
  TKivTextOut<char> w(dst, cap);
  unsigned int i = 0;
  if (!w.full)
  {
    /* Every item is one element: while one is left, write directly;
         * the writer takes over at the end of the room. */
    char *o = w.dst + w.written;
    char *const oEnd = w.dst + (cap - 1);
    for (; i < n && o < oEnd; o++)
      i += TCharDecodeURL(src + i, n - i, o);
    unsigned int used = (unsigned int)(o - (w.dst + w.written));
    w.written += used;
    w.total += used;
  }
  while (i < n)
  {
    char b;
    i += TCharDecodeURL(src + i, n - i, &b);
    w.Put1(b);
  }
  return w.Finish();
}

/* Decodes the first UTF-8 sequence held in buf into one wide element and
 * drops its bytes from buf. */
inline void EmitUTF8(TKivTextOut<wchar_t> &w, unsigned char *buf, unsigned int &held)
{
  wchar_t wc = L'?';
  unsigned int used = CharDecodeUTF8(&wc, 1, buf, held);
  if (used == 0 || used > held) /* defensive: always make progress */
    used = 1;
  memmove(buf, buf + used, held - used);
  held -= used;
  w.Put1(wc);
}

/* Wide destination: the decoded bytes are UTF-8.  Up to six are held (the
 * longest sequence), so a sequence is judged with all the bytes it could
 * need; at the end of the source whatever is held is flushed. */
template <typename S>
unsigned int DecodeURLToWide(wchar_t *dst, unsigned int cap, const S *src, unsigned int n)
{
  n = SourceLength(src, n);
  TKivTextOut<wchar_t> w(dst, cap);
  unsigned char buf[6];
  unsigned int held = 0, i = 0;
  while (i < n)
  {
    char b;
    i += TCharDecodeURL(src + i, n - i, &b);
    buf[held++] = (unsigned char)b;
    if (held == sizeof buf)
      EmitUTF8(w, buf, held);
  }
  while (held > 0)
    EmitUTF8(w, buf, held);
  return w.Finish();
}

/* ---- XML and HTML ---- */

template <typename T>
unsigned int EncodeMarkup(T *dst, unsigned int cap, const T *src, unsigned int n, int xml)
{
  n = SourceLength(src, n);
  TKivTextOut<T> w(dst, cap);
  for (unsigned int i = 0; i < n; i++)
  {
    switch (Elem(src[i]))
    {
      case '"': w.PutAscii("&quot;", 6); break;
      case '&': w.PutAscii("&amp;", 5); break;
      case '<': w.PutAscii("&lt;", 4); break;
      case '>': w.PutAscii("&gt;", 4); break;
      case '\'':
        if (xml)
        {
          w.PutAscii("&apos;", 6);
          break;
        }
        w.Put1(src[i]);
        break;
      default: w.Put1(src[i]); break;
    }
  }
  return w.Finish();
}

/* Whether the len elements at s spell the ASCII text lit exactly. */
template <typename T>
int Matches(const T *s, const char *lit, unsigned int len)
{
  for (unsigned int k = 0; k < len; k++)
    if (Elem(s[k]) != (unsigned char)lit[k])
      return 0;
  return 1;
}

template <typename T>
unsigned int DecodeMarkup(T *dst, unsigned int cap, const T *src, unsigned int n, int xml)
{
  n = SourceLength(src, n);
  TKivTextOut<T> w(dst, cap);
  unsigned int i = 0;
  while (i < n)
  {
    if (Elem(src[i]) != '&')
    {
      w.Put1(src[i++]);
      continue;
    }
    unsigned int left = n - i;
    const T *p = src + i;
    if (left >= 4 && Matches(p, "&lt;", 4))
    {
      w.Put1((T)'<');
      i += 4;
    }
    else if (left >= 4 && Matches(p, "&gt;", 4))
    {
      w.Put1((T)'>');
      i += 4;
    }
    else if (left >= 5 && Matches(p, "&amp;", 5))
    {
      w.Put1((T)'&');
      i += 5;
    }
    else if (xml && left >= 6 && Matches(p, "&apos;", 6))
    {
      w.Put1((T)'\'');
      i += 6;
    }
    else if (left >= 6 && Matches(p, "&quot;", 6))
    {
      w.Put1((T)'"');
      i += 6;
    }
    else
    {
      w.Put1((T)'&');
      i += 1;
    }
  }
  return w.Finish();
}

/* ---- C-style escapes ---- */

/* The value a C-escape rule sees: a narrow byte read as signed (so bytes
 * 0x80-0xFF are negative and pass unchanged), a wide element as a signed
 * 32-bit code point. */
inline int32_t EscValue(char c)
{
  return (signed char)c;
}
inline int32_t EscValue(wchar_t c)
{
  return (int32_t)c;
}

template <typename T>
unsigned int EncodeCPP(T *dst, unsigned int cap, const T *src, unsigned int n)
{
  n = SourceLength(src, n);
  TKivTextOut<T> w(dst, cap);
  for (unsigned int i = 0; i < n; i++)
  {
    int32_t v = EscValue(src[i]);
    switch (v)
    {
      case 0x08: w.PutAscii("\\b", 2); break;
      case 0x09: w.PutAscii("\\t", 2); break;
      case 0x0A: w.PutAscii("\\n", 2); break;
      case 0x0B: w.PutAscii("\\v", 2); break;
      case 0x0C: w.PutAscii("\\f", 2); break;
      case 0x0D: w.PutAscii("\\r", 2); break;
      case '"': w.PutAscii("\\\"", 2); break;
      case '\'': w.PutAscii("\\'", 2); break;
      case '\\': w.PutAscii("\\\\", 2); break;
      default:
        /* '<' and '>' are escaped on purpose: the result may be placed
             * inside markup as it stands. */
        if ((v >= 0 && v < 0x20) || v == '<' || v == '>')
        {
          char esc[4] = {'\\', 'x', s_acHexDigits[(v >> 4) & 15], s_acHexDigits[v & 15]};
          w.PutAscii(esc, 4);
        }
        else
        {
          w.Put1(src[i]);
        }
        break;
    }
  }
  return w.Finish();
}

template <typename T>
unsigned int DecodeCPP(T *dst, unsigned int cap, const T *src, unsigned int n)
{
  n = SourceLength(src, n);
  TKivTextOut<T> w(dst, cap);
  unsigned int i = 0;
  while (i < n)
  {
    if (Elem(src[i]) != '\\')
    {
      w.Put1(src[i++]);
      continue;
    }
    /* A backslash with nothing after it stands for itself. */
    if (n - i < 2 || src[i + 1] == 0)
    {
      w.Put1(src[i++]);
      continue;
    }
    T next = src[i + 1];
    switch (Elem(next))
    {
      case '0': w.Put1((T)0); break;
      case 'a': w.Put1((T)0x07); break;
      case 'b': w.Put1((T)0x08); break;
      case 'f': w.Put1((T)0x0C); break;
      case 'n': w.Put1((T)0x0A); break;
      case 'r': w.Put1((T)0x0D); break;
      case 't': w.Put1((T)0x09); break;
      case 'v': w.Put1((T)0x0B); break;
      case 'x':
        if (n - i >= 4 && src[i + 2] != 0 && src[i + 3] != 0)
        {
          w.Put1(FromByte<T>(HexValue(Low(src[i + 2])) * 16 + HexValue(Low(src[i + 3]))));
          i += 4;
          continue;
        }
        w.Put1(next);
        break;
      default:
        /* Backslash, quotes, '?', digits 1-7 and anything else: the
             * character itself.  "\012" is therefore 0x00 '1' '2'. */
        w.Put1(next);
        break;
    }
    i += 2;
  }
  return w.Finish();
}

/* ---- base64 ---- */

/* The two base64 characters of every 12-bit value, built at compile time
 * from the alphabet: a group of three bytes is then two look-ups instead of
 * four (8 KiB, well inside the first-level cache). */
struct TKivUUPairs
{
  char at[4096][2];
};

constexpr TKivUUPairs MakeUUPairs()
{
  TKivUUPairs t{};
  const char a[] = KIV_UU_ALPHABET;
  for (int v = 0; v < 4096; v++)
  {
    t.at[v][0] = a[v >> 6];
    t.at[v][1] = a[v & 63];
  }
  return t;
}

constexpr TKivUUPairs s_uuPairs = MakeUUPairs();

/* Stores one base64 group of three bytes b as four elements at p. */
template <typename T>
inline void PutGroup(T *p, uint32_t b)
{
  const char *hi = s_uuPairs.at[(b >> 12) & 0xFFF];
  const char *lo = s_uuPairs.at[b & 0xFFF];
  p[0] = (T)hi[0];
  p[1] = (T)hi[1];
  p[2] = (T)lo[0];
  p[3] = (T)lo[1];
}

template <>
inline void PutGroup<char>(char *p, uint32_t b)
{
  memcpy(p, s_uuPairs.at[(b >> 12) & 0xFFF], 2);
  memcpy(p + 2, s_uuPairs.at[b & 0xFFF], 2);
}

template <typename T>
unsigned int UUEncode(T *dst, unsigned int cap, const void *src, unsigned int n, int lineBreaks)
{
  const unsigned char *s = (const unsigned char *)src;
  n = SourceLength((const char *)src, n);
  TKivTextOut<T> w(dst, cap);
  const char *a = s_acUUEncode;
  /* Groups left before the next CR LF; without line breaks it never
     * reaches 0. */
  unsigned int groupsLeft = lineBreaks ? 16 : kAll;
  unsigned int i = 0;

  while (n - i >= 3 && !w.full)
  {
    /* Run of whole groups that surely fit and need no line break:
         * three bytes in, four elements out, no checks per group. */
    unsigned int run = (n - i) / 3;
    if (run > groupsLeft)
      run = groupsLeft;
    if (run > w.Room() / 4)
      run = w.Room() / 4;
    T *p = w.dst + w.written;
    for (unsigned int g = 0; g < run; g++, i += 3, p += 4)
      PutGroup(p, ((uint32_t)s[i] << 16) | ((uint32_t)s[i + 1] << 8) | s[i + 2]);
    w.written += 4 * run;
    w.total += 4 * run;
    if (lineBreaks)
      groupsLeft -= run;

    if (run == 0)
    {
      /* The next group does not fit: this ends writing. */
      w.Account(4);
      i += 3;
      if (lineBreaks)
        groupsLeft--;
    }
    if (groupsLeft == 0)
    {
      w.PutAscii("\r\n", 2);
      groupsLeft = 16;
    }
  }

  if (w.full)
  {
    /* Writing has ended: only count what the rest would need, the
         * line breaks included. */
    unsigned int groups = (n - i) / 3 + ((n - i) % 3 != 0);
    w.total += 4 * groups;
    if (lineBreaks && groups >= groupsLeft)
      w.total += 2 * (1 + (groups - groupsLeft) / 16);
    return w.Finish();
  }

  unsigned int rest = n - i;
  if (rest > 0)
  {
    unsigned int b0 = s[i], b1 = rest > 1 ? s[i + 1] : 0;
    T c2 = rest > 1 ? (T)a[(b1 & 15) << 2] : (T)'=';
    w.Put4((T)a[b0 >> 2], (T)a[((b0 & 3) << 4) | (b1 >> 4)], c2, (T)'=');
    /* The final group counts towards its line like a full one. */
    if (lineBreaks && --groupsLeft == 0)
      w.PutAscii("\r\n", 2);
  }
  return w.Finish();
}

/* Whether an element is skipped before a base64 group: value 32 or below,
 * read as signed, so a narrow byte 0x80-0xFF and a negative wide value are
 * skipped too.  Zero is handled by the caller (it ends decoding). */
inline int UUSkipped(char c)
{
  return (signed char)c <= 32;
}
inline int UUSkipped(wchar_t c)
{
  return (int32_t)c <= 32;
}

/*
 * Decoding tables for whole groups: for each position in a group of four,
 * the 6-bit value of every alphabet byte already shifted into place, and
 * bit 31 for every other byte.  One OR of four look-ups gives the 24 bits
 * of a group and, in bit 31, whether any of its characters is outside the
 * alphabet.  Built at compile time from the same alphabet as s_acUUEncode.
 */
constexpr char kUUAlphabet[] = KIV_UU_ALPHABET;

struct TKivUUQuadTables
{
  uint32_t at[4][256];
};

constexpr TKivUUQuadTables MakeUUQuadTables()
{
  TKivUUQuadTables q{};
  for (int c = 0; c < 256; c++)
  {
    int v = -1;
    for (int k = 0; k < 64; k++)
      if ((unsigned char)kUUAlphabet[k] == c)
        v = k;
    for (int pos = 0; pos < 4; pos++)
      q.at[pos][c] = v < 0 ? 0x80000000u : (uint32_t)v << (18 - 6 * pos);
  }
  return q;
}

constexpr TKivUUQuadTables s_uuQuad = MakeUUQuadTables();

/* The 24 bits of the group of four elements at p, with bit 31 set when one
 * of them is outside the alphabet (a zero element included). */
template <typename T>
inline uint32_t UUQuad(const T *p)
{
  return s_uuQuad.at[0][Low(p[0])] | s_uuQuad.at[1][Low(p[1])] | s_uuQuad.at[2][Low(p[2])] |
         s_uuQuad.at[3][Low(p[3])];
}

/* Whole groups of a wide text go through UUQuad one by one. */
inline unsigned int UUDecodeBlocks(unsigned char *out, const wchar_t *src, unsigned int blocks)
{
  (void)out;
  (void)src;
  (void)blocks;
  return 0;
}

#if defined(KIV_VECTOR_X86)
/*
 * Sixteen base64 characters (four groups) to twelve bytes per step with
 * the byte shuffles of SSSE3, for at most `blocks` steps; stops before the
 * first block that holds a character outside the alphabet (a zero, a
 * blank, '=' or any other), which is then left to the group-by-group code.
 * Returns the blocks decoded.
 *
 * A character's class comes from two 16-entry tables, one indexed by its
 * low and one by its high four bits: their AND is zero exactly for the 64
 * alphabet characters.  A third table, indexed by the high four bits (and
 * by one more entry for '/', the only character whose class its high bits
 * do not settle), gives what to add to turn the character into its 6-bit
 * value.  Two multiply-adds then join four values into 24 bits, and a
 * shuffle puts the three bytes of each group in order.  Every entry was
 * checked against s_abUUDecode for all 256 byte values.
 */
__attribute__((target("ssse3"))) unsigned int UUDecodeBlocksSSSE3(unsigned char *out, const char *src,
                                                                  unsigned int blocks)
{
  const __m128i lutLo = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A, 0x1B,
                                      0x1B, 0x1B, 0x1A);
  const __m128i lutHi = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10, 0x10,
                                      0x10, 0x10, 0x10);
  const __m128i lutRoll = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m128i nibble = _mm_set1_epi8(0x0F);
  const __m128i slash = _mm_set1_epi8('/');
  const __m128i zero = _mm_setzero_si128();
  const __m128i join6 = _mm_set1_epi32(0x01400140);
  const __m128i join12 = _mm_set1_epi32(0x00011000);
  const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
  unsigned int done = 0;
  for (; done < blocks; done++, src += 16, out += 12)
  {
    const __m128i in = _mm_loadu_si128((const __m128i *)(const void *)src);
    const __m128i hiNibbles = _mm_and_si128(_mm_srli_epi32(in, 4), nibble);
    const __m128i loNibbles = _mm_and_si128(in, nibble);
    const __m128i lo = _mm_shuffle_epi8(lutLo, loNibbles);
    const __m128i hi = _mm_shuffle_epi8(lutHi, hiNibbles);
    if (_mm_movemask_epi8(_mm_cmpeq_epi8(_mm_and_si128(lo, hi), zero)) != 0xFFFF)
      break;
    const __m128i roll = _mm_shuffle_epi8(lutRoll, _mm_add_epi8(_mm_cmpeq_epi8(in, slash), hiNibbles));
    const __m128i values = _mm_add_epi8(in, roll);
    const __m128i joined = _mm_madd_epi16(_mm_maddubs_epi16(values, join6), join12);
    const __m128i bytes = _mm_shuffle_epi8(joined, order);
    _mm_storel_epi64((__m128i *)(void *)out, bytes);
    const uint32_t tail = (uint32_t)_mm_cvtsi128_si32(_mm_srli_si128(bytes, 8));
    memcpy(out + 8, &tail, 4); /* the bytes in memory order on this little-endian processor */
  }
  return done;
}
#endif

/* Whole groups of a narrow text: sixteen characters at a time where the
 * processor can, none otherwise (UUQuad then takes them one by one). */
inline unsigned int UUDecodeBlocks(unsigned char *out, const char *src, unsigned int blocks)
{
#if defined(KIV_VECTOR_X86)
  if (KivVectorFeatures() & kKivVectorSSSE3)
    return UUDecodeBlocksSSSE3(out, src, blocks);
#endif
  (void)out;
  (void)src;
  (void)blocks;
  return 0;
}

template <typename T>
unsigned int UUDecode(void *dst, unsigned int cap, const T *src, unsigned int n)
{
  n = SourceLength(src, n);
  unsigned char *out = (unsigned char *)dst;
  if (!out)
    cap = 0;
  const unsigned char *d = s_abUUDecode;
  unsigned int count = 0, i = 0;

  for (;;)
  {
    /* Runs of whole groups, four elements in and three bytes out per
         * step: first as many as can be stored, then, once the destination
         * is full, only counted.  A group that is not four alphabet
         * characters leaves the run and is dealt with below. */
    unsigned int run = (n - i) / 4;
    if (count <= cap && (cap - count) / 3 < run)
      run = (cap - count) / 3;
    else if (count > cap)
      run = 0;
    if (run >= 4)
    {
      const unsigned int blocks = UUDecodeBlocks(out + count, src + i, run / 4);
      run -= 4 * blocks;
      i += 16 * blocks;
      count += 12 * blocks;
    }
    for (const T *p = src + i; run > 0; run--, p += 4, i += 4, count += 3)
    {
      uint32_t v = UUQuad(p);
      if (v >> 31)
        break;
      out[count] = (unsigned char)(v >> 16);
      out[count + 1] = (unsigned char)(v >> 8);
      out[count + 2] = (unsigned char)v;
    }
    if (count >= cap)
      for (; n - i >= 4; i += 4, count += 3)
        if (UUQuad(src + i) >> 31)
          break;

    /* Blanks and control characters between groups, never inside one. */
    while (i < n && src[i] != 0 && UUSkipped(src[i]))
      i++;
    if (i >= n || src[i] == 0)
      break;

    /* One group by hand: a zero element, a missing element or a low
         * byte outside the alphabet all count 0x40, which stops decoding. */
    unsigned int left = n - i;
    unsigned int v0 = d[Low(src[i])];
    unsigned int v1 = left > 1 ? d[Low(src[i + 1])] : 0x40;
    unsigned int v2 = left > 2 ? d[Low(src[i + 2])] : 0x40;
    unsigned int v3 = left > 3 ? d[Low(src[i + 3])] : 0x40;
    unsigned char b[3] = {(unsigned char)((v0 << 2) | (v1 >> 4)), (unsigned char)(((v1 << 4) | (v2 >> 2)) & 0xFF),
                          (unsigned char)(((v2 << 6) | v3) & 0xFF)};
    unsigned int got = (v0 | v1) >= 0x40 ? 0 : v2 >= 0x40 ? 1
                                             : v3 >= 0x40 ? 2
                                                          : 3;
    for (unsigned int k = 0; k < got; k++, count++)
      if (count < cap)
        out[count] = b[k];
    if (got < 3)
      break; /* a short or padded group ends decoding */
    i += 4;
  }
  return count;
}

/* ---- tokenizer ---- */

template <typename T>
int Tokenize(const T *&cursor, unsigned int &length, const T *delimiters)
{
  if (!cursor || cursor[0] == 0)
  {
    if (length != kAll)
      return 0;
    length = 0; /* an empty string is one empty token */
    return 1;
  }
  if (length != kAll)
  {
    if (cursor[length] == 0)
      return 0;           /* the previous token ended the string */
    cursor += length + 1; /* past the token and exactly one delimiter */
  }
  length = (unsigned int)(delimiters ? StrCSpn(cursor, delimiters) : StrLen(cursor));
  return 1;
}

} /* namespace */

/* ---- public entry points ---- */

template <typename T>
unsigned int TCharEncodeURL(T *out, unsigned int room, char c)
{
  unsigned char b = (unsigned char)c;
  if (IsAsciiAlnum(b))
  {
    if (out && room >= 1)
      out[0] = (T)b;
    return 1;
  }
  if (out && room >= 3)
  {
    out[0] = (T)'%';
    out[1] = (T)s_acHexDigits[b >> 4];
    out[2] = (T)s_acHexDigits[b & 15];
  }
  return 3;
}

template <typename T>
unsigned int TCharDecodeURL(const T *in, unsigned int remaining, char *out)
{
  if (!in || remaining == 0)
    return 0;
  uint32_t e = Elem(in[0]);
  if (e == '+')
  {
    if (out)
      *out = ' ';
    return 1;
  }
  if (e == '%' && remaining > 2 && in[1] != 0 && in[2] != 0)
  {
    if (!out)
      return 3;
    *out = ByteToChar(HexValue(Low(in[1])) * 16 + HexValue(Low(in[2])));
    return 3;
  }
  if (out)
    *out = ByteToChar(Low(in[0]));
  return 1;
}

template unsigned int TCharEncodeURL<char>(char *, unsigned int, char);
template unsigned int TCharEncodeURL<wchar_t>(wchar_t *, unsigned int, char);
template unsigned int TCharDecodeURL<char>(const char *, unsigned int, char *);
template unsigned int TCharDecodeURL<wchar_t>(const wchar_t *, unsigned int, char *);

/* Hex, all or nothing. */
unsigned int KivStrEncodeHex(char *dst, unsigned int cap, const unsigned char *src, unsigned int n)
{
  return EncodeHex(dst, cap, src, n);
}

unsigned int KivStrEncodeHex(wchar_t *dst, unsigned int cap, const unsigned char *src, unsigned int n)
{
  return EncodeHex(dst, cap, src, n);
}

/* Hex digit pairs to bytes. */
unsigned int KivStrDecodeHex(unsigned char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return DecodeHex(dst, cap, src, n);
}

unsigned int KivStrDecodeHex(unsigned char *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return DecodeHex(dst, cap, src, n);
}

/* Percent-encoding, from bytes or from code points (through UTF-8). */
unsigned int KivStrEncodeURL(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return EncodeURLNarrow(dst, cap, src, n);
}

unsigned int KivStrEncodeURL(char *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return EncodeURLWide(dst, cap, src, n);
}

unsigned int KivStrEncodeURL(wchar_t *dst, unsigned int cap, const char *src, unsigned int n)
{
  return EncodeURLNarrow(dst, cap, src, n);
}

unsigned int KivStrEncodeURL(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return EncodeURLWide(dst, cap, src, n);
}

/* Percent-decoding, to bytes or to code points (through UTF-8). */
unsigned int KivStrDecodeURL(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return DecodeURLToNarrow(dst, cap, src, n);
}

unsigned int KivStrDecodeURL(char *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return DecodeURLToNarrow(dst, cap, src, n);
}

unsigned int KivStrDecodeURL(wchar_t *dst, unsigned int cap, const char *src, unsigned int n)
{
  return DecodeURLToWide(dst, cap, src, n);
}

unsigned int KivStrDecodeURL(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return DecodeURLToWide(dst, cap, src, n);
}

/* XML: five entities. */
unsigned int KivStrEncodeXML(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return EncodeMarkup(dst, cap, src, n, 1);
}

unsigned int KivStrEncodeXML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return EncodeMarkup(dst, cap, src, n, 1);
}

unsigned int KivStrDecodeXML(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return DecodeMarkup(dst, cap, src, n, 1);
}

unsigned int KivStrDecodeXML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return DecodeMarkup(dst, cap, src, n, 1);
}

/* HTML: four entities, the apostrophe stays as it is. */
unsigned int KivStrEncodeHTML(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return EncodeMarkup(dst, cap, src, n, 0);
}

unsigned int KivStrEncodeHTML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return EncodeMarkup(dst, cap, src, n, 0);
}

unsigned int KivStrDecodeHTML(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return DecodeMarkup(dst, cap, src, n, 0);
}

unsigned int KivStrDecodeHTML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return DecodeMarkup(dst, cap, src, n, 0);
}

/* C-style literal escapes. */
unsigned int KivStrEncodeCPP(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return EncodeCPP(dst, cap, src, n);
}

unsigned int KivStrEncodeCPP(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return EncodeCPP(dst, cap, src, n);
}

unsigned int KivStrDecodeCPP(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return DecodeCPP(dst, cap, src, n);
}

unsigned int KivStrDecodeCPP(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return DecodeCPP(dst, cap, src, n);
}

/* Base64. */
unsigned int KivStrUUEncode(char *dst, unsigned int cap, const void *src, unsigned int n, int lineBreaks)
{
  return UUEncode(dst, cap, src, n, lineBreaks);
}

unsigned int KivStrUUEncode(wchar_t *dst, unsigned int cap, const void *src, unsigned int n, int lineBreaks)
{
  return UUEncode(dst, cap, src, n, lineBreaks);
}

unsigned int KivStrUUDecode(void *dst, unsigned int cap, const char *src, unsigned int n)
{
  return UUDecode(dst, cap, src, n);
}

unsigned int KivStrUUDecode(void *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return UUDecode(dst, cap, src, n);
}

/* Cursor-style tokenizer. */
int KivStrTokenize(const char *&cursor, unsigned int &length, const char *delimiters)
{
  return Tokenize(cursor, length, delimiters);
}

int KivStrTokenize(const wchar_t *&cursor, unsigned int &length, const wchar_t *delimiters)
{
  return Tokenize(cursor, length, delimiters);
}
