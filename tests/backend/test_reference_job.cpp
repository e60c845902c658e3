/*
 * test_reference_job.cpp - the reference jobs: print streams kept in
 * tests/data whose records were worked out by hand, byte for byte, and
 * written down beside them (*.records.txt).  The command loop runs
 * in-process over a socket pair; a thread drains the other end.  Every byte
 * that arrives must be the hand-written one, on whatever host this runs:
 * the same file is checked on little-endian x86-64 and on big-endian 32-bit
 * PowerPC, where plain char is unsigned.
 */
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <lzf.h>

#include "child_process.h"
#include "stderr_capture.h"
#include "cups_file.h"
#include "print_job.h"
#include "rc_decoder.h"
#include "test_files.h"

namespace {

/* One record of a records file. */
struct RefRecord
{
  int lineNumber = 0;
  std::string name;                /* DOC_START, PAGE_START, ... */
  std::vector<std::string> fields; /* field names in order, plain excluded */
  std::string wire;                /* the fields' bytes, concatenated */
  std::string payload;             /* the payload field's bytes */
  std::string data;                /* a fragment's data field */
  std::string plain;               /* a fragment's plain field */
  bool hasPlain = false;
};

std::string dataPath(const char *name)
{
  return std::string(CORVANE_SOURCE_DIR) + "/tests/data/" + name;
}

int hexDigit(char c)
{
  if (c >= '0' && c <= '9')
    return c - '0';
  if (c >= 'a' && c <= 'f')
    return c - 'a' + 10;
  if (c >= 'A' && c <= 'F')
    return c - 'A' + 10;
  return -1;
}

/* Hex text to bytes; false on an odd length or a non-hex character. */
bool fromHex(const std::string &hex, std::string *out)
{
  out->clear();
  if (hex.size() % 2)
    return false;
  for (size_t i = 0; i < hex.size(); i += 2)
  {
    int hi = hexDigit(hex[i]), lo = hexDigit(hex[i + 1]);
    if (hi < 0 || lo < 0)
      return false;
    out->push_back((char)(unsigned char)(hi * 16 + lo));
  }
  return true;
}

std::string toHex(const std::string &bytes)
{
  static const char digits[] = "0123456789abcdef";
  std::string s;
  for (char c : bytes)
  {
    unsigned char b = (unsigned char)c;
    s.push_back(digits[b >> 4]);
    s.push_back(digits[b & 15]);
  }
  return s;
}

/* Parses a records file: one record per line, comments and blank lines
   skipped.  False with a message on any malformed line. */
bool loadRecords(const std::string &path, std::vector<RefRecord> *records, std::string *error)
{
  std::string text;
  if (!readWholeFile(path, &text))
  {
    *error = "cannot read " + path;
    return false;
  }
  records->clear();
  int lineNumber = 0;
  for (const std::string &line : splitLines(text))
  {
    lineNumber++;
    if (line.empty() || line[0] == '#')
      continue;

    RefRecord rec;
    rec.lineNumber = lineNumber;
    bool first = true;
    std::istringstream words(line);
    std::string word;
    while (words >> word)
    {
      if (first)
      {
        rec.name = word;
        first = false;
        continue;
      }
      size_t eq = word.find('=');
      std::string bytes;
      if (eq == std::string::npos || !fromHex(word.substr(eq + 1), &bytes))
      {
        *error = path + ":" + std::to_string(lineNumber) + ": bad field '" + word + "'";
        return false;
      }
      std::string field = word.substr(0, eq);
      if (field == "plain")
      {
        rec.plain = bytes;
        rec.hasPlain = true;
        continue;
      }
      rec.fields.push_back(field);
      rec.wire += bytes;
      if (field == "payload")
        rec.payload = bytes;
      if (field == "data")
        rec.data = bytes;
    }
    records->push_back(rec);
  }
  return true;
}

/* Little-endian reads from the hand-written bytes (independent of the code
   under test). */
uint32_t le32At(const std::string &s, size_t at)
{
  return (uint32_t)(unsigned char)s[at] | (uint32_t)(unsigned char)s[at + 1] << 8 |
         (uint32_t)(unsigned char)s[at + 2] << 16 | (uint32_t)(unsigned char)s[at + 3] << 24;
}

/* What one in-process run of the command loop gave. */
struct ReferenceRun
{
  int result = -1;
  std::string wire;
  std::string log;
};

/* Runs the command loop over the stream file, the records going into one
   end of a socket pair that a thread drains. */
ReferenceRun runReference(const std::string &streamPath)
{
  ReferenceRun run;
  int sv[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0)
  {
    ADD_FAILURE() << "socketpair: " << strerror(errno);
    return run;
  }
  int fd = open(streamPath.c_str(), O_RDONLY);
  if (fd < 0)
  {
    ADD_FAILURE() << "cannot open " << streamPath;
    close(sv[0]);
    close(sv[1]);
    return run;
  }
  _cups_file_s *fp = cups_file_new(fd, 0);
  if (!fp)
  {
    ADD_FAILURE() << "cannot allocate the reader";
    close(fd);
    close(sv[0]);
    close(sv[1]);
    return run;
  }

  std::string received;
  std::thread drain([&received, &sv] {
    char buf[4096];
    for (;;)
    {
      ssize_t n = read(sv[1], buf, sizeof buf);
      if (n < 0 && errno == EINTR)
        continue;
      if (n <= 0)
        break;
      received.append(buf, (size_t)n);
    }
  });

  print_job_s *job = new print_job_s;
  print_job_init(job, sv[0], "Reference Queue", 1);
  StderrCapture cap;
  cap.begin();
  run.result = command_loop(job, fp);
  run.log = cap.end();

  /* The end of the records: the drain thread sees the end of the stream. */
  close(sv[0]);
  drain.join();
  close(sv[1]);
  print_job_release(job);
  delete job;
  cups_file_close(fp);
  run.wire = received;

  static const std::regex address("(: 0x)[0-9A-F]+( size:| width:)");
  run.log = std::regex_replace(run.log, address, "$1<ADDR>$2");
  return run;
}

/* Fixed part (before nameLen) of each record, as the records file spells it. */
std::vector<std::string> fieldsOf(const std::string &name)
{
  if (name == "DOC_START" || name == "DOC_END" || name == "PAGE_END" || name == "BITMAP_END")
    return {"id", "total", "nameLen"};
  if (name == "PAGE_START")
    return {"id", "total", "fields", "orientation", "paperSize", "paperLength", "paperWidth",
            "scale", "copies", "defaultSource", "printQuality", "color", "duplex", "collate",
            "reserved", "nameLen"};
  if (name == "BITMAP_HDR")
    return {"id", "total", "width", "height", "constant", "xResolution", "yResolution", "nameLen"};
  if (name == "BITMAP_FRAGMENT")
    return {"id", "total", "uncompressed", "constant", "nameLen"};
  return {};
}

/* The hand-written file itself adds up: right fields in the right order,
   total length and nameLen matching the bytes, a terminated payload, and a
   fragment's data decompressing to its plain bytes. */
void expectConsistent(const std::vector<RefRecord> &records)
{
  for (const RefRecord &r : records)
  {
    SCOPED_TRACE("records file line " + std::to_string(r.lineNumber) + " " + r.name);
    std::vector<std::string> want = fieldsOf(r.name);
    ASSERT_FALSE(want.empty());
    uint32_t nameLen = le32At(r.wire, r.name == "PAGE_START" ? 40 : r.name == "BITMAP_HDR"      ? 28
                                                                  : r.name == "BITMAP_FRAGMENT" ? 16
                                                                                                : 8);
    if (nameLen)
      want.push_back("payload");
    if (r.name == "BITMAP_FRAGMENT")
      want.push_back("data");
    EXPECT_EQ(r.fields, want);
    EXPECT_EQ(le32At(r.wire, 4), r.wire.size());
    EXPECT_EQ(nameLen, r.payload.size());
    if (nameLen)
    {
      bool terminated = false;
      for (size_t i = 0; i + 1 < r.payload.size(); i += 2)
        if (r.payload[i] == 0 && r.payload[i + 1] == 0)
          terminated = true;
      EXPECT_TRUE(terminated);
    }
    if (r.name == "BITMAP_FRAGMENT")
    {
      ASSERT_TRUE(r.hasPlain);
      EXPECT_EQ(le32At(r.wire, 8), r.plain.size());
      std::string out(r.plain.size() + 16, '\0');
      unsigned int n = lzf_decompress(r.data.data(), (unsigned int)r.data.size(), &out[0],
                                      (unsigned int)out.size());
      EXPECT_EQ(out.substr(0, n), r.plain);
    }
    else
      EXPECT_FALSE(r.hasPlain);
  }
}

/* The run's bytes are the records file's, record by record; each
   fragment decompresses to its plain bytes. */
void expectRecords(const ReferenceRun &run, const std::vector<RefRecord> &records)
{
  std::string all;
  for (const RefRecord &r : records)
    all += r.wire;

  rc_decoder dec;
  rc_decoder_init(&dec);
  const unsigned char *p = (const unsigned char *)run.wire.data();
  size_t left = run.wire.size();
  size_t i = 0;
  for (; i < records.size(); i++)
  {
    const RefRecord &want = records[i];
    SCOPED_TRACE("record " + std::to_string(i) + " (" + want.name + ", records file line " +
                 std::to_string(want.lineNumber) + ")");
    rc_record rec;
    size_t used = 0;
    int r = rc_decode_next(&dec, p, left, &rec, &used);
    ASSERT_EQ(r, RC_DECODE_RECORD) << dec.error;
    std::string got((const char *)p, used);
    EXPECT_EQ(toHex(got), toHex(want.wire));
    if (want.hasPlain)
    {
      std::vector<unsigned char> out(want.plain.size() + 16);
      char error[256] = "";
      ASSERT_TRUE(rc_decompress_fragment(&rec, out.data(), out.size(), error, sizeof error)) << error;
      EXPECT_EQ(toHex(std::string((const char *)out.data(), rec.fragment.uncompressedLength)),
                toHex(want.plain));
    }
    p += used;
    left -= used;
  }
  EXPECT_EQ(left, 0u) << "bytes after the last expected record: " << toHex(std::string((const char *)p, left));
  EXPECT_TRUE(run.wire == all) << "the bytes differ from the records file (see above)";
}

const char kPageLogPrefix[] = "DEBUG: \"CorvaneBackend - ";

} // namespace

