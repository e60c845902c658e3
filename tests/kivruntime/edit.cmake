# kivruntime editing: bounded copy and append, insertion, removal and
# replacement, trimming and case conversion in place, path joining, XML
# attribute values.  Only KivString_unix.h and the static library, as any
# program using the library would.
corvane_add_gtest(kivruntime_edit
  SOURCES ${AREA_DIR}/test_edit_copy.cpp
          ${AREA_DIR}/test_edit_replace.cpp
          ${AREA_DIR}/test_edit_trim_case.cpp
          ${AREA_DIR}/test_edit_xml.cpp
          ${AREA_DIR}/test_edit_path.cpp
  LIBS kivruntime TIMEOUT 120)
