/*
 * host_connection.cpp - serves one backend connection (one print job).
 *
 * Bytes are read into a buffer that always starts at the next undecoded
 * record; the decoder hands back whole, checked records, which are then
 * checked for their place in the job (bitmap records belong between a
 * bitmap header and a bitmap end) and for the fields the decoder leaves to
 * its caller.  The buffer grows only as far as the record being received
 * needs, so memory follows what the peer really sends.
 *
 * Lines: progress to standard output (standard error with --dump, where
 * standard output carries the JSON records), errors to standard error.
 */
#include "host_connection.h"

#include <dirent.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include "delivery.h"
#include "host_log.h"
#include "job_json.h"
#include "page_rebuild.h"
#include "pwg_spool.h"
#include "rc_decoder.h"

/* Bytes asked of each read(2) when no record needs more. */
static const size_t kReadChunk = 256 * 1024;

namespace {

struct JobState
{
  HostShared *shared = nullptr;
  int progressFd = 1;
  unsigned job = 0;
  std::string printer; /* first printer name seen, UTF-8 */
  bool named = false;
  std::string folder; /* path of the job's folder; empty: none */
  bool folderTried = false;
  std::vector<std::string> records; /* JSON of each record */
  std::vector<std::string> pages;   /* JSON of each page */
  unsigned docStarts = 0, docEnds = 0;
  bool docOpen = false;
  unsigned pageStarts = 0;
  int color = 0; /* colour code of the last page record */
  bool bitmapOpen = false;
  PageAssembly page;
  unsigned pageCount = 0; /* bitmaps finished */
  uint64_t bytes = 0;     /* bytes received */
  std::string error;      /* what ended the job early */
  std::string endNote;    /* why an ended job is incomplete */
  /* --forward */
  PwgSpool spool;                 /* document.pwg, opened at the first page */
  rc_page_start_fields pageRec{}; /* settings of the page being received */
  PrintSettings settings;         /* the job's settings: those of its first page */
  bool haveSettings = false;
  std::string deliveryJson = "null"; /* job.json's "delivery" value */
};

/* True when the job's pages go to a printer. */
bool forwarding(const JobState *job)
{
  return !job->shared->config.forwardUri.empty() && !job->folder.empty();
}

/* The highest job number among the folders already in dir ("NNNN-..."). */
unsigned highest_job_in(const std::string &dir)
{
  unsigned highest = 0;
  DIR *d = opendir(dir.c_str());
  if (!d)
    return 0;
  while (struct dirent *e = readdir(d))
  {
    const char *name = e->d_name;
    unsigned long n = 0;
    size_t i = 0;
    while (name[i] >= '0' && name[i] <= '9' && i < 9)
      n = n * 10 + (unsigned long)(name[i++] - '0');
    if (i > 0 && name[i] == '-' && n > highest)
      highest = (unsigned)n;
  }
  closedir(d);
  return highest;
}

/* Takes the next job number; the first call looks at the output folder so
   that a new receiver run continues after the jobs already there. */
unsigned take_job_number(HostShared *shared)
{
  std::lock_guard<std::mutex> hold(shared->lock);
  if (!shared->counterReady)
  {
    if (!shared->config.dump)
    {
      unsigned highest = highest_job_in(shared->config.outDir);
      if (highest >= shared->nextJob)
        shared->nextJob = highest + 1;
    }
    shared->counterReady = true;
  }
  return shared->nextJob++;
}

/* mkdir -p: creates path and its missing parents.  1 or 0 (errno set). */
int make_dirs(const std::string &path)
{
  if (path.empty())
    return 1;
  std::string partial;
  size_t pos = 0;
  while (pos != std::string::npos)
  {
    pos = path.find('/', pos + 1);
    partial = path.substr(0, pos);
    if (partial.empty() || partial == "/")
      continue;
    if (mkdir(partial.c_str(), 0755) != 0 && errno != EEXIST)
      return 0;
  }
  struct stat st;
  if (stat(path.c_str(), &st) != 0)
    return 0;
  if (!S_ISDIR(st.st_mode))
  {
    errno = ENOTDIR;
    return 0;
  }
  return 1;
}

/* Creates the job's folder "NNNN-<printer>" (with "-2", "-3" ... when
   another receiver made that name first).  Done once, at the first record. */
void make_job_folder(JobState *job)
{
  if (job->folderTried || job->shared->config.dump)
    return;
  job->folderTried = true;
  const std::string &out = job->shared->config.outDir;
  if (!make_dirs(out))
  {
    host_printf(2, "kivprinter-host: job %u: cannot create %s: %s; its pages are not saved",
                job->job, out.c_str(), strerror(errno));
    return;
  }
  std::string base = host_format("%04u-%s", job->job, folder_safe_name(job->printer).c_str());
  for (unsigned attempt = 1; attempt < 100; attempt++)
  {
    std::string name = attempt == 1 ? base : host_format("%s-%u", base.c_str(), attempt);
    std::string path = out + "/" + name;
    if (mkdir(path.c_str(), 0755) == 0)
    {
      job->folder = path;
      return;
    }
    if (errno != EEXIST)
    {
      host_printf(2, "kivprinter-host: job %u: cannot create %s: %s; its pages are not saved",
                  job->job, path.c_str(), strerror(errno));
      return;
    }
  }
  host_printf(2, "kivprinter-host: job %u: no free folder name for %s", job->job, base.c_str());
}

/* "complete", "incomplete" or "failed". */
const char *job_status(const JobState *job)
{
  if (!job->error.empty())
    return "failed";
  if (job->endNote.empty() && job->docEnds > 0 && !job->docOpen && !job->bitmapOpen)
    return "complete";
  return "incomplete";
}

/* Writes job.json into the job's folder (when there is one): the job's
   summary, one line per page and one line per record. */
void write_job_json(JobState *job, bool finished)
{
  if (job->folder.empty())
    return;
  const char *status = finished ? job_status(job) : "receiving";
  JsonWriter w;
  json_open(&w, '{');
  json_key(&w, "job", "\n  ");
  json_uint(&w, job->job);
  json_key(&w, "printer", "\n  ");
  json_string(&w, job->printer);
  json_key(&w, "folder", "\n  ");
  json_string(&w, job->folder);
  json_key(&w, "status", "\n  ");
  json_string(&w, status);
  json_key(&w, "complete", "\n  ");
  json_bool(&w, strcmp(status, "complete") == 0);
  json_key(&w, "error", "\n  ");
  if (!job->error.empty())
    json_string(&w, job->error);
  else
    json_null(&w);
  json_key(&w, "note", "\n  ");
  if (finished && !job->endNote.empty() && job->error.empty())
    json_string(&w, job->endNote);
  else
    json_null(&w);
  if (forwarding(job))
  {
    json_key(&w, "delivery", "\n  ");
    json_raw(&w, job->deliveryJson);
  }
  json_key(&w, "bytesReceived", "\n  ");
  json_uint(&w, job->bytes);
  json_key(&w, "documentsStarted", "\n  ");
  json_uint(&w, job->docStarts);
  json_key(&w, "documentsEnded", "\n  ");
  json_uint(&w, job->docEnds);
  json_key(&w, "pages", "\n  ");
  json_open(&w, '[');
  for (const std::string &p : job->pages)
    json_raw(&w, p, "\n    ");
  w.out += job->pages.empty() ? "" : "\n  ";
  json_close(&w, ']');
  json_key(&w, "records", "\n  ");
  json_open(&w, '[');
  for (const std::string &r : job->records)
    json_raw(&w, r, "\n    ");
  w.out += job->records.empty() ? "" : "\n  ";
  json_close(&w, ']');
  w.out += "\n";
  json_close(&w, '}');
  w.out += '\n';
  write_file_atomically(job->folder + "/job.json", w.out);
}

/* Starts an error text for rec: "record N at offset O: ". */
std::string record_prefix(const rc_record &rec)
{
  return host_format("record %u at offset %llu: ", (unsigned)rec.index,
                     (unsigned long long)rec.offset);
}

/* Checks a page record's fields that never vary. */
int check_page_start(const rc_record &rec, std::string *what)
{
  if (rec.page.fields != RCPACKET_PAGE_FIELDS)
  {
    *what = host_format("RCPACKET_PRN_PAGE_START field mask is 0x%08X, expected 0x%08X",
                        (unsigned)rec.page.fields, (unsigned)RCPACKET_PAGE_FIELDS);
    return 0;
  }
  for (unsigned char b : rec.page.reserved)
    if (b != 0)
    {
      *what = "RCPACKET_PRN_PAGE_START reserved bytes are not zero";
      return 0;
    }
  return 1;
}

/* Rebuilds and saves the page whose bitmap just ended; adds its JSON. */
int finish_page(JobState *job, JsonWriter *recordJson, std::string *what)
{
  PageResult result;
  if (!page_finish(&job->page, &result, what))
    return 0;
  job->bitmapOpen = false;
  unsigned number = ++job->pageCount;
  std::string image = host_format("page-%03u.png", number);
  std::string path;
  bool saved = false;
  if (!job->folder.empty() && !job->shared->config.noImages)
  {
    path = job->folder + "/" + image;
    saved = png_write_file(path.c_str(), &result.image) == 1;
  }
  if (forwarding(job))
  {
    if (!job->spool.raster && !job->spool.failed)
      pwg_spool_open(&job->spool, job->folder + "/" PWG_SPOOL_FILE, job->job);
    pwg_spool_add_page(&job->spool, result.image, job->pageRec, job->job);
  }

  const PageAssembly &pa = job->page;
  uint64_t raw = pa.bitmap.size();
  double ratio = pa.compressedBytes ? (double)raw / pa.compressedBytes : 0.0;

  JsonWriter p;
  json_open(&p, '{');
  json_key(&p, "page");
  json_uint(&p, number);
  json_key(&p, "image");
  if (saved)
    json_string(&p, image);
  else
    json_null(&p);
  json_key(&p, "width");
  json_uint(&p, pa.width);
  json_key(&p, "height");
  json_uint(&p, pa.height);
  json_key(&p, "depth");
  json_uint(&p, result.depth);
  json_key(&p, "depthAmbiguous");
  json_bool(&p, result.depthAmbiguous);
  json_key(&p, "xResolution");
  json_uint(&p, pa.xdpi);
  json_key(&p, "yResolution");
  json_uint(&p, pa.ydpi);
  json_key(&p, "lineBytes");
  json_uint(&p, pa.lineBytes[result.depth == 3 ? 1 : 0]);
  json_key(&p, "linesReceived");
  json_uint(&p, result.linesReceived);
  json_key(&p, "lostSamplesPerRow");
  json_uint(&p, result.lostSamplesPerRow);
  json_key(&p, "fragments");
  json_uint(&p, pa.fragments);
  json_key(&p, "compressedBytes");
  json_uint(&p, pa.compressedBytes);
  json_key(&p, "rawBytes");
  json_uint(&p, raw);
  json_key(&p, "ratio");
  if (pa.compressedBytes)
    json_fixed(&p, ratio, 2);
  else
    json_null(&p);
  json_close(&p, '}');
  job->pages.push_back(p.out);

  json_key(recordJson, "page");
  json_uint(recordJson, number);
  json_key(recordJson, "depth");
  json_uint(recordJson, result.depth);
  json_key(recordJson, "image");
  if (saved)
    json_string(recordJson, image);
  else
    json_null(recordJson);

  std::string line = host_format(
    "job %u page %u: %ux%u depth %u, %u fragment%s, %llu compressed bytes, %llu raw bytes, ratio %.2f",
    job->job, number, (unsigned)pa.width, (unsigned)pa.height, (unsigned)result.depth,
    (unsigned)pa.fragments, pa.fragments == 1 ? "" : "s", (unsigned long long)pa.compressedBytes,
    (unsigned long long)raw, ratio);
  if (result.linesReceived != pa.height)
    line += host_format(" (%llu of %u lines sent, the rest white)",
                        (unsigned long long)result.linesReceived, (unsigned)pa.height);
  if (result.depthAmbiguous)
    line += host_format(" (depth %u chosen by the colour setting: both depths fit)", (unsigned)result.depth);
  if (result.lostSamplesPerRow)
    line += host_format(" (%u sample%s of every row cannot travel at this width; shown white)",
                        (unsigned)result.lostSamplesPerRow, result.lostSamplesPerRow == 1 ? "" : "s");
  if (saved)
    line += " -> " + path;
  host_write_line(job->progressFd, line);
  job->page = PageAssembly(); /* release the bitmap */
  return 1;
}

/* Handles one decoded record.  Returns 0 with *what (the part of the error
   line after the record prefix) when it does not fit into the job. */
int handle_record(JobState *job, const rc_record &rec, std::string *what)
{
  if (!job->named && rec.nameLen)
  {
    job->printer = payload_name_utf8(rec.payload, rec.nameLen);
    job->named = true;
  }
  if (!job->folderTried)
  {
    make_job_folder(job);
    host_printf(job->progressFd, "job %u: printer \"%s\"%s%s", job->job, job->printer.c_str(),
                job->folder.empty() ? "" : ", saving to ", job->folder.c_str());
  }

  JsonWriter w;
  json_record_fields(&w, rec);
  int ok = 1;
  const char *name = rc_record_name(rec.id);

  if (job->bitmapOpen && rec.id != RCPACKETID_PRN_BITMAP_FRAGMENT && rec.id != RCPACKETID_PRN_BITMAP_END)
  {
    *what = host_format("%s inside an unfinished bitmap (no RCPACKET_PRN_BITMAP_END after the "
                        "RCPACKET_PRN_BITMAP_HDR)",
                        name);
    ok = 0;
  }
  else
    switch (rec.id)
    {
      case RCPACKETID_PRN_DOC_START:
        job->docStarts++;
        job->docOpen = true;
        break;
      case RCPACKETID_PRN_DOC_END:
        job->docEnds++;
        job->docOpen = false;
        break;
      case RCPACKETID_PRN_PAGE_START:
        ok = check_page_start(rec, what);
        if (ok)
        {
          job->pageStarts++;
          job->color = rec.page.color;
          job->pageRec = rec.page;
          if (!job->haveSettings)
          {
            print_settings_from_page(rec.page, &job->settings);
            job->haveSettings = true;
          }
        }
        break;
      case RCPACKETID_PRN_PAGE_END:
        break;
      case RCPACKETID_PRN_BITMAP_HDR:
        if (rec.bitmap.constant != RCPACKET_BITMAP_CONSTANT)
        {
          *what = host_format("%s constant is %u, expected %u", name, (unsigned)rec.bitmap.constant,
                              (unsigned)RCPACKET_BITMAP_CONSTANT);
          ok = 0;
        }
        else if (!page_begin(&job->page, rec.bitmap, job->color, what))
        {
          *what = std::string(name) + " " + *what;
          ok = 0;
        }
        else
          job->bitmapOpen = true;
        break;
      case RCPACKETID_PRN_BITMAP_FRAGMENT:
        if (!job->bitmapOpen)
        {
          *what = host_format("%s outside a bitmap (no RCPACKET_PRN_BITMAP_HDR before it)", name);
          ok = 0;
        }
        else if (rec.fragment.constant != RCPACKET_BITMAP_CONSTANT)
        {
          *what = host_format("%s constant is %u, expected %u", name, (unsigned)rec.fragment.constant,
                              (unsigned)RCPACKET_BITMAP_CONSTANT);
          ok = 0;
        }
        else if (!page_check_fragment(&job->page, rec.fragment.uncompressedLength, what) ||
                 !page_add_fragment(&job->page, rec, what))
        {
          *what = std::string(name) + " " + *what;
          ok = 0;
        }
        break;
      case RCPACKETID_PRN_BITMAP_END:
        if (!job->bitmapOpen)
        {
          *what = host_format("%s without a bitmap (no RCPACKET_PRN_BITMAP_HDR before it)", name);
          ok = 0;
        }
        else if (!finish_page(job, &w, what))
        {
          *what = std::string(name) + " " + *what;
          ok = 0;
        }
        break;
      default:
        break;
    }

  if (!ok)
  {
    json_key(&w, "error");
    json_string(&w, *what);
  }
  json_close(&w, '}');
  job->records.push_back(w.out);
  if (job->shared->config.dump)
    host_write_line(1, host_format("{\"job\":%u,", job->job) + w.out.substr(1));
  if (ok && (rec.id == RCPACKETID_PRN_BITMAP_END || rec.id == RCPACKETID_PRN_PAGE_END))
    write_job_json(job, false);
  return ok;
}

} // namespace

