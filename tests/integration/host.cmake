# The host side end to end: images through the real backend to
# kivprinter-host and back, sixteen backends at once (started directly and
# through sixteen queues of a private scheduler), the demo command, and an
# install into a staging folder with a program built against it.
# The demo also prints documents through rastertocorvane; its three jobs
# take the longest, hence the common time limit.
foreach(part roundtrip sixteen demo)
  corvane_add_gtest(integration_host_${part}
    SOURCES ${AREA_DIR}/test_host_${part}.cpp
    LIBS corvane_testsupport_host
    LOCK kivprinter_sock
    TIMEOUT 600)
  add_dependencies(integration_host_${part} CorvaneBackend rastertocorvane kivprinter-host kivprinter-mkstream)
endforeach()

# Installs the whole build: it needs every installed target built first.
if(CORVANE_SANITIZE)
  set(HOST_INSTALL_EXTRA_FLAGS "-fsanitize=address,undefined")
else()
  set(HOST_INSTALL_EXTRA_FLAGS "")
endif()
corvane_add_gtest(integration_host_install
  SOURCES ${AREA_DIR}/test_host_install.cpp
  LIBS corvane_testsupport_host
  TIMEOUT 300)
target_compile_definitions(integration_host_install PRIVATE
  CORVANE_CMAKE_COMMAND="${CMAKE_COMMAND}"
  CORVANE_CXX_COMPILER="${CMAKE_CXX_COMPILER}"
  CORVANE_EXTRA_FLAGS="${HOST_INSTALL_EXTRA_FLAGS}"
  CORVANE_INSTALL_LIBDIR="${CMAKE_INSTALL_LIBDIR}")
add_dependencies(integration_host_install CorvaneBackend kivprinter-host kivprinter-mkstream kivruntime)
