/*
 * delivery_state.cpp - the delivery record's file and its job.json copy.
 */
#include "delivery_state.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sstream>

#include "host_log.h"
#include "job_json.h"

bool delivery_state_open(const std::string &state)
{
  return state == "pending" || state == "sending" || state == "sent" || state == "unsupported";
}

/* Reads a whole file of at most limit bytes; false when it cannot be read
   or is larger. */
static bool read_small_file(const std::string &path, std::string *text, size_t limit)
{
  FILE *f = fopen(path.c_str(), "rbe");
  if (!f)
    return false;
  char buf[4096];
  size_t n;
  text->clear();
  bool ok = true;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
  {
    if (text->size() + n > limit)
    {
      ok = false;
      break;
    }
    text->append(buf, n);
  }
  ok = ok && !ferror(f);
  fclose(f);
  return ok;
}

/* A value on one line: new lines and backslashes escaped. */
static std::string escape_value(const std::string &value)
{
  std::string out;
  for (char c : value)
  {
    if (c == '\\')
      out += "\\\\";
    else if (c == '\n')
      out += "\\n";
    else if (c == '\r')
      out += "\\r";
    else
      out += c;
  }
  return out;
}

static std::string unescape_value(const std::string &value)
{
  std::string out;
  for (size_t i = 0; i < value.size(); i++)
  {
    if (value[i] == '\\' && i + 1 < value.size())
    {
      char c = value[++i];
      out += c == 'n' ? '\n' : c == 'r' ? '\r'
                                        : c;
    }
    else
      out += value[i];
  }
  return out;
}

/* A decimal number of at most 9 digits; 0 for anything else. */
static unsigned small_number(const std::string &text)
{
  if (text.empty() || text.size() > 9)
    return 0;
  unsigned n = 0;
  for (char c : text)
  {
    if (c < '0' || c > '9')
      return 0;
    n = n * 10 + (unsigned)(c - '0');
  }
  return n;
}

int delivery_state_read(const std::string &folder, DeliveryState *state)
{
  std::string text;
  if (!read_small_file(folder + "/" DELIVERY_STATE_FILE, &text, 64 * 1024))
    return 0;
  return delivery_state_parse(text, state);
}

int delivery_state_parse(const std::string &text, DeliveryState *state)
{
  *state = DeliveryState();
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line))
  {
    size_t eq = line.find('=');
    if (eq == std::string::npos)
      continue;
    std::string key = line.substr(0, eq), value = unescape_value(line.substr(eq + 1));
    if (key == "state")
      state->state = value;
    else if (key == "job")
      state->job = small_number(value);
    else if (key == "printer")
      state->printer = value;
    else if (key == "printer-uri")
      state->printerUri = value;
    else if (key == "job-name")
      state->jobName = value;
    else if (key == "copies")
      state->settings.copies = (int)small_number(value);
    else if (key == "sides")
      state->settings.sides = value;
    else if (key == "media")
      state->settings.media = value;
    else if (key == "print-color-mode")
      state->settings.colorMode = value;
    else if (key == "pages")
      state->pages = small_number(value);
    else if (key == "attempts")
      state->attempts = small_number(value);
    else if (key == "printer-job-id")
      state->printerJobId = (int)small_number(value);
    else if (key == "job-state")
      state->jobState = value;
    else if (key == "ipp-status")
      state->ippStatus = value;
    else if (key == "ignored")
      state->ignored = value;
    else if (key == "last-error")
      state->lastError = value;
    else if (key == "note")
      state->note = value;
  }
  if (state->settings.copies < 1)
    state->settings.copies = 1;
  return !state->state.empty();
}

