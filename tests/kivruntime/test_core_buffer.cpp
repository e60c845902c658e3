/*
 * Tests of the reference-counted string buffer and its handle: the path the
 * backend takes (set from UTF-8, serialise, release), capacities, growth,
 * copy-on-write clearing, and the out-of-memory paths through a heap policy
 * that fails on demand.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <stddef.h>
#include <string.h>
#include <thread>
#include <vector>

namespace {

/*
 * CTestHeap - a heap policy that counts its blocks and fails the n-th
 * allocation or reallocation on demand, so that the failure paths of the
 * buffer really run.
 */
class CTestHeap
{
public:
  static int s_nLive;   /* blocks allocated and not yet freed */
  static int s_nCalls;  /* Alloc and Realloc calls so far */
  static int s_nFailAt; /* the call number that fails (0: none) */

  static void Reset(int failAt)
  {
    s_nCalls = 0;
    s_nFailAt = failAt;
  }
  static void *Alloc(size_t bytes)
  {
    if (++s_nCalls == s_nFailAt)
      return 0;
    void *p = malloc(bytes);
    if (p)
      s_nLive++;
    return p;
  }
  static void *Realloc(void *block, size_t bytes)
  {
    if (++s_nCalls == s_nFailAt)
      return 0;
    return realloc(block, bytes);
  }
  static void Free(void *block)
  {
    if (block)
      s_nLive--;
    free(block);
  }
};
int CTestHeap::s_nLive = 0;
int CTestHeap::s_nCalls = 0;
int CTestHeap::s_nFailAt = 0;

typedef TKivStringBuffer<wchar_t, CKivMemHeap> WBuf;
typedef TKivString<wchar_t, CKivMemHeap> WStr;
typedef TKivStringBuffer<wchar_t, CTestHeap> TBuf;
typedef TKivString<wchar_t, CTestHeap> TStr;

std::vector<unsigned char> Bytes(std::initializer_list<int> l)
{
  std::vector<unsigned char> v;
  for (int b : l)
    v.push_back((unsigned char)b);
  return v;
}

/* The backend's exact sequence: a handle on the stack, SetUTF8 with -1,
 * Serialize into a field of the record's size, release at scope end. */
TEST(CoreBuffer, BackendPrinterNamePath)
{
  const char *name = "Office \xC3\xA9t\xC3\xA9 \xE2\x82\xAC"; /* "Office été €" */
  unsigned char buf[64];
  memset(buf, 0xAA, sizeof buf);
  unsigned int nameLen = 2 * 12 + 2;
  {
    TKivString<wchar_t, CKivMemHeap> s;
    s.SetUTF8(name, (unsigned int)-1);
    ASSERT_NE(s.GetBuffer(), nullptr);
    EXPECT_EQ(s.GetBuffer()->m_nLength, 12u);
    EXPECT_EQ(s.GetBuffer()->m_nCapacity, 16u);
    EXPECT_EQ(s.GetBuffer()->m_nRefs, 0);
    EXPECT_EQ(s.Serialize(buf, nameLen), nameLen);
  }
  std::vector<unsigned char> want = Bytes({'O', 0, 'f', 0, 'f', 0, 'i', 0, 'c', 0, 'e', 0, ' ', 0,
                                           0xE9, 0, 't', 0, 0xE9, 0, ' ', 0, 0xAC, 0x20, 0, 0});
  EXPECT_EQ(std::vector<unsigned char>(buf, buf + nameLen), want);
  for (unsigned int i = nameLen; i < sizeof buf; i++)
    EXPECT_EQ(buf[i], 0xAA) << i;
}

/* Same path with the counting heap: exactly one block, freed at the end;
 * a field that is too small is left untouched. */
