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
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

/* ---- string buffer, string handle and character set conversions ---- */

/*
 * Character set conversions.  None of them allocates; each is one pass over
 * its input.  Capacities count output units: bytes for narrow output,
 * wchar_t cells for wide output, 16-bit units for UTF-16.  Bad input becomes
 * '?'.  A null destination is treated as capacity 0 (measure only), and a
 * null source as the empty string, whatever the count.  Results that would
 * not fit in 32 bits are reported as 0xFFFFFFFF ("did not fit").
 */

/* UCS-4 to UTF-8; count in characters or -1; result in bytes. */
unsigned int KivStrEncodeUTF8(char *dest, unsigned int capacity, wchar_t const *src, unsigned int count);
/* UTF-8 to UCS-4 (lenient: 5/6-byte and overlong forms accepted); count in bytes or -1. */
unsigned int KivStrDecodeUTF8(wchar_t *dest, unsigned int capacity, char const *src, unsigned int count);
/* The ANSI code page of this platform is UTF-8: the same as the two above. */
unsigned int KivStrEncodeANSI(char *dest, unsigned int capacity, wchar_t const *src, unsigned int count);
unsigned int KivStrDecodeANSI(wchar_t *dest, unsigned int capacity, char const *src, unsigned int count);
/* UCS-4 to Latin-1: values above 255 become '?', others (negatives too) their low byte.
 * Here a count of -1 means "up to the terminating zero" and a null source is empty. */
unsigned int KivStrEncodeLatin1(char *dest, unsigned int capacity, wchar_t const *src, unsigned int count);
/* Latin-1 to UCS-4; each byte is stored sign-extended (0xE9 gives 0xFFFFFFE9).
 * Same -1 and null-source rules as KivStrEncodeLatin1. */
unsigned int KivStrDecodeLatin1(wchar_t *dest, unsigned int capacity, char const *src, unsigned int count);
/* UTF-16 to UCS-4; unpaired surrogates become '?'; count in units or -1. */
unsigned int KivStrUTF16ToUCS4(unsigned int *dest, unsigned int capacity, unsigned short const *src, unsigned int count);
/* UCS-4 to UTF-16; a value above U+10FFFF gives '?' followed by a pair built
 * from its bits (three units; the '?' and the pair are separate items, a
 * pair is never cut); count in characters or -1; result in units. */
unsigned int KivStrUCS4ToUTF16(unsigned short *dest, unsigned int capacity, unsigned int const *src, unsigned int count);

/* Encodes the character at c into dest when room holds its whole sequence;
 * returns the sequence length in any case.  The last argument is unused. */
unsigned int CharEncodeUTF8(char *dest, unsigned int room, wchar_t const *c, unsigned int ignored);
/* Decodes one UTF-8 sequence from src (available bytes there); stores the
 * character into *dest when room is not 0; returns the bytes consumed
 * (0 only when available is 0, in which case nothing is read). */
unsigned int CharDecodeUTF8(wchar_t *dest, unsigned int room, unsigned char const *src, unsigned int available);
/* Length of the character at s: 1 below 0x80, else mblen() in the current
 * locale (-1 for an invalid sequence); 0 for a null pointer. */
int KivCharMBLen(char const *s);
/* Wide strings step by one element: always 1. */
int KivCharMBLen(wchar_t const *s);
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
unsigned int KivStrSerialize(void *dest, unsigned int size, wchar_t const *text, unsigned int count);
unsigned int KivStrDeSerialize(wchar_t *dest, unsigned int capacity, void const *src, unsigned int size);


/*
 * CKivMemHeap - the memory policy of the string buffer: the C heap.
 * A policy is any class with these three static functions; a buffer is
 * always allocated, grown and freed through the same policy.
 */
class CKivMemHeap
{
public:
  static void *Alloc(size_t bytes) { return malloc(bytes); }
  static void *Realloc(void *block, size_t bytes) { return realloc(block, bytes); }
  static void Free(void *block) { free(block); }
};

/*
 * KivAtomicAdd32Barrier - adds delta to *value atomically with a full memory
 * barrier and returns the new value.  32-bit atomics are native on every
 * target (no helper library is needed); the builtin wraps on overflow.
 */
inline int32_t KivAtomicAdd32Barrier(int32_t delta, int32_t *value)
{
  return __atomic_add_fetch(value, delta, __ATOMIC_SEQ_CST);
}

/*
 * TKivStringBuffer - a reference-counted string in one heap block: a 12-byte
 * header (m_nRefs, m_nCapacity, m_nLength) directly followed by m_nCapacity
 * character cells.  m_nRefs is the number of owners minus one.  The empty
 * string is the null pointer, never a buffer of its own; every operation
 * takes a buffer pointer (null allowed) and returns the pointer the caller
 * keeps from then on.  Invariant: m_nLength < m_nCapacity and
 * GetChars()[m_nLength] == 0.
 */
