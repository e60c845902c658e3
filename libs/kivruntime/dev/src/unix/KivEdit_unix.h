/*
 * KivEdit_unix.h - kivruntime: editing, trimming, paths and XML tokens.
 * Included by KivString_unix.h; programs include that header, not this one.
 *
 * Every function exists for narrow strings (char, multibyte in the current
 * locale) and wide strings (wchar_t, one code point per element) with the
 * same behaviour element for element.  None allocates and none keeps state.
 *
 * Common rules:
 *  - Capacities count elements including the terminator.  A length of
 *    (unsigned)-1 means "measure the string" (0 for a null pointer).
 *  - A null source reads as the empty string; its length is 0 whatever
 *    length is passed with it, so it is never dereferenced.
 *  - A null destination never receives a write: writers that return a size
 *    then only measure (as with capacity 0); the flag-returning copies
 *    (KivStrSet, KivStrSetLE, KivStrCat) return 0.
 *  - White space, for trimming and for the XML scanner, is exactly 0x20 and
 *    0x09-0x0D, compared without the locale.
 *  - A destination must not overlap a source, except where a function says
 *    that dst may equal src.
 */
#ifndef KIVEDIT_UNIX_H
#define KIVEDIT_UNIX_H

#include "KivString_unix.h"

/* ---- bounded copy and append ---- */

/*
 * KivStrSet - copies src into dst, at most cap - 1 elements, and
 * terminates.  Returns 1 if all of src was copied, 0 if the capacity cut it
 * short.  cap 0 writes nothing and returns 0.
 */
int KivStrSet(char *dst, unsigned int cap, const char *src);
int KivStrSet(wchar_t *dst, unsigned int cap, const wchar_t *src);

/*
 * KivStrSet - copies at most n elements of src, stopping early at its
 * terminator, and at most cap - 1; terminates.  Returns 1 if the copy ended
 * at src's terminator or after n elements (also when exactly n = cap - 1
 * elements were copied), 0 if the capacity ended it first.  cap 0: 0.
 * src[n] is never read once n elements have been copied.
 */
