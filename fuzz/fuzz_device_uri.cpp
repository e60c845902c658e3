/*
 * fuzz_device_uri.cpp - the device URI's options from arbitrary bytes.
 *
 * The input, cut at its first zero byte, is the URI.  Checked against a
 * restatement of the rules: the query is what follows the first '?' up to
 * the first '#' after it; its pairs are split at '&' and empty ones are
 * skipped; the pair raster=per-page (exactly) sets the per-page mode, and
 * every other pair is named in one line "DEBUG: CorvaneBackend - device URI
 * option '<pair>' unknown, ignored", in order, a pair of more than 1024
 * bytes by its first 1024.  Nothing else is written.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "device_uri.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  std::string uri((const char *)data, size);
  uri = uri.substr(0, uri.find('\0'));

  /* What the rules give. */
  int wantPerPage = 0;
  std::string wantLog;
  size_t q = uri.find('?');
  if (q != std::string::npos)
  {
    std::string query = uri.substr(q + 1);
    query = query.substr(0, query.find('#'));
    size_t from = 0;
    while (from <= query.size())
    {
      size_t amp = query.find('&', from);
      std::string pair = query.substr(from, amp == std::string::npos ? std::string::npos : amp - from);
      if (pair == "raster=per-page")
        wantPerPage = 1;
      else if (!pair.empty())
        wantLog += "DEBUG: CorvaneBackend - device URI option '" + pair.substr(0, 1024) +
                   "' unknown, ignored\n";
      if (amp == std::string::npos)
        break;
      from = amp + 1;
    }
  }

  /* What the parser does, its lines kept in memory. */
  char *logText = NULL;
  size_t logSize = 0;
  FILE *logFile = open_memstream(&logText, &logSize);
  FUZZ_CHECK(logFile != NULL);
  FILE *log = stderr;
  device_uri_options_s options;
  stderr = logFile;
  device_uri_parse(uri.c_str(), &options);
  stderr = log;
  FUZZ_CHECK(fclose(logFile) == 0);
  std::string got(logText ? logText : "", logSize);
  free(logText);

  FUZZ_CHECK_MSG(options.perPage == wantPerPage, "per-page mode differs from the rules");
  FUZZ_CHECK_MSG(got == wantLog, "the lines about unknown options differ from the rules");
  return 0;
}
