/*
 * KivEdit_unix.cpp - kivruntime: bounded copy and append, insertion,
 * removal and replacement, trimming and case conversion in place, path
 * joining and XML attribute values.
 *
 * Each function is written once as a template over the element type and
 * exported as a narrow and a wide overload.  Nothing here allocates; every
 * write is bounded by the caller's capacity.
 */
#include "KivString_unix.h"

#include <limits.h>
#include <stdio.h>
#include <wctype.h>

namespace {

const unsigned int kNoLength = 0xFFFFFFFFu;

/* Lengths that mean "measure the string" can only be 0xFFFFFFFE at most,
 * so that a measured length is never mistaken for the marker. */
const unsigned int kMaxLength = 0xFFFFFFFEu;

/* Length of a terminated string, 0 for null, held below the -1 marker. */
template <typename C>
unsigned int MeasureLen(const C *s)
{
  if (!s)
    return 0;
  size_t n = 0;
  while (s[n] != 0 && n < kMaxLength)
    n++;
  return (unsigned int)n;
}

/* Resolves a (pointer, length) pair: -1 measures, a null pointer has no
 * elements whatever length came with it. */
template <typename C>
unsigned int ResolveLen(const C *s, unsigned int len)
{
  if (!s)
    return 0;
  return len == kNoLength ? MeasureLen(s) : len;
}

/* White space without the locale: space and tab .. carriage return.  The
 * element is compared as a value, so char signedness plays no part: a
 * byte of 0x80 or more is never white space either way. */
template <typename C>
inline bool IsBlank(C c)
{
  return c == 0x20 || (c >= 0x09 && c <= 0x0D);
}

/* Adds without wrapping: a count that cannot be represented stays at the
 * largest value, so that needed + 1 saturates at (unsigned)-1. */
inline unsigned int AddSat(unsigned int a, unsigned int b)
{
  return (a > 0xFFFFFFFFu - b) ? 0xFFFFFFFFu : a + b;
}

/*
 * TextOut - the writer shared by the functions that produce text under the
 * "item whole or not at all" rule: each item is written only if it fits
 * into the room left before the terminator; the first item that does not
 * fit ends writing for good (the terminator goes where it would have
 * started), while every item is still counted.
 */
template <typename C>
struct TextOut
{
  C *dst;
  unsigned int room;    /* cap - 1 */
  unsigned int written; /* elements stored so far */
  unsigned int needed;  /* elements the whole output needs (saturating) */
  bool stopped;         /* writing has ended (cut short, or no buffer) */

  TextOut(C *d, unsigned int cap)
      : dst(d), room(cap ? cap - 1 : 0), written(0), needed(0), stopped(cap == 0 || d == 0)
  {
  }

  /* Offers one item of n elements. */
  void Put(const C *item, unsigned int n)
  {
    needed = AddSat(needed, n);
    if (stopped)
      return;
    if (n > room - written)
    {
      dst[written] = 0;
      stopped = true;
      return;
    }
    for (unsigned int i = 0; i < n; i++)
      dst[written + i] = item[i];
    written += n;
  }

  /* Offers one single-element item. */
  void PutOne(C c) { Put(&c, 1); }

