/*
 * test_edit_path.cpp - KivStrPath with its accessor CPC and its block
 * stepper StrNextPathBlock, narrow and wide: joining, "." and ".."
 * removal, separators, "file://" and drive prefixes, the lost final block
 * of one element, capacities, dot names outside the contract (ordinary
 * names, reported once on stderr) and random paths under a time bound.
 */
#include "kiv_edit_checks.h"

using namespace edit_test;

template <typename C>
class EditPath : public ::testing::Test
{
};
TYPED_TEST_SUITE(EditPath, ElementTypes);

namespace {

const char kAssertLine[] = "src/unix/KivString_unix.cpp:467: failed assertion `false'\n";

/* Joins base and rel (either may be null) into b; also checks that the
 * call printed nothing when quiet is set. */
template <typename C>
unsigned int Join(Buf<C> &b, unsigned int cap, const char *base, const char *rel, bool quiet = true)
{
  std::basic_string<C> bs = base ? S<C>(base) : std::basic_string<C>();
  std::basic_string<C> rs = rel ? S<C>(rel) : std::basic_string<C>();
  StderrCapture cap2;
  cap2.begin();
  unsigned int r = KivStrPath(b.p(), cap, base ? bs.c_str() : nullptr, rel ? rs.c_str() : nullptr);
  std::string err = cap2.end();
  if (quiet)
  {
    EXPECT_EQ("", err) << "base=" << (base ? base : "(null)") << " rel=" << (rel ? rel : "(null)");
  }
  return r;
}

/* The joined path with a large buffer. */
template <typename C>
std::basic_string<C> Joined(const char *base, const char *rel, unsigned int *result = nullptr)
{
  Buf<C> b(256);
  unsigned int r = Join(b, 256, base, rel);
  if (result)
    *result = r;
  EXPECT_TRUE(b.GuardsIntact());
  return b.Str();
}

} // namespace

TYPED_TEST(EditPath, ParentOfBase)
{
  typedef TypeParam C;
  unsigned int r = 0;
  EXPECT_EQ(S<C>("/usr/lib"), Joined<C>("/usr/local", "../lib", &r));
  EXPECT_EQ(8u, r);
}

TYPED_TEST(EditPath, FilePrefixAndDotBlock)
{
  typedef TypeParam C;
  unsigned int r = 0;
  EXPECT_EQ(S<C>("/a/b/cd"), Joined<C>("file:///a/b", "./cd", &r));
  EXPECT_EQ(7u, r);
  /* The prefix is stripped from rel as well. */
  EXPECT_EQ(S<C>("/x/y/zz"), Joined<C>("/x", "file:///y/zz", &r));
  EXPECT_EQ(7u, r);
  /* Only exactly "file://" is a prefix. */
  EXPECT_EQ(S<C>("File:/a/bc"), Joined<C>("File:///a", "bc"));
}

/* With both inputs the final block of a single element is lost. */
TYPED_TEST(EditPath, OneElementFinalBlockLost)
{
  typedef TypeParam C;
  unsigned int r = 0;
  EXPECT_EQ(S<C>("/a/"), Joined<C>("/a", "b", &r));
  EXPECT_EQ(3u, r);
  EXPECT_EQ(S<C>("/a/bc"), Joined<C>("/a", "bc", &r));
  EXPECT_EQ(5u, r);
  EXPECT_EQ(S<C>("/a/b/c/"), Joined<C>("/a//b/", "c//d"));
  /* Alone, a one-element final block stays. */
  EXPECT_EQ(S<C>("/a/b"), Joined<C>("/a/b", nullptr));
  EXPECT_EQ(S<C>("x/b"), Joined<C>(nullptr, "x/b"));
}

TYPED_TEST(EditPath, DriveRelDropsBase)
{
  typedef TypeParam C;
  unsigned int r = 0;
  EXPECT_EQ(S<C>("D:/x/yz"), Joined<C>("/base/dir", "D:\\x\\yz", &r));
  EXPECT_EQ(7u, r);
  /* "D:/x" is not drive-absolute here: the base stays. */
  EXPECT_EQ(S<C>("/b/D:/xy"), Joined<C>("/b", "D:/xy"));
}

TYPED_TEST(EditPath, Separators)
{
  typedef TypeParam C;
  EXPECT_EQ(S<C>("C:/dir/xy"), Joined<C>("C:\\dir\\sub", "..\\xy"));
  EXPECT_EQ(S<C>("/a/b/"), Joined<C>("//a\\\\b/", nullptr));
  EXPECT_EQ(S<C>("/usr/lib"), Joined<C>("/usr/", "lib"));
  EXPECT_EQ(S<C>("/usr/lib/"), Joined<C>("/usr/", "/lib/"));
}

