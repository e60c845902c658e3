/*
 * test_lookup_responder.cpp - the queue description lookup of the real
 * CorvaneBackend against a scripted IPP responder: answers a real scheduler
 * never gives (missing printer-info, wrong value tags, other status codes,
 * several printers, broken connections).
 */
#include <gtest/gtest.h>

#include "backend_run.h"
#include "child_process.h"
#include "ipp_responder.h"

namespace {

/* One printer group of a response, attribute by attribute. */
struct Attr
{
  uint8_t valueTag;
  const char *name;
  std::vector<std::string> values;
};

class Responder : public ::testing::Test
{
protected:
  std::string dir;
  IppResponder responder;
  bool started = false;

  void SetUp() override
  {
    dir = makeTempDir("responder-test");
    ASSERT_FALSE(dir.empty());
  }
  void TearDown() override
  {
    if (started)
      responderStop(&responder);
    removeTempDir(dir);
  }

  /* A response with the usual operation attributes and the given status. */
  static IppMessage response(uint16_t status)
  {
    IppMessage m;
    m.code = status;
    ippMsgAddGroup(&m, IPP_GROUP_OPERATION);
    ippMsgAddValue(&m, IPP_VALUE_CHARSET, "attributes-charset", "utf-8");
    ippMsgAddValue(&m, IPP_VALUE_LANGUAGE, "attributes-natural-language", "en");
    return m;
  }

  /* Adds one printer group. */
  static void addPrinter(IppMessage *m, const std::vector<Attr> &attrs)
  {
    ippMsgAddGroup(m, IPP_GROUP_PRINTER);
    for (const Attr &a : attrs)
      ippMsgAddValues(m, a.valueTag, a.name, a.values);
  }

  /* Starts the responder and runs the backend without arguments against it. */
  ChildResult run(const IppMessage &m, const char *printer, ResponderMode mode = RESPOND_IPP,
                  double *elapsed = nullptr)
  {
    EXPECT_TRUE(responderStart(&responder, dir + "/ipp.sock", m, mode));
    started = true;
    return runLookup(dir + "/ipp.sock", printer, 90, elapsed);
  }

  /* The run found description and listed it. */
  void expectFound(const ChildResult &r, const char *printer, const std::string &description)
  {
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 0);
    EXPECT_EQ(r.out, discoveryLine(description));
    EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines(printer) +
                                           nameLine(description.c_str()) +
                                           discoveryDebugLine(description));
  }

  /* The response was read but gave no description: no line of its own. */
  void expectNotFound(const ChildResult &r, const char *printer)
  {
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines(printer) + nameLine(nullptr));
  }
};

TEST_F(Responder, RequestIsCupsGetPrintersForNameAndInfo)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Office Laser"}}});
  ChildResult r = run(m, "Office");
  expectFound(r, "Office", "Office Laser");

  ASSERT_EQ(responderRequestCount(&responder), 1u);
  {
    std::lock_guard<std::mutex> g(responder.lock);
    EXPECT_EQ(responder.headers[0].compare(0, 7, "POST / "), 0) << responder.headers[0];
  }
  IppMessage req;
  ASSERT_TRUE(ippMsgDecode(responderRequest(&responder, 0), &req));
  EXPECT_EQ(req.code, 0x4002);
  EXPECT_EQ(req.requestId, 1u);
  ASSERT_EQ(req.groups.size(), 1u);
  EXPECT_EQ(req.groups[0].tag, IPP_GROUP_OPERATION);
  const std::vector<IppAttribute> &a = req.groups[0].attributes;
  ASSERT_EQ(a.size(), 3u);
  EXPECT_EQ(a[0].name, "attributes-charset");
  EXPECT_EQ(a[0].valueTag, IPP_VALUE_CHARSET);
  EXPECT_EQ(a[0].values, std::vector<std::string>{"utf-8"});
  EXPECT_EQ(a[1].name, "attributes-natural-language");
  EXPECT_EQ(a[1].valueTag, IPP_VALUE_LANGUAGE);
  ASSERT_EQ(a[1].values.size(), 1u);
  EXPECT_FALSE(a[1].values[0].empty());
  EXPECT_EQ(a[2].name, "requested-attributes");
  EXPECT_EQ(a[2].valueTag, IPP_VALUE_KEYWORD);
  EXPECT_EQ(a[2].values, (std::vector<std::string>{"printer-name", "printer-info"}));
}

