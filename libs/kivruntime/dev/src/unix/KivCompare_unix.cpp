/*
 * KivCompare_unix.cpp - kivruntime: length, equality, ordering, search,
 * prefix/suffix tests and wildcard matching over narrow and wide strings.
 *
 * Nothing here allocates.  The only state is a memo: each thread keeps the
 * case folds of the 256 byte values of its current locale for the narrow
 * case-insensitive search (see NarrowFoldsOfLocale).  Most functions are
 * written once as a template over the element type and instantiated
 * through the narrow and wide overloads declared in KivCompare_unix.h; the
 * few places where the two differ (multibyte stepping, folding of a narrow
 * byte, the locale-aware narrow KivStrIEq/KivStrICmp, the narrow search)
 * are separate functions.
 */
#include "KivString_unix.h"
#include "KivVector_unix.h"

#include <langinfo.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

#include <atomic>

#if defined(KIV_VECTOR_X86)
#include <emmintrin.h>
#endif

namespace {

const unsigned int kNotFound = (unsigned int)-1;
const unsigned int kMeasure = (unsigned int)-1;

/* The empty string of each element type, used wherever a null pointer is
 * read as "". */
template <typename C>
const C *EmptyText();
template <>
const char *EmptyText<char>()
{
  return "";
}
template <>
const wchar_t *EmptyText<wchar_t>()
{
  return L"";
}

/* Length up to the terminator (the pointer is not null). */
inline unsigned int TextLen(const char *s)
{
  return (unsigned int)strlen(s);
}
inline unsigned int TextLen(const wchar_t *s)
{
  return (unsigned int)wcslen(s);
}

/* Length of s, but at most `limit`: tells whether a string holds at least
 * `limit` elements without walking a long string to its end. */
template <typename C>
unsigned int BoundedLen(const C *s, unsigned int limit)
{
  unsigned int n = 0;
  while (n < limit && s[n] != 0)
    ++n;
  return n;
}

/* Applies the null and length-marker rules to a (pointer, length) pair: a
 * null pointer becomes "" of length 0 whatever length was given (nothing is
 * ever read through it), and (unsigned)-1 becomes the measured length. */
template <typename C>
void ResolveText(const C *&s, unsigned int &len)
{
  if (s == nullptr)
  {
    s = EmptyText<C>();
    len = 0;
  }
  else if (len == kMeasure)
  {
    len = TextLen(s);
  }
}

/* A 32-bit pattern read as a two's-complement value, without relying on the
 * implementation-defined unsigned-to-signed conversion. */
inline int32_t AsSigned32(uint32_t v)
{
  return v > 0x7FFFFFFFu ? -(int32_t)(0xFFFFFFFFu - v) - 1 : (int32_t)v;
}

/* a - b as an int; a difference outside the int range (only possible for
 * wide values outside Unicode) is clamped so that its sign stays right
 * rather than wrapping. */
inline int ClampedDiff(int64_t a, int64_t b)
{
  int64_t d = a - b;
  if (d > INT_MAX)
    return INT_MAX;
  if (d < INT_MIN)
    return INT_MIN;
  return (int)d;
}

/* Case folding.  The library folds with the C library's lower-case mapping
 * of the current locale.  Some C libraries spell it __tolower (and
 * __toupper for the upper case); on Linux it is towlower (towupper) of the
 * current locale, applied to the value as given and read back here as a
 * signed 32-bit value.  A wide element is
 * folded as its code point (values that are not characters come back
 * unchanged).  A narrow byte is first read as a signed char, so bytes 0x80
 * and above are negative values that no locale maps: only the ASCII range
 * folds, and a multibyte lead byte is compared as it is. */
inline int32_t FoldValue(int32_t v)
{
  return AsSigned32((uint32_t)towlower((wint_t)(uint32_t)v));
}
inline int32_t FoldElement(char c)
{
  return FoldValue((signed char)c);
}
inline int32_t FoldElement(wchar_t c)
{
  return FoldValue((int32_t)c);
}

/* A narrow byte's value for the signed comparisons: a signed char, stated
 * explicitly because plain char is unsigned on some targets. */
inline int32_t SignedValue(char c)
{
  return (signed char)c;
}
inline int32_t SignedValue(wchar_t c)
{
  return (int32_t)c;
}

/* Length of the character at s when walking a string.  Narrow: KivCharMBLen
 * of the current locale.  A result below 1 (a byte that does not start a
 * valid character, or a sequence cut short) is taken as 1, so that such a
 * byte is a character of its own and every walk moves forward.  Wide: one
 * element. */
inline unsigned int StepAt(const char *s)
{
  if ((unsigned char)*s < 0x80)
    return 1u; /* what KivCharMBLen says, without the call */
  int n = KivCharMBLen(s);
  return n < 1 ? 1u : (unsigned int)n;
}
inline unsigned int StepAt(const wchar_t *)
{
  return 1u;
}

/* 1 if c equals one of the elements of set before its terminator. */
template <typename C>
int InSet(C c, const C *set)
{
  for (; *set != 0; ++set)
  {
    if (*set == c)
      return 1;
  }
  return 0;
}

/* ---- templates shared by both overloads ---- */

template <typename C>
int EqText(const C *a, const C *b)
{
  if (a == nullptr)
    a = EmptyText<C>();
  if (b == nullptr)
    b = EmptyText<C>();
  for (;; ++a, ++b)
  {
    if (*a != *b)
      return 0;
    if (*a == 0)
      return 1;
  }
}

/* Equality of the first n elements, stopping at a terminator that both
 * share; the null rules come first. */
template <typename C>
int EqTextN(const C *a, const C *b, unsigned int n)
{
  if (a == nullptr)
    return b == nullptr || *b == 0;
  if (b == nullptr)
    return *a == 0;
  for (unsigned int i = 0; i < n; ++i)
  {
    if (a[i] != b[i])
      return 0;
    if (a[i] == 0)
      return 1;
  }
  return 1;
}

template <typename C>
int EqTextLE(const C *a, unsigned int la, const C *b, unsigned int lb)
{
  ResolveText(a, la);
  ResolveText(b, lb);
  if (la != lb)
    return 0;
  for (unsigned int i = 0; i < la; ++i)
  {
    if (a[i] != b[i])
      return 0;
  }
  return 1;
}

template <typename C>
int CmpTextLE(const C *a, unsigned int la, const C *b, unsigned int lb)
{
  ResolveText(a, la);
  ResolveText(b, lb);
  unsigned int n = la < lb ? la : lb;
  for (unsigned int i = 0; i < n; ++i)
  {
    if (a[i] != b[i])
      return ClampedDiff(SignedValue(a[i]), SignedValue(b[i]));
  }
  if (la == lb)
    return 0;
  return la > lb ? 1 : -1;
}

/* Case-insensitive order of two resolved ranges.  Each side steps by its
 * own character length; only the lead element of each character is folded
 * and compared.  The walk ends as soon as either side leaves its range, and
 * the length difference decides. */
template <typename C>
int ICmpRanges(const C *a, unsigned int la, const C *b, unsigned int lb)
{
  if (la == 0)
    return lb == 0 ? 0 : -1;
  if (lb == 0)
    return 1;
  /* 64-bit offsets: a step past the end of a range near UINT_MAX must
     * not wrap back into it. */
  uint64_t pa = 0;
  uint64_t pb = 0;
  while (pa < la && pb < lb)
  {
    int d = ClampedDiff(FoldElement(a[pa]), FoldElement(b[pb]));
    if (d != 0)
      return d;
    pa += StepAt(a + pa);
    pb += StepAt(b + pb);
  }
  return AsSigned32(la - lb);
}

template <typename C>
int ICmpTextLE(const C *a, unsigned int la, const C *b, unsigned int lb)
{
  ResolveText(a, la);
  ResolveText(b, lb);
  return ICmpRanges(a, la, b, lb);
}

template <typename C>
int IEqTextN(const C *a, const C *b, unsigned int n)
{
  if (a == nullptr)
    a = EmptyText<C>();
  if (b == nullptr)
    b = EmptyText<C>();
  if (BoundedLen(a, n) < n || BoundedLen(b, n) < n)
    return 0;
  return ICmpRanges(a, n, b, n) == 0;
}

template <typename C>
int IEqTextLE(const C *a, unsigned int la, const C *b, unsigned int lb)
{
  ResolveText(a, la);
  ResolveText(b, lb);
  if (la != lb)
    return 0;
  return ICmpRanges(a, la, b, lb) == 0;
}

/* Wide case-insensitive walk.  wantOrder 0: equality (1/0).  wantOrder 1:
 * the folded difference at the first differing pair, or, when one string
 * is a prefix of the other, +1 if a ended first and -1 if b did: the
 * reverse of strcmp's sign, which is this overload's established result. */
int WideICompare(const wchar_t *a, const wchar_t *b, int wantOrder)
{
  if (a == nullptr)
    a = L"";
  if (b == nullptr)
    b = L"";
  for (; *a != 0 && *b != 0; ++a, ++b)
  {
    int32_t fa = FoldElement(*a);
    int32_t fb = FoldElement(*b);
    if (fa != fb)
      return wantOrder ? ClampedDiff(fa, fb) : 0;
  }
  if (!wantOrder)
    return *a == 0 && *b == 0;
  if (*a == 0 && *b != 0)
    return 1;
  if (*a != 0 && *b == 0)
    return -1;
  return 0;
}

/* Decodes one character at s in the current locale, reading at most 6
 * bytes.  Returns its byte length, or 0 when the bytes do not form a
 * character.  A fresh conversion state per call keeps this free of hidden
 * state (and so thread-safe), which for the stateless encodings in use is
 * the same as the C library's mbtowc. */
size_t DecodeNarrowChar(const char *s, wchar_t *out)
{
  mbstate_t state;
  memset(&state, 0, sizeof state);
  size_t n = mbrtowc(out, s, 6, &state);
  if (n == (size_t)-1 || n == (size_t)-2 || n == 0)
    return 0;
  return n;
}

/* Narrow case-insensitive walk, character by character in the current
 * locale.  Characters that decode on both sides are compared folded; where
 * either side does not decode, the raw bytes are compared, and a difference
 * there orders a above b (+1) whichever byte is larger, so that an
 * undecodable byte never sorts below another.  At the end of either string
 * the order is the difference of the two current bytes read as signed
 * chars.  wantOrder selects the order (1) or equality (0). */
int NarrowICompare(const char *a, const char *b, int wantOrder)
{
  if (a == nullptr)
    a = "";
  if (b == nullptr)
    b = "";
  while (*a != 0 && *b != 0)
  {
    wchar_t wa = 0;
    wchar_t wb = 0;
    size_t na = DecodeNarrowChar(a, &wa);
    size_t nb = DecodeNarrowChar(b, &wb);
    if (na != 0 && nb != 0)
    {
      int32_t fa = FoldElement(wa);
      int32_t fb = FoldElement(wb);
      if (fa != fb)
        return wantOrder ? ClampedDiff(fa, fb) : 0;
    }
    else if (*a != *b)
    {
      return wantOrder ? 1 : 0;
    }
    a += na != 0 ? na : 1;
    b += nb != 0 ? nb : 1;
  }
  if (!wantOrder)
    return *a == 0 && *b == 0;
  return (int)(signed char)*a - (int)(signed char)*b;
}

/* Folded values of the elements 0-255, worked out as they are met and kept
 * for the rest of one search.  The search folds the lead element of hay at
 * every offset, and each fold is a call into the C library; with the memo
 * a text of a few distinct letters costs a few calls.  (towlower gives the
 * same answer for the same value while the search runs; a program that
 * changes its locale meanwhile has no defined result anyway.) */
struct TFoldMemo
{
  int32_t value[256];
  uint8_t known[256];
};

/* The fold of element c through the memo (elements outside 0-255 directly). */
inline int32_t MemoFoldElement(TFoldMemo &m, char c)
{
  const unsigned int i = (unsigned char)c;
  if (!m.known[i])
  {
    m.value[i] = FoldElement(c);
    m.known[i] = 1;
  }
  return m.value[i];
}
inline int32_t MemoFoldElement(TFoldMemo &m, wchar_t c)
{
  const uint32_t u = (uint32_t)c;
  if (u > 0xFFu)
    return FoldElement(c);
  if (!m.known[u])
  {
    m.value[u] = FoldElement(c);
    m.known[u] = 1;
  }
  return m.value[u];
}

/* Whether ICmpRanges(a, n, b, n) would give 0: the same walk (each side
 * stepping by its own character length, lead elements folded, the end when
 * either side leaves its n elements), with the folds taken from the memo. */
template <typename C>
bool IEqRangesMemo(TFoldMemo &memo, const C *a, const C *b, unsigned int n)
{
  uint64_t pa = 0;
  uint64_t pb = 0;
  while (pa < n && pb < n)
  {
    if (MemoFoldElement(memo, a[pa]) != MemoFoldElement(memo, b[pb]))
      return false;
    pa += StepAt(a + pa);
    pb += StepAt(b + pb);
  }
  return true;
}

/* Case-insensitive search of needle inside hay, both resolved ranges: the
 * first character start of hay at which ICmpRanges over the needle's length
 * gives 0.  An offset whose lead element folds to something other than the
 * needle's first one is passed over at once, as ICmpRanges would return
 * there after its first comparison. */
template <typename C>
unsigned int IPosRanges(const C *hay, unsigned int lh, const C *needle, unsigned int ln)
{
  if (lh < ln)
    return kNotFound;
  if (ln == 0)
    return 0;
  TFoldMemo memo;
  memset(memo.known, 0, sizeof memo.known);
  const int32_t first = MemoFoldElement(memo, needle[0]);
  unsigned int last = lh - ln;
  unsigned int off = 0;
  for (;;)
  {
    if (MemoFoldElement(memo, hay[off]) == first && IEqRangesMemo(memo, hay + off, needle, ln))
      return off;
    unsigned int step = StepAt(hay + off);
    if (step > last - off)
      return kNotFound;
    off += step;
  }
}

/* The narrow search where the locale's folds are not kept between calls:
 * the same walk as IPosRanges with its offsets found faster (lh >= ln > 0).  Most of the time goes into passing over offsets whose lead byte
 * cannot match, so that part looks at a table instead of the memo: pass[b]
 * is 1 for a byte below 0x80 already known to fold to something other than
 * the needle's first character.  Such a byte is a whole character of its
 * own (step 1), so a run of them is passed over four at a time without any
 * other work.  A byte met for the first time, a byte that may start a
 * match and every byte of 0x80 or above (whose step is the locale's
 * character length) stop the run and are dealt with exactly as in
 * IPosRanges, so the offsets tried and the result are the same. */
unsigned int IPosNarrowMemo(const char *hay, unsigned int lh, const char *needle, unsigned int ln)
{
  TFoldMemo memo;
  memset(memo.known, 0, sizeof memo.known);
  unsigned char pass[256];
  memset(pass, 0, sizeof pass);
  const unsigned char *h = reinterpret_cast<const unsigned char *>(hay);
  const int32_t first = MemoFoldElement(memo, needle[0]);
  const unsigned int last = lh - ln;
  unsigned int off = 0;
  for (;;)
  {
    while (last - off >= 4 && (pass[h[off]] & pass[h[off + 1]] & pass[h[off + 2]] & pass[h[off + 3]]))
      off += 4;
    const unsigned char b = h[off];
    if (!pass[b])
    {
      const int32_t fold = MemoFoldElement(memo, hay[off]);
      if (fold == first)
      {
        if (IEqRangesMemo(memo, hay + off, needle, ln))
          return off;
      }
      else if (b < 0x80)
      {
        pass[b] = 1;
      }
    }
    const unsigned int step = StepAt(hay + off);
    if (step > last - off)
      return kNotFound;
    off += step;
  }
}

/* The folds of the 256 narrow byte values in one locale, and for each byte
 * the bytes below 0x80 that fold to the same value (the first two of them;
 * nAscii counts up to three).  Working them out takes 256 calls into the C
 * library, more than a short search costs in all, so a thread keeps them
 * for as long as its locale's character data stays the same. */
struct TNarrowFolds
{
  const void *ctype; /* identity of the character data the folds are of */
  int32_t fold[256];
  unsigned char nAscii[256];
  unsigned char ascii[256][2];
};

/* The folds of the current locale, or null where the locale's character
 * data cannot be told apart cheaply.  With the GNU C library the name of
 * the character set that nl_langinfo returns lies inside the character
 * data of the thread's current locale (global or its own), which stays in
 * place while it is in use: a different pointer means other data.  With
 * the environment variable KIVRUNTIME_NO_FOLD_CACHE set (read once) null
 * too, so that the search of other platforms can be tested here. */
const TNarrowFolds *NarrowFoldsOfLocale()
{
#if defined(__GLIBC__)
  /* 0: not read yet, 1: cache, 2: no cache.  An atomic word, not a
     function-local static, whose guarded initialisation would need the
     C++ runtime library in every program linking this one. */
  static std::atomic<int> s_noCache(0);
  int noCache = s_noCache.load(std::memory_order_relaxed);
  if (noCache == 0)
  {
    noCache = getenv("KIVRUNTIME_NO_FOLD_CACHE") != nullptr ? 2 : 1;
    s_noCache.store(noCache, std::memory_order_relaxed);
  }
  if (noCache == 2)
    return nullptr;
  static thread_local TNarrowFolds t_folds;
  const void *ctype = nl_langinfo(CODESET);
  if (t_folds.ctype != ctype)
  {
    for (unsigned int b = 0; b < 256; b++)
      t_folds.fold[b] = FoldElement((char)(unsigned char)b);
    for (unsigned int b = 0; b < 256; b++)
    {
      unsigned int n = 0;
      for (unsigned int c = 0; c < 0x80 && n < 3; c++)
      {
        if (t_folds.fold[c] != t_folds.fold[b])
          continue;
        if (n < 2)
          t_folds.ascii[b][n] = (unsigned char)c;
        n++;
      }
      t_folds.nAscii[b] = (unsigned char)n;
    }
    t_folds.ctype = ctype;
  }
  return &t_folds;
#else
  return nullptr;
#endif
}

/* Whether ICmpRanges(a, n, b, n) would give 0, with the folds from the
 * table: the exact walk, each side stepping by its own character length. */
bool IEqNarrowFolded(const TNarrowFolds &f, const char *a, const char *b, unsigned int n)
{
  uint64_t pa = 0;
  uint64_t pb = 0;
  while (pa < n && pb < n)
  {
    if (f.fold[(unsigned char)a[pa]] != f.fold[(unsigned char)b[pb]])
      return false;
    pa += StepAt(a + pa);
    pb += StepAt(b + pb);
  }
  return true;
}

/* Offset (0-7) of the first byte that mask marks among eight bytes read
 * as one word, mask being non-zero and holding only top bits of bytes.
 * The marks may include false ones (the zero-byte test borrows into the
 * byte above a zero), but never ahead of every true one in memory order,
 * so the offset is never beyond the first true mark.  Where the byte order
 * is not known at compile time: 0, and the caller goes one byte on. */
inline unsigned int FirstMarked(uint64_t mask)
{
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  return (unsigned int)__builtin_ctzll(mask) >> 3;
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  return (unsigned int)__builtin_clzll(mask) >> 3;
#else
  (void)mask;
  return 0;
#endif
}

/* How common each byte is in everyday text, roughly (letters by their
 * frequency in English, either case; blank and punctuation common, other
 * bytes rare).  Only used to choose which two neighbouring needle bytes
 * the search looks for first: any choice gives the same result. */
struct TByteCommonness
{
  unsigned char at[256];
};

constexpr TByteCommonness MakeByteCommonness()
{
  TByteCommonness t{};
  const char letters[] = "etaoinshrdlcumwfgypbvkjxqz"; /* most common first */
  for (int b = 0; b < 256; b++)
    t.at[b] = 4;
  for (int b = '0'; b <= '9'; b++)
    t.at[b] = 10;
  t.at[(unsigned char)'.'] = 20;
  t.at[(unsigned char)','] = 20;
  t.at[(unsigned char)'-'] = 20;
  t.at[(unsigned char)'\n'] = 20;
  t.at[(unsigned char)' '] = 64;
  for (int k = 0; k < 26; k++)
  {
    t.at[(unsigned char)letters[k]] = (unsigned char)(60 - 2 * k);
    t.at[(unsigned char)(letters[k] - 'a' + 'A')] = (unsigned char)(60 - 2 * k);
  }
  return t;
}

constexpr TByteCommonness s_byteCommonness = MakeByteCommonness();

#if defined(KIV_VECTOR_X86)
/* The pair test (see IPosNarrowFolded) sixteen offsets at a time with the
 * 16-byte compares of SSE2.  Starts at off and returns the offset it got
 * to: the first that may match (marked set), or where sixteen offsets
 * with their bytes all below 0x80 are no longer ahead (marked clear; the
 * caller goes on from there).  Reads only bytes before lh. */
__attribute__((target("sse2"))) unsigned int PairPassSSE2(const unsigned char *h, unsigned int lh,
                                                          unsigned int last, unsigned int off, unsigned int pk,
                                                          unsigned int &asciiEnd, const unsigned char cand[4],
                                                          bool &marked)
{
  const __m128i a1 = _mm_set1_epi8((char)cand[0]);
  const __m128i a2 = _mm_set1_epi8((char)cand[1]);
  const __m128i b1 = _mm_set1_epi8((char)cand[2]);
  const __m128i b2 = _mm_set1_epi8((char)cand[3]);
  marked = false;
  while (last - off >= 15)
  {
    if (asciiEnd < off)
      asciiEnd = off;
    while (asciiEnd - off < pk + 17 && lh - asciiEnd >= 16)
    {
      const int high = _mm_movemask_epi8(_mm_loadu_si128((const __m128i *)(const void *)(h + asciiEnd)));
      if (high)
      {
        asciiEnd += (unsigned int)__builtin_ctz((unsigned int)high);
        break;
      }
      asciiEnd += 16;
    }
    if (asciiEnd - off < pk + 17)
      break;
    const __m128i x = _mm_loadu_si128((const __m128i *)(const void *)(h + off + pk));
    const __m128i y = _mm_loadu_si128((const __m128i *)(const void *)(h + off + pk + 1));
    const __m128i mx = _mm_or_si128(_mm_cmpeq_epi8(x, a1), _mm_cmpeq_epi8(x, a2));
    const __m128i my = _mm_or_si128(_mm_cmpeq_epi8(y, b1), _mm_cmpeq_epi8(y, b2));
    const int m = _mm_movemask_epi8(_mm_and_si128(mx, my));
    if (m != 0)
    {
      marked = true;
      return off + (unsigned int)__builtin_ctz((unsigned int)m);
    }
    off += 16;
  }
  return off;
}
#endif

/* The word of eight bytes with the top bit of each byte that equals a or b
 * set, and possibly also of bytes just above such a byte (the usual test
 * for a zero byte, on x XOR a, borrows into the byte above a zero). */
inline uint64_t MarkEither(uint64_t x, uint64_t a, uint64_t b)
{
  const uint64_t ones = 0x0101010101010101ull;
  const uint64_t xa = x ^ a;
  const uint64_t xb = x ^ b;
  return ((xa - ones) & ~xa) | ((xb - ones) & ~xb);
}

/* Whether the needle matches at hay (an offset whose lead byte folds like
 * the needle's first one, or any offset for an ASCII needle): for an ASCII
 * needle both sides step a byte at a time for as long as the text stays
 * below 0x80, and at the text's first other byte the exact walk decides
 * from the start; any other needle takes the exact walk. */
bool MatchAt(const TNarrowFolds &f, const char *hay, const char *needle, unsigned int ln, bool asciiNeedle)
{
  if (!asciiNeedle)
    return IEqNarrowFolded(f, hay, needle, ln);
  const unsigned char *h = reinterpret_cast<const unsigned char *>(hay);
  const unsigned char *nd = reinterpret_cast<const unsigned char *>(needle);
  for (unsigned int k = 0; k < ln; k++)
  {
    const unsigned char t = h[k];
    if (t >= 0x80)
      return IEqNarrowFolded(f, hay, needle, ln);
    if (f.fold[t] != f.fold[nd[k]])
      return false;
  }
  return true;
}

/* The narrow search with the locale's folds at hand (lh >= ln > 0); the
 * result is that of IPosRanges, as every offset passed over here is one
 * at which its walk would fail.
 *
 * The bytes below 0x80 that fold like a given needle byte are known from
 * the table (usually the upper- and lower-case letter), and within a run
 * of such bytes every byte is a character of its own, so needle and text
 * are compared byte by byte there.  Two ways of passing over offsets, both
 * eight at a time with one word read per test:
 *
 * - Pair test, for an ASCII needle of two or more bytes: for two
 *   neighbouring needle bytes k and k+1 (the least common pair), an offset
 *   o whose bytes o to o+k+1 are all below 0x80 cannot match unless the
 *   bytes at o+k and o+k+1 are candidates of those needle bytes.  The
 *   bytes ahead are first checked to be below 0x80 (asciiEnd: every byte
 *   from off up to it is).
 * - Lead test, otherwise: an offset cannot start a match unless its byte
 *   is a candidate of the needle's first byte, or 0x80 or above (it may
 *   then start a character of several bytes, judged exactly).
 *
 * Offsets neither test can pass over are taken one at a time, exactly as
 * IPosRanges takes them. */
unsigned int IPosNarrowFolded(const TNarrowFolds &f, const char *hay, unsigned int lh, const char *needle,
                              unsigned int ln)
{
  const unsigned char *h = reinterpret_cast<const unsigned char *>(hay);
  const unsigned char *nd = reinterpret_cast<const unsigned char *>(needle);
  const unsigned char n0 = nd[0];
  if (f.nAscii[n0] > 2)
    return IPosNarrowMemo(hay, lh, needle, ln);
  const int32_t first = f.fold[n0];
  bool asciiNeedle = true;
  for (unsigned int k = 0; k < ln && asciiNeedle; k++)
    asciiNeedle = nd[k] < 0x80;

  /* The pair for the pair test, if there is one. */
  bool pairs = false;
  unsigned int pk = 0;
  if (asciiNeedle && ln >= 2)
  {
    unsigned int best = 0xFFFFFFFFu;
    for (unsigned int k = 0; k + 1 < ln; k++)
    {
      if (f.nAscii[nd[k]] > 2 || f.nAscii[nd[k + 1]] > 2)
        continue;
      const unsigned int c = s_byteCommonness.at[nd[k]] + s_byteCommonness.at[nd[k + 1]];
      if (c < best)
      {
        best = c;
        pk = k;
        pairs = true;
      }
    }
  }

  /* A byte's candidates as a word of eight copies; with fewer than two
   * below 0x80, one repeated, or 0x80, which no byte that the tests look
   * at equals (the lead test stops at it anyway). */
  const uint64_t ones = 0x0101010101010101ull;
  const uint64_t highs = 0x8080808080808080ull;
  const unsigned char pa = pairs ? nd[pk] : n0;
  const unsigned char pb = pairs ? nd[pk + 1] : n0;
  unsigned char cand[4];
  cand[0] = f.nAscii[pa] > 0 ? f.ascii[pa][0] : 0x80;
  cand[1] = f.nAscii[pa] > 1 ? f.ascii[pa][1] : cand[0];
  cand[2] = f.nAscii[pb] > 0 ? f.ascii[pb][0] : 0x80;
  cand[3] = f.nAscii[pb] > 1 ? f.ascii[pb][1] : cand[2];
  const uint64_t a1 = ones * cand[0];
  const uint64_t a2 = ones * cand[1];
  const uint64_t b1 = ones * cand[2];
  const uint64_t b2 = ones * cand[3];
#if defined(KIV_VECTOR_X86)
  const bool sse2 = pairs && (KivVectorFeatures() & kKivVectorSSE2) != 0;
#endif

  const unsigned int last = lh - ln;
  unsigned int off = 0;
  unsigned int asciiEnd = 0;
  for (;;)
  {
    if (pairs)
    {
#if defined(KIV_VECTOR_X86)
      if (sse2)
      {
        bool marked;
        off = PairPassSSE2(h, lh, last, off, pk, asciiEnd, cand, marked);
        if (marked)
        {
          if (MatchAt(f, hay + off, needle, ln, true))
            return off;
          off++; /* h[off] is below 0x80: a character of one byte */
          continue;
        }
      }
#endif
      /* Eight offsets at once: their bytes up to off + 7 + pk + 1 must
       * all be below 0x80.  Those bytes lie inside hay, as off + 7 <=
       * last and pk + 1 < ln. */
      while (last - off >= 7)
      {
        if (asciiEnd < off)
          asciiEnd = off;
        while (asciiEnd - off < pk + 9 && lh - asciiEnd >= 8)
        {
          uint64_t w;
          memcpy(&w, h + asciiEnd, 8);
          const uint64_t high = w & highs;
          if (high)
          {
            asciiEnd += FirstMarked(high);
            break;
          }
          asciiEnd += 8;
        }
        if (asciiEnd - off < pk + 9)
          break;
        uint64_t x, y;
        memcpy(&x, h + off + pk, 8);
        memcpy(&y, h + off + pk + 1, 8);
        const uint64_t marks = MarkEither(x, a1, a2) & MarkEither(y, b1, b2) & highs;
        if (marks == 0)
        {
          off += 8;
          continue;
        }
        /* No mark lies beyond the first offset that may match. */
        const unsigned int o = off + FirstMarked(marks);
        if (MatchAt(f, hay + o, needle, ln, true))
          return o;
        off = o + 1; /* h[o] is below 0x80: a character of one byte */
      }
    }
    else
    {
      /* Eight lead bytes at once, all of them before last. */
      while (last - off >= 8)
      {
        uint64_t w;
        memcpy(&w, h + off, 8);
        const uint64_t marks = (MarkEither(w, a1, a2) | w) & highs;
        if (marks != 0)
        {
          off += FirstMarked(marks);
          break;
        }
        off += 8;
      }
    }
    /* One offset, as IPosRanges takes it. */
    if (off > last)
      return kNotFound;
    const unsigned char b = h[off];
    if (f.fold[b] == first && MatchAt(f, hay + off, needle, ln, asciiNeedle && b < 0x80))
      return off;
    const unsigned int step = b < 0x80 ? 1u : StepAt(hay + off);
    if (step > last - off)
      return kNotFound;
    off += step;
  }
}

/* The narrow search (see IPosRanges). */
unsigned int IPosRanges(const char *hay, unsigned int lh, const char *needle, unsigned int ln)
{
  if (lh < ln)
    return kNotFound;
  if (ln == 0)
    return 0;
  const TNarrowFolds *f = NarrowFoldsOfLocale();
  if (f)
    return IPosNarrowFolded(*f, hay, lh, needle, ln);
  return IPosNarrowMemo(hay, lh, needle, ln);
}

template <typename C>
unsigned int FindElement(const C *s, C c)
{
  if (s == nullptr)
    return kNotFound;
  for (unsigned int i = 0;; ++i)
  {
    if (s[i] == c)
      return i;
    if (s[i] == 0)
      return kNotFound;
  }
}

template <typename C>
unsigned int FindInSet(const C *s, const C *set, int wantInSet)
{
  for (unsigned int i = 0; s[i] != 0; ++i)
  {
    if (InSet(s[i], set) == wantInSet)
      return i;
  }
  return kNotFound;
}

template <typename C>
unsigned int RFindElement(const C *s, C c, unsigned int from)
{
  if (s == nullptr)
    return kNotFound;
  if (from == kMeasure)
    from = TextLen(s);
  for (unsigned int i = from;; --i)
  {
    if (s[i] == c)
      return i;
    if (i == 0)
      return kNotFound;
  }
}

template <typename C>
unsigned int RFindInSet(const C *s, const C *set, unsigned int from, int wantInSet)
{
  if (s == nullptr || set == nullptr || *s == 0)
    return kNotFound;
  if (from == kMeasure)
    from = TextLen(s) - 1;
  for (unsigned int i = from;; --i)
  {
    if (InSet(s[i], set) == wantInSet)
      return i;
    if (i == 0)
      return kNotFound;
  }
}

/* The k-th string of a packed list.  Each round looks for the terminator of
 * the current string inside the elements that remain of the buffer and
 * moves just past it; a further string needs at least one element after
 * that terminator.  Nothing at or past `size` is read. */
template <typename C>
unsigned int FindStringInList(const C *list, unsigned int size, unsigned int k)
{
  if (list == nullptr)
    return kNotFound;
  unsigned int p = 0;
  for (unsigned int i = 0; i != k; ++i)
  {
    if (p >= size)
      return kNotFound;
    while (list[p] != 0)
    {
      if (++p >= size)
        return kNotFound;
    }
    ++p;
    if (p >= size)
      return kNotFound;
  }
  return p;
}

template <typename C>
int StartsWithText(const C *s, const C *prefix, unsigned int lp, int caseSensitive)
{
  if (lp == kMeasure)
    lp = prefix == nullptr ? 0 : TextLen(prefix);
  return caseSensitive ? EqTextN(s, prefix, lp) : IEqTextN(s, prefix, lp);
}

/* The tail comparison of the suffix tests: exact or case-insensitive
 * equality of two zero-terminated strings. */
inline int TailEq(const char *a, const char *b, int cs)
{
  return cs ? EqText(a, b) : NarrowICompare(a, b, 0);
}
inline int TailEq(const wchar_t *a, const wchar_t *b, int cs)
{
  return cs ? EqText(a, b) : WideICompare(a, b, 0);
}

/* ls and lx only place the start of the tail; the comparison itself runs to
 * the terminators of both strings.  A null s is "" of length 0 whatever ls
 * says. */
template <typename C>
int EndsWithText(const C *s, const C *suffix, unsigned int ls, unsigned int lx, int caseSensitive)
{
  if (s == nullptr)
  {
    s = EmptyText<C>();
    ls = 0;
  }
  else if (ls == kMeasure)
  {
    ls = TextLen(s);
  }
  if (lx == kMeasure)
  {
    if (suffix == nullptr)
      return TailEq(s + ls, (const C *)nullptr, caseSensitive);
    lx = TextLen(suffix);
  }
  if (ls < lx)
    return 0;
  return TailEq(s + ls - lx, suffix, caseSensitive);
}

/* Whether the pattern literal c matches the string element e: equal, or,
 * without case sensitivity, equal after folding (for narrow strings these
 * are the two lead bytes, as the length-explicit comparison folds them). */
template <typename C>
inline int LiteralMatches(C c, C e, int caseSensitive)
{
  if (c == e)
    return 1;
  return !caseSensitive && FoldElement(c) == FoldElement(e);
}

} // namespace

