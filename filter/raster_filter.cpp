/*
 * raster_filter.cpp - CUPS raster in, print stream out.
 *
 * The stream for a job of n pages:
 *
 *   PRINTERMODEL                       (the backend uses the queue's description)
 *   DOCUMENT <title>
 *   COLORDEVICE 1|0                    (again when a page changes it)
 *   PAGENAME <paper>                   \
 *   PAGE 0 0 W H collate duplex tumble hwresX hwresY orientation
 *   RASTER width height depth           } per page
 *   LINE n, then n bytes               (one per row)
 *   ENDPAGE                            /
 *   ENDDOCUMENT
 *
 * Rows are 8-bit RGB (depth 3) or 8-bit gray (depth 1, 0xFF white).
 */
#include "raster_filter.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <cups/cups.h>

#include "command_value.h"
#include "paper_name.h"

/*
 * 'rasterInputRead()' - Hand libcups the next bytes of the raster.
 */
ssize_t rasterInputRead(void *ctx, unsigned char *buffer, size_t length)
{
  RasterInput *in = (RasterInput *)ctx;
  if (in->data)
  {
    size_t left = in->size - in->pos;
    size_t n = length < left ? length : left;
    memcpy(buffer, in->data + in->pos, n);
    in->pos += n;
    if (n == 0)
      in->ended = 1;
    return (ssize_t)n;
  }
  for (;;)
  {
    ssize_t n = read(in->fd, buffer, length);
    if (n < 0 && (errno == EINTR || errno == EAGAIN))
      continue;
    if (n < 0)
    {
      in->error = errno;
      in->ended = 1;
      return -1;
    }
    if (n == 0)
      in->ended = 1;
    in->pos += (size_t)n;
    return n;
  }
}

/*
 * 'uriAsksPerPage()' - Whether the device URI's query holds raster=per-page.
 */
int uriAsksPerPage(const char *uri)
{
  if (!uri)
    return 0;
  const char *query = strchr(uri, '?');
  if (!query)
    return 0;
  const char *p = query + 1;
  while (*p)
  {
    size_t len = strcspn(p, "&");
    if (len == 15 && !strncmp(p, "raster=per-page", 15))
      return 1;
    p += len;
    if (*p == '&')
      p++;
  }
  return 0;
}

/*
 * 'enumValue()' - An enumerated header field as the number that arrived.
 * The header comes from the input, so a field may hold a value outside
 * its enumeration, which must not be loaded as the enumeration type.
 */
static unsigned int enumValue(const void *field)
{
  unsigned int v;
  memcpy(&v, field, sizeof(v));
  return v;
}

/*
 * 'colorSpaceName()' - A colour space's name for messages.
 */
static const char *colorSpaceName(unsigned int cs)
{
  static const char *const names[] = {
    "W", "RGB", "RGBA", "K", "CMY", "YMC", "CMYK", "YMCK", "KCMY", "KCMYcm",
    "GMCK", "GMCS", "WHITE", "GOLD", "SILVER", "CIEXYZ", "CIELab", "RGBW",
    "SW", "sRGB", "AdobeRGB"};
  if (cs < sizeof(names) / sizeof(names[0]))
    return names[cs];
  if (cs >= CUPS_CSPACE_ICC1 && cs <= CUPS_CSPACE_ICCF)
    return "ICC";
  if (cs >= CUPS_CSPACE_DEVICE1 && cs <= CUPS_CSPACE_DEVICEF)
    return "DeviceN";
  return "unknown";
}

/*
 * 'colorOrderName()' - A colour order's name for messages.
 */
static const char *colorOrderName(unsigned int order)
{
  switch (order)
  {
    case CUPS_ORDER_CHUNKED:
      return "chunky";
    case CUPS_ORDER_BANDED:
      return "banded";
    case CUPS_ORDER_PLANAR:
      return "planar";
    default:
      return "unknown";
  }
}

/*
 * 'pageDepth()' - Bytes per pixel that the page goes out with: 3 for 8-bit
 * chunky RGB, 1 for 8-bit gray or black; 0 for anything else.
 */
static unsigned int pageDepth(const cups_page_header2_t *h)
{
  if (h->cupsBitsPerColor != 8 || enumValue(&h->cupsColorOrder) != CUPS_ORDER_CHUNKED)
    return 0;
  switch (enumValue(&h->cupsColorSpace))
  {
    case CUPS_CSPACE_RGB:
    case CUPS_CSPACE_SRGB:
    case CUPS_CSPACE_ADOBERGB:
      return h->cupsBitsPerPixel == 24 ? 3 : 0;
    case CUPS_CSPACE_W:
    case CUPS_CSPACE_SW:
    case CUPS_CSPACE_K:
      return h->cupsBitsPerPixel == 8 ? 1 : 0;
    default:
      return 0;
  }
}

