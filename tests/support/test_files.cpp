/*
 * test_files.cpp - files and temporary folders in tests.
 */
#include "test_files.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <vector>

bool readWholeFile(const std::string &path, std::string *out)
{
  std::ifstream in(path, std::ios::binary);
  if (!in)
    return false;
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return !in.bad();
}

std::string readFileText(const std::string &path)
{
  std::string text;
  if (!readWholeFile(path, &text))
    text.clear();
  return text;
}

bool writeFileBytes(const std::string &path, const std::string &bytes)
{
  FILE *f = fopen(path.c_str(), "wb");
  if (!f)
    return false;
  bool ok = fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return fclose(f) == 0 && ok;
}

std::string makeTempDir(const char *prefix)
{
  std::string templ = std::string("/tmp/") + prefix + ".XXXXXX";
  std::vector<char> buf(templ.begin(), templ.end());
  buf.push_back('\0');
  if (!mkdtemp(buf.data()))
    return std::string();
  chmod(buf.data(), 0755);
  return std::string(buf.data());
}

/* nftw callback: removes one entry without following links. */
static int removeOne(const char *path, const struct stat *, int, struct FTW *)
{
  remove(path);
  return 0;
}

void removeTempDir(const std::string &dir)
{
  if (dir.size() > 5 && dir.compare(0, 5, "/tmp/") == 0)
    nftw(dir.c_str(), removeOne, 16, FTW_DEPTH | FTW_PHYS);
}
