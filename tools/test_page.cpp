/*
 * test_page.cpp - draws the built-in test page.
 *
 * The page is laid out in fractions of its width and height, so it looks
 * the same at 75 dpi and at 600 dpi.  Drawing happens in RGB; a gray page is
 * the luminance of the colour one.  All geometry is integer arithmetic
 * (64-bit where products of coordinates occur), clipped to the image.
 */
#include "test_page.h"

#include <stddef.h>
#include <string.h>

/* Common office papers, portrait, in points. */
static const PaperSize kPapers[] = {
  {"A3", 842, 1191},
  {"A4", 595, 842},
  {"A5", 420, 595},
  {"A6", 298, 420},
  {"B4", 729, 1032},
  {"B5", 516, 729},
  {"Letter", 612, 792},
  {"Legal", 612, 1008},
  {"Executive", 522, 756},
  {"Statement", 396, 612},
  {"Tabloid", 792, 1224},
  {"Ledger", 1224, 792},
  {"Folio", 612, 936},
  {"Quarto", 610, 780},
  {"Postcard", 283, 420},
  {"EnvDL", 312, 624},
  {"EnvC5", 459, 649},
  {"Env10", 297, 684},
  {"EnvMonarch", 279, 540},
};

const PaperSize *paper_size_by_name(const char *name)
{
  if (!name)
    return nullptr;
  for (const PaperSize &p : kPapers)
    if (strcmp(p.name, name) == 0)
      return &p;
  return nullptr;
}

uint32_t points_to_pixels(uint32_t points, uint32_t dpi)
{
  uint64_t px = ((uint64_t)points * dpi + 36) / 72;
  if (px == 0)
    px = 1;
  return px > 0xFFFFFFFFu ? 0xFFFFFFFFu : (uint32_t)px;
}

uint32_t pixels_to_points(uint32_t pixels, uint32_t dpi)
{
  if (dpi == 0)
    return 0;
  uint64_t pt = ((uint64_t)pixels * 72 + dpi / 2) / dpi;
  return pt > 0xFFFFFFFFu ? 0xFFFFFFFFu : (uint32_t)pt;
}

