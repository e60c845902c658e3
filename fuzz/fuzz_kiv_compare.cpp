/*
 * fuzz_kiv_compare.cpp - comparison, search and wildcard matching of
 * kivruntime.
 *
 * The first byte picks a family, the next bytes lengths and positions; the
 * rest is cut into two strings.  Each function is compared with a plain
 * restatement of its rules, narrow (in a UTF-8 locale, stepping by
 * character) and wide.  The wildcard matcher is compared with a small
 * backtracking matcher that follows the rules literally (memoised, so that
 * it stays fast whatever the pattern).
 *
 * Strings given with an explicit length sit in exactly-sized heap blocks
 * followed by one terminator: nothing past the terminator may be read
 * (narrow stepping may look at the terminator, never beyond it).
 */
#include <limits.h>
#include <locale.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

#include <map>
#include <string>
#include <vector>

#include "KivString_unix.h"
#include "fuzz_kiv_support.h"

static const unsigned int kAll = 0xFFFFFFFFu;
static const unsigned int kNotFound = 0xFFFFFFFFu;

/* ---- strings ---- */

/* A string in an exactly-sized block: its elements, then a terminator. */
template <typename C>
struct Str
{
  C *p;
  size_t n; /* elements before the final terminator (zeros may be among them) */

  explicit Str(const std::vector<C> &v)
      : p((C *)malloc((v.size() + 1) * sizeof(C))), n(v.size())
  {
    if (n)
      memcpy(p, v.data(), n * sizeof(C));
    p[n] = 0;
  }
  ~Str() { free(p); }
  Str(const Str &) = delete;
  Str &operator=(const Str &) = delete;

  /* Length up to the first zero. */
  size_t len() const { return fuzzBoundedLength(p, n); }
};

/* A copy of the first n elements of s in a block of exactly n elements,
   without a terminator: for functions that are given the length and must
   read nothing beyond it.  (Narrow functions that step by character may
   look at the terminator, so they get the terminated string instead.) */
template <typename C>
struct Bare
{
  C *p;
  explicit Bare(const Str<C> &s, size_t n)
      : p((C *)malloc(n ? n * sizeof(C) : 1))
  {
    if (n)
      memcpy(p, s.p, n * sizeof(C));
  }
  ~Bare() { free(p); }
  Bare(const Bare &) = delete;
  Bare &operator=(const Bare &) = delete;
};

template <typename C>
static const C *forStepping(const Str<C> &s, const Bare<C> &bare)
{
  return sizeof(C) == 1 ? s.p : bare.p;
}

/* ---- rules shared by the restatements ---- */

/* The step of a narrow walk: 1 below 0x80, else the locale's length, and 1
   for an invalid or cut-off sequence. */
static size_t step(const char *s)
{
  if ((unsigned char)*s < 0x80)
    return 1;
  int n = mblen(s, MB_CUR_MAX);
  return n < 1 ? 1 : (size_t)n;
}
static size_t step(const wchar_t *)
{
  return 1;
}

/* The folded value of an element: a sign-extended byte or a code point. */
static int64_t fold(char c)
{
  return (int32_t)towlower((wint_t)(int32_t)(signed char)c);
}
static int64_t fold(wchar_t c)
{
  return (int32_t)towlower((wint_t)c);
}

static int clampInt(int64_t d)
{
  return d > INT_MAX ? INT_MAX : d < INT_MIN ? INT_MIN
                                             : (int)d;
}

static int64_t raw(char c)
{
  return (signed char)c;
}
static int64_t raw(wchar_t c)
{
  return (int32_t)c;
}

template <typename C>
static int refICmpLE(const C *a, size_t la, const C *b, size_t lb)
{
  if (la == 0)
    return lb == 0 ? 0 : -1;
  if (lb == 0)
    return 1;
  size_t pa = 0, pb = 0;
  while (pa < la && pb < lb)
  {
    int64_t d = fold(a[pa]) - fold(b[pb]);
    if (d)
      return clampInt(d);
    pa += step(a + pa);
    pb += step(b + pb);
  }
  return (int)((unsigned int)la - (unsigned int)lb);
}

