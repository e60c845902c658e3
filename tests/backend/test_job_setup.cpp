/*
 * test_job_setup.cpp - Initialize, SetLocale and GetStatus with a real PPD
 * file and real option strings parsed by the CUPS library.
 */
#include <gtest/gtest.h>

#include <errno.h>
#include <locale.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "job_setup.h"
#include "stderr_capture.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

/* The CUPS library of Debian 12 loses a few strings of the PPD cache that
   cupsMarkOptions builds to map standard option names (media, sides) onto
   the PPD; ppdClose does not free them.  That is the library's leak, not
   ours: the leak checker of the sanitized build is told to pass over that
   one function, and only in this program. */
extern "C" __attribute__((used)) const char *__lsan_default_suppressions()
{
  return "leak:_ppdCacheCreateWithPPD\n";
}

namespace {

/* A small but complete PPD: page size and duplex options. */
const char kPpd[] =
  "*PPD-Adobe: \"4.3\"\n"
  "*FormatVersion: \"4.3\"\n"
  "*FileVersion: \"1.0\"\n"
  "*LanguageVersion: English\n"
  "*LanguageEncoding: ISOLatin1\n"
  "*PCFileName: \"TESTPRN.PPD\"\n"
  "*Manufacturer: \"Test\"\n"
  "*Product: \"(Test Printer)\"\n"
  "*ModelName: \"Test Printer\"\n"
  "*ShortNickName: \"Test Printer\"\n"
  "*NickName: \"Test Printer\"\n"
  "*PSVersion: \"(3010.000) 0\"\n"
  "*LanguageLevel: \"3\"\n"
  "*ColorDevice: True\n"
  "*DefaultColorSpace: RGB\n"
  "*FileSystem: False\n"
  "*Throughput: \"1\"\n"
  "*LandscapeOrientation: Plus90\n"
  "*TTRasterizer: Type42\n"
  "*OpenUI *PageSize/Media Size: PickOne\n"
  "*OrderDependency: 10 AnySetup *PageSize\n"
  "*DefaultPageSize: Letter\n"
  "*PageSize Letter/US Letter: \"<</PageSize[612 792]>>setpagedevice\"\n"
  "*PageSize A4/A4: \"<</PageSize[595 842]>>setpagedevice\"\n"
  "*CloseUI: *PageSize\n"
  "*OpenUI *PageRegion/Media Size: PickOne\n"
  "*OrderDependency: 10 AnySetup *PageRegion\n"
  "*DefaultPageRegion: Letter\n"
  "*PageRegion Letter/US Letter: \"<</PageSize[612 792]>>setpagedevice\"\n"
  "*PageRegion A4/A4: \"<</PageSize[595 842]>>setpagedevice\"\n"
  "*CloseUI: *PageRegion\n"
  "*DefaultImageableArea: Letter\n"
  "*ImageableArea Letter/US Letter: \"18 36 594 756\"\n"
  "*ImageableArea A4/A4: \"18 36 577 806\"\n"
  "*DefaultPaperDimension: Letter\n"
  "*PaperDimension Letter/US Letter: \"612 792\"\n"
  "*PaperDimension A4/A4: \"595 842\"\n"
  "*OpenUI *Duplex/2-Sided Printing: PickOne\n"
  "*OrderDependency: 20 AnySetup *Duplex\n"
  "*DefaultDuplex: None\n"
  "*Duplex None/Off: \"<</Duplex false>>setpagedevice\"\n"
  "*Duplex DuplexNoTumble/Long Edge: \"<</Duplex true/Tumble false>>setpagedevice\"\n"
  "*Duplex DuplexTumble/Short Edge: \"<</Duplex true/Tumble true>>setpagedevice\"\n"
  "*CloseUI: *Duplex\n";

/* Saves the variables and the message locale a test changes, and puts them
   back afterwards. */
class JobSetup : public ::testing::Test
{
protected:
  std::string dir;
  std::string ppdPath;
  std::vector<std::pair<std::string, std::pair<bool, std::string>>> savedEnv;
  std::string savedLocale;

