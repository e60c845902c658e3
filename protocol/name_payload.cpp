/*
 * name_payload.cpp - build the printer-name payload from a UTF-8 name.
 */
#include "name_payload.h"

#include <stdlib.h>
#include <string.h>

#include "KivString_unix.h"

/*
 * 'name_payload_length()' - 2 x the UTF-8 byte length + 2.
 *
 * Computed in 32 bits; names come from a command line of at most 1023
 * bytes or are cut to that length before they get here.
 */
uint32_t name_payload_length(uint32_t byteLength)
{
  return 2u * byteLength + 2u;
}

/*
 * 'name_payload_build()' - Decode the name into a wide string and
 * serialise it into a zero-filled buffer of nameLen bytes.
 *
 * The buffer is cleared first: for names with multi-byte characters the
 * serial form ends before nameLen, and the bytes after its terminator go
 * out as zeros.  If the wide string cannot be allocated the string stays
 * empty and the payload is all zeros, which still reads as a terminated
 * (empty) name.
 */
unsigned char *name_payload_build(const char *name, uint32_t *nameLen)
{
  TKivString<wchar_t, CKivMemHeap> wide;
  size_t bytes = name ? strlen(name) : 0;
  uint32_t length;
  unsigned char *payload;

  *nameLen = 0;
  if (bytes > 0x7FFFFFFEu)
    return NULL;
  length = name_payload_length((uint32_t)bytes);

  payload = (unsigned char *)calloc(1, length);
  if (!payload)
    return NULL;

  wide.SetUTF8(name ? name : "", (unsigned int)-1);
  wide.Serialize(payload, length);
  *nameLen = length;
  return payload;
}
