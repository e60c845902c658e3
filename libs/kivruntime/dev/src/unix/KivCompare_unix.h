/*
 * KivCompare_unix.h - kivruntime: comparison, search and wildcard matching.
 * Included by KivString_unix.h; programs include that header, not this one.
 *
 * Every function here only reads strings: none allocates, none keeps state,
 * and all are safe from any thread as long as nobody changes the locale
 * meanwhile.  Each exists for narrow strings (char, multibyte in the current
 * C locale) and wide strings (wchar_t, one code point per element) with the
 * same name and argument order.
 *
 * Shared rules:
 *  - Lengths and positions are unsigned int, counted in elements (bytes for
 *    narrow strings, wchar_t cells for wide ones).  Not found is
 *    (unsigned)-1.  Comparisons return a signed int, predicates 1 or 0.
 *  - An explicit length of (unsigned)-1 means "measure the string up to its
 *    terminating zero" (0 for a null pointer).  Any other explicit length is
 *    trusted: the string must hold that many elements.
 *  - A null string pointer reads as the empty string unless a function says
 *    otherwise.  A null pointer given with an explicit length is the empty
 *    string too: its length is taken as 0, nothing is read through it.
 *    KivStrCmp, KivStrPos and KivStrHas have no null rules of their own;
 *    they too read a null pointer as the empty string rather than crash.
 *  - Case folding maps each value through the current locale's lower-case
 *    mapping (towlower), applied to the value as given: a code point for
 *    wide strings, a sign-extended byte for the narrow length-explicit
 *    functions, and the character decoded by the locale for the narrow
 *    KivStrIEq and KivStrICmp.
 *  - Narrow functions that walk character by character step by KivCharMBLen
 *    of the current position.  An invalid or cut-off multibyte sequence
 *    (KivCharMBLen below 1) is stepped over one byte at a time, so every walk
 *    always moves forward.  A character that starts inside an explicit length
 *    but runs past it is stepped over whole: the walk then stands past the
 *    end of the range, nothing there is compared, and (for the wildcard
 *    matcher) that position is not the end of the string.
 *  - A difference returned by a comparison that does not fit in an int
 *    (possible only for wide values outside the Unicode range) is clamped to
 *    INT_MIN or INT_MAX, so its sign is always right.
 */
#ifndef KIVCOMPARE_UNIX_H
#define KIVCOMPARE_UNIX_H

#include "KivString_unix.h"

/* ---- length, equality and order ---- */

/* Length up to the terminating zero; 0 for a null pointer. */
unsigned int KivStrLen(const char *s);
unsigned int KivStrLen(const wchar_t *s);

/* 1 if a and b are equal; null equals both null and "". */
int KivStrEq(const char *a, const char *b);
int KivStrEq(const wchar_t *a, const wchar_t *b);

/* 1 if the first n elements are equal (stopping at a terminator).  Null
 * rules first, whatever n (even 0): a null a equals only a null or empty b;
 * a null b equals only an empty a. */
int KivStrEqN(const char *a, const char *b, unsigned int n);
int KivStrEqN(const wchar_t *a, const wchar_t *b, unsigned int n);

/* 1 if la == lb and the la elements are identical (raw compare). */
int KivStrEqLE(const char *a, unsigned int la, const char *b, unsigned int lb);
int KivStrEqLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb);

/* Case-insensitive equality; nulls read as "".  Narrow strings are decoded
 * character by character in the current locale; an undecodable byte only
 * equals the same byte. */
int KivStrIEq(const char *a, const char *b);
int KivStrIEq(const wchar_t *a, const wchar_t *b);

/* Case-insensitive equality of the first n elements: 0 if either string
 * (nulls read as "") is shorter than n, else KivStrICmpLE(a, n, b, n) == 0. */
int KivStrIEqN(const char *a, const char *b, unsigned int n);
int KivStrIEqN(const wchar_t *a, const wchar_t *b, unsigned int n);

/* 0 if la != lb, else KivStrICmpLE(a, la, b, lb) == 0. */
int KivStrIEqLE(const char *a, unsigned int la, const char *b, unsigned int lb);
int KivStrIEqLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb);

/* The C library's strcmp / wcscmp result. */
int KivStrCmp(const char *a, const char *b);
int KivStrCmp(const wchar_t *a, const wchar_t *b);