TEST(CoreBuffer, BackendPathFreesItsBlockAndRespectsFieldSize)
{
  CTestHeap::Reset(0);
  int live = CTestHeap::s_nLive;
  unsigned char buf[8];
  memset(buf, 0xAA, sizeof buf);
  {
    TStr s;
    s.SetUTF8("Office", (unsigned int)-1);
    EXPECT_EQ(CTestHeap::s_nLive, live + 1);
    EXPECT_EQ(s.Serialize(buf, 8), 14u);
    EXPECT_EQ(s.Serialize(buf, 13), 14u);
    for (unsigned char b : buf)
      EXPECT_EQ(b, 0xAA);
    EXPECT_EQ(s.Serialize(buf, 0), 14u);
  }
  EXPECT_EQ(CTestHeap::s_nLive, live);
  EXPECT_EQ(CTestHeap::s_nCalls, 1);
}

/* An empty handle serialises to the bare terminator. */
TEST(CoreBuffer, EmptyHandleSerialisesTerminatorOnly)
{
  WStr s;
  EXPECT_EQ(s.GetBuffer(), nullptr);
  unsigned char buf[4] = {0xAA, 0xAA, 0xAA, 0xAA};
  EXPECT_EQ(s.Serialize(buf, 4), 2u);
  EXPECT_EQ(buf[0], 0);
  EXPECT_EQ(buf[1], 0);
  EXPECT_EQ(buf[2], 0xAA);
  EXPECT_EQ(s.Serialize(buf, 1), 2u);
}

/* ---------------------------------------------------------------- layout */

TEST(CoreBuffer, HeaderLayout)
{
  EXPECT_EQ(sizeof(WBuf), 12u);
  EXPECT_EQ(offsetof(WBuf, m_nRefs), 0u);
  EXPECT_EQ(offsetof(WBuf, m_nCapacity), 4u);
  EXPECT_EQ(offsetof(WBuf, m_nLength), 8u);
  EXPECT_EQ(sizeof(WStr), sizeof(void *));
  WBuf *b = WBuf::Create(L"xy", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ((void *)b->GetChars(), (void *)((unsigned char *)b + 12));
  WBuf::Release(b);
}

/* ---------------------------------------------------------------- Create */

TEST(CoreBuffer, CreateOfEmptyYieldsNull)
{
  CTestHeap::Reset(0);
  EXPECT_EQ(TBuf::Create(nullptr, (unsigned int)-1), nullptr);
  EXPECT_EQ(TBuf::Create(L"abc", 0), nullptr);
  EXPECT_EQ(TBuf::Create(L"", (unsigned int)-1), nullptr);
  EXPECT_EQ(TBuf::Create(nullptr, 0), nullptr);
  EXPECT_EQ(CTestHeap::s_nCalls, 0); /* nothing was allocated */
}

TEST(CoreBuffer, CreateCapacitySteps)
{
  const wchar_t *text = L"0123456789abcdefghijklmnopqrstuvwxyz";
  struct
  {
    unsigned int count, capacity;
  } cases[] = {{1, 16}, {15, 16}, {16, 32}, {31, 32}, {32, 48}, {36, 48}};
  for (auto c : cases)
  {
    WBuf *b = WBuf::Create(text, c.count);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->m_nCapacity, c.capacity) << c.count;
    EXPECT_EQ(b->m_nLength, c.count);
    EXPECT_EQ(b->m_nRefs, 0);
    EXPECT_EQ(wmemcmp(b->GetChars(), text, c.count), 0);
    EXPECT_EQ(b->GetChars()[c.count], 0);
    WBuf::Release(b);
  }
  WBuf *b = WBuf::Create(text, (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 36u);
  EXPECT_EQ(b->m_nCapacity, 48u);
  WBuf::Release(b);
}

TEST(CoreBuffer, CreateCopiesEmbeddedZerosAndReservesForNullText)
{
  const wchar_t text[] = {'a', 0, 'b', 0, 'c'};
  WBuf *b = WBuf::Create(text, 5);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 5u);
  EXPECT_EQ(wmemcmp(b->GetChars(), text, 5), 0);
  EXPECT_EQ(b->GetChars()[5], 0);
  WBuf::Release(b);

  b = WBuf::Create(nullptr, 20);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 0u);
  EXPECT_EQ(b->m_nCapacity, 32u);
  EXPECT_EQ(b->GetChars()[0], 0);
  WBuf::Release(b);
}

