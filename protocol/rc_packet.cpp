/*
 * rc_packet.cpp - building and sending the RCPACKET records.
 *
 * Each record is filled into a byte buffer of its fixed size, one field at
 * a time, least significant byte first.  Nothing here depends on the byte
 * order of the machine or on how a compiler would lay out a structure.
 */
#include "rc_packet.h"

#include <stdio.h>
#include <string.h>

#include "socket_transport.h"

/*
 * 'rc_fixed_size()' - Fixed size of a record, 0 when id is not one of ours.
 */
uint32_t rc_fixed_size(uint32_t id)
{
  switch (id)
  {
    case RCPACKETID_PRN_DOC_START:
      return RCPACKET_PRN_DOC_START_SIZE;
    case RCPACKETID_PRN_DOC_END:
      return RCPACKET_PRN_DOC_END_SIZE;
    case RCPACKETID_PRN_PAGE_END:
      return RCPACKET_PRN_PAGE_END_SIZE;
    case RCPACKETID_PRN_BITMAP_END:
      return RCPACKET_PRN_BITMAP_END_SIZE;
    case RCPACKETID_PRN_PAGE_START:
      return RCPACKET_PRN_PAGE_START_SIZE;
    case RCPACKETID_PRN_BITMAP_HDR:
      return RCPACKET_PRN_BITMAP_HDR_SIZE;
    case RCPACKETID_PRN_BITMAP_FRAGMENT:
      return RCPACKET_PRN_BITMAP_FRAGMENT_SIZE;
    default:
      return 0;
  }
}

/*
 * 'rc_record_name()' - The record's structure name, for messages.
 */
const char *rc_record_name(uint32_t id)
{
  switch (id)
  {
    case RCPACKETID_PRN_DOC_START:
      return "RCPACKET_PRN_DOC_START";
    case RCPACKETID_PRN_DOC_END:
      return "RCPACKET_PRN_DOC_END";
    case RCPACKETID_PRN_PAGE_END:
      return "RCPACKET_PRN_PAGE_END";
    case RCPACKETID_PRN_BITMAP_END:
      return "RCPACKET_PRN_BITMAP_END";
    case RCPACKETID_PRN_PAGE_START:
      return "RCPACKET_PRN_PAGE_START";
    case RCPACKETID_PRN_BITMAP_HDR:
      return "RCPACKET_PRN_BITMAP_HDR";
    case RCPACKETID_PRN_BITMAP_FRAGMENT:
      return "RCPACKET_PRN_BITMAP_FRAGMENT";
    default:
      return NULL;
  }
}

/*
 * 'rc_store16()' - Store a 16-bit value little-endian.
 */
void rc_store16(unsigned char *p, uint16_t value)
{
  p[0] = (unsigned char)(value & 0xFFu);
  p[1] = (unsigned char)((value >> 8) & 0xFFu);
}

/*
 * 'rc_store32()' - Store a 32-bit value little-endian.
 */
void rc_store32(unsigned char *p, uint32_t value)
{
  p[0] = (unsigned char)(value & 0xFFu);
  p[1] = (unsigned char)((value >> 8) & 0xFFu);
  p[2] = (unsigned char)((value >> 16) & 0xFFu);
  p[3] = (unsigned char)((value >> 24) & 0xFFu);
}

/*
 * 'rc_load16()' - Read a little-endian 16-bit value.
 */
uint16_t rc_load16(const unsigned char *p)
{
  return (uint16_t)((unsigned)p[0] | ((unsigned)p[1] << 8));
}

/*
 * 'rc_load32()' - Read a little-endian 32-bit value.
 */
uint32_t rc_load32(const unsigned char *p)
{
  return (uint32_t)p[0] | ((uint32_t)p[1] << 8) | ((uint32_t)p[2] << 16) |
         ((uint32_t)p[3] << 24);
}

/*
 * 'low16()' - The low 16 bits of an int, without relying on how negative
 * numbers are represented: unsigned conversion is defined modulo 2^32.
 */
static uint16_t low16(int value)
{
  return (uint16_t)((unsigned int)value & 0xFFFFu);
}

