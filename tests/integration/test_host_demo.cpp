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
            "--timeout", "300"};
  o.env = environmentWithout({"CUPS_SERVER", "PRINTER", "LPDEST"});
  o.stdinIsDevNull = true;
  o.timeoutSeconds = 420;
  ChildResult result = runChild(o);
  std::string shown = result.out + result.err;
  ASSERT_TRUE(result.exited) << shown;
  EXPECT_EQ(result.exitStatus, 0) << shown;

  /* The README as text, a PDF of three pages, then the test page. */
  std::string folder = dir + "/work/received/0003-Office_Laser";
  std::string png = folder + "/page-001.png";
  std::string pdfFolder = dir + "/work/received/0002-Office_Laser";
  /* What the newcomer sees: the queue, the requests, the filters and the
     backend's lines, the receiver's lines and where the pages are. */
  for (const std::string &text : {
         std::string("== adding the queue Office (\"Office Laser\") with the PPD and CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page\n"),
         std::string("request id is Office-1 (1 file(s))\n"),
         std::string("request id is Office-2 (1 file(s))\n"),
         std::string("request id is Office-3 (1 file(s))\n"),
         std::string("Office-1 "),
         std::string("/bin/filter/texttopdf (PID "),
         std::string("/bin/filter/rastertocorvane (PID "),
         std::string("[Job 2] Printing page 1 (A4, 150x150 dpi, colour).\n[Job 2] PAGE: 1 1\n"
                     "[Job 2] Printing page 2 (A4, 150x150 dpi, colour).\n[Job 2] PAGE: 2 1\n"
                     "[Job 2] Printing page 3 (A4, 150x150 dpi, colour).\n[Job 2] PAGE: 3 1\n[Job 2] Sent 3 pages.\n"),
         /* The scheduler's log shows the backend's double quotes escaped. */
         std::string("[Job 2] \\\"CorvaneBackend - PAGENAME - A4\\\"\n"),
         std::string("[Job 2] \\\"CorvaneBackend - PAGE 3 sent\\\"\n"),
         std::string("[Job 2] \\\"CorvaneBackend finished with CUPS_BACKEND_OK\\\"\n"),
         std::string("[Job 1] Job completed.\n"),
         std::string("[Job 2] Job completed.\n"),
         std::string("[Job 3] Job completed.\n"),
         std::string("job 3 page 1: 620x877 depth 3, 1 fragment, "),
         std::string("job 2: complete, 3 pages in " + pdfFolder + "\n"),
         std::string("job 3: complete, 1 page in " + folder + "\n"),
         std::string("0002-Office_Laser: 3 page image(s)\n  " + pdfFolder + "/page-001.png\n  " + pdfFolder + "/page-002.png\n  " + pdfFolder + "/page-003.png\n"),
         std::string("0003-Office_Laser: 1 page image(s)\n  " + png + "\n"),
       })
    EXPECT_NE(result.out.find(text), std::string::npos) << text << "\n---\n"
                                                        << shown;

  /* The PDF's pages are three different pages at 150 dpi. */
  std::vector<PageImage> pdfPages(3);
  for (int i = 0; i < 3; i++)
  {
    ASSERT_TRUE(readPng(pdfFolder + "/page-00" + std::to_string(i + 1) + ".png", &pdfPages[i])) << shown;
    EXPECT_EQ(pdfPages[i].xdpi, 150u);
  }
  EXPECT_NE(imageDifference(pdfPages[0], pdfPages[1]), "");
  EXPECT_NE(imageDifference(pdfPages[1], pdfPages[2]), "");

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
