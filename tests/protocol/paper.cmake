# The paper code table: every media name and exact matching.
corvane_add_gtest(protocol_paper
  SOURCES ${AREA_DIR}/test_paper_table.cpp
  LIBS corvane_protocol
  TIMEOUT 30)
