/*
 * Tests of the reference-counted string buffer and its handle: the path the
 * backend takes (set from UTF-8, serialise, release), capacities, growth,
 * copy-on-write clearing, and the out-of-memory paths through a heap policy
 * that fails on demand.
 */
#include "KivString_unix.h"

#include <gtest/gtest.h>

#include <string.h>
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
    static int s_nLive;       /* blocks allocated and not yet freed */
    static int s_nCalls;      /* Alloc and Realloc calls so far */
    static int s_nFailAt;     /* the call number that fails (0: none) */

    static void Reset(int failAt)
    {
        s_nCalls = 0;
        s_nFailAt = failAt;
    }
    static void* Alloc(size_t bytes)
    {
        if (++s_nCalls == s_nFailAt)
            return 0;
        void* p = malloc(bytes);
        if (p)
            s_nLive++;
        return p;
    }
    static void* Realloc(void* block, size_t bytes)
    {
        if (++s_nCalls == s_nFailAt)
            return 0;
        return realloc(block, bytes);
    }
    static void Free(void* block)
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
    const char* name = "Office \xC3\xA9t\xC3\xA9 \xE2\x82\xAC";  /* "Office été €" */
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

}  // namespace