  /* Terminates and returns the size result of the convention. */
  unsigned int Finish()
  {
    if (!stopped)
    {
      dst[written] = 0;
      return written;
    }
    return AddSat(needed, 1);
  }
};

/* ------------------------------------------------------------------ */
/* bounded copy and append                                            */

/* Copies up to cap - 1 elements, stopping at src's terminator or after n
 * elements; terminates.  1 when the terminator or the n-limit ended the
 * copy, 0 when the capacity did.  src[i] is read only while i < n. */
template <typename C>
int SetN(C *dst, unsigned int cap, const C *src, unsigned int n)
{
  if (cap == 0 || !dst)
    return 0;
  unsigned int i = 0;
  if (src)
  {
    while (i < cap - 1 && i < n && src[i] != 0)
    {
      dst[i] = src[i];
      i++;
    }
  }
  dst[i] = 0;
  if (!src || i == n)
    return 1;
  return src[i] == 0 ? 1 : 0;
}

/* Copies exactly n elements (zeros included) up to cap - 1; terminates. */
template <typename C>
int SetLE(C *dst, unsigned int cap, const C *src, unsigned int n)
{
  if (cap == 0 || !dst)
    return 0;
  n = ResolveLen(src, n);
  unsigned int k = n < cap - 1 ? n : cap - 1;
  for (unsigned int i = 0; i < k; i++)
    dst[i] = src[i];
  dst[k] = 0;
  return k == n ? 1 : 0;
}

/* Appends with SetN into the room after dst's current string, looking at
 * no more than cap elements of dst to find its end. */
template <typename C>
int CatN(C *dst, unsigned int cap, const C *src, unsigned int n)
{
  unsigned int len = 0;
  if (dst)
    while (len < cap && dst[len] != 0)
      len++;
  if (len >= cap)
    return 0;
  return SetN(dst + len, cap - len, src, n);
}

/* ------------------------------------------------------------------ */
/* insertion, removal, replacement                                    */

/* Copies srcLen - p + 1 elements from src + p (the last one is taken as the
 * terminator) to out, or just a terminator when there is no source. */
template <typename C>
void MoveTail(C *out, const C *src, unsigned int p, unsigned int srcLen)
{
  if (src)
    memmove(out, src + p, ((size_t)(srcLen - p) + 1) * sizeof(C));
  else
    out[0] = 0;
}

template <typename C>
unsigned int Insert(C *dst, unsigned int cap, const C *src, unsigned int srcLen, unsigned int pos,
                    const C *ins, unsigned int insLen)
{
  insLen = ResolveLen(ins, insLen);
  srcLen = ResolveLen(src, srcLen);
  if (srcLen > 0xFFFFFFFEu - insLen)
    return 0xFFFFFFFFu; /* total + 1 cannot be represented */
  unsigned int total = srcLen + insLen;
  if (cap < total + 1 || !dst)
    return total + 1;
  unsigned int p = pos < srcLen ? pos : srcLen;
  if (dst != src && p > 0)
    memmove(dst, src, (size_t)p * sizeof(C));
  /* The tail goes first: when dst is src it moves up over the place
     * where ins will go. */
  MoveTail(dst + p + insLen, src, p, srcLen);
  if (insLen > 0)
    memmove(dst + p, ins, (size_t)insLen * sizeof(C));
  return total;
}

template <typename C>
unsigned int Remove(C *dst, unsigned int cap, const C *src, unsigned int srcLen, unsigned int pos,
                    unsigned int count)
{
  srcLen = ResolveLen(src, srcLen);
  unsigned int p = pos < srcLen ? pos : srcLen;
  unsigned int tail = srcLen - p;
  unsigned int k = tail < count ? tail : count;
  unsigned int newLen = srcLen - k; /* at most 0xFFFFFFFE: newLen + 1 fits */
  if (cap < newLen + 1 || !dst)
    return newLen + 1;
  if (dst != src && p > 0)
    memmove(dst, src, (size_t)p * sizeof(C));
  MoveTail(dst + p, src, p + k, srcLen);
  return newLen;
}

template <typename C>
unsigned int Replace(C *dst, unsigned int cap, const C *src, unsigned int srcLen, const C *find,
                     unsigned int findLen, const C *repl, unsigned int replLen)
{
  srcLen = ResolveLen(src, srcLen);
  findLen = ResolveLen(find, findLen);
  replLen = ResolveLen(repl, replLen);
  TextOut<C> out(dst, cap);
  const C *rest = src;
  unsigned int left = srcLen;
  /* An empty find string would match at the same place for ever: it
     * matches nothing, and the source goes out unchanged below. */
  while (left > 0 && findLen > 0)
  {
    unsigned int at = TKivStrPosLE(rest, left, find, findLen);
    if (at == 0xFFFFFFFFu || at > left - findLen)
      break;
    out.Put(rest, at);
    out.Put(repl, replLen);
    rest += at + findLen;
    left -= at + findLen;
  }
  if (left > 0)
    out.Put(rest, left);
  return out.Finish();
}

/* ------------------------------------------------------------------ */
/* case conversion                                                    */

/* Converts one wide character with towlower or towupper. */
inline wint_t ConvertCase(wint_t c, bool upper)
{
  return upper ? towupper(c) : towlower(c);
}

/* Wide: every element on its own. */
void CaseWide(wchar_t *s, unsigned int len, bool upper)
{
  if (!s)
    return;
  if (len == kNoLength)
    len = MeasureLen(s);
  for (unsigned int i = 0; i < len; i++)
    s[i] = (wchar_t)ConvertCase((wint_t)s[i], upper);
}

/*
 * Narrow: decode each character (never past len bytes), convert it, and
 * write the converted form over the start of the character whenever it is
 * no longer than the character: a shorter form leaves the remaining bytes
 * of the old character where they were, and the walk still steps by the
 * decoded length.  A longer form would write past the character, so that
 * character is left as it is.  Bytes that do not start a valid character
 * are stepped over one by one.
 */
void CaseNarrow(char *s, unsigned int len, bool upper)
{
  if (!s)
    return;
  if (len == kNoLength)
    len = MeasureLen(s);
  unsigned int i = 0;
  while (i < len)
  {
    unsigned int limit = len - i < 6 ? len - i : 6;
    mbstate_t in;
    memset(&in, 0, sizeof(in));
    wchar_t wc = 0;
    size_t n = mbrtowc(&wc, s + i, limit, &in);
    if (n == (size_t)-1 || n == (size_t)-2)
    {
      i++;
      continue;
    }
    if (n == 0)
      n = 1; /* a zero byte inside an explicit length */
    wint_t conv = ConvertCase((wint_t)wc, upper);
    if (conv != (wint_t)wc)
    {
      char tmp[MB_LEN_MAX];
      mbstate_t st;
      memset(&st, 0, sizeof(st));
      size_t m = wcrtomb(tmp, (wchar_t)conv, &st);
      if (m != (size_t)-1 && m <= n)
        memcpy(s + i, tmp, m);
    }
    i += (unsigned int)n;
  }
}

/* ------------------------------------------------------------------ */
/* XML attribute values                                               */

inline const char *FindSub(const char *hay, const char *needle)
{
  return strstr(hay, needle);
}
inline const wchar_t *FindSub(const wchar_t *hay, const wchar_t *needle)
{
  return wcsstr(hay, needle);
}

template <typename C>
unsigned int GetXMLToken(C *dst, unsigned int cap, const C *text, const C *name)
{
  if (!dst)
    cap = 0;
  const C *value = 0;
  size_t valueLen = 0;
  if (text && name && name[0] != 0)
  {
    size_t nameLen = MeasureLen(name);
    const C *from = text;
    for (;;)
    {
      const C *hit = FindSub(from, name);
      if (!hit)
        break;
      if (hit == text || !(hit[-1] == '<' || IsBlank(hit[-1])))
      {
        /* Not an attribute name here: look again one further on. */
        from = hit + 1;
        continue;
      }
      const C *p = hit + nameLen;
      while (IsBlank(*p))
        p++;
      if (*p != '=')
      {
        from = p;
        continue;
      }
      p++;
      while (IsBlank(*p))
        p++;
      if (*p != '"')
      {
        from = p;
        continue;
      }
      p++;
      const C *end = p;
      while (*end != 0 && *end != '"')
        end++;
      if (*end == '"')
      {
        value = p;
        valueLen = (size_t)(end - p);
      }
      break;
    }
  }
  if (!value)
  {
    if (cap == 0)
      return 1;
    dst[0] = 0;
    return 0;
  }
  unsigned int L = valueLen < kMaxLength ? (unsigned int)valueLen : kMaxLength;
  if (cap == 0)
    return L + 1;
  if (L > cap - 1)
  {
    dst[0] = 0;
    return L + 1;
  }
  memcpy(dst, value, (size_t)L * sizeof(C));
  dst[L] = 0;
  return L;
}

/* ------------------------------------------------------------------ */
/* paths                                                              */

/* Where a misplaced dot name is reported, as the library's source has
 * always named this check. */
const char kAssertFile[] = "src/unix/KivString_unix.cpp";
const unsigned int kAssertLine = 467;

template <typename C>
const C *FilePrefix();
template <>
const char *FilePrefix<char>()
{
  return "file://";
}
template <>
const wchar_t *FilePrefix<wchar_t>()
{
  return L"file://";
}

/* True when s begins with the seven elements of "file://". */
template <typename C>
bool HasFilePrefix(const C *s)
{
  const C *f = FilePrefix<C>();
  for (int i = 0; i < 7; i++)
    if (s[i] != f[i])
      return false;
  return true;
}

template <typename C>
bool IsPathSep(C c)
{
  return c == '/';
}

/* Classifies the block at i: 1 for exactly "./", 2 for exactly "../",
 * 0 for anything else. */
template <typename C>
int DotBlock(const TKivPathSeq<C> &seq, unsigned int i)
{
  if (CPC(seq, i) != '.')
    return 0;
  if (IsPathSep(CPC(seq, i + 1)))
    return 1;
  if (CPC(seq, i + 1) == '.' && IsPathSep(CPC(seq, i + 2)))
    return 2;
  return 0;
}

template <typename C>
unsigned int Path(C *dst, unsigned int cap, const C *base, const C *rel)
{
  if (base && base[0] == 0)
    base = 0;
  if (rel && rel[0] == 0)
    rel = 0;
  /* A drive-absolute rel ("D:\dir") does not build on the base. */
  if (rel && rel[1] == ':' && rel[2] == '\\')
    base = 0;
  if (base && HasFilePrefix(base))
    base += 7;
  if (rel && HasFilePrefix(rel))
    rel += 7;

  TKivPathSeq<C> seq;
  seq.base = base;
  seq.baseLen = MeasureLen(base);
  seq.rel = rel;
  seq.relLen = MeasureLen(rel);
  /* Both present: one '/' joins them.  Base alone: the element in front
     * of base would decide, but it lies outside the caller's string (after
     * a stripped "file://" it is '/', which does not count): no '/'. */
  seq.sep = (base && rel) ? 1 : 0;

  TextOut<C> out(dst, cap);
  if (seq.baseLen > 0x7FFFFFFEu || seq.relLen > 0x7FFFFFFEu)
  {
    if (cap > 0 && dst)
      dst[0] = 0;
    return 0xFFFFFFFFu;
  }
  const unsigned int total = seq.baseLen + seq.relLen;
  const unsigned int end = total + seq.sep;
  bool reported = false;

  unsigned int pos = 0;
  while (pos < total)
  {
    /* Look ahead: does everything from pos on cancel out? */
    unsigned int q = pos;
    int balance = 0;
    bool emit = false;
    for (;;)
    {
      int kind = DotBlock(seq, q);
      if (kind == 2)
      {
        balance--;
      }
      else if (kind == 0)
      {
        if (CPC(seq, q) == '.' && !reported)
        {
          /* A name such as ".profile", "..." or a final "." or
                     * "..": callers are not meant to pass one.  Say so
                     * once, then treat it as an ordinary name. */
          fprintf(stderr, "%s:%u: failed assertion `%s'\n", kAssertFile, kAssertLine, "false");
          reported = true;
        }
        balance++;
      }
      unsigned int next = StrNextPathBlock(seq, q);
      if (next <= q || next > end)
      {
        /* Cannot happen: every block holds at least one element
                 * and the stepper stops at the end.  End the look-ahead. */
        next = end;
      }
      q = next;
      if (balance == 0)
      {
        pos = q;
        break;
      }
      if (q >= end || balance < 0)
      {
        emit = true;
        break;
      }
    }
    if (!emit)
      continue;
    /* Emit the block at pos: its name, then one '/' for its run. */
    while (pos < end && !IsPathSep(CPC(seq, pos)))
    {
      out.PutOne(CPC(seq, pos));
      pos++;
    }
    if (pos < end)
    {
      out.PutOne((C)'/');
      while (pos < end && IsPathSep(CPC(seq, pos)))
        pos++;
    }
  }
  return out.Finish();
}

} /* namespace */

