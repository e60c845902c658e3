/*
 * fuzz_command_loop.cpp - the whole command loop over an arbitrary print
 * stream, in-process.
 *
 * The input is the print stream.  It is handed to the reader through an
 * in-memory file descriptor, the job writes its records into one end of a
 * stream socket pair, and a thread drains the other end, as the host
 * application would.  After the loop every byte received is decoded and
 * checked: whatever the stream held, the records must be well formed and
 * follow the record rules:
 *
 *   - the decoder accepts every record and the stream ends between records;
 *   - a bitmap is always the block BITMAP_HDR, FRAGMENT*, BITMAP_END,
 *     PAGE_END, never interrupted, with one payload throughout;
 *   - DOC_START, DOC_END and PAGE_START come only outside such a block;
 *   - every payload has its terminator, zeros after it, and no more units
 *     than nameLen allows;
 *   - page records carry the fixed mask, scale, copies and source, codes
 *     within their ranges and a paper code from the table (or 0);
 *   - the bitmap header names the job's one raster;
 *   - every fragment decompresses to its stated length, which is a whole
 *     number of padded lines, fragments are full except the last of a page,
 *     and each line holds the raster row the rules say (bytes reversed in
 *     groups of three, zero padding; a byte may read white where the raster
 *     was filled only after that page was sent).
 *
 * The reader's and the raster's own invariants are checked too, and the
 * loop must return 1: the socket never fails here.  Each input then runs a
 * second time with a raster per page (the device URI's raster=per-page),
 * where the rasters of a job's pages replace one another: that pass checks
 * the raster's invariants, that the loop returns 1, that every record
 * decodes and the stream ends between records, and that every fragment
 * decompresses to its stated length.  The job's log is kept
 * in memory and checked line by line: every line is a "DEBUG: " line, and
 * the lines that report records sent agree with the records received.
 *
 * Two bounds keep each run short.  RASTER may ask for up to 4 GiB, so the
 * raster's limit refuses rasters above 16 MiB (as a failed allocation
 * would be refused).  And a short stream can make ENDPAGE send a great deal:
 * every ENDPAGE re-sends nLines lines of the first LINE's length, so a few
 * hundred bytes of "LINE 0" and "ENDPAGE" lines can ask for gigabytes.
 * Inputs whose worst case (ENDPAGE count x LINE count x input size) is above
 * 64 MiB of bitmap are therefore skipped before they run.
 */
#include <errno.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>
#include <vector>

#include "cups_file.h"
#include "fuzz_support.h"
#include "paper_table.h"
#include "print_job.h"
#include "rc_decoder.h"
#include "rc_packet.h"

static const uint32_t kRasterLimit = 2u * 1024u * 1024u;
static const uint64_t kBitmapBudget = 64u * 1024u * 1024u;
static const uint32_t kFragmentLimit = 2000000u;

/*
 * 'countOf()' - Occurrences of word in the input (an upper bound of the
 * commands with that keyword, whatever the stream's layout).
 */
static size_t countOf(const uint8_t *data, size_t size, const char *word)
{
  size_t n = strlen(word), count = 0;

  for (size_t i = 0; i + n <= size; i++)
    if (data[i] == (uint8_t)word[0] && memcmp(data + i, word, n) == 0)
      count++;
  return count;
}

/*
 * 'inputHash()' - FNV-1a of the input: picks how it is delivered, so the
 * choice is the same every time the input runs.
 */
static uint32_t inputHash(const uint8_t *data, size_t size)
{
  uint32_t h = 2166136261u;

  for (size_t i = 0; i < size; i++)
    h = (h ^ data[i]) * 16777619u;
  return h;
}

/*
 * 'memoryDescriptor()' - A readable descriptor holding the input, at
 * position 0: an anonymous memory file, or an unlinked temporary file
 * where memory files are not available.  Reads fill whole buffers.
 */