/* ---- wildcard matching ---- */

/*
 * TStrWildcardMatch - '*' and '?' matching of a whole string against a whole
 * pattern, in O(lstr * lpat) time and constant space.
 *
 * The semantics are those of the plain backtracking matcher: walk pattern
 * and string together; '?' takes one character, a literal must match the
 * character at the string position; a group of stars at the end of the
 * pattern matches any rest; otherwise, after a star group, the rest of the
 * pattern is tried at each character start s' of the string from the
 * current position onward (s' < end), and the first success wins.  Both
 * sides step by their own character lengths.
 *
 * Instead of recursing, only the most recent star group is remembered
 * (starP = pattern position after it, starS = string position it is being
 * tried at).  When an attempt fails, that star takes one more character.
 * When a later star group is reached, the earlier one is never retried.
 * This is exact: let the segment between star group 1 and star group 2
 * match first at s1, ending at t1.  Any later start s'' of star 1 lies on
 * the chain of character starts after s1, s'' = next^j(s1) with j >= 1, and
 * the segment (a fixed number m of characters, each taking one step) then
 * ends at next^j(t1): a later start on the same chain from t1.  The
 * positions star 2 may try from there are a subset of those it may try from
 * t1, and what follows star 2 depends only on that position.  So if every
 * choice of star 2 after s1 fails, every choice after s'' fails too, and
 * retrying star 1 can never succeed.  Each star advances at most lstr
 * times and each attempt walks at most lpat pattern elements.
 *
 * Positions are element offsets.  A string character that starts before
 * the end but runs past it (an explicit length that cuts a multibyte
 * character) moves the position past the end: nothing there is compared
 * and the match ends exactly only at the end itself.
 */
