# kivruntime core: character set conversions, the reference-counted string
# buffer and its handle, the serial form.  Each program includes only
# KivString_unix.h and links only the static library, as any program using
# the library would.
corvane_add_gtest(kivruntime_core_buffer
  SOURCES ${AREA_DIR}/test_core_buffer.cpp
  LIBS kivruntime TIMEOUT 60)
corvane_add_gtest(kivruntime_core_convert
  SOURCES ${AREA_DIR}/test_core_convert.cpp
  LIBS kivruntime TIMEOUT 60)
corvane_add_gtest(kivruntime_core_property
  SOURCES ${AREA_DIR}/test_core_property.cpp
  LIBS kivruntime TIMEOUT 120)