static int memoryDescriptor(const uint8_t *data, size_t size)
{
  int fd = -1;
  FILE *tmp = NULL;

#ifdef MFD_CLOEXEC
  fd = memfd_create("fuzz-stream", MFD_CLOEXEC);
#endif
  if (fd < 0)
  {
    tmp = tmpfile();
    FUZZ_CHECK(tmp != NULL);
    fd = dup(fileno(tmp));
    fclose(tmp);
  }
  FUZZ_CHECK(fd >= 0);

  size_t done = 0;
  while (done < size)
  {
    ssize_t n = write(fd, data + done, size - done);
    if (n < 0 && errno == EINTR)
      continue;
    FUZZ_CHECK(n > 0);
    done += (size_t)n;
  }
  FUZZ_CHECK(lseek(fd, 0, SEEK_SET) == 0);
  return fd;
}

/*
 * 'feed()' - Sends the input as packets of the sizes a small generator
 * seeded by the input's hash gives (1 to 7 bytes, or 1 to 700), then ends
 * the stream.  Each read of a packet socket returns exactly one packet, so
 * the reader sees short reads at the same places on every run, whatever
 * the timing.  A reader that has gone gives EPIPE, which ends the feed.
 */
static void feed(int fd, const uint8_t *data, size_t size, uint32_t hash)
{
  uint32_t state = hash | 1u;
  size_t limit = (hash & 0x100) ? 7 : 700;
  size_t done = 0;

  while (done < size)
  {
    state = state * 1103515245u + 12345u;
    size_t chunk = 1 + (state >> 8) % limit;
    if (chunk > size - done)
      chunk = size - done;
    ssize_t n = send(fd, data + done, chunk, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR)
      continue;
    if (n < 0)
      break;
    FUZZ_CHECK((size_t)n == chunk);
    done += chunk;
  }
  close(fd);
}

/*
 * 'drain()' - Read everything from the host's end of the socket pair until
 * the job's end is closed.
 */
static void drain(int fd, std::vector<unsigned char> *out)
{
  unsigned char buf[65536];

  for (;;)
  {
    ssize_t n = recv(fd, buf, sizeof buf, 0);
    if (n < 0 && errno == EINTR)
      continue;
    FUZZ_CHECK(n >= 0);
    if (n == 0)
      return;
    out->insert(out->end(), buf, buf + n);
  }
}

/* What the checks need to know of the job after its loop. */
struct JobFacts
{
  const unsigned char *raster;
  uint64_t rasterSize;
  uint32_t width, height, depth;
  uint32_t bytesPerLine;
};

/*
 * 'checkPayload()' - A printer-name payload as the sender builds it.
 */
static void checkPayload(const rc_record &rec)
{
  if (rec.nameLen == 0)
  {
    FUZZ_CHECK(rec.payload == NULL);
    return;
  }
  FUZZ_CHECK(rec.nameLen >= 2 && rec.nameLen % 2 == 0 && rec.nameLen <= 2048);

  uint32_t units = 0;
  while (rc_load16(rec.payload + 2 * units) != 0)
    units++;
  /* nameLen is 2 x the UTF-8 byte length + 2, and every character took at
     least one of those bytes. */
  FUZZ_CHECK(units <= (rec.nameLen - 2) / 2);
  for (uint32_t i = 2 * units; i < rec.nameLen; i++)
    FUZZ_CHECK_MSG(rec.payload[i] == 0, "payload bytes after the terminator must be zero");

  char name[3 * 1024 + 1];
  long len = rc_payload_to_utf8(rec.payload, rec.nameLen, name, sizeof name);
  FUZZ_CHECK(len >= (long)units && len <= 3 * (long)units);
  FUZZ_CHECK(name[len] == 0);
}

/*
 * 'checkPageStart()' - The constant and coded fields of a page record.
 */
