/*
 * fuzz_kiv_string.cpp - the reference-counted string buffer, its handle
 * and the serial form of kivruntime.
 *
 * The input is a small program over four string handles: set from UTF-8
 * (terminated or with a count), copy, move, clear, serialise, create and
 * grow raw buffers.  A plain model (one std::wstring per handle) follows
 * along, and after every step each handle must hold its model's text,
 * every buffer must keep its invariants (length below capacity, a
 * terminator at the length, the capacity rules) and its count must equal
 * the number of handles sharing it minus one: writing through one handle
 * never changes another.  The serial form is checked at capacities taken
 * from the input (all or nothing, 16-bit little-endian units, terminator)
 * and read back with KivStrDeSerialize.
 */
#include <stdint.h>
#include <string.h>
#include <wchar.h>

#include <string>
#include <utility>
#include <vector>

#include "KivString_unix.h"
#include "fuzz_kiv_support.h"

typedef TKivString<wchar_t, CKivMemHeap> WString;
typedef TKivStringBuffer<wchar_t, CKivMemHeap> WBuffer;
typedef TKivStringBuffer<char, CKivMemHeap> NBuffer;

static const unsigned int kAll = 0xFFFFFFFFu;

/* The text a handle must hold after SetUTF8(bytes, count). */
static std::wstring decoded(const std::vector<char> &bytes, unsigned int count)
{
  if (count == 0 || bytes.empty() || bytes[0] == 0)
    return std::wstring();
  unsigned int need = KivStrDecodeUTF8((wchar_t *)NULL, 0, bytes.data(), count);
  std::vector<wchar_t> out(need);
  FUZZ_CHECK(KivStrDecodeUTF8(out.data(), need, bytes.data(), count) == need - 1);
  return std::wstring(out.data(), need - 1);
}

/* The capacity Create gives for n characters. */
static uint32_t createCapacity(uint64_t n)
{
  return (uint32_t)((n + 1 + 15) & ~(uint64_t)15);
}

template <typename B>
static void checkBuffer(const B *b)
{
  if (!b)
    return;
  FUZZ_CHECK_MSG(b->m_nLength < b->m_nCapacity, "buffer length not below its capacity");
  FUZZ_CHECK_MSG(b->GetChars()[b->m_nLength] == 0, "buffer not terminated at its length");
  FUZZ_CHECK(b->m_nRefs >= 0);
}

/* Every handle holds its model; counts match the sharing. */
static void checkHandles(const WString *h, const std::wstring *model, int n)
{
  for (int i = 0; i < n; i++)
  {
    const WBuffer *b = h[i].GetBuffer();
    FUZZ_CHECK(h[i].GetLength() == model[i].size());
    if (model[i].empty())
    {
      /* The empty string may also be a cleared buffer kept for reuse. */
      FUZZ_CHECK(!b || b->m_nLength == 0);
    }
    else
      FUZZ_CHECK_MSG(b && wmemcmp(b->GetChars(), model[i].data(), model[i].size()) == 0,
                     "a handle lost its text");
    checkBuffer(b);
    if (b)
    {
      int sharing = 0;
      for (int j = 0; j < n; j++)
        sharing += h[j].GetBuffer() == b;
      FUZZ_CHECK_MSG(b->m_nRefs == sharing - 1, "reference count differs from the handles sharing");
    }
  }
}

