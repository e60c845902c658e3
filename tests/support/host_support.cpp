/*
 * host_support.cpp - helpers for the host tools' tests.
 */
#include "host_support.h"
#include "child_process.h"
#include "records_wire.h"
#include "test_files.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include <lzf.h>

/* ---- files ---------------------------------------------------------- */

static double nowSeconds()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

std::vector<std::string> hostListDir(const std::string &dir)
{
  std::vector<std::string> names;
  DIR *d = opendir(dir.c_str());
  if (!d)
    return names;
  while (struct dirent *e = readdir(d))
    if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0)
      names.push_back(e->d_name);
  closedir(d);
  std::sort(names.begin(), names.end());
  return names;
}

bool hostExists(const std::string &path)
{
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

size_t hostCount(const std::string &text, const std::string &needle)
{
  size_t count = 0;
  for (size_t pos = text.find(needle); pos != std::string::npos; pos = text.find(needle, pos + needle.size()))
    count++;
  return count;
}

/* ---- the receiver ----------------------------------------------------- */

bool receiverStart(Receiver *r, const std::string &socketPath, const std::string &outDir,
                   const std::string &logDir, const std::vector<std::string> &extra,
                   std::string *why)
{
  r->socketPath = socketPath;
  r->outDir = outDir;
  r->outLog = logDir + "/host.out";
  r->errLog = logDir + "/host.err";
  std::vector<std::string> args = {std::string(CORVANE_BIN_DIR) + "/kivprinter-host", "--socket",
                                   socketPath, "--out", outDir};
  args.insert(args.end(), extra.begin(), extra.end());
  /* Old logs of an earlier run in the same folder must not look like this
     run's "listening" line. */
  unlink(r->outLog.c_str());
  unlink(r->errLog.c_str());
  pid_t pid = spawnWithLogs(args, r->outLog, r->errLog);
  if (pid < 0)
  {
    *why = std::string("fork: ") + strerror(errno);
    return false;
  }
  r->pid = pid;
  double deadline = nowSeconds() + 20;
  while (nowSeconds() < deadline)
  {
    /* The receiver prints its "listening" line after the socket is bound. */
    if (readFileText(r->outLog).find("kivprinter-host: listening on") != std::string::npos ||
        readFileText(r->errLog).find("kivprinter-host: listening on") != std::string::npos)
      return true;
    int status;
    if (waitpid(pid, &status, WNOHANG) == pid)
    {
      r->pid = -1;
      *why = "kivprinter-host ended: " + readFileText(r->errLog);
      return false;
    }
    usleep(10000);
  }
  *why = "kivprinter-host did not start listening within 20 s";
  return false;
}

bool waitUntilPathFree(const std::string &path, int timeoutSeconds)
{
  double deadline = nowSeconds() + timeoutSeconds;
  while (hostExists(path))
  {
    if (nowSeconds() >= deadline)
      return false;
    usleep(50000);
  }
  return true;
}

bool receiverStartOnFixedPath(Receiver *r, const std::string &dir, std::string *why)
{
  const char socketPath[] = "/tmp/kivprinter.sock";
  waitUntilPathFree(socketPath, 60);
  return receiverStart(r, socketPath, dir + "/received", dir, {}, why);
}

bool receiverWaitFor(Receiver *r, bool err, const std::string &text, int timeoutSeconds, size_t count)
{
  double deadline = nowSeconds() + timeoutSeconds;
  for (;;)
  {
    if (hostCount(readFileText(err ? r->errLog : r->outLog), text) >= count)
      return true;
    if (nowSeconds() >= deadline)
      return false;
    usleep(10000);
  }
}

/* Reaps the receiver, waiting at most timeoutSeconds. */
static int reap(Receiver *r, int timeoutSeconds)
{
  if (r->pid <= 0)
    return -1;
  double deadline = nowSeconds() + timeoutSeconds;
  int status = 0;
  for (;;)
  {
    pid_t got = waitpid(r->pid, &status, WNOHANG);
    if (got == r->pid)
      break;
    if (nowSeconds() >= deadline)
    {
      kill(r->pid, SIGKILL);
      waitpid(r->pid, &status, 0);
      r->pid = -1;
      return -1;
    }
    usleep(10000);
  }
  r->pid = -1;
  if (WIFEXITED(status))
    return WEXITSTATUS(status);
  return 128 + WTERMSIG(status);
}

int receiverStop(Receiver *r, int sig, int timeoutSeconds)
{
  if (r->pid <= 0)
    return -1;
  if (sig)
    kill(r->pid, sig);
  return reap(r, timeoutSeconds);
}

int receiverWaitExit(Receiver *r, int timeoutSeconds)
{
  return reap(r, timeoutSeconds);
}

std::string receiverOut(const Receiver *r)
{
  return readFileText(r->outLog);
}

std::string receiverErr(const Receiver *r)
{
  return readFileText(r->errLog);
}

/* ---- records ------------------------------------------------------------ */

std::string namePayload(const std::string &name)
{
  std::string p;
  for (unsigned char ch : name)
  {
    p += (char)ch;
    p += '\0';
  }
  p += std::string(2, '\0');
  return p;
}

std::string encodeRecord(rc_record rec, bool keepLengths)
{
  if (!keepLengths)
    rc_record_set_lengths(&rec);
  std::string out(rc_encoded_size(&rec), '\0');
  size_t n = rc_encode_record(&rec, (unsigned char *)&out[0], out.size());
  out.resize(n);
  return out;
}

/* Points a record at a payload (which must outlive the record). */
static void setPayload(rc_record *rec, const std::string &payload)
{
  rec->nameLen = (uint32_t)payload.size();
  rec->payload = payload.empty() ? nullptr : (const unsigned char *)payload.data();
}

rc_record simpleRecord(uint32_t id, const std::string &payload)
{
  rc_record rec;
  memset(&rec, 0, sizeof rec);
  rec.id = id;
  setPayload(&rec, payload);
  rc_record_set_lengths(&rec);
  return rec;
}

rc_record pageStartRecord(const std::string &payload, int paper, int color, int resolution)
{
  rc_record rec = simpleRecord(RCPACKETID_PRN_PAGE_START, payload);
  rec.page.fields = RCPACKET_PAGE_FIELDS;
  rec.page.orientation = 1;
  rec.page.paperSize = (int16_t)paper;
  rec.page.paperLength = 2970;
  rec.page.paperWidth = 2100;
  rec.page.scale = 100;
  rec.page.copies = 1;
  rec.page.defaultSource = 7;
  rec.page.printQuality = (int16_t)resolution;
  rec.page.color = (int16_t)color;
  rec.page.duplex = 1;
  rec.page.collate = 0;
  return rec;
}

rc_record bitmapHeaderRecord(const std::string &payload, uint32_t width, uint32_t height,
                             uint32_t xdpi, uint32_t ydpi)
{
  rc_record rec = simpleRecord(RCPACKETID_PRN_BITMAP_HDR, payload);
  rec.bitmap.width = width;
  rec.bitmap.height = height;
  rec.bitmap.constant = 1;
  rec.bitmap.xResolution = xdpi;
  rec.bitmap.yResolution = ydpi;
  return rec;
}

rc_record fragmentRecord(const std::string &payload, const std::string &lines, std::string *compressed)
{
  rc_record rec = simpleRecord(RCPACKETID_PRN_BITMAP_FRAGMENT, payload);
  compressed->assign(lines.size() + lines.size() / 8 + 64, '\0');
  unsigned n = lzf_compress(lines.data(), (unsigned)lines.size(), &(*compressed)[0],
                            (unsigned)compressed->size());
  compressed->resize(n);
  rec.fragment.uncompressedLength = (uint32_t)lines.size();
  rec.fragment.constant = 1;
  rec.data = (const unsigned char *)compressed->data();
  rec.dataLength = n;
  rc_record_set_lengths(&rec);
  return rec;
}

std::string wireLines(const PageImage &image)
{
  size_t rowBytes = (size_t)image.width * image.channels;
  /* The raster as the backend holds it, rows back to back; a group reaching
     past its end reads white. */
  std::string raster((const char *)image.pixels.data(), image.pixels.size());
  raster += std::string(2, '\xFF');
  std::string out;
  for (size_t k = 0; k < image.height; k++)
  {
    size_t row = image.height - 1 - k;
    out += expectedLine(raster.substr(row * rowBytes, rowBytes), raster.substr((row + 1) * rowBytes, 2));
  }
  return out;
}

std::string jobStream(const PageImage &image, const std::string &printer, unsigned linesPerFragment)
{
  std::string payload = namePayload(printer);
  std::string s;
  s += encodeRecord(simpleRecord(RCPACKETID_PRN_DOC_START, payload));
  s += encodeRecord(pageStartRecord(payload, 9, image.channels == 3 ? 2 : 1, (int)image.xdpi));
  s += encodeRecord(bitmapHeaderRecord(payload, image.width, image.height, image.xdpi, image.ydpi));
  std::string lines = wireLines(image);
  size_t padded = ((size_t)image.width * image.channels + 3) / 4 * 4;
  size_t per = linesPerFragment ? linesPerFragment : 2000000 / padded;
  for (size_t start = 0; start < lines.size(); start += per * padded)
  {
    std::string chunk = lines.substr(start, per * padded);
    std::string compressed;
    s += encodeRecord(fragmentRecord(payload, chunk, &compressed));
  }
  s += encodeRecord(simpleRecord(RCPACKETID_PRN_BITMAP_END, payload));
  s += encodeRecord(simpleRecord(RCPACKETID_PRN_PAGE_END, payload));
  s += encodeRecord(simpleRecord(RCPACKETID_PRN_DOC_END, payload));
  return s;
}

/* ---- images and sockets --------------------------------------------------- */

PageImage patternImage(uint32_t width, uint32_t height, uint32_t channels, uint32_t seed, uint32_t dpi)
{
  PageImage image;
  image_init(&image, width, height, channels);
  image.xdpi = image.ydpi = dpi;
  uint32_t state = seed * 2654435761u + 1;
  for (uint32_t y = 0; y < height; y++)
    for (uint32_t x = 0; x < width; x++)
      for (uint32_t c = 0; c < channels; c++)
      {
        state = state * 1103515245u + 12345u;
        uint8_t v;
        if ((x / 7 + y / 5) % 3 == 0)
          v = (uint8_t)(state >> 16); /* noise */
        else if (c == 0)
          v = (uint8_t)(x * 255 / (width > 1 ? width - 1 : 1));
        else if (c == 1)
          v = (uint8_t)(y * 255 / (height > 1 ? height - 1 : 1));
        else
          v = (uint8_t)((x + y + seed) * 37);
        image.pixels[((size_t)y * width + x) * channels + c] = v;
      }
  return image;
}

bool grayWidthLosesASample(uint32_t width)
{
  return width % 3 != 0;
}

uint32_t grayLostColumn(uint32_t width)
{
  return width % 3 == 1 ? width - 1 : width - 2;
}

std::string imageDifference(const PageImage &a, const PageImage &b)
{
  char text[200];
  if (a.width != b.width || a.height != b.height || a.channels != b.channels)
  {
    snprintf(text, sizeof text, "size %ux%ux%u vs %ux%ux%u", a.width, a.height, a.channels,
             b.width, b.height, b.channels);
    return text;
  }
  for (size_t i = 0; i < a.pixels.size(); i++)
    if (a.pixels[i] != b.pixels[i])
    {
      size_t pixel = i / a.channels;
      snprintf(text, sizeof text, "first difference at x %zu y %zu component %zu: %u vs %u",
               pixel % a.width, pixel / a.width, i % a.channels, a.pixels[i], b.pixels[i]);
      return text;
    }
  return std::string();
}

bool readPng(const std::string &path, PageImage *image)
{
  return png_read_file(path.c_str(), image, 0) == 1;
}
