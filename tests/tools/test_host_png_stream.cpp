/*
 * test_host_png_stream.cpp - PNG files of the host tools, the print stream
 * writer, the test page and the kivprinter-mkstream program.
 */
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "png_io.h"
#include "stream_writer.h"
#include "host_support.h"
#include "test_page.h"

namespace {

struct TempDir
{
  std::string path = makeTempDir("host-png");
  ~TempDir() { removeTempDir(path); }
};

/* The pHYs chunk's body of a PNG file (9 bytes), or "" when it has none. */
std::string physChunk(const std::string &png)
{
  size_t pos = 8;
  while (pos + 12 <= png.size())
  {
    uint32_t len = ((uint32_t)(unsigned char)png[pos] << 24) | ((uint32_t)(unsigned char)png[pos + 1] << 16) |
                   ((uint32_t)(unsigned char)png[pos + 2] << 8) | (uint32_t)(unsigned char)png[pos + 3];
    std::string type = png.substr(pos + 4, 4);
    if (type == "pHYs")
      return png.substr(pos + 8, len);
    pos += 12 + len;
  }
  return std::string();
}

/* Byte 24 and 25 of a PNG: bit depth and colour type of IHDR. */
int colourType(const std::string &png)
{
  return png.size() > 25 ? (unsigned char)png[25] : -1;
}

std::string mkstream()
{
  return std::string(CORVANE_BIN_DIR) + "/kivprinter-mkstream";
}

ChildResult runMkstream(const std::vector<std::string> &args)
{
  ChildOptions o;
  o.argv = {mkstream()};
  o.argv.insert(o.argv.end(), args.begin(), args.end());
  o.env = environmentWithout({});
  o.stdinIsDevNull = true;
  return runChild(o);
}

} // namespace

TEST(HostPng, RgbAndGrayRoundTripWithResolution)
{
  TempDir t;
  for (uint32_t channels : {3u, 1u})
  {
    PageImage image = patternImage(37, 23, channels, 4, 75);
    std::string path = t.path + "/p.png";
    ASSERT_EQ(png_write_file(path.c_str(), &image), 1);
    std::string file = readFileText(path);
    EXPECT_EQ(file.substr(1, 3), "PNG");
    EXPECT_EQ((unsigned char)file[24], 8u);             /* 8 bits per sample */
    EXPECT_EQ(colourType(file), channels == 3 ? 2 : 0); /* RGB or gray */
    /* 75 dpi = 2953 pixels per metre (0x00000B89), unit 1 (metre). */
    EXPECT_EQ(physChunk(file), std::string("\x00\x00\x0B\x89\x00\x00\x0B\x89\x01", 9));
    PageImage back;
    ASSERT_EQ(png_read_file(path.c_str(), &back, 0), 1);
    EXPECT_EQ(imageDifference(back, image), "");
    EXPECT_EQ(back.xdpi, 75u);
    EXPECT_EQ(back.ydpi, 75u);
  }
}

TEST(HostPng, ResolutionsAndNoResolution)
{
  TempDir t;
  PageImage image = patternImage(3, 2, 3, 1, 300);
  image.ydpi = 600;
  std::string path = t.path + "/p.png";
  ASSERT_EQ(png_write_file(path.c_str(), &image), 1);
  /* 300 dpi = 11811 (0x2E23), 600 dpi = 23622 (0x5C46). */
  EXPECT_EQ(physChunk(readFileText(path)), std::string("\x00\x00\x2E\x23\x00\x00\x5C\x46\x01", 9));
  image.xdpi = image.ydpi = 0;
  ASSERT_EQ(png_write_file(path.c_str(), &image), 1);
  EXPECT_EQ(physChunk(readFileText(path)), "");
}

