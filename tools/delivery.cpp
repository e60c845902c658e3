/*
 * delivery.cpp - the delivery thread and its queue.
 *
 * The thread owns the queued jobs' records; receiving threads hand it job
 * folders through `incoming` under the lock.  Sending keeps the queue's
 * order: only the first job that still has to be sent is tried, so the
 * printer gets the jobs in the order they arrived, and the growing wait
 * after a failure holds back the whole queue rather than each job trying
 * on its own.  Jobs already with the printer are watched independently.
 */
#include "delivery.h"

#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "host_log.h"
#include "printer_ipp.h"

namespace {

struct QueuedJob
{
  std::string folder;
  DeliveryState st;
  long long nextAt = 0; /* monotonic ms: when to act on it next */
};

} // namespace

struct Delivery
{
  DeliveryConfig config;
  PrinterTarget target;
  std::mutex lock; /* guards incoming, stopping and open */
  std::condition_variable wake;
  std::deque<std::string> incoming; /* folders queued by the receiving threads */
  bool stopping = false;
  unsigned open = 0;           /* jobs queued and not yet finished */
  std::vector<QueuedJob> jobs; /* the thread's own */
  std::thread thread;
};

/* Milliseconds of the monotonic clock. */
static long long now_millis()
{
  struct timespec ts;
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

/* The wait before the attempt after `attempts` failed ones: 1 s doubling
   up to the limit. */
static unsigned retry_delay(unsigned attempts, unsigned limit)
{
  unsigned shift = attempts > 0 ? attempts - 1 : 0;
  unsigned delay = shift >= 16 ? 65536u : 1u << shift;
  return std::max(1u, std::min(delay, limit));
}

/* A short random token (hex), for unique job names. */
static std::string random_token()
{
  unsigned char bytes[4] = {0, 0, 0, 0};
  int fd = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  bool ok = fd >= 0 && read(fd, bytes, sizeof bytes) == (ssize_t)sizeof bytes;
  if (fd >= 0)
    close(fd);
  if (!ok)
  {
    unsigned long long mix = (unsigned long long)now_millis() * 2654435761u ^ (unsigned long long)getpid();
    for (int i = 0; i < 4; i++)
      bytes[i] = (unsigned char)(mix >> (8 * i));
  }
  return host_format("%02x%02x%02x%02x", bytes[0], bytes[1], bytes[2], bytes[3]);
}

std::string delivery_job_name(const std::string &printer, unsigned job, const std::string &token)
{
  return host_format("%s job %u [%s]", printer.empty() ? "kivprinter" : printer.c_str(), job, token.c_str());
}

DeliveryState delivery_new_state(const std::string &uri, unsigned job, const std::string &printer,
                                 const PrintSettings &settings, unsigned pages)
{
  DeliveryState st;
  st.state = pages > 0 ? "pending" : "empty";
  st.job = job;
  st.printer = printer;
  st.printerUri = uri;
  st.jobName = delivery_job_name(printer, job, random_token());
  st.settings = settings;
  st.pages = pages;
  if (pages == 0)
    st.note = "the job has no pages";
  return st;
}

/* Saves a job's record; a failure is logged by the writer and the job
   goes on from memory (the next write may succeed). */
static void save(QueuedJob *q)
{
  delivery_state_write(q->folder, q->st);
}

/* Schedules the next attempt after a failure and says so. */
static void attempt_failed(Delivery *d, QueuedJob *q, const std::string &error)
{
  q->st.lastError = error;
  save(q);
  unsigned delay = retry_delay(q->st.attempts, d->config.retryMax);
  q->nextAt = now_millis() + (long long)delay * 1000;
  host_printf(2, "kivprinter-host: job %u: delivery attempt %u to %s failed: %s; next attempt in %u s", q->st.job,
              q->st.attempts, d->config.uri.c_str(), error.c_str(), delay);
}

/* The printer cannot take PWG raster: the job is kept as it is. */
static void mark_unsupported(Delivery *d, QueuedJob *q, const std::string &formats)
{
  q->st.state = "unsupported";
  q->st.note = "the printer does not accept PWG raster (image/pwg-raster)";
  q->st.lastError = "document-format-supported: " + (formats.empty() ? std::string("(none)") : formats);
  save(q);
  host_printf(2,
              "kivprinter-host: job %u: not delivered: the printer at %s does not accept PWG raster "
              "(image/pwg-raster); the job is kept in %s",
              q->st.job, d->config.uri.c_str(), q->folder.c_str());
}

/* One step for the first job still to be sent. */
static void send_job(Delivery *d, QueuedJob *q)
{
  std::string error;
  /* An earlier Print-Job may have reached the printer without its answer
     reaching us: look for the job's unique name first. */
  if (q->st.state == "sending")
  {
    int found = 0;
    if (!printer_find_job(d->target, q->st.jobName, &found, &error))
    {
      attempt_failed(d, q, "cannot look for the earlier attempt's job: " + error);
      return;
    }
    if (found > 0)
    {
      q->st.state = "sent";
      q->st.printerJobId = found;
      q->st.lastError.clear();
      save(q);
      q->nextAt = now_millis();
      host_printf(1, "job %u: the printer already has it as job %d (an earlier attempt's answer was lost)",
                  q->st.job, found);
      return;
    }
    q->st.state = "pending";
  }

  bool pwg = false;
  std::string formats;
  if (!printer_query_formats(d->target, &pwg, &formats, &error))
  {
    q->st.attempts++;
    attempt_failed(d, q, error);
    return;
  }
  if (!pwg)
  {
    mark_unsupported(d, q, formats);
    return;
  }

  q->st.attempts++;
  q->st.state = "sending";
  save(q);
  PrintOutcome outcome;
  if (printer_print_job(d->target, q->folder + "/" PWG_SPOOL_FILE, q->st.jobName, q->st.settings, &outcome,
                        &error))
  {
    q->st.state = "sent";
    q->st.printerJobId = outcome.jobId;
    q->st.ippStatus = outcome.ippStatus;
    q->st.ignored = outcome.ignored;
    q->st.lastError.clear();
    save(q);
    q->nextAt = now_millis() + d->config.pollMillis;
    std::string ignored = outcome.ignored;
    std::replace(ignored.begin(), ignored.end(), ',', ' ');
    host_printf(1, "job %u: sent to %s as job %d (attempt %u, %s%s%s)", q->st.job, d->config.uri.c_str(),
                outcome.jobId, q->st.attempts, outcome.ippStatus.c_str(),
                ignored.empty() ? "" : "; ignored or changed: ", ignored.c_str());
    return;
  }
  q->st.ippStatus = outcome.ippStatus;
  if (outcome.formatRefused)
  {
    q->st.state = "pending";
    mark_unsupported(d, q, formats);
    return;
  }
  /* A refusal leaves nothing on the printer; a lost answer may have. */
  q->st.state = outcome.reached ? "sending" : "pending";
  attempt_failed(d, q, error);
}

/* One look at a job the printer has. */
static void watch_job(Delivery *d, QueuedJob *q)
{
  std::string state, reasons, error;
  bool gone = false;
  if (!printer_job_state(d->target, q->st.printerJobId, &state, &reasons, &gone, &error))
  {
    if (gone)
    {
      /* It was taken and is no longer listed: nothing is left to do. */
      q->st.state = "delivered";
      q->st.jobState = "unknown";
      q->st.note = host_format("the printer no longer knows its job %d", q->st.printerJobId);
      save(q);
      host_printf(1, "job %u: delivered (the printer no longer lists its job %d)", q->st.job, q->st.printerJobId);
      return;
    }
    if (error != q->st.lastError)
    {
      host_printf(2, "kivprinter-host: job %u: cannot ask the printer about its job %d: %s", q->st.job,
                  q->st.printerJobId, error.c_str());
      q->st.lastError = error;
      save(q);
    }
    q->nextAt = now_millis() + (long long)std::min(5u, d->config.retryMax) * 1000;
    return;
  }
  bool changed = state != q->st.jobState || !q->st.lastError.empty();
  q->st.jobState = state;
  q->st.lastError.clear();
  if (state == "completed")
  {
    q->st.state = "delivered";
    save(q);
    host_printf(1, "job %u: delivered: job %d on %s completed", q->st.job, q->st.printerJobId,
                d->config.uri.c_str());
  }
  else if (state == "canceled")
  {
    q->st.state = "canceled";
    q->st.note = "canceled on the printer";
    save(q);
    host_printf(2, "kivprinter-host: job %u: job %d was canceled on the printer; not sent again", q->st.job,
                q->st.printerJobId);
  }
  else if (state == "aborted")
  {
    int aborted = q->st.printerJobId;
    q->st.state = "pending";
    q->st.printerJobId = 0;
    attempt_failed(d, q, host_format("job %d was aborted by the printer (%s)", aborted, reasons.c_str()));
  }
  else
  {
    if (changed)
      save(q);
    q->nextAt = now_millis() + d->config.pollMillis;
  }
}

/* Takes the folders queued by the receivers into the thread's list. */
static void take_incoming(Delivery *d, std::deque<std::string> *folders)
{
  while (!folders->empty())
  {
    QueuedJob q;
    q.folder = folders->front();
    folders->pop_front();
    if (!delivery_state_read(q.folder, &q.st) || !delivery_state_open(q.st.state))
    {
      std::lock_guard<std::mutex> hold(d->lock);
      d->open--;
      continue;
    }
    if (q.st.state == "unsupported")
      q.st.state = "pending";
    q.nextAt = now_millis();
    d->jobs.push_back(q);
  }
}

/* The delivery thread: a first look at the printer, then, until stopped,
   takes newly queued jobs and acts on whichever job is due (the first one
   to send, or one being watched), sleeping until the next is due. */
static void delivery_thread(Delivery *d)
{
  /* The first question at start: can the printer be reached, and does it
     take the documents this host makes? */
  bool pwg = false;
  std::string formats, error;
  if (!printer_query_formats(d->target, &pwg, &formats, &error))
    host_printf(2,
                "kivprinter-host: the printer at %s cannot be reached now (%s); jobs wait in the spool and "
                "delivery is retried",
                d->config.uri.c_str(), error.c_str());
  else if (!pwg)
    host_printf(2,
                "kivprinter-host: the printer at %s does not accept PWG raster (image/pwg-raster is not in its "
                "document-format-supported: %s); jobs are kept in the spool, not delivered",
                d->config.uri.c_str(), formats.empty() ? "none" : formats.c_str());
  else
    host_printf(1, "kivprinter-host: forwarding complete jobs to %s", d->config.uri.c_str());

  std::unique_lock<std::mutex> hold(d->lock);
  for (;;)
  {
    if (d->stopping)
      break;
    if (!d->incoming.empty())
    {
      std::deque<std::string> folders;
      folders.swap(d->incoming);
      hold.unlock();
      take_incoming(d, &folders);
      hold.lock();
      continue;
    }
    /* What is due: the first job to send, or any job being watched. */
    long long now = now_millis(), next = -1;
    QueuedJob *due = nullptr;
    bool headSeen = false;
    for (QueuedJob &q : d->jobs)
    {
      bool toSend = q.st.state == "pending" || q.st.state == "sending";
      if (toSend && headSeen)
        continue;
      headSeen = headSeen || toSend;
      if (q.nextAt <= now)
      {
        due = &q;
        break;
      }
      if (next < 0 || q.nextAt < next)
        next = q.nextAt;
    }
    if (!due)
    {
      if (next < 0)
        d->wake.wait(hold);
      else
        d->wake.wait_for(hold, std::chrono::milliseconds(next - now));
      continue;
    }
    hold.unlock();
    if (due->st.state == "sent")
      watch_job(d, due);
    else
      send_job(d, due);
    /* Finished jobs leave the list. */
    size_t before = d->jobs.size();
    d->jobs.erase(std::remove_if(d->jobs.begin(), d->jobs.end(),
                                 [](const QueuedJob &q) {
                                   return q.st.state != "pending" && q.st.state != "sending" &&
                                          q.st.state != "sent";
                                 }),
                  d->jobs.end());
    hold.lock();
    d->open -= (unsigned)(before - d->jobs.size());
  }
}

/* The job folders of the spool that hold a delivery record, in job order. */
static std::vector<std::string> spool_folders(const std::string &dir)
{
  std::vector<std::pair<unsigned long, std::string>> found;
  DIR *dp = opendir(dir.c_str());
  if (!dp)
    return {};
  while (struct dirent *e = readdir(dp))
  {
    unsigned long n = 0;
    size_t i = 0;
    while (e->d_name[i] >= '0' && e->d_name[i] <= '9' && i < 9)
      n = n * 10 + (unsigned long)(e->d_name[i++] - '0');
    if (i == 0 || e->d_name[i] != '-')
      continue;
    std::string folder = dir + "/" + e->d_name;
    if (access((folder + "/" DELIVERY_STATE_FILE).c_str(), F_OK) == 0)
      found.push_back({n, folder});
  }
  closedir(dp);
  std::sort(found.begin(), found.end());
  std::vector<std::string> folders;
  for (auto &f : found)
    folders.push_back(f.second);
  return folders;
}

Delivery *delivery_start(const DeliveryConfig &config)
{
  PrinterTarget target;
  std::string error;
  if (!printer_target_parse(config.uri, &target, &error))
  {
    host_printf(2, "kivprinter-host: --forward: %s", error.c_str());
    return nullptr;
  }
  Delivery *d = new Delivery;
  d->config = config;
  d->target = target;

  /* Unfinished deliveries of an earlier run go first, in job order. */
  for (const std::string &folder : spool_folders(config.spoolDir))
  {
    DeliveryState st;
    if (!delivery_state_read(folder, &st) || !delivery_state_open(st.state))
      continue;
    if (st.printerUri != config.uri && (st.state == "sending" || st.state == "sent"))
    {
      host_printf(2,
                  "kivprinter-host: job %u: left as it is: it was being delivered to %s, not %s (%s)",
                  st.job, st.printerUri.c_str(), config.uri.c_str(), folder.c_str());
      continue;
    }
    if (st.printerUri != config.uri)
    {
      st.printerUri = config.uri;
      delivery_state_write(folder, st);
    }
    host_printf(1, "job %u: resuming its delivery (%s) from %s", st.job, st.state.c_str(), folder.c_str());
    d->incoming.push_back(folder);
    d->open++;
  }
  d->thread = std::thread(delivery_thread, d);
  return d;
}

void delivery_enqueue(Delivery *d, const std::string &folder)
{
  std::lock_guard<std::mutex> hold(d->lock);
  d->incoming.push_back(folder);
  d->open++;
  d->wake.notify_all();
}

bool delivery_idle(Delivery *d)
{
  std::lock_guard<std::mutex> hold(d->lock);
  return d->open == 0;
}

void delivery_stop(Delivery *d)
{
  if (!d)
    return;
  {
    std::lock_guard<std::mutex> hold(d->lock);
    d->stopping = true;
    d->wake.notify_all();
  }
  printer_interrupt();
  d->thread.join();
  delete d;
}