TEST(CoreBuffer, CreateOutOfMemory)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(1);
  EXPECT_EQ(TBuf::Create(L"abc", 3), nullptr);
  EXPECT_EQ(CTestHeap::s_nCalls, 1);
  EXPECT_EQ(CTestHeap::s_nLive, live);
  /* a size that cannot be represented is refused without asking the heap */
  CTestHeap::Reset(0);
  EXPECT_EQ(TBuf::Create(nullptr, 0xFFFFFFFEu), nullptr);
  EXPECT_EQ(CTestHeap::s_nCalls, 0);
}

/* ---------------------------------------------------------------- Expand */

TEST(CoreBuffer, ExpandDoublesWhileSmall)
{
  WBuf *b = WBuf::Create(L"hello", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(b->m_nCapacity, 16u);
  WBuf *same = WBuf::Expand(b, 16);
  EXPECT_EQ(same, b);
  EXPECT_EQ(b->m_nCapacity, 16u);
  b = WBuf::Expand(b, 17);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 32u);
  EXPECT_EQ(b->m_nLength, 5u);
  EXPECT_EQ(wcscmp(b->GetChars(), L"hello"), 0);
  WBuf::Release(b);

  b = WBuf::Create(L"x", 1);
  b = WBuf::Expand(b, 100);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 128u);
  EXPECT_EQ(b->m_nLength, 1u);
  EXPECT_EQ(b->GetChars()[0], L'x');
  EXPECT_EQ(b->GetChars()[1], 0);
  /* 128 doubled up to 32768 exactly */
  b = WBuf::Expand(b, 20000);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 32768u);
  WBuf::Release(b);
}

TEST(CoreBuffer, ExpandLargeSteps)
{
  WBuf *b = WBuf::Create(nullptr, 32767);
  ASSERT_NE(b, nullptr);
  ASSERT_EQ(b->m_nCapacity, 32768u);
  b = WBuf::Expand(b, 40000);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 65536u);
  WBuf::Release(b);

  /* a capacity of 16384 (<= 32767) still doubles: 32768, then 65536 */
  b = WBuf::Create(nullptr, 16383);
  ASSERT_EQ(b->m_nCapacity, 16384u);
  b = WBuf::Expand(b, 40000);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 65536u);
  WBuf::Release(b);

  struct
  {
    unsigned int cells, capacity;
  } big[] = {{65535, 65536}, {65536, 65536}, {65537, 131072}, {131072, 131072}, {200000, 262144}};
  for (auto c : big)
  {
    b = WBuf::Create(L"abc", 3);
    b = WBuf::Expand(b, c.cells);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(b->m_nCapacity, c.capacity) << c.cells;
    EXPECT_EQ(wcscmp(b->GetChars(), L"abc"), 0);
    EXPECT_EQ(b->m_nLength, 3u);
    b->GetChars()[c.capacity - 1] = 1; /* the whole block is usable */
    WBuf::Release(b);
  }
}

TEST(CoreBuffer, ExpandOfNull)
{
  EXPECT_EQ(WBuf::Expand(nullptr, 0), nullptr);
  EXPECT_EQ(WBuf::Expand(nullptr, 1), nullptr);
  WBuf *b = WBuf::Expand(nullptr, 2);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 16u);
  EXPECT_EQ(b->m_nLength, 0u);
  EXPECT_EQ(b->GetChars()[0], 0);
  WBuf::Release(b);
  b = WBuf::Expand(nullptr, 17);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 32u);
  WBuf::Release(b);
}