std::string delivery_state_json(const DeliveryState &s)
{
  JsonWriter w;
  json_open(&w, '{');
  json_key(&w, "state");
  json_string(&w, s.state);
  json_key(&w, "printerUri");
  json_string_or_null(&w, s.printerUri);
  json_key(&w, "jobName");
  json_string(&w, s.jobName);
  json_key(&w, "copies");
  json_uint(&w, (uint64_t)s.settings.copies);
  json_key(&w, "sides");
  json_string(&w, s.settings.sides);
  json_key(&w, "media");
  json_string(&w, s.settings.media);
  json_key(&w, "printColorMode");
  json_string(&w, s.settings.colorMode);
  json_key(&w, "pages");
  json_uint(&w, s.pages);
  json_key(&w, "attempts");
  json_uint(&w, s.attempts);
  json_key(&w, "printerJobId");
  if (s.printerJobId > 0)
    json_uint(&w, (uint64_t)s.printerJobId);
  else
    json_null(&w);
  json_key(&w, "jobState");
  json_string_or_null(&w, s.jobState);
  json_key(&w, "ippStatus");
  json_string_or_null(&w, s.ippStatus);
  json_key(&w, "ignoredAttributes");
  json_open(&w, '[');
  size_t pos = 0;
  while (pos < s.ignored.size())
  {
    size_t comma = s.ignored.find(',', pos);
    if (comma == std::string::npos)
      comma = s.ignored.size();
    json_string(&w, s.ignored.substr(pos, comma - pos));
    pos = comma + 1;
  }
  json_close(&w, ']');
  json_key(&w, "lastError");
  json_string_or_null(&w, s.lastError);
  json_key(&w, "note");
  json_string_or_null(&w, s.note);
  json_close(&w, '}');
  return w.out;
}

bool job_json_put_delivery(std::string *jobJson, const std::string &deliveryJson)
{
  static const char kKey[] = "\n  \"delivery\":";
  std::string line = std::string(kKey) + deliveryJson + ",";
  size_t at = jobJson->find(kKey);
  if (at != std::string::npos)
  {
    size_t end = jobJson->find('\n', at + 1);
    if (end == std::string::npos)
      return false;
    jobJson->replace(at, end - at, line);
    return true;
  }
  /* Not there yet: it goes after the "note" line. */
  size_t note = jobJson->find("\n  \"note\":");
  if (note == std::string::npos)
    return false;
  size_t end = jobJson->find('\n', note + 1);
  if (end == std::string::npos)
    return false;
  jobJson->insert(end, line);
  return true;
}

std::string delivery_state_text(const DeliveryState &s)
{
  std::string text;
  auto put = [&text](const char *key, const std::string &value) {
    text += key;
    text += '=';
    text += escape_value(value);
    text += '\n';
  };
  put("state", s.state);
  put("job", std::to_string(s.job));
  put("printer", s.printer);
  put("printer-uri", s.printerUri);
  put("job-name", s.jobName);
  put("copies", std::to_string(s.settings.copies));
  put("sides", s.settings.sides);
  put("media", s.settings.media);
  put("print-color-mode", s.settings.colorMode);
  put("pages", std::to_string(s.pages));
  put("attempts", std::to_string(s.attempts));
  put("printer-job-id", std::to_string(s.printerJobId > 0 ? s.printerJobId : 0));
  put("job-state", s.jobState);
  put("ipp-status", s.ippStatus);
  put("ignored", s.ignored);
  put("last-error", s.lastError);
  put("note", s.note);
  return text;
}

int delivery_state_write(const std::string &folder, const DeliveryState &s, bool updateJobJson)
{
  std::string text = delivery_state_text(s);
  if (!write_file_atomically(folder + "/" DELIVERY_STATE_FILE, text, true))
    return 0;
  if (!updateJobJson)
    return 1;
  /* job.json follows the state file; it is the reader's copy. */
  std::string jobJson;
  std::string jobJsonPath = folder + "/job.json";
  if (read_small_file(jobJsonPath, &jobJson, 256u << 20) && job_json_put_delivery(&jobJson, delivery_state_json(s)))
    write_file_atomically(jobJsonPath, jobJson);
  return 1;
}