template <typename C>
int TStrWildcardMatch(const C *str, unsigned int lstr, const C *pattern, unsigned int lpat,
                      int caseSensitive)
{
  ResolveText(str, lstr);
  ResolveText(pattern, lpat);
  /* Offsets are kept in 64 bits so that a step past the end of a range
     * near UINT_MAX cannot wrap back into it. */
  const uint64_t strEnd = lstr;
  const uint64_t patEnd = lpat;
  uint64_t s = 0;
  uint64_t p = 0;
  int haveStar = 0;
  uint64_t starP = 0;
  uint64_t starS = 0;

  for (;;)
  {
    if (p < patEnd)
    {
      C c = pattern[p];
      if (c == (C)'*')
      {
        do
        {
          p += StepAt(pattern + p);
        } while (p < patEnd && pattern[p] == (C)'*');
        if (p >= patEnd)
          return 1; /* trailing stars take any rest, even none */
        if (s >= strEnd)
          return 0; /* the rest needs a character and none is left */
        haveStar = 1;
        starP = p;
        starS = s;
        continue;
      }
      if (s < strEnd && (c == (C)'?' || LiteralMatches(c, str[s], caseSensitive)))
      {
        s += StepAt(str + s);
        p += StepAt(pattern + p);
        continue;
      }
    }
    else if (s == strEnd && p == patEnd)
    {
      return 1;
    }
    /* This attempt failed: the last star takes one more character. */
    if (!haveStar)
      return 0;
    starS += StepAt(str + starS);
    if (starS >= strEnd)
      return 0;
    s = starS;
    p = starP;
  }
}

