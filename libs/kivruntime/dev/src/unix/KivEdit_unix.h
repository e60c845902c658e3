/*
 * KivEdit_unix.h - kivruntime: editing, trimming, paths and XML tokens.
 * Included by KivString_unix.h; programs include that header, not this one.
 */
#ifndef KIVEDIT_UNIX_H
#define KIVEDIT_UNIX_H

#include "KivString_unix.h"

#endif /* KIVEDIT_UNIX_H */
