/*
 * job_json.cpp - JSON output of the receiver.
 */
#include "job_json.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "fd_write.h"
#include "host_log.h"
#include "paper_table.h"

/* Writes the comma that separates this value from the previous one. */
static void json_separate(JsonWriter *w)
{
  if (w->afterKey)
  {
    w->afterKey = false;
    return;
  }
  if (w->first.empty())
    return;
  if (!w->first.back())
    w->out += ',';
  w->first.back() = false;
}

void json_open(JsonWriter *w, char bracket)
{
  json_separate(w);
  w->out += bracket;
  w->first.push_back(true);
}

void json_close(JsonWriter *w, char bracket)
{
  w->out += bracket;
  if (!w->first.empty())
    w->first.pop_back();
}

/* Appends a JSON string literal of UTF-8 text; bytes from 0x80 up pass
   through (the callers give valid UTF-8). */
static void append_quoted(std::string *out, const std::string &text)
{
  *out += '"';
  for (unsigned char ch : text)
  {
    switch (ch)
    {
      case '"': *out += "\\\""; break;
      case '\\': *out += "\\\\"; break;
      case '\n': *out += "\\n"; break;
      case '\r': *out += "\\r"; break;
      case '\t': *out += "\\t"; break;
      default:
        if (ch < 0x20)
        {
          char esc[8];
          snprintf(esc, sizeof esc, "\\u%04X", ch);
          *out += esc;
        }
        else
          *out += (char)ch;
    }
  }
  *out += '"';
}

void json_key(JsonWriter *w, const char *key, const char *before)
{
  json_separate(w);
  w->out += before;
  append_quoted(&w->out, key);
  w->out += ':';
  /* The value that follows is not a new element of the object. */
  w->afterKey = true;
}

void json_string(JsonWriter *w, const std::string &value)
{
  json_separate(w);
  append_quoted(&w->out, value);
}

void json_uint(JsonWriter *w, uint64_t value)
{
  json_separate(w);
  char text[32];
  snprintf(text, sizeof text, "%llu", (unsigned long long)value);
  w->out += text;
}

void json_int(JsonWriter *w, int64_t value)
{
  json_separate(w);
  char text[32];
  snprintf(text, sizeof text, "%lld", (long long)value);
  w->out += text;
}

void json_fixed(JsonWriter *w, double value, int decimals)
{
  json_separate(w);
  char text[64];
  snprintf(text, sizeof text, "%.*f", decimals, value);
  w->out += text;
}

void json_bool(JsonWriter *w, bool value)
{
  json_separate(w);
  w->out += value ? "true" : "false";
}

void json_null(JsonWriter *w)
{
  json_separate(w);
  w->out += "null";
}

void json_string_or_null(JsonWriter *w, const std::string &value)
{
  if (value.empty())
    json_null(w);
  else
    json_string(w, value);
}

void json_raw(JsonWriter *w, const std::string &text, const char *before)
{
  json_separate(w);
  w->out += before;
  w->out += text;
}

std::string json_payload_string(const unsigned char *payload, uint32_t nameLen)
{
  std::string out = "\"";
  for (uint32_t i = 0; payload && i + 1 < nameLen; i += 2)
  {
    uint16_t unit = rc_load16(payload + i);
    if (unit == 0)
      break;
    if (unit >= 0x20 && unit < 0x7F && unit != '"' && unit != '\\')
      out += (char)unit;
    else
    {
      char esc[8];
      snprintf(esc, sizeof esc, "\\u%04X", (unsigned)unit);
      out += esc;
    }
  }
  out += '"';
  return out;
}

std::string payload_name_utf8(const unsigned char *payload, uint32_t nameLen)
{
  if (!payload || nameLen == 0)
    return std::string();
  /* Each 16-bit unit becomes at most three UTF-8 bytes. */
  std::vector<char> text((size_t)nameLen / 2 * 3 + 1);
  long n = rc_payload_to_utf8(payload, nameLen, text.data(), text.size());
  if (n < 0)
    return std::string();
  return std::string(text.data(), (size_t)n);
}

const char *orientation_name(int code)
{
  switch (code)
  {
    case 1: return "portrait";
    case 2: return "landscape";
    default: return "unknown";
  }
}

const char *color_name(int code)
{
  switch (code)
  {
    case 1: return "monochrome";
    case 2: return "color";
    default: return "unknown";
  }
}

const char *duplex_name(int code)
{
  switch (code)
  {
    case 1: return "simplex";
    case 2: return "vertical";
    case 3: return "horizontal";
    default: return "unknown";
  }
}

double tenths_to_mm(int tenths)
{
  return tenths / 10.0;
}

double pixels_to_mm(uint32_t pixels, uint32_t dpi)
{
  return dpi ? pixels * 25.4 / dpi : 0.0;
}