template int TStrWildcardMatch<char>(const char *, unsigned int, const char *, unsigned int, int);
template int TStrWildcardMatch<wchar_t>(const wchar_t *, unsigned int, const wchar_t *, unsigned int, int);

/*
 * TKivStrPosLE - exact search of needle's ln elements within hay's first lh
 * elements.  Plain left-to-right scan, anchored on the first element.
 */
template <typename C>
unsigned int TKivStrPosLE(const C *hay, unsigned int lh, const C *needle, unsigned int ln)
{
  ResolveText(hay, lh);
  ResolveText(needle, ln);
  if (ln == 0)
    return 0;
  if (lh < ln)
    return kNotFound;
  const unsigned int last = lh - ln;
  const C first = needle[0];
  for (unsigned int off = 0;; ++off)
  {
    if (hay[off] == first)
    {
      unsigned int i = 1;
      while (i < ln && hay[off + i] == needle[i])
        ++i;
      if (i == ln)
        return off;
    }
    if (off == last)
      return kNotFound;
  }
}

template unsigned int TKivStrPosLE<char>(const char *, unsigned int, const char *, unsigned int);
template unsigned int TKivStrPosLE<wchar_t>(const wchar_t *, unsigned int, const wchar_t *, unsigned int);

/* ---- length, equality and order ---- */

