/*
 * replay_main.cpp - runs saved inputs through a fuzz target without the
 * fuzzing engine: every regular file in the directories (or the files) named
 * on the command line is read and handed to LLVMFuzzerTestOneInput once.
 *
 * A target reports a broken invariant by aborting, so a clean exit means
 * every input passed.  Missing directories are skipped: a target may have no
 * fixed crash inputs yet.
 */
#include <dirent.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <algorithm>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) __attribute__((weak));

/* Reads a whole file; false when it cannot be read. */
static bool readFile(const std::string &path, std::vector<uint8_t> *out)
{
  FILE *f = fopen(path.c_str(), "rb");
  if (!f)
    return false;
  uint8_t buf[65536];
  size_t n;
  out->clear();
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
    out->insert(out->end(), buf, buf + n);
  fclose(f);
  return true;
}

/* Adds path, or the regular files inside it, to files (sorted by name). */
static void collect(const std::string &path, std::vector<std::string> *files)
{
  struct stat st;
  if (stat(path.c_str(), &st) != 0)
    return;
  if (S_ISREG(st.st_mode))
  {
    files->push_back(path);
    return;
  }
  if (!S_ISDIR(st.st_mode))
    return;
  DIR *dir = opendir(path.c_str());
  if (!dir)
    return;
  std::vector<std::string> names;
  while (struct dirent *e = readdir(dir))
    if (e->d_name[0] != '.')
      names.push_back(path + "/" + e->d_name);
  closedir(dir);
  std::sort(names.begin(), names.end());
  for (const std::string &n : names)
    collect(n, files);
}

int main(int argc, char **argv)
{
  std::vector<std::string> files;
  std::vector<uint8_t> data;

  if (LLVMFuzzerInitialize)
    LLVMFuzzerInitialize(&argc, &argv);
  for (int i = 1; i < argc; i++)
    collect(argv[i], &files);
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
