/*
 * delivery_support.h - what the delivery tests share: a second private
 * scheduler on 127.0.0.1 standing in for the remote printer, whose queue
 * "Remote" ends in a capturing backend (a small script that saves each
 * document with its arguments, options and content type), a PWG raster
 * reader, and record streams of pages with chosen print settings.
 */
#ifndef CORVANE_DELIVERY_SUPPORT_H
#define CORVANE_DELIVERY_SUPPORT_H

#include <stdint.h>

#include <map>
#include <string>
#include <vector>

#include <cups/raster.h>
#include <gtest/gtest.h>

#include "cupsd_fixture.h"
#include "png_io.h"
#include "host_support.h"

/* The remote printer: a scheduler listening on 127.0.0.1:port. */
struct RemotePrinter
{
  CupsdFixture cupsd;
  CupsdStartOptions options;
  std::string dir;        /* the test's own folder: script and captures */
  std::string captureDir; /* dir + "/captured" (writable by the backend's user) */
  std::string uri;        /* ipp://127.0.0.1:port/printers/Remote */
};

/* Starts it with the queue "Remote" (raw, capturing backend).  False with
   *why on failure. */
bool remoteStart(RemotePrinter *remote, std::string *why);
void remoteStop(RemotePrinter *remote);

/* Makes the capturing backend wait before it takes each job until release
   is called (hold), or take them at once. */
void remoteHold(RemotePrinter *remote, bool hold);

/* One document the backend received. */
struct Captured
{
  std::string jobId, user, title, copies, optionText, contentType;
  std::map<std::string, std::string> options; /* optionText split at blanks and '=' */
  std::string document;
};

/* The documents received so far (complete ones only), by remote job id. */
std::vector<Captured> remoteCaptured(const RemotePrinter *remote);

/* Waits until at least count documents have arrived; false after
   timeoutSeconds. */
bool remoteWaitCaptured(const RemotePrinter *remote, size_t count, int timeoutSeconds);

/* One page of a PWG raster document. */
struct PwgPage
{
  cups_page_header2_t header;
  std::vector<uint8_t> pixels; /* cupsBytesPerLine per row, top-down */
};

/* Reads a whole PWG raster document; false with *why when it is not one. */
bool decodePwg(const std::string &bytes, std::vector<PwgPage> *pages, std::string *why);

/* "" when the page's pixels are image's samples exactly (same size and
   samples per pixel); otherwise where they differ. */
std::string pwgPageDifference(const PwgPage &page, const PageImage &image);

/* A page to send, with the page record's settings. */
struct PageSpec
{
  PageImage image;
  int paper = 9;          /* paper code (9 A4, 1 Letter, 5 Legal, 0 unknown) */
  int widthTenths = 2100; /* paper size in tenths of a millimetre */
  int lengthTenths = 2970;
  int duplex = 1; /* 1 simplex, 2 short edge, 3 long edge */
  int copies = 1;
};

/* The records of a job with these pages, as the backend sends them; with
   complete false the document end is left out. */
std::string deliveryJobStream(const std::vector<PageSpec> &pages, const std::string &printer,
                              bool complete = true);

/* Connects to the receiver's socket and sends bytes; false on failure. */
bool sendToHost(const std::string &socketPath, const std::string &bytes);

/* The value of a job.json's top-level "delivery" object's key, as text
   (strings without their quotes); empty when absent. */
std::string deliveryField(const std::string &jobJson, const std::string &key);

/* The first job folder under outDir whose name starts with the number
   (e.g. "0001-"), as a full path; empty when there is none. */
std::string jobFolder(const std::string &outDir, unsigned job);

/* Checks (with gtest assertions) one captured job against the pages sent:
   PWG raster, each page's pixels, resolution, colour space and duplex, and
   the job's media, sides, print-color-mode and copies. */
void expectDelivered(const Captured &c, const std::vector<PageSpec> &pages, const std::string &media,
                     const std::string &sides, const std::string &colorMode);

/* The fixture of the delivery tests: one remote printer per test program,
   a fresh folder per test (socket, spool, logs), no captures left over. */
class HostDelivery : public ::testing::Test
{
protected:
  static RemotePrinter *remote;
  static std::string remoteWhy;
  std::string dir, socketPath, out;
  Receiver r;

  static void SetUpTestSuite();
  static void TearDownTestSuite();
  void SetUp() override;
  void TearDown() override;
  /* Starts kivprinter-host on socketPath, spooling into out, forwarding to
     the remote printer with waits of at most 2 s, plus extra arguments. */
  void startHost(const std::vector<std::string> &extra = {});
};

#endif