  void SetUp() override
  {
    for (const char *name : {"PPD", "APPLE_LANGUAGE", "LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES"})
    {
      const char *v = getenv(name);
      savedEnv.push_back({name, {v != nullptr, v ? v : ""}});
      unsetenv(name);
    }
    savedLocale = setlocale(LC_MESSAGES, nullptr);
    setlocale(LC_MESSAGES, "C");

    char templ[] = "/tmp/job-setup-test.XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    dir = templ;
    ppdPath = dir + "/printer.ppd";
    FILE *f = fopen(ppdPath.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fputs(kPpd, f);
    fclose(f);
  }

  void TearDown() override
  {
    for (const auto &e : savedEnv)
    {
      if (e.second.first)
        setenv(e.first.c_str(), e.second.second.c_str(), 1);
      else
        unsetenv(e.first.c_str());
    }
    setlocale(LC_MESSAGES, savedLocale.c_str());
    setvbuf(stderr, nullptr, _IONBF, 0);
    unlink(ppdPath.c_str());
    unlink((dir + "/garbage.ppd").c_str());
    rmdir(dir.c_str());
  }

  /* Initialize over a copy of args (argv[0] first), capturing its log. */
  ppd_file_t *initialize(std::vector<std::string> args, job_data_t *job, std::string *log,
                         std::vector<char *> *argvOut = nullptr)
  {
    static std::vector<std::string> keep;
    keep = args;
    std::vector<char *> argv;
    for (std::string &a : keep)
      argv.push_back(&a[0]);
    argv.push_back(nullptr);
    if (argvOut)
      *argvOut = argv;
    StderrCapture cap;
    cap.begin();
    ppd_file_t *ppd = Initialize((int)keep.size(), argv.data(), job);
    *log = cap.end();
    return ppd;
  }

  static std::string marked(ppd_file_t *ppd, const char *option)
  {
    ppd_choice_t *c = ppdFindMarkedChoice(ppd, option);
    return c ? c->choice : "(none)";
  }
};

/* A job record whose every field shows whether it was touched. */
job_data_t sentinelJob()
{
  job_data_t job;
  job.job_id = -777;
  job.user = (char *)"untouched-user";
  job.title = (char *)"untouched-title";
  job.num_options = -5;
  job.options = (cups_option_t *)&job; /* any recognisable non-null value */
  return job;
}

TEST_F(JobSetup, WrongArgumentCountPrintsUsageAndLeavesTheJobAlone)
{
  setenv("PPD", ppdPath.c_str(), 1);
  setenv("LANG", "C.UTF-8", 1);
  std::vector<std::vector<std::string>> cases = {
    {"/usr/lib/cups/filter/testprn"},
    {"testprn", "1"},
    {"testprn", "1", "user"},
    {"testprn", "1", "user", "title"},
    {"testprn", "1", "user", "title", "1"},
    {"testprn", "1", "user", "title", "1", "", "file", "extra"}};
  for (const std::vector<std::string> &args : cases)
  {
    job_data_t job = sentinelJob();
    job_data_t before = job;
    std::string log;
    EXPECT_EQ(initialize(args, &job, &log), nullptr);
    EXPECT_EQ(log, "Usage: " + args[0] + " job user title copies options [filename]\n");
    EXPECT_EQ(memcmp(&job, &before, sizeof job), 0) << "argc " << args.size();
  }
  /* SetLocale was not reached either. */
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C");
}

TEST_F(JobSetup, FillsTheJobOpensThePpdAndMarksTheOptions)
{
  setenv("PPD", ppdPath.c_str(), 1);
  job_data_t job = sentinelJob();
  std::string log;
  std::vector<char *> argv;
  ppd_file_t *ppd = initialize({"testprn", "42", "alice", "Quarterly report", "3",
                                "PageSize=A4 Duplex=DuplexTumble media-color=blue"},
                               &job, &log, &argv);
  ASSERT_NE(ppd, nullptr) << log;
  EXPECT_EQ(log, "");
  EXPECT_EQ(job.job_id, 42);
  EXPECT_EQ(job.user, argv[2]) << "the user is argv[2] itself, not a copy";
  EXPECT_EQ(job.title, argv[3]);
  ASSERT_EQ(job.num_options, 3);
  EXPECT_STREQ(cupsGetOption("PageSize", job.num_options, job.options), "A4");
  EXPECT_STREQ(cupsGetOption("Duplex", job.num_options, job.options), "DuplexTumble");
  EXPECT_STREQ(cupsGetOption("media-color", job.num_options, job.options), "blue");
  EXPECT_EQ(marked(ppd, "PageSize"), "A4");
  EXPECT_EQ(marked(ppd, "Duplex"), "DuplexTumble");
  cupsFreeOptions(job.num_options, job.options);
  ppdClose(ppd);
}

TEST_F(JobSetup, DefaultsAreMarkedWhenNoOptionIsGiven)
{
  setenv("PPD", ppdPath.c_str(), 1);
  job_data_t job = sentinelJob();
  std::string log;
  ppd_file_t *ppd = initialize({"testprn", "7", "bob", "t", "1", "", "/some/file"}, &job, &log);
  ASSERT_NE(ppd, nullptr) << log;
  EXPECT_EQ(log, "");
  EXPECT_EQ(job.job_id, 7);
  EXPECT_EQ(job.num_options, 0);
  EXPECT_EQ(job.options, nullptr);
  EXPECT_EQ(marked(ppd, "PageSize"), "Letter");
  EXPECT_EQ(marked(ppd, "Duplex"), "None");
  ppdClose(ppd);
}

TEST_F(JobSetup, StandardOptionNamesMapOntoThePpd)
{
  /* cupsMarkOptions translates the IPP names into the PPD's options. */
  setenv("PPD", ppdPath.c_str(), 1);
  job_data_t job = sentinelJob();
  std::string log;
  ppd_file_t *ppd =
    initialize({"testprn", "1", "u", "t", "1", "media=A4 sides=two-sided-long-edge"}, &job, &log);
  ASSERT_NE(ppd, nullptr) << log;
  EXPECT_EQ(marked(ppd, "PageSize"), "A4");
  EXPECT_EQ(marked(ppd, "Duplex"), "DuplexNoTumble");
  cupsFreeOptions(job.num_options, job.options);
  ppdClose(ppd);
}

TEST_F(JobSetup, JobIdIsConvertedLikeAtoi)
{
  setenv("PPD", ppdPath.c_str(), 1);
  struct Case
  {
    const char *text;
    int id;
  };
  for (const Case &c : {Case{"abc", 0}, Case{"17x", 17}, Case{"  -3", -3}, Case{"", 0}})
  {
    job_data_t job = sentinelJob();
    std::string log;
    ppd_file_t *ppd = initialize({"testprn", c.text, "u", "t", "1", ""}, &job, &log);
    ASSERT_NE(ppd, nullptr);
    EXPECT_EQ(job.job_id, c.id) << "'" << c.text << "'";
    ppdClose(ppd);
  }
}

TEST_F(JobSetup, UnopenablePpdIsReportedWithTheSystemError)
{
  struct Case
  {
    const char *ppd; /* null: PPD unset */
    const char *text;
  };
  std::string missing = dir + "/missing.ppd";
  for (const Case &c : {Case{nullptr, "No such file or directory"},
                        Case{missing.c_str(), "No such file or directory"},
                        Case{dir.c_str(), "Is a directory"}})
  {
    if (c.ppd)
      setenv("PPD", c.ppd, 1);
    else
      unsetenv("PPD");
    job_data_t job = sentinelJob();
    std::string log;
    std::vector<char *> argv;
    EXPECT_EQ(initialize({"testprn", "5", "carol", "title", "1", "PageSize=A4"}, &job, &log, &argv),
              nullptr);
    EXPECT_EQ(log, std::string("ERROR: Unable to open PPD file: ") + c.text + "\n");
    /* The job stays filled; its options belong to the caller. */
    EXPECT_EQ(job.job_id, 5);
    EXPECT_EQ(job.user, argv[2]);
    EXPECT_EQ(job.title, argv[3]);
    ASSERT_EQ(job.num_options, 1);
    EXPECT_STREQ(cupsGetOption("PageSize", job.num_options, job.options), "A4");
    cupsFreeOptions(job.num_options, job.options);
  }
}

TEST_F(JobSetup, MalformedPpdIsRefusedWithOneErrorLine)
{
  /* The library leaves no system error for a file it could read but not
     parse, so the text after the colon is whatever errno says then; the
     line itself is fixed. */
  std::string garbage = dir + "/garbage.ppd";
  FILE *f = fopen(garbage.c_str(), "w");
  ASSERT_NE(f, nullptr);
  fputs("this is not a PPD file\n", f);
  fclose(f);
  setenv("PPD", garbage.c_str(), 1);
  job_data_t job = sentinelJob();
  std::string log;
  EXPECT_EQ(initialize({"testprn", "1", "u", "t", "1", ""}, &job, &log), nullptr);
  const std::string prefix = "ERROR: Unable to open PPD file: ";
  ASSERT_GT(log.size(), prefix.size() + 1);
  EXPECT_EQ(log.compare(0, prefix.size(), prefix), 0) << log;
  EXPECT_EQ(log.find('\n'), log.size() - 1) << log;
}

TEST_F(JobSetup, SetLocaleMakesStandardErrorUnbuffered)
{
  static char buffer[BUFSIZ];
  StderrCapture cap;
  cap.begin();
  setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
  fputs("held", stderr);
  std::string beforeCall = cap.peek();
  SetLocale();
  fputs("direct", stderr);
  std::string afterCall = cap.peek();
  std::string all = cap.end();
  EXPECT_EQ(beforeCall, "") << "the buffered stream should have held the text";
  /* setbuf(stderr, NULL) does not flush what was held. */
  EXPECT_NE(afterCall.find("direct"), std::string::npos) << afterCall;
  EXPECT_NE(all.find("held"), std::string::npos);
}

TEST_F(JobSetup, SetLocaleTakesTheMessageLanguageFromLang)
{
  setenv("LANG", "C.UTF-8", 1);
  SetLocale();
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C.UTF-8");
  EXPECT_EQ(getenv("LANGUAGE"), nullptr);
}

TEST_F(JobSetup, SetLocalePutsTheJobLanguageFirst)
{
  /* The job's language becomes the message language list; the locale
     category itself still comes from the environment. */
  setenv("APPLE_LANGUAGE", "de", 1);
  setenv("LANG", "C.UTF-8", 1);
  SetLocale();
  ASSERT_NE(getenv("LANGUAGE"), nullptr);
  EXPECT_STREQ(getenv("LANGUAGE"), "de");
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C.UTF-8");
}

TEST_F(JobSetup, SetLocaleWithOnlyTheJobLanguage)
{
  setenv("APPLE_LANGUAGE", "fr", 1);
  setenv("LC_MESSAGES", "C.UTF-8", 1);
  SetLocale();
  EXPECT_STREQ(getenv("LANGUAGE"), "fr");
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C.UTF-8");
}

TEST_F(JobSetup, SetLocaleWithoutALanguageChangesNothing)
{
  /* Neither APPLE_LANGUAGE nor LANG: setlocale is not called, so even a
     LC_MESSAGES in the environment is not taken up. */
  setenv("LC_MESSAGES", "C.UTF-8", 1);
  SetLocale();
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C");
  EXPECT_EQ(getenv("LANGUAGE"), nullptr);
}

TEST_F(JobSetup, InitializeSetsTheLocaleFirst)
{
  /* Even when the PPD then fails, the language has been set up. */
  setenv("LANG", "C.UTF-8", 1);
  job_data_t job = sentinelJob();
  std::string log;
  EXPECT_EQ(initialize({"testprn", "1", "u", "t", "1", ""}, &job, &log), nullptr);
  EXPECT_STREQ(setlocale(LC_MESSAGES, nullptr), "C.UTF-8");
}

TEST_F(JobSetup, GetStatusIsAlwaysOne)
{
  EXPECT_EQ(GetStatus(nullptr, 0.0), 1);
  EXPECT_EQ(GetStatus(nullptr, -1.5), 1);
  EXPECT_EQ(GetStatus(nullptr, NAN), 1);
  ppd_file_t *ppd = ppdOpenFile(ppdPath.c_str());
  ASSERT_NE(ppd, nullptr);
  EXPECT_EQ(GetStatus(ppd, 1e300), 1);
  ppdClose(ppd);
}

} // namespace