static void checkPageStart(const rc_record &rec)
{
  const rc_page_start_fields &p = rec.page;

  FUZZ_CHECK(p.fields == RCPACKET_PAGE_FIELDS);
  FUZZ_CHECK(p.orientation == 1 || p.orientation == 2);
  FUZZ_CHECK(p.scale == RCPACKET_PAGE_SCALE);
  FUZZ_CHECK(p.copies == 1);
  FUZZ_CHECK(p.defaultSource == RCPACKET_PAGE_DEFAULT_SOURCE);
  FUZZ_CHECK(p.color == 1 || p.color == 2);
  FUZZ_CHECK(p.duplex >= 1 && p.duplex <= 3);
  for (size_t i = 0; i < sizeof p.reserved; i++)
    FUZZ_CHECK(p.reserved[i] == 0);

  uint16_t code = (uint16_t)p.paperSize;
  bool known = code == 0;
  for (const PageTrans *t = s_PageTrans; t->name && !known; t++)
    known = t->code == code;
  FUZZ_CHECK_MSG(known, "paper code not in the table");
}

/*
 * 'checkBitmapLines()' - The decompressed lines of one fragment.
 *
 * Line j of the page (counted over the page's fragments) is raster row
 * total - 1 - j.  Within a line, byte p below bytesPerLine comes from the
 * row's byte (p - p % 3) + 2 - p % 3, or is white when that lies beyond
 * the raster or had not been filled yet when the page went out (the raster
 * is only ever written once per byte, from white to data, so its final
 * state is the most the page could have held); the padding is zero.
 */
static void checkBitmapLines(const JobFacts &job, const unsigned char *lines, uint32_t length,
                             uint64_t firstLine, uint64_t totalLines, uint32_t alignedLine)
{
  uint64_t stride = (uint64_t)job.width * job.depth;

  for (uint32_t at = 0; at < length; at += alignedLine)
  {
    uint64_t row = totalLines - 1 - (firstLine + at / alignedLine);
    const unsigned char *line = lines + at;

    for (uint32_t p = 0; p < job.bytesPerLine; p++)
    {
      uint64_t src = row * stride + (p - p % 3) + (2 - p % 3);
      unsigned char want = src < job.rasterSize ? job.raster[src] : 0xFF;

      FUZZ_CHECK_MSG(line[p] == want || line[p] == 0xFF, "bitmap byte is not the raster's");
    }
    for (uint32_t p = job.bytesPerLine; p < alignedLine; p++)
      FUZZ_CHECK_MSG(line[p] == 0, "bitmap padding is not zero");
  }
}

/*
 * 'checkBitmapBlock()' - One page's fragments, once the block is complete.
 */
static void checkBitmapBlock(const JobFacts &job, const std::vector<rc_record> &fragments)
{
  if (fragments.empty())
    return;

  FUZZ_CHECK(job.raster != NULL && job.bytesPerLine > 0);
  uint32_t alignedLine = (job.bytesPerLine + 3u) & ~3u;
  uint32_t sendLines = alignedLine <= kFragmentLimit ? kFragmentLimit / alignedLine : 1u;
  uint64_t full = (uint64_t)sendLines * alignedLine;
  uint64_t totalBytes = 0;

  for (size_t i = 0; i < fragments.size(); i++)
  {
    uint32_t stated = fragments[i].fragment.uncompressedLength;

    FUZZ_CHECK(stated > 0 && stated % alignedLine == 0);
    if (i + 1 < fragments.size())
      FUZZ_CHECK_MSG(stated == full, "only a page's last fragment may be short");
    else
      FUZZ_CHECK(stated <= full);
    totalBytes += stated;
  }

  uint64_t totalLines = totalBytes / alignedLine;
  uint64_t line = 0;
  for (const rc_record &rec : fragments)
  {
    uint32_t stated = rec.fragment.uncompressedLength;
    std::vector<unsigned char> out(stated);
    char error[256];

    FUZZ_CHECK_MSG(rc_decompress_fragment(&rec, out.data(), out.size(), error, sizeof error),
                   error);
    checkBitmapLines(job, out.data(), stated, line, totalLines, alignedLine);
    line += stated / alignedLine;
  }
}

/* What the record stream held, for the comparison with the log. */
struct FragmentSeen
{
  uint32_t compressed, uncompressed;
  uint32_t number;    /* 1 for a page's first fragment */
  uint64_t pageBytes; /* uncompressed bytes of all of its page's fragments */
};

