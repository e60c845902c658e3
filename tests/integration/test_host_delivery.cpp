/*
 * test_host_delivery.cpp - kivprinter-host --forward delivers to a real IPP
 * printer: a second private scheduler on 127.0.0.1 whose raw queue's
 * backend captures each document.  The documents must be PWG raster whose
 * pages hold exactly the rows sent, with the page headers and the job
 * attributes the page records ask for.  Jobs come as record streams on a
 * private socket (test_host_delivery_backend.cpp sends them through the
 * real backend).
 */
#include <signal.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "cupsd_fixture.h"
#include "stream_writer.h"
#include "delivery_support.h"
#include "host_support.h"
#include "test_files.h"

namespace {

TEST_F(HostDelivery, ColourAndGrayPagesOnSeveralPapersArriveExactly)
{
  startHost();
  /* Rows of 201 and 99 pixels: 603, 297 and 201 bytes, none a multiple of
     4, so the wire's padding must not reach the printer. */
  PageSpec a4;
  a4.image = patternImage(201, 283, 3, 1, 72);
  PageSpec letter;
  letter.image = patternImage(201, 260, 1, 2, 72);
  letter.paper = 1;
  letter.widthTenths = 2159;
  letter.lengthTenths = 2794;
  letter.duplex = 3;
  PageSpec legal;
  legal.image = patternImage(99, 180, 3, 3, 50);
  legal.paper = 5;
  legal.widthTenths = 2159;
  legal.lengthTenths = 3556;
  legal.duplex = 2;
  legal.copies = 2;

  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({a4}, "Colour A4")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({letter}, "Gray Letter")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 2: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({legal}, "Legal")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 3: delivered", 60)) << receiverOut(&r) << receiverErr(&r);

  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 3u);
  expectDelivered(got[0], {a4}, "iso_a4_210x297mm", "one-sided", "color");
  expectDelivered(got[1], {letter}, "na_letter_8.5x11in", "two-sided-long-edge", "monochrome");
  expectDelivered(got[2], {legal}, "na_legal_8.5x14in", "two-sided-short-edge", "color");
  EXPECT_EQ(got[0].title.substr(0, 15), "Colour A4 job 1");
  EXPECT_EQ(got[1].title.substr(0, 17), "Gray Letter job 2");

  /* Page sizes in points from the paper. */
  std::vector<PwgPage> pages;
  std::string why;
  ASSERT_TRUE(decodePwg(got[0].document, &pages, &why)) << why;
  EXPECT_EQ(pages[0].header.PageSize[0], 595u);
  EXPECT_EQ(pages[0].header.PageSize[1], 842u);
  EXPECT_STREQ(pages[0].header.cupsPageSizeName, "iso_a4_210x297mm");
  ASSERT_TRUE(decodePwg(got[1].document, &pages, &why)) << why;
  EXPECT_EQ(pages[0].header.PageSize[0], 612u);
  EXPECT_EQ(pages[0].header.PageSize[1], 792u);

  /* job.json records the delivery. */
  std::string json = readFileText(jobFolder(out, 1) + "/job.json");
  EXPECT_EQ(deliveryField(json, "state"), "delivered") << json;
  EXPECT_EQ(deliveryField(json, "jobState"), "completed");
  EXPECT_EQ(deliveryField(json, "printerJobId"), got[0].jobId);
  EXPECT_EQ(deliveryField(json, "attempts"), "1");
  EXPECT_EQ(deliveryField(json, "lastError"), "null");
  EXPECT_EQ(deliveryField(json, "ippStatus").substr(0, 13), "successful-ok");
  EXPECT_TRUE(hostExists(jobFolder(out, 1) + "/page-001.png"));
}

TEST_F(HostDelivery, AJobOfSeveralPagesKeepsEachPagesSettings)
{
  startHost({"--no-images"});
  PageSpec first;
  first.image = patternImage(150, 100, 3, 7, 100);
  first.duplex = 3;
  PageSpec second;
  second.image = patternImage(93, 140, 1, 8, 100);
  second.duplex = 3;
  PageSpec third;
  third.image = patternImage(64, 48, 3, 9, 30);
  third.duplex = 3;
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({first, second, third}, "Three pages")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 1u);
  expectDelivered(got[0], {first, second, third}, "iso_a4_210x297mm", "two-sided-long-edge", "color");
  /* --no-images: no PNG, the document and the records only. */
  std::vector<std::string> files = hostListDir(jobFolder(out, 1));
  EXPECT_EQ(files, (std::vector<std::string>{"delivery.state", "document.pwg", "job.json"}));
}

TEST_F(HostDelivery, AnIncompleteJobIsKeptAndMarkedButNeverDelivered)
{
  startHost();
  PageSpec page;
  page.image = patternImage(60, 40, 3, 4, 72);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({page}, "Cut short", false)));
  ASSERT_TRUE(receiverWaitFor(&r, true, "kivprinter-host: job 1: not delivered: the job did not end: kept, never delivered", 30))
    << receiverErr(&r);
  /* A complete job after it goes through, and only it. */
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({page}, "Whole")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 2: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  EXPECT_EQ(remoteCaptured(remote).size(), 1u);
  std::string folder = jobFolder(out, 1);
  std::string json = readFileText(folder + "/job.json");
  EXPECT_NE(json.find("\"status\":\"incomplete\""), std::string::npos) << json;
  EXPECT_EQ(deliveryField(json, "state"), "incomplete");
  EXPECT_EQ(deliveryField(json, "attempts"), "0");
  EXPECT_NE(readFileText(folder + "/delivery.state").find("state=incomplete\n"), std::string::npos);
  /* Kept: its page and document stay. */
  EXPECT_TRUE(hostExists(folder + "/page-001.png"));
  EXPECT_TRUE(hostExists(folder + "/document.pwg"));
}

} // namespace