template <typename C>
static int refCmpLE(const C *a, size_t la, const C *b, size_t lb)
{
  size_t n = la < lb ? la : lb;
  for (size_t i = 0; i < n; i++)
    if (a[i] != b[i])
      return clampInt(raw(a[i]) - raw(b[i]));
  return la == lb ? 0 : la > lb ? 1
                                : -1;
}

/* Narrow case-insensitive equality and order, character by character. */
static int refNarrowICmp(const char *a, const char *b, bool equality)
{
  mbtowc(NULL, NULL, 0);
  while (*a)
  {
    if (!*b)
      break;
    wchar_t wa, wb;
    int la = mbtowc(&wa, a, 6), lb = mbtowc(&wb, b, 6);
    if (la > 0 && lb > 0)
    {
      int64_t d = (int64_t)(int32_t)towlower((wint_t)wa) - (int64_t)(int32_t)towlower((wint_t)wb);
      if (d)
        return equality ? 0 : clampInt(d);
    }
    else if (*a != *b)
      return equality ? 0 : 1;
    a += la > 0 ? la : 1;
    b += lb > 0 ? lb : 1;
  }
  if (equality)
    return *a == 0 && *b == 0;
  return (signed char)*a - (signed char)*b;
}

static int refWideICmp(const wchar_t *a, const wchar_t *b, bool equality)
{
  for (;; a++, b++)
  {
    if (!*a || !*b)
    {
      if (equality)
        return !*a && !*b;
      return !*a && !*b ? 0 : !*a ? 1
                                  : -1;
    }
    int64_t d = fold(*a) - fold(*b);
    if (d)
      return equality ? 0 : clampInt(d);
  }
}

static int refICmp(const char *a, const char *b, bool eq)
{
  return refNarrowICmp(a ? a : "", b ? b : "", eq);
}
static int refICmp(const wchar_t *a, const wchar_t *b, bool eq)
{
  return refWideICmp(a ? a : L"", b ? b : L"", eq);
}

template <typename C>
static size_t slen(const C *s)
{
  size_t n = 0;
  if (s)
    while (s[n])
      n++;
  return n;
}

static int sign(int v)
{
  return v > 0 ? 1 : v < 0 ? -1
                           : 0;
}

/* ---- families ---- */

template <typename C>
static void equality(const Str<C> &a, const Str<C> &b, unsigned int n)
{
  size_t la = a.len(), lb = b.len();

  FUZZ_CHECK(KivStrLen(a.p) == la && KivStrLen((const C *)NULL) == 0);
  bool same = la == lb && memcmp(a.p, b.p, la * sizeof(C)) == 0;
  FUZZ_CHECK(KivStrEq(a.p, b.p) == (same ? 1 : 0));
  FUZZ_CHECK(KivStrEq((const C *)NULL, b.p) == (lb == 0) && KivStrEq(a.p, (const C *)NULL) == (la == 0));
  FUZZ_CHECK(KivStrEq((const C *)NULL, (const C *)NULL) == 1);

  /* EqN: the null rules first, then the first n elements. */
  bool eqn = true;
  for (size_t i = 0; i < n; i++)
  {
    if (a.p[i] != b.p[i])
    {
      eqn = false;
      break;
    }
    if (!a.p[i])
      break;
  }
  FUZZ_CHECK(KivStrEqN(a.p, b.p, n) == (eqn ? 1 : 0));
  FUZZ_CHECK(KivStrEqN((const C *)NULL, b.p, n) == (lb == 0));
  FUZZ_CHECK(KivStrEqN(a.p, (const C *)NULL, n) == (la == 0));

  /* Explicit lengths (zeros inside count like any element). */
  size_t ea = a.n, eb = b.n;
  Bare<C> ba(a, ea), bb(b, eb);
  const C *sa = forStepping(a, ba), *sb = forStepping(b, bb);
  FUZZ_CHECK(KivStrEqLE(ba.p, (unsigned int)ea, bb.p, (unsigned int)eb) ==
             (ea == eb && memcmp(a.p, b.p, ea * sizeof(C)) == 0));
  FUZZ_CHECK(KivStrCmpLE(ba.p, (unsigned int)ea, bb.p, (unsigned int)eb) == refCmpLE(a.p, ea, b.p, eb));
  FUZZ_CHECK(KivStrICmpLE(sa, (unsigned int)ea, sb, (unsigned int)eb) == refICmpLE(a.p, ea, b.p, eb));
  FUZZ_CHECK(KivStrIEqLE(sa, (unsigned int)ea, sb, (unsigned int)eb) ==
             (ea == eb && refICmpLE(a.p, ea, b.p, eb) == 0));

  /* Case-insensitive, whole strings. */
  FUZZ_CHECK(KivStrIEq(a.p, b.p) == refICmp(a.p, b.p, true));
  FUZZ_CHECK(KivStrICmp(a.p, b.p) == refICmp(a.p, b.p, false));
  FUZZ_CHECK(KivStrIEq((const C *)NULL, b.p) == refICmp((const C *)NULL, b.p, true));
  FUZZ_CHECK(KivStrICmp(a.p, (const C *)NULL) == refICmp(a.p, (const C *)NULL, false));
  FUZZ_CHECK(KivStrIEq(a.p, a.p) == 1 && KivStrICmp(a.p, a.p) == 0);

  bool ieqn = la >= n && lb >= n && refICmpLE(a.p, n, b.p, n) == 0;
  FUZZ_CHECK(KivStrIEqN(a.p, b.p, n) == (ieqn ? 1 : 0));

  FUZZ_CHECK(sign(KivStrCmp(a.p, b.p)) == sign(sizeof(C) == 1 ? strcmp((const char *)a.p, (const char *)b.p)
                                                              : wcscmp((const wchar_t *)a.p, (const wchar_t *)b.p)));
}

