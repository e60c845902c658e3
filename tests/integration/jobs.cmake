# Print jobs through the real backend program: a private scheduler's queue
# description, a listening test host on the real socket path, the records
# and the whole job log; the host vanishing; allocation limits.
corvane_add_gtest(integration_jobs
  SOURCES ${AREA_DIR}/test_jobs_typical.cpp ${AREA_DIR}/test_jobs_streams.cpp
          ${AREA_DIR}/test_jobs_failures.cpp
  LIBS corvane_testsupport_backend
  LOCK kivprinter_sock
  TIMEOUT 300)
add_dependencies(integration_jobs CorvaneBackend)
