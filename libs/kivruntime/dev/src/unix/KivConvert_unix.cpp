/*
 * KivConvert_unix.cpp - kivruntime: character set conversions between wide
 * strings (UCS-4) and UTF-8, the ANSI code page, Latin-1 and UTF-16, and the
 * per-character helpers the rest of the library steps with.
 *
 * Every converter is a bounded writer: with capacity 0 it only measures;
 * otherwise one unit is kept for the terminating zero, each output item
 * (one character's whole sequence, a surrogate pair) is written only while
 * it fits, and the first item that does not fit ends writing (a zero is
 * stored there) while the rest of the input is still counted.  The result is
 * the units written when everything fitted, else the total units plus one,
 * which is the capacity a second call needs.  The whole input is walked in
 * one pass; nothing is allocated.
 */
#include "KivString_unix.h"

#include <limits.h>
#include <stdlib.h>

/*
 * KivWriter - destination state of one bounded write (private to this file).  The total is kept in
 * 64 bits so that a huge input cannot wrap it; a result that does not fit in
 * 32 bits is reported as 0xFFFFFFFF, which is never below a capacity and so
 * always reads as "did not fit".
 */
namespace {

template <class U>
struct KivWriter
{
    U* dest;
    unsigned int room;   /* capacity - 1: units available for output */
    unsigned int pos;    /* units written so far */
    uint64_t total;      /* units the whole input needs */
    int writing;         /* 0 when measuring or after the first item that did not fit */

    KivWriter(U* d, unsigned int capacity)
    {
        if (!d)
            capacity = 0; /* no destination: measure only */
        dest = d;
        room = capacity ? capacity - 1 : 0;
        pos = 0;
        total = 0;
        writing = capacity != 0;
    }

    /* Ends writing at the current position: the output is terminated there
     * and nothing further is stored. */
    void Stop()
    {
        dest[pos] = 0;
        writing = 0;
    }

    /* One item of one unit. */
    void Put(U v)
    {
        total++;
        if (writing) {
            if (pos < room)
                dest[pos++] = v;
            else
                Stop();
        }
    }

    /* One item of two units, written whole or not at all. */
    void Put2(U a, U b)
    {
        total += 2;
        if (writing) {
            if (room - pos >= 2) {
                dest[pos++] = a;
                dest[pos++] = b;
            } else {
                Stop();
            }
        }
    }

    /* Result of the write; terminates a complete output. */
    unsigned int Finish()
    {
        if (writing) {
            dest[pos] = 0;
            return pos;
        }
        return total + 1 > 0xFFFFFFFFu ? 0xFFFFFFFFu : (unsigned int)(total + 1);
    }
};

} /* namespace */

/* A character's value read as a signed 32-bit number, whatever the
 * signedness of wchar_t on the host. */
static inline int32_t KivCharValue(wchar_t c)
{
    return (int32_t)(uint32_t)c;
}

/* Length of a narrow text up to its zero (0 for null). */
static uint64_t KivNarrowLength(char const* s)
{
    uint64_t n = 0;
    if (s)
        while (s[n] != 0)
            n++;
    return n;
}

/* Length of a wide text up to its zero (0 for null). */
template <class U>
static uint64_t KivUnitLength(U const* s)
{
    uint64_t n = 0;
    if (s)
        while (s[n] != 0)
            n++;
    return n;
}

/* Number of input units to convert: the count as given, or up to the zero
 * for -1; nothing for a null source. */
static inline uint64_t KivInputCount(char const* src, unsigned int count)
{
    if (!src)
        return 0;
    return count == 0xFFFFFFFFu ? KivNarrowLength(src) : count;
}

template <class U>
static inline uint64_t KivInputCount(U const* src, unsigned int count)
{
    if (!src)
        return 0;
    return count == 0xFFFFFFFFu ? KivUnitLength(src) : count;
}

/* Bytes of the UTF-8 form of a value (compared signed: every negative value
 * is a single byte). */
static inline unsigned int KivUTF8Length(int32_t v)
{
    if (v <= 0x7F)
        return 1;
    if (v <= 0x7FF)
        return 2;
    if (v <= 0xFFFF)
        return 3;
    if (v <= 0x1FFFFF)
        return 4;
    if (v <= 0x3FFFFFF)
        return 5;
    return 6;
}

/*
 * CharEncodeUTF8 - writes the UTF-8 form of *c into dest when room holds the
 * whole sequence, and returns its length in any case.  Surrogates and values
 * above U+10FFFF are encoded by the same bit rules (up to six bytes).  A
 * negative value is written as its low byte, unchecked, so that the
 * sign-extended bytes of KivStrDecodeLatin1 come back out unchanged.
 */