struct RecordsSeen
{
  size_t docEnds, pageStarts, headers, bitmapEnds, pageEnds;
  std::vector<FragmentSeen> fragments;
};

/*
 * 'checkRecords()' - Decode the whole stream and check the record rules.
 */
static void checkRecords(const JobFacts &job, const std::vector<unsigned char> &bytes,
                         RecordsSeen *seen)
{
  enum
  {
    OUTSIDE,
    IN_BITMAP,
    AFTER_BITMAP_END
  } state = OUTSIDE;
  rc_decoder dec;
  size_t offset = 0;
  rc_record blockStart;
  std::vector<rc_record> fragments;

  rc_decoder_init(&dec);
  memset(&blockStart, 0, sizeof blockStart);
  for (;;)
  {
    rc_record rec;
    size_t used = 0, needed = 0;
    int r = rc_decode_next(&dec, bytes.data() + offset, bytes.size() - offset, &rec, &used,
                           &needed);

    FUZZ_CHECK_MSG(r != RC_DECODE_ERROR, dec.error);
    if (r == RC_DECODE_NEED_MORE)
      break;
    FUZZ_CHECK(used == rec.totalLength && rec.offset == offset);
    offset += used;
    checkPayload(rec);

    if (state != OUTSIDE)
    {
      FUZZ_CHECK_MSG(rec.nameLen == blockStart.nameLen &&
                       (rec.nameLen == 0 || memcmp(rec.payload, blockStart.payload, rec.nameLen) == 0),
                     "the payload changed inside a bitmap");
    }

    switch (rec.id)
    {
      case RCPACKETID_PRN_DOC_START:
      case RCPACKETID_PRN_DOC_END:
        FUZZ_CHECK_MSG(state == OUTSIDE, "document record inside a bitmap");
        if (rec.id == RCPACKETID_PRN_DOC_END)
          seen->docEnds++;
        break;
      case RCPACKETID_PRN_PAGE_START:
        FUZZ_CHECK_MSG(state == OUTSIDE, "page start inside a bitmap");
        checkPageStart(rec);
        seen->pageStarts++;
        break;
      case RCPACKETID_PRN_BITMAP_HDR:
        FUZZ_CHECK_MSG(state == OUTSIDE, "bitmap header inside a bitmap");
        FUZZ_CHECK(job.raster != NULL);
        FUZZ_CHECK(rec.bitmap.width == job.width && rec.bitmap.height == job.height);
        FUZZ_CHECK(rec.bitmap.constant == RCPACKET_BITMAP_CONSTANT);
        state = IN_BITMAP;
        blockStart = rec;
        fragments.clear();
        seen->headers++;
        break;
      case RCPACKETID_PRN_BITMAP_FRAGMENT:
        FUZZ_CHECK_MSG(state == IN_BITMAP, "fragment outside a bitmap");
        FUZZ_CHECK(rec.fragment.constant == RCPACKET_BITMAP_CONSTANT);
        FUZZ_CHECK(rec.dataLength > 0);
        fragments.push_back(rec);
        break;
      case RCPACKETID_PRN_BITMAP_END:
        FUZZ_CHECK_MSG(state == IN_BITMAP, "bitmap end without a header");
        checkBitmapBlock(job, fragments);
        state = AFTER_BITMAP_END;
        seen->bitmapEnds++;
        {
          uint64_t pageBytes = 0;
          for (const rc_record &f : fragments)
            pageBytes += f.fragment.uncompressedLength;
          for (size_t i = 0; i < fragments.size(); i++)
          {
            FragmentSeen f = {fragments[i].dataLength, fragments[i].fragment.uncompressedLength,
                              (uint32_t)(i + 1), pageBytes};
            seen->fragments.push_back(f);
          }
        }
        break;
      case RCPACKETID_PRN_PAGE_END:
        FUZZ_CHECK_MSG(state == AFTER_BITMAP_END, "page end not right after a bitmap end");
        state = OUTSIDE;
        seen->pageEnds++;
        break;
      default:
        FUZZ_CHECK_MSG(false, "the decoder returned an unknown record");
    }
  }
  FUZZ_CHECK_MSG(rc_decoder_finish(&dec, bytes.size() - offset), dec.error);
  FUZZ_CHECK_MSG(state == OUTSIDE, "the stream ended inside a bitmap");
}

