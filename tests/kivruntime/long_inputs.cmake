# kivruntime on long and varied inputs: the converters' block paths and the
# integer formatters' direct paths against plain references.
corvane_add_gtest(kivruntime_long_inputs
  SOURCES ${AREA_DIR}/test_long_inputs.cpp
  LIBS kivruntime
  TIMEOUT 120)