template <class C, class H>
struct TKivStringBuffer
{
  int32_t m_nRefs;
  uint32_t m_nCapacity;
  uint32_t m_nLength;

  /* The characters follow the header directly. */
  C *GetChars() { return reinterpret_cast<C *>(this + 1); }
  C const *GetChars() const { return reinterpret_cast<C const *>(this + 1); }

  /* Block size for a capacity, or 0 when it cannot be represented in size_t. */
  static size_t BlockSize(uint64_t capacity)
  {
    uint64_t bytes = (uint64_t)sizeof(TKivStringBuffer) + capacity * sizeof(C);
    if (capacity > 0xFFFFFFFFu || bytes > (uint64_t)(size_t)-1)
      return 0;
    return (size_t)bytes;
  }

  /* Length of a zero-terminated text; 0 for null. */
  static uint64_t TextLength(C const *text)
  {
    uint64_t n = 0;
    if (text)
      while (text[n] != 0)
        n++;
    return n;
  }

  /*
     * Create - a new buffer holding count characters of text (count -1: up
     * to its terminating zero; embedded zeros are copied as they stand), or
     * an empty buffer reserving count characters when text is null.  The
     * capacity is count + 1 rounded up to a multiple of 16 (at least 16).
     * Returns null for an empty string and when memory runs out.
     */
  static TKivStringBuffer *Create(C const *text, unsigned int count)
  {
    uint64_t n = count;
    if (count == 0xFFFFFFFFu)
      n = TextLength(text);
    if (n == 0)
      return 0;
    uint64_t capacity = (n + 1 + 15) & ~(uint64_t)15;
    size_t bytes = BlockSize(capacity);
    if (bytes == 0)
      return 0;
    void *block = H::Alloc(bytes);
    if (!block)
      return 0;
    TKivStringBuffer *b = static_cast<TKivStringBuffer *>(block);
    b->m_nRefs = 0;
    b->m_nCapacity = (uint32_t)capacity;
    b->m_nLength = 0;
    if (text)
    {
      b->m_nLength = (uint32_t)n;
      memcpy(b->GetChars(), text, (size_t)n * sizeof(C));
    }
    b->GetChars()[b->m_nLength] = 0;
    return b;
  }

  /*
     * Expand - makes sure the buffer has at least cells cells.  Small
     * buffers grow by doubling, a buffer of 32768 cells or more jumps to
     * 65536, and requests above 65535 cells are rounded up to a multiple of
     * 65536, so that repeated growth reallocates rarely.  A null buffer
     * becomes Create(null, cells - 1), hence null for 0 or 1 cell.  When
     * memory runs out (or the request cannot be represented) the buffer is
     * released and null is returned.  Neither the count nor the length is
     * looked at or changed.
     */
  static TKivStringBuffer *Expand(TKivStringBuffer *b, unsigned int cells)
  {
    if (!b)
      return Create(0, cells ? cells - 1 : 0);
    if (b->m_nCapacity >= cells)
      return b;
    uint64_t capacity;
    if (cells > 0xFFFFu)
    {
      capacity = ((uint64_t)cells + 0xFFFF) & ~(uint64_t)0xFFFF;
    }
    else if (b->m_nCapacity <= 0x7FFFu)
    {
      capacity = b->m_nCapacity ? b->m_nCapacity : 1;
      while (capacity < cells)
        capacity *= 2;
    }
    else
    {
      capacity = 0x10000;
    }
    size_t bytes = BlockSize(capacity);
    void *block = bytes ? H::Realloc(b, bytes) : 0;
    if (!block)
    {
      Release(b);
      return 0;
    }
    b = static_cast<TKivStringBuffer *>(block);
    b->m_nCapacity = (uint32_t)capacity;
    return b;
  }

  /*
     * Clear - empties a buffer that has a single owner in place (keeping its
     * capacity for reuse).  A shared buffer is never written: this owner's
     * reference is dropped and null returned.
     */
  static TKivStringBuffer *Clear(TKivStringBuffer *b)
  {
    if (!b)
      return 0;
    if (__atomic_load_n(&b->m_nRefs, __ATOMIC_ACQUIRE) == 0)
    {
      b->m_nLength = 0;
      b->GetChars()[0] = 0;
      return b;
    }
    Release(b);
    return 0;
  }

  /* AddRef - gives the buffer one more owner; returns it (null stays null). */
  static TKivStringBuffer *AddRef(TKivStringBuffer *b)
  {
    if (b)
      KivAtomicAdd32Barrier(1, &b->m_nRefs);
    return b;
  }

