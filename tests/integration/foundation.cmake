# The backend program end to end: queue lookup against a private CUPS
# scheduler and a scripted IPP responder, device listing, argument and input
# handling, the connection to the host socket and the exit statuses.
# Runs without arguments or with failing arguments only: never touches the
# host socket.
corvane_add_gtest(integration_lookup
  SOURCES ${AREA_DIR}/test_lookup.cpp ${AREA_DIR}/test_lookup_responder.cpp
          ${AREA_DIR}/test_cupsd_fixture.cpp
  LIBS corvane_testsupport_backend
  TIMEOUT 120)
add_dependencies(integration_lookup CorvaneBackend)

# Jobs from start to exit status: input, connection to the host socket
# (its fixed path, hence the lock), close-on-exec, the normal end.
corvane_add_gtest(integration_driver
  SOURCES ${AREA_DIR}/test_driver.cpp
  LIBS corvane_testsupport_backend
  LOCK kivprinter_sock
  TIMEOUT 120)
add_dependencies(integration_driver CorvaneBackend)
