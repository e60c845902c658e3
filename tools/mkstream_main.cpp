/*
 * mkstream_main.cpp - kivprinter-mkstream: PNG images (or the built-in test
 * page) to a print stream for the backend.
 *
 *   kivprinter-mkstream [options] [image.png ...] > job.stream
 *
 * Each image becomes one page.  Without images, the test page is drawn at
 * the paper's size and the stream's resolution.
 */
#include <errno.h>
#include <fcntl.h>
#include <getopt.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "fd_write.h"
#include "option_number.h"
#include "png_io.h"
#include "stream_writer.h"
#include "test_page.h"

static void usage(FILE *to)
{
  fputs("usage: kivprinter-mkstream [options] [image.png ...]\n"
        "Writes a print stream for the backend: one page per image, or the\n"
        "built-in test page when no image is given.\n"
        "  -o, --output FILE      write the stream to FILE (default: standard output)\n"
        "  -t, --test-page        add the built-in test page (the default without images)\n"
        "  -p, --paper NAME       paper name for PAGENAME (default A4)\n"
        "  -r, --resolution DPI   resolution, or XxY for different axes (default 300)\n"
        "  -g, --gray             gray rows (depth 1) and COLORDEVICE 0\n"
        "  -c, --color            colour rows (depth 3) and COLORDEVICE 1 (default)\n"
        "  -d, --duplex MODE      none (default), long or short (short-edge binding)\n"
        "  -l, --landscape        landscape orientation (the test page is turned too)\n"
        "      --collate          set the collate flag\n"
        "  -n, --printer NAME     PRINTERMODEL name (default: none, so the backend\n"
        "                         uses the queue's description)\n"
        "  -T, --title TEXT       DOCUMENT title (default: the first image's name)\n"
        "  -s, --size WxH         test page size in pixels instead of the paper's\n"
        "  -h, --help             this text\n",
        to);
}

/* Parses "N" or "NxM" (both above 0) into x and y. */
static int parse_pair(const char *text, uint32_t *x, uint32_t *y)
{
  char *end = nullptr;
  unsigned long a, b;
  if (text[0] == '-' || text[0] == '+' || !option_number_prefix(text, 10, 1, 1000000, &a, &end))
    return 0;
  b = a;
  if ((*end == 'x' || *end == 'X') && !option_number_prefix(end + 1, 10, 1, 1000000, &b, &end))
    return 0;
  if (*end != '\0')
    return 0;
  *x = (uint32_t)a;
  *y = (uint32_t)b;
  return 1;
}

int main(int argc, char **argv)
{
  static const struct option longOptions[] = {
    {"output", required_argument, nullptr, 'o'},
    {"test-page", no_argument, nullptr, 't'},
    {"paper", required_argument, nullptr, 'p'},
    {"resolution", required_argument, nullptr, 'r'},
    {"gray", no_argument, nullptr, 'g'},
    {"grey", no_argument, nullptr, 'g'},
    {"color", no_argument, nullptr, 'c'},
    {"colour", no_argument, nullptr, 'c'},
    {"duplex", required_argument, nullptr, 'd'},
    {"landscape", no_argument, nullptr, 'l'},
    {"collate", no_argument, nullptr, 'C'},
    {"printer", required_argument, nullptr, 'n'},
    {"title", required_argument, nullptr, 'T'},
    {"size", required_argument, nullptr, 's'},
    {"help", no_argument, nullptr, 'h'},
    {nullptr, 0, nullptr, 0},
  };
  StreamSettings settings;
  const char *output = nullptr;
  bool testPage = false, titleGiven = false, sizeGiven = false;
  uint32_t sizeW = 0, sizeH = 0;
  int opt;
  while ((opt = getopt_long(argc, argv, "o:tp:r:gcd:ln:T:s:h", longOptions, nullptr)) != -1)
  {
    switch (opt)
    {
      case 'o': output = optarg; break;
      case 't': testPage = true; break;
      case 'p': settings.paper = optarg; break;
      case 'r':
        if (!parse_pair(optarg, &settings.xdpi, &settings.ydpi))
        {
          fprintf(stderr, "kivprinter-mkstream: bad resolution '%s' (DPI or XxY)\n", optarg);
          return 2;
        }
        break;
      case 'g': settings.depth = 1; break;
      case 'c': settings.depth = 3; break;
      case 'd':
        if (strcmp(optarg, "none") == 0)
          settings.duplex = 0, settings.tumble = 0;
        else if (strcmp(optarg, "long") == 0)
          settings.duplex = 1, settings.tumble = 0;
        else if (strcmp(optarg, "short") == 0)
          settings.duplex = 1, settings.tumble = 1;
        else
        {
          fprintf(stderr, "kivprinter-mkstream: bad duplex mode '%s' (none, long, short)\n", optarg);
          return 2;
        }
        break;
      case 'l': settings.orientation = 1; break;
      case 'C': settings.collate = 1; break;
      case 'n':
        settings.hasPrinterName = true;
        settings.printerName = optarg;
        break;
      case 'T':
        settings.title = optarg;
        titleGiven = true;
        break;
      case 's':
        if (!parse_pair(optarg, &sizeW, &sizeH) || !strchr(optarg, 'x'))
        {
          fprintf(stderr, "kivprinter-mkstream: bad size '%s' (WxH pixels)\n", optarg);
          return 2;
        }
        sizeGiven = true;
        break;
      case 'h': usage(stdout); return 0;
      default: usage(stderr); return 2;
    }
  }

  std::vector<PageImage> pages;
  for (int i = optind; i < argc; i++)
  {
    PageImage image;
    if (!png_read_file(argv[i], &image, settings.depth))
      return 1;
    pages.push_back(std::move(image));
    if (!titleGiven && pages.size() == 1)
    {
      const char *slash = strrchr(argv[i], '/');
      settings.title = slash ? slash + 1 : argv[i];
    }
  }
  if (pages.empty() || testPage)
  {
    uint32_t w = sizeW, h = sizeH;
    if (!sizeGiven)
    {
      const PaperSize *paper = paper_size_by_name(settings.paper.c_str());
      if (!paper)
      {
        fprintf(stderr, "kivprinter-mkstream: no size known for paper '%s': give --size WxH\n",
                settings.paper.c_str());
        return 2;
      }
      w = points_to_pixels(paper->widthPt, settings.xdpi);
      h = points_to_pixels(paper->heightPt, settings.ydpi);
      if (settings.orientation)
      {
        w = points_to_pixels(paper->heightPt, settings.xdpi);
        h = points_to_pixels(paper->widthPt, settings.ydpi);
      }
    }
    PageImage image;
    if (!draw_test_page(&image, w, h, settings.depth))
      return 1;
    pages.push_back(std::move(image));
  }

  std::string stream;
  if (!build_print_stream(&stream, settings, pages))
    return 1;

  int fd = 1;
  if (output && strcmp(output, "-") != 0)
  {
    fd = open(output, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
    {
      fprintf(stderr, "kivprinter-mkstream: cannot create %s: %s\n", output, strerror(errno));
      return 1;
    }
  }
  if (!write_all(fd, stream.data(), stream.size()) || (fd != 1 && close(fd) != 0))
  {
    fprintf(stderr, "kivprinter-mkstream: writing the stream failed: %s\n", strerror(errno));
    return 1;
  }
  return 0;
}