  /* Release - drops one owner; the last one frees the block. */
  static void Release(TKivStringBuffer *b)
  {
    if (b && KivAtomicAdd32Barrier(-1, &b->m_nRefs) < 0)
      H::Free(b);
  }

  /*
     * SetUTF8 - replaces the text by the decoded UTF-8 (bytes, or -1 for up
     * to its terminating zero).  A sole-owned buffer is decoded into
     * directly and only grown (and decoded a second time) when the text did
     * not fit; a null or shared buffer is replaced by a new one of the
     * measured size.  Returns the buffer now holding the text, or null when
     * memory ran out (the old buffer is then released).  Wide buffers only.
     */
  static TKivStringBuffer *SetUTF8(TKivStringBuffer *b, char const *utf8, unsigned int bytes)
  {
    b = Clear(b);
    if (b)
    {
      unsigned int r = KivStrDecodeUTF8(b->GetChars(), b->m_nCapacity, utf8, bytes);
      if (b->m_nCapacity > r)
      {
        b->m_nLength += r;
        return b;
      }
      b = Expand(b, r);
      if (!b)
        return 0; /* Expand has released the old buffer */
    }
    else
    {
      unsigned int r = KivStrDecodeUTF8(0, 0, utf8, bytes);
      if (r == 0)
        return 0;
      b = Create(0, r);
      if (!b)
        return 0;
    }
    unsigned int n = KivStrDecodeUTF8(b->GetChars(), b->m_nCapacity, utf8, bytes);
    if (n >= b->m_nCapacity)
    {
      /* cannot happen: the text was measured for this capacity */
      Release(b);
      return 0;
    }
    b->m_nLength += n;
    return b;
  }
};

/*
 * TKivString - the handle of a string buffer: one pointer, null for the
 * empty string.  Destroying a handle releases its buffer.  Copying a handle
 * shares the buffer (its count is raised atomically); a shared buffer is
 * never written in place, so setting a copy replaces its buffer instead.
 */
template <class C, class H>
class TKivString
{
public:
  typedef TKivStringBuffer<C, H> Buffer;

  TKivString()
      : m_pBuffer(0) {}
  TKivString(TKivString const &other)
      : m_pBuffer(Buffer::AddRef(other.m_pBuffer)) {}
  TKivString(TKivString &&other)
      : m_pBuffer(other.m_pBuffer) { other.m_pBuffer = 0; }
  ~TKivString() { Buffer::Release(m_pBuffer); }

  /* Shares other's buffer; the reference is taken before the old one is
     * dropped, so assigning a handle to itself is harmless. */
  TKivString &operator=(TKivString const &other)
  {
    Buffer *b = Buffer::AddRef(other.m_pBuffer);
    Buffer::Release(m_pBuffer);
    m_pBuffer = b;
    return *this;
  }

  TKivString &operator=(TKivString &&other)
  {
    if (this != &other)
    {
      Buffer::Release(m_pBuffer);
      m_pBuffer = other.m_pBuffer;
      other.m_pBuffer = 0;
    }
    return *this;
  }

  /* The buffer, or null for the empty string. */
  Buffer *GetBuffer() const { return m_pBuffer; }

  /* Number of characters (0 for the empty string). */
  unsigned int GetLength() const { return m_pBuffer ? m_pBuffer->m_nLength : 0; }

  /* Empties the string (in place when this handle is the sole owner). */
  void Clear() { m_pBuffer = Buffer::Clear(m_pBuffer); }

  /*
     * SetUTF8 - sets the text from UTF-8 (bytes, or -1 for up to the
     * terminating zero).  A null text, a count of 0, or a text whose first
     * byte is 0 (whatever the count says) empties the string; the first byte
     * is not read when the count is 0.
     */
  void SetUTF8(char const *utf8, unsigned int bytes)
  {
    if (utf8 && bytes != 0 && utf8[0] != 0)
      m_pBuffer = Buffer::SetUTF8(m_pBuffer, utf8, bytes);
    else
      m_pBuffer = Buffer::Clear(m_pBuffer);
  }

  /* Writes the serial form into dest (size bytes); see KivStrSerialize. */
  unsigned int Serialize(void *dest, unsigned int size) const
  {
    if (m_pBuffer)
      return KivStrSerialize(dest, size, m_pBuffer->GetChars(), m_pBuffer->m_nLength);
    return KivStrSerialize(dest, size, 0, 0);
  }

private:
  Buffer *m_pBuffer;
};

/* ---- the rest of the interface, one header per area ---- */
#include "KivNumber_unix.h"
#include "KivCompare_unix.h"
#include "KivCodec_unix.h"
#include "KivEdit_unix.h"

#endif /* KIVSTRING_UNIX_H */