unsigned int CharEncodeUTF8(char* dest, unsigned int room, wchar_t const* c, unsigned int ignored)
{
    (void)ignored;
    if (!c)
        return 0;
    int32_t v = KivCharValue(*c);
    unsigned int len = KivUTF8Length(v);
    if (!dest || room < len)
        return len;
    uint32_t u = (uint32_t)v;
    if (len == 1) {
        dest[0] = (char)(unsigned char)(u & 0xFF);
        return 1;
    }
    static const unsigned char s_lead[7] = { 0, 0, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC };
    for (unsigned int i = len - 1; i > 0; i--) {
        dest[i] = (char)(unsigned char)(0x80 | (u & 0x3F));
        u >>= 6;
    }
    dest[0] = (char)(unsigned char)(s_lead[len] | u);
    return len;
}

/*
 * KivDecodeOne - decodes one UTF-8 sequence of at most available bytes into
 * *out and returns the bytes consumed (at least 1; available must not be 0).
 * Only the structure is checked: 5- and 6-byte forms and overlong forms are
 * accepted and decoded by their bits, and the value is never judged.  A lead
 * byte that is not one, a following byte not of the form 10xxxxxx, or a
 * sequence cut short by the end of the input gives '?' and consumes one
 * byte, so the rest of a broken sequence is judged byte by byte.
 */
static unsigned int KivDecodeOne(unsigned char const* s, uint64_t available, uint32_t* out)
{
    unsigned int b = s[0];
    if (b < 0x80) {
        *out = b;
        return 1;
    }
    unsigned int len;
    uint32_t v;
    if ((b & 0xE0) == 0xC0) {
        len = 2;
        v = b & 0x1F;
    } else if ((b & 0xF0) == 0xE0) {
        len = 3;
        v = b & 0x0F;
    } else if ((b & 0xF8) == 0xF0) {
        len = 4;
        v = b & 0x07;
    } else if ((b & 0xFC) == 0xF8) {
        len = 5;
        v = b & 0x03;
    } else if ((b & 0xFE) == 0xFC) {
        len = 6;
        v = b & 0x01;
    } else {
        *out = '?';
        return 1;
    }
    if (available < len) {
        *out = '?';
        return 1;
    }
    for (unsigned int i = 1; i < len; i++) {
        unsigned int f = s[i];
        if ((f & 0xC0) != 0x80) {
            *out = '?';
            return 1;
        }
        v = (v << 6) | (f & 0x3F);
    }
    *out = v;
    return len;
}

/*
 * CharDecodeUTF8 - decodes one UTF-8 sequence from src, of which available
 * bytes may be read; stores the character when room is not 0 (room only
 * says whether to store) and returns the bytes consumed.  With nothing
 * available nothing is read and 0 is returned.
 */
unsigned int CharDecodeUTF8(wchar_t* dest, unsigned int room, unsigned char const* src, unsigned int available)
{
    if (!src || available == 0)
        return 0;
    uint32_t v;
    unsigned int used = KivDecodeOne(src, available, &v);
    if (room != 0 && dest)
        *dest = (wchar_t)v;
    return used;
}

/*
 * KivStrEncodeUTF8 - UCS-4 to UTF-8.  A sequence is never cut: a character
 * whose sequence does not fit in the remaining room ends writing.  Runs of
 * ASCII are copied by a short loop; the result is the same.
 */
unsigned int KivStrEncodeUTF8(char* dest, unsigned int capacity, wchar_t const* src, unsigned int count)
{
    uint64_t n = KivInputCount(src, count);
    KivWriter<char> w(dest, capacity);
    uint64_t i = 0;
    while (i < n && w.writing) {
        /* ASCII run */
        while (i < n && (uint32_t)src[i] < 0x80 && w.pos < w.room) {
            w.dest[w.pos++] = (char)(unsigned char)src[i];
            i++;
        }
        w.total = w.pos;
        if (i >= n)
            break;
        unsigned int len = CharEncodeUTF8(w.dest + w.pos, w.room - w.pos, &src[i], 0);
        w.total += len;
        if (len > w.room - w.pos) {
            w.Stop();
        } else {
            w.pos += len;
        }
        i++;
    }
    if (w.writing)
        w.total = w.pos;
    for (; i < n; i++)
        w.total += KivUTF8Length(KivCharValue(src[i]));
    return w.Finish();
}

/*
 * KivStrDecodeUTF8 - UTF-8 to UCS-4, one character per sequence (see
 * KivDecodeOne for the leniency).  Zero bytes inside an explicit count
 * decode to U+0000 like any other byte.
 */
unsigned int KivStrDecodeUTF8(wchar_t* dest, unsigned int capacity, char const* src, unsigned int count)
{
    uint64_t n = KivInputCount(src, count);
    unsigned char const* s = reinterpret_cast<unsigned char const*>(src);
    KivWriter<wchar_t> w(dest, capacity);
    uint64_t i = 0;
    while (i < n) {
        if (w.writing) {
            /* ASCII run: one byte, one character */
            while (i < n && s[i] < 0x80 && w.pos < w.room) {
                w.dest[w.pos++] = (wchar_t)s[i];
                i++;
            }
            w.total = w.pos;
            if (i >= n)
                break;
        } else if (s[i] < 0x80) {
            w.total++; /* measuring: an ASCII byte is one character */
            i++;
            continue;
        }
        uint32_t v;
        i += KivDecodeOne(s + i, n - i, &v);
        w.Put((wchar_t)v);
    }
    return w.Finish();
}

