/*
 * KivCodec_unix.h - kivruntime: escaping codecs and tokenizer.
 * Included by KivString_unix.h; programs include that header, not this one.
 */
#ifndef KIVCODEC_UNIX_H
#define KIVCODEC_UNIX_H

#include "KivString_unix.h"

#endif /* KIVCODEC_UNIX_H */
