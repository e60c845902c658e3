/*
 * png_io.cpp - page images and PNG files (libpng).
 *
 * libpng reports errors by longjmp() back to the setjmp() of the calling
 * function.  The two functions that call libpng therefore keep everything
 * that must survive such a jump (the FILE, the row pointers) in storage that
 * was set up before setjmp() and is only read afterwards, and hold no C++
 * objects with destructors between setjmp() and the last libpng call.
 */
#include "png_io.h"

#include <errno.h>
#include <png.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* Largest image the tools hold in memory: 1 GiB of samples, which covers a
   colour page of A3 at 1200 dpi.  Anything larger is refused, not tried. */
static const uint64_t kMaxImageBytes = 1ull << 30;

int image_init(PageImage *image, uint32_t width, uint32_t height, uint32_t channels)
{
  if (width == 0 || height == 0 || (channels != 1 && channels != 3))
  {
    fprintf(stderr, "image %ux%u with %u channels: empty or unsupported\n",
            (unsigned)width, (unsigned)height, (unsigned)channels);
    return 0;
  }
  uint64_t bytes = (uint64_t)width * height * channels;
  if (bytes > kMaxImageBytes)
  {
    fprintf(stderr, "image %ux%u with %u channels: too large (%llu bytes)\n",
            (unsigned)width, (unsigned)height, (unsigned)channels,
            (unsigned long long)bytes);
    return 0;
  }
  image->width = width;
  image->height = height;
  image->channels = channels;
  image->pixels.assign((size_t)bytes, 0xFF);
  return 1;
}

size_t image_row_bytes(const PageImage *image)
{
  return (size_t)image->width * image->channels;
}

uint8_t gray_of_rgb(uint8_t r, uint8_t g, uint8_t b)
{
  /* Integer weights so that every platform gives the same value; equal
     components give that component back (299 + 587 + 114 = 1000). */
  return (uint8_t)((299u * r + 587u * g + 114u * b + 500u) / 1000u);
}

void image_convert(PageImage *image, uint32_t channels)
{
  if (channels == image->channels || (channels != 1 && channels != 3))
    return;
  size_t count = (size_t)image->width * image->height;
  std::vector<uint8_t> out(count * channels);
  if (channels == 1)
  {
    for (size_t i = 0; i < count; i++)
      out[i] = gray_of_rgb(image->pixels[3 * i], image->pixels[3 * i + 1], image->pixels[3 * i + 2]);
  }
  else
  {
    for (size_t i = 0; i < count; i++)
      out[3 * i] = out[3 * i + 1] = out[3 * i + 2] = image->pixels[i];
  }
  image->pixels.swap(out);
  image->channels = channels;
}

/* Resolution in dots per inch to pixels per metre, rounded (pHYs unit). */
static png_uint_32 dpi_to_ppm(uint32_t dpi)
{
  return (png_uint_32)(((uint64_t)dpi * 100000u + 1270u) / 2540u);
}

/* Pixels per metre back to dots per inch, rounded. */
static uint32_t ppm_to_dpi(png_uint_32 ppm)
{
  return (uint32_t)(((uint64_t)ppm * 2540u + 50000u) / 100000u);
}

/* The libpng part of png_write_file: returns 1, or 0 after libpng's error
   (already printed by the error callback). */
