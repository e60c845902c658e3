/*
 * test_filter_stream.cpp - rastertocorvane on good rasters: the stream it
 * writes for every supported colour space, raster version and size, the
 * paper names, and its log lines.
 */
#include <gtest/gtest.h>

#include <string.h>

#include "command_value.h"
#include "filter_support.h"
#include "paper_name.h"

namespace {

/* The stream of one page, LINE lines left out. */
std::vector<std::string> onePageCommands(const std::string &paper, unsigned pw, unsigned ph,
                                         unsigned w, unsigned h, unsigned depth, unsigned res)
{
  return {"PRINTERMODEL", "DOCUMENT report", depth == 3 ? "COLORDEVICE 1" : "COLORDEVICE 0",
          "PAGENAME " + paper,
          "PAGE 0 0 " + std::to_string(pw) + " " + std::to_string(ph) + " 0 0 0 " + std::to_string(res) + " " + std::to_string(res) + " 0",
          "RASTER " + std::to_string(w) + " " + std::to_string(h) + " " + std::to_string(depth),
          "ENDPAGE", "ENDDOCUMENT"};
}

struct SpaceCase
{
  cups_cspace_t cs;
  unsigned depth;
  bool inverted;
};

class FilterColourSpaces : public ::testing::TestWithParam<std::tuple<SpaceCase, cups_mode_t>>
{
};

TEST_P(FilterColourSpaces, RowsArriveAsSentWithTheRightDepth)
{
  SpaceCase c = std::get<0>(GetParam());
  cups_mode_t mode = std::get<1>(GetParam());
  TestPage page = patternPage(makeHeader(37, 11, c.cs), 3);
  FilterRun r = runFilter(rasterBytes({page}, mode));
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(0, r.status);
  ParsedStream s = parseStream(r.out);
  ASSERT_TRUE(s.ok);
  EXPECT_EQ(onePageCommands("A4", 37, 11, 37, 11, c.depth, 72), commandsWithoutLines(s));
  ASSERT_EQ(1u, s.rows.size());
  ASSERT_EQ(11u, s.rows[0].size());
  for (unsigned y = 0; y < 11; y++)
  {
    std::string want = page.rows[y];
    if (c.inverted)
      for (char &b : want)
        b = (char)(0xFF - (unsigned char)b);
    EXPECT_EQ(want, s.rows[0][y]) << "row " << y;
  }
  EXPECT_EQ(std::vector<std::string>{"PAGE: 1 1"}, linesStarting(r.errLines, "PAGE:"));
  EXPECT_TRUE(linesStarting(r.errLines, "ERROR:").empty());
  EXPECT_TRUE(linesStarting(r.errLines, "WARNING:").empty());
}

INSTANTIATE_TEST_SUITE_P(
  AllSpacesAndVersions, FilterColourSpaces,
  ::testing::Combine(::testing::Values(SpaceCase{CUPS_CSPACE_RGB, 3, false}, SpaceCase{CUPS_CSPACE_SRGB, 3, false},
                                       SpaceCase{CUPS_CSPACE_ADOBERGB, 3, false}, SpaceCase{CUPS_CSPACE_W, 1, false},
                                       SpaceCase{CUPS_CSPACE_SW, 1, false}, SpaceCase{CUPS_CSPACE_K, 1, true}),
                     ::testing::Values(CUPS_RASTER_WRITE, CUPS_RASTER_WRITE_COMPRESSED, CUPS_RASTER_WRITE_PWG)));

/* A version 1 raster is the uncompressed form with the older sync word
   and the first, shorter header. */
TEST(FilterVersions, VersionOneRasterIsRead)
{
  TestPage page = patternPage(makeHeader(9, 4, CUPS_CSPACE_SRGB), 1);
  std::string bytes = rasterBytes({page}, CUPS_RASTER_WRITE);
  ASSERT_EQ(std::string("3SaR"), bytes.substr(0, 4));
  bytes = "tSaR" + bytes.substr(4, sizeof(cups_page_header_t)) + bytes.substr(4 + sizeof(cups_page_header2_t));
  FilterRun r = runFilter(bytes);
  EXPECT_EQ(0, r.status);
  ParsedStream s = parseStream(r.out);
  ASSERT_EQ(1u, s.rows.size());
  EXPECT_EQ(page.rows, s.rows[0]);
}

TEST(FilterSizes, EverySizeAndResolutionKeepsItsGeometry)
{
  struct Size
  {
    const char *name;
    unsigned pw, ph, res;
  } sizes[] = {{"A4", 595, 842, 150}, {"Letter", 612, 792, 300}, {"A3", 842, 1191, 150}, {"EnvMonarch", 279, 540, 600}, {"Tabloid", 792, 1224, 150}};
  for (const Size &z : sizes)
  {
    unsigned w = z.pw * z.res / 72, h = z.ph * z.res / 72;
    cups_page_header2_t hd = makeHeader(w, h, CUPS_CSPACE_SW, z.pw, z.ph, z.res);
    strcpy(hd.cupsPageSizeName, z.name);
    TestPage page;
    page.header = hd;
    page.rows.assign(h, std::string(w, '\x80'));
    FilterRun r = runFilter(rasterBytes({page}, CUPS_RASTER_WRITE_COMPRESSED));
    EXPECT_EQ(0, r.status) << z.name;
    ParsedStream s = parseStream(r.out);
    EXPECT_EQ(onePageCommands(z.name, z.pw, z.ph, w, h, 1, z.res), commandsWithoutLines(s)) << z.name;
    ASSERT_EQ(1u, s.rows.size());
    EXPECT_EQ(h, s.rows[0].size());
    EXPECT_EQ(std::string(w, '\x80'), s.rows[0].back());
  }
}

TEST(FilterSettingsFromHeader, DuplexTumbleCollateOrientationAndResolution)
{
  cups_page_header2_t h = makeHeader(25, 50, CUPS_CSPACE_SRGB, 6, 6, 300);
  strcpy(h.cupsPageSizeName, "Letter");
  h.HWResolution[1] = 600;
  h.Duplex = CUPS_TRUE;
  h.Tumble = CUPS_TRUE;
  h.Collate = CUPS_TRUE;
  h.Orientation = CUPS_ORIENT_90;
  FilterRun r = runFilter(rasterBytes({patternPage(h, 0)}, CUPS_RASTER_WRITE));
  ParsedStream s = parseStream(r.out);
  std::vector<std::string> c = commandsWithoutLines(s);
  ASSERT_GE(c.size(), 6u);
  EXPECT_EQ("PAGENAME Letter", c[3]);
  EXPECT_EQ("PAGE 0 0 6 6 1 1 1 300 600 1", c[4]);
  EXPECT_EQ("RASTER 25 50 3", c[5]);
}

TEST(FilterPages, ThreePagesInOrderWithPageLinesAndNoWarningWhenPerPage)
{
  cups_page_header2_t h = makeHeader(20, 6, CUPS_CSPACE_SRGB);
  std::vector<TestPage> pages = {patternPage(h, 1), patternPage(h, 2), patternPage(h, 3)};
  FilterRun r = runFilter(rasterBytes(pages, CUPS_RASTER_WRITE_PWG),
                          {"DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-page"});
  EXPECT_EQ(0, r.status);
  ParsedStream s = parseStream(r.out);
  ASSERT_EQ(3u, s.rows.size());
  for (int p = 0; p < 3; p++)
    EXPECT_EQ(pages[p].rows, s.rows[p]) << "page " << p + 1;
  std::vector<std::string> c = commandsWithoutLines(s);
  EXPECT_EQ(3, std::count(c.begin(), c.end(), "ENDPAGE"));
  EXPECT_EQ("ENDDOCUMENT", c.back());
  EXPECT_EQ(1, std::count(c.begin(), c.end(), "COLORDEVICE 1"));
  EXPECT_EQ((std::vector<std::string>{"PAGE: 1 1", "PAGE: 2 1", "PAGE: 3 1"}), linesStarting(r.errLines, "PAGE:"));
  EXPECT_TRUE(linesStarting(r.errLines, "WARNING:").empty());
  EXPECT_EQ(std::vector<std::string>{"INFO: Sent 3 pages."}, linesStarting(r.errLines, "INFO: Sent"));
}

TEST(FilterPages, MultiPageJobWithoutPerPageUriWarnsOnce)
{
  const char *warning = "WARNING: This job has more than one page, but the printer's device URI does not ask for per-page rasters (?raster=per-page): every later page will print as a copy of the first.";
  cups_page_header2_t h = makeHeader(4, 2, CUPS_CSPACE_W);
  std::vector<TestPage> pages = {patternPage(h, 1), patternPage(h, 2), patternPage(h, 3)};
  for (const char *uri : {"DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer",
                          "DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?raster=per-pages",
                          "DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?x=raster=per-page"})
  {
    FilterRun r = runFilter(rasterBytes(pages, CUPS_RASTER_WRITE), {uri});
    EXPECT_EQ(0, r.status);
    EXPECT_EQ(std::vector<std::string>{warning}, linesStarting(r.errLines, "WARNING:")) << uri;
    EXPECT_EQ(3u, parseStream(r.out).rows.size());
  }
  FilterRun one = runFilter(rasterBytes({pages[0]}, CUPS_RASTER_WRITE), {});
  EXPECT_TRUE(linesStarting(one.errLines, "WARNING:").empty());
  FilterRun other = runFilter(rasterBytes(pages, CUPS_RASTER_WRITE), {"DEVICE_URI=CorvaneBackend://Corvane/Corvane_Generic_Printer?a=1&raster=per-page"});
  EXPECT_TRUE(linesStarting(other.errLines, "WARNING:").empty());
}

TEST(FilterPages, ColourChangeBetweenPagesIsAnnounced)
{
  std::vector<TestPage> pages = {patternPage(makeHeader(4, 2, CUPS_CSPACE_SRGB), 1), patternPage(makeHeader(4, 2, CUPS_CSPACE_SW), 2)};
  FilterRun r = runFilter(rasterBytes(pages, CUPS_RASTER_WRITE_PWG));
  std::vector<std::string> c = commandsWithoutLines(parseStream(r.out));
  EXPECT_EQ((std::vector<std::string>{"PRINTERMODEL", "DOCUMENT report", "COLORDEVICE 1", "PAGENAME A4", "PAGE 0 0 4 2 0 0 0 72 72 0", "RASTER 4 2 3", "ENDPAGE",
                                      "COLORDEVICE 0", "PAGENAME A4", "PAGE 0 0 4 2 0 0 0 72 72 0", "RASTER 4 2 1", "ENDPAGE", "ENDDOCUMENT"}),
            c);
}

TEST(FilterInput, StandardInputAndTitleEscaping)
{
  FilterRun r = runFilter(rasterBytes({patternPage(makeHeader(3, 1, CUPS_CSPACE_SRGB), 0)}, CUPS_RASTER_WRITE), {}, false, "Q3 #1 report\r\nPAGE 1");
  EXPECT_EQ(0, r.status);
  std::vector<std::string> c = commandsWithoutLines(parseStream(r.out));
  ASSERT_GE(c.size(), 2u);
  EXPECT_EQ("DOCUMENT Q3 \\#1 report__PAGE 1", c[1]);
}

TEST(FilterInput, ProgressLinesDuringAPage)
{
  FilterRun r = runFilter(rasterBytes({patternPage(makeHeader(3, 100, CUPS_CSPACE_SRGB), 0)}, CUPS_RASTER_WRITE));
  std::vector<std::string> attr = linesStarting(r.errLines, "ATTR: job-media-progress=");
  ASSERT_EQ(10u, attr.size());
  EXPECT_EQ("ATTR: job-media-progress=10", attr[0]);
  EXPECT_EQ("ATTR: job-media-progress=100", attr[9]);
  EXPECT_EQ(1u, linesStarting(r.errLines, "INFO: Printing page 1, 50% complete.").size());
  EXPECT_EQ(1u, linesStarting(r.errLines, "INFO: Printing page 1 (A4, 72x72 dpi, colour).").size());
}

/* A raster of only the imaging box (as imagetoraster sends for a small
   picture) is put at its place on a white page of the full size. */
TEST(FilterPlacement, RasterOfTheImagingBoxGoesOntoAWholePage)
{
  for (cups_cspace_t cs : {CUPS_CSPACE_SRGB, CUPS_CSPACE_K})
  {
    cups_page_header2_t h = makeHeader(20, 10, cs, 40, 30, 72);
    h.ImagingBoundingBox[0] = 10;
    h.ImagingBoundingBox[1] = 5;
    h.ImagingBoundingBox[2] = 30;
    h.ImagingBoundingBox[3] = 15;
    TestPage page = patternPage(h, 5);
    FilterRun r = runFilter(rasterBytes({page}, CUPS_RASTER_WRITE_COMPRESSED));
    EXPECT_EQ(0, r.status);
    ParsedStream s = parseStream(r.out);
    std::vector<std::string> c = commandsWithoutLines(s);
    unsigned depth = cs == CUPS_CSPACE_K ? 1 : 3;
    EXPECT_EQ(onePageCommands("A4", 40, 30, 40, 30, depth, 72), c);
    ASSERT_EQ(1u, s.rows.size());
    ASSERT_EQ(30u, s.rows[0].size());
    std::string white(40 * depth, '\xFF');
    for (unsigned y = 0; y < 30; y++)
    {
      std::string want = white;
      if (y >= 15 && y < 25)
      {
        std::string line = page.rows[y - 15];
        if (cs == CUPS_CSPACE_K)
          for (char &b : line)
            b = (char)(0xFF - (unsigned char)b);
        want.replace(10 * depth, 20 * depth, line);
      }
      EXPECT_EQ(want, s.rows[0][y]) << "row " << y;
    }
    EXPECT_EQ(1u, linesStarting(r.errLines, "DEBUG: Page 1: raster of 20x10 pixels placed at 10,15 on a white page of 40x30.").size());
  }
}

/* The paper name: the header's own name when the table has it, else the
   table's name for the size, else the size's own name. */
TEST(FilterPaperName, ChosenThroughTheTableAndPwgMedia)
{
  struct Case
  {
    const char *own;
    unsigned pw, ph;
    const char *want;
  } cases[] = {
    {"A4", 595, 842, "A4"},
    {"Letter", 595, 842, "Letter"},
    {"", 612, 792, "Letter"},
    {"iso_a4_210x297mm", 595, 842, "A4"},
    {"A4.Fullbleed", 595, 842, "A4"},
    {"", 297, 684, "Env10"},
    {"", 312, 624, "EnvDL"},
    {"Custom.100x200", 100, 200, "Custom.100x200"},
    {"", 1, 1, "0.35x0.35mm"}, /* libcups's own name for the size */
    {"", 0, 0, "Custom.0x0"},
    {"0123456789012345678901234567890123456789ABCDEF", 100, 200, "0123456789012345678901234567890123456789"},
  };
  for (const Case &c : cases)
  {
    cups_page_header2_t h = makeHeader(1, 1, CUPS_CSPACE_W);
    h.PageSize[0] = c.pw;
    h.PageSize[1] = c.ph;
    strcpy(h.cupsPageSizeName, c.own);
    char name[PAPER_NAME_MAX + 1];
    choosePaperName(&h, name);
    EXPECT_STREQ(c.want, name) << c.own << " " << c.pw << "x" << c.ph;
  }
}

TEST(FilterPaperName, EscapedSoTheLineReaderReadsItBack)
{
  char out[2 * PAPER_NAME_MAX + 2];
  escapeCommandValue("My#Paper#2", PAPER_NAME_MAX, out);
  EXPECT_STREQ("My\\#Paper#2", out);
  escapeCommandValue("A\\#", PAPER_NAME_MAX, out);
  EXPECT_STREQ("A\\\\#", out);
  escapeCommandValue(" Tab\tEnd ", PAPER_NAME_MAX, out);
  EXPECT_STREQ("_Tab_End_", out);
  escapeCommandValue("two words", PAPER_NAME_MAX, out);
  EXPECT_STREQ("two words", out);
  /* 39 ASCII bytes and a two-byte character: the character is not cut. */
  std::string longName = std::string(39, 'x') + "\xC3\xA9";
  escapeCommandValue(longName.c_str(), PAPER_NAME_MAX, out);
  EXPECT_EQ(std::string(39, 'x'), std::string(out));
}

TEST(FilterPaperName, HashInTheHeaderNameIsEscapedInTheStream)
{
  cups_page_header2_t h = makeHeader(2, 1, CUPS_CSPACE_W, 100, 200);
  strcpy(h.cupsPageSizeName, "Odd#Size");
  FilterRun r = runFilter(rasterBytes({patternPage(h, 0)}, CUPS_RASTER_WRITE));
  std::vector<std::string> c = commandsWithoutLines(parseStream(r.out));
  ASSERT_GE(c.size(), 4u);
  EXPECT_EQ("PAGENAME Odd\\#Size", c[3]);
}

} // namespace