TEST(CoreBuffer, ExpandOutOfMemoryReleasesTheBuffer)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(2); /* the Create succeeds, the Realloc fails */
  TBuf *b = TBuf::Create(L"abc", 3);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(CTestHeap::s_nLive, live + 1);
  EXPECT_EQ(TBuf::Expand(b, 17), nullptr);
  EXPECT_EQ(CTestHeap::s_nCalls, 2);
  EXPECT_EQ(CTestHeap::s_nLive, live);

  /* a shared buffer loses only this owner's reference */
  CTestHeap::Reset(2);
  b = TBuf::Create(L"abc", 3);
  TBuf::AddRef(b);
  EXPECT_EQ(TBuf::Expand(b, 17), nullptr);
  EXPECT_EQ(b->m_nRefs, 0);
  EXPECT_EQ(wcscmp(b->GetChars(), L"abc"), 0);
  TBuf::Release(b);
  EXPECT_EQ(CTestHeap::s_nLive, live);

  /* a request that cannot be represented counts as out of memory */
  CTestHeap::Reset(0);
  b = TBuf::Create(L"abc", 3);
  EXPECT_EQ(TBuf::Expand(b, 0xFFFFFFFFu), nullptr);
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

/* ---------------------------------------------------------------- Clear, Release */

TEST(CoreBuffer, ClearSoleOwnerKeepsCapacity)
{
  EXPECT_EQ(WBuf::Clear(nullptr), nullptr);
  WBuf *b = WBuf::Create(L"0123456789abcdefghij", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  WBuf *c = WBuf::Clear(b);
  EXPECT_EQ(c, b);
  EXPECT_EQ(b->m_nLength, 0u);
  EXPECT_EQ(b->m_nCapacity, 32u);
  EXPECT_EQ(b->GetChars()[0], 0);
  WBuf::Release(b);
}

TEST(CoreBuffer, ClearSharedDropsOneReference)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(0);
  TBuf *b = TBuf::Create(L"shared", (unsigned int)-1);
  EXPECT_EQ(TBuf::AddRef(b), b);
  EXPECT_EQ(b->m_nRefs, 1);
  EXPECT_EQ(TBuf::Clear(b), nullptr);
  EXPECT_EQ(b->m_nRefs, 0);
  EXPECT_EQ(b->m_nLength, 6u);
  EXPECT_EQ(wcscmp(b->GetChars(), L"shared"), 0);
  EXPECT_EQ(CTestHeap::s_nLive, live + 1);
  TBuf::Release(b);
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

TEST(CoreBuffer, ReleaseFreesOnlyAfterTheLastOwner)
{
  int live = CTestHeap::s_nLive;
  TBuf::Release(nullptr);
  EXPECT_EQ(TBuf::AddRef(nullptr), nullptr);
  TBuf *b = TBuf::Create(L"x", 1);
  TBuf::AddRef(b);
  TBuf::AddRef(b);
  EXPECT_EQ(b->m_nRefs, 2);
  TBuf::Release(b);
  EXPECT_EQ(b->m_nRefs, 1);
  TBuf::Release(b);
  EXPECT_EQ(b->m_nRefs, 0);
  EXPECT_EQ(CTestHeap::s_nLive, live + 1);
  TBuf::Release(b);
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

/* ---------------------------------------------------------------- SetUTF8 of the buffer */

TEST(CoreBuffer, SetUTF8OnNullCreatesMeasuredBuffer)
{
  WBuf *b = WBuf::SetUTF8(nullptr, "\xC3\xA9t\xC3\xA9", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 3u);
  /* Create(null, characters + 1): 3 + 1 + 1 rounded to 16 */
  EXPECT_EQ(b->m_nCapacity, 16u);
  EXPECT_EQ(wcscmp(b->GetChars(), L"\u00E9t\u00E9"), 0);
  WBuf::Release(b);

  /* 15 characters need Create(null, 16): capacity 32 */
  b = WBuf::SetUTF8(nullptr, "123456789012345", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 32u);
  EXPECT_EQ(b->m_nLength, 15u);
  WBuf::Release(b);

  /* an empty text still gives a reserved, empty buffer */
  b = WBuf::SetUTF8(nullptr, "", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 0u);
  EXPECT_EQ(b->m_nCapacity, 16u);
  EXPECT_EQ(b->GetChars()[0], 0);
  WBuf::Release(b);
  b = WBuf::SetUTF8(nullptr, nullptr, (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 0u);
  WBuf::Release(b);
}

TEST(CoreBuffer, SetUTF8ReusesASoleOwnedBuffer)
{
  CTestHeap::Reset(0);
  TBuf *b = TBuf::Create(L"old text", (unsigned int)-1);
  ASSERT_EQ(b->m_nCapacity, 16u);
  TBuf *c = TBuf::SetUTF8(b, "123456789012345", (unsigned int)-1); /* capacity - 1 characters */
  EXPECT_EQ(c, b);
  EXPECT_EQ(CTestHeap::s_nCalls, 1); /* no reallocation */
  EXPECT_EQ(c->m_nLength, 15u);
  EXPECT_EQ(c->m_nCapacity, 16u);
  EXPECT_EQ(wcscmp(c->GetChars(), L"123456789012345"), 0);

  c = TBuf::SetUTF8(c, "1234567890123456", (unsigned int)-1); /* one more: grows */
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(CTestHeap::s_nCalls, 2);
  EXPECT_EQ(c->m_nCapacity, 32u);
  EXPECT_EQ(c->m_nLength, 16u);
  EXPECT_EQ(wcscmp(c->GetChars(), L"1234567890123456"), 0);

  c = TBuf::SetUTF8(c, "ab\0cd", 5); /* explicit count with an embedded zero */
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->m_nLength, 5u);
  EXPECT_EQ(wmemcmp(c->GetChars(), L"ab\0cd", 6), 0);
  EXPECT_EQ(CTestHeap::s_nCalls, 2);
  TBuf::Release(c);
}

TEST(CoreBuffer, SetUTF8OnSharedBufferLeavesTheOtherOwnerAlone)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(0);
  TBuf *shared = TBuf::Create(L"keep me", (unsigned int)-1);
  TBuf *mine = TBuf::AddRef(shared);
  mine = TBuf::SetUTF8(mine, "new", (unsigned int)-1);
  ASSERT_NE(mine, nullptr);
  EXPECT_NE(mine, shared);
  EXPECT_EQ(shared->m_nRefs, 0);
  EXPECT_EQ(wcscmp(shared->GetChars(), L"keep me"), 0);
  EXPECT_EQ(wcscmp(mine->GetChars(), L"new"), 0);
  EXPECT_EQ(mine->m_nRefs, 0);
  TBuf::Release(mine);
  TBuf::Release(shared);
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

TEST(CoreBuffer, SetUTF8OutOfMemoryWhileGrowing)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(2); /* Create succeeds, the growth fails */
  TBuf *b = TBuf::Create(L"short", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(TBuf::SetUTF8(b, "a text that is much longer than sixteen", (unsigned int)-1), nullptr);
  EXPECT_EQ(CTestHeap::s_nCalls, 2);
  EXPECT_EQ(CTestHeap::s_nLive, live); /* the old buffer was released once */
}

TEST(CoreBuffer, SetUTF8OutOfMemoryWhileCreating)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(1);
  EXPECT_EQ(TBuf::SetUTF8(nullptr, "abc", (unsigned int)-1), nullptr);
  EXPECT_EQ(CTestHeap::s_nLive, live);

  /* shared: this owner's reference is dropped, the other keeps its text */
  CTestHeap::Reset(2);
  TBuf *shared = TBuf::Create(L"other", (unsigned int)-1);
  TBuf *mine = TBuf::AddRef(shared);
  EXPECT_EQ(TBuf::SetUTF8(mine, "abc", (unsigned int)-1), nullptr);
  EXPECT_EQ(shared->m_nRefs, 0);
  EXPECT_EQ(wcscmp(shared->GetChars(), L"other"), 0);
  TBuf::Release(shared);
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

/* ---------------------------------------------------------------- the handle */

TEST(CoreBuffer, HandleSetUTF8EmptyForms)
{
  WStr s;
  s.SetUTF8(nullptr, (unsigned int)-1);
  EXPECT_EQ(s.GetBuffer(), nullptr);
  s.SetUTF8("", (unsigned int)-1);
  EXPECT_EQ(s.GetBuffer(), nullptr);
  s.SetUTF8("\0abc", 4); /* first byte 0: empty whatever the count */
  EXPECT_EQ(s.GetBuffer(), nullptr);

  s.SetUTF8("abc", (unsigned int)-1);
  WBuf *b = s.GetBuffer();
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(s.GetLength(), 3u);
  s.SetUTF8("\0abc", 4); /* sole owner: emptied in place, buffer kept */
  EXPECT_EQ(s.GetBuffer(), b);
  EXPECT_EQ(b->m_nLength, 0u);
  EXPECT_EQ(b->GetChars()[0], 0);
  s.SetUTF8("abc", (unsigned int)-1);
  s.SetUTF8(nullptr, 3);
  EXPECT_EQ(s.GetBuffer(), b);
  EXPECT_EQ(s.GetLength(), 0u);
  s.SetUTF8("abc", 0); /* a count of 0: empty, the text is not read */
  EXPECT_EQ(s.GetBuffer(), b);
  EXPECT_EQ(s.GetLength(), 0u);
  s.SetUTF8("xyz", 2);
  EXPECT_EQ(s.GetBuffer(), b);
  EXPECT_EQ(wcscmp(b->GetChars(), L"xy"), 0);
  s.Clear();
  EXPECT_EQ(s.GetBuffer(), b);
  EXPECT_EQ(s.GetLength(), 0u);
}

TEST(CoreBuffer, HandleCopiesShareAndCopyOnWrite)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(0);
  {
    TStr a;
    a.SetUTF8("first", (unsigned int)-1);
    TStr b(a);
    EXPECT_EQ(b.GetBuffer(), a.GetBuffer());
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 1);
    EXPECT_EQ(CTestHeap::s_nLive, live + 1);

    b.SetUTF8("second", (unsigned int)-1);
    EXPECT_NE(b.GetBuffer(), a.GetBuffer());
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 0);
    EXPECT_EQ(wcscmp(a.GetBuffer()->GetChars(), L"first"), 0);
    EXPECT_EQ(wcscmp(b.GetBuffer()->GetChars(), L"second"), 0);

    TStr c;
    c = a;
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 1);
    c.Clear(); /* shared: c lets go, a keeps its text */
    EXPECT_EQ(c.GetBuffer(), nullptr);
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 0);
    EXPECT_EQ(wcscmp(a.GetBuffer()->GetChars(), L"first"), 0);

    c = a;
    TStr &alias = c;
    c = alias; /* self-assignment keeps the count */
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 1);
    TStr d(std::move(c));
    EXPECT_EQ(c.GetBuffer(), nullptr);
    EXPECT_EQ(d.GetBuffer(), a.GetBuffer());
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 1);
    d = std::move(b);
    EXPECT_EQ(a.GetBuffer()->m_nRefs, 0);
    EXPECT_EQ(wcscmp(d.GetBuffer()->GetChars(), L"second"), 0);
    EXPECT_EQ(CTestHeap::s_nLive, live + 2);
  }
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

