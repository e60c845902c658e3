# Faults and bad input through the real backend program: hosts that hang up,
# read slowly or never read; cancelling with SIGTERM; broken, random, huge
# and hostile print streams; a host socket path that is no socket or not
# allowed; the scheduler away or refusing; sixteen jobs at once and the
# backend's peak memory, with one raster per job and one per page.  The
# queue is looked up from a scripted scheduler.  One program per part
# (test_faults_<part>.cpp), each with its time limit in seconds; the load
# program also holds the per-page memory test.
foreach(entry host:600 input:900 setup:300 load:900)
  string(REPLACE ":" ";" fields ${entry})
  list(GET fields 0 part)
  list(GET fields 1 seconds)
  set(sources ${AREA_DIR}/test_faults_${part}.cpp)
  if(part STREQUAL "load")
    list(APPEND sources ${AREA_DIR}/test_faults_perpage.cpp)
  endif()
  corvane_add_gtest(integration_faults_${part}
    SOURCES ${sources}
    LIBS corvane_testsupport_backend
    LOCK kivprinter_sock
    TIMEOUT ${seconds})
  add_dependencies(integration_faults_${part} CorvaneBackend)
endforeach()
