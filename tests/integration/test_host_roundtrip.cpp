/*
 * test_host_roundtrip.cpp - image -> print stream -> CorvaneBackend ->
 * kivprinter-host -> PNG, pixel for pixel, through the real backend program
 * and the backend's socket /tmp/kivprinter.sock.  The backend looks up its
 * queue in a private CUPS scheduler; one page per job, as the backend keeps
 * one raster per job.
 */
#include <signal.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "cupsd_fixture.h"
#include "stream_writer.h"
#include "host_support.h"
#include "receiver_test.h"

namespace {

class HostRoundTrip : public FixedPathReceiverTest
{
protected:
  static CupsdFixture *cupsd;
  unsigned jobs = 0;

  HostRoundTrip()
      : FixedPathReceiverTest("host-trip", 20) {}

  static void SetUpTestSuite()
  {
    cupsd = cupsdShared();
    if (cupsd)
      cupsdAddQueue(cupsd, "Office", "Office Laser");
  }

  void SetUp() override
  {
    ASSERT_NE(cupsd, nullptr) << cupsdLastError();
    FixedPathReceiverTest::SetUp();
  }

  /* Prints image with the settings through the backend and returns the
     page the receiver saved; progress receives the receiver's page line. */
  PageImage roundTrip(const PageImage &image, StreamSettings settings, std::string *progress)
  {
    PageImage back;
    std::string stream;
    settings.hasPrinterName = true;
    settings.printerName = "Trip" + std::to_string(jobs + 1);
    EXPECT_EQ(build_print_stream(&stream, settings, {image}), 1);
    std::string file = dir + "/job.stream";
    EXPECT_TRUE(writeFileBytes(file, stream));

    ChildOptions o;
    o.argv = {std::string(CORVANE_BIN_DIR) + "/CorvaneBackend", std::to_string(jobs + 1), "user",
              "title", "1", "", file};
    o.env = cupsdEnvironment(cupsd, {"PRINTER=Office"});
    o.stdinIsDevNull = true;
    o.timeoutSeconds = 120;
    ChildResult result = runChild(o);
    jobs++;
    EXPECT_TRUE(result.exited);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_NE(result.err.find("DEBUG: \"CorvaneBackend finished with CUPS_BACKEND_OK\"\n"), std::string::npos);

    char name[64];
    snprintf(name, sizeof name, "%04u-%s", jobs, settings.printerName.c_str());
    std::string folder = dir + "/received/" + name;
    std::string done = "job " + std::to_string(jobs) + ": complete, 1 page in " + folder;
    EXPECT_TRUE(receiverWaitFor(&r, false, done, 60)) << receiverOut(&r) << receiverErr(&r);
    std::string out = receiverOut(&r);
    std::string prefix = "job " + std::to_string(jobs) + " page 1: ";
    size_t at = out.find(prefix);
    *progress = at == std::string::npos ? "" : out.substr(at, out.find('\n', at) - at);
    EXPECT_TRUE(readPng(folder + "/page-001.png", &back)) << out;
    return back;
  }
};

CupsdFixture *HostRoundTrip::cupsd = nullptr;

} // namespace

TEST_F(HostRoundTrip, ColourAtSeventyFiveDpiWithLineLengthsThatAreNotMultiplesOfFour)
{
  for (uint32_t w : {1u, 5u, 7u, 10u, 333u})
  {
    SCOPED_TRACE("width " + std::to_string(w));
    PageImage image = patternImage(w, 13, 3, w, 75);
    StreamSettings s;
    s.xdpi = s.ydpi = 75;
    std::string progress;
    PageImage back = roundTrip(image, s, &progress);
    EXPECT_EQ(imageDifference(back, image), "");
    EXPECT_EQ(back.channels, 3u);
    EXPECT_EQ(back.xdpi, 75u);
    EXPECT_EQ(back.ydpi, 75u);
    EXPECT_EQ(progress.substr(0, progress.find(" depth 3, 1 fragment, ")),
              "job " + std::to_string(jobs) + " page 1: " + std::to_string(w) + "x13")
      << progress;
  }
}

