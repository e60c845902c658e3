/*
 * printer_ipp.cpp - IPP requests to the printer the host forwards to.
 */
#include "printer_ipp.h"

#include <string.h>

#include <atomic>

#include <cups/cups.h>

/* Set by printer_interrupt(): calls under way give up, new ones fail. */
static std::atomic<int> g_interrupted{0};

/* Seconds without an answer after which a request is given up. */
static const int kSilenceLimit = 120;

void printer_interrupt()
{
  g_interrupted = 1;
}

int printer_target_parse(const std::string &uri, PrinterTarget *target, std::string *error)
{
  char scheme[32], userpass[256], host[256], resource[1024];
  int port = 0;
  if (httpSeparateURI(HTTP_URI_CODING_ALL, uri.c_str(), scheme, sizeof scheme, userpass, sizeof userpass,
                      host, sizeof host, &port, resource, sizeof resource) < HTTP_URI_STATUS_OK)
  {
    *error = "'" + uri + "' is not a valid printer URI";
    return 0;
  }
  if (strcmp(scheme, "ipp") != 0 && strcmp(scheme, "ipps") != 0)
  {
    *error = "'" + uri + "' is not an ipp:// or ipps:// URI";
    return 0;
  }
  if (!host[0])
  {
    *error = "'" + uri + "' names no host";
    return 0;
  }
  target->uri = uri;
  target->host = host;
  target->port = port > 0 ? port : 631;
  target->resource = resource[0] ? resource : "/";
  target->encrypted = strcmp(scheme, "ipps") == 0;
  return 1;
}

/* The timeout callback: keep waiting, one second at a time, until the host
   stops or the printer has been silent for kSilenceLimit seconds. */
static int keep_waiting(http_t *, void *data)
{
  int *waited = static_cast<int *>(data);
  return !g_interrupted && ++*waited < kSilenceLimit;
}

/* Opens a connection to the printer, or null with *error. */
static http_t *open_connection(const PrinterTarget &target, int *waited, std::string *error)
{
  if (g_interrupted)
  {
    *error = "the host is stopping";
    return nullptr;
  }
  int cancel = 0;
  http_t *http = httpConnect2(target.host.c_str(), target.port, nullptr, AF_UNSPEC,
                              target.encrypted ? HTTP_ENCRYPTION_ALWAYS : HTTP_ENCRYPTION_IF_REQUESTED, 1,
                              10000, &cancel);
  if (!http)
  {
    *error = std::string("cannot connect to ") + target.host + ":" + std::to_string(target.port) + ": " +
             cupsLastErrorString();
    return nullptr;
  }
  httpSetTimeout(http, 1.0, keep_waiting, waited);
  return http;
}

/* A request's common operation attributes: printer-uri and the user. */
static ipp_t *new_request(ipp_op_t op, const PrinterTarget &target)
{
  ipp_t *request = ippNewRequest(op);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr, target.uri.c_str());
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr, cupsUser());
  return request;
}

/* Error text of a failed request: the answer's status, or libcups's. */
static std::string request_error(const char *what, ipp_t *response)
{
  if (response)
  {
    ipp_attribute_t *message = ippFindAttribute(response, "status-message", IPP_TAG_TEXT);
    std::string text = std::string(what) + ": " + ippErrorString(ippGetStatusCode(response));
    if (message && ippGetString(message, 0, nullptr))
      text += std::string(" (") + ippGetString(message, 0, nullptr) + ")";
    return text;
  }
  return std::string(what) + ": " + cupsLastErrorString();
}

int printer_query_formats(const PrinterTarget &target, bool *pwg, std::string *formats, std::string *error)
{
  int waited = 0;
  http_t *http = open_connection(target, &waited, error);
  if (!http)
    return 0;
  ipp_t *request = new_request(IPP_OP_GET_PRINTER_ATTRIBUTES, target);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", nullptr,
               "document-format-supported");
  ipp_t *response = cupsDoRequest(http, request, target.resource.c_str());
  int ok = response && ippGetStatusCode(response) <= IPP_STATUS_OK_EVENTS_COMPLETE;
  if (ok)
  {
    *pwg = false;
    formats->clear();
    ipp_attribute_t *attr = ippFindAttribute(response, "document-format-supported", IPP_TAG_MIMETYPE);
    for (int i = 0; attr && i < ippGetCount(attr); i++)
    {
      const char *format = ippGetString(attr, i, nullptr);
      if (!format)
        continue;
      if (strcmp(format, "image/pwg-raster") == 0)
        *pwg = true;
      *formats += (formats->empty() ? "" : ", ") + std::string(format);
    }
  }
  else
    *error = request_error("Get-Printer-Attributes", response);
  ippDelete(response);
  httpClose(http);
  return ok;
}