TEST(ReferenceJob, HostDescription)
{
  /* Not a check of the code under test: it shows in the output which kind
     of host ran the reference, and that the build's idea of it holds. */
  const uint32_t probe = 0x01020304u;
  unsigned char first;
  memcpy(&first, &probe, 1);
  const bool bigEndian = first == 0x01;
  const bool charSigned = (char)0x80 < 0;
  printf("host: %s, plain char %s, %u-bit pointers\n", bigEndian ? "big-endian" : "little-endian",
         charSigned ? "signed" : "unsigned", (unsigned)(sizeof(void *) * 8));
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  EXPECT_TRUE(bigEndian);
#else
  EXPECT_FALSE(bigEndian);
#endif
#if defined(__CHAR_UNSIGNED__)
  EXPECT_FALSE(charSigned);
#else
  EXPECT_TRUE(charSigned);
#endif
}

TEST(ReferenceJob, RecordsFilesAddUp)
{
  for (const char *file : {"reference_job.records.txt", "reference_job_gray.records.txt"})
  {
    SCOPED_TRACE(file);
    std::vector<RefRecord> records;
    std::string error;
    ASSERT_TRUE(loadRecords(dataPath(file), &records, &error)) << error;
    expectConsistent(records);
  }
}

TEST(ReferenceJob, ColourJobTwoPagesOneRaster)
{
  std::vector<RefRecord> records;
  std::string error;
  ASSERT_TRUE(loadRecords(dataPath("reference_job.records.txt"), &records, &error)) << error;
  ASSERT_EQ(records.size(), 12u);

  ReferenceRun run = runReference(dataPath("reference_job.stream"));
  EXPECT_EQ(run.result, 1);
  expectRecords(run, records);

  const std::string p = kPageLogPrefix;
  EXPECT_EQ(run.log,
            "DEBUG: CorvaneBackend - printer devicename: \"K\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80\"\n" +
              p + "COLORDEVICE: True\"\n" +
              p + "PAGENAME - A4\"\n" +
              p + "PAGE 1 - value: 0 0 595 842 1 1 1 300 600 1\"\n" +
              p + "PAGE 1 - Starting page - [0 0 595 842]\"\n" +
              p + "PAGE - collate: 1 duplex: 1 tumble: 1 hwresX: 300 hwresY: 600 orientation: 1\"\n"
                  "DEBUG: CorvaneBackend - PAGE - A4 9\n" +
              p + "RCPACKET_PRN_PAGE_START was sent\"\n"
                  "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 60 depth: 3 res: 1\n" +
              p + "ENDPAGE - raster_data OK\"\n" +
              p + "RCPACKET_PRN_BITMAP_HDR sent\"\n"
                  "DEBUG: CorvaneBackend - bitmap bytesPerLine: 15 raster_w: 15 nLines: 4 alignPerLine: 1\n" +
              p + "sendLines: 125000 rwsize: 2000000\"\n" +
              p + "lzf_compress: 66 sendLength: 64\"\n" +
              p + "1/4 RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n" +
              p + "RCPACKET_PRN_BITMAP_END sent\"\n" +
              p + "PAGE 1 sent\"\n" +
              p + "PAGENAME - Letter\"\n" +
              p + "PAGE 2 - value: 0 0 612 792 0 0 0 600 300 0\"\n" +
              p + "PAGE 2 - Starting page - [0 0 612 792]\"\n" +
              p + "PAGE - collate: 0 duplex: 0 tumble: 0 hwresX: 600 hwresY: 300 orientation: 0\"\n"
                  "DEBUG: CorvaneBackend - PAGE - Letter 1\n" +
              p + "RCPACKET_PRN_PAGE_START was sent\"\n"
                  "DEBUG: CorvaneBackend - RASTER with ERROR: value '5 4 3' raster_data: 0x<ADDR> width: 612.000000 height: 792.000000 !!!\n" +
              p + "ENDPAGE - raster_data OK\"\n" +
              p + "RCPACKET_PRN_BITMAP_HDR sent\"\n"
                  "DEBUG: CorvaneBackend - bitmap bytesPerLine: 15 raster_w: 15 nLines: 2 alignPerLine: 1\n" +
              p + "sendLines: 125000 rwsize: 2000000\"\n" +
              p + "lzf_compress: 33 sendLength: 32\"\n" +
              p + "1/2 RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n" +
              p + "RCPACKET_PRN_BITMAP_END sent\"\n" +
              p + "PAGE 2 sent\"\n"
                  "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n");
}

