/*
 * test_jobs_reader.cpp - the buffered reader: refills, exact reads, direct
 * reads of large remainders, skips, and the position bookkeeping.
 */
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "cups_file.h"
#include "loop_run.h"

static std::string pattern(size_t n, unsigned seed = 1)
{
  std::string s(n, '\0');
  uint32_t x = seed;
  for (size_t i = 0; i < n; i++)
  {
    x = x * 1103515245u + 12345u;
    s[i] = (char)(x >> 24);
  }
  return s;
}

/* bufpos + (ptr - buf) is the position of the next byte handed out. */
static void expectConsistent(const _cups_file_s *fp)
{
  if (fp->ptr)
  {
    EXPECT_EQ(fp->bufpos + (fp->ptr - fp->buf), fp->pos);
  }
}

TEST(JobsReader, NewRecordIsZeroFilledForReading)
{
  _cups_file_s *fp = cups_file_new(0, 1);
  ASSERT_NE(fp, nullptr);
  EXPECT_EQ(fp->fd, 0);
  EXPECT_EQ(fp->mode, 'r');
  EXPECT_EQ(fp->is_stdio, 1);
  EXPECT_EQ(fp->eof, 0);
  EXPECT_EQ(fp->ptr, nullptr);
  EXPECT_EQ(fp->end, nullptr);
  EXPECT_EQ(fp->pos, 0);
  EXPECT_EQ(fp->bufpos, 0);
  EXPECT_EQ(fp->printf_buf, nullptr);
  free(fp); /* not cups_file_close(): that must not close our stdin anyway */
}

TEST(JobsReader, FillCountsThePreviousBufferAndSetsEof)
{
  std::string data = pattern(5000);
  FileReader r(data);
  _cups_file_s *fp = r.fp;
  EXPECT_EQ(cups_fill(fp), 4096);
  EXPECT_EQ(fp->ptr, fp->buf);
  EXPECT_EQ(fp->end, fp->buf + 4096);
  EXPECT_EQ(fp->bufpos, 0);
  EXPECT_EQ(fp->eof, 0);
  EXPECT_EQ(cups_fill(fp), 904);
  EXPECT_EQ(fp->bufpos, 4096);
  EXPECT_EQ(std::string(fp->buf, 904), data.substr(4096));
  EXPECT_EQ(cups_fill(fp), -1);
  EXPECT_EQ(fp->eof, 1);
  EXPECT_EQ(fp->ptr, fp->buf);
  EXPECT_EQ(fp->end, fp->buf);
  EXPECT_EQ(fp->bufpos, 5000);
  EXPECT_EQ(cups_fill(fp), -1);
  EXPECT_EQ(fp->bufpos, 5000);
}

TEST(JobsReader, ReadArgumentsAndEndOfInput)
{
  FileReader r("abcdef");
  char buf[16];
  EXPECT_EQ(cupsFileRead(nullptr, buf, 1), -1);
  EXPECT_EQ(cupsFileRead(r.fp, nullptr, 1), -1);
  EXPECT_EQ(cupsFileRead(r.fp, buf, 0), 0);
  r.fp->mode = 'w';
  EXPECT_EQ(cupsFileRead(r.fp, buf, 1), -1);
  r.fp->mode = 's';
  EXPECT_EQ(cupsFileRead(r.fp, buf, 2), 2);
  EXPECT_EQ(std::string(buf, 2), "ab");
  r.fp->mode = 'r';
  EXPECT_EQ(cupsFileRead(r.fp, buf, 10), 4);
  EXPECT_EQ(std::string(buf, 4), "cdef");
  EXPECT_EQ(r.fp->pos, 6);
  EXPECT_EQ(cupsFileRead(r.fp, buf, 10), -1);
  EXPECT_EQ(r.fp->eof, 1);
  EXPECT_EQ(r.fp->pos, 6);
}

