# Documents through the whole chain: a private scheduler with the system's
# filters and rastertocorvane, queues with the printer's PPD, the backend
# and kivprinter-host on the fixed socket.
corvane_add_gtest(integration_driver_chain
  SOURCES ${AREA_DIR}/test_driver_chain.cpp
  LIBS corvane_testsupport_host
  LOCK kivprinter_sock
  TIMEOUT 600)
add_dependencies(integration_driver_chain CorvaneBackend kivprinter-host rastertocorvane)
