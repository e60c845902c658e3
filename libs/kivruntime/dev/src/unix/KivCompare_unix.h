/*
 * KivCompare_unix.h - kivruntime: comparison, search and wildcard matching.
 * Included by KivString_unix.h; programs include that header, not this one.
 */
#ifndef KIVCOMPARE_UNIX_H
#define KIVCOMPARE_UNIX_H

#include "KivString_unix.h"

#endif /* KIVCOMPARE_UNIX_H */