int KivStrSet(char *dst, unsigned int cap, const char *src, unsigned int n);
int KivStrSet(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/*
 * KivStrSetLE - copies exactly n elements of src (zeros inside are copied
 * like any element), at most cap - 1, then terminates.  Returns 1 if all n
 * fitted, else 0.  cap 0: nothing written, 0.  n -1 measures src.
 */
int KivStrSetLE(char *dst, unsigned int cap, const char *src, unsigned int n);
int KivStrSetLE(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/*
 * KivStrCat - appends src to the string already in dst (length 0 for a
 * null dst).  If that string has cap elements or more (no terminator among
 * the first cap elements; they are the only ones looked at) the result is 0
 * and nothing is written; otherwise src is copied as by KivStrSet into the
 * room that remains, with KivStrSet's result.
 */
int KivStrCat(char *dst, unsigned int cap, const char *src);
int KivStrCat(wchar_t *dst, unsigned int cap, const wchar_t *src);
/* KivStrCat - the same with the n-limit of the four-argument KivStrSet. */
int KivStrCat(char *dst, unsigned int cap, const char *src, unsigned int n);
int KivStrCat(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* ---- insertion, removal, replacement ---- */

/*
 * KivStrInsert - inserts insLen elements of ins at pos into src (srcLen
 * elements) and puts the result into dst, which may equal src.  A pos
 * beyond srcLen appends.  Returns srcLen + insLen; if cap is smaller than
 * that plus 1 nothing at all is written and the result is that plus 1.
 * The element src[srcLen] is copied as the result's terminator, so with an
 * explicit srcLen it must be src's terminator.  Lengths whose sum cannot be
 * represented give (unsigned)-1 and write nothing.
 */
unsigned int KivStrInsert(char *dst, unsigned int cap, const char *src, unsigned int srcLen,
                          unsigned int pos, const char *ins, unsigned int insLen);
unsigned int KivStrInsert(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int srcLen,
                          unsigned int pos, const wchar_t *ins, unsigned int insLen);

/*
 * KivStrRemove - removes count elements at pos (as many as there are) from
 * src and puts the result into dst, which may equal src.  Returns the new
 * length; if cap is smaller than that plus 1 nothing is written and the
 * result is the new length plus 1.  src[srcLen] is copied as the
 * terminator, as for KivStrInsert.
 */
unsigned int KivStrRemove(char *dst, unsigned int cap, const char *src, unsigned int srcLen,
                          unsigned int pos, unsigned int count);
unsigned int KivStrRemove(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int srcLen,
                          unsigned int pos, unsigned int count);

/*
 * KivStrReplace - replaces every exact occurrence of find in src by repl,
 * scanning from the front, result in dst.  Each piece (the text before an
 * occurrence, a copy of repl, the rest after the last occurrence) is
 * written whole or not at all: at the first piece that does not fit the
 * terminator is written and writing stops, while the rest is still
 * counted.  Returns the length written when everything fitted, else the
 * capacity that would have sufficed (needed + 1).
 * An empty (or null) find string matches nothing: the source is copied
 * unchanged, as one piece, under the same rule.
 */
unsigned int KivStrReplace(char *dst, unsigned int cap, const char *src, unsigned int srcLen,
                           const char *find, unsigned int findLen, const char *repl, unsigned int replLen);
unsigned int KivStrReplace(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int srcLen,
                           const wchar_t *find, unsigned int findLen, const wchar_t *repl, unsigned int replLen);

/* ---- trimming in place ---- */

/*
 * TKivStrTrimLeft - removes leading white space from s (len elements, or
 * -1 to measure) by moving the rest to the front; returns the number
 * removed.  The terminator moves along only when the length was measured;
 * with an explicit length the old tail beyond len - count stays as it was.
 * Instantiated for char and wchar_t.
 */
template <typename C>
unsigned int TKivStrTrimLeft(C *s, unsigned int len);

/*
 * TKivStrTrimRight - counts the trailing white space of s (len elements,
 * or -1 to measure) and returns that count.  With an explicit length
 * nothing is written.  With a measured length a terminator is written after
 * the last element that is not white space; when every element is white
 * space the first one is kept (two spaces become one space, result 2).
 * Instantiated for char and wchar_t.
 */
template <typename C>
unsigned int TKivStrTrimRight(C *s, unsigned int len);

/* KivStrTrimLeft / KivStrTrimRight - the templates above, per type. */
unsigned int KivStrTrimLeft(char *s, unsigned int len);
unsigned int KivStrTrimLeft(wchar_t *s, unsigned int len);
unsigned int KivStrTrimRight(char *s, unsigned int len);
unsigned int KivStrTrimRight(wchar_t *s, unsigned int len);

/*
 * KivStrTrim - removes white space at both ends; returns the total removed.
 * With a measured length the result is terminated (an all-blank string
 * becomes empty); with an explicit length the new text is the first
 * len - result elements.
 */
unsigned int KivStrTrim(char *s, unsigned int len);
unsigned int KivStrTrim(wchar_t *s, unsigned int len);

/* ---- case conversion in place ---- */

/*
 * KivStrLower / KivStrUpper - converts the first len elements of s (-1:
 * the whole string) to lower / upper case under the current locale.
 * Narrow strings are decoded character by character (never reading past
 * len bytes), and each converted character is written back in place
 * whenever its multibyte form is no longer than the character it replaces.
 * A shorter form is written over the lead bytes and the remaining bytes of
 * the old character stay as they were (the walk still steps by the decoded
 * length): under C.UTF-8, upper-casing U+0131 (2 bytes) writes "I" over
 * its lead byte and keeps the continuation byte 0xB1, and lower-casing
 * U+212A KELVIN SIGN (3 bytes) writes "k" over its first byte and keeps the
 * other two.  A character whose converted form is longer is left as it is
 * (it would write past the character: U+023F, whose upper case U+2C7E
 * takes 3 bytes against 2), as is every byte that does not start a valid
 * character.  Nothing outside the len bytes is ever written.
 */
void KivStrLower(char *s, unsigned int len);
void KivStrLower(wchar_t *s, unsigned int len);
void KivStrUpper(char *s, unsigned int len);
void KivStrUpper(wchar_t *s, unsigned int len);

/* ---- paths ---- */

/*
 * TKivPathSeq - base and rel read as one sequence: base, then one '/' when
 * sep is 1, then rel.  Every backslash reads as '/' and elements past the
 * end read as 0.  Used by KivStrPath.
 */
template <typename C>
struct TKivPathSeq
{
  const C *base;
  unsigned int baseLen;
  unsigned int sep;
  const C *rel;
  unsigned int relLen;
};

/* CPC - the element at index i of the sequence (see TKivPathSeq). */
template <typename C>
C CPC(const TKivPathSeq<C> &seq, unsigned int i);

/*
 * StrNextPathBlock - a block is a run of elements other than '/' together
 * with the run of '/' after it.  Returns the index just past the block that
 * contains i (its remaining elements and then all separators), never
 * beyond the end of the sequence.
 */
template <typename C>
unsigned int StrNextPathBlock(const TKivPathSeq<C> &seq, unsigned int i);

/*
 * KivStrPath - joins base and rel and removes "./" blocks and "name/../"
 * pairs.  Both '/' and backslash separate; the output uses '/' only, one
 * per run of separators.  A leading "file://" is dropped from either input;
 * a rel of the form "D:\..." drops the base; an empty input counts as
 * absent.  A ".." with nothing left to cancel stays, so a relative result
 * may begin with "../".  When both inputs are given the join adds one '/'
 * and a final block of a single element is lost ("/a" + "b" gives "/a/").
 * When only base is given no '/' is added (the element in front of base,
 * which would decide it, is never read).
 * A block that begins with '.' and is neither "./" nor "../" (".profile",
 * "...", a final "." or ".." without a separator) is treated as an ordinary
 * name; such names are not meant to be passed, and the first one met in a
 * call is reported on stderr as
 * "src/unix/KivString_unix.cpp:467: failed assertion `false'".
 * Output by elements, whole or not at all; returns the length written when
 * everything fitted, else needed + 1.  Inputs whose joined length cannot be
 * represented give (unsigned)-1 and an empty result.
 */
unsigned int KivStrPath(char *dst, unsigned int cap, const char *base, const char *rel);
unsigned int KivStrPath(wchar_t *dst, unsigned int cap, const wchar_t *base, const wchar_t *rel);

/* ---- XML attribute values ---- */

/*
 * KivStrGetXMLToken - finds the attribute name in text, written as name,
 * optional white space, '=', optional white space and a double quote, where
 * the element before name is '<' or white space, and copies the text up to
 * the next double quote (as it stands: no entity decoding; single quotes
 * are not recognised).  An occurrence of name that cannot be accepted (at
 * the very start of text, or after any other element) is stepped over: the
 * search goes on from the element after its first one.
 * Value of length L: cap 0 returns L + 1; if L > cap - 1 an empty string is
 * written and L + 1 returned; otherwise the value is copied, terminated and
 * L returned.  No value (no acceptable occurrence, an unterminated value,
 * an empty or null name): cap 0 returns 1, otherwise an empty string is
 * written and 0 returned.
 */
unsigned int KivStrGetXMLToken(char *dst, unsigned int cap, const char *text, const char *name);
unsigned int KivStrGetXMLToken(wchar_t *dst, unsigned int cap, const wchar_t *text, const wchar_t *name);

#endif /* KIVEDIT_UNIX_H */
