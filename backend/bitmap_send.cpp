/*
 * bitmap_send.cpp - the ENDPAGE transmission of the page raster.
 */
#include "bitmap_send.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <lzf.h>

#include "large_alloc.h"
#include "rc_packet.h"

/*
 * 'bitmap_compute_layout()' - alignPerLine, sendLines, rwsize and the
 * compression buffer for a line length.
 *
 * Lines up to the fragment limit are packed as many per fragment as fit;
 * the compression buffer is the fixed 2,400,000 bytes, more than LZF's
 * worst case (about 1/32 growth) of a 2,000,000-byte input.  A longer line
 * cannot share a fragment, so each goes alone, with a compression buffer
 * of its length plus 1/16 plus a little: again above the worst case.
 * Everything stays below 2^32: bytesPerLine is at most 2^31 - 1.
 */
void bitmap_compute_layout(uint32_t bytesPerLine, bitmap_layout *layout)
{
  layout->alignPerLine = (bytesPerLine % 4u) ? 4u - bytesPerLine % 4u : 0u;
  layout->alignedLine = bytesPerLine + layout->alignPerLine;
  if (layout->alignedLine == 0)
  {
    layout->sendLines = 0;
    layout->rwsize = 0;
    layout->compressSize = 0;
  }
  else if (layout->alignedLine <= BITMAP_FRAGMENT_LIMIT)
  {
    layout->sendLines = BITMAP_FRAGMENT_LIMIT / layout->alignedLine;
    layout->rwsize = layout->alignedLine * layout->sendLines;
    layout->compressSize = BITMAP_COMPRESS_BUFFER;
  }
  else
  {
    layout->sendLines = 1;
    layout->rwsize = layout->alignedLine;
    layout->compressSize = layout->alignedLine + layout->alignedLine / 16u + 64u;
  }
}

/*
 * 'loadLE64()' - Eight bytes as a little-endian 64-bit number.
 *
 * Through memcpy, so any alignment will do; a compiler turns it into one
 * load (and a byte swap on a big-endian machine).
 */
static inline uint64_t loadLE64(const unsigned char *p)
{
  uint64_t v;

  memcpy(&v, p, sizeof(v));
#if defined(__BYTE_ORDER__) && defined(__ORDER_BIG_ENDIAN__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap64(v);
#elif !defined(__BYTE_ORDER__)
  v = (uint64_t)p[0] | ((uint64_t)p[1] << 8) | ((uint64_t)p[2] << 16) | ((uint64_t)p[3] << 24) |
      ((uint64_t)p[4] << 32) | ((uint64_t)p[5] << 40) | ((uint64_t)p[6] << 48) |
      ((uint64_t)p[7] << 56);
#endif
  return v;
}

/*
 * 'storeLE64()' - Store a 64-bit number as eight little-endian bytes.
 */
static inline void storeLE64(unsigned char *p, uint64_t v)
{
#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  memcpy(p, &v, sizeof(v));
#elif defined(__BYTE_ORDER__) && defined(__ORDER_BIG_ENDIAN__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  v = __builtin_bswap64(v);
  memcpy(p, &v, sizeof(v));
#else
  int i;

  for (i = 0; i < 8; i++)
    p[i] = (unsigned char)(v >> (8 * i));
#endif
}

/* Byte i of a 64-bit little-endian word. */
#define BYTE_AT(i) ((uint64_t)0xFF << (8 * (i)))

/*
 * 'bitmap_reverse_groups_portable()' - Reverse every group of three bytes.
 *
 * Twenty-four bytes (eight groups) make three 64-bit words, read as
 * little-endian numbers so that byte k of the block is bits 8k..8k+7 of
 * the 192-bit number a | b << 64 | c << 128.  In the result, byte k comes
 * from byte k + 2 when k mod 3 is 0 (the block shifted right by 16 bits),
 * from byte k itself when k mod 3 is 1, and from byte k - 2 when k mod 3
 * is 2 (shifted left by 16 bits); the three masks of each word pick those
 * bytes.  No group crosses the block, so the shifted-in bytes at its two
 * ends are never picked.  The groups after the last whole block go one at
 * a time.
 */