template <typename C>
static void search(const Str<C> &h, const Str<C> &nd, FuzzInput &in)
{
  size_t lh = h.len(), ln = nd.len();

  /* Exact search, terminated strings and explicit lengths. */
  size_t want = kNotFound;
  for (size_t i = 0; i + ln <= lh; i++)
    if (memcmp(h.p + i, nd.p, ln * sizeof(C)) == 0)
    {
      want = i;
      break;
    }
  FUZZ_CHECK(KivStrPos(h.p, nd.p) == (unsigned int)want);
  FUZZ_CHECK(KivStrHas(h.p, nd.p) == (want != kNotFound));

  size_t eh = h.n, en = in.upTo(nd.n);
  want = en == 0 ? 0 : kNotFound;
  for (size_t i = 0; en && i + en <= eh; i++)
    if (memcmp(h.p + i, nd.p, en * sizeof(C)) == 0)
    {
      want = i;
      break;
    }
  Bare<C> bh(h, eh), bn(nd, en);
  FUZZ_CHECK(KivStrPosLE(bh.p, (unsigned int)eh, bn.p, (unsigned int)en) == (unsigned int)want);
  FUZZ_CHECK(TKivStrPosLE<C>(bh.p, (unsigned int)eh, bn.p, (unsigned int)en) == (unsigned int)want);

  /* Case-insensitive search, by the rules. */
  auto ipos = [](const C *hay, size_t lh2, const C *needle, size_t ln2) -> unsigned int {
    if (lh2 < ln2)
      return kNotFound;
    if (ln2 == 0)
      return 0;
    size_t off = 0;
    for (;;)
    {
      if (refICmpLE(hay + off, ln2, needle, ln2) == 0)
        return (unsigned int)off;
      off += step(hay + off);
      if (off > lh2 - ln2)
        return kNotFound;
    }
  };
  unsigned int iw = ipos(h.p, lh, nd.p, ln);
  FUZZ_CHECK(KivStrIPos(h.p, nd.p) == iw);
  FUZZ_CHECK(KivStrIHas(h.p, nd.p) == (iw != kNotFound));
  FUZZ_CHECK(KivStrIPos(h.p, (const C *)NULL) == 0);
  FUZZ_CHECK(KivStrIPos((const C *)NULL, nd.p) == (ln == 0 ? 0 : kNotFound));
  FUZZ_CHECK(KivStrIPosLE(forStepping(h, bh), (unsigned int)eh, forStepping(nd, bn), (unsigned int)en) ==
             ipos(h.p, eh, nd.p, en));

  /* Characters and sets. */
  C c = nd.n ? nd.p[0] : (C)0;
  size_t fw = kNotFound;
  if (c == 0)
    fw = lh;
  else
    for (size_t i = 0; i < lh; i++)
      if (h.p[i] == c)
      {
        fw = i;
        break;
      }
  FUZZ_CHECK(KivStrFind(h.p, c) == (unsigned int)fw);
  FUZZ_CHECK(KivStrFind((const C *)NULL, c) == kNotFound);

  auto inSet = [&](C e) {
    for (size_t k = 0; k < ln; k++)
      if (nd.p[k] == e)
        return true;
    return false;
  };
  size_t fc = kNotFound, fx = kNotFound;
  for (size_t i = 0; i < lh && fc == kNotFound; i++)
    if (inSet(h.p[i]))
      fc = i;
  for (size_t i = 0; i < lh && fx == kNotFound; i++)
    if (!inSet(h.p[i]))
      fx = i;
  FUZZ_CHECK(KivStrFindChars(h.p, nd.p) == (unsigned int)fc);
  FUZZ_CHECK(KivStrFindXChars(h.p, nd.p) == (unsigned int)fx);
  FUZZ_CHECK(KivStrFindChars((const C *)NULL, nd.p) == kNotFound && KivStrFindChars(h.p, (const C *)NULL) == kNotFound);
  FUZZ_CHECK(KivStrFindXChars((const C *)NULL, nd.p) == 0 && KivStrFindXChars(h.p, (const C *)NULL) == 0);

  /* Backward searches from a trusted position, or from the end. */
  bool fromEnd = in.u8() & 1;
  size_t from = in.upTo(lh);
  unsigned int f = fromEnd ? kAll : (unsigned int)from;
  size_t start = fromEnd ? lh : from;
  size_t rw = kNotFound;
  for (size_t i = start + 1; i-- > 0;)
    if (h.p[i] == c)
    {
      rw = i;
      break;
    }
  FUZZ_CHECK(KivStrRFind(h.p, c, f) == (unsigned int)rw);
  FUZZ_CHECK(KivStrRFind((const C *)NULL, c, f) == kNotFound);

  if (lh > 0)
  {
    size_t from2 = fromEnd ? lh - 1 : (from < lh ? from : lh - 1);
    unsigned int f2 = fromEnd ? kAll : (unsigned int)from2;
    size_t rc = kNotFound, rx = kNotFound;
    for (size_t i = from2 + 1; i-- > 0;)
    {
      if (rc == kNotFound && inSet(h.p[i]))
        rc = i;
      if (rx == kNotFound && !inSet(h.p[i]))
        rx = i;
    }
    FUZZ_CHECK(KivStrRFindChars(h.p, nd.p, f2) == (unsigned int)rc);
    FUZZ_CHECK(KivStrRFindXChars(h.p, nd.p, f2) == (unsigned int)rx);
  }
  else
  {
    FUZZ_CHECK(KivStrRFindChars(h.p, nd.p, kAll) == kNotFound);
    FUZZ_CHECK(KivStrRFindXChars(h.p, nd.p, kAll) == kNotFound);
  }
  FUZZ_CHECK(KivStrRFindChars(h.p, (const C *)NULL, kAll) == kNotFound);
  FUZZ_CHECK(KivStrRFindXChars((const C *)NULL, nd.p, kAll) == kNotFound);
}

