/*
 * printer_lookup.cpp - find the description (printer-info) of the queue
 * that CUPS names in $PRINTER, with a CUPS-Get-Printers request to the
 * local scheduler.
 */
#include "printer_lookup.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <cups/cups.h>
#include <cups/language.h>

/* Last IPP status code that still means success
   (successful-ok-conflicting-attributes). */
#define LOOKUP_LAST_SUCCESS 0x0002

/* Longest wait, in seconds, for each part of the scheduler's answer.  The
   library's own default is a minute; a scheduler that accepts the
   connection and then says nothing must not hold a device listing or a job
   start that long.  A working scheduler answers this request at once. */
#define LOOKUP_TIMEOUT_SECONDS 10.0

/* httpConnectEncrypt() and friends are marked deprecated in current libcups;
   they are still the documented way to reach the configured scheduler with
   its configured encryption, and they are what this lookup is built on. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

/*
 * 'findPrinterInfo()' - Walk the response's printer groups and return a copy
 * of the printer-info of the printer whose printer-name matches printer,
 * ignoring case.
 *
 * Each run of consecutive printer-group attributes is one printer.  Only a
 * printer-name of the name tag and a printer-info of the text tag count; a
 * later attribute of the same name replaces an earlier one.  A printer group
 * without printer-name cannot match and is passed over.
 */
static const char *findPrinterInfo(ipp_t *response, const char *printer)
{
  ipp_attribute_t *attr = ippFirstAttribute(response);

  while (attr)
  {
    const char *name = NULL;
    const char *info = NULL;

    while (attr && ippGetGroupTag(attr) != IPP_TAG_PRINTER)
      attr = ippNextAttribute(response);
    if (!attr)
      break;

    while (attr && ippGetGroupTag(attr) == IPP_TAG_PRINTER)
    {
      const char *attrName = ippGetName(attr);

      if (attrName && !strcmp(attrName, "printer-name") &&
          ippGetValueTag(attr) == IPP_TAG_NAME)
        name = ippGetString(attr, 0, NULL);
      else if (attrName && !strcmp(attrName, "printer-info") &&
               ippGetValueTag(attr) == IPP_TAG_TEXT)
        info = ippGetString(attr, 0, NULL);
      attr = ippNextAttribute(response);
    }

    if (name && !strcasecmp(printer, name))
      return info ? strdup(info) : NULL;
  }
  return NULL;
}

/*
 * 'getPrinterName()' - The description of the queue named by $PRINTER.
 *
 * Null when the variable is missing, the scheduler does not answer or
 * answers with an error, no queue has that name, or the queue has no
 * description.  The returned text is a copy: the response is gone by then.
 */
const char *getPrinterName(void)
{
  const char *printer = getenv("PRINTER");
  http_t *http;
  ipp_t *request, *response;
  cups_lang_t *language;
  const char *result;
  static const char *const requested[] = {"printer-name", "printer-info"};

  fprintf(stderr, "DEBUG: CorvaneBackend.getPrinterName - getenv(PRINTER): %s\n",
          printer ? printer : "(null)");
  if (!printer)
    return NULL;

  http = httpConnectEncrypt(cupsServer(), ippPort(), cupsEncryption());
  fprintf(stderr, "DEBUG: CorvaneBackend.getPrinterName - http: 0x%X\n",
          (unsigned int)(uintptr_t)http);
  if (http)
    httpSetTimeout(http, LOOKUP_TIMEOUT_SECONDS, NULL, NULL);

  request = ippNew();
  ippSetOperation(request, IPP_OP_CUPS_GET_PRINTERS);
  ippSetRequestId(request, 1);
  fprintf(stderr, "DEBUG: CorvaneBackend.getPrinterName - ipp_t* request: 0x%X\n",
          (unsigned int)(uintptr_t)request);

  language = cupsLangGet(NULL);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_CHARSET, "attributes-charset",
               NULL, cupsLangEncoding(language));
  /* cupsLangGet() gives null only when it cannot allocate; the request
     then goes out in English rather than the process failing here. */
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_LANGUAGE,
               "attributes-natural-language", NULL, language ? language->language : "en");
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                2, NULL, requested);

  /* Without a connection there is nothing to ask: cupsDoFileRequest() would
     only try the same unreachable scheduler again on a connection of its own. */
  response = http ? cupsDoFileRequest(http, request, "/", NULL) : (ippDelete(request), (ipp_t *)NULL);
  if (!response)
  {
    fputs("DEBUG: CorvaneBackend.getPrinterName - \"cupsDoRequest FAILED\"\n", stderr);
    if (http)
      httpClose(http);
    return NULL;
  }

  if (ippGetStatusCode(response) > LOOKUP_LAST_SUCCESS)
  {
    fprintf(stderr, "DEBUG: CorvaneBackend - getPrinterName failed: %s\n",
            ippErrorString(ippGetStatusCode(response)));
    ippDelete(response);
    httpClose(http);
    return NULL;
  }

  result = findPrinterInfo(response, printer);
  ippDelete(response);
  httpClose(http);
  return result;
}

#pragma GCC diagnostic pop