void bitmap_reverse_groups_portable(unsigned char *dst, const unsigned char *src, size_t count)
{
  /* Byte k of the block is in word k / 8; masks by k mod 3. */
  static const uint64_t fromRight0 = BYTE_AT(0) | BYTE_AT(3) | BYTE_AT(6); /* k = 0, 3, 6 */
  static const uint64_t same0 = BYTE_AT(1) | BYTE_AT(4) | BYTE_AT(7);      /* k = 1, 4, 7 */
  static const uint64_t fromLeft0 = BYTE_AT(2) | BYTE_AT(5);               /* k = 2, 5 */
  static const uint64_t fromRight1 = BYTE_AT(1) | BYTE_AT(4) | BYTE_AT(7); /* k = 9, 12, 15 */
  static const uint64_t same1 = BYTE_AT(2) | BYTE_AT(5);                   /* k = 10, 13 */
  static const uint64_t fromLeft1 = BYTE_AT(0) | BYTE_AT(3) | BYTE_AT(6);  /* k = 8, 11, 14 */
  static const uint64_t fromRight2 = BYTE_AT(2) | BYTE_AT(5);              /* k = 18, 21 */
  static const uint64_t same2 = BYTE_AT(0) | BYTE_AT(3) | BYTE_AT(6);      /* k = 16, 19, 22 */
  static const uint64_t fromLeft2 = BYTE_AT(1) | BYTE_AT(4) | BYTE_AT(7);  /* k = 17, 20, 23 */
  size_t g = 0;

  for (; count - g >= 24; g += 24)
  {
    uint64_t a = loadLE64(src + g);
    uint64_t b = loadLE64(src + g + 8);
    uint64_t c = loadLE64(src + g + 16);

    storeLE64(dst + g, (a & same0) | (((a >> 16) | (b << 48)) & fromRight0) |
                         ((a << 16) & fromLeft0));
    storeLE64(dst + g + 8, (b & same1) | (((b >> 16) | (c << 48)) & fromRight1) |
                             (((b << 16) | (a >> 48)) & fromLeft1));
    storeLE64(dst + g + 16, (c & same2) | ((c >> 16) & fromRight2) |
                              (((c << 16) | (b >> 48)) & fromLeft2));
  }
  for (; count - g >= 3; g += 3)
  {
    unsigned char first = src[g];

    dst[g] = src[g + 2];
    dst[g + 1] = src[g + 1];
    dst[g + 2] = first;
  }
}

#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#include <tmmintrin.h>
#define BITMAP_HAVE_SHUFFLE 1

/*
 * 'reverseShuffle()' - The groups of three reversed with the byte shuffle
 * of x86 processors that have it (SSSE3): five groups per 16-byte load.
 *
 * Each step loads 16 bytes, reverses the five whole groups in them and
 * stores 16 bytes; the 16th byte goes out unchanged and is written again,
 * properly, by the next step or the tail, as it is the first byte of a
 * whole group.  The load and the store stay within the whole groups.  dst
 * may be src (in place): every 16 bytes are loaded before the step before
 * them stores over their first byte, which it stores unchanged.
 * Returns the bytes done (a multiple of 15); the caller does the rest.
 */
__attribute__((target("ssse3"))) static size_t reverseShuffle(unsigned char *dst,
                                                              const unsigned char *src,
                                                              size_t count)
{
  const __m128i order = _mm_setr_epi8(2, 1, 0, 5, 4, 3, 8, 7, 6, 11, 10, 9, 14, 13, 12, 15);
  size_t whole = count / 3u * 3u;
  size_t g = 0;

  __m128i v;

  if (whole < 18)
    return 0;
  /* Each load comes before the store that overlaps it: in place, a load
     of bytes just stored at another offset would wait for the store to
     finish (no forwarding between them), a stall on every step. */
  v = _mm_loadu_si128((const __m128i *)(const void *)src);
  for (; whole - (g + 15) >= 18; g += 15)
  {
    __m128i next = _mm_loadu_si128((const __m128i *)(const void *)(src + g + 15));

    _mm_storeu_si128((__m128i *)(void *)(dst + g), _mm_shuffle_epi8(v, order));
    v = next;
  }
  _mm_storeu_si128((__m128i *)(void *)(dst + g), _mm_shuffle_epi8(v, order));
  return g + 15;
}

/*
 * 'haveShuffle()' - Whether this processor has the byte shuffle.
 */
static int haveShuffle(void)
{
  static int known = -1;

  if (known < 0)
    known = __builtin_cpu_supports("ssse3") ? 1 : 0;
  return known;
}
#endif

/*
 * 'bitmap_reverse_groups()' - Reverse every group of three bytes, with
 * the processor's byte shuffle where there is one.
 */
void bitmap_reverse_groups(unsigned char *dst, const unsigned char *src, size_t count)
{
#if defined(BITMAP_HAVE_SHUFFLE)
  if (haveShuffle())
  {
    size_t done = reverseShuffle(dst, src, count);

    bitmap_reverse_groups_portable(dst + done, src + done, count - done);
    return;
  }
#endif
  bitmap_reverse_groups_portable(dst, src, count);
}