TYPED_TEST(EditPath, DotsAndParents)
{
  typedef TypeParam C;
  EXPECT_EQ(S<C>("a/c"), Joined<C>(nullptr, "a/b/../c"));
  EXPECT_EQ(S<C>("a/b"), Joined<C>("", "a/./b"));
  EXPECT_EQ(S<C>("a"), Joined<C>(nullptr, "./a"));
  EXPECT_EQ(S<C>("c"), Joined<C>(nullptr, "a/b/../../c"));
  EXPECT_EQ(S<C>("b"), Joined<C>(nullptr, "a/./../b"));
  EXPECT_EQ(S<C>("/a/c"), Joined<C>("/a/b/../c", nullptr));
  EXPECT_EQ(S<C>("/a/c"), Joined<C>("/a/b/../c", ""));
  EXPECT_EQ(S<C>(""), Joined<C>(nullptr, "a/../"));
  /* A ".." with nothing to cancel stays as it stands. */
  EXPECT_EQ(S<C>("../a"), Joined<C>(nullptr, "../a"));
  EXPECT_EQ(S<C>("../../a"), Joined<C>(nullptr, "../../a"));
  EXPECT_EQ(S<C>("../x"), Joined<C>(nullptr, "a/../../x"));
  /* The leading "/" counts as a block of its own and can be cancelled. */
  EXPECT_EQ(S<C>("bc"), Joined<C>("/a", "../../bc"));
}

TYPED_TEST(EditPath, NothingGiven)
{
  typedef TypeParam C;
  unsigned int r = 7;
  EXPECT_EQ(S<C>(""), Joined<C>(nullptr, nullptr, &r));
  EXPECT_EQ(0u, r);
  EXPECT_EQ(S<C>(""), Joined<C>("", "", &r));
  EXPECT_EQ(0u, r);
  Buf<C> zero(0);
  EXPECT_EQ(1u, Join(zero, 0, nullptr, nullptr));
  EXPECT_TRUE(zero.Untouched());
}

