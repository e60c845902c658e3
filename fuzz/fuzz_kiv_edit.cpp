/*
 * fuzz_kiv_edit.cpp - editing, trimming, case conversion, paths and XML
 * attribute values of kivruntime.
 *
 * The first byte picks a family (and narrow or wide), the next bytes the
 * capacity, lengths and positions; the rest is cut into strings.  Every
 * function is compared with a plain restatement of its rules and run into
 * exactly-sized destinations and guarded ones; sources given with an
 * explicit count sit in blocks of exactly that many elements, so reading
 * past the count is caught.  In-place forms (Insert and Remove with dst ==
 * src, trimming, case conversion) are checked against the same rules.
 * KivStrPath has no restatement here; it is checked as a bounded writer
 * (capacity, measuring, truncation, guards) with a few properties of its
 * output, and must end on every input.
 */
#include <locale.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>
#include <wctype.h>

#include <string>
#include <vector>

#include "KivString_unix.h"
#include "fuzz_kiv_support.h"

static const unsigned int kAll = 0xFFFFFFFFu;

/* The library's assertion line for path names it does not handle goes to
   stderr; it is not looked at here. */
static FILE *g_devnull;

template <typename C>
static size_t slen(const C *s)
{
  size_t n = 0;
  if (s)
    while (s[n])
      n++;
  return n;
}

static bool isWhite(uint32_t c)
{
  return c == ' ' || (c >= 9 && c <= 13);
}

/* A copy of v in an exactly-sized block, with or without a terminator. */
template <typename C>
static ExactBuffer<C> *block(const std::vector<C> &v, bool terminated)
{
  ExactBuffer<C> *b = new ExactBuffer<C>(v.size() + (terminated ? 1 : 0));
  if (v.size())
    memcpy(b->p, v.data(), v.size() * sizeof(C));
  if (terminated)
    b->p[v.size()] = 0;
  return b;
}

/* Runs f(dst) on an exactly-sized and on a guarded destination of cap
   elements, both starting as `start` (markers after it); checks that both
   agree and no guard was touched; returns the result and the content. */
template <typename C, typename F>
static int runOn(F f, size_t cap, const std::vector<C> &start, std::vector<C> *content)
{
  ExactBuffer<C> exact(cap);
  GuardedBuffer<C> guarded(cap, fuzzMarker<C>());
  for (size_t i = 0; i < start.size() && i < cap; i++)
    exact.p[i] = guarded.data()[i] = start[i];
  int r1 = (int)f(exact.p, (unsigned int)cap);
  int r2 = (int)f(guarded.data(), (unsigned int)cap);
  FUZZ_CHECK(r1 == r2 && guarded.guardsIntact());
  FUZZ_CHECK(cap == 0 || memcmp(exact.p, guarded.data(), cap * sizeof(C)) == 0);
  content->assign(guarded.store.begin(), guarded.store.begin() + (ptrdiff_t)cap);
  return r1;
}

/* The buffer after a copy of want[0..k) and a terminator; the rest untouched. */
template <typename C>
static void expectCopy(const std::vector<C> &got, const std::vector<C> &before, const std::vector<C> &want,
                       size_t at, size_t k)
{
  for (size_t i = 0; i < got.size(); i++)
  {
    C e;
    if (i < at)
      e = i < before.size() ? before[i] : fuzzMarker<C>();
    else if (i < at + k)
      e = want[i - at];
    else if (i == at + k)
      e = 0;
    else
      e = i < before.size() ? before[i] : fuzzMarker<C>();
    FUZZ_CHECK_MSG(got[i] == e, "the destination is not what the copy leaves");
  }
}

/* ---- bounded copy and append ---- */

