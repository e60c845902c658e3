# kivprinter-host --forward: delivery to a second private scheduler on
# 127.0.0.1 standing in for the remote printer (a raw queue whose backend
# captures each document), its faults (the printer away, refusing, slow;
# the host stopped and started again; a lost answer; incomplete jobs), and
# jobs through the real backend on the fixed socket.
corvane_add_gtest(integration_host_delivery
  SOURCES ${AREA_DIR}/test_host_delivery.cpp
  LIBS corvane_testsupport_host corvane::cups
  TIMEOUT 300)
add_dependencies(integration_host_delivery kivprinter-host)

corvane_add_gtest(integration_host_delivery_faults
  SOURCES ${AREA_DIR}/test_host_delivery_faults.cpp
  LIBS corvane_testsupport_host corvane::cups
  TIMEOUT 300)
add_dependencies(integration_host_delivery_faults kivprinter-host)

corvane_add_gtest(integration_host_delivery_backend
  SOURCES ${AREA_DIR}/test_host_delivery_backend.cpp
  LIBS corvane_testsupport_host corvane::cups
  LOCK kivprinter_sock
  TIMEOUT 300)
add_dependencies(integration_host_delivery_backend CorvaneBackend kivprinter-host)

corvane_add_gtest(integration_host_delivery_printer
  SOURCES ${AREA_DIR}/test_host_delivery_printer.cpp
  LIBS corvane_testsupport_host corvane::cups
  TIMEOUT 120)
add_dependencies(integration_host_delivery_printer kivprinter-host)
