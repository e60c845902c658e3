/*
 * test_host_demo.cpp - scripts/demo, the README's first command, run as a
 * newcomer would (non-interactively, in a temporary directory), with the
 * programs of this build; the page it received must be the test page.
 */
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "host_support.h"
#include "test_page.h"

TEST(HostDemo, OneJobFromTheQueueToAPageImage)
{
  std::string dir = makeTempDir("host-demo");
  ASSERT_FALSE(dir.empty());
  /* The demo listens on the backend's fixed socket. */
  waitUntilPathFree("/tmp/kivprinter.sock", 60);
  ChildOptions o;
  o.argv = {"/bin/bash", std::string(CORVANE_SOURCE_DIR) + "/scripts/demo", "--build-dir",
            CORVANE_BUILD_DIR, "--no-build", "--work-dir", dir + "/work", "--resolution", "75",
            "--timeout", "90"};
  o.env = environmentWithout({"CUPS_SERVER", "PRINTER", "LPDEST"});
  o.stdinIsDevNull = true;
  o.timeoutSeconds = 170;
  ChildResult result = runChild(o);
  std::string shown = result.out + result.err;
  ASSERT_TRUE(result.exited) << shown;
  EXPECT_EQ(result.exitStatus, 0) << shown;

  std::string folder = dir + "/work/received/0001-Office_Laser";
  std::string png = folder + "/page-001.png";
  /* What the newcomer sees: the queue, the request, the backend's lines,
     the receiver's lines and where the page is. */
  for (const std::string &text : {
         std::string("== adding the queue Office (\"Office Laser\")\n"),
         std::string("request id is Office-1 (1 file(s))\n"),
         std::string("Office-1 "),
         /* The scheduler's log shows the backend's double quotes escaped. */
         std::string("[Job 1] \\\"CorvaneBackend - PAGENAME - A4\\\"\n"),
         std::string("[Job 1] CorvaneBackend - printer devicename: \\\"Office Laser\\\"\n"),
         std::string("[Job 1] \\\"CorvaneBackend finished with CUPS_BACKEND_OK\\\"\n"),
         std::string("[Job 1] Sending job to queue tagged as raw...\n"),
         std::string("[Job 1] Job completed.\n"),
         std::string("job 1 page 1: 620x877 depth 3, 1 fragment, "),
         std::string("job 1: complete, 1 page in " + folder + "\n"),
         std::string("the page image(s):\n  " + png + "\n"),
       })
    EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n---\n"
                                                        << shown;

  PageImage back, expected;
  ASSERT_TRUE(readPng(png, &back)) << shown;
  ASSERT_EQ(draw_test_page(&expected, 620, 877, 3), 1);
  EXPECT_EQ(imageDifference(back, expected), "");
  EXPECT_EQ(back.xdpi, 75u);
  /* Everything it started is gone: no scheduler tree, no socket file. */
  EXPECT_FALSE(hostExists(dir + "/work/cups/spool"));
  EXPECT_FALSE(hostExists("/tmp/kivprinter.sock"));
  removeTempDir(dir);
}