template <typename C>
static void copies(const std::vector<C> &text, const std::vector<C> &prefix, FuzzInput &in)
{
  size_t cap = in.upTo(text.size() + 8);
  size_t len = slen(text.data()); /* text is terminated */
  std::vector<C> got, none;

  /* KivStrSet(dst, cap, src). */
  int r = runOn<C>([&](C *d, unsigned int c) { return KivStrSet(d, c, text.data()); }, cap, none, &got);
  if (cap == 0)
    FUZZ_CHECK(r == 0);
  else
  {
    size_t k = len < cap - 1 ? len : cap - 1;
    FUZZ_CHECK(r == (k == len ? 1 : 0));
    expectCopy(got, none, text, 0, k);
  }
  FUZZ_CHECK(KivStrSet((C *)NULL, (unsigned int)cap, text.data()) == 0);
  C one[2] = {(C)'x', (C)'y'};
  FUZZ_CHECK(KivStrSet(one, 2, (const C *)NULL) == 1 && one[0] == 0 && one[1] == (C)'y');

  /* KivStrSet(dst, cap, src, n), the source ending after n elements. */
  size_t n = in.upTo(text.size());
  std::vector<C> head(text.begin(), text.begin() + (ptrdiff_t)n);
  ExactBuffer<C> *src = block(head, false);
  r = runOn<C>([&](C *d, unsigned int c) { return KivStrSet(d, c, src->p, (unsigned int)n); }, cap, none, &got);
  size_t upTo = slen(text.data()) < n ? slen(text.data()) : n;
  if (cap == 0)
    FUZZ_CHECK(r == 0);
  else
  {
    size_t k = upTo < cap - 1 ? upTo : cap - 1;
    FUZZ_CHECK(r == (k == upTo ? 1 : 0));
    expectCopy(got, none, head, 0, k);
  }

  /* KivStrSetLE: exactly n elements, zeros included. */
  r = runOn<C>([&](C *d, unsigned int c) { return KivStrSetLE(d, c, src->p, (unsigned int)n); }, cap, none, &got);
  if (cap == 0)
    FUZZ_CHECK(r == 0);
  else
  {
    size_t k = n < cap - 1 ? n : cap - 1;
    FUZZ_CHECK(r == (k == n ? 1 : 0));
    expectCopy(got, none, head, 0, k);
  }
  r = runOn<C>([&](C *d, unsigned int c) { return KivStrSetLE(d, c, text.data(), kAll); }, cap, none, &got);
  FUZZ_CHECK(cap == 0 ? r == 0 : r == (len <= cap - 1 ? 1 : 0));

  /* KivStrCat onto what is already in the destination. */
  std::vector<C> before(prefix);
  size_t have = fuzzBoundedLength(before.data(), before.size() < cap ? before.size() : cap);
  if (before.size() > cap)
    before.resize(cap);
  r = runOn<C>([&](C *d, unsigned int c) { return KivStrCat(d, c, text.data()); }, cap, before, &got);
  if (have >= cap)
  {
    FUZZ_CHECK(r == 0);
    for (size_t i = 0; i < cap; i++)
      FUZZ_CHECK(got[i] == (i < before.size() ? before[i] : fuzzMarker<C>()));
  }
  else
  {
    size_t room = cap - have;
    size_t k = len < room - 1 ? len : room - 1;
    FUZZ_CHECK(r == (k == len ? 1 : 0));
    expectCopy(got, before, text, have, k);
  }
  r = runOn<C>([&](C *d, unsigned int c) { return KivStrCat(d, c, src->p, (unsigned int)n); }, cap, before, &got);
  if (have >= cap)
    FUZZ_CHECK(r == 0);
  else
  {
    size_t room = cap - have;
    size_t k = upTo < room - 1 ? upTo : room - 1;
    FUZZ_CHECK(r == (k == upTo ? 1 : 0));
    expectCopy(got, before, head, have, k);
  }
  FUZZ_CHECK(KivStrCat((C *)NULL, (unsigned int)cap, text.data()) == 0);
  delete src;
}

/* ---- insertion, removal, replacement ---- */

