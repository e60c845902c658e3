# The job path's fast paths: group reversal many bytes at a time, the
# reader's read-ahead block, the lazily cleared raster and the row copy
# order against a model of the page path, large-page allocation.
corvane_add_gtest(backend_jobs_fastpath
  SOURCES ${AREA_DIR}/test_jobs_fastpath.cpp
  LIBS corvane_backend
  TIMEOUT 120)
