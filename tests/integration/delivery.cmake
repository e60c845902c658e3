# kivprinter-host --forward: delivery to a second private scheduler on
# 127.0.0.1 standing in for the remote printer (a raw queue whose backend
# captures each document), its faults (the printer away, refusing, slow;
# the host stopped and started again; a lost answer; incomplete jobs), and
# jobs through the real backend on the fixed socket.
set(DELIVERY_SUPPORT ${AREA_DIR}/test_delivery_support.cpp ${AREA_DIR}/../tools/test_host_support.cpp)

corvane_add_gtest(integration_host_delivery
  SOURCES ${AREA_DIR}/test_host_delivery.cpp ${DELIVERY_SUPPORT}
  LIBS kivprinter_tools corvane::cups
  TIMEOUT 300)
target_include_directories(integration_host_delivery PRIVATE ${AREA_DIR}/../tools ${AREA_DIR})
add_dependencies(integration_host_delivery kivprinter-host)

corvane_add_gtest(integration_host_delivery_faults
  SOURCES ${AREA_DIR}/test_host_delivery_faults.cpp ${DELIVERY_SUPPORT}
  LIBS kivprinter_tools corvane::cups
  TIMEOUT 300)
target_include_directories(integration_host_delivery_faults PRIVATE ${AREA_DIR}/../tools ${AREA_DIR})
add_dependencies(integration_host_delivery_faults kivprinter-host)

corvane_add_gtest(integration_host_delivery_backend
  SOURCES ${AREA_DIR}/test_host_delivery_backend.cpp ${DELIVERY_SUPPORT}
  LIBS kivprinter_tools corvane::cups
  LOCK kivprinter_sock
  TIMEOUT 300)
target_include_directories(integration_host_delivery_backend PRIVATE ${AREA_DIR}/../tools ${AREA_DIR})
add_dependencies(integration_host_delivery_backend CorvaneBackend kivprinter-host)

corvane_add_gtest(integration_host_delivery_printer
  SOURCES ${AREA_DIR}/test_host_delivery_printer.cpp ${DELIVERY_SUPPORT}
  LIBS kivprinter_tools corvane::cups
  TIMEOUT 120)
target_include_directories(integration_host_delivery_printer PRIVATE ${AREA_DIR}/../tools ${AREA_DIR})
add_dependencies(integration_host_delivery_printer kivprinter-host)
