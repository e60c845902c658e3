/*
 * test_filter_names.cpp - the names and titles the filter writes are read
 * back unchanged by the backend's own command-line reader.
 *
 * (No libcups header here: the backend's reader has functions named like
 * libcups's file functions.)
 */
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "command_line.h"
#include "command_value.h"
#include "cups_file.h"

namespace {

TEST(FilterNames, TheBackendsLineReaderReadsTheValueBackUnchanged)
{
  const std::string names[] = {"A4", "A#4", "My#Paper#2", "A\\#", "#lead", "trail#", "two words", "x\\y",
                               "\xC3\x9C"
                               "n"
                               "\xC3\xAF"
                               "#c"
                               "\xC3\xB6"
                               "de",
                               std::string(40, 'z')};
  std::string stream;
  for (const std::string &name : names)
  {
    char value[2 * 40 + 2];
    escapeCommandValue(name.c_str(), 40, value);
    stream += std::string("PAGENAME ") + value + "\n";
  }
  char path[] = "/tmp/filter-names.XXXXXX";
  int fd = mkstemp(path);
  ASSERT_GE(fd, 0);
  ASSERT_EQ((ssize_t)stream.size(), write(fd, stream.data(), stream.size()));
  ASSERT_EQ(0, lseek(fd, 0, SEEK_SET));
  _cups_file_s *fp = cups_file_new(fd, 0);
  ASSERT_NE(nullptr, fp);
  char line[COMMAND_LINE_SIZE];
  for (const std::string &name : names)
  {
    char *keyword = nullptr, *value = nullptr;
    ASSERT_EQ(1, read_command_line(fp, line, &keyword, &value)) << name;
    EXPECT_STREQ("PAGENAME", keyword);
    ASSERT_NE(nullptr, value) << name;
    EXPECT_EQ(name, std::string(value));
  }
  cups_file_close(fp);
  unlink(path);
}

} // namespace
