/*
 * ipp_responder.cpp - IPP message encoding and decoding, and a scripted
 * HTTP/IPP server on a Unix socket.
 */
#include "ipp_responder.h"
#include "fd_io.h"
#include "unix_socket.h"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

void ippMsgAddGroup(IppMessage *m, uint8_t tag)
{
  IppGroup g;
  g.tag = tag;
  m->groups.push_back(g);
}

void ippMsgAddValues(IppMessage *m, uint8_t valueTag, const std::string &name,
                     const std::vector<std::string> &values)
{
  if (m->groups.empty())
    ippMsgAddGroup(m, IPP_GROUP_OPERATION);
  IppAttribute a;
  a.valueTag = valueTag;
  a.name = name;
  a.values = values;
  m->groups.back().attributes.push_back(a);
}

void ippMsgAddValue(IppMessage *m, uint8_t valueTag, const std::string &name, const std::string &value)
{
  ippMsgAddValues(m, valueTag, name, std::vector<std::string>(1, value));
}

/* Appends a big-endian 16-bit number. */
static void put16(std::string *out, size_t v)
{
  out->push_back((char)((v >> 8) & 0xFF));
  out->push_back((char)(v & 0xFF));
}

/* Appends a 16-bit length and the bytes it counts (cut at 65535). */
static void putCounted(std::string *out, const std::string &s)
{
  size_t n = s.size() > 0xFFFF ? 0xFFFF : s.size();
  put16(out, n);
  out->append(s, 0, n);
}

std::string ippMsgEncode(const IppMessage &m)
{
  std::string out;
  out.push_back((char)m.versionMajor);
  out.push_back((char)m.versionMinor);
  put16(&out, m.code);
  put16(&out, (m.requestId >> 16) & 0xFFFF);
  put16(&out, m.requestId & 0xFFFF);
  for (const IppGroup &g : m.groups)
  {
    out.push_back((char)g.tag);
    for (const IppAttribute &a : g.attributes)
    {
      /* The first value carries the name; further values have an empty
         name, which is what makes them values of the same attribute. */
      for (size_t i = 0; i < a.values.size() || i == 0; i++)
      {
        out.push_back((char)a.valueTag);
        putCounted(&out, i == 0 ? a.name : std::string());
        putCounted(&out, i < a.values.size() ? a.values[i] : std::string());
      }
    }
  }
  out.push_back((char)IPP_GROUP_END);
  return out;
}

/* Reads a big-endian 16-bit number at *pos; false past the end. */
static bool get16(const std::string &b, size_t *pos, size_t *v)
{
  if (*pos > b.size() || b.size() - *pos < 2)
    return false;
  *v = ((size_t)(unsigned char)b[*pos] << 8) | (unsigned char)b[*pos + 1];
  *pos += 2;
  return true;
}

bool ippMsgDecode(const std::string &b, IppMessage *m)
{
  *m = IppMessage();
  if (b.size() < 8)
    return false;
  m->versionMajor = (uint8_t)b[0];
  m->versionMinor = (uint8_t)b[1];
  m->code = (uint16_t)(((unsigned char)b[2] << 8) | (unsigned char)b[3]);
  m->requestId = ((uint32_t)(unsigned char)b[4] << 24) | ((uint32_t)(unsigned char)b[5] << 16) |
                 ((uint32_t)(unsigned char)b[6] << 8) | (uint32_t)(unsigned char)b[7];
  size_t pos = 8;
  while (pos < b.size())
  {
    uint8_t tag = (uint8_t)b[pos++];
    if (tag == IPP_GROUP_END)
      return true;
    if (tag < 0x10)
    {
      ippMsgAddGroup(m, tag);
      continue;
    }
    size_t nameLen, valueLen;
    if (!get16(b, &pos, &nameLen) || b.size() - pos < nameLen)
      return false;
    std::string name = b.substr(pos, nameLen);
    pos += nameLen;
    if (!get16(b, &pos, &valueLen) || b.size() - pos < valueLen)
      return false;
    std::string value = b.substr(pos, valueLen);
    pos += valueLen;
    if (m->groups.empty())
      return false; /* a value before any group tag */
    std::vector<IppAttribute> &attrs = m->groups.back().attributes;
    if (nameLen == 0)
    {
      if (attrs.empty())
        return false; /* an additional value with nothing to add to */
      attrs.back().values.push_back(value);
    }
    else
    {
      IppAttribute a;
      a.valueTag = tag;
      a.name = name;
      a.values.push_back(value);
      attrs.push_back(a);
    }
  }
  return false; /* no end-of-attributes tag */
}

const IppAttribute *ippMsgFind(const IppMessage &m, const std::string &name)
{
  for (const IppGroup &g : m.groups)
    for (const IppAttribute &a : g.attributes)
      if (a.name == name)
        return &a;
  return nullptr;
}

/* Reads more bytes into *buf, waiting in short slices so that a stop is
   noticed; false on end of stream, error or stop. */
static bool readMore(IppResponder *r, int fd, std::string *buf)
{
  while (!r->stopping.load())
  {
    struct pollfd p = {fd, POLLIN, 0};
    int n = poll(&p, 1, 50);
    if (n < 0 && errno != EINTR)
      return false;
    if (n <= 0)
      continue;
    char tmp[8192];
    ssize_t got = recv(fd, tmp, sizeof tmp, 0);
    if (got < 0 && errno == EINTR)
      continue;
    if (got <= 0)
      return false;
    buf->append(tmp, (size_t)got);
    return true;
  }
  return false;
}