/* The k-th string of a packed list, in a block of exactly size elements. */
template <typename C>
static void packedList(const std::vector<C> &v, unsigned int k)
{
  ExactBuffer<C> list(v.size());
  if (v.size())
    memcpy(list.p, v.data(), v.size() * sizeof(C));
  C empty[1] = {0};
  const C *base = v.size() ? list.p : empty;
  size_t size = v.size();

  size_t p = 0;
  unsigned int want = 0;
  for (unsigned int i = 0; i != k; i++)
  {
    size_t look = p > size || size == 0 ? 1 : size - p;
    size_t z = 0;
    bool found = false;
    if (!(p > size || size == 0))
      for (; z < look; z++)
        if (base[p + z] == 0)
        {
          found = true;
          break;
        }
    if (!found)
    {
      want = kNotFound;
      break;
    }
    p += z + 1;
    if (p >= size)
    {
      want = kNotFound;
      break;
    }
  }
  if (want != kNotFound)
    want = (unsigned int)p;
  FUZZ_CHECK(KivStrFindStringK(base, (unsigned int)size, k) == want);
  FUZZ_CHECK(KivStrFindStringK((const C *)NULL, (unsigned int)size, k) == kNotFound);
}

template <typename C>
static void affixes(const Str<C> &s, const Str<C> &x, FuzzInput &in)
{
  size_t ls = s.len(), lx = x.len();

  /* StartsWith: EqN with the prefix's length (or the one given). */
  unsigned int lp = (in.u8() & 1) ? kAll : (unsigned int)in.upTo(lx + 2);
  unsigned int n = lp == kAll ? (unsigned int)lx : lp;
  FUZZ_CHECK(KivStrStartsWith(s.p, x.p, lp) == KivStrEqN(s.p, x.p, n));
  FUZZ_CHECK(KivStrStartsWith(s.p, (const C *)NULL, kAll) == (ls == 0));
  FUZZ_CHECK(KivStrIStartsWith(s.p, x.p, lp) ==
             (ls >= n && lx >= n && refICmpLE(s.p, n, x.p, n) == 0));

  /* EndsWith: the tail from ls - lx, compared to the terminators. */
  unsigned int es = (in.u8() & 1) ? kAll : (unsigned int)in.upTo(ls);
  unsigned int ex = (in.u8() & 1) ? kAll : (unsigned int)in.upTo(lx);
  size_t rs = es == kAll ? ls : es, rx = ex == kAll ? lx : ex;
  int want = 0, iwant = 0;
  if (rs >= rx)
  {
    const C *tail = s.p + rs - rx;
    want = slen(tail) == lx && memcmp(tail, x.p, lx * sizeof(C)) == 0;
    iwant = refICmp(tail, x.p, true);
  }
  FUZZ_CHECK(KivStrEndsWith(s.p, x.p, es, ex) == want);
  FUZZ_CHECK(KivStrIEndsWith(s.p, x.p, es, ex) == iwant);
  FUZZ_CHECK(KivStrEndsWith(s.p, (const C *)NULL, es, kAll) == (slen(s.p + rs) == 0));
}

