# kivprinter-host given its listening socket by a service manager (socket
# activation: descriptor 3, LISTEN_FDS and LISTEN_PID).
corvane_add_gtest(tools_host_activation
  SOURCES ${AREA_DIR}/test_host_activation.cpp
  LIBS corvane_testsupport_host
  TIMEOUT 120)
add_dependencies(tools_host_activation kivprinter-host)
