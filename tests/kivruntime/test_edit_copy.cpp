/*
 * test_edit_copy.cpp - bounded copy and append (KivStrSet, KivStrSetLE,
 * KivStrCat), insertion and removal (KivStrInsert, KivStrRemove), narrow
 * and wide.  Every destination carries guard elements after its capacity.
 */
#include "kiv_edit_checks.h"

using namespace edit_test;

template <typename C>
class EditCopy : public ::testing::Test
{
};
TYPED_TEST_SUITE(EditCopy, ElementTypes);

/* ---- KivStrSet (three arguments) ---- */

TYPED_TEST(EditCopy, SetCutShortByCapacity)
{
  typedef TypeParam C;
  Buf<C> b(4);
  EXPECT_EQ(0, KivStrSet(b.p(), 4, S<C>("abcdef").c_str()));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_EQ(C(0), b.v[3]);
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetExactFit)
{
  typedef TypeParam C;
  Buf<C> b(4);
  EXPECT_EQ(1, KivStrSet(b.p(), 4, S<C>("abc").c_str()));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetOneShort)
{
  typedef TypeParam C;
  Buf<C> b(3);
  EXPECT_EQ(0, KivStrSet(b.p(), 3, S<C>("abc").c_str()));
  EXPECT_EQ(S<C>("ab"), b.Str());
  EXPECT_EQ(C(0), b.v[2]);
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetCapacityZeroWritesNothing)
{
  typedef TypeParam C;
  Buf<C> b(0);
  EXPECT_EQ(0, KivStrSet(b.p(), 0, S<C>("abc").c_str()));
  EXPECT_EQ(0, KivStrSet(b.p(), 0, S<C>("").c_str()));
  EXPECT_TRUE(b.Untouched());
}

TYPED_TEST(EditCopy, SetCapacityOne)
{
  typedef TypeParam C;
  Buf<C> b(1);
  EXPECT_EQ(0, KivStrSet(b.p(), 1, S<C>("a").c_str()));
  EXPECT_EQ(C(0), b.v[0]);
  EXPECT_TRUE(b.GuardsIntact());
  EXPECT_EQ(1, KivStrSet(b.p(), 1, S<C>("").c_str()));
  EXPECT_EQ(C(0), b.v[0]);
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetNullSourceIsEmpty)
{
  typedef TypeParam C;
  Buf<C> b(4);
  EXPECT_EQ(1, KivStrSet(b.p(), 4, (const C *)nullptr));
  EXPECT_EQ(C(0), b.v[0]);
  EXPECT_TRUE(b.UntouchedFrom(1));
}

TYPED_TEST(EditCopy, SetNullDestinationWritesNothing)
{
  typedef TypeParam C;
  EXPECT_EQ(0, KivStrSet((C *)nullptr, 8, S<C>("abc").c_str()));
  EXPECT_EQ(0, KivStrSet((C *)nullptr, 8, S<C>("abc").c_str(), 2));
}

/* ---- KivStrSet (with n) ---- */

TYPED_TEST(EditCopy, SetNStopsAfterN)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(1, KivStrSet(b.p(), 10, S<C>("abcdef").c_str(), 3));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(4));
}

TYPED_TEST(EditCopy, SetNExactlyCapacityMinusOne)
{
  typedef TypeParam C;
  Buf<C> b(4);
  EXPECT_EQ(1, KivStrSet(b.p(), 4, S<C>("abcdef").c_str(), 3));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetNCapacityFirst)
{
  typedef TypeParam C;
  Buf<C> b(4);
  EXPECT_EQ(0, KivStrSet(b.p(), 4, S<C>("abcdef").c_str(), 5));
  EXPECT_EQ(S<C>("abc"), b.Str());
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetNOneShort)
{
  typedef TypeParam C;
  Buf<C> b(3);
  EXPECT_EQ(0, KivStrSet(b.p(), 3, S<C>("abcdef").c_str(), 3));
  EXPECT_EQ(S<C>("ab"), b.Str());
  EXPECT_EQ(C(0), b.v[2]);
  EXPECT_TRUE(b.GuardsIntact());
}

