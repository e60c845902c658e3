/*
 * test_host_delivery_printer.cpp - delivery to printers that a CUPS queue
 * cannot stand in for: one that does not take PWG raster, and one that
 * takes the job but ignores some of its attributes.  The printer is a
 * small IPP server on 127.0.0.1 built on libcups's own HTTP and IPP
 * functions (the server side of the same library the host uses), which
 * answers Get-Printer-Attributes, Print-Job and Get-Job-Attributes as the
 * test sets it up, and counts the documents it gets.
 */
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <cups/cups.h>
#include <gtest/gtest.h>

#include "child_process.h"
#include "delivery_support.h"
#include "host_support.h"
#include "test_files.h"

namespace {

struct FakePrinter
{
  std::vector<std::string> formats;     /* document-format-supported */
  std::vector<std::string> ignoredOnes; /* Print-Job: reported as unsupported */
  int listenFd = -1;
  int port = 0;
  std::thread thread;
  std::atomic<bool> stop{false};
  std::atomic<int> printJobs{0}; /* Print-Job requests seen */
  std::mutex lock;
  std::vector<size_t> documentBytes;
};

/* Answers one request on http; false when the connection is done. */
bool serveRequest(FakePrinter *p, http_t *http)
{
  char resource[1024];
  if (httpReadRequest(http, resource, sizeof resource) != HTTP_STATE_POST)
    return false;
  http_status_t status;
  while ((status = httpUpdate(http)) == HTTP_STATUS_CONTINUE)
    ;
  if (status != HTTP_STATUS_OK)
    return false;
  ipp_t *request = ippNew();
  ipp_state_t ipp;
  while ((ipp = ippRead(http, request)) != IPP_STATE_DATA)
    if (ipp == IPP_STATE_ERROR)
    {
      ippDelete(request);
      return false;
    }
  /* The document, if any, follows the request. */
  size_t bytes = 0;
  char buf[65536];
  ssize_t n;
  while ((n = httpRead2(http, buf, sizeof buf)) > 0)
    bytes += (size_t)n;

  ipp_t *response = ippNewResponse(request);
  switch (ippGetOperation(request))
  {
    case IPP_OP_GET_PRINTER_ATTRIBUTES:
    {
      std::vector<const char *> values;
      for (const std::string &f : p->formats)
        values.push_back(f.c_str());
      ippAddStrings(response, IPP_TAG_PRINTER, IPP_TAG_MIMETYPE, "document-format-supported", (int)values.size(),
                    nullptr, values.data());
      break;
    }
    case IPP_OP_PRINT_JOB:
    {
      p->printJobs++;
      {
        std::lock_guard<std::mutex> hold(p->lock);
        p->documentBytes.push_back(bytes);
      }
      /* Attributes it does not support are named in an unsupported-
         attributes group, and the status says the job goes on without. */
      if (!p->ignoredOnes.empty())
      {
        ippSetStatusCode(response, IPP_STATUS_OK_IGNORED_OR_SUBSTITUTED);
        for (const std::string &name : p->ignoredOnes)
          ippAddString(response, IPP_TAG_UNSUPPORTED_GROUP, IPP_TAG_KEYWORD, name.c_str(), nullptr, "unsupported");
      }
      ippAddInteger(response, IPP_TAG_JOB, IPP_TAG_INTEGER, "job-id", 7);
      ippAddInteger(response, IPP_TAG_JOB, IPP_TAG_ENUM, "job-state", IPP_JSTATE_PENDING);
      break;
    }
    case IPP_OP_GET_JOB_ATTRIBUTES:
      ippAddInteger(response, IPP_TAG_JOB, IPP_TAG_ENUM, "job-state", IPP_JSTATE_COMPLETED);
      ippAddString(response, IPP_TAG_JOB, IPP_TAG_KEYWORD, "job-state-reasons", nullptr, "job-completed-successfully");
      break;
    default:
      ippSetStatusCode(response, IPP_STATUS_ERROR_OPERATION_NOT_SUPPORTED);
      break;
  }
  httpClearFields(http);
  httpSetField(http, HTTP_FIELD_CONTENT_TYPE, "application/ipp");
  httpSetLength(http, ippLength(response));
  bool ok = httpWriteResponse(http, HTTP_STATUS_OK) == 0;
  if (ok)
  {
    ippSetState(response, IPP_STATE_IDLE);
    while ((ipp = ippWrite(http, response)) != IPP_STATE_DATA)
      if (ipp == IPP_STATE_ERROR)
      {
        ok = false;
        break;
      }
  }
  httpFlushWrite(http);
  ippDelete(request);
  ippDelete(response);
  return ok;
}

void printerLoop(FakePrinter *p)
{
  while (!p->stop)
  {
    struct pollfd pfd = {p->listenFd, POLLIN, 0};
    if (poll(&pfd, 1, 100) <= 0)
      continue;
    http_t *http = httpAcceptConnection(p->listenFd, 1);
    if (!http)
      continue;
    while (serveRequest(p, http))
      ;
    httpClose(http);
  }
}

bool printerStart(FakePrinter *p)
{
  p->listenFd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  struct sockaddr_in addr;
  memset(&addr, 0, sizeof addr);
  addr.sin_family = AF_INET;
  addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof addr;
  if (p->listenFd < 0 || bind(p->listenFd, (struct sockaddr *)&addr, sizeof addr) != 0 ||
      listen(p->listenFd, 8) != 0 || getsockname(p->listenFd, (struct sockaddr *)&addr, &length) != 0)
    return false;
  p->port = ntohs(addr.sin_port);
  p->thread = std::thread(printerLoop, p);
  return true;
}

void printerStop(FakePrinter *p)
{
  stopListener(&p->stop, &p->thread, &p->listenFd, std::string());
}

class HostPrinterKinds : public ::testing::Test
{
protected:
  FakePrinter printer;
  std::string dir, socketPath, out, uri;
  Receiver r;

