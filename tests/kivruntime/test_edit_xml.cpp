/*
 * test_edit_xml.cpp - KivStrGetXMLToken, narrow and wide: accepted and
 * refused occurrences, the size results, occurrences that cannot be
 * accepted (stepped over), and random texts under a time bound.
 */
#include "kiv_edit_checks.h"

using namespace edit_test;

template <typename C>
class EditXml : public ::testing::Test
{
};
TYPED_TEST_SUITE(EditXml, ElementTypes);

namespace {

template <typename C>
unsigned int Tok(Buf<C> &b, unsigned int cap, const char *text, const char *name)
{
  return KivStrGetXMLToken(b.p(), cap, S<C>(text).c_str(), S<C>(name).c_str());
}

} // namespace

TYPED_TEST(EditXml, ValueWithBlanksAroundEquals)
{
  typedef TypeParam C;
  Buf<C> b(16);
  EXPECT_EQ(2u, Tok(b, 16, "<a id = \"42\"/>", "id"));
  EXPECT_EQ(S<C>("42"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(3));
}

TYPED_TEST(EditXml, Capacities)
{
  typedef TypeParam C;
  Buf<C> exact(3);
  EXPECT_EQ(2u, Tok(exact, 3, "<a id = \"42\"/>", "id"));
  EXPECT_EQ(S<C>("42"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  Buf<C> shortBy1(2);
  EXPECT_EQ(3u, Tok(shortBy1, 2, "<a id = \"42\"/>", "id"));
  EXPECT_EQ(C(0), shortBy1.v[0]);
  EXPECT_TRUE(shortBy1.UntouchedFrom(1));

  Buf<C> zero(0);
  EXPECT_EQ(3u, Tok(zero, 0, "<a id = \"42\"/>", "id"));
  EXPECT_TRUE(zero.Untouched());
  EXPECT_EQ(3u, KivStrGetXMLToken((C *)nullptr, 9, S<C>("<a id=\"42\"/>").c_str(), S<C>("id").c_str()));
}

TYPED_TEST(EditXml, EmptyValue)
{
  typedef TypeParam C;
  Buf<C> one(1);
  EXPECT_EQ(0u, Tok(one, 1, "<a id=\"\">", "id"));
  EXPECT_EQ(C(0), one.v[0]);
  EXPECT_TRUE(one.GuardsIntact());
  Buf<C> zero(0);
  EXPECT_EQ(1u, Tok(zero, 0, "<a id=\"\">", "id"));
  EXPECT_TRUE(zero.Untouched());
}

TYPED_TEST(EditXml, NotFound)
{
  typedef TypeParam C;
  Buf<C> b(8);
  EXPECT_EQ(0u, Tok(b, 8, "<a name=\"x\">", "id"));
  EXPECT_EQ(C(0), b.v[0]);
  EXPECT_TRUE(b.UntouchedFrom(1));
  Buf<C> zero(0);
  EXPECT_EQ(1u, Tok(zero, 0, "<a name=\"x\">", "id"));
  EXPECT_TRUE(zero.Untouched());
  /* Single quotes are not recognised; an unterminated value is none. */
  EXPECT_EQ(0u, Tok(b, 8, "<a id='5'>", "id"));
  EXPECT_EQ(S<C>(""), b.Str());
  EXPECT_EQ(0u, Tok(b, 8, "<a id=\"abc", "id"));
  EXPECT_EQ(S<C>(""), b.Str());
  EXPECT_EQ(0u, Tok(b, 8, "<a id", "id"));
  EXPECT_EQ(0u, Tok(b, 8, "<a id =", "id"));
  EXPECT_EQ(0u, Tok(b, 8, "", "id"));
}

TYPED_TEST(EditXml, WhiteSpaceKinds)
{
  typedef TypeParam C;
  Buf<C> b(8);
  EXPECT_EQ(1u, Tok(b, 8, "<a\tid\n=\r\"7\">", "id"));
  EXPECT_EQ(S<C>("7"), b.Str());
  EXPECT_EQ(1u, Tok(b, 8, "<a\vid\f=\"8\">", "id"));
  EXPECT_EQ(S<C>("8"), b.Str());
  EXPECT_EQ(1u, Tok(b, 8, "<id=\"9\">", "id"));
  EXPECT_EQ(S<C>("9"), b.Str());
}

/* After an accepted name that is not followed by '=' and a quote, the
 * search goes on and finds a later one. */
TYPED_TEST(EditXml, SearchGoesOn)
{
  typedef TypeParam C;
  Buf<C> b(8);
  EXPECT_EQ(1u, Tok(b, 8, "<a id x id=\"7\">", "id"));
  EXPECT_EQ(S<C>("7"), b.Str());
  EXPECT_EQ(1u, Tok(b, 8, "<a id=7 id=\"8\">", "id"));
  EXPECT_EQ(S<C>("8"), b.Str());
  EXPECT_EQ(1u, Tok(b, 8, "<a id= 'q' id =\"9\">", "id"));
  EXPECT_EQ(S<C>("9"), b.Str());
}

TYPED_TEST(EditXml, ValueAsItStands)
{
  typedef TypeParam C;
  Buf<C> b(16);
  EXPECT_EQ(11u, Tok(b, 16, "<a v=\"&amp; <b> '\"/>", "v"));
  EXPECT_EQ(S<C>("&amp; <b> '"), b.Str());
}

/* Outside the contract: an occurrence at the very start of the text or
 * after an element other than '<' or white space is stepped over, and the
 * search goes on with the next element. */
TYPED_TEST(EditXml, UnacceptableOccurrenceSteppedOver)
{
  typedef TypeParam C;
  Buf<C> b(8);
  EXPECT_EQ(1u, Tok(b, 8, "<a xid=\"1\" id=\"2\">", "id"));
  EXPECT_EQ(S<C>("2"), b.Str());
  EXPECT_EQ(1u, Tok(b, 8, "id=\"1\" <a id=\"2\">", "id"));
  EXPECT_EQ(S<C>("2"), b.Str());
  EXPECT_EQ(0u, Tok(b, 8, "id=\"1\"", "id"));
  EXPECT_EQ(S<C>(""), b.Str());
  EXPECT_EQ(0u, Tok(b, 8, "<axid=\"1\">", "id"));
  EXPECT_EQ(0u, Tok(b, 8, "ididid", "id"));
  /* Overlapping occurrences of a name are each considered. */
  EXPECT_EQ(1u, Tok(b, 8, "x<x<x=\"3\"", "x<x"));
  EXPECT_EQ(S<C>("3"), b.Str());
  Buf<C> zero(0);
  EXPECT_EQ(1u, Tok(zero, 0, "id=\"1\"", "id"));
  EXPECT_TRUE(zero.Untouched());
}

TYPED_TEST(EditXml, EmptyOrNullNameAndText)
{
  typedef TypeParam C;
  Buf<C> b(8);
  EXPECT_EQ(0u, Tok(b, 8, "<a =\"1\">", ""));
  EXPECT_EQ(S<C>(""), b.Str());
  EXPECT_EQ(0u, KivStrGetXMLToken(b.p(), 8, S<C>("<a id=\"1\">").c_str(), (const C *)nullptr));
  EXPECT_EQ(0u, KivStrGetXMLToken(b.p(), 8, (const C *)nullptr, S<C>("id").c_str()));
  EXPECT_EQ(1u, KivStrGetXMLToken(b.p(), 0, (const C *)nullptr, (const C *)nullptr));
  EXPECT_TRUE(b.UntouchedFrom(1));
}

namespace {

/*
 * Random texts from an alphabet rich in the scanner's own characters, with
 * names that often appear without a '<' or blank in front: every call
 * returns.  A value found must stand in the text between two quotes, a
 * short capacity must give an empty string, and the narrow and the wide
 * overload must agree.
 */
void FuzzXml(uint32_t seed)
{
  Rng rng(seed);
  for (int round = 0; round < 4000; round++)
  {
    std::string text = rng.Pick("ab<= \t\"x", 30);
    std::string name = rng.Pick("ab<x", 3);
    unsigned int cap = rng.Below(12);
    Buf<char> n(cap);
    Buf<wchar_t> w(cap);
    unsigned int rn = KivStrGetXMLToken(n.p(), cap, text.c_str(), name.c_str());
    unsigned int rw = KivStrGetXMLToken(w.p(), cap, S<wchar_t>(text).c_str(), S<wchar_t>(name).c_str());
    ASSERT_EQ(rn, rw) << "text=" << text << " name=" << name;
    ASSERT_TRUE(n.GuardsIntact());
    ASSERT_TRUE(w.GuardsIntact());
    ASSERT_EQ(S<wchar_t>(n.Str()), w.Str());
    if (cap == 0)
    {
      ASSERT_TRUE(n.Untouched());
      ASSERT_GE(rn, 1u);
      continue;
    }
    ASSERT_TRUE(n.Terminated());
    if (rn < cap)
    {
      std::string quoted = "\"" + n.Str() + "\"";
      if (rn > 0)
      {
        ASSERT_EQ(rn, n.Str().size());
        ASSERT_NE(std::string::npos, text.find(quoted)) << "text=" << text << " name=" << name;
      }
    }
    else
    {
      ASSERT_EQ("", n.Str());
    }
  }
}

} // namespace

TEST(EditXmlRandom, RandomTextsTerminate)
{
  RunsWithin(20, [] { FuzzXml(0xC0FFEEu); });
}
