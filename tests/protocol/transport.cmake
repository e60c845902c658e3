# The local socket transport: connect, chunked writes, reads and close,
# against real socket pairs and listeners.  One test uses the host socket's
# fixed path, hence the lock.
corvane_add_gtest(protocol_transport
  SOURCES ${AREA_DIR}/test_socket_transport.cpp
  LIBS corvane_protocol
  LOCK kivprinter_sock
  TIMEOUT 60)