TEST(JobsReader, ExactReadsAcrossBuffersAndDirectReads)
{
  std::string data = pattern(100000);
  FileReader r(data);
  _cups_file_s *fp = r.fp;
  std::string got;
  /* Small, buffer-crossing, large (direct) and small again, in turn. */
  const size_t sizes[] = {5, 4095, 3, 10000, 1, 4096, 7, 30000, 2, 40000};
  size_t at = 0;
  for (size_t n : sizes)
  {
    std::string buf(n, '\0');
    ASSERT_EQ(cupsFileRead(fp, &buf[0], n), (int)n) << n;
    EXPECT_EQ(buf, data.substr(at, n)) << "at " << at;
    at += n;
    EXPECT_EQ(fp->pos, (int64_t)at);
    expectConsistent(fp);
  }
  std::string rest(data.size(), '\0');
  EXPECT_EQ(cupsFileRead(fp, &rest[0], rest.size()), (int)(data.size() - at));
  EXPECT_EQ(rest.substr(0, data.size() - at), data.substr(at));
  EXPECT_EQ(fp->pos, (int64_t)data.size());
  EXPECT_EQ(fp->eof, 1);
  expectConsistent(fp);
}

TEST(JobsReader, LargeReadOverAPipeThatDeliversInPieces)
{
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  std::string data = pattern(300000, 7);
  std::thread writer([&] {
    size_t off = 0;
    while (off < data.size())
    {
      size_t n = std::min<size_t>(data.size() - off, 777);
      ssize_t w = write(fds[1], data.data() + off, n);
      if (w <= 0)
        break;
      off += (size_t)w;
      if (off % 7770 == 0)
        usleep(1000);
    }
    close(fds[1]);
  });
  _cups_file_s *fp = cups_file_new(fds[0], 0);
  std::string head(10, '\0'), body(250000, '\0'), tail(60000, '\0');
  EXPECT_EQ(cupsFileRead(fp, &head[0], head.size()), 10);
  EXPECT_EQ(cupsFileRead(fp, &body[0], body.size()), 250000);
  EXPECT_EQ(cupsFileRead(fp, &tail[0], tail.size()), 49990);
  writer.join();
  EXPECT_EQ(head + body + tail.substr(0, 49990), data);
  EXPECT_EQ(fp->pos, 300000);
  expectConsistent(fp);
  cups_file_close(fp);
}

TEST(JobsReader, SkipDropsExactlyTheCountAndKeepsPositions)
{
  std::string data = pattern(20000, 3);
  FileReader r(data);
  _cups_file_s *fp = r.fp;
  char c;
  ASSERT_EQ(cupsFileRead(fp, &c, 1), 1);
  EXPECT_EQ(cups_file_skip(fp, 10), 10u);
  ASSERT_EQ(cupsFileRead(fp, &c, 1), 1);
  EXPECT_EQ(c, data[11]);
  EXPECT_EQ(cups_file_skip(fp, 9000), 9000u);
  EXPECT_EQ(fp->pos, 9012);
  expectConsistent(fp);
  ASSERT_EQ(cupsFileRead(fp, &c, 1), 1);
  EXPECT_EQ(c, data[9012]);
  EXPECT_EQ(cups_file_skip(fp, 0), 0u);
  /* More than is left: stops at the end of the input. */
  EXPECT_EQ(cups_file_skip(fp, 1000000), 20000u - 9013u);
  EXPECT_EQ(fp->pos, 20000);
  EXPECT_EQ(fp->eof, 1);
  EXPECT_EQ(cupsFileRead(fp, &c, 1), -1);
  r.fp->mode = 'x';
  EXPECT_EQ(cups_file_skip(fp, 5), 0u);
}

TEST(JobsReader, CloseLeavesTheStandardInputOpen)
{
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  _cups_file_s *fp = cups_file_new(fds[0], 1);
  cups_file_close(fp);
  EXPECT_NE(fcntl(fds[0], F_GETFD), -1);
  fp = cups_file_new(fds[0], 0);
  cups_file_close(fp);
  EXPECT_EQ(fcntl(fds[0], F_GETFD), -1);
  EXPECT_EQ(errno, EBADF);
  close(fds[1]);
}
