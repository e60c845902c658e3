# The Debian packages made by cpack -G DEB from the build folder, and the
# systemd units that cmake --install puts in place.  Making the packages
# installs every component: it needs every installed target built first,
# and it runs in the build folder, so one test of it at a time.
corvane_add_gtest(integration_host_packages
  SOURCES ${AREA_DIR}/test_host_packages.cpp
  LIBS corvane_testsupport_host
  LOCK corvane_build_tree
  TIMEOUT 900)
target_compile_definitions(integration_host_packages PRIVATE
  CORVANE_CMAKE_COMMAND="${CMAKE_COMMAND}"
  CORVANE_CPACK_COMMAND="${CMAKE_CPACK_COMMAND}"
  CORVANE_VERSION="${PROJECT_VERSION}"
  CORVANE_UNIT_DIR="${CORVANE_SYSTEMD_UNIT_DIR}")
add_dependencies(integration_host_packages CorvaneBackend kivprinter-host kivprinter-mkstream kivruntime)