TEST(ReferenceJob, GrayJobWithoutNameFirst)
{
  std::vector<RefRecord> records;
  std::string error;
  ASSERT_TRUE(loadRecords(dataPath("reference_job_gray.records.txt"), &records, &error)) << error;
  ASSERT_EQ(records.size(), 7u);

  ReferenceRun run = runReference(dataPath("reference_job_gray.stream"));
  EXPECT_EQ(run.result, 1);
  expectRecords(run, records);

  const std::string p = kPageLogPrefix;
  EXPECT_EQ(run.log,
            "DEBUG: CorvaneBackend - printer devicename: \"P1\"\n" +
              p + "COLORDEVICE: False\"\n" +
              p + "PAGE 1 - value: 10 20 144 72 -2 1 0 200 100 3\"\n" +
              p + "PAGE 1 - Starting page - [10 20 144 72]\"\n" +
              p + "PAGE - collate: -2 duplex: 1 tumble: 0 hwresX: 200 hwresY: 100 orientation: 3\"\n"
                  "DEBUG: CorvaneBackend - PAGE -  0\n" +
              p + "RCPACKET_PRN_PAGE_START was sent\"\n"
                  "DEBUG: CorvaneBackend - Raster data allocated and cleared to white: 0x<ADDR> size: 12 depth: 1 res: 3\n" +
              p + "ENDPAGE - raster_data OK\"\n" +
              p + "RCPACKET_PRN_BITMAP_HDR sent\"\n"
                  "DEBUG: CorvaneBackend - bitmap bytesPerLine: 6 raster_w: 6 nLines: 2 alignPerLine: 2\n" +
              p + "sendLines: 250000 rwsize: 2000000\"\n" +
              p + "lzf_compress: 17 sendLength: 16\"\n" +
              p + "1/2 RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n" +
              p + "RCPACKET_PRN_BITMAP_END sent\"\n" +
              p + "PAGE 1 sent\"\n"
                  "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"\n");
}
