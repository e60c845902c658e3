/*
 * test_files.h - reading whole files in tests.
 */
#ifndef CORVANE_TEST_FILES_H
#define CORVANE_TEST_FILES_H

#include <string>

/* Reads the whole file at path into *out; false when it cannot be opened. */
bool readWholeFile(const std::string &path, std::string *out);

/* The whole file at path; empty when it cannot be read. */
std::string readFileText(const std::string &path);

#endif
