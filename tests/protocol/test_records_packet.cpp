/*
 * test_records_packet.cpp - the record layouts, the little-endian store
 * routine, and the senders' writes and failure lines.
 */
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rc_packet.h"
#include "stderr_capture.h"
#include "records_wire.h"

static std::string bytesOf(const unsigned char *p, size_t n)
{
  return std::string((const char *)p, n);
}

TEST(RecordStore, SixteenAndThirtyTwoBitsLeastSignificantByteFirst)
{
  unsigned char b[6];
  memset(b, 0xAA, sizeof(b));
  rc_store32(b + 1, 0x12345678u);
  EXPECT_EQ(bytesOf(b, 6), std::string("\xAA\x78\x56\x34\x12\xAA", 6));
  rc_store16(b + 2, 0xBEEF);
  EXPECT_EQ(bytesOf(b, 6), std::string("\xAA\x78\xEF\xBE\x12\xAA", 6));
  EXPECT_EQ(rc_load32(b + 1), 0x12BEEF78u);
  EXPECT_EQ(rc_load16(b + 2), 0xBEEFu);
  rc_store32(b, 0xFFFFFFFFu);
  EXPECT_EQ(rc_load32(b), 0xFFFFFFFFu);
}

TEST(RecordTable, IdentifiersSizesAndNames)
{
  EXPECT_EQ(RCPACKETID_PRN_BITMAP_HDR, 411u);
  EXPECT_EQ(RCPACKETID_PRN_BITMAP_FRAGMENT, 412u);
  EXPECT_EQ(RCPACKETID_PRN_BITMAP_END, 413u);
  EXPECT_EQ(RCPACKETID_PRN_DOC_START, 418u);
  EXPECT_EQ(RCPACKETID_PRN_DOC_END, 419u);
  EXPECT_EQ(RCPACKETID_PRN_PAGE_START, 420u);
  EXPECT_EQ(RCPACKETID_PRN_PAGE_END, 421u);
  EXPECT_EQ(rc_fixed_size(418), 12u);
  EXPECT_EQ(rc_fixed_size(419), 12u);
  EXPECT_EQ(rc_fixed_size(421), 12u);
  EXPECT_EQ(rc_fixed_size(413), 12u);
  EXPECT_EQ(rc_fixed_size(420), 44u);
  EXPECT_EQ(rc_fixed_size(411), 32u);
  EXPECT_EQ(rc_fixed_size(412), 20u);
  for (uint32_t id = 414; id <= 417; id++)
  {
    EXPECT_EQ(rc_fixed_size(id), 0u) << id;
    EXPECT_EQ(rc_record_name(id), nullptr) << id;
  }
  EXPECT_EQ(rc_fixed_size(0), 0u);
  EXPECT_STREQ(rc_record_name(418), "RCPACKET_PRN_DOC_START");
  EXPECT_STREQ(rc_record_name(412), "RCPACKET_PRN_BITMAP_FRAGMENT");
}

TEST(RecordBuild, SimpleRecordsDifferOnlyInIdentifier)
{
  unsigned char b[12];
  const uint32_t ids[] = {418, 419, 421, 413};
  for (uint32_t id : ids)
  {
    rc_build_simple(b, id, 6);
    EXPECT_EQ(bytesOf(b, 12), le32(id) + le32(18) + le32(6)) << id;
    rc_build_simple(b, id, 0);
    EXPECT_EQ(bytesOf(b, 12), le32(id) + le32(12) + le32(0)) << id;
  }
}

TEST(RecordBuild, PageStartFieldByField)
{
  /* The settings of "PAGE 0 0 612 792 1 1 0 600 600 1" on Letter paper. */
  rc_page_settings s;
  memset(&s, 0, sizeof(s));
  s.orientation = 2;
  s.paperSize = 1;
  s.paperLength = 2794;
  s.paperWidth = 2159;
  s.copies = 1;
  s.printQuality = 600;
  s.color = 1;
  s.duplex = 3;
  s.collate = 1;
  unsigned char b[44];
  memset(b, 0xCC, sizeof(b));
  rc_build_page_start(b, &s, 6);
  std::string expected = le32(420) + le32(50) + le32(0x1F1F) + le16(2) + le16(1) + le16(2794) +
                         le16(2159) + le16(100) + le16(1) + le16(7) + le16(600) + le16(1) +
                         le16(3) + le16(1) + std::string(6, '\0') + le32(6);
  ASSERT_EQ(expected.size(), 44u);
  EXPECT_EQ(bytesOf(b, 44), expected);
}

