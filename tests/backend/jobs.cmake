# The print-stream reader, the command line reader and the number readers,
# the page raster (one per job, or one per page as the device URI may ask),
# the bitmap transmission and the command loop, run
# in-process over temporary files and test sockets in temporary folders.
corvane_add_gtest(backend_jobs_reader
  SOURCES ${AREA_DIR}/test_jobs_reader.cpp ${AREA_DIR}/test_jobs_line.cpp
  LIBS corvane_backend
  TIMEOUT 60)

corvane_add_gtest(backend_jobs_pages
  SOURCES ${AREA_DIR}/test_jobs_raster.cpp ${AREA_DIR}/test_jobs_bitmap.cpp
          ${AREA_DIR}/test_jobs_loop.cpp ${AREA_DIR}/test_jobs_perpage.cpp
  LIBS corvane_backend
  TIMEOUT 120)