/* Compares the first min(la, lb) elements (narrow ones as signed chars) and
 * returns a's element minus b's at the first difference; if all agree, 0 when
 * la == lb, 1 when la > lb, -1 otherwise. */
int KivStrCmpLE(const char *a, unsigned int la, const char *b, unsigned int lb);
int KivStrCmpLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb);

/* Case-insensitive order; nulls read as "".
 * Narrow: decodes each character in the current locale and returns the
 * folded difference; where a byte does not decode, two differing bytes give
 * +1 (an undecodable byte never orders below another).  At the end of either
 * string it returns the current byte of a minus that of b, both read as
 * signed chars.
 * Wide: returns the folded difference at the first differing pair; when one
 * string is a prefix of the other it returns +1 if a is the shorter one and
 * -1 if b is (deliberately the reverse of strcmp), 0 if both end together. */
int KivStrICmp(const char *a, const char *b);
int KivStrICmp(const wchar_t *a, const wchar_t *b);

/* Case-insensitive order with explicit lengths: 0 if both are empty, -1 if
 * only a is, 1 if only b is.  Otherwise walks both ranges while both are
 * inside them and returns the first non-zero difference of the folded
 * elements (narrow: only the lead byte of each character, read as a signed
 * char, takes part; continuation bytes are stepped over); after the walk it
 * returns (int)(la - lb). */
int KivStrICmpLE(const char *a, unsigned int la, const char *b, unsigned int lb);
int KivStrICmpLE(const wchar_t *a, unsigned int la, const wchar_t *b, unsigned int lb);

/* ---- search: positions from the start of the searched string, or -1 ---- */

/* Offset of the first occurrence of needle in hay (strstr / wcsstr), or -1.
 * An empty needle is found at 0. */
unsigned int KivStrPos(const char *hay, const char *needle);
unsigned int KivStrPos(const wchar_t *hay, const wchar_t *needle);

/* 1 if KivStrPos(hay, needle) != -1. */
int KivStrHas(const char *hay, const char *needle);
int KivStrHas(const wchar_t *hay, const wchar_t *needle);

/* First offset at which the ln elements of needle occur inside the first lh
 * elements of hay (exact compare); 0 if ln == 0; -1 if lh < ln or absent.
 * Instantiated for char and wchar_t; KivStrPosLE forwards to it. */
template <typename C>
unsigned int TKivStrPosLE(const C *hay, unsigned int lh, const C *needle, unsigned int ln);

unsigned int KivStrPosLE(const char *hay, unsigned int lh, const char *needle, unsigned int ln);
unsigned int KivStrPosLE(const wchar_t *hay, unsigned int lh, const wchar_t *needle, unsigned int ln);

/* Case-insensitive first offset of needle in hay (KivStrICmpLE over the
 * needle's length at each character start of hay), or -1.  A null or empty
 * needle gives 0; a null hay has length 0. */
unsigned int KivStrIPos(const char *hay, const char *needle);
unsigned int KivStrIPos(const wchar_t *hay, const wchar_t *needle);

/* The same with explicit lengths. */
unsigned int KivStrIPosLE(const char *hay, unsigned int lh, const char *needle, unsigned int ln);
unsigned int KivStrIPosLE(const wchar_t *hay, unsigned int lh, const wchar_t *needle, unsigned int ln);

/* 1 if KivStrIPos(hay, needle) != -1. */
int KivStrIHas(const char *hay, const char *needle);
int KivStrIHas(const wchar_t *hay, const wchar_t *needle);

/* Offset of the first c in s; for c == 0 the length of s; -1 if absent or
 * s is null. */
unsigned int KivStrFind(const char *s, char c);
unsigned int KivStrFind(const wchar_t *s, wchar_t c);

/* Offset of the first element of s that occurs in set; -1 if none, or if s
 * or set is null. */
unsigned int KivStrFindChars(const char *s, const char *set);
unsigned int KivStrFindChars(const wchar_t *s, const wchar_t *set);

/* Offset of the first element of s that does not occur in set; -1 if every
 * element does (also for an empty s); 0 if s or set is null. */
unsigned int KivStrFindXChars(const char *s, const char *set);
unsigned int KivStrFindXChars(const wchar_t *s, const wchar_t *set);

/* Last offset at or below `from` that holds c, or -1; null s gives -1.
 * from == -1 starts at the terminator, so KivStrRFind(s, 0, -1) is the
 * length of s.  Any other `from` is trusted like an explicit length: the
 * search starts there without a check against the length. */
