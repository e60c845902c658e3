/*
 * job_floor.h - the least work any backend must do for a print stream, as
 * a reference for the job benchmark.
 *
 * The floor reads the stream in 1 MiB reads into one buffer, copies each
 * LINE's payload once, straight to its place in a page raster laid out as
 * the bitmap goes out (bottom-up, lines padded to a multiple of 4 bytes,
 * memory from mmap with transparent huge pages advised, reused for every
 * page), and at each ENDPAGE compresses the page's lines with lzf_compress
 * in fragments of at most 2,000,000 bytes straight from that raster.  It
 * leaves out the reversal of three-byte groups and the record writes, so a
 * backend can come close to it but not pass it.
 */
#ifndef CORVANE_BENCH_JOB_FLOOR_H
#define CORVANE_BENCH_JOB_FLOOR_H

#include <stddef.h>

struct FloorResult
{
  double cpu = 0;       /* CPU seconds (user + system) of this process */
  size_t pages = 0;     /* ENDPAGE commands handled */
  size_t fragments = 0; /* lzf_compress calls */
  size_t rawBytes = 0;  /* uncompressed bytes of all fragments */
  size_t compressedBytes = 0;
};

/* Runs the floor over the stream in path and measures its CPU time; false
   when the file cannot be read, a raster cannot be mapped or the stream is
   not of the simple form the benchmark writes (RASTER before LINE). */
bool floorRunStream(const char *path, FloorResult *result);

#endif