  void SetUp() override
  {
    signal(SIGPIPE, SIG_IGN);
    dir = makeTempDir("host-printer-kinds");
    socketPath = dir + "/host.sock";
    out = dir + "/spool";
  }
  void TearDown() override
  {
    if (r.pid > 0)
    {
      EXPECT_EQ(receiverStop(&r, SIGTERM, 30), 0) << receiverErr(&r);
    }
    printerStop(&printer);
    removeTempDir(dir);
  }
  void start(const std::vector<std::string> &extra = {})
  {
    ASSERT_TRUE(printerStart(&printer));
    uri = "ipp://127.0.0.1:" + std::to_string(printer.port) + "/ipp/print";
    std::vector<std::string> args = {"--forward", uri, "--retry-max", "2"};
    args.insert(args.end(), extra.begin(), extra.end());
    std::string why;
    ASSERT_TRUE(receiverStart(&r, socketPath, out, dir, args, &why)) << why;
  }
};

PageSpec onePage()
{
  PageSpec page;
  page.image = patternImage(48, 30, 3, 21, 72);
  return page;
}

TEST_F(HostPrinterKinds, APrinterWithoutPwgRasterKeepsTheJobAndSaysSo)
{
  printer.formats = {"application/pdf", "image/jpeg"};
  start();
  ASSERT_TRUE(receiverWaitFor(&r, true,
                              "kivprinter-host: the printer at " + uri +
                                " does not accept PWG raster (image/pwg-raster is not in its "
                                "document-format-supported: application/pdf, image/jpeg); jobs are kept in the "
                                "spool, not delivered\n",
                              30))
    << receiverErr(&r);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({onePage()}, "No PWG")));
  std::string folder = out + "/0001-No_PWG";
  ASSERT_TRUE(receiverWaitFor(&r, true,
                              "kivprinter-host: job 1: not delivered: the printer at " + uri +
                                " does not accept PWG raster (image/pwg-raster); the job is kept in " + folder + "\n",
                              30))
    << receiverErr(&r);
  EXPECT_EQ(printer.printJobs.load(), 0);
  std::string json = readFileText(folder + "/job.json");
  EXPECT_EQ(deliveryField(json, "state"), "unsupported") << json;
  EXPECT_EQ(deliveryField(json, "lastError"), "document-format-supported: application/pdf, image/jpeg");
  EXPECT_TRUE(hostExists(folder + "/document.pwg"));

  /* Kept for the next start: it is looked at again (and still refused). */
  EXPECT_EQ(receiverStop(&r, SIGTERM, 30), 0);
  std::string why;
  ASSERT_TRUE(receiverStart(&r, socketPath, out, dir, {"--forward", uri, "--retry-max", "2"}, &why)) << why;
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: resuming its delivery (unsupported) from " + folder, 30))
    << receiverOut(&r);
  ASSERT_TRUE(receiverWaitFor(&r, true, "kivprinter-host: job 1: not delivered: the printer at ", 30))
    << receiverErr(&r);
  EXPECT_EQ(printer.printJobs.load(), 0);
}