TYPED_TEST(EditCopy, SetNSourceEndsFirst)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(1, KivStrSet(b.p(), 10, S<C>("ab").c_str(), 5));
  EXPECT_EQ(S<C>("ab"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(3));
  /* The source's terminator and the capacity meet: still complete. */
  Buf<C> c(3);
  EXPECT_EQ(1, KivStrSet(c.p(), 3, S<C>("ab").c_str(), 5));
  EXPECT_EQ(S<C>("ab"), c.Str());
  EXPECT_TRUE(c.GuardsIntact());
}

TYPED_TEST(EditCopy, SetNZeroAndMeasured)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(1, KivStrSet(b.p(), 10, S<C>("abc").c_str(), 0));
  EXPECT_EQ(C(0), b.v[0]);
  EXPECT_TRUE(b.UntouchedFrom(1));
  Buf<C> m(4);
  EXPECT_EQ(1, KivStrSet(m.p(), 4, S<C>("abc").c_str(), kAll));
  EXPECT_EQ(S<C>("abc"), m.Str());
  EXPECT_EQ(0, KivStrSet(m.p(), 3, S<C>("abc").c_str(), kAll));
  EXPECT_EQ(S<C>("ab"), m.Str());
  Buf<C> z(0);
  EXPECT_EQ(0, KivStrSet(z.p(), 0, S<C>("abc").c_str(), 2));
  EXPECT_TRUE(z.Untouched());
}

/* With n elements copied the element src[n] is never read: the source here
 * is exactly three elements long, without a terminator. */
TYPED_TEST(EditCopy, SetNDoesNotReadPastN)
{
  typedef TypeParam C;
  std::vector<C> src = {C('x'), C('y'), C('z')};
  Buf<C> b(10);
  EXPECT_EQ(1, KivStrSet(b.p(), 10, src.data(), 3));
  EXPECT_EQ(S<C>("xyz"), b.Str());
}

/* ---- KivStrSetLE ---- */

TYPED_TEST(EditCopy, SetLECopiesZerosInside)
{
  typedef TypeParam C;
  const C src[] = {C('a'), C(0), C('b'), C('c')};
  Buf<C> b(8);
  EXPECT_EQ(1, KivStrSetLE(b.p(), 8, src, 3));
  EXPECT_EQ(C('a'), b.v[0]);
  EXPECT_EQ(C(0), b.v[1]);
  EXPECT_EQ(C('b'), b.v[2]);
  EXPECT_EQ(C(0), b.v[3]);
  EXPECT_TRUE(b.UntouchedFrom(4));
}

TYPED_TEST(EditCopy, SetLECapacities)
{
  typedef TypeParam C;
  const C src[] = {C('a'), C(0), C('b')};
  Buf<C> exact(4);
  EXPECT_EQ(1, KivStrSetLE(exact.p(), 4, src, 3));
  EXPECT_EQ(C('b'), exact.v[2]);
  EXPECT_EQ(C(0), exact.v[3]);
  EXPECT_TRUE(exact.GuardsIntact());
  Buf<C> shortBy1(3);
  EXPECT_EQ(0, KivStrSetLE(shortBy1.p(), 3, src, 3));
  EXPECT_EQ(C('a'), shortBy1.v[0]);
  EXPECT_EQ(C(0), shortBy1.v[1]);
  EXPECT_EQ(C(0), shortBy1.v[2]);
  EXPECT_TRUE(shortBy1.GuardsIntact());
  Buf<C> zero(0);
  EXPECT_EQ(0, KivStrSetLE(zero.p(), 0, src, 3));
  EXPECT_TRUE(zero.Untouched());
}

TYPED_TEST(EditCopy, SetLEMeasuredAndNull)
{
  typedef TypeParam C;
  Buf<C> b(6);
  EXPECT_EQ(1, KivStrSetLE(b.p(), 6, S<C>("hello").c_str(), kAll));
  EXPECT_EQ(S<C>("hello"), b.Str());
  EXPECT_TRUE(b.GuardsIntact());
  Buf<C> n(6);
  EXPECT_EQ(1, KivStrSetLE(n.p(), 6, (const C *)nullptr, 5));
  EXPECT_EQ(C(0), n.v[0]);
  EXPECT_TRUE(n.UntouchedFrom(1));
  EXPECT_EQ(0, KivStrSetLE((C *)nullptr, 6, S<C>("ab").c_str(), 2));
}