template <typename C>
static void inserts(const std::vector<C> &a, const std::vector<C> &b, FuzzInput &in)
{
  /* a and b are terminated; lengths as measured or given. */
  size_t la = slen(a.data()), lb = slen(b.data());
  size_t pos = in.upTo(la + 3), count = in.upTo(la + 3);
  size_t cap = in.upTo(la + lb + 4);
  bool measure = in.u8() & 1;
  unsigned int sa = measure ? kAll : (unsigned int)la, sb = measure ? kAll : (unsigned int)lb;

  /* Insert. */
  size_t p = pos < la ? pos : la;
  std::vector<C> want(a.begin(), a.begin() + (ptrdiff_t)p);
  want.insert(want.end(), b.begin(), b.begin() + (ptrdiff_t)lb);
  want.insert(want.end(), a.begin() + (ptrdiff_t)p, a.begin() + (ptrdiff_t)la);
  std::vector<C> got, none;
  int r = runOn<C>([&](C *d, unsigned int c) { return KivStrInsert(d, c, a.data(), sa, (unsigned int)pos, b.data(), sb); },
                   cap, none, &got);
  if (cap < la + lb + 1)
  {
    FUZZ_CHECK((size_t)r == la + lb + 1);
    for (C e : got)
      FUZZ_CHECK(e == fuzzMarker<C>());
  }
  else
  {
    FUZZ_CHECK((size_t)r == la + lb);
    expectCopy(got, none, want, 0, want.size());
  }

  /* In place: dst == src, with room for the result. */
  {
    std::vector<C> buf(a.begin(), a.begin() + (ptrdiff_t)la + 1);
    buf.resize(la + lb + 1, fuzzMarker<C>());
    ExactBuffer<C> place(buf.size());
    memcpy(place.p, buf.data(), buf.size() * sizeof(C));
    FUZZ_CHECK(KivStrInsert(place.p, (unsigned int)buf.size(), place.p, sa, (unsigned int)pos, b.data(), sb) == la + lb);
    FUZZ_CHECK((want.empty() || memcmp(place.p, want.data(), want.size() * sizeof(C)) == 0) &&
               place.p[want.size()] == 0);
  }

  /* Remove. */
  size_t k = la - p < count ? la - p : count;
  std::vector<C> rem(a.begin(), a.begin() + (ptrdiff_t)p);
  rem.insert(rem.end(), a.begin() + (ptrdiff_t)(p + k), a.begin() + (ptrdiff_t)la);
  r = runOn<C>([&](C *d, unsigned int c) { return KivStrRemove(d, c, a.data(), sa, (unsigned int)pos, (unsigned int)count); },
               cap, none, &got);
  if (cap < rem.size() + 1)
  {
    FUZZ_CHECK((size_t)r == rem.size() + 1);
    for (C e : got)
      FUZZ_CHECK(e == fuzzMarker<C>());
  }
  else
  {
    FUZZ_CHECK((size_t)r == rem.size());
    expectCopy(got, none, rem, 0, rem.size());
  }
  {
    ExactBuffer<C> place(la + 1);
    memcpy(place.p, a.data(), (la + 1) * sizeof(C));
    FUZZ_CHECK(KivStrRemove(place.p, (unsigned int)(la + 1), place.p, sa, (unsigned int)pos, (unsigned int)count) == rem.size());
    FUZZ_CHECK((rem.empty() || memcmp(place.p, rem.data(), rem.size() * sizeof(C)) == 0) &&
               place.p[rem.size()] == 0);
  }
}

template <typename C>
static void replaces(const std::vector<C> &src, const std::vector<C> &find,
                     const std::vector<C> &repl, FuzzInput &in)
{
  size_t cap = in.upTo(src.size() * 4 + 8);
  bool measure = in.u8() & 1;
  size_t ls = slen(src.data()), lf = slen(find.data()), lr = slen(repl.data());

  /* The pieces: text before each occurrence, the replacement, the rest. */
  Items<C> items;
  size_t at = 0;
  if (lf > 0)
    for (;;)
    {
      size_t hit = (size_t)-1;
      for (size_t i = at; i + lf <= ls; i++)
        if (memcmp(src.data() + i, find.data(), lf * sizeof(C)) == 0)
        {
          hit = i;
          break;
        }
      if (hit == (size_t)-1 || at >= ls)
        break;
      items.add(src.data() + at, hit - at);
      items.add(repl.data(), lr);
      at = hit + lf;
    }
  items.add(src.data() + at, ls - at);

  ExactBuffer<C> *s = block(std::vector<C>(src.begin(), src.begin() + (ptrdiff_t)ls), !measure);
  ExactBuffer<C> *f = block(std::vector<C>(find.begin(), find.begin() + (ptrdiff_t)lf), !measure);
  ExactBuffer<C> *r = block(std::vector<C>(repl.begin(), repl.begin() + (ptrdiff_t)lr), !measure);
  const C *sp = measure ? src.data() : s->p;
  const C *fp = measure ? find.data() : f->p;
  const C *rp = measure ? repl.data() : r->p;
  unsigned int n1 = measure ? kAll : (unsigned int)ls, n2 = measure ? kAll : (unsigned int)lf,
               n3 = measure ? kAll : (unsigned int)lr;
  checkWriter<C>([&](C *d, unsigned int c) { return KivStrReplace(d, c, sp, n1, fp, n2, rp, n3); }, cap, CUT_ITEMS,
                 &items);
  delete s;
  delete f;
  delete r;
}

