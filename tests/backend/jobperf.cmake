# The job path's fast paths: group reversal many bytes at a time, the
# reader's read-ahead block, the lazily cleared raster and the row copy
# order against a model of the page path, large-page allocation.
corvane_add_gtest(backend_jobs_fastpath
  SOURCES ${AREA_DIR}/test_jobs_fastpath.cpp
  LIBS corvane_backend
  TIMEOUT 120)

# Rows kept in the wire layout as they arrive (what the program does)
# against rows kept as rows: the same records and log lines, byte for byte,
# for every row length, alignment, line length and page shape.
corvane_add_gtest(backend_jobs_wire
  SOURCES ${AREA_DIR}/test_jobs_wire.cpp
  LIBS corvane_backend
  TIMEOUT 300)
