/*
 * rc_encoder.cpp - building any record's bytes from an rc_record, as given.
 * See rc_encoder.h for the interface.
 */
#include "rc_encoder.h"

#include <string.h>

/*
 * 'rc_encoded_size()' - Bytes rc_encode_record() writes for rec.
 */
size_t rc_encoded_size(const rc_record *rec)
{
  uint32_t fixed = rc_fixed_size(rec->id);

  if (!fixed)
    return RCPACKET_HEADER_SIZE + (size_t)rec->dataLength;
  if (rec->id == RCPACKETID_PRN_BITMAP_FRAGMENT)
    return fixed + (size_t)rec->nameLen + (size_t)rec->dataLength;
  return fixed + (size_t)rec->nameLen;
}

/*
 * 'rc_record_set_lengths()' - Make the record's lengths consistent.
 */
void rc_record_set_lengths(rc_record *rec)
{
  rec->fixedSize = rc_fixed_size(rec->id);
  rec->totalLength = (uint32_t)rc_encoded_size(rec);
}

/*
 * 'rc_encode_record()' - Write rec's bytes, field by field, as given.
 */
size_t rc_encode_record(const rc_record *rec, unsigned char *out, size_t capacity)
{
  uint32_t fixed = rc_fixed_size(rec->id);
  size_t size = rc_encoded_size(rec);
  unsigned char *p = out;

  if (capacity < size)
    return 0;

  rc_store32(p + 0, rec->id);
  rc_store32(p + 4, rec->totalLength);
  if (!fixed)
  {
    if (rec->dataLength)
    {
      if (rec->data)
        memcpy(p + RCPACKET_HEADER_SIZE, rec->data, rec->dataLength);
      else
        memset(p + RCPACKET_HEADER_SIZE, 0, rec->dataLength);
    }
    return size;
  }

  switch (rec->id)
  {
    case RCPACKETID_PRN_PAGE_START:
      rc_store32(p + 8, rec->page.fields);
      rc_store16(p + 12, (uint16_t)rec->page.orientation);
      rc_store16(p + 14, (uint16_t)rec->page.paperSize);
      rc_store16(p + 16, (uint16_t)rec->page.paperLength);
      rc_store16(p + 18, (uint16_t)rec->page.paperWidth);
      rc_store16(p + 20, (uint16_t)rec->page.scale);
      rc_store16(p + 22, (uint16_t)rec->page.copies);
      rc_store16(p + 24, (uint16_t)rec->page.defaultSource);
      rc_store16(p + 26, (uint16_t)rec->page.printQuality);
      rc_store16(p + 28, (uint16_t)rec->page.color);
      rc_store16(p + 30, (uint16_t)rec->page.duplex);
      rc_store16(p + 32, (uint16_t)rec->page.collate);
      memcpy(p + 34, rec->page.reserved, sizeof(rec->page.reserved));
      break;
    case RCPACKETID_PRN_BITMAP_HDR:
      rc_store32(p + 8, rec->bitmap.width);
      rc_store32(p + 12, rec->bitmap.height);
      rc_store32(p + 16, rec->bitmap.constant);
      rc_store32(p + 20, rec->bitmap.xResolution);
      rc_store32(p + 24, rec->bitmap.yResolution);
      break;
    case RCPACKETID_PRN_BITMAP_FRAGMENT:
      rc_store32(p + 8, rec->fragment.uncompressedLength);
      rc_store32(p + 12, rec->fragment.constant);
      break;
    default:
      break;
  }
  rc_store32(p + fixed - 4, rec->nameLen);
  p += fixed;

  if (rec->nameLen)
  {
    if (rec->payload)
      memcpy(p, rec->payload, rec->nameLen);
    else
      memset(p, 0, rec->nameLen);
    p += rec->nameLen;
  }
  if (rec->id == RCPACKETID_PRN_BITMAP_FRAGMENT && rec->dataLength)
  {
    if (rec->data)
      memcpy(p, rec->data, rec->dataLength);
    else
      memset(p, 0, rec->dataLength);
  }
  return size;
}
