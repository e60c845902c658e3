/*
 * fuzz_delivery_state.cpp - the host's delivery record (delivery.state)
 * and the job.json line that copies it, on arbitrary bytes.
 *
 * Input: one option byte, then the text.  Option bit 1 treats the text as
 * a job.json whose "delivery" line is replaced; otherwise it is parsed as
 * a delivery.state file.
 *
 * Checked:
 *   - parsing never fails on anything but a missing state, and every
 *     number read is a plain decimal the text really holds (or 0);
 *   - the record written back as text parses to the same record, and that
 *     text written again is the same text (the file format round-trips,
 *     whatever characters the values carry);
 *   - the record's JSON is one line, and putting it into a job.json
 *     either leaves the text alone (no "note" or "delivery" line) or puts
 *     exactly that line in, once.
 */
#include <stddef.h>
#include <stdint.h>

#include <string>

#include "delivery_state.h"
#include "fuzz_support.h"

/* Two records are the same in every field. */
static bool same(const DeliveryState &a, const DeliveryState &b)
{
  return a.state == b.state && a.job == b.job && a.printer == b.printer && a.printerUri == b.printerUri &&
         a.jobName == b.jobName && a.settings.copies == b.settings.copies && a.settings.sides == b.settings.sides &&
         a.settings.media == b.settings.media && a.settings.colorMode == b.settings.colorMode &&
         a.pages == b.pages && a.attempts == b.attempts && a.printerJobId == b.printerJobId &&
         a.jobState == b.jobState && a.ippStatus == b.ippStatus && a.ignored == b.ignored &&
         a.lastError == b.lastError && a.note == b.note;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  if (size < 1)
    return 0;
  uint8_t options = data[0];
  std::string text(reinterpret_cast<const char *>(data + 1), size - 1);

  DeliveryState parsed;
  int named = delivery_state_parse(text, &parsed);
  FUZZ_CHECK(named == (parsed.state.empty() ? 0 : 1));
  FUZZ_CHECK(parsed.settings.copies >= 1);
  FUZZ_CHECK(parsed.printerJobId >= 0);

  /* Round trip through the file format. */
  std::string written = delivery_state_text(parsed);
  DeliveryState again;
  int namedAgain = delivery_state_parse(written, &again);
  FUZZ_CHECK(namedAgain == named);
  FUZZ_CHECK(same(parsed, again));
  FUZZ_CHECK(delivery_state_text(again) == written);

  std::string json = delivery_state_json(parsed);
  FUZZ_CHECK(json.find('\n') == std::string::npos);
  FUZZ_CHECK(!json.empty() && json.front() == '{' && json.back() == '}');

  if (options & 1)
  {
    std::string jobJson = text;
    bool put = job_json_put_delivery(&jobJson, json);
    std::string line = "\n  \"delivery\":" + json + ",";
    if (!put)
      FUZZ_CHECK(jobJson == text);
    else
    {
      FUZZ_CHECK(jobJson.find(line) != std::string::npos);
      /* Doing it again changes nothing more. */
      std::string twice = jobJson;
      FUZZ_CHECK(job_json_put_delivery(&twice, json));
      FUZZ_CHECK(twice == jobJson);
    }
  }
  return 0;
}
