/*
 * KivNumber_unix.h - kivruntime: number formatting and parsing.
 * Included by KivString_unix.h; programs include that header, not this one.
 */
#ifndef KIVNUMBER_UNIX_H
#define KIVNUMBER_UNIX_H

#include "KivString_unix.h"

#endif /* KIVNUMBER_UNIX_H */
