/*
 * raster_read_min.c - the least a reader of a CUPS raster file does: every
 * page header and every row through cupsRasterReadPixels, nothing else.
 * The filter benchmark sets the filter's CPU time against this program's.
 *
 *   bench_raster_read FILE     status 0 when at least one page was read
 */
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cups/raster.h>

int main(int argc, char **argv)
{
  cups_page_header2_t header;
  cups_raster_t *ras;
  unsigned char *row = NULL;
  unsigned pages = 0;
  int fd;

  if (argc != 2 || (fd = open(argv[1], O_RDONLY)) < 0)
    return 2;
  ras = cupsRasterOpen(fd, CUPS_RASTER_READ);
  if (!ras)
    return 2;
  while (cupsRasterReadHeader2(ras, &header))
  {
    unsigned y;

    free(row);
    row = (unsigned char *)malloc(header.cupsBytesPerLine ? header.cupsBytesPerLine : 1);
    if (!row)
      return 2;
    for (y = 0; y < header.cupsHeight; y++)
      if (cupsRasterReadPixels(ras, row, header.cupsBytesPerLine) != header.cupsBytesPerLine)
        return 2;
    pages++;
  }
  free(row);
  cupsRasterClose(ras);
  close(fd);
  return pages ? 0 : 1;
}