/* ---- wildcards ---- */

template <typename C>
struct WildRef
{
  const C *str, *pat;
  size_t strEnd, patEnd;
  bool caseSensitive;
  std::map<std::pair<size_t, size_t>, bool> memo;

  bool match(size_t s, size_t p)
  {
    auto key = std::make_pair(s, p);
    auto it = memo.find(key);
    if (it != memo.end())
      return it->second;
    bool r = run(s, p);
    memo[key] = r;
    return r;
  }

  bool run(size_t s, size_t p)
  {
    while (p < patEnd)
    {
      C c = pat[p];
      if (c == (C)'*')
      {
        while (p < patEnd && pat[p] == (C)'*')
          p += step(pat + p);
        if (p >= patEnd)
          return true;
        for (size_t t = s; t < strEnd; t += step(str + t))
          if (match(t, p))
            return true;
        return false;
      }
      /* No character here: the end of the string, or past it after a
         character that ran over the explicit length. */
      if (s >= strEnd)
        return false;
      if (c != (C)'?' && c != str[s])
      {
        if (caseSensitive || fold(c) != fold(str[s]))
          return false;
      }
      s += step(str + s);
      p += step(pat + p);
    }
    return s == strEnd && p == patEnd;
  }
};

template <typename C>
static void wildcard(const Str<C> &s, const Str<C> &p, FuzzInput &in)
{
  bool explicitS = in.u8() & 1, explicitP = in.u8() & 1;
  size_t ls = explicitS ? s.n : s.len(), lp = explicitP ? p.n : p.len();
  unsigned int as = explicitS ? (unsigned int)ls : kAll, ap = explicitP ? (unsigned int)lp : kAll;

  for (int cs = 0; cs < 2; cs++)
  {
    WildRef<C> ref = {s.p, p.p, ls, lp, cs == 1, {}};
    int want = ref.match(0, 0) ? 1 : 0;
    FUZZ_CHECK_MSG(TStrWildcardMatch<C>(s.p, as, p.p, ap, cs) == want, "wildcard match differs from the rules");
    if (cs)
      FUZZ_CHECK(KivStrWildcardMatch(s.p, as, p.p, ap) == want);
    else
      FUZZ_CHECK(KivStrWildcardMatchNoCase(s.p, as, p.p, ap) == want);
  }
}

