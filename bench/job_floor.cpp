/*
 * job_floor.cpp - the floor of a print job: read, place each line once,
 * compress each page in fragments.  See job_floor.h.
 */
#include "job_floor.h"

#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

#include <lzf.h>

/* The stream is read in pieces of this size, into one buffer. */
#define FLOOR_READ_SIZE (1u << 20)
/* Largest uncompressed fragment, and the compression buffer's size. */
#define FLOOR_FRAGMENT_LIMIT 2000000u
#define FLOOR_OUT_SIZE       2400000u
/* Longest command line the floor accepts. */
#define FLOOR_LINE_MAX 512

/* Where the floor stands while it walks the stream. */
struct FloorState
{
  unsigned char *raster = nullptr;    /* bottom-up page, padded lines */
  size_t mapped = 0;                  /* bytes mapped at raster */
  size_t rowBytes = 0;                /* width x depth */
  size_t aligned = 0;                 /* rowBytes padded to a multiple of 4 */
  size_t height = 0;                  /* rows of the raster */
  size_t row = 0;                     /* rows taken on this page */
  unsigned char *out = nullptr;       /* compression buffer */
  size_t payloadLeft = 0;             /* bytes of the current LINE still to come */
  unsigned char *payloadAt = nullptr; /* where they go; null: dropped */
  size_t payloadRoom = 0;             /* how many of them fit there */
  char line[FLOOR_LINE_MAX];          /* a command line split by a read */
  size_t lineLength = 0;
  FloorResult *result = nullptr;
};

/* Maps size bytes of zeroed memory, asking for huge pages; null on failure. */
static unsigned char *mapMemory(size_t size)
{
  void *p = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (p == MAP_FAILED)
    return nullptr;
  madvise(p, size, MADV_HUGEPAGE);
  return (unsigned char *)p;
}

/* RASTER: maps the raster for this geometry once; later pages reuse it. */
static bool floorRaster(FloorState *st, const char *args)
{
  unsigned long w = 0, h = 0, d = 0;
  char *end;
  w = strtoul(args, &end, 10);
  h = strtoul(end, &end, 10);
  d = strtoul(end, &end, 10);
  if (!w || !h || (d != 1 && d != 3))
    return false;
  size_t rowBytes = (size_t)w * d;
  size_t aligned = (rowBytes + 3) & ~(size_t)3;
  size_t size = aligned * h;
  if (size > st->mapped)
  {
    if (st->raster)
      munmap(st->raster, st->mapped);
    st->raster = mapMemory(size);
    st->mapped = st->raster ? size : 0;
    if (!st->raster)
      return false;
  }
  st->rowBytes = rowBytes;
  st->aligned = aligned;
  st->height = h;
  return true;
}

/* LINE n: aims the next n payload bytes at the row's place, bottom-up. */
static bool floorLine(FloorState *st, const char *args)
{
  if (!st->raster)
    return false;
  st->payloadLeft = strtoul(args, nullptr, 10);
  st->payloadAt = nullptr;
  st->payloadRoom = 0;
  if (st->row < st->height)
  {
    st->payloadAt = st->raster + (st->height - 1 - st->row) * st->aligned;
    st->payloadRoom = st->payloadLeft < st->rowBytes ? st->payloadLeft : st->rowBytes;
    st->row++;
  }
  return true;
}

/* ENDPAGE: compresses the page's rows in fragments straight from the
   raster, the bottom row first. */
static void floorEndPage(FloorState *st)
{
  FloorResult *r = st->result;
  r->pages++;
  if (!st->raster || !st->row)
    return;
  size_t sendLines = FLOOR_FRAGMENT_LIMIT / st->aligned;
  if (!sendLines)
    sendLines = 1;
  const unsigned char *p = st->raster + (st->height - st->row) * st->aligned;
  size_t left = st->row;
  while (left)
  {
    size_t lines = left < sendLines ? left : sendLines;
    size_t length = lines * st->aligned;
    r->compressedBytes += lzf_compress(p, (unsigned)length, st->out, FLOOR_OUT_SIZE);
    r->fragments++;
    r->rawBytes += length;
    p += length;
    left -= lines;
  }
  st->row = 0;
}

/* Handles one complete command line. */
static bool floorCommand(FloorState *st, char *line)
{
  if (!strncmp(line, "LINE ", 5))
    return floorLine(st, line + 5);
  if (!strncmp(line, "RASTER ", 7))
    return floorRaster(st, line + 7);
  if (!strcmp(line, "ENDPAGE"))
    floorEndPage(st);
  return true;
}

/* Walks one piece of the stream as read. */
static bool floorTake(FloorState *st, const unsigned char *p, size_t n)
{
  while (n)
  {
    if (st->payloadLeft)
    {
      size_t take = n < st->payloadLeft ? n : st->payloadLeft;
      if (st->payloadRoom)
      {
        size_t copy = take < st->payloadRoom ? take : st->payloadRoom;
        memcpy(st->payloadAt, p, copy);
        st->payloadAt += copy;
        st->payloadRoom -= copy;
      }
      st->payloadLeft -= take;
      p += take;
      n -= take;
      continue;
    }
    const unsigned char *nl = (const unsigned char *)memchr(p, '\n', n);
    size_t part = nl ? (size_t)(nl - p) : n;
    if (st->lineLength + part >= FLOOR_LINE_MAX)
      return false;
    memcpy(st->line + st->lineLength, p, part);
    st->lineLength += part;
    p += part;
    n -= part;
    if (!nl)
      break;
    p++;
    n--;
    st->line[st->lineLength] = '\0';
    st->lineLength = 0;
    if (!floorCommand(st, st->line))
      return false;
  }
  return true;
}

static double processCpu()
{
  struct timespec ts;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
  return ts.tv_sec + ts.tv_nsec / 1e9;
}

bool floorRunStream(const char *path, FloorResult *result)
{
  *result = FloorResult();
  double c0 = processCpu();
  FloorState st;
  st.result = result;
  int fd = open(path, O_RDONLY);
  unsigned char *buf = mapMemory(FLOOR_READ_SIZE);
  st.out = mapMemory(FLOOR_OUT_SIZE);
  bool ok = fd >= 0 && buf && st.out;
  while (ok)
  {
    ssize_t got = read(fd, buf, FLOOR_READ_SIZE);
    if (got <= 0)
    {
      ok = got == 0;
      break;
    }
    ok = floorTake(&st, buf, (size_t)got);
  }
  if (fd >= 0)
    close(fd);
  if (buf)
    munmap(buf, FLOOR_READ_SIZE);
  if (st.out)
    munmap(st.out, FLOOR_OUT_SIZE);
  if (st.raster)
    munmap(st.raster, st.mapped);
  result->cpu = processCpu() - c0;
  return ok;
}
