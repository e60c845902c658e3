/*
 * rc_packet.h - the RCPACKET records written to the host application.
 *
 * Every record starts with the common 8-byte header (u32 packet id, u32 total
 * length) and ends its fixed part with nameLen, the length of the
 * printer-name payload that follows it on the wire.  All integers are
 * little-endian on the wire, whatever the byte order of the machine that
 * builds them: each record is filled field by field into a byte buffer of
 * its fixed size with rc_store16()/rc_store32(), never copied from a
 * structure's memory image.
 *
 * The senders write the fixed part, then the payload, then (for a fragment)
 * the compressed data, as separate socket_write() calls in that order.  A
 * failed write prints the record's own failure line and the sender returns
 * 0; the caller then ends the job at once.
 */
#ifndef CORVANE_RC_PACKET_H
#define CORVANE_RC_PACKET_H

#include <stdint.h>
#include <stddef.h>

/* Packet identifiers.  414 to 417 are not used by the backend. */
#define RCPACKETID_PRN_BITMAP_HDR      411u
#define RCPACKETID_PRN_BITMAP_FRAGMENT 412u
#define RCPACKETID_PRN_BITMAP_END      413u
#define RCPACKETID_PRN_DOC_START       418u
#define RCPACKETID_PRN_DOC_END         419u
#define RCPACKETID_PRN_PAGE_START      420u
#define RCPACKETID_PRN_PAGE_END        421u

/* Fixed sizes of the records, without payload or data. */
#define RCPACKET_HEADER_SIZE              8u
#define RCPACKET_PRN_DOC_START_SIZE       12u
#define RCPACKET_PRN_DOC_END_SIZE         12u
#define RCPACKET_PRN_PAGE_END_SIZE        12u
#define RCPACKET_PRN_BITMAP_END_SIZE      12u
#define RCPACKET_PRN_PAGE_START_SIZE      44u
#define RCPACKET_PRN_BITMAP_HDR_SIZE      32u
#define RCPACKET_PRN_BITMAP_FRAGMENT_SIZE 20u
/* The largest fixed part: a buffer of this size holds any record's. */
#define RCPACKET_MAX_FIXED_SIZE 44u

/* The DEVMODE field mask of every page record: orientation, paper size,
   paper length, paper width, scale, copies, default source, print quality,
   colour and duplex. */
#define RCPACKET_PAGE_FIELDS         0x00001F1Fu
#define RCPACKET_PAGE_SCALE          100
#define RCPACKET_PAGE_DEFAULT_SOURCE 7 /* automatic paper source */

/* Value of the constant field of the bitmap header and fragments. */
#define RCPACKET_BITMAP_CONSTANT 1u

/* Fixed size of the record with identifier id, or 0 for an unknown id. */
uint32_t rc_fixed_size(uint32_t id);

/* The record's name for id ("RCPACKET_PRN_DOC_START", ...), or null. */
const char *rc_record_name(uint32_t id);

/* Store value at p as 2 or 4 bytes, least significant byte first. */
void rc_store16(unsigned char *p, uint16_t value);
void rc_store32(unsigned char *p, uint32_t value);

/* Read 2 or 4 little-endian bytes at p. */
uint16_t rc_load16(const unsigned char *p);
uint32_t rc_load32(const unsigned char *p);

/* The values of a page record's settings, already converted to the codes
   the record carries (orientation 1/2, colour 1/2, duplex 1/2/3, ...).
   The builder stores the low 16 bits of each. */
struct rc_page_settings
{
  int orientation;
  int paperSize;
  int paperLength; /* tenths of a millimetre */
  int paperWidth;  /* tenths of a millimetre */
  int copies;
  int printQuality; /* horizontal resolution, dpi */
  int color;
  int duplex;
  int collate;
};

/* Builders: fill buf (at least the record's fixed size) field by field.
   The total length counts the fixed part, nameLen and, for a fragment, the
   compressed length. */
void rc_build_simple(unsigned char *buf, uint32_t id, uint32_t nameLen);
void rc_build_page_start(unsigned char *buf, const rc_page_settings *page, uint32_t nameLen);
void rc_build_bitmap_hdr(unsigned char *buf, uint32_t width, uint32_t height,
                         uint32_t xres, uint32_t yres, uint32_t nameLen);
void rc_build_bitmap_fragment(unsigned char *buf, uint32_t uncompressedLength,
                              uint32_t nameLen, uint32_t compressedLength);

/* Senders: build the record, write the fixed part, the payload (when
   nameLen is not 0) and the data, and return 1.  On a failed write print
   the record's failure line and return 0 (later writes are not tried). */
int rc_send_doc_start(int sock, const unsigned char *payload, uint32_t nameLen);
int rc_send_doc_end(int sock, const unsigned char *payload, uint32_t nameLen);
int rc_send_page_start(int sock, const rc_page_settings *page,
                       const unsigned char *payload, uint32_t nameLen);
int rc_send_page_end(int sock, const unsigned char *payload, uint32_t nameLen);
int rc_send_bitmap_hdr(int sock, uint32_t width, uint32_t height, uint32_t xres,
                       uint32_t yres, const unsigned char *payload, uint32_t nameLen);
/* fragmentNumber and nLines only fill the failure line ("%d/%d"). */
int rc_send_bitmap_fragment(int sock, uint32_t uncompressedLength,
                            const unsigned char *data, uint32_t compressedLength,
                            const unsigned char *payload, uint32_t nameLen,
                            int fragmentNumber, int nLines);
int rc_send_bitmap_end(int sock, const unsigned char *payload, uint32_t nameLen);

#endif