TEST(RecordBuild, PageStartKeepsLowSixteenBits)
{
  rc_page_settings s;
  memset(&s, 0, sizeof(s));
  s.collate = -1;
  s.printQuality = 70000; /* 0x11170 */
  s.paperSize = -32768;
  unsigned char b[44];
  rc_build_page_start(b, &s, 0);
  EXPECT_EQ(bytesOf(b + 32, 2), le16(0xFFFF));
  EXPECT_EQ(bytesOf(b + 26, 2), le16(0x1170));
  EXPECT_EQ(bytesOf(b + 14, 2), le16(0x8000));
  EXPECT_EQ(bytesOf(b + 4, 4), le32(44));
  EXPECT_EQ(bytesOf(b + 40, 4), le32(0));
}

TEST(RecordBuild, BitmapHeaderAndFragment)
{
  unsigned char h[32];
  rc_build_bitmap_hdr(h, 2480, 3508, 300, 600, 14);
  EXPECT_EQ(bytesOf(h, 32), le32(411) + le32(46) + le32(2480) + le32(3508) + le32(1) + le32(300) +
                              le32(600) + le32(14));
  unsigned char f[20];
  rc_build_bitmap_fragment(f, 1993920, 14, 5000);
  EXPECT_EQ(bytesOf(f, 20), le32(412) + le32(20 + 14 + 5000) + le32(1993920) + le32(1) + le32(14));
}

/* A sequenced-packet pair keeps each write(2) as its own message, so the
   test sees how a record was split into writes. */
struct PacketPair
{
  int fds[2] = {-1, -1};
  PacketPair() { socketpair(AF_UNIX, SOCK_SEQPACKET, 0, fds); }
  ~PacketPair()
  {
    if (fds[0] >= 0)
      close(fds[0]);
    if (fds[1] >= 0)
      close(fds[1]);
  }
  std::vector<std::string> messages()
  {
    std::vector<std::string> out;
    char buf[70000];
    shutdown(fds[0], SHUT_WR);
    fcntl(fds[1], F_SETFL, O_NONBLOCK);
    for (;;)
    {
      ssize_t n = recv(fds[1], buf, sizeof(buf), 0);
      if (n <= 0)
        break;
      out.push_back(std::string(buf, (size_t)n));
    }
    return out;
  }
};

TEST(RecordSend, FixedPartThenPayloadAsSeparateWrites)
{
  PacketPair pair;
  ASSERT_GE(pair.fds[0], 0);
  const std::string payload = expectedPayload("P1");
  const unsigned char *p = (const unsigned char *)payload.data();
  ASSERT_EQ(payload, std::string("P\0"
                                 "1\0\0\0",
                                 6));

  rc_page_settings s;
  memset(&s, 0, sizeof(s));
  ASSERT_TRUE(rc_send_doc_start(pair.fds[0], p, 6));
  ASSERT_TRUE(rc_send_doc_end(pair.fds[0], p, 6));
  ASSERT_TRUE(rc_send_page_start(pair.fds[0], &s, p, 6));
  ASSERT_TRUE(rc_send_page_end(pair.fds[0], p, 6));
  ASSERT_TRUE(rc_send_bitmap_hdr(pair.fds[0], 1, 2, 3, 4, p, 6));
  ASSERT_TRUE(rc_send_bitmap_fragment(pair.fds[0], 10, (const unsigned char *)"abc", 3, p, 6, 1, 1));
  ASSERT_TRUE(rc_send_bitmap_end(pair.fds[0], p, 6));

  std::vector<std::string> m = pair.messages();
  ASSERT_EQ(m.size(), 15u);
  const uint32_t ids[] = {418, 419, 420, 421, 411};
  const size_t sizes[] = {12, 12, 44, 12, 32};
  for (int i = 0; i < 5; i++)
  {
    EXPECT_EQ(m[2 * i].size(), sizes[i]) << i;
    EXPECT_EQ(m[2 * i].substr(0, 4), le32(ids[i])) << i;
    EXPECT_EQ(m[2 * i].substr(4, 4), le32((uint32_t)sizes[i] + 6)) << i;
    EXPECT_EQ(m[2 * i + 1], payload) << i;
  }
  EXPECT_EQ(m[10], le32(412) + le32(20 + 6 + 3) + le32(10) + le32(1) + le32(6));
  EXPECT_EQ(m[11], payload);
  EXPECT_EQ(m[12], "abc");
  EXPECT_EQ(m[13], le32(413) + le32(18) + le32(6));
  EXPECT_EQ(m[14], payload);
}

TEST(RecordSend, WithoutPayloadOnlyTheFixedPartGoesOut)
{
  PacketPair pair;
  ASSERT_GE(pair.fds[0], 0);
  ASSERT_TRUE(rc_send_doc_start(pair.fds[0], NULL, 0));
  ASSERT_TRUE(rc_send_bitmap_fragment(pair.fds[0], 4, (const unsigned char *)"xy", 2, NULL, 0, 1, 1));
  std::vector<std::string> m = pair.messages();
  ASSERT_EQ(m.size(), 3u);
  EXPECT_EQ(m[0], le32(418) + le32(12) + le32(0));
  EXPECT_EQ(m[1], le32(412) + le32(22) + le32(4) + le32(1) + le32(0));
  EXPECT_EQ(m[2], "xy");
}

