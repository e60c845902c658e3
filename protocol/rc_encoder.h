/*
 * rc_encoder.h - building RCPACKET records from a plain structure, for the
 * programs that make streams of records without the backend: tests,
 * fuzzers and tools.  Any record can be built, wrong ones included (lengths
 * are taken as given), so that tests can make corrupted streams.  The
 * backend itself sends its records with rc_packet.h.
 */
#ifndef CORVANE_RC_ENCODER_H
#define CORVANE_RC_ENCODER_H

#include <stddef.h>

#include "rc_decoder.h"

/* Writes rec's bytes into out: the fixed part of rec.id with
   rec.totalLength and rec.nameLen exactly as given (no consistency fixed
   up), then rec.nameLen bytes from rec.payload (zeros when it is null),
   then, for a fragment, rec.dataLength bytes from rec.data.  For an id not
   in the table only the 8-byte header and rec.dataLength data bytes are
   written.  Returns the number of bytes written, or 0 when capacity is too
   small (rc_encoded_size() tells the size). */
size_t rc_encode_record(const rc_record *rec, unsigned char *out, size_t capacity);

/* Number of bytes rc_encode_record() writes for rec. */
size_t rc_encoded_size(const rc_record *rec);

/* Fills rec->fixedSize and rec->totalLength with the values a consistent
   record has (fixed size + nameLen + dataLength for a fragment). */
void rc_record_set_lengths(rc_record *rec);

#endif
