# kivprinter-host as a systemd service, installed with the host component:
#
#   CORVANE_SYSTEMD_UNIT_DIR/kivprinter-host.service, kivprinter-host.socket
#                  (default: systemdsystemunitdir of pkg-config's systemd,
#                  else /lib/systemd/system)
#   CORVANE_TMPFILES_DIR/kivprinter-host.conf   the spool folder, made by
#                  systemd-tmpfiles (default: /usr/lib/tmpfiles.d)
#   CORVANE_DEFAULTS_DIR/kivprinter-host        the service's options
#                  (default: /etc/default, the Debian place)
#   CORVANE_SPOOL_DIR                           /var/spool/kivprinter
#
# These folders are absolute on purpose: systemd reads units and tmpfiles
# from nowhere else.  DESTDIR is put before them as before every path.  The
# unit names the program by its installed path, worked out when installing
# (so --prefix and packaging both give the right ExecStart).

set(_corvane_unitdir "")
set(_corvane_tmpfilesdir "")
find_package(PkgConfig QUIET)
if(PKG_CONFIG_FOUND)
  pkg_get_variable(_corvane_unitdir systemd systemdsystemunitdir)
  pkg_get_variable(_corvane_tmpfilesdir systemd tmpfilesdir)
endif()
if(NOT _corvane_unitdir)
  set(_corvane_unitdir "/lib/systemd/system")
endif()
if(NOT _corvane_tmpfilesdir)
  set(_corvane_tmpfilesdir "/usr/lib/tmpfiles.d")
endif()
set(CORVANE_SYSTEMD_UNIT_DIR "${_corvane_unitdir}" CACHE PATH "Where the systemd units of kivprinter-host go")
set(CORVANE_TMPFILES_DIR "${_corvane_tmpfilesdir}" CACHE PATH "Where the tmpfiles.d entry of the spool goes")
set(CORVANE_DEFAULTS_DIR "/etc/default" CACHE PATH "Where the options file of kivprinter-host.service goes")
set(CORVANE_SPOOL_DIR "/var/spool/kivprinter" CACHE PATH "The spool of kivprinter-host.service")
set(CORVANE_DEFAULTS_FILE "${CORVANE_DEFAULTS_DIR}/kivprinter-host")

if(TARGET kivprinter-host)
  set(_corvane_packaging "${PROJECT_SOURCE_DIR}/packaging")
  # The service unit: configured at install time, when the prefix is known.
  install(CODE "
    set(KIVPRINTER_HOST_BIN \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/kivprinter-host\")
    if(IS_ABSOLUTE \"${CMAKE_INSTALL_BINDIR}\")
      set(KIVPRINTER_HOST_BIN \"${CMAKE_INSTALL_BINDIR}/kivprinter-host\")
    endif()
    set(CORVANE_SPOOL_DIR \"${CORVANE_SPOOL_DIR}\")
    set(CORVANE_DEFAULTS_FILE \"${CORVANE_DEFAULTS_FILE}\")
    # A file of its own per run: installs and packaging may run at once.
    string(RANDOM LENGTH 12 _corvane_run)
    set(_corvane_unit \"${CMAKE_BINARY_DIR}/packaging/units-\${_corvane_run}/kivprinter-host.service\")
    configure_file(\"${_corvane_packaging}/kivprinter-host.service.in\" \"\${_corvane_unit}\" @ONLY)
    file(INSTALL DESTINATION \"${CORVANE_SYSTEMD_UNIT_DIR}\" TYPE FILE
         PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
         FILES \"\${_corvane_unit}\")
    file(REMOVE_RECURSE \"${CMAKE_BINARY_DIR}/packaging/units-\${_corvane_run}\")
    " COMPONENT host)
  install(FILES "${_corvane_packaging}/kivprinter-host.socket"
          DESTINATION "${CORVANE_SYSTEMD_UNIT_DIR}" COMPONENT host)
  configure_file("${_corvane_packaging}/kivprinter-host.tmpfiles.in"
                 "${CMAKE_BINARY_DIR}/packaging/kivprinter-host.conf" @ONLY)
  install(FILES "${CMAKE_BINARY_DIR}/packaging/kivprinter-host.conf"
          DESTINATION "${CORVANE_TMPFILES_DIR}" COMPONENT host)
  install(FILES "${_corvane_packaging}/kivprinter-host.default"
          DESTINATION "${CORVANE_DEFAULTS_DIR}" RENAME kivprinter-host COMPONENT host)
endif()