/* The serial form of text at a size taken from the input. */
static void checkSerial(const wchar_t *text, unsigned int count, size_t length, size_t size, const WString *handle)
{
  uint64_t need = 2 * (uint64_t)length + 2;
  std::vector<unsigned char> want;
  for (size_t i = 0; i < length; i++)
  {
    uint32_t c = (uint32_t)text[i];
    want.push_back((unsigned char)(c & 0xFF));
    want.push_back((unsigned char)((c >> 8) & 0xFF));
  }
  want.push_back(0);
  want.push_back(0);

  size_t sizes[3] = {size, (size_t)need, (size_t)need - 1};
  for (size_t s : sizes)
  {
    ExactBuffer<unsigned char> exact(s);
    GuardedBuffer<unsigned char> g(s, 0xA5);
    unsigned int r = handle ? handle->Serialize(exact.p, (unsigned int)s)
                            : KivStrSerialize(exact.p, (unsigned int)s, text, count);
    unsigned int r2 = handle ? handle->Serialize(g.data(), (unsigned int)s)
                             : KivStrSerialize(g.data(), (unsigned int)s, text, count);
    FUZZ_CHECK(r == need && r2 == r && g.guardsIntact());
    bool fits = (s & ~(size_t)1) >= need;
    for (size_t i = 0; i < s; i++)
      FUZZ_CHECK_MSG(g.data()[i] == (fits && i < need ? want[i] : 0xA5), "serial form bytes differ");
    if (fits)
      FUZZ_CHECK(memcmp(exact.p, want.data(), (size_t)need) == 0);
  }
  FUZZ_CHECK(KivStrSerialize(NULL, 1000, text, count) == need);

  /* Read back: the units, then the serialised terminator as one more. */
  std::vector<wchar_t> back(length + 2, (wchar_t)0x33);
  FUZZ_CHECK(KivStrDeSerialize(back.data(), (unsigned int)back.size(), want.data(), (unsigned int)need) == length + 1);
  for (size_t i = 0; i < length; i++)
    FUZZ_CHECK((uint32_t)back[i] == ((uint32_t)text[i] & 0xFFFF));
  FUZZ_CHECK(back[length] == 0 && back[length + 1] == 0);
}

/* KivStrDeSerialize on arbitrary bytes and capacities. */
static void deserialize(const std::string &bytes, size_t cap)
{
  size_t units = bytes.size() / 2;
  ExactBuffer<unsigned char> src(bytes.size());
  if (bytes.size())
    memcpy(src.p, bytes.data(), bytes.size());
  ExactBuffer<wchar_t> exact(cap);
  GuardedBuffer<wchar_t> g(cap, (wchar_t)0x33);
  unsigned int r = KivStrDeSerialize(exact.p, (unsigned int)cap, src.p, (unsigned int)bytes.size());
  FUZZ_CHECK(KivStrDeSerialize(g.data(), (unsigned int)cap, src.p, (unsigned int)bytes.size()) == r);
  FUZZ_CHECK(g.guardsIntact());
  if (cap < units + 1)
  {
    FUZZ_CHECK(r == units + 1);
    for (size_t i = 0; i < cap; i++)
      FUZZ_CHECK(g.data()[i] == (wchar_t)0x33);
  }
  else
  {
    FUZZ_CHECK(r == units);
    for (size_t i = 0; i < units; i++)
      FUZZ_CHECK((uint32_t)g.data()[i] == ((uint32_t)(unsigned char)bytes[2 * i] | ((uint32_t)(unsigned char)bytes[2 * i + 1] << 8)));
    FUZZ_CHECK(g.data()[units] == 0);
  }
  FUZZ_CHECK(KivStrDeSerialize(NULL, 100, src.p, (unsigned int)bytes.size()) == units + 1);
  FUZZ_CHECK(KivStrDeSerialize(g.data(), (unsigned int)cap, NULL, 8) == (cap ? 0u : 1u));
}

