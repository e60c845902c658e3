/*
 * main.cpp - CorvaneBackend, the CUPS backend program.  All of its work is
 * done by backend_main() (job_driver.cpp), which returns the exit status.
 */
#include "job_driver.h"

int main(int argc, char **argv)
{
  return backend_main(argc, argv);
}
