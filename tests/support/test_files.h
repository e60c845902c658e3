/*
 * test_files.h - files and temporary folders in tests.
 */
#ifndef CORVANE_TEST_FILES_H
#define CORVANE_TEST_FILES_H

#include <string>

/* Reads the whole file at path into *out; false when it cannot be opened. */
bool readWholeFile(const std::string &path, std::string *out);

/* The whole file at path; empty when it cannot be read. */
std::string readFileText(const std::string &path);

/* Writes bytes to path (created or truncated); false on failure. */
bool writeFileBytes(const std::string &path, const std::string &bytes);

/* A fresh folder /tmp/<prefix>.XXXXXX (mode 0755); empty on failure. */
std::string makeTempDir(const char *prefix);

/* Removes a folder below /tmp with everything in it, without following
   links; any other path is left alone. */
void removeTempDir(const std::string &dir);

#endif