TEST(CoreBuffer, HandleOutOfMemoryLeavesEmptyString)
{
  int live = CTestHeap::s_nLive;
  CTestHeap::Reset(2);
  {
    TStr s;
    s.SetUTF8("short", (unsigned int)-1);
    ASSERT_NE(s.GetBuffer(), nullptr);
    s.SetUTF8("a text that is much longer than sixteen", (unsigned int)-1);
    EXPECT_EQ(s.GetBuffer(), nullptr);
    EXPECT_EQ(s.GetLength(), 0u);
    unsigned char buf[4] = {0xAA, 0xAA, 0xAA, 0xAA};
    EXPECT_EQ(s.Serialize(buf, 4), 2u);
    EXPECT_EQ(buf[0], 0);
    EXPECT_EQ(buf[1], 0);
  }
  EXPECT_EQ(CTestHeap::s_nLive, live);
}

TEST(CoreBuffer, ConcurrentCopiesAndReleasesCountAtomically)
{
  WStr s;
  s.SetUTF8("shared across threads", (unsigned int)-1);
  WBuf *b = s.GetBuffer();
  ASSERT_NE(b, nullptr);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; t++)
  {
    threads.emplace_back([&s]() {
      for (int i = 0; i < 20000; i++)
      {
        WStr copy(s);
        WStr other;
        other = copy;
      }
    });
  }
  for (auto &t : threads)
    t.join();
  EXPECT_EQ(b->m_nRefs, 0);
  EXPECT_EQ(s.GetBuffer(), b);
  EXPECT_EQ(wcscmp(b->GetChars(), L"shared across threads"), 0);
}

