/*
 * delivery_support.cpp - the remote printer, PWG reading and job
 * streams for the delivery tests.
 */
#include "delivery_support.h"

#include <signal.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <string.h>

#include "host_support.h"
#include "test_files.h"

static double nowSeconds()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

/* The capturing backend.  Without arguments it lists no device; with a
   job it waits while the file "hold" exists, then saves the document as
   job-N.pwg and its arguments as job-N.args (one per line: job id, user,
   title, copies, options, content type), the latter last, by rename, so a
   reader sees only whole jobs. */
static std::string captureScript(const std::string &dir)
{
  return "#!/bin/sh\n"
         "[ $# -eq 0 ] && exit 0\n"
         "dir='" +
         dir +
         "'\n"
         "while [ -e \"$dir/hold\" ]; do sleep 0.2; done\n"
         "if [ $# -ge 6 ]; then cat \"$6\"; else cat; fi > \"$dir/job-$1.pwg\" || exit 1\n"
         "printf '%s\\n' \"$1\" \"$2\" \"$3\" \"$4\" \"$5\" \"$CONTENT_TYPE\" > \"$dir/job-$1.args.tmp\" || exit 1\n"
         "mv \"$dir/job-$1.args.tmp\" \"$dir/job-$1.args\"\n"
         "exit 0\n";
}

bool remoteStart(RemotePrinter *remote, std::string *why)
{
  remote->dir = makeTempDir("remote-printer");
  remote->captureDir = remote->dir + "/captured";
  if (mkdir(remote->captureDir.c_str(), 0777) != 0 || chmod(remote->captureDir.c_str(), 0777) != 0)
  {
    *why = "cannot make " + remote->captureDir;
    return false;
  }
  std::string script = remote->dir + "/capture";
  if (!writeFileBytes(script, captureScript(remote->captureDir)) || chmod(script.c_str(), 0755) != 0)
  {
    *why = "cannot write " + script;
    return false;
  }
  remote->options.tcpPort = cupsdFreeTcpPort();
  if (remote->options.tcpPort <= 0)
  {
    *why = "no free TCP port";
    return false;
  }
  if (!cupsdStart(&remote->cupsd, remote->options))
  {
    *why = "remote scheduler: " + cupsdLastError();
    return false;
  }
  if (!cupsdAddBackend(&remote->cupsd, "capture", script) ||
      !cupsdAddQueue(&remote->cupsd, "Remote", "Remote printer", "capture://remote"))
  {
    *why = "remote queue: " + cupsdLastError();
    return false;
  }
  remote->uri = "ipp://127.0.0.1:" + std::to_string(remote->options.tcpPort) + "/printers/Remote";
  return true;
}

void remoteStop(RemotePrinter *remote)
{
  cupsdStop(&remote->cupsd);
  if (!remote->dir.empty())
    removeTempDir(remote->dir);
  remote->dir.clear();
}

void remoteHold(RemotePrinter *remote, bool hold)
{
  std::string path = remote->captureDir + "/hold";
  if (hold)
    writeFileBytes(path, "");
  else
    unlink(path.c_str());
}

std::vector<Captured> remoteCaptured(const RemotePrinter *remote)
{
  std::vector<std::pair<long, Captured>> found;
  for (const std::string &name : hostListDir(remote->captureDir))
  {
    if (name.size() < 10 || name.compare(0, 4, "job-") != 0 || name.compare(name.size() - 5, 5, ".args") != 0)
      continue;
    std::string base = remote->captureDir + "/" + name.substr(0, name.size() - 5);
    std::vector<std::string> lines;
    std::string text = readFileText(base + ".args");
    size_t pos = 0;
    while (pos < text.size())
    {
      size_t end = text.find('\n', pos);
      if (end == std::string::npos)
        end = text.size();
      lines.push_back(text.substr(pos, end - pos));
      pos = end + 1;
    }
    lines.resize(6);
    Captured c;
    c.jobId = lines[0];
    c.user = lines[1];
    c.title = lines[2];
    c.copies = lines[3];
    c.optionText = lines[4];
    c.contentType = lines[5];
    size_t p = 0;
    while (p < c.optionText.size())
    {
      size_t blank = c.optionText.find(' ', p);
      if (blank == std::string::npos)
        blank = c.optionText.size();
      std::string option = c.optionText.substr(p, blank - p);
      size_t eq = option.find('=');
      if (!option.empty())
        c.options[option.substr(0, eq)] = eq == std::string::npos ? "" : option.substr(eq + 1);
      p = blank + 1;
    }
    c.document = readFileText(base + ".pwg");
    found.push_back({atol(c.jobId.c_str()), c});
  }
  std::sort(found.begin(), found.end(),
            [](const std::pair<long, Captured> &a, const std::pair<long, Captured> &b) { return a.first < b.first; });
  std::vector<Captured> out;
  for (auto &f : found)
    out.push_back(f.second);
  return out;
}