/* ---- inputs ---- */

/* Narrow strings made likely to hold UTF-8 sequences, case pairs and
   wildcards: bytes with the top bit set pick from a small alphabet. */
static std::string shape(const std::string &s)
{
  static const char *const pieces[] = {"*", "?", "a", "A", "\xC3\xA9", "\xC3\x89", "\xE2\x82\xAC", "\xC3",
                                       "\x80", "\xF0\x9F\x98\x80", "\xC8\xBF", "\xE2\xB1\xBE", "z", "Z", "/", "\0"};
  std::string out;
  for (unsigned char c : s)
  {
    if (c & 0x80)
    {
      const char *p = pieces[c & 15];
      out += (c & 15) == 15 ? std::string(1, '\0') : std::string(p);
    }
    else
      out.push_back((char)c);
  }
  return out;
}

static std::vector<wchar_t> wideShape(const std::string &s)
{
  static const wchar_t pieces[] = {L'*', L'?', L'a', L'A', 0xE9, 0xC9, 0x20AC, 0x1F600, 0x23F, 0x2C7E,
                                   (wchar_t)0x80000041, 0x10FFFF, L'z', L'Z', 0x130, 0};
  std::vector<wchar_t> out;
  for (size_t i = 0; i < s.size(); i++)
  {
    unsigned char c = (unsigned char)s[i];
    out.push_back((c & 0x80) ? pieces[c & 15] : (wchar_t)c);
  }
  return out;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
  if (!setlocale(LC_ALL, "C.UTF-8"))
    setlocale(LC_ALL, "C");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t which = in.u8();
  bool wide = which & 0x80;
  std::string a = in.piece();
  std::string b = in.piece();
  unsigned int n = (unsigned int)in.upTo(40);

  switch (which % 5)
  {
    case 0:
      if (wide)
        equality<wchar_t>(Str<wchar_t>(wideShape(a)), Str<wchar_t>(wideShape(b)), n);
      else
      {
        std::string x = shape(a), y = shape(b);
        equality<char>(Str<char>(std::vector<char>(x.begin(), x.end())), Str<char>(std::vector<char>(y.begin(), y.end())), n);
      }
      break;
    case 1:
      if (wide)
        search<wchar_t>(Str<wchar_t>(wideShape(a)), Str<wchar_t>(wideShape(b)), in);
      else
      {
        std::string x = shape(a), y = shape(b);
        search<char>(Str<char>(std::vector<char>(x.begin(), x.end())), Str<char>(std::vector<char>(y.begin(), y.end())), in);
      }
      break;
    case 2:
      if (wide)
        packedList<wchar_t>(wideShape(a), n);
      else
        packedList<char>(std::vector<char>(a.begin(), a.end()), n);
      break;
    case 3:
      if (wide)
        affixes<wchar_t>(Str<wchar_t>(wideShape(a)), Str<wchar_t>(wideShape(b)), in);
      else
      {
        std::string x = shape(a), y = shape(b);
        affixes<char>(Str<char>(std::vector<char>(x.begin(), x.end())), Str<char>(std::vector<char>(y.begin(), y.end())), in);
      }
      break;
    default:
      if (wide)
        wildcard<wchar_t>(Str<wchar_t>(wideShape(a)), Str<wchar_t>(wideShape(b)), in);
      else
      {
        std::string x = shape(a), y = shape(b);
        wildcard<char>(Str<char>(std::vector<char>(x.begin(), x.end())), Str<char>(std::vector<char>(y.begin(), y.end())), in);
      }
      break;
  }
  return 0;
}
