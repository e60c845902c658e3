/*
 * test_jobs_line.cpp - the command line reader (line ends, overlong lines,
 * comments, whitespace, section lines) and the number readers.
 */
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "command_line.h"
#include "number_scan.h"
#include "loop_run.h"

/* Each command as "keyword|value", or "keyword" alone when the value is
   null (an empty value shows as "keyword|"). */
static std::vector<std::string> commandsOf(const std::string &stream, int64_t *pos = nullptr)
{
  TempDir dir;
  std::string path = dir.path + "/in";
  EXPECT_TRUE(writeFileBytes(path, stream));
  _cups_file_s *fp = cups_file_new(open(path.c_str(), O_RDONLY), 0);
  std::vector<std::string> out;
  char line[COMMAND_LINE_SIZE];
  char *keyword = nullptr, *value = nullptr;
  while (read_command_line(fp, line, &keyword, &value))
  {
    EXPECT_EQ(keyword, line);
    out.push_back(value ? std::string(keyword) + "|" + value : std::string(keyword));
  }
  if (pos)
    *pos = fp->pos;
  cups_file_close(fp);
  return out;
}

typedef std::vector<std::string> Lines;

TEST(JobsLine, CommentsAndSurroundingWhitespace)
{
  EXPECT_EQ(commandsOf("  PAGENAME   A4   # paper\n"), Lines({"PAGENAME|A4"}));
  EXPECT_EQ(commandsOf("PAGENAME A\\#4\n"), Lines({"PAGENAME|A#4"}));
  /* Only the first '#' is looked at: once escaped, the rest stays. */
  EXPECT_EQ(commandsOf("X A\\#b # c\n"), Lines({"X|A#b # c"}));
  EXPECT_EQ(commandsOf("X a#b\n"), Lines({"X|a"}));
  EXPECT_EQ(commandsOf("X#b\n"), Lines({"X"}));
  EXPECT_EQ(commandsOf("X \t#b\n"), Lines({"X"}));
}

TEST(JobsLine, EmptySpaceAndCommentLinesAreSkipped)
{
  EXPECT_EQ(commandsOf("\n     \n# remark\n   # remark\n\t\v\f\nA\n\n"), Lines({"A"}));
  EXPECT_EQ(commandsOf(""), Lines());
  EXPECT_EQ(commandsOf("\n\n\r\n\r"), Lines());
}

TEST(JobsLine, CarriageReturnNewLineAndBothReadTheSame)
{
  const char *body[] = {"PRINTERMODEL Office", "DOCUMENT report", "", "ENDDOCUMENT"};
  Lines expected({"PRINTERMODEL|Office", "DOCUMENT|report", "ENDDOCUMENT"});
  for (const char *end : {"\n", "\r", "\r\n"})
  {
    std::string s;
    for (const char *b : body)
      s += std::string(b) + end;
    int64_t pos = 0;
    EXPECT_EQ(commandsOf(s, &pos), expected) << (int)end[0];
    EXPECT_EQ(pos, (int64_t)s.size());
  }
  /* "\n\r" is two line ends: an empty line between. */
  EXPECT_EQ(commandsOf("A\n\rB"), Lines({"A", "B"}));
}

TEST(JobsLine, LastLineWithoutNewLine)
{
  EXPECT_EQ(commandsOf("A 1\nENDDOCUMENT"), Lines({"A|1", "ENDDOCUMENT"}));
  EXPECT_EQ(commandsOf("A 1\r"), Lines({"A|1"}));
}