namespace {

struct Rgb
{
  uint8_t r, g, b;
};

const Rgb kBlack = {0, 0, 0};
const Rgb kGridGray = {200, 200, 200};
const Rgb kRed = {220, 30, 30};
const Rgb kGreen = {30, 170, 60};
const Rgb kBlue = {30, 60, 210};
const Rgb kOrange = {245, 150, 20};

/* The canvas: an RGB image drawn with clipping. */
struct Canvas
{
  PageImage *image;
  int64_t w, h;
};

void put(Canvas *c, int64_t x, int64_t y, Rgb color)
{
  if (x < 0 || y < 0 || x >= c->w || y >= c->h)
    return;
  uint8_t *p = c->image->pixels.data() + ((size_t)y * (size_t)c->w + (size_t)x) * 3;
  p[0] = color.r;
  p[1] = color.g;
  p[2] = color.b;
}

/* Fills the rectangle [x0, x1) x [y0, y1), clipped. */
void fill_rect(Canvas *c, int64_t x0, int64_t y0, int64_t x1, int64_t y1, Rgb color)
{
  if (x0 < 0)
    x0 = 0;
  if (y0 < 0)
    y0 = 0;
  if (x1 > c->w)
    x1 = c->w;
  if (y1 > c->h)
    y1 = c->h;
  for (int64_t y = y0; y < y1; y++)
    for (int64_t x = x0; x < x1; x++)
      put(c, x, y, color);
}

/* Outline of the rectangle [x0, x1) x [y0, y1), t pixels thick, inside it. */
void frame_rect(Canvas *c, int64_t x0, int64_t y0, int64_t x1, int64_t y1, int64_t t, Rgb color)
{
  fill_rect(c, x0, y0, x1, y0 + t, color);
  fill_rect(c, x0, y1 - t, x1, y1, color);
  fill_rect(c, x0, y0, x0 + t, y1, color);
  fill_rect(c, x1 - t, y0, x1, y1, color);
}

/* Pixels whose centre lies within r of (cx, cy), and beyond inner (a ring
   when inner > 0). */
void fill_ring(Canvas *c, int64_t cx, int64_t cy, int64_t r, int64_t inner, Rgb color)
{
  for (int64_t y = cy - r; y <= cy + r; y++)
    for (int64_t x = cx - r; x <= cx + r; x++)
    {
      int64_t d = (x - cx) * (x - cx) + (y - cy) * (y - cy);
      if (d <= r * r && d >= inner * inner)
        put(c, x, y, color);
    }
}

/* Twice the signed area of (a, b, p): which side of a->b the point p is. */
int64_t edge(int64_t ax, int64_t ay, int64_t bx, int64_t by, int64_t px, int64_t py)
{
  return (bx - ax) * (py - ay) - (by - ay) * (px - ax);
}

/* A filled triangle: pixels on the inner side of all three edges. */
void fill_triangle(Canvas *c, int64_t x0, int64_t y0, int64_t x1, int64_t y1,
                   int64_t x2, int64_t y2, Rgb color)
{
  int64_t minx = x0 < x1 ? (x0 < x2 ? x0 : x2) : (x1 < x2 ? x1 : x2);
  int64_t maxx = x0 > x1 ? (x0 > x2 ? x0 : x2) : (x1 > x2 ? x1 : x2);
  int64_t miny = y0 < y1 ? (y0 < y2 ? y0 : y2) : (y1 < y2 ? y1 : y2);
  int64_t maxy = y0 > y1 ? (y0 > y2 ? y0 : y2) : (y1 > y2 ? y1 : y2);
  int64_t area = edge(x0, y0, x1, y1, x2, y2);
  if (area == 0)
    return;
  for (int64_t y = miny; y <= maxy; y++)
    for (int64_t x = minx; x <= maxx; x++)
    {
      int64_t e0 = edge(x0, y0, x1, y1, x, y);
      int64_t e1 = edge(x1, y1, x2, y2, x, y);
      int64_t e2 = edge(x2, y2, x0, y0, x, y);
      bool inside = area > 0 ? (e0 >= 0 && e1 >= 0 && e2 >= 0) : (e0 <= 0 && e1 <= 0 && e2 <= 0);
      if (inside)
        put(c, x, y, color);
    }
}

/* A filled diamond: |dx| + |dy| <= r. */
void fill_diamond(Canvas *c, int64_t cx, int64_t cy, int64_t r, Rgb color)
{
  for (int64_t y = cy - r; y <= cy + r; y++)
    for (int64_t x = cx - r; x <= cx + r; x++)
    {
      int64_t dx = x > cx ? x - cx : cx - x;
      int64_t dy = y > cy ? y - cy : cy - y;
      if (dx + dy <= r)
        put(c, x, y, color);
    }
}

/* A line from (x0, y0) to (x1, y1), t pixels thick (Bresenham, with a
   square pen). */
void draw_line(Canvas *c, int64_t x0, int64_t y0, int64_t x1, int64_t y1, int64_t t, Rgb color)
{
  int64_t dx = x1 > x0 ? x1 - x0 : x0 - x1;
  int64_t dy = y1 > y0 ? y0 - y1 : y1 - y0; /* negative */
  int64_t sx = x0 < x1 ? 1 : -1;
  int64_t sy = y0 < y1 ? 1 : -1;
  int64_t err = dx + dy;
  for (;;)
  {
    fill_rect(c, x0 - t / 2, y0 - t / 2, x0 - t / 2 + t, y0 - t / 2 + t, color);
    if (x0 == x1 && y0 == y1)
      break;
    int64_t e2 = 2 * err;
    if (e2 >= dy)
    {
      err += dy;
      x0 += sx;
    }
    if (e2 <= dx)
    {
      err += dx;
      y0 += sy;
    }
  }
}

/* A fully saturated colour around the hue circle: position i of n. */
Rgb hue(int64_t i, int64_t n)
{
  int64_t h = n > 1 ? i * 1530 / (n - 1) : 0; /* 6 segments of 255 */
  if (h > 1530)
    h = 1530;
  uint8_t f = (uint8_t)(h % 255);
  switch (h / 255)
  {
    case 0: return {255, f, 0};
    case 1: return {(uint8_t)(255 - f), 255, 0};
    case 2: return {0, 255, f};
    case 3: return {0, (uint8_t)(255 - f), 255};
    case 4: return {f, 0, 255};
    default: return {255, 0, (uint8_t)(255 - f)};
  }
}

} // namespace

