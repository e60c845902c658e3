/*
 * KivCodec_unix.h - kivruntime: escaping codecs and tokenizer.
 * Included by KivString_unix.h; programs include that header, not this one.
 *
 * Stateless converters between raw text or bytes and an escaped form:
 * hexadecimal, URL percent-encoding, XML and HTML entities, C-style literal
 * escapes and base64 (named UUEncode/UUDecode here), plus the cursor-style
 * tokenizer KivStrTokenize.  None of them allocates.
 *
 * Sources: a null source reads as the empty string; a count of (unsigned)-1
 * means "up to the source's terminating zero" (strlen/wcslen).  With an
 * explicit count, zero elements inside it are processed like any other
 * element unless a function says otherwise.  This holds for every source
 * below, the binary ones of KivStrEncodeHex and KivStrUUEncode included
 * (there -1 means strlen of the bytes).
 *
 * Text output (every function that writes characters, except
 * KivStrEncodeHex): the capacity counts destination elements including the
 * terminator.  Output goes out item by item (one character, one entity, one
 * escape sequence, one base64 group, one line break); an item is written
 * whole only if it fits into the room left before the terminator.  At the
 * first item that does not fit the terminator is stored at the current
 * position and nothing more is written, while the rest of the input is still
 * converted and counted.  Result: the elements written (terminator excluded)
 * when everything fitted, otherwise the elements the whole output needs plus
 * one.  With capacity 0 nothing is written and the destination may be null;
 * a null destination is always taken as capacity 0, whatever cap says.
 *
 * Binary output (KivStrDecodeHex, KivStrUUDecode): the first cap bytes are
 * stored, nothing is terminated, and the result is the number of bytes the
 * whole input decodes to.  A null destination stores nothing.
 *
 * Malformed input is never an error: non-hex digits count 0, unknown
 * entities and escapes pass through, base64 decoding stops at the first
 * character outside its alphabet.
 */
#ifndef KIVCODEC_UNIX_H
#define KIVCODEC_UNIX_H

#include "KivString_unix.h"

/* Base64 alphabet (64 characters and a terminating zero). */
extern const char s_acUUEncode[65];
/* Reverse of s_acUUEncode, indexed by the unsigned byte: the 6-bit value of
 * each alphabet character, 0x40 for every other byte ('=' included). */
extern const unsigned char s_abUUDecode[256];

/* ---- hexadecimal ---- */

/* Two upper-case hex digits per byte.  All or nothing: when cap <= 2n
 * nothing at all is written (not even a terminator) and the result is
 * 2n + 1; otherwise the 2n digits and a terminator are written and the
 * result is 2n.  A null destination is "too small" at any capacity. */
unsigned int KivStrEncodeHex(char *dst, unsigned int cap, const unsigned char *src, unsigned int n);
unsigned int KivStrEncodeHex(wchar_t *dst, unsigned int cap, const unsigned char *src, unsigned int n);

/* Decodes n / 2 digit pairs (an odd last digit is ignored), stopping early
 * at a pair holding a zero element.  Non-hex digits count 0; a wide digit is
 * read by its low byte.  Binary output; result = pairs converted. */
