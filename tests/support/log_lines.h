/*
 * log_lines.h - the backend's job log lines that tests expect, byte for
 * byte, written once for every test that compares a log: a PAGE command's
 * lines, the raster line, and ENDPAGE's lines for the fragments that were
 * received.
 */
#ifndef CORVANE_TEST_LOG_LINES_H
#define CORVANE_TEST_LOG_LINES_H

#include <stdint.h>

#include <string>
#include <vector>

#include "records_wire.h"

/* The two prefixes of the backend's lines. */
#define LOG_PLAIN  "DEBUG: CorvaneBackend - "
#define LOG_QUOTED "DEBUG: \"CorvaneBackend - "

/* The five lines of a PAGE command with ten numbers that was sent; paper
   is what follows "PAGE - " (the page name, a space, the paper code). */
inline std::string pageLogLines(int counter, const std::string &value, const std::string &box,
                                const std::string &settings, const std::string &paper)
{
  std::string n = std::to_string(counter);
  return LOG_QUOTED "PAGE " + n + " - value: " + value + "\"\n" LOG_QUOTED "PAGE " + n +
         " - Starting page - [" + box + "]\"\n" LOG_QUOTED "PAGE - " + settings +
         "\"\n" LOG_PLAIN "PAGE - " + paper + "\n" LOG_QUOTED "RCPACKET_PRN_PAGE_START was sent\"\n";
}

/* The lines of "PAGE 0 0 612 792 0 0 0 300 300 0" without a PAGENAME: the
   page most in-process tests use. */
inline std::string letterPageLogLines(int counter)
{
  return pageLogLines(counter, "0 0 612 792 0 0 0 300 300 0", "0 0 612 792",
                      "collate: 0 duplex: 0 tumble: 0 hwresX: 300 hwresY: 300 orientation: 0", " 0");
}

/* The raster line of a valid RASTER, "allocated" or (per-page mode, same
   geometry) "reused", with the address masked as <ADDR>. */
inline std::string rasterLogLine(const std::string &what, const std::string &size, int depth,
                                 int res)
{
  return LOG_PLAIN "Raster data " + what + " and cleared to white: 0x<ADDR> size: " + size +
         " depth: " + std::to_string(depth) + " res: " + std::to_string(res) + "\n";
}

/* ENDPAGE's lines for a page with a raster, sent as the fragments frags;
   align is alignPerLine. */
inline std::string endpageLogLines(const std::vector<WireRecord> &frags, int bytesPerLine,
                                   int rasterW, int nLines, int align, int sendLines, int rwsize,
                                   int pageCounter)
{
  std::string s = LOG_QUOTED "ENDPAGE - raster_data OK\"\n" LOG_QUOTED
                             "RCPACKET_PRN_BITMAP_HDR sent\"\n" LOG_PLAIN "bitmap bytesPerLine: " +
                  std::to_string(bytesPerLine) + " raster_w: " + std::to_string(rasterW) +
                  " nLines: " + std::to_string(nLines) + " alignPerLine: " + std::to_string(align) +
                  "\n" LOG_QUOTED "sendLines: " + std::to_string(sendLines) +
                  " rwsize: " + std::to_string(rwsize) + "\"\n";
  int k = 0;
  for (const WireRecord &f : frags)
  {
    s += LOG_QUOTED "lzf_compress: " + std::to_string(f.rec.dataLength) +
         " sendLength: " + std::to_string(f.rec.fragment.uncompressedLength) + "\"\n";
    s += LOG_QUOTED + std::to_string(++k) + "/" + std::to_string(nLines) +
         " RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n";
  }
  return s + LOG_QUOTED "RCPACKET_PRN_BITMAP_END sent\"\n" LOG_QUOTED "PAGE " +
         std::to_string(pageCounter) + " sent\"\n";
}

/* The same with sendLines and rwsize as the backend computes them from the
   aligned line (bytesPerLine + align): lines up to 2,000,000 bytes packed
   as many to a fragment as fit, longer ones one to a fragment. */
inline std::string endpageLogLines(const std::vector<WireRecord> &frags, int bytesPerLine,
                                   int rasterW, int nLines, int align, int pageCounter)
{
  int aligned = bytesPerLine + align;
  int sendLines = aligned == 0 ? 0 : aligned <= 2000000 ? 2000000 / aligned
                                                        : 1;
  return endpageLogLines(frags, bytesPerLine, rasterW, nLines, align, sendLines,
                         sendLines * aligned, pageCounter);
}

#endif
