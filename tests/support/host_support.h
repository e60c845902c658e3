/*
 * host_support.h - helpers for the tests of the host tools: running
 * kivprinter-host as a child, building record streams the way the backend
 * does (an independent implementation of the line layout, so the receiver
 * is checked against the format and not against itself), images with
 * patterns that show any shifted, mirrored or swapped sample, and file
 * helpers.
 */
#ifndef KIVPRINTER_TEST_HOST_SUPPORT_H
#define KIVPRINTER_TEST_HOST_SUPPORT_H

#include <stdint.h>
#include <sys/types.h>

#include <string>
#include <vector>

#include "fd_io.h"
#include "png_io.h"
#include "test_files.h"
#include "unix_socket.h"
#include "rc_decoder.h"
#include "rc_encoder.h"

/* ---- files ---------------------------------------------------------- */

std::vector<std::string> hostListDir(const std::string &dir); /* sorted, no . and .. */
bool hostExists(const std::string &path);
/* Counts the non-overlapping occurrences of needle in text. */
size_t hostCount(const std::string &text, const std::string &needle);

/* ---- the receiver as a child process ---------------------------------- */

struct Receiver
{
  pid_t pid = -1;
  std::string socketPath;
  std::string outDir;
  std::string outLog, errLog; /* its standard output and error */
};

/* Starts build/bin/kivprinter-host --socket path --out outDir plus extra
   arguments, and waits (bounded) until the socket file exists.  False with
   *why when it ended or did not listen in time. */
bool receiverStart(Receiver *r, const std::string &socketPath, const std::string &outDir,
                   const std::string &logDir, const std::vector<std::string> &extra,
                   std::string *why);

/* Waits (at most timeoutSeconds) until no file is at path, so that a test
   on the backend's fixed socket does not start while another program on
   this machine still listens there (and does not connect to it to find
   out).  True when the path is free. */
bool waitUntilPathFree(const std::string &path, int timeoutSeconds);

/* Starts a receiver on the backend's fixed socket path, saving into
   dir/received and logging into dir, once the path is free: a socket file
   left there for a minute is stale, and the receiver replaces it. */
bool receiverStartOnFixedPath(Receiver *r, const std::string &dir, std::string *why);

/* Waits until the receiver's standard output (err false) or error (err
   true) holds text count times; false after timeoutSeconds. */
bool receiverWaitFor(Receiver *r, bool err, const std::string &text, int timeoutSeconds,
                     size_t count = 1);

/* Sends sig (unless 0) and waits for the end, at most timeoutSeconds (then
   SIGKILL).  Returns the exit status, 128 + signal when killed by one, -1
   on a timeout. */
int receiverStop(Receiver *r, int sig, int timeoutSeconds);

/* Waits for the receiver to end by itself (e.g. --once). */
int receiverWaitExit(Receiver *r, int timeoutSeconds);

std::string receiverOut(const Receiver *r);
std::string receiverErr(const Receiver *r);

/* ---- records ------------------------------------------------------------ */

/* The printer-name payload for an ASCII name (UTF-16LE, 16-bit zero). */
std::string namePayload(const std::string &name);

/* One record's bytes through the decoder module's encoder; the lengths are
   made consistent first unless keepLengths. */
std::string encodeRecord(rc_record rec, bool keepLengths = false);

/* Records as the backend would send them. */
rc_record simpleRecord(uint32_t id, const std::string &payload);
rc_record pageStartRecord(const std::string &payload, int paper, int color, int resolution);
rc_record bitmapHeaderRecord(const std::string &payload, uint32_t width, uint32_t height,
                             uint32_t xdpi, uint32_t ydpi);
/* A fragment of raw line bytes, compressed with lzf_compress; compressed
   receives the compressed bytes the record points into. */
rc_record fragmentRecord(const std::string &payload, const std::string &lines,
                         std::string *compressed);

/* The bitmap lines of image as the backend lays them out: bottom row
   first, each row's groups of three bytes reversed (the last partial group
   reading on into the next row, white past the last), and the padding to
   a multiple of 4 sent as zeros. */
std::string wireLines(const PageImage &image);

/* A whole job for one image: DOC_START, PAGE_START, BITMAP_HDR, fragments
   of at most linesPerFragment lines (0: the backend's own rule of 2,000,000
   bytes), BITMAP_END, PAGE_END, DOC_END. */
std::string jobStream(const PageImage &image, const std::string &printer,
                      unsigned linesPerFragment = 0);

/* ---- images and sockets --------------------------------------------------- */

/* A deterministic image in which neighbouring samples differ: a stripe of
   each component, a diagonal ramp and pseudo-random noise from seed. */
PageImage patternImage(uint32_t width, uint32_t height, uint32_t channels, uint32_t seed,
                       uint32_t dpi);

/* True for the gray widths (not a multiple of 3) at which the line layout
   moves one sample of every row into the padding, which carries nothing. */
bool grayWidthLosesASample(uint32_t width);

/* The column of that sample: the last one (width 1 modulo 3) or the one
   before it (width 2 modulo 3). */
uint32_t grayLostColumn(uint32_t width);

/* "" when equal in size, channels and every sample; otherwise where they
   first differ. */
std::string imageDifference(const PageImage &a, const PageImage &b);

/* Reads the PNG at path (keeping its channels); false when unreadable. */
bool readPng(const std::string &path, PageImage *image);

#endif