unsigned int KivStrDecodeHex(unsigned char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrDecodeHex(unsigned char *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* ---- URL percent-encoding ---- */

/* Encodes one byte: ASCII letters and digits pass unchanged (1 element),
 * every other byte becomes "%XX" (3 elements; no '+' for a space).  Returns
 * the elements needed and writes them only if room holds all of them.
 * Instantiated for char and wchar_t destinations. */
template <typename T>
unsigned int TCharEncodeURL(T *out, unsigned int room, char c);

/* Decodes one unit at in, of which `remaining` elements are left: '+' gives a
 * space (consumes 1); '%' followed by two non-zero elements (remaining > 2)
 * gives the byte of the two hex digits, non-hex digits counting 0 (consumes
 * 3; with a null out it returns at once); anything else is copied (consumes
 * 1).  A wide element contributes its low byte.  Writes the byte to out
 * unless out is null.  With remaining 0 nothing is read or written and the
 * result is 0.  Instantiated for char and wchar_t sources. */
template <typename T>
unsigned int TCharDecodeURL(const T *in, unsigned int remaining, char *out);

extern template unsigned int TCharEncodeURL<char>(char *, unsigned int, char);
extern template unsigned int TCharEncodeURL<wchar_t>(wchar_t *, unsigned int, char);
extern template unsigned int TCharDecodeURL<char>(const char *, unsigned int, char *);
extern template unsigned int TCharDecodeURL<wchar_t>(const wchar_t *, unsigned int, char *);

/* Percent-encodes the source; a narrow source byte by byte, a wide source
 * through the UTF-8 form of each code point.  Text output; an escape is one
 * item of 3 elements. */
unsigned int KivStrEncodeURL(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrEncodeURL(char *dst, unsigned int cap, const wchar_t *src, unsigned int n);
unsigned int KivStrEncodeURL(wchar_t *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrEncodeURL(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* Percent-decodes the source with TCharDecodeURL.  A narrow destination
 * receives each decoded byte as one element; a wide destination receives
 * the code points that the decoded bytes form as UTF-8 (malformed sequences
 * give '?' per byte).  Text output. */
unsigned int KivStrDecodeURL(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrDecodeURL(char *dst, unsigned int cap, const wchar_t *src, unsigned int n);
unsigned int KivStrDecodeURL(wchar_t *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrDecodeURL(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* ---- XML and HTML entities ---- */

/* XML: '"' "&quot;", '&' "&amp;", '\'' "&apos;", '<' "&lt;", '>' "&gt;";
 * nothing else is escaped.  Text output; an entity is one item.  A wide
 * code point is compared by its whole value. */
unsigned int KivStrEncodeXML(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrEncodeXML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* Replaces the five exact, case-sensitive entities of KivStrEncodeXML by
 * their characters, in one pass; any other '&' is copied.  Text output. */
unsigned int KivStrDecodeXML(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrDecodeXML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* As the XML pair, without the apostrophe entity (an apostrophe passes
 * unchanged and "&apos;" is not decoded). */
unsigned int KivStrEncodeHTML(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrEncodeHTML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);
unsigned int KivStrDecodeHTML(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrDecodeHTML(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* ---- C-style literal escapes ---- */

/* 0x08-0x0D become \b \t \n \v \f \r; '"', '\'' and the backslash get a
 * backslash; every other value 0x00-0x1F and also '<' and '>' become \xHH
 * (upper case), so that escaped text can sit inside markup unchanged.
 * Everything else, bytes 0x80-0xFF of a narrow string included, passes
 * unchanged.  No octal escapes are produced.  Text output. */
unsigned int KivStrEncodeCPP(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrEncodeCPP(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* Undoes escapes: \0 \a \b \f \n \r \t \v, \xHH (two digits, non-hex digits
 * counting 0), and a backslash before any other character gives that
 * character.  \x without two following elements gives 'x'; a backslash at
 * the end gives a backslash.  There are no multi-digit octal escapes: \012
 * gives 0x00 '1' '2'.  A decoded zero is stored like any other character.
 * Text output. */
unsigned int KivStrDecodeCPP(char *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrDecodeCPP(wchar_t *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* ---- base64 ---- */

/* Base64 with '=' padding.  A group of 4 characters is one item; with
 * lineBreaks != 0 a CR LF (one item of 2) follows every 16th group, the
 * final padded group included.  Text output. */
unsigned int KivStrUUEncode(char *dst, unsigned int cap, const void *src, unsigned int n, int lineBreaks);
unsigned int KivStrUUEncode(wchar_t *dst, unsigned int cap, const void *src, unsigned int n, int lineBreaks);

/* Base64 decoding.  Before each group every element of value 32 or below is
 * skipped (a narrow byte read as signed, so bytes 0x80-0xFF too; a wide
 * element as a signed 32-bit value); white space inside a group is not.  A
 * zero element or the end of the source ends decoding; so does the first
 * character outside the alphabet (a wide element is looked up by its low
 * byte).  Binary output. */
unsigned int KivStrUUDecode(void *dst, unsigned int cap, const char *src, unsigned int n);
unsigned int KivStrUUDecode(void *dst, unsigned int cap, const wchar_t *src, unsigned int n);

/* ---- tokenizer ---- */

/* Cursor-style splitting.  Before the first call set cursor to the string
 * and length to (unsigned)-1; each call that returns 1 leaves cursor at the
 * token and length at its length in elements; 0 means no more tokens.  The
 * token ends at the first element found in delimiters (the whole rest when
 * delimiters is null); the next token starts exactly one delimiter further,
 * so adjacent delimiters give empty tokens, a trailing delimiter gives a
 * final empty token, and an empty (or null) string gives one empty token. */
int KivStrTokenize(const char *&cursor, unsigned int &length, const char *delimiters);
int KivStrTokenize(const wchar_t *&cursor, unsigned int &length, const wchar_t *delimiters);

#endif /* KIVCODEC_UNIX_H */
