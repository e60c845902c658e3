# The reference jobs of tests/data: their records were worked out by hand and
# must come out byte for byte, on little-endian x86-64 as on big-endian
# 32-bit PowerPC (this program is part of the portable cross build).
corvane_add_gtest(backend_reference_job
  SOURCES ${AREA_DIR}/test_reference_job.cpp
  LIBS corvane_backend
  TIMEOUT 60)
