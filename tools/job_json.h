/*
 * job_json.h - the receiver's JSON: one object per record (job.json's
 * "records" and the --dump lines) and the job.json file itself.
 *
 * The JSON is written by hand: strings are escaped (control characters,
 * quotes, backslashes, and every non-ASCII printer-name character as a
 * \uXXXX escape of its UTF-16 unit, exactly as it travelled), numbers are
 * integers or fixed-point decimals in the C locale.
 */
#ifndef KIVPRINTER_JOB_JSON_H
#define KIVPRINTER_JOB_JSON_H

#include <stdint.h>
#include <string>
#include <vector>

#include "rc_decoder.h"

/* A small streaming JSON builder: objects and arrays, with the commas put
   in by the builder. */
struct JsonWriter
{
  std::string out;
  std::vector<bool> first; /* per open container: nothing written in it yet */
  bool afterKey = false;   /* a key was written: its value needs no comma */
};

void json_open(JsonWriter *w, char bracket);  /* '{' or '[' */
void json_close(JsonWriter *w, char bracket); /* '}' or ']' */
/* "key": in an object; before (white space for layout) goes between the
   separating comma and the key. */
void json_key(JsonWriter *w, const char *key, const char *before = "");
void json_string(JsonWriter *w, const std::string &value);
void json_uint(JsonWriter *w, uint64_t value);
void json_int(JsonWriter *w, int64_t value);
void json_fixed(JsonWriter *w, double value, int decimals);
void json_bool(JsonWriter *w, bool value);
void json_null(JsonWriter *w);
/* value as a string, or null when it is empty (a field not known yet). */
void json_string_or_null(JsonWriter *w, const std::string &value);
/* An already encoded value, with layout white space before it. */
void json_raw(JsonWriter *w, const std::string &text, const char *before = "");

/* The JSON string (with quotes) of a printer-name payload: its UTF-16 units
   up to the terminator, non-ASCII ones as \uXXXX escapes. */
std::string json_payload_string(const unsigned char *payload, uint32_t nameLen);

/* The printer name of a payload as UTF-8 (empty when there is none). */
std::string payload_name_utf8(const unsigned char *payload, uint32_t nameLen);

/* Names of the page record's codes, or "unknown". */
const char *orientation_name(int code);
const char *color_name(int code);
const char *duplex_name(int code);

/* Tenths of a millimetre, or pixels at a resolution, to millimetres. */
double tenths_to_mm(int tenths);
double pixels_to_mm(uint32_t pixels, uint32_t dpi);

/* Opens the JSON object of rec and writes its common and decoded fields:
   index, offset, type, id, totalLength, nameLen, printer, then the fields of
   its kind.  The caller may add keys, then closes it with json_close. */
void json_record_fields(JsonWriter *w, const rc_record &rec);

/* Writes text to path through a temporary file and a rename, so that a
   reader never sees half a file; durable also waits until the file and
   its name are on disk (fsync), for records a restart depends on.  1, or 0
   after an error line. */
int write_file_atomically(const std::string &path, const std::string &text, bool durable = false);

#endif
