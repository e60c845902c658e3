# The host tools: page rebuild, PNG files, the print stream writer, the test
# page, kivprinter-mkstream, and kivprinter-host as a program on a socket of
# its own (never the backend's /tmp/kivprinter.sock).
set(HOST_SUPPORT ${AREA_DIR}/test_host_support.cpp)

corvane_add_gtest(tools_host_units
  SOURCES ${AREA_DIR}/test_host_rebuild.cpp ${AREA_DIR}/test_host_png_stream.cpp ${HOST_SUPPORT}
  LIBS kivprinter_tools
  TIMEOUT 120)
target_include_directories(tools_host_units PRIVATE ${AREA_DIR})
add_dependencies(tools_host_units kivprinter-mkstream)

corvane_add_gtest(tools_host_receiver
  SOURCES ${AREA_DIR}/test_host_receiver.cpp ${HOST_SUPPORT}
  LIBS kivprinter_tools
  TIMEOUT 180)
target_include_directories(tools_host_receiver PRIVATE ${AREA_DIR})
add_dependencies(tools_host_receiver kivprinter-host)