TEST(JobsLine, CarriageReturnAndNewLineSplitByARefill)
{
  /* '\r' is the last byte of the first 4096-byte fill and '\n' the first
     of the next: the new line is still part of the same line end. */
  std::string s = "A " + std::string(4093, 'x') + "\r\nB\n";
  ASSERT_EQ(s[4095], '\r');
  ASSERT_EQ(s[4096], '\n');
  TempDir dir;
  std::string path = dir.path + "/in";
  ASSERT_TRUE(writeFileBytes(path, s));
  _cups_file_s *fp = cups_file_new(open(path.c_str(), O_RDONLY), 0);
  char line[COMMAND_LINE_SIZE];
  char *k, *v;
  /* The long line comes in 1023-byte pieces. */
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_EQ(std::string(k) + "|" + v, "A|" + std::string(1021, 'x'));
  EXPECT_EQ(fp->pos, 1023);
  for (int i = 0; i < 3; i++)
  {
    ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
    EXPECT_EQ(std::string(k), std::string(1023, 'x'));
    EXPECT_EQ(v, nullptr);
  }
  EXPECT_EQ(fp->pos, 4092);
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "xxx");
  EXPECT_EQ(fp->pos, 4097);
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "B");
  EXPECT_EQ(read_command_line(fp, line, &k, &v), 0);
  cups_file_close(fp);
}

TEST(JobsLine, OverlongLinesAreSplitAt1023Bytes)
{
  std::string v(1500, 'v');
  Lines got = commandsOf("K " + v + "\nNEXT\n");
  ASSERT_EQ(got.size(), 3u);
  EXPECT_EQ(got[0], "K|" + std::string(1021, 'v'));
  EXPECT_EQ(got[1], std::string(479, 'v'));
  EXPECT_EQ(got[2], "NEXT");
  /* Exactly 1023 bytes: the new line that follows makes an empty line. */
  got = commandsOf(std::string(1023, 'k') + "\nNEXT\n");
  ASSERT_EQ(got.size(), 2u);
  EXPECT_EQ(got[0], std::string(1023, 'k'));
  EXPECT_EQ(got[1], "NEXT");
}

TEST(JobsLine, CarriageReturnSwallowsOnlyOneNewLine)
{
  /* A LINE command's line ended by a lone carriage return whose data
     starts with 0x0A: the reader takes that byte as part of the line end. */
  int64_t pos = 0;
  EXPECT_EQ(commandsOf("LINE 3\r\nAB\n", &pos), Lines({"LINE|3", "AB"}));
  EXPECT_EQ(pos, 11);
}

TEST(JobsLine, WhitespaceIsThatOfTheCLocale)
{
  EXPECT_EQ(commandsOf("\tK\tv1 \t v2\t\n"), Lines({"K|v1 \t v2"}));
  EXPECT_EQ(commandsOf("K\v\fv\v\n"), Lines({"K|v"}));
  /* Bytes from 0x80 up are never whitespace. */
  EXPECT_EQ(commandsOf("K\xA0v\n"), Lines({"K\xA0v"}));
  EXPECT_EQ(commandsOf("K \x85v\xA0\n"), Lines({"K|\x85v\xA0"}));
  for (int c = 0; c < 256; c++)
    EXPECT_EQ(command_isspace(c) != 0, c == ' ' || (c >= 9 && c <= 13)) << c;
}

TEST(JobsLine, KeywordWithoutValue)
{
  EXPECT_EQ(commandsOf("ENDPAGE\nENDPAGE   \nENDPAGE \t # x\n"),
            Lines({"ENDPAGE", "ENDPAGE", "ENDPAGE"}));
}

TEST(JobsLine, SectionLines)
{
  EXPECT_EQ(commandsOf("<Printer Office>\n"), Lines({"<Printer|Office"}));
  EXPECT_EQ(commandsOf("<Printer Office  >\n"), Lines({"<Printer|Office"}));
  EXPECT_EQ(commandsOf("<Printer Office\n"), Lines({"<Printer"}));
  EXPECT_EQ(commandsOf("<Printer >\n"), Lines({"<Printer|"}));
  EXPECT_EQ(commandsOf("<Printer>\n"), Lines({"<Printer>"}));
  EXPECT_EQ(commandsOf("<Printer \n"), Lines({"<Printer"}));
}

TEST(JobsLine, ZeroByteEndsTheText)
{
  EXPECT_EQ(commandsOf(std::string("A b\0c\n\0xyz\nB\n", 13)), Lines({"A|b", "B"}));
}