unsigned int KivStrRFind(const char *s, char c, unsigned int from);
unsigned int KivStrRFind(const wchar_t *s, wchar_t c, unsigned int from);

/* Last offset at or below `from` whose element occurs in set (RFindChars)
 * or does not occur in set (RFindXChars), or -1.  -1 as well if s or set is
 * null or s is empty.  from == -1 means the last element (length - 1); any
 * other `from` is trusted as in KivStrRFind. */
unsigned int KivStrRFindChars(const char *s, const char *set, unsigned int from);
unsigned int KivStrRFindChars(const wchar_t *s, const wchar_t *set, unsigned int from);
unsigned int KivStrRFindXChars(const char *s, const char *set, unsigned int from);
unsigned int KivStrRFindXChars(const wchar_t *s, const wchar_t *set, unsigned int from);

/* Offset of the k-th (from 0) string of a packed list: `size` elements
 * holding zero-terminated strings one after another.  k == 0 gives 0 for any
 * non-null list (even of size 0); -1 for a null list, or when the list ends
 * (no terminator inside the size, or no room after it) before the k-th
 * string.  Nothing at or past `size` is read. */
unsigned int KivStrFindStringK(const char *list, unsigned int size, unsigned int k);
unsigned int KivStrFindStringK(const wchar_t *list, unsigned int size, unsigned int k);

/* ---- prefix, suffix and pattern ---- */

/* KivStrEqN(s, prefix, lp) with its null rules; lp == -1 means the length of
 * prefix (0 for null).  So a null prefix matches only a null or empty s. */
int KivStrStartsWith(const char *s, const char *prefix, unsigned int lp);
int KivStrStartsWith(const wchar_t *s, const wchar_t *prefix, unsigned int lp);

/* The same through KivStrIEqN (nulls read as ""). */
int KivStrIStartsWith(const char *s, const char *prefix, unsigned int lp);
int KivStrIStartsWith(const wchar_t *s, const wchar_t *prefix, unsigned int lp);

/* 1 if s ends with suffix.  ls == -1 means the length of s, lx == -1 the
 * length of suffix (a null suffix with lx == -1 matches when s + ls is
 * empty).  0 if ls < lx, else KivStrEq(s + ls - lx, suffix): the comparison
 * runs to both terminators, so ls and lx only place the start of the tail
 * (an ls shorter than s does not cut the tail, an lx shorter than suffix
 * does not shorten the suffix). */
int KivStrEndsWith(const char *s, const char *suffix, unsigned int ls, unsigned int lx);
int KivStrEndsWith(const wchar_t *s, const wchar_t *suffix, unsigned int ls, unsigned int lx);

/* The same through KivStrIEq. */
int KivStrIEndsWith(const char *s, const char *suffix, unsigned int ls, unsigned int lx);
int KivStrIEndsWith(const wchar_t *s, const wchar_t *suffix, unsigned int ls, unsigned int lx);

/* 1 if the whole of str (lstr elements, -1 for up to its terminator) matches
 * the whole of pattern (lpat elements, likewise).  '*' matches any run of
 * characters, also an empty one; '?' matches exactly one character; every
 * other pattern character matches itself (narrow: its lead byte against the
 * lead byte at the string position).  There is no escape character and
 * there are no bracket classes: "\\*" is a literal backslash followed by a
 * star.  With caseSensitive 0 a literal also matches when both lead
 * elements fold to the same lower-case value.  Runs in O(lstr * lpat) time
 * and constant space.  Instantiated for char and wchar_t. */
template <typename C>
int TStrWildcardMatch(const C *str, unsigned int lstr, const C *pattern, unsigned int lpat,
                      int caseSensitive);

/* TStrWildcardMatch with caseSensitive 1. */
int KivStrWildcardMatch(const char *str, unsigned int lstr, const char *pattern, unsigned int lpat);
int KivStrWildcardMatch(const wchar_t *str, unsigned int lstr, const wchar_t *pattern,
                        unsigned int lpat);

/* TStrWildcardMatch with caseSensitive 0. */
int KivStrWildcardMatchNoCase(const char *str, unsigned int lstr, const char *pattern,
                              unsigned int lpat);
int KivStrWildcardMatchNoCase(const wchar_t *str, unsigned int lstr, const wchar_t *pattern,
                              unsigned int lpat);

#endif /* KIVCOMPARE_UNIX_H */