TEST(HostPng, ConversionsAndReadingAsOtherChannels)
{
  EXPECT_EQ(gray_of_rgb(0, 0, 0), 0);
  EXPECT_EQ(gray_of_rgb(255, 255, 255), 255);
  EXPECT_EQ(gray_of_rgb(77, 77, 77), 77);
  EXPECT_EQ(gray_of_rgb(255, 0, 0), 76);  /* 299 * 255 / 1000 = 76.2 */
  EXPECT_EQ(gray_of_rgb(0, 255, 0), 150); /* 149.7 */
  EXPECT_EQ(gray_of_rgb(0, 0, 255), 29);  /* 29.1 */

  TempDir t;
  PageImage rgb;
  image_init(&rgb, 2, 1, 3);
  rgb.pixels = {255, 0, 0, 10, 20, 30};
  std::string path = t.path + "/c.png";
  ASSERT_EQ(png_write_file(path.c_str(), &rgb), 1);
  PageImage gray;
  ASSERT_EQ(png_read_file(path.c_str(), &gray, 1), 1);
  EXPECT_EQ(gray.channels, 1u);
  EXPECT_EQ(gray.pixels, (std::vector<uint8_t>{76, 18}));
  PageImage again;
  ASSERT_EQ(png_write_file(path.c_str(), &gray), 1);
  ASSERT_EQ(png_read_file(path.c_str(), &again, 3), 1);
  EXPECT_EQ(again.pixels, (std::vector<uint8_t>{76, 76, 76, 18, 18, 18}));
}

TEST(HostPng, UnreadableFilesAreReported)
{
  TempDir t;
  PageImage image;
  EXPECT_EQ(png_read_file((t.path + "/missing.png").c_str(), &image, 0), 0);
  writeFileBytes(t.path + "/bad.png", "not a png at all");
  EXPECT_EQ(png_read_file((t.path + "/bad.png").c_str(), &image, 0), 0);
  EXPECT_EQ(png_write_file((t.path + "/no/such/dir.png").c_str(), &image), 0);
}

TEST(HostStream, ExactBytesOfATinyColourStream)
{
  PageImage image;
  image_init(&image, 2, 2, 3);
  image.pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  StreamSettings s;
  s.xdpi = s.ydpi = 72;
  std::string out;
  ASSERT_EQ(build_print_stream(&out, s, {image}), 1);
  std::string expected =
    "PRINTERMODEL\n"
    "DOCUMENT Test page\n"
    "COLORDEVICE 1\n"
    "PAGENAME A4\n"
    "PAGE 0 0 2 2 0 0 0 72 72 0\n"
    "RASTER 2 2 3\n"
    "LINE 6\n" +
    std::string("\x01\x02\x03\x04\x05\x06", 6) +
    "LINE 6\n" + std::string("\x07\x08\x09\x0A\x0B\x0C", 6) +
    "ENDPAGE\n"
    "ENDDOCUMENT\n";
  EXPECT_EQ(out, expected);
}

TEST(HostStream, GrayDuplexLandscapeAndNames)
{
  PageImage image;
  image_init(&image, 3, 1, 3);
  image.pixels = {255, 0, 0, 0, 255, 0, 0, 0, 255};
  image.xdpi = image.ydpi = 300;
  StreamSettings s;
  s.hasPrinterName = true;
  s.printerName = "Office #2";
  s.title = "a#b#c";
  s.paper = "Letter";
  s.xdpi = 300;
  s.ydpi = 600;
  s.depth = 1;
  s.duplex = 1;
  s.tumble = 1;
  s.collate = 1;
  s.orientation = 1;
  std::string out;
  ASSERT_EQ(build_print_stream(&out, s, {image}), 1);
  /* Height: 1 pixel at 600 dpi is 0.12 points, written as at least 1.
     Only the first '#' of a line needs its backslash. */
  std::string expected = "PRINTERMODEL Office \\#2\nDOCUMENT a\\#b#c\nCOLORDEVICE 0\nPAGENAME Letter\n"
                         "PAGE 0 0 1 1 1 1 1 300 600 1\nRASTER 3 1 1\nLINE 3\n" +
                         std::string("\x4C\x96\x1D", 3) + "ENDPAGE\nENDDOCUMENT\n";
  EXPECT_EQ(out, expected);
}