/* ---- trimming and case ---- */

template <typename C>
static void trims(const std::vector<C> &text, FuzzInput &in)
{
  size_t len = slen(text.data());
  size_t explicitLen = in.upTo(len);
  size_t lead = 0, trail = 0;

  /* Measured forms. */
  for (int which = 0; which < 3; which++)
  {
    ExactBuffer<C> s(len + 1);
    memcpy(s.p, text.data(), (len + 1) * sizeof(C));
    lead = 0;
    while (lead < len && isWhite((uint32_t)s.p[lead]))
      lead++;
    trail = 0;
    while (trail < len && isWhite((uint32_t)s.p[len - 1 - trail]))
      trail++;
    std::vector<C> want;
    unsigned int r;
    if (which == 0)
    {
      r = KivStrTrimLeft(s.p, kAll);
      FUZZ_CHECK(r == lead && TKivStrTrimLeft<C>(s.p, 0) == 0);
      want.assign(text.begin() + (ptrdiff_t)lead, text.begin() + (ptrdiff_t)len);
    }
    else if (which == 1)
    {
      r = KivStrTrimRight(s.p, kAll);
      FUZZ_CHECK(r == trail);
      size_t keep = len - trail;
      if (trail == len && len > 0)
        keep = 1; /* an all-blank string keeps its first element */
      want.assign(text.begin(), text.begin() + (ptrdiff_t)keep);
    }
    else
    {
      r = KivStrTrim(s.p, kAll);
      size_t total = trail == len ? len : lead + trail;
      FUZZ_CHECK(r == total);
      if (trail == len)
        want.clear();
      else
        want.assign(text.begin() + (ptrdiff_t)lead, text.begin() + (ptrdiff_t)(len - trail));
    }
    FUZZ_CHECK_MSG((want.empty() || memcmp(s.p, want.data(), want.size() * sizeof(C)) == 0) &&
                     s.p[want.size()] == 0,
                   "trimmed text differs");
  }

  /* Explicit lengths: nothing beyond them is read or written. */
  {
    std::vector<C> part(text.begin(), text.begin() + (ptrdiff_t)explicitLen);
    size_t l = 0, t = 0;
    while (l < explicitLen && isWhite((uint32_t)part[l]))
      l++;
    while (t < explicitLen && isWhite((uint32_t)part[explicitLen - 1 - t]))
      t++;

    ExactBuffer<C> s(explicitLen);
    if (explicitLen)
      memcpy(s.p, part.data(), explicitLen * sizeof(C));
    FUZZ_CHECK(KivStrTrimRight(s.p, (unsigned int)explicitLen) == t);
    FUZZ_CHECK(explicitLen == 0 || memcmp(s.p, part.data(), explicitLen * sizeof(C)) == 0);
    FUZZ_CHECK(KivStrTrimLeft(s.p, (unsigned int)explicitLen) == l);
    for (size_t i = 0; i < explicitLen - l; i++)
      FUZZ_CHECK(s.p[i] == part[l + i]);
    for (size_t i = explicitLen - l; i < explicitLen; i++)
      FUZZ_CHECK(s.p[i] == part[i]);

    if (explicitLen)
      memcpy(s.p, part.data(), explicitLen * sizeof(C));
    unsigned int r = KivStrTrim(s.p, (unsigned int)explicitLen);
    size_t total = t == explicitLen ? explicitLen : l + t;
    FUZZ_CHECK(r == total);
    for (size_t i = 0; i < explicitLen - total; i++)
      FUZZ_CHECK(s.p[i] == part[l + i]);
  }
}