/* Where a page's raster goes on the page that is sent. */
struct Placement
{
  unsigned int width, height; /* the page sent, in pixels */
  unsigned int left, top;     /* where the raster's first pixel goes */
};

/*
 * 'placeRaster()' - The page that is sent for a raster.  Most rasters cover
 * the whole sheet (the PPD has no margins), but a filter may send only the
 * area it printed on (imagetoraster does for a picture smaller than the
 * page): the records carry no offset, so such a raster is put onto a white
 * page of the full size, at the place of its imaging box.
 */
static Placement placeRaster(const cups_page_header2_t *h)
{
  Placement p = {h->cupsWidth, h->cupsHeight, 0, 0};
  unsigned long long fullW = ((unsigned long long)h->PageSize[0] * h->HWResolution[0] + 36) / 72;
  unsigned long long fullH = ((unsigned long long)h->PageSize[1] * h->HWResolution[1] + 36) / 72;
  /* A pixel or two less is rounding, not a smaller area. */
  if (fullW > (unsigned long long)h->cupsWidth + 2)
  {
    unsigned long long left = ((unsigned long long)h->ImagingBoundingBox[0] * h->HWResolution[0] + 36) / 72;
    p.width = (unsigned int)fullW;
    p.left = (unsigned int)(left < fullW - h->cupsWidth ? left : fullW - h->cupsWidth);
  }
  if (fullH > (unsigned long long)h->cupsHeight + 2)
  {
    unsigned long long above = h->PageSize[1] > h->ImagingBoundingBox[3] ? h->PageSize[1] - h->ImagingBoundingBox[3] : 0;
    unsigned long long top = (above * h->HWResolution[1] + 36) / 72;
    p.height = (unsigned int)fullH;
    p.top = (unsigned int)(top < fullH - h->cupsHeight ? top : fullH - h->cupsHeight);
  }
  return p;
}

/*
 * 'checkPage()' - Refuse a page header that cannot be sent, with one
 * "ERROR:" line saying why; 1 when the page can go out.
 */
static int checkPage(const cups_page_header2_t *h, int page, unsigned int depth,
                     unsigned long long maxPageBytes, FILE *log)
{
  if (!depth)
  {
    fprintf(log, "ERROR: Page %d is %u-bit %s raster in %s order, which this printer cannot take: it needs 8-bit chunky RGB or gray; choose ColorModel RGB or Gray in the printer's options.\n",
            page, h->cupsBitsPerColor, colorSpaceName(enumValue(&h->cupsColorSpace)), colorOrderName(enumValue(&h->cupsColorOrder)));
    return 0;
  }
  if (h->cupsWidth == 0 || h->cupsHeight == 0)
  {
    fprintf(log, "ERROR: Page %d has an empty raster (%u x %u pixels).\n", page, h->cupsWidth, h->cupsHeight);
    return 0;
  }
  if (h->PageSize[0] == 0 || h->PageSize[1] == 0 || h->PageSize[0] > FILTER_MAX_PAGE_POINTS ||
      h->PageSize[1] > FILTER_MAX_PAGE_POINTS)
  {
    fprintf(log, "ERROR: Page %d has an impossible page size (%u x %u points).\n", page, h->PageSize[0], h->PageSize[1]);
    return 0;
  }
  if (h->HWResolution[0] == 0 || h->HWResolution[1] == 0 || h->HWResolution[0] > FILTER_MAX_RESOLUTION ||
      h->HWResolution[1] > FILTER_MAX_RESOLUTION)
  {
    fprintf(log, "ERROR: Page %d has an impossible resolution (%u x %u dpi).\n", page, h->HWResolution[0], h->HWResolution[1]);
    return 0;
  }
  unsigned long long rowBytes = (unsigned long long)h->cupsWidth * depth;
  Placement p = placeRaster(h);
  unsigned long long pageRowBytes = (unsigned long long)p.width * depth;
  if (pageRowBytes > FILTER_MAX_ROW_BYTES || pageRowBytes * p.height > maxPageBytes)
  {
    fprintf(log, "ERROR: Page %d is too large (%u x %u pixels); choose a lower Resolution or a smaller PageSize.\n", page, p.width, p.height);
    return 0;
  }
  if (h->cupsBytesPerLine < rowBytes || h->cupsBytesPerLine > rowBytes + 64)
  {
    fprintf(log, "ERROR: Page %d has an invalid raster header (%u bytes per line for %u pixels).\n", page, h->cupsBytesPerLine, h->cupsWidth);
    return 0;
  }
  return 1;
}

/*
 * 'isCancelled()' - Whether the job has been cancelled (SIGTERM).
 */
