# kivruntime's faster paths (blocks, words, vector instructions) against
# plain references at every length and alignment: once taking the vector
# paths the processor has, once with KIVRUNTIME_PORTABLE (and
# KIVRUNTIME_NO_FOLD_CACHE) set so that the plain paths run on the same
# machine.
corvane_add_gtest(kivruntime_fast_paths
  SOURCES ${AREA_DIR}/test_fast_paths.cpp
  LIBS kivruntime
  TIMEOUT 120)
corvane_add_gtest(kivruntime_fast_paths_portable
  SOURCES ${AREA_DIR}/test_fast_paths.cpp
  LIBS kivruntime
  TIMEOUT 120)
target_compile_definitions(kivruntime_fast_paths_portable PRIVATE KIV_TEST_PORTABLE)
