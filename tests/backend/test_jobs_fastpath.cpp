/*
 * test_jobs_fastpath.cpp - the fast paths of the job: the group reversal
 * many bytes at a time against the one group at a time rule, the reader's
 * read-ahead block against a plain model of the stream, the lazily cleared
 * raster and the row copy order against a model of the whole page path,
 * and the large-page allocation.
 */
#include <fcntl.h>
#include <stdint.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "bitmap_send.h"
#include "command_line.h"
#include "cups_file.h"
#include "large_alloc.h"
#include "loop_run.h"
#include "test_rng.h"

static std::string randomBytes(Rng *r, size_t n)
{
  std::string s(n, '\0');
  for (size_t i = 0; i < n; i++)
    s[i] = (char)(r->Next() >> 24);
  return s;
}

/* The rule, one group at a time. */
static void reverseSimple(unsigned char *dst, const unsigned char *src, size_t count)
{
  for (size_t g = 0; g + 3 <= count; g += 3)
  {
    dst[g] = src[g + 2];
    dst[g + 1] = src[g + 1];
    dst[g + 2] = src[g];
  }
}

/* ------------------------------------------------------------------------
 * Group reversal
 * ------------------------------------------------------------------------ */

typedef void (*ReverseFn)(unsigned char *, const unsigned char *, size_t);

/* Every length up to 300 and every alignment of source and destination
   within 16 bytes: the same bytes as the rule, nothing written before the
   destination or after its count, and a remainder of one or two bytes
   left alone. */
static void checkReverse(ReverseFn fn)
{
  Rng r(12345);
  std::vector<unsigned char> src(400), want(400), got(400);
  for (size_t count = 0; count <= 300; count++)
    for (size_t so = 0; so < 16; so++)
    {
      size_t dOff = (count * 7 + so * 5) % 16;
      for (auto &b : src)
        b = (unsigned char)(r.Next() >> 24);
      memset(&want[0], 0xA5, want.size());
      memset(&got[0], 0xA5, got.size());
      reverseSimple(&want[dOff], &src[so], count);
      fn(&got[dOff], &src[so], count);
      ASSERT_EQ(want, got) << "count " << count << " source offset " << so << " destination offset "
                           << dOff;
    }
}

TEST(JobsFastReverse, PortableMatchesTheRuleAtEveryLengthAndAlignment)
{
  checkReverse(bitmap_reverse_groups_portable);
}

TEST(JobsFastReverse, DispatchedMatchesTheRuleAtEveryLengthAndAlignment)
{
  checkReverse(bitmap_reverse_groups);
}

TEST(JobsFastReverse, LongRandomRunsAndKnownBytes)
{
  /* A run of groups whose bytes name their own positions. */
  unsigned char src[48], dst[48];
  for (int i = 0; i < 48; i++)
    src[i] = (unsigned char)i;
  bitmap_reverse_groups_portable(dst, src, 48);
  for (int g = 0; g < 48; g += 3)
  {
    EXPECT_EQ(dst[g], g + 2);
    EXPECT_EQ(dst[g + 1], g + 1);
    EXPECT_EQ(dst[g + 2], g);
  }
  /* Rows of real sizes at random offsets. */
  Rng r(99);
  for (size_t count : {7440u, 4959u, 14880u, 24u, 48u, 3u})
    for (int round = 0; round < 4; round++)
    {
      std::string s = randomBytes(&r, count + 32);
      size_t off = r.Below(16);
      std::vector<unsigned char> a(count + 16, 0), b(count + 16, 0), c(count + 16, 0);
      reverseSimple(&a[0], (const unsigned char *)s.data() + off, count);
      bitmap_reverse_groups(&b[0], (const unsigned char *)s.data() + off, count);
      bitmap_reverse_groups_portable(&c[0], (const unsigned char *)s.data() + off, count);
      EXPECT_EQ(a, b) << count;
      EXPECT_EQ(a, c) << count;
    }
}

