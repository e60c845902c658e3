/*
 * KivString_unix.h - public interface of the kivruntime string library.
 *
 * Including this header declares every function of the library; link with
 * libkivruntime.a.  The library works on narrow strings (char, UTF-8 or the
 * current locale's multibyte code) and wide strings (wchar_t, 32-bit UCS-4).
 *
 * Conventions shared by every function:
 *  - A writer takes (destination, capacity, source, count).  The capacity
 *    counts elements including the terminating zero; a count of (unsigned)-1
 *    means "up to the source's terminating zero"; a null source reads as the
 *    empty string.
 *  - A writer returns the number of elements written (terminator excluded)
 *    when everything fitted, otherwise the capacity that would have been
 *    enough (needed + 1), leaving a truncated, terminated result when the
 *    capacity is not 0.  Nothing is ever written at or past the capacity.
 *  - Positions are unsigned; (unsigned)-1 means "not found".  Predicates
 *    return 1 or 0.
 *  - Unconvertible characters become '?'.  Nothing throws, sets errno or
 *    allocates, except the reference-counted string buffer.
 */
#ifndef KIVSTRING_UNIX_H
#define KIVSTRING_UNIX_H

#include <stddef.h>
#include <stdint.h>
#include <wchar.h>

/* ---- string buffer, string handle and character set conversions ---- */

/*
 * Character set conversions.  None of them allocates; each is one pass over
 * its input.  Capacities count output units: bytes for narrow output,
 * wchar_t cells for wide output, 16-bit units for UTF-16.  Bad input becomes
 * '?'.  A null destination is treated as capacity 0 (measure only).
 */

/* UCS-4 to UTF-8; count in characters or -1; result in bytes. */
unsigned int KivStrEncodeUTF8(char* dest, unsigned int capacity, wchar_t const* src, unsigned int count);
/* UTF-8 to UCS-4 (lenient: 5/6-byte and overlong forms accepted); count in bytes or -1. */
unsigned int KivStrDecodeUTF8(wchar_t* dest, unsigned int capacity, char const* src, unsigned int count);
/* The ANSI code page of this platform is UTF-8: the same as the two above. */
unsigned int KivStrEncodeANSI(char* dest, unsigned int capacity, wchar_t const* src, unsigned int count);
unsigned int KivStrDecodeANSI(wchar_t* dest, unsigned int capacity, char const* src, unsigned int count);
/* UCS-4 to Latin-1: values above 255 become '?', others (negatives too) their low byte.
 * Here a count of -1 means "up to the terminating zero" and a null source is empty. */
unsigned int KivStrEncodeLatin1(char* dest, unsigned int capacity, wchar_t const* src, unsigned int count);
/* Latin-1 to UCS-4; each byte is stored sign-extended (0xE9 gives 0xFFFFFFE9).
 * Same -1 and null-source rules as KivStrEncodeLatin1. */
unsigned int KivStrDecodeLatin1(wchar_t* dest, unsigned int capacity, char const* src, unsigned int count);
/* UTF-16 to UCS-4; unpaired surrogates become '?'; count in units or -1. */
unsigned int KivStrUTF16ToUCS4(unsigned int* dest, unsigned int capacity, unsigned short const* src, unsigned int count);
/* UCS-4 to UTF-16; a value above U+10FFFF gives '?' followed by a pair built
 * from its bits (three units); count in characters or -1; result in units. */
unsigned int KivStrUCS4ToUTF16(unsigned short* dest, unsigned int capacity, unsigned int const* src, unsigned int count);

/* Encodes the character at c into dest when room holds its whole sequence;
 * returns the sequence length in any case.  The last argument is unused. */
unsigned int CharEncodeUTF8(char* dest, unsigned int room, wchar_t const* c, unsigned int ignored);
/* Decodes one UTF-8 sequence from src (available bytes there); stores the
 * character into *dest when room is not 0; returns the bytes consumed
 * (0 only when available is 0, in which case nothing is read). */
unsigned int CharDecodeUTF8(wchar_t* dest, unsigned int room, unsigned char const* src, unsigned int available);
/* Length of the character at s: 1 below 0x80, else mblen() in the current
 * locale (-1 for an invalid sequence); 0 for a null pointer. */
int KivCharMBLen(char const* s);
/* Wide strings step by one element: always 1. */
int KivCharMBLen(wchar_t const* s);
/* 0-15 to "0123456789ABCDEF"; '?' for anything larger. */
char CharX2C(unsigned char digit);

/*
 * Serial form of a wide string: 16-bit little-endian units (bits 16-31 of
 * each character are dropped) followed by a 16-bit zero, no length prefix.
 * KivStrSerialize returns the bytes written including the terminator, or the
 * bytes needed when (size & ~1) is too small (dest then untouched).
 * KivStrDeSerialize copies size/2 units plus a terminating zero; returns the
 * units copied, or the cells needed (units + 1) when capacity is too small.
 */
unsigned int KivStrSerialize(void* dest, unsigned int size, wchar_t const* text, unsigned int count);
unsigned int KivStrDeSerialize(wchar_t* dest, unsigned int capacity, void const* src, unsigned int size);


/* ---- the rest of the interface, one header per area ---- */
#include "KivNumber_unix.h"
#include "KivCompare_unix.h"
#include "KivCodec_unix.h"
#include "KivEdit_unix.h"

#endif /* KIVSTRING_UNIX_H */