int draw_test_page(PageImage *image, uint32_t width, uint32_t height, uint32_t channels)
{
  if (!image_init(image, width, height, 3))
    return 0;
  Canvas cv = {image, width, height};
  Canvas *c = &cv;
  int64_t W = width, H = height;

  int64_t t = W / 300 > 1 ? W / 300 : 1;          /* line thickness */
  int64_t m = W / 40 > 2 ? W / 40 : 2;            /* margin */
  int64_t x0 = m, y0 = m, x1 = W - m, y1 = H - m; /* inside the margin */
  if (x1 <= x0 || y1 <= y0)
  {
    /* Too small for a layout: a frame and a diagonal are all there is. */
    frame_rect(c, 0, 0, W, H, 1, kBlack);
    draw_line(c, 0, 0, W - 1, H - 1, 1, kRed);
    image_convert(image, channels);
    return 1;
  }
  int64_t iw = x1 - x0, ih = y1 - y0;

  /* Grid over the whole inner area, square cells. */
  int64_t cell = iw / 16 > 4 ? iw / 16 : 4;
  for (int64_t x = x0; x < x1; x += cell)
    fill_rect(c, x, y0, x + 1, y1, kGridGray);
  for (int64_t y = y0; y < y1; y += cell)
    fill_rect(c, x0, y, x1, y + 1, kGridGray);

  /* Colour bars: the eight corners of the colour cube. */
  static const Rgb bars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0}, {255, 0, 255}, {255, 0, 0}, {0, 0, 255}, {0, 0, 0}};
  int64_t by0 = y0 + ih / 30, by1 = by0 + ih / 10;
  for (int64_t i = 0; i < 8; i++)
    fill_rect(c, x0 + iw * i / 8, by0, x0 + iw * (i + 1) / 8, by1, bars[i]);
  frame_rect(c, x0, by0, x1, by1, 1, kBlack);

  /* Gray ramp from black to white, then the hue circle. */
  int64_t gy0 = by1 + ih / 60, gy1 = gy0 + ih / 16;
  int64_t hy0 = gy1, hy1 = hy0 + ih / 16;
  for (int64_t x = x0; x < x1; x++)
  {
    uint8_t v = (uint8_t)(iw > 1 ? (x - x0) * 255 / (iw - 1) : 0);
    fill_rect(c, x, gy0, x + 1, gy1, Rgb{v, v, v});
    fill_rect(c, x, hy0, x + 1, hy1, hue(x - x0, iw));
  }

  /* Shapes in a row of four square cells. */
  int64_t sy0 = hy1 + ih / 30;
  int64_t side = iw / 4;
  if (side > (y1 - sy0) / 2)
    side = (y1 - sy0) / 2;
  if (side > 8)
  {
    int64_t r = side * 2 / 5;
    int64_t cy = sy0 + side / 2;
    int64_t cx[4];
    for (int i = 0; i < 4; i++)
      cx[i] = x0 + iw * (2 * i + 1) / 8;
    fill_ring(c, cx[0], cy, r, 0, kRed);
    fill_triangle(c, cx[1], cy - r, cx[1] - r, cy + r, cx[1] + r, cy + r, kBlue);
    fill_diamond(c, cx[2], cy, r, kGreen);
    for (int64_t k = 0; k < 5; k++)
      fill_ring(c, cx[3], cy, r - k * r / 5, r - k * r / 5 - r / 10, k % 2 ? kOrange : kBlack);

    /* Below: a checkerboard, crossed diagonals, fine vertical lines and a
       ring, the details that show a shifted or mirrored line at once. */
    int64_t ry0 = sy0 + side + side / 8;
    int64_t ry1 = ry0 + side;
    if (ry1 > y1 - m / 2)
      ry1 = y1 - m / 2;
    if (ry1 > ry0 + 4)
    {
      int64_t q = (ry1 - ry0) / 8 > 1 ? (ry1 - ry0) / 8 : 1;
      int64_t ax0 = cx[0] - r, ax1 = cx[0] + r;
      for (int64_t y = ry0; y < ry1; y++)
        for (int64_t x = ax0; x < ax1; x++)
          if ((((x - ax0) / q) + ((y - ry0) / q)) % 2 == 0)
            put(c, x, y, kBlack);
      int64_t bx0 = cx[1] - r, bx1 = cx[1] + r;
      frame_rect(c, bx0, ry0, bx1, ry1, t, kBlack);
      draw_line(c, bx0, ry0, bx1 - 1, ry1 - 1, t, kBlue);
      draw_line(c, bx1 - 1, ry0, bx0, ry1 - 1, t, kRed);
      for (int64_t x = cx[2] - r; x < cx[2] + r; x += 2)
        fill_rect(c, x, ry0, x + 1, ry1, kBlack);
      int64_t rr = (ry1 - ry0) / 2;
      if (rr > r)
        rr = r;
      fill_ring(c, cx[3], ry0 + rr, rr, rr * 2 / 3, kGreen);
      fill_triangle(c, cx[3] - rr / 2, ry0 + rr + rr / 3, cx[3] + rr / 2, ry0 + rr + rr / 3,
                    cx[3], ry0 + rr / 3, kOrange);

      /* The rest of the page: a colour field (red across, blue down) on
         the left, and ramps of red, green and blue on the right. */
      int64_t fy0 = ry1 + side / 8, fy1 = y1 - side / 8;
      if (fy1 > fy0 + 6)
      {
        int64_t mid = x0 + iw / 2;
        int64_t fx0 = x0 + iw / 16, fx1 = mid - iw / 32;
        for (int64_t y = fy0; y < fy1; y++)
          for (int64_t x = fx0; x < fx1; x++)
            put(c, x, y, Rgb{(uint8_t)((x - fx0) * 255 / (fx1 - fx0)), 128, (uint8_t)((y - fy0) * 255 / (fy1 - fy0))});
        frame_rect(c, fx0, fy0, fx1, fy1, 1, kBlack);
        int64_t gx0 = mid + iw / 32, gx1 = x1 - iw / 16;
        int64_t band = (fy1 - fy0) / 3;
        for (int64_t x = gx0; x < gx1 && band > 0; x++)
        {
          uint8_t v = (uint8_t)((x - gx0) * 255 / (gx1 - gx0));
          fill_rect(c, x, fy0, x + 1, fy0 + band, Rgb{v, 0, 0});
          fill_rect(c, x, fy0 + band, x + 1, fy0 + 2 * band, Rgb{0, v, 0});
          fill_rect(c, x, fy0 + 2 * band, x + 1, fy0 + 3 * band, Rgb{0, 0, v});
        }
      }
    }
  }

  /* The frame and corner marks last, so nothing covers them. */
  frame_rect(c, x0, y0, x1, y1, t, kBlack);
  int64_t mark = m / 2 > 1 ? m / 2 : 1;
  fill_rect(c, 0, 0, mark, mark, kBlack);
  fill_rect(c, W - mark, 0, W, mark, kRed);
  fill_rect(c, 0, H - mark, mark, H, kBlue);
  fill_rect(c, W - mark, H - mark, W, H, kGreen);

  image_convert(image, channels);
  return 1;
}
