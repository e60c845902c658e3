# kivprinter-host given its listening socket by a service manager (socket
# activation: descriptor 3, LISTEN_FDS and LISTEN_PID).
corvane_add_gtest(tools_host_activation
  SOURCES ${AREA_DIR}/test_host_activation.cpp ${AREA_DIR}/test_host_support.cpp
  LIBS kivprinter_tools
  TIMEOUT 120)
target_include_directories(tools_host_activation PRIVATE ${AREA_DIR})
add_dependencies(tools_host_activation kivprinter-host)
