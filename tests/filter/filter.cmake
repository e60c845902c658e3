# rastertocorvane alone: the stream it writes for every supported raster,
# the paper names, its log lines, hostile inputs, cancelling and failed
# writes, rows at and beyond the output buffer's size.  The rasters are
# written by each test with libcups's writer.
corvane_add_gtest(filter_stream
  SOURCES ${AREA_DIR}/test_filter_stream.cpp
  LIBS corvane_filter corvane_testsupport_filter)

corvane_add_gtest(filter_names
  SOURCES ${AREA_DIR}/test_filter_names.cpp
  LIBS corvane_filter corvane_backend)
add_dependencies(filter_stream rastertocorvane)

corvane_add_gtest(filter_hostile
  SOURCES ${AREA_DIR}/test_filter_hostile.cpp
  LIBS corvane_filter corvane_testsupport_filter)
add_dependencies(filter_hostile rastertocorvane)

corvane_add_gtest(filter_rows
  SOURCES ${AREA_DIR}/test_filter_rows.cpp
  LIBS corvane_filter corvane_testsupport_filter)

# The PPD through cupstestppd, with the filter where the PPD points.
corvane_add_gtest(filter_ppd
  SOURCES ${AREA_DIR}/test_filter_ppd.cpp)
add_dependencies(filter_ppd rastertocorvane)