static void caseNarrow(const std::vector<char> &text, FuzzInput &in)
{
  size_t len = slen(text.data());
  bool measure = in.u8() & 1;
  size_t n = measure ? len : in.upTo(len);

  for (int upper = 0; upper < 2; upper++)
  {
    std::vector<char> want(text.begin(), text.begin() + (ptrdiff_t)n);
    mbtowc(NULL, NULL, 0);
    for (size_t i = 0; i < n;)
    {
      wchar_t wc;
      size_t room = n - i < 6 ? n - i : 6;
      int r = mbtowc(&wc, want.data() + i, room);
      if (r <= 0)
      {
        i++;
        continue;
      }
      wchar_t other = (wchar_t)(upper ? towupper((wint_t)wc) : towlower((wint_t)wc));
      char buf[16];
      int m = wctomb(buf, other);
      /* A form no longer than the character is written over its start;
         a longer one leaves the character alone. */
      if (m > 0 && m <= r)
        memcpy(want.data() + i, buf, (size_t)m);
      i += (size_t)r;
    }

    /* Measured: the string and its terminator; explicit: exactly n bytes. */
    ExactBuffer<char> s(measure ? len + 1 : n ? n
                                              : 1);
    memcpy(s.p, text.data(), measure ? len + 1 : n ? n
                                                   : 1);
    if (upper)
      KivStrUpper(s.p, measure ? kAll : (unsigned int)n);
    else
      KivStrLower(s.p, measure ? kAll : (unsigned int)n);
    FUZZ_CHECK_MSG(n == 0 || memcmp(s.p, want.data(), n) == 0, "case conversion differs");
    if (measure)
      FUZZ_CHECK(s.p[len] == 0);
  }
}

static void caseWide(const std::vector<wchar_t> &text, FuzzInput &in)
{
  size_t len = slen(text.data());
  bool measure = in.u8() & 1;
  size_t n = measure ? len : in.upTo(len);

  for (int upper = 0; upper < 2; upper++)
  {
    ExactBuffer<wchar_t> s(measure ? len + 1 : n ? n
                                                 : 1);
    memcpy(s.p, text.data(), (measure ? len + 1 : n ? n
                                                    : 1) *
                               sizeof(wchar_t));
    if (upper)
      KivStrUpper(s.p, measure ? kAll : (unsigned int)n);
    else
      KivStrLower(s.p, measure ? kAll : (unsigned int)n);
    for (size_t i = 0; i < n; i++)
    {
      wchar_t want = (wchar_t)(upper ? towupper((wint_t)text[i]) : towlower((wint_t)text[i]));
      FUZZ_CHECK_MSG(s.p[i] == want, "wide case conversion differs");
    }
  }
}

/* ---- paths ---- */

template <typename C>
static void paths(const std::vector<C> &base, const std::vector<C> &rel, FuzzInput &in,
                  bool nullBase, bool nullRel)
{
  size_t cap = in.upTo(base.size() + rel.size() + 8);
  const C *b = nullBase ? NULL : base.data();
  const C *r = nullRel ? NULL : rel.data();

  FILE *log = stderr;
  stderr = g_devnull;
  std::vector<C> out = checkWriter<C>([&](C *d, unsigned int c) { return KivStrPath(d, c, b, r); }, cap, CUT_UNITS,
                                      NULL);
  stderr = log;

  /* Separators come out as single '/' only. */
  for (size_t i = 0; i < out.size(); i++)
  {
    FUZZ_CHECK_MSG(out[i] != (C)'\\', "a backslash in a joined path");
    FUZZ_CHECK_MSG(!(i > 0 && out[i] == (C)'/' && out[i - 1] == (C)'/'), "two separators in a row");
  }
  FUZZ_CHECK(out.size() <= slen(b) + slen(r) + 2);
}

/* ---- XML attribute values ---- */

template <typename C>
static bool isWhiteC(C c)
{
  return isWhite((uint32_t)c);
}

template <typename C>
static bool refXMLToken(const std::vector<C> &text, const std::vector<C> &name,
                        size_t *start, size_t *length)
{
  size_t lt = slen(text.data()), ln = slen(name.data());
  if (ln == 0)
    return false;
  size_t off = 0;
  for (;;)
  {
    size_t pos = (size_t)-1;
    for (size_t i = off; i + ln <= lt; i++)
      if (memcmp(text.data() + i, name.data(), ln * sizeof(C)) == 0)
      {
        pos = i;
        break;
      }
    if (pos == (size_t)-1)
      return false;
    if (pos == 0 || !(text[pos - 1] == (C)'<' || isWhiteC(text[pos - 1])))
    {
      off = pos + 1;
      continue;
    }
    size_t q = pos + ln;
    while (q < lt && isWhiteC(text[q]))
      q++;
    if (q >= lt || text[q] != (C)'=')
    {
      off = q;
      continue;
    }
    q++;
    while (q < lt && isWhiteC(text[q]))
      q++;
    if (q >= lt || text[q] != (C)'"')
    {
      off = q;
      continue;
    }
    q++;
    size_t e = q;
    while (e < lt && text[e] != (C)'"')
      e++;
    if (e >= lt)
      return false;
    *start = q;
    *length = e - q;
    return true;
  }
}

