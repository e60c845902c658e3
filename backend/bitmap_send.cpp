/*
 * bitmap_send.cpp - the ENDPAGE transmission of the page raster.
 */
#include "bitmap_send.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <lzf.h>

#include "rc_packet.h"

/*
 * 'bitmap_compute_layout()' - alignPerLine, sendLines, rwsize and the
 * compression buffer for a line length.
 *
 * Lines up to the fragment limit are packed as many per fragment as fit;
 * the compression buffer is the fixed 2,400,000 bytes, more than LZF's
 * worst case (about 1/32 growth) of a 2,000,000-byte input.  A longer line
 * cannot share a fragment, so each goes alone, with a compression buffer
 * of its length plus 1/16 plus a little: again above the worst case.
 * Everything stays below 2^32: bytesPerLine is at most 2^31 - 1.
 */
void bitmap_compute_layout(uint32_t bytesPerLine, bitmap_layout *layout)
{
  layout->alignPerLine = (bytesPerLine % 4u) ? 4u - bytesPerLine % 4u : 0u;
  layout->alignedLine = bytesPerLine + layout->alignPerLine;
  if (layout->alignedLine == 0)
  {
    layout->sendLines = 0;
    layout->rwsize = 0;
    layout->compressSize = 0;
  }
  else if (layout->alignedLine <= BITMAP_FRAGMENT_LIMIT)
  {
    layout->sendLines = BITMAP_FRAGMENT_LIMIT / layout->alignedLine;
    layout->rwsize = layout->alignedLine * layout->sendLines;
    layout->compressSize = BITMAP_COMPRESS_BUFFER;
  }
  else
  {
    layout->sendLines = 1;
    layout->rwsize = layout->alignedLine;
    layout->compressSize = layout->alignedLine + layout->alignedLine / 16u + 64u;
  }
}

/*
 * 'bitmap_copy_row()' - One raster row into one bitmap line.
 *
 * Each group of three bytes is reversed (destination 0, 1, 2 take source
 * 2, 1, 0), for depth 1 as for depth 3: it is a fixed rule of the bitmap
 * format.  When bytesPerLine is not a multiple of 3 the last group reads
 * and writes up to two bytes beyond it; those reads may come from the next
 * row, and past the end of the raster they read as white, so nothing but
 * raster bytes and 0xFF ever reaches the wire.  The padding is then
 * cleared: it carries no meaning and is sent as zeros.
 */
void bitmap_copy_row(const print_job_s *job, uint64_t row, uint32_t alignedLine,
                     unsigned char *dst)
{
  uint32_t bytesPerLine = (uint32_t)job->bytesPerLine;
  uint64_t groupsEnd = ((uint64_t)bytesPerLine + 2u) / 3u * 3u;
  uint64_t rowStride = (uint64_t)job->rasterWidth * job->rasterDepth;
  uint64_t start = row * rowStride;
  uint64_t size = job->rasterSize;
  uint64_t g;

  if (start <= size && groupsEnd <= size - start)
  {
    const unsigned char *src = job->raster_data + start;

    for (g = 0; g < groupsEnd; g += 3)
    {
      dst[g] = src[g + 2];
      dst[g + 1] = src[g + 1];
      dst[g + 2] = src[g];
    }
  }
  else
  {
    for (g = 0; g < groupsEnd; g += 3)
    {
      unsigned char b[3];
      int i;

      for (i = 0; i < 3; i++)
      {
        uint64_t at = start + g + (uint64_t)i;

        b[i] = (start <= size && at < size) ? job->raster_data[at] : 0xFF;
      }
      dst[g] = b[2];
      dst[g + 1] = b[1];
      dst[g + 2] = b[0];
    }
  }
  if (alignedLine > bytesPerLine)
    memset(dst + bytesPerLine, 0, alignedLine - bytesPerLine);
}

/*
 * 'send_page_bitmap()' - ENDPAGE: header, fragments, bitmap end, page end.
 *
 * Rows go from nLines - 1 down to 0, sendLines to a fragment, the k-th row
 * of a fragment at k x the aligned line length.  The two buffers are made
 * only when there is a fragment to send, and freed after the page end
 * record.  On a failed write nothing is freed: the job ends at once.  The
 * buffers are kept in the job meanwhile, so that a job run in-process can
 * still release them.
 */