/* Raw buffers: Create and Expand keep the text and follow the capacity rules. */
template <typename C>
static void rawBuffers(FuzzInput &in)
{
  typedef TKivStringBuffer<C, CKivMemHeap> B;
  std::string t = in.piece();
  std::vector<C> text(t.begin(), t.end());
  bool useText = in.u8() & 1;
  unsigned int count = (in.u8() & 1) ? kAll : (unsigned int)in.upTo(text.size());
  text.push_back(0);

  size_t n = count == kAll ? fuzzBoundedLength(text.data(), text.size()) : count;
  B *b = B::Create(useText ? text.data() : NULL, useText ? count : (unsigned int)n);
  if (n == 0)
  {
    FUZZ_CHECK(b == NULL);
    return;
  }
  FUZZ_CHECK(b != NULL);
  FUZZ_CHECK(b->m_nCapacity == createCapacity(n) && b->m_nRefs == 0);
  FUZZ_CHECK(b->m_nLength == (useText ? n : 0));
  if (useText)
    FUZZ_CHECK(memcmp(b->GetChars(), text.data(), n * sizeof(C)) == 0);
  checkBuffer(b);

  /* Grow a few times. */
  for (int i = 0; i < 3; i++)
  {
    uint32_t before = b->m_nCapacity, length = b->m_nLength;
    unsigned int cells = (unsigned int)in.upTo(70000);
    b = B::Expand(b, cells);
    FUZZ_CHECK(b != NULL);
    uint64_t want = before;
    if (before < cells)
    {
      if (cells > 0xFFFFu)
        want = ((uint64_t)cells + 0xFFFF) & ~(uint64_t)0xFFFF;
      else if (before <= 0x7FFFu)
        for (want = before ? before : 1; want < cells; want *= 2)
        {}
      else
        want = 0x10000;
    }
    FUZZ_CHECK_MSG(b->m_nCapacity == want && b->m_nCapacity >= cells, "growth differs from the rules");
    FUZZ_CHECK(b->m_nLength == length);
    if (useText)
      FUZZ_CHECK(memcmp(b->GetChars(), text.data(), n * sizeof(C)) == 0);
    checkBuffer(b);
  }

  /* A shared buffer is never cleared in place. */
  B *other = B::AddRef(b);
  FUZZ_CHECK(other == b && b->m_nRefs == 1);
  FUZZ_CHECK(B::Clear(other) == NULL && b->m_nRefs == 0);
  b = B::Clear(b);
  FUZZ_CHECK(b && b->m_nLength == 0 && b->GetChars()[0] == 0);
  B::Release(b);
  FUZZ_CHECK(B::Expand(NULL, 0) == NULL && B::Expand(NULL, 1) == NULL && B::Clear(NULL) == NULL);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  FuzzInput in(data, size);
  uint8_t mode = in.u8();

  if (mode % 4 == 1)
  {
    rawBuffers<wchar_t>(in);
    return 0;
  }
  if (mode % 4 == 2)
  {
    rawBuffers<char>(in);
    return 0;
  }
  if (mode % 4 == 3)
  {
    size_t cap = in.upTo(300);
    deserialize(in.rest(), cap);
    return 0;
  }

  WString h[4];
  std::wstring model[4];
  int steps = 0;
  while (in.size > 0 && steps++ < 64)
  {
    uint8_t op = in.u8();
    int i = op & 3, j = (op >> 2) & 3;
    switch ((op >> 4) % 7)
    {
      case 0:
      case 1:
      {
        std::string t = in.piece();
        std::vector<char> bytes(t.begin(), t.end());
        bool all = op & 0x80;
        unsigned int count = all ? kAll : (unsigned int)bytes.size();
        bytes.push_back(0);
        /* With a count the text need not be terminated within it. */
        h[i].SetUTF8(bytes.data(), count);
        model[i] = decoded(bytes, count);
        break;
      }
      case 2:
        h[i] = h[j];
        model[i] = model[j];
        break;
      case 3:
        if (i != j)
        {
          h[i] = std::move(h[j]);
          model[i] = model[j];
          model[j].clear();
        }
        break;
      case 4:
        h[i].Clear();
        model[i].clear();
        break;
      case 5:
      {
        size_t s = in.upTo(600);
        const WBuffer *b = h[i].GetBuffer();
        checkSerial(b ? b->GetChars() : L"", b ? b->m_nLength : 0, model[i].size(), s, &h[i]);
        break;
      }
      default:
      {
        /* Serialise raw wide text, counted or terminated, null included. */
        std::vector<wchar_t> w = wideFrom(in.piece());
        bool all = op & 0x80;
        w.push_back(0);
        size_t length = all ? fuzzBoundedLength(w.data(), w.size()) : w.size() - 1;
        checkSerial(w.data(), all ? kAll : (unsigned int)(w.size() - 1), length, in.upTo(300), NULL);
        FUZZ_CHECK(KivStrSerialize(NULL, 0, NULL, 5) == 2);
        break;
      }
    }
    checkHandles(h, model, 4);
  }
  return 0;
}
