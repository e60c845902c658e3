/*
 * name_payload.h - the printer-name payload that follows every record.
 *
 * The name arrives as UTF-8 bytes and travels as UTF-16LE units (the low 16
 * bits of each character) with a 16-bit zero terminator.  Its length on the
 * wire, nameLen, is computed from the UTF-8 byte length, 2 x bytes + 2, so
 * that it is known before decoding; a name with multi-byte sequences
 * serialises shorter than that, and the rest of the payload is zeros.
 */
#ifndef CORVANE_NAME_PAYLOAD_H
#define CORVANE_NAME_PAYLOAD_H

#include <stdint.h>

/* nameLen of a UTF-8 name of byteLength bytes: 2 x byteLength + 2. */
uint32_t name_payload_length(uint32_t byteLength);

/* Builds the payload of the zero-terminated UTF-8 name (null reads as the
   empty name).  Returns a heap buffer of *nameLen bytes that the caller
   frees with free(), or null with *nameLen 0 when memory ran out. */
unsigned char *name_payload_build(const char *name, uint32_t *nameLen);

#endif