/* ------------------------------------------------------------------ */
/* templates of the public header                                     */

template <typename C>
C CPC(const TKivPathSeq<C> &seq, unsigned int i)
{
  C c;
  if (i < seq.baseLen)
    c = seq.base[i];
  else if (i - seq.baseLen < seq.sep)
    c = '/';
  else if (i - seq.baseLen - seq.sep < seq.relLen)
    c = seq.rel[i - seq.baseLen - seq.sep];
  else
    c = 0;
  return c == '\\' ? (C)'/' : c;
}

template <typename C>
unsigned int StrNextPathBlock(const TKivPathSeq<C> &seq, unsigned int i)
{
  unsigned int end = seq.baseLen + seq.sep + seq.relLen;
  while (i < end && CPC(seq, i) != '/')
    i++;
  while (i < end && CPC(seq, i) == '/')
    i++;
  return i;
}

template <typename C>
unsigned int TKivStrTrimLeft(C *s, unsigned int len)
{
  if (!s)
    return 0;
  bool measured = false;
  if (len == kNoLength)
  {
    len = MeasureLen(s);
    measured = true;
  }
  unsigned int count = 0;
  while (count < len && IsBlank(s[count]))
    count++;
  if (count == 0)
    return 0;
  size_t keep = (size_t)(len - count) + (measured ? 1 : 0);
  memmove(s, s + count, keep * sizeof(C));
  return count;
}

