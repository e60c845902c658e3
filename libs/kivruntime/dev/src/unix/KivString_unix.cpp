/*
 * KivString_unix.cpp - kivruntime: the serial form of wide strings, used by
 * the reference-counted string buffer (declared, with its handle, in
 * KivString_unix.h) to put its text into wire records.  The character set
 * conversions are in KivConvert_unix.cpp.
 */
#include "KivString_unix.h"

/* The buffer is a 12-byte header followed directly by the characters, and
 * wide characters are UCS-4 on every platform this library is built for. */
static_assert(sizeof(wchar_t) == 4, "wchar_t must be 32 bits wide");
static_assert(sizeof(TKivStringBuffer<wchar_t, CKivMemHeap>) == 12, "string buffer header must be 12 bytes");
static_assert(sizeof(TKivString<wchar_t, CKivMemHeap>) == sizeof(void *), "string handle must be one pointer");

/*
 * KivStrSerialize - writes count characters of text (-1: up to its zero; a
 * null text is empty) as 16-bit little-endian units and a 16-bit zero.
 * Bits 16-31 of each character are dropped: characters above U+FFFF are not
 * split into surrogate pairs.  The bytes are stored one by one, so the order
 * does not depend on the host.  Returns 2 * count + 2, the bytes written; if
 * (size & ~1) is smaller than that, nothing is written and the same number
 * is returned (0xFFFFFFFF if it does not fit in 32 bits), so the caller
 * tells success by result <= size.
 */
unsigned int KivStrSerialize(void *dest, unsigned int size, wchar_t const *text, unsigned int count)
{
  uint64_t n = 0;
  if (text)
  {
    if (count == 0xFFFFFFFFu)
    {
      while (text[n] != 0)
        n++;
    }
    else
    {
      n = count;
    }
  }
  uint64_t need = 2 * n + 2;
  if (!dest)
    size = 0;
  if ((uint64_t)(size & ~1u) < need)
    return need > 0xFFFFFFFFu ? 0xFFFFFFFFu : (unsigned int)need;
  unsigned char *out = static_cast<unsigned char *>(dest);
  for (uint64_t i = 0; i < n; i++)
  {
    uint32_t c = (uint32_t)text[i];
    out[2 * i] = (unsigned char)(c & 0xFF);
    out[2 * i + 1] = (unsigned char)((c >> 8) & 0xFF);
  }
  out[2 * n] = 0;
  out[2 * n + 1] = 0;
  return (unsigned int)need;
}

/*
 * KivStrDeSerialize - reads size / 2 little-endian 16-bit units (a trailing
 * odd byte is ignored) into dest, zero-extended, and terminates.  Zero
 * units and surrogates are copied like any other unit.  Returns the units
 * copied; when capacity is below units + 1 nothing is written and units + 1
 * is returned.  Fed a whole serial form it copies the serialised terminator
 * too, so its count is one more than the text's.  A null source is empty.
 */
unsigned int KivStrDeSerialize(wchar_t *dest, unsigned int capacity, void const *src, unsigned int size)
{
  unsigned int n = src ? size / 2 : 0;
  if (!dest)
    capacity = 0;
  if (n + 1 > capacity)
    return n + 1;
  unsigned char const *in = static_cast<unsigned char const *>(src);
  for (unsigned int i = 0; i < n; i++)
    dest[i] = (wchar_t)((unsigned int)in[2 * i] | ((unsigned int)in[2 * i + 1] << 8));
  dest[n] = 0;
  return n;
}
