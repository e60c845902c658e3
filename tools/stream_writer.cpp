/*
 * stream_writer.cpp - page images to a print stream.
 *
 * The backend reads command lines of at most 1023 characters, cuts a line at
 * its first '#' unless a backslash stands before it, and trims white space
 * around the value.  Text values (printer name, title, paper) are therefore
 * checked and escaped here so that the backend reads back exactly what was
 * asked for, or refused when it could not.
 */
#include "stream_writer.h"

#include <stdio.h>

/* The longest command line the backend reads in one piece. */
static const size_t kMaxCommandLine = 1023;

/* Appends "keyword value\n" to out, escaping the first '#'.  Returns 0 (with
   a message) when the value holds a line break or the line is too long. */
static int append_text_command(std::string *out, const char *keyword, const std::string &value)
{
  std::string escaped;
  bool hashSeen = false;
  for (char ch : value)
  {
    if (ch == '\n' || ch == '\r' || ch == '\0')
    {
      fprintf(stderr, "%s: the value may not hold a line break or a NUL byte\n", keyword);
      return 0;
    }
    /* Only the first '#' of a line decides between comment and text: the
       backend removes the backslash before it and keeps the rest as is. */
    if (ch == '#' && !hashSeen)
    {
      escaped += '\\';
      hashSeen = true;
    }
    escaped += ch;
  }
  std::string line = keyword;
  if (!escaped.empty())
    line += ' ' + escaped;
  if (line.size() > kMaxCommandLine)
  {
    fprintf(stderr, "%s: the command line would be %zu bytes, more than %zu\n", keyword,
            line.size(), kMaxCommandLine);
    return 0;
  }
  *out += line;
  *out += '\n';
  return 1;
}

int build_print_stream(std::string *out, const StreamSettings &s, const std::vector<PageImage> &pages)
{
  if (pages.empty())
  {
    fprintf(stderr, "print stream: no page\n");
    return 0;
  }
  if (s.xdpi == 0 || s.ydpi == 0)
  {
    fprintf(stderr, "print stream: the resolution must be above 0\n");
    return 0;
  }
  if (s.depth != 1 && s.depth != 3)
  {
    fprintf(stderr, "print stream: depth %u: only 1 (gray) and 3 (colour) exist\n", (unsigned)s.depth);
    return 0;
  }
  /* The backend keeps at most 40 bytes of the paper name. */
  if (s.paper.size() > 40)
  {
    fprintf(stderr, "print stream: paper name of %zu bytes; the backend keeps 40 at most\n", s.paper.size());
    return 0;
  }

  std::string head;
  if (!append_text_command(&head, "PRINTERMODEL", s.hasPrinterName ? s.printerName : std::string()))
    return 0;
  if (!append_text_command(&head, "DOCUMENT", s.title))
    return 0;
  head += s.depth == 3 ? "COLORDEVICE 1\n" : "COLORDEVICE 0\n";

  size_t total = head.size();
  for (const PageImage &p : pages)
    total += 200 + (size_t)p.height * (24 + (size_t)p.width * s.depth);
  out->reserve(out->size() + total);
  *out += head;

  char line[256];
  for (const PageImage &source : pages)
  {
    const PageImage *page = &source;
    PageImage converted;
    if (source.channels != s.depth)
    {
      converted = source;
      image_convert(&converted, s.depth);
      page = &converted;
    }
    if (page->width == 0 || page->height == 0)
    {
      fprintf(stderr, "print stream: empty page\n");
      return 0;
    }
    if (!append_text_command(out, "PAGENAME", s.paper))
      return 0;
    /* Page box in points from the pixel size at the stream's resolution. */
    uint64_t wpt = ((uint64_t)page->width * 72 + s.xdpi / 2) / s.xdpi;
    uint64_t hpt = ((uint64_t)page->height * 72 + s.ydpi / 2) / s.ydpi;
    if (wpt == 0)
      wpt = 1;
    if (hpt == 0)
      hpt = 1;
    snprintf(line, sizeof line, "PAGE 0 0 %llu %llu %d %d %d %u %u %d\n",
             (unsigned long long)wpt, (unsigned long long)hpt, s.collate, s.duplex, s.tumble,
             (unsigned)s.xdpi, (unsigned)s.ydpi, s.orientation);
    *out += line;
    snprintf(line, sizeof line, "RASTER %u %u %u\n", (unsigned)page->width, (unsigned)page->height,
             (unsigned)s.depth);
    *out += line;
    size_t rowBytes = (size_t)page->width * s.depth;
    snprintf(line, sizeof line, "LINE %zu\n", rowBytes);
    for (uint32_t y = 0; y < page->height; y++)
    {
      *out += line;
      out->append((const char *)page->pixels.data() + (size_t)y * rowBytes, rowBytes);
    }
    *out += "ENDPAGE\n";
  }
  *out += "ENDDOCUMENT\n";
  return 1;
}