static int write_png_stream(FILE *fp, const PageImage *image, png_bytep *rows)
{
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (!png)
    return 0;
  png_infop info = png_create_info_struct(png);
  if (!info)
  {
    png_destroy_write_struct(&png, nullptr);
    return 0;
  }
  if (setjmp(png_jmpbuf(png)))
  {
    png_destroy_write_struct(&png, &info);
    return 0;
  }
  png_init_io(png, fp);
  /* Pages are large and mostly flat: a fast zlib level keeps writing well
     below the time the page took to arrive, at a small cost in size. */
  png_set_compression_level(png, 3);
  png_set_IHDR(png, info, image->width, image->height, 8,
               image->channels == 3 ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_GRAY,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (image->xdpi && image->ydpi)
    png_set_pHYs(png, info, dpi_to_ppm(image->xdpi), dpi_to_ppm(image->ydpi), PNG_RESOLUTION_METER);
  png_write_info(png, info);
  png_write_image(png, rows);
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
  return 1;
}

int png_write_file(const char *path, const PageImage *image)
{
  if (image->width == 0 || image->height == 0 || (image->channels != 1 && image->channels != 3) ||
      image->pixels.size() != (size_t)image->width * image->height * image->channels)
  {
    fprintf(stderr, "PNG %s: inconsistent image\n", path);
    return 0;
  }
  std::vector<png_bytep> rows(image->height);
  size_t stride = image_row_bytes(image);
  for (uint32_t y = 0; y < image->height; y++)
    rows[y] = const_cast<png_bytep>(image->pixels.data() + (size_t)y * stride);

  FILE *fp = fopen(path, "wb");
  if (!fp)
  {
    fprintf(stderr, "PNG %s: cannot create: %s\n", path, strerror(errno));
    return 0;
  }
  int ok = write_png_stream(fp, image, rows.data());
  if (fclose(fp) != 0)
    ok = 0;
  if (!ok)
  {
    fprintf(stderr, "PNG %s: write failed\n", path);
    unlink(path);
  }
  return ok;
}

/* What read_png_stream learns about the file before it reads the rows. */
struct PngHeader
{
  png_uint_32 width, height;
  int colorType;
  png_uint_32 ppmX, ppmY;
  int hasPhys;
};

/* The libpng part of png_read_file, in two calls: with rgba null it reads
   the header into *header and stops; with rgba set (width * height * 4
   bytes) it reads the whole file again into it as 8-bit RGBA.  Returns 1 or
   0 (libpng's message already printed). */
static int read_png_stream(FILE *fp, PngHeader *header, png_bytep rgba)
{
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  if (!png)
    return 0;
  png_infop info = png_create_info_struct(png);
  if (!info)
  {
    png_destroy_read_struct(&png, nullptr, nullptr);
    return 0;
  }
  png_bytep *rows = nullptr;
  if (setjmp(png_jmpbuf(png)))
  {
    free(rows);
    png_destroy_read_struct(&png, &info, nullptr);
    return 0;
  }
  png_init_io(png, fp);
  /* Real pages exceed libpng's default limit of one million columns only in
     absurd files; keep the default limits as a guard. */
  png_read_info(png, info);
  if (!rgba)
  {
    header->width = png_get_image_width(png, info);
    header->height = png_get_image_height(png, info);
    header->colorType = png_get_color_type(png, info);
    int unit = 0;
    header->hasPhys = png_get_pHYs(png, info, &header->ppmX, &header->ppmY, &unit) &&
                      unit == PNG_RESOLUTION_METER;
    png_destroy_read_struct(&png, &info, nullptr);
    return 1;
  }
  /* Everything becomes 8-bit RGBA: palette and low bit depths expanded,
     16-bit samples scaled, gray replicated, a filler alpha where none. */
  png_set_expand(png);
  png_set_scale_16(png);
  png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  png_set_interlace_handling(png);
  png_read_update_info(png, info);
  png_uint_32 height = png_get_image_height(png, info);
  size_t stride = (size_t)png_get_image_width(png, info) * 4;
  rows = (png_bytep *)malloc(sizeof(png_bytep) * (height ? height : 1));
  if (!rows)
  {
    png_destroy_read_struct(&png, &info, nullptr);
    return 0;
  }
  for (png_uint_32 y = 0; y < height; y++)
    rows[y] = rgba + (size_t)y * stride;
  png_read_image(png, rows);
  png_read_end(png, nullptr);
  free(rows);
  rows = nullptr;
  png_destroy_read_struct(&png, &info, nullptr);
  return 1;
}

int png_read_file(const char *path, PageImage *image, uint32_t channels)
{
  FILE *fp = fopen(path, "rb");
  if (!fp)
  {
    fprintf(stderr, "PNG %s: cannot open: %s\n", path, strerror(errno));
    return 0;
  }
  PngHeader header;
  memset(&header, 0, sizeof header);
  if (!read_png_stream(fp, &header, nullptr))
  {
    fclose(fp);
    fprintf(stderr, "PNG %s: not a readable PNG file\n", path);
    return 0;
  }
  uint32_t outChannels = channels;
  if (outChannels == 0)
    outChannels = (header.colorType & PNG_COLOR_MASK_COLOR) ? 3 : 1;
  uint64_t rgbaBytes = (uint64_t)header.width * header.height * 4;
  if (header.width == 0 || header.height == 0 || rgbaBytes > kMaxImageBytes)
  {
    fclose(fp);
    fprintf(stderr, "PNG %s: %ux%u pixels: too large\n", path,
            (unsigned)header.width, (unsigned)header.height);
    return 0;
  }
  std::vector<uint8_t> rgba((size_t)rgbaBytes);
  rewind(fp);
  int ok = read_png_stream(fp, &header, rgba.data());
  fclose(fp);
  if (!ok)
  {
    fprintf(stderr, "PNG %s: not a readable PNG file\n", path);
    return 0;
  }
  if (!image_init(image, header.width, header.height, 3))
    return 0;
  size_t count = (size_t)header.width * header.height;
  for (size_t i = 0; i < count; i++)
  {
    /* Alpha over white: c * a + 255 * (255 - a), divided by 255, rounded. */
    unsigned a = rgba[4 * i + 3];
    for (int c = 0; c < 3; c++)
      image->pixels[3 * i + c] =
        (uint8_t)((rgba[4 * i + c] * a + 255u * (255u - a) + 127u) / 255u);
  }
  image_convert(image, outChannels);
  image->xdpi = header.hasPhys ? ppm_to_dpi(header.ppmX) : 0;
  image->ydpi = header.hasPhys ? ppm_to_dpi(header.ppmY) : 0;
  return 1;
}