/*
 * 'checkLog()' - The job's log against the records.
 *
 * Every line is a "DEBUG: " line ending in a new line, and the lines that
 * report a record sent match the records received one for one: page
 * starts, document ends, bitmap headers and ends, page ends, and for each
 * fragment its "lzf_compress" line (compressed and uncompressed lengths)
 * and its "sent" line (its number on the page and the page's line count,
 * which times the padded line length is the page's bitmap size).
 */
static void checkLog(const char *log, size_t size, const RecordsSeen &seen, uint32_t bytesPerLine)
{
  size_t pageStarts = 0, docEnds = 0, headers = 0, bitmapEnds = 0, pageEnds = 0;
  size_t compressLines = 0, sentLines = 0;
  uint64_t alignedLine = ((uint64_t)bytesPerLine + 3u) & ~(uint64_t)3u;

  FUZZ_CHECK_MSG(size == 0 || log[size - 1] == '\n', "the log does not end with a new line");
  for (size_t at = 0; at < size;)
  {
    const char *line = log + at;
    const char *nl = (const char *)memchr(line, '\n', size - at);
    std::string text(line, (size_t)(nl - line));
    at = (size_t)(nl - log) + 1;

    FUZZ_CHECK_MSG(text.compare(0, 7, "DEBUG: ") == 0, text.c_str());
    int a = 0, b = 0, end = -1;
    /* A whole-line match: %n must reach the end of the line. */
    auto whole = [&](int conversions, int wanted) { return conversions == wanted && end == (int)text.size(); };
    if (text == "DEBUG: \"CorvaneBackend - RCPACKET_PRN_PAGE_START was sent\"")
      pageStarts++;
    else if (text == "DEBUG: CorvaneBackend - \"ENDDOCUMENT\"")
      docEnds++;
    else if (text == "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"")
      headers++;
    else if (text == "DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_END sent\"")
      bitmapEnds++;
    else if (whole(sscanf(text.c_str(), "DEBUG: \"CorvaneBackend - PAGE %d sent\"%n", &a, &end), 1))
      pageEnds++;
    else if ((end = -1, whole(sscanf(text.c_str(), "DEBUG: \"CorvaneBackend - lzf_compress: %d sendLength: %d\"%n",
                                     &a, &b, &end),
                              2)))
    {
      FUZZ_CHECK_MSG(compressLines < seen.fragments.size(), "more compressed fragments logged than sent");
      const FragmentSeen &f = seen.fragments[compressLines++];
      FUZZ_CHECK_MSG((uint32_t)a == f.compressed && (uint32_t)b == f.uncompressed, text.c_str());
    }
    else if ((end = -1, whole(sscanf(text.c_str(), "DEBUG: \"CorvaneBackend - %d/%d RCPACKET_PRN_BITMAP_FRAGMENT sent\"%n",
                                     &a, &b, &end),
                              2)))
    {
      FUZZ_CHECK_MSG(sentLines < seen.fragments.size(), "more fragments logged than sent");
      const FragmentSeen &f = seen.fragments[sentLines++];
      FUZZ_CHECK_MSG((uint32_t)a == f.number && b > 0 && (uint64_t)b * alignedLine == f.pageBytes, text.c_str());
    }
  }
  FUZZ_CHECK_MSG(pageStarts == seen.pageStarts, "page starts logged and sent differ");
  FUZZ_CHECK_MSG(docEnds == seen.docEnds, "document ends logged and sent differ");
  FUZZ_CHECK_MSG(headers == seen.headers, "bitmap headers logged and sent differ");
  FUZZ_CHECK_MSG(bitmapEnds == seen.bitmapEnds, "bitmap ends logged and sent differ");
  FUZZ_CHECK_MSG(pageEnds == seen.pageEnds, "pages logged as sent and page ends differ");
  FUZZ_CHECK_MSG(compressLines == seen.fragments.size() && sentLines == seen.fragments.size(),
                 "fragments logged and sent differ");
}

/*
 * 'checkPerPagePass()' - The input once more, with a raster per page.
 *
 * The raster of a page is rewound or replaced by the next RASTER, so the
 * rows a fragment held cannot be told from the raster left at the end:
 * this pass keeps to what holds whatever the pages were.
 */
static void checkPerPagePass(const uint8_t *data, size_t size)
{
  _cups_file_s *fp = cups_file_new(memoryDescriptor(data, size), 0);
  FUZZ_CHECK(fp != NULL);
  int sv[2];
  FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) == 0);
  std::vector<unsigned char> received;
  std::thread host(drain, sv[1], &received);

  print_job_s *job = new print_job_s;
  print_job_init(job, sv[0], "Fuzz Queue", 1);
  job->raster.limit = kRasterLimit;
  job->raster.perPage = 1;

  /* The log of this pass is not judged: it goes nowhere. */
  static FILE *devnull = fopen("/dev/null", "w");
  FUZZ_CHECK(devnull != NULL);
  FILE *log = stderr;
  stderr = devnull;
  int ok = command_loop(job, fp);
  stderr = log;
  close(sv[0]);
  host.join();
  close(sv[1]);
  FUZZ_CHECK_MSG(ok == 1, "the per-page command loop failed with a working socket");

  const page_raster_s &r = job->raster;
  if (r.raster_data)
  {
    FUZZ_CHECK(r.depth == 1 || r.depth == 3);
    FUZZ_CHECK((uint64_t)r.width * r.height * r.depth == r.size);
    FUZZ_CHECK(r.size > 0 && r.size <= kRasterLimit);
    FUZZ_CHECK(r.end == r.raster_data + r.size);
    FUZZ_CHECK(r.cursor >= r.raster_data && r.cursor <= r.end);
    FUZZ_CHECK(r.unwritten == NULL);
  }
  else
    FUZZ_CHECK(r.cursor == NULL && r.size == 0 && r.bytesPerLine == 0 && r.nLines == 0);
  FUZZ_CHECK(r.bytesPerLine >= 0 && r.nLines >= 0);

  rc_decoder dec;
  rc_decoder_init(&dec);
  size_t at = 0;
  while (at < received.size())
  {
    rc_record rec;
    size_t used = 0;
    int result = rc_decode_next(&dec, received.data() + at, received.size() - at, &rec, &used);

    FUZZ_CHECK_MSG(result == RC_DECODE_RECORD, dec.error);
    if (rec.id == RCPACKETID_PRN_BITMAP_FRAGMENT)
    {
      std::vector<unsigned char> out(rec.fragment.uncompressedLength);
      char error[256];

      FUZZ_CHECK_MSG(rc_decompress_fragment(&rec, out.data(), out.size(), error, sizeof error),
                     error);
    }
    at += used;
  }
  FUZZ_CHECK_MSG(rc_decoder_finish(&dec, received.size() - at), dec.error);

  print_job_release(job);
  delete job;
  cups_file_close(fp);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
  static bool restartSet = false;

  /* The engine installs its timer after LLVMFuzzerInitialize(): mark it
     restartable on the first run. */
  if (!restartSet)
  {
    struct sigaction sa;
    if (sigaction(SIGALRM, NULL, &sa) == 0 && (sa.sa_flags & SA_SIGINFO))
    {
      sa.sa_flags |= SA_RESTART;
      sigaction(SIGALRM, &sa, NULL);
    }
    restartSet = true;
  }

  uint64_t worst = (uint64_t)countOf(data, size, "ENDPAGE") * (countOf(data, size, "LINE") + 1) *
                   ((uint64_t)size + 4);
  if (worst > kBitmapBudget)
    return 0;

  /* Three inputs in four come from a memory file; the fourth arrives in
     short packets, so that lines, carriage returns and raster rows are
     also cut by the reader's refills at varying places. */
  uint32_t hash = inputHash(data, size);
  std::thread feeder;
  int in;
  if ((hash & 3) == 0 && size > 0)
  {
    int sp[2];
    FUZZ_CHECK(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sp) == 0);
    feeder = std::thread(feed, sp[1], data, size, hash);
    in = sp[0];
  }
  else
    in = memoryDescriptor(data, size);
  _cups_file_s *fp = cups_file_new(in, 0);
  FUZZ_CHECK(fp != NULL);

  int sv[2];
  FUZZ_CHECK(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sv) == 0);
  std::vector<unsigned char> received;
  std::thread host(drain, sv[1], &received);

  print_job_s *job = new print_job_s;
  print_job_init(job, sv[0], "Fuzz Queue", 1);
  job->raster.limit = kRasterLimit;
  /* Half the inputs keep their rows in the wire layout, as the program
     does; the raster is turned back into rows below, so every check reads
     the same rows either way. */
  job->raster.wireLayout = (int)(size % 2);

  /* The log is kept in memory and checked against the records. */
  char *logText = NULL;
  size_t logSize = 0;
  FILE *logFile = open_memstream(&logText, &logSize);
  FUZZ_CHECK(logFile != NULL);
  FILE *log = stderr;
  stderr = logFile;
  int ok = command_loop(job, fp);
  stderr = log;
  FUZZ_CHECK(fclose(logFile) == 0);

  close(sv[0]);
  host.join();
  close(sv[1]);

  FUZZ_CHECK_MSG(ok == 1, "the command loop failed with a working socket");

  /* The reader's bookkeeping. */
  FUZZ_CHECK(fp->pos >= 0 && (uint64_t)fp->pos <= size);
  if (fp->ptr)
  {
    FUZZ_CHECK(fp->ptr >= fp->buf && fp->ptr <= fp->end && fp->end <= fp->buf + sizeof fp->buf);
    FUZZ_CHECK(fp->bufpos + (fp->ptr - fp->buf) == fp->pos);
  }

  /* The raster's, in rows. */
  raster_unwire(&job->raster);
  raster_settle(&job->raster);
  FUZZ_CHECK(!job->raster.wire);
  JobFacts facts;
  memset(&facts, 0, sizeof facts);
  if (job->raster.raster_data)
  {
    FUZZ_CHECK(job->raster.depth == 1 || job->raster.depth == 3);
    FUZZ_CHECK((uint64_t)job->raster.width * job->raster.height * job->raster.depth == job->raster.size);
    FUZZ_CHECK(job->raster.size > 0 && job->raster.size <= kRasterLimit);
    FUZZ_CHECK(job->raster.end == job->raster.raster_data + job->raster.size);
    FUZZ_CHECK(job->raster.cursor >= job->raster.raster_data && job->raster.cursor <= job->raster.end);
    facts.raster = job->raster.raster_data;
    facts.rasterSize = job->raster.size;
    facts.width = job->raster.width;
    facts.height = job->raster.height;
    facts.depth = job->raster.depth;
  }
  else
    FUZZ_CHECK(job->raster.cursor == NULL && job->raster.size == 0);
  FUZZ_CHECK(job->raster.bytesPerLine >= 0 && job->raster.nLines >= 0);
  facts.bytesPerLine = (uint32_t)job->raster.bytesPerLine;

  RecordsSeen seen;
  seen.docEnds = seen.pageStarts = seen.headers = seen.bitmapEnds = seen.pageEnds = 0;
  checkRecords(facts, received, &seen);
  checkLog(logText, logSize, seen, facts.bytesPerLine);
  free(logText);

  print_job_release(job);
  delete job;
  cups_file_close(fp);
  if (feeder.joinable())
    feeder.join();

  checkPerPagePass(data, size);
  return 0;
}