/*
 * 'rc_build_simple()' - Fill a 12-byte record: DOC_START, DOC_END, PAGE_END
 * or BITMAP_END (they differ only in the identifier).
 */
void rc_build_simple(unsigned char *buf, uint32_t id, uint32_t nameLen)
{
  rc_store32(buf + 0, id);
  rc_store32(buf + 4, 12u + nameLen);
  rc_store32(buf + 8, nameLen);
}

/*
 * 'rc_build_page_start()' - Fill the 44-byte page record.  The whole buffer
 * is cleared first, so the reserved bytes go out as zeros.
 */
void rc_build_page_start(unsigned char *buf, const rc_page_settings *page, uint32_t nameLen)
{
  memset(buf, 0, RCPACKET_PRN_PAGE_START_SIZE);
  rc_store32(buf + 0, RCPACKETID_PRN_PAGE_START);
  rc_store32(buf + 4, RCPACKET_PRN_PAGE_START_SIZE + nameLen);
  rc_store32(buf + 8, RCPACKET_PAGE_FIELDS);
  rc_store16(buf + 12, low16(page->orientation));
  rc_store16(buf + 14, low16(page->paperSize));
  rc_store16(buf + 16, low16(page->paperLength));
  rc_store16(buf + 18, low16(page->paperWidth));
  rc_store16(buf + 20, low16(RCPACKET_PAGE_SCALE));
  rc_store16(buf + 22, low16(page->copies));
  rc_store16(buf + 24, low16(RCPACKET_PAGE_DEFAULT_SOURCE));
  rc_store16(buf + 26, low16(page->printQuality));
  rc_store16(buf + 28, low16(page->color));
  rc_store16(buf + 30, low16(page->duplex));
  rc_store16(buf + 32, low16(page->collate));
  /* 34..39 reserved, already zero */
  rc_store32(buf + 40, nameLen);
}

/*
 * 'rc_build_bitmap_hdr()' - Fill the 32-byte bitmap header.
 */
void rc_build_bitmap_hdr(unsigned char *buf, uint32_t width, uint32_t height,
                         uint32_t xres, uint32_t yres, uint32_t nameLen)
{
  rc_store32(buf + 0, RCPACKETID_PRN_BITMAP_HDR);
  rc_store32(buf + 4, RCPACKET_PRN_BITMAP_HDR_SIZE + nameLen);
  rc_store32(buf + 8, width);
  rc_store32(buf + 12, height);
  rc_store32(buf + 16, RCPACKET_BITMAP_CONSTANT);
  rc_store32(buf + 20, xres);
  rc_store32(buf + 24, yres);
  rc_store32(buf + 28, nameLen);
}

/*
 * 'rc_build_bitmap_fragment()' - Fill the 20-byte fragment record.  The
 * total length includes the compressed bytes that follow the payload.
 */
void rc_build_bitmap_fragment(unsigned char *buf, uint32_t uncompressedLength,
                              uint32_t nameLen, uint32_t compressedLength)
{
  rc_store32(buf + 0, RCPACKETID_PRN_BITMAP_FRAGMENT);
  rc_store32(buf + 4, RCPACKET_PRN_BITMAP_FRAGMENT_SIZE + nameLen + compressedLength);
  rc_store32(buf + 8, uncompressedLength);
  rc_store32(buf + 12, RCPACKET_BITMAP_CONSTANT);
  rc_store32(buf + 16, nameLen);
}

/*
 * 'sendParts()' - Write the fixed part, then the payload, then the data.
 *
 * Each part is its own socket_write(); a part of length 0 is not written
 * at all (a record sent before the printer is named has no payload).  The
 * first failure stops the record: later parts are not tried.
 */
static int sendParts(int sock, const unsigned char *fixed, uint32_t fixedSize,
                     const unsigned char *payload, uint32_t nameLen,
                     const unsigned char *data, uint32_t dataLength)
{
  if (!socket_write(sock, fixed, fixedSize))
    return 0;
  if (nameLen && !socket_write(sock, payload, nameLen))
    return 0;
  if (dataLength && !socket_write(sock, data, dataLength))
    return 0;
  return 1;
}

