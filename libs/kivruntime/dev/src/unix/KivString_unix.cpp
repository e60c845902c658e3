/*
 * KivString_unix.cpp - kivruntime: the reference-counted string buffer and
 * the character set conversions.
 */
#include "KivString_unix.h"