TEST(JobsFastReverse, RowCopyWritesNothingPastTheAlignedLine)
{
  /* Depth 1, rows of 10 bytes, aligned lines of 12: the last group (9,
     10, 11) writes byte 9 only; 10 and 11 are padding, zero, and nothing
     is written past 12. */
  std::string raster = "0123456789abcdefghij";
  page_raster_s rows = rasterOver(raster, 10, 2, 1, 10);
  unsigned char dst[16];
  memset(dst, 0xEE, sizeof(dst));
  bitmap_copy_row(&rows, 0, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string("210543876b\0\0", 12));
  EXPECT_EQ(std::string((char *)dst + 12, 4), std::string(4, '\xEE'));

  /* bytesPerLine 8 in rows of 10: aligned 8, the last group (6, 7, 8)
     reads byte 8 but writes only 6 and 7. */
  rows.bytesPerLine = 8;
  memset(dst, 0xEE, sizeof(dst));
  bitmap_copy_row(&rows, 1, 8, dst);
  EXPECT_EQ(std::string((char *)dst, 8), "cbafedih");
  EXPECT_EQ(std::string((char *)dst + 8, 8), std::string(8, '\xEE'));

  /* The same past the end of the raster (row 1 of a 19-byte raster): the
     byte read beyond it is white. */
  rows.size = 19;
  rows.bytesPerLine = 10;
  memset(dst, 0xEE, sizeof(dst));
  bitmap_copy_row(&rows, 1, 12, dst);
  EXPECT_EQ(std::string((char *)dst, 12), std::string("cbafedihg\xFF\0\0", 12));
  EXPECT_EQ(std::string((char *)dst + 12, 4), std::string(4, '\xEE'));
}

/* ------------------------------------------------------------------------
 * The reader's read-ahead block
 * ------------------------------------------------------------------------ */

static void expectBookkeeping(const _cups_file_s *fp)
{
  if (fp->ptr)
  {
    EXPECT_GE(fp->ptr, fp->buf);
    EXPECT_LE(fp->ptr, fp->end);
    EXPECT_LE(fp->end, fp->buf + sizeof(fp->buf));
    EXPECT_EQ(fp->bufpos + (fp->ptr - fp->buf), fp->pos);
  }
  if (fp->ahead)
  {
    EXPECT_GE(fp->aheadPtr, fp->ahead);
    EXPECT_LE(fp->aheadPtr, fp->aheadEnd);
    EXPECT_LE(fp->aheadEnd, fp->ahead + CUPS_FILE_AHEAD_SIZE);
  }
}

TEST(JobsFastReader, LineFillsStopAtTheNewLineAndRowsComeFromTheBlock)
{
  std::string row(7440, '\0');
  for (size_t i = 0; i < row.size(); i++)
    row[i] = (char)(i * 7);
  std::string data = "LINE 7440\n" + row + "LINE 7440\n" + row + "END\n";
  FileReader s(data);
  _cups_file_s *fp = s.fp;
  char line[COMMAND_LINE_SIZE];
  char *k, *v;
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "LINE");
  /* buf holds exactly the command line; the row waits in the block. */
  EXPECT_EQ(fp->end - fp->buf, 10);
  EXPECT_EQ(fp->ptr, fp->end);
  ASSERT_NE(fp->ahead, nullptr);
  EXPECT_EQ((size_t)(fp->aheadEnd - fp->aheadPtr), data.size() - 10);
  std::string got(7440, '\0');
  EXPECT_EQ(cupsFileRead(fp, &got[0], got.size()), 7440);
  EXPECT_EQ(got, row);
  EXPECT_EQ(fp->pos, 7450);
  expectBookkeeping(fp);
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "LINE");
  EXPECT_EQ(cups_file_skip(fp, 7440), 7440u);
  EXPECT_EQ(fp->pos, 14900);
  expectBookkeeping(fp);
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "END");
  EXPECT_EQ(read_command_line(fp, line, &k, &v), 0);
  EXPECT_EQ(fp->eof, 1);
  EXPECT_EQ(fp->pos, (int64_t)data.size());
  expectBookkeeping(fp);
}

/* Random mixes of exact reads, skips, fills and command lines over a
   stream several blocks long: every operation hands out the bytes the
   stream has at that position and the bookkeeping holds throughout. */
