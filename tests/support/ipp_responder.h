/*
 * ipp_responder.h - a scripted IPP server on a Unix socket, for tests.
 *
 * It answers every HTTP POST with one IPP response built by the test, byte
 * for byte, so a test can produce what a real scheduler never sends: a
 * printer without printer-info, a printer-name of the wrong value tag, any
 * status code, any number of printer groups.  Programs under test reach it
 * with CUPS_SERVER=<path>.  The messages are encoded and decoded here by
 * hand (no CUPS library), following the IPP/1.1 binary encoding: version,
 * status or operation, request id, then tagged groups of attributes, each
 * value as value tag, 16-bit name length, name, 16-bit value length, value
 * (all big-endian), and the end-of-attributes tag.
 *
 *   IppMessage m;
 *   m.code = 0x0000;                       // successful-ok
 *   ippMsgAddGroup(&m, IPP_GROUP_OPERATION);
 *   ippMsgAddValue(&m, IPP_VALUE_CHARSET, "attributes-charset", "utf-8");
 *   ippMsgAddGroup(&m, IPP_GROUP_PRINTER);
 *   ippMsgAddValue(&m, IPP_VALUE_NAME, "printer-name", "Office");
 *   IppResponder r;
 *   ASSERT_TRUE(responderStart(&r, dir + "/ipp.sock", m));
 *   ... run the program with CUPS_SERVER=dir/ipp.sock ...
 *   responderStop(&r);
 */
#ifndef CORVANE_TEST_IPP_RESPONDER_H
#define CORVANE_TEST_IPP_RESPONDER_H

#include <stddef.h>
#include <stdint.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/* Group (delimiter) tags. */
enum
{
  IPP_GROUP_OPERATION = 0x01,
  IPP_GROUP_JOB = 0x02,
  IPP_GROUP_END = 0x03,
  IPP_GROUP_PRINTER = 0x04,
  IPP_GROUP_UNSUPPORTED = 0x05
};

/* The value tags the tests use. */
enum
{
  IPP_VALUE_INTEGER = 0x21,
  IPP_VALUE_ENUM = 0x23,
  IPP_VALUE_TEXT = 0x41, /* textWithoutLanguage */
  IPP_VALUE_NAME = 0x42, /* nameWithoutLanguage */
  IPP_VALUE_KEYWORD = 0x44,
  IPP_VALUE_URI = 0x45,
  IPP_VALUE_CHARSET = 0x47,
  IPP_VALUE_LANGUAGE = 0x48
};

struct IppAttribute
{
  uint8_t valueTag = 0;
  std::string name;
  std::vector<std::string> values; /* raw value bytes, one per value */
};

struct IppGroup
{
  uint8_t tag = 0;
  std::vector<IppAttribute> attributes;
};

struct IppMessage
{
  uint8_t versionMajor = 2;
  uint8_t versionMinor = 0;
  uint16_t code = 0;      /* operation id (request) or status (response) */
  uint32_t requestId = 0; /* in a response: 0 echoes the request's id */
  std::vector<IppGroup> groups;
};

/* Starts a new group of the given tag. */
void ippMsgAddGroup(IppMessage *m, uint8_t tag);

/* Adds an attribute with one or more values to the last group (a group of
   the operation tag is started when there is none). */
void ippMsgAddValue(IppMessage *m, uint8_t valueTag, const std::string &name, const std::string &value);
void ippMsgAddValues(IppMessage *m, uint8_t valueTag, const std::string &name,
                     const std::vector<std::string> &values);

/* The binary encoding of m. */
std::string ippMsgEncode(const IppMessage &m);

/* Decodes an IPP message (bounds-checked); false on malformed input. */
bool ippMsgDecode(const std::string &bytes, IppMessage *m);

/* The first attribute of that name in any group, or null. */
const IppAttribute *ippMsgFind(const IppMessage &m, const std::string &name);

/* What the responder does with each request. */
enum ResponderMode
{
  RESPOND_IPP,        /* answer 200 OK with the scripted IPP message */
  RESPOND_CLOSE,      /* read the request, then close without a word */
  RESPOND_HTTP_ERROR, /* answer with the HTTP status line in httpStatus */
  RESPOND_SILENT      /* read the request and never answer (until stop) */
};

struct IppResponder
{
  std::string path;
  IppMessage response;
  ResponderMode mode = RESPOND_IPP;
  std::string httpStatus = "500 Internal Server Error";
  int listenFd = -1;
  std::thread thread;
  std::atomic<bool> stopping{false};
  std::mutex lock;
  std::vector<std::string> requests; /* the IPP body of each POST, in order */
  std::vector<std::string> headers;  /* the HTTP request head of each POST */
};

/* Listens on path (a stale file there is removed first) and answers in a
   thread of its own; false on failure. */
bool responderStart(IppResponder *r, const std::string &path, const IppMessage &response,
                    ResponderMode mode = RESPOND_IPP);

/* Stops the thread, closes every connection and removes the socket file. */
void responderStop(IppResponder *r);

/* The number of POST requests seen so far, and the IPP body of request i. */
size_t responderRequestCount(IppResponder *r);
std::string responderRequest(IppResponder *r, size_t i);

#endif
