/*
 * convert_guards.h - the guard values the converter tests place after a
 * destination's capacity; a bounded writer must never touch them.
 */
#ifndef CORVANE_TEST_CONVERT_GUARDS_H
#define CORVANE_TEST_CONVERT_GUARDS_H

namespace convert_test {

/* The guard value of one element type. */
template <class U>
inline U Guard();
template <>
inline char Guard<char>()
{
  return (char)(unsigned char)0xA5;
}
template <>
inline wchar_t Guard<wchar_t>()
{
  return (wchar_t)0x5EADBEEF;
}
template <>
inline unsigned int Guard<unsigned int>()
{
  return 0xDEADBEEFu;
}
template <>
inline unsigned short Guard<unsigned short>()
{
  return (unsigned short)0xA5A5;
}

} // namespace convert_test

#endif
