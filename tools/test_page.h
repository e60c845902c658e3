/*
 * test_page.h - the built-in test page and the paper sizes it is drawn at.
 *
 * The test page is drawn by the program itself, so that a print stream can
 * be made without any image file: a frame with corner marks, a grid, colour
 * bars, gray and colour gradients and a few filled and outlined shapes.  It
 * holds no text.  Everything is computed in integers from the page size, so
 * the same size always gives the same pixels on every platform.
 */
#ifndef KIVPRINTER_TEST_PAGE_H
#define KIVPRINTER_TEST_PAGE_H

#include <stdint.h>

#include "png_io.h"

/* Size of a paper in points (1/72 inch), portrait. */
struct PaperSize
{
  const char *name; /* the paper name the print stream uses */
  uint32_t widthPt;
  uint32_t heightPt;
};

/* The size of a paper the test page knows by name, or null.  Covers the
   common office sizes; other names need an explicit size. */
const PaperSize *paper_size_by_name(const char *name);

/* Points to pixels at dpi, rounded to the nearest pixel (at least 1). */
uint32_t points_to_pixels(uint32_t points, uint32_t dpi);

/* Pixels at dpi back to whole points, rounded; what a page box needs. */
uint32_t pixels_to_points(uint32_t pixels, uint32_t dpi);

/* Draws the test page into image (replacing its contents): width x height
   pixels, channels 3 (RGB) or 1 (gray, the luminance of the colour page).
   Returns 0 when the size cannot be held (image_init's message). */
int draw_test_page(PageImage *image, uint32_t width, uint32_t height, uint32_t channels);

#endif
