# Job set-up helpers: arguments and options, the queue's PPD, the language.
# They use the CUPS library, which a portable (cross) build does not have.
if(NOT CORVANE_PORTABLE_ONLY)
  corvane_add_gtest(backend_job_setup
    SOURCES ${AREA_DIR}/test_job_setup.cpp
    LIBS corvane_backend
    TIMEOUT 30)
endif()
