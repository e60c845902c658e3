# The RCPACKET records: layouts, the store routine, the senders' writes and
# failure lines, the printer-name payload, and the record decoder/encoder.
corvane_add_gtest(protocol_records
  SOURCES ${AREA_DIR}/test_records_packet.cpp ${AREA_DIR}/test_records_payload.cpp
          ${AREA_DIR}/test_records_decoder.cpp
  LIBS corvane_protocol corvane_record_encoder
  TIMEOUT 60)