TEST_F(HostPrinterKinds, AttributesThePrinterIgnoresAreRecorded)
{
  printer.formats = {"application/pdf", "image/pwg-raster"};
  printer.ignoredOnes = {"sides", "print-color-mode"};
  start();
  ASSERT_TRUE(receiverWaitFor(&r, false, "kivprinter-host: forwarding complete jobs to " + uri + "\n", 30))
    << receiverOut(&r) << receiverErr(&r);
  PageSpec page = onePage();
  page.duplex = 3;
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({page}, "Ignored")));
  ASSERT_TRUE(receiverWaitFor(&r, false,
                              "job 1: sent to " + uri +
                                " as job 7 (attempt 1, successful-ok-ignored-or-substituted-attributes; ignored or "
                                "changed: sides print-color-mode)\n",
                              30))
    << receiverOut(&r) << receiverErr(&r);
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered: job 7 on " + uri + " completed\n", 30)) << receiverOut(&r);
  std::string json = readFileText(out + "/0001-Ignored/job.json");
  EXPECT_NE(json.find("\"ignoredAttributes\":[\"sides\",\"print-color-mode\"]"), std::string::npos) << json;
  EXPECT_EQ(deliveryField(json, "ippStatus"), "successful-ok-ignored-or-substituted-attributes");
  EXPECT_EQ(deliveryField(json, "state"), "delivered");
  EXPECT_EQ(printer.printJobs.load(), 1);
  /* The whole document reached the printer. */
  std::lock_guard<std::mutex> hold(printer.lock);
  ASSERT_EQ(printer.documentBytes.size(), 1u);
  EXPECT_EQ(printer.documentBytes[0], readFileText(out + "/0001-Ignored/document.pwg").size());
}

TEST_F(HostPrinterKinds, OnceWaitsForTheJobsDelivery)
{
  printer.formats = {"image/pwg-raster"};
  start({"--once"});
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({onePage()}, "Once")));
  EXPECT_EQ(receiverWaitExit(&r, 60), 0) << receiverOut(&r) << receiverErr(&r);
  EXPECT_EQ(hostCount(receiverOut(&r), "job 1: delivered: job 7 on " + uri + " completed\n"), 1u)
    << receiverOut(&r);
  EXPECT_EQ(printer.printJobs.load(), 1);
}

TEST(HostForwardOptions, WhatCannotBeForwardedToIsRefusedAtStart)
{
  std::string dir = makeTempDir("host-forward-options");
  struct Case
  {
    std::vector<std::string> args;
    std::string err;
  } cases[] = {
    {{"--forward", "http://printer/ipp"},
     "kivprinter-host: --forward: 'http://printer/ipp' is not an ipp:// or ipps:// URI\n"},
    {{"--forward", "printer"}, "kivprinter-host: --forward: 'printer' is not a valid printer URI\n"},
    {{"--forward", "ipp://printer/ipp", "--dump"},
     "kivprinter-host: --forward spools jobs in the --out folder; it cannot be used with --dump\n"},
    {{"--retry-max", "0"}, "kivprinter-host: bad --retry-max '0' (seconds, 1 to 86400)\n"},
  };
  for (const Case &c : cases)
  {
    ChildOptions o;
    o.argv = {std::string(CORVANE_BIN_DIR) + "/kivprinter-host", "--socket", dir + "/host.sock", "--out",
              dir + "/spool"};
    o.argv.insert(o.argv.end(), c.args.begin(), c.args.end());
    o.env = environmentWithout({"LISTEN_FDS", "LISTEN_PID"});
    o.stdinIsDevNull = true;
    o.timeoutSeconds = 30;
    ChildResult r = runChild(o);
    EXPECT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 2) << c.args[0];
    EXPECT_EQ(r.err.substr(0, c.err.size()), c.err);
    EXPECT_EQ(r.out, "");
    EXPECT_FALSE(hostExists(dir + "/host.sock"));
  }
  removeTempDir(dir);
}

} // namespace
