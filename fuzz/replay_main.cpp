/*
 * replay_main.cpp - runs saved inputs through a fuzz target without the
 * fuzzing engine: every regular file in the directories (or the files) named
 * on the command line is read and handed to LLVMFuzzerTestOneInput once.
 *
 * A target reports a broken invariant by aborting, so a clean exit means
 * every input passed.  Missing directories are skipped: a target may have no
 * fixed crash inputs yet.  A path that exists but cannot be read, or a run
 * that finds no input at all, is a failure: a replay that silently runs
 * nothing would pass for ever.
 */
/* 64-bit file offsets and inode numbers also on 32-bit hosts, where the
   plain stat() and readdir() fail with EOVERFLOW on large file systems. */
#define _FILE_OFFSET_BITS 64

#include <dirent.h>
#include <errno.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) __attribute__((weak));

/* Reads a whole file; false when it cannot be read. */
static bool readFile(const std::string &path, std::vector<uint8_t> *out)
{
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return false;
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

/* Adds path, or the regular files inside it, to files (sorted by name).
   False when path exists but cannot be read. */
static bool collect(const std::string &path, std::vector<std::string> *files)
{
  struct stat st;
  if (stat(path.c_str(), &st) != 0)
  {
    if (errno == ENOENT)
      return true;
    fprintf(stderr, "replay: cannot look at %s: %s\n", path.c_str(), strerror(errno));
    return false;
  }
  if (S_ISREG(st.st_mode))
  {
    files->push_back(path);
    return true;
  }
  if (!S_ISDIR(st.st_mode))
    return true;
  DIR *dir = opendir(path.c_str());
  if (!dir)
  {
    fprintf(stderr, "replay: cannot open %s: %s\n", path.c_str(), strerror(errno));
    return false;
  }
  std::vector<std::string> names;
  errno = 0;
  while (struct dirent *e = readdir(dir))
    if (e->d_name[0] != '.')
      names.push_back(path + "/" + e->d_name);
  int error = errno;
  closedir(dir);
  if (error)
  {
    fprintf(stderr, "replay: cannot read %s: %s\n", path.c_str(), strerror(error));
    return false;
  }
  std::sort(names.begin(), names.end());
  for (const std::string &n : names)
    if (!collect(n, files))
      return false;
  return true;
}

int main(int argc, char **argv)
{
  std::vector<std::string> files;
  std::vector<uint8_t> data;

  if (LLVMFuzzerInitialize)
    LLVMFuzzerInitialize(&argc, &argv);
  for (int i = 1; i < argc; i++)
    if (!collect(argv[i], &files))
      return 1;
  if (files.empty())
  {
    fprintf(stderr, "replay: no input found\n");
    return 1;
  }
  for (const std::string &f : files)
  {
    if (!readFile(f, &data))
    {
      fprintf(stderr, "replay: cannot read %s\n", f.c_str());
      return 1;
    }
    LLVMFuzzerTestOneInput(data.empty() ? nullptr : data.data(), data.size());
  }
  printf("replay: %zu inputs passed\n", files.size());
  return 0;
}
