/*
 * test_host_sixteen.cpp - sixteen backends printing at once to one
 * kivprinter-host: started directly, and as the jobs of sixteen queues of a
 * private CUPS scheduler (a queue runs one job at a time, so sixteen queues
 * run sixteen backends at once).  Every page of every job must arrive
 * exact.
 */
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "cupsd_fixture.h"
#include "stream_writer.h"
#include "host_support.h"
#include "receiver_test.h"

namespace {

const int kJobs = 16;

struct SixteenJobs
{
  std::vector<PageImage> images;
  std::vector<std::string> names; /* J01 ... J16, the PRINTERMODEL names */
  std::vector<std::string> files; /* their print streams */
};

/* Sixteen different pages, colour and gray, with their stream files. */
void makeJobs(const std::string &dir, SixteenJobs *jobs)
{
  for (int i = 0; i < kJobs; i++)
  {
    uint32_t channels = i % 2 ? 1 : 3;
    uint32_t width = 60 + i * 13;
    while (channels == 1 && grayWidthLosesASample(width))
      width++;
    PageImage image = patternImage(width, 80 + i * 5, channels, 100 + i, i % 3 ? 75 : 300);
    char name[8];
    snprintf(name, sizeof name, "J%02d", i + 1);
    StreamSettings s;
    s.hasPrinterName = true;
    s.printerName = name;
    s.depth = channels;
    s.xdpi = s.ydpi = image.xdpi;
    std::string stream;
    ASSERT_EQ(build_print_stream(&stream, s, {image}), 1);
    std::string file = dir + "/" + name + ".stream";
    ASSERT_TRUE(writeFileBytes(file, stream));
    chmod(file.c_str(), 0644);
    jobs->images.push_back(image);
    jobs->names.push_back(name);
    jobs->files.push_back(file);
  }
}

/* Every job folder under out holds its page, exact. */
void expectAllExact(const std::string &out, const SixteenJobs &jobs)
{
  std::vector<std::string> folders = hostListDir(out);
  ASSERT_EQ(folders.size(), (size_t)kJobs);
  std::vector<bool> seen(kJobs, false);
  for (const std::string &folder : folders)
  {
    int k = atoi(folder.substr(6).c_str()) - 1; /* "NNNN-Jkk" */
    ASSERT_TRUE(k >= 0 && k < kJobs) << folder;
    EXPECT_FALSE(seen[k]) << folder;
    seen[k] = true;
    PageImage back;
    ASSERT_TRUE(readPng(out + "/" + folder + "/page-001.png", &back)) << folder;
    EXPECT_EQ(imageDifference(back, jobs.images[k]), "") << folder;
    EXPECT_EQ(back.xdpi, jobs.images[k].xdpi) << folder;
    EXPECT_NE(readFileText(out + "/" + folder + "/job.json").find("\"status\":\"complete\""),
              std::string::npos)
      << folder;
  }
}

class HostSixteen : public FixedPathReceiverTest
{
protected:
  HostSixteen()
      : FixedPathReceiverTest("host-sixteen", 30) {}
};

} // namespace

TEST_F(HostSixteen, SixteenBackendsStartedDirectly)
{
  CupsdFixture *cupsd = cupsdShared();
  ASSERT_NE(cupsd, nullptr) << cupsdLastError();
  ASSERT_TRUE(cupsdAddQueue(cupsd, "Office", "Office Laser"));
  SixteenJobs jobs;
  makeJobs(dir, &jobs);

  std::vector<ChildResult> results(kJobs);
  std::vector<std::thread> threads;
  for (int i = 0; i < kJobs; i++)
    threads.emplace_back([&, i] {
      ChildOptions o;
      o.argv = {std::string(CORVANE_BIN_DIR) + "/CorvaneBackend", std::to_string(i + 1), "user",
                jobs.names[i], "1", "", jobs.files[i]};
      o.env = cupsdEnvironment(cupsd, {"PRINTER=Office"});
      o.stdinIsDevNull = true;
      o.timeoutSeconds = 120;
      results[i] = runChild(o);
    });
  for (std::thread &t : threads)
    t.join();
  for (int i = 0; i < kJobs; i++)
  {
    EXPECT_TRUE(results[i].exited) << jobs.names[i];
    EXPECT_EQ(results[i].exitStatus, 0) << jobs.names[i] << results[i].err;
  }
  ASSERT_TRUE(receiverWaitFor(&r, false, ": complete, 1 page in ", 60, kJobs))
    << receiverOut(&r) << receiverErr(&r);
  EXPECT_EQ(receiverErr(&r), "");
  expectAllExact(dir + "/received", jobs);
}

TEST_F(HostSixteen, SixteenQueuesOfARealScheduler)
{
  CupsdFixture cupsd;
  CupsdStartOptions options;
  options.backendProgram = std::string(CORVANE_BIN_DIR) + "/CorvaneBackend";
  options.debugLog = true;
  ASSERT_TRUE(cupsdStart(&cupsd, options)) << cupsdLastError();
  SixteenJobs jobs;
  makeJobs(dir, &jobs);
  for (int i = 0; i < kJobs; i++)
    ASSERT_TRUE(cupsdAddQueue(&cupsd, "Q" + jobs.names[i], "Office Laser")) << cupsdLog(&cupsd);

  for (int i = 0; i < kJobs; i++)
  {
    std::string output;
    int status = cupsdRunClient(&cupsd, {"lp", "-d", "Q" + jobs.names[i], "-o", "raw", "-t", jobs.names[i], jobs.files[i]}, &output);
    ASSERT_EQ(status, 0) << output;
    EXPECT_EQ(output.find("request id is Q" + jobs.names[i] + "-"), 0u) << output;
  }
  bool arrived = receiverWaitFor(&r, false, ": complete, 1 page in ", 120, kJobs);
  /* The scheduler notes a job's end after its backend has exited. */
  std::string log;
  for (int tries = 0; tries < 300; tries++)
  {
    log = cupsdLog(&cupsd);
    if (hostCount(log, "] Job completed.") >= (size_t)kJobs)
      break;
    usleep(100000);
  }
  cupsdStop(&cupsd);
  ASSERT_TRUE(arrived) << receiverOut(&r) << receiverErr(&r) << log;
  EXPECT_EQ(receiverErr(&r), "");
  expectAllExact(dir + "/received", jobs);
  /* Every backend ended well, and the scheduler saw each job complete. */
  EXPECT_EQ(hostCount(log, "CorvaneBackend finished with CUPS_BACKEND_OK"), (size_t)kJobs) << log;
  EXPECT_EQ(hostCount(log, "] Job completed."), (size_t)kJobs) << log;
}