bool remoteWaitCaptured(const RemotePrinter *remote, size_t count, int timeoutSeconds)
{
  double deadline = nowSeconds() + timeoutSeconds;
  while (nowSeconds() < deadline)
  {
    if (remoteCaptured(remote).size() >= count)
      return true;
    usleep(100000);
  }
  return false;
}

namespace {

struct MemoryReader
{
  const std::string *bytes;
  size_t pos;
};

ssize_t readMemory(void *ctx, unsigned char *buffer, size_t length)
{
  MemoryReader *r = static_cast<MemoryReader *>(ctx);
  size_t n = std::min(length, r->bytes->size() - r->pos);
  memcpy(buffer, r->bytes->data() + r->pos, n);
  r->pos += n;
  return (ssize_t)n;
}

} // namespace

bool decodePwg(const std::string &bytes, std::vector<PwgPage> *pages, std::string *why)
{
  pages->clear();
  if (bytes.size() < 4 || bytes.compare(0, 4, "RaS2") != 0)
  {
    *why = "not a PWG raster document (no RaS2 sync word)";
    return false;
  }
  MemoryReader reader = {&bytes, 0};
  cups_raster_t *raster = cupsRasterOpenIO(readMemory, &reader, CUPS_RASTER_READ);
  if (!raster)
  {
    *why = "cupsRasterOpenIO failed";
    return false;
  }
  PwgPage page;
  while (cupsRasterReadHeader2(raster, &page.header))
  {
    size_t bytesPerLine = page.header.cupsBytesPerLine;
    page.pixels.assign(bytesPerLine * page.header.cupsHeight, 0);
    for (unsigned y = 0; y < page.header.cupsHeight; y++)
      if (cupsRasterReadPixels(raster, page.pixels.data() + y * bytesPerLine, (unsigned)bytesPerLine) !=
          bytesPerLine)
      {
        *why = "page " + std::to_string(pages->size() + 1) + " ends at row " + std::to_string(y);
        cupsRasterClose(raster);
        return false;
      }
    pages->push_back(page);
  }
  cupsRasterClose(raster);
  return true;
}

std::string pwgPageDifference(const PwgPage &page, const PageImage &image)
{
  const cups_page_header2_t &h = page.header;
  if (h.cupsWidth != image.width || h.cupsHeight != image.height)
    return "size " + std::to_string(h.cupsWidth) + "x" + std::to_string(h.cupsHeight) + ", sent " +
           std::to_string(image.width) + "x" + std::to_string(image.height);
  if (h.cupsBitsPerPixel != 8 * image.channels || h.cupsBytesPerLine != image.width * image.channels)
    return "bits per pixel " + std::to_string(h.cupsBitsPerPixel) + ", bytes per line " +
           std::to_string(h.cupsBytesPerLine);
  if (page.pixels.size() != image.pixels.size())
    return "pixel bytes differ in number";
  for (size_t i = 0; i < page.pixels.size(); i++)
    if (page.pixels[i] != image.pixels[i])
    {
      size_t row = i / h.cupsBytesPerLine, col = i % h.cupsBytesPerLine;
      return "first difference at row " + std::to_string(row) + " byte " + std::to_string(col) + ": " +
             std::to_string(page.pixels[i]) + " instead of " + std::to_string(image.pixels[i]);
    }
  return "";
}

std::string deliveryJobStream(const std::vector<PageSpec> &pages, const std::string &printer, bool complete)
{
  std::string payload = namePayload(printer);
  std::string s = encodeRecord(simpleRecord(RCPACKETID_PRN_DOC_START, payload));
  for (const PageSpec &p : pages)
  {
    rc_record page = pageStartRecord(payload, p.paper, p.image.channels == 3 ? 2 : 1, (int)p.image.xdpi);
    page.page.paperWidth = (int16_t)p.widthTenths;
    page.page.paperLength = (int16_t)p.lengthTenths;
    page.page.duplex = (int16_t)p.duplex;
    page.page.copies = (int16_t)p.copies;
    s += encodeRecord(page);
    s += encodeRecord(bitmapHeaderRecord(payload, p.image.width, p.image.height, p.image.xdpi, p.image.ydpi));
    std::string compressed;
    s += encodeRecord(fragmentRecord(payload, wireLines(p.image), &compressed));
    s += encodeRecord(simpleRecord(RCPACKETID_PRN_BITMAP_END, payload));
    s += encodeRecord(simpleRecord(RCPACKETID_PRN_PAGE_END, payload));
  }
  if (complete)
    s += encodeRecord(simpleRecord(RCPACKETID_PRN_DOC_END, payload));
  return s;
}

