/*
 * test_host_rebuild.cpp - page rebuild from bitmap lines: the line layout,
 * depth inference, the lossy widths, and the checks of fragment lengths.
 */
#include <string.h>

#include <string>

#include <gtest/gtest.h>

#include "page_rebuild.h"
#include "host_support.h"

/* Feeds the wire lines of image to a page in fragments of `per` lines (0:
   all at once) and rebuilds it. */
static bool rebuild(const PageImage &image, unsigned per, int colorHint, PageResult *result,
                    std::string *error, uint32_t headerHeight = 0)
{
  rc_bitmap_hdr_fields header = {image.width, headerHeight ? headerHeight : image.height, 1,
                                 image.xdpi, image.ydpi};
  PageAssembly page;
  if (!page_begin(&page, header, colorHint, error))
    return false;
  std::string lines = wireLines(image);
  size_t padded = (size_t)page_line_bytes(image.width, image.channels);
  size_t step = per ? per * padded : lines.size();
  std::string payload = namePayload("P1");
  for (size_t start = 0; start < lines.size(); start += step)
  {
    std::string chunk = lines.substr(start, step);
    std::string compressed;
    rc_record rec = fragmentRecord(payload, chunk, &compressed);
    if (!page_check_fragment(&page, rec.fragment.uncompressedLength, error) ||
        !page_add_fragment(&page, rec, error))
      return false;
  }
  return page_finish(&page, result, error) == 1;
}

TEST(HostRebuild, LineBytesArePaddedToFour)
{
  EXPECT_EQ(page_line_bytes(1, 1), 4u);
  EXPECT_EQ(page_line_bytes(4, 1), 4u);
  EXPECT_EQ(page_line_bytes(5, 1), 8u);
  EXPECT_EQ(page_line_bytes(2550, 3), 7652u);
  EXPECT_EQ(page_line_bytes(2549, 3), 7648u);
}

TEST(HostRebuild, LostSamplesOnlyAtDepthOneForWidthsThatAreNotMultiplesOfThree)
{
  for (uint32_t w = 1; w <= 48; w++)
  {
    EXPECT_EQ(page_lost_samples(w, 3), 0u) << "width " << w;
    EXPECT_EQ(page_lost_samples(w, 1), w % 3 ? 1u : 0u) << "width " << w;
  }
}

TEST(HostRebuild, ColourPagesOfEveryWidthComeBackExact)
{
  for (uint32_t w = 1; w <= 14; w++)
  {
    PageImage image = patternImage(w, 9, 3, w, 75);
    PageResult result;
    std::string error;
    ASSERT_TRUE(rebuild(image, 0, 2, &result, &error)) << "width " << w << ": " << error;
    EXPECT_EQ(result.depth, 3u);
    EXPECT_EQ(result.linesReceived, 9u);
    EXPECT_EQ(imageDifference(result.image, image), "") << "width " << w;
    EXPECT_EQ(result.image.xdpi, 75u);
  }
}

TEST(HostRebuild, GrayPagesComeBackExactWhereTheLayoutKeepsEverySample)
{
  /* Multiples of 3; 3, 9, 15 and 21 give lines that need padding. */
  for (uint32_t w = 3; w <= 27; w += 3)
  {
    PageImage image = patternImage(w, 11, 1, w, 300);
    PageResult result;
    std::string error;
    /* The colour hint says colour: only the geometry decides here. */
    ASSERT_TRUE(rebuild(image, 0, 2, &result, &error)) << "width " << w << ": " << error;
    EXPECT_EQ(result.depth, 1u) << "width " << w;
    EXPECT_FALSE(result.depthAmbiguous);
    EXPECT_EQ(result.lostSamplesPerRow, 0u);
    EXPECT_EQ(imageDifference(result.image, image), "") << "width " << w;
  }
}

