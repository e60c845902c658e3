# kivruntime escaping codecs and tokenizer: hex, URL, XML/HTML, C escapes,
# base64, KivStrTokenize.  Only KivString_unix.h and the static library, as
# any program using the library would.
corvane_add_gtest(kivruntime_codec
  SOURCES
    ${AREA_DIR}/test_codec_hex.cpp
    ${AREA_DIR}/test_codec_url.cpp
    ${AREA_DIR}/test_codec_markup.cpp
    ${AREA_DIR}/test_codec_cescape.cpp
    ${AREA_DIR}/test_codec_base64.cpp
    ${AREA_DIR}/test_codec_tokenize.cpp
  LIBS kivruntime TIMEOUT 60)