bool sendToHost(const std::string &socketPath, const std::string &bytes)
{
  int fd = connectUnix(socketPath);
  if (fd < 0)
    return false;
  bool ok = sendAll(fd, bytes);
  close(fd);
  return ok;
}

std::string deliveryField(const std::string &jobJson, const std::string &key)
{
  size_t at = jobJson.find("\n  \"delivery\":{");
  if (at == std::string::npos)
    return "";
  size_t end = jobJson.find('\n', at + 1);
  std::string line = jobJson.substr(at, end == std::string::npos ? std::string::npos : end - at);
  std::string needle = "\"" + key + "\":";
  size_t k = line.find(needle);
  if (k == std::string::npos)
    return "";
  size_t v = k + needle.size();
  if (v < line.size() && line[v] == '"')
  {
    size_t close = line.find('"', v + 1);
    return line.substr(v + 1, close - v - 1);
  }
  size_t stop = line.find_first_of(",}", v);
  return line.substr(v, stop - v);
}

std::string jobFolder(const std::string &outDir, unsigned job)
{
  char prefix[16];
  snprintf(prefix, sizeof prefix, "%04u-", job);
  for (const std::string &name : hostListDir(outDir))
    if (name.compare(0, strlen(prefix), prefix) == 0)
      return outDir + "/" + name;
  return "";
}

RemotePrinter *HostDelivery::remote = nullptr;
std::string HostDelivery::remoteWhy;

void HostDelivery::SetUpTestSuite()
{
  remote = new RemotePrinter;
  if (!remoteStart(remote, &remoteWhy))
  {
    remoteStop(remote);
    delete remote;
    remote = nullptr;
  }
}

void HostDelivery::TearDownTestSuite()
{
  if (remote)
    remoteStop(remote);
  delete remote;
  remote = nullptr;
}

void HostDelivery::SetUp()
{
  ASSERT_NE(remote, nullptr) << remoteWhy;
  dir = makeTempDir("host-delivery");
  socketPath = dir + "/host.sock";
  out = dir + "/spool";
}

void HostDelivery::TearDown()
{
  if (r.pid > 0)
  {
    EXPECT_EQ(receiverStop(&r, SIGTERM, 30), 0) << receiverErr(&r);
  }
  /* Nothing of this test may reach the next one's captures. */
  remoteHold(remote, false);
  for (const std::string &name : hostListDir(remote->captureDir))
    unlink((remote->captureDir + "/" + name).c_str());
  removeTempDir(dir);
}

void HostDelivery::startHost(const std::vector<std::string> &extra)
{
  std::vector<std::string> args = {"--forward", remote->uri, "--retry-max", "2"};
  args.insert(args.end(), extra.begin(), extra.end());
  std::string why;
  ASSERT_TRUE(receiverStart(&r, socketPath, out, dir, args, &why)) << why;
}

void expectDelivered(const Captured &c, const std::vector<PageSpec> &pages, const std::string &media,
                     const std::string &sides, const std::string &colorMode)
{
  EXPECT_EQ(c.contentType, "image/pwg-raster");
  EXPECT_EQ(c.options.count("media") ? c.options.at("media") : "", media) << c.optionText;
  EXPECT_EQ(c.options.count("sides") ? c.options.at("sides") : "", sides) << c.optionText;
  EXPECT_EQ(c.options.count("print-color-mode") ? c.options.at("print-color-mode") : "", colorMode)
    << c.optionText;
  EXPECT_EQ(c.copies, std::to_string(pages[0].copies));
  std::vector<PwgPage> got;
  std::string why;
  ASSERT_TRUE(decodePwg(c.document, &got, &why)) << why;
  ASSERT_EQ(got.size(), pages.size());
  for (size_t i = 0; i < pages.size(); i++)
  {
    const cups_page_header2_t &h = got[i].header;
    const PageImage &image = pages[i].image;
    EXPECT_EQ(pwgPageDifference(got[i], image), "") << "page " << i + 1;
    EXPECT_EQ(h.HWResolution[0], image.xdpi);
    EXPECT_EQ(h.HWResolution[1], image.ydpi);
    EXPECT_EQ(h.cupsBitsPerColor, 8u);
    EXPECT_EQ(h.cupsColorOrder, CUPS_ORDER_CHUNKED);
    EXPECT_EQ(h.cupsColorSpace, image.channels == 3 ? CUPS_CSPACE_SRGB : CUPS_CSPACE_SW);
    EXPECT_EQ(h.cupsNumColors, image.channels);
    EXPECT_EQ(h.Duplex != 0, pages[i].duplex != 1) << "page " << i + 1;
    EXPECT_EQ(h.Tumble != 0, pages[i].duplex == 2) << "page " << i + 1;
  }
}