int send_page_bitmap(print_job_s *job)
{
  bitmap_layout layout;
  int fragments = 0;
  int32_t nLines = job->nLines;

  fprintf(stderr, "DEBUG: \"CorvaneBackend - ENDPAGE - %s\"\n",
          job->raster_data ? "raster_data OK" : "raster_data EMPTY");
  if (!job->raster_data)
  {
    fputs("DEBUG: CorvaneBackend - NO ALLOCATED raster_data !!!\n", stderr);
    return 1;
  }

  if (!rc_send_bitmap_hdr(job->sock, job->rasterWidth, job->rasterHeight, job->hwresX,
                          job->hwresY, job->namePayload, job->nameLen))
    return 0;
  fputs("DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_HDR sent\"\n", stderr);

  bitmap_compute_layout((uint32_t)job->bytesPerLine, &layout);
  fprintf(stderr, "DEBUG: CorvaneBackend - bitmap bytesPerLine: %d raster_w: %d nLines: %d alignPerLine: %d\n",
          (int)job->bytesPerLine, (int)(job->rasterWidth * job->rasterDepth), (int)nLines,
          (int)layout.alignPerLine);
  fprintf(stderr, "DEBUG: \"CorvaneBackend - sendLines: %d rwsize: %d\"\n",
          (int)layout.sendLines, (int)layout.rwsize);

  if (layout.sendLines > 0 && nLines > 0)
  {
    int64_t row = (int64_t)nLines - 1;
    unsigned char *lineBuffer, *compressed;

    /* Buffers left by a page whose sending failed (only possible when the
       loop is run in-process) are not reused. */
    free(job->lineBuffer);
    free(job->compressBuffer);
    /* Two spare bytes: the last group of the last line may reach them. */
    job->lineBuffer = lineBuffer = (unsigned char *)malloc((size_t)layout.rwsize + 2u);
    job->compressBuffer = compressed = (unsigned char *)malloc((size_t)layout.compressSize);
    if (!lineBuffer || !compressed)
    {
      fprintf(stderr, "DEBUG: CorvaneBackend - ENDPAGE - CANNOT allocate bitmap buffers (%u + %u bytes) !!!\n",
              (unsigned int)layout.rwsize + 2u, (unsigned int)layout.compressSize);
      free(job->lineBuffer);
      free(job->compressBuffer);
      job->lineBuffer = job->compressBuffer = NULL;
      return 0;
    }

    while (row >= 0)
    {
      uint32_t k = 0;
      uint32_t sendLength;
      unsigned int packed;

      for (; k < layout.sendLines && row >= 0; k++, row--)
        bitmap_copy_row(job, (uint64_t)row, layout.alignedLine,
                        lineBuffer + (size_t)k * layout.alignedLine);
      sendLength = k * layout.alignedLine;

      packed = lzf_compress(lineBuffer, sendLength, compressed, layout.compressSize);
      fprintf(stderr, "DEBUG: \"CorvaneBackend - lzf_compress: %d sendLength: %d\"\n",
              (int)packed, (int)sendLength);

      if (!rc_send_bitmap_fragment(job->sock, sendLength, compressed, packed,
                                   job->namePayload, job->nameLen, fragments + 1, (int)nLines))
        return 0;
      fragments++;
      fprintf(stderr, "DEBUG: \"CorvaneBackend - %d/%d RCPACKET_PRN_BITMAP_FRAGMENT sent\"\n",
              fragments, (int)nLines);
    }
  }

  if (!rc_send_bitmap_end(job->sock, job->namePayload, job->nameLen))
    return 0;
  fputs("DEBUG: \"CorvaneBackend - RCPACKET_PRN_BITMAP_END sent\"\n", stderr);

  if (!rc_send_page_end(job->sock, job->namePayload, job->nameLen))
    return 0;

  free(job->compressBuffer);
  free(job->lineBuffer);
  job->compressBuffer = job->lineBuffer = NULL;
  fprintf(stderr, "DEBUG: \"CorvaneBackend - PAGE %d sent\"\n", job->pageCounter);
  return 1;
}
