# The host tools: page rebuild, PNG files, the print stream writer, the test
# page, kivprinter-mkstream, and kivprinter-host as a program on a socket of
# its own (never the backend's /tmp/kivprinter.sock).
corvane_add_gtest(tools_host_units
  SOURCES ${AREA_DIR}/test_host_rebuild.cpp ${AREA_DIR}/test_host_png_stream.cpp
  LIBS corvane_testsupport_host
  TIMEOUT 120)
add_dependencies(tools_host_units kivprinter-mkstream)

corvane_add_gtest(tools_host_receiver
  SOURCES ${AREA_DIR}/test_host_receiver.cpp
  LIBS corvane_testsupport_host
  TIMEOUT 180)
add_dependencies(tools_host_receiver kivprinter-host)