TEST(HostRebuild, OtherGrayWidthsShowTheLostColumnWhite)
{
  for (uint32_t w : {2u, 4u, 5u, 7u, 8u, 10u, 11u, 13u, 14u, 16u})
  {
    uint32_t lost = grayLostColumn(w);
    EXPECT_EQ(lost, w % 3 == 1 ? w - 1 : w - 2);
    PageImage image = patternImage(w, 6, 1, 3, 75);
    for (uint32_t y = 0; y < 6; y++)
      image.pixels[(size_t)y * w + lost] = 0x11; /* never white */
    PageResult result;
    std::string error;
    ASSERT_TRUE(rebuild(image, 0, 1, &result, &error)) << error;
    EXPECT_EQ(result.depth, 1u);
    EXPECT_EQ(result.lostSamplesPerRow, 1u);
    PageImage expected = image;
    for (uint32_t y = 0; y < 6; y++)
      expected.pixels[(size_t)y * w + lost] = 0xFF;
    EXPECT_EQ(imageDifference(result.image, expected), "") << "width " << w;
  }
}

TEST(HostRebuild, SeveralFragmentsMakeOnePage)
{
  PageImage image = patternImage(13, 40, 3, 5, 300);
  for (unsigned per : {1u, 3u, 7u, 39u})
  {
    PageResult result;
    std::string error;
    ASSERT_TRUE(rebuild(image, per, 2, &result, &error)) << error;
    EXPECT_EQ(imageDifference(result.image, image), "") << per << " lines per fragment";
  }
}

TEST(HostRebuild, WidthOneIsAmbiguousAndTheColourSettingDecides)
{
  /* A gray page one sample wide: its only sample travels in the padding,
     so the page arrives white. */
  PageImage gray = patternImage(1, 5, 1, 1, 75);
  PageResult result;
  std::string error;
  ASSERT_TRUE(rebuild(gray, 0, 1, &result, &error)) << error;
  EXPECT_TRUE(result.depthAmbiguous);
  EXPECT_EQ(result.depth, 1u);
  EXPECT_EQ(result.lostSamplesPerRow, 1u);
  PageImage white;
  image_init(&white, 1, 5, 1);
  EXPECT_EQ(imageDifference(result.image, white), "");

  PageImage colour = patternImage(1, 5, 3, 1, 75);
  ASSERT_TRUE(rebuild(colour, 0, 2, &result, &error)) << error;
  EXPECT_TRUE(result.depthAmbiguous);
  EXPECT_EQ(result.depth, 3u);
  EXPECT_EQ(imageDifference(result.image, colour), "");
}

TEST(HostRebuild, TheDepthWhoseLinesFillTheHeightWins)
{
  /* Width 6, height 3: 24 bytes are one colour line or three gray lines. */
  PageImage gray = patternImage(6, 3, 1, 2, 75);
  PageResult result;
  std::string error;
  ASSERT_TRUE(rebuild(gray, 0, 2, &result, &error)) << error;
  EXPECT_EQ(result.depth, 1u);
  EXPECT_FALSE(result.depthAmbiguous);
  EXPECT_EQ(result.linesReceived, 3u);
  EXPECT_EQ(imageDifference(result.image, gray), "");
}

TEST(HostRebuild, RowsThatWereNotSentStayWhite)
{
  /* Width 7: 24 bytes per colour line; the 96 bytes would be 12 gray lines,
     more than the height of 10, so the depth is clear. */
  PageImage image = patternImage(7, 4, 3, 9, 75);
  PageResult result;
  std::string error;
  ASSERT_TRUE(rebuild(image, 0, 2, &result, &error, 10)) << error;
  EXPECT_EQ(result.depth, 3u);
  EXPECT_FALSE(result.depthAmbiguous);
  EXPECT_EQ(result.linesReceived, 4u);
  ASSERT_EQ(result.image.height, 10u);
  PageImage expected;
  image_init(&expected, 7, 10, 3);
  memcpy(expected.pixels.data(), image.pixels.data(), image.pixels.size());
  EXPECT_EQ(imageDifference(result.image, expected), "");
}