TYPED_TEST(EditPath, Capacities)
{
  typedef TypeParam C;
  Buf<C> exact(9);
  EXPECT_EQ(8u, Join(exact, 9, "/usr/local", "../lib"));
  EXPECT_EQ(S<C>("/usr/lib"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  Buf<C> shortBy1(8);
  EXPECT_EQ(9u, Join(shortBy1, 8, "/usr/local", "../lib"));
  EXPECT_EQ(S<C>("/usr/li"), shortBy1.Str());
  EXPECT_EQ(C(0), shortBy1.v[7]);
  EXPECT_TRUE(shortBy1.GuardsIntact());

  Buf<C> one(1);
  EXPECT_EQ(9u, Join(one, 1, "/usr/local", "../lib"));
  EXPECT_EQ(C(0), one.v[0]);
  EXPECT_TRUE(one.GuardsIntact());

  Buf<C> zero(0);
  EXPECT_EQ(9u, Join(zero, 0, "/usr/local", "../lib"));
  EXPECT_TRUE(zero.Untouched());

  EXPECT_EQ(9u, KivStrPath((C *)nullptr, 100, S<C>("/usr/local").c_str(), S<C>("../lib").c_str()));
}

/* Every shorter capacity keeps a prefix of the full result. */
TYPED_TEST(EditPath, EveryCapacity)
{
  typedef TypeParam C;
  const std::basic_string<C> full = S<C>("/a/z/qq");
  for (unsigned int cap = 0; cap <= 12; cap++)
  {
    Buf<C> b(cap);
    unsigned int r = Join(b, cap, "/a/x", "y/../../z/qq");
    EXPECT_TRUE(b.GuardsIntact()) << cap;
    if (cap > 7)
    {
      EXPECT_EQ(7u, r) << cap;
      EXPECT_EQ(full, b.Str()) << cap;
      EXPECT_TRUE(b.UntouchedFrom(8)) << cap;
    }
    else if (cap == 0)
    {
      EXPECT_EQ(8u, r);
      EXPECT_TRUE(b.Untouched());
    }
    else
    {
      EXPECT_EQ(8u, r) << cap;
      EXPECT_EQ(full.substr(0, cap - 1), b.Str()) << cap;
      EXPECT_EQ(C(0), b.v[cap - 1]) << cap;
    }
  }
}

/*
 * Outside the contract: a block that begins with '.' and is neither "./"
 * nor "../" is an ordinary name.  The first one met in a call is reported
 * on stderr in the runtime's assertion format; the call then carries on.
 */
TYPED_TEST(EditPath, DotNamesAreOrdinaryNames)
{
  typedef TypeParam C;
  struct Case
  {
    const char *base;
    const char *rel;
    const char *want;
  };
  const Case cases[] = {
    {nullptr, ".profile", ".profile"},
    {"/home/u", ".cache/xy", "/home/u/.cache/xy"},
    {"/home/u", ".cache/../yy", "/home/u/yy"},
    {nullptr, "a/..", "a/.."},
    {nullptr, "a/.", "a/."},
    {nullptr, "...", "..."},
    {nullptr, "..", ".."},
    {nullptr, ".", "."},
    {"/a/..", nullptr, "/a/.."},
    {"/a/.x/.y/..", "zz", "/a/.x/zz"},
  };
  for (const Case &c : cases)
  {
    Buf<C> b(64);
    StderrCapture err;
    err.begin();
    unsigned int r = KivStrPath(b.p(), 64, c.base ? S<C>(c.base).c_str() : nullptr,
                                c.rel ? S<C>(c.rel).c_str() : nullptr);
    std::string said = err.end();
    EXPECT_EQ(S<C>(c.want), b.Str()) << c.rel;
    EXPECT_EQ(strlen(c.want), r) << c.rel;
    EXPECT_EQ(kAssertLine, said) << c.rel;
    EXPECT_TRUE(b.GuardsIntact());
  }
}

TYPED_TEST(EditPath, InContractPrintsNothing)
{
  typedef TypeParam C;
  /* Join() itself checks that nothing was printed. */
  Joined<C>("/usr/local", "../lib");
  Joined<C>("/a/./b/../c", "./d/../ef");
  Joined<C>(nullptr, "../../..//x");
}

/* ---- CPC and StrNextPathBlock ---- */

TYPED_TEST(EditPath, AccessorAndStepper)
{
  typedef TypeParam C;
  const std::basic_string<C> base = S<C>("a\\b");
  const std::basic_string<C> rel = S<C>("c//d");
  TKivPathSeq<C> seq;
  seq.base = base.c_str();
  seq.baseLen = 3;
  seq.sep = 1;
  seq.rel = rel.c_str();
  seq.relLen = 4;
  const char want[] = "a/b/c//d";
  for (unsigned int i = 0; i < 8; i++)
    EXPECT_EQ(C(want[i]), CPC(seq, i)) << i;
  EXPECT_EQ(C(0), CPC(seq, 8));
  EXPECT_EQ(C(0), CPC(seq, 1000));
  EXPECT_EQ(2u, StrNextPathBlock(seq, 0));
  EXPECT_EQ(2u, StrNextPathBlock(seq, 1));
  EXPECT_EQ(4u, StrNextPathBlock(seq, 2));
  EXPECT_EQ(7u, StrNextPathBlock(seq, 4));
  EXPECT_EQ(7u, StrNextPathBlock(seq, 5));
  EXPECT_EQ(8u, StrNextPathBlock(seq, 7));
  EXPECT_EQ(8u, StrNextPathBlock(seq, 8));
  seq.sep = 0;
  EXPECT_EQ(C('c'), CPC(seq, 3));
  EXPECT_EQ(6u, StrNextPathBlock(seq, 2));
}

namespace {

/*
 * Random bases and rels, rich in dots, both separators and prefixes: every
 * call returns; the result is a size result of the output (or needed + 1);
 * the output holds no backslash and no run of two separators; the narrow
 * and the wide overloads agree; a short capacity keeps a prefix.
 */
void FuzzPath(uint32_t seed)
{
  Rng rng(seed);
  const char *prefixes[] = {"", "", "", "/", "file://", "C:\\", "..", "./"};
  StderrCapture quiet;
  quiet.begin(); /* dot names report themselves; keep the log short */
  for (int round = 0; round < 3000; round++)
  {
    std::string base = std::string(prefixes[rng.Below(8)]) + rng.Pick("ab./\\", 14);
    std::string rel = std::string(prefixes[rng.Below(8)]) + rng.Pick("ab./\\", 14);
    const char *bp = rng.Below(6) == 0 ? nullptr : base.c_str();
    const char *rp = rng.Below(6) == 0 ? nullptr : rel.c_str();
    std::wstring wb = S<wchar_t>(base), wr = S<wchar_t>(rel);
    Buf<char> n(128);
    Buf<wchar_t> w(128);
    unsigned int rn = KivStrPath(n.p(), 128, bp, rp);
    unsigned int rw = KivStrPath(w.p(), 128, bp ? wb.c_str() : nullptr, rp ? wr.c_str() : nullptr);
    std::string out = n.Str();
    bool ok = rn == rw && rn == out.size() && S<wchar_t>(out) == w.Str() && out.find('\\') == std::string::npos &&
              out.find("//") == std::string::npos && n.GuardsIntact() && w.GuardsIntact();
    unsigned int cap = rng.Below((unsigned int)out.size() + 2);
    Buf<char> s(cap);
    unsigned int rs = KivStrPath(s.p(), cap, bp, rp);
    ok = ok && s.GuardsIntact();
    if (cap > out.size())
      ok = ok && rs == rn && s.Str() == out;
    else
      ok = ok && rs == rn + 1 && (cap == 0 ? s.Untouched() : out.compare(0, cap - 1, s.Str()) == 0);
    if (!ok)
    {
      quiet.end();
      FAIL() << "base=" << (bp ? base : "(null)") << " rel=" << (rp ? rel : "(null)") << " out=" << out
             << " rn=" << rn << " rw=" << rw << " cap=" << cap << " rs=" << rs;
    }
  }
  quiet.end();
}

} // namespace

TEST(EditPathRandom, RandomPathsTerminate)
{
  RunsWithin(30, [] { FuzzPath(0xBADC0DEu); });
}