/*
 * 'rc_send_doc_start()' - Send the document start record.
 *
 * Its failure line says RCPACKETID where every other record's says
 * RCPACKET; host-side log readers match on it as it stands.
 */
int rc_send_doc_start(int sock, const unsigned char *payload, uint32_t nameLen)
{
  unsigned char buf[RCPACKET_PRN_DOC_START_SIZE];

  rc_build_simple(buf, RCPACKETID_PRN_DOC_START, nameLen);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, NULL, 0))
    return 1;
  fputs("DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n", stderr);
  return 0;
}

/*
 * 'rc_send_doc_end()' - Send the document end record.
 */
int rc_send_doc_end(int sock, const unsigned char *payload, uint32_t nameLen)
{
  unsigned char buf[RCPACKET_PRN_DOC_END_SIZE];

  rc_build_simple(buf, RCPACKETID_PRN_DOC_END, nameLen);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, NULL, 0))
    return 1;
  fputs("DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_DOC_END) FAILED\n", stderr);
  return 0;
}

/*
 * 'rc_send_page_start()' - Send the page start record.
 */
int rc_send_page_start(int sock, const rc_page_settings *page,
                       const unsigned char *payload, uint32_t nameLen)
{
  unsigned char buf[RCPACKET_PRN_PAGE_START_SIZE];

  rc_build_page_start(buf, page, nameLen);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, NULL, 0))
    return 1;
  fputs("DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_PAGE_START) FAILED\n", stderr);
  return 0;
}

/*
 * 'rc_send_page_end()' - Send the page end record.
 */
int rc_send_page_end(int sock, const unsigned char *payload, uint32_t nameLen)
{
  unsigned char buf[RCPACKET_PRN_PAGE_END_SIZE];

  rc_build_simple(buf, RCPACKETID_PRN_PAGE_END, nameLen);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, NULL, 0))
    return 1;
  fputs("DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_PAGE_END) FAILED\n", stderr);
  return 0;
}

/*
 * 'rc_send_bitmap_hdr()' - Send the bitmap header record.
 */
int rc_send_bitmap_hdr(int sock, uint32_t width, uint32_t height, uint32_t xres,
                       uint32_t yres, const unsigned char *payload, uint32_t nameLen)
{
  unsigned char buf[RCPACKET_PRN_BITMAP_HDR_SIZE];

  rc_build_bitmap_hdr(buf, width, height, xres, yres, nameLen);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, NULL, 0))
    return 1;
  fputs("DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_BITMAP_HDR) FAILED\n", stderr);
  return 0;
}

/*
 * 'rc_send_bitmap_fragment()' - Send one fragment: fixed part, payload,
 * compressed bytes.  The failure line names the failing fragment's number
 * and the page's line count.
 */
int rc_send_bitmap_fragment(int sock, uint32_t uncompressedLength,
                            const unsigned char *data, uint32_t compressedLength,
                            const unsigned char *payload, uint32_t nameLen,
                            int fragmentNumber, int nLines)
{
  unsigned char buf[RCPACKET_PRN_BITMAP_FRAGMENT_SIZE];

  rc_build_bitmap_fragment(buf, uncompressedLength, nameLen, compressedLength);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, data, compressedLength))
    return 1;
  fprintf(stderr, "DEBUG: CorvaneBackend - %d/%d socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED\n",
          fragmentNumber, nLines);
  return 0;
}

/*
 * 'rc_send_bitmap_end()' - Send the bitmap end record.
 */
int rc_send_bitmap_end(int sock, const unsigned char *payload, uint32_t nameLen)
{
  unsigned char buf[RCPACKET_PRN_BITMAP_END_SIZE];

  rc_build_simple(buf, RCPACKETID_PRN_BITMAP_END, nameLen);
  if (sendParts(sock, buf, sizeof(buf), payload, nameLen, NULL, 0))
    return 1;
  fputs("DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_BITMAP_END) FAILED\n", stderr);
  return 0;
}