TEST(JobsLine, OtherModesReadAsEndOfInput)
{
  TempDir dir;
  std::string path = dir.path + "/in";
  ASSERT_TRUE(writeFileBytes(path, "A\nB\n"));
  _cups_file_s *fp = cups_file_new(open(path.c_str(), O_RDONLY), 0);
  char line[COMMAND_LINE_SIZE];
  char *k, *v;
  fp->mode = 's';
  ASSERT_EQ(read_command_line(fp, line, &k, &v), 1);
  EXPECT_STREQ(k, "A");
  fp->mode = 'w';
  EXPECT_EQ(read_command_line(fp, line, &k, &v), 0);
  EXPECT_EQ(fp->pos, 2);
  cups_file_close(fp);
}

static bool u32(const char *text, uint32_t *out, const char **end = nullptr)
{
  const char *p = text;
  int r = scan_u32(&p, out);
  if (end)
    *end = p;
  return r == 1;
}

static bool i32(const char *text, int32_t *out)
{
  const char *p = text;
  return scan_i32(&p, out) == 1;
}

TEST(JobsScan, UnsignedLikeFormattedInput)
{
  uint32_t v = 0;
  const char *end;
  EXPECT_TRUE(u32("  42 7", &v, &end));
  EXPECT_EQ(v, 42u);
  EXPECT_STREQ(end, " 7");
  EXPECT_TRUE(u32("12abc", &v, &end));
  EXPECT_EQ(v, 12u);
  EXPECT_STREQ(end, "abc");
  EXPECT_TRUE(u32("+7", &v));
  EXPECT_EQ(v, 7u);
  EXPECT_TRUE(u32("-5", &v));
  EXPECT_EQ(v, 4294967291u);
  EXPECT_TRUE(u32("-0", &v));
  EXPECT_EQ(v, 0u);
  EXPECT_TRUE(u32("4294967295", &v));
  EXPECT_EQ(v, 4294967295u);
  EXPECT_TRUE(u32("4294967296", &v));
  EXPECT_EQ(v, 4294967295u);
  EXPECT_TRUE(u32("99999999999999999999999999", &v));
  EXPECT_EQ(v, 4294967295u);
  EXPECT_TRUE(u32("-4294967296", &v));
  EXPECT_EQ(v, 4294967295u);
  v = 9;
  EXPECT_FALSE(u32("", &v, &end));
  EXPECT_FALSE(u32("   ", &v));
  EXPECT_FALSE(u32("- 5", &v));
  EXPECT_FALSE(u32("x1", &v, &end));
  EXPECT_STREQ(end, "x1");
  EXPECT_FALSE(u32("\xA0"
                   "1",
                   &v));
  EXPECT_EQ(v, 9u);
}

TEST(JobsScan, SignedClampsToThirtyTwoBits)
{
  int32_t v = 0;
  EXPECT_TRUE(i32("-17", &v));
  EXPECT_EQ(v, -17);
  EXPECT_TRUE(i32("2147483647", &v));
  EXPECT_EQ(v, INT32_MAX);
  EXPECT_TRUE(i32("2147483648", &v));
  EXPECT_EQ(v, INT32_MAX);
  EXPECT_TRUE(i32("-2147483648", &v));
  EXPECT_EQ(v, INT32_MIN);
  EXPECT_TRUE(i32("-2147483649", &v));
  EXPECT_EQ(v, INT32_MIN);
  EXPECT_TRUE(i32("4294967297", &v));
  EXPECT_EQ(v, INT32_MAX);
  EXPECT_TRUE(i32("01", &v));
  EXPECT_EQ(v, 1);
  EXPECT_FALSE(i32("True", &v));
  EXPECT_FALSE(i32("+", &v));
}

TEST(JobsScan, DecimalReportsSignAndMagnitude)
{
  const char *p = " -123x";
  int negative = 0;
  uint64_t m = 0;
  ASSERT_EQ(scan_decimal(&p, &negative, &m), 1);
  EXPECT_EQ(negative, 1);
  EXPECT_EQ(m, 123u);
  EXPECT_STREQ(p, "x");
  p = "123456789012345678901234567890";
  ASSERT_EQ(scan_decimal(&p, &negative, &m), 1);
  EXPECT_EQ(negative, 0);
  EXPECT_GT(m, 0xFFFFFFFFull);
  EXPECT_STREQ(p, "");
}