/* A narrow instantiation works for the operations that do not decode. */
TEST(CoreBuffer, NarrowInstantiation)
{
  typedef TKivStringBuffer<char, CKivMemHeap> NBuf;
  NBuf *b = NBuf::Create("narrow", (unsigned int)-1);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nLength, 6u);
  EXPECT_EQ(b->m_nCapacity, 16u);
  EXPECT_STREQ(b->GetChars(), "narrow");
  b = NBuf::Expand(b, 40);
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->m_nCapacity, 64u);
  EXPECT_EQ(NBuf::Clear(b), b);
  NBuf::Release(b);
}

/* ---------------------------------------------------------------- serial form */

std::vector<unsigned char> Serial(const wchar_t *text, unsigned int count, unsigned int size, unsigned int *result)
{
  std::vector<unsigned char> buf(size + 4, 0xAA);
  *result = KivStrSerialize(buf.data(), size, text, count);
  return buf;
}

TEST(CoreSerial, NullAndEmptyText)
{
  unsigned int r;
  auto buf = Serial(nullptr, (unsigned int)-1, 2, &r);
  EXPECT_EQ(r, 2u);
  EXPECT_EQ(buf, Bytes({0, 0, 0xAA, 0xAA, 0xAA, 0xAA}));
  buf = Serial(nullptr, 7, 3, &r);
  EXPECT_EQ(r, 2u);
  EXPECT_EQ(buf, Bytes({0, 0, 0xAA, 0xAA, 0xAA, 0xAA, 0xAA}));
  buf = Serial(L"", (unsigned int)-1, 1, &r);
  EXPECT_EQ(r, 2u);
  EXPECT_EQ(buf, Bytes({0xAA, 0xAA, 0xAA, 0xAA, 0xAA}));
  EXPECT_EQ(KivStrSerialize(nullptr, 0, nullptr, 0), 2u);
  EXPECT_EQ(KivStrSerialize(nullptr, 100, L"ab", (unsigned int)-1), 6u); /* no destination: measure */
}

