/*
 * fuzz_kiv_codec.cpp - the escaping codecs and the tokenizer of kivruntime.
 *
 * The first byte picks the codec and its options (narrow or wide, count
 * explicit or -1, line breaks), the next the capacity; the rest is the
 * source.  Every text writer goes through checkWriter() against a plain
 * restatement of its rules with its items (an entity, an escape, a base64
 * group or a line break is never cut); the binary outputs (hex and base64
 * decoding) and the all-or-nothing hex encoder get checks of their own
 * rules.  Encoders are followed by their decoders: hex, URL, XML, HTML,
 * C escapes and base64 all return the original exactly.
 *
 * Wide decoders are compared with the rules for sources of byte values
 * (what a wide element above 0xFF means to them is a detail of each
 * codec); arbitrary wide values still go through every capacity check.
 */
#include <locale.h>
#include <stdint.h>
#include <string.h>
#include <wchar.h>

#include <string>
#include <vector>

#include "KivString_unix.h"
#include "fuzz_kiv_support.h"

static const unsigned int kAll = 0xFFFFFFFFu;
static const char kHex[] = "0123456789ABCDEF";

typedef std::vector<uint32_t> Text; /* a source as element values */

static int hexValue(uint32_t c)
{
  c &= 0xFF;
  if (c >= '0' && c <= '9')
    return (int)(c - '0');
  if (c >= 'A' && c <= 'F')
    return (int)(c - 'A' + 10);
  if (c >= 'a' && c <= 'f')
    return (int)(c - 'a' + 10);
  return 0;
}