TEST_F(Responder, PrinterWithoutInfoGivesNoName)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}},
                  {IPP_VALUE_URI, "printer-uri-supported", {"ipp://localhost/printers/Office"}}});
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, PrinterNameWithTextTagIsNotTaken)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_TEXT, "printer-name", {"Office"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Office Laser"}}});
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, PrinterInfoWithNameTagIsNotTaken)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}},
                  {IPP_VALUE_NAME, "printer-info", {"Office Laser"}}});
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, SuccessCodesUpToConflictingAttributes)
{
  for (uint16_t status : {0x0000, 0x0001, 0x0002})
  {
    IppMessage m = response(status);
    addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}},
                    {IPP_VALUE_TEXT, "printer-info", {"Office Laser"}}});
    SCOPED_TRACE(status);
    expectFound(run(m, "Office"), "Office", "Office Laser");
    responderStop(&responder);
    started = false;
  }
}

TEST_F(Responder, ErrorStatusIsReportedByName)
{
  struct Case
  {
    uint16_t status;
    const char *text;
  };
  /* The texts are the CUPS library's names of the codes.  0x0003 is the
     first code above 0x0002: though the library calls it successful, it is
     past the last code taken as success.  A code without a name is shown
     in hexadecimal. */
  for (const Case &c : {Case{0x0400, "client-error-bad-request"},
                        Case{0x0406, "client-error-not-found"},
                        Case{0x0500, "server-error-internal-error"},
                        Case{0x0003, "successful-ok-ignored-subscriptions"},
                        Case{0x0777, "0x0777"}})
  {
    IppMessage m = response(c.status);
    /* Even a matching printer in an error response is not looked at. */
    addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}},
                    {IPP_VALUE_TEXT, "printer-info", {"Office Laser"}}});
    ChildResult r = run(m, "Office");
    ASSERT_TRUE(r.exited);
    EXPECT_EQ(r.exitStatus, 4);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Office") +
                                           lookupFailed(c.text) + nameLine(nullptr));
    responderStop(&responder);
    started = false;
  }
}

TEST_F(Responder, SeveralPrintersPickTheMatchingOne)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Front"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Front Desk"}}});
  addPrinter(&m, {{IPP_VALUE_TEXT, "printer-info", {"Back Office"}},
                  {IPP_VALUE_NAME, "printer-name", {"BACK"}}});
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Side"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Side Room"}}});
  expectFound(run(m, "back"), "back", "Back Office");
}

TEST_F(Responder, LastPrinterOfSeveralIsFound)
{
  IppMessage m = response(0x0000);
  for (const char *name : {"P1", "P2", "P3", "P4"})
    addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {name}},
                    {IPP_VALUE_TEXT, "printer-info", {std::string("Info ") + name}}});
  expectFound(run(m, "p4"), "p4", "Info P4");
}

TEST_F(Responder, InfoDoesNotCarryOverToTheNextPrinter)
{
  /* The first printer has an info but no name, the second a name and no
     info: each printer starts empty. */
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_TEXT, "printer-info", {"Stray"}}});
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}}});
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, PrinterWithoutNameIsPassedOver)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_TEXT, "printer-info", {"Nameless"}},
                  {IPP_VALUE_URI, "printer-uri-supported", {"ipp://localhost/printers/x"}}});
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Office Laser"}}});
  expectFound(run(m, "Office"), "Office", "Office Laser");
}