/*
 * 'bitmap_copy_row()' - One raster row into one bitmap line.
 *
 * Each group of three bytes is reversed (destination 0, 1, 2 take source
 * 2, 1, 0), for depth 1 as for depth 3: it is a fixed rule of the bitmap
 * format.  When bytesPerLine is not a multiple of 3 the last group reads
 * up to two bytes beyond it; those reads may come from the next row, and
 * past the end of the raster they read as white, so nothing but raster
 * bytes and 0xFF ever reaches the wire.  Of that group only the bytes
 * below bytesPerLine are written: the ones beyond would land in the
 * padding, which is cleared (it carries no meaning and is sent as zeros),
 * or in the next line of the buffer, which its own copy overwrites.  Not
 * writing them lets the lines of a fragment be copied in any order.
 */
void bitmap_copy_row(const page_raster_s *raster, uint64_t row, uint32_t alignedLine,
                     unsigned char *dst)
{
  uint32_t bytesPerLine = (uint32_t)raster->bytesPerLine;
  uint64_t whole = (uint64_t)bytesPerLine / 3u * 3u;
  uint64_t groupsEnd = ((uint64_t)bytesPerLine + 2u) / 3u * 3u;
  uint64_t rowStride = (uint64_t)raster->width * raster->depth;
  uint64_t start = row * rowStride;
  uint64_t size = raster->size;
  uint64_t g;

  if (start <= size && groupsEnd <= size - start)
  {
    const unsigned char *src = raster->raster_data + start;

    bitmap_reverse_groups(dst, src, (size_t)whole);
    if (whole < bytesPerLine)
    {
      dst[whole] = src[whole + 2];
      if (whole + 1 < bytesPerLine)
        dst[whole + 1] = src[whole + 1];
    }
  }
  else
  {
    for (g = 0; g < groupsEnd; g += 3)
    {
      unsigned char b[3];
      int i;

      for (i = 0; i < 3; i++)
      {
        uint64_t at = start + g + (uint64_t)i;

        b[i] = (start <= size && at < size) ? raster->raster_data[at] : 0xFF;
      }
      for (i = 0; i < 3 && g + (uint64_t)i < bytesPerLine; i++)
        dst[g + (uint64_t)i] = b[2 - i];
    }
  }
  if (alignedLine > bytesPerLine)
    memset(dst + bytesPerLine, 0, alignedLine - bytesPerLine);
}

/*
 * 'pageBuffers()' - The line buffer (rwsize + 2 bytes; only when needLines
 * is set) and the compression buffer of a page, kept from one page to the
 * next.
 *
 * The pages of a job have the same layout, so the buffers of the first
 * page serve every later one: they are made again only when a page needs
 * more.  Reusing them spares each page the page faults of fresh memory;
 * the memory held is what one page needs, as before.  They are released
 * with bitmap_buffers_free(), or at the process end.  Returns 0 when
 * they cannot be allocated (a line says so; none is left).
 */
static int pageBuffers(bitmap_buffers_s *buffers, const bitmap_layout *layout, int needLines)
{
  /* Two spare bytes, as the format's buffer has; no copy reaches them. */
  size_t lineSize = needLines ? (size_t)layout->rwsize + 2u : 0u;
  size_t compressSize = (size_t)layout->compressSize;

  if (buffers->lineBuffer && buffers->lineBufferSize < lineSize)
  {
    free(buffers->lineBuffer);
    buffers->lineBuffer = NULL;
  }
  if (buffers->compressBuffer && buffers->compressBufferSize < compressSize)
  {
    free(buffers->compressBuffer);
    buffers->compressBuffer = NULL;
  }
  if (!buffers->lineBuffer && lineSize > 0)
  {
    buffers->lineBuffer = (unsigned char *)large_alloc(lineSize);
    buffers->lineBufferSize = buffers->lineBuffer ? lineSize : 0;
  }
  if (!buffers->compressBuffer)
  {
    buffers->compressBuffer = (unsigned char *)malloc(compressSize);
    buffers->compressBufferSize = buffers->compressBuffer ? compressSize : 0;
  }
  if ((buffers->lineBuffer || lineSize == 0) && buffers->compressBuffer)
    return 1;

  fprintf(stderr, "DEBUG: CorvaneBackend - ENDPAGE - CANNOT allocate bitmap buffers (%u + %u bytes) !!!\n",
          (unsigned int)lineSize, (unsigned int)compressSize);
  free(buffers->lineBuffer);
  free(buffers->compressBuffer);
  buffers->lineBuffer = buffers->compressBuffer = NULL;
  buffers->lineBufferSize = buffers->compressBufferSize = 0;
  return 0;
}

/*
 * 'bitmap_buffers_free()' - Free ENDPAGE's two buffers.
 */
