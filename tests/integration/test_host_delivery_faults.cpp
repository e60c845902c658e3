/*
 * test_host_delivery_faults.cpp - nothing is lost and nothing printed
 * twice when the printer is away, refuses jobs or is slow, when the host
 * is stopped with a job waiting and started again, or when an answer to
 * Print-Job was lost.
 */
#include <signal.h>
#include <unistd.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "cupsd_fixture.h"
#include "delivery_support.h"
#include "host_support.h"
#include "test_files.h"

namespace {

PageSpec smallPage(uint32_t seed)
{
  PageSpec page;
  page.image = patternImage(90 + seed, 60, 3, seed, 72);
  return page;
}

TEST_F(HostDelivery, ThePrinterAwayWhenAJobArrivesGetsItOnceWhenBack)
{
  cupsdHalt(&remote->cupsd);
  startHost();
  ASSERT_TRUE(receiverWaitFor(&r, true, "kivprinter-host: the printer at " + remote->uri + " cannot be reached now", 30))
    << receiverErr(&r);
  PageSpec page = smallPage(1);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({page}, "Away")));
  ASSERT_TRUE(receiverWaitFor(&r, true, "kivprinter-host: job 1: delivery attempt 1 to " + remote->uri + " failed: ", 30))
    << receiverErr(&r);
  sleep(10);
  std::string why;
  bool back = cupsdResume(&remote->cupsd, remote->options);
  ASSERT_TRUE(back) << cupsdLastError();
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 1u);
  expectDelivered(got[0], {page}, "iso_a4_210x297mm", "one-sided", "color");
  std::string json = readFileText(jobFolder(out, 1) + "/job.json");
  EXPECT_EQ(deliveryField(json, "state"), "delivered");
  EXPECT_GE(atoi(deliveryField(json, "attempts").c_str()), 3) << json;
  /* Every attempt was one line. */
  EXPECT_EQ(hostCount(receiverErr(&r), "kivprinter-host: job 1: delivery attempt "),
            (size_t)atoi(deliveryField(json, "attempts").c_str()) - 1);
}

TEST_F(HostDelivery, ARefusingPrinterGetsTheJobOnceItAccepts)
{
  ASSERT_EQ(cupsdRunClient(&remote->cupsd, {"cupsreject", "Remote"}), 0) << cupsdLastError();
  startHost();
  PageSpec page = smallPage(2);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({page}, "Refused")));
  ASSERT_TRUE(receiverWaitFor(&r, true, "kivprinter-host: job 1: delivery attempt 2 to " + remote->uri + " failed: Print-Job: ", 30))
    << receiverErr(&r);
  EXPECT_NE(receiverErr(&r).find("not-accepting-jobs"), std::string::npos) << receiverErr(&r);
  std::string json = readFileText(jobFolder(out, 1) + "/job.json");
  EXPECT_EQ(deliveryField(json, "state"), "pending");
  EXPECT_NE(deliveryField(json, "lastError").find("not-accepting-jobs"), std::string::npos) << json;
  ASSERT_EQ(cupsdRunClient(&remote->cupsd, {"cupsaccept", "Remote"}), 0) << cupsdLastError();
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 1u);
  expectDelivered(got[0], {page}, "iso_a4_210x297mm", "one-sided", "color");
}

TEST_F(HostDelivery, AHostStoppedWithAJobWaitingDeliversItOnceAfterItsRestart)
{
  ASSERT_EQ(cupsdRunClient(&remote->cupsd, {"cupsreject", "Remote"}), 0) << cupsdLastError();
  startHost();
  PageSpec page = smallPage(3);
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({page}, "Waiting")));
  ASSERT_TRUE(receiverWaitFor(&r, true, "kivprinter-host: job 1: delivery attempt 1 to ", 30)) << receiverErr(&r);
  EXPECT_EQ(receiverStop(&r, SIGTERM, 30), 0) << receiverErr(&r);
  std::string folder = jobFolder(out, 1);
  EXPECT_NE(readFileText(folder + "/delivery.state").find("state=pending\n"), std::string::npos);
  ASSERT_EQ(cupsdRunClient(&remote->cupsd, {"cupsaccept", "Remote"}), 0) << cupsdLastError();

  startHost();
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: resuming its delivery (pending) from " + folder, 30))
    << receiverOut(&r);
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  /* Once more: a delivered job is not sent again.  The next job goes
     after it in order, so a second copy of job 1 would come first. */
  EXPECT_EQ(receiverStop(&r, SIGTERM, 30), 0) << receiverErr(&r);
  startHost();
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({smallPage(4)}, "After")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 2: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  EXPECT_EQ(receiverOut(&r).find("job 1:"), std::string::npos) << receiverOut(&r);
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 2u);
  expectDelivered(got[0], {page}, "iso_a4_210x297mm", "one-sided", "color");
  EXPECT_EQ(got[1].title.substr(0, 11), "After job 2");
}