TEST(CoreSerial, SizeRules)
{
  const wchar_t *t = L"ab\u00E9";
  unsigned int r;
  std::vector<unsigned char> want = Bytes({'a', 0, 'b', 0, 0xE9, 0, 0, 0});
  /* exactly 2n + 2 */
  auto buf = Serial(t, (unsigned int)-1, 8, &r);
  EXPECT_EQ(r, 8u);
  EXPECT_EQ(std::vector<unsigned char>(buf.begin(), buf.begin() + 8), want);
  EXPECT_EQ(buf[8], 0xAA);
  /* 2n + 3 succeeds the same way, the odd byte untouched */
  buf = Serial(t, 3, 9, &r);
  EXPECT_EQ(r, 8u);
  EXPECT_EQ(std::vector<unsigned char>(buf.begin(), buf.begin() + 8), want);
  EXPECT_EQ(buf[8], 0xAA);
  /* 2n + 1 fails and writes nothing */
  for (unsigned int size : {7u, 6u, 1u, 0u})
  {
    buf = Serial(t, 3, size, &r);
    EXPECT_EQ(r, 8u) << size;
    for (unsigned char c : buf)
      EXPECT_EQ(c, 0xAA) << size;
  }
}

TEST(CoreSerial, HighBitsDroppedAndEmbeddedZeros)
{
  const wchar_t t[] = {0x1F600, 0, (wchar_t)0xFFFFFFE9u, 0x20AC, 0xD83D};
  unsigned int r;
  auto buf = Serial(t, 5, 12, &r);
  EXPECT_EQ(r, 12u);
  EXPECT_EQ(std::vector<unsigned char>(buf.begin(), buf.begin() + 12),
            Bytes({0x00, 0xF6, 0, 0, 0xE9, 0xFF, 0xAC, 0x20, 0x3D, 0xD8, 0, 0}));
  buf = Serial(t, (unsigned int)-1, 12, &r);
  EXPECT_EQ(r, 4u);
  EXPECT_EQ(std::vector<unsigned char>(buf.begin(), buf.begin() + 5), Bytes({0x00, 0xF6, 0, 0, 0xAA}));
}

