/*
 * test_files.cpp - reading whole files in tests.
 */
#include "test_files.h"

#include <stdio.h>

bool readWholeFile(const std::string &path, std::string *out)
{
  FILE *f = fopen(path.c_str(), "rb");
  if (!f)
    return false;
  char buf[65536];
  size_t n;
  out->clear();
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
    out->append(buf, n);
  fclose(f);
  return true;
}

std::string readFileText(const std::string &path)
{
  std::string text;
  if (!readWholeFile(path, &text))
    text.clear();
  return text;
}