/* Length of s; 0 for null. */
unsigned int KivStrLen(const char *s)
{
  return s == nullptr ? 0 : TextLen(s);
}
unsigned int KivStrLen(const wchar_t *s)
{
  return s == nullptr ? 0 : TextLen(s);
}

/* Equality with null read as "". */
int KivStrEq(const char *a, const char *b)
{
  return EqText(a, b);
}
int KivStrEq(const wchar_t *a, const wchar_t *b)
{
  return EqText(a, b);
}

/* Equality of the first n elements, with the null rules first. */
int KivStrEqN(const char *a, const char *b, unsigned int n)
{
  return EqTextN(a, b, n);
}
int KivStrEqN(const wchar_t *a, const wchar_t *b, unsigned int n)
{
  return EqTextN(a, b, n);
}

/* Raw equality of two explicit ranges. */
int KivStrEqLE(const char *a, unsigned int la, const char *b, unsigned int lb)
{
  return EqTextLE(a, la, b, lb);
}
int KivStrEqLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb)
{
  return EqTextLE(a, la, b, lb);
}

/* Case-insensitive equality: narrow decodes in the current locale. */
int KivStrIEq(const char *a, const char *b)
{
  return NarrowICompare(a, b, 0);
}
int KivStrIEq(const wchar_t *a, const wchar_t *b)
{
  return WideICompare(a, b, 0);
}