static bool isAlnum(uint32_t c)
{
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/* UTF-8 bytes of one value, as CharEncodeUTF8 makes them. */
static std::string utf8Of(uint32_t u)
{
  char buf[8];
  wchar_t c = (wchar_t)u;
  unsigned int n = CharEncodeUTF8(buf, sizeof buf, &c, 0);
  FUZZ_CHECK(n >= 1 && n <= 6);
  return std::string(buf, n);
}

/* ---- sources in both element types ---- */

template <typename C>
struct Source
{
  std::vector<C> elements; /* the text and a terminating zero */
  unsigned int count;      /* what is passed: explicit, or -1 */
  size_t length;           /* the elements that take part */
  C *exact;                /* explicit count: a copy of exactly length elements */

  Source(const Text &t, bool all)
      : exact(NULL)
  {
    for (uint32_t v : t)
      elements.push_back((C)v);
    elements.push_back(0);
    if (all)
    {
      count = kAll;
      length = fuzzBoundedLength(elements.data(), elements.size());
    }
    else
    {
      count = (unsigned int)t.size();
      length = t.size();
      /* Reading past an explicit count is caught in this block. */
      if (length)
      {
        exact = (C *)malloc(length * sizeof(C));
        memcpy(exact, elements.data(), length * sizeof(C));
      }
    }
  }
  ~Source() { free(exact); }
  Source(const Source &) = delete;
  Source &operator=(const Source &) = delete;

  const C *data() const { return exact ? exact : elements.data(); }
  uint32_t at(size_t i) const { return (uint32_t)elements[i]; }
};

template <typename C>
static Items<C> itemsOf(const Items<uint32_t> &ref)
{
  Items<C> items;
  size_t start = 0;
  for (size_t e : ref.ends)
  {
    std::vector<C> piece;
    for (size_t i = start; i < e; i++)
      piece.push_back((C)ref.all[i]);
    items.add(piece.data(), piece.size());
    start = e;
  }
  return items;
}

static void addText(Items<uint32_t> *items, const char *s)
{
  items->addText(s);
}

/* ---- URL ---- */

template <typename S>
static Items<uint32_t> refEncodeURL(const Source<S> &src)
{
  Items<uint32_t> items;
  for (size_t i = 0; i < src.length; i++)
  {
    std::string bytes = sizeof(S) == 1 ? std::string(1, (char)src.at(i)) : utf8Of(src.at(i));
    for (unsigned char b : bytes)
    {
      if (isAlnum(b))
        items.add(b);
      else
      {
        char esc[4] = {'%', kHex[b >> 4], kHex[b & 15], 0};
        addText(&items, esc);
      }
    }
  }
  return items;
}

/* The decoded bytes of a URL-encoded source of byte values. */
template <typename S>
static std::string refDecodeURLBytes(const Source<S> &src)
{
  std::string out;
  for (size_t i = 0; i < src.length;)
  {
    uint32_t c = src.at(i);
    if (c == '+')
    {
      out.push_back(' ');
      i++;
    }
    else if (c == '%' && src.length - i > 2 && src.at(i + 1) != 0 && src.at(i + 2) != 0)
    {
      out.push_back((char)(hexValue(src.at(i + 1)) * 16 + hexValue(src.at(i + 2))));
      i += 3;
    }
    else
    {
      out.push_back((char)(c & 0xFF));
      i++;
    }
  }
  return out;
}

/* UTF-8 bytes to code points with the library's own character decoder,
   which is checked on its own elsewhere. */
static Items<uint32_t> codePoints(const std::string &bytes)
{
  Items<uint32_t> items;
  for (size_t i = 0; i < bytes.size();)
  {
    wchar_t c = 0;
    unsigned int avail = (unsigned int)(bytes.size() - i);
    unsigned int n = CharDecodeUTF8(&c, 1, (const unsigned char *)bytes.data() + i, avail > 6 ? 6 : avail);
    FUZZ_CHECK(n >= 1);
    items.add((uint32_t)c);
    i += n;
  }
  return items;
}

template <typename D, typename S>
static void url(const Text &t, bool all, size_t cap, bool exact)
{
  Source<S> src(t, all);
  Items<D> enc = itemsOf<D>(refEncodeURL(src));
  std::vector<D> encoded = checkWriter<D>(
    [&](D *d, unsigned int c) { return KivStrEncodeURL(d, c, src.data(), src.count); }, cap, CUT_ITEMS, &enc);

  /* Decoding the encoded text gives the source back (as bytes, or as the
     code points of a wide source). */
  Source<D> back(Text(encoded.begin(), encoded.end()), false);
  std::vector<S> decoded = checkWriter<S>(
    [&](S *d, unsigned int c) { return KivStrDecodeURL(d, c, back.data(), back.count); }, cap, CUT_UNITS,
    NULL);
  bool sameValues = true;
  for (size_t i = 0; i < src.length; i++)
    sameValues = sameValues && (sizeof(S) == 1 || (int32_t)src.at(i) >= 0);
  if (sameValues)
    FUZZ_CHECK_MSG(decoded.size() == src.length &&
                     std::equal(decoded.begin(), decoded.end(), src.elements.begin()),
                   "URL round trip changed the text");

  /* Decoding the source itself. */
  Items<uint32_t> ref;
  std::string bytes = exact ? refDecodeURLBytes(src) : std::string();
  if (sizeof(D) == 1)
    for (unsigned char b : bytes)
      ref.add(b);
  else
    ref = codePoints(bytes);
  Items<D> dec = itemsOf<D>(ref);
  checkWriter<D>([&](D *d, unsigned int c) { return KivStrDecodeURL(d, c, src.data(), src.count); }, cap,
                 exact ? CUT_UNITS : CUT_ANY, exact ? &dec : NULL);
}

/* One-unit helpers of URL coding. */
template <typename C>
static void urlChars(FuzzInput &in)
{
  char c = (char)in.u8();
  unsigned int room = (unsigned int)in.upTo(4);
  GuardedBuffer<C> out(room, fuzzMarker<C>());
  unsigned int need = isAlnum((unsigned char)c) ? 1 : 3;
  FUZZ_CHECK(TCharEncodeURL<C>(out.data(), room, c) == need && out.guardsIntact());
  for (unsigned int i = room >= need ? need : 0; i < room; i++)
    FUZZ_CHECK(out.data()[i] == fuzzMarker<C>());

  unsigned int remaining = (unsigned int)in.upTo(4);
  ExactBuffer<C> src(remaining);
  for (unsigned int i = 0; i < remaining; i++)
    src.p[i] = (C)in.u8();
  char byte = 'Z';
  unsigned int used = TCharDecodeURL<C>(src.p, remaining, &byte);
  if (remaining == 0)
    FUZZ_CHECK(used == 0 && byte == 'Z');
  else
  {
    Text t(src.p, src.p + remaining);
    Source<C> s(t, false);
    std::string want = refDecodeURLBytes(s);
    size_t expect = (src.p[0] == (C)'%' && remaining > 2 && src.p[1] != 0 && src.p[2] != 0) ? 3 : 1;
    FUZZ_CHECK(used == expect && !want.empty() && byte == want[0]);
    FUZZ_CHECK(TCharDecodeURL<C>(src.p, remaining, NULL) == used);
  }
}

/* ---- XML and HTML ---- */

template <typename C>
static Items<uint32_t> refEncodeMarkup(const Source<C> &src, bool xml)
{
  Items<uint32_t> items;
  for (size_t i = 0; i < src.length; i++)
  {
    uint32_t c = src.at(i);
    if (c == '"')
      addText(&items, "&quot;");
    else if (c == '&')
      addText(&items, "&amp;");
    else if (c == '\'' && xml)
      addText(&items, "&apos;");
    else if (c == '<')
      addText(&items, "&lt;");
    else if (c == '>')
      addText(&items, "&gt;");
    else
      items.add(c);
  }
  return items;
}

template <typename C>
static bool matches(const Source<C> &src, size_t i, const char *name)
{
  size_t n = strlen(name);
  if (src.length - i < n)
    return false;
  for (size_t k = 0; k < n; k++)
    if (src.at(i + k) != (unsigned char)name[k])
      return false;
  return true;
}

template <typename C>
static Items<uint32_t> refDecodeMarkup(const Source<C> &src, bool xml)
{
  static const struct
  {
    const char *name;
    char c;
    bool xmlOnly;
  } entities[] = {
    {"&lt;", '<', false}, {"&gt;", '>', false}, {"&amp;", '&', false}, {"&apos;", '\'', true}, {"&quot;", '"', false}};
  Items<uint32_t> items;
  for (size_t i = 0; i < src.length;)
  {
    uint32_t c = src.at(i);
    size_t used = 1;
    if (c == '&')
      for (const auto &e : entities)
        if ((xml || !e.xmlOnly) && matches(src, i, e.name))
        {
          c = (unsigned char)e.c;
          used = strlen(e.name);
          break;
        }
    items.add(c);
    i += used;
  }
  return items;
}

template <typename C>
static void markup(const Text &t, bool all, size_t cap, bool xml)
{
  Source<C> src(t, all);
  Items<C> enc = itemsOf<C>(refEncodeMarkup(src, xml));
  std::vector<C> encoded = checkWriter<C>(
    [&](C *d, unsigned int c) {
      return xml ? KivStrEncodeXML(d, c, src.data(), src.count) : KivStrEncodeHTML(d, c, src.data(), src.count);
    },
    cap, CUT_ITEMS, &enc);

  Source<C> back(Text(encoded.begin(), encoded.end()), false);
  std::vector<C> decoded = checkWriter<C>(
    [&](C *d, unsigned int c) {
      return xml ? KivStrDecodeXML(d, c, back.data(), back.count) : KivStrDecodeHTML(d, c, back.data(), back.count);
    },
    cap, CUT_UNITS, NULL);
  FUZZ_CHECK_MSG(decoded.size() == src.length &&
                   std::equal(decoded.begin(), decoded.end(), src.elements.begin()),
                 "entity round trip changed the text");

  Items<C> dec = itemsOf<C>(refDecodeMarkup(src, xml));
  checkWriter<C>(
    [&](C *d, unsigned int c) {
      return xml ? KivStrDecodeXML(d, c, src.data(), src.count) : KivStrDecodeHTML(d, c, src.data(), src.count);
    },
    cap, CUT_UNITS, &dec);
}

/* ---- C escapes ---- */

template <typename C>
static Items<uint32_t> refEncodeCPP(const Source<C> &src)
{
  Items<uint32_t> items;
  for (size_t i = 0; i < src.length; i++)
  {
    uint32_t u = src.at(i);
    int32_t v = sizeof(C) == 1 ? (int32_t)(signed char)u : (int32_t)u;
    static const char named[] = "btnvfr";
    if (v >= 8 && v <= 13)
    {
      char e[3] = {'\\', named[v - 8], 0};
      addText(&items, e);
    }
    else if (v == '"' || v == '\'' || v == '\\')
    {
      char e[3] = {'\\', (char)v, 0};
      addText(&items, e);
    }
    else if ((v >= 0 && v <= 0x1F) || v == '<' || v == '>')
    {
      char e[5] = {'\\', 'x', kHex[(v >> 4) & 15], kHex[v & 15], 0};
      addText(&items, e);
    }
    else
      items.add(u);
  }
  return items;
}

template <typename C>
static Items<uint32_t> refDecodeCPP(const Source<C> &src)
{
  Items<uint32_t> items;
  for (size_t i = 0; i < src.length;)
  {
    uint32_t c = src.at(i);
    if (c != '\\' || src.length - i < 2 || src.at(i + 1) == 0)
    {
      items.add(c);
      i++;
      continue;
    }
    uint32_t n = src.at(i + 1);
    switch (n)
    {
      case '0': items.add(0); break;
      case 'a': items.add(7); break;
      case 'b': items.add(8); break;
      case 'f': items.add(12); break;
      case 'n': items.add(10); break;
      case 'r': items.add(13); break;
      case 't': items.add(9); break;
      case 'v': items.add(11); break;
      case 'x':
        if (src.length - i >= 4 && src.at(i + 2) != 0 && src.at(i + 3) != 0)
        {
          items.add((uint32_t)(hexValue(src.at(i + 2)) * 16 + hexValue(src.at(i + 3))));
          i += 4;
          continue;
        }
        items.add('x');
        break;
      default: items.add(n); break;
    }
    i += 2;
  }
  return items;
}

template <typename C>
static void cpp(const Text &t, bool all, size_t cap, bool exact)
{
  Source<C> src(t, all);
  Items<C> enc = itemsOf<C>(refEncodeCPP(src));
  std::vector<C> encoded = checkWriter<C>(
    [&](C *d, unsigned int c) { return KivStrEncodeCPP(d, c, src.data(), src.count); }, cap, CUT_ITEMS, &enc);

  Source<C> back(Text(encoded.begin(), encoded.end()), false);
  std::vector<C> decoded = checkWriter<C>(
    [&](C *d, unsigned int c) { return KivStrDecodeCPP(d, c, back.data(), back.count); }, cap, CUT_UNITS, NULL);
  FUZZ_CHECK_MSG(decoded.size() == src.length &&
                   std::equal(decoded.begin(), decoded.end(), src.elements.begin()),
                 "C escape round trip changed the text");

  Items<C> dec = itemsOf<C>(refDecodeCPP(src));
  checkWriter<C>([&](C *d, unsigned int c) { return KivStrDecodeCPP(d, c, src.data(), src.count); }, cap,
                 exact ? CUT_UNITS : CUT_ANY, exact ? &dec : NULL);
}

/* ---- hexadecimal ---- */

template <typename C>
static void hex(const std::string &bytes, bool all, size_t cap)
{
  std::vector<unsigned char> src(bytes.begin(), bytes.end());
  src.push_back(0);
  unsigned int count = all ? kAll : (unsigned int)bytes.size();
  size_t n = all ? strlen((const char *)src.data()) : bytes.size();
  ExactBuffer<unsigned char> copy(all ? 0 : n); /* an explicit count: exactly n bytes */
  if (!all && n)
    memcpy(copy.p, src.data(), n);
  const unsigned char *sp = all || n == 0 ? src.data() : copy.p;
  std::vector<C> want;
  for (size_t i = 0; i < n; i++)
  {
    want.push_back((C)kHex[src[i] >> 4]);
    want.push_back((C)kHex[src[i] & 15]);
  }

  /* All or nothing: too small a capacity leaves every element as it was. */
  FUZZ_CHECK(KivStrEncodeHex((C *)NULL, 0, sp, count) == 2 * n + 1);
  FUZZ_CHECK(KivStrEncodeHex((C *)NULL, (unsigned int)(2 * n + 1), sp, count) == 2 * n + 1);
  size_t caps[3] = {cap, 2 * n, 2 * n + 1};
  for (size_t c : caps)
  {
    ExactBuffer<C> exact(c);
    GuardedBuffer<C> g(c, fuzzMarker<C>());
    unsigned int r = KivStrEncodeHex(exact.p, (unsigned int)c, sp, count);
    FUZZ_CHECK(KivStrEncodeHex(g.data(), (unsigned int)c, sp, count) == r && g.guardsIntact());
    if (c <= 2 * n)
    {
      FUZZ_CHECK(r == 2 * n + 1);
      for (size_t i = 0; i < c; i++)
        FUZZ_CHECK(g.data()[i] == fuzzMarker<C>());
    }
    else
    {
      FUZZ_CHECK(r == 2 * n);
      FUZZ_CHECK(std::equal(want.begin(), want.end(), g.data()) && g.data()[2 * n] == 0);
      for (size_t i = 2 * n + 1; i < c; i++)
        FUZZ_CHECK(g.data()[i] == fuzzMarker<C>());
    }
  }

  /* And back, at every capacity: the first cap bytes, the full count. */
  want.push_back(0);
  std::vector<unsigned char> back(n + 1, 0xA5);
  FUZZ_CHECK(KivStrDecodeHex(back.data(), (unsigned int)n, want.data(), (unsigned int)(2 * n)) == n);
  FUZZ_CHECK(memcmp(back.data(), src.data(), n) == 0 && back[n] == 0xA5);
  size_t c = cap < n ? cap : n;
  GuardedBuffer<unsigned char> part(c, 0xA5);
  FUZZ_CHECK(KivStrDecodeHex(part.data(), (unsigned int)c, want.data(), kAll) == n);
  FUZZ_CHECK(part.guardsIntact() && memcmp(part.data(), src.data(), c) == 0);
  FUZZ_CHECK(KivStrDecodeHex(NULL, 0, want.data(), kAll) == n);
}

/* Decoding arbitrary digits (wide digits are read by their low byte). */
template <typename C>
static void unhex(const Text &t, bool all, size_t cap)
{
  Source<C> src(t, all);
  std::vector<unsigned char> want;
  for (size_t i = 0; i + 2 <= src.length; i += 2)
  {
    if (src.at(i) == 0 || src.at(i + 1) == 0)
      break;
    want.push_back((unsigned char)(hexValue(src.at(i)) * 16 + hexValue(src.at(i + 1))));
  }
  ExactBuffer<unsigned char> exact(cap);
  GuardedBuffer<unsigned char> g(cap, 0xA5);
  unsigned int r = KivStrDecodeHex(exact.p, (unsigned int)cap, src.data(), src.count);
  FUZZ_CHECK(r == want.size());
  FUZZ_CHECK(KivStrDecodeHex(g.data(), (unsigned int)cap, src.data(), src.count) == r && g.guardsIntact());
  size_t stored = cap < want.size() ? cap : want.size();
  FUZZ_CHECK(stored == 0 || memcmp(g.data(), want.data(), stored) == 0);
  for (size_t i = stored; i < cap; i++)
    FUZZ_CHECK(g.data()[i] == 0xA5);
}

/* ---- base64 ---- */

static const char kB64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

static Items<uint32_t> refEncode64(const unsigned char *p, size_t n, bool lineBreaks)
{
  Items<uint32_t> items;
  size_t group = 0;
  for (size_t i = 0; i < n; i += 3, group++)
  {
    unsigned int b0 = p[i], b1 = i + 1 < n ? p[i + 1] : 0, b2 = i + 2 < n ? p[i + 2] : 0;
    char g[5] = {kB64[b0 >> 2], kB64[((b0 & 3) << 4) | (b1 >> 4)], kB64[((b1 & 15) << 2) | (b2 >> 6)],
                 kB64[b2 & 63], 0};
    if (i + 1 >= n)
      g[2] = '=';
    if (i + 2 >= n)
      g[3] = '=';
    addText(&items, g);
    if (lineBreaks && group % 16 == 15)
      addText(&items, "\r\n");
  }
  return items;
}

template <typename C>
static std::vector<unsigned char> refDecode64(const Source<C> &src)
{
  std::vector<unsigned char> out;
  size_t i = 0;
  auto value = [&](size_t k) -> unsigned int {
    if (k >= src.length || src.at(k) == 0)
      return 64;
    return (unsigned char)s_abUUDecode[src.at(k) & 0xFF];
  };
  for (;;)
  {
    while (i < src.length && src.at(i) != 0 &&
           (sizeof(C) == 1 ? (int32_t)(signed char)src.at(i) : (int32_t)src.at(i)) <= 32)
      i++;
    if (i >= src.length || src.at(i) == 0)
      break;
    unsigned int v[4];
    size_t k;
    for (k = 0; k < 4; k++)
    {
      v[k] = value(i + k);
      if (i + k >= src.length || src.at(i + k) == 0)
        break;
    }
    for (size_t j = k; j < 4; j++)
      v[j] = 64;
    if (v[0] >= 64 || v[1] >= 64)
      break;
    out.push_back((unsigned char)((v[0] << 2) | (v[1] >> 4)));
    if (v[2] >= 64)
      break;
    out.push_back((unsigned char)((v[1] << 4) | (v[2] >> 2)));
    if (v[3] >= 64)
      break;
    out.push_back((unsigned char)((v[2] << 6) | v[3]));
    i += 4;
  }
  return out;
}

template <typename C>
static void checkDecode64(const Source<C> &src, size_t cap,
                          const std::vector<unsigned char> &want)
{
  ExactBuffer<unsigned char> exact(cap);
  GuardedBuffer<unsigned char> g(cap, 0xA5);
  unsigned int r = KivStrUUDecode(exact.p, (unsigned int)cap, src.data(), src.count);
  FUZZ_CHECK_MSG(r == want.size(), "base64 decoding gave another length");
  FUZZ_CHECK(KivStrUUDecode(g.data(), (unsigned int)cap, src.data(), src.count) == r && g.guardsIntact());
  size_t stored = cap < want.size() ? cap : want.size();
  FUZZ_CHECK_MSG(stored == 0 || memcmp(g.data(), want.data(), stored) == 0, "base64 decoding gave other bytes");
  for (size_t i = stored; i < cap; i++)
    FUZZ_CHECK(g.data()[i] == 0xA5);
  FUZZ_CHECK(KivStrUUDecode(NULL, 0, src.data(), src.count) == r);
}

template <typename C>
static void base64(const std::string &bytes, bool all, size_t cap, bool lineBreaks)
{
  std::vector<unsigned char> src(bytes.begin(), bytes.end());
  src.push_back(0);
  unsigned int count = all ? kAll : (unsigned int)bytes.size();
  size_t n = all ? strlen((const char *)src.data()) : bytes.size();
  ExactBuffer<unsigned char> copy(all ? 0 : n); /* an explicit count: exactly n bytes */
  if (!all && n)
    memcpy(copy.p, src.data(), n);
  const unsigned char *sp = all || n == 0 ? src.data() : copy.p;
  Items<C> enc = itemsOf<C>(refEncode64(src.data(), n, lineBreaks));
  std::vector<C> encoded = checkWriter<C>(
    [&](C *d, unsigned int c) { return KivStrUUEncode(d, c, sp, count, lineBreaks); }, cap, CUT_ITEMS,
    &enc);

  Source<C> back(Text(encoded.begin(), encoded.end()), false);
  checkDecode64(back, cap, std::vector<unsigned char>(src.begin(), src.begin() + (ptrdiff_t)n));
  checkDecode64(back, n, std::vector<unsigned char>(src.begin(), src.begin() + (ptrdiff_t)n));
}

template <typename C>
static void unbase64(const Text &t, bool all, size_t cap)
{
  Source<C> src(t, all);
  checkDecode64(src, cap, refDecode64(src));
}

/* ---- tokenizer ---- */

template <typename C>
static void tokenize(const Text &t, const Text &delims, bool nullDelims)
{
  Source<C> s(t, true);
  Source<C> d(delims, true);
  const C *dl = nullDelims ? NULL : d.data();
  const C *text = s.data();
  size_t len = s.length;

  /* The tokens by the rules: split at every delimiter. */
  std::vector<std::pair<size_t, size_t>> want;
  size_t start = 0;
  for (size_t i = 0; i <= len; i++)
  {
    bool isDelim = false;
    if (i < len && dl)
      for (size_t k = 0; k < d.length; k++)
        isDelim = isDelim || (uint32_t)text[i] == d.at(k);
    if (i == len || isDelim)
    {
      want.push_back(std::make_pair(start, i - start));
      start = i + 1;
    }
  }

  const C *cursor = text;
  unsigned int length = kAll;
  size_t got = 0;
  while (KivStrTokenize(cursor, length, dl))
  {
    FUZZ_CHECK_MSG(got < want.size(), "more tokens than delimiters allow");
    FUZZ_CHECK((size_t)(cursor - text) == want[got].first && length == want[got].second);
    got++;
  }
  FUZZ_CHECK_MSG(got == want.size(), "fewer tokens than the text holds");

  const C *nothing = NULL;
  length = kAll;
  FUZZ_CHECK(KivStrTokenize(nothing, length, dl) == 1 && length == 0);
  FUZZ_CHECK(KivStrTokenize(nothing, length, dl) == 0);
}

/* ---- sources ---- */

static Text bytesText(const std::string &s)
{
  Text t;
  for (unsigned char c : s)
    t.push_back(c);
  return t;
}

static Text wideText(const std::string &s)
{
  std::vector<wchar_t> w = wideFrom(s);
  return Text(w.begin(), w.end());
}

/* Bytes that make the codecs' special cases likely: the first byte of each
   pair picks from a small alphabet of markup, escapes and digits when its
   top bit is set. */
static std::string favour(const std::string &s)
{
  static const char alphabet[] = "&;<>\"'\\%+0123456789aAbfFnrtvxX=lgtmpquos#/ \r\n\t";
  std::string out;
  for (unsigned char c : s)
    out.push_back((c & 0x80) ? alphabet[(c & 0x7F) % (sizeof alphabet - 1)] : (char)c);
  return out;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t which = in.u8();
  uint8_t flags = in.u8();
  bool all = flags & 1, wide = flags & 2, odd = flags & 4, shaped = flags & 8;
  size_t cap = in.upTo(400);
  std::string raw = in.rest();
  std::string s = shaped ? favour(raw) : raw;
  Text bytes = bytesText(s);

  switch (which % 10)
  {
    case 0:
      if (odd)
        url<char, wchar_t>(wideText(raw), all, cap, false);
      else if (wide)
        url<wchar_t, char>(bytes, all, cap, true);
      else
        url<char, char>(bytes, all, cap, true);
      break;
    case 1:
      /* Wide to wide: the source's own decoding compared only for byte
         values. */
      url<wchar_t, wchar_t>(odd ? wideText(raw) : bytes, all, cap, !odd);
      break;
    case 2:
      if (wide)
        markup<wchar_t>(odd ? wideText(raw) : bytes, all, cap, flags & 16);
      else
        markup<char>(bytes, all, cap, flags & 16);
      break;
    case 3:
      if (wide)
        cpp<wchar_t>(odd ? wideText(raw) : bytes, all, cap, !odd);
      else
        cpp<char>(bytes, all, cap, true);
      break;
    case 4:
      if (wide)
        hex<wchar_t>(raw, all, cap);
      else
        hex<char>(raw, all, cap);
      break;
    case 5:
      if (wide)
        unhex<wchar_t>(odd ? wideText(raw) : bytes, all, cap);
      else
        unhex<char>(bytes, all, cap);
      break;
    case 6:
      if (wide)
        base64<wchar_t>(raw, all, cap, flags & 16);
      else
        base64<char>(raw, all, cap, flags & 16);
      break;
    case 7:
      if (wide)
        unbase64<wchar_t>(odd ? wideText(raw) : bytes, all, cap);
      else
        unbase64<char>(bytes, all, cap);
      break;
    case 8:
    {
      size_t cut = s.find('|');
      std::string text = s.substr(0, cut);
      std::string delims = cut == std::string::npos ? std::string(",") : s.substr(cut + 1);
      if (wide)
        tokenize<wchar_t>(bytesText(text), bytesText(delims), odd);
      else
        tokenize<char>(bytesText(text), bytesText(delims), odd);
      break;
    }
    default:
    {
      FuzzInput again((const uint8_t *)raw.data(), raw.size());
      if (wide)
        urlChars<wchar_t>(again);
      else
        urlChars<char>(again);
      break;
    }
  }
  return 0;
}