template <typename C>
unsigned int TKivStrTrimRight(C *s, unsigned int len)
{
  if (!s)
    return 0;
  bool measured = false;
  if (len == kNoLength)
  {
    len = MeasureLen(s);
    measured = true;
  }
  unsigned int count = 0;
  while (count < len && IsBlank(s[len - 1 - count]))
    count++;
  if (measured && count > 0)
  {
    /* An all-blank string keeps its first element. */
    unsigned int at = len - count;
    s[at == 0 ? 1 : at] = 0;
  }
  return count;
}

template char CPC<char>(const TKivPathSeq<char> &, unsigned int);
template wchar_t CPC<wchar_t>(const TKivPathSeq<wchar_t> &, unsigned int);
template unsigned int StrNextPathBlock<char>(const TKivPathSeq<char> &, unsigned int);
template unsigned int StrNextPathBlock<wchar_t>(const TKivPathSeq<wchar_t> &, unsigned int);
template unsigned int TKivStrTrimLeft<char>(char *, unsigned int);
template unsigned int TKivStrTrimLeft<wchar_t>(wchar_t *, unsigned int);
template unsigned int TKivStrTrimRight<char>(char *, unsigned int);
template unsigned int TKivStrTrimRight<wchar_t>(wchar_t *, unsigned int);

