/*
 * filter_support.cpp - raster files for the filter's tests and a
 * reader of the stream the filter writes.
 */
#include "filter_support.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "child_process.h"
#include "test_files.h"

/*
 * 'makeHeader()' - An 8-bit chunky page header.
 */
cups_page_header2_t makeHeader(unsigned width, unsigned height, cups_cspace_t cs,
                               unsigned pw, unsigned ph, unsigned res)
{
  cups_page_header2_t h;
  memset(&h, 0, sizeof(h));
  unsigned colours = (cs == CUPS_CSPACE_RGB || cs == CUPS_CSPACE_SRGB || cs == CUPS_CSPACE_ADOBERGB) ? 3 : (cs == CUPS_CSPACE_CMYK ? 4 : 1);
  h.cupsWidth = width;
  h.cupsHeight = height;
  h.cupsColorSpace = cs;
  h.cupsColorOrder = CUPS_ORDER_CHUNKED;
  h.cupsBitsPerColor = 8;
  h.cupsBitsPerPixel = 8 * colours;
  h.cupsBytesPerLine = width * colours;
  h.cupsNumColors = colours;
  if (res && !pw)
    pw = (unsigned)(((unsigned long long)width * 72 + res / 2) / res);
  if (res && !ph)
    ph = (unsigned)(((unsigned long long)height * 72 + res / 2) / res);
  h.PageSize[0] = pw;
  h.PageSize[1] = ph;
  strcpy(h.cupsPageSizeName, "A4");
  h.HWResolution[0] = res;
  h.HWResolution[1] = res;
  h.ImagingBoundingBox[2] = pw;
  h.ImagingBoundingBox[3] = ph;
  h.NumCopies = 1;
  strcpy(h.MediaClass, "PwgRaster");
  return h;
}

/*
 * 'patternPage()' - A page with a row, column and seed dependent pattern.
 */
TestPage patternPage(const cups_page_header2_t &header, int seed)
{
  TestPage p;
  p.header = header;
  for (unsigned y = 0; y < header.cupsHeight; y++)
  {
    std::string row(header.cupsBytesPerLine, '\0');
    for (unsigned x = 0; x < header.cupsBytesPerLine; x++)
      row[x] = (char)((x * 7 + y * 31 + (unsigned)seed * 101) & 0xFF);
    p.rows.push_back(row);
  }
  return p;
}

/*
 * 'writeRasterFile()' - Write pages with libcups's raster writer.
 */
bool writeRasterFile(const std::string &path, const std::vector<TestPage> &pages, cups_mode_t mode)
{
  int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0)
    return false;
  cups_raster_t *r = cupsRasterOpen(fd, mode);
  bool ok = r != nullptr;
  for (size_t i = 0; ok && i < pages.size(); i++)
  {
    cups_page_header2_t h = pages[i].header;
    ok = cupsRasterWriteHeader2(r, &h) != 0;
    for (size_t y = 0; ok && y < pages[i].rows.size(); y++)
    {
      std::string row = pages[i].rows[y];
      ok = cupsRasterWritePixels(r, (unsigned char *)&row[0], (unsigned)row.size()) == row.size();
    }
  }
  if (r)
    cupsRasterClose(r);
  close(fd);
  return ok;
}

/*
 * 'tempPath()' - A path in this process's temporary folder.
 */
std::string tempPath(const std::string &name)
{
  static std::string dir;
  if (dir.empty())
  {
    char tmpl[] = "/tmp/filter-test.XXXXXX";
    const char *d = mkdtemp(tmpl);
    dir = d ? d : "/tmp";
  }
  return dir + "/" + name;
}

/*
 * 'rasterBytes()' - The bytes of a raster file of pages.
 */
std::string rasterBytes(const std::vector<TestPage> &pages, cups_mode_t mode)
{
  static int n = 0;
  std::string path = tempPath("r" + std::to_string(n++) + ".ras");
  if (!writeRasterFile(path, pages, mode))
    return std::string();
  std::string bytes = readFileText(path);
  unlink(path.c_str());
  return bytes;
}

/*
 * 'parseStream()' - Split the stream into command lines and row data.
 */
ParsedStream parseStream(const std::string &stream)
{
  ParsedStream s;
  size_t pos = 0;
  while (pos < stream.size())
  {
    size_t nl = stream.find('\n', pos);
    if (nl == std::string::npos)
      nl = stream.size();
    std::string line = stream.substr(pos, nl - pos);
    pos = nl + 1;
    s.commands.push_back(line);
    if (line.rfind("RASTER ", 0) == 0)
      s.rows.emplace_back();
    if (line.rfind("LINE ", 0) == 0)
    {
      size_t n = strtoul(line.c_str() + 5, nullptr, 10);
      if (pos + n > stream.size() || s.rows.empty())
      {
        s.ok = false;
        break;
      }
      s.rows.back().push_back(stream.substr(pos, n));
      pos += n;
    }
  }
  return s;
}

/*
 * 'commandsWithoutLines()' - The commands, LINE lines left out.
 */
std::vector<std::string> commandsWithoutLines(const ParsedStream &s)
{
  std::vector<std::string> out;
  for (const std::string &c : s.commands)
    if (c.rfind("LINE ", 0) != 0)
      out.push_back(c);
  return out;
}

/*
 * 'runFilter()' - Run build/bin/rastertocorvane on raster bytes.
 */
FilterRun runFilter(const std::string &raster, const std::vector<std::string> &env, bool asFile,
                    const std::string &title)
{
  static int n = 0;
  ChildOptions o;
  o.argv = {CORVANE_BIN_DIR "/rastertocorvane", "7", "user", title, "1", ""};
  std::string path;
  if (asFile)
  {
    path = tempPath("in" + std::to_string(n++) + ".ras");
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0)
    {
      ssize_t w = write(fd, raster.data(), raster.size());
      (void)w;
      close(fd);
    }
    o.argv.push_back(path);
    o.stdinIsDevNull = true;
  }
  else
    o.stdinData = raster;
  o.env = environmentWithout({"DEVICE_URI"});
  for (const std::string &e : env)
    o.env.push_back(e);
  ChildResult r = runChild(o);
  if (!path.empty())
    unlink(path.c_str());
  FilterRun fr;
  fr.exited = r.exited;
  fr.status = r.exitStatus;
  fr.out = r.out;
  fr.errLines = splitLines(r.err);
  return fr;
}

/*
 * 'linesStarting()' - The lines that start with prefix.
 */
std::vector<std::string> linesStarting(const std::vector<std::string> &lines, const std::string &prefix)
{
  std::vector<std::string> out;
  for (const std::string &l : lines)
    if (l.rfind(prefix, 0) == 0)
      out.push_back(l);
  return out;
}
