/*
 * filter_support.h - raster files for the filter's tests, written
 * with libcups's raster writer, and a reader of the stream the filter
 * writes.
 */
#ifndef CORVANE_TEST_FILTER_SUPPORT_H
#define CORVANE_TEST_FILTER_SUPPORT_H

#include <cups/raster.h>

#include <string>
#include <vector>

/* One page of a test raster: its header and its rows (bytesPerLine each). */
struct TestPage
{
  cups_page_header2_t header;
  std::vector<std::string> rows;
};

/* A header for an 8-bit chunky page of width x height pixels in colour
   space cs at res dpi, named "A4".  Its page size is pw x ph points, or
   (when 0) the size the pixels cover, so the raster covers the page. */
cups_page_header2_t makeHeader(unsigned width, unsigned height, cups_cspace_t cs,
                               unsigned pw = 0, unsigned ph = 0, unsigned res = 72);

/* A page whose rows hold a pattern that differs per row, column and page
   seed, so that a shifted or repeated row is seen. */
TestPage patternPage(const cups_page_header2_t &header, int seed);

/* Writes pages to path with cupsRasterOpen in mode (CUPS_RASTER_WRITE,
   _COMPRESSED or _PWG); false on failure. */
bool writeRasterFile(const std::string &path, const std::vector<TestPage> &pages, cups_mode_t mode);

/* The same pages as the bytes of a file (written to a temporary file). */
std::string rasterBytes(const std::vector<TestPage> &pages, cups_mode_t mode);

/* The stream the filter wrote, split up: commands[] holds every command
   line in order ("LINE n" included), rows[p] the LINE data of page p. */
struct ParsedStream
{
  std::vector<std::string> commands;
  std::vector<std::vector<std::string>> rows;
  bool ok = true; /* false when a LINE's data ran past the end */
};
ParsedStream parseStream(const std::string &stream);

/* The commands without the LINE lines. */
std::vector<std::string> commandsWithoutLines(const ParsedStream &s);

/* Path of a new file name in a fresh temporary folder of this process. */
std::string tempPath(const std::string &name);

/* The filter program, and a run of it with the raster bytes on its
   standard input (file empty) or in a file, and the environment given. */
struct FilterRun
{
  int status = -1;
  bool exited = false;
  std::string out;
  std::vector<std::string> errLines;
};
FilterRun runFilter(const std::string &raster, const std::vector<std::string> &env = {},
                    bool asFile = true, const std::string &title = "report");

/* The lines among lines that start with prefix. */
std::vector<std::string> linesStarting(const std::vector<std::string> &lines, const std::string &prefix);

#endif
