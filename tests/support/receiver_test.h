/*
 * receiver_test.h - a test fixture with a receiver listening on the
 * backend's fixed socket path for each test.
 */
#ifndef CORVANE_TEST_RECEIVER_TEST_H
#define CORVANE_TEST_RECEIVER_TEST_H

#include <signal.h>

#include <string>

#include <gtest/gtest.h>

#include "host_support.h"
#include "test_files.h"

/* Each test gets a fresh temporary folder (named after folderName) and a
   receiver saving into it; afterwards the receiver must end with status 0
   on SIGTERM within stopSeconds, and the folder is removed. */
class FixedPathReceiverTest : public ::testing::Test
{
protected:
  std::string dir;
  Receiver r;

  FixedPathReceiverTest(const char *folderName, int stopSeconds)
      : folderName_(folderName), stopSeconds_(stopSeconds) {}

  void SetUp() override
  {
    dir = makeTempDir(folderName_);
    ASSERT_FALSE(dir.empty());
    std::string why;
    ASSERT_TRUE(receiverStartOnFixedPath(&r, dir, &why)) << why;
  }

  void TearDown() override
  {
    if (r.pid > 0)
      EXPECT_EQ(receiverStop(&r, SIGTERM, stopSeconds_), 0);
    removeTempDir(dir);
  }

private:
  const char *folderName_;
  int stopSeconds_;
};

#endif