TEST_F(Responder, FirstMatchEndsTheWalkEvenWithoutInfo)
{
  /* The first printer of that name has no info; a later one of the same
     name is not looked at. */
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office"}}});
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"office"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Later"}}});
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, LaterAttributeOfTheSameNameReplacesTheEarlier)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Other"}},
                  {IPP_VALUE_TEXT, "printer-info", {"First"}},
                  {IPP_VALUE_NAME, "printer-name", {"Office"}},
                  {IPP_VALUE_TEXT, "printer-info", {"Second"}}});
  expectFound(run(m, "Office"), "Office", "Second");
}

TEST_F(Responder, FirstValueOfAMultiValueAttributeCounts)
{
  IppMessage m = response(0x0000);
  addPrinter(&m, {{IPP_VALUE_NAME, "printer-name", {"Office", "Other"}},
                  {IPP_VALUE_TEXT, "printer-info", {"One", "Two"}}});
  expectFound(run(m, "Office"), "Office", "One");
}

TEST_F(Responder, AttributesOfOtherGroupsAreNotPrinterAttributes)
{
  /* printer-name and printer-info in the operation and job groups belong
     to no printer. */
  IppMessage m = response(0x0000);
  ippMsgAddValue(&m, IPP_VALUE_NAME, "printer-name", "Office");
  ippMsgAddValue(&m, IPP_VALUE_TEXT, "printer-info", "Operation");
  ippMsgAddGroup(&m, IPP_GROUP_JOB);
  ippMsgAddValue(&m, IPP_VALUE_NAME, "printer-name", "Office");
  ippMsgAddValue(&m, IPP_VALUE_TEXT, "printer-info", "Job");
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, OtherGroupEndsThePrinter)
{
  /* A job group between the name and the info splits them: the printer
     ends without info, and the info after the job group starts a printer of
     its own that has no name. */
  IppMessage m = response(0x0000);
  ippMsgAddGroup(&m, IPP_GROUP_PRINTER);
  ippMsgAddValue(&m, IPP_VALUE_NAME, "printer-name", "Office");
  ippMsgAddGroup(&m, IPP_GROUP_JOB);
  ippMsgAddValue(&m, IPP_VALUE_INTEGER, "job-id", std::string("\0\0\0\1", 4));
  ippMsgAddGroup(&m, IPP_GROUP_PRINTER);
  ippMsgAddValue(&m, IPP_VALUE_TEXT, "printer-info", "Office Laser");
  expectNotFound(run(m, "Office"), "Office");
}

TEST_F(Responder, NoPrintersAtAll)
{
  expectNotFound(run(response(0x0000), "Office"), "Office");
}

TEST_F(Responder, ConnectionClosedWithoutAnswer)
{
  double elapsed = 0;
  ChildResult r = run(response(0x0000), "Office", RESPOND_CLOSE, &elapsed);
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 4);
  EXPECT_LT(elapsed, 10.0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Office") + lookupNoResponse() +
                                         nameLine(nullptr));
}

TEST_F(Responder, HttpErrorGivesNoResponse)
{
  ChildResult r = run(response(0x0000), "Office", RESPOND_HTTP_ERROR);
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 4);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Office") + lookupNoResponse() +
                                         nameLine(nullptr));
}

} // namespace

namespace {

TEST_F(Responder, SilentSchedulerIsGivenUpAfterTheLookupTimeout)
{
  /* The scheduler accepts the request and never answers: the lookup waits
     its ten seconds, not the library's default minute, and fails. */
  double elapsed = 0;
  ChildResult r = run(response(0x0000), "Office", RESPOND_SILENT, &elapsed);
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 4);
  EXPECT_GT(elapsed, 9.0);
  EXPECT_LT(elapsed, 25.0);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(normalizeAddresses(r.err), banner(1) + lookupLines("Office") + lookupNoResponse() +
                                         nameLine(nullptr));
  EXPECT_EQ(responderRequestCount(&responder), 1u);
}

} // namespace