static void randomOperations(_cups_file_s *fp, const std::string &data, uint32_t seed)
{
  Rng r(seed);
  size_t at = 0;
  while (at < data.size())
  {
    uint32_t op = r.Below(10);
    size_t n;
    switch (op)
    {
      case 0:
      case 1:
      case 2: /* small read */
      case 3: /* read about a row */
      case 4: /* read more than a block */
      {
        n = op <= 2 ? 1 + r.Below(5000) : op == 3 ? 7000 + r.Below(1000)
                                                  : CUPS_FILE_AHEAD_SIZE + r.Below(100000);
        std::string got(n, '\0');
        int result = cupsFileRead(fp, &got[0], n);
        size_t want = std::min(n, data.size() - at);
        ASSERT_EQ(result, (int)want) << "read " << n << " at " << at;
        ASSERT_EQ(got.substr(0, want), data.substr(at, want)) << "at " << at;
        at += want;
        break;
      }
      case 5:
      case 6: /* skip */
      {
        n = r.Below(2) ? r.Below(9000) : r.Below(3 * CUPS_FILE_AHEAD_SIZE);
        unsigned long taken = cups_file_skip(fp, n);
        size_t want = std::min(n, data.size() - at);
        ASSERT_EQ(taken, want) << "skip " << n << " at " << at;
        at += want;
        break;
      }
      default: /* a command line */
      {
        /* The raw line the reader takes from here: up to and including
           the next new line, or 1023 bytes when it is further (the
           stream has no carriage returns).  A blank line would make the
           reader go on to the next one, so none is read here. */
        size_t nl = data.find('\n', at);
        size_t stop = nl != std::string::npos && nl - at <= COMMAND_LINE_SIZE - 1 ? nl + 1
                                                                                  : at + COMMAND_LINE_SIZE - 1;
        std::string raw = data.substr(at, std::min(stop, data.size()) - at);
        if (raw.find_first_not_of(" \t\v\f\n") == std::string::npos)
          break;
        char line[COMMAND_LINE_SIZE];
        char *k, *v;
        ASSERT_EQ(read_command_line(fp, line, &k, &v), 1) << "at " << at;
        std::string text = raw.back() == '\n' ? raw.substr(0, raw.size() - 1) : raw;
        size_t first = text.find_first_not_of(" \t\v\f");
        size_t kwEnd = text.find_first_of(" \t\v\f", first);
        EXPECT_EQ(std::string(k), text.substr(first, kwEnd == std::string::npos ? std::string::npos
                                                                                : kwEnd - first));
        at = std::min(stop, data.size());
        break;
      }
    }
    ASSERT_EQ(fp->pos, (int64_t)at);
    expectBookkeeping(fp);
  }
}

/* Lines of text and binary runs that never contain a new line, ending in
   a text line. */
static std::string mixedStream(Rng *r, size_t size)
{
  std::string s;
  while (s.size() < size)
  {
    s += "LINE " + std::to_string(r->Below(100000)) + "\n";
    std::string run = randomBytes(r, r->Below(20000));
    for (char &c : run)
      if (c == '\n' || c == '\r' || c == '#' || c == '\0')
        c = 'x';
    s += run;
  }
  return s + "\nLAST\n";
}

TEST(JobsFastReader, RandomOperationsOverAFileMatchTheStream)
{
  for (uint32_t seed = 1; seed <= 6; seed++)
  {
    Rng r(seed * 7919);
    std::string data = mixedStream(&r, 3 * CUPS_FILE_AHEAD_SIZE + r.Below(100000));
    FileReader s(data);
    randomOperations(s.fp, data, seed);
  }
}

TEST(JobsFastReader, RandomOperationsOverAPipeInPiecesMatchTheStream)
{
  for (uint32_t seed = 11; seed <= 13; seed++)
  {
    Rng r(seed);
    std::string data = mixedStream(&r, 2 * CUPS_FILE_AHEAD_SIZE);
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    std::thread writer([&] {
      Rng w(seed + 1000);
      size_t off = 0;
      while (off < data.size())
      {
        size_t n = std::min<size_t>(data.size() - off, 1 + w.Below(20000));
        ssize_t got = write(fds[1], data.data() + off, n);
        if (got <= 0)
          break;
        off += (size_t)got;
      }
      close(fds[1]);
    });
    _cups_file_s *fp = cups_file_new(fds[0], 0);
    randomOperations(fp, data, seed);
    writer.join();
    cups_file_close(fp);
  }
}