/* ---- KivStrCat ---- */

TYPED_TEST(EditCopy, CatFullDestinationUnchanged)
{
  typedef TypeParam C;
  Buf<C> b(3, S<C>("abc"));
  EXPECT_EQ(0, KivStrCat(b.p(), 3, S<C>("x").c_str()));
  EXPECT_EQ(0, KivStrCat(b.p(), 3, S<C>("x").c_str(), 1));
  EXPECT_EQ(C('a'), b.v[0]);
  EXPECT_EQ(C('b'), b.v[1]);
  EXPECT_EQ(C('c'), b.v[2]);
  EXPECT_EQ(C(0), b.v[3]);
  EXPECT_TRUE(b.UntouchedFrom(4));
}

/* A destination with no terminator among its cap elements: only those
 * elements are looked at (the vector holds exactly cap elements). */
TYPED_TEST(EditCopy, CatUnterminatedDestination)
{
  typedef TypeParam C;
  std::vector<C> d(5, C('q'));
  EXPECT_EQ(0, KivStrCat(d.data(), 5, S<C>("x").c_str()));
  EXPECT_EQ(std::vector<C>(5, C('q')), d);
}

TYPED_TEST(EditCopy, CatCapacities)
{
  typedef TypeParam C;
  Buf<C> exact(6, S<C>("ab"));
  EXPECT_EQ(1, KivStrCat(exact.p(), 6, S<C>("cde").c_str()));
  EXPECT_EQ(S<C>("abcde"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  Buf<C> shortBy1(5, S<C>("ab"));
  EXPECT_EQ(0, KivStrCat(shortBy1.p(), 5, S<C>("cde").c_str()));
  EXPECT_EQ(S<C>("abcd"), shortBy1.Str());
  EXPECT_EQ(C(0), shortBy1.v[4]);
  EXPECT_TRUE(shortBy1.GuardsIntact());

  Buf<C> zero(0);
  EXPECT_EQ(0, KivStrCat(zero.p(), 0, S<C>("x").c_str()));
  EXPECT_TRUE(zero.Untouched());

  /* Room for nothing but the terminator. */
  Buf<C> full(4, S<C>("abc"));
  EXPECT_EQ(1, KivStrCat(full.p(), 4, S<C>("").c_str()));
  EXPECT_EQ(0, KivStrCat(full.p(), 4, S<C>("x").c_str()));
  EXPECT_EQ(S<C>("abc"), full.Str());
  EXPECT_TRUE(full.GuardsIntact());
}

TYPED_TEST(EditCopy, CatWithN)
{
  typedef TypeParam C;
  Buf<C> big(10, S<C>("ab"));
  EXPECT_EQ(1, KivStrCat(big.p(), 10, S<C>("cdef").c_str(), 2));
  EXPECT_EQ(S<C>("abcd"), big.Str());
  EXPECT_TRUE(big.UntouchedFrom(5));

  Buf<C> exact(5, S<C>("ab"));
  EXPECT_EQ(1, KivStrCat(exact.p(), 5, S<C>("cdef").c_str(), 2));
  EXPECT_EQ(S<C>("abcd"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  Buf<C> shortBy1(4, S<C>("ab"));
  EXPECT_EQ(0, KivStrCat(shortBy1.p(), 4, S<C>("cdef").c_str(), 2));
  EXPECT_EQ(S<C>("abc"), shortBy1.Str());
  EXPECT_TRUE(shortBy1.GuardsIntact());

  Buf<C> zero(0);
  EXPECT_EQ(0, KivStrCat(zero.p(), 0, S<C>("x").c_str(), 1));
  EXPECT_TRUE(zero.Untouched());
}

TYPED_TEST(EditCopy, CatNullArguments)
{
  typedef TypeParam C;
  EXPECT_EQ(0, KivStrCat((C *)nullptr, 4, S<C>("x").c_str()));
  EXPECT_EQ(0, KivStrCat((C *)nullptr, 4, S<C>("x").c_str(), 1));
  Buf<C> b(4, S<C>("ab"));
  EXPECT_EQ(1, KivStrCat(b.p(), 4, (const C *)nullptr));
  EXPECT_EQ(S<C>("ab"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(3));
}

/* ---- KivStrInsert ---- */

TYPED_TEST(EditCopy, InsertMiddle)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(5u, KivStrInsert(b.p(), 10, S<C>("abc").c_str(), kAll, 1, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("aXYbc"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(6));
}

TYPED_TEST(EditCopy, InsertCapacities)
{
  typedef TypeParam C;
  Buf<C> exact(6);
  EXPECT_EQ(5u, KivStrInsert(exact.p(), 6, S<C>("abc").c_str(), kAll, 1, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("aXYbc"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());

  Buf<C> shortBy1(5);
  EXPECT_EQ(6u, KivStrInsert(shortBy1.p(), 5, S<C>("abc").c_str(), kAll, 1, S<C>("XY").c_str(), kAll));
  EXPECT_TRUE(shortBy1.Untouched());

  Buf<C> zero(0);
  EXPECT_EQ(6u, KivStrInsert(zero.p(), 0, S<C>("abc").c_str(), kAll, 1, S<C>("XY").c_str(), kAll));
  EXPECT_TRUE(zero.Untouched());
  EXPECT_EQ(6u, KivStrInsert((C *)nullptr, 100, S<C>("abc").c_str(), kAll, 1, S<C>("XY").c_str(), kAll));
}

TYPED_TEST(EditCopy, InsertPositions)
{
  typedef TypeParam C;
  Buf<C> front(10);
  EXPECT_EQ(5u, KivStrInsert(front.p(), 10, S<C>("abc").c_str(), kAll, 0, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("XYabc"), front.Str());
  Buf<C> end(10);
  EXPECT_EQ(5u, KivStrInsert(end.p(), 10, S<C>("abc").c_str(), kAll, 3, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("abcXY"), end.Str());
  Buf<C> beyond(10);
  EXPECT_EQ(5u, KivStrInsert(beyond.p(), 10, S<C>("abc").c_str(), kAll, 1000, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("abcXY"), beyond.Str());
  EXPECT_TRUE(beyond.UntouchedFrom(6));
}

TYPED_TEST(EditCopy, InsertInPlace)
{
  typedef TypeParam C;
  Buf<C> b(8, S<C>("abc"));
  EXPECT_EQ(5u, KivStrInsert(b.p(), 8, b.p(), kAll, 1, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("aXYbc"), b.Str());
  EXPECT_TRUE(b.GuardsIntact());
  /* Too small in place: the source stays as it was. */
  Buf<C> s(5, S<C>("abc"));
  EXPECT_EQ(6u, KivStrInsert(s.p(), 5, s.p(), kAll, 1, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("abc"), s.Str());
  EXPECT_TRUE(s.UntouchedFrom(4));
}

TYPED_TEST(EditCopy, InsertExplicitLengthsAndNulls)
{
  typedef TypeParam C;
  Buf<C> b(10);
  /* insLen 2 of "XYZ". */
  EXPECT_EQ(5u, KivStrInsert(b.p(), 10, S<C>("abc").c_str(), 3, 2, S<C>("XYZ").c_str(), 2));
  EXPECT_EQ(S<C>("abXYc"), b.Str());
  Buf<C> noIns(10);
  EXPECT_EQ(3u, KivStrInsert(noIns.p(), 10, S<C>("abc").c_str(), kAll, 1, (const C *)nullptr, 7));
  EXPECT_EQ(S<C>("abc"), noIns.Str());
  Buf<C> noSrc(10);
  EXPECT_EQ(2u, KivStrInsert(noSrc.p(), 10, (const C *)nullptr, 9, 4, S<C>("XY").c_str(), kAll));
  EXPECT_EQ(S<C>("XY"), noSrc.Str());
  EXPECT_TRUE(noSrc.UntouchedFrom(3));
  Buf<C> none(1);
  EXPECT_EQ(0u, KivStrInsert(none.p(), 1, (const C *)nullptr, kAll, 0, (const C *)nullptr, kAll));
  EXPECT_EQ(C(0), none.v[0]);
  EXPECT_TRUE(none.GuardsIntact());
}

/* Lengths whose sum cannot be represented: (unsigned)-1, nothing read or
 * written. */
TYPED_TEST(EditCopy, InsertLengthOverflow)
{
  typedef TypeParam C;
  Buf<C> b(8);
  C one[2] = {C('a'), C(0)};
  EXPECT_EQ(0xFFFFFFFFu, KivStrInsert(b.p(), 8, one, 0xFFFFFFF0u, 0, one, 0x20));
  EXPECT_EQ(0xFFFFFFFFu, KivStrInsert(b.p(), 8, one, 0xFFFFFFFEu, 0, one, 1));
  EXPECT_TRUE(b.Untouched());
}

/* ---- KivStrRemove ---- */

TYPED_TEST(EditCopy, RemoveCountBeyondEnd)
{
  typedef TypeParam C;
  Buf<C> b(10);
  EXPECT_EQ(2u, KivStrRemove(b.p(), 10, S<C>("abcdef").c_str(), kAll, 2, 10));
  EXPECT_EQ(S<C>("ab"), b.Str());
  EXPECT_TRUE(b.UntouchedFrom(3));
}

TYPED_TEST(EditCopy, RemoveCapacities)
{
  typedef TypeParam C;
  Buf<C> exact(5);
  EXPECT_EQ(4u, KivStrRemove(exact.p(), 5, S<C>("abcdef").c_str(), kAll, 1, 2));
  EXPECT_EQ(S<C>("adef"), exact.Str());
  EXPECT_TRUE(exact.GuardsIntact());
  Buf<C> shortBy1(4);
  EXPECT_EQ(5u, KivStrRemove(shortBy1.p(), 4, S<C>("abcdef").c_str(), kAll, 1, 2));
  EXPECT_TRUE(shortBy1.Untouched());
  Buf<C> zero(0);
  EXPECT_EQ(5u, KivStrRemove(zero.p(), 0, S<C>("abcdef").c_str(), kAll, 1, 2));
  EXPECT_TRUE(zero.Untouched());
  EXPECT_EQ(5u, KivStrRemove((C *)nullptr, 50, S<C>("abcdef").c_str(), kAll, 1, 2));
}

TYPED_TEST(EditCopy, RemoveEdges)
{
  typedef TypeParam C;
  Buf<C> beyond(10);
  EXPECT_EQ(6u, KivStrRemove(beyond.p(), 10, S<C>("abcdef").c_str(), kAll, 9, 2));
  EXPECT_EQ(S<C>("abcdef"), beyond.Str());
  Buf<C> none(10);
  EXPECT_EQ(6u, KivStrRemove(none.p(), 10, S<C>("abcdef").c_str(), kAll, 2, 0));
  EXPECT_EQ(S<C>("abcdef"), none.Str());
  Buf<C> all(10);
  EXPECT_EQ(0u, KivStrRemove(all.p(), 10, S<C>("abcdef").c_str(), kAll, 0, kAll));
  EXPECT_EQ(S<C>(""), all.Str());
  EXPECT_TRUE(all.UntouchedFrom(1));
  Buf<C> front(10);
  EXPECT_EQ(4u, KivStrRemove(front.p(), 10, S<C>("abcdef").c_str(), kAll, 0, 2));
  EXPECT_EQ(S<C>("cdef"), front.Str());
  Buf<C> noSrc(3);
  EXPECT_EQ(0u, KivStrRemove(noSrc.p(), 3, (const C *)nullptr, 5, 1, 1));
  EXPECT_EQ(C(0), noSrc.v[0]);
  EXPECT_TRUE(noSrc.UntouchedFrom(1));
}

TYPED_TEST(EditCopy, RemoveInPlace)
{
  typedef TypeParam C;
  Buf<C> b(7, S<C>("abcdef"));
  EXPECT_EQ(3u, KivStrRemove(b.p(), 7, b.p(), kAll, 1, 3));
  EXPECT_EQ(S<C>("aef"), b.Str());
  EXPECT_TRUE(b.GuardsIntact());
  /* Explicit length: src[srcLen] is taken as the terminator. */
  Buf<C> e(7, S<C>("abcdef"));
  EXPECT_EQ(5u, KivStrRemove(e.p(), 7, e.p(), 6, 5, 1));
  EXPECT_EQ(S<C>("abcde"), e.Str());
}