std::string folder_safe_name(const std::string &name)
{
  std::string out;
  for (unsigned char ch : name)
  {
    if (out.size() >= 64)
      break;
    bool keep = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') ||
                ch == '-' || ch == '_' || (ch == '.' && !out.empty());
    out += keep ? (char)ch : '_';
  }
  return out.empty() ? "unnamed" : out;
}

void serve_connection(int fd, HostShared *shared, ConnectionResult *result)
{
  JobState job;
  job.shared = shared;
  job.progressFd = shared->config.dump ? 2 : 1;

  rc_decoder dec;
  rc_decoder_init(&dec);
  std::vector<unsigned char> buf;
  size_t begin = 0, end = 0; /* undecoded bytes: buf[begin, end) */
  size_t needed = 0;
  bool stop = false;

  while (!stop)
  {
    /* Make room: move the undecoded rest to the front, grow when the record
       being received needs more than the buffer holds. */
    if (begin > 0)
    {
      memmove(buf.data(), buf.data() + begin, end - begin);
      end -= begin;
      begin = 0;
    }
    /* A record longer than the buffer makes it grow by doubling as its
       bytes arrive, not to the stated length at once: a header that claims
       a huge record costs nothing until that much data really comes. */
    size_t want = end + kReadChunk;
    if (needed > want)
    {
      size_t doubled = buf.size() * 2;
      want = needed < doubled ? needed : (doubled > want ? doubled : want);
    }
    if (buf.size() < want)
      buf.resize(want);

    ssize_t n = read(fd, buf.data() + end, buf.size() - end);
    if (n < 0 && errno == EINTR)
      continue;
    if (n <= 0)
    {
      /* End of the connection (a reset counts as an end: the peer is gone). */
      if (!rc_decoder_finish(&dec, end - begin))
        job.endNote = dec.error;
      break;
    }
    if (job.job == 0)
    {
      job.job = take_job_number(shared);
      result->job = job.job;
    }
    result->hadBytes = true;
    end += (size_t)n;
    job.bytes += (uint64_t)n;

    for (;;)
    {
      rc_record rec;
      size_t used = 0;
      int r = rc_decode_next(&dec, buf.data() + begin, end - begin, &rec, &used, &needed);
      if (r == RC_DECODE_NEED_MORE)
        break;
      if (r == RC_DECODE_ERROR)
      {
        job.error = dec.error;
        stop = true;
        break;
      }
      std::string what;
      if (!handle_record(&job, rec, &what))
      {
        job.error = record_prefix(rec) + what;
        stop = true;
        break;
      }
      begin += used;
      needed = 0;
    }
  }

  if (!result->hadBytes)
    return;
  /* job.json is final before the last line says the job has ended, so
     that whoever waits for that line finds the file complete. */
  if (job.error.empty() && job.endNote.empty() && strcmp(job_status(&job), "complete") != 0)
    job.endNote = job.bitmapOpen ? "the connection ended inside a bitmap"
                                 : "the connection ended before the document's end";
  /* With --forward the job's delivery record is settled first: "pending"
     for a complete job whose document is safely on disk, otherwise the
     reason it is kept and not delivered. */
  bool deliver = false;
  DeliveryState delivery;
  if (forwarding(&job))
  {
    bool spooled = pwg_spool_close(&job.spool, job.job);
    bool complete = strcmp(job_status(&job), "complete") == 0;
    delivery = delivery_new_state(shared->config.forwardUri, job.job, job.printer, job.settings,
                                  job.pageCount);
    if (!complete || !spooled)
    {
      delivery.state = "incomplete";
      delivery.note = !complete ? (job.error.empty() ? "the job did not end: kept, never delivered"
                                                     : "the job failed: kept, never delivered")
                                : "the document could not be written: kept, not delivered";
    }
    deliver = delivery.state == "pending";
    job.deliveryJson = delivery_state_json(delivery);
    if (!delivery_state_write(job.folder, delivery, false) && deliver)
    {
      /* Without its record on disk a restart would not know the job: it
         is kept, and not sent now either. */
      deliver = false;
      delivery.note = "its delivery record could not be written: kept, not delivered";
      job.deliveryJson = delivery_state_json(delivery);
    }
  }
  write_job_json(&job, true);
  if (!job.error.empty())
    host_printf(2, "kivprinter-host: job %u: %s; connection dropped, %u page%s kept", job.job,
                job.error.c_str(), job.pageCount, job.pageCount == 1 ? "" : "s");
  else if (!job.endNote.empty())
  {
    host_printf(job.progressFd, "job %u: incomplete: %s; %u page%s kept", job.job,
                job.endNote.c_str(), job.pageCount, job.pageCount == 1 ? "" : "s");
  }
  else
    host_printf(job.progressFd, "job %u: complete, %u page%s%s%s", job.job, job.pageCount,
                job.pageCount == 1 ? "" : "s", job.folder.empty() ? "" : " in ", job.folder.c_str());
  if (forwarding(&job) && !deliver)
    host_printf(2, "kivprinter-host: job %u: not delivered: %s", job.job, delivery.note.c_str());
  if (deliver && shared->delivery)
    delivery_enqueue(shared->delivery, job.folder);
  result->complete = strcmp(job_status(&job), "complete") == 0;
  result->failed = !job.error.empty();
  result->pages = job.pageCount;
  result->folder = job.folder;
}