/* {"code": n, "name": "..."} */
static void json_code(JsonWriter *w, const char *key, int code, const char *name)
{
  json_key(w, key);
  json_open(w, '{');
  json_key(w, "code");
  json_int(w, code);
  json_key(w, "name");
  if (name)
    json_string(w, name);
  else
    json_null(w);
  json_close(w, '}');
}

void json_record_fields(JsonWriter *w, const rc_record &rec)
{
  const char *name = rc_record_name(rec.id);
  json_open(w, '{');
  json_key(w, "index");
  json_uint(w, rec.index);
  json_key(w, "offset");
  json_uint(w, rec.offset);
  json_key(w, "type");
  json_string(w, name ? name : "unknown");
  json_key(w, "id");
  json_uint(w, rec.id);
  json_key(w, "totalLength");
  json_uint(w, rec.totalLength);
  json_key(w, "nameLen");
  json_uint(w, rec.nameLen);
  json_key(w, "printer");
  if (rec.nameLen)
    json_raw(w, json_payload_string(rec.payload, rec.nameLen));
  else
    json_null(w);

  switch (rec.id)
  {
    case RCPACKETID_PRN_PAGE_START:
    {
      const rc_page_start_fields &p = rec.page;
      char mask[16];
      snprintf(mask, sizeof mask, "0x%08X", (unsigned)p.fields);
      json_key(w, "fields");
      json_string(w, mask);
      json_code(w, "orientation", p.orientation, orientation_name(p.orientation));
      json_code(w, "paper", p.paperSize, GetPaperNameForCode((uint16_t)p.paperSize));
      json_key(w, "paperWidthMm");
      json_fixed(w, tenths_to_mm(p.paperWidth), 1);
      json_key(w, "paperLengthMm");
      json_fixed(w, tenths_to_mm(p.paperLength), 1);
      json_key(w, "scale");
      json_int(w, p.scale);
      json_key(w, "copies");
      json_int(w, p.copies);
      json_key(w, "defaultSource");
      json_int(w, p.defaultSource);
      json_key(w, "printQuality");
      json_int(w, p.printQuality);
      json_code(w, "color", p.color, color_name(p.color));
      json_code(w, "duplex", p.duplex, duplex_name(p.duplex));
      json_key(w, "collate");
      json_int(w, p.collate);
      break;
    }
    case RCPACKETID_PRN_BITMAP_HDR:
    {
      const rc_bitmap_hdr_fields &b = rec.bitmap;
      json_key(w, "width");
      json_uint(w, b.width);
      json_key(w, "height");
      json_uint(w, b.height);
      json_key(w, "constant");
      json_uint(w, b.constant);
      json_key(w, "xResolution");
      json_uint(w, b.xResolution);
      json_key(w, "yResolution");
      json_uint(w, b.yResolution);
      json_key(w, "widthMm");
      if (b.xResolution)
        json_fixed(w, pixels_to_mm(b.width, b.xResolution), 1);
      else
        json_null(w);
      json_key(w, "heightMm");
      if (b.yResolution)
        json_fixed(w, pixels_to_mm(b.height, b.yResolution), 1);
      else
        json_null(w);
      break;
    }
    case RCPACKETID_PRN_BITMAP_FRAGMENT:
    {
      const rc_fragment_fields &f = rec.fragment;
      json_key(w, "uncompressedLength");
      json_uint(w, f.uncompressedLength);
      json_key(w, "constant");
      json_uint(w, f.constant);
      json_key(w, "compressedLength");
      json_uint(w, rec.dataLength);
      json_key(w, "ratio");
      if (rec.dataLength)
        json_fixed(w, (double)f.uncompressedLength / rec.dataLength, 2);
      else
        json_null(w);
      break;
    }
    default:
      break;
  }
}

int write_file_atomically(const std::string &path, const std::string &text, bool durable)
{
  std::string temp = path + ".tmp";
  int fd = open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0)
  {
    host_printf(2, "kivprinter-host: cannot create %s: %s", temp.c_str(), strerror(errno));
    return 0;
  }
  if (!write_all(fd, text.data(), text.size()))
  {
    host_printf(2, "kivprinter-host: cannot write %s: %s", temp.c_str(), strerror(errno));
    close(fd);
    unlink(temp.c_str());
    return 0;
  }
  if ((durable && fsync(fd) != 0) || close(fd) != 0 || rename(temp.c_str(), path.c_str()) != 0)
  {
    host_printf(2, "kivprinter-host: cannot write %s: %s", path.c_str(), strerror(errno));
    unlink(temp.c_str());
    return 0;
  }
  if (durable)
  {
    /* The rename itself lasts once the folder's entry is on disk. */
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/"
                                                                    : path.substr(0, slash);
    int dirFd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dirFd >= 0)
    {
      fsync(dirFd);
      close(dirFd);
    }
  }
  return 1;
}