/* Every sender against a peer that has gone: the transport's line, then
   the record's own line, exactly once (the payload write is not tried). */
TEST(RecordSend, FailureLinesOfEveryRecord)
{
  const std::string broken = std::string("Writing to socket failed: ") + strerror(EPIPE) + "\n";
  const unsigned char payload[6] = {'P', 0, '1', 0, 0, 0};
  rc_page_settings s;
  memset(&s, 0, sizeof(s));

  struct Case
  {
    int which;
    const char *line;
  } cases[] = {
    {0, "DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n"},
    {1, "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_DOC_END) FAILED\n"},
    {2, "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_PAGE_START) FAILED\n"},
    {3, "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_BITMAP_HDR) FAILED\n"},
    {4, "DEBUG: CorvaneBackend - 3/250 socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED\n"},
    {5, "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_BITMAP_END) FAILED\n"},
    {6, "DEBUG: CorvaneBackend - socket_write(RCPACKET_PRN_PAGE_END) FAILED\n"},
  };
  for (const Case &c : cases)
  {
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    close(fds[1]);
    StderrCapture cap;
    cap.begin();
    int ok = -1;
    switch (c.which)
    {
      case 0: ok = rc_send_doc_start(fds[0], payload, 6); break;
      case 1: ok = rc_send_doc_end(fds[0], payload, 6); break;
      case 2: ok = rc_send_page_start(fds[0], &s, payload, 6); break;
      case 3: ok = rc_send_bitmap_hdr(fds[0], 1, 1, 1, 1, payload, 6); break;
      case 4: ok = rc_send_bitmap_fragment(fds[0], 9, payload, 3, payload, 6, 3, 250); break;
      case 5: ok = rc_send_bitmap_end(fds[0], payload, 6); break;
      case 6: ok = rc_send_page_end(fds[0], payload, 6); break;
    }
    std::string err = cap.end();
    close(fds[0]);
    EXPECT_EQ(ok, 0) << c.which;
    EXPECT_EQ(err, broken + c.line) << c.which;
  }
}

/* A pipe of one page whose room is exactly the fixed part: the fixed part
   is written, the payload write fails (the descriptor does not block), and
   the record still reports its own line; a fragment's data is then not
   written at all. */
static bool makeTightPipe(int fds[2], size_t room)
{
  if (pipe(fds) != 0)
    return false;
  if (fcntl(fds[1], F_SETPIPE_SZ, 4096) != 4096)
    return false;
  fcntl(fds[1], F_SETFL, O_NONBLOCK);
  std::string filler(4096 - room, 'f');
  return write(fds[1], filler.data(), filler.size()) == (ssize_t)filler.size();
}

TEST(RecordSend, PayloadWriteFailureGivesTheRecordsLine)
{
  const unsigned char payload[6] = {'P', 0, '1', 0, 0, 0};
  int fds[2];
  if (!makeTightPipe(fds, 20))
    GTEST_SKIP() << "pipe size cannot be set here";
  StderrCapture cap;
  cap.begin();
  int ok = rc_send_bitmap_fragment(fds[1], 9, (const unsigned char *)"abc", 3, payload, 6, 1, 7);
  std::string err = cap.end();
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(err, std::string("Writing to socket failed: ") + strerror(EAGAIN) + "\n" +
                   "DEBUG: CorvaneBackend - 1/7 socket_write(RCPACKET_PRN_BITMAP_FRAGMENT) FAILED\n");
  /* What reached the pipe: the filler, then exactly the 20-byte fixed part. */
  std::string got;
  char buf[8192];
  fcntl(fds[0], F_SETFL, O_NONBLOCK);
  ssize_t n;
  while ((n = read(fds[0], buf, sizeof(buf))) > 0)
    got.append(buf, (size_t)n);
  ASSERT_EQ(got.size(), 4096u);
  EXPECT_EQ(got.substr(4076), le32(412) + le32(29) + le32(9) + le32(1) + le32(6));
  close(fds[0]);
  close(fds[1]);

  if (!makeTightPipe(fds, 12))
    GTEST_SKIP();
  cap.begin();
  ok = rc_send_doc_start(fds[1], payload, 6);
  err = cap.end();
  EXPECT_EQ(ok, 0);
  EXPECT_EQ(err, std::string("Writing to socket failed: ") + strerror(EAGAIN) + "\n" +
                   "DEBUG: CorvaneBackend - socket_write(RCPACKETID_PRN_DOC_START) FAILED\n");
  close(fds[0]);
  close(fds[1]);
}