static int isCancelled(const FilterSettings *s)
{
  return s->cancelled && *s->cancelled;
}

/*
 * 'endCancelled()' - End a cancelled job: what is buffered goes out (whole
 * rows only, never ENDPAGE), so the backend drops the unfinished page and
 * the host sees the document end without its closing record.
 */
static int endCancelled(StreamOut *out, int page, FILE *log)
{
  streamOutFlush(out);
  fprintf(log, "INFO: Job cancelled during page %d.\n", page);
  return 0;
}

/*
 * 'writeFailed()' - Report a failed write of the stream.
 */
static int writeFailed(const StreamOut *out, const FilterSettings *s)
{
  if (isCancelled(s))
    return 0;
  fprintf(s->log, "ERROR: Unable to send the print data to the backend: %s\n", strerror(out->error));
  return 1;
}

/*
 * 'rasterToStream()' - The filter's work: every page of ras to out.
 */
int rasterToStream(cups_raster_t *ras, RasterInput *input, StreamOut *out,
                   const FilterSettings *s)
{
  FILE *log = s->log;
  cups_page_header2_t h;
  unsigned char *row = NULL;
  size_t rowCap = 0;
  int page = 0;
  int colour = -1;
  int status = 0;
  size_t posAtPageEnd = input->pos;

  for (;;)
  {
    if (isCancelled(s))
      return endCancelled(out, page, log);
    memset(&h, 0, sizeof(h));
    if (!cupsRasterReadHeader2(ras, &h))
    {
      if (isCancelled(s))
        return endCancelled(out, page, log);
      /* The input ends cleanly only where a page ended and nothing
         followed; any byte after that belonged to a header that was cut
         short or refused. */
      if (input->error)
      {
        fprintf(log, "ERROR: Unable to read the raster data: %s\n", strerror(input->error));
        status = 1;
      }
      else if (input->pos != posAtPageEnd || !input->ended)
      {
        fprintf(log, "ERROR: The raster header of page %d is truncated or invalid.\n", page + 1);
        status = 1;
      }
      break;
    }
    page++;

    unsigned int depth = pageDepth(&h);
    if (!checkPage(&h, page, depth, s->maxPageBytes ? s->maxPageBytes : FILTER_MAX_PAGE_BYTES, log))
    {
      status = 1;
      break;
    }

    if (page == 1)
    {
      char title[2 * 255 + 2];
      escapeCommandValue(s->title ? s->title : "", 255, title);
      streamOutLine(out, "PRINTERMODEL");
      streamOutLine(out, title[0] ? "DOCUMENT %s" : "DOCUMENT", title);
    }
    else if (page == 2 && !s->perPage)
      fprintf(log, "WARNING: This job has more than one page, but the printer's device URI does not ask for per-page rasters (?raster=per-page): every later page will print as a copy of the first.\n");

    int isColour = depth == 3;
    if (isColour != colour)
    {
      streamOutLine(out, "COLORDEVICE %d", isColour);
      colour = isColour;
    }

    char paper[PAPER_NAME_MAX + 1];
    char paperValue[2 * PAPER_NAME_MAX + 2];
    choosePaperName(&h, paper);
    escapeCommandValue(paper, PAPER_NAME_MAX, paperValue);
    streamOutLine(out, "PAGENAME %s", paperValue);
    streamOutLine(out, "PAGE 0 0 %u %u %d %d %d %u %u %d", h.PageSize[0], h.PageSize[1],
                  enumValue(&h.Collate) ? 1 : 0, enumValue(&h.Duplex) ? 1 : 0, enumValue(&h.Tumble) ? 1 : 0,
                  h.HWResolution[0], h.HWResolution[1], (int)(enumValue(&h.Orientation) & 3));
    Placement place = placeRaster(&h);
    streamOutLine(out, "RASTER %u %u %u", place.width, place.height, depth);
    fprintf(log, "INFO: Printing page %d (%s, %ux%u dpi, %s).\n", page, paper,
            h.HWResolution[0], h.HWResolution[1], depth == 3 ? "colour" : "gray");
    if (place.width != h.cupsWidth || place.height != h.cupsHeight)
      fprintf(log, "DEBUG: Page %d: raster of %ux%u pixels placed at %u,%u on a white page of %ux%u.\n",
              page, h.cupsWidth, h.cupsHeight, place.left, place.top, place.width, place.height);

    /* A row is built where it goes out: its LINE command, then the page's
       line, straight in the output buffer's free space, the raster's line
       read by libcups at its place in it and the rest white.  The room
       taken is the larger of the page's line and the raster's line with
       its padding; only the page's line is taken into the stream, so the
       padding is overwritten by the next row and never sent.  A row too
       large for the output buffer is built in a row buffer instead and
       written from there. */
    unsigned int pageRowBytes = place.width * depth;
    size_t leftBytes = (size_t)place.left * depth;
    size_t span = leftBytes + h.cupsBytesPerLine;
    if (span < pageRowBytes)
      span = pageRowBytes;
    char lineCommand[32];
    int lineLen = snprintf(lineCommand, sizeof(lineCommand), "LINE %u\n", pageRowBytes);
    int inPlace = (size_t)lineLen + span <= STREAM_OUT_BUFFER;
    if (!inPlace)
    {
      if (span > rowCap)
      {
        free(row);
        rowCap = span;
        row = (unsigned char *)malloc(rowCap);
        if (!row)
        {
          fprintf(log, "ERROR: Unable to allocate memory for a raster line of %zu bytes.\n", span);
          return 1;
        }
      }
      /* The left margin stays white for the whole page. */
      memset(row, 0xFF, rowCap);
    }

    unsigned int rowBytes = h.cupsWidth * depth;
    size_t rightBytes = pageRowBytes > leftBytes + rowBytes ? pageRowBytes - leftBytes - rowBytes : 0;
    int invert = enumValue(&h.cupsColorSpace) == CUPS_CSPACE_K;
    unsigned int lastTenth = 0;
    /* The first row at which the progress reaches its next tenth. */
    unsigned long long nextProgress = ((unsigned long long)place.height + 9) / 10;

    for (unsigned int y = 0; y < place.height; y++)
    {
      if (isCancelled(s))
      {
        free(row);
        return endCancelled(out, page, log);
      }
      unsigned char *line = row;
      if (inPlace)
      {
        unsigned char *room = streamOutReserve(out, (size_t)lineLen + span);
        if (!room)
        {
          free(row);
          return writeFailed(out, s);
        }
        memcpy(room, lineCommand, (size_t)lineLen);
        line = room + lineLen;
      }
      int fromRaster = y >= place.top && y - place.top < h.cupsHeight;
      if (!fromRaster)
      {
        /* A white line above or below the raster. */
        memset(line, 0xFF, pageRowBytes);
      }
      else
      {
        unsigned char *at = line + leftBytes;
        if (inPlace && leftBytes)
          memset(line, 0xFF, leftBytes);
        if (cupsRasterReadPixels(ras, at, h.cupsBytesPerLine) != h.cupsBytesPerLine)
        {
          free(row);
          if (isCancelled(s))
            return endCancelled(out, page, log);
          if (input->error)
            fprintf(log, "ERROR: Unable to read the raster data: %s\n", strerror(input->error));
          else
            fprintf(log, "ERROR: Page %d ends early: %u of its %u rows arrived.\n", page, y - place.top, h.cupsHeight);
          streamOutFlush(out);
          return 1;
        }
        if (invert)
        {
          for (unsigned int i = 0; i < rowBytes; i++)
            at[i] = (unsigned char)(0xFF - at[i]);
        }
        /* Row padding beyond the pixels is not sent; on a wider page the
           padding's place is white again. */
        if (rightBytes)
          memset(at + rowBytes, 0xFF, rightBytes);
      }
      if (inPlace)
        streamOutCommit(out, (size_t)lineLen + pageRowBytes);
      else
      {
        streamOutWrite(out, lineCommand, (size_t)lineLen);
        if (!streamOutWrite(out, row, pageRowBytes))
        {
          free(row);
          return writeFailed(out, s);
        }
      }
      if (y + 1ull >= nextProgress)
      {
        unsigned int tenth = (unsigned int)((unsigned long long)(y + 1) * 10 / place.height);
        if (tenth < 10)
        {
          lastTenth = tenth;
          fprintf(log, "INFO: Printing page %d, %u%% complete.\n", page, tenth * 10);
          fprintf(log, "ATTR: job-media-progress=%u\n", tenth * 10);
          nextProgress = ((unsigned long long)(lastTenth + 1) * place.height + 9) / 10;
        }
      }
    }

    streamOutLine(out, "ENDPAGE");
    if (!streamOutFlush(out))
    {
      free(row);
      return writeFailed(out, s);
    }
    posAtPageEnd = input->pos;
    fprintf(log, "ATTR: job-media-progress=100\n");
    fprintf(log, "PAGE: %d 1\n", page);
  }
  free(row);

  if (status)
  {
    streamOutFlush(out);
    return status;
  }
  if (page == 0)
  {
    fprintf(log, "ERROR: No pages found.\n");
    return 1;
  }
  streamOutLine(out, "ENDDOCUMENT");
  if (!streamOutFlush(out))
    return writeFailed(out, s);
  fprintf(log, "INFO: Sent %d page%s.\n", page, page == 1 ? "" : "s");
  return 0;
}