TEST(HostRebuild, HeaderChecks)
{
  PageAssembly page;
  std::string error;
  EXPECT_FALSE(page_begin(&page, rc_bitmap_hdr_fields{0, 10, 1, 75, 75}, 2, &error));
  EXPECT_EQ(error, "bitmap of 0x10 pixels: the width is 0");
  EXPECT_FALSE(page_begin(&page, rc_bitmap_hdr_fields{10, 0, 1, 75, 75}, 2, &error));
  EXPECT_EQ(error, "bitmap of 10x0 pixels: the height is 0");
  EXPECT_FALSE(page_begin(&page, rc_bitmap_hdr_fields{20000, 20000, 1, 75, 75}, 2, &error));
  EXPECT_EQ(error, "bitmap of 20000x20000 pixels is larger than this receiver rebuilds (1073741824 bytes at most)");
  EXPECT_TRUE(page_begin(&page, rc_bitmap_hdr_fields{10, 10, 1, 0, 0}, 2, &error));
}

TEST(HostRebuild, FragmentLengthChecks)
{
  PageAssembly page;
  std::string error;
  /* Width 10: 32 bytes per line at depth 3, 12 at depth 1. */
  ASSERT_TRUE(page_begin(&page, rc_bitmap_hdr_fields{10, 4, 1, 75, 75}, 2, &error));
  EXPECT_FALSE(page_check_fragment(&page, 20, &error));
  EXPECT_EQ(error, "fragment of 20 bytes is not a whole number of lines of 10 pixels "
                   "(32 bytes at depth 3, 12 bytes at depth 1)");

  /* 96 bytes: three colour lines or eight gray ones (more than 4). */
  ASSERT_TRUE(page_begin(&page, rc_bitmap_hdr_fields{10, 4, 1, 75, 75}, 2, &error));
  EXPECT_TRUE(page_check_fragment(&page, 96, &error));
  EXPECT_FALSE(page.fits[0]);
  EXPECT_TRUE(page.fits[1]);
  EXPECT_FALSE(page_check_fragment(&page, 12, &error));
  EXPECT_EQ(error, "fragment of 12 bytes is not a whole number of lines of 10 pixels "
                   "(32 bytes at depth 3; earlier fragments ruled out depth 1)");
  ASSERT_TRUE(page_begin(&page, rc_bitmap_hdr_fields{10, 4, 1, 75, 75}, 2, &error));
  EXPECT_TRUE(page_check_fragment(&page, 96, &error));
  EXPECT_FALSE(page_check_fragment(&page, 64, &error));
  EXPECT_EQ(error, "fragments carry 5 lines at depth 3, more than the bitmap's height of 4");
}

TEST(HostRebuild, DecompressionMustGiveTheStatedLength)
{
  PageAssembly page;
  std::string error;
  ASSERT_TRUE(page_begin(&page, rc_bitmap_hdr_fields{4, 4, 1, 75, 75}, 2, &error));
  std::string payload = namePayload("P1");
  std::string compressed;
  rc_record rec = fragmentRecord(payload, std::string(24, 'x'), &compressed);
  rec.fragment.uncompressedLength = 12;
  ASSERT_TRUE(page_check_fragment(&page, 12, &error));
  EXPECT_FALSE(page_add_fragment(&page, rec, &error));
  EXPECT_EQ(error, "fragment 0 decompresses to more than its stated 12 bytes");
}

TEST(HostRebuild, AFragmentClaimingMoreThanLzfCanExpandIsRefusedFirst)
{
  PageAssembly page;
  std::string error;
  /* 1000 x 1000 colour: 3000 bytes per line. */
  ASSERT_TRUE(page_begin(&page, rc_bitmap_hdr_fields{1000, 1000, 1, 75, 75}, 2, &error));
  std::string payload = namePayload("P1");
  std::string compressed;
  rc_record rec = fragmentRecord(payload, std::string(3000, 'x'), &compressed);
  ASSERT_LT(compressed.size(), 100u);
  rec.fragment.uncompressedLength = 3000 * 1000;
  ASSERT_TRUE(page_check_fragment(&page, rec.fragment.uncompressedLength, &error));
  EXPECT_FALSE(page_add_fragment(&page, rec, &error));
  EXPECT_EQ(error, "fragment 0 states 3000000 uncompressed bytes, more than its " +
                     std::to_string(compressed.size()) + " compressed bytes can hold");
  EXPECT_EQ(page.bitmap.size(), 0u);
}
