/*
 * test_jobs_typical.cpp - the typical job, end to end: an A4 colour page
 * of 2480 x 3508 pixels, 3508 LINE commands of 7440 bytes, from the
 * standard input to the host socket, every record and every log line.
 */
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "job_run.h"

/* Row r of the test page: a diagonal gradient with bands, so that rows
   differ and compress, and the three components differ from each other. */
static std::string typicalRow(unsigned r)
{
  std::string row(7440, '\0');
  for (unsigned x = 0; x < 2480; x++)
  {
    row[3 * x] = (char)((x + r) & 0xFF);                   /* first component */
    row[3 * x + 1] = (char)(((x / 40) % 2) ? 0x20 : 0xE0); /* second */
    row[3 * x + 2] = (char)((r / 16 + x / 300) & 0xFF);    /* third */
  }
  return row;
}

TEST(JobsTypical, A4ColourPageEndToEnd)
{
  std::vector<std::string> rows;
  std::string stream = "PRINTERMODEL Office\n"
                       "DOCUMENT report\n"
                       "COLORDEVICE 1\n"
                       "PAGENAME A4\n"
                       "PAGE 0 0 595 842 0 1 0 300 300 0\n"
                       "RASTER 2480 3508 3\n";
  stream.reserve(3508 * 7450 + 200);
  for (unsigned r = 0; r < 3508; r++)
  {
    rows.push_back(typicalRow(r));
    stream += "LINE 7440\n" + rows.back();
  }
  stream += "ENDPAGE\nENDDOCUMENT\n";

  JobRun run = runJob(stream);
  EXPECT_JOB_OK(run);

  /* The records, in order: document start, page start, bitmap header,
     14 fragments (13 of 268 lines and one of 24), bitmap end, page end,
     document end. */
  std::vector<WireRecord> recs = recordsOf(run.wire);
  ASSERT_EQ(recs.size(), 20u);
  const std::string payload = std::string("O\0f\0f\0i\0c\0e\0\0\0", 14);
  uint64_t offset = 0;
  for (size_t i = 0; i < recs.size(); i++)
  {
    EXPECT_EQ(recs[i].rec.nameLen, 14u) << i;
    EXPECT_EQ(recs[i].payload, payload) << i;
    EXPECT_EQ(recs[i].rec.offset, offset) << i;
    offset += recs[i].rec.totalLength;
  }
  EXPECT_EQ(offset, run.wire.size());

  EXPECT_EQ(recs[0].rec.id, RCPACKETID_PRN_DOC_START);
  EXPECT_EQ(recs[0].rec.totalLength, 26u);

  const rc_record &page = recs[1].rec;
  EXPECT_EQ(page.id, RCPACKETID_PRN_PAGE_START);
  EXPECT_EQ(page.totalLength, 58u);
  EXPECT_EQ(page.page.fields, 0x1F1Fu);
  EXPECT_EQ(page.page.orientation, 1);
  EXPECT_EQ(page.page.paperSize, 9);
  EXPECT_EQ(page.page.paperLength, 2970);
  EXPECT_EQ(page.page.paperWidth, 2099);
  EXPECT_EQ(page.page.scale, 100);
  EXPECT_EQ(page.page.copies, 1);
  EXPECT_EQ(page.page.defaultSource, 7);
  EXPECT_EQ(page.page.printQuality, 300);
  EXPECT_EQ(page.page.color, 2);
  EXPECT_EQ(page.page.duplex, 3);
  EXPECT_EQ(page.page.collate, 0);
  EXPECT_EQ(std::string((const char *)page.page.reserved, 6), std::string(6, '\0'));

  const rc_record &hdr = recs[2].rec;
  EXPECT_EQ(hdr.id, RCPACKETID_PRN_BITMAP_HDR);
  EXPECT_EQ(hdr.totalLength, 46u);
  EXPECT_EQ(hdr.bitmap.width, 2480u);
  EXPECT_EQ(hdr.bitmap.height, 3508u);
  EXPECT_EQ(hdr.bitmap.constant, 1u);
  EXPECT_EQ(hdr.bitmap.xResolution, 300u);
  EXPECT_EQ(hdr.bitmap.yResolution, 300u);

  std::vector<WireRecord> frags = jobFragments(recs, 3);
  ASSERT_EQ(frags.size(), 14u);
  for (size_t i = 0; i < 14; i++)
  {
    EXPECT_EQ(frags[i].rec.fragment.uncompressedLength, i < 13 ? 268u * 7440u : 24u * 7440u) << i;
    EXPECT_EQ(frags[i].rec.fragment.constant, 1u);
    EXPECT_EQ(frags[i].rec.totalLength, 20u + 14u + frags[i].rec.dataLength);
  }
  EXPECT_EQ(recs[17].rec.id, RCPACKETID_PRN_BITMAP_END);
  EXPECT_EQ(recs[17].rec.totalLength, 26u);
  EXPECT_EQ(recs[18].rec.id, RCPACKETID_PRN_PAGE_END);
  EXPECT_EQ(recs[18].rec.totalLength, 26u);
  EXPECT_EQ(recs[19].rec.id, RCPACKETID_PRN_DOC_END);
  EXPECT_EQ(recs[19].rec.totalLength, 26u);

  /* The bitmap, computed here from the rows sent: bottom row first, each
     pixel's three bytes in reverse order, no padding (7440 = 4 x 1860). */
  std::string expected;
  expected.reserve(3508u * 7440u);
  for (unsigned r = 3508; r-- > 0;)
  {
    const std::string &row = rows[r];
    for (unsigned x = 0; x < 2480; x++)
    {
      expected.push_back(row[3 * x + 2]);
      expected.push_back(row[3 * x + 1]);
      expected.push_back(row[3 * x]);
    }
  }
  std::string bitmap = wireBitmap(frags);
  ASSERT_EQ(bitmap.size(), expected.size());
  EXPECT_TRUE(bitmap == expected);

  /* The whole job log. */
  std::string log = jobStart() +
                    "DEBUG: CorvaneBackend - printer devicename: \"Office\"\n"
                    "DEBUG: \"CorvaneBackend - COLORDEVICE: True\"\n"
                    "DEBUG: \"CorvaneBackend - PAGENAME - A4\"\n"
                    "DEBUG: \"CorvaneBackend - PAGE 1 - value: 0 0 595 842 0 1 0 300 300 0\"\n"
                    "DEBUG: \"CorvaneBackend - PAGE 1 - Starting page - [0 0 595 842]\"\n"
                    "DEBUG: \"CorvaneBackend - PAGE - collate: 0 duplex: 1 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0\"\n"
                    "DEBUG: CorvaneBackend - PAGE - A4 9\n"
                    "DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"\n"
                    "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 26099520 depth: 3 res: 300\n"
                    "DEBUG: \"CorvaneBackend - ENDPAGE - raster_data OK\"\n"
                    "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"\n"
                    "DEBUG: CorvaneBackend - bitmap bytesPerLine: 7440 raster_w: 7440 nLines: 3508 alignPerLine: 0\n"
                    "DEBUG: \"CorvaneBackend - sendLines: 268 rwsize: 1993920\"\n";
  for (size_t i = 0; i < 14; i++)
  {
    log += "DEBUG: \"CorvaneBackend - lzf_compress: " + std::to_string(frags[i].rec.dataLength) +
           " sendLength: " + (i < 13 ? "1993920" : "178560") + "\"\n";
    log += "DEBUG: \"CorvaneBackend - " + std::to_string(i + 1) +
           "/3508 RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n";
  }
  log += "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_END sent\"\n"
         "DEBUG: \"CorvaneBackend - PAGE 1 sent\"\n"
         "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n" +
         finishedLine();
  std::vector<std::string> got = splitLines(run.log), want = splitLines(log);
  for (size_t i = 0; i < got.size() && i < want.size(); i++)
    ASSERT_EQ(got[i], want[i]) << "log line " << i;
  EXPECT_EQ(got.size(), want.size());
  EXPECT_EQ(run.child.out, "");
}
