# Job set-up helpers: arguments and options, the queue's PPD, the language.
corvane_add_gtest(backend_job_setup
  SOURCES ${AREA_DIR}/test_job_setup.cpp
  LIBS corvane_backend
  TIMEOUT 30)
