# Faults and bad input through the real backend program: hosts that hang up,
# read slowly or never read; cancelling with SIGTERM; broken, random, huge
# and hostile print streams; a host socket path that is no socket or not
# allowed; the scheduler away or refusing; sixteen jobs at once and the
# backend's peak memory, with one raster per job and one per page.  The queue is looked up from a scripted scheduler.
set(FAULTS_SUPPORT ${AREA_DIR}/test_faults_support.cpp ${AREA_DIR}/backend_run.cpp)

corvane_add_gtest(integration_faults_host
  SOURCES ${AREA_DIR}/test_faults_host.cpp ${FAULTS_SUPPORT}
  LIBS corvane_protocol
  LOCK kivprinter_sock
  TIMEOUT 600)
add_dependencies(integration_faults_host CorvaneBackend)

corvane_add_gtest(integration_faults_input
  SOURCES ${AREA_DIR}/test_faults_input.cpp ${FAULTS_SUPPORT}
  LIBS corvane_protocol
  LOCK kivprinter_sock
  TIMEOUT 900)
add_dependencies(integration_faults_input CorvaneBackend)

corvane_add_gtest(integration_faults_setup
  SOURCES ${AREA_DIR}/test_faults_setup.cpp ${FAULTS_SUPPORT}
  LIBS corvane_protocol
  LOCK kivprinter_sock
  TIMEOUT 300)
add_dependencies(integration_faults_setup CorvaneBackend)

corvane_add_gtest(integration_faults_load
  SOURCES ${AREA_DIR}/test_faults_load.cpp ${AREA_DIR}/test_faults_perpage.cpp ${FAULTS_SUPPORT}
  LIBS corvane_protocol
  LOCK kivprinter_sock
  TIMEOUT 900)
add_dependencies(integration_faults_load CorvaneBackend)