/* Case-insensitive equality of the first n elements. */
int KivStrIEqN(const char *a, const char *b, unsigned int n)
{
  return IEqTextN(a, b, n);
}
int KivStrIEqN(const wchar_t *a, const wchar_t *b, unsigned int n)
{
  return IEqTextN(a, b, n);
}

/* Case-insensitive equality of two explicit ranges of the same length. */
int KivStrIEqLE(const char *a, unsigned int la, const char *b, unsigned int lb)
{
  return IEqTextLE(a, la, b, lb);
}
int KivStrIEqLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb)
{
  return IEqTextLE(a, la, b, lb);
}

/* The C library's order; a null pointer reads as "" instead of crashing. */
int KivStrCmp(const char *a, const char *b)
{
  return strcmp(a == nullptr ? "" : a, b == nullptr ? "" : b);
}
int KivStrCmp(const wchar_t *a, const wchar_t *b)
{
  return wcscmp(a == nullptr ? L"" : a, b == nullptr ? L"" : b);
}

/* Order of two explicit ranges (narrow elements as signed chars). */
int KivStrCmpLE(const char *a, unsigned int la, const char *b, unsigned int lb)
{
  return CmpTextLE(a, la, b, lb);
}
int KivStrCmpLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb)
{
  return CmpTextLE(a, la, b, lb);
}

