# Number formatting and parsing of kivruntime.
corvane_add_gtest(kivruntime_number
  SOURCES ${AREA_DIR}/test_number_format.cpp
          ${AREA_DIR}/test_number_parse.cpp
          ${AREA_DIR}/test_number_float.cpp
  LIBS kivruntime
  TIMEOUT 60)
