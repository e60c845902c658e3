/*
 * test_edit_replace.cpp - KivStrReplace, narrow and wide: replacement,
 * piece-wise truncation, explicit lengths, the empty find string, and
 * random inputs checked against a plain model under a time bound.
 */
#include "kiv_edit_checks.h"

using namespace edit_test;

template <typename C>
class EditReplace : public ::testing::Test
{
};
TYPED_TEST_SUITE(EditReplace, ElementTypes);

namespace {

/* Calls KivStrReplace with measured lengths into b. */
template <typename C>
unsigned int Rep(Buf<C> &b, unsigned int cap, const char *src, const char *find, const char *repl)
{
  return KivStrReplace(b.p(), cap, S<C>(src).c_str(), kAll, S<C>(find).c_str(), kAll, S<C>(repl).c_str(),
                       kAll);
}

} // namespace

TYPED_TEST(EditReplace, EveryOccurrence)
{
  typedef TypeParam C;
  Buf<C> b(20);
  EXPECT_EQ(7u, Rep(b, 20, "a.b.c", ".", "--"));
  EXPECT_EQ(S<C>("a--b--c"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(8));
}

TYPED_TEST(EditReplace, Capacities)
{
  typedef TypeParam C;
  Buf<C> exact(8);
  EXPECT_EQ(7u, Rep(exact, 8, "a.b.c", ".", "--"));
  EXPECT_EQ(S<C>("a--b--c"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  /* One short: the last piece "c" is dropped whole. */
  Buf<C> shortBy1(7);
  EXPECT_EQ(8u, Rep(shortBy1, 7, "a.b.c", ".", "--"));
  EXPECT_EQ(S<C>("a--b--"), shortBy1.Str());
  EXPECT_EQ(C(0), shortBy1.v[6]);
  EXPECT_TRUE(shortBy1.GuardsIntact());

  Buf<C> four(4);
  EXPECT_EQ(8u, Rep(four, 4, "a.b.c", ".", "--"));
  EXPECT_EQ(S<C>("a--"), four.Str());
  EXPECT_EQ(C(0), four.v[3]);
  EXPECT_TRUE(four.GuardsIntact());

  /* Room for "a-" only: "--" does not fit whole, so only "a" stays. */
  Buf<C> three(3);
  EXPECT_EQ(8u, Rep(three, 3, "a.b.c", ".", "--"));
  EXPECT_EQ(S<C>("a"), three.Str());
  EXPECT_EQ(C(0), three.v[1]);
  EXPECT_TRUE(three.UntouchedFrom(2));

  Buf<C> zero(0);
  EXPECT_EQ(8u, Rep(zero, 0, "a.b.c", ".", "--"));
  EXPECT_TRUE(zero.Untouched());
  EXPECT_EQ(8u, KivStrReplace((C *)nullptr, 40, S<C>("a.b.c").c_str(), kAll, S<C>(".").c_str(), kAll,
                              S<C>("--").c_str(), kAll));
}

/* Without an occurrence the whole source is one piece: all or nothing. */
TYPED_TEST(EditReplace, NoOccurrenceIsOnePiece)
{
  typedef TypeParam C;
  Buf<C> exact(7);
  EXPECT_EQ(6u, Rep(exact, 7, "abcdef", "x", "yy"));
  EXPECT_EQ(S<C>("abcdef"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());
  Buf<C> shortBy1(6);
  EXPECT_EQ(7u, Rep(shortBy1, 6, "abcdef", "x", "yy"));
  EXPECT_EQ(C(0), shortBy1.v[0]);
  EXPECT_TRUE(shortBy1.UntouchedFrom(1));
}

TYPED_TEST(EditReplace, Positions)
{
  typedef TypeParam C;
  Buf<C> b(20);
  EXPECT_EQ(5u, Rep(b, 20, ".a.", ".", "--"));
  EXPECT_EQ(S<C>("--a--"), b.Str());
  EXPECT_EQ(2u, Rep(b, 20, "aaa", "aa", "X"));
  EXPECT_EQ(S<C>("Xa"), b.Str());
  EXPECT_EQ(2u, Rep(b, 20, "aaaa", "aa", "X"));
  EXPECT_EQ(S<C>("XX"), b.Str());
  EXPECT_EQ(3u, Rep(b, 20, "a.b.c", ".", ""));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_EQ(0u, Rep(b, 20, "...", ".", ""));
  EXPECT_EQ(S<C>(""), b.Str());
  EXPECT_EQ(2u, Rep(b, 20, "ab", "abc", "X"));
  EXPECT_EQ(S<C>("ab"), b.Str());
  EXPECT_EQ(0u, Rep(b, 20, "", "a", "X"));
  EXPECT_EQ(S<C>(""), b.Str());
  /* Case matters. */
  EXPECT_EQ(3u, Rep(b, 20, "aAa", "A", "b"));
  EXPECT_EQ(S<C>("aba"), b.Str());
}

TYPED_TEST(EditReplace, ExplicitLengths)
{
  typedef TypeParam C;
  Buf<C> b(20);
  /* Only the first three source elements, the first find element, the
     * first two of repl. */
  EXPECT_EQ(4u, KivStrReplace(b.p(), 20, S<C>("a.b.c").c_str(), 3, S<C>(".x").c_str(), 1, S<C>("--z").c_str(),
                              2));
  EXPECT_EQ(S<C>("a--b"), b.Str());
  /* Zeros inside an explicit source length are ordinary elements. */
  const C src[] = {C('a'), C(0), C('b')};
  const C zero[] = {C(0)};
  EXPECT_EQ(3u, KivStrReplace(b.p(), 20, src, 3, zero, 1, S<C>("-").c_str(), kAll));
  EXPECT_EQ(S<C>("a-b"), b.Str());
}

TYPED_TEST(EditReplace, NullArguments)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(0u, KivStrReplace(b.p(), 10, (const C *)nullptr, 5, S<C>(".").c_str(), kAll, S<C>("-").c_str(),
                              kAll));
  EXPECT_EQ(C(0), b.v[0]);
  EXPECT_TRUE(b.UntouchedFrom(1));
  /* A null repl removes. */
  EXPECT_EQ(2u, KivStrReplace(b.p(), 10, S<C>("a.b").c_str(), kAll, S<C>(".").c_str(), kAll, (const C *)nullptr,
                              3));
  EXPECT_EQ(S<C>("ab"), b.Str());
}

/* An empty find string matches nothing: the source is copied unchanged,
 * whole or not at all. */
TYPED_TEST(EditReplace, EmptyFindCopiesSource)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(3u, Rep(b, 10, "abc", "", "XY"));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(4));

  Buf<C> exact(4);
  EXPECT_EQ(3u, Rep(exact, 4, "abc", "", "XY"));
  EXPECT_EQ(S<C>("abc"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  Buf<C> shortBy1(3);
  EXPECT_EQ(4u, Rep(shortBy1, 3, "abc", "", "XY"));
  EXPECT_EQ(C(0), shortBy1.v[0]);
  EXPECT_TRUE(shortBy1.UntouchedFrom(1));

  Buf<C> zero(0);
  EXPECT_EQ(4u, Rep(zero, 0, "abc", "", "XY"));
  EXPECT_TRUE(zero.Untouched());

  /* A null find, and a find of explicit length 0, are empty too. */
  EXPECT_EQ(3u, KivStrReplace(b.p(), 10, S<C>("abc").c_str(), kAll, (const C *)nullptr, kAll, S<C>("XY").c_str(),
                              kAll));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_EQ(3u, KivStrReplace(b.p(), 10, S<C>("abc").c_str(), kAll, S<C>("b").c_str(), 0, S<C>("XY").c_str(),
                              kAll));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_EQ(0u, Rep(b, 10, "", "", "XY"));
  EXPECT_EQ(S<C>(""), b.Str());
}

namespace {

/* The plain model: every piece whole or not at all. */
struct Model
{
  std::string text;
  unsigned int result;
};

Model Expect(const std::string &src, const std::string &find, const std::string &repl, unsigned int cap)
{
  std::vector<std::string> pieces;
  size_t at = 0;
  if (!find.empty())
  {
    for (;;)
    {
      size_t hit = src.find(find, at);
      if (hit == std::string::npos)
        break;
      pieces.push_back(src.substr(at, hit - at));
      pieces.push_back(repl);
      at = hit + find.size();
    }
  }
  pieces.push_back(src.substr(at));
  Model m;
  size_t total = 0;
  bool stopped = cap == 0;
  for (const std::string &p : pieces)
  {
    total += p.size();
    if (!stopped)
    {
      if (m.text.size() + p.size() <= cap - 1)
        m.text += p;
      else
        stopped = true;
    }
  }
  m.result = stopped ? (unsigned int)total + 1 : (unsigned int)total;
  return m;
}

template <typename C>
void FuzzReplace(uint32_t seed)
{
  Rng rng(seed);
  for (int round = 0; round < 3000; round++)
  {
    std::string src = rng.Pick("ab.", 24);
    std::string find = rng.Pick("ab.", 3);
    std::string repl = rng.Pick("xy.", 4);
    unsigned int cap = rng.Below(40);
    Buf<C> b(cap);
    unsigned int r = KivStrReplace(b.p(), cap, S<C>(src).c_str(), kAll, S<C>(find).c_str(), kAll,
                                   S<C>(repl).c_str(), kAll);
    Model m = Expect(src, find, repl, cap);
    ASSERT_EQ(m.result, r) << "src=" << src << " find=" << find << " repl=" << repl << " cap=" << cap;
    ASSERT_TRUE(b.GuardsIntact());
    if (cap > 0)
    {
      ASSERT_TRUE(b.Terminated());
      ASSERT_EQ(S<C>(m.text), b.Str()) << "src=" << src << " find=" << find << " cap=" << cap;
      ASSERT_TRUE(b.UntouchedFrom(m.text.size() + 1));
    }
    else
    {
      ASSERT_TRUE(b.Untouched());
    }
  }
}

} // namespace

/* Random sources, find strings (empty ones included) and capacities: every
 * call returns, within a bound of seconds for the whole run, with the
 * model's result and text. */
TYPED_TEST(EditReplace, RandomInputsTerminate)
{
  typedef TypeParam C;
  RunsWithin(20, [] { FuzzReplace<C>(0x1234567u); });
}