/* Case-insensitive order; the two overloads differ at the end of a string. */
int KivStrICmp(const char *a, const char *b)
{
  return NarrowICompare(a, b, 1);
}
int KivStrICmp(const wchar_t *a, const wchar_t *b)
{
  return WideICompare(a, b, 1);
}

/* Case-insensitive order of two explicit ranges. */
int KivStrICmpLE(const char *a, unsigned int la, const char *b, unsigned int lb)
{
  return ICmpTextLE(a, la, b, lb);
}
int KivStrICmpLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb)
{
  return ICmpTextLE(a, la, b, lb);
}

/* ---- search ---- */

/* First occurrence of needle (strstr); nulls read as "". */
unsigned int KivStrPos(const char *hay, const char *needle)
{
  if (hay == nullptr)
    hay = "";
  const char *hit = strstr(hay, needle == nullptr ? "" : needle);
  return hit == nullptr ? kNotFound : (unsigned int)(hit - hay);
}
unsigned int KivStrPos(const wchar_t *hay, const wchar_t *needle)
{
  if (hay == nullptr)
    hay = L"";
  const wchar_t *hit = wcsstr(hay, needle == nullptr ? L"" : needle);
  return hit == nullptr ? kNotFound : (unsigned int)(hit - hay);
}

/* Whether needle occurs in hay. */
int KivStrHas(const char *hay, const char *needle)
{
  return KivStrPos(hay, needle) != kNotFound;
}
int KivStrHas(const wchar_t *hay, const wchar_t *needle)
{
  return KivStrPos(hay, needle) != kNotFound;
}

/* Exact search with explicit lengths. */
unsigned int KivStrPosLE(const char *hay, unsigned int lh, const char *needle, unsigned int ln)
{
  return TKivStrPosLE(hay, lh, needle, ln);
}
unsigned int KivStrPosLE(const wchar_t *hay, unsigned int lh, const wchar_t *needle, unsigned int ln)
{
  return TKivStrPosLE(hay, lh, needle, ln);
}

