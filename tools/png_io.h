/*
 * png_io.h - page images in memory and their PNG files.
 *
 * The host tools keep a page as a plain record of 8-bit samples, one or
 * three per pixel, rows top to bottom with no padding.  Pages are written as
 * 8-bit RGB (three channels) or 8-bit gray (one channel) PNG files with the
 * page's resolution in the pHYs chunk; any PNG can be read back, converted
 * to 8-bit RGB or gray (alpha is laid over a white page).
 */
#ifndef KIVPRINTER_PNG_IO_H
#define KIVPRINTER_PNG_IO_H

#include <stdint.h>
#include <string>
#include <vector>

struct PageImage
{
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t channels = 0;       /* 3: RGB, 1: gray */
  uint32_t xdpi = 0, ydpi = 0; /* 0: unknown */
  std::vector<uint8_t> pixels; /* width * channels bytes per row */
};

/* Makes an image of the given size filled with white; returns 0 (and logs)
   when the size is 0 or too large to hold in memory. */
int image_init(PageImage *image, uint32_t width, uint32_t height, uint32_t channels);

/* Bytes of one row: width * channels. */
size_t image_row_bytes(const PageImage *image);

/* Writes image as a PNG file (8-bit RGB or gray, pHYs from xdpi/ydpi when
   known).  Returns 1, or 0 after writing an error line to standard error
   (the partial file is removed). */
int png_write_file(const char *path, const PageImage *image);

/* Reads any PNG file into image as 8-bit samples: channels 3 gives RGB,
   1 gives gray (luminance), 0 keeps what the file has (gray files stay
   gray, everything else becomes RGB).  Alpha is composed over white.  The
   pHYs resolution, when given in pixels per metre, fills xdpi/ydpi.
   Returns 1, or 0 after an error line on standard error. */
int png_read_file(const char *path, PageImage *image, uint32_t channels);

/* Converts an RGB image to gray with integer luminance weights
   (299, 587, 114 per thousand, rounded) or a gray one to RGB; same channels:
   no change. */
void image_convert(PageImage *image, uint32_t channels);

/* The gray value the tools use for an RGB pixel. */
uint8_t gray_of_rgb(uint8_t r, uint8_t g, uint8_t b);

#endif