TEST(JobsFastReader, ACommandIsCarriedOutBeforeTheRestOfThePipeArrives)
{
  /* The read-ahead block never waits to be full: a command line that has
     arrived is read while the writer still holds the rest. */
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  ASSERT_EQ(write(fds[1], "PAGENAME A4\nLINE 3\nab", 21), 21);
  _cups_file_s *fp = cups_file_new(fds[0], 0);
  char line[COMMAND_LINE_SIZE];
  char *k, *v;
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "PAGENAME");
  EXPECT_STREQ(v, "A4");
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "LINE");
  char row[3];
  std::thread late([&] {
    usleep(20000);
    if (write(fds[1], "cEND\n", 5) != 5)
      ADD_FAILURE() << "write";
    close(fds[1]);
  });
  EXPECT_EQ(cupsFileRead(fp, row, 3), 3);
  EXPECT_EQ(std::string(row, 3), "abc");
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "END");
  EXPECT_EQ(read_command_line(fp, line, &k, &v), 0);
  late.join();
  expectBookkeeping(fp);
  cups_file_close(fp);
}

/* ------------------------------------------------------------------------
 * The page path against a model: lazily cleared raster, row copy order
 * ------------------------------------------------------------------------ */

/* The page path as the rules say, one byte at a time. */
struct JobModel
{
  std::string raster;
  size_t cursor = 0, stride = 0;
  int32_t bytesPerLine = 0, nLines = 0;
  std::vector<std::string> pages; /* each page's bitmap, bottom row first */

  void allocate(size_t width, size_t height, size_t depth)
  {
    raster.assign(width * height * depth, '\xFF');
    stride = width * depth;
  }
  /* A LINE of n bytes of which only `data` arrived. */
  void line(size_t n, const std::string &data)
  {
    if (bytesPerLine == 0)
      bytesPerLine = (int32_t)n;
    size_t room = raster.size() - cursor;
    size_t store = std::min(n, room);
    raster.replace(cursor, std::min(store, data.size()), data.substr(0, std::min(store, data.size())));
    cursor += store;
    nLines++;
  }
  void endPage()
  {
    size_t bpl = (size_t)bytesPerLine;
    size_t aligned = bpl + (bpl % 4 ? 4 - bpl % 4 : 0);
    std::string out;
    if (aligned > 0)
      for (int32_t row = nLines - 1; row >= 0; row--)
        for (size_t i = 0; i < aligned; i++)
        {
          if (i >= bpl)
          {
            out.push_back('\0');
            continue;
          }
          size_t at = (size_t)row * stride + i / 3 * 3 + (2 - i % 3);
          out.push_back(at < raster.size() ? raster[at] : '\xFF');
        }
    pages.push_back(out);
  }
};