template <typename C>
static void xmlToken(const std::vector<C> &text, const std::vector<C> &name, FuzzInput &in)
{
  size_t start = 0, length = 0;
  bool found = refXMLToken(text, name, &start, &length);
  size_t cap = in.upTo(length + 4);
  std::vector<C> got, none;

  int r = runOn<C>([&](C *d, unsigned int c) { return KivStrGetXMLToken(d, c, text.data(), name.data()); }, cap,
                   none, &got);
  if (!found)
  {
    FUZZ_CHECK_MSG(r == (cap == 0 ? 1 : 0), "no value, yet a size");
    if (cap)
      expectCopy(got, none, text, 0, 0);
  }
  else if (cap == 0)
    FUZZ_CHECK((size_t)r == length + 1);
  else if (length > cap - 1)
  {
    FUZZ_CHECK((size_t)r == length + 1);
    expectCopy(got, none, text, 0, 0);
  }
  else
  {
    FUZZ_CHECK_MSG((size_t)r == length, "value length differs");
    std::vector<C> value(text.begin() + (ptrdiff_t)start, text.begin() + (ptrdiff_t)(start + length));
    expectCopy(got, none, value, 0, length);
  }
  FUZZ_CHECK(KivStrGetXMLToken((C *)NULL, 0, text.data(), name.data()) == (found ? length + 1 : 1));
  C one[1] = {(C)'x'};
  FUZZ_CHECK(KivStrGetXMLToken(one, 1, text.data(), (const C *)NULL) == 0 && one[0] == 0);
}

/* ---- inputs ---- */

static std::vector<char> narrowOf(const std::string &s)
{
  static const char alphabet[] = " \t\r\n/\\.<>=\"'aAzZ:";
  std::vector<char> v;
  for (unsigned char c : s)
  {
    if (c == 0)
      break;
    v.push_back((c & 0x80) && (c & 0x40) ? alphabet[c % (sizeof alphabet - 1)] : (char)c);
  }
  v.push_back(0);
  return v;
}

static std::vector<wchar_t> wideOf(const std::string &s)
{
  std::vector<char> n = narrowOf(s);
  std::vector<wchar_t> v;
  for (size_t i = 0; i + 1 < n.size(); i++)
  {
    unsigned char c = (unsigned char)n[i];
    /* Bytes 0x80-0xBF become code points of other scripts (some with case). */
    v.push_back(c >= 0x80 && c < 0xC0 ? (wchar_t)(0x100 + (c - 0x80) * 0x3F) : (wchar_t)c);
  }
  v.push_back(0);
  return v;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
  g_devnull = fopen("/dev/null", "w");
  if (!g_devnull)
    abort();
  if (!setlocale(LC_ALL, "C.UTF-8"))
    setlocale(LC_ALL, "C");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t which = in.u8();
  bool wide = which & 0x80;
  std::string a = in.piece(), b = in.piece(), c = in.piece();

  switch (which % 7)
  {
    case 0:
      if (wide)
        copies<wchar_t>(wideOf(a), wideOf(b), in);
      else
        copies<char>(narrowOf(a), narrowOf(b), in);
      break;
    case 1:
      if (wide)
        inserts<wchar_t>(wideOf(a), wideOf(b), in);
      else
        inserts<char>(narrowOf(a), narrowOf(b), in);
      break;
    case 2:
      if (wide)
        replaces<wchar_t>(wideOf(a), wideOf(b), wideOf(c), in);
      else
        replaces<char>(narrowOf(a), narrowOf(b), narrowOf(c), in);
      break;
    case 3:
      if (wide)
        trims<wchar_t>(wideOf(a), in);
      else
        trims<char>(narrowOf(a), in);
      break;
    case 4:
      if (wide)
        caseWide(wideOf(a), in);
      else
        caseNarrow(narrowOf(a), in);
      break;
    case 5:
      if (wide)
        paths<wchar_t>(wideOf(a), wideOf(b), in, which & 0x20, which & 0x40);
      else
        paths<char>(narrowOf(a), narrowOf(b), in, which & 0x20, which & 0x40);
      break;
    default:
      if (wide)
        xmlToken<wchar_t>(wideOf(a), wideOf(b), in);
      else
        xmlToken<char>(narrowOf(a), narrowOf(b), in);
      break;
  }
  return 0;
}
