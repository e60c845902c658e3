# Installation: cmake --install <build> [--prefix P], with DESTDIR honoured.
#
#   backend        CORVANE_CUPS_BACKEND_DIR/CorvaneBackend, mode 0755
#                  (default: the "backend" folder of `cups-config --serverbin`,
#                  an absolute path, because that is the only place the CUPS
#                  scheduler runs backends from; DESTDIR is still put before it)
#   filter         CORVANE_CUPS_FILTER_DIR/rastertocorvane, mode 0755
#                  (default: the "filter" folder of `cups-config --serverbin`)
#   PPD            <prefix>/share/ppd/corvane/corvane.ppd (where the
#                  scheduler's PPD listing looks; lpadmin -P takes it too)
#   host tools     <prefix>/bin/kivprinter-host, kivprinter-mkstream
#   library        <prefix>/lib.../libkivruntime.a,
#                  <prefix>/include/kivruntime/*.h,
#                  <prefix>/lib.../pkgconfig/kivruntime.pc
#
# A backend with mode 0755 is run by the scheduler as its unprivileged user
# (lp); mode 0700 would make it run as root, which this backend never needs.
#
# kivruntime.pc locates the installed files relative to its own folder
# (${pcfiledir}), so the same file works under any prefix and inside a
# DESTDIR staging tree: PKG_CONFIG_PATH=$DESTDIR/<prefix>/lib/pkgconfig is
# all another program needs.

# The CUPS backend folder.
set(_corvane_serverbin "")
find_program(CORVANE_CUPS_CONFIG cups-config)
if(CORVANE_CUPS_CONFIG)
  execute_process(COMMAND ${CORVANE_CUPS_CONFIG} --serverbin
                  OUTPUT_VARIABLE _corvane_serverbin
                  OUTPUT_STRIP_TRAILING_WHITESPACE
                  RESULT_VARIABLE _corvane_serverbin_result)
  if(NOT _corvane_serverbin_result EQUAL 0)
    set(_corvane_serverbin "")
  endif()
endif()
if(NOT _corvane_serverbin)
  set(_corvane_serverbin "/usr/lib/cups")
endif()
set(CORVANE_CUPS_BACKEND_DIR "${_corvane_serverbin}/backend" CACHE PATH
    "Where cmake --install puts CorvaneBackend (absolute: the CUPS backend folder; relative: under the install prefix)")

if(TARGET CorvaneBackend)
  install(TARGETS CorvaneBackend
          RUNTIME DESTINATION "${CORVANE_CUPS_BACKEND_DIR}"
          PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
                      GROUP_READ GROUP_EXECUTE
                      WORLD_READ WORLD_EXECUTE
          COMPONENT backend)
endif()

# The filter and the PPD belong to the backend: a queue needs all three.
set(CORVANE_CUPS_FILTER_DIR "${_corvane_serverbin}/filter" CACHE PATH
    "Where cmake --install puts rastertocorvane (absolute: the CUPS filter folder; relative: under the install prefix)")
if(TARGET rastertocorvane)
  install(TARGETS rastertocorvane
          RUNTIME DESTINATION "${CORVANE_CUPS_FILTER_DIR}"
          PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
                      GROUP_READ GROUP_EXECUTE
                      WORLD_READ WORLD_EXECUTE
          COMPONENT backend)
  install(FILES "${CMAKE_BINARY_DIR}/ppd/corvane.ppd"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/ppd/corvane"
          COMPONENT backend)
endif()

foreach(_corvane_tool kivprinter-host kivprinter-mkstream)
  if(TARGET ${_corvane_tool})
    install(TARGETS ${_corvane_tool} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT tools)
  endif()
endforeach()

# The library, every header of its source folder, and its pkg-config file.
install(TARGETS kivruntime
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT library
        PUBLIC_HEADER DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kivruntime" COMPONENT library)

set(_corvane_pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  # Absolute folders were asked for: the .pc names them as they are.
  set(KIVRUNTIME_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(KIVRUNTIME_PC_LIBDIR "${CMAKE_INSTALL_LIBDIR}")
  else()
    set(KIVRUNTIME_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  endif()
  if(IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
    set(KIVRUNTIME_PC_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}")
  else()
    set(KIVRUNTIME_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
  endif()
else()
  # The prefix is found from the .pc file's own place: as many ".." as the
  # pkgconfig folder lies below the prefix.
  file(RELATIVE_PATH _corvane_up "/prefix/${_corvane_pc_dir}" "/prefix")
  string(REGEX REPLACE "/$" "" _corvane_up "${_corvane_up}")
  set(KIVRUNTIME_PC_PREFIX "\${pcfiledir}/${_corvane_up}")
  set(KIVRUNTIME_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(KIVRUNTIME_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
set(_corvane_pc_file "${CMAKE_BINARY_DIR}/kivruntime.pc")
file(WRITE "${_corvane_pc_file}"
"# kivruntime: wide and narrow string buffers, conversions, numbers,
# comparison, codecs and editing.  Include <KivString_unix.h>.
prefix=${KIVRUNTIME_PC_PREFIX}
exec_prefix=\${prefix}
libdir=${KIVRUNTIME_PC_LIBDIR}
includedir=${KIVRUNTIME_PC_INCLUDEDIR}

Name: kivruntime
Description: Runtime string library: string buffers, character set conversions, numbers, comparison, codecs, editing
Version: ${PROJECT_VERSION}
Cflags: -I\${includedir}/kivruntime
Libs: -L\${libdir} -lkivruntime
")
install(FILES "${_corvane_pc_file}" DESTINATION "${_corvane_pc_dir}" COMPONENT library)
