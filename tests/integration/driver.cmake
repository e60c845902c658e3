# Documents through the whole chain: a private scheduler with the system's
# filters and rastertocorvane, queues with the printer's PPD, the backend
# and kivprinter-host on the fixed socket.
set(DRIVER_TOOLS_TESTS ${AREA_DIR}/../tools)
corvane_add_gtest(integration_driver_chain
  SOURCES ${AREA_DIR}/test_driver_chain.cpp ${DRIVER_TOOLS_TESTS}/test_host_support.cpp
  LIBS kivprinter_tools
  LOCK kivprinter_sock
  TIMEOUT 600)
target_include_directories(integration_driver_chain PRIVATE ${DRIVER_TOOLS_TESTS})
add_dependencies(integration_driver_chain CorvaneBackend kivprinter-host rastertocorvane)