TEST_F(HostRoundTrip, GrayAtThreeHundredDpiWithLineLengthsThatAreNotMultiplesOfFour)
{
  for (uint32_t w : {3u, 9u, 15u, 21u, 33u})
  {
    SCOPED_TRACE("width " + std::to_string(w));
    PageImage image = patternImage(w, 9, 1, w, 300);
    StreamSettings s;
    s.xdpi = s.ydpi = 300;
    s.depth = 1;
    std::string progress;
    PageImage back = roundTrip(image, s, &progress);
    EXPECT_EQ(imageDifference(back, image), "");
    EXPECT_EQ(back.channels, 1u);
    EXPECT_EQ(back.xdpi, 300u);
    EXPECT_NE(progress.find(" depth 1, 1 fragment, "), std::string::npos) << progress;
    EXPECT_EQ(progress.find("cannot travel"), std::string::npos) << progress;
  }
}

TEST_F(HostRoundTrip, SeveralFragmentsPerPageAtBothDepths)
{
  /* Colour: 3003 bytes per row, 3004 per line, 665 lines per fragment:
     1400 lines are 3 fragments. */
  PageImage colour = patternImage(1001, 1400, 3, 7, 300);
  StreamSettings s;
  std::string progress;
  PageImage back = roundTrip(colour, s, &progress);
  EXPECT_EQ(imageDifference(back, colour), "");
  EXPECT_NE(progress.find("1001x1400 depth 3, 3 fragments, "), std::string::npos) << progress;
  EXPECT_NE(progress.find(" 4205600 raw bytes, "), std::string::npos) << progress;

  /* Gray: 2001 bytes per row, 2004 per line, 998 lines per fragment. */
  PageImage gray = patternImage(2001, 2100, 1, 8, 75);
  s.depth = 1;
  s.xdpi = s.ydpi = 75;
  back = roundTrip(gray, s, &progress);
  EXPECT_EQ(imageDifference(back, gray), "");
  EXPECT_EQ(back.xdpi, 75u);
  EXPECT_NE(progress.find("2001x2100 depth 1, 3 fragments, "), std::string::npos) << progress;
}

TEST_F(HostRoundTrip, GrayLineLengthsThatAreNotMultiplesOfThreeLoseOneColumn)
{
  /* The padding carries nothing, and at these widths the reversal moves one
     sample of every row into it: exact but for that column, shown white. */
  for (uint32_t w : {2u, 5u, 7u, 8u, 10u, 11u, 13u})
  {
    SCOPED_TRACE("width " + std::to_string(w));
    PageImage image = patternImage(w, 6, 1, 1, 75);
    StreamSettings s;
    s.depth = 1;
    s.xdpi = s.ydpi = 75;
    std::string progress;
    PageImage back = roundTrip(image, s, &progress);
    PageImage expected = image;
    for (uint32_t y = 0; y < 6; y++)
      expected.pixels[(size_t)y * w + grayLostColumn(w)] = 0xFF;
    EXPECT_EQ(imageDifference(back, expected), "");
    EXPECT_NE(progress.find(" (1 sample of every row cannot travel at this width; shown white)"),
              std::string::npos)
      << progress;
  }
}

TEST_F(HostRoundTrip, PageSettingsAreDecodedIntoJobJson)
{
  PageImage image = patternImage(30, 20, 3, 3, 150);
  StreamSettings s;
  s.xdpi = s.ydpi = 150;
  s.paper = "Letter";
  s.duplex = 1;
  s.tumble = 0;
  s.orientation = 1;
  s.collate = 1;
  s.depth = 1;
  std::string progress;
  roundTrip(image, s, &progress);
  std::string json = readFileText(dir + "/received/0001-Trip1/job.json");
  /* 30 x 20 pixels at 150 dpi: a page box of 14 x 10 points. */
  EXPECT_NE(json.find("\"fields\":\"0x00001F1F\",\"orientation\":{\"code\":2,\"name\":\"landscape\"},"
                      "\"paper\":{\"code\":1,\"name\":\"Letter\"},\"paperWidthMm\":4.9,\"paperLengthMm\":3.5,"
                      "\"scale\":100,\"copies\":1,\"defaultSource\":7,\"printQuality\":150,"
                      "\"color\":{\"code\":1,\"name\":\"monochrome\"},\"duplex\":{\"code\":3,"
                      "\"name\":\"horizontal\"},\"collate\":1}"),
            std::string::npos)
    << json;
  EXPECT_NE(json.find("\"printer\":\"Trip1\""), std::string::npos);
  EXPECT_NE(json.find("\"status\":\"complete\""), std::string::npos);
}