TEST_F(HostDelivery, ALostPrintJobAnswerIsLookedUpNotSentAgain)
{
  startHost();
  ASSERT_TRUE(sendToHost(socketPath, deliveryJobStream({smallPage(5)}, "Lost answer")));
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  EXPECT_EQ(receiverStop(&r, SIGTERM, 30), 0) << receiverErr(&r);
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 1u);

  /* As if the host had died after sending, before the answer came. */
  std::string folder = jobFolder(out, 1);
  std::string state = readFileText(folder + "/delivery.state");
  size_t at = state.find("state=delivered\n");
  ASSERT_NE(at, std::string::npos) << state;
  state.replace(at, 16, "state=sending\n");
  at = state.find("printer-job-id=");
  state.replace(at, state.find('\n', at) - at, "printer-job-id=0");
  ASSERT_TRUE(writeFileBytes(folder + "/delivery.state", state));

  startHost();
  ASSERT_TRUE(receiverWaitFor(&r, false,
                              "job 1: the printer already has it as job " + got[0].jobId +
                                " (an earlier attempt's answer was lost)",
                              60))
    << receiverOut(&r) << receiverErr(&r);
  ASSERT_TRUE(receiverWaitFor(&r, false, "job 1: delivered", 60)) << receiverOut(&r) << receiverErr(&r);
  EXPECT_EQ(remoteCaptured(remote).size(), 1u);
}

TEST_F(HostDelivery, EightJobsAtOnceWhileThePrinterIsSlowAreAllDeliveredOnce)
{
  /* The printer takes nothing until released: every job must still be
     received in full, none waiting for the printer. */
  remoteHold(remote, true);
  startHost();
  std::vector<PageSpec> pages;
  for (uint32_t i = 0; i < 8; i++)
    pages.push_back(smallPage(10 + i));
  std::vector<std::thread> senders;
  std::vector<int> sent(8, 0);
  for (size_t i = 0; i < 8; i++)
    senders.emplace_back([&, i] {
      sent[i] = sendToHost(socketPath, deliveryJobStream({pages[i]}, "Eight-" + std::to_string(i)));
    });
  for (std::thread &t : senders)
    t.join();
  for (int s : sent)
    ASSERT_TRUE(s);
  ASSERT_TRUE(receiverWaitFor(&r, false, ": complete, 1 page in ", 60, 8)) << receiverOut(&r);
  EXPECT_EQ(remoteCaptured(remote).size(), 0u);

  remoteHold(remote, false);
  ASSERT_TRUE(receiverWaitFor(&r, false, ": delivered: job ", 180, 8)) << receiverOut(&r) << receiverErr(&r);
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), 8u);
  std::set<std::string> names;
  for (const Captured &c : got)
  {
    /* "Eight-N job J [token]": which image it must hold. */
    ASSERT_EQ(c.title.compare(0, 6, "Eight-"), 0) << c.title;
    size_t i = (size_t)(c.title[6] - '0');
    ASSERT_LT(i, 8u);
    EXPECT_TRUE(names.insert(c.title.substr(0, 7)).second) << "twice: " << c.title;
    expectDelivered(c, {pages[i]}, "iso_a4_210x297mm", "one-sided", "color");
  }
  EXPECT_EQ(names.size(), 8u);
  EXPECT_EQ(hostCount(receiverErr(&r), "failed"), 0u) << receiverErr(&r);
}

} // namespace
