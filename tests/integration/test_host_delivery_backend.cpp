/*
 * test_host_delivery_backend.cpp - jobs printed through the real backend
 * (CorvaneBackend run as a local scheduler's queue would run it, on the
 * fixed socket) reach the remote printer through kivprinter-host
 * --forward as PWG raster with exactly the rows of the print stream.
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

TEST_F(HostDelivery, JobsFromTheRealBackendArriveAsSent)
{
  CupsdFixture *local = cupsdShared();
  ASSERT_NE(local, nullptr) << cupsdLastError();
  ASSERT_TRUE(cupsdAddQueue(local, "Office", "Office Laser"));
  const char kSocket[] = "/tmp/kivprinter.sock";
  ASSERT_TRUE(waitUntilPathFree(kSocket, 60));
  std::string why;
  std::vector<std::string> args = {"--forward", remote->uri, "--retry-max", "2"};
  ASSERT_TRUE(receiverStart(&r, kSocket, out, dir, args, &why)) << why;

  struct Case
  {
    PageImage image;
    const char *paper;
    int duplex; /* the stream's: 0 none, 1 long edge, 2 short edge */
    const char *media, *sides, *mode;
  };
  std::vector<Case> cases = {
    {patternImage(203, 290, 3, 11, 72), "A4", 0, "iso_a4_210x297mm", "one-sided", "color"},
    {patternImage(201, 264, 1, 12, 72), "Letter", 1, "na_letter_8.5x11in", "two-sided-long-edge", "monochrome"},
    {patternImage(174, 246, 3, 13, 60), "A5", 2, "iso_a5_148x210mm", "two-sided-short-edge", "color"},
  };
  for (size_t i = 0; i < cases.size(); i++)
  {
    StreamSettings settings;
    settings.paper = cases[i].paper;
    settings.xdpi = settings.ydpi = cases[i].image.xdpi;
    settings.depth = cases[i].image.channels;
    settings.duplex = cases[i].duplex != 0;
    settings.tumble = cases[i].duplex == 2;
    settings.hasPrinterName = true;
    settings.printerName = "Trip" + std::to_string(i + 1);
    std::string stream;
    ASSERT_EQ(build_print_stream(&stream, settings, {cases[i].image}), 1);
    std::string file = dir + "/job.stream";
    ASSERT_TRUE(writeFileBytes(file, stream));
    ChildOptions o;
    o.argv = {std::string(CORVANE_BIN_DIR) + "/CorvaneBackend", std::to_string(i + 1), "user", "title", "1", "",
              file};
    o.env = cupsdEnvironment(local, {"PRINTER=Office"});
    o.stdinIsDevNull = true;
    o.timeoutSeconds = 120;
    ChildResult result = runChild(o);
    ASSERT_TRUE(result.exited);
    ASSERT_EQ(result.exitStatus, 0) << result.err;
    ASSERT_TRUE(receiverWaitFor(&r, false, "job " + std::to_string(i + 1) + ": delivered", 60))
      << receiverOut(&r) << receiverErr(&r);
  }
  std::vector<Captured> got = remoteCaptured(remote);
  ASSERT_EQ(got.size(), cases.size());
  for (size_t i = 0; i < cases.size(); i++)
  {
    PageSpec spec;
    spec.image = cases[i].image;
    spec.duplex = cases[i].duplex == 0 ? 1 : cases[i].duplex == 1 ? 3
                                                                  : 2;
    expectDelivered(got[i], {spec}, cases[i].media, cases[i].sides, cases[i].mode);
  }
}

} // namespace
