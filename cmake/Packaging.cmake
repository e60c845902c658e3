# Debian packages, made with `cpack -G DEB` in the build folder:
#
#   corvane-backend     the CUPS backend (and the filter and PPD installed
#                       with the backend component)
#   kivprinter-host     kivprinter-host, kivprinter-mkstream, the systemd
#                       units, the options file (a conffile) and the spool
#   libkivruntime-dev   libkivruntime.a, its headers and kivruntime.pc
#
# Each component's install rules give its files; the packages are built
# with DESTDIR staging (CPACK_SET_DESTDIR), so the absolute folders (the
# CUPS backend folder, the unit folder, /etc/default) land where they
# belong and everything else under /usr.  Library dependencies come from
# dpkg-shlibdeps; the first line of each description is its synopsis.

set(CPACK_GENERATOR "DEB")
set(CPACK_PACKAGE_NAME "corvane")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR "Corvane")
set(CORVANE_PACKAGE_MAINTAINER "Corvane maintainers <corvane@localhost>" CACHE STRING
    "Maintainer field of the Debian packages")
set(CPACK_PACKAGE_CONTACT "${CORVANE_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CORVANE_PACKAGE_MAINTAINER}")

set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX "/usr")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL backend host library)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")

set(CPACK_DEBIAN_BACKEND_PACKAGE_NAME "corvane-backend")
set(CPACK_DEBIAN_BACKEND_PACKAGE_SECTION "text")
set(CPACK_DEBIAN_BACKEND_PACKAGE_DEPENDS "cups-daemon")
set(CPACK_DEBIAN_BACKEND_PACKAGE_RECOMMENDS "kivprinter-host")
string(CONCAT CPACK_DEBIAN_BACKEND_DESCRIPTION
    "CUPS backend that sends print jobs to a local receiver\n"
    "CorvaneBackend turns the print stream of a CUPS queue into binary page\n"
    "records on the Unix socket /tmp/kivprinter.sock, where a receiver such as\n"
    "kivprinter-host takes them.")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME "kivprinter-host")
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION "net")
string(CONCAT CPACK_DEBIAN_HOST_DESCRIPTION
    "receiver that forwards Corvane print jobs to an IPP printer\n"
    "kivprinter-host listens on /tmp/kivprinter.sock for the records of the\n"
    "Corvane CUPS backend, checks and rebuilds every page, and delivers each\n"
    "complete job to an IPP printer or CUPS queue as PWG raster, spooling it\n"
    "first and retrying until the printer takes it.  Runs as a systemd\n"
    "service with socket activation.  Also kivprinter-mkstream, which makes\n"
    "print streams from PNG images.")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME "libkivruntime-dev")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION "libdevel")
string(CONCAT CPACK_DEBIAN_LIBRARY_DESCRIPTION
    "kivruntime string library (static library and headers)\n"
    "String buffers, character set conversions, number formatting and parsing,\n"
    "comparison, escaping codecs and editing of narrow and wide strings, with\n"
    "a pkg-config file (kivruntime).")

# The host package's maintainer scripts and its conffile.
set(_corvane_debian "${CMAKE_BINARY_DIR}/packaging/debian")
configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/host-postinst.in" "${_corvane_debian}/postinst" @ONLY)
configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/host-prerm" "${_corvane_debian}/prerm" COPYONLY)
configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/host-postrm.in" "${_corvane_debian}/postrm" @ONLY)
file(WRITE "${_corvane_debian}/conffiles" "${CORVANE_DEFAULTS_FILE}\n")
file(CHMOD "${_corvane_debian}/postinst" "${_corvane_debian}/prerm" "${_corvane_debian}/postrm"
     PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(CHMOD "${_corvane_debian}/conffiles" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
set(CPACK_DEBIAN_HOST_PACKAGE_CONTROL_EXTRA
    "${_corvane_debian}/postinst;${_corvane_debian}/prerm;${_corvane_debian}/postrm;${_corvane_debian}/conffiles")

include(CPack)