/* Case-insensitive search; nulls read as "". */
unsigned int KivStrIPos(const char *hay, const char *needle)
{
  return KivStrIPosLE(hay, kMeasure, needle, kMeasure);
}
unsigned int KivStrIPos(const wchar_t *hay, const wchar_t *needle)
{
  return KivStrIPosLE(hay, kMeasure, needle, kMeasure);
}

/* Case-insensitive search with explicit lengths. */
unsigned int KivStrIPosLE(const char *hay, unsigned int lh, const char *needle, unsigned int ln)
{
  ResolveText(hay, lh);
  ResolveText(needle, ln);
  return IPosRanges(hay, lh, needle, ln);
}
unsigned int KivStrIPosLE(const wchar_t *hay, unsigned int lh, const wchar_t *needle, unsigned int ln)
{
  ResolveText(hay, lh);
  ResolveText(needle, ln);
  return IPosRanges(hay, lh, needle, ln);
}

/* Whether needle occurs in hay, ignoring case. */
int KivStrIHas(const char *hay, const char *needle)
{
  return KivStrIPos(hay, needle) != kNotFound;
}
int KivStrIHas(const wchar_t *hay, const wchar_t *needle)
{
  return KivStrIPos(hay, needle) != kNotFound;
}

/* First c in s; the terminator itself is found for c == 0. */
unsigned int KivStrFind(const char *s, char c)
{
  return FindElement(s, c);
}
unsigned int KivStrFind(const wchar_t *s, wchar_t c)
{
  return FindElement(s, c);
}

/* First element of s that is in set. */
unsigned int KivStrFindChars(const char *s, const char *set)
{
  return s == nullptr || set == nullptr ? kNotFound : FindInSet(s, set, 1);
}
unsigned int KivStrFindChars(const wchar_t *s, const wchar_t *set)
{
  return s == nullptr || set == nullptr ? kNotFound : FindInSet(s, set, 1);
}

/* First element of s that is not in set; 0 for a null s or set. */
unsigned int KivStrFindXChars(const char *s, const char *set)
{
  return s == nullptr || set == nullptr ? 0 : FindInSet(s, set, 0);
}
unsigned int KivStrFindXChars(const wchar_t *s, const wchar_t *set)
{
  return s == nullptr || set == nullptr ? 0 : FindInSet(s, set, 0);
}

/* Last c at or below from (from == -1: the terminator). */
unsigned int KivStrRFind(const char *s, char c, unsigned int from)
{
  return RFindElement(s, c, from);
}
unsigned int KivStrRFind(const wchar_t *s, wchar_t c, unsigned int from)
{
  return RFindElement(s, c, from);
}

/* Last element at or below from that is in set (from == -1: the last element). */
unsigned int KivStrRFindChars(const char *s, const char *set, unsigned int from)
{
  return RFindInSet(s, set, from, 1);
}
unsigned int KivStrRFindChars(const wchar_t *s, const wchar_t *set, unsigned int from)
{
  return RFindInSet(s, set, from, 1);
}

/* Last element at or below from that is not in set. */
unsigned int KivStrRFindXChars(const char *s, const char *set, unsigned int from)
{
  return RFindInSet(s, set, from, 0);
}
unsigned int KivStrRFindXChars(const wchar_t *s, const wchar_t *set, unsigned int from)
{
  return RFindInSet(s, set, from, 0);
}

/* Offset of the k-th string of a packed list. */
unsigned int KivStrFindStringK(const char *list, unsigned int size, unsigned int k)
{
  return FindStringInList(list, size, k);
}
unsigned int KivStrFindStringK(const wchar_t *list, unsigned int size, unsigned int k)
{
  return FindStringInList(list, size, k);
}

/* ---- prefix, suffix and pattern ---- */

/* Prefix test through KivStrEqN. */
int KivStrStartsWith(const char *s, const char *prefix, unsigned int lp)
{
  return StartsWithText(s, prefix, lp, 1);
}
int KivStrStartsWith(const wchar_t *s, const wchar_t *prefix, unsigned int lp)
{
  return StartsWithText(s, prefix, lp, 1);
}

/* Prefix test through KivStrIEqN. */
int KivStrIStartsWith(const char *s, const char *prefix, unsigned int lp)
{
  return StartsWithText(s, prefix, lp, 0);
}
int KivStrIStartsWith(const wchar_t *s, const wchar_t *prefix, unsigned int lp)
{
  return StartsWithText(s, prefix, lp, 0);
}

/* Suffix test through KivStrEq. */
int KivStrEndsWith(const char *s, const char *suffix, unsigned int ls, unsigned int lx)
{
  return EndsWithText(s, suffix, ls, lx, 1);
}
int KivStrEndsWith(const wchar_t *s, const wchar_t *suffix, unsigned int ls, unsigned int lx)
{
  return EndsWithText(s, suffix, ls, lx, 1);
}

/* Suffix test through KivStrIEq. */
int KivStrIEndsWith(const char *s, const char *suffix, unsigned int ls, unsigned int lx)
{
  return EndsWithText(s, suffix, ls, lx, 0);
}
int KivStrIEndsWith(const wchar_t *s, const wchar_t *suffix, unsigned int ls, unsigned int lx)
{
  return EndsWithText(s, suffix, ls, lx, 0);
}

/* Case-sensitive wildcard match. */
int KivStrWildcardMatch(const char *str, unsigned int lstr, const char *pattern, unsigned int lpat)
{
  return TStrWildcardMatch(str, lstr, pattern, lpat, 1);
}
int KivStrWildcardMatch(const wchar_t *str, unsigned int lstr, const wchar_t *pattern, unsigned int lpat)
{
  return TStrWildcardMatch(str, lstr, pattern, lpat, 1);
}

/* Case-insensitive wildcard match. */
int KivStrWildcardMatchNoCase(const char *str, unsigned int lstr, const char *pattern, unsigned int lpat)
{
  return TStrWildcardMatch(str, lstr, pattern, lpat, 0);
}
int KivStrWildcardMatchNoCase(const wchar_t *str, unsigned int lstr, const wchar_t *pattern,
                              unsigned int lpat)
{
  return TStrWildcardMatch(str, lstr, pattern, lpat, 0);
}
