/*
 * pwg_spool.cpp - PWG raster documents written with libcups's raster API.
 */
#include "pwg_spool.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <cups/cups.h>

#include "host_log.h"
#include "paper_table.h"

void print_settings_from_page(const rc_page_start_fields &page, PrintSettings *settings)
{
  settings->copies = page.copies > 0 ? page.copies : 1;
  /* The page record's duplex code: 1 simplex, 2 vertical (short edge),
     3 horizontal (long edge). */
  if (page.duplex == 3)
    settings->sides = "two-sided-long-edge";
  else if (page.duplex == 2)
    settings->sides = "two-sided-short-edge";
  else
    settings->sides = "one-sided";
  settings->media = pwg_media_name(page.paperSize > 0 ? (unsigned)page.paperSize : 0u,
                                   page.paperWidth, page.paperLength);
  settings->colorMode = page.color == 1 ? "monochrome" : "color";
}

std::string pwg_media_name(unsigned paperCode, int widthTenths, int lengthTenths)
{
  const char *legacy = paperCode ? GetPaperNameForCode(paperCode) : nullptr;
  pwg_media_t *media = legacy ? pwgMediaForPPD(legacy) : nullptr;
  if (!media && widthTenths > 0 && lengthTenths > 0)
    media = pwgMediaForSize(widthTenths * 10, lengthTenths * 10); /* hundredths of a mm */
  /* The name may live in a per-thread buffer: copy it at once. */
  return media && media->pwg ? std::string(media->pwg) : std::string();
}

int pwg_spool_open(PwgSpool *spool, const std::string &path, unsigned job)
{
  spool->path = path;
  spool->pages = 0;
  spool->failed = false;
  spool->fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (spool->fd < 0)
  {
    host_printf(2, "kivprinter-host: job %u: cannot create %s: %s", job, path.c_str(), strerror(errno));
    spool->failed = true;
    return 0;
  }
  spool->raster = cupsRasterOpen(spool->fd, CUPS_RASTER_WRITE_PWG);
  if (!spool->raster)
  {
    host_printf(2, "kivprinter-host: job %u: cannot start a PWG raster in %s: %s", job, path.c_str(),
                cupsRasterErrorString());
    close(spool->fd);
    spool->fd = -1;
    spool->failed = true;
    return 0;
  }
  return 1;
}

/* The resolution to put in the page header: the bitmap's own, or (when the
   stream gave none) the one that makes the bitmap fill the paper. */
static unsigned header_resolution(uint32_t dpi, uint32_t pixels, int tenths)
{
  if (dpi > 0)
    return dpi;
  if (tenths > 0)
  {
    uint64_t fit = ((uint64_t)pixels * 254 + (uint64_t)tenths / 2) / (uint64_t)tenths;
    if (fit > 0 && fit < 100000)
      return (unsigned)fit;
  }
  return 72;
}

int pwg_spool_add_page(PwgSpool *spool, const PageImage &image, const rc_page_start_fields &page,
                       unsigned job)
{
  if (!spool->raster || spool->failed)
    return 0;
  PrintSettings settings;
  print_settings_from_page(page, &settings);
  unsigned xdpi = header_resolution(image.xdpi, image.width, page.paperWidth);
  unsigned ydpi = header_resolution(image.ydpi, image.height, page.paperLength);

  /* The paper: its PWG entry when known, else a custom size that the
     bitmap fills at its resolution. */
  pwg_media_t *media = settings.media.empty() ? nullptr : pwgMediaForPWG(settings.media.c_str());
  pwg_media_t custom;
  char customName[64];
  if (!media)
  {
    memset(&custom, 0, sizeof custom);
    custom.width = (int)(((uint64_t)image.width * 2540 + xdpi / 2) / xdpi);
    custom.length = (int)(((uint64_t)image.height * 2540 + ydpi / 2) / ydpi);
    pwgFormatSizeName(customName, sizeof customName, "custom", nullptr, custom.width, custom.length, nullptr);
    custom.pwg = customName;
    media = &custom;
  }

  cups_page_header2_t header;
  const char *type = image.channels == 3 ? "srgb_8" : "sgray_8";
  if (!cupsRasterInitPWGHeader(&header, media, type, (int)xdpi, (int)ydpi, settings.sides.c_str(), nullptr))
  {
    host_printf(2, "kivprinter-host: job %u: page %u: no PWG page header: %s", job, spool->pages + 1,
                cupsRasterErrorString());
    spool->failed = true;
    return 0;
  }
  /* The bitmap's own size, whatever the paper: the pixels go as they came. */
  header.cupsWidth = image.width;
  header.cupsHeight = image.height;
  header.cupsBytesPerLine = image.width * image.channels;
  header.NumCopies = (unsigned)settings.copies;
  /* The paper in whole points, rounded (A4 is 595 x 842, as its PPD name
     says; the library's header truncates to 841). */
  header.PageSize[0] = (unsigned)((media->width * 72 + 1270) / 2540);
  header.PageSize[1] = (unsigned)((media->length * 72 + 1270) / 2540);
  header.cupsPageSize[0] = (float)(media->width * 72.0 / 2540.0);
  header.cupsPageSize[1] = (float)(media->length * 72.0 / 2540.0);

  size_t rowBytes = image_row_bytes(&image);
  bool ok = cupsRasterWriteHeader2(spool->raster, &header) != 0;
  for (uint32_t y = 0; ok && y < image.height; y++)
  {
    unsigned char *row = const_cast<unsigned char *>(image.pixels.data() + (size_t)y * rowBytes);
    ok = cupsRasterWritePixels(spool->raster, row, (unsigned)rowBytes) == rowBytes;
  }
  if (!ok)
  {
    host_printf(2, "kivprinter-host: job %u: page %u: cannot write %s: %s", job, spool->pages + 1,
                spool->path.c_str(), errno ? strerror(errno) : cupsRasterErrorString());
    spool->failed = true;
    return 0;
  }
  spool->pages++;
  return 1;
}

int pwg_spool_close(PwgSpool *spool, unsigned job)
{
  int ok = !spool->failed;
  if (spool->raster)
  {
    cupsRasterClose(spool->raster);
    spool->raster = nullptr;
  }
  if (spool->fd >= 0)
  {
    if (fsync(spool->fd) != 0 && ok)
    {
      host_printf(2, "kivprinter-host: job %u: cannot write %s: %s", job, spool->path.c_str(), strerror(errno));
      ok = 0;
    }
    if (close(spool->fd) != 0 && ok)
    {
      host_printf(2, "kivprinter-host: job %u: cannot write %s: %s", job, spool->path.c_str(), strerror(errno));
      ok = 0;
    }
    spool->fd = -1;
  }
  if (!ok)
    spool->failed = true;
  return ok;
}