/* The ANSI code page of this platform is UTF-8. */
unsigned int KivStrEncodeANSI(char* dest, unsigned int capacity, wchar_t const* src, unsigned int count)
{
    return KivStrEncodeUTF8(dest, capacity, src, count);
}

/* The ANSI code page of this platform is UTF-8. */
unsigned int KivStrDecodeANSI(wchar_t* dest, unsigned int capacity, char const* src, unsigned int count)
{
    return KivStrDecodeUTF8(dest, capacity, src, count);
}

/*
 * KivStrEncodeLatin1 - one byte per character: a value whose signed reading
 * is above 255 becomes '?', any other (negative values included) its low
 * byte, so the sign-extended output of KivStrDecodeLatin1 round-trips.
 * The count is meant to be explicit; -1 is taken, for safety, as "up to the
 * terminating zero", and a null source as the empty string.
 */
unsigned int KivStrEncodeLatin1(char* dest, unsigned int capacity, wchar_t const* src, unsigned int count)
{
    uint64_t n = KivInputCount(src, count);
    KivWriter<char> w(dest, capacity);
    for (uint64_t i = 0; i < n; i++) {
        int32_t v = KivCharValue(src[i]);
        w.Put(v > 255 ? '?' : (char)(unsigned char)(v & 0xFF));
    }
    return w.Finish();
}

/*
 * KivStrDecodeLatin1 - one character per byte, sign-extended: bytes
 * 0x80-0xFF become 0xFFFFFF80-0xFFFFFFFF (intended; KivStrEncodeLatin1 and
 * KivStrEncodeUTF8 turn them back into the same bytes).  Same -1 and null
 * rules as KivStrEncodeLatin1.
 */
unsigned int KivStrDecodeLatin1(wchar_t* dest, unsigned int capacity, char const* src, unsigned int count)
{
    uint64_t n = KivInputCount(src, count);
    KivWriter<wchar_t> w(dest, capacity);
    for (uint64_t i = 0; i < n; i++)
        w.Put((wchar_t)(signed char)src[i]);
    return w.Finish();
}

/*
 * KivStrUTF16ToUCS4 - a high surrogate directly followed by a low one gives
 * one character; any other surrogate unit becomes '?'; every other unit is
 * copied.  The result counts characters.
 */
unsigned int KivStrUTF16ToUCS4(unsigned int* dest, unsigned int capacity, unsigned short const* src, unsigned int count)
{
    uint64_t n = KivInputCount(src, count);
    KivWriter<unsigned int> w(dest, capacity);
    uint64_t i = 0;
    while (i < n) {
        unsigned int u = src[i];
        if (u >= 0xD800 && u <= 0xDBFF && n - i >= 2 && src[i + 1] >= 0xDC00 && src[i + 1] <= 0xDFFF) {
            w.Put((u << 10) + src[i + 1] - 0x35FDC00u);
            i += 2;
            continue;
        }
        w.Put(u >= 0xD800 && u <= 0xDFFF ? (unsigned int)'?' : u);
        i++;
    }
    return w.Finish();
}

/*
 * KivStrUCS4ToUTF16 - values up to 0xFFFF are one unit (surrogate values
 * pass through); U+10000 to U+10FFFF a surrogate pair, written whole or not
 * at all.  A value above U+10FFFF gives a '?' unit and then the pair built
 * from its bits by the same formula, each half kept to 16 bits: three units,
 * the '?' and the pair being two separate items.  The result counts units.
 */
unsigned int KivStrUCS4ToUTF16(unsigned short* dest, unsigned int capacity, unsigned int const* src, unsigned int count)
{
    uint64_t n = KivInputCount(src, count);
    KivWriter<unsigned short> w(dest, capacity);
    for (uint64_t i = 0; i < n; i++) {
        uint32_t c = src[i];
        if (c <= 0xFFFF) {
            w.Put((unsigned short)c);
            continue;
        }
        if (c > 0x10FFFF)
            w.Put((unsigned short)'?');
        w.Put2((unsigned short)(((c >> 10) + 0xD7C0) & 0xFFFF),
               (unsigned short)((c & 0x3FF) + 0xDC00));
    }
    return w.Finish();
}

/*
 * KivCharMBLen - bytes of the character at s: 1 below 0x80, otherwise what
 * the C library's mblen() says in the current locale (-1 for an invalid
 * sequence), returned as it is.  A null pointer has no character: 0.
 */
int KivCharMBLen(char const* s)
{
    if (!s)
        return 0;
    if ((unsigned char)*s < 0x80)
        return 1;
    return mblen(s, MB_CUR_MAX);
}

/* KivCharMBLen - wide strings hold one character per element. */
int KivCharMBLen(wchar_t const* s)
{
    (void)s;
    return 1;
}

/* CharX2C - the upper-case hexadecimal digit of 0-15, '?' above. */
char CharX2C(unsigned char digit)
{
    static const char s_acHex[] = "0123456789ABCDEF";
    return digit <= 15 ? s_acHex[digit] : '?';
}