TEST(CoreSerial, DeSerializeCounts)
{
  const unsigned char five[] = {'a', 0, 0x00, 0xF6, 0x77};
  wchar_t d[6];
  wmemset(d, 0x5A5A, 6);
  EXPECT_EQ(KivStrDeSerialize(d, 2, five, 5), 3u); /* capacity = units: fails */
  EXPECT_EQ(d[0], 0x5A5A);
  EXPECT_EQ(KivStrDeSerialize(d, 0, five, 5), 3u);
  EXPECT_EQ(KivStrDeSerialize(nullptr, 0, five, 5), 3u);
  EXPECT_EQ(KivStrDeSerialize(d, 3, five, 5), 2u);
  EXPECT_EQ(d[0], L'a');
  EXPECT_EQ(d[1], 0xF600);
  EXPECT_EQ(d[2], 0);
  EXPECT_EQ(d[3], 0x5A5A);

  /* zero units and surrogates are copied as they stand */
  const unsigned char units[] = {0x3D, 0xD8, 0x00, 0xDE, 0, 0, 'z', 0, 0xFF, 0xFF};
  wmemset(d, 0x5A5A, 6);
  EXPECT_EQ(KivStrDeSerialize(d, 6, units, 10), 5u);
  EXPECT_EQ((unsigned int)d[0], 0xD83Du);
  EXPECT_EQ((unsigned int)d[1], 0xDE00u);
  EXPECT_EQ(d[2], 0);
  EXPECT_EQ(d[3], L'z');
  EXPECT_EQ((unsigned int)d[4], 0xFFFFu);
  EXPECT_EQ(d[5], 0);

  /* nothing to read */
  wmemset(d, 0x5A5A, 6);
  EXPECT_EQ(KivStrDeSerialize(d, 1, nullptr, 8), 0u);
  EXPECT_EQ(d[0], 0);
  EXPECT_EQ(d[1], 0x5A5A);
  EXPECT_EQ(KivStrDeSerialize(d, 1, five, 1), 0u);
  EXPECT_EQ(KivStrDeSerialize(d, 0, five, 0), 1u);
}

TEST(CoreSerial, WholeSerialFormIsNotAnExactInverse)
{
  const wchar_t *t = L"abc";
  unsigned char ser[8];
  ASSERT_EQ(KivStrSerialize(ser, sizeof ser, t, (unsigned int)-1), 8u);
  wchar_t d[6];
  EXPECT_EQ(KivStrDeSerialize(d, 4, ser, 8), 5u); /* needs count + 2 */
  wmemset(d, 0x5A5A, 6);
  EXPECT_EQ(KivStrDeSerialize(d, 5, ser, 8), 4u); /* count + 1: the terminator too */
  EXPECT_EQ(wmemcmp(d, L"abc\0", 5), 0);
  EXPECT_EQ(d[5], 0x5A5A);
  EXPECT_EQ(KivStrDeSerialize(d, 5, ser, 6), 3u);
  EXPECT_EQ(wcscmp(d, L"abc"), 0);
}

} // namespace