int printer_print_job(const PrinterTarget &target, const std::string &path, const std::string &jobName,
                      const PrintSettings &settings, PrintOutcome *outcome, std::string *error)
{
  *outcome = PrintOutcome();
  int waited = 0;
  http_t *http = open_connection(target, &waited, error);
  if (!http)
    return 0;
  ipp_t *request = new_request(IPP_OP_PRINT_JOB, target);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "job-name", nullptr, jobName.c_str());
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_MIMETYPE, "document-format", nullptr, "image/pwg-raster");
  /* A printer that lacks a setting prints anyway, ignoring or replacing it. */
  ippAddBoolean(request, IPP_TAG_OPERATION, "ipp-attribute-fidelity", 0);
  ippAddInteger(request, IPP_TAG_JOB, IPP_TAG_INTEGER, "copies", settings.copies);
  ippAddString(request, IPP_TAG_JOB, IPP_TAG_KEYWORD, "sides", nullptr, settings.sides.c_str());
  if (!settings.media.empty())
    ippAddString(request, IPP_TAG_JOB, IPP_TAG_KEYWORD, "media", nullptr, settings.media.c_str());
  ippAddString(request, IPP_TAG_JOB, IPP_TAG_KEYWORD, "print-color-mode", nullptr, settings.colorMode.c_str());

  outcome->reached = true; /* from here on the printer may get the job */
  ipp_t *response = cupsDoFileRequest(http, request, target.resource.c_str(), path.c_str());
  int ok = 0;
  if (response)
  {
    ipp_status_t status = ippGetStatusCode(response);
    outcome->ippStatus = ippErrorString(status);
    ipp_attribute_t *id = ippFindAttribute(response, "job-id", IPP_TAG_INTEGER);
    if (status <= IPP_STATUS_OK_EVENTS_COMPLETE && id)
    {
      ok = 1;
      outcome->accepted = true;
      outcome->jobId = ippGetInteger(id, 0);
      for (ipp_attribute_t *a = ippFirstAttribute(response); a; a = ippNextAttribute(response))
        if (ippGetGroupTag(a) == IPP_TAG_UNSUPPORTED_GROUP && ippGetName(a))
          outcome->ignored += (outcome->ignored.empty() ? "" : ",") + std::string(ippGetName(a));
    }
    else
    {
      /* A refusal: the printer made no job of it. */
      outcome->reached = false;
      outcome->formatRefused = status == IPP_STATUS_ERROR_DOCUMENT_FORMAT_NOT_SUPPORTED;
      *error = request_error("Print-Job", response);
    }
  }
  else
  {
    /* No answer: the printer may or may not have made a job of it. */
    *error = request_error("Print-Job", nullptr);
  }
  ippDelete(response);
  httpClose(http);
  return ok;
}

bool printer_job_state_final(const std::string &state)
{
  return state == "completed" || state == "canceled" || state == "aborted";
}

int printer_job_state(const PrinterTarget &target, int jobId, std::string *state, std::string *reasons,
                      bool *gone, std::string *error)
{
  *gone = false;
  int waited = 0;
  http_t *http = open_connection(target, &waited, error);
  if (!http)
    return 0;
  ipp_t *request = new_request(IPP_OP_GET_JOB_ATTRIBUTES, target);
  ippAddInteger(request, IPP_TAG_OPERATION, IPP_TAG_INTEGER, "job-id", jobId);
  static const char *const wanted[] = {"job-state", "job-state-reasons"};
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 2, nullptr, wanted);
  ipp_t *response = cupsDoRequest(http, request, target.resource.c_str());
  int ok = 0;
  if (response && ippGetStatusCode(response) <= IPP_STATUS_OK_EVENTS_COMPLETE)
  {
    ipp_attribute_t *st = ippFindAttribute(response, "job-state", IPP_TAG_ENUM);
    if (st)
    {
      ok = 1;
      const char *word = ippEnumString("job-state", ippGetInteger(st, 0));
      *state = word ? word : std::to_string(ippGetInteger(st, 0));
      reasons->clear();
      ipp_attribute_t *r = ippFindAttribute(response, "job-state-reasons", IPP_TAG_KEYWORD);
      for (int i = 0; r && i < ippGetCount(r); i++)
        *reasons += (reasons->empty() ? "" : ",") + std::string(ippGetString(r, i, nullptr));
    }
    else
      *error = "Get-Job-Attributes: the answer has no job-state";
  }
  else
  {
    *gone = response && ippGetStatusCode(response) == IPP_STATUS_ERROR_NOT_FOUND;
    *error = request_error("Get-Job-Attributes", response);
  }
  ippDelete(response);
  httpClose(http);
  return ok;
}

int printer_find_job(const PrinterTarget &target, const std::string &jobName, int *jobId, std::string *error)
{
  *jobId = 0;
  int waited = 0;
  http_t *http = open_connection(target, &waited, error);
  if (!http)
    return 0;
  ipp_t *request = new_request(IPP_OP_GET_JOBS, target);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "which-jobs", nullptr, "all");
  static const char *const wanted[] = {"job-id", "job-name"};
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 2, nullptr, wanted);
  ipp_t *response = cupsDoRequest(http, request, target.resource.c_str());
  int ok = response && ippGetStatusCode(response) <= IPP_STATUS_OK_EVENTS_COMPLETE;
  if (ok)
  {
    /* One job group per job: job-id and job-name, in either order. */
    int id = 0;
    bool named = false;
    for (ipp_attribute_t *a = ippFirstAttribute(response); a; a = ippNextAttribute(response))
    {
      if (!ippGetName(a))
      {
        id = 0;
        named = false;
        continue;
      }
      if (ippGetGroupTag(a) != IPP_TAG_JOB)
        continue;
      if (strcmp(ippGetName(a), "job-id") == 0)
        id = ippGetInteger(a, 0);
      else if (strcmp(ippGetName(a), "job-name") == 0)
        named = ippGetString(a, 0, nullptr) && jobName == ippGetString(a, 0, nullptr);
      if (id > 0 && named)
        *jobId = id;
    }
  }
  else
    *error = request_error("Get-Jobs", response);
  ippDelete(response);
  httpClose(http);
  return ok;
}
