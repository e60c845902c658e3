# kivruntime comparison, search and wildcard matching: length, equality and
# order; substring, character and list search; prefix and suffix tests;
# '*'/'?' matching with a differential test against plain backtracking.
# Each program includes only KivString_unix.h and links only the static
# library, as any program using the library would.
corvane_add_gtest(kivruntime_compare_order
  SOURCES ${AREA_DIR}/test_compare_order.cpp
  LIBS kivruntime TIMEOUT 60)
corvane_add_gtest(kivruntime_compare_search
  SOURCES ${AREA_DIR}/test_compare_search.cpp
  LIBS kivruntime TIMEOUT 60)
corvane_add_gtest(kivruntime_compare_wildcard
  SOURCES ${AREA_DIR}/test_compare_wildcard.cpp
  LIBS kivruntime TIMEOUT 120)