/* ------------------------------------------------------------------ */
/* the exported overloads                                             */

namespace {

/* Trims both ends: right first (counting only), then left over what is
 * left, then one terminator when the length was measured. */
template <typename C>
unsigned int Trim(C *s, unsigned int len)
{
  if (!s)
    return 0;
  bool measured = false;
  if (len == kNoLength)
  {
    len = MeasureLen(s);
    measured = true;
  }
  unsigned int r = TKivStrTrimRight(s, len);
  unsigned int l = TKivStrTrimLeft(s, len - r);
  if (measured && r + l > 0)
    s[len - (r + l)] = 0;
  return r + l;
}

} /* namespace */

int KivStrSet(char *dst, unsigned int cap, const char *src)
{
  return SetN(dst, cap, src, kNoLength);
}
int KivStrSet(wchar_t *dst, unsigned int cap, const wchar_t *src)
{
  return SetN(dst, cap, src, kNoLength);
}
int KivStrSet(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return SetN(dst, cap, src, n);
}
int KivStrSet(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return SetN(dst, cap, src, n);
}
int KivStrSetLE(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return SetLE(dst, cap, src, n);
}
int KivStrSetLE(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return SetLE(dst, cap, src, n);
}
int KivStrCat(char *dst, unsigned int cap, const char *src)
{
  return CatN(dst, cap, src, kNoLength);
}
int KivStrCat(wchar_t *dst, unsigned int cap, const wchar_t *src)
{
  return CatN(dst, cap, src, kNoLength);
}
int KivStrCat(char *dst, unsigned int cap, const char *src, unsigned int n)
{
  return CatN(dst, cap, src, n);
}
int KivStrCat(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n)
{
  return CatN(dst, cap, src, n);
}