void bitmap_buffers_free(bitmap_buffers_s *buffers)
{
  free(buffers->lineBuffer);
  free(buffers->compressBuffer);
  memset(buffers, 0, sizeof(*buffers));
}

/*
 * 'send_page_bitmap()' - ENDPAGE: header, fragments, bitmap end, page end.
 *
 * Rows go from nLines - 1 down to 0, sendLines to a fragment, the k-th row
 * of a fragment at k x the aligned line length.  The two buffers are made
 * only when there is a fragment to send, and kept for the next page.  On a
 * failed write the job ends at once.  The raster is only read: its
 * caller has settled it, so every byte holds its value.
 */
int send_page_bitmap(const page_raster_s *raster, bitmap_buffers_s *buffers,
                     const bitmap_page_s *page)
{
  bitmap_layout layout;
  int fragments = 0;
  int32_t nLines = raster->nLines;

  fprintf(stderr, "DEBUG: \"CorvaneBackend - ENDPAGE - %s\"\n",
          raster->raster_data ? "raster_data OK" : "raster_data EMPTY");
  if (!raster->raster_data)
  {
    fputs("DEBUG: CorvaneBackend - NO ALLOCATED raster_data !!!\n", stderr);
    return 1;
  }

  if (!rc_send_bitmap_hdr(page->sock, raster->width, raster->height, page->hwresX,
                          page->hwresY, page->namePayload, page->nameLen))
    return 0;
  fputs("DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"\n", stderr);

  bitmap_compute_layout((uint32_t)raster->bytesPerLine, &layout);
  fprintf(stderr, "DEBUG: CorvaneBackend - bitmap bytesPerLine: %d raster_w: %d nLines: %d alignPerLine: %d\n",
          (int)raster->bytesPerLine, (int)(raster->width * raster->depth), (int)nLines,
          (int)layout.alignPerLine);
  fprintf(stderr, "DEBUG: \"CorvaneBackend - sendLines: %d rwsize: %d\"\n",
          (int)layout.sendLines, (int)layout.rwsize);

  if (layout.sendLines > 0 && nLines > 0)
  {
    int64_t row = (int64_t)nLines - 1;
    unsigned char *lineBuffer, *compressed;

    /* A raster in the wire layout holds the page's lines as they go out:
       row nLines - 1 first, at (height - nLines) lines from the start, and
       settling has left at most height lines.  Its fragments are compressed
       where they lie; no line buffer is needed. */
    const unsigned char *wire =
      raster->wire ? raster->raster_data + (size_t)(raster->height - (uint32_t)nLines) * layout.alignedLine
                   : NULL;

    if (!pageBuffers(buffers, &layout, !wire))
      return 0;
    lineBuffer = buffers->lineBuffer;
    compressed = buffers->compressBuffer;

    while (row >= 0)
    {
      /* This fragment's rows: row down to low, the k-th at k x the aligned
         line length.  They are copied from low upwards, in the order they
         lie in the raster, which the memory reads ahead far better than
         going backwards row by row. */
      uint32_t k = (int64_t)layout.sendLines <= row + 1 ? layout.sendLines : (uint32_t)(row + 1);
      int64_t low = row - (int64_t)k + 1;
      uint32_t sendLength;
      unsigned int packed;
      uint32_t i;

      sendLength = k * layout.alignedLine;
      if (wire)
      {
        packed = lzf_compress(wire, sendLength, compressed, layout.compressSize);
        wire += sendLength;
      }
      else
      {
        for (i = 0; i < k; i++)
          bitmap_copy_row(raster, (uint64_t)(low + (int64_t)i), layout.alignedLine,
                          lineBuffer + (size_t)(k - 1u - i) * layout.alignedLine);
        packed = lzf_compress(lineBuffer, sendLength, compressed, layout.compressSize);
      }
      row = low - 1;
      fprintf(stderr, "DEBUG: \"CorvaneBackend - lzf_compress: %d sendLength: %d\"\n",
              (int)packed, (int)sendLength);

      if (!rc_send_bitmap_fragment(page->sock, sendLength, compressed, packed,
                                   page->namePayload, page->nameLen, fragments + 1, (int)nLines))
        return 0;
      fragments++;
      fprintf(stderr, "DEBUG: \"CorvaneBackend - %d/%d RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n",
              fragments, (int)nLines);
    }
  }

  if (!rc_send_bitmap_end(page->sock, page->namePayload, page->nameLen))
    return 0;
  fputs("DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_END sent\"\n", stderr);

  if (!rc_send_page_end(page->sock, page->namePayload, page->nameLen))
    return 0;

  fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGE %d sent\"\n", page->pageCounter);
  return 1;
}