/* The bitmaps of every page a run sent, the fragments of each joined. */
static std::vector<std::string> sentBitmaps(const std::string &wire, std::vector<size_t> *fragmentSizes)
{
  std::vector<std::string> pages;
  std::vector<WireRecord> recs = recordsOf(wire);
  std::string current;
  bool inBitmap = false;
  for (const WireRecord &w : recs)
  {
    if (w.rec.id == RCPACKETID_PRN_BITMAP_HDR)
    {
      inBitmap = true;
      current.clear();
    }
    else if (w.rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
    {
      std::string plain, error;
      EXPECT_TRUE(decompressWire(w, &plain, &error)) << error;
      current += plain;
      if (fragmentSizes)
        fragmentSizes->push_back(plain.size());
    }
    else if (w.rec.id == RCPACKETID_PRN_BITMAP_END && inBitmap)
    {
      pages.push_back(current);
      inBitmap = false;
    }
  }
  return pages;
}

static const char kLetter[] = "PAGE 0 0 612 792 0 0 0 300 300 0\n";

TEST(JobsFastPage, RandomJobsMatchTheModel)
{
  /* Small rasters, lines of the row's length and of other lengths (also
     not multiples of 3, also longer than the room left), several pages,
     and streams that end inside a line's data. */
  for (uint32_t seed = 1; seed <= 40; seed++)
  {
    Rng r(seed * 31);
    size_t width = 1 + r.Below(40), height = 1 + r.Below(30), depth = r.Below(2) ? 3 : 1;
    JobModel model;
    model.allocate(width, height, depth);
    std::string stream = std::string(kLetter) + "RASTER " + std::to_string(width) + " " +
                         std::to_string(height) + " " + std::to_string(depth) + "\n";
    int pages = 1 + (int)r.Below(3);
    bool cut = r.Below(4) == 0;
    for (int p = 0; p < pages; p++)
    {
      if (p > 0)
      {
        stream += kLetter;
        model.nLines = 0;
      }
      size_t lines = r.Below((uint32_t)height + 5);
      for (size_t l = 0; l < lines; l++)
      {
        size_t n = r.Below(4) ? width * depth : r.Below((uint32_t)(2 * width * depth + 3));
        std::string data = randomBytes(&r, n);
        for (char &c : data)
          if (c == '\n')
            c = 'n'; /* keep a cut stream's tail from reading as lines */
        stream += "LINE " + std::to_string(n) + "\n";
        if (cut && p == pages - 1 && l == lines - 1 && n > 1)
        {
          size_t keep = r.Below((uint32_t)n);
          stream += data.substr(0, keep);
          model.line(n, data.substr(0, keep));
          break;
        }
        stream += data;
        model.line(n, data);
      }
      if (cut && p == pages - 1)
        break;
      stream += "ENDPAGE\n";
      model.endPage();
    }

    print_job_s *job = new print_job_s;
    LoopRun run = runLoop(stream, "Office", job);
    EXPECT_EQ(run.result, 1);
    std::vector<std::string> sent = sentBitmaps(run.wire, nullptr);
    ASSERT_EQ(sent.size(), model.pages.size()) << "seed " << seed;
    for (size_t i = 0; i < sent.size(); i++)
      EXPECT_EQ(sent[i], model.pages[i]) << "seed " << seed << " page " << i;
    /* After the loop the raster holds every byte, white where no line
       wrote. */
    ASSERT_NE(job->raster.raster_data, nullptr);
    EXPECT_EQ(std::string((char *)job->raster.raster_data, job->raster.size), model.raster) << "seed " << seed;
    EXPECT_EQ(job->raster.unwritten, nullptr);
    print_job_release(job);
    delete job;
  }
}

TEST(JobsFastPage, FullPagesOverManyBlocksAndLaterPagesDropped)
{
  /* Rows of an A4 line length, enough of them to run over several
     read-ahead blocks; three pages, the later two dropped. */
  size_t width = 2480, height = 120, depth = 3;
  Rng r(4242);
  JobModel model;
  model.allocate(width, height, depth);
  std::string stream = std::string(kLetter) + "RASTER 2480 120 3\n";
  for (int p = 0; p < 3; p++)
  {
    if (p > 0)
    {
      stream += kLetter;
      model.nLines = 0;
    }
    for (size_t l = 0; l < height; l++)
    {
      std::string data = randomBytes(&r, width * depth);
      stream += "LINE 7440\n" + data;
      model.line(data.size(), data);
    }
    stream += "ENDPAGE\n";
    model.endPage();
  }
  ASSERT_GT(stream.size(), 3 * (size_t)CUPS_FILE_AHEAD_SIZE);
  print_job_s *job = new print_job_s;
  LoopRun run = runLoop(stream, "Office", job);
  EXPECT_EQ(run.result, 1);
  std::vector<size_t> sizes;
  std::vector<std::string> sent = sentBitmaps(run.wire, &sizes);
  ASSERT_EQ(sent.size(), 3u);
  for (size_t i = 0; i < 3; i++)
    EXPECT_TRUE(sent[i] == model.pages[i]) << "page " << i;
  EXPECT_EQ(sent[1], sent[0]);
  /* 7440 bytes a line: 268 lines a fragment, so one fragment a page. */
  EXPECT_EQ(sizes, std::vector<size_t>(3, 120u * 7440u));
  EXPECT_TRUE(std::string((char *)job->raster.raster_data, job->raster.size) == model.raster);
  print_job_release(job);
  delete job;
}

TEST(JobsFastPage, OneLineLongerThanABlockIsReadStraightIn)
{
  /* A single LINE of the whole raster, larger than a read-ahead block,
     then one that overflows the raster by more than a block. */
  size_t width = 700, height = 500, depth = 1;
  size_t size = width * height;
  ASSERT_GT(size, (size_t)CUPS_FILE_AHEAD_SIZE);
  Rng r(77);
  std::string a = randomBytes(&r, size / 2), b = randomBytes(&r, size / 2 + 2 * CUPS_FILE_AHEAD_SIZE);
  JobModel model;
  model.allocate(width, height, depth);
  model.line(a.size(), a);
  model.line(b.size(), b);
  model.endPage();
  std::string stream = std::string(kLetter) + "RASTER 700 500 1\nLINE " + std::to_string(a.size()) +
                       "\n" + a + "LINE " + std::to_string(b.size()) + "\n" + b + "ENDPAGE\nEND\n";
  print_job_s *job = new print_job_s;
  LoopRun run = runLoop(stream, "Office", job);
  EXPECT_EQ(run.result, 1);
  std::vector<std::string> sent = sentBitmaps(run.wire, nullptr);
  ASSERT_EQ(sent.size(), 1u);
  EXPECT_TRUE(sent[0] == model.pages[0]);
  EXPECT_TRUE(std::string((char *)job->raster.raster_data, job->raster.size) == model.raster);
  print_job_release(job);
  delete job;
}

TEST(JobsFastPage, FailedSendLeavesTheRasterSettled)
{
  /* The job's descriptor is a non-blocking pipe with room for the page
     start record only, so the bitmap header fails at ENDPAGE: the loop
     ends with 0, and the raster reads white wherever no line wrote. */
  std::string stream = std::string(kLetter) + "RASTER 10 10 3\nLINE 30\n" + std::string(30, 'q') +
                       "ENDPAGE\n";
  TempDir dir;
  ASSERT_TRUE(writeFileBytes(dir.path + "/in", stream));
  _cups_file_s *fp = cups_file_new(open((dir.path + "/in").c_str(), O_RDONLY), 0);
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  ASSERT_EQ(fcntl(fds[1], F_SETPIPE_SZ, 4096), 4096);
  fcntl(fds[1], F_SETFL, O_NONBLOCK);
  std::string filler(4096 - 44, 'f');
  ASSERT_EQ(write(fds[1], filler.data(), filler.size()), (ssize_t)filler.size());
  print_job_s *job = new print_job_s;
  print_job_init(job, fds[1], "Office", 1);
  StderrCapture cap;
  cap.begin();
  int result = command_loop(job, fp);
  std::string err = cap.end();
  EXPECT_EQ(result, 0);
  EXPECT_NE(err.find("socket_write(RCPACKET_PRN_BITMAP_HDR) FAILED"), std::string::npos) << err;
  ASSERT_NE(job->raster.raster_data, nullptr);
  EXPECT_EQ(job->raster.unwritten, nullptr);
  EXPECT_EQ(std::string((char *)job->raster.raster_data, 300), std::string(30, 'q') + std::string(270, '\xFF'));
  print_job_release(job);
  delete job;
  close(fds[0]);
  close(fds[1]);
  cups_file_close(fp);
}

/* ------------------------------------------------------------------------
 * Large-page allocation
 * ------------------------------------------------------------------------ */

TEST(JobsFastAlloc, LargeBlocksStartOnALargePageAndHoldTheirSize)
{
  for (size_t size : {(size_t)1, (size_t)4096, LARGE_ALLOC_PAGE / 2 + 1, (size_t)2000002,
                      LARGE_ALLOC_PAGE, (size_t)25245000})
  {
    unsigned char *p = (unsigned char *)large_alloc(size);
    ASSERT_NE(p, nullptr) << size;
#if defined(__linux__)
    if (size > LARGE_ALLOC_PAGE / 2)
    {
      EXPECT_EQ((uintptr_t)p % LARGE_ALLOC_PAGE, 0u) << size;
    }
#endif
    memset(p, 0x5A, size);
    EXPECT_EQ(p[0], 0x5A);
    EXPECT_EQ(p[size - 1], 0x5A);
    free(p);
  }
}