TEST(HostStream, RefusesWhatCannotBeWritten)
{
  PageImage image = patternImage(2, 2, 3, 1, 75);
  StreamSettings s;
  std::string out;
  s.hasPrinterName = true;
  s.printerName = "two\nlines";
  EXPECT_EQ(build_print_stream(&out, s, {image}), 0);
  s.printerName = std::string(1011, 'n'); /* "PRINTERMODEL " + 1011 = 1024 */
  EXPECT_EQ(build_print_stream(&out, s, {image}), 0);
  s.printerName = std::string(1010, 'n');
  EXPECT_EQ(build_print_stream(&out, s, {image}), 1);
  s.printerName = "P";
  s.paper = std::string(41, 'A');
  EXPECT_EQ(build_print_stream(&out, s, {image}), 0);
  s.paper = "A4";
  s.xdpi = 0;
  EXPECT_EQ(build_print_stream(&out, s, {image}), 0);
  s.xdpi = 300;
  EXPECT_EQ(build_print_stream(&out, s, {}), 0);
}

TEST(HostTestPage, SizesAndDeterminism)
{
  const PaperSize *a4 = paper_size_by_name("A4");
  ASSERT_NE(a4, nullptr);
  EXPECT_EQ(points_to_pixels(a4->widthPt, 75), 620u);
  EXPECT_EQ(points_to_pixels(a4->heightPt, 75), 877u);
  EXPECT_EQ(points_to_pixels(a4->widthPt, 300), 2479u); /* 2479.17 */
  EXPECT_EQ(pixels_to_points(620, 75), 595u);
  EXPECT_EQ(paper_size_by_name("a4"), nullptr);

  PageImage a, b, g;
  ASSERT_EQ(draw_test_page(&a, 620, 877, 3), 1);
  ASSERT_EQ(draw_test_page(&b, 620, 877, 3), 1);
  EXPECT_EQ(imageDifference(a, b), "");
  /* Corner marks: black, red, blue, green. */
  auto px = [&](uint32_t x, uint32_t y) {
    const uint8_t *p = a.pixels.data() + ((size_t)y * a.width + x) * 3;
    return (p[0] << 16) | (p[1] << 8) | p[2];
  };
  EXPECT_EQ(px(0, 0), 0x000000);
  EXPECT_EQ(px(619, 0), 0xDC1E1E);
  EXPECT_EQ(px(0, 876), 0x1E3CD2);
  EXPECT_EQ(px(619, 876), 0x1EAA3C);
  /* The page is not mostly white: it has content. */
  size_t white = 0;
  for (size_t i = 0; i < a.pixels.size(); i += 3)
    white += a.pixels[i] == 255 && a.pixels[i + 1] == 255 && a.pixels[i + 2] == 255;
  EXPECT_LT(white, a.pixels.size() / 3 * 3 / 4);
  EXPECT_GT(white, a.pixels.size() / 3 / 10);
  /* Gray is the luminance of the colour page. */
  ASSERT_EQ(draw_test_page(&g, 620, 877, 1), 1);
  image_convert(&a, 1);
  EXPECT_EQ(imageDifference(g, a), "");
  /* Tiny and odd sizes draw without trouble. */
  for (uint32_t w : {1u, 2u, 5u, 33u})
    EXPECT_EQ(draw_test_page(&g, w, w + 3, 3), 1);
}

TEST(HostMkstream, TestPageStreamByDefault)
{
  TempDir t;
  std::string path = t.path + "/s.stream";
  ChildResult r = runMkstream({"--resolution", "75", "-o", path});
  ASSERT_TRUE(r.exited);
  EXPECT_EQ(r.exitStatus, 0) << r.err;
  std::string s = readFileText(path);
  std::string head = "PRINTERMODEL\nDOCUMENT Test page\nCOLORDEVICE 1\nPAGENAME A4\n"
                     "PAGE 0 0 595 842 0 0 0 75 75 0\nRASTER 620 877 3\nLINE 1860\n";
  EXPECT_EQ(s.substr(0, head.size()), head);
  EXPECT_EQ(s.size(), head.size() - 10 + 877 * (10 + 1860) + strlen("ENDPAGE\nENDDOCUMENT\n"));
  EXPECT_EQ(s.substr(s.size() - 20), "ENDPAGE\nENDDOCUMENT\n");

  /* Its rows are the drawn test page. */
  PageImage page;
  ASSERT_EQ(draw_test_page(&page, 620, 877, 3), 1);
  EXPECT_EQ(s.compare(head.size(), 1860, (const char *)page.pixels.data(), 1860), 0);
}