unsigned int KivStrInsert(char *dst, unsigned int cap, const char *src, unsigned int srcLen, unsigned int pos,
                          const char *ins, unsigned int insLen)
{
  return Insert(dst, cap, src, srcLen, pos, ins, insLen);
}

unsigned int KivStrInsert(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int srcLen,
                          unsigned int pos, const wchar_t *ins, unsigned int insLen)
{
  return Insert(dst, cap, src, srcLen, pos, ins, insLen);
}

unsigned int KivStrRemove(char *dst, unsigned int cap, const char *src, unsigned int srcLen, unsigned int pos,
                          unsigned int count)
{
  return Remove(dst, cap, src, srcLen, pos, count);
}

unsigned int KivStrRemove(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int srcLen,
                          unsigned int pos, unsigned int count)
{
  return Remove(dst, cap, src, srcLen, pos, count);
}

unsigned int KivStrReplace(char *dst, unsigned int cap, const char *src, unsigned int srcLen, const char *find,
                           unsigned int findLen, const char *repl, unsigned int replLen)
{
  return Replace(dst, cap, src, srcLen, find, findLen, repl, replLen);
}

unsigned int KivStrReplace(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int srcLen,
                           const wchar_t *find, unsigned int findLen, const wchar_t *repl, unsigned int replLen)
{
  return Replace(dst, cap, src, srcLen, find, findLen, repl, replLen);
}

unsigned int KivStrTrimLeft(char *s, unsigned int len)
{
  return TKivStrTrimLeft(s, len);
}
unsigned int KivStrTrimLeft(wchar_t *s, unsigned int len)
{
  return TKivStrTrimLeft(s, len);
}
unsigned int KivStrTrimRight(char *s, unsigned int len)
{
  return TKivStrTrimRight(s, len);
}
unsigned int KivStrTrimRight(wchar_t *s, unsigned int len)
{
  return TKivStrTrimRight(s, len);
}
unsigned int KivStrTrim(char *s, unsigned int len)
{
  return Trim(s, len);
}
unsigned int KivStrTrim(wchar_t *s, unsigned int len)
{
  return Trim(s, len);
}

void KivStrLower(char *s, unsigned int len)
{
  CaseNarrow(s, len, false);
}
void KivStrLower(wchar_t *s, unsigned int len)
{
  CaseWide(s, len, false);
}
void KivStrUpper(char *s, unsigned int len)
{
  CaseNarrow(s, len, true);
}
void KivStrUpper(wchar_t *s, unsigned int len)
{
  CaseWide(s, len, true);
}

unsigned int KivStrPath(char *dst, unsigned int cap, const char *base, const char *rel)
{
  return Path(dst, cap, base, rel);
}

unsigned int KivStrPath(wchar_t *dst, unsigned int cap, const wchar_t *base, const wchar_t *rel)
{
  return Path(dst, cap, base, rel);
}

unsigned int KivStrGetXMLToken(char *dst, unsigned int cap, const char *text, const char *name)
{
  return GetXMLToken(dst, cap, text, name);
}

unsigned int KivStrGetXMLToken(wchar_t *dst, unsigned int cap, const wchar_t *text, const wchar_t *name)
{
  return GetXMLToken(dst, cap, text, name);
}
