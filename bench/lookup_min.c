/*
 * lookup_min.c - the least a CUPS client program can be: linked with libcups
 * alone, it makes the backend's printer lookup (a CUPS-Get-Printers request
 * for printer-name and printer-info to the configured scheduler) and looks
 * for the queue named by $PRINTER.  The job benchmark sets the CPU time of
 * an empty job against this program's.
 *
 *   bench_lookup_min            the lookup; status 0 when the queue has a
 *                               description, 1 otherwise
 *   bench_lookup_min --load     return at once from main: loading only
 */
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <cups/cups.h>

/* The connection call the backend uses is marked deprecated in current
   libcups; the comparison needs the same call. */
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

int main(int argc, char **argv)
{
  static const char *const requested[] = {"printer-name", "printer-info"};
  const char *printer = getenv("PRINTER");
  cups_lang_t *language;
  http_t *http;
  ipp_t *request, *response;
  ipp_attribute_t *attr;
  int found = 0;

  if (argc > 1 && !strcmp(argv[1], "--load"))
    return 0;
  if (!printer)
    return 1;

  http = httpConnectEncrypt(cupsServer(), ippPort(), cupsEncryption());
  if (!http)
    return 1;
  request = ippNew();
  ippSetOperation(request, IPP_OP_CUPS_GET_PRINTERS);
  ippSetRequestId(request, 1);
  language = cupsLangGet(NULL);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_CHARSET, "attributes-charset", NULL,
               cupsLangEncoding(language));
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_LANGUAGE, "attributes-natural-language",
               NULL, language ? language->language : "en");
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 2, NULL,
                requested);
  response = cupsDoFileRequest(http, request, "/", NULL);
  if (response && ippGetStatusCode(response) <= IPP_STATUS_OK_CONFLICTING)
  {
    /* The printer-name of the queue, then the printer-info in its group. */
    const char *name = NULL;
    for (attr = ippFirstAttribute(response); attr && !found; attr = ippNextAttribute(response))
    {
      const char *attrName = ippGetName(attr);
      if (!attrName)
        name = NULL;
      else if (!strcmp(attrName, "printer-name"))
        name = ippGetString(attr, 0, NULL);
      else if (!strcmp(attrName, "printer-info") && name && !strcasecmp(name, printer))
        found = ippGetString(attr, 0, NULL) != NULL;
    }
  }
  ippDelete(response);
  httpClose(http);
  return found ? 0 : 1;
}

#pragma GCC diagnostic pop