/* The value of an HTTP header in head (case-insensitive name), or "". */
static std::string headerValue(const std::string &head, const char *name)
{
  size_t nameLen = strlen(name);
  size_t pos = 0;
  while ((pos = head.find("\r\n", pos)) != std::string::npos)
  {
    pos += 2;
    if (head.size() - pos > nameLen && strncasecmp(head.c_str() + pos, name, nameLen) == 0 &&
        head[pos + nameLen] == ':')
    {
      size_t start = pos + nameLen + 1;
      while (start < head.size() && head[start] == ' ')
        start++;
      size_t end = head.find("\r\n", start);
      return head.substr(start, end == std::string::npos ? std::string::npos : end - start);
    }
  }
  return std::string();
}

/* Reads one chunked body from *buf (refilled from fd); false on error. */
static bool readChunked(IppResponder *r, int fd, std::string *buf, std::string *body)
{
  for (;;)
  {
    size_t eol;
    while ((eol = buf->find("\r\n")) == std::string::npos)
      if (!readMore(r, fd, buf))
        return false;
    unsigned long size = strtoul(buf->c_str(), nullptr, 16);
    buf->erase(0, eol + 2);
    if (size > (1UL << 24))
      return false;
    while (buf->size() < size + 2)
      if (!readMore(r, fd, buf))
        return false;
    body->append(*buf, 0, size);
    buf->erase(0, size + 2);
    if (size == 0)
      return true; /* no trailers are sent by the clients we serve */
  }
}

/* Serves one connection: any number of requests until the peer closes. */
static void serveConnection(IppResponder *r, int fd)
{
  std::string buf;
  for (;;)
  {
    size_t headEnd;
    while ((headEnd = buf.find("\r\n\r\n")) == std::string::npos)
      if (buf.size() > 65536 || !readMore(r, fd, &buf))
      {
        close(fd);
        return;
      }
    std::string head = buf.substr(0, headEnd + 2);
    buf.erase(0, headEnd + 4);

    std::string body;
    if (strcasecmp(headerValue(head, "Expect").c_str(), "100-continue") == 0)
      sendAll(fd, "HTTP/1.1 100 Continue\r\n\r\n");
    if (strcasecmp(headerValue(head, "Transfer-Encoding").c_str(), "chunked") == 0)
    {
      if (!readChunked(r, fd, &buf, &body))
      {
        close(fd);
        return;
      }
    }
    else
    {
      unsigned long length = strtoul(headerValue(head, "Content-Length").c_str(), nullptr, 10);
      if (length > (1UL << 24))
      {
        close(fd);
        return;
      }
      while (buf.size() < length)
        if (!readMore(r, fd, &buf))
        {
          close(fd);
          return;
        }
      body = buf.substr(0, length);
      buf.erase(0, length);
    }

    if (head.compare(0, 5, "POST ") != 0)
    {
      if (!sendAll(fd, "HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"))
        break;
      continue;
    }
    {
      std::lock_guard<std::mutex> g(r->lock);
      r->requests.push_back(body);
      r->headers.push_back(head);
    }

    if (r->mode == RESPOND_CLOSE)
      break;
    if (r->mode == RESPOND_SILENT)
    {
      while (!r->stopping.load())
        usleep(10000);
      break;
    }
    std::string reply;
    if (r->mode == RESPOND_HTTP_ERROR)
      reply = "HTTP/1.1 " + r->httpStatus + "\r\nContent-Length: 0\r\n\r\n";
    else
    {
      IppMessage m = r->response;
      if (m.requestId == 0 && body.size() >= 8)
        m.requestId = ((uint32_t)(unsigned char)body[4] << 24) |
                      ((uint32_t)(unsigned char)body[5] << 16) |
                      ((uint32_t)(unsigned char)body[6] << 8) | (uint32_t)(unsigned char)body[7];
      std::string ipp = ippMsgEncode(m);
      reply = "HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\nContent-Length: " +
              std::to_string(ipp.size()) + "\r\n\r\n" + ipp;
    }
    if (!sendAll(fd, reply))
      break;
  }
  close(fd);
}

/* Accepts connections and serves each in a thread of its own. */
static void acceptLoop(IppResponder *r)
{
  std::vector<std::thread> workers;
  while (!r->stopping.load())
  {
    struct pollfd p = {r->listenFd, POLLIN, 0};
    if (poll(&p, 1, 50) <= 0)
      continue;
    int fd = accept4(r->listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (fd < 0)
      continue;
    workers.emplace_back(serveConnection, r, fd);
  }
  for (std::thread &t : workers)
    t.join();
}

bool responderStart(IppResponder *r, const std::string &path, const IppMessage &response,
                    ResponderMode mode)
{
  r->path = path;
  r->response = response;
  r->mode = mode;
  r->stopping = false;
  r->listenFd = listenUnix(path, 16);
  if (r->listenFd < 0)
    return false;
  r->thread = std::thread(acceptLoop, r);
  return true;
}

void responderStop(IppResponder *r)
{
  stopListener(&r->stopping, &r->thread, &r->listenFd, r->path);
}

size_t responderRequestCount(IppResponder *r)
{
  std::lock_guard<std::mutex> g(r->lock);
  return r->requests.size();
}

std::string responderRequest(IppResponder *r, size_t i)
{
  std::lock_guard<std::mutex> g(r->lock);
  return i < r->requests.size() ? r->requests[i] : std::string();
}
