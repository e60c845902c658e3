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

/* ---- the rest of the interface, one header per area ---- */
#include "KivNumber_unix.h"
#include "KivCompare_unix.h"
#include "KivCodec_unix.h"
#include "KivEdit_unix.h"

#endif /* KIVSTRING_UNIX_H */