TEST(HostMkstream, OptionsReachTheCommands)
{
  TempDir t;
  std::string path = t.path + "/s.stream";
  ChildResult r = runMkstream({"--gray", "--paper", "Letter", "-r", "100x50", "--duplex", "short",
                               "--landscape", "--collate", "--printer", "Front Desk", "--title",
                               "Quarterly", "-o", path});
  ASSERT_EQ(r.exitStatus, 0) << r.err;
  std::string s = readFileText(path);
  /* Letter landscape: 792 x 612 points, 1100 x 425 pixels. */
  std::string head = "PRINTERMODEL Front Desk\nDOCUMENT Quarterly\nCOLORDEVICE 0\nPAGENAME Letter\n"
                     "PAGE 0 0 792 612 1 1 1 100 50 1\nRASTER 1100 425 1\nLINE 1100\n";
  EXPECT_EQ(s.substr(0, head.size()), head);

  r = runMkstream({"--size", "10x4", "--duplex", "long", "-o", path});
  ASSERT_EQ(r.exitStatus, 0) << r.err;
  s = readFileText(path);
  EXPECT_NE(s.find("PAGE 0 0 2 1 0 1 0 300 300 0\nRASTER 10 4 3\nLINE 30\n"), std::string::npos);
}

TEST(HostMkstream, ImagesBecomePagesAndStdoutIsTheDefault)
{
  TempDir t;
  PageImage a = patternImage(5, 3, 3, 1, 150);
  PageImage b = patternImage(4, 2, 1, 2, 150);
  ASSERT_EQ(png_write_file((t.path + "/a.png").c_str(), &a), 1);
  ASSERT_EQ(png_write_file((t.path + "/b.png").c_str(), &b), 1);
  ChildResult r = runMkstream({"-r", "150", t.path + "/a.png", t.path + "/b.png"});
  ASSERT_EQ(r.exitStatus, 0) << r.err;
  std::string expected = "PRINTERMODEL\nDOCUMENT a.png\nCOLORDEVICE 1\nPAGENAME A4\n"
                         "PAGE 0 0 2 1 0 0 0 150 150 0\nRASTER 5 3 3\n";
  for (int y = 0; y < 3; y++)
    expected += "LINE 15\n" + std::string((const char *)a.pixels.data() + y * 15, 15);
  expected += "ENDPAGE\nPAGENAME A4\nPAGE 0 0 2 1 0 0 0 150 150 0\nRASTER 4 2 3\n";
  for (int y = 0; y < 2; y++)
  {
    expected += "LINE 12\n";
    for (int x = 0; x < 4; x++)
      expected += std::string(3, (char)b.pixels[y * 4 + x]);
  }
  expected += "ENDPAGE\nENDDOCUMENT\n";
  EXPECT_EQ(r.out, expected);
}

TEST(HostMkstream, BadArguments)
{
  for (std::vector<std::string> args : std::vector<std::vector<std::string>>{
         {"--resolution", "0"}, {"--resolution", "x"}, {"--duplex", "both"}, {"--size", "10"}, {"--bogus"}, {"--paper", "Custom"}})
  {
    ChildResult r = runMkstream(args);
    EXPECT_EQ(r.exitStatus, 2) << args[0];
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err, "");
  }
  ChildResult r = runMkstream({"/no/such/image.png"});
  EXPECT_EQ(r.exitStatus, 1);
  EXPECT_EQ(r.err, "PNG /no/such/image.png: cannot open: No such file or directory\n");
}
